// The photo window's document and history: edits recorded with their labels, exact undo and
// redo through images spilled to disk, the redo branch, menu texts, text-field steps, and
// runs that must leave no trace (cancel, empty crop, failure).
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "imaging/viewer_document.h"
#include "testing/temp_dir.h"

namespace quorvane::imaging {
namespace {

using image::Image;
using image::Rgba;
using image::SamePixels;

Image Gradient(int width, int height) {
  Image image;
  EXPECT_TRUE(image.Create(width, height, false));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image.SetPixel(x, y,
                     Rgba{static_cast<uint8_t>(x * 7), static_cast<uint8_t>(y * 5),
                          static_cast<uint8_t>((x + y) * 3), 255});
    }
  }
  return image;
}

size_t FilesUnder(const std::filesystem::path& root) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    count += entry.is_regular_file();
  }
  return count;
}

class ViewerDocumentTest : public ::testing::Test {
 protected:
  uint32_t Edit(ViewerDocument& document, int32_t id, EditSelection selection = {}) {
    return document.RunEdit(*FindEditCommand(id), EditValues{}, selection, {40, 30},
                            platform::NoProgress());
  }

  testing::TempDir temp_;
};

TEST_F(ViewerDocumentTest, UndoAndRedoRestoreEveryVersionExactly) {
  auto owned = std::make_unique<ViewerDocument>(Gradient(40, 30), PhotoText{}, temp_.path());
  ViewerDocument& document = *owned;
  std::vector<Image> versions = {document.image()};
  const int32_t ids[] = {32783, 32798, 32873, 32799, 32780};
  for (int32_t id : ids) {
    ASSERT_EQ(Edit(document, id), kOk) << id;
    versions.push_back(document.image());
  }
  EXPECT_EQ(document.history().count(), 5);
  EXPECT_TRUE(document.history().document_changed());
  EXPECT_EQ(document.image_changed(), 1);
  // Only the entry next to the current position stays in memory; the rest are on disk.
  EXPECT_EQ(FilesUnder(temp_.path()), 4u);
  EXPECT_FALSE(document.history().entry(0).image_in_memory());
  EXPECT_EQ(document.history().UndoMenu().text, "&Undo Flip Horizonal\tCtrl+Z");

  for (int i = 5; i > 0; --i) {
    ASSERT_TRUE(document.Undo()) << i;
    EXPECT_TRUE(SamePixels(document.image(), versions[i - 1])) << "after undo to " << i - 1;
  }
  EXPECT_FALSE(document.Undo());
  EXPECT_EQ(document.image_changed(), 0);
  EXPECT_EQ(document.history().UndoMenu(), (album::HistoryMenuItem{"&Undo\tCtrl+Z", false}));
  EXPECT_EQ(document.history().RedoMenu().text, "&Redo Lighten\tCtrl+Shift+Z");
  for (int i = 1; i <= 5; ++i) {
    ASSERT_TRUE(document.Redo()) << i;
    EXPECT_TRUE(SamePixels(document.image(), versions[i])) << "after redo to " << i;
  }
  EXPECT_FALSE(document.Redo());
  EXPECT_EQ(document.image().width(), 30);  // the quarter turn came back too
  owned.reset();                            // the spilled images go with the history
  EXPECT_TRUE(std::filesystem::is_empty(temp_.path()));
}

TEST_F(ViewerDocumentTest, NewEditDiscardsTheRedoBranch) {
  ViewerDocument document(Gradient(40, 30), {}, temp_.path());
  ASSERT_EQ(Edit(document, 32783), kOk);
  ASSERT_EQ(Edit(document, 32781), kOk);
  ASSERT_TRUE(document.Undo());
  ASSERT_TRUE(document.Undo());
  ASSERT_EQ(Edit(document, 32795), kOk);
  EXPECT_EQ(document.history().count(), 1);
  EXPECT_EQ(document.history().RedoMenu(), (album::HistoryMenuItem{"&Redo\tCtrl+Shift+Z", false}));
  EXPECT_EQ(document.history().UndoMenu(), (album::HistoryMenuItem{"&Undo Blur\tCtrl+Z", true}));
}

TEST_F(ViewerDocumentTest, RunsThatChangeNothingRecordNothing) {
  ViewerDocument document(Gradient(40, 30), {}, temp_.path());
  const Image before = document.image();
  // Crop without a selection, and a resize that would enlarge.
  EXPECT_EQ(Edit(document, 32848), kNothingToDo);
  EXPECT_EQ(Edit(document, 32805), kNothingToDo);
  // A cancelled run drops its result.
  platform::CancelFlag cancelled;
  cancelled.Cancel();
  EXPECT_EQ(document.RunEdit(*FindEditCommand(32783), {}, {}, {40, 30}, cancelled), kCancelled);
  // A rotate by a non-number fails.
  EditValues bad;
  bad.angle = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(document.RunEdit(*FindEditCommand(32779), bad, {}, {40, 30}, platform::NoProgress()),
            kFailed);
  EXPECT_EQ(document.history().count(), 0);
  EXPECT_FALSE(document.history().document_changed());
  EXPECT_TRUE(SamePixels(document.image(), before));
}

TEST_F(ViewerDocumentTest, SelectionLimitsTheEditAndTheCropWhereDrawn) {
  ViewerDocument document(Gradient(40, 30), {}, temp_.path());
  const Image before = document.image();
  // Drawn on a display at half size: display rows 2..4 are image rows 4..9.
  ASSERT_EQ(document.RunEdit(*FindEditCommand(32876), {}, {1, 2, 4, 5, 0}, {20, 15},
                             platform::NoProgress()),
            kOk);
  const Image after = document.image();
  const Rgba inside = after.GetPixel(3, 5);
  EXPECT_EQ(inside.r, inside.g);
  EXPECT_EQ(inside.g, inside.b);
  EXPECT_EQ(after.GetPixel(3, 2), before.GetPixel(3, 2));
  EXPECT_EQ(after.GetPixel(10, 5), before.GetPixel(10, 5));

  ASSERT_EQ(Edit(document, 32848, {5, 10, 25, 20, 0}), kOk);
  const Image cropped = document.image();
  EXPECT_EQ(cropped.width(), 20);
  EXPECT_EQ(cropped.height(), 10);
  EXPECT_EQ(cropped.GetPixel(0, 0), after.GetPixel(5, 10));
  EXPECT_EQ(document.history().UndoLabel(), "Crop");
  ASSERT_TRUE(document.Undo());
  EXPECT_TRUE(SamePixels(document.image(), after));
}

TEST_F(ViewerDocumentTest, TextStepsExchangeTheRecord) {
  PhotoText original{"Beach", "", "sand", -657435.0};
  ViewerDocument document(Gradient(8, 8), original, temp_.path());
  PhotoText renamed = original;
  renamed.caption = "Dunes";
  document.SetText("Properties", renamed);
  ASSERT_EQ(Edit(document, 32783), kOk);
  ASSERT_TRUE(document.Undo());
  EXPECT_EQ(document.text(), renamed);
  ASSERT_TRUE(document.Undo());
  EXPECT_EQ(document.text(), original);
  ASSERT_TRUE(document.Redo());
  EXPECT_EQ(document.text(), renamed);
}

}  // namespace
}  // namespace quorvane::imaging
