#include "mail/mime/quoted_printable.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/ascii.h"

namespace quorvane::mail {
namespace {

constexpr char kHex[] = "0123456789ABCDEF";
constexpr size_t kMaxLine = 76;  // bytes past the line start; a line holds at most 77

// Bytes copied as they are: printable ASCII but "=", line ends, tab and blank.
constexpr std::array<bool, 256> MakePlainTable() {
  std::array<bool, 256> plain{};
  for (int c = 33; c <= 126; ++c) plain[c] = c != '=';
  plain['\r'] = plain['\n'] = plain['\t'] = plain[' '] = true;
  return plain;
}
constexpr std::array<bool, 256> kPlain = MakePlainTable();

// Escapes `size` bytes into `out`, which has room for three times as many; returns the end.
char* EscapeRun(const unsigned char* in, size_t size, char* out) {
  for (const unsigned char* end = in + size; in != end; ++in) {
    if (kPlain[*in]) {
      *out++ = static_cast<char>(*in);
    } else {
      out[0] = '=';
      out[1] = kHex[*in >> 4];
      out[2] = kHex[*in & 15];
      out += 3;
    }
  }
  return out;
}

// The length of the line that starts `text`: through its first CR or LF, else all of it.
size_t LineLength(std::string_view text) {
  size_t end = 0;
  while (end < text.size() && text[end] != '\r' && text[end] != '\n') ++end;
  return end < text.size() ? end + 1 : end;
}

// Where a line of escaped text at `start` that runs past 77 characters is cut: the index of the
// last character kept, after the last blank or tab among the first 77, else after the last
// whole escape, else after 77 characters (fewer where that would split an escape).
size_t BreakPoint(const char* e, size_t start) {
  size_t brk = start + kMaxLine;
  while (brk > start && e[brk] != ' ' && e[brk] != '\t' && !(brk >= 2 && e[brk - 2] == '=')) --brk;
  if (brk != start) return brk;
  brk = start + kMaxLine;
  if (e[brk] == '=') return brk - 1;
  return e[brk - 1] == '=' ? brk - 2 : brk;
}

// Writes one line of escaped text (ending in its CR or LF, or at the end of the text) to `out`,
// cut into pieces of at most 77 characters, each followed by "=" CRLF; returns the end. `out`
// needs room for WrappedSizeBound of the line.
char* WrapLine(std::string_view e, char* out) {
  size_t start = 0;
  while (e.size() - start > kMaxLine + 2) {
    const size_t brk = BreakPoint(e.data(), start);
    out = std::copy(e.data() + start, e.data() + brk + 1, out);
    out = std::copy_n("=\r\n", 3, out);
    start = brk + 1;
  }
  return std::copy(e.data() + start, e.data() + e.size(), out);
}

// Two pieces in a row hold more than 76 characters, so a line of `size` characters breaks
// at most 2 * size / 76 + 1 times.
size_t WrappedSizeBound(size_t size) { return size + 6 * (size / 76 + 1); }

// Makes room for `more` bytes past `used` in `*out`, which grows by doubling.
char* Reserve(std::string* out, size_t used, size_t more) {
  if (out->size() < used + more) out->resize(std::max(out->size() * 2, used + more));
  return out->data() + used;
}

// Eight bytes as a number, the first in the lowest bits whatever the machine's byte order.
uint64_t LoadEight(const unsigned char* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, 8);
  if constexpr (std::endian::native != std::endian::little) {
    word = 0;
    for (int i = 7; i >= 0; --i) word = (word << 8) | bytes[i];
  }
  return word;
}

// The index of the first of eight bytes that is not printable ASCII or a blank, or that is
// "=": where an escape, a tab or a line end may begin; 8 when all are copied as they are. The
// borrows and carries of the arithmetic can mark harmless bytes after that byte, never before.
int FirstToLookAt(uint64_t word) {
  constexpr uint64_t kOnes = 0x0101010101010101u, kHigh = 0x8080808080808080u;
  const uint64_t below_blank = (word - kOnes * ' ') & ~word & kHigh;
  const uint64_t above_tilde = ((word + kOnes) | word) & kHigh;
  const uint64_t equals = word ^ (kOnes * '=');
  const uint64_t marked = below_blank | above_tilde | ((equals - kOnes) & ~equals & kHigh);
  return marked == 0 ? 8 : std::countr_zero(marked) / 8;
}

}  // namespace

std::string QuotedPrintableEscape(std::string_view text) {
  std::string out(3 * text.size(), '\0');
  out.resize(static_cast<size_t>(
      EscapeRun(reinterpret_cast<const unsigned char*>(text.data()), text.size(), out.data()) -
      out.data()));
  return out;
}

std::string QuotedPrintableWrap(std::string_view escaped) {
  std::string out;
  size_t used = 0;
  while (!escaped.empty()) {
    const std::string_view line = escaped.substr(0, LineLength(escaped));
    char* write = Reserve(&out, used, WrappedSizeBound(line.size()));
    used = static_cast<size_t>(WrapLine(line, write) - out.data());
    escaped.remove_prefix(line.size());
  }
  out.resize(used);
  return out;
}

// Both passes at once: each escaped character is placed as the wrap would place it, and a line
// grown past 77 characters gets its soft break where the wrap would have put it, the tail moved
// behind it. Plain runs are copied up to eight bytes at a time.
std::string QuotedPrintableEncode(std::string_view text) {
  constexpr size_t kBlock = 256;
  std::string out(text.size() + text.size() / 16 + 1024, '\0');
  size_t used = 0;
  size_t line = 0;  // where the line being written starts in `out`
  const auto* in = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = in + text.size();
  while (in != end) {
    const size_t block = std::min(kBlock, static_cast<size_t>(end - in));
    const size_t room = used + WrappedSizeBound(3 * block) + 6;
    if (out.size() < room) out.resize(std::max(out.size() + out.size() / 2, room));
    char* const o = out.data();
    const unsigned char* const block_end = in + block;
    while (in != block_end) {
      // Characters at offsets 0 to 76 of a line never break it.
      const size_t offset = used - line;
      if (offset <= kMaxLine && block_end - in >= 8) {
        const size_t plain =
            std::min(static_cast<size_t>(FirstToLookAt(LoadEight(in))), kMaxLine + 1 - offset);
        if (plain > 0) {
          std::memcpy(o + used, in, 8);  // the bytes past `plain` are written over
          used += plain;
          in += plain;
          continue;
        }
      }
      const unsigned char c = *in++;
      if (c == '\r' || c == '\n') {
        o[used++] = static_cast<char>(c);
        line = used;
        continue;
      }
      if (kPlain[c] && offset <= kMaxLine) {
        o[used++] = static_cast<char>(c);
        continue;
      }
      const char escape[3] = {'=', kHex[c >> 4], kHex[c & 15]};
      if (!kPlain[c] && offset + 3 <= kMaxLine + 1) {
        std::memcpy(o + used, escape, 3);
        used += 3;
        continue;
      }
      const char* chars = kPlain[c] ? reinterpret_cast<const char*>(&c) : escape;
      const int count = kPlain[c] ? 1 : 3;
      for (int k = 0; k < count; ++k) {
        // The 78th character of a line that goes on after it: break the line.
        if (used - line > kMaxLine && !(in == end && k == count - 1)) {
          const size_t brk = BreakPoint(o, line);
          std::memmove(o + brk + 4, o + brk + 1, used - brk - 1);
          std::memcpy(o + brk + 1, "=\r\n", 3);
          used += 3;
          line = brk + 4;
        }
        o[used++] = chars[k];
      }
    }
  }
  out.resize(used);
  return out;
}

std::string QuotedPrintableDecode(std::string_view encoded) {
  std::string out;
  out.reserve(encoded.size());
  for (size_t i = 0; i < encoded.size(); ++i) {
    const char c = encoded[i];
    if (c != '=') {
      out.push_back(c);
      continue;
    }
    if (encoded.substr(i + 1, 2) == "\r\n") {
      i += 2;
      continue;
    }
    if (encoded.substr(i + 1, 1) == "\n") {
      i += 1;
      continue;
    }
    if (i + 2 < encoded.size() && platform::HexDigitValue(encoded[i + 1]) >= 0 &&
        platform::HexDigitValue(encoded[i + 2]) >= 0) {
      out.push_back(static_cast<char>(platform::HexDigitValue(encoded[i + 1]) * 16 +
                                      platform::HexDigitValue(encoded[i + 2])));
      i += 2;
      continue;
    }
    out.push_back(c);
  }
  return out;
}

}  // namespace quorvane::mail
