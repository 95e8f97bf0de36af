// The user's settings as every quorvane-cli command loads them: problems found on the way
// (a folder that could not be made) go to stderr and the command goes on.
#pragma once

#include "settings/settings.h"

namespace quorvane::cli {

settings::UserSettings LoadSettingsReportingProblems();

}  // namespace quorvane::cli
