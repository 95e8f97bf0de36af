#include "app/help/help_commands.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QStatusBar>
#include <QStyle>
#include <QTimer>
#include <QToolButton>

#include "app/command_table.h"
#include "app/help/about_dialogs.h"
#include "app/help/quick_start_wizard.h"
#include "app/help/tips.h"
#include "app/help/update_check.h"
#include "app/main_frame.h"
#include "settings/settings.h"

namespace quorvane::app::help {
namespace {

// One window of each kind: a second request brings the open one forward.
template <typename Window, typename Make>
void ShowOnce(MainFrame* frame, Make make) {
  if (auto* open = frame->findChild<Window*>(QString(), Qt::FindDirectChildrenOnly)) {
    open->raise();
    open->activateWindow();
    return;
  }
  Window* window = make();
  window->setAttribute(Qt::WA_DeleteOnClose);
  // Non-modal: a person may try what a tip or the notes describe with the window still open.
  window->show();
}

void ShowTipOfTheDay(MainFrame* frame) {
  ShowOnce<TipDialog>(frame,
                      [frame] { return new TipDialog(frame->user_settings(), LoadTips(), frame); });
}

void ShowQuickStart(MainFrame* frame) {
  ShowOnce<QuickStartWizard>(frame, [frame] { return new QuickStartWizard(frame); });
}

// A quiet line at the right of the status bar that stays until closed.
void ShowUpdateNotice(MainFrame* frame, const QString& version, const QUrl& link) {
  QStatusBar* bar = frame->statusBar();
  delete bar->findChild<QWidget*>("UpdateNotice");
  auto* notice = new QWidget(bar);
  notice->setObjectName("UpdateNotice");
  auto* text = new QLabel(notice);
  text->setObjectName("UpdateNoticeText");
  text->setTextFormat(Qt::RichText);
  text->setOpenExternalLinks(true);
  text->setText(QObject::tr("Quorvane %1 is available. <a href=\"%2\">Get it</a>")
                    .arg(version.toHtmlEscaped(), link.toString(QUrl::FullyEncoded)));
  auto* close = new QToolButton(notice);
  close->setAutoRaise(true);
  close->setIcon(frame->style()->standardIcon(QStyle::SP_TitleBarCloseButton));
  close->setToolTip(QObject::tr("Hide this notice"));
  QObject::connect(close, &QToolButton::clicked, notice, &QObject::deleteLater);
  auto* layout = new QHBoxLayout(notice);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(text);
  layout->addWidget(close);
  bar->addPermanentWidget(notice);
}

}  // namespace

bool RunHelpCommand(MainFrame* frame, int id) {
  switch (id) {
    case kCmdTipOfTheDay:
      ShowTipOfTheDay(frame);
      return true;
    case kCmdQuickStart:
      ShowQuickStart(frame);
      return true;
    case kCmdReleaseNotes:
      ShowOnce<ReleaseNotesDialog>(frame, [frame] { return new ReleaseNotesDialog(frame); });
      return true;
    case kCmdAbout:
      ShowOnce<AboutBox>(frame, [frame] { return new AboutBox(frame); });
      return true;
    default:
      return false;
  }
}

bool IsFirstStart(settings::UserSettings& user) {
  settings::SettingValues stored;
  // A store that cannot be read is no first start: the wizard would come back every time.
  return user.backend->ReadSection(settings::kMainSection, &stored) && stored.empty();
}

void StartHelpAtLaunch(MainFrame* frame, int update_delay_ms) {
  settings::UserSettings* user = frame->user_settings();
  const bool first_start = IsFirstStart(*user);
  const std::string version = ProgramVersion().toStdString();
  if (user->settings.app_lastrunver != version) {
    user->settings.app_lastrunver = version;
    (void)settings::SaveUserSettings(user);  // unsaved, the next start is a first one again
  }
  // Queued, so the window is painted before anything opens over it.
  QTimer::singleShot(0, frame, [frame, first_start] {
    if (first_start) {
      ShowQuickStart(frame);
    } else if (ShowTipsAtStart(frame->user_settings()->settings)) {
      ShowTipOfTheDay(frame);
    }
  });
  StartUpdateCheck(frame, update_delay_ms);
}

UpdateChecker* StartUpdateCheck(MainFrame* frame, int delay_ms) {
  auto* checker = new UpdateChecker(frame->user_settings(), ProgramVersion(), frame);
  checker->setObjectName("UpdateChecker");
  QObject::connect(checker, &UpdateChecker::NewerVersion, frame,
                   [frame](const QString& version, const QUrl& link) {
                     ShowUpdateNotice(frame, version, link);
                   });
  QTimer::singleShot(delay_ms, checker, [checker] { checker->StartIfDue(OleDateNow()); });
  return checker;
}

}  // namespace quorvane::app::help
