// The e-mail wizard driven through its widgets from "Send in Email...", against real mail
// servers on loopback (Exim, Dovecot) and a stand-in desktop mail program: what arrives, what a
// wrong server says and how a retry recovers, a cancel, and that the temporary album goes with
// the wizard. A picture of each page is kept under artefacts/mail_wizard.
#include <filesystem>

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTest>
#include <QTextBrowser>

#include "app/command_table.h"
#include "app/mailwizard/album_mail_wizard.h"
#include "app/mailwizard/mail_settings_form.h"
#include "app/mailwizard/mail_task.h"
#include "app/mailwizard/mail_wizard_pages.h"
#include "app/tests/app_test_support.h"
#include "mail/workflow/tests/test_album.h"
#include "testing/mail_servers.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;

struct Servers {
  quorvane::testing::TempDir folder;
  quorvane::testing::SmtpTestServer smtp;
  quorvane::testing::Pop3TestServer pop3;
  std::string error;
};
Servers* servers = nullptr;

std::string Text(const QLabel* label) { return label->text().toStdString(); }

class MailWizardTest : public FrameTest {
 protected:
  static void SetUpTestSuite() {
    servers = new Servers;
    if (servers->smtp.Start(servers->folder / "smtp", &servers->error)) {
      servers->pop3.Start(servers->folder.path(), &servers->error);
    }
  }
  static void TearDownTestSuite() {
    delete servers;
    servers = nullptr;
  }

  void SetUp() override {
    ASSERT_TRUE(servers->error.empty()) << servers->error;
    FrameTest::SetUp();
    // The workflow's temporary folder, to see that the wizard leaves nothing there.
    fs::create_directories(dir_ / "tmp");
    qputenv("TMPDIR", QByteArray::fromStdString((dir_ / "tmp").string()));
    mail::MakeAlbum(dir_ / "Trip", "Summer trip",
                    {{"wide.jpg", 1600, 1200}, {"tall.jpg", 1200, 1600}});
  }
  void TearDown() override {
    qunsetenv("TMPDIR");
    FrameTest::TearDown();
  }

  // Opens the album and its wizard from the menu command.
  void OpenWizard() {
    Open(dir_ / "Trip");
    frame_->RunCommand(kCmdSendEmail);
    wizard_ = frame_->findChild<AlbumMailWizard*>();
    ASSERT_NE(wizard_, nullptr);
    ASSERT_EQ(wizard_->currentId(), AlbumMailWizard::kSettingsPage);
  }
  void UseServer(uint16_t smtp_port) {
    MailSettingsForm* form = wizard_->settings_page()->form();
    form->smtp_button()->setChecked(true);
    form->server_edit()->setText("127.0.0.1");
    form->port_box()->setValue(smtp_port);
    form->method_box()->setCurrentIndex(mail::kSmtpLogin);
    form->user_edit()->setText(quorvane::testing::kMailUser);
    form->password_edit()->setText(quorvane::testing::kMailPassword);
  }
  // Next, then waits until the page's step has ended and the page lets the user go on.
  void NextAndSettle(int expected_page) {
    wizard_->next();
    ASSERT_EQ(wizard_->currentId(), expected_page);
    ASSERT_EVENTUALLY_WITHIN(!wizard_->task()->running(), 20000);
  }
  // From the settings page on with what each page proposes.
  void OnToAddressPage() {
    for (int page : {AlbumMailWizard::kIntroPage, AlbumMailWizard::kSizePage,
                     AlbumMailWizard::kPreparePage, AlbumMailWizard::kAddressPage}) {
      ASSERT_NO_FATAL_FAILURE(NextAndSettle(page));
    }
  }
  void Address(const QString& to) {
    AddressPage* page = wizard_->address_page();
    page->recipients_edit()->setText(to);
    page->name_edit()->setText("Ann");
    page->address_edit()->setText("ann@example.test");
  }
  void Screenshot(const std::string& name) {
    const fs::path folder = fs::path(QUORVANE_ARTEFACT_DIR) / "mail_wizard";
    fs::create_directories(folder);
    EXPECT_TRUE(wizard_->grab().save(QString::fromStdString((folder / (name + ".png")).string())));
  }
  bool TempIsEmpty() const { return fs::is_empty(dir_ / "tmp"); }
  std::string SendStatus() const { return wizard_->send_page()->status_text().toStdString(); }

  AlbumMailWizard* wizard_ = nullptr;
};

TEST_F(MailWizardTest, ResizedAlbumArrivesAsOneArchiveAndTheSettingsAreKept) {
  ASSERT_NO_FATAL_FAILURE(OpenWizard());
  UseServer(servers->smtp.port());
  MailSettingsForm* form = wizard_->settings_page()->form();
  form->save_password_box()->setChecked(true);
  form->pop3_group()->setChecked(true);
  form->pop3_server_edit()->setText("127.0.0.1");
  form->pop3_port_box()->setValue(servers->pop3.port());
  form->test_address_edit()->setText("ann@example.test");
  const size_t before = servers->smtp.MessageCount();
  form->test_button()->click();
  ASSERT_EVENTUALLY_WITHIN(form->findChild<QMessageBox*>() != nullptr, 20000);
  EXPECT_EQ(form->findChild<QMessageBox*>()->text().toStdString(), mail::kTestSentText);
  EXPECT_NE(servers->smtp.LastMessage().find("Subject: Test Email from Quorvane"),
            std::string::npos);
  Screenshot("1_settings");
  form->findChild<QMessageBox*>()->accept();

  ASSERT_NO_FATAL_FAILURE(NextAndSettle(AlbumMailWizard::kIntroPage));
  EXPECT_NE(wizard_->intro_page()->view()->toPlainText().toStdString().find(
                "Your photo album has 2 photos"),
            std::string::npos);
  Screenshot("2_introduction");

  ASSERT_NO_FATAL_FAILURE(NextAndSettle(AlbumMailWizard::kSizePage));
  SizePage* size = wizard_->size_page();
  EXPECT_TRUE(size->as_is_button()->isChecked()) << "a small album goes as it is";
  QTest::keyClicks(size->width_edit(), "0");
  QTest::keyClicks(size->height_edit(), "480");
  ASSERT_TRUE(size->custom_button()->isChecked());
  wizard_->next();
  EXPECT_EQ(wizard_->currentId(), AlbumMailWizard::kSizePage);
  EXPECT_EQ(Text(size->status_label()), mail::kInvalidSizeMessage);
  size->box640_button()->setChecked(true);
  Screenshot("3_size");

  ASSERT_NO_FATAL_FAILURE(NextAndSettle(AlbumMailWizard::kPreparePage));
  EXPECT_EQ(wizard_->prepare_page()->status_text().toStdString(),
            "Preparing photo album for email...\nResizing finished.\n"
            "Finished preparing photo album for email.\nPress the Next button to continue.");
  Screenshot("4_prepare");

  ASSERT_NO_FATAL_FAILURE(NextAndSettle(AlbumMailWizard::kAddressPage));
  wizard_->next();
  EXPECT_EQ(Text(wizard_->address_page()->status_label()), mail::kNoAddressText);
  Address("bob@example.test");
  Screenshot("5_address");

  ASSERT_NO_FATAL_FAILURE(NextAndSettle(AlbumMailWizard::kSendPage));
  EXPECT_EQ(SendStatus(),
            "Prepare to send album...\nPreparing photo album for sending...\n"
            "Connecting to mail server...\nPlease wait, this may take up to 30 seconds\n"
            "Done!  Your photo album has been sent.");
  EXPECT_TRUE(wizard_->send_page()->send_again_button()->isVisible());
  EXPECT_FALSE(wizard_->send_page()->retry_button()->isVisible());
  Screenshot("6_sent");
  ASSERT_EQ(servers->smtp.MessageCount(), before + 2);
  const std::string parsed = quorvane::testing::ParseMailWithPython(servers->smtp.LastMessage());
  EXPECT_NE(parsed.find("attachment Trip.qvo"), std::string::npos) << parsed;
  EXPECT_EQ(parsed.find("attachment"), parsed.rfind("attachment")) << parsed;

  EXPECT_FALSE(TempIsEmpty());
  wizard_->button(QWizard::FinishButton)->click();
  EXPECT_TRUE(TempIsEmpty());
  const settings::Settings stored = LoadSettings().settings;
  EXPECT_EQ(stored.smtp_server, "127.0.0.1");
  EXPECT_EQ(stored.smtp_port, servers->smtp.port());
  EXPECT_EQ(stored.smtp_pass, quorvane::testing::kMailPassword);
  EXPECT_TRUE(stored.pop3_auth_popbeforesmtp);
  EXPECT_EQ(stored.email_address, "ann@example.test");
}

TEST_F(MailWizardTest, WrongServerFailsThenTrySendingAgainSucceedsWithTheFixedSettings) {
  ASSERT_NO_FATAL_FAILURE(OpenWizard());
  UseServer(quorvane::testing::FreeLoopbackPort());
  ASSERT_NO_FATAL_FAILURE(OnToAddressPage());
  Address("bob@example.test");
  ASSERT_NO_FATAL_FAILURE(NextAndSettle(AlbumMailWizard::kSendPage));
  SendPage* page = wizard_->send_page();
  EXPECT_NE(SendStatus().find("Unable to connect to mail server. ("), std::string::npos);
  EXPECT_TRUE(SendStatus().ends_with(mail::kConfigureServerHint)) << SendStatus();
  EXPECT_TRUE(page->retry_button()->isVisible());
  EXPECT_FALSE(page->send_again_button()->isVisible());
  Screenshot("6_failed");

  page->configure_button()->click();
  auto* dialog = page->findChild<QDialog*>("ConfigureMailServer");
  ASSERT_NE(dialog, nullptr);
  dialog->findChild<MailSettingsForm*>()->port_box()->setValue(servers->smtp.port());
  dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
  EXPECT_EQ(dialog->result(), QDialog::Accepted);
  EXPECT_EQ(user_.settings.smtp_port, servers->smtp.port());

  const size_t before = servers->smtp.MessageCount();
  page->retry_button()->click();
  ASSERT_EVENTUALLY_WITHIN(!wizard_->task()->running(), 20000);
  EXPECT_TRUE(SendStatus().ends_with(mail::kSentText)) << SendStatus();
  EXPECT_EQ(servers->smtp.MessageCount(), before + 1);
}

TEST_F(MailWizardTest, CancelWhileSendingStopsTheMessageAndOffersToTryAgain) {
  ASSERT_NO_FATAL_FAILURE(OpenWizard());
  UseServer(servers->smtp.port());
  ASSERT_NO_FATAL_FAILURE(OnToAddressPage());
  Address("bob@example.test");
  const size_t before = servers->smtp.MessageCount();
  // Cancel comes while the mail thread has only begun to pack and connect.
  wizard_->next();
  ASSERT_TRUE(wizard_->task()->running());
  EXPECT_FALSE(wizard_->button(QWizard::BackButton)->isEnabled()) << "the mail thread runs";
  QAbstractButton* cancel = wizard_->button(QWizard::CancelButton);
  cancel->click();
  EXPECT_EQ(cancel->text().toStdString(), mail::kCancellingText);
  EXPECT_TRUE(wizard_->isVisible());
  ASSERT_EVENTUALLY_WITHIN(!wizard_->task()->running(), 20000);
  EXPECT_NE(SendStatus().find(mail::kCancellingText), std::string::npos) << SendStatus();
  EXPECT_TRUE(SendStatus().ends_with(mail::kCancelledText)) << SendStatus();
  EXPECT_EQ(cancel->text(), "Cancel");
  EXPECT_TRUE(wizard_->send_page()->retry_button()->isVisible());
  Screenshot("6_cancelled");

  cancel->click();
  EXPECT_FALSE(wizard_->isVisible());
  EXPECT_TRUE(TempIsEmpty());
  EXPECT_EQ(servers->smtp.MessageCount(), before);
}

// The desktop's mail program is a stand-in `xdg-email` on the PATH that takes the message, or
// says that no program handles mail.
struct ClientCase {
  const char* name;
  int exit_status;
};

class MailWizardClientTest : public MailWizardTest,
                             public ::testing::WithParamInterface<ClientCase> {
 protected:
  void TearDown() override {
    qputenv("PATH", old_path_);
    MailWizardTest::TearDown();
  }
  QByteArray old_path_ = qgetenv("PATH");
};

TEST_P(MailWizardClientTest, HandsTheAlbumOverOrShowsHowToSetUpAMailProgram) {
  const bool taken = GetParam().exit_status == 0;
  fs::create_directories(dir_ / "bin");
  quorvane::testing::WriteTextFile(
      dir_ / "bin" / "xdg-email",
      "#!/bin/sh\nexit " + std::to_string(GetParam().exit_status) + "\n");
  fs::permissions(dir_ / "bin" / "xdg-email", fs::perms::owner_all);
  qputenv("PATH", QByteArray::fromStdString((dir_ / "bin").string()));
  ASSERT_NO_FATAL_FAILURE(OpenWizard());
  wizard_->settings_page()->form()->client_button()->setChecked(true);
  ASSERT_NO_FATAL_FAILURE(OnToAddressPage());
  Address("bob@example.test");
  ASSERT_NO_FATAL_FAILURE(NextAndSettle(AlbumMailWizard::kSendPage));
  SendPage* page = wizard_->send_page();
  if (taken) {
    EXPECT_TRUE(SendStatus().ends_with(
        "Launching your email program...\nPress the Finish button to close this dialog."))
        << SendStatus();
  } else {
    EXPECT_TRUE(page->view()->toPlainText().startsWith("Default Mail Client"));
  }
  EXPECT_EQ(page->view()->isVisible(), !taken);
  EXPECT_EQ(page->send_again_button()->isVisible(), taken);
  EXPECT_EQ(page->retry_button()->isVisible(), !taken);
  Screenshot(std::string("6_mail_program_") + GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Client, MailWizardClientTest,
                         ::testing::Values(ClientCase{"takes_it", 0}, ClientCase{"none", 3}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace quorvane::app
