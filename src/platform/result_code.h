// Result codes in the HRESULT style that long jobs and edit operations return: 0 is success,
// a set top bit is a failure, and a cancelled job has a code of its own so that callers never
// report it as an error.
#pragma once

#include <cstdint>
#include <string>

namespace quorvane::platform {

using ResultCode = uint32_t;

inline constexpr ResultCode kOk = 0;
inline constexpr ResultCode kNothingToDo = 1;  // a success that changed nothing
inline constexpr ResultCode kNotImplemented = 0x80004001;
inline constexpr ResultCode kFailed = 0x80004005;
inline constexpr ResultCode kCancelled = 0x800704C7;  // the user cancelled; not an error

// True for every failure code, kCancelled included; success codes have the top bit clear.
constexpr bool IsFailure(ResultCode code) { return (code & 0x80000000u) != 0; }

// A code as the user reads it: the system's message for its low 16 bits, or "Error 0x%08lx".
std::string ResultCodeText(ResultCode code);

}  // namespace quorvane::platform
