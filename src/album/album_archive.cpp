#include "album/album_archive.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <set>
#include <system_error>
#include <vector>

#include <zip.h>

#include "platform/ascii.h"
#include "platform/file_util.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace quorvane::album {
namespace fs = std::filesystem;

namespace {

// The 22-byte end record of a ZIP with no entries; libzip deletes an archive instead of
// writing one that is empty, but an empty album must still pack and open again.
constexpr char kEmptyZip[22] = {'P', 'K', 5, 6};

// Unix file types in the upper half of a ZIP entry's external attributes.
constexpr uint32_t kUnixTypeMask = 0170000;
constexpr uint32_t kUnixRegular = 0100000;
constexpr uint32_t kUnixLink = 0120000;
// MS-DOS and Windows attribute bits in the lower half.
constexpr uint32_t kDosDirectory = 0x10;
constexpr uint32_t kWindowsReparsePoint = 0x400;

constexpr size_t kCopyBufferSize = 1 << 18;

struct ZipCloser {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ZipPtr = std::unique_ptr<zip_t, ZipCloser>;

struct ZipFileCloser {
  void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using ZipFilePtr = std::unique_ptr<zip_file_t, ZipFileCloser>;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// libzip takes UTF-8 file names on every platform; std::filesystem does not, on Windows.
std::string Utf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

fs::path FromUtf8(std::string_view text) {
  return fs::path(std::u8string(text.begin(), text.end()));
}

// Windows opens a device, not a file, for these names whatever their extension.
bool IsWindowsDeviceName(std::string_view name) {
  const std::string_view stem = name.substr(0, name.find('.'));
  for (std::string_view device : {"CON", "PRN", "AUX", "NUL"}) {
    if (platform::EqualsIgnoringAsciiCase(stem, device)) return true;
  }
  if (stem.size() == 4 && std::isdigit(static_cast<unsigned char>(stem[3])) && stem[3] != '0') {
    return platform::EqualsIgnoringAsciiCase(stem.substr(0, 3), "COM") ||
           platform::EqualsIgnoringAsciiCase(stem.substr(0, 3), "LPT");
  }
  return false;
}

bool HoldsDotDot(std::string_view name) {
  size_t start = 0;
  while (start <= name.size()) {
    const size_t end = std::min(name.find_first_of("/\\", start), name.size());
    if (name.substr(start, end - start) == "..") return true;
    start = end + 1;
  }
  return false;
}

// Why `name` may not become a file of an album folder, or empty when it may. The tests run
// from the most to the least alarming, so a message names the worst thing about a name.
std::string NameProblem(std::string_view name) {
  if (name.empty()) return "has an empty name";
  if (name.front() == '/' || name.front() == '\\') return "has an absolute name";
  if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0]))) {
    return "names a drive";
  }
  if (name == "." || HoldsDotDot(name)) return "holds \"..\"";
  if (name.find('\\') != std::string_view::npos) return "holds a backslash";
  if (name.find('/') != std::string_view::npos) return "is in a folder (album archives are flat)";
  if (name.find(':') != std::string_view::npos) return "holds a colon";
  for (const char c : name) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return "holds a control character";
  }
  if (IsWindowsDeviceName(name)) return "has the name of a device";
  return {};
}

bool IsJpegName(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return false;
  const std::string_view extension = name.substr(dot);
  return platform::EqualsIgnoringAsciiCase(extension, ".jpg") || platform::EqualsIgnoringAsciiCase(extension, ".jpeg") ||
         platform::EqualsIgnoringAsciiCase(extension, ".jpe");
}

std::string ZipErrorText(int code) {
  // libzip finds duplicate names itself when it reads the central directory.
  if (code == ZIP_ER_EXISTS) return "two entries have the same name";
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  std::string text = zip_error_strerror(&error);
  zip_error_fini(&error);
  return text;
}

#ifndef _WIN32
// Flushes a finished file to the disk before it is renamed over a good one.
bool SyncFile(const fs::path& path, std::string* reason) {
  const int fd = ::open(path.c_str(), O_RDONLY);
  if (fd < 0 || ::fsync(fd) != 0) {
    *reason = platform::ErrorText(errno);
    if (fd >= 0) ::close(fd);
    return false;
  }
  ::close(fd);
  return true;
}

void SyncFolder(const fs::path& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd >= 0) {
    ::fsync(fd);
    ::close(fd);
  }
}

#else
bool SyncFile(const fs::path&, std::string*) { return true; }
void SyncFolder(const fs::path&) {}
#endif

// A fresh, empty file beside `archive` for libzip to write into; libzip itself writes to a
// temporary file and renames it over this one, and this one is renamed over the archive
// only once it is complete and on the disk. It gets the mode of the archive it replaces, or
// the usual 0666 less the umask, which *mode returns so it can be restored after libzip.
bool MakeTempBeside(const fs::path& archive, fs::path* temp, int* mode, std::string* reason) {
  const fs::path folder = archive.has_parent_path() ? archive.parent_path() : fs::path(".");
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const fs::path candidate =
        folder / ("." + Utf8(archive.filename()) + "." + std::to_string(random()) + ".tmp");
#ifndef _WIN32
    struct stat existing;
    const bool replaces = ::stat(archive.c_str(), &existing) == 0;
    const int fd = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                          replaces ? existing.st_mode & 07777 : 0666);
    if (fd < 0 && errno == EEXIST) continue;
    struct stat made;
    if (fd < 0 || (replaces && ::fchmod(fd, existing.st_mode & 07777) != 0) ||
        ::fstat(fd, &made) != 0) {
      *reason = platform::ErrorText(errno);
      if (fd >= 0) {
        ::close(fd);
        ::unlink(candidate.c_str());
      }
      return false;
    }
    ::close(fd);
    *mode = static_cast<int>(made.st_mode & 07777);
#else
    std::FILE* file = _wfopen(candidate.c_str(), L"wbx");
    if (file == nullptr && errno == EEXIST) continue;
    if (file == nullptr) {
      *reason = platform::ErrorText(errno);
      return false;
    }
    std::fclose(file);
    *mode = 0;
#endif
    *temp = candidate;
    return true;
  }
  *reason = "no free temporary name";
  return false;
}

struct PackState {
  const PackOptions* options;
  bool cancelled = false;
};

void OnPackProgress(zip_t*, double fraction, void* state) {
  auto* pack = static_cast<PackState*>(state);
  if (!pack->options->progress(fraction)) pack->cancelled = true;
}

int OnPackCancelCheck(zip_t*, void* state) { return static_cast<PackState*>(state)->cancelled; }

// Unpacks an opened archive; `label` names it in messages.
class Unpacker {
 public:
  Unpacker(zip_t* archive, std::string label, const ArchiveLimits& limits, std::string* error)
      : archive_(archive), label_(std::move(label)), limits_(limits), error_(error) {}

  bool Run(const fs::path& folder) {
    std::vector<Entry> entries;
    if (!Check(&entries)) return false;
    if (!PrepareFolder(folder)) return false;
    for (const Entry& entry : entries) {
      if (!Extract(entry, folder)) {
        Undo(folder);
        return false;
      }
    }
    return true;
  }

 private:
  struct Entry {
    zip_uint64_t index;
    std::string name;
    zip_uint64_t size;
    time_t mtime;
    bool has_mtime;
  };

  bool Fail(std::string problem) {
    *error_ = "Unable to unpack " + label_ + ": " + std::move(problem);
    return false;
  }
  bool FailEntry(std::string_view name, std::string_view problem) {
    return Fail("entry " + Quoted(name) + " " + std::string(problem));
  }

  // Every entry is judged before the first byte is written, so a refused archive leaves
  // nothing behind, not even the harmless files that came before the bad entry.
  bool Check(std::vector<Entry>* entries) {
    const zip_int64_t count = zip_get_num_entries(archive_, 0);
    if (count < 0) return Fail("the archive is damaged");
    if (static_cast<uint64_t>(count) > limits_.max_entries) {
      return Fail("it holds " + std::to_string(count) + " entries, more than the " +
                  std::to_string(limits_.max_entries) + " allowed");
    }
    std::set<std::string, std::less<>> names;
    uint64_t total = 0;
    for (zip_uint64_t i = 0; i < static_cast<zip_uint64_t>(count); ++i) {
      const char* raw_name = zip_get_name(archive_, i, ZIP_FL_ENC_GUESS);
      if (raw_name == nullptr) return Fail("the archive is damaged: " + ZipError());
      const std::string name = raw_name;
      if (const std::string problem = NameProblem(name); !problem.empty()) {
        return FailEntry(name, problem);
      }
      zip_uint8_t system = 0;
      zip_uint32_t attributes = 0;
      if (zip_file_get_external_attributes(archive_, i, 0, &system, &attributes) != 0) {
        return Fail("the archive is damaged: " + ZipError());
      }
      const uint32_t unix_type = (attributes >> 16) & kUnixTypeMask;
      if ((attributes & kWindowsReparsePoint) != 0 ||
          (system == ZIP_OPSYS_UNIX && unix_type == kUnixLink)) {
        return FailEntry(name, "is a link");
      }
      if ((attributes & kDosDirectory) != 0 ||
          (system == ZIP_OPSYS_UNIX && unix_type != 0 && unix_type != kUnixRegular)) {
        return FailEntry(name, "is not a regular file");
      }
      zip_stat_t stat;
      if (zip_stat_index(archive_, i, 0, &stat) != 0) {
        return Fail("the archive is damaged: " + ZipError());
      }
      if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && stat.encryption_method != ZIP_EM_NONE) {
        return FailEntry(name, "is encrypted");
      }
      if ((stat.valid & ZIP_STAT_COMP_METHOD) == 0 ||
          (stat.comp_method != ZIP_CM_STORE && stat.comp_method != ZIP_CM_DEFLATE)) {
        return FailEntry(name, "uses a compression method other than store and deflate");
      }
      if ((stat.valid & ZIP_STAT_SIZE) == 0) return FailEntry(name, "has no size");
      if (stat.size > limits_.max_total_bytes - total) {
        return Fail("it would unpack to more than the " + std::to_string(limits_.max_total_bytes) +
                    " bytes allowed");
      }
      total += stat.size;
      if (!names.insert(name).second) return FailEntry(name, "has the same name as another entry");
      entries->push_back({i, name, stat.size, stat.mtime, (stat.valid & ZIP_STAT_MTIME) != 0});
    }
    return true;
  }

  bool PrepareFolder(const fs::path& folder) {
    std::error_code ec;
    if (fs::exists(folder, ec)) {
      if (!fs::is_directory(folder, ec)) return Fail(Quoted(Utf8(folder)) + " is not a folder");
      if (!fs::is_empty(folder, ec))
        return Fail("the folder " + Quoted(Utf8(folder)) + " is not empty");
      return true;
    }
    if (!fs::create_directories(folder, ec)) {
      return Fail("cannot create the folder " + Quoted(Utf8(folder)) + ": " + ec.message());
    }
    created_folder_ = true;
    return true;
  }

  bool Extract(const Entry& entry, const fs::path& folder) {
    ZipFilePtr in(zip_fopen_index(archive_, entry.index, 0));
    if (!in) return FailEntry(entry.name, "is damaged: " + ZipError());
    const fs::path path = folder / FromUtf8(entry.name);
    // "x" (exclusive create) never opens an existing file or follows a link planted there;
    // on a file system that ignores case it also catches names that differ only in case.
#ifdef _WIN32
    std::unique_ptr<std::FILE, FileCloser> out(_wfopen(path.c_str(), L"wbx"));
#else
    std::unique_ptr<std::FILE, FileCloser> out(std::fopen(path.c_str(), "wbx"));
#endif
    if (!out) {
      if (errno == EEXIST) return FailEntry(entry.name, "has the same name as another entry");
      return Fail("cannot write " + Quoted(Utf8(path)) + ": " + platform::ErrorText(errno));
    }
    written_.push_back(path);
    if (buffer_.empty()) buffer_.resize(kCopyBufferSize);
    uint64_t done = 0;
    for (;;) {
      const zip_int64_t got = zip_fread(in.get(), buffer_.data(), buffer_.size());
      if (got < 0)
        return FailEntry(entry.name, "is damaged: " + std::string(zip_file_strerror(in.get())));
      if (got == 0) break;
      done += static_cast<uint64_t>(got);
      // The declared sizes were checked against the limits; a stream that inflates to more
      // than it declared is a bomb in disguise and is stopped here.
      if (done > entry.size) return FailEntry(entry.name, "holds more data than it declares");
      if (std::fwrite(buffer_.data(), 1, static_cast<size_t>(got), out.get()) !=
          static_cast<size_t>(got)) {
        return Fail("cannot write " + Quoted(Utf8(path)) + ": " + platform::ErrorText(errno));
      }
    }
    if (done != entry.size) return FailEntry(entry.name, "holds less data than it declares");
    if (std::fclose(out.release()) != 0) {
      return Fail("cannot write " + Quoted(Utf8(path)) + ": " + platform::ErrorText(errno));
    }
    // A photo's date falls back on its file's time, so the packed time is kept.
    if (entry.has_mtime) {
      std::error_code ec;
      fs::last_write_time(
          path,
          std::chrono::file_clock::from_sys(std::chrono::system_clock::from_time_t(entry.mtime)),
          ec);
    }
    return true;
  }

  void Undo(const fs::path& folder) {
    std::error_code ec;
    for (const fs::path& path : written_) fs::remove(path, ec);
    if (created_folder_) fs::remove(folder, ec);
  }

  std::string ZipError() const { return zip_strerror(archive_); }

  zip_t* archive_;
  std::string label_;
  ArchiveLimits limits_;
  std::string* error_;
  std::vector<fs::path> written_;
  bool created_folder_ = false;
  std::vector<char> buffer_;
};

}  // namespace

bool IsArchivePath(const fs::path& path) {
  std::error_code ec;
  return platform::EqualsIgnoringAsciiCase(Utf8(path.extension()), ".qvo") && !fs::is_directory(path, ec);
}

bool PackAlbumFolder(const fs::path& folder, const fs::path& archive, const PackOptions& options,
                     std::string* error) {
  const std::string prefix =
      "Unable to pack " + Quoted(Utf8(folder)) + " into " + Quoted(Utf8(archive)) + ": ";
  std::vector<std::string> names;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    // An album never holds links or folders of its own; following a link could mail away a
    // file from elsewhere on the disk.
    if (!it->is_regular_file(ec) || it->is_symlink(ec)) continue;
    std::string name = Utf8(it->path().filename());
    if (std::find(options.leave_out.begin(), options.leave_out.end(), name) !=
        options.leave_out.end()) {
      continue;
    }
    if (const std::string problem = NameProblem(name); !problem.empty()) {
      *error = prefix + "the file " + Quoted(name) + " " + problem;
      return false;
    }
    names.push_back(std::move(name));
  }
  if (ec) {
    *error = prefix + ec.message();
    return false;
  }
  std::sort(names.begin(), names.end());

  if (names.empty()) {
    std::string reason;
    if (platform::WriteFileAtomically(archive, std::string_view(kEmptyZip, sizeof kEmptyZip),
                                      &reason)) {
      return true;
    }
    *error = prefix + reason;
    return false;
  }

  fs::path temp;
  int mode = 0;
  std::string reason;
  if (!MakeTempBeside(archive, &temp, &mode, &reason)) {
    *error = prefix + reason;
    return false;
  }
  auto fail = [&](std::string why) {
    fs::remove(temp, ec);
    *error = prefix + std::move(why);
    return false;
  };

  int code = 0;
  ZipPtr zip(zip_open(Utf8(temp).c_str(), ZIP_TRUNCATE, &code));
  if (!zip) return fail(ZipErrorText(code));
  for (const std::string& name : names) {
    zip_source_t* source = zip_source_file(zip.get(), Utf8(folder / FromUtf8(name)).c_str(), 0, 0);
    if (source == nullptr) return fail(zip_strerror(zip.get()));
    const zip_int64_t index = zip_file_add(zip.get(), name.c_str(), source, ZIP_FL_ENC_GUESS);
    if (index < 0) {
      zip_source_free(source);
      return fail(zip_strerror(zip.get()));
    }
    const bool store = options.level <= 0 || (IsJpegName(name) && !options.deflate_jpeg);
    if (zip_set_file_compression(zip.get(), static_cast<zip_uint64_t>(index),
                                 store ? ZIP_CM_STORE : ZIP_CM_DEFLATE,
                                 static_cast<zip_uint32_t>(std::clamp(options.level, 0, 9))) != 0) {
      return fail(zip_strerror(zip.get()));
    }
  }
  PackState state{&options};
  if (options.progress) {
    zip_register_progress_callback_with_state(zip.get(), 0.001, OnPackProgress, nullptr, &state);
    zip_register_cancel_callback_with_state(zip.get(), OnPackCancelCheck, nullptr, &state);
  }
  if (zip_close(zip.get()) != 0) {
    return fail(state.cancelled ? "cancelled" : zip_strerror(zip.get()));
  }
  zip.release();  // zip_close freed it

#ifndef _WIN32
  ::chmod(temp.c_str(), static_cast<mode_t>(mode));  // libzip's own temporary file is private
#endif
  if (!SyncFile(temp, &reason)) return fail(reason);
  fs::rename(temp, archive, ec);
  if (ec) return fail(ec.message());
  SyncFolder(archive.has_parent_path() ? archive.parent_path() : fs::path("."));
  return true;
}

bool UnpackArchive(const fs::path& archive, const fs::path& folder, const ArchiveLimits& limits,
                   std::string* error) {
  const std::string label = Quoted(Utf8(archive));
  std::error_code ec;
  if (fs::is_regular_file(archive, ec) && fs::file_size(archive, ec) == 0) {
    *error = "Unable to unpack " + label + ": the file is empty";
    return false;
  }
  int code = 0;
  ZipPtr zip(zip_open(Utf8(archive).c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &code));
  if (!zip) {
    *error = "Unable to unpack " + label + ": " + ZipErrorText(code);
    return false;
  }
  return Unpacker(zip.get(), label, limits, error).Run(folder);
}

bool UnpackArchiveBytes(std::string_view bytes, const fs::path& folder, const ArchiveLimits& limits,
                        std::string* error) {
  const std::string label = "the archive";
  if (bytes.empty()) {
    *error = "Unable to unpack " + label + ": it is empty";
    return false;
  }
  zip_error_t zip_error;
  zip_error_init(&zip_error);
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &zip_error);
  if (source == nullptr) {
    *error = "Unable to unpack " + label + ": " + zip_error_strerror(&zip_error);
    zip_error_fini(&zip_error);
    return false;
  }
  ZipPtr zip(zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &zip_error));
  if (!zip) {
    zip_source_free(source);
    *error = "Unable to unpack " + label + ": " + ZipErrorText(zip_error_code_zip(&zip_error));
    zip_error_fini(&zip_error);
    return false;
  }
  zip_error_fini(&zip_error);
  return Unpacker(zip.get(), label, limits, error).Run(folder);
}

}  // namespace quorvane::album
