// The offer of last time's crash report: which report is offered and when, what the user sees,
// the saved copy, and the report sent by e-mail through a real SMTP server on loopback.
#include "crash/crash_report.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTextBrowser>

#include "app/crash/crash_report_dialog.h"
#include "app/tests/app_test_support.h"
#include "mail/workflow/mail_delivery.h"
#include "testing/mail_servers.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;
using quorvane::testing::ReadTextFile;
using quorvane::testing::WriteTextFile;

// A report as a crash leaves it when the reporter could not finish: the record alone.
fs::path WriteReport(const fs::path& root, const std::string& name, const std::string& album) {
  WriteTextFile(root / name / crash::kRecordFileName,
                "Signal: 11 SIGSEGV\nAddress: 0x0\nTime: 2026-11-25 18:20:01 UTC\n"
                "Version: 0.1.0\nProcess: 4242\nAlbum: " +
                    album + "\nBacktrace:\nquorvane(+0x1234)[0x5600001234]\n");
  return root / name;
}

class CrashReportOfferTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    root_ = dir_ / "CrashReports";
    older_ = WriteReport(root_, "20261124-090000-17", "/albums/Older");
    newer_ = WriteReport(root_, "20261125-182001-4242", "/albums/Tom & Jerry");
  }
  void TearDown() override { dialog_.reset(); }

  fs::path root_, older_, newer_;
  settings::Settings settings_;
  std::unique_ptr<CrashReportDialog> dialog_;
};

TEST_F(CrashReportOfferTest, OffersNewestReportOnceAndShowsItFilled) {
  dialog_.reset(OfferCrashReports(root_, &settings_, nullptr));
  ASSERT_NE(dialog_, nullptr);
  dialog_->setAttribute(Qt::WA_DeleteOnClose, false);
  EXPECT_EQ(dialog_->folder(), newer_);
  EXPECT_EQ(dialog_->windowTitle(), "Quorvane");
  EXPECT_TRUE(crash::UnseenCrashReports(root_).empty());
  EXPECT_EQ(OfferCrashReports(root_, &settings_, nullptr), nullptr);

  QTextBrowser* browser = dialog_->ShowReport();
  ASSERT_NE(browser, nullptr);
  const QString text = browser->toPlainText();
  EXPECT_TRUE(text.contains("/albums/Tom & Jerry")) << text.toStdString();
  EXPECT_TRUE(text.contains("11 SIGSEGV"));
  EXPECT_FALSE(text.contains("{Version}"));

  QString error;
  ASSERT_TRUE(dialog_->SaveReport(dir_ / "saved", &error)) << error.toStdString();
  EXPECT_EQ(ReadTextFile(dir_ / "saved" / newer_.filename() / crash::kRecordFileName),
            ReadTextFile(newer_ / crash::kRecordFileName));
  EXPECT_FALSE(fs::exists(dir_ / "saved" / newer_.filename() / crash::kSeenFileName));
}

TEST_F(CrashReportOfferTest, SendsReportThroughStoredMailSettings) {
  quorvane::testing::TempDir server_folder;
  quorvane::testing::SmtpTestServer smtp;
  std::string error;
  ASSERT_TRUE(smtp.Start(server_folder.path(), &error)) << error;
  dialog_ = std::make_unique<CrashReportDialog>(newer_, &settings_, nullptr);
  QSignalSpy finished(dialog_.get(), &CrashReportDialog::SendFinished);

  // Without a server the settings page's own request comes back at once.
  ASSERT_TRUE(dialog_->SendReport("bob@example.test"));
  ASSERT_EQ(finished.count(), 1);
  EXPECT_EQ(finished[0][1].toString().toStdString(), mail::kConfigureServerText);

  settings_.smtp_server = "127.0.0.1";
  settings_.smtp_port = smtp.port();
  settings_.smtp_method = settings::kSmtpAuthLogin;
  settings_.smtp_user = quorvane::testing::kMailUser;
  settings_.smtp_pass = quorvane::testing::kMailPassword;
  settings_.email_address = "ann@example.test";
  ASSERT_TRUE(dialog_->SendReport("bob@example.test"));
  ASSERT_EVENTUALLY_WITHIN(finished.count() == 2, 30000);
  EXPECT_TRUE(finished[1][0].toBool()) << finished[1][1].toString().toStdString();
  const std::string parsed = quorvane::testing::ParseMailWithPython(smtp.LastMessage());
  EXPECT_NE(parsed.find("Subject: Quorvane Error Report"), std::string::npos) << parsed;
  EXPECT_NE(parsed.find("To: bob@example.test"), std::string::npos) << parsed;
  EXPECT_NE(parsed.find("attachment crash.txt"), std::string::npos) << parsed;
  EXPECT_NE(parsed.find("Quorvane 0.1.0 stopped on 2026-11-25 18:20:01 UTC (11 SIGSEGV)"),
            std::string::npos)
      << parsed;
}

}  // namespace
}  // namespace quorvane::app
