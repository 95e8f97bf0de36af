// A file's last-write time as a Windows file time: 100-ns ticks since 1601-01-01 UTC, on every
// platform, so caches that store it in two 32-bit halves mean the same everywhere.
#pragma once

#include <cstdint>
#include <filesystem>

namespace quorvane::platform {

// Opens `path` for shared reading and reads its last-write time. False when the file cannot be
// opened or its time cannot be read (absent media, no permission). Thread-safe.
bool ReadFileWriteTime(const std::filesystem::path& path, uint64_t* ticks);

inline uint32_t LowHalf(uint64_t ticks) { return static_cast<uint32_t>(ticks); }
inline uint32_t HighHalf(uint64_t ticks) { return static_cast<uint32_t>(ticks >> 32); }

}  // namespace quorvane::platform
