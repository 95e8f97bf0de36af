#include "album/folder_store.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>

#include "platform/file_move.h"
#include "platform/file_stamp.h"
#include "platform/file_util.h"

namespace quorvane::album {

bool IsPlainFileName(std::string_view name) {
  if (name.empty() || name == "." || name == "..") return false;
  if (name.size() >= 2 && name[1] == ':') return false;  // a drive letter
  // One pass: a search asks this of every photo of every album.
  return std::none_of(name.begin(), name.end(),
                      [](char c) { return c == '/' || c == '\\' || c == '\0'; });
}

bool FolderStore::CheckName(std::string_view name) {
  if (IsPlainFileName(name)) return true;
  last_error_ = "Invalid file name \"" + std::string(name) + "\"";
  return false;
}

bool FolderStore::ReadFile(std::string_view name, std::string* bytes) {
  return CheckName(name) && platform::ReadWholeFile(PathOf(name), bytes, &last_error_);
}

bool FolderStore::WriteFile(std::string_view name, std::string_view bytes) {
  return CheckName(name) && platform::WriteFileAtomically(PathOf(name), bytes, &last_error_);
}

bool FolderStore::FileExists(std::string_view name) {
  return IsPlainFileName(name) && platform::IsRegularFile(PathOf(name));
}

bool FolderStore::ImportFile(const std::filesystem::path& source, std::string_view name) {
  if (!CheckName(name)) return false;
  // The copy is made under a hidden name of its own, then takes `name` only if that is still
  // free: another program adding photos may have chosen the same name a moment ago.
  // Random, timed and counted, so no two programs or threads ever share a temporary name.
  static std::atomic<uint64_t> imports{0};
  const std::string temp_name =
      ".import-" + std::to_string(std::random_device()()) + "-" +
      std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()) + "-" +
      std::to_string(imports.fetch_add(1));
  const std::filesystem::path temp = PathOf(temp_name);
  if (!platform::CopyFileAtomically(source, temp, &last_error_, platform::Flush::kLater)) {
    return false;
  }
  switch (platform::MoveFileNoReplace(temp, PathOf(name), &last_error_)) {
    case platform::MoveResult::kMoved:
      unflushed_.emplace_back(name);
      return true;
    case platform::MoveResult::kTargetExists:
      last_error_ = "The album already has a file named \"" + std::string(name) + "\"";
      break;
    case platform::MoveResult::kFailed:
      break;
  }
  std::error_code ec;
  std::filesystem::remove(temp, ec);
  return false;
}

bool FolderStore::WriteNewFile(std::string_view name, std::string_view bytes) {
  if (!CheckName(name) ||
      !platform::WriteFileAtomically(PathOf(name), bytes, &last_error_, platform::Flush::kLater)) {
    return false;
  }
  unflushed_.emplace_back(name);
  return true;
}

bool FolderStore::Flush() {
  // The folder is flushed with each file; fsync is cheap for a file the system wrote back
  // already, so the batch costs little more than its slowest file.
  while (!unflushed_.empty()) {
    const std::filesystem::path path = PathOf(unflushed_.back());
    std::error_code ec;
    // A file removed or moved since then has nothing left to make durable under this name.
    if (std::filesystem::exists(path, ec) && !platform::FlushFile(path, &last_error_)) {
      return false;
    }
    unflushed_.pop_back();
  }
  return true;
}

std::filesystem::path FolderStore::LocalPath(std::string_view name) const {
  return IsPlainFileName(name) ? PathOf(name) : std::filesystem::path();
}

bool FolderStore::RemoveFile(std::string_view name) {
  if (!CheckName(name)) return false;
  std::error_code ec;
  std::filesystem::remove(PathOf(name), ec);
  if (!ec) return true;
  last_error_ = "Unable to delete \"" + PathOf(name).string() + "\": " + ec.message();
  return false;
}

bool FolderStore::ExchangeFiles(std::string_view a, std::string_view b) {
  return CheckName(a) && CheckName(b) &&
         platform::ExchangeFiles(PathOf(a), PathOf(b), &last_error_);
}

bool FolderStore::LockIndex(platform::FileLock* lock, std::chrono::milliseconds wait) {
  return lock->Acquire(folder_, platform::FileLock::Mode::kExclusive, wait, &last_error_);
}

bool FolderStore::StampFile(std::string_view name, FileStamp* stamp) {
  return IsPlainFileName(name) && platform::StampOf(PathOf(name), stamp);
}

bool FolderStore::ListFiles(std::vector<std::string>* names) {
  std::error_code ec;
  std::filesystem::directory_iterator it(folder_, ec), end;
  if (ec) return false;
  for (; it != end; it.increment(ec)) {
    if (it->is_regular_file(ec)) names->push_back(it->path().filename().string());
  }
  return !ec;
}

}  // namespace quorvane::album
