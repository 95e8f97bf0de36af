// MD5 (from OpenSSL's libcrypto) and HMAC-MD5 built on it with the key rule of CRAM-MD5, for
// the SMTP and POP3 log-ins.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace quorvane::mail {

using Md5Digest = std::array<uint8_t, 16>;

Md5Digest Md5(std::string_view bytes);
// HMAC-MD5: a key of 65 bytes or more is replaced by its MD5 digest, then zero-padded to 64.
Md5Digest HmacMd5(std::string_view key, std::string_view data);
// 32 lower-case hexadecimal digits.
std::string LowerHex(const Md5Digest& digest);

}  // namespace quorvane::mail
