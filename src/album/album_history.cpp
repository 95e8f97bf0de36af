#include "album/album_history.h"

#include <cstdio>

namespace quorvane::album {

HistoryMenuItem UndoMenuItem(const std::optional<std::string>& label) {
  if (!label) return {"&Undo\tCtrl+Z", false};
  return {"&Undo " + *label + "\tCtrl+Z", true};
}

HistoryMenuItem RedoMenuItem(const std::optional<std::string>& label) {
  if (!label) return {"&Redo\tCtrl+Shift+Z", false};
  return {"&Redo " + *label + "\tCtrl+Shift+Z", true};
}

std::string ErrorCodeText(uint32_t code) {
  // The messages the system has for the low words of the codes our operations return.
  switch (code & 0xFFFF) {
    case 0x4001:
      return "Not implemented";
    case 0x4005:
      return "Unspecified error";
    case 0x04C7:
      return "The operation was canceled by the user.";
    default:
      break;
  }
  char text[32];
  std::snprintf(text, sizeof text, "Error 0x%08lx", static_cast<unsigned long>(code));
  return text;
}

void AlbumHistory::Push(RefPtr<HistoryRecord> record) {
  entries_.resize(static_cast<size_t>(index_ + 1));  // the redo branch goes
  entries_.push_back(std::move(record));
  ++index_;
  Changed();
}

bool AlbumHistory::Undo(Album& album) {
  if (index_ < 0) return false;
  entries_[index_]->Undo(album);
  --index_;
  Changed();
  return true;
}

bool AlbumHistory::Redo(Album& album) {
  if (index_ + 1 >= count()) return false;
  entries_[index_ + 1]->Redo(album);
  ++index_;
  Changed();
  return true;
}

std::optional<std::string> AlbumHistory::UndoLabel() const {
  if (index_ < 0) return std::nullopt;
  return entries_[index_]->Label();
}

std::optional<std::string> AlbumHistory::RedoLabel() const {
  if (index_ + 1 >= count()) return std::nullopt;
  return entries_[index_ + 1]->Label();
}

}  // namespace quorvane::album
