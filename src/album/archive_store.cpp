#include "album/archive_store.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <random>
#include <system_error>
#include <vector>

#include "album/album_index.h"
#include "platform/file_stamp.h"
#include "platform/file_util.h"

#ifndef _WIN32
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace quorvane::album {
namespace fs = std::filesystem;

namespace {

// A new, empty folder "qvo" + random letters under the temporary folder, private to the user
// because it holds the album's photos.
bool MakeWorkingCopyFolder(fs::path* made, std::string* error) {
  std::error_code ec;
  const fs::path base = fs::temp_directory_path(ec);
  if (ec) {
    *error = "Unable to find the temporary folder: " + ec.message();
    return false;
  }
#ifndef _WIN32
  std::string pattern = (base / "qvoXXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    *error = "Unable to create a working folder in \"" + base.string() +
             "\": " + platform::ErrorText(errno);
    return false;
  }
  *made = pattern;
  return true;
#else
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const fs::path candidate = base / ("qvo" + std::to_string(random()));
    if (fs::create_directory(candidate, ec)) {
      *made = candidate;
      return true;
    }
  }
  *error = "Unable to create a working folder in \"" + base.string() + "\": " + ec.message();
  return false;
#endif
}

#ifndef _WIN32

// While a store is open its process holds a lock on the working copy's folder; the system
// drops the lock when the process ends, however it ends. Returns the open folder (-1 when it
// cannot be locked).
int LockWorkingCopy(const fs::path& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0 && ::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// Removes the working copies that programs which ended without closing their archive left
// behind: folders of ours by name, owner and mode that no process holds locked, untouched
// for a while (so a folder another process has only just made is never taken).
void RemoveAbandonedWorkingCopies(const fs::path& base) {
  constexpr int kQuietSeconds = 600;
  std::error_code ec;
  for (fs::directory_iterator it(base, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (name.size() != 9 || name.compare(0, 3, "qvo") != 0) continue;
    struct stat info;
    if (::lstat(it->path().c_str(), &info) != 0 || !S_ISDIR(info.st_mode) ||
        info.st_uid != ::getuid() || (info.st_mode & 07777) != 0700 ||
        info.st_mtime > ::time(nullptr) - kQuietSeconds) {
      continue;
    }
    const int fd = LockWorkingCopy(it->path());
    if (fd < 0) continue;  // in use
    std::error_code ignored;
    fs::remove_all(it->path(), ignored);
    ::close(fd);
  }
}

#endif

// The stamp of `path` now, when the system gives one. Taken before the archive is opened, so
// that a save by another program in between shows as a change, never the other way round.
std::optional<FileStamp> StampNow(const fs::path& path) {
  FileStamp stamp;
  if (platform::StampOf(path, &stamp)) return stamp;
  return std::nullopt;
}

bool IsIndexName(std::string_view name) {
  return std::find(std::begin(kIndexFileNames), std::end(kIndexFileNames), name) !=
         std::end(kIndexFileNames);
}

}  // namespace

std::unique_ptr<ArchiveStore> ArchiveStore::Open(const fs::path& archive,
                                                 const ArchiveLimits& limits, std::string* error) {
  std::optional<FileStamp> stamp = StampNow(archive);
  std::unique_ptr<ArchiveReader> reader = ArchiveReader::Open(archive, limits, error);
  if (!reader) return nullptr;
  fs::path working_copy;
  if (!MakeWorkingCopyFolder(&working_copy, error)) return nullptr;
  int lock = -1;
#ifndef _WIN32
  lock = LockWorkingCopy(working_copy);
  RemoveAbandonedWorkingCopies(working_copy.parent_path());
#endif
  std::error_code ec;
  fs::path absolute = fs::absolute(archive, ec);
  return std::unique_ptr<ArchiveStore>(new ArchiveStore(ec ? archive : std::move(absolute),
                                                        std::move(working_copy), lock,
                                                        std::move(reader), limits, stamp));
}

ArchiveStore::ArchiveStore(fs::path archive, fs::path working_copy, int lock,
                           std::unique_ptr<ArchiveReader> reader, const ArchiveLimits& limits,
                           std::optional<FileStamp> stamp)
    : FolderStore(std::move(working_copy)),
      archive_(std::move(archive)),
      limits_(limits),
      stamp_(stamp),
      lock_(lock),
      reader_(std::move(reader)) {
  for (const ArchiveReader::Entry& entry : reader_->entries()) packed_.emplace(entry.name, &entry);
}

ArchiveStore::~ArchiveStore() {
  std::error_code ec;
  fs::remove_all(folder(), ec);
#ifndef _WIN32
  if (lock_ >= 0) ::close(lock_);
#endif
}

bool ArchiveStore::ReadFile(std::string_view name, std::string* bytes) {
  const auto packed = packed_.find(name);
  if (packed == packed_.end()) return FolderStore::ReadFile(name, bytes);
  if (!HasArchive()) return false;
  std::string error;
  if (reader_->Read(*packed->second, bytes, &error)) return true;
  set_last_error(std::move(error));
  return false;
}

bool ArchiveStore::WriteFile(std::string_view name, std::string_view bytes) {
  if (!FolderStore::WriteFile(name, bytes)) return false;
  NoteChanged(name);
  packed_.erase(std::string(name));
  return true;
}

bool ArchiveStore::WriteNewFile(std::string_view name, std::string_view bytes) {
  if (!FolderStore::WriteNewFile(name, bytes)) return false;
  NoteChanged(name);
  packed_.erase(std::string(name));
  return true;
}

bool ArchiveStore::ImportFile(const fs::path& source, std::string_view name) {
  if (!FolderStore::ImportFile(source, name)) return false;
  NoteChanged(name);
  packed_.erase(std::string(name));
  return true;
}

bool ArchiveStore::RemoveFile(std::string_view name) {
  if (!FolderStore::RemoveFile(name)) return false;
  NoteChanged(name);
  packed_.erase(std::string(name));
  return true;
}

bool ArchiveStore::FileExists(std::string_view name) {
  return packed_.find(name) != packed_.end() || FolderStore::FileExists(name);
}

bool ArchiveStore::ListFiles(std::vector<std::string>* names) {
  if (!FolderStore::ListFiles(names)) return false;
  for (const auto& [name, entry] : packed_) names->push_back(name);
  return true;
}

bool ArchiveStore::Unpack(std::string_view name) {
  const auto packed = packed_.find(name);
  if (packed == packed_.end()) return true;
  if (!HasArchive()) return false;
  std::string error;
  if (!reader_->Extract(*packed->second, PathOf(name), &error)) {
    set_last_error(std::move(error));
    return false;
  }
  packed_.erase(packed);
  return true;
}

fs::path ArchiveStore::LocalPath(std::string_view name) const {
  // Unpacking on first use is the point of this store; callers that only want a path see it
  // as const, as with a folder's.
  if (!IsPlainFileName(name) || !const_cast<ArchiveStore*>(this)->Unpack(name)) return {};
  return FolderStore::LocalPath(name);
}

bool ArchiveStore::ExchangeFiles(std::string_view a, std::string_view b) {
  if (!FolderStore::ExchangeFiles(a, b)) return false;
  NoteChanged(a);
  NoteChanged(b);
  // The files in the working copy have changed names; the packed ones do the same here.
  auto packed_a = packed_.extract(std::string(a));
  auto packed_b = packed_.extract(std::string(b));
  if (!packed_a.empty()) packed_.emplace(std::string(b), packed_a.mapped());
  if (!packed_b.empty()) packed_.emplace(std::string(a), packed_b.mapped());
  return true;
}

bool ArchiveStore::HasArchive() {
  if (reader_ != nullptr) return true;
  set_last_error(lost_archive_);
  return false;
}

bool ArchiveStore::Reopen() {
  std::string error;
  // The archive is ours: what was carried over was judged when the store opened, and the
  // rest came from the working copy, so no limit applies a second time.
  reader_ = ArchiveReader::Open(archive_, {UINT64_MAX, UINT64_MAX}, &error);
  if (reader_ == nullptr) {
    lost_archive_ = "Unable to open " + archive_.string() + " again: " + error;
    set_last_error(lost_archive_);
    return false;
  }
  std::map<std::string_view, const ArchiveReader::Entry*> by_name;
  for (const ArchiveReader::Entry& entry : reader_->entries()) by_name.emplace(entry.name, &entry);
  for (auto& [name, entry] : packed_) {
    const auto found = by_name.find(name);
    if (found == by_name.end()) {
      lost_archive_ = "Unable to open " + archive_.string() + " again: \"" + name + "\" is missing";
      set_last_error(lost_archive_);
      reader_.reset();
      return false;
    }
    entry = found->second;
  }
  return true;
}

bool ArchiveStore::Commit(const std::vector<std::string>& leave_out) {
  if (!packed_.empty() && !HasArchive()) return false;
  std::vector<ArchiveItem> items;
  for (const auto& [name, entry] : packed_) {
    if (std::find(leave_out.begin(), leave_out.end(), name) == leave_out.end()) {
      items.push_back({name, {}, entry});
    }
  }
  platform::AtomicFile out;
  std::string error;
  if (!AddFolderItems(folder(), leave_out, &items, &error) || !out.Open(archive_, &error) ||
      !WriteArchive(out, std::move(items), reader_.get(), pack_options_, &error)) {
    set_last_error("Unable to save " + archive_.string() + ": " + error);
    return false;
  }
  // The old archive is let go of before the new one takes its name: Windows replaces no open
  // file. Should the rename fail, the old archive is still there to open again.
  reader_.reset();
  const bool committed = out.Commit(platform::Flush::kNow, &error);
  // Under the save's lock nobody else writes the archive between the rename and this stamp.
  stamp_ = StampNow(archive_);
  if (!Reopen()) return false;
  if (!committed) {
    set_last_error("Unable to save " + archive_.string() + ": " + error);
    return false;
  }
  changed_.clear();
  return true;
}

}  // namespace quorvane::album

namespace quorvane::album {

bool ArchiveStore::LockIndex(platform::FileLock* lock, std::chrono::milliseconds wait) {
  std::string error;
  for (;;) {
    std::error_code ec;
    // Locking a missing file would make an empty one in the archive's place.
    if (!fs::exists(archive_, ec)) return true;
    if (!lock->Acquire(archive_, platform::FileLock::Mode::kExclusive, wait, &error)) {
      set_last_error(std::move(error));
      return false;
    }
    // A save by another program renamed a new archive over the file just locked: that lock
    // now excludes nobody, so the new file is locked instead.
    if (lock->Holds(archive_)) return true;
  }
}

bool ArchiveStore::CatchUp() {
  if (FileStamp now; stamp_ && platform::StampOf(archive_, &now) && now == *stamp_) return true;
  std::error_code ec;
  if (!fs::exists(archive_, ec)) return true;  // nothing to catch up with: the commit writes it
  const std::optional<FileStamp> stamp = StampNow(archive_);
  std::string error;
  std::unique_ptr<ArchiveReader> now = ArchiveReader::Open(archive_, limits_, &error);
  if (now == nullptr) {
    set_last_error("Another program changed " + archive_.string() +
                   " and it can no longer be read (" + error + "); nothing was saved");
    return false;
  }
  std::map<std::string_view, const ArchiveReader::Entry*> before;
  if (reader_ != nullptr) {
    for (const ArchiveReader::Entry& entry : reader_->entries()) before.emplace(entry.name, &entry);
  }
  std::map<std::string_view, const ArchiveReader::Entry*> after;
  for (const ArchiveReader::Entry& entry : now->entries()) after.emplace(entry.name, &entry);
  // Files of ours still packed (exchanged in place) are read from the old archive while it is
  // there to read.
  for (const std::string& name : changed_) {
    if (packed_.count(name) != 0 && !Unpack(name)) return false;
  }
  // What this store says of a name wins: a file it wrote, or the removal of one the archive
  // held. A file it added and removed again says nothing. The index is never its own to keep:
  // the album merges its changes into theirs.
  auto ours = [&](std::string_view name) {
    return changed_.count(name) != 0 && !IsIndexName(name) &&
           (before.count(name) != 0 || FolderStore::FileExists(name));
  };
  std::vector<std::string> clashes;
  for (const std::string& name : changed_) {
    if (ours(name) && before.count(name) == 0 && after.count(name) != 0) clashes.push_back(name);
  }
  if (!clashes.empty()) {
    std::string names;
    for (size_t i = 0; i < clashes.size(); ++i) {
      names += (i == 0                    ? ""
                : i + 1 == clashes.size() ? " and "
                                          : ", ") +
               ("\"" + clashes[i] + "\"");
    }
    set_last_error("Another program added " + names + " to " + archive_.string() +
                   " while this one added " +
                   (clashes.size() == 1 ? "a file of that name" : "files of the same names") +
                   "; nothing was saved, so that neither is lost");
    return false;
  }
  std::map<std::string, const ArchiveReader::Entry*, std::less<>> packed;
  for (const auto& [name, entry] : after) {
    if (ours(name)) continue;
    if (FolderStore::FileExists(name)) {
      // An unpacked copy stays when the archive still holds the same data under its name.
      const auto old = before.find(name);
      if (old != before.end() && old->second->size == entry->size &&
          old->second->crc == entry->crc) {
        continue;
      }
      if (!FolderStore::RemoveFile(name)) return false;
    }
    packed.emplace(name, entry);
  }
  // Copies of files the other program removed go too.
  for (const auto& [name, entry] : before) {
    if (!ours(name) && after.count(name) == 0 && FolderStore::FileExists(name) &&
        !FolderStore::RemoveFile(name)) {
      return false;
    }
  }
  packed_ = std::move(packed);
  reader_ = std::move(now);
  lost_archive_.clear();
  stamp_ = stamp;
  std::erase_if(changed_, [](const std::string& name) { return IsIndexName(name); });
  return true;
}

}  // namespace quorvane::album
