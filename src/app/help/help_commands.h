// The Help menu's commands (tip of the day, release notes, quick start, About) and what a
// start shows a person once the window is up: the quick-start wizard the very first time,
// otherwise the tip of the day unless turned off; and the daily update check when it is on.
#pragma once

namespace quorvane::settings {
struct UserSettings;
}

namespace quorvane::app {
class MainFrame;
}

namespace quorvane::app::help {

class UpdateChecker;

// Runs a Help command in `frame`; false for any other id.
bool RunHelpCommand(MainFrame* frame, int id);

// True while the settings store holds nothing at all: the program has never run for this user.
bool IsFirstStart(settings::UserSettings& user);

// Called once the frame is visible: notes this version in "app.lastrunver", then, after the
// window has had its first paint, offers the quick start or shows a tip, and starts the update
// check `update_delay_ms` later.
void StartHelpAtLaunch(MainFrame* frame, int update_delay_ms = 3000);

// Makes the frame's update checker, which tells of a newer version in the status bar, and
// runs it once after `delay_ms` when it is due. The checker belongs to the frame.
UpdateChecker* StartUpdateCheck(MainFrame* frame, int delay_ms);

}  // namespace quorvane::app::help
