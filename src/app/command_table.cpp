#include "app/command_table.h"

#include <algorithm>
#include <vector>

#include "imaging/edit_commands.h"

namespace quorvane::app {
namespace {

constexpr std::string_view kTopMenus[] = {"&File", "&Edit",    "&Photo", "&Album",
                                          "&View", "&Options", "&Help"};

// The frame's own entries. The photo edits go in where kEditsHere stands.
constexpr int32_t kEditsHere = -1;
constexpr Command kFrameCommands[] = {
    {kCmdNewAlbum, "&File", "&New Photo Album\tCtrl+N", "new_album", true},
    {kCmdOpenAlbum, "&File", "&Open Photo Album...\tCtrl+O", "open_album", true},
    // The "Recent Photo Albums" submenu; its entries take the ids from kCmdRecentFirst on.
    {kCmdRecentFirst, "&File", "Recent P&hoto Albums", "", false},
    {0, "&File", "", "", false},
    {kCmdSave, "&File", "&Save Changes\tCtrl+S", "save", true},
    {kCmdSaveAll, "&File", "Sav&e Change to All Photo Albums", "save_all", false},
    {kCmdCloseAlbum, "&File", "&Close Photo Album\tCtrl+W", "close_album", false},
    {kCmdCloseAll, "&File", "C&lose All Photo Albums", "close_all", false},
    {0, "&File", "", "", false},
    {kCmdCreateArchive, "&File", "Create Quorvane &Archive from Album...", "create_archive", false},
    {kCmdOpenArchive, "&File", "Open Quorvane &Archive...", "open_archive", false},
    {kCmdSaveArchiveToLibrary, "&File", "Save Quorvane Archive to &My Albums", "save_archive",
     false},
    {0, "&File", "", "", false},
    {kCmdPrintPreview, "&File", "&Print with Preview\tCtrl+P", "print_preview", false},
    {kCmdPrint, "&File", "&Print...", "print", false},
    {kCmdPrintSetup, "&File", "P&rint Setup...", "print_setup", false},
    {0, "&File", "", "", false},
    {kCmdExit, "&File", "E&xit", "exit", false},

    {kCmdUndo, "&Edit", "&Undo\tCtrl+Z", "undo", true},
    {kCmdRedo, "&Edit", "&Redo\tCtrl+Shift+Z", "redo", true},
    {0, "&Edit", "", "", false},
    {kCmdRemoveFromAlbum, "&Edit", "Re&move from Album", "remove", true},
    {kCmdCut, "&Edit", "Cu&t\tCtrl+X", "cut", false},
    {kCmdCopy, "&Edit", "&Copy\tCtrl+C", "copy", false},
    {kCmdPaste, "&Edit", "&Paste\tCtrl+V", "paste", false},
    {0, "&Edit", "", "", false},
    {kCmdSelectAll, "&Edit", "Select &All\tCtrl+A", "select_all", false},
    {kCmdClearSelection, "&Edit", "Cl&ear Selection", "clear_selection", false},

    {kEditsHere, "&Photo", "", "", false},
    {kCmdShowLarger, "&Photo", "Show in &Larger Window", "show_photo", false},
    {kCmdRemoveFromAlbum, "&Photo", "Re&move from Album", "", false},
    {0, "&Photo", "", "", false},
    {kCmdScan, "&Photo/S&canner", "&Scan...", "scan", false},
    {kCmdScanSelectSource, "&Photo/S&canner", "S&elect Source...", "scan_source", false},
    {kCmdCaptureWindow, "&Photo/Scr&eenshots", "Capture &Window...", "capture_window", false},
    {kCmdCaptureScreen, "&Photo/Scr&eenshots", "Capture &Screen...", "capture_screen", false},
    {0, "&Photo", "", "", false},
    {kCmdEditPhotoDescription, "&Photo", "Edit &Description...", "photo_description", false},

    {kCmdSendEmail, "&Album", "Send in &Email...", "send_email", false},
    {kCmdCreateWebPages, "&Album", "Create &Web Pages...", "web_pages", false},
    {0, "&Album", "", "", false},
    {kCmdEditAlbumDescription, "&Album", "Edit &Description...", "album_description", false},

    {kCmdAlbumDescription, "&View", "Album &Description", "show_album_description", false},
    {kCmdPreviousPage, "&View", "&Previous Page", "previous_page", false},
    {kCmdNextPage, "&View", "&Next Page", "next_page", false},
    {kCmdHomePage, "&View", "&Home Page\tCtrl+H", "home", true},
    {0, "&View", "", "", false},
    {kCmdStatusBar, "&View", "&Status Bar", "", false},

    {kCmdPreferences, "&Options", "&Preferences", "preferences", false},
    {kCmdMyAlbums, "&Options", "My Quorvane &Albums", "my_albums", false},

    {kCmdHelpContents, "&Help", "&Contents\tF1", "help", false},
    {kCmdTipOfTheDay, "&Help", "&Tip of the Day...", "tip", false},
    {kCmdReleaseNotes, "&Help", "Release &Notes...", "release_notes", false},
    {kCmdQuickStart, "&Help", "&Quick Start Wizard...", "quick_start", false},
    {0, "&Help", "", "", false},
    {kCmdAbout, "&Help", "&About Quorvane...", "about", false},

    {kCmdNextPhoto, kViewerMenu, "Go to &Next Photo", "", false},
    {kCmdPreviousPhoto, kViewerMenu, "Go to &Previous Photo", "", false},
    {0, kViewerMenu, "", "", false},
    {kCmdMyAlbums, "Viewer/&Zoom", "Fi&t in Window", "", false},
    {kCmdZoom25, "Viewer/&Zoom", "25%", "", false},
    {kCmdZoom50, "Viewer/&Zoom", "50%", "", false},
    {kCmdZoom75, "Viewer/&Zoom", "75%", "", false},
    {kCmdZoom100, "Viewer/&Zoom", "Full Size (100%)", "", false},
    {kCmdZoom150, "Viewer/&Zoom", "150%", "", false},
    {kCmdZoom200, "Viewer/&Zoom", "200%", "", false},
    {kCmdZoom300, "Viewer/&Zoom", "300%", "", false},
    {kCmdCrop, kViewerMenu, "&Crop", "", false},

    {kCmdShowSearch, kLinkOnlyMenu, "Search Albums", "search", false},
    {kCmdShowFileBrowser, kLinkOnlyMenu, "Browse Folders", "file_browser", false},
};

// The photo edits the album offers, each in its submenu.
std::string_view EditSubmenu(const imaging::EditCommand& edit) {
  if (edit.name.starts_with("rotate") || edit.name.starts_with("flip")) return "&Photo/&Rotate";
  if (edit.name.starts_with("resize")) return "&Photo/Re&size";
  return "&Photo/&Filters";
}

std::vector<Command> BuildTable() {
  std::vector<Command> table;
  for (const Command& command : kFrameCommands) {
    if (command.id != kEditsHere) {
      table.push_back(command);
      continue;
    }
    for (const imaging::EditCommand& edit : imaging::kEditCommands) {
      if (!edit.album_level || edit.menu_text.empty()) continue;
      table.push_back({edit.id, EditSubmenu(edit), edit.menu_text, edit.name, false});
    }
  }
  return table;
}

}  // namespace

std::span<const Command> Commands() {
  static const std::vector<Command> table = BuildTable();
  return table;
}

std::span<const std::string_view> TopMenus() { return kTopMenus; }

const Command* FindCommand(int32_t id, std::string_view menu) {
  for (const Command& command : Commands()) {
    if (command.id == id && (menu.empty() || command.menu == menu)) return &command;
  }
  return nullptr;
}

const Command* FindNamedCommand(std::string_view name) {
  if (name.empty()) return nullptr;
  for (const Command& command : Commands()) {
    if (command.name == name) return &command;
  }
  return nullptr;
}

std::string_view CommandLabel(std::string_view text) { return text.substr(0, text.find('\t')); }

std::string_view CommandShortcut(std::string_view text) {
  const size_t tab = text.find('\t');
  return tab == std::string_view::npos ? std::string_view() : text.substr(tab + 1);
}

std::string RecentAlbumText(int index, std::string_view path) {
  std::string text;
  if (index < 9) {
    text = "&" + std::to_string(index + 1) + " ";
  } else {
    text = std::to_string(index + 1) + " ";
  }
  // A lone "&" in a path would become a mnemonic.
  for (char c : path) {
    if (c == '&') text += '&';
    text += c;
  }
  return text;
}

}  // namespace quorvane::app
