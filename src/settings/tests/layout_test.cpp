#include "settings/layout.h"

#include <gtest/gtest.h>

#include "settings/file_backend.h"
#include "testing/temp_dir.h"

namespace quorvane::settings {
namespace {

using quorvane::testing::TempDir;
using quorvane::testing::WriteTextFile;

class LayoutTest : public ::testing::Test {
 protected:
  LayoutTest() : backend_(temp_ / "settings.conf") {}
  SettingValues Main() {
    SettingValues values;
    EXPECT_TRUE(backend_.ReadSection(kMainSection, &values));
    return values;
  }

  TempDir temp_;
  FileBackend backend_;
};

TEST_F(LayoutTest, PrefixesRoundTripWithoutTouchingEachOther) {
  WindowLayout frame;
  frame.placement = WindowPlacement{2, 3, {-1, -1}, {-8, -8}, {10, 20, 810, 620}};
  WindowLayout splitter;
  splitter.splitter_pos = 240;
  ASSERT_TRUE(SaveLayout(backend_, kLayoutFramePrefix, frame));
  ASSERT_TRUE(SaveLayout(backend_, kLayoutSplitterPrefix, splitter));

  EXPECT_EQ(LoadLayout(backend_, kLayoutFramePrefix), frame);
  EXPECT_EQ(LoadLayout(backend_, kLayoutSplitterPrefix), splitter);
  EXPECT_EQ(LoadLayout(backend_, kLayoutFileBrowserSplitterPrefix), WindowLayout());
}

TEST_F(LayoutTest, BandsAreStoredUnderTheirNumberedNamesAndRoundTrip) {
  WindowLayout rebar;
  rebar.bands = std::vector<RebarBand>{{7, 100, false}, {8, 200, true}, {9, 300, false}};
  ASSERT_TRUE(SaveLayout(backend_, kLayoutRebarPrefix, rebar));
  EXPECT_EQ(LoadLayout(backend_, kLayoutRebarPrefix), rebar);
  const SettingValues main = Main();
  const std::string prefix(kLayoutRebarPrefix);
  EXPECT_EQ(main.at(prefix + "BandCount"), SettingValue(3));
  EXPECT_EQ(main.at(prefix + "1_ID"), SettingValue(8));
  EXPECT_EQ(main.at(prefix + "1_CX"), SettingValue(200));
  EXPECT_EQ(main.at(prefix + "1_BreakLine"), SettingValue(1));
  EXPECT_EQ(main.at(prefix + "0_BreakLine"), SettingValue(0));

  rebar.bands = std::vector<RebarBand>{{3, 30, true}};  // fewer bands than before
  ASSERT_TRUE(SaveLayout(backend_, kLayoutRebarPrefix, rebar));
  EXPECT_EQ(LoadLayout(backend_, kLayoutRebarPrefix), rebar);
}

TEST_F(LayoutTest, DamagedLayoutValuesAreNotApplied) {
  WriteTextFile(temp_ / "settings.conf",
                "[Main]\n"
                "frame.flags=0\nframe.showCmd=1\nframe.ptMinPosition.x=0\nframe.ptMinPosition.y=0\n"
                "frame.ptMaxPosition.x=0\nframe.ptMaxPosition.y=0\nframe.rcNormalPosition.left=0\n"
                "frame.rcNormalPosition.top=0\nframe.rcNormalPosition.right=\"800\"\n"
                "frame.rcNormalPosition.bottom=600\n"
                "rebar.BandCount=2000000000\nrebar.0_ID=5\nrebar.1_CX=9\nrebar.2_ID=6\n"
                "splitter.SplitterPos=\"100\"\n");
  const WindowLayout frame = LoadLayout(backend_, "frame.");
  EXPECT_FALSE(frame.placement.has_value());
  const WindowLayout rebar = LoadLayout(backend_, "rebar.");
  ASSERT_TRUE(rebar.bands.has_value());
  EXPECT_EQ(*rebar.bands, (std::vector<RebarBand>{{5, 0, false}, {6, 0, false}}));
  EXPECT_FALSE(LoadLayout(backend_, "splitter.").splitter_pos.has_value());
}

TEST_F(LayoutTest, DialogPositionsAndRecentDocumentsRoundTrip) {
  const DialogPositions positions{LayoutPoint{-20, 40}, std::nullopt};
  ASSERT_TRUE(SaveDialogPositions(backend_, positions));
  EXPECT_EQ(LoadDialogPositions(backend_), positions);
  EXPECT_EQ(Main().count("dlg.caption2.x"), 0u);

  const std::vector<std::string> documents = {"/albums/Trip_ 5_6", "/albums/caf\xC3\xA9\nx"};
  ASSERT_TRUE(SaveRecentDocuments(backend_, documents));
  EXPECT_EQ(LoadRecentDocuments(backend_), documents);
  SettingValues recent;
  ASSERT_TRUE(backend_.ReadSection(kRecentDocumentSection, &recent));
  EXPECT_EQ(recent.at("DocumentCount"), SettingValue(2));
  EXPECT_EQ(recent.at("Document1"), SettingValue(documents[1]));

  ASSERT_TRUE(SaveRecentDocuments(backend_, {"/only"}));
  EXPECT_EQ(LoadRecentDocuments(backend_), std::vector<std::string>{"/only"});
}

}  // namespace
}  // namespace quorvane::settings
