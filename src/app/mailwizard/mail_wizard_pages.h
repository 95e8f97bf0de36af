// The six pages of the e-mail wizard, in their order. Each page that runs a step starts it on
// the wizard's MailTask when it is entered, shows what the step reports, and lets the user go
// on only once the step has ended well.
#pragma once

#include <QWizardPage>

#include "platform/result_code.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QRadioButton;
class QTextBrowser;

namespace quorvane::app {

class AlbumMailWizard;
class MailSettingsForm;

// A page whose Next waits for the wizard's running step.
class MailWizardPage : public QWizardPage {
  Q_OBJECT
 public:
  explicit MailWizardPage(AlbumMailWizard* wizard);
  bool isComplete() const override;

 protected:
  AlbumMailWizard* wizard_;
  QLabel* status_;  // the page's status line
};

class MailSettingsPage : public MailWizardPage {
  Q_OBJECT
 public:
  explicit MailSettingsPage(AlbumMailWizard* wizard);
  void initializePage() override;
  bool validatePage() override;
  MailSettingsForm* form() const { return form_; }

 private:
  MailSettingsForm* form_;
};

class IntroPage : public MailWizardPage {
  Q_OBJECT
 public:
  explicit IntroPage(AlbumMailWizard* wizard);
  void initializePage() override;
  bool isComplete() const override;
  QTextBrowser* view() const { return view_; }

 private:
  QTextBrowser* view_;
  QProgressBar* busy_;
};

class SizePage : public MailWizardPage {
  Q_OBJECT
 public:
  explicit SizePage(AlbumMailWizard* wizard);
  void initializePage() override;
  bool validatePage() override;
  QTextBrowser* view() const { return view_; }
  QRadioButton* as_is_button() const { return as_is_; }
  QRadioButton* box800_button() const { return box800_; }
  QRadioButton* box640_button() const { return box640_; }
  QRadioButton* custom_button() const { return custom_; }
  QLineEdit* width_edit() const { return width_; }
  QLineEdit* height_edit() const { return height_; }
  QLabel* status_label() const { return status_; }

 private:
  QTextBrowser* view_;
  QRadioButton* as_is_;
  QRadioButton* box800_;
  QRadioButton* box640_;
  QRadioButton* custom_;
  QLineEdit* width_;
  QLineEdit* height_;
  QCheckBox* strip_private_;
};

class PreparePage : public MailWizardPage {
  Q_OBJECT
 public:
  explicit PreparePage(AlbumMailWizard* wizard);
  void initializePage() override;
  bool isComplete() const override;
  // The status texts so far, one a line.
  QString status_text() const { return lines_.join('\n'); }
  QTextBrowser* view() const { return view_; }

 private:
  QLabel* photo_text_;
  QProgressBar* bar_;
  QTextBrowser* view_;
  QStringList lines_;
  bool prepared_ = false;
};

class AddressPage : public MailWizardPage {
  Q_OBJECT
 public:
  explicit AddressPage(AlbumMailWizard* wizard);
  void initializePage() override;
  bool validatePage() override;
  QLineEdit* recipients_edit() const { return recipients_; }
  QLineEdit* name_edit() const { return name_; }
  QLineEdit* address_edit() const { return address_; }
  QLabel* status_label() const { return status_; }

 private:
  QLineEdit* recipients_;
  QLineEdit* name_;
  QLineEdit* address_;
};

class SendPage : public MailWizardPage {
  Q_OBJECT
 public:
  explicit SendPage(AlbumMailWizard* wizard);
  void initializePage() override;
  bool isComplete() const override;

  // Sends (again) to the recipients of the address page.
  void Start();
  // Shows the texts of a Cancel while the mail thread runs.
  void ShowCancelling();
  // Opens the mail settings in a window of their own; the retry uses what is saved there.
  void ConfigureMailServer();

  // The status texts so far, one a line.
  QString status_text() const { return lines_.join('\n'); }
  QTextBrowser* view() const { return view_; }
  QPushButton* send_again_button() const { return send_again_; }
  QPushButton* retry_button() const { return retry_; }
  QPushButton* configure_button() const { return configure_; }
  platform::ResultCode result() const { return result_; }

 signals:
  // The mail thread ended (sent, failed or cancelled) and the page shows what follows.
  void Ended(platform::ResultCode result);

 private:
  void AddLine(const QString& text);
  void Finish(platform::ResultCode result);

  QProgressBar* bar_;
  QTextBrowser* view_;
  QWidget* again_;
  QWidget* retry_box_;
  QPushButton* send_again_;
  QPushButton* retry_;
  QPushButton* configure_;
  QStringList lines_;
  platform::ResultCode result_ = platform::kOk;
};

}  // namespace quorvane::app
