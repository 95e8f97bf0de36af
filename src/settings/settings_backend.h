// The storage behind the settings: named values, each a 32-bit number or a text, grouped in
// sections ("Main", "Recent Document List"). One interface, two stores: a per-user file
// (file_backend.h, every platform) and the per-user registry key on Windows
// (registry_backend.h).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>

namespace quorvane::settings {

// A stored value: numbers are 32-bit, as registry DWORDs are; texts are UTF-8 bytes.
using SettingValue = std::variant<int32_t, std::string>;
using SettingValues = std::map<std::string, SettingValue, std::less<>>;

inline constexpr std::string_view kMainSection = "Main";
inline constexpr std::string_view kRecentDocumentSection = "Recent Document List";

class SettingsBackend {
 public:
  virtual ~SettingsBackend() = default;

  // Replaces *values with every value of the section. A store or section never written
  // reads as empty. Returns false, with the reason in LastError(), when the store exists
  // but cannot be read; *values is then empty.
  [[nodiscard]] virtual bool ReadSection(std::string_view section, SettingValues* values) = 0;

  // Sets the given values in the section, creating the store and the section when missing;
  // values not named keep theirs. On failure returns false with the reason in LastError();
  // the file store is then unchanged, the registry may keep the values set before the error.
  [[nodiscard]] virtual bool WriteValues(std::string_view section, const SettingValues& values) = 0;

  // The message of the last failed operation.
  virtual const std::string& LastError() const = 0;
};

}  // namespace quorvane::settings
