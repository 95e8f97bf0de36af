// The settings as one per-user text file, for every platform without the registry (and for
// portable installs on Windows). The file is rewritten whole, atomically, with mode 0600,
// since it may hold the mail password; writers take turns through an advisory lock on its
// folder, so each change lands on what the previous writer left.
//
// Format, one item per line, "#" lines are comments:
//   [Main]                      a section
//   smtp.port=25                a number: decimal, -2147483648..4294967295 (kept as 32 bits)
//   smtp.server="mail.example"  a text: quoted, to the last quote of the line
// Names, section names and texts escape "\\", control bytes ("\n", "\r", "\t", "\xHH") and,
// in names, "=" and "]", so any byte string round-trips; UTF-8 passes through unchanged.
// Spaces around "=" are allowed. Lines that do not parse are skipped, never fatal.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "settings/settings_backend.h"

namespace quorvane::settings {

using SettingSections = std::map<std::string, SettingValues, std::less<>>;

// Reads whatever parses out of `bytes`; later duplicates replace earlier ones.
SettingSections ParseSettingsFile(std::string_view bytes);
// The file text of `sections`, which ParseSettingsFile reads back unchanged.
std::string FormatSettingsFile(const SettingSections& sections);

class FileBackend : public SettingsBackend {
 public:
  // A save takes milliseconds; a holder longer than this is stuck, not busy.
  static constexpr std::chrono::milliseconds kLockWait{10'000};

  explicit FileBackend(std::filesystem::path file) : file_(std::move(file)) {}

  const std::filesystem::path& file() const { return file_; }

  bool ReadSection(std::string_view section, SettingValues* values) override;
  // Under an exclusive lock on the folder (waiting up to kLockWait for another writer),
  // reads the whole file, applies the changes and writes it back atomically, creating the
  // folder (0700) and the file (0600) when missing and taking an existing file back to 0600.
  // A wait that runs out fails with "\"<folder>\" is in use by another program".
  bool ChangeValues(std::string_view section, const ChangeDecider& decide) override;
  const std::string& LastError() const override { return last_error_; }

 private:
  // A missing file reads as empty; any other failure sets last_error_.
  bool ReadAll(SettingSections* sections);

  std::filesystem::path file_;
  std::string last_error_;
};

}  // namespace quorvane::settings
