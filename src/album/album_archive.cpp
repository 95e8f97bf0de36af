#include "album/album_archive.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>
#include <set>
#include <system_error>
#include <vector>

#include <zip.h>

#include "platform/ascii.h"
#include "platform/file_util.h"

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
constexpr size_t kFileBufferSize = 1 << 20;

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
  return platform::EqualsIgnoringAsciiCase(extension, ".jpg") ||
         platform::EqualsIgnoringAsciiCase(extension, ".jpeg") ||
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

// "3.6 GB": sizes in messages a person reads.
std::string SizeText(uint64_t bytes) {
  static constexpr const char* kUnits[] = {"bytes", "KB", "MB", "GB", "TB", "PB", "EB"};
  double size = static_cast<double>(bytes);
  int unit = 0;
  while (size >= 1024 && unit < 6) {
    size /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", size, kUnits[unit]);
  return text;
}

// Why `bytes` more would not fit on the disk that holds `path` (a folder that may not exist
// yet), or empty when they would, or when the system cannot say.
std::string SpaceProblem(const fs::path& path, uint64_t bytes) {
  std::error_code ec;
  fs::path probe = path;
  while (!fs::exists(probe, ec) && probe.has_parent_path() && probe.parent_path() != probe) {
    probe = probe.parent_path();
  }
  const fs::space_info space = fs::space(probe.empty() ? fs::path(".") : probe, ec);
  if (ec || bytes <= space.available) return {};
  return "unpacks to " + SizeText(bytes) + ", but only " + SizeText(space.available) +
         " are free on the disk of " + Quoted(Utf8(path));
}

// libzip writes a new archive into the AtomicFile through this source, so the archive has no
// temporary file of libzip's own (which a killed process would leave behind) and reaches the
// disk the way every other file of a person's does.
// libzip writes a few KB at a time; the bytes reach the file in large blocks instead.
struct WriteTarget {
  explicit WriteTarget(platform::AtomicFile* file) : out(file) { zip_error_init(&error); }
  ~WriteTarget() { zip_error_fini(&error); }
  WriteTarget(const WriteTarget&) = delete;
  WriteTarget& operator=(const WriteTarget&) = delete;

  zip_int64_t Failed(int zip_code, int system_code = 0) {
    zip_error_set(&error, zip_code, system_code);
    return -1;
  }
  bool FlushPending() {
    const bool written = out->Write(pending.data(), pending.size(), &reason);
    pending.clear();
    return written;
  }

  platform::AtomicFile* out;
  zip_error_t error;
  std::string pending;  // written at the file's position, ahead of it
  uint64_t position = 0;
  uint64_t size = 0;  // the end of what was written, for seeks from the end
  bool removed = false;
  std::string reason;  // the AtomicFile's message for the last failure
};

zip_int64_t WriteTargetCallback(void* state, void* data, zip_uint64_t length,
                                zip_source_cmd_t command) {
  auto* target = static_cast<WriteTarget*>(state);
  switch (command) {
    case ZIP_SOURCE_SUPPORTS:
      return ZIP_SOURCE_SUPPORTS_WRITABLE;
    case ZIP_SOURCE_STAT:
      // A new archive: libzip takes "no such file" to mean it starts from nothing.
      return target->Failed(ZIP_ER_READ, ENOENT);
    case ZIP_SOURCE_ERROR:
      return zip_error_to_data(&target->error, data, length);
    case ZIP_SOURCE_BEGIN_WRITE:
      target->position = target->size = 0;
      target->pending.clear();
      target->pending.reserve(kFileBufferSize);
      return target->out->Seek(0, &target->reason) ? 0 : target->Failed(ZIP_ER_SEEK, EIO);
    case ZIP_SOURCE_WRITE:
      target->pending.append(static_cast<const char*>(data), length);
      if (target->pending.size() >= kFileBufferSize && !target->FlushPending()) {
        return target->Failed(ZIP_ER_WRITE, EIO);
      }
      target->position += length;
      target->size = std::max(target->size, target->position);
      return static_cast<zip_int64_t>(length);
    case ZIP_SOURCE_SEEK_WRITE: {
      const zip_int64_t offset = zip_source_seek_compute_offset(target->position, target->size,
                                                                data, length, &target->error);
      if (offset < 0) return -1;
      if (!target->FlushPending()) return target->Failed(ZIP_ER_WRITE, EIO);
      if (!target->out->Seek(static_cast<uint64_t>(offset), &target->reason)) {
        return target->Failed(ZIP_ER_SEEK, EIO);
      }
      target->position = static_cast<uint64_t>(offset);
      return 0;
    }
    case ZIP_SOURCE_COMMIT_WRITE:  // the caller commits the AtomicFile
      return target->FlushPending() ? 0 : target->Failed(ZIP_ER_WRITE, EIO);
    case ZIP_SOURCE_TELL_WRITE:
      return static_cast<zip_int64_t>(target->position);
    case ZIP_SOURCE_REMOVE:
      target->removed = true;
      return 0;
    case ZIP_SOURCE_ROLLBACK_WRITE:
    case ZIP_SOURCE_CLOSE:
    case ZIP_SOURCE_FREE:
      return 0;
    default:
      // Nothing reads the new archive back while it is written.
      return target->Failed(ZIP_ER_OPNOTSUPP);
  }
}

struct PackState {
  const PackOptions* options;
  bool cancelled = false;
};

void OnPackProgress(zip_t*, double fraction, void* state) {
  auto* pack = static_cast<PackState*>(state);
  platform::ProgressSink& progress = *pack->options->progress;
  progress.SetPosition(static_cast<int64_t>(fraction * 1000), 1000);
  if (progress.Cancelled()) pack->cancelled = true;
}

int OnPackCancelCheck(zip_t*, void* state) { return static_cast<PackState*>(state)->cancelled; }

// Unpacks every entry of a judged archive into a folder, taking back what it wrote when one
// fails.
class Unpacker {
 public:
  Unpacker(ArchiveReader& reader, std::string label, std::string* error)
      : reader_(reader), label_(std::move(label)), error_(error) {}

  bool Run(const fs::path& folder) {
    uint64_t total = 0;
    for (const ArchiveReader::Entry& entry : reader_.entries()) total += entry.size;
    if (const std::string problem = SpaceProblem(folder, total); !problem.empty()) {
      return Fail("it " + problem);
    }
    if (!PrepareFolder(folder)) return false;
    for (const ArchiveReader::Entry& entry : reader_.entries()) {
      const fs::path path = folder / FromUtf8(entry.name);
      if (!reader_.Extract(entry, path, error_)) {
        Undo(folder);
        return false;
      }
      written_.push_back(path);
    }
    return true;
  }

 private:
  bool Fail(std::string problem) {
    *error_ = "Unable to unpack " + label_ + ": " + std::move(problem);
    return false;
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

  void Undo(const fs::path& folder) {
    std::error_code ec;
    for (const fs::path& path : written_) fs::remove(path, ec);
    if (created_folder_) fs::remove(folder, ec);
  }

  ArchiveReader& reader_;
  std::string label_;
  std::string* error_;
  std::vector<fs::path> written_;
  bool created_folder_ = false;
};

}  // namespace

bool ArchiveReader::Fail(std::string problem, std::string* error) const {
  *error = "Unable to unpack " + label_ + ": " + std::move(problem);
  return false;
}

std::unique_ptr<ArchiveReader> ArchiveReader::Open(const fs::path& archive,
                                                   const ArchiveLimits& limits,
                                                   std::string* error) {
  std::string label = Quoted(Utf8(archive));
  std::error_code ec;
  if (fs::is_regular_file(archive, ec) && fs::file_size(archive, ec) == 0) {
    *error = "Unable to unpack " + label + ": the file is empty";
    return nullptr;
  }
#ifdef _WIN32
  std::FILE* file = _wfopen(archive.c_str(), L"rb");
#else
  std::FILE* file = std::fopen(archive.c_str(), "rbe");
#endif
  if (file == nullptr) {
    *error = "Unable to unpack " + label + ": " + platform::ErrorText(errno);
    return nullptr;
  }
  // libzip reads a few KB at a time, seeking before each read; a large buffer turns that into
  // few reads when an archive is copied on, entry after entry. (Given no buffer, the C library
  // would keep its own small one.)
  auto file_buffer = std::make_unique_for_overwrite<char[]>(kFileBufferSize);
  std::setvbuf(file, file_buffer.get(), _IOFBF, kFileBufferSize);
  zip_error_t zip_error;
  zip_error_init(&zip_error);
  zip_source_t* source = zip_source_filep_create(file, 0, -1, &zip_error);
  zip_t* zip = source == nullptr
                   ? nullptr
                   : zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &zip_error);
  if (zip == nullptr) {
    source != nullptr ? zip_source_free(source) : void(std::fclose(file));
    *error = "Unable to unpack " + label + ": " + ZipErrorText(zip_error_code_zip(&zip_error));
    zip_error_fini(&zip_error);
    return nullptr;
  }
  zip_error_fini(&zip_error);
  return Judge(zip, std::move(label), std::move(file_buffer), limits, error);
}

std::unique_ptr<ArchiveReader> ArchiveReader::OpenBytes(std::string_view bytes,
                                                        const ArchiveLimits& limits,
                                                        std::string* error) {
  std::string label = "the archive";
  if (bytes.empty()) {
    *error = "Unable to unpack " + label + ": it is empty";
    return nullptr;
  }
  zip_error_t zip_error;
  zip_error_init(&zip_error);
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &zip_error);
  zip_t* zip = source == nullptr
                   ? nullptr
                   : zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &zip_error);
  if (zip == nullptr) {
    if (source != nullptr) zip_source_free(source);
    *error = "Unable to unpack " + label + ": " + ZipErrorText(zip_error_code_zip(&zip_error));
    zip_error_fini(&zip_error);
    return nullptr;
  }
  zip_error_fini(&zip_error);
  return Judge(zip, std::move(label), nullptr, limits, error);
}

ArchiveReader::~ArchiveReader() { zip_discard(zip_); }

// Every entry is judged before anything is inflated, so a refused archive costs no writes, not
// even of the harmless files that come before the bad entry.
std::unique_ptr<ArchiveReader> ArchiveReader::Judge(zip_t* zip, std::string label,
                                                    std::unique_ptr<char[]> file_buffer,
                                                    const ArchiveLimits& limits,
                                                    std::string* error) {
  std::unique_ptr<ArchiveReader> reader(
      new ArchiveReader(zip, std::move(label), std::move(file_buffer)));
  auto fail = [&](std::string problem) {
    reader->Fail(std::move(problem), error);
    return nullptr;
  };
  auto fail_entry = [&](std::string_view name, std::string_view problem) {
    return fail("entry " + Quoted(name) + " " + std::string(problem));
  };
  auto damaged = [&] { return fail("the archive is damaged: " + std::string(zip_strerror(zip))); };
  const zip_int64_t count = zip_get_num_entries(zip, 0);
  if (count < 0) return fail("the archive is damaged");
  if (static_cast<uint64_t>(count) > limits.max_entries) {
    return fail("it holds " + std::to_string(count) + " entries, more than the " +
                std::to_string(limits.max_entries) + " allowed");
  }
  std::set<std::string, std::less<>> names;
  uint64_t total = 0;
  for (zip_uint64_t i = 0; i < static_cast<zip_uint64_t>(count); ++i) {
    const char* raw_name = zip_get_name(zip, i, ZIP_FL_ENC_GUESS);
    if (raw_name == nullptr) return damaged();
    const std::string name = raw_name;
    if (const std::string problem = NameProblem(name); !problem.empty()) {
      return fail_entry(name, problem);
    }
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(zip, i, 0, &system, &attributes) != 0) return damaged();
    const uint32_t unix_type = (attributes >> 16) & kUnixTypeMask;
    if ((attributes & kWindowsReparsePoint) != 0 ||
        (system == ZIP_OPSYS_UNIX && unix_type == kUnixLink)) {
      return fail_entry(name, "is a link");
    }
    if ((attributes & kDosDirectory) != 0 ||
        (system == ZIP_OPSYS_UNIX && unix_type != 0 && unix_type != kUnixRegular)) {
      return fail_entry(name, "is not a regular file");
    }
    zip_stat_t stat;
    if (zip_stat_index(zip, i, 0, &stat) != 0) return damaged();
    if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && stat.encryption_method != ZIP_EM_NONE) {
      return fail_entry(name, "is encrypted");
    }
    if ((stat.valid & ZIP_STAT_COMP_METHOD) == 0 ||
        (stat.comp_method != ZIP_CM_STORE && stat.comp_method != ZIP_CM_DEFLATE)) {
      return fail_entry(name, "uses a compression method other than store and deflate");
    }
    if ((stat.valid & ZIP_STAT_SIZE) == 0) return fail_entry(name, "has no size");
    if (stat.size > limits.max_total_bytes - total) {
      return fail("it would unpack to more than the " + std::to_string(limits.max_total_bytes) +
                  " bytes allowed");
    }
    total += stat.size;
    if (!names.insert(name).second) return fail_entry(name, "has the same name as another entry");
    reader->entries_.push_back(
        {name, i, stat.size, stat.comp_method, static_cast<int64_t>(stat.mtime),
         (stat.valid & ZIP_STAT_MTIME) != 0, (stat.valid & ZIP_STAT_CRC) != 0 ? stat.crc : 0});
  }
  return reader;
}

bool ArchiveReader::Inflate(const Entry& entry,
                            const std::function<bool(const char*, size_t)>& sink,
                            std::string* error) {
  auto fail_entry = [&](const std::string& problem) {
    return Fail("entry " + Quoted(entry.name) + " " + problem, error);
  };
  ZipFilePtr in(zip_fopen_index(zip_, entry.index, 0));
  if (!in) return fail_entry("is damaged: " + std::string(zip_strerror(zip_)));
  if (buffer_.empty()) buffer_.resize(kCopyBufferSize);
  uint64_t done = 0;
  for (;;) {
    const zip_int64_t got = zip_fread(in.get(), buffer_.data(), buffer_.size());
    if (got < 0) return fail_entry("is damaged: " + std::string(zip_file_strerror(in.get())));
    if (got == 0) break;
    done += static_cast<uint64_t>(got);
    // The declared sizes were checked against the limits; a stream that inflates to more
    // than it declared is a bomb in disguise and is stopped here.
    if (done > entry.size) return fail_entry("holds more data than it declares");
    if (!sink(buffer_.data(), static_cast<size_t>(got))) return false;
  }
  if (done != entry.size) return fail_entry("holds less data than it declares");
  return true;
}

bool ArchiveReader::Read(const Entry& entry, std::string* bytes, std::string* error) {
  std::string data;
  // The declared size is a claim, not a promise: memory grows with what really inflates.
  data.reserve(static_cast<size_t>(std::min<uint64_t>(entry.size, uint64_t{1} << 24)));
  if (!Inflate(
          entry, [&](const char* chunk, size_t size) { return data.append(chunk, size), true; },
          error)) {
    return false;
  }
  *bytes = std::move(data);
  return true;
}

bool ArchiveReader::Extract(const Entry& entry, const fs::path& path, std::string* error) {
  const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  if (const std::string problem = SpaceProblem(folder, entry.size); !problem.empty()) {
    return Fail("entry " + Quoted(entry.name) + " " + problem, error);
  }
  // "x" (exclusive create) never opens an existing file or follows a link planted there;
  // on a file system that ignores case it also catches names that differ only in case.
#ifdef _WIN32
  std::unique_ptr<std::FILE, FileCloser> out(_wfopen(path.c_str(), L"wbx"));
#else
  std::unique_ptr<std::FILE, FileCloser> out(std::fopen(path.c_str(), "wbx"));
#endif
  if (!out) {
    if (errno == EEXIST) {
      return Fail("entry " + Quoted(entry.name) + " has the same name as another entry", error);
    }
    return Fail("cannot write " + Quoted(Utf8(path)) + ": " + platform::ErrorText(errno), error);
  }
  const auto write_failed = [&] {
    return Fail("cannot write " + Quoted(Utf8(path)) + ": " + platform::ErrorText(errno), error);
  };
  bool ok = Inflate(
      entry,
      [&](const char* chunk, size_t size) {
        return std::fwrite(chunk, 1, size, out.get()) == size || write_failed();
      },
      error);
  if (ok && std::fclose(out.release()) != 0) ok = write_failed();
  if (!ok) {
    out.reset();
    std::error_code ignored;
    fs::remove(path, ignored);
    return false;
  }
  // A photo's date falls back on its file's time, so the packed time is kept.
  if (entry.has_mtime) {
    std::error_code ec;
    fs::last_write_time(path,
                        std::chrono::file_clock::from_sys(std::chrono::system_clock::from_time_t(
                            static_cast<time_t>(entry.mtime))),
                        ec);
  }
  return true;
}

bool WriteArchive(platform::AtomicFile& out, std::vector<ArchiveItem> items, ArchiveReader* source,
                  const PackOptions& options, std::string* error) {
  std::sort(items.begin(), items.end(),
            [](const ArchiveItem& a, const ArchiveItem& b) { return a.name < b.name; });
  for (const ArchiveItem& item : items) {
    if (const std::string problem = NameProblem(item.name); !problem.empty()) {
      *error = "the file " + Quoted(item.name) + " " + problem;
      return false;
    }
  }
  WriteTarget target(&out);
  auto fail = [&](std::string why) {
    *error = target.reason.empty() ? std::move(why) : target.reason;
    return false;
  };
  zip_error_t open_error;
  zip_error_init(&open_error);
  zip_source_t* sink = zip_source_function_create(WriteTargetCallback, &target, &open_error);
  zip_t* zip = sink == nullptr ? nullptr
                               : zip_open_from_source(sink, ZIP_CREATE | ZIP_TRUNCATE, &open_error);
  if (zip == nullptr) {
    if (sink != nullptr) zip_source_free(sink);
    const std::string why = zip_error_strerror(&open_error);
    zip_error_fini(&open_error);
    return fail(why);
  }
  zip_error_fini(&open_error);
  ZipPtr archive(zip);
  for (const ArchiveItem& item : items) {
    // start 0, length -1: the entry's data as it is stored, without inflating it.
    zip_source_t* data = item.packed != nullptr
                             ? zip_source_zip(zip, source->zip_, item.packed->index, 0, 0, -1)
                             : zip_source_file(zip, Utf8(item.file).c_str(), 0, 0);
    if (data == nullptr) return fail(zip_strerror(zip));
    const zip_int64_t index = zip_file_add(zip, item.name.c_str(), data, ZIP_FL_ENC_GUESS);
    if (index < 0) {
      zip_source_free(data);
      return fail(zip_strerror(zip));
    }
    // A carried entry keeps its own method: any other would make libzip inflate and compress
    // it again.
    const bool store = item.packed != nullptr
                           ? item.packed->method == ZIP_CM_STORE
                           : options.level <= 0 || (IsJpegName(item.name) && !options.deflate_jpeg);
    if (zip_set_file_compression(zip, static_cast<zip_uint64_t>(index),
                                 store ? ZIP_CM_STORE : ZIP_CM_DEFLATE,
                                 static_cast<zip_uint32_t>(std::clamp(options.level, 0, 9))) != 0) {
      return fail(zip_strerror(zip));
    }
  }
  PackState state{&options};
  if (options.progress != nullptr) {
    zip_register_progress_callback_with_state(zip, 0.001, OnPackProgress, nullptr, &state);
    zip_register_cancel_callback_with_state(zip, OnPackCancelCheck, nullptr, &state);
  }
  if (zip_close(zip) != 0) return fail(state.cancelled ? "cancelled" : zip_strerror(zip));
  archive.release();  // zip_close freed it
  // libzip writes no archive without entries (it removes the file instead), but an empty
  // album must still pack and open again.
  return !target.removed || out.Write(kEmptyZip, sizeof kEmptyZip, error);
}

bool IsArchivePath(const fs::path& path) {
  std::error_code ec;
  return platform::EqualsIgnoringAsciiCase(Utf8(path.extension()), ".qvo") &&
         !fs::is_directory(path, ec);
}

bool AddFolderItems(const fs::path& folder, const std::vector<std::string>& leave_out,
                    std::vector<ArchiveItem>* items, std::string* error) {
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    // An album never holds links or folders of its own; following a link could mail away a
    // file from elsewhere on the disk.
    if (!it->is_regular_file(ec) || it->is_symlink(ec)) continue;
    std::string name = Utf8(it->path().filename());
    if (std::find(leave_out.begin(), leave_out.end(), name) == leave_out.end()) {
      items->push_back({std::move(name), it->path()});
    }
  }
  if (ec) *error = ec.message();
  return !ec;
}

bool PackAlbumFolder(const fs::path& folder, const fs::path& archive, const PackOptions& options,
                     std::string* error) {
  std::vector<ArchiveItem> items;
  platform::AtomicFile out;
  std::string reason;
  if (!AddFolderItems(folder, options.leave_out, &items, &reason) || !out.Open(archive, &reason) ||
      !WriteArchive(out, std::move(items), nullptr, options, &reason) ||
      !out.Commit(platform::Flush::kNow, &reason)) {
    *error =
        "Unable to pack " + Quoted(Utf8(folder)) + " into " + Quoted(Utf8(archive)) + ": " + reason;
    return false;
  }
  return true;
}

bool UnpackArchive(const fs::path& archive, const fs::path& folder, const ArchiveLimits& limits,
                   std::string* error) {
  std::unique_ptr<ArchiveReader> reader = ArchiveReader::Open(archive, limits, error);
  return reader != nullptr && Unpacker(*reader, Quoted(Utf8(archive)), error).Run(folder);
}

bool UnpackArchiveBytes(std::string_view bytes, const fs::path& folder, const ArchiveLimits& limits,
                        std::string* error) {
  std::unique_ptr<ArchiveReader> reader = ArchiveReader::OpenBytes(bytes, limits, error);
  return reader != nullptr && Unpacker(*reader, "the archive", error).Run(folder);
}

}  // namespace quorvane::album
