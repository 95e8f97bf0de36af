// Window layout kept beside the settings: a window's placement, its rebar bands and its
// splitter under a name prefix ("frame.", "rebar.", "splitter.", "splitter_filebrowser."),
// the positions of two dialogs, and the recent-document list. Plain data: the desktop
// program's frame fills it from its windows and applies it back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "settings/settings_backend.h"

namespace quorvane::settings {

inline constexpr std::string_view kLayoutFramePrefix = "frame.";
inline constexpr std::string_view kLayoutRebarPrefix = "rebar.";
inline constexpr std::string_view kLayoutSplitterPrefix = "splitter.";
inline constexpr std::string_view kLayoutFileBrowserSplitterPrefix = "splitter_filebrowser.";

struct LayoutPoint {
  int32_t x = 0;
  int32_t y = 0;
  bool operator==(const LayoutPoint&) const = default;
};

struct LayoutRect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
  bool operator==(const LayoutRect&) const = default;
};

// As a window placement holds it: values stored under "flags", "showCmd",
// "ptMinPosition.x" ... "rcNormalPosition.bottom".
struct WindowPlacement {
  int32_t flags = 0;
  int32_t show_cmd = 0;
  LayoutPoint min_position;
  LayoutPoint max_position;
  LayoutRect normal_position;
  bool operator==(const WindowPlacement&) const = default;
};

// One band, stored as "<prefix><i>_ID", "..._CX" and "..._BreakLine", i from 0.
struct RebarBand {
  int32_t id = 0;
  int32_t cx = 0;
  bool break_line = false;
  bool operator==(const RebarBand&) const = default;
};

// What one prefix holds. A part is present when it was stored (load) or is to be stored
// (save); absent parts are left alone.
struct WindowLayout {
  std::optional<WindowPlacement> placement;
  std::optional<std::vector<RebarBand>> bands;  // "BandCount" and the bands, in stored order
  std::optional<int32_t> splitter_pos;          // "SplitterPos"
  bool operator==(const WindowLayout&) const = default;
};

// "dlg.caption.x/y" and "dlg.caption2.x/y".
struct DialogPositions {
  std::optional<LayoutPoint> caption;
  std::optional<LayoutPoint> caption2;
  bool operator==(const DialogPositions&) const = default;
};

// The most bands or recent documents read back; a larger stored count is damage.
inline constexpr int32_t kMaxStoredItems = 1024;

// Reads the layout stored under `prefix`. The placement is present only when all ten of its
// values are stored as numbers, so a damaged one never moves a window off screen; a band
// whose "ID" is missing is skipped. An unreadable store reads as nothing stored.
WindowLayout LoadLayout(SettingsBackend& backend, std::string_view prefix);
// Writes the present parts under `prefix`. False with backend.LastError().
[[nodiscard]] bool SaveLayout(SettingsBackend& backend, std::string_view prefix,
                              const WindowLayout& layout);

DialogPositions LoadDialogPositions(SettingsBackend& backend);
[[nodiscard]] bool SaveDialogPositions(SettingsBackend& backend, const DialogPositions& positions);

// The "Recent Document List" section: "DocumentCount", then "Document0", "Document1", ...
// Entries that are missing or not texts are skipped.
std::vector<std::string> LoadRecentDocuments(SettingsBackend& backend);
[[nodiscard]] bool SaveRecentDocuments(SettingsBackend& backend,
                                       const std::vector<std::string>& documents);

}  // namespace quorvane::settings
