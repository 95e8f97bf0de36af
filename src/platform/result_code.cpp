#include "platform/result_code.h"

#include <cstdio>

namespace quorvane::platform {

std::string ResultCodeText(ResultCode code) {
  // The messages the system has for the low words of the codes our operations return.
  switch (code & 0xFFFF) {
    case 0x4001:
      return "Not implemented";
    case 0x4005:
      return "Unspecified error";
    case 0x04C7:
      return "The operation was canceled by the user.";
    default:
      break;
  }
  char text[32];
  std::snprintf(text, sizeof text, "Error 0x%08lx", static_cast<unsigned long>(code));
  return text;
}

}  // namespace quorvane::platform
