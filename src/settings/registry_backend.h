// The settings in the Windows registry: one subkey per section under
// HKEY_CURRENT_USER\Software\Tessory Software\Quorvane, numbers as REG_DWORD, texts as REG_SZ.
// Built on Windows only.
#pragma once

#ifdef _WIN32

#include <string>
#include <string_view>

#include "settings/settings_backend.h"

namespace quorvane::settings {

inline constexpr std::string_view kRegistryKey = "Software\\Tessory Software\\Quorvane";

class RegistryBackend : public SettingsBackend {
 public:
  // Reads into a 1024-byte buffer per value, as the program always has: a longer text, a
  // number of another size or a value of another type is left out, so it keeps its default.
  bool ReadSection(std::string_view section, SettingValues* values) override;
  // Creates the key with full access when missing and writes value by value: the registry
  // has no lock to hold across the read and the writes, but since only the changed values
  // are written, another program's values in between survive. Texts stop at their first
  // NUL byte; removing a value that is not there is no error.
  bool ChangeValues(std::string_view section, const ChangeDecider& decide) override;
  const std::string& LastError() const override { return last_error_; }

 private:
  std::string last_error_;
};

}  // namespace quorvane::settings

#endif  // _WIN32
