// The photo window's selection: the row flip and scale onto the image, and which pixels a
// rectangle and an ellipse cover.
#include <gtest/gtest.h>

#include "imaging/edit_selection.h"

namespace quorvane::imaging {
namespace {

TEST(SelectionTest, FlipsRowsAndScalesToTheImage) {
  // Same size: top' = 10 - 2 - 1 = 7, bottom' = 10 - 5 - 1 = 4.
  auto same = SelectionToImage({1, 2, 4, 5, 0}, 10, 10, 10, 10);
  ASSERT_TRUE(same);
  EXPECT_EQ(same->left, 1);
  EXPECT_EQ(same->top, 7);
  EXPECT_EQ(same->right, 4);
  EXPECT_EQ(same->bottom, 4);
  // Rows back from the top are the ones the user drew over: 2, 3, 4.
  const ImageRect rect = TopDownRect(*same, 10);
  EXPECT_EQ(rect.top, 2);
  EXPECT_EQ(rect.bottom, 5);

  // Shown at half size: every coordinate doubles after the flip (7 -> 14, 4 -> 8).
  auto doubled = SelectionToImage({1, 2, 4, 5, 1}, 10, 10, 20, 20);
  ASSERT_TRUE(doubled);
  EXPECT_EQ(doubled->left, 2);
  EXPECT_EQ(doubled->right, 8);
  EXPECT_EQ(doubled->top, 14);
  EXPECT_EQ(doubled->bottom, 8);
  EXPECT_EQ(doubled->shape, 1);
}

TEST(SelectionTest, EmptySelectionSelectsNothing) {
  EXPECT_FALSE(SelectionToImage({}, 10, 10, 10, 10));
  EXPECT_FALSE(SelectionToImage({5, 2, 5, 8, 0}, 10, 10, 10, 10));
  // A one-row selection on a tenth-size display scales down to nothing.
  EXPECT_FALSE(SelectionToImage({0, 3, 5, 4, 0}, 100, 100, 10, 10));
}

TEST(SelectionTest, RectangleCoversItsRowsAndColumns) {
  const SelectionMask mask(*SelectionToImage({1, 2, 4, 5, 0}, 10, 10, 10, 10), 10, 10);
  int begin = 0, end = 0;
  EXPECT_FALSE(mask.RowSpan(1, &begin, &end));
  ASSERT_TRUE(mask.RowSpan(2, &begin, &end));
  EXPECT_EQ(begin, 1);
  EXPECT_EQ(end, 4);
  EXPECT_TRUE(mask.RowSpan(4, &begin, &end));
  EXPECT_FALSE(mask.RowSpan(5, &begin, &end));
}

TEST(SelectionTest, EllipseCoversPixelsWhoseCentresLieInside) {
  // Inscribed in 0..5 x 0..5: centre 2.5, radius 2.5. Row 0's centre is 0.8 radii up, so the
  // half width is 2.5 * 0.6 = 1.5: columns 1..3. The middle row covers 0..4.
  const SelectionMask mask(*SelectionToImage({0, 0, 5, 5, 1}, 5, 5, 5, 5), 5, 5);
  int begin = 0, end = 0;
  ASSERT_TRUE(mask.RowSpan(0, &begin, &end));
  EXPECT_EQ(begin, 1);
  EXPECT_EQ(end, 4);
  ASSERT_TRUE(mask.RowSpan(2, &begin, &end));
  EXPECT_EQ(begin, 0);
  EXPECT_EQ(end, 5);
  EXPECT_FALSE(mask.Contains(0, 0));
  EXPECT_TRUE(mask.Contains(2, 4));
  // A shape that is neither covers nothing.
  EXPECT_FALSE(SelectionMask(*SelectionToImage({0, 0, 5, 5, 7}, 5, 5, 5, 5), 5, 5).Contains(2, 2));
}

}  // namespace
}  // namespace quorvane::imaging
