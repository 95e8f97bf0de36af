// The crash report offer and its three ways out.
#include "app/crash/crash_report_dialog.h"

#include <memory>
#include <string>

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "app/crash/crash_report_mail.h"
#include "app/job_runner.h"
#include "crash/crash_report.h"
#include "mail/workflow/mail_delivery.h"
#include "settings/mail_settings.h"

namespace quorvane::app {

CrashReportDialog::CrashReportDialog(std::filesystem::path folder,
                                     const settings::Settings* settings, QWidget* parent)
    : QDialog(parent),
      folder_(std::move(folder)),
      settings_(settings),
      runner_(new JobRunner(this)) {
  setWindowTitle("Quorvane");
  auto* layout = new QVBoxLayout(this);
  auto* text = new QLabel(
      "Quorvane closed unexpectedly the last time it ran, and wrote an error report about "
      "it.\n\nYou can look at the report, save a copy of it, or send it by e-mail so that the "
      "problem can be found and fixed.",
      this);
  text->setWordWrap(true);
  layout->addWidget(text);
  auto* buttons = new QDialogButtonBox(this);
  QPushButton* view = buttons->addButton("&View Report", QDialogButtonBox::ActionRole);
  QPushButton* save = buttons->addButton("&Save Report...", QDialogButtonBox::ActionRole);
  QPushButton* send = buttons->addButton("S&end Report...", QDialogButtonBox::ActionRole);
  buttons->addButton(QDialogButtonBox::Close);
  layout->addWidget(buttons);
  connect(view, &QPushButton::clicked, this, [this] { ShowReport(); });
  connect(save, &QPushButton::clicked, this, &CrashReportDialog::AskWhereToSave);
  connect(send, &QPushButton::clicked, this, &CrashReportDialog::AskWhereToSend);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(runner_, &JobRunner::BusyChanged, send, [send](bool busy) { send->setEnabled(!busy); });
}

QTextBrowser* CrashReportDialog::ShowReport() {
  std::string html, error;
  if (!crash::LoadErrorReport(folder_, &html, &error)) {
    Tell(QString::fromStdString(error));
    return nullptr;
  }
  auto* window = new QDialog(this);
  window->setAttribute(Qt::WA_DeleteOnClose);
  window->setWindowTitle("Quorvane Error Report");
  auto* layout = new QVBoxLayout(window);
  auto* browser = new QTextBrowser(window);
  browser->setOpenLinks(false);
  browser->setHtml(QString::fromStdString(html));
  layout->addWidget(browser);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, window);
  connect(buttons, &QDialogButtonBox::rejected, window, &QDialog::reject);
  layout->addWidget(buttons);
  window->resize(720, 560);
  window->show();
  return browser;
}

bool CrashReportDialog::SaveReport(const std::filesystem::path& destination, QString* error) {
  std::filesystem::path copied_to;
  std::string why;
  if (crash::CopyCrashReport(folder_, destination, &copied_to, &why)) return true;
  *error = QString::fromStdString(why);
  return false;
}

bool CrashReportDialog::SendReport(const QString& to) {
  crash::CrashRecord record;
  std::string error;
  const mail::MailSettings settings = settings::MailSettingsFrom(*settings_);
  std::string problem = mail::SettingsProblem(settings);
  if (problem.empty() && !crash::ReadCrashRecord(folder_, &record, &error)) problem = error;
  if (problem.empty() && to.trimmed().isEmpty()) problem = mail::kNoAddressText;
  if (!problem.empty()) {
    emit SendFinished(false, QString::fromStdString(problem));
    return true;
  }
  auto message = std::make_shared<mail::MailMessage>(
      ComposeCrashReportMail(folder_, record, settings, to.trimmed().toStdString()));
  auto outcome = std::make_shared<mail::DeliveryOutcome>();
  return runner_->Start(
      QString::fromUtf8(mail::kConnectingText.data(), mail::kConnectingText.size()),
      [settings, message, outcome](platform::ProgressSink& progress) {
        *outcome =
            mail::DeliverMessage(settings, *message, progress,
                                 [&progress](std::string_view text) { progress.SetText(text); });
        return outcome->result;
      },
      [this, outcome](platform::ResultCode result) {
        if (result == platform::kOk) {
          emit SendFinished(true, kSentReportText);
        } else {
          emit SendFinished(false, QString::fromStdString(outcome->failure.empty()
                                                              ? std::string(mail::kCancelledText)
                                                              : outcome->failure));
        }
      });
}

void CrashReportDialog::AskWhereToSave() {
  const QString folder = QFileDialog::getExistingDirectory(this, "Save Report");
  if (folder.isEmpty()) return;
  QString error;
  if (!SaveReport(folder.toStdString(), &error)) Tell(error);
}

void CrashReportDialog::AskWhereToSend() {
  bool ok = false;
  const QString to = QInputDialog::getText(
      this, "Quorvane", "Send the error report to:", QLineEdit::Normal, QString(), &ok);
  if (!ok) return;
  connect(
      this, &CrashReportDialog::SendFinished, this,
      [this](bool, const QString& text) { Tell(text); }, Qt::SingleShotConnection);
  SendReport(to);
}

void CrashReportDialog::Tell(const QString& text) {
  auto* box = new QMessageBox(QMessageBox::Information, "Quorvane", text, QMessageBox::Ok, this);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

CrashReportDialog* OfferCrashReports(const std::filesystem::path& root,
                                     const settings::Settings* settings, QWidget* parent) {
  const std::vector<std::filesystem::path> reports = crash::UnseenCrashReports(root);
  if (reports.empty()) return nullptr;
  std::string ignored;
  // Offered once: an unwritable mark only means the offer comes again next time.
  for (const std::filesystem::path& report : reports) crash::MarkCrashReportSeen(report, &ignored);
  auto* dialog = new CrashReportDialog(reports.back(), settings, parent);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->open();
  return dialog;
}

}  // namespace quorvane::app
