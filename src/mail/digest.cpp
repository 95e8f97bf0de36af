#include "mail/digest.h"

#include <openssl/evp.h>

namespace quorvane::mail {

Md5Digest Md5(std::string_view bytes) {
  Md5Digest digest{};
  unsigned int size = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_md5(), nullptr);
  return digest;
}

Md5Digest HmacMd5(std::string_view key, std::string_view data) {
  constexpr size_t kBlock = 64;
  std::array<uint8_t, kBlock> padded{};
  if (key.size() > kBlock) {
    const Md5Digest hashed = Md5(key);
    std::copy(hashed.begin(), hashed.end(), padded.begin());
  } else {
    std::copy(key.begin(), key.end(), padded.begin());
  }
  std::string inner(kBlock, '\0');
  std::string outer(kBlock, '\0');
  for (size_t i = 0; i < kBlock; ++i) {
    inner[i] = static_cast<char>(padded[i] ^ 54);
    outer[i] = static_cast<char>(padded[i] ^ 92);
  }
  inner.append(data);
  const Md5Digest inner_digest = Md5(inner);
  outer.append(reinterpret_cast<const char*>(inner_digest.data()), inner_digest.size());
  return Md5(outer);
}

std::string LowerHex(const Md5Digest& digest) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : digest) {
    text.push_back(kHex[byte >> 4]);
    text.push_back(kHex[byte & 15]);
  }
  return text;
}

}  // namespace quorvane::mail
