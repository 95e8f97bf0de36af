// ZIP files written byte by byte, for the archives tests need and no ZIP library would write:
// sizes that claim more than the data holds, data compressed some other way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorvane::testing {

struct RawZipEntry {
  std::string name;
  uint16_t method = 0;  // 0 stored, 8 deflated
  uint32_t crc = 0;     // of the unpacked data, as the archive should claim it
  uint64_t size = 0;    // unpacked, as the archive should claim it
  std::string data;     // exactly as stored
};

// A ZIP file (regular Unix files, dated 1980-01-01) holding `entries` as given. An entry's
// sizes go into a ZIP64 field when either reaches 4 GB.
std::string RawZip(const std::vector<RawZipEntry>& entries);

}  // namespace quorvane::testing
