#include "settings/settings.h"

#include <charconv>
#include <system_error>

#include "settings/file_backend.h"

#ifdef _WIN32
#include "settings/registry_backend.h"
#endif

namespace quorvane::settings {
namespace fs = std::filesystem;

namespace {

template <class... Ts>
struct Overloaded : Ts... {
  using Ts::operator()...;
};
template <class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

using S = Settings;
using T = SettingType;

constexpr SettingKey kKeys[] = {
    {"app.lastrunver", T::kText, &S::app_lastrunver},
    {"app.updatecheck", T::kText, &S::app_updatecheck},
    {"app.lasttipshown", T::kNumber, &S::app_lasttipshown},
    {"app.openalbumsorttype", T::kNumber, &S::app_openalbumsorttype},
    {"email.name", T::kText, &S::email_name},
    {"email.address", T::kText, &S::email_address},
    {"weboutput.path", T::kText, &S::weboutput_path},
    {"web.publish.templatepath", T::kText, &S::web_publish_templatepath},
    {"web.publish.stripprivate", T::kBoolean, &S::web_publish_stripprivate},
    {"filebrowser.path", T::kText, &S::filebrowser_path},
    {"thumbnail_cache.path", T::kText, &S::thumbnail_cache_path},
    {"myphotoalbums.path", T::kText, &S::myphotoalbums_path},
    {"mapi.enable", T::kBoolean, &S::mapi_enable},
    {"smtp.server", T::kText, &S::smtp_server},
    {"smtp.port", T::kNumber, &S::smtp_port},
    {"smtp.method", T::kNumber, &S::smtp_method},
    {"pop3.auth.popbeforesmtp", T::kBoolean, &S::pop3_auth_popbeforesmtp},
    {"pop3.auth.apop", T::kBoolean, &S::pop3_auth_apop},
    {"pop3.server", T::kText, &S::pop3_server},
    {"pop3.port", T::kNumber, &S::pop3_port},
    {"smtp.user", T::kText, &S::smtp_user},
    {"smtp.pass", T::kText, &S::smtp_pass},
    {"smtp.savepass", T::kBoolean, &S::smtp_savepass},
    {"smtp.security", T::kText, &S::smtp_security},
    {"print.template_path", T::kText, &S::print_template_path},
    {"print.flags", T::kNumber, &S::print_flags},
};

const SettingKey* FindKey(std::string_view name) {
  for (const SettingKey& key : kKeys) {
    if (key.name == name) return &key;
  }
  return nullptr;
}

bool IsOptionName(std::string_view name) {
  return name.size() > kOptionsPrefix.size() &&
         name.substr(0, kOptionsPrefix.size()) == kOptionsPrefix;
}

// Copies a stored value into the field when its type fits; anything else keeps the field.
void Assign(Settings& settings, const SettingKey& key, const SettingValue& stored) {
  const std::string* text = std::get_if<std::string>(&stored);
  const int32_t* number = std::get_if<int32_t>(&stored);
  std::visit(Overloaded{
                 [&](std::string S::*field) {
                   if (text) settings.*field = *text;
                 },
                 [&](std::optional<std::string> S::*field) {
                   if (text) settings.*field = *text;
                 },
                 [&](int32_t S::*field) {
                   if (number) settings.*field = *number;
                 },
                 [&](std::optional<int32_t> S::*field) {
                   if (number) settings.*field = *number;
                 },
                 [&](bool S::*field) {
                   if (number) settings.*field = *number != 0;
                 },
             },
             key.field);
}

// The stored form of a field; nullopt for an unset optional.
std::optional<SettingValue> Stored(const Settings& settings, const SettingKey& key) {
  return std::visit(
      Overloaded{
          [&](std::string S::*field) -> std::optional<SettingValue> { return settings.*field; },
          [&](std::optional<std::string> S::*field) -> std::optional<SettingValue> {
            if (!(settings.*field)) return std::nullopt;
            return *(settings.*field);
          },
          [&](int32_t S::*field) -> std::optional<SettingValue> { return settings.*field; },
          [&](std::optional<int32_t> S::*field) -> std::optional<SettingValue> {
            if (!(settings.*field)) return std::nullopt;
            return *(settings.*field);
          },
          [&](bool S::*field) -> std::optional<SettingValue> {
            return static_cast<int32_t>(settings.*field ? 1 : 0);
          },
      },
      key.field);
}

std::string ToText(const SettingValue& value) {
  if (const int32_t* number = std::get_if<int32_t>(&value)) return std::to_string(*number);
  return std::get<std::string>(value);
}

bool ParseInt32(std::string_view text, int32_t* value) {
  if (text.empty()) return false;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return ec == std::errc() && end == text.data() + text.size();
}

bool ParseBoolean(std::string_view text, bool* value) {
  for (std::string_view yes : {"1", "true", "yes", "on"}) {
    if (text == yes) return *value = true, true;
  }
  for (std::string_view no : {"0", "false", "no", "off"}) {
    if (text == no) return *value = false, true;
  }
  return false;
}

constexpr std::string_view kPasswordKey = "smtp.pass";
constexpr std::string_view kSavePasswordKey = "smtp.savepass";

// What a save of `settings` writes over `stored`, given that this process began from `loaded`.
SettingChanges ChangesSince(const Settings& loaded, const Settings& settings,
                            const SettingValues& stored) {
  SettingChanges changes;
  for (const SettingKey& key : kKeys) {
    if (key.name == kPasswordKey) continue;
    std::optional<SettingValue> before = Stored(loaded, key);
    std::optional<SettingValue> after = Stored(settings, key);
    if (before == after) continue;
    if (after) {
      changes.set.insert_or_assign(std::string(key.name), std::move(*after));
    } else {
      changes.removed.emplace(key.name);
    }
  }

  // Whether the password may be kept is decided when it is written: another program may have
  // turned "smtp.savepass" off since this one loaded, and a stale "on" must not bring a
  // password back to the disk.
  const bool password_changed = loaded.smtp_pass != settings.smtp_pass;
  const bool keep_changed = loaded.smtp_savepass != settings.smtp_savepass;
  if (password_changed || (keep_changed && !settings.smtp_savepass)) {
    bool keep = settings.smtp_savepass;
    if (!keep_changed) {
      auto found = stored.find(kSavePasswordKey);
      const int32_t* number =
          found != stored.end() ? std::get_if<int32_t>(&found->second) : nullptr;
      keep = number != nullptr && *number != 0;
    }
    changes.set.insert_or_assign(std::string(kPasswordKey),
                                 keep ? settings.smtp_pass : std::string());
  }

  for (const auto& [name, value] : settings.options) {
    if (!IsOptionName(name)) continue;
    auto before = loaded.options.find(name);
    if (before == loaded.options.end() || before->second != value) {
      changes.set.insert_or_assign(name, value);
    }
  }
  for (const auto& [name, value] : loaded.options) {
    if (IsOptionName(name) && !settings.options.contains(name)) changes.removed.insert(name);
  }
  return changes;
}

}  // namespace

std::span<const SettingKey> SettingKeys() { return kKeys; }

Settings DefaultSettings(const UserFolders& folders) {
  Settings defaults;
  defaults.filebrowser_path = folders.browser.string();
  defaults.thumbnail_cache_path = folders.thumbnails.string();
  defaults.myphotoalbums_path = folders.library.string();
  return defaults;
}

std::unique_ptr<SettingsBackend> OpenSettingsBackend(const Environment& env,
                                                     const UserFolders& folders) {
#ifdef _WIN32
  const std::optional<std::string> portable = env("QUORVANE_CONFIG_DIR");
  if (!portable || portable->empty()) return std::make_unique<RegistryBackend>();
#else
  (void)env;
#endif
  return std::make_unique<FileBackend>(folders.config / kSettingsFileName);
}

Settings LoadSettings(SettingsBackend& backend, const Settings& defaults,
                      std::vector<std::string>* problems) {
  Settings settings = defaults;
  SettingValues stored;
  if (backend.ReadSection(kMainSection, &stored)) {
    for (const SettingKey& key : kKeys) {
      if (auto found = stored.find(key.name); found != stored.end()) {
        Assign(settings, key, found->second);
      }
    }
    for (auto& [name, value] : stored) {
      if (IsOptionName(name)) settings.options.insert_or_assign(name, value);
    }
  }
  std::vector<std::string> folder_problems = CreateMissingFolders(settings);
  problems->insert(problems->end(), folder_problems.begin(), folder_problems.end());
  return settings;
}

bool SaveSettings(SettingsBackend& backend, const Settings& loaded, const Settings& settings) {
  return backend.ChangeValues(kMainSection, [&](const SettingValues& stored) {
    return ChangesSince(loaded, settings, stored);
  });
}

std::vector<std::string> CreateMissingFolders(const Settings& settings) {
  std::vector<std::string> problems;
  for (const std::string* folder :
       {&settings.filebrowser_path, &settings.thumbnail_cache_path, &settings.myphotoalbums_path}) {
    if (folder->empty()) continue;
    std::error_code ec;
    if (fs::is_directory(*folder, ec)) continue;
    // create_directories also makes the thumbnail cache's parent application-data folder.
    fs::create_directories(*folder, ec);
    if (ec || !fs::is_directory(*folder)) {
      if (!ec) ec = std::make_error_code(std::errc::not_a_directory);
      problems.push_back("Unable to create " + *folder + ": " + ec.message());
    }
  }
  return problems;
}

UserSettings LoadUserSettings(const Environment& env) {
  const UserFolders folders = FindUserFolders(env);
  UserSettings user;
  user.backend = OpenSettingsBackend(env, folders);
  user.settings = LoadSettings(*user.backend, DefaultSettings(folders), &user.problems);
  user.loaded = user.settings;
  return user;
}

bool SaveUserSettings(UserSettings* user) {
  if (!SaveSettings(*user->backend, user->loaded, user->settings)) return false;
  user->loaded = user->settings;
  return true;
}

bool GetSettingText(const Settings& settings, std::string_view key, std::string* text) {
  if (const SettingKey* found = FindKey(key)) {
    std::optional<SettingValue> value = Stored(settings, *found);
    *text = value ? ToText(*value) : std::string();
    return true;
  }
  if (auto option = settings.options.find(key); option != settings.options.end()) {
    *text = ToText(option->second);
    return true;
  }
  return false;
}

bool SetSettingText(Settings* settings, std::string_view key, std::string_view text,
                    std::string* error) {
  const SettingKey* found = FindKey(key);
  if (found == nullptr) {
    if (!IsOptionName(key)) {
      *error = "unknown setting \"" + std::string(key) + "\"";
      return false;
    }
    int32_t number = 0;
    if (ParseInt32(text, &number)) {
      settings->options.insert_or_assign(std::string(key), number);
    } else {
      settings->options.insert_or_assign(std::string(key), std::string(text));
    }
    return true;
  }
  auto bad_value = [&](std::string_view wanted) {
    *error =
        std::string(key) + " takes " + std::string(wanted) + ", not \"" + std::string(text) + "\"";
    return false;
  };
  int32_t number = 0;
  bool flag = false;
  return std::visit(Overloaded{
                        [&](std::string S::*field) {
                          settings->*field = std::string(text);
                          return true;
                        },
                        [&](std::optional<std::string> S::*field) {
                          settings->*field = text.empty()
                                                 ? std::nullopt
                                                 : std::optional<std::string>(std::string(text));
                          return true;
                        },
                        [&](int32_t S::*field) {
                          if (!ParseInt32(text, &number)) return bad_value("a 32-bit number");
                          settings->*field = number;
                          return true;
                        },
                        [&](std::optional<int32_t> S::*field) {
                          if (text.empty()) {
                            settings->*field = std::nullopt;
                            return true;
                          }
                          if (!ParseInt32(text, &number)) return bad_value("a 32-bit number");
                          settings->*field = number;
                          return true;
                        },
                        [&](bool S::*field) {
                          if (!ParseBoolean(text, &flag)) return bad_value("1 or 0");
                          settings->*field = flag;
                          return true;
                        },
                    },
                    found->field);
}

}  // namespace quorvane::settings
