#include "app/command_table.h"

#include <set>
#include <utility>

#include <gtest/gtest.h>

#include <QKeySequence>
#include <QString>

namespace quorvane::app {
namespace {

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), text.size()); }

TEST(CommandTable, EntriesAreUniquePerMenuAndTheirShortcutsParse) {
  std::set<std::pair<std::string_view, int32_t>> seen;
  std::set<QString> shortcuts;
  for (const Command& command : Commands()) {
    if (command.id == 0) continue;
    EXPECT_TRUE(seen.insert({command.menu, command.id}).second)
        << command.id << " twice in " << command.menu;
    const std::string_view shortcut = CommandShortcut(command.text);
    if (shortcut.empty()) continue;
    const QKeySequence keys(Q(shortcut));
    EXPECT_EQ(keys.toString(), Q(shortcut)) << command.text;
    EXPECT_TRUE(shortcuts.insert(keys.toString()).second) << "shortcut used twice: " << shortcut;
  }
  EXPECT_EQ(CommandLabel("&Save Changes\tCtrl+S"), "&Save Changes");
  EXPECT_EQ(CommandShortcut("&Save Changes\tCtrl+S"), "Ctrl+S");
  EXPECT_EQ(CommandShortcut("E&xit"), "");
}

TEST(CommandTable, OneIdMeansOneThingPerWindow) {
  const Command* albums = FindCommand(kCmdMyAlbums, "&Options");
  const Command* fit = FindCommand(kCmdMyAlbums, "Viewer/&Zoom");
  ASSERT_TRUE(albums && fit);
  EXPECT_EQ(albums->text, "My Quorvane &Albums");
  EXPECT_EQ(fit->text, "Fi&t in Window");
  EXPECT_EQ(FindCommand(kCmdRedo)->text, "&Redo\tCtrl+Shift+Z");
  EXPECT_EQ(FindCommand(12345), nullptr);
}

TEST(CommandTable, PhotoEditsFillTheirSubmenusFromTheEditTable) {
  EXPECT_EQ(FindCommand(32783, "&Photo/&Filters")->text, "&Lighten");
  EXPECT_EQ(FindCommand(32780, "&Photo/&Rotate")->text, "Flip &Horizontal");
  EXPECT_EQ(FindCommand(32805, "&Photo/Re&size")->text, "&1024x768");
  // Crop works on the photo window's selection; the album does not offer it.
  EXPECT_EQ(FindCommand(kCmdCrop, "&Photo/&Filters"), nullptr);
  EXPECT_NE(FindCommand(kCmdCrop, kViewerMenu), nullptr);
}

TEST(CommandTable, LinkNamesAreUniqueAndExact) {
  std::set<std::string_view> names;
  for (const Command& command : Commands()) {
    if (!command.name.empty()) {
      EXPECT_TRUE(names.insert(command.name).second) << command.name;
    }
  }
  ASSERT_NE(FindNamedCommand("save"), nullptr);
  EXPECT_EQ(FindNamedCommand("save")->id, kCmdSave);
  EXPECT_EQ(FindNamedCommand("lighten")->id, 32783);
  EXPECT_EQ(FindNamedCommand("Save"), nullptr);
  EXPECT_EQ(FindNamedCommand(""), nullptr);
}

TEST(CommandTable, RecentAlbumEntriesNumberAndKeepAmpersands) {
  EXPECT_EQ(RecentAlbumText(0, "/photos/Rock & Roll"), "&1 /photos/Rock && Roll");
  EXPECT_EQ(RecentAlbumText(9, "/a"), "10 /a");
}

}  // namespace
}  // namespace quorvane::app
