// Every command of the main frame's menus and of the photo window's context menu in one table:
// its id, the menu it sits in, its text ("&" mnemonic, "\t" then the shortcut) and the name a
// "command:" link uses. Menus, the tool bar, shortcuts and pane links are all built from it,
// so an entry point can never offer a command the others do not know. No Qt here.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quorvane::app {

// Ids the program's own code refers to; the rest live only in the table.
enum CommandId : int32_t {
  kCmdNewAlbum = 57600,
  kCmdOpenAlbum = 57601,
  kCmdCloseAlbum = 57602,
  kCmdSave = 57603,
  kCmdPrintSetup = 57606,
  kCmdPrint = 57607,
  kCmdPrintPreview = 57609,
  kCmdRecentFirst = 57616,  // "Recent Photo Albums": one id per entry from here
  kCmdRecentLast = 57631,
  kCmdCopy = 57634,
  kCmdCut = 57635,
  kCmdPaste = 57637,
  kCmdSelectAll = 57642,
  kCmdUndo = 57643,
  kCmdRedo = 57644,
  kCmdAbout = 57664,
  kCmdExit = 57665,
  kCmdStatusBar = 59393,
  kCmdRemoveFromAlbum = 32773,
  kCmdEditPhotoDescription = 32774,
  kCmdCreateWebPages = 32782,
  kCmdEditAlbumDescription = 32785,
  kCmdSendEmail = 32804,
  kCmdCloseAll = 32809,
  kCmdSaveAll = 32810,
  kCmdScanSelectSource = 32811,
  kCmdScan = 32812,
  kCmdReleaseNotes = 32814,
  kCmdNextPhoto = 32816,
  kCmdPreviousPhoto = 32817,
  kCmdTipOfTheDay = 32819,
  kCmdHomePage = 32824,
  kCmdOpenArchive = 32825,
  kCmdQuickStart = 32829,
  kCmdAlbumDescription = 32831,
  kCmdSaveArchiveToLibrary = 32835,
  kCmdCreateArchive = 32836,
  kCmdShowLarger = 32840,
  kCmdPreferences = 32842,
  kCmdPreviousPage = 32844,
  kCmdNextPage = 32845,
  kCmdCrop = 32848,
  kCmdMyAlbums = 32849,  // also "Fit in Window" in the photo window
  kCmdHelpContents = 32854,
  kCmdZoom100 = 32856,
  kCmdZoom25 = 32857,
  kCmdZoom50 = 32858,
  kCmdZoom75 = 32859,
  kCmdZoom150 = 32860,
  kCmdZoom200 = 32861,
  kCmdZoom300 = 32862,
  kCmdCaptureWindow = 32864,
  kCmdCaptureScreen = 32865,
  kCmdClearSelection = 32872,
  // Run by "command:" links only: they sit in no menu.
  kCmdShowSearch = 32950,
  kCmdShowFileBrowser = 32951,
};

inline constexpr int kRecentAlbumCount = 8;  // entries shown, of the 16 ids reserved

// Where a command sits: a menu of the menu bar ("&File"), a submenu below it ("&Photo/S&canner"),
// or the photo window's context menu ("Viewer", "Viewer/&Zoom").
inline constexpr std::string_view kViewerMenu = "Viewer";
// Commands of the frame that links run but no menu shows (the docked panes).
inline constexpr std::string_view kLinkOnlyMenu = "Links";

struct Command {
  int32_t id;             // 0 marks a separator
  std::string_view menu;  // "&File", "&Photo/&Filters", ...
  std::string_view text;  // "&Save Changes\tCtrl+S"
  std::string_view name;  // for "command:" links; empty when no link may run it
  bool on_tool_bar;       // shown on the main tool bar
};

// Every entry, menus in menu-bar order and entries in menu order. The photo edits of the
// "&Filters", "&Rotate" and "Re&size" submenus come from the edit command table.
std::span<const Command> Commands();

// The menus of the menu bar, in order ("&File" ... "&Help").
std::span<const std::string_view> TopMenus();

// The entry of `id` in `menu` ("" takes the first entry with that id anywhere; 32849 is in
// both "&Options" and the photo window's menu). Null when there is none.
const Command* FindCommand(int32_t id, std::string_view menu = {});

// The entry a "command:<name>" link runs, or null: names are matched exactly.
const Command* FindNamedCommand(std::string_view name);

// "&Save Changes\tCtrl+S" -> "&Save Changes" and "Ctrl+S"; "" when there is no shortcut.
std::string_view CommandLabel(std::string_view text);
std::string_view CommandShortcut(std::string_view text);

// The label of a recent album entry: "&1 <path>" for the first nine, as menus number them.
std::string RecentAlbumText(int index, std::string_view path);

}  // namespace quorvane::app
