#include "album/album_archive.h"

#include <cstdlib>
#include <set>
#include <vector>

#include <gtest/gtest.h>
#include <zip.h>

#include "album/album.h"
#include "album/album_index.h"
#include "album/archive_store.h"
#include "testing/temp_dir.h"

namespace quorvane::album {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::TempDir;
using testing::WriteTextFile;

std::set<std::string> FilesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

// Bytes that deflate cannot shrink, like a JPEG's.
std::string NoiseBytes(size_t size) {
  std::string bytes(size, '\0');
  uint32_t state = 12345;
  for (char& c : bytes) c = static_cast<char>((state = state * 1103515245 + 12345) >> 24);
  return bytes;
}

struct EntrySpec {
  std::string name;
  std::string data = "bytes";
  uint32_t unix_mode = 0100644;
  int32_t method = ZIP_CM_DEFLATE;
};

// Writes an archive exactly as described, however unwise, with libzip.
void BuildArchive(const fs::path& path, const std::vector<EntrySpec>& entries) {
  int code = 0;
  zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code);
  ASSERT_NE(zip, nullptr);
  for (const EntrySpec& entry : entries) {
    zip_source_t* source = zip_source_buffer(zip, entry.data.data(), entry.data.size(), 0);
    const zip_int64_t index = zip_file_add(zip, entry.name.c_str(), source, ZIP_FL_ENC_RAW);
    ASSERT_GE(index, 0) << zip_strerror(zip);
    const auto i = static_cast<zip_uint64_t>(index);
    ASSERT_EQ(zip_file_set_external_attributes(zip, i, 0, ZIP_OPSYS_UNIX, entry.unix_mode << 16),
              0);
    ASSERT_EQ(zip_set_file_compression(zip, i, entry.method, 0), 0) << zip_strerror(zip);
  }
  ASSERT_EQ(zip_close(zip), 0) << zip_strerror(zip);
}

// Rewrites every little-endian 32-bit field at `offset` of each header with `signature`.
void PatchHeaders(std::string* bytes, std::string_view signature, size_t offset, uint32_t value) {
  for (size_t at = bytes->find(signature); at != std::string::npos;
       at = bytes->find(signature, at + 1)) {
    for (int b = 0; b < 4; ++b) (*bytes)[at + offset + b] = static_cast<char>(value >> (8 * b));
  }
}

class AlbumArchiveTest : public ::testing::Test {
 protected:
  fs::path MakeAlbumFolder() {
    const fs::path folder = temp_ / "album";
    fs::create_directories(folder);
    Album album(std::make_unique<FolderStore>(folder));
    album.set_title("Summer & sea");
    WriteTextFile(folder / "beach.jpg", NoiseBytes(300000));
    WriteTextFile(folder / "_thumb_beach.jpg.jpg", NoiseBytes(4000));
    WriteTextFile(folder / "map.png", std::string(200000, 'm'));
    AlbumPhoto photo;
    photo.image_file = "beach.jpg";
    album.photos().push_back(photo);
    EXPECT_TRUE(AlbumIndex::SaveIndex(album)) << album.last_error();
    return folder;
  }

  TempDir temp_;
  std::string error_;
};

TEST_F(AlbumArchiveTest, PackedAlbumOpensIntoPrivateWorkingCopyWithEveryFile) {
  const fs::path folder = MakeAlbumFolder();
  fs::create_directory(folder / "not-part-of-the-album");
  fs::create_symlink("/etc/hostname", folder / "link.jpg");
  const fs::path archive = temp_ / "summer.qvo";
  ASSERT_TRUE(PackAlbumFolder(folder, archive, {}, &error_)) << error_;
  EXPECT_EQ(FilesIn(temp_.path()), (std::set<std::string>{"album", "summer.qvo"}));

  fs::path working_copy;
  {
    auto store = ArchiveStore::Open(archive, {}, &error_);
    ASSERT_NE(store, nullptr) << error_;
    working_copy = store->working_copy();
    EXPECT_EQ(working_copy.parent_path(), fs::temp_directory_path());
    EXPECT_EQ(working_copy.filename().string().rfind("qvo", 0), 0u) << working_copy;
    EXPECT_EQ(fs::status(working_copy).permissions() & fs::perms::all, fs::perms::owner_all);
    EXPECT_EQ(FilesIn(working_copy), (std::set<std::string>{"_thumb_beach.jpg.jpg", "beach.jpg",
                                                            "index.quorvane", "map.png"}));
    for (const std::string name : {"beach.jpg", "map.png", "index.quorvane"}) {
      std::string bytes;
      ASSERT_TRUE(store->ReadFile(name, &bytes)) << store->LastError();
      EXPECT_EQ(bytes, ReadTextFile(folder / name)) << name;
    }
  }
  EXPECT_FALSE(fs::exists(working_copy));

  // Photos are stored as they are; everything else is deflated.
  zip_t* zip = zip_open(archive.c_str(), ZIP_RDONLY, nullptr);
  ASSERT_NE(zip, nullptr);
  zip_stat_t stat;
  ASSERT_EQ(zip_stat(zip, "beach.jpg", 0, &stat), 0);
  EXPECT_EQ(stat.comp_method, ZIP_CM_STORE);
  ASSERT_EQ(zip_stat(zip, "map.png", 0, &stat), 0);
  EXPECT_EQ(stat.comp_method, ZIP_CM_DEFLATE);
  EXPECT_LT(stat.comp_size, 2000u);
  zip_discard(zip);
}

TEST_F(AlbumArchiveTest, AlbumSurvivesOpenChangeCommitAndReopen) {
  const fs::path archive = temp_ / "summer.qvo";
  ASSERT_TRUE(PackAlbumFolder(MakeAlbumFolder(), archive, {}, &error_)) << error_;
  {
    auto store = ArchiveStore::Open(archive, {}, &error_);
    ASSERT_NE(store, nullptr) << error_;
    Album album(std::move(store));
    ASSERT_TRUE(AlbumIndex::LoadIndex(album)) << album.last_error();
    ASSERT_EQ(album.photos().size(), 1u);
    album.set_title("Renamed");
    ASSERT_TRUE(album.store().WriteFile("notes.png", "new file"));
    ASSERT_TRUE(AlbumIndex::SaveIndex(album) && album.store().Commit())
        << album.store().LastError();
  }
  auto store = ArchiveStore::Open(archive, {}, &error_);
  ASSERT_NE(store, nullptr) << error_;
  Album reopened(std::move(store));
  ASSERT_TRUE(AlbumIndex::LoadIndex(reopened)) << reopened.last_error();
  EXPECT_EQ(reopened.title(), "Renamed");
  EXPECT_EQ(reopened.photos().size(), 1u);
  EXPECT_TRUE(reopened.store().FileExists("notes.png"));
}

TEST_F(AlbumArchiveTest, CancelledPackLeavesPreviousArchiveAndNoTemporaryFile) {
  const fs::path folder = MakeAlbumFolder();
  const fs::path archive = temp_ / "summer.qvo";
  WriteTextFile(archive, "the previous archive");
  PackOptions options;
  options.progress = [](double fraction) { return fraction < 0.2; };
  EXPECT_FALSE(PackAlbumFolder(folder, archive, options, &error_));
  EXPECT_NE(error_.find("cancelled"), std::string::npos) << error_;
  EXPECT_EQ(ReadTextFile(archive), "the previous archive");
  EXPECT_EQ(FilesIn(temp_.path()), (std::set<std::string>{"album", "summer.qvo"}));
}

TEST_F(AlbumArchiveTest, EmptyFolderPacksAndUnpacksToEmptyFolder) {
  fs::create_directory(temp_ / "empty");
  ASSERT_TRUE(PackAlbumFolder(temp_ / "empty", temp_ / "empty.qvo", {}, &error_)) << error_;
  ASSERT_TRUE(UnpackArchive(temp_ / "empty.qvo", temp_ / "out", {}, &error_)) << error_;
  EXPECT_TRUE(fs::is_empty(temp_ / "out"));
}

TEST_F(AlbumArchiveTest, UnpackRefusesFolderThatIsNotEmpty) {
  BuildArchive(temp_ / "a.qvo", {{.name = "a.jpg"}});
  WriteTextFile(temp_ / "out" / "a.jpg", "mine");
  EXPECT_FALSE(UnpackArchive(temp_ / "a.qvo", temp_ / "out", {}, &error_));
  EXPECT_NE(error_.find("is not empty"), std::string::npos) << error_;
  EXPECT_EQ(ReadTextFile(temp_ / "out" / "a.jpg"), "mine");
}

TEST_F(AlbumArchiveTest, ArchivePathIsRecognisedByExtensionUnlessFolder) {
  fs::create_directory(temp_ / "folder.qvo");
  EXPECT_TRUE(IsArchivePath(temp_ / "Trip.QVO"));
  EXPECT_TRUE(IsArchivePath("trip.qvo"));
  EXPECT_FALSE(IsArchivePath(temp_ / "folder.qvo"));
  EXPECT_FALSE(IsArchivePath("trip.qvo.zip"));
  EXPECT_FALSE(IsArchivePath("index.quorvane"));
}

// A hostile archive: one good entry first, then the bad one, so a partial unpack would show.
struct HostileCase {
  std::string label;
  std::vector<EntrySpec> bad;
  std::string expected_error;
  friend void PrintTo(const HostileCase& c, std::ostream* os) { *os << c.label; }
};

class HostileArchiveTest : public AlbumArchiveTest,
                           public ::testing::WithParamInterface<HostileCase> {};

TEST_P(HostileArchiveTest, IsRefusedAndWritesNothing) {
  std::vector<EntrySpec> entries = {{.name = "good.jpg"}};
  entries.insert(entries.end(), GetParam().bad.begin(), GetParam().bad.end());
  const fs::path sandbox = temp_ / "sandbox";
  fs::create_directories(sandbox / "out");
  const fs::path archive = sandbox / "bad.qvo";
  BuildArchive(archive, entries);

  EXPECT_FALSE(UnpackArchive(archive, sandbox / "out" / "album", {}, &error_));
  EXPECT_NE(error_.find(GetParam().expected_error), std::string::npos) << error_;
  EXPECT_EQ(FilesIn(sandbox), (std::set<std::string>{"bad.qvo", "out"}));
  EXPECT_TRUE(fs::is_empty(sandbox / "out"));
  EXPECT_EQ(FilesIn(temp_.path()), (std::set<std::string>{"sandbox"}));

  // Opened as an album, the working copy goes away again.
  const char* old_tmpdir = std::getenv("TMPDIR");
  const std::string saved = old_tmpdir != nullptr ? old_tmpdir : "";
  ::setenv("TMPDIR", (sandbox / "out").c_str(), 1);
  EXPECT_EQ(ArchiveStore::Open(archive, {}, &error_), nullptr);
  old_tmpdir != nullptr ? ::setenv("TMPDIR", saved.c_str(), 1) : ::unsetenv("TMPDIR");
  EXPECT_NE(error_.find(GetParam().expected_error), std::string::npos) << error_;
  EXPECT_TRUE(fs::is_empty(sandbox / "out"));
}

INSTANTIATE_TEST_SUITE_P(
    Names, HostileArchiveTest,
    ::testing::Values(
        HostileCase{
            "Absolute", {{.name = "/tmp/evil.jpg"}}, "\"/tmp/evil.jpg\" has an absolute name"},
        HostileCase{"BackslashAbsolute", {{.name = "\\evil.jpg"}}, "has an absolute name"},
        HostileCase{"ParentFolder", {{.name = "../evil.jpg"}}, "\"../evil.jpg\" holds \"..\""},
        HostileCase{"ParentFolderInside", {{.name = "a/../../evil.jpg"}}, "holds \"..\""},
        HostileCase{"ParentFolderWindows", {{.name = "..\\evil.jpg"}}, "holds \"..\""},
        HostileCase{"OnlyDotDot", {{.name = ".."}}, "holds \"..\""},
        HostileCase{"DriveLetter", {{.name = "C:evil.jpg"}}, "names a drive"},
        HostileCase{"DrivePath", {{.name = "c:\\Windows\\evil.dll"}}, "names a drive"},
        HostileCase{"Backslash", {{.name = "sub\\evil.jpg"}}, "holds a backslash"},
        HostileCase{"Subfolder", {{.name = "photos/a.jpg"}}, "is in a folder"},
        HostileCase{"FolderEntry", {{.name = "photos/", .data = ""}}, "is in a folder"},
        HostileCase{"StreamName", {{.name = "a.jpg:stream"}}, "holds a colon"},
        HostileCase{"ControlCharacter", {{.name = "a\nb.jpg"}}, "holds a control character"},
        HostileCase{"Device", {{.name = "con.jpg"}}, "has the name of a device"},
        HostileCase{"Symlink",
                    {{.name = "link.jpg", .data = "/etc/passwd", .unix_mode = 0120777}},
                    "\"link.jpg\" is a link"},
        HostileCase{"Fifo", {{.name = "pipe.jpg", .unix_mode = 0010644}}, "is not a regular file"},
        HostileCase{"DirectoryMode",
                    {{.name = "dir", .data = "", .unix_mode = 0040755}},
                    "is not a regular file"},
        HostileCase{"Bzip2",
                    {{.name = "b.png", .method = ZIP_CM_BZIP2}},
                    "uses a compression method other than store and deflate"}),
    [](const auto& test) { return test.param.label; });

// Damaged bytes: every one gives an error (never a crash) and leaves nothing behind.
struct DamagedCase {
  std::string label;
  std::string (*damage)(std::string good);
  std::string expected_error;
  friend void PrintTo(const DamagedCase& c, std::ostream* os) { *os << c.label; }
};

class DamagedArchiveTest : public AlbumArchiveTest,
                           public ::testing::WithParamInterface<DamagedCase> {};

TEST_P(DamagedArchiveTest, GivesErrorAndWritesNothing) {
  BuildArchive(temp_ / "good.qvo", {{.name = "a.png", .data = std::string(100000, 'a')},
                                    {.name = "b.jpg", .data = NoiseBytes(50000)}});
  const std::string bytes = GetParam().damage(ReadTextFile(temp_ / "good.qvo"));
  WriteTextFile(temp_ / "bad.qvo", bytes);
  ArchiveLimits limits;
  limits.max_total_bytes = 1 << 20;

  EXPECT_FALSE(UnpackArchive(temp_ / "bad.qvo", temp_ / "out", limits, &error_));
  EXPECT_NE(error_.find(GetParam().expected_error), std::string::npos) << error_;
  EXPECT_FALSE(fs::exists(temp_ / "out"));
  EXPECT_FALSE(UnpackArchiveBytes(bytes, temp_ / "out", limits, &error_));
  EXPECT_NE(error_.find(GetParam().expected_error), std::string::npos) << error_;
  EXPECT_FALSE(fs::exists(temp_ / "out"));
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, DamagedArchiveTest,
    ::testing::Values(
        DamagedCase{"Empty", [](std::string) { return std::string(); }, "empty"},
        DamagedCase{"Garbage", [](std::string) { return NoiseBytes(5000); }, "Not a zip archive"},
        DamagedCase{"Truncated", [](std::string good) { return good.substr(0, good.size() / 2); },
                    "Unable to unpack"},
        DamagedCase{"TailCut", [](std::string good) { return good.substr(0, good.size() - 10); },
                    "Unable to unpack"},
        DamagedCase{"CorruptDeflateData",
                    [](std::string good) {
                      const size_t middle = good.find("b.jpg") + 25000;
                      for (size_t i = middle; i < middle + 100; ++i) good[i] = ~good[i];
                      return good;
                    },
                    "entry \"b.jpg\" is damaged"},
        // The sizes say 1000 bytes, the deflate stream holds 100000: inflating must stop.
        DamagedCase{"SizeUnderstated",
                    [](std::string good) {
                      PatchHeaders(&good, "PK\3\4", 22, 1000);
                      PatchHeaders(&good, "PK\1\2", 24, 1000);
                      return good;
                    },
                    "entry \"a.png\""},
        DamagedCase{"HugeDeclaredSize",
                    [](std::string good) {
                      PatchHeaders(&good, "PK\3\4", 22, 0xfffffff0u);
                      PatchHeaders(&good, "PK\1\2", 24, 0xfffffff0u);
                      return good;
                    },
                    "more than the 1048576 bytes allowed"}),
    [](const auto& test) { return test.param.label; });

TEST_F(AlbumArchiveTest, ArchiveWithTooManyEntriesIsRefused) {
  std::vector<EntrySpec> entries;
  for (int i = 0; i < 30; ++i) entries.push_back({.name = std::to_string(i) + ".jpg"});
  BuildArchive(temp_ / "many.qvo", entries);
  ArchiveLimits limits;
  limits.max_entries = 20;
  EXPECT_FALSE(UnpackArchive(temp_ / "many.qvo", temp_ / "out", limits, &error_));
  EXPECT_NE(error_.find("holds 30 entries, more than the 20 allowed"), std::string::npos) << error_;
  limits.max_entries = 30;
  EXPECT_TRUE(UnpackArchive(temp_ / "many.qvo", temp_ / "out", limits, &error_)) << error_;
}

TEST_F(AlbumArchiveTest, DuplicateEntryIsRefused) {
  BuildArchive(temp_ / "two.qvo", {{.name = "a.jpg", .data = "first"}, {.name = "b.jpg"}});
  std::string bytes = ReadTextFile(temp_ / "two.qvo");
  for (size_t at = bytes.find("b.jpg"); at != std::string::npos; at = bytes.find("b.jpg")) {
    bytes[at] = 'a';
  }
  WriteTextFile(temp_ / "dup.qvo", bytes);
  EXPECT_FALSE(UnpackArchive(temp_ / "dup.qvo", temp_ / "out", {}, &error_));
  EXPECT_NE(error_.find("same name"), std::string::npos) << error_;
  EXPECT_FALSE(fs::exists(temp_ / "out"));
}

}  // namespace
}  // namespace quorvane::album
