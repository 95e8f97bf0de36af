#include "album/album_history.h"

namespace quorvane::album {

HistoryMenuItem UndoMenuItem(const std::optional<std::string>& label) {
  if (!label) return {"&Undo\tCtrl+Z", false};
  return {"&Undo " + *label + "\tCtrl+Z", true};
}

HistoryMenuItem RedoMenuItem(const std::optional<std::string>& label) {
  if (!label) return {"&Redo\tCtrl+Shift+Z", false};
  return {"&Redo " + *label + "\tCtrl+Shift+Z", true};
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
