// The main frame's title: "Quorvane", then " - " and the current album's title, then " *"
// while it has unsaved changes or else " [Read Only]" when it cannot be saved. No Qt.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::app {

struct TitleState {
  bool has_album = false;
  std::string_view album_title;
  bool modified = false;
  bool read_only = false;
};

std::string FrameTitle(const TitleState& state);

}  // namespace quorvane::app
