#include "cli/user_settings.h"

#include "cli/command_line.h"

namespace quorvane::cli {

settings::UserSettings LoadSettingsReportingProblems() {
  settings::UserSettings user = settings::LoadUserSettings(settings::ProcessEnvironment());
  for (const std::string& problem : user.problems) Failure(problem);
  return user;
}

}  // namespace quorvane::cli
