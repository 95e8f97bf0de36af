// What an index can hold: an index the album could not read whole opens read-only and is never
// saved over; values the reader would not give back as they are never reach the file.
#include "album/index_check.h"

#include <string>

#include <gtest/gtest.h>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "album/photo_operations.h"
#include "testing/temp_dir.h"

namespace quorvane::album {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::WriteTextFile;

constexpr char kPhotoA[] = "<Image Format=\"JPEG\" ImageFile=\"a.jpg\" ImageSize=\"1x1\">a</Image>";

class IndexCheckTest : public ::testing::Test {
 protected:
  // An album folder with the photos a.jpg and b.jpg and this index.
  fs::path AlbumWithIndex(std::string_view index) {
    WriteTextFile(folder() / "a.jpg", "a");
    WriteTextFile(folder() / "b.jpg", "b");
    WriteTextFile(folder() / "index.quorvane", index);
    return folder();
  }
  fs::path folder() const { return dir_ / "album"; }
  std::unique_ptr<Album> Load() {
    auto album = std::make_unique<Album>(std::make_unique<FolderStore>(folder()));
    EXPECT_TRUE(AlbumIndex::LoadIndex(*album)) << album->last_error();
    return album;
  }

  testing::TempDir dir_;
};

struct Lossy {
  const char* name;
  std::string index;
  const char*
      reason;  // what the read-only reason says, after "its index could not be read whole: "
};

class LossyIndexTest : public IndexCheckTest, public ::testing::WithParamInterface<Lossy> {};

// Each of these once loaded as far as it could, and the next change saved that part over the
// whole file: photos, variables or fields were gone with exit status 0.
TEST_P(LossyIndexTest, OpensReadOnlyAndIsNeverSavedOver) {
  AlbumWithIndex(GetParam().index);
  auto album = Load();
  ASSERT_TRUE(album->read_only());
  EXPECT_EQ(album->read_only_reason(),
            std::string("its index could not be read whole: ") + GetParam().reason);

  album->set_description("changed");
  EXPECT_FALSE(SaveAlbum(*album));
  EXPECT_EQ(album->last_error(), "The album is read-only: " + album->read_only_reason());
  EXPECT_FALSE(AlbumIndex::SaveIndex(*album));
  const fs::path source = folder() / "b.jpg";
  EXPECT_FALSE(AddImageFromDisk(*album, source, "new.jpg", -1));
  EXPECT_EQ(ReadTextFile(folder() / "index.quorvane"), GetParam().index);
  EXPECT_FALSE(fs::exists(folder() / "new.jpg"));
}

INSTANTIATE_TEST_SUITE_P(
    Files, LossyIndexTest,
    ::testing::Values(
        Lossy{
            "StrayFF",
            std::string("<Quorvane Version=\"1.0\" Title=\"Ma\xfftre\">") + kPhotoA + "</Quorvane>",
            "a byte 0xFF at offset 33 ends the reading there"},
        Lossy{"CutOffInATag",
              std::string("<Quorvane Version=\"1.0\">") + kPhotoA + "<Image ImageFile=\"b.j",
              "the tag at offset 88 is cut off"},
        Lossy{"UserVariablesCutOff",
              "<Quorvane Version=\"1.0\" /><UserVar><Var Name=\"a\" Value=\"1\" />",
              "the file ends before its element <UserVar> is closed"},
        Lossy{"TagLongerThanTheReaderTakes",
              "<Quorvane Version=\"1.0\"><Image Title=\"" + std::string(5000, 't') +
                  "\" ImageFile=\"a.jpg\">a</Image></Quorvane>",
              "the tag at offset 24 is cut off"},
        Lossy{"ClosingTagWithNothingOpen",
              "<Quorvane Version=\"1.0\"></Quorvane></Quorvane><UserVar><Var Name=\"a\" "
              "Value=\"1\" /></UserVar>",
              "a closing tag at offset 35 ends the reading there"},
        Lossy{"GreaterThanInAFileName",
              "<Quorvane Version=\"1.0\"><Image Format=\"JPEG\" ImageFile=\"a>b.jpg\" "
              "ImageSize=\"1x1\"></Image></Quorvane>",
              "a value in the tag at offset 24 is not closed by its quote"},
        Lossy{"QuoteInAFileName",
              "<Quorvane Version=\"1.0\"><Image Format=\"JPEG\" ImageFile=\"a\"b.jpg\" "
              "ImageSize=\"1x1\"></Image></Quorvane>",
              "photo \"a\" has an attribute \"b.jpg\"\" that is not kept"},
        Lossy{"AttributeInjectedByAFileName",
              "<Quorvane Version=\"1.0\"><Image Format=\"JPEG\" ImageFile=\"x\" Format=\"PNG.jpg\" "
              "ImageSize=\"1x1\"></Image></Quorvane>",
              "the tag at offset 24 repeats an attribute"},
        Lossy{"LineBreakInAFileName",
              "<Quorvane Version=\"1.0\"><Image ImageFile=\"a\nb.jpg\"></Image></Quorvane>",
              "a file name in the tag at offset 24 holds a line break"},
        Lossy{"NulInATag", std::string("<Quorvane Version=\"1.0\" \0 Title=\"t\" />", 38),
              "the tag at offset 0 holds a NUL byte"},
        Lossy{"LessThanInADescription",
              std::string("<Quorvane Version=\"1.0\">a <> b") + kPhotoA + "</Quorvane>",
              "the bytes at offset 26 make no tag the reader keeps"},
        Lossy{"UnknownPhotoAttribute",
              "<Quorvane><Image ImageFile=\"a.jpg\" Rating=\"5\"></Image></Quorvane>",
              "photo \"a.jpg\" has an attribute \"Rating\" that is not kept"},
        Lossy{"PhotoWithoutFileName", "<Quorvane><Image ImageSize=\"1x1\">x</Image></Quorvane>",
              "a photo has no file name"},
        Lossy{"ElementInAPhoto",
              "<Quorvane><Image ImageFile=\"a.jpg\">a<Face Name=\"Bo\"/></Image></Quorvane>",
              "photo \"a.jpg\" holds an element <Face> that is not kept"},
        Lossy{"DescriptionSplitByAComment", "<Quorvane>one<!-- two -->three</Quorvane>",
              "the album holds a comment that is not kept"},
        Lossy{"SecondUserVariables",
              "<Quorvane /><UserVar><Var Name=\"a\" Value=\"1\" /></UserVar>"
              "<UserVar><Var Name=\"b\" Value=\"2\" /></UserVar>",
              "the index holds an element <UserVar> beside the album that is not kept"}),
    [](const auto& row) { return std::string(row.param.name); });

// Files that differ from what the writer writes but lose nothing on a save stay writable:
// older roots and names, a declaration, white space between elements, photos whose file is
// missing (left out by the format's rule), attributes in any order or quoting.
TEST_F(IndexCheckTest, IndexesThatLoseNothingStayWritable) {
  for (const std::string& index : {
           std::string("<?xml version=\"1.0\"?><Tarnwell Title=\"Old\">") + kPhotoA + "</Tarnwell>",
           std::string("<Quorvane Version='1.0'>\n  ") + kPhotoA +
               "\n  <Image ImageFile=gone.jpg>" +
               "</Image>\n</Quorvane>\n<UserVar>\n<Var Value=\"1\" Name=\"a\"/>\n</UserVar>\n",
           std::string("<Quorvane Title=\"&apos;x&apos; &amp; &foo;\" Date=\"2001-01-01\">") +
               "<Image ImageFile=\"b.jpg\" Keywords=\"k\" Title=\"t\" Date=\"x\" " +
               "ImageSize=\"abc\" Format=\"\"/></Quorvane>",
       }) {
    AlbumWithIndex(index);
    auto album = Load();
    EXPECT_FALSE(album->read_only()) << index << "\n" << album->read_only_reason();
    EXPECT_TRUE(SaveAlbum(*album)) << album->last_error();
  }
  for (const char* fixture : {"tarnwell", "ampersand", "underscore-index"}) {
    const fs::path copy = dir_ / fixture;
    fs::copy(testing::TestDataPath("albums") / fixture, copy);
    Album album(std::make_unique<FolderStore>(copy));
    ASSERT_TRUE(AlbumIndex::LoadIndex(album));
    EXPECT_FALSE(album.read_only()) << fixture << ": " << album.read_only_reason();
  }
}

// Every byte in a file name, written as the writer writes it and read back: exactly the bytes
// the index can hold come back unchanged, and the name an album gives a file keeps exactly
// those (the others become "-").
TEST_F(IndexCheckTest, FileNamesKeepExactlyTheBytesTheIndexCanHold) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string name = std::string("a") + static_cast<char>(byte) + "b.jpg";
    xml::XmlDocument document;
    const xml::XmlNode* root = AlbumIndex::ParseIndex(
        document, "<Quorvane Version=\"1.0\"><Image Format=\"JPEG\" ImageFile=\"" + name +
                      "\" ImageSize=\"1x1\"></Image></Quorvane>");
    ASSERT_NE(root, nullptr);
    const xml::XmlNode* image = root->ChildCount() > 0 ? root->ChildAt(0) : nullptr;
    const bool read_back = image != nullptr && image->GetAttribute("ImageFile") == name &&
                           image->GetAttribute("ImageSize") == "1x1";
    EXPECT_EQ(read_back, IndexCanHoldAsIs(static_cast<char>(byte))) << "byte " << byte;
    EXPECT_EQ(AlbumFileName(name) == name, read_back && byte != '~') << "byte " << byte;
  }

  // Through the album's own writer and reader, with a photo file of each name on disk.
  Album album(std::make_unique<FolderStore>(folder()));
  for (int byte = 1; byte < 256; ++byte) {
    // Not file names inside an album: separators, and a drive letter's colon.
    if (byte == '/' || byte == '\\' || byte == ':') continue;
    AlbumPhoto photo;
    photo.image_file = AlbumFileName(std::string("a") + static_cast<char>(byte) + "b.jpg");
    WriteTextFile(folder() / photo.image_file, "x");
    album.photos().push_back(photo);
  }
  ASSERT_TRUE(AlbumIndex::SaveIndex(album)) << album.last_error();
  auto again = Load();
  EXPECT_FALSE(again->read_only()) << again->read_only_reason();
  ASSERT_EQ(again->photos().size(), album.photos().size());
  for (size_t i = 0; i < album.photos().size(); ++i) {
    EXPECT_EQ(again->photos()[i].image_file, album.photos()[i].image_file);
  }
}

// What the writer would write but the reader would not give back is refused, and the file
// on disk stays as it was.
TEST_F(IndexCheckTest, ValuesTheIndexCannotHoldAreRefusedBeforeWriting) {
  AlbumWithIndex("<Quorvane Version=\"1.0\" />");
  struct Case {
    void (*change)(Album&);
    const char* error;
  };
  const Case cases[] = {
      {[](Album& a) { a.set_title_image_file("cover>.jpg"); },
       "the title image file name \"cover>.jpg\" of the album holds \">\""},
      {[](Album& a) { a.set_title("Ma\xfftre"); },
       "the title \"Ma\\xFFtre\" of the album holds a byte 0xFF"},
      {[](Album& a) { a.set_description("x\xff"); },
       "the description of the album holds a byte 0xFF"},
      {[](Album& a) {
         AlbumPhoto photo;
         photo.image_file = "q\"uote.jpg";
         a.photos().push_back(photo);
       },
       "the file name \"q\"uote.jpg\" of photo \"q\"uote.jpg\" holds a double quote"},
      {[](Album& a) {
         AlbumPhoto photo;
         photo.image_file = "a.jpg";
         photo.keywords = std::string(2000, '&');  // 10,000 bytes once encoded
         a.photos().push_back(photo);
       },
       "the fields of photo \"a.jpg\" take more than the 4094 bytes one tag can hold"},
      {[](Album& a) { a.user_variables().Set("v", std::string("\0", 1)); },
       "the value \"\\x00\" of a user variable holds a NUL byte"},
  };
  for (const Case& c : cases) {
    auto album = Load();
    c.change(*album);
    EXPECT_FALSE(SaveAlbum(*album));
    EXPECT_EQ(album->last_error(), std::string("Unable to save the album index: ") + c.error);
    EXPECT_EQ(ReadTextFile(folder() / "index.quorvane"), "<Quorvane Version=\"1.0\" />");
  }
}

}  // namespace
}  // namespace quorvane::album
