#include "platform/name_set.h"

#include <gtest/gtest.h>

namespace quorvane::platform {
namespace {

TEST(NameSetTest, AnswersForEveryNameOfALargeFolderAndNothingElse) {
  std::vector<std::string> names;
  for (int i = 0; i < 20000; ++i) names.push_back("IMG_" + std::to_string(i) + ".jpg");
  names.push_back("");           // an empty name is a name too
  names.push_back("IMG_7.jpg");  // listed twice
  const NameSet set(names);
  for (const std::string& name : names) EXPECT_TRUE(set.Contains(name)) << name;
  EXPECT_FALSE(set.Contains("IMG_20000.jpg"));
  EXPECT_FALSE(set.Contains("img_7.jpg"));  // byte for byte, so case counts
  EXPECT_FALSE(set.Contains("IMG_7.jpg "));
  EXPECT_FALSE(set.Contains(std::string_view("IMG_7.jpg\0", 10)));
}

TEST(NameSetTest, EmptySetHoldsNothing) {
  EXPECT_FALSE(NameSet().Contains(""));
  EXPECT_FALSE(NameSet(std::vector<std::string>{}).Contains("a"));
}

}  // namespace
}  // namespace quorvane::platform
