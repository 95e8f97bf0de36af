#include "browser/case_folding.h"

#include <algorithm>

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
  bool same_length = true;
  size_t i = 0;
  while (i < text.size()) {
    // Runs of ASCII, most of any album's text, are lower-cased in bulk.
    size_t run = i;
    while (run < text.size() && static_cast<unsigned char>(text[run]) < 0x80) ++run;
    if (run > i) {
      const size_t at = out->size();
      out->resize(at + (run - i));
      char* dst = out->data() + at;
      for (size_t k = i; k < run; ++k) {
        const auto c = static_cast<unsigned char>(text[k]);
        *dst++ = static_cast<char>(c + (static_cast<unsigned char>(c - 'A') < 26 ? 32 : 0));
      }
      i = run;
      if (i == text.size()) break;
    }
    const auto byte = static_cast<unsigned char>(text[i]);
    const size_t from = i, out_from = out->size();
    uint32_t cp;
    if (DecodeUtf8(text, &i, &cp)) {
      AppendUtf8(FoldCase(cp), out);
    } else {
      AppendUtf8(kStrayByteMark + byte, out);
      ++i;
    }
    same_length = same_length && out->size() - out_from == i - from;
  }
  return same_length;
}

}  // namespace quorvane::browser
