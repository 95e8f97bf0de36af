#include "search/case_folding.h"

#include <iterator>
#include <random>

#include <gtest/gtest.h>

namespace quorvane::search {
namespace {

TEST(CaseFoldingTest, FoldsLettersOfManyScriptsToOneForm) {
  struct Case {
    const char* text;
    const char* folded;
  } cases[] = {
      {"Sunset AT Sea 42", "sunset at sea 42"},
      {"ÉGLISE Église", "église église"},
      {"ΣΟΦΊΑ σοφίας", "σοφία σοφίασ"},  // final sigma folds like the others
      {"МОСКВА Ёлка", "москва ёлка"},
      {"\u212A\u00B5\u017F", "kμs"},     // Kelvin sign, micro sign, long s
      {"\u1E9E", "ß"},                   // capital sharp s: one character, never "ss"
      {"\U00010400x", "\U00010428x"},    // a four-byte letter (Deseret)
      {"\u13A0\uAB70", "\u13A0\u13A0"},  // Cherokee folds to its capitals
      {"日本 😀", "日本 😀"},
  };
  for (const Case& c : cases) EXPECT_EQ(Folded(c.text), c.folded) << c.text;
  EXPECT_EQ(FoldCase(0x0130), 0x0130u);  // capital I with dot: no one-character folding
  EXPECT_EQ(FoldCase(0x10FFFF), 0x10FFFFu);
}

// A stray byte b as folding marks it: U+DC00 + b in three bytes.
std::string Mark(unsigned char b) {
  const uint32_t cp = 0xDC00 + b;
  return {static_cast<char>(0xE0 | (cp >> 12)), static_cast<char>(0x80 | ((cp >> 6) & 0x3F)),
          static_cast<char>(0x80 | (cp & 0x3F))};
}

TEST(CaseFoldingTest, MarksEachByteThatIsNotUtf8OnItsOwn) {
  const std::string_view cases[] = {
      "\x80",          // lone continuation byte
      "A\xC3",         // cut short at the end
      "\xC3(B",        // lead byte without its continuation
      "\xC0\x80",      // overlong NUL
      "\xED\xA0\x80",  // a surrogate
      "\xF4\x90\x80\x80",
      "\xF5\xFF\xFE",
  };
  for (std::string_view text : cases) {
    std::string expected;
    for (char c : text) {
      const auto b = static_cast<unsigned char>(c);
      expected += b >= 0x80 ? Mark(b) : std::string(1, b >= 'A' && b <= 'Z' ? b + 32 : b);
    }
    EXPECT_EQ(Folded(text), expected);
    EXPECT_FALSE(IsValidUtf8(text));
  }
  EXPECT_TRUE(IsValidUtf8("Église \U00010400 日本"));
  // A valid character right after a broken one is still folded.
  EXPECT_EQ(Folded("\xC3\xC3\x89"), Mark(0xC3) + "\xC3\xA9");
}

TEST(CaseFoldingTest, LongTextFoldsAsItsCharactersDo) {
  // Letters at the edges of the ASCII ranges, characters that change length, stray bytes:
  // long texts are folded 16 bytes at a time, short ones one character at a time.
  const std::string_view pieces[] = {"A",    "Z", "a", "z",      "@",      "[", "`",    "{",   " ",
                                     "\x7F", "É", "Ω", "\u023A", "\u212A", "😀", "\xC3", "\xFF"};
  std::mt19937 random(7);
  for (int round = 0; round < 500; ++round) {
    std::string text, expected;
    bool same_length = true;
    const size_t count = random() % 90;
    for (size_t i = 0; i < count; ++i) {
      // Mostly ASCII, as captions are.
      const std::string_view piece =
          pieces[random() % 4 == 0 ? random() % std::size(pieces) : random() % 10];
      text += piece;
      expected += Folded(piece);
      same_length = same_length && Folded(piece).size() == piece.size();
    }
    std::string out = "kept ";
    EXPECT_EQ(AppendFolded(text, &out), same_length) << text;
    EXPECT_EQ(out, "kept " + expected) << text;
  }
}

}  // namespace
}  // namespace quorvane::search
