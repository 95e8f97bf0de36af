// Random (version 4) UUIDs as 36 lower-case characters: MIME boundaries and message ids need
// text that no message body will contain by chance.
#pragma once

#include <string>

namespace quorvane::platform {

// A fresh "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx" in lower-case hexadecimal. Thread-safe.
std::string NewUuidText();

}  // namespace quorvane::platform
