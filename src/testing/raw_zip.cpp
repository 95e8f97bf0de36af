#include "testing/raw_zip.h"

namespace quorvane::testing {
namespace {

void Put(std::string& out, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i));
}

}  // namespace

std::string RawZip(const std::vector<RawZipEntry>& entries) {
  std::string out, central;
  for (const RawZipEntry& e : entries) {
    const uint64_t offset = out.size();
    const bool zip64 = e.size >= 0xffffffff || e.data.size() >= 0xffffffff;
    for (std::string* header : {&out, &central}) {
      const bool is_central = header == &central;
      Put(*header, is_central ? 0x02014b50 : 0x04034b50, 4);
      if (is_central) Put(*header, 0x031e, 2);  // made on Unix
      // Version needed, flags, method, time, date.
      for (const uint64_t field : {zip64 ? 45u : 20u, 0u, unsigned{e.method}, 0u, 0x21u}) {
        Put(*header, field, 2);
      }
      Put(*header, e.crc, 4);
      Put(*header, zip64 ? 0xffffffff : e.data.size(), 4);
      Put(*header, zip64 ? 0xffffffff : e.size, 4);
      Put(*header, e.name.size(), 2);
      Put(*header, zip64 ? 20 : 0, 2);
      if (is_central) {
        Put(*header, 0, 6);  // comment length, disk, internal attributes
        Put(*header, uint64_t{0100644} << 16, 4);
        Put(*header, offset, 4);
      }
      *header += e.name;
      if (zip64) {
        Put(*header, 1, 2), Put(*header, 16, 2);
        Put(*header, e.size, 8), Put(*header, e.data.size(), 8);
      }
    }
    out += e.data;
  }
  const uint64_t central_offset = out.size();
  out += central;
  Put(out, 0x06054b50, 4);
  Put(out, 0, 4);  // disk numbers
  Put(out, entries.size(), 2), Put(out, entries.size(), 2);
  Put(out, central.size(), 4), Put(out, central_offset, 4);
  Put(out, 0, 2);  // comment length
  return out;
}

}  // namespace quorvane::testing
