// quorvane-cli mail send against the real loopback servers: what arrives, what the command
// says when it fails, and that the password shows nowhere.
#include <cstdlib>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "cli_test_fixture.h"
#include "image/image.h"
#include "testing/mail_servers.h"

namespace quorvane::testing {
namespace {

class CliMailTest : public CliTest {
 protected:
  static void SetUpTestSuite() {
    folder_ = new TempDir;
    smtp_ = new SmtpTestServer;
    pop3_ = new Pop3TestServer;
    std::string error;
    if (!smtp_->Start(folder_->path() / "smtp", &error) || !pop3_->Start(folder_->path(), &error)) {
      start_error_ = new std::string(error);
    }
  }
  static void TearDownTestSuite() {
    delete smtp_;
    delete pop3_;
    delete folder_;
    delete start_error_;
    start_error_ = nullptr;
  }
  void SetUp() override {
    CliTest::SetUp();
    ASSERT_EQ(start_error_, nullptr) << *start_error_;
    WriteTextFile(dir_ / "password", std::string(kMailPassword) + "\n");
    WriteTextFile(dir_ / "wrong", "not-the-password\n");
    unsetenv("SSL_CERT_FILE");
  }
  void TearDown() override { unsetenv("SSL_CERT_FILE"); }

  std::string Server(bool tls = false) const {
    return "127.0.0.1:" + std::to_string(tls ? smtp_->tls_port() : smtp_->port());
  }
  std::string Pop3() const { return "127.0.0.1:" + std::to_string(pop3_->port()); }
  // mail send to bob from ann with the subject "Album", then `more`.
  static CliResult Send(const std::string& server, const std::vector<std::string>& more) {
    std::vector<std::string> args = {"mail",      "send",
                                     "--server",  server,
                                     "--from",    "ann@example.test",
                                     "--to",      "bob@example.test",
                                     "--subject", "Album"};
    args.insert(args.end(), more.begin(), more.end());
    return RunCli(args);
  }
  std::string PasswordFile(const char* name = "password") const { return (dir_ / name).string(); }
  static void ExpectNoPassword(const CliResult& result) {
    EXPECT_EQ(result.out.find(kMailPassword), std::string::npos);
    EXPECT_EQ(result.err.find(kMailPassword), std::string::npos);
  }

  static TempDir* folder_;
  static SmtpTestServer* smtp_;
  static Pop3TestServer* pop3_;
  static std::string* start_error_;
};
TempDir* CliMailTest::folder_ = nullptr;
SmtpTestServer* CliMailTest::smtp_ = nullptr;
Pop3TestServer* CliMailTest::pop3_ = nullptr;
std::string* CliMailTest::start_error_ = nullptr;

TEST_F(CliMailTest, SendsAfterPop3LogInWithEveryRecipientKindAndAttachments) {
  WriteTextFile(dir_ / "body.txt", "Dear Bob,\n\nthe album is attached.\n");
  WriteTextFile(dir_ / "one.qvo", std::string(1000, '\x01'));
  WriteTextFile(dir_ / "two.bin", "");
  const size_t before = smtp_->MessageCount();
  const CliResult result = Send(Server(), {"--method",
                                           "1",
                                           "--user",
                                           kMailUser,
                                           "--password-file",
                                           PasswordFile(),
                                           "--pop3",
                                           Pop3(),
                                           "--apop",
                                           "--from-name",
                                           "Ann Example",
                                           "--to",
                                           "carl@example.test",
                                           "--cc",
                                           "dora@example.test",
                                           "--bcc",
                                           "eve@example.test",
                                           "--body-file",
                                           (dir_ / "body.txt").string(),
                                           "--attach",
                                           (dir_ / "one.qvo").string(),
                                           "--attach",
                                           (dir_ / "two.bin").string()});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  ExpectNoPassword(result);
  ASSERT_EQ(smtp_->MessageCount(), before + 1);
  const std::string view = ParseMailWithPython(smtp_->LastMessage());
  for (const char* part : {"From: Ann Example <ann@example.test>\n",
                           "To: bob@example.test, carl@example.test\n", "Cc: dora@example.test\n",
                           "part 1: text/plain text 'Dear Bob,\\n\\nthe album is attached.\\n",
                           "attachment one.qvo 1000 bytes md5 ",
                           "attachment two.bin 0 bytes md5 d41d8cd98f00b204e9800998ecf8427e"}) {
    EXPECT_NE(view.find(part), std::string::npos) << part << " in\n" << view;
  }
  EXPECT_EQ(view.find("eve@"), std::string::npos) << view;
}

// The delivery itself over each transport is the client's own test; here, that the option
// chooses the transport: STARTTLS delivers, and implicit TLS checks the certificate.
TEST_F(CliMailTest, SecurityOptionChoosesTheTransport) {
  setenv("SSL_CERT_FILE", smtp_->certificate().c_str(), 1);
  const CliResult starttls =
      Send(Server(), {"--security", "starttls", "--method", "2", "--user", kMailUser,
                      "--password-file", PasswordFile(), "--body", "hi"});
  EXPECT_EQ(starttls.exit_code, 0) << starttls.err;
  unsetenv("SSL_CERT_FILE");
  const CliResult untrusted = Send(Server(true), {"--security", "tls", "--body", "hi"});
  EXPECT_EQ(untrusted.exit_code, 1);
  EXPECT_NE(untrusted.err.find("certificate"), std::string::npos) << untrusted.err;
}

TEST_F(CliMailTest, FailuresGiveTheMessageTheErrorNumberAndTheLastReply) {
  const CliResult method3 = Send(Server(), {"--method", "3", "--user", kMailUser, "--password-file",
                                            PasswordFile(), "--body", "x"});
  EXPECT_EQ(method3.exit_code, 1);
  EXPECT_NE(method3.err.find("Unable to connect to mail server. ("), std::string::npos)
      << method3.err;
  EXPECT_NE(method3.err.find("error 10043; last reply: 5"), std::string::npos) << method3.err;
  ExpectNoPassword(method3);

  const CliResult rcpt = Send(Server(), {"--to", "refuse@example.test", "--body", "x"});
  EXPECT_EQ(rcpt.exit_code, 1);
  EXPECT_NE(rcpt.err.find("error 22; last reply: 550"), std::string::npos) << rcpt.err;

  const CliResult pop3 = Send(Server(), {"--user", kMailUser, "--password-file",
                                         PasswordFile("wrong"), "--pop3", Pop3(), "--body", "x"});
  EXPECT_EQ(pop3.exit_code, 1);
  EXPECT_NE(pop3.err.find("Unable to login to the POP3 server. (User or Password error!)"),
            std::string::npos)
      << pop3.err;
  EXPECT_EQ(pop3.err.find("not-the-password"), std::string::npos);

  const CliResult closed = Send("127.0.0.1:" + std::to_string(FreeLoopbackPort()), {"--body", "x"});
  EXPECT_EQ(closed.exit_code, 1);
  EXPECT_NE(closed.err.find("error 10061"), std::string::npos) << closed.err;
}

TEST_F(CliMailTest, WrongCommandLinesExitWithUsage) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> bad = {
      {Server(), {"--body", "a", "--body-file", "b"}},
      {Server(), {}},
      {Server(), {"--method", "4", "--body", "a"}},
      {Server(), {"--security", "ssl", "--body", "a"}},
      {"127.0.0.1:70000", {"--body", "a"}}};
  std::vector<CliResult> results;
  for (const auto& [server, more] : bad) results.push_back(Send(server, more));
  results.push_back(RunCli({"mail", "send", "--server", Server(), "--from", "a@b", "--subject", "s",
                            "--body", "a"}));  // no --to
  for (const CliResult& result : results) {
    EXPECT_EQ(result.exit_code, 2) << result.err;
    EXPECT_NE(result.err.find("usage: quorvane-cli mail send --server HOST[:PORT]"),
              std::string::npos)
        << result.err;
  }
}

// quorvane-cli mail album / estimate / test with the settings of the settings store.
class CliMailAlbumTest : public CliMailTest {
 protected:
  void SetUp() override {
    CliMailTest::SetUp();
    for (const auto& [name, width, height] :
         {std::tuple{"wide.jpg", 1600, 1200}, std::tuple{"tall.jpg", 900, 1200}}) {
      image::Image photo;
      ASSERT_TRUE(photo.Create(width, height, false, {90, 160, 220, 255}));
      ASSERT_TRUE(photo.Save(dir_ / name, image::ImageFormat::kJpeg));
    }
    ASSERT_EQ(
        RunCli({"album", "create", (dir_ / "Holiday").string(), "--title", "Holiday"}).exit_code,
        0);
    ASSERT_EQ(RunCli({"album", "add", (dir_ / "Holiday").string(), (dir_ / "wide.jpg").string(),
                      (dir_ / "tall.jpg").string()})
                  .exit_code,
              0);
    for (const auto& [key, value] : {std::pair{"smtp.server", std::string("127.0.0.1")},
                                     std::pair{"smtp.port", std::to_string(smtp_->port())},
                                     std::pair{"smtp.method", std::string("2")},
                                     std::pair{"smtp.user", std::string(kMailUser)},
                                     std::pair{"smtp.savepass", std::string("1")},
                                     std::pair{"smtp.pass", std::string(kMailPassword)},
                                     std::pair{"pop3.auth.popbeforesmtp", std::string("1")},
                                     std::pair{"pop3.server", std::string("127.0.0.1")},
                                     std::pair{"pop3.port", std::to_string(pop3_->port())},
                                     std::pair{"email.address", std::string("ann@example.test")}}) {
      ASSERT_EQ(RunCli({"settings", "set", key, value}).exit_code, 0) << key;
    }
  }
};

TEST_F(CliMailAlbumTest, SendsTheAlbumResizedWithTheStoredSettings) {
  const size_t before = smtp_->MessageCount();
  const CliResult result = RunCli({"mail", "album", (dir_ / "Holiday").string(), "--to",
                                   "bob@example.test", "--resize", "640x480"});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  EXPECT_NE(result.out.find("Prepare to send album...\nPreparing photo album for sending...\n"
                            "Connecting to mail server...\n"),
            std::string::npos)
      << result.out;
  EXPECT_TRUE(result.out.ends_with("Done!  Your photo album has been sent.\n")) << result.out;
  ExpectNoPassword(result);
  ASSERT_EQ(smtp_->MessageCount(), before + 1);
  const std::string view = ParseMailWithPython(smtp_->LastMessage());
  EXPECT_NE(view.find("Subject: Holiday\n"), std::string::npos) << view;
  EXPECT_NE(view.find("Your friend at ann@example.test has sent"), std::string::npos) << view;
  EXPECT_NE(view.find("application/octet-stream attachment Holiday.qvo"), std::string::npos)
      << view;
}

TEST_F(CliMailAlbumTest, FailuresExitOneWithTheirMessage) {
  ASSERT_EQ(RunCli({"settings", "set", "pop3.port", std::to_string(FreeLoopbackPort())}).exit_code,
            0);
  const CliResult pop3 =
      RunCli({"mail", "album", (dir_ / "Holiday").string(), "--to", "bob@example.test"});
  EXPECT_EQ(pop3.exit_code, 1);
  EXPECT_NE(pop3.err.find("Unable to connect to POP3 server."), std::string::npos) << pop3.err;

  ASSERT_EQ(RunCli({"settings", "set", "pop3.auth.popbeforesmtp", "0"}).exit_code, 0);
  ASSERT_EQ(RunCli({"settings", "set", "smtp.port", std::to_string(FreeLoopbackPort())}).exit_code,
            0);
  const CliResult closed = RunCli({"mail", "test", "--to", "bob@example.test"});
  EXPECT_EQ(closed.exit_code, 1);
  EXPECT_NE(closed.err.find("Unable to connect to mail server. (connection refused)"),
            std::string::npos)
      << closed.err;
}

TEST_F(CliMailAlbumTest, TestMessageAndEstimate) {
  const CliResult test = RunCli({"mail", "test", "--to", "bob@example.test"});
  ASSERT_EQ(test.exit_code, 0) << test.err;
  EXPECT_TRUE(test.out.ends_with("The test email has been sent, please check your inbox.\n"))
      << test.out;
  EXPECT_NE(ParseMailWithPython(smtp_->LastMessage()).find("Subject: Test Email from Quorvane"),
            std::string::npos);

  const CliResult estimate =
      RunCli({"mail", "estimate", (dir_ / "Holiday").string(), "--resize", "640x480"});
  ASSERT_EQ(estimate.exit_code, 0) << estimate.err;
  EXPECT_NE(estimate.out.find("Your photo album has 2 photos"), std::string::npos) << estimate.out;
  EXPECT_NE(estimate.out.find("Average dial-up connection: "), std::string::npos) << estimate.out;
  EXPECT_NE(estimate.out.find("Recommended size: as-is\n"), std::string::npos) << estimate.out;
  EXPECT_NE(estimate.out.find("With the resized photos"), std::string::npos) << estimate.out;
  EXPECT_NE(estimate.out.find("so it fits"), std::string::npos) << estimate.out;
}

TEST_F(CliMailAlbumTest, WrongCommandLinesExitTwo) {
  const std::string album = (dir_ / "Holiday").string();
  const std::vector<std::vector<std::string>> wrong = {
      {"mail", "album", album},
      {"mail", "album", album, "--to", "bob@example.test", "--resize", "0x480"},
      {"mail", "album", album, "--to", "bob@example.test", "--via", "pigeon"},
      {"mail", "estimate", album, "--resize", "huge"},
      {"mail", "estimate"},
      {"mail", "test"},
  };
  for (const auto& args : wrong) {
    const CliResult result = RunCli(args);
    EXPECT_EQ(result.exit_code, 2) << args[1] << ": " << result.err;
  }
  const CliResult invalid = RunCli(wrong[1]);
  EXPECT_NE(invalid.err.find("Invalid size selected. Please enter the desired size."),
            std::string::npos)
      << invalid.err;
  EXPECT_NE(RunCli(wrong[0]).err.find("Please enter an email address."), std::string::npos);
}

}  // namespace
}  // namespace quorvane::testing
