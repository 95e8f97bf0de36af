#include "xml/entities.h"

#include <tuple>

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

TEST(DecodeEntitiesTest, DecodesTheTableOnceAndKeepsWhatItDoesNotKnow) {
  const std::tuple<std::string, int, std::string> cases[] = {
      {"&apos;&nbsp;&foo;", 0, "' &foo;"},
      {"&amp;&quot;&#039;&lt;&gt;", 0, "&\"'<>"},
      {"&#65;&#x41;", 0, "&#65;&#x41;"},  // numeric references stay
      {"&amp;amp;", 0, "&amp;"},          // decoded once only
      // An ampersand without a semicolon takes the rest of the text as its name.
      {"fish & chips", 0, "fish & chips;"},
      {"x&amp", 0, "x&"},
      {"&", 0, "&;"},
      {"a\nb\r\nc\rd", 0, "a\nb\r\nc\rd"},
      {"a\nb\r\nc\rd", kDecodeLineEnds, "a\r\nb\r\nc\rd"},  // lone line feeds only
      {"\n\n", kDecodeLineEnds, "\r\n\r\n"},
  };
  for (const auto& [text, flags, decoded] : cases) {
    EXPECT_EQ(DecodeEntities(text, flags), decoded) << text;
  }
  const std::string samples[] = {"Tom & Jerry's <b>", "a\"b'c<d>e&f", "\xc3\x89glise; 100%",
                                 std::string("nul\0byte", 8)};
  for (const std::string& s : samples) EXPECT_EQ(DecodeEntities(EncodeEntities(s)), s);
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
