#include "xml/entities.h"

#include <gtest/gtest.h>

namespace quorvane::xml {
namespace {

TEST(EncodeEntitiesTest, EncodesTheFiveCharactersAndNothingElse) {
  EXPECT_EQ(EncodeEntities("Tom & Jerry's <b>"), "Tom &amp; Jerry&#039;s &lt;b&gt;");
  EXPECT_EQ(EncodeEntities("say \"hi\""), "say &quot;hi&quot;");
  // White space is copied before the table is consulted, so "&nbsp;" is never written;
  // other punctuation and UTF-8 bytes pass unchanged.
  EXPECT_EQ(EncodeEntities(" \t\r\n"), " \t\r\n");
  EXPECT_EQ(EncodeEntities("a;b=c%d/\xc3\xa9"), "a;b=c%d/\xc3\xa9");
  EXPECT_EQ(EncodeEntities(""), "");
}

TEST(DecodeEntitiesTest, DecodesTheTableAndKeepsUnknownNames) {
  EXPECT_EQ(DecodeEntities("&apos;&nbsp;&foo;"), "' &foo;");
  EXPECT_EQ(DecodeEntities("&amp;&quot;&#039;&lt;&gt;"), "&\"'<>");
  EXPECT_EQ(DecodeEntities("&#65;&#x41;"), "&#65;&#x41;");  // numeric references stay
  EXPECT_EQ(DecodeEntities("&amp;amp;"), "&amp;");          // decoded once only
}

TEST(DecodeEntitiesTest, AmpersandWithoutSemicolonTakesTheRest) {
  EXPECT_EQ(DecodeEntities("fish & chips"), "fish & chips;");
  EXPECT_EQ(DecodeEntities("x&amp"), "x&");
  EXPECT_EQ(DecodeEntities("&"), "&;");
}

TEST(DecodeEntitiesTest, EncodeThenDecodeIsIdentity) {
  const std::string samples[] = {"Tom & Jerry's <b>", "a\"b'c<d>e&f", "\xc3\x89glise; 100%",
                                 std::string("nul\0byte", 8)};
  for (const std::string& s : samples) EXPECT_EQ(DecodeEntities(EncodeEntities(s)), s);
}

TEST(DecodeEntitiesTest, LineEndFlagTurnsLoneLineFeedsIntoCrLf) {
  EXPECT_EQ(DecodeEntities("a\nb\r\nc\rd"), "a\nb\r\nc\rd");
  EXPECT_EQ(DecodeEntities("a\nb\r\nc\rd", kDecodeLineEnds), "a\r\nb\r\nc\rd");
  EXPECT_EQ(DecodeEntities("\n\n", kDecodeLineEnds), "\r\n\r\n");
}

TEST(DecodeEntitiesTest, TagHandOffReplacesDecodedTags) {
  std::vector<std::string> seen;
  const TagHandler handler = [&](std::string_view tag) -> std::optional<std::string> {
    seen.emplace_back(tag);
    if (tag == "<drop>") return std::nullopt;
    return "[" + std::string(tag.substr(1, tag.size() - 2)) + "]";
  };
  EXPECT_EQ(DecodeEntities("a &lt;b&gt;bold&lt;/b&gt; &lt;drop&gt;z", kDecodeTagHandOff, &handler),
            "a [b]bold[/b] z");
  EXPECT_EQ(seen, (std::vector<std::string>{"<b>", "</b>", "<drop>"}));
  // Without the flag, or without a handler, tags are ordinary text.
  EXPECT_EQ(DecodeEntities("&lt;b&gt;", 0, &handler), "<b>");
  EXPECT_EQ(DecodeEntities("&lt;b&gt;", kDecodeTagHandOff, nullptr), "<b>");
  // A tag left open at the end is kept, not lost.
  EXPECT_EQ(DecodeEntities("x&lt;b", kDecodeTagHandOff, &handler), "x<b");
}

}  // namespace
}  // namespace quorvane::xml
