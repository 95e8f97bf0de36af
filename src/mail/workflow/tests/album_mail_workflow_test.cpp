// The album e-mail against real servers on loopback (Exim, Dovecot): what arrives, what each
// failure says, that a cancel at any step leaves nothing behind, and the hand-over to the
// desktop's mail program.
#include "mail/workflow/album_mail_workflow.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "album/album_archive.h"
#include "mail/workflow/tests/test_album.h"
#include "testing/mail_servers.h"
#include "testing/recording_progress.h"

namespace quorvane::mail {
namespace {

namespace fs = std::filesystem;
using namespace quorvane::testing;

// Servers started once for the whole suite: Exim twice (the second takes 40 KB at most).
struct Servers {
  TempDir folder;
  SmtpTestServer smtp;
  SmtpTestServer small_smtp;
  Pop3TestServer pop3;
  std::string error;
};
Servers* servers = nullptr;

class AlbumMailTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    servers = new Servers;
    servers->small_smtp.set_message_size_limit("40K");
    if (!servers->smtp.Start(servers->folder.path() / "smtp", &servers->error) ||
        !servers->small_smtp.Start(servers->folder.path() / "small", &servers->error)) {
      return;
    }
    servers->pop3.Start(servers->folder.path(), &servers->error);
  }
  static void TearDownTestSuite() {
    delete servers;
    servers = nullptr;
  }
  void SetUp() override {
    ASSERT_TRUE(servers->error.empty()) << servers->error;
    MakeAlbum(dir_ / "Trip", "Summer trip",
              {{"wide.jpg", 1600, 1200}, {"tall.jpg", 1200, 1600}, {"small.png", 300, 200}});
    album_ = OpenTestAlbum(dir_ / "Trip");
    fs::create_directory(dir_ / "tmp");
    settings_.smtp_server = "127.0.0.1";
    settings_.smtp_port = servers->smtp.port();
    settings_.smtp_method = kSmtpLogin;
    settings_.smtp_user = kMailUser;
    settings_.smtp_pass = kMailPassword;
    settings_.pop_before_smtp = true;
    settings_.pop3_server = "127.0.0.1";
    settings_.pop3_port = servers->pop3.port();
    settings_.sender_name = "Ann";
    settings_.sender_address = "ann@example.test";
  }

  platform::ResultCode Send(AlbumMailWorkflow& workflow, platform::ProgressSink& progress,
                            std::vector<std::string> to = {"bob@example.test"}) {
    return workflow.Send(settings_, to, progress, record_);
  }
  bool TempIsEmpty() const { return fs::is_empty(dir_ / "tmp"); }

  TempDir dir_;
  std::unique_ptr<album::Album> album_;
  MailSettings settings_;
  std::vector<std::string> statuses_;
  StatusCallback record_ = [this](std::string_view text) { statuses_.emplace_back(text); };
};

TEST_F(AlbumMailTest, ResizedAlbumArrivesAfterPop3AsOneArchiveThatOpens) {
  const size_t before = servers->smtp.MessageCount();
  {
    AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
    settings_.pop3_apop = true;
    ASSERT_EQ(workflow.Prepare({ResizeChoice::Box800x600()}, platform::NoProgress(), record_),
              platform::kOk);
    statuses_.clear();
    ASSERT_EQ(Send(workflow, platform::NoProgress()), platform::kOk) << workflow.failure();
  }
  EXPECT_EQ(statuses_,
            (std::vector<std::string>{
                "Prepare to send album...", "Preparing photo album for sending...",
                "Connecting to mail server...", "Please wait, this may take up to 30 seconds",
                "Done!  Your photo album has been sent."}));
  EXPECT_TRUE(TempIsEmpty());
  ASSERT_EQ(servers->smtp.MessageCount(), before + 1);
  fs::create_directory(dir_ / "received");
  const std::string view = ParseMailWithPython(servers->smtp.LastMessage(), dir_ / "received");
  EXPECT_NE(view.find("Subject: Summer trip\n"), std::string::npos) << view;
  EXPECT_NE(view.find("From: Ann <ann@example.test>\n"), std::string::npos) << view;
  EXPECT_NE(view.find("Ann has sent you the photo album \"Summer trip\" with 3 photos"),
            std::string::npos)
      << view;
  size_t parts = 0;
  for (size_t at = view.find("\npart "); at != std::string::npos;
       at = view.find("\npart ", at + 1)) {
    ++parts;
  }
  EXPECT_EQ(parts, 3u) << view;  // multipart, text, attachment
  EXPECT_NE(view.find("application/octet-stream attachment Trip.qvo"), std::string::npos) << view;

  std::string error;
  ASSERT_TRUE(album::UnpackArchive(dir_ / "received" / "Trip.qvo", dir_ / "opened", {}, &error))
      << error;
  const auto opened = OpenTestAlbum(dir_ / "opened");
  EXPECT_EQ(opened->title(), "Summer trip");
  ASSERT_EQ(opened->photos().size(), 3u);
  const std::vector<std::pair<int, int>> sizes = {{800, 600}, {450, 600}, {300, 200}};
  for (size_t i = 0; i < sizes.size(); ++i) {
    EXPECT_EQ(opened->photos()[i].image_file, album_->photos()[i].image_file);
    image::Image photo;
    ASSERT_TRUE(photo.Load(dir_ / "opened" / opened->photos()[i].image_file));
    EXPECT_EQ(std::pair(photo.width(), photo.height()), sizes[i]);
  }
}

TEST_F(AlbumMailTest, AsIsAlbumArrivesByteForByteAndTheTestMessageToo) {
  settings_.pop_before_smtp = false;
  settings_.smtp_method = kSmtpCramMd5;
  {
    AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
    ASSERT_EQ(Send(workflow, platform::NoProgress(), {"bob@example.test", "carl@example.test"}),
              platform::kOk)
        << workflow.failure();
  }
  fs::create_directory(dir_ / "received");
  const std::string view = ParseMailWithPython(servers->smtp.LastMessage(), dir_ / "received");
  EXPECT_NE(view.find("To: bob@example.test, carl@example.test\n"), std::string::npos) << view;
  std::string error;
  ASSERT_TRUE(album::UnpackArchive(dir_ / "received" / "Trip.qvo", dir_ / "opened", {}, &error))
      << error;
  for (const album::AlbumPhoto& photo : album_->photos()) {
    EXPECT_EQ(ReadTextFile(dir_ / "opened" / photo.image_file),
              ReadTextFile(dir_ / "Trip" / photo.image_file));
  }

  statuses_.clear();
  const DeliveryOutcome test =
      SendTestMessage(settings_, "bob@example.test", platform::NoProgress(), record_);
  ASSERT_EQ(test.result, platform::kOk) << test.failure;
  EXPECT_EQ(statuses_.front(), "Preparing to send...");
  EXPECT_EQ(statuses_.back(), "The test email has been sent, please check your inbox.");
  const std::string test_view = ParseMailWithPython(servers->smtp.LastMessage());
  EXPECT_NE(test_view.find("Subject: Test Email from Quorvane\n"), std::string::npos) << test_view;
  EXPECT_NE(test_view.find("mail server configuration is correct"), std::string::npos);
}

// A cancel raised when the status text appears stops the job at its next step.
class CancelAtStepTest : public AlbumMailTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(CancelAtStepTest, NothingIsSentAndNothingLeftBehind) {
  const size_t before = servers->smtp.MessageCount();
  {
    AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
    ASSERT_EQ(workflow.Prepare({ResizeChoice::Box640x480()}, platform::NoProgress(), record_),
              platform::kOk);
    RecordingProgress progress;
    const std::string trigger = GetParam();
    StatusCallback cancel_on = [&](std::string_view text) {
      statuses_.emplace_back(text);
      if (text == trigger) progress.Cancel();
    };
    EXPECT_EQ(workflow.Send(settings_, {"bob@example.test"}, progress, cancel_on),
              platform::kCancelled);
    EXPECT_EQ(statuses_.back(), "Email cancelled.");
  }
  EXPECT_EQ(servers->smtp.MessageCount(), before);
  EXPECT_TRUE(TempIsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Steps, CancelAtStepTest,
                         ::testing::Values("Prepare to send album...",
                                           "Preparing photo album for sending...",
                                           "Connecting to mail server...",
                                           "Please wait, this may take up to 30 seconds"));

// The cancel button pressed while the message is on its way: once armed, it cancels at the
// 15th poll, which falls among the sends of the message's parts (each send polls once).
class CancelDuringData : public platform::ProgressSink {
 public:
  void Arm() { armed_ = true; }
  bool Cancelled() const override { return armed_ && ++polls_ > 14; }
  int polls() const { return polls_; }

 private:
  bool armed_ = false;
  mutable int polls_ = 0;
};

TEST_F(AlbumMailTest, CancelWhileSendingCutsTheMessageOff) {
  const size_t before = servers->smtp.MessageCount();
  {
    AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
    CancelDuringData progress;
    StatusCallback arm = [&](std::string_view text) {
      statuses_.emplace_back(text);
      if (text == kPleaseWaitText) progress.Arm();
    };
    EXPECT_EQ(workflow.Send(settings_, {"bob@example.test"}, progress, arm), platform::kCancelled);
    EXPECT_EQ(statuses_.back(), "Email cancelled.");
  }
  EXPECT_EQ(servers->smtp.MessageCount(), before);
  EXPECT_TRUE(TempIsEmpty());
}

struct FailureCase {
  const char* name;
  void (*change)(MailSettings&);
  const char* message;  // the failure's message begins with it
  std::vector<std::string> to = {"bob@example.test"};
};

class FailureTest : public AlbumMailTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(FailureTest, EachCauseHasItsMessage) {
  const size_t before = servers->smtp.MessageCount();
  GetParam().change(settings_);
  {
    AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
    EXPECT_EQ(Send(workflow, platform::NoProgress(), GetParam().to), platform::kFailed);
    EXPECT_EQ(workflow.failure().rfind(GetParam().message, 0), 0u) << workflow.failure();
    EXPECT_NE(std::find(statuses_.begin(), statuses_.end(), workflow.failure()), statuses_.end());
  }
  EXPECT_EQ(servers->smtp.MessageCount(), before);
  EXPECT_EQ(servers->small_smtp.MessageCount(), 0u);
  EXPECT_TRUE(TempIsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Causes, FailureTest,
    ::testing::Values(
        FailureCase{"ClosedSmtpPort",
                    [](MailSettings& s) {
                      s.pop_before_smtp = false;
                      s.smtp_port = FreeLoopbackPort();
                    },
                    "Unable to connect to mail server. (connection refused)"},
        FailureCase{"ClosedPop3Port", [](MailSettings& s) { s.pop3_port = FreeLoopbackPort(); },
                    "Unable to connect to POP3 server."},
        FailureCase{"Pop3RefusesThePassword",
                    [](MailSettings& s) { s.smtp_pass = "not-the-password"; },
                    "Unable to login to the POP3 server."},
        FailureCase{"SmtpRefusesThePassword",
                    [](MailSettings& s) {
                      s.pop_before_smtp = false;
                      s.smtp_pass = "not-the-password";
                    },
                    "Unable to connect to mail server. (535"},
        FailureCase{"RefusedRecipient",
                    [](MailSettings&) {},
                    "Unable to find mail server for \"refuse@example.test\".  Are you sure this "
                    "address is correct?",
                    {"refuse@example.test"}},
        FailureCase{"LargerThanTheServerTakes",
                    [](MailSettings& s) {
                      s.pop_before_smtp = false;
                      s.smtp_port = servers->small_smtp.port();
                    },
                    "Unable to connect to mail server. (the message of "},
        FailureCase{"NoServer", [](MailSettings& s) { s.smtp_server.clear(); },
                    "Please configure your outgoing mail server"},
        FailureCase{"LogInWithoutUser", [](MailSettings& s) { s.smtp_user.clear(); },
                    "Please enter the user name you use to send mail."},
        FailureCase{"NoRecipient", [](MailSettings&) {}, "Please enter an email address.", {}}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

TEST_F(AlbumMailTest, ServerSizeLimitIsAskedFromItsEhloReply) {
  MailSettings small = settings_;
  small.smtp_port = servers->small_smtp.port();
  EXPECT_EQ(QueryServerSizeLimit(small, 5000), 40u * 1024);
  EXPECT_EQ(QueryServerSizeLimit(settings_, 5000), 200u << 20);
  small.smtp_port = FreeLoopbackPort();
  EXPECT_EQ(QueryServerSizeLimit(small, 5000), std::nullopt);

  AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
  ASSERT_TRUE(workflow.Measure());
  const Recommendation recommendation = workflow.Recommend(40u * 1024);
  EXPECT_EQ(recommendation.choice, ResizeChoice::Box640x480());
}

// The desktop's mail program: a stand-in `xdg-email` on the PATH records what it was given.
class MailClientTest : public AlbumMailTest {
 protected:
  void SetUp() override {
    AlbumMailTest::SetUp();
    const char* path = std::getenv("PATH");
    old_path_ = path != nullptr ? path : "";
    fs::create_directory(dir_ / "bin");
    settings_.use_mail_client = true;
  }
  void TearDown() override { setenv("PATH", old_path_.c_str(), 1); }
  void UseFakeClient(int exit_status) {
    WriteTextFile(dir_ / "bin" / "xdg-email",
                  "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done > " +
                      (dir_ / "args").string() + "\nexit " + std::to_string(exit_status) + "\n");
    fs::permissions(dir_ / "bin" / "xdg-email", fs::perms::owner_all);
    setenv("PATH", (dir_ / "bin").c_str(), 1);
  }
  std::string old_path_;
};

TEST_F(MailClientTest, HandsSubjectBodyAttachmentAndAddressesToXdgEmail) {
  UseFakeClient(0);
  fs::path archive;
  {
    AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
    ASSERT_EQ(Send(workflow, platform::NoProgress(), {"bob@example.test", "carl@example.test"}),
              platform::kOk)
        << workflow.failure();
  }
  EXPECT_EQ(statuses_.back(), "Launching your email program...");
  const std::string args = ReadTextFile(dir_ / "args");
  EXPECT_EQ(args.rfind("--subject\nSummer trip\n--body\nHello,\n", 0), 0u) << args;
  const size_t attach = args.find("\n--attach\n");
  ASSERT_NE(attach, std::string::npos) << args;
  const size_t end = args.find('\n', attach + 10);
  archive = args.substr(attach + 10, end - attach - 10);
  EXPECT_EQ(archive.filename(), "Trip.qvo");
  EXPECT_EQ(args.substr(end + 1), "bob@example.test\ncarl@example.test\n");
  // The mail program reads the attachment when the user sends: it outlives the workflow.
  EXPECT_TRUE(fs::exists(archive));
}

TEST_F(MailClientTest, WithoutAMailProgramTheHelpPageIsShown) {
  setenv("PATH", (dir_ / "bin").c_str(), 1);
  for (const int status : {-1, 3}) {
    if (status >= 0) UseFakeClient(status);
    AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
    EXPECT_EQ(Send(workflow, platform::NoProgress()), platform::kFailed);
    EXPECT_TRUE(workflow.no_mail_client());
    EXPECT_EQ(workflow.failure().rfind("Default Mail Client\n", 0), 0u) << workflow.failure();
  }
  EXPECT_TRUE(TempIsEmpty());
}

}  // namespace
}  // namespace quorvane::mail
