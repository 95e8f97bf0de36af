// The e-mail wizard of "Send in Email...": mail settings (with a test message), the album's
// size and download times, the resize choice with its recommendation, the preparation of the
// copy to send, the addresses, and the sending with every status text, Cancel, "Send to Another
// Person" and "Try Sending Again". Each long step runs on a worker (MailTask) so the window
// never waits; the temporary album and archive go when the wizard closes, whatever happened.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <QWizard>

#include "mail/workflow/album_mail_workflow.h"
#include "settings/settings.h"

namespace quorvane::app {

class MailTask;
class MailSettingsPage;
class IntroPage;
class SizePage;
class PreparePage;
class AddressPage;
class SendPage;

class AlbumMailWizard : public QWizard {
  Q_OBJECT
 public:
  enum PageId { kSettingsPage, kIntroPage, kSizePage, kPreparePage, kAddressPage, kSendPage };

  // `album` and `user` outlive the wizard, and the album stays unchanged while it is open
  // (the wizard is modal to the window that shows the album). Temporary files go into the
  // system's temporary folder.
  AlbumMailWizard(album::Album& album, settings::UserSettings* user, QWidget* parent = nullptr);
  ~AlbumMailWizard() override;

  mail::AlbumMailWorkflow& workflow() { return *workflow_; }
  MailTask* task() const { return task_; }
  album::Album& album() { return album_; }
  const settings::Settings& settings() const { return user_->settings; }
  // Keeps `values` in the settings store: false with the store's reason in *error.
  bool SaveSettings(const settings::Settings& values, QString* error);
  // The settings the mail steps run with, sender included.
  mail::MailSettings mail_settings() const;

  // Filled by the pages as the user goes on.
  uint64_t original_bytes = 0;  // the album as it is, once measured
  bool measured = false;
  mail::Recommendation recommendation;
  mail::PrepareOptions options;
  std::vector<std::string> recipients;

  MailSettingsPage* settings_page() const { return settings_page_; }
  IntroPage* intro_page() const { return intro_page_; }
  SizePage* size_page() const { return size_page_; }
  PreparePage* prepare_page() const { return prepare_page_; }
  AddressPage* address_page() const { return address_page_; }
  SendPage* send_page() const { return send_page_; }

 protected:
  // Cancel (the button, Escape, closing the window) first stops a running step; the page then
  // tells how it ended and a second Cancel closes.
  void reject() override;
  void done(int result) override;

 private:
  void OnRunningChanged(bool running);

  album::Album& album_;
  settings::UserSettings* user_;
  std::unique_ptr<mail::AlbumMailWorkflow> workflow_;
  MailTask* task_;
  MailSettingsPage* settings_page_;
  IntroPage* intro_page_;
  SizePage* size_page_;
  PreparePage* prepare_page_;
  AddressPage* address_page_;
  SendPage* send_page_;
};

// Opens the wizard for `album` over `window` (modal to it, so the album stays as it is) and
// lets it delete itself when it closes.
AlbumMailWizard* ShowAlbumMailWizard(album::Album& album, settings::UserSettings* user,
                                     QWidget* window);

}  // namespace quorvane::app
