#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mail/mime/base64.h"
#include "mail/mime/header_encoding.h"
#include "mail/mime/quoted_printable.h"

namespace quorvane::mail {
namespace {

std::string RandomBytes(std::mt19937& random, size_t size, int alphabet = 256) {
  std::string bytes(size, '\0');
  for (auto& byte : bytes) byte = static_cast<char>(random() % static_cast<unsigned>(alphabet));
  return bytes;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
    lines.push_back(text.substr(start, end - start));
  }
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

TEST(Base64Test, KnownVectorsPaddingAndLines) {
  for (const auto& [bytes, text] : std::vector<std::pair<std::string, std::string>>{
           {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"\xff\xfe", "//4="}}) {
    EXPECT_EQ(Base64Encode(bytes), text);
  }
  std::string decoded;
  EXPECT_TRUE(Base64Decode("UGFzc3dvcmQ6", &decoded));
  EXPECT_EQ(decoded, "Password:");
  EXPECT_FALSE(Base64Decode("ab$c", &decoded));

  // 57 bytes make one line of 76 characters; one more starts a second line; each ends in CRLF.
  std::string out;
  AppendBase64Lines(std::string(58, 'x'), &out);
  std::string expected;
  for (int i = 0; i < 19; ++i) expected += "eHh4";
  EXPECT_EQ(out, expected + "\r\neA==\r\n");
  EXPECT_EQ(Base64LinesSize(58), out.size());
}

TEST(Base64Test, PiecesOfWholeLinesEncodeLikeOneCall) {
  std::mt19937 random(7);
  for (size_t size : {0u, 1u, 56u, 57u, 114u, 1000u, 57u * 40 + 5}) {
    const std::string bytes = RandomBytes(random, size);
    std::string whole;
    AppendBase64Lines(bytes, &whole);
    std::string pieces;
    for (size_t at = 0; at < bytes.size(); at += 57 * 3) {
      AppendBase64Lines(std::string_view(bytes).substr(at, 57 * 3), &pieces);
    }
    EXPECT_EQ(pieces, whole) << size;
    std::string back;
    ASSERT_TRUE(Base64Decode(whole, &back));
    EXPECT_EQ(back, bytes) << size;
  }
}

TEST(QuotedPrintableTest, EscapesAndBreaksKnownTexts) {
  const std::string a60 = std::string(60, 'a'), b10 = std::string(10, 'b');
  const std::pair<std::string, std::string> cases[] = {
      {"a=b", "a=3Db"},
      {"caf\xe9 \r\nnext \r\n", "caf=E9 \r\nnext \r\n"},  // trailing blanks stay
      {"tab\there\x01", "tab\there=01"},
      // No blank: cut every 77 characters.
      {std::string(200, 'a'),
       std::string(77, 'a') + "=\r\n" + std::string(77, 'a') + "=\r\n" + std::string(46, 'a')},
      // Cut after the last blank within the first 77.
      {a60 + " " + b10 + " " + std::string(30, 'c'),
       a60 + " " + b10 + " =\r\n" + std::string(30, 'c')},
  };
  for (const auto& [text, encoded] : cases) EXPECT_EQ(QuotedPrintableEncode(text), encoded);
}

TEST(QuotedPrintableTest, NeverSplitsAnEscapeAndRoundTrips) {
  // An escape straddling the 77th character, with no blank to break at.
  const std::string straddling = std::string(75, 'a') + "=" + std::string(100, 'b');
  for (const std::string& line : Lines(QuotedPrintableEncode(straddling))) {
    EXPECT_LE(line.size(), 78u);
    const size_t equals = line.rfind('=', line.size() - 2);
    if (equals != std::string::npos) {
      EXPECT_LE(equals + 3, line.size() - 1) << line;
    }
  }
  EXPECT_EQ(QuotedPrintableDecode(QuotedPrintableEncode(straddling)), straddling);

  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    const std::string text = RandomBytes(random, random() % 600);
    const std::string encoded = QuotedPrintableEncode(text);
    ASSERT_EQ(QuotedPrintableDecode(encoded), text) << round;
    // Any CR or LF of the text ends a line; no line may grow past 77 characters and "=".
    size_t line_length = 0;
    for (const char c : encoded) {
      line_length = c == '\r' || c == '\n' ? 0 : line_length + 1;
      ASSERT_LE(line_length, 78u) << round;
    }
  }
}

TEST(HeaderEncodingTest, AsciiStaysAndEightBitBecomesOneQWord) {
  EXPECT_EQ(EncodeHeaderValue("Holiday photos", "iso-8859-1"), "Holiday photos");
  EXPECT_EQ(EncodeHeaderValue("Fotos aus K\xf6ln = sch\xf6n?_", "iso-8859-1"),
            "=?iso-8859-1?q?Fotos_aus_K=F6ln_=3D_sch=F6n=3F=5F?=");
  // Address lists are one word, brackets and commas included.
  EXPECT_EQ(EncodeHeaderValue("J\xfcrgen <j@x.test>,b@y.test", "iso-8859-1"),
            "=?iso-8859-1?q?J=FCrgen_<j@x.test>,b@y.test?=");

  std::mt19937 random(5);
  for (int round = 0; round < 200; ++round) {
    std::string value = RandomBytes(random, random() % 80);
    value.push_back('\xe9');
    EXPECT_EQ(DecodeHeaderValue(EncodeHeaderValue(value, "utf-8")), value);
  }
}

TEST(DotStuffingTest, DoublesDotsAtLineStartsExceptTheVeryFirst) {
  EXPECT_EQ(DotStuff("a\r\n.\r\nb"), "a\r\n..\r\nb");
  EXPECT_EQ(DotStuff(".a\r\n..b\r\n."), ".a\r\n...b\r\n..");
  EXPECT_EQ(DotStuff("a.b\n.\n."), "a.b\n..\n..");
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    std::string readable = RandomBytes(random, random() % 100, 4);
    for (auto& c : readable) c = "\r\n.a"[static_cast<unsigned char>(c) % 4];
    EXPECT_EQ(DotUnstuff(DotStuff(readable)), readable);
  }
}

}  // namespace
}  // namespace quorvane::mail
