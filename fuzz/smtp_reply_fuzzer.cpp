// Server replies as the SMTP client reads them: any bytes, any code awaited. Never a crash, and
// a reply whose first line starts with the code is always accepted.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "mail/mime/base64.h"
#include "mail/smtp_connection.h"

using namespace quorvane::mail;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const int expected = (data[0] << 8 | data[1]) % 1000;
  const std::string_view reply(reinterpret_cast<const char*>(data) + 2, size - 2);
  int code = -1;
  (void)ReplyHasCode(reply, expected, &code);
  char prefix[4];
  std::snprintf(prefix, sizeof prefix, "%03d", expected);
  if (!ReplyHasCode(std::string(prefix) + std::string(reply), expected, &code)) std::abort();
  if (code != expected) std::abort();
  std::string challenge;
  (void)Base64Decode(reply.size() > 4 ? reply.substr(4) : std::string_view(), &challenge);
  return 0;
}
