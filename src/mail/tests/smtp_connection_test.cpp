#include "mail/smtp_connection.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "mail/digest.h"
#include "mail/mime/base64.h"
#include "testing/mail_servers.h"
#include "testing/scripted_server.h"
#include "testing/temp_dir.h"

namespace quorvane::mail {
namespace {

using namespace quorvane::testing;

constexpr uint32_t kShortTimeoutMs = 400;

TEST(DigestTest, HmacMd5KnownAnswersIncludingKeysLongerThanABlock) {
  // CRAM-MD5's own example exchange.
  EXPECT_EQ(LowerHex(HmacMd5("tanstaaftanstaaf", "<1896.697170952@postoffice.reston.mci.net>")),
            "b913a602c7eda7a495b4e6e7334d3890");
  EXPECT_EQ(LowerHex(HmacMd5(std::string(80, '\xaa'),
                             "Test Using Larger Than Block-Size Key - Hash Key First")),
            "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd");
  EXPECT_EQ(LowerHex(Md5("")), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(ReplyParserTest, AnyLineWithTheExpectedCodeIsAccepted) {
  int code = 0;
  EXPECT_TRUE(ReplyHasCode("250-quorvane.test\r\n250-SIZE\r\n250 HELP\r\n", 250, &code));
  EXPECT_EQ(code, 250);
  EXPECT_TRUE(ReplyHasCode("354-first\r\n235 second\r\n", 235, &code));
  EXPECT_FALSE(ReplyHasCode("550 no such user\r\n", 250, &code));
  EXPECT_EQ(code, 550);
  EXPECT_FALSE(ReplyHasCode("", 250, &code));
  EXPECT_FALSE(ReplyHasCode("2x0 odd\r\n", 250, &code));
}

MailMessage SmallMessage(const std::string& to = "bob@example.test") {
  MailMessage message;
  message.from = {"Ann", "ann@example.test"};
  message.AddRecipient({"", to}, kTo);
  message.subject = "Hello";
  message.mime = true;
  message.SetBodyText("Hello Bob\n");
  return message;
}

// Failures that need a misbehaving server.
class ScriptedSmtpTest : public ::testing::Test {
 protected:
  bool Open(ScriptedServer& server, int method) {
    connection_.set_timeout_ms(kShortTimeoutMs);
    return connection_.OpenConnection("127.0.0.1", method, "alice", "s3cret", server.port());
  }
  CSMTPConnection connection_;
};

TEST_F(ScriptedSmtpTest, SilenceAndRepliesWithoutCrlfTimeOut) {
  ScriptedServer silent({});
  EXPECT_FALSE(Open(silent, kSmtpNone));
  EXPECT_EQ(connection_.error_number(), 10060);
  EXPECT_FALSE(connection_.connected());

  ScriptedServer unterminated({Send("220 no line end")});
  EXPECT_FALSE(Open(unterminated, kSmtpNone));
  EXPECT_EQ(connection_.error_number(), 10060);
  EXPECT_EQ(connection_.last_reply(), "220 no line end");
}

TEST_F(ScriptedSmtpTest, LowerCaseUsernameChallengeFailsBeforeTheNameIsSent) {
  ScriptedServer server({Send("220 hi\r\n"), ReadLine(), Send("250-x\r\n250 AUTH LOGIN\r\n"),
                         ReadLine(), Send("334 " + Base64Encode("username:") + "\r\n"), ReadLine(),
                         Send("221 bye\r\n")});
  EXPECT_FALSE(Open(server, kSmtpLogin));
  EXPECT_EQ(connection_.error_number(), 22);
  EXPECT_EQ(server.Received().find(Base64Encode("alice")), std::string::npos);
}

TEST_F(ScriptedSmtpTest, MultiLineEhloAndTheExactLoginDialogue) {
  ScriptedServer server({Send("220 hi\r\n"), ReadLine(),
                         Send("250-x.test\r\n250-SIZE 10\r\n250 AUTH LOGIN\r\n"), ReadLine(),
                         Send("334 VXNlcm5hbWU6\r\n"), ReadLine(), Send("334 UGFzc3dvcmQ6\r\n"),
                         ReadLine(), Send("235 ok\r\n"), ReadLine(), Send("221 bye\r\n")});
  connection_.set_helo_name("client.test");
  ASSERT_TRUE(Open(server, kSmtpLoginPlain));
  EXPECT_TRUE(connection_.CloseConnection());
  EXPECT_EQ(server.Received(), "EHLO client.test\r\nAUTH LOGIN PLAIN\r\n" + Base64Encode("alice") +
                                   "\r\n" + Base64Encode("s3cret") + "\r\nQUIT\r\n");
}

TEST_F(ScriptedSmtpTest, RefusedRecipientEndsTheSendWithError22) {
  ScriptedServer server({Send("220 hi\r\n"), ReadLine(), Send("250 ok\r\n"), ReadLine(),
                         Send("250 ok\r\n"), ReadLine(), Send("550 no such user\r\n")});
  ASSERT_TRUE(Open(server, kSmtpNone));
  MailMessage message = SmallMessage();
  message.AddRecipient({"", "second@example.test"}, kBcc);
  EXPECT_FALSE(connection_.DeliverMessage(message));
  EXPECT_EQ(connection_.error_number(), 22);
  EXPECT_EQ(connection_.last_reply(), "550 no such user\r\n");
  EXPECT_EQ(server.Received().find("second@"), std::string::npos);
}

TEST_F(ScriptedSmtpTest, BccOnlyMessageStillHasOneRcptPerRecipient) {
  ScriptedServer server({Send("220 hi\r\n"), ReadLine(), Send("250 ok\r\n"), ReadLine(),
                         Send("250 ok\r\n"), ReadLine(), Send("250 ok\r\n"), ReadLine(),
                         Send("250 ok\r\n"), ReadLine(), Send("354 go\r\n"), ReadData(),
                         Send("250 queued\r\n")});
  ASSERT_TRUE(Open(server, kSmtpNone));
  MailMessage message;
  message.from = {"", "ann@example.test"};
  message.AddRecipient({"", "b1@example.test"}, kBcc);
  message.AddRecipient({"", "b2@example.test"}, kBcc);
  message.SetBodyText("x");
  ASSERT_TRUE(connection_.DeliverMessage(message));
  const std::string sent = server.Received();
  EXPECT_NE(sent.find("RCPT TO:<b1@example.test>\r\nRCPT TO:<b2@example.test>\r\nDATA\r\n"),
            std::string::npos);
  EXPECT_NE(sent.find("\r\nTo: \r\n"), std::string::npos);
  EXPECT_EQ(sent.find("b1@example.test", sent.find("DATA")), std::string::npos);
  EXPECT_NE(sent.find("\r\nMessage-ID: <"), std::string::npos);
}

TEST_F(ScriptedSmtpTest, ConnectionDroppedDuringDataFailsWithoutWaiting) {
  ScriptedServer server({Send("220 hi\r\n"), ReadLine(), Send("250 ok\r\n"), ReadLine(),
                         Send("250 ok\r\n"), ReadLine(), Send("250 ok\r\n"), ReadLine(),
                         Send("354 go\r\n"), Close()});
  ASSERT_TRUE(Open(server, kSmtpNone));
  connection_.set_timeout_ms(60000);  // the drop, not the time-out, must end the wait
  EXPECT_FALSE(connection_.DeliverMessage(SmallMessage()));
  EXPECT_EQ(connection_.error_number(), 10054);
}

TEST(SmtpHostTest, UnresolvableHostGives10022) {
  CSMTPConnection connection;
  EXPECT_FALSE(connection.OpenConnection("no-such-host.invalid", kSmtpNone, "", "", 25));
  EXPECT_EQ(connection.error_number(), 10022);
}

// Real deliveries to the loopback SMTP server, read back through the independent parser.
class SmtpServerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new TempDir;
    server_ = new SmtpTestServer;
    std::string error;
    if (!server_->Start(folder_->path(), &error)) start_error_ = new std::string(error);
  }
  static void TearDownTestSuite() {
    delete server_;
    delete folder_;
    delete start_error_;
    start_error_ = nullptr;
  }
  void SetUp() override {
    ASSERT_EQ(start_error_, nullptr) << *start_error_;
    unsetenv("SSL_CERT_FILE");
  }
  void TearDown() override { unsetenv("SSL_CERT_FILE"); }

  static TempDir* folder_;
  static SmtpTestServer* server_;
  static std::string* start_error_;
};
TempDir* SmtpServerTest::folder_ = nullptr;
SmtpTestServer* SmtpServerTest::server_ = nullptr;
std::string* SmtpServerTest::start_error_ = nullptr;

struct Route {
  const char* name;
  int method;
  SmtpSecurity security;
  const char* user;
  const char* password;
};

class SmtpDeliveryTest : public SmtpServerTest, public ::testing::WithParamInterface<Route> {};

TEST_P(SmtpDeliveryTest, MessageArrivesWholeAndParses) {
  const Route& route = GetParam();
  TempDir dir;
  std::string photo(200'000, '\0');
  for (size_t i = 0; i < photo.size(); ++i) photo[i] = static_cast<char>(i * 31 % 256);
  WriteTextFile(dir / "Holiday album.qvo", photo);

  MailMessage message;
  message.from = {"Ann Example", "ann@example.test"};
  message.AddRecipient({"Bob", "bob@example.test"}, kTo);
  message.AddRecipient({"", "carl@example.test"}, kCc);
  message.AddRecipient({"", "hidden@example.test"}, kBcc);
  const std::string subject = std::string("Fotos aus K\xf6ln via ") + route.name;
  message.subject = subject;
  message.mime = true;
  message.SetBodyText("Hello Bob,\n.\nsum = 2 and a long line " + std::string(120, 'z') + "\n");
  MailBodyPart attachment;
  ASSERT_TRUE(attachment.AttachFile((dir / "Holiday album.qvo").string()));
  message.AddAttachmentPart(attachment);

  const size_t before = server_->MessageCount();
  if (route.security != SmtpSecurity::kNone) {
    setenv("SSL_CERT_FILE", server_->certificate().c_str(), 1);
  }
  CSMTPConnection connection;
  connection.set_security(route.security);
  const uint16_t port =
      route.security == SmtpSecurity::kTls ? server_->tls_port() : server_->port();
  ASSERT_TRUE(
      connection.OpenConnection("127.0.0.1", route.method, route.user, route.password, port))
      << connection.error_number() << " " << connection.last_reply() << connection.tls_error();
  ASSERT_TRUE(connection.DeliverMessage(message))
      << connection.error_number() << " " << connection.last_reply();
  EXPECT_TRUE(connection.CloseConnection());

  ASSERT_EQ(server_->MessageCount(), before + 1);
  const std::string view = ParseMailWithPython(server_->LastMessage());
  EXPECT_NE(view.find("From: Ann Example <ann@example.test>\n"), std::string::npos) << view;
  EXPECT_NE(view.find("To: Bob <bob@example.test>\n"), std::string::npos) << view;
  EXPECT_NE(view.find("Cc: carl@example.test\n"), std::string::npos) << view;
  EXPECT_EQ(view.find("hidden@"), std::string::npos) << view;
  EXPECT_NE(view.find("Subject: Fotos aus K\xc3\xb6ln via " + std::string(route.name) + "\n"),
            std::string::npos)
      << view;
  EXPECT_NE(view.find("Message-ID: <"), std::string::npos) << view;
  // A multipart body declared quoted-printable is how our messages have always looked; it is
  // the one thing the parser notes, and it reads the parts all the same.
  EXPECT_NE(view.find("defects: InvalidMultipartContentTransferEncodingDefect\n"),
            std::string::npos)
      << view;
  EXPECT_NE(view.find("part 1: text/plain text 'Hello Bob,\\n.\\nsum = 2 and a long line " +
                      std::string(120, 'z') + "\\n\\n'"),
            std::string::npos)
      << view;
  EXPECT_NE(view.find("part 2: application/octet-stream attachment Holiday album.qvo 200000 "
                      "bytes md5 " +
                      LowerHex(Md5(photo))),
            std::string::npos)
      << view;
}

INSTANTIATE_TEST_SUITE_P(
    Routes, SmtpDeliveryTest,
    ::testing::Values(
        Route{"none", kSmtpNone, SmtpSecurity::kNone, "", ""},
        Route{"cram", kSmtpCramMd5, SmtpSecurity::kNone, kMailUser, kMailPassword},
        Route{"cramlong", kSmtpCramMd5, SmtpSecurity::kNone, kLongMailUser, kLongMailPassword},
        Route{"login", kSmtpLogin, SmtpSecurity::kNone, kMailUser, kMailPassword},
        Route{"starttls", kSmtpLogin, SmtpSecurity::kStartTls, kMailUser, kMailPassword},
        Route{"tls", kSmtpPlain, SmtpSecurity::kTls, kMailUser, kMailPassword}),
    [](const auto& param_info) { return std::string(param_info.param.name); });

TEST_F(SmtpServerTest, RefusedLogInsAndRecipients) {
  CSMTPConnection connection;
  // The literal "AUTH LOGIN PLAIN" is no command a conforming server knows.
  EXPECT_FALSE(connection.OpenConnection("127.0.0.1", kSmtpLoginPlain, kMailUser, kMailPassword,
                                         server_->port()));
  EXPECT_FALSE(connection.connected());
  EXPECT_NE(connection.error_number(), 0);
  EXPECT_FALSE(connection.last_reply().starts_with("334"));

  EXPECT_FALSE(
      connection.OpenConnection("127.0.0.1", kSmtpCramMd5, kMailUser, "wrong", server_->port()));
  EXPECT_EQ(connection.error_number(), 10043);
  EXPECT_TRUE(connection.last_reply().starts_with("535")) << connection.last_reply();

  ASSERT_TRUE(connection.OpenConnection("127.0.0.1", kSmtpNone, "", "", server_->port()));
  const size_t before = server_->MessageCount();
  EXPECT_FALSE(connection.DeliverMessage(SmallMessage("refuse@example.test")));
  EXPECT_EQ(connection.error_number(), 22);
  EXPECT_TRUE(connection.last_reply().starts_with("550")) << connection.last_reply();
  connection.CloseConnection();
  EXPECT_EQ(server_->MessageCount(), before);
}

TEST_F(SmtpServerTest, UntrustedCertificateIsRefusedUnlessCheckingIsOff) {
  CSMTPConnection connection;
  connection.set_security(SmtpSecurity::kTls);
  EXPECT_FALSE(connection.OpenConnection("127.0.0.1", kSmtpNone, "", "", server_->tls_port()));
  EXPECT_NE(connection.tls_error().find("certificate"), std::string::npos)
      << connection.tls_error();

  connection.set_verify_certificates(false);
  EXPECT_TRUE(connection.OpenConnection("127.0.0.1", kSmtpNone, "", "", server_->tls_port()))
      << connection.tls_error();
  EXPECT_TRUE(connection.CloseConnection());
}

}  // namespace
}  // namespace quorvane::mail
