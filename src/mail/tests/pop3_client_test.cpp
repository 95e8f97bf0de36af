#include "mail/pop3_client.h"

#include <string>

#include <gtest/gtest.h>

#include "mail/digest.h"
#include "testing/mail_servers.h"
#include "testing/scripted_server.h"
#include "testing/temp_dir.h"

namespace quorvane::mail {
namespace {

using namespace quorvane::testing;

TEST(Pop3ServerTest, UserPassAndApopAgainstTheRealServer) {
  TempDir folder;
  Pop3TestServer server;
  std::string error;
  ASSERT_TRUE(server.Start(folder.path(), &error)) << error;

  for (const bool apop : {false, true}) {
    for (const auto& [user, password] :
         {std::pair{kMailUser, kMailPassword}, std::pair{kLongMailUser, kLongMailPassword}}) {
      Pop3Client client;
      ASSERT_TRUE(client.Connect("127.0.0.1", server.port())) << client.GetStatusText();
      EXPECT_EQ(client.GetStatusText(), "Connect POP3 Server Succeed!");
      EXPECT_TRUE(client.apop_timestamp().starts_with("<")) << client.apop_timestamp();
      EXPECT_TRUE(client.Login(user, password, apop))
          << client.GetStatusText() << client.reply() << ReadTextFile(folder / "dovecot.log");
      EXPECT_TRUE(client.logged_in());
    }
  }
  // Last: the server slows every later log-in from an address that failed once.
  Pop3Client refused;
  ASSERT_TRUE(refused.Connect("127.0.0.1", server.port()));
  EXPECT_FALSE(refused.Login(kMailUser, "wrong", false));
  EXPECT_EQ(refused.GetStatusText(), "User or Password error!");
  EXPECT_FALSE(refused.logged_in());
}

// Log-ins against scripted servers: lower-case commands, the first refusal ends the dialogue
// with its status text, and no QUIT. The APOP digest covers the timestamp and the password.
TEST(Pop3ScriptedTest, LogInsSendLowerCaseCommandsAndStopAtTheFirstRefusal) {
  const auto login = [](std::vector<ScriptStep> script, bool apop, const std::string& status,
                        const std::string& sent) {
    ScriptedServer server(std::move(script));
    Pop3Client client;
    ASSERT_TRUE(client.Connect("127.0.0.1", server.port()));
    EXPECT_EQ(client.Login("mrose", "tanstaaf", apop), status.empty()) << client.GetStatusText();
    EXPECT_EQ(client.logged_in(), status.empty());
    if (!status.empty()) {
      EXPECT_EQ(client.GetStatusText(), status);
    }
    client.Close();
    EXPECT_EQ(server.Received(), sent);
  };
  login({Send("+OK ready <1896.697170952@dbc.mtview.ca.us>\r\n"), ReadLine(), Send("+OK\r\n")},
        true, "", "apop mrose c4c9334bac560ecc979e58001b3e22fb\r\n");
  login({Send("+OK ready <1.2@x>\r\n"), ReadLine(), Send("-ERR no\r\n")}, true,
        "Username or Password error!", "apop mrose bb4c18526537e9d451a5b17b0ba7b221\r\n");
  login({Send("+OK ready\r\n")}, true, "Apop error!", "");  // no timestamp to digest
  login({Send("+OK ready\r\n"), ReadLine(), Send("+OK\r\n"), ReadLine(), Send("+OK in\r\n")}, false,
        "", "user mrose\r\npass tanstaaf\r\n");
  login({Send("+OK ready\r\n"), ReadLine(), Send("-ERR who?\r\n")}, false, "User Name error!",
        "user mrose\r\n");
}

TEST(Pop3ScriptedTest, SilenceClosedConnectionsAndMissingSockets) {
  Pop3Client client;
  client.set_timeout_ms(300);
  EXPECT_FALSE(client.Login("alice", "s3cret", false));
  EXPECT_EQ(client.GetStatusText(), "Socket not Create!");

  ScriptedServer silent({});
  EXPECT_FALSE(client.Connect("127.0.0.1", silent.port()));
  EXPECT_EQ(client.GetStatusText(), "Connection TimeOut!");

  ScriptedServer closing({Close()});
  EXPECT_FALSE(client.Connect("127.0.0.1", closing.port()));
  EXPECT_EQ(client.GetStatusText(), "Receive Buffer is empty!");

  EXPECT_FALSE(client.Connect("no-such-host.invalid", 110));
  EXPECT_EQ(client.GetStatusText(), "Hostname Error!");
  EXPECT_FALSE(client.Connect("127.0.0.1", FreeLoopbackPort()));
  EXPECT_EQ(client.GetStatusText(), "Connect POP3 Server Fail!");
}

}  // namespace
}  // namespace quorvane::mail
