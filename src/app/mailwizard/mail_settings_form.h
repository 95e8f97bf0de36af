// The mail settings as the e-mail wizard edits them: the default mail program or the outgoing
// server (port, protection, log-in method, user, password and whether it is kept), the POP3
// log-in before sending, and a test message to check them. The wizard's first page and its
// "Configure Mail Server" window show the same form.
#pragma once

#include <QWidget>

#include "mail/workflow/mail_delivery.h"
#include "settings/settings.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSpinBox;

namespace quorvane::app {

class MailTask;

class MailSettingsForm : public QWidget {
  Q_OBJECT
 public:
  // Test messages run on `task`, which outlives the form.
  MailSettingsForm(MailTask* task, QWidget* parent);

  void Load(const settings::Settings& values);
  // Writes the form's values over `values`.
  void Store(settings::Settings* values) const;
  // What would stop mail from going out with these values (the texts the user is shown), or
  // empty when they can be tried.
  QString Problem() const;
  // Shows `text` in the form's status line (empty hides it).
  void ShowStatus(const QString& text, bool error);

  QRadioButton* client_button() const { return client_; }
  QRadioButton* smtp_button() const { return smtp_; }
  QLineEdit* server_edit() const { return server_; }
  QSpinBox* port_box() const { return port_; }
  QComboBox* method_box() const { return method_; }
  QLineEdit* user_edit() const { return user_; }
  QLineEdit* password_edit() const { return password_; }
  QCheckBox* save_password_box() const { return save_password_; }
  QGroupBox* pop3_group() const { return pop3_; }
  QLineEdit* pop3_server_edit() const { return pop3_server_; }
  QSpinBox* pop3_port_box() const { return pop3_port_; }
  QCheckBox* apop_box() const { return apop_; }
  QLineEdit* test_address_edit() const { return test_address_; }
  QPushButton* test_button() const { return test_; }
  QLabel* status_label() const { return status_; }

 signals:
  // A test message was sent (or failed); for the page's Next button and for tests.
  void TestFinished(bool sent);

 private:
  void UpdateEnabled();
  void SendTest();

  MailTask* task_;
  settings::Settings values_;  // as loaded: the sender of the test message comes from here
  QRadioButton* client_;
  QRadioButton* smtp_;
  QGroupBox* server_group_;
  QLineEdit* server_;
  QSpinBox* port_;
  QComboBox* security_;
  QComboBox* method_;
  QLineEdit* user_;
  QLineEdit* password_;
  QCheckBox* save_password_;
  QGroupBox* pop3_;
  QLineEdit* pop3_server_;
  QSpinBox* pop3_port_;
  QCheckBox* apop_;
  QLineEdit* test_address_;
  QPushButton* test_;
  QLabel* status_;
};

}  // namespace quorvane::app
