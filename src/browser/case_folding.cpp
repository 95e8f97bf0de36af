#include "browser/case_folding.h"

#include <algorithm>
#include <array>

namespace quorvane::browser {
namespace {

constexpr uint32_t kStrayByteMark = 0xDC00;

struct FoldRun {
  uint32_t first;
  uint32_t last;
  uint32_t step;  // 1: every code point of the run folds; 2: every other one
  int32_t delta;
};

constexpr FoldRun kFoldRuns[] = {
#include "browser/internal/case_folding_table.inc"
};

// ASCII is most of what albums hold: one table look-up per byte, no decoding.
constexpr std::array<char, 128> kAsciiFold = [] {
  std::array<char, 128> table{};
  for (int c = 0; c < 128; ++c) {
    table[c] = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  }
  return table;
}();

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

void AppendUtf8(uint32_t cp, std::string* out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

}  // namespace

uint32_t FoldCase(uint32_t code_point) {
  if (code_point < 0x80) return static_cast<unsigned char>(kAsciiFold[code_point]);
  const auto* run = std::upper_bound(std::begin(kFoldRuns), std::end(kFoldRuns), code_point,
                                     [](uint32_t cp, const FoldRun& r) { return cp < r.first; });
  if (run == std::begin(kFoldRuns)) return code_point;
  --run;
  if (code_point > run->last || (code_point - run->first) % run->step != 0) return code_point;
  return static_cast<uint32_t>(static_cast<int32_t>(code_point) + run->delta);
}

void AppendFolded(std::string_view text, std::string* out) {
  out->reserve(out->size() + text.size());
  size_t i = 0;
  while (i < text.size()) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      out->push_back(kAsciiFold[byte]);
      ++i;
      continue;
    }
    uint32_t cp;
    if (DecodeUtf8(text, &i, &cp)) {
      AppendUtf8(FoldCase(cp), out);
    } else {
      AppendUtf8(kStrayByteMark + byte, out);
      ++i;
    }
  }
}

}  // namespace quorvane::browser
