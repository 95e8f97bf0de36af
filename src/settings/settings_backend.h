// The storage behind the settings: named values, each a 32-bit number or a text, grouped in
// sections ("Main", "Recent Document List"). One interface, two stores: a per-user file
// (file_backend.h, every platform) and the per-user registry key on Windows
// (registry_backend.h).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <variant>

namespace quorvane::settings {

// A stored value: numbers are 32-bit, as registry DWORDs are; texts are UTF-8 bytes.
using SettingValue = std::variant<int32_t, std::string>;
using SettingValues = std::map<std::string, SettingValue, std::less<>>;

// What one save does to a section: the values it sets and the names it removes. Everything
// else in the section stays as it is, whoever wrote it.
struct SettingChanges {
  SettingValues set;
  std::set<std::string, std::less<>> removed;

  bool empty() const { return set.empty() && removed.empty(); }
};

// Given the section as stored at the moment of writing, the changes to make to it.
using ChangeDecider = std::function<SettingChanges(const SettingValues& stored)>;

inline constexpr std::string_view kMainSection = "Main";
inline constexpr std::string_view kRecentDocumentSection = "Recent Document List";

class SettingsBackend {
 public:
  virtual ~SettingsBackend() = default;

  // Replaces *values with every value of the section. A store or section never written
  // reads as empty. Returns false, with the reason in LastError(), when the store exists
  // but cannot be read; *values is then empty.
  [[nodiscard]] virtual bool ReadSection(std::string_view section, SettingValues* values) = 0;

  // Reads the section as it is stored now (other writers of the file store are held off
  // until the write is done), asks `decide` what to change and applies exactly that: the
  // section and the store are created when missing, names that `decide` leaves out keep
  // their values. Nothing is written when `decide` returns no change. On failure returns
  // false with the reason in LastError(); the file store is then unchanged, the registry may
  // keep the values set before the error. `decide` runs on the calling thread, at most once.
  [[nodiscard]] virtual bool ChangeValues(std::string_view section,
                                          const ChangeDecider& decide) = 0;

  // ChangeValues that sets `values` whatever is stored.
  [[nodiscard]] bool WriteValues(std::string_view section, const SettingValues& values) {
    return ChangeValues(section, [&](const SettingValues&) { return SettingChanges{values, {}}; });
  }

  // The message of the last failed operation.
  virtual const std::string& LastError() const = 0;
};

}  // namespace quorvane::settings
