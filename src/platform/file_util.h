// Whole-file reads and crash-safe whole-file writes. Every file that holds user data is
// written through WriteFileAtomically: a temporary file beside the target, flushed to disk,
// then renamed over it, so a crash or a full disk never leaves a half-written file behind.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quorvane::platform {

// Reads the whole file into *bytes. On failure returns false and sets *error to
// "Unable to read \"<path>\": <reason>".
bool ReadWholeFile(const std::filesystem::path& path, std::string* bytes, std::string* error);

// When a crash-safe write reaches the disk. kLater skips the flushes for a file that nothing
// names yet (a photo just copied into an album, before the index that names it is saved); the
// caller must FlushFile it before anything refers to it.
enum class Flush { kNow, kLater };

// Replaces (or creates) the file with exactly `bytes`: writes a hidden temporary file in the
// same folder, flushes it to the disk, renames it over `path` and flushes the folder. On
// failure returns false, removes the temporary file, leaves any previous file untouched and
// sets *error to "Unable to write \"<path>\": <reason>".
bool WriteFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                         std::string* error, Flush flush = Flush::kNow);

// Copies the file `source` to `target` the same crash-safe way: the copy is flushed to disk
// under a temporary name and renamed into place, so `target` is either the old file or the whole
// new one. On failure returns false, leaves `target` untouched and sets *error ("Unable to read
// ..." for the source, "Unable to write ..." for the target).
bool CopyFileAtomically(const std::filesystem::path& source, const std::filesystem::path& target,
                        std::string* error, Flush flush = Flush::kNow);

// Flushes a file written with Flush::kLater, and its folder entry, to the disk.
bool FlushFile(const std::filesystem::path& path, std::string* error);

// Swaps two files in one step where the system can (Linux), with three renames otherwise.
// When only one of them exists it moves to the other name; when neither does, nothing
// happens. On failure returns false with *error; both files keep their names and contents.
bool ExchangeFiles(const std::filesystem::path& a, const std::filesystem::path& b,
                   std::string* error);

// True when `path` names an existing regular file (not a folder).
bool IsRegularFile(const std::filesystem::path& path);

// The C library's text for an errno value.
std::string ErrorText(int error_number);

}  // namespace quorvane::platform
