#include "search/internal/find_bytes.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

namespace quorvane::search::internal {
namespace {

// Against the standard library's find, over texts of few letters so that first and last
// bytes match often; at every start, with needles up to longer than the text.
TEST(FindBytesTest, FindsWhatFindFinds) {
  std::mt19937 random(3);
  for (int round = 0; round < 300; ++round) {
    std::string text(random() % 70, ' ');
    for (char& c : text) c = static_cast<char>("abc\xC3"[random() % 4]);
    std::string needle(random() % 8, ' ');
    for (char& c : needle) c = static_cast<char>("abc\xC3"[random() % 4]);
    if (round % 3 == 0 && text.size() > 4) needle = text.substr(text.size() - 4);
    for (size_t from = 0; from <= text.size() + 1; ++from) {
      ASSERT_EQ(FindBytes(text, needle, from), std::string_view(text).find(needle, from))
          << "text " << text << " needle " << needle << " from " << from;
    }
  }
}

}  // namespace
}  // namespace quorvane::search::internal
