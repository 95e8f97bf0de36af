#include "app/mailwizard/album_mail_wizard.h"

#include <QAbstractButton>

#include "app/mailwizard/mail_settings_form.h"
#include "app/mailwizard/mail_task.h"
#include "app/mailwizard/mail_wizard_pages.h"
#include "mail/workflow/mail_delivery.h"
#include "settings/mail_settings.h"

namespace quorvane::app {

AlbumMailWizard::AlbumMailWizard(album::Album& album, settings::UserSettings* user, QWidget* parent)
    : QWizard(parent),
      album_(album),
      user_(user),
      workflow_(std::make_unique<mail::AlbumMailWorkflow>(album)),
      task_(new MailTask(this)) {
  setWindowTitle(tr("Send in Email"));
  // Title and subtitle in the header band, on every desktop.
  setWizardStyle(QWizard::ModernStyle);
  setOption(QWizard::NoBackButtonOnStartPage);
  setMinimumSize(660, 560);
  setPage(kSettingsPage, settings_page_ = new MailSettingsPage(this));
  setPage(kIntroPage, intro_page_ = new IntroPage(this));
  setPage(kSizePage, size_page_ = new SizePage(this));
  setPage(kPreparePage, prepare_page_ = new PreparePage(this));
  setPage(kAddressPage, address_page_ = new AddressPage(this));
  setPage(kSendPage, send_page_ = new SendPage(this));
  // After the pages' own reactions, which let the wizard re-enable Back.
  connect(task_, &MailTask::RunningChanged, this, &AlbumMailWizard::OnRunningChanged);
  connect(this, &QWizard::currentIdChanged, this, [this] { OnRunningChanged(task_->running()); });
}

AlbumMailWizard::~AlbumMailWizard() {
  // The worker may be using the workflow: it stops before the workflow goes.
  delete task_;
  task_ = nullptr;
}

bool AlbumMailWizard::SaveSettings(const settings::Settings& values, QString* error) {
  user_->settings = values;
  if (settings::SaveUserSettings(user_)) return true;
  *error = QString::fromStdString(user_->backend->LastError());
  return false;
}

mail::MailSettings AlbumMailWizard::mail_settings() const {
  return settings::MailSettingsFrom(user_->settings);
}

void AlbumMailWizard::OnRunningChanged(bool running) {
  QAbstractButton* cancel = button(QWizard::CancelButton);
  if (running) {
    // A step that runs cannot be left half-way; Cancel stops it first.
    button(QWizard::BackButton)->setEnabled(false);
    return;
  }
  cancel->setText(tr("Cancel"));
  cancel->setEnabled(true);
}

void AlbumMailWizard::reject() {
  if (!task_->running()) {
    QWizard::reject();
    return;
  }
  if (task_->cancelling()) return;
  task_->Cancel();
  QAbstractButton* cancel = button(QWizard::CancelButton);
  cancel->setText(QString::fromUtf8(mail::kCancellingText.data(),
                                    static_cast<qsizetype>(mail::kCancellingText.size())));
  cancel->setEnabled(false);
  if (currentPage() == send_page_) send_page_->ShowCancelling();
}

void AlbumMailWizard::done(int result) {
  if (task_->running()) return;  // Finish waits for the step, Cancel stops it first
  workflow_->Cleanup();
  QWizard::done(result);
}

AlbumMailWizard* ShowAlbumMailWizard(album::Album& album, settings::UserSettings* user,
                                     QWidget* window) {
  auto* wizard = new AlbumMailWizard(album, user, window);
  wizard->setAttribute(Qt::WA_DeleteOnClose);
  wizard->setWindowModality(Qt::WindowModal);
  wizard->open();
  return wizard;
}

}  // namespace quorvane::app
