#include "platform/uuid.h"

#include <cstdint>
#include <mutex>
#include <random>

namespace quorvane::platform {

std::string NewUuidText() {
  static std::mutex mutex;
  static std::mt19937_64 generator{std::random_device{}() ^
                                   (uint64_t{std::random_device{}()} << 32)};
  uint64_t high = 0;
  uint64_t low = 0;
  {
    std::lock_guard lock(mutex);
    high = generator();
    low = generator();
  }
  high = (high & ~uint64_t{0xF000}) | 0x4000;                    // version 4
  low = (low & ~(uint64_t{0xC} << 60)) | (uint64_t{0x8} << 60);  // RFC 4122 variant
  constexpr char kHex[] = "0123456789abcdef";
  std::string text;
  text.reserve(36);
  for (int i = 0; i < 32; ++i) {
    const uint64_t word = i < 16 ? high : low;
    const int shift = 60 - 4 * (i % 16);
    text.push_back(kHex[(word >> shift) & 15]);
    if (i == 7 || i == 11 || i == 15 || i == 19) text.push_back('-');
  }
  return text;
}

}  // namespace quorvane::platform
