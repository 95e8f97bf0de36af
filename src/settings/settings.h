// The program's settings: one value per key of the settings table, with its type and its
// default, the "options." group of further values, and the load and save that move them
// between the settings object and the store (settings_backend.h).
//
// Thread-compatible: the settings object is plain data; loads and saves do their file or
// registry work on the calling thread.
//
// Example:
//   UserSettings user = LoadUserSettings(ProcessEnvironment());
//   for (const auto& text : user.problems) ShowError(text);  // "Unable to create %s: %s"
//   user.settings.smtp_port = 587;
//   if (!SaveUserSettings(&user)) ShowError(user.backend->LastError());
//
// A save writes only what this process changed since it loaded (or last saved), so programs
// that hold the settings for hours and others that change one key meanwhile keep each
// other's values.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "settings/settings_backend.h"
#include "settings/user_folders.h"

namespace quorvane::settings {

// Values of "smtp.method".
enum SmtpAuthMethod : int32_t {
  kSmtpAuthNone = 0,
  kSmtpAuthCramMd5 = 1,
  kSmtpAuthLogin = 2,
  kSmtpAuthLoginPlain = 3,
};

inline constexpr std::string_view kOptionsPrefix = "options.";

// Field names follow the keys ("smtp.port" is smtp_port). Keys the table gives no default
// are optionals, and stay unwritten while unset.
struct Settings {
  std::string app_lastrunver;
  std::optional<std::string> app_updatecheck;  // "%lf,%lf,%d"
  std::optional<int32_t> app_lasttipshown;
  std::optional<int32_t> app_openalbumsorttype;
  std::string email_name;
  std::string email_address;
  std::string weboutput_path;
  std::string web_publish_templatepath;   // the design chosen last
  bool web_publish_stripprivate = false;  // published photos lose GPS, serials, owner names
  std::string filebrowser_path;
  std::string thumbnail_cache_path;
  std::string myphotoalbums_path;
  bool mapi_enable = false;
  std::string smtp_server;
  int32_t smtp_port = 25;
  int32_t smtp_method = kSmtpAuthNone;
  bool pop3_auth_popbeforesmtp = false;
  bool pop3_auth_apop = false;
  std::string pop3_server;
  int32_t pop3_port = 110;
  std::string smtp_user;
  std::string smtp_pass;
  bool smtp_savepass = false;
  // How the SMTP connection is protected: "none", "starttls" or "tls" (implicit, port 465).
  std::string smtp_security = "none";
  std::string print_template_path;
  int32_t print_flags = 5;
  // Every stored value whose name begins with "options.", kept as stored.
  SettingValues options;
};

enum class SettingType { kText, kNumber, kBoolean };

// One row of the settings table: the key, its type and where the object keeps it.
struct SettingKey {
  std::string_view name;
  SettingType type;
  std::variant<std::string Settings::*, std::optional<std::string> Settings::*, int32_t Settings::*,
               std::optional<int32_t> Settings::*, bool Settings::*>
      field;
};

// Every key of the table, in the table's order ("options." is not among them).
std::span<const SettingKey> SettingKeys();

// The defaults: the table's values, with the three folders of `folders`.
Settings DefaultSettings(const UserFolders& folders);

// The store for this user: the settings file in `folders.config` on Linux (and on Windows
// when QUORVANE_CONFIG_DIR is set), the registry key on Windows otherwise.
std::unique_ptr<SettingsBackend> OpenSettingsBackend(const Environment& env,
                                                     const UserFolders& folders);

// Reads every key of the "Main" section over `defaults`: a missing value, or one of the
// wrong type, keeps its default; a store that cannot be read leaves all defaults (its reason
// stays in backend.LastError()). Then creates the missing folders (CreateMissingFolders),
// appending their messages to *problems; start-up goes on either way.
Settings LoadSettings(SettingsBackend& backend, const Settings& defaults,
                      std::vector<std::string>* problems);

// Writes the keys whose value differs between `loaded` (the settings as this process read or
// last saved them) and `settings`: numbers and booleans as 32-bit numbers, texts as texts, an
// optional key unset since as removed. "options." names added or changed are written, those
// removed from `settings` are removed; every other stored value stays, whoever wrote it.
// "smtp.pass" is written only when the password changed, or when "smtp.savepass" was turned
// off: as the password while "smtp.savepass" is set (this process's value when it changed
// it, the stored one otherwise), as an empty text otherwise. False with backend.LastError().
[[nodiscard]] bool SaveSettings(SettingsBackend& backend, const Settings& loaded,
                                const Settings& settings);

// Creates "filebrowser.path", "thumbnail_cache.path" (with its parent) and
// "myphotoalbums.path" when missing. Returns one "Unable to create %s: %s" (folder, system
// error text) per folder that could not be made.
std::vector<std::string> CreateMissingFolders(const Settings& settings);

// The start-up sequence in one call: the user's folders, the store and the settings.
struct UserSettings {
  std::unique_ptr<SettingsBackend> backend;
  Settings settings;
  Settings loaded;  // as read or last saved: what the next save compares `settings` with
  std::vector<std::string> problems;  // "Unable to create %s: %s", for the user to see
};
UserSettings LoadUserSettings(const Environment& env);

// SaveSettings of what changed in user->settings; on success they become user->loaded.
// False with user->backend->LastError().
[[nodiscard]] bool SaveUserSettings(UserSettings* user);

// The value of a key (or of a stored "options." name) as text: numbers in decimal, booleans
// "1" or "0", an unset key as "". False for a name that is neither.
bool GetSettingText(const Settings& settings, std::string_view key, std::string* text);

// Sets a key from text: a decimal 32-bit number for numbers; "1", "0", "true", "false",
// "yes", "no", "on" or "off" for booleans; "" unsets a key without default. An "options."
// name keeps a decimal number as a number and anything else as text. On a bad value or an
// unknown key returns false, sets *error and changes nothing.
bool SetSettingText(Settings* settings, std::string_view key, std::string_view text,
                    std::string* error);

}  // namespace quorvane::settings
