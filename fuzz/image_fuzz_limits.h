// The limits the image fuzzers run under, so that every run stays quick and small: larger
// inputs reach no new decoder states, and a forged header cannot ask for hundreds of MB.
#pragma once

#include <cstddef>
#include <cstdint>

#include "image/image.h"

namespace quorvane::fuzz {

inline constexpr size_t kMaxInputBytes = 256 * 1024;
inline constexpr uint64_t kMaxPixels = 4'000'000;

// Sets the image library's pixel limit once per process; false for an input too large to try.
inline bool AcceptImageInput(size_t size) {
  static const bool limited = [] {
    image::SetMaxImagePixels(kMaxPixels);
    return true;
  }();
  (void)limited;
  return size <= kMaxInputBytes;
}

}  // namespace quorvane::fuzz
