#include <string>

#include "cli/commands.h"

namespace quorvane::cli {

std::string UsageOf(std::string_view prefix) {
  std::string joined;
  for (const Command& command : kCommands) {
    const std::string lines = command.usage();
    size_t begin = 0;
    while (begin < lines.size()) {
      size_t end = lines.find('\n', begin);
      if (end == std::string::npos) end = lines.size();
      const std::string_view line = std::string_view(lines).substr(begin, end - begin);
      // Whole words only: "edit" is not a prefix of "edit-file ...".
      if (line.starts_with(prefix) &&
          (line.size() == prefix.size() || line[prefix.size()] == ' ')) {
        if (!joined.empty()) joined += " | ";
        joined += line;
      }
      begin = end + 1;
    }
  }
  return joined;
}

}  // namespace quorvane::cli
