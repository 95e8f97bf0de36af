#include "mail/mime/base64.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace quorvane::mail {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kLineBytes = 57;  // 76 characters of output

constexpr std::array<int8_t, 256> MakeDecodeTable() {
  std::array<int8_t, 256> table{};
  for (auto& entry : table) entry = -1;
  for (int i = 0; i < 64; ++i)
    table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<int8_t>(i);
  return table;
}
constexpr std::array<int8_t, 256> kDecode = MakeDecodeTable();

// The two characters of every 12 bits, so three bytes take two look-ups.
constexpr std::array<std::array<char, 2>, 4096> MakePairTable() {
  std::array<std::array<char, 2>, 4096> table{};
  for (int i = 0; i < 4096; ++i) table[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
  return table;
}
constexpr std::array<std::array<char, 2>, 4096> kPairs = MakePairTable();

// Writes the 4-character groups of `size` bytes to `out` and returns the end.
char* EncodeRun(const unsigned char* in, size_t size, char* out) {
  size_t i = 0;
  for (; i + 3 <= size; i += 3) {
    const uint32_t v = (uint32_t{in[i]} << 16) | (uint32_t{in[i + 1]} << 8) | in[i + 2];
    std::memcpy(out, kPairs[v >> 12].data(), 2);
    std::memcpy(out + 2, kPairs[v & 4095].data(), 2);
    out += 4;
  }
  const size_t rest = size - i;
  if (rest > 0) {
    const uint32_t v = (uint32_t{in[i]} << 16) | (rest == 2 ? uint32_t{in[i + 1]} << 8 : 0);
    out[0] = kAlphabet[v >> 18];
    out[1] = kAlphabet[(v >> 12) & 63];
    out[2] = rest == 2 ? kAlphabet[(v >> 6) & 63] : '=';
    out[3] = '=';
    out += 4;
  }
  return out;
}

}  // namespace

std::string Base64Encode(std::string_view bytes) {
  std::string out((bytes.size() + 2) / 3 * 4, '\0');
  EncodeRun(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), out.data());
  return out;
}

bool Base64Decode(std::string_view text, std::string* out) {
  uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    if (c == '=') break;
    if (c == '\r' || c == '\n' || c == ' ' || c == '\t') continue;
    const int value = kDecode[static_cast<unsigned char>(c)];
    if (value < 0) return false;
    bits = (bits << 6) | static_cast<uint32_t>(value);
    if (++count == 4) {
      out->push_back(static_cast<char>(bits >> 16));
      out->push_back(static_cast<char>(bits >> 8));
      out->push_back(static_cast<char>(bits));
      bits = 0;
      count = 0;
    }
  }
  if (count == 2) {
    out->push_back(static_cast<char>(bits >> 4));
  } else if (count == 3) {
    out->push_back(static_cast<char>(bits >> 10));
    out->push_back(static_cast<char>(bits >> 2));
  }
  return true;
}

size_t Base64LinesSize(size_t size) {
  const size_t encoded = (size + 2) / 3 * 4;
  return encoded + 2 * ((size + kLineBytes - 1) / kLineBytes);
}

void AppendBase64Lines(std::string_view bytes, std::string* out) {
  const size_t start = out->size();
  out->resize(start + Base64LinesSize(bytes.size()));
  char* write = out->data() + start;
  const auto* read = reinterpret_cast<const unsigned char*>(bytes.data());
  size_t left = bytes.size();
  while (left > 0) {
    const size_t take = left < kLineBytes ? left : kLineBytes;
    write = EncodeRun(read, take, write);
    *write++ = '\r';
    *write++ = '\n';
    read += take;
    left -= take;
  }
}

}  // namespace quorvane::mail
