#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cli_test_fixture.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;

class CliAlbumTest : public testing::CliTest {
 protected:
  std::string Fixture(std::string_view name) {
    const fs::path target = dir_ / name;
    fs::copy(testing::TestDataPath("albums") / name, target, fs::copy_options::recursive);
    return target.string();
  }
  // A copy of the test photo at `path`, with `trailer` after its end so copies can differ.
  fs::path Photo(const fs::path& path, std::string_view trailer = {}) {
    testing::WriteTextFile(
        path, testing::ReadTextFile(testing::TestDataPath("images/taken-2021-07-14.jpg")) +
                  std::string(trailer));
    return path;
  }
  // Runs two command lines at once, as two processes.
  static std::pair<testing::CliResult, testing::CliResult> RunTogether(
      const std::vector<std::string>& one, const std::vector<std::string>& two) {
    testing::CliResult second;
    std::thread other([&] { second = RunCli(two); });
    testing::CliResult first = RunCli(one);
    other.join();
    return {first, second};
  }
};

TEST_F(CliAlbumTest, ShowsAHandWrittenTarnwellAlbum) {
  const auto r = RunCli({"album", "show", Fixture("tarnwell")});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out,
            "Title: Old & Gold\n"
            "Date: 2003-07-14\n"
            "Description: A trip to the coast.\n"
            "Version: 1.0\n"
            "Variable: Photographer=Ann 'Ace' Lee\n"
            "Photos: 2\n"
            "1\tbeach.jpg\tJPEG\t640x480\t2003-07-14\tThe beach\tsea, sand\n"
            "\tDescription: Waves\n"
            "2\tsunset.png\tPNG\t0x0\t-\tSunset\t\n"
            "\tDescription:   Second line\n");
  EXPECT_EQ(r.err, "");
  // Photo fields are printed decoded; a raw "&" in a file name as it stands.
  EXPECT_NE(RunCli({"album", "show", Fixture("ampersand")})
                .out.find("1\trock&roll.jpg\tJPEG\t800x600\t-\t<live> & loud\t\n"),
            std::string::npos);
}

TEST_F(CliAlbumTest, SetChangesFieldsAndShowReadsThemBack) {
  const std::string album = Fixture("tarnwell");
  auto r = RunCli({"album", "set", album, "--title", "New <title>", "--date", "2024-02-29",
                   "--description", "d & e", "--var", "Photographer=Bo", "--var", "Extra=x=y"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  r = RunCli({"album", "show", album});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_NE(r.out.find("Title: New <title>\nDate: 2024-02-29\nDescription: d & e\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("Variable: Photographer=Bo\nVariable: Extra=x=y\n"), std::string::npos);
  r = RunCli({"album", "set", album, "--date", "none"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_NE(RunCli({"album", "show", album}).out.find("Date: -\n"), std::string::npos);
}

// Usage errors of every command: exit code 2, one line on stderr that quotes the command's
// lines of the help word for word, and nothing written. Numbers are read whole and in range.
TEST_F(CliAlbumTest, BadCommandLinesExitTwoQuotingTheHelpAndWriteNothing) {
  const std::string album = Fixture("tarnwell");  // two photos
  const std::string before = testing::ReadTextFile(fs::path(album) / "index.quorvane");
  const std::string help = RunCli({"--help"}).out;
  const std::string a = album, out = dir_.path().string();
  const std::vector<std::vector<std::string>> bad = {
      {"nonsense"},
      {"album"},
      {"album", "nonsense"},
      {"album", "show"},
      {"album", "set"},
      {"album", "set", a, "--date", "2024-13-01"},
      {"album", "set", a, "--var", "novalue"},
      {"album", "set", a, "--bogus", "x"},
      {"album", "set", a, "--title"},
      {"album", "create"},
      {"album", "add"},
      {"album", "add", a, "x.jpg", "--at", "1 "},
      {"album", "add", a, "x.jpg", "--cell", "99999999999x90"},
      {"album", "remove"},
      {"album", "remove", a, " 1"},
      {"album", "remove", a, "99999999999999999999"},
      {"album", "export"},
      {"album", "export", a, "3", out},
      {"album", "export", a, "1", out, "--fit", "-5x10"},
      {"album", "save-as"},
      {"album", "move"},
      {"album", "copy"},
      {"photo"},
      {"photo", "set"},
      {"photo", "show", a, "1"},
      {"photo", "set", a, "1"},
      {"photo", "set", a, "3", "--caption", "x"},
      {"photo", "set", a, "0", "--caption", "x"},
      {"photo", "set", a, " 1", "--caption", "x"},
      {"photo", "set", a, "1", "--date", "2021-02-29"},
      {"photo", "set", a, "1", "--title", "x"},
      {"archive"},
      {"archive", "pack"},
      {"archive", "pack", a, out + "/a.qvo", "--level", "1.5"},
      {"archive", "unpack"},
      {"xml"},
      {"xml", "check", "a", "b"},
      {"xml", "check", "a", "--flags", "300"},
      {"xml", "check", "a", "--flags", "0x4"},
      {"library"},
      {"library", "list", "--sort", "4"},
      {"library", "list", "extra"},
      {"library", "create"},
      {"library", "create", "x", "--date", "someday"},
      {"library", "delete"},
      {"library", "delete", "x", "--force"},
      {"settings"},
      {"settings", "get"},
      {"settings", "get", "smtp.colour"},
      {"settings", "set", "smtp.port"},
      {"settings", "set", "smtp.port", "twenty-five"},
      {"edit"},
      {"edit", a, "unsharp-mask"},  // not offered on albums
      {"edit", a, "resize"},        // needs --size
      {"edit", a, "lighten", "--photos", "3"},
      {"edit", a, "lighten", "--photos", "1,"},
      {"edit-file"},
      {"edit-file", "in.png", "out.png", "posterize"},
      {"edit-file", "in.png", "out.png", "crop", "--select", "oval", "1,1,2,2"},
      {"edit-file", "in.png", "out.png", "crop", "--select", "rect", "1,2,3,4x"},
      {"thumbs"},
      {"thumbs", a, "--cell", "120"},
      {"thumbs", a, "--cell", "2x90"},
      {"thumbs", a, "--cell", "80x60x"},
      {"thumbs", a, "--workers", "0"},
      {"thumbs", a, "--workers", "2x"},
      {"search"},
      {"search", "a", "--library", "x", "--album", "y"},
      {"search", "--saved", "extra"},
      {"search", "a", "b"},
  };
  const std::string marker = "; usage: quorvane-cli ";
  for (const auto& args : bad) {
    const auto r = RunCli(args);
    const std::string line =
        args[0] + (args.size() > 1 ? " " + args[1] : "") + " ... " + args.back();
    EXPECT_EQ(r.exit_code, 2) << line;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_EQ(r.err.rfind("quorvane-cli: ", 0), 0u) << r.err;
    const size_t at = r.err.find(marker);
    ASSERT_NE(at, std::string::npos) << r.err;
    const std::string usage =
        r.err.substr(at + marker.size(), r.err.size() - at - marker.size() - 1);
    if (usage == "--help") continue;  // no command to quote
    for (size_t begin = 0; begin <= usage.size();) {
      const size_t end = std::min(usage.find(" | ", begin), usage.size());
      EXPECT_NE(help.find("  quorvane-cli " + usage.substr(begin, end - begin) + "\n"),
                std::string::npos)
          << line << ": " << usage.substr(begin, end - begin);
      begin = end + 3;
    }
  }
  EXPECT_EQ(testing::ReadTextFile(fs::path(album) / "index.quorvane"), before);
  EXPECT_EQ(RunCli({"settings", "get", "smtp.port"}).out, "25\n");
}

TEST_F(CliAlbumTest, FailedLoadPrintsTheAlbumsErrorAndExitsOne) {
  const fs::path broken = dir_ / "broken";
  testing::WriteTextFile(broken / "index.quorvane", "<!-- not an album -->");
  auto r = RunCli({"album", "show", broken.string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_EQ(r.err, "quorvane-cli: Unable to load album index; malformed index file.\n");
  r = RunCli({"album", "set", (dir_ / "nowhere").string(), "--title", "x"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("No such file or directory"), std::string::npos) << r.err;
}

// A photo's life on the command line: into a new album (progress on stderr), out again at a
// smaller size, and removed with its files; the same for an album archive.
TEST_F(CliAlbumTest, CreateAddExportRemove) {
  const fs::path album = dir_ / "trip";
  ASSERT_EQ(RunCli({"album", "create", album.string(), "--title", "Trip"}).exit_code, 0);
  EXPECT_EQ(RunCli({"album", "create", album.string()}).exit_code, 1);  // not over an album

  const fs::path photo = dir_ / "sea~side.jpg";
  fs::copy_file(testing::TestDataPath("images/taken-2021-07-14.jpg"), photo);
  auto r = RunCli({"album", "add", album.string(), photo.string(), "--cell", "34x34"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  // One line per photo: a photo's own steps move the progress bar, not the log.
  EXPECT_EQ(r.err, "Adding \"sea~side.jpg\" (image 1 of 1) ...\n");
  r = RunCli({"album", "show", album.string()});
  EXPECT_NE(r.out.find("Title: Trip\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("1\tsea-side.jpg\tJPEG\t64x48\t2021-07-14\t"), std::string::npos) << r.out;

  const fs::path out = dir_ / "out";
  fs::create_directories(out);
  r = RunCli({"album", "export", album.string(), "1", out.string(), "--fit", "32x32"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_TRUE(fs::file_size(out / "sea-side.jpg") > 0);
  r = RunCli({"album", "export", album.string(), "1", out.string()});
  EXPECT_EQ(r.exit_code, 1);  // never over an existing file
  EXPECT_NE(r.err.find("already exists"), std::string::npos) << r.err;

  r = RunCli({"album", "remove", album.string(), "1"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err, "Deleting sea-side.jpg (image 1 of 1) ...\n");
  EXPECT_FALSE(fs::exists(album / "sea-side.jpg"));  // the saved album no longer names it

  const fs::path archive = dir_ / "trip.qvo";
  ASSERT_EQ(RunCli({"album", "create", archive.string(), "--title", "Packed"}).exit_code, 0);
  r = RunCli({"album", "add", archive.string(), photo.string(), photo.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  r = RunCli({"album", "show", archive.string()});
  EXPECT_NE(r.out.find("Title: Packed\nDate: -\nDescription: \nVersion: 1.0\nPhotos: 2\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("2\tsea-side-0.jpg\t"), std::string::npos) << r.out;
}

// Two processes adding to one album at once once left the photos of only one of them in the
// index, and two files of one name in one file; in an archive, the later save replaced the
// earlier one whole.
class ConcurrentAddTest : public CliAlbumTest, public ::testing::WithParamInterface<const char*> {
 protected:
  std::string Album(const std::string& name) { return (dir_ / (name + GetParam())).string(); }
  bool IsArchive() const { return std::string_view(GetParam()) == ".qvo"; }
  // The bytes of every photo of `album`, copied out through the program.
  std::multiset<std::string> StoredPhotos(const std::string& album, int count) {
    const fs::path out = dir_ / ("out-" + fs::path(album).filename().string());
    fs::create_directories(out);
    for (int i = 1; i <= count; ++i) {
      const auto r = RunCli({"album", "export", album, std::to_string(i), out.string()});
      EXPECT_EQ(r.exit_code, 0) << r.err;
    }
    std::multiset<std::string> photos;
    for (const auto& entry : fs::directory_iterator(out)) {
      photos.insert(testing::ReadTextFile(entry.path()));
    }
    return photos;
  }
};

TEST_P(ConcurrentAddTest, KeepsEveryPhotoOfBothOrRefusesWithTheReason) {
  std::vector<std::string> first = {"album", "add", ""}, second = first;
  for (int i = 0; i < 10; ++i) {
    const fs::path photo = Photo(dir_ / ("a" + std::to_string(i) + ".jpg"));
    (i < 5 ? first : second).push_back(photo.string());
  }
  const fs::path start = Photo(dir_ / "p.jpg");
  for (int round = 0; round < 10; ++round) {
    const std::string album = Album("album" + std::to_string(round));
    ASSERT_EQ(RunCli({"album", "create", album}).exit_code, 0);
    ASSERT_EQ(RunCli({"album", "add", album, start.string()}).exit_code, 0);
    first[2] = second[2] = album;
    const auto [one, two] = RunTogether(first, second);
    EXPECT_EQ(one.exit_code, 0) << one.err;
    EXPECT_EQ(two.exit_code, 0) << two.err;
    EXPECT_NE(RunCli({"album", "show", album}).out.find("Photos: 11\n"), std::string::npos)
        << "round " << round;
  }

  // Two new photos of one name: a folder takes both. Two archives' working copies cannot see
  // each other's names, so the later save may refuse instead, and then says so.
  const std::string mine = Photo(dir_ / "mine" / "same.jpg", "mine").string();
  const std::string yours = Photo(dir_ / "yours" / "same.jpg", "yours").string();
  for (int round = 0; round < 5; ++round) {
    const std::string album = Album("same" + std::to_string(round));
    ASSERT_EQ(RunCli({"album", "create", album}).exit_code, 0);
    const auto [one, two] =
        RunTogether({"album", "add", album, mine}, {"album", "add", album, yours});
    std::multiset<std::string> added;
    for (const auto& [result, source] : {std::pair{one, mine}, std::pair{two, yours}}) {
      if (result.exit_code == 0) {
        added.insert(testing::ReadTextFile(source));
        continue;
      }
      EXPECT_TRUE(IsArchive()) << result.err;
      EXPECT_EQ(result.exit_code, 1);
      EXPECT_EQ(result.err,
                "Adding \"same.jpg\" (image 1 of 1) ...\nquorvane-cli: Another program added "
                "\"_thumb_same.jpg\" and \"same.jpg\" to " +
                    album +
                    " while this one added files of the same names; nothing was "
                    "saved, so that neither is lost\n");
    }
    ASSERT_FALSE(added.empty());
    const std::string shown = RunCli({"album", "show", album}).out;
    EXPECT_NE(shown.find("Photos: " + std::to_string(added.size()) + "\n"), std::string::npos)
        << shown;
    EXPECT_EQ(StoredPhotos(album, static_cast<int>(added.size())), added);
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, ConcurrentAddTest, ::testing::Values("", ".qvo"),
                         [](const auto& row) {
                           return std::string(row.param[0] == '\0' ? "Folder" : "Archive");
                         });

// An index the program could not read to its end once showed a part of the album and the next
// change wrote that part over the whole file.
TEST_F(CliAlbumTest, AnIndexReadOnlyInPartIsShownButNeverChangedAndCanBeSavedAsANewAlbum) {
  const fs::path album = dir_ / "damaged";
  Photo(album / "x.jpg");
  Photo(album / "y.jpg");
  const std::string index =
      "<Quorvane Version=\"1.0\" Title=\"Ma\xfftre\"><Image Format=\"JPEG\" ImageFile=\"x.jpg\" "
      "ImageSize=\"64x48\"></Image><Image Format=\"JPEG\" ImageFile=\"y.jpg\" "
      "ImageSize=\"64x48\"></Image></Quorvane>";
  testing::WriteTextFile(album / "index.quorvane", index);
  const std::string reason =
      "\"" + album.string() +
      "\" is read-only: its index could not be read whole: a byte 0xFF at offset 33 ends the "
      "reading there.";
  const std::string offer =
      "\"quorvane-cli album save-as " + album.string() + " <new-folder|new.qvo>\"\n";

  auto r = RunCli({"album", "show", album.string()});
  EXPECT_EQ(r.exit_code, 0);
  EXPECT_EQ(r.out.substr(0, 10), "Title: Ma\n");
  EXPECT_EQ(r.err, "quorvane-cli: " + reason +
                       " Only what could be read is shown; save what could be read under a new "
                       "name with " +
                       offer);
  const std::string photo = Photo(dir_ / "new.jpg").string();
  for (const std::vector<std::string>& change :
       {std::vector<std::string>{"album", "set", album.string(), "--description", "hello"},
        {"album", "add", album.string(), photo},
        {"album", "remove", album.string(), "1"},
        {"edit", album.string(), "grayscale"}}) {
    r = RunCli(change);
    EXPECT_EQ(r.exit_code, 1) << change[1];
    EXPECT_EQ(r.err, "quorvane-cli: " + reason +
                         " Nothing was changed; save what could be read under a new name with " +
                         offer);
  }
  EXPECT_EQ(testing::ReadTextFile(album / "index.quorvane"), index);
  EXPECT_FALSE(fs::exists(album / "new.jpg"));

  // Saved under a new name, the part that could be read is an album like any other: a folder
  // with the photos and thumbnails, or an archive.
  testing::WriteTextFile(album / "index.quorvane",
                         "<Quorvane Version=\"1.0\" Title=\"Trip\"><Image Format=\"JPEG\" "
                         "ImageFile=\"x.jpg\" ImageSize=\"64x48\"></Image>\xff<Image "
                         "ImageFile=\"y.jpg\"></Image></Quorvane>");
  Photo(album / "_thumb_x.jpg", "thumbnail");
  const fs::path copy = dir_ / "copy";
  r = RunCli({"album", "save-as", album.string(), copy.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err, "Copying \"x.jpg\" (image 1 of 1) ...\n");
  EXPECT_EQ(testing::ReadTextFile(copy / "_thumb_x.jpg"),
            testing::ReadTextFile(album / "_thumb_x.jpg"));
  ASSERT_EQ(RunCli({"album", "set", copy.string(), "--description", "rescued"}).exit_code, 0);
  r = RunCli({"album", "show", copy.string()});
  EXPECT_EQ(r.err, "");
  EXPECT_NE(r.out.find("Title: Trip\nDate: -\nDescription: rescued\nVersion: 1.0\nPhotos: 1\n"
                       "1\tx.jpg\tJPEG\t64x48\t"),
            std::string::npos)
      << r.out;
  const fs::path archive = dir_ / "copy.qvo";
  ASSERT_EQ(RunCli({"album", "save-as", album.string(), archive.string()}).exit_code, 0);
  EXPECT_NE(RunCli({"album", "show", archive.string()}).out.find("Title: Trip\n"),
            std::string::npos);
  r = RunCli({"album", "save-as", album.string(), copy.string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_EQ(r.err, "quorvane-cli: \"" + copy.string() + "\" already exists\n");
}

// Names the index cannot hold once went in with exit status 0 and vanished at the next load,
// or wrote attributes of their own into the index.
TEST_F(CliAlbumTest, FileNamesTheIndexCannotHoldAreMadeSafeAndSuchValuesRefused) {
  const fs::path album = dir_ / "names";
  ASSERT_EQ(RunCli({"album", "create", album.string()}).exit_code, 0);
  std::vector<std::string> add = {"album", "add", album.string()};
  for (const char* name : {"q\"uote.jpg", "gt>x.jpg", "new\nline.jpg", "x\" Format=\"PNG.jpg"}) {
    add.push_back(Photo(dir_ / "in" / name).string());
  }
  auto r = RunCli(add);
  ASSERT_EQ(r.exit_code, 0) << r.err;
  r = RunCli({"album", "show", album.string()});
  EXPECT_EQ(r.err, "");
  EXPECT_NE(r.out.find("Photos: 4\n1\tq-uote.jpg\tJPEG\t"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\n2\tgt-x.jpg\tJPEG\t"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\n3\tnew-line.jpg\tJPEG\t"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\n4\tx- Format=-PNG.jpg\tJPEG\t"), std::string::npos) << r.out;

  const std::string before = testing::ReadTextFile(album / "index.quorvane");
  r = RunCli({"album", "set", album.string(), "--title-image", "cover>.jpg"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_EQ(r.err,
            "quorvane-cli: the album index cannot hold the --title-image value \"cover>.jpg\": it "
            "holds \">\"\n");
  r = RunCli({"album", "set", album.string(), "--title", "Ma\xfftre"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("it holds a byte 0xFF"), std::string::npos) << r.err;
  EXPECT_EQ(testing::ReadTextFile(album / "index.quorvane"), before);
}

TEST_F(CliAlbumTest, XmlCheckWritesTheDocumentBack) {
  const fs::path file = dir_ / "doc.xml";
  testing::WriteTextFile(file, "<?xml version='1.0'?><A b=1>x<!-- c --></A><B/>");
  auto r = RunCli({"xml", "check", file.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "<A b=\"1\">x< c ></A><B />");
  r = RunCli({"xml", "check", file.string(), "--flags", "4"});
  EXPECT_EQ(r.out, "<a b=\"1\">x< c ></a><b />");
  r = RunCli({"xml", "check", (dir_ / "missing.xml").string()});
  EXPECT_EQ(r.exit_code, 1);
}

}  // namespace
}  // namespace quorvane
