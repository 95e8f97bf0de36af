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

// Replaces (or creates) the file with exactly `bytes`: writes a hidden temporary file in the
// same folder, flushes it to the disk, renames it over `path` and flushes the folder. On
// failure returns false, removes the temporary file, leaves any previous file untouched and
// sets *error to "Unable to write \"<path>\": <reason>".
bool WriteFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                         std::string* error);

// True when `path` names an existing regular file (not a folder).
bool IsRegularFile(const std::filesystem::path& path);

// The C library's text for an errno value.
std::string ErrorText(int error_number);

}  // namespace quorvane::platform
