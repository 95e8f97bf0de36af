// Tips of the day: the tips file read through the XML model ("Tips.Tip[%d].#text"), which tip
// comes next (the index of the last one shown is kept in "app.lasttipshown", so every start
// shows a new one), whether tips open when the program starts, and the dialog that shows them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QDialog>

class QCheckBox;
class QLabel;
class QPushButton;

namespace quorvane::settings {
struct Settings;
struct UserSettings;
}  // namespace quorvane::settings

namespace quorvane::app::help {

// 1 (the default) or 0.
inline constexpr std::string_view kShowTipsAtStartOption = "options.tips.showatstartup";

// The texts of the "Tip" elements of a tips file, in order, entities decoded and white space
// around each trimmed; empty tips are left out.
std::vector<std::string> ReadTips(std::string_view xml);
// The program's own tips file.
std::vector<std::string> LoadTips();

// The tip after `last_shown`, wrapping at the end; the first when none was shown or the
// number no longer fits the list.
int NextTipIndex(std::optional<int32_t> last_shown, int count);

bool ShowTipsAtStart(const settings::Settings& settings);

class TipDialog : public QDialog {
  Q_OBJECT
 public:
  // Opens on the tip after the last one shown and remembers it. `user` outlives the dialog;
  // the shown tip and the check box are saved through its store as they change.
  TipDialog(settings::UserSettings* user, std::vector<std::string> tips, QWidget* parent);

  // Shows the following tip and remembers it (the "Next Tip" button).
  void ShowNextTip();

  int current() const { return current_; }
  QString tip_text() const;
  QPushButton* next_button() const { return next_; }
  QCheckBox* show_at_start_box() const { return show_at_start_; }

 private:
  void Show(int index);
  void Save();

  settings::UserSettings* user_;
  std::vector<std::string> tips_;
  int current_ = 0;
  QLabel* tip_;
  QLabel* count_;
  QPushButton* next_;
  QCheckBox* show_at_start_;
};

}  // namespace quorvane::app::help
