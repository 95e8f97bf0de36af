// The offer made at start-up when the program crashed last time: look at the error report,
// save a copy of it, or send it by e-mail through the SMTP client with the stored mail
// settings (on a worker, with the job runner's progress window), or let it be.
#pragma once

#include <filesystem>

#include <QDialog>
#include <QString>

#include "settings/settings.h"

class QTextBrowser;

namespace quorvane::app {

class JobRunner;

class CrashReportDialog : public QDialog {
  Q_OBJECT
 public:
  // `settings` (the stored mail settings) outlive the dialog.
  CrashReportDialog(std::filesystem::path folder, const settings::Settings* settings,
                    QWidget* parent);

  const std::filesystem::path& folder() const { return folder_; }

  // Shows the error report in a window of its own; returns its browser (null, after a
  // "Quorvane" message box, when the report cannot be read).
  QTextBrowser* ShowReport();
  // Copies the report into a new folder in `destination`. False with *error.
  bool SaveReport(const std::filesystem::path& destination, QString* error);
  // Sends the report to `to` on a worker; SendFinished follows. False, starting nothing, while
  // a sending runs.
  bool SendReport(const QString& to);

 signals:
  // The sending ended: `text` is kSentReportText or why it failed.
  void SendFinished(bool sent, const QString& text);

 private:
  void AskWhereToSave();
  void AskWhereToSend();
  void Tell(const QString& text);

  std::filesystem::path folder_;
  const settings::Settings* settings_;
  JobRunner* runner_;
};

inline constexpr const char* kSentReportText = "The error report has been sent.";

// Offers the newest report under `root` not offered before, in a dialog opened (not run) over
// `parent`, and marks every such report seen so none is offered twice. Null when there is none.
CrashReportDialog* OfferCrashReports(const std::filesystem::path& root,
                                     const settings::Settings* settings, QWidget* parent);

}  // namespace quorvane::app
