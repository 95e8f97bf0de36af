// quorvane-cli settings: show, read and change the stored settings, through the same store
// the desktop program uses.
#include <iostream>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/user_settings.h"
#include "settings/settings.h"

namespace quorvane::cli {
namespace {

int Show(const Arguments& parsed) {
  const std::string usage = UsageOf("settings show");
  if (!parsed.positional.empty()) return UsageError("show takes no arguments", usage);
  const settings::UserSettings user = LoadSettingsReportingProblems();
  for (const settings::SettingKey& key : settings::SettingKeys()) {
    std::string text;
    if (!settings::GetSettingText(user.settings, key.name, &text)) continue;
    // The password is shown only as set or not; "settings get smtp.pass" prints it.
    if (key.name == "smtp.pass" && !text.empty()) text = "********";
    std::cout << key.name << '=' << OneLine(text) << '\n';
  }
  for (const auto& [name, value] : user.settings.options) {
    std::string text;
    if (settings::GetSettingText(user.settings, name, &text)) {
      std::cout << name << '=' << OneLine(text) << '\n';
    }
  }
  return kExitOk;
}

int Get(const Arguments& parsed) {
  const std::string usage = UsageOf("settings get");
  if (parsed.positional.size() != 1) return UsageError("get takes one key", usage);
  const settings::UserSettings user = LoadSettingsReportingProblems();
  std::string text;
  if (!settings::GetSettingText(user.settings, parsed.positional[0], &text)) {
    return UsageError("unknown setting \"" + parsed.positional[0] + "\"", usage);
  }
  std::cout << text << '\n';
  return kExitOk;
}

int Set(const Arguments& parsed) {
  const std::string usage = UsageOf("settings set");
  if (parsed.positional.size() != 2) return UsageError("set takes a key and a value", usage);
  settings::UserSettings user = LoadSettingsReportingProblems();
  std::string error;
  if (!settings::SetSettingText(&user.settings, parsed.positional[0], parsed.positional[1],
                                &error)) {
    return UsageError(error, usage);
  }
  if (!settings::SaveUserSettings(&user)) {
    return Failure(user.backend->LastError());
  }
  if (parsed.positional[0] == "smtp.pass" && !user.settings.smtp_savepass) {
    std::cerr << "quorvane-cli: the password is stored only while smtp.savepass is 1\n";
  }
  return kExitOk;
}

}  // namespace

int RunSettingsCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("settings");
  if (args.empty()) return UsageError("expected \"show\", \"get\" or \"set\"", usage);
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args.subspan(1), {}, &parsed, &error)) return UsageError(error, usage);
  if (args[0] == "show") return Show(parsed);
  if (args[0] == "get") return Get(parsed);
  if (args[0] == "set") return Set(parsed);
  return UsageError("expected \"show\", \"get\" or \"set\"", usage);
}

}  // namespace quorvane::cli
