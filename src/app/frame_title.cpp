#include "app/frame_title.h"

namespace quorvane::app {

std::string FrameTitle(const TitleState& state) {
  std::string title = "Quorvane";
  if (!state.has_album) return title;
  title += " - ";
  title += state.album_title;
  // Unsaved changes matter more than the reason they cannot be saved in place.
  if (state.modified) {
    title += " *";
  } else if (state.read_only) {
    title += " [Read Only]";
  }
  return title;
}

}  // namespace quorvane::app
