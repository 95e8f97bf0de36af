#include "mail/mail_message.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "testing/temp_dir.h"

namespace quorvane::mail {
namespace {

using quorvane::testing::TempDir;
using quorvane::testing::WriteTextFile;

constexpr std::time_t kNewYear2026 = 1767225600;  // Thursday, 00:00:00 UTC

class UtcZone : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* old = std::getenv("TZ");
    had_zone_ = old != nullptr;
    if (had_zone_) old_zone_ = old;
    setenv("TZ", "UTC", 1);
    tzset();
  }
  void TearDown() override {
    if (had_zone_) {
      setenv("TZ", old_zone_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  bool had_zone_ = false;
  std::string old_zone_;
};

using HeaderBlockTest = UtcZone;

TEST_F(HeaderBlockTest, EveryFieldInItsPlace) {
  MailMessage message;
  message.from = {"Ann Example", "ann@example.test"};
  message.AddRecipient({"Bob", "bob@example.test"}, kTo);
  message.AddRecipient({"", "carl@example.test"}, kTo);
  message.AddRecipient({"", "cc@example.test"}, kCc);
  message.AddRecipient({"Hidden", "bcc@example.test"}, kBcc);
  message.subject = "Holiday";
  message.reply_to = {"", "replies@example.test"};
  message.mime = true;
  message.SetBodyText("Hello");
  message.AddExtraHeader("X-One: 1");
  message.AddExtraHeader("X-Two: 2");

  EXPECT_EQ(message.BuildHeaderBlockAt(kNewYear2026, {}),
            "From: Ann Example <ann@example.test>\r\n"
            "To: Bob <bob@example.test>,carl@example.test\r\n"
            "Cc: cc@example.test\r\n"
            "Subject: Holiday\r\n"
            "Date: Thu, 01 Jan 2026 00:00:00 +0000\r\n"
            "X-Mailer: CSMTPConnection v2.21\r\n"
            "Content-Transfer-Encoding: quoted-printable\r\n"
            "MIME-Version: 1.0\r\n"
            "Content-Type: multipart/mixed; boundary=\"" +
                message.root.boundary() +
                "\"\r\n"
                "Reply-To: replies@example.test\r\n"
                "X-One: 1\r\nX-Two: 2\r\n");
}

TEST_F(HeaderBlockTest, PlainMessageWithOnlyBccHasEmptyToAndNoCc) {
  MailMessage message;
  message.from = {"", "ann@example.test"};
  message.AddRecipient({"", "bcc@example.test"}, kBcc);
  message.subject =
      "Gr\xfc\xdf"
      "e aus K\xf6ln";
  EXPECT_EQ(message.BuildHeaderBlockAt(kNewYear2026, {}),
            "From: ann@example.test\r\n"
            "To: \r\n"
            "Subject: =?iso-8859-1?q?Gr=FC=DFe_aus_K=F6ln?=\r\n"
            "Date: Thu, 01 Jan 2026 00:00:00 +0000\r\n"
            "X-Mailer: CSMTPConnection v2.21\r\n"
            "\r\n");
}

TEST(ZoneTextTest, MinutesKeepTheSignOfTheRemainder) {
  EXPECT_EQ(ZoneText(0), "+0000");
  EXPECT_EQ(ZoneText(300), "-0500");
  EXPECT_EQ(ZoneText(-60), "+0100");
  EXPECT_EQ(ZoneText(-330), "+05-30");
  EXPECT_EQ(ZoneText(210), "-0330");
}

TEST(MailBodyPartTest, TextLineEndsBecomeCrlf) {
  MailBodyPart part;
  part.SetPartText("a\rb\nc\r\nd\n\re");
  EXPECT_EQ(part.text(), "a\r\nb\r\nc\r\nd\r\n\r\ne");
}

TEST(MailBodyPartTest, CopiesGetTheirOwnBoundaryAndChildren) {
  MailBodyPart inner;
  inner.SetPartText("inner");
  MailBodyPart outer;
  outer.set_content_type("multipart/alternative");
  outer.AppendChild(inner);
  MailBodyPart root;
  EXPECT_EQ(root.AppendChild(outer), 1);
  EXPECT_EQ(root.AppendChild(outer), 2);

  const MailBodyPart* first = root.child(0);
  const MailBodyPart* second = root.child(1);
  EXPECT_EQ(first->boundary().size(), 36u);
  EXPECT_EQ(first->boundary().find_first_not_of("0123456789abcdef-"), std::string::npos);
  EXPECT_NE(first->boundary(), outer.boundary());
  EXPECT_NE(first->boundary(), second->boundary());
  EXPECT_EQ(first->parent(), &root);
  ASSERT_EQ(first->child_count(), 1);
  EXPECT_EQ(first->child(0)->text(), "inner");
  EXPECT_EQ(first->child(0)->parent(), first);
  EXPECT_NE(first->child(0)->boundary(), second->child(0)->boundary());
}

TEST(MailBodyPartTest, PartHeadersOfTextAndAttachments) {
  TempDir dir;
  WriteTextFile(dir / "photos.qvo", "data");
  MailBodyPart root;
  MailBodyPart text;
  text.set_content_id("<id@x>");
  root.AppendChild(text);
  MailBodyPart raw;
  raw.set_quoted_printable(false);
  raw.AppendChild(text);
  root.AppendChild(raw);
  MailBodyPart file;
  ASSERT_TRUE(file.AttachFile((dir / "photos.qvo").string()));
  EXPECT_EQ(file.title(), "photos.qvo");
  root.AppendChild(file);
  const std::string& p = root.boundary();

  EXPECT_EQ(root.BuildPartHeader(), "");
  EXPECT_EQ(root.child(0)->BuildPartHeader(),
            "\r\n--" + p +
                "\r\nContent-Type: text/plain; charset=iso-8859-1\r\n"
                "Content-Transfer-Encoding: quoted-printable\r\nContent-ID: <id@x>\r\n\r\n");
  EXPECT_EQ(root.child(1)->BuildPartHeader(),
            "\r\n--" + p + "\r\nContent-Type: text/plain; charset=iso-8859-1; Boundary=\"" +
                root.child(1)->boundary() + "\"\r\n\r\n");
  EXPECT_EQ(
      root.child(2)->BuildPartHeader(),
      "\r\n\r\n--" + p +
          "\r\nContent-Type: application/octet-stream; charset=iso-8859-1; name=photos.qvo\r\n"
          "Content-Transfer-Encoding: base64\r\n"
          "Content-Disposition: attachment; filename=\"photos.qvo\"\r\n\r\n");
  EXPECT_EQ(root.child(1)->BuildPartFooter(), "\r\n--" + root.child(1)->boundary() + "--");
}

TEST(MailBodyPartTest, AttachmentBodies) {
  TempDir dir;
  MailBodyPart part;
  EXPECT_FALSE(part.AttachFile((dir / "missing.bin").string()));
  EXPECT_EQ(part.content_type(), "text/plain");
  EXPECT_EQ(part.file_path(), "");

  WriteTextFile(dir / "empty.bin", "");
  ASSERT_TRUE(part.AttachFile((dir / "empty.bin").string()));
  std::string body = "x";
  ASSERT_TRUE(part.BuildPartBody(&body));
  EXPECT_EQ(body, "");

  WriteTextFile(dir / "57.bin", std::string(57, '\xff'));
  ASSERT_TRUE(part.AttachFile((dir / "57.bin").string()));
  ASSERT_TRUE(part.BuildPartBody(&body));
  EXPECT_EQ(body, std::string(76, '/') + "\r\n");

  std::filesystem::remove(dir / "57.bin");
  EXPECT_FALSE(part.BuildPartBody(&body));
}

TEST(MailBodyPartTest, QuotedPrintableTextIsDotStuffedButRawTextIsNot) {
  MailBodyPart part;
  part.SetPartText(".first\n.\nsum = 2\n");
  std::string body;
  ASSERT_TRUE(part.BuildPartBody(&body));
  EXPECT_EQ(body, ".first\r\n..\r\nsum =3D 2\r\n");
  part.set_quoted_printable(false);
  ASSERT_TRUE(part.BuildPartBody(&body));
  EXPECT_EQ(body, ".first\r\n.\r\nsum = 2\r\n");
}

TEST(MailMessageTest, SetBodyTextTurnsTheRootIntoMultipartMixed) {
  MailMessage message;
  message.mime = true;
  message.root.set_charset("utf-8");
  message.SetBodyText("First");
  EXPECT_EQ(message.root.content_type(), "multipart/mixed");
  EXPECT_EQ(message.root.text(), "This is a multi-part message in MIME format");
  ASSERT_EQ(message.root.child_count(), 1);
  EXPECT_EQ(message.root.child(0)->text(), "First");
  EXPECT_EQ(message.root.child(0)->charset(), "utf-8");

  MailBodyPart attachment;
  message.AddAttachmentPart(attachment);
  message.SetBodyText("Second");
  ASSERT_EQ(message.root.child_count(), 2);
  EXPECT_EQ(message.root.child(0)->text(), "Second");

  MailMessage plain;
  plain.SetBodyText("just\ntext");
  EXPECT_EQ(plain.root.content_type(), "text/plain");
  EXPECT_EQ(plain.root.text(), "just\r\ntext");
}

// Records every piece the stream is written in.
class PieceSink : public DataSink {
 public:
  bool Write(std::string_view bytes) override {
    text.append(bytes);
    largest = std::max(largest, bytes.size());
    return true;
  }
  std::string text;
  size_t largest = 0;
};

TEST(MailMessageTest, DataStreamLayoutAndAttachmentSentInPieces) {
  TempDir dir;
  std::string photo(3'000'000, '\0');
  for (size_t i = 0; i < photo.size(); ++i) photo[i] = static_cast<char>(i * 7 % 251);
  WriteTextFile(dir / "album.qvo", photo);

  MailMessage message;
  message.from = {"", "ann@example.test"};
  message.AddRecipient({"", "bob@example.test"}, kTo);
  message.mime = true;
  message.SetBodyText("Hi\n.\n");
  MailBodyPart attachment;
  ASSERT_TRUE(attachment.AttachFile((dir / "album.qvo").string()));
  message.AddAttachmentPart(attachment);

  PieceSink sink;
  const std::vector<std::string> more = {"Message-ID: <1@example.test>"};
  ASSERT_TRUE(message.WriteDataStream(sink, more));
  const std::string& s = sink.text;
  const std::string& p = message.root.boundary();
  // The extra line ends the header block without an empty line; one is added before the body.
  const size_t body = s.find("Message-ID: <1@example.test>\r\n\r\nThis is a multi-part");
  ASSERT_NE(body, std::string::npos);
  EXPECT_NE(s.find("format\r\n--" + p + "\r\nContent-Type: text/plain"), std::string::npos);
  EXPECT_NE(s.find("\r\n\r\nHi\r\n..\r\n\r\n\r\n--" + p + "\r\nContent-Type: application/"),
            std::string::npos);
  EXPECT_TRUE(s.ends_with("\r\n\r\n--" + p + "--\r\n.\r\n"));
  EXPECT_LT(sink.largest, photo.size());  // never the whole attachment in one piece
}

}  // namespace
}  // namespace quorvane::mail
