#include "album/album_archive.h"

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <optional>
#include <set>
#include <sys/file.h>
#include <tuple>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>
#include <zip.h>

#include "album/album.h"
#include "album/album_index.h"
#include "album/archive_store.h"
#include "album/batch_operations.h"
#include "album/photo_operations.h"
#include "platform/file_lock.h"
#include "testing/raw_zip.h"
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

struct ZipEntry {
  std::string name;
  std::string data = "bytes";
  uint32_t unix_mode = 0100644;
  int32_t method = ZIP_CM_DEFLATE;
};

// Writes an archive exactly as described, however unwise, with libzip.
void BuildArchive(const fs::path& path, const std::vector<ZipEntry>& entries) {
  int code = 0;
  zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code);
  ASSERT_NE(zip, nullptr);
  for (const ZipEntry& entry : entries) {
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

// Writes `size` into every size field of the local (offset 22) and central (offset 24) headers.
void SetDeclaredSizes(std::string* bytes, uint32_t size) {
  for (const auto& [signature, offset] : {std::pair{"PK\3\4", 22}, {"PK\1\2", 24}}) {
    for (size_t at = bytes->find(signature); at != std::string::npos;
         at = bytes->find(signature, at + 1)) {
      for (int b = 0; b < 4; ++b) (*bytes)[at + offset + b] = static_cast<char>(size >> (8 * b));
    }
  }
}

// Damages a good archive of "a.png" (100000 deflated bytes) and "b.jpg" as `how` says.
std::string Damaged(std::string good, std::string_view how) {
  if (how == "Empty") return "";
  if (how == "Garbage") return NoiseBytes(5000);
  if (how == "Truncated") return good.substr(0, good.size() / 2);
  if (how == "TailCut") return good.substr(0, good.size() - 10);
  if (how == "CorruptDeflateData") {
    const size_t middle = good.find("b.jpg") + 25000;
    for (size_t i = middle; i < middle + 100; ++i) good[i] = ~good[i];
  }
  if (how == "DuplicateName") {
    for (size_t at; (at = good.find("b.jpg")) != std::string::npos;) good.replace(at, 5, "a.png");
  }
  if (how == "HugeDeclaredSize") SetDeclaredSizes(&good, 0xfffffff0u);
  if (how == "UnderstatedDeclaredSize") SetDeclaredSizes(&good, 1000);
  return good;
}

// Points the temporary folder, where working copies go, elsewhere for one scope.
class ScopedTmpDir {
 public:
  explicit ScopedTmpDir(const fs::path& folder) {
    if (const char* old = std::getenv("TMPDIR")) saved_ = old;
    ::setenv("TMPDIR", folder.c_str(), 1);
  }
  ~ScopedTmpDir() { saved_ ? ::setenv("TMPDIR", saved_->c_str(), 1) : ::unsetenv("TMPDIR"); }

 private:
  std::optional<std::string> saved_;
};

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
    album.photos().emplace_back().image_file = "beach.jpg";
    EXPECT_TRUE(AlbumIndex::SaveIndex(album)) << album.last_error();
    return folder;
  }

  TempDir temp_;
  std::string error_;
};

TEST_F(AlbumArchiveTest, PackOpenChangeCommitAndReopen) {
  const fs::path folder = MakeAlbumFolder();
  fs::create_directory(folder / "not-part-of-the-album");
  fs::create_symlink("/etc/hostname", folder / "link.jpg");
  const fs::path archive = temp_ / "summer.qvo";
  ASSERT_TRUE(PackAlbumFolder(folder, archive, {}, &error_)) << error_;
  EXPECT_EQ(FilesIn(temp_.path()), (std::set<std::string>{"album", "summer.qvo"}));

  fs::path working_copy;
  {
    ArchiveLimits limits;
    limits.max_entries = 4;  // exactly the files packed: the limit itself is allowed
    auto store = ArchiveStore::Open(archive, limits, &error_);
    ASSERT_NE(store, nullptr) << error_;
    working_copy = store->working_copy();
    EXPECT_EQ(working_copy.parent_path(), fs::temp_directory_path());
    EXPECT_EQ(working_copy.filename().string().rfind("qvo", 0), 0u) << working_copy;
    EXPECT_EQ(fs::status(working_copy).permissions() & fs::perms::all, fs::perms::owner_all);
    for (const std::string name : {"beach.jpg", "map.png"}) {
      std::string bytes;
      ASSERT_TRUE(store->ReadFile(name, &bytes)) << store->LastError();
      EXPECT_EQ(bytes, ReadTextFile(folder / name)) << name;
    }
    // By path, a photo is unpacked on first use.
    const fs::path beach = store->LocalPath("beach.jpg");
    EXPECT_EQ(beach, working_copy / "beach.jpg");
    EXPECT_EQ(ReadTextFile(beach), ReadTextFile(folder / "beach.jpg"));
    Album album(std::move(store));
    ASSERT_TRUE(AlbumIndex::LoadIndex(album)) << album.last_error();
    EXPECT_EQ(album.title(), "Summer & sea");
    album.set_title("Renamed");
    ASSERT_TRUE(album.store().WriteFile("notes.png", "new file"));
    // One photo added, one added and removed: kept for undo only, it stays out of the archive.
    image::Image picture;
    ASSERT_TRUE(picture.Create(50, 40, false));
    ASSERT_TRUE(picture.Save(temp_ / "new.png", image::ImageFormat::kPng));
    ASSERT_TRUE(AddImageFromDisk(album, temp_ / "new.png", "new.png", -1)) << album.last_error();
    ASSERT_TRUE(AddImageFromDisk(album, temp_ / "new.png", "gone.png", -1)) << album.last_error();
    const size_t last[] = {2};
    ASSERT_EQ(DeletePhotos(album, last, platform::NoProgress(), nullptr).done, 1);
    ASSERT_TRUE(SaveAlbum(album)) << album.last_error();
  }
  EXPECT_FALSE(fs::exists(working_copy));

  auto store = ArchiveStore::Open(archive, {}, &error_);
  ASSERT_NE(store, nullptr) << error_;
  Album reopened(std::move(store));
  ASSERT_TRUE(AlbumIndex::LoadIndex(reopened)) << reopened.last_error();
  EXPECT_EQ(reopened.title(), "Renamed");
  ASSERT_EQ(reopened.photos().size(), 2u);
  EXPECT_EQ(reopened.photos()[1].width, 50);
  for (const char* name : {"notes.png", "new.png", "_thumb_new.jpg"}) {
    EXPECT_TRUE(reopened.store().FileExists(name)) << name;
  }
  EXPECT_FALSE(reopened.store().FileExists("gone.png"));
  EXPECT_FALSE(reopened.store().FileExists("_thumb_gone.jpg"));
}

// Working copies of programs that crashed are removed by the next Open; one in use, one just
// made and anything that is not ours stay.
TEST_F(AlbumArchiveTest, OpenRemovesAbandonedWorkingCopiesOnly) {
  const fs::path archive = temp_ / "a.qvo";
  ASSERT_TRUE(PackAlbumFolder(MakeAlbumFolder(), archive, {}, &error_)) << error_;
  const fs::path tmp = temp_ / "tmp";
  fs::create_directories(tmp);
  const ScopedTmpDir scoped(tmp);

  auto make = [&](const std::string& name, bool old, fs::perms perms = fs::perms::owner_all) {
    fs::create_directories(tmp / name);
    WriteTextFile(tmp / name / "photo.jpg", "x");
    fs::permissions(tmp / name, perms);
    if (old)
      fs::last_write_time(tmp / name, fs::file_time_type::clock::now() - std::chrono::hours(2));
  };
  make("qvoAbAnDn", true);
  make("qvoRecent", false);
  make("qvoOpenly", true, fs::perms::owner_all | fs::perms::group_read);  // not our mode
  make("qvoInUse1", true);
  make("other1234", true);
  const int in_use = ::open((tmp / "qvoInUse1").c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(::flock(in_use, LOCK_EX), 0);

  {
    auto store = ArchiveStore::Open(archive, {}, &error_);
    ASSERT_NE(store, nullptr) << error_;
    std::set<std::string> left = FilesIn(tmp);
    left.erase(store->working_copy().filename().string());
    EXPECT_EQ(left, (std::set<std::string>{"other1234", "qvoInUse1", "qvoOpenly", "qvoRecent"}));
    // An open store's own working copy is in use for the next one.
    fs::last_write_time(store->working_copy(),
                        fs::file_time_type::clock::now() - std::chrono::hours(2));
    auto second = ArchiveStore::Open(archive, {}, &error_);
    ASSERT_NE(second, nullptr) << error_;
    EXPECT_TRUE(fs::exists(store->working_copy()));
  }
  ::close(in_use);
}

struct PackedEntry {
  int method;
  uint64_t compressed_size;
  uint32_t crc;
  friend bool operator==(const PackedEntry&, const PackedEntry&) = default;
};

// How each entry of an archive is stored, by name.
std::map<std::string, PackedEntry> EntriesOf(const fs::path& archive) {
  std::map<std::string, PackedEntry> entries;
  int code = 0;
  zip_t* zip = zip_open(archive.c_str(), ZIP_RDONLY, &code);
  EXPECT_NE(zip, nullptr) << code;
  if (zip == nullptr) return entries;
  for (zip_int64_t i = 0; i < zip_get_num_entries(zip, 0); ++i) {
    zip_stat_t stat;
    EXPECT_EQ(zip_stat_index(zip, static_cast<zip_uint64_t>(i), 0, &stat), 0);
    entries[stat.name] = {stat.comp_method, stat.comp_size, stat.crc};
  }
  zip_discard(zip);
  return entries;
}

// An album opened from its archive unpacks nothing until a file is needed by path; what is
// never unpacked goes into the next archive exactly as it was packed (here at level 1, where a
// fresh compression would use the store's level 6), and exchanged files trade entries.
TEST_F(AlbumArchiveTest, OpensWithoutUnpackingAndCarriesUntouchedEntriesOver) {
  const fs::path folder = MakeAlbumFolder();
  std::string table;
  for (int i = 0; i < 40000; ++i) table += "row " + std::to_string(i * 7919 % 10007) + "\n";
  WriteTextFile(folder / "table.png", table);
  const fs::path archive = temp_ / "summer.qvo";
  PackOptions fast;
  fast.level = 1;
  ASSERT_TRUE(PackAlbumFolder(folder, archive, fast, &error_)) << error_;
  const std::map<std::string, PackedEntry> packed = EntriesOf(archive);

  auto store = ArchiveStore::Open(archive, {}, &error_);
  ASSERT_NE(store, nullptr) << error_;
  const fs::path working_copy = store->working_copy();
  Album album(std::move(store));
  ASSERT_TRUE(AlbumIndex::LoadIndex(album)) << album.last_error();
  ASSERT_EQ(album.photos().size(), 1u);
  std::vector<std::string> names;
  ASSERT_TRUE(album.store().ListFiles(&names));
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()),
            (std::set<std::string>{"_thumb_beach.jpg.jpg", "beach.jpg", "index.quorvane", "map.png",
                                   "table.png"}));
  EXPECT_TRUE(album.store().FileExists("table.png"));
  ASSERT_TRUE(album.store().ExchangeFiles("map.png", "beach.jpg")) << album.store().LastError();
  std::string bytes;
  ASSERT_TRUE(album.store().ReadFile("map.png", &bytes));
  EXPECT_EQ(bytes, ReadTextFile(folder / "beach.jpg"));
  EXPECT_TRUE(fs::is_empty(working_copy));

  album.set_title("Renamed");
  ASSERT_TRUE(SaveAlbum(album)) << album.last_error();
  EXPECT_EQ(FilesIn(working_copy), std::set<std::string>{"index.quorvane"});
  const std::map<std::string, PackedEntry> repacked = EntriesOf(archive);
  EXPECT_EQ(repacked.at("table.png"), packed.at("table.png"));
  EXPECT_EQ(repacked.at("map.png"), packed.at("beach.jpg"));
  EXPECT_EQ(repacked.at("beach.jpg"), packed.at("map.png"));
  EXPECT_EQ(repacked.at("_thumb_beach.jpg.jpg"), packed.at("_thumb_beach.jpg.jpg"));

  // The store goes on from the new archive.
  ASSERT_TRUE(album.store().ReadFile("table.png", &bytes)) << album.store().LastError();
  EXPECT_EQ(bytes, table);
  ASSERT_TRUE(UnpackArchive(archive, temp_ / "out", {}, &error_)) << error_;
  EXPECT_EQ(ReadTextFile(temp_ / "out" / "beach.jpg"), std::string(200000, 'm'));
  EXPECT_EQ(ReadTextFile(temp_ / "out" / "table.png"), table);
}

// Two programs with one archive open, each saving its own changes: neither save may drop the
// other's photos, files or fields, and each save holds the archive for itself.
TEST_F(AlbumArchiveTest, TwoProgramsSavingOneArchiveKeepWhatTheOtherSaved) {
  const fs::path archive = temp_ / "shared.qvo";
  ASSERT_TRUE(PackAlbumFolder(MakeAlbumFolder(), archive, {}, &error_)) << error_;
  auto open = [&] {
    auto album = std::make_unique<Album>(ArchiveStore::Open(archive, {}, &error_));
    EXPECT_TRUE(AlbumIndex::LoadIndex(*album)) << album->last_error();
    return album;
  };
  auto add = [](Album& album, const std::string& name, const std::string& bytes) {
    ASSERT_TRUE(album.store().WriteNewFile(name, bytes)) << album.store().LastError();
    album.photos().emplace_back().image_file = name;
  };
  auto first = open();
  auto second = open();
  // The second program has its own copy of map.png, which the first then replaces.
  ASSERT_FALSE(second->store().LocalPath("map.png").empty());

  first->set_title("First");
  add(*first, "x.jpg", "x");
  add(*first, "same.jpg", "first's");
  ASSERT_TRUE(first->store().WriteFile("map.png", "new map"));
  {
    platform::FileLock held;
    ASSERT_TRUE(first->store().LockIndex(&held, std::chrono::milliseconds(0)));
    platform::FileLock other;
    EXPECT_FALSE(second->store().LockIndex(&other, std::chrono::milliseconds(0)));
    EXPECT_EQ(second->store().LastError(),
              "\"" + archive.string() + "\" is in use by another program");
  }
  ASSERT_TRUE(SaveAlbum(*first)) << first->last_error();

  // A file of a name the first program added meanwhile cannot join the archive beside it.
  second->set_description("Second");
  add(*second, "same.jpg", "second's");
  EXPECT_FALSE(SaveAlbum(*second));
  EXPECT_EQ(second->last_error(),
            "Another program added \"same.jpg\" to " + archive.string() +
                " while this one added a file of that name; nothing was saved, so that neither "
                "is lost");
  second->photos().pop_back();
  ASSERT_TRUE(second->store().RemoveFile("same.jpg"));
  add(*second, "y.jpg", "y");
  ASSERT_TRUE(SaveAlbum(*second)) << second->last_error();

  // The first program's next save starts from what the second saved.
  first->photos()[0].title = "caption";
  ASSERT_TRUE(SaveAlbum(*first)) << first->last_error();

  auto now = open();
  EXPECT_EQ(now->title(), "First");
  EXPECT_EQ(now->description(), "Second");
  std::vector<std::string> names;
  for (const AlbumPhoto& photo : now->photos()) names.push_back(photo.image_file);
  EXPECT_EQ(names, (std::vector<std::string>{"beach.jpg", "x.jpg", "same.jpg", "y.jpg"}));
  EXPECT_EQ(now->photos()[0].title, "caption");
  for (const auto& [name, bytes] : std::map<std::string, std::string>{
           {"x.jpg", "x"}, {"same.jpg", "first's"}, {"y.jpg", "y"}, {"map.png", "new map"}}) {
    std::string stored;
    EXPECT_TRUE(now->store().ReadFile(name, &stored)) << name;
    EXPECT_EQ(stored, bytes) << name;
  }
}

// Entry data is judged as it is unpacked: a damaged or understated entry spoils that one file
// (read or unpacked, with the message unpacking gives) and leaves nothing in the working copy.
TEST_F(AlbumArchiveTest, EntriesUnpackedOnDemandKeepTheDataRules) {
  BuildArchive(temp_ / "good.qvo", {{.name = "a.png", .data = std::string(100000, 'a')},
                                    {.name = "b.jpg", .data = NoiseBytes(50000)}});
  for (const auto& [how, name, problem] :
       {std::tuple{"UnderstatedDeclaredSize", "a.png", "holds more data than it declares"},
        std::tuple{"CorruptDeflateData", "b.jpg", "is damaged"}}) {
    const fs::path archive = temp_ / (std::string(how) + ".qvo");
    WriteTextFile(archive, Damaged(ReadTextFile(temp_ / "good.qvo"), how));
    auto store = ArchiveStore::Open(archive, {}, &error_);
    ASSERT_NE(store, nullptr) << error_;
    const std::string expected =
        "Unable to unpack \"" + archive.string() + "\": entry \"" + name + "\" " + problem;
    EXPECT_TRUE(store->FileExists(name));
    EXPECT_EQ(store->LocalPath(name), fs::path());
    EXPECT_EQ(store->LastError().substr(0, expected.size()), expected);
    std::string bytes;
    EXPECT_FALSE(store->ReadFile(name, &bytes));
    EXPECT_EQ(store->LastError().substr(0, expected.size()), expected);
    EXPECT_TRUE(fs::is_empty(store->working_copy())) << how;
  }
}

// An archive, or one of its entries, that would not fit on the disk is refused before a byte
// is written, with the sizes in the message; an archive that claims a petabyte stands in.
TEST_F(AlbumArchiveTest, WhatWouldNotFitOnTheDiskIsRefusedBeforeWriting) {
  const fs::path archive = temp_ / "huge.qvo";
  // Its data inflates to nothing: only the claim should matter before anything is written.
  WriteTextFile(archive, testing::RawZip({{"huge.png", 8, 0, uint64_t{1} << 50, {"\3\0", 2}}}));
  const ArchiveLimits no_limits{.max_total_bytes = UINT64_MAX};
  const std::string prefix = "Unable to unpack \"" + archive.string() + "\": ";

  auto starts_with = [](const std::string& text, const std::string& start) {
    return text.substr(0, start.size()) == start;
  };
  EXPECT_FALSE(UnpackArchive(archive, temp_ / "out", no_limits, &error_));
  EXPECT_TRUE(starts_with(error_, prefix + "it unpacks to 1.0 PB, but only ")) << error_;
  EXPECT_TRUE(error_.ends_with(" are free on the disk of \"" + (temp_ / "out").string() + "\""))
      << error_;
  EXPECT_FALSE(fs::exists(temp_ / "out"));

  auto store = ArchiveStore::Open(archive, no_limits, &error_);
  ASSERT_NE(store, nullptr) << error_;
  EXPECT_TRUE(store->FileExists("huge.png"));
  EXPECT_EQ(store->LocalPath("huge.png"), fs::path());
  EXPECT_TRUE(
      starts_with(store->LastError(), prefix + "entry \"huge.png\" unpacks to 1.0 PB, but only "))
      << store->LastError();
  EXPECT_TRUE(fs::is_empty(store->working_copy()));
}

TEST_F(AlbumArchiveTest, CancelledPackLeavesPreviousArchiveAndNoTemporaryFile) {
  const fs::path folder = MakeAlbumFolder();
  WriteTextFile(temp_ / "summer.qvo", "the previous archive");
  // The user cancels once a fifth is done.
  struct CancelAtAFifth : platform::ProgressSink {
    void SetPosition(int64_t done, int64_t of) override { cancel = cancel || done * 5 >= of; }
    bool Cancelled() const override { return cancel; }
    bool cancel = false;
  } progress;
  PackOptions options;
  options.progress = &progress;
  EXPECT_FALSE(PackAlbumFolder(folder, temp_ / "summer.qvo", options, &error_));
  EXPECT_TRUE(error_.ends_with("cancelled")) << error_;
  EXPECT_EQ(ReadTextFile(temp_ / "summer.qvo"), "the previous archive");
  EXPECT_EQ(FilesIn(temp_.path()), (std::set<std::string>{"album", "summer.qvo"}));
}

TEST_F(AlbumArchiveTest, UnpackNeverWritesIntoAFolderThatIsNotEmpty) {
  BuildArchive(temp_ / "a.qvo", {{.name = "a.jpg"}});
  WriteTextFile(temp_ / "out" / "a.jpg", "mine");
  EXPECT_FALSE(UnpackArchive(temp_ / "a.qvo", temp_ / "out", {}, &error_));
  EXPECT_NE(error_.find("is not empty"), std::string::npos) << error_;
  EXPECT_EQ(ReadTextFile(temp_ / "out" / "a.jpg"), "mine");

  fs::create_directory(temp_ / "folder.qvo");
  EXPECT_TRUE(IsArchivePath(temp_ / "Trip.QVO"));
  EXPECT_FALSE(IsArchivePath(temp_ / "folder.qvo"));
  EXPECT_FALSE(IsArchivePath("trip.qvo.zip"));
}

// A good entry first, then the hostile one, so a partial unpack would show.
struct HostileCase {
  const char* label;
  ZipEntry bad;
  const char* problem;  // the message is "Unable to unpack <archive>: entry <name> <problem>"
};

class HostileArchiveTest : public AlbumArchiveTest,
                           public ::testing::WithParamInterface<HostileCase> {};

TEST_P(HostileArchiveTest, IsRefusedWithItsMessageAndWritesNothing) {
  const fs::path sandbox = temp_ / "sandbox";
  fs::create_directories(sandbox / "out");
  const fs::path archive = sandbox / "bad.qvo";
  BuildArchive(archive, {{.name = "good.jpg"}, GetParam().bad});
  const std::string expected = "Unable to unpack \"" + archive.string() + "\": entry \"" +
                               GetParam().bad.name + "\" " + GetParam().problem;

  EXPECT_FALSE(UnpackArchive(archive, sandbox / "out" / "album", {}, &error_));
  EXPECT_EQ(error_, expected);
  EXPECT_EQ(FilesIn(sandbox), (std::set<std::string>{"bad.qvo", "out"}));
  EXPECT_TRUE(fs::is_empty(sandbox / "out"));

  // Opened as an album, its working copy goes away again.
  {
    const ScopedTmpDir scoped(sandbox / "out");
    EXPECT_EQ(ArchiveStore::Open(archive, {}, &error_), nullptr);
  }
  EXPECT_EQ(error_, expected);
  EXPECT_TRUE(fs::is_empty(sandbox / "out"));
}

INSTANTIATE_TEST_SUITE_P(
    Entries, HostileArchiveTest,
    ::testing::Values(
        HostileCase{"Absolute", {.name = "/tmp/evil.jpg"}, "has an absolute name"},
        HostileCase{"BackslashAbsolute", {.name = "\\evil.jpg"}, "has an absolute name"},
        HostileCase{"ParentFolder", {.name = "../evil.jpg"}, "holds \"..\""},
        HostileCase{"DriveLetter", {.name = "C:evil.jpg"}, "names a drive"},
        HostileCase{"Backslash", {.name = "sub\\evil.jpg"}, "holds a backslash"},
        HostileCase{
            "Subfolder", {.name = "photos/a.jpg"}, "is in a folder (album archives are flat)"},
        HostileCase{"StreamName", {.name = "a.jpg:stream"}, "holds a colon"},
        HostileCase{"ControlCharacter", {.name = "a\nb.jpg"}, "holds a control character"},
        HostileCase{"Device", {.name = "con.jpg"}, "has the name of a device"},
        HostileCase{"Symlink",
                    {.name = "link.jpg", .data = "/etc/passwd", .unix_mode = 0120777},
                    "is a link"},
        HostileCase{"Fifo", {.name = "pipe.jpg", .unix_mode = 0010644}, "is not a regular file"},
        HostileCase{"Bzip2",
                    {.name = "b.png", .method = ZIP_CM_BZIP2},
                    "uses a compression method other than store and deflate"}),
    [](const auto& test) { return std::string(test.param.label); });

// Damaged bytes and bombs: each gives an error (never a crash) and leaves nothing behind.
struct DamagedCase {
  const char* how;  // for Damaged()
  const char* expected_error;
  uint64_t max_entries = 100000;
};

class DamagedArchiveTest : public AlbumArchiveTest,
                           public ::testing::WithParamInterface<DamagedCase> {};

TEST_P(DamagedArchiveTest, GivesErrorAndWritesNothing) {
  BuildArchive(temp_ / "good.qvo", {{.name = "a.png", .data = std::string(100000, 'a')},
                                    {.name = "b.jpg", .data = NoiseBytes(50000)}});
  const std::string bytes = Damaged(ReadTextFile(temp_ / "good.qvo"), GetParam().how);
  WriteTextFile(temp_ / "bad.qvo", bytes);
  const ArchiveLimits limits{.max_total_bytes = 1 << 20, .max_entries = GetParam().max_entries};

  EXPECT_FALSE(UnpackArchive(temp_ / "bad.qvo", temp_ / "out", limits, &error_));
  EXPECT_NE(error_.find(GetParam().expected_error), std::string::npos) << error_;
  EXPECT_FALSE(fs::exists(temp_ / "out"));
  EXPECT_FALSE(UnpackArchiveBytes(bytes, temp_ / "out", limits, &error_));
  EXPECT_NE(error_.find(GetParam().expected_error), std::string::npos) << error_;
  EXPECT_FALSE(fs::exists(temp_ / "out"));
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, DamagedArchiveTest,
    ::testing::Values(DamagedCase{"Empty", "empty"}, DamagedCase{"Garbage", "Not a zip archive"},
                      DamagedCase{"Truncated", "Unable to unpack"},
                      DamagedCase{"TailCut", "Unable to unpack"},
                      DamagedCase{"CorruptDeflateData", "entry \"b.jpg\" is damaged"},
                      DamagedCase{"DuplicateName", "same name"},
                      DamagedCase{"TooManyEntries", "it holds 2 entries, more than the 1 allowed",
                                  1},
                      DamagedCase{"HugeDeclaredSize", "more than the 1048576 bytes allowed"},
                      // The sizes say 1000 bytes, the deflate stream holds 100000.
                      DamagedCase{"UnderstatedDeclaredSize", "entry \"a.png\""}),
    [](const auto& test) { return std::string(test.param.how); });

}  // namespace
}  // namespace quorvane::album
