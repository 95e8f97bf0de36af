#include "search/case_folding.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace quorvane::search {
namespace {

constexpr uint32_t kStrayByteMark = 0xDC00;

struct FoldRun {
  uint32_t first;
  uint32_t last;
  uint32_t step;  // 1: every code point of the run folds; 2: every other one
  int32_t delta;
};

constexpr FoldRun kFoldRuns[] = {
#include "search/internal/case_folding_table.inc"
};

// Decodes the sequence at text[*i] when it is well-formed UTF-8 (no overlong forms, no
// surrogates, nothing above U+10FFFF) and advances past it; otherwise returns false and
// leaves *i alone.
bool DecodeUtf8(std::string_view text, size_t* i, uint32_t* code_point) {
  const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  const unsigned char lead = byte(*i);
  size_t length;
  uint32_t cp;
  unsigned char low = 0x80, high = 0xBF;  // bounds of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, cp = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, cp = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, cp = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return false;
  }
  if (text.size() - *i < length) return false;
  if (byte(*i + 1) < low || byte(*i + 1) > high) return false;
  for (size_t k = 1; k < length; ++k) {
    if ((byte(*i + k) & 0xC0) != 0x80) return false;
    cp = (cp << 6) | (byte(*i + k) & 0x3F);
  }
  *i += length;
  *code_point = cp;
  return true;
}

// Writes the UTF-8 form of `cp` at `out`; returns the number of bytes (1 to 4).
size_t PutUtf8(uint32_t cp, char* out) {
  if (cp < 0x80) {
    out[0] = static_cast<char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    out[0] = static_cast<char>(0xC0 | (cp >> 6));
    out[1] = static_cast<char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (cp >> 12));
    out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (cp & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (cp >> 18));
  out[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (cp & 0x3F));
  return 4;
}

char LowerAscii(char c) {
  return static_cast<char>(c + (static_cast<unsigned char>(c - 'A') < 26 ? 32 : 0));
}

// Lower-cases the ASCII bytes at the start of src[0, n) into dst, 16 at a time where SSE2 is
// available; returns how many it took (it stops at the first byte from 0x80 up).
size_t LowerAsciiRun(const char* src, size_t n, char* dst) {
  size_t i = 0;
#if defined(__SSE2__)
  const __m128i shift = _mm_set1_epi8(static_cast<char>(0x80 - 'A'));  // 'A'..'Z' to -128..-103
  const __m128i below = _mm_set1_epi8(static_cast<char>(-128 + 26));
  const __m128i case_bit = _mm_set1_epi8(0x20);
  for (; i + 16 <= n; i += 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    const int high = _mm_movemask_epi8(x);
    if (high != 0) {
      const size_t ascii = i + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(high)));
      for (; i < ascii; ++i) dst[i] = LowerAscii(src[i]);
      return i;
    }
    const __m128i upper = _mm_cmplt_epi8(_mm_add_epi8(x, shift), below);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i),
                     _mm_add_epi8(x, _mm_and_si128(upper, case_bit)));
  }
#endif
  for (; i < n && static_cast<unsigned char>(src[i]) < 0x80; ++i) dst[i] = LowerAscii(src[i]);
  return i;
}

}  // namespace

uint32_t FoldCase(uint32_t code_point) {
  if (code_point < 0x80) return code_point - 'A' < 26 ? code_point + 32 : code_point;
  const auto* run = std::upper_bound(std::begin(kFoldRuns), std::end(kFoldRuns), code_point,
                                     [](uint32_t cp, const FoldRun& r) { return cp < r.first; });
  if (run == std::begin(kFoldRuns)) return code_point;
  --run;
  if (code_point > run->last || (code_point - run->first) % run->step != 0) return code_point;
  return static_cast<uint32_t>(static_cast<int32_t>(code_point) + run->delta);
}

bool IsValidUtf8(std::string_view text) {
  size_t i = 0;
  uint32_t cp;
  while (i < text.size()) {
    if (static_cast<unsigned char>(text[i]) < 0x80) {
      ++i;
    } else if (!DecodeUtf8(text, &i, &cp)) {
      return false;
    }
  }
  return true;
}

bool AppendFolded(std::string_view text, std::string* out) {
  // ASCII, most of any text, keeps its length; other characters may grow to 4 bytes, and
  // the buffer grows when they do.
  size_t w = out->size();
  out->resize(w + text.size());
  bool same_length = true;
  size_t i = 0;
  while (true) {
    const size_t ascii = LowerAsciiRun(text.data() + i, text.size() - i, out->data() + w);
    i += ascii, w += ascii;
    if (i == text.size()) break;
    if (out->size() < w + 4 + (text.size() - i)) out->resize(2 * out->size() + 4);
    const size_t from = i;
    uint32_t cp;
    size_t length;
    if (DecodeUtf8(text, &i, &cp)) {
      length = PutUtf8(FoldCase(cp), out->data() + w);
    } else {
      length = PutUtf8(kStrayByteMark + static_cast<unsigned char>(text[i]), out->data() + w);
      ++i;
    }
    w += length;
    same_length = same_length && length == i - from;
  }
  out->resize(w);
  return same_length;
}

}  // namespace quorvane::search
