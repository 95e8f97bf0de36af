#include "app/mailwizard/mail_settings_form.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "app/mailwizard/mail_task.h"
#include "app/mailwizard/wizard_widgets.h"
#include "settings/mail_settings.h"

namespace quorvane::app {
namespace {

// The values of "smtp.security", in the order of the box, with the port each usually has.
struct Security {
  const char* value;
  const char* label;
  int port;
};
constexpr Security kSecurities[] = {
    {"none", "None", 25}, {"starttls", "STARTTLS", 587}, {"tls", "SSL/TLS", 465}};

QSpinBox* PortBox(QWidget* parent) {
  auto* box = new QSpinBox(parent);
  box->setRange(1, 65535);
  box->setMinimumWidth(80);
  return box;
}

}  // namespace

MailSettingsForm::MailSettingsForm(MailTask* task, QWidget* parent) : QWidget(parent), task_(task) {
  client_ = new QRadioButton(tr("Send through my &default mail program"), this);
  smtp_ = new QRadioButton(tr("Send with Quorvane through this &outgoing mail server:"), this);

  server_group_ = new QGroupBox(tr("Outgoing mail server (SMTP)"), this);
  server_ = new QLineEdit(server_group_);
  server_->setPlaceholderText(tr("for example smtp.example.com"));
  port_ = PortBox(server_group_);
  security_ = new QComboBox(server_group_);
  for (const Security& security : kSecurities) security_->addItem(tr(security.label));
  auto* server_row = new QHBoxLayout;
  server_row->addWidget(server_, 1);
  server_row->addWidget(new QLabel(tr("&Port:"), server_group_));
  server_row->addWidget(port_);
  qobject_cast<QLabel*>(server_row->itemAt(1)->widget())->setBuddy(port_);
  // Stored in the order of "smtp.method".
  method_ = new QComboBox(server_group_);
  method_->addItems({tr("None"), tr("CRAM-MD5"), tr("LOGIN"), tr("AUTH LOGIN PLAIN")});
  user_ = new QLineEdit(server_group_);
  password_ = new QLineEdit(server_group_);
  password_->setEchoMode(QLineEdit::Password);
  save_password_ = new QCheckBox(tr("Re&member the password"), server_group_);
  auto* server_form = new QFormLayout(server_group_);
  auto* server_label = new QLabel(tr("&Server:"), server_group_);
  server_label->setBuddy(server_);
  server_form->addRow(server_label, server_row);
  server_form->addRow(tr("Sec&urity:"), security_);
  server_form->addRow(tr("&Log-in method:"), method_);
  server_form->addRow(tr("&User name:"), user_);
  server_form->addRow(tr("Pass&word:"), password_);
  server_form->addRow(QString(), save_password_);

  pop3_ = new QGroupBox(tr("Log in to the &incoming mail server (POP3) before sending"), this);
  pop3_->setCheckable(true);
  pop3_server_ = new QLineEdit(pop3_);
  pop3_port_ = PortBox(pop3_);
  apop_ = new QCheckBox(tr("Use &APOP"), pop3_);
  auto* pop3_row = new QHBoxLayout;
  pop3_row->addWidget(pop3_server_, 1);
  pop3_row->addWidget(new QLabel(tr("Port:"), pop3_));
  pop3_row->addWidget(pop3_port_);
  auto* pop3_form = new QFormLayout(pop3_);
  auto* pop3_label = new QLabel(tr("Ser&ver:"), pop3_);
  pop3_label->setBuddy(pop3_server_);
  pop3_form->addRow(pop3_label, pop3_row);
  pop3_form->addRow(QString(), apop_);

  test_address_ = new QLineEdit(this);
  test_address_->setPlaceholderText(tr("your own email address"));
  test_ = new QPushButton(tr("Send &Test Message"), this);
  auto* test_row = new QHBoxLayout;
  test_row->addWidget(new QLabel(tr("Send a test message to:"), this));
  test_row->addWidget(test_address_, 1);
  test_row->addWidget(test_);
  status_ = NewStatusLabel(this);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(client_);
  layout->addWidget(smtp_);
  layout->addWidget(server_group_);
  layout->addWidget(pop3_);
  layout->addLayout(test_row);
  layout->addWidget(status_);
  layout->addStretch(1);

  connect(smtp_, &QRadioButton::toggled, this, &MailSettingsForm::UpdateEnabled);
  connect(method_, &QComboBox::currentIndexChanged, this, &MailSettingsForm::UpdateEnabled);
  connect(task_, &MailTask::RunningChanged, this, &MailSettingsForm::UpdateEnabled);
  // The usual port follows the protection unless the user chose another one.
  connect(security_, &QComboBox::currentIndexChanged, this, [this](int index) {
    for (const Security& security : kSecurities) {
      if (port_->value() == security.port) {
        port_->setValue(kSecurities[index].port);
        break;
      }
    }
  });
  connect(test_, &QPushButton::clicked, this, &MailSettingsForm::SendTest);
}

void MailSettingsForm::Load(const settings::Settings& values) {
  values_ = values;
  (values.mapi_enable ? client_ : smtp_)->setChecked(true);
  server_->setText(QString::fromStdString(values.smtp_server));
  int security = 0;
  for (int i = 0; i < static_cast<int>(std::size(kSecurities)); ++i) {
    if (values.smtp_security == kSecurities[i].value) security = i;
  }
  security_->setCurrentIndex(security);
  const mail::MailSettings mail = settings::MailSettingsFrom(values);
  port_->setValue(mail.smtp_port);
  method_->setCurrentIndex(
      values.smtp_method >= 0 && values.smtp_method < method_->count() ? values.smtp_method : 0);
  user_->setText(QString::fromStdString(values.smtp_user));
  password_->setText(QString::fromStdString(values.smtp_pass));
  save_password_->setChecked(values.smtp_savepass);
  pop3_->setChecked(values.pop3_auth_popbeforesmtp);
  pop3_server_->setText(QString::fromStdString(values.pop3_server));
  pop3_port_->setValue(mail.pop3_port);
  apop_->setChecked(values.pop3_auth_apop);
  if (test_address_->text().isEmpty()) {
    test_address_->setText(QString::fromStdString(values.email_address));
  }
  UpdateEnabled();
}

void MailSettingsForm::Store(settings::Settings* values) const {
  values->mapi_enable = client_->isChecked();
  values->smtp_server = server_->text().trimmed().toStdString();
  values->smtp_port = port_->value();
  values->smtp_security = kSecurities[security_->currentIndex()].value;
  values->smtp_method = method_->currentIndex();
  values->smtp_user = user_->text().trimmed().toStdString();
  values->smtp_pass = password_->text().toStdString();
  values->smtp_savepass = save_password_->isChecked();
  values->pop3_auth_popbeforesmtp = pop3_->isChecked();
  values->pop3_server = pop3_server_->text().trimmed().toStdString();
  values->pop3_port = pop3_port_->value();
  values->pop3_auth_apop = apop_->isChecked();
}

QString MailSettingsForm::Problem() const {
  if (client_->isChecked()) return {};
  settings::Settings values = values_;
  Store(&values);
  QString problem =
      QString::fromStdString(mail::SettingsProblem(settings::MailSettingsFrom(values)));
  if (problem.isEmpty() && values.pop3_auth_popbeforesmtp && values.pop3_server.empty()) {
    problem = tr("Please enter the incoming mail server to log in to before sending.");
  }
  return problem;
}

void MailSettingsForm::ShowStatus(const QString& text, bool error) {
  SetStatus(status_, text, error);
}

void MailSettingsForm::UpdateEnabled() {
  const bool smtp = smtp_->isChecked();
  server_group_->setEnabled(smtp);
  pop3_->setEnabled(smtp);
  const bool login = method_->currentIndex() != mail::kSmtpNone;
  user_->setEnabled(login);
  password_->setEnabled(login);
  save_password_->setEnabled(login);
  test_address_->setEnabled(smtp);
  test_->setEnabled(smtp && !task_->running());
}

void MailSettingsForm::SendTest() {
  if (task_->running()) return;
  if (const QString problem = Problem(); !problem.isEmpty()) {
    ShowStatus(problem, true);
    return;
  }
  const std::string to = test_address_->text().trimmed().toStdString();
  if (to.empty()) {
    ShowStatus(FromView(mail::kNoAddressText), true);
    test_address_->setFocus();
    return;
  }
  settings::Settings values = values_;
  Store(&values);
  mail::MailSettings settings = settings::MailSettingsFrom(values);
  // Without a sender of its own the test comes from the address it goes to.
  if (settings.sender_address.empty()) settings.sender_address = to;
  // This form is the configuration: the hint that points to it is left out here.
  auto on_status = connect(task_, &MailTask::Status, this, [this](const QString& text) {
    if (text != FromView(mail::kConfigureServerHint)) ShowStatus(text, false);
  });
  connect(
      task_, &MailTask::Finished, this,
      [this, on_status](platform::ResultCode result) {
        disconnect(on_status);
        if (result == platform::kOk) {
          ShowStatus(FromView(mail::kTestSentText), false);
          auto* box = new QMessageBox(QMessageBox::Information, "Quorvane",
                                      FromView(mail::kTestSentText), QMessageBox::Ok, this);
          box->setAttribute(Qt::WA_DeleteOnClose);
          box->open();
        } else {
          ShowStatus(status_->text(), result == platform::kFailed);
        }
        emit TestFinished(result == platform::kOk);
      },
      Qt::SingleShotConnection);
  task_->Start(
      [settings, to](platform::ProgressSink& progress, const mail::StatusCallback& status) {
        return mail::SendTestMessage(settings, to, progress, status).result;
      });
}

}  // namespace quorvane::app
