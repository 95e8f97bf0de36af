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

TEST(Pop3ScriptedTest, RefusedApop) {
  ScriptedServer server({Send("+OK ready <1.2@x>\r\n"), ReadLine(), Send("-ERR no\r\n")});
  Pop3Client client;
  ASSERT_TRUE(client.Connect("127.0.0.1", server.port()));
  EXPECT_FALSE(client.Login("alice", "wrong", true));
  EXPECT_EQ(client.GetStatusText(), "Username or Password error!");
  EXPECT_FALSE(client.logged_in());
}

TEST(Pop3ScriptedTest, GreetingWithoutTimestampRefusesApopButNotUserPass) {
  ScriptedServer server(
      {Send("+OK ready\r\n"), ReadLine(), Send("+OK\r\n"), ReadLine(), Send("+OK logged in\r\n")});
  Pop3Client client;
  ASSERT_TRUE(client.Connect("127.0.0.1", server.port()));
  EXPECT_EQ(client.apop_timestamp(), "");
  EXPECT_FALSE(client.Login("alice", "s3cret", true));
  EXPECT_EQ(client.GetStatusText(), "Apop error!");
  EXPECT_TRUE(client.Login("alice", "s3cret", false)) << client.GetStatusText();
  client.Close();
  // Lower-case commands, and no QUIT.
  EXPECT_EQ(server.Received(), "user alice\r\npass s3cret\r\n");
}

TEST(Pop3ScriptedTest, ApopDigestCoversTimestampAndPassword) {
  const std::string stamp = "<1896.697170952@dbc.mtview.ca.us>";
  ScriptedServer server({Send("+OK POP3 server ready " + stamp + "\r\n"), ReadLine(),
                         Send("+OK maildrop has 1 message\r\n")});
  Pop3Client client;
  ASSERT_TRUE(client.Connect("127.0.0.1", server.port()));
  EXPECT_EQ(client.apop_timestamp(), stamp);
  ASSERT_TRUE(client.Login("mrose", "tanstaaf", true));
  client.Close();
  EXPECT_EQ(server.Received(), "apop mrose c4c9334bac560ecc979e58001b3e22fb\r\n");
}

TEST(Pop3ScriptedTest, ErrToUserStopsBeforeThePassword) {
  ScriptedServer server({Send("+OK ready\r\n"), ReadLine(), Send("-ERR who?\r\n")});
  Pop3Client client;
  ASSERT_TRUE(client.Connect("127.0.0.1", server.port()));
  EXPECT_FALSE(client.Login("alice", "s3cret", false));
  EXPECT_EQ(client.GetStatusText(), "User Name error!");
  client.Close();
  EXPECT_EQ(server.Received(), "user alice\r\n");
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
