// The album's undo history: a stack of reference-counted records (moving, adding, removing
// photos, image operations), each able to undo and redo itself on the album. Pushing discards
// the redo branch; there is no size limit. Also the Undo/Redo menu texts both histories use.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/ref_counted.h"

namespace quorvane::album {

using platform::MakeRef;
using platform::RefCounted;
using platform::RefPtr;

class Album;

// One done step. Undo and Redo return false when the album could not be brought back (the
// album's last error says why); the history moves on regardless, as the menus do.
class HistoryRecord : public RefCounted {
 public:
  virtual bool Undo(Album& album) = 0;
  virtual bool Redo(Album& album) = 0;
  virtual std::string Label() const = 0;
  virtual bool HasChanges() const = 0;
};

// The text and state of the Undo or Redo menu entry.
struct HistoryMenuItem {
  std::string text;
  bool enabled = false;
  friend bool operator==(const HistoryMenuItem&, const HistoryMenuItem&) = default;
};
// "&Undo %s\tCtrl+Z" (enabled) for a label, "&Undo\tCtrl+Z" (disabled) without one.
HistoryMenuItem UndoMenuItem(const std::optional<std::string>& label);
// "&Redo %s\tCtrl+Shift+Z" / "&Redo\tCtrl+Shift+Z" likewise.
HistoryMenuItem RedoMenuItem(const std::optional<std::string>& label);

// Thread-compatible: used from the window thread; records may be filled on a worker before
// they are pushed.
class AlbumHistory {
 public:
  // Called after every push, undo and redo (views and menus refresh).
  void set_on_changed(std::function<void()> on_changed) { on_changed_ = std::move(on_changed); }

  void Push(RefPtr<HistoryRecord> record);
  // False when there is nothing to undo / redo.
  bool Undo(Album& album);
  bool Redo(Album& album);

  std::optional<std::string> UndoLabel() const;
  std::optional<std::string> RedoLabel() const;
  HistoryMenuItem UndoMenu() const { return UndoMenuItem(UndoLabel()); }
  HistoryMenuItem RedoMenu() const { return RedoMenuItem(RedoLabel()); }

  int32_t count() const { return static_cast<int32_t>(entries_.size()); }
  int32_t index() const { return index_; }  // the last done record, -1 when none

 private:
  void Changed() const {
    if (on_changed_) on_changed_();
  }

  std::vector<RefPtr<HistoryRecord>> entries_;
  int32_t index_ = -1;
  std::function<void()> on_changed_;
};

}  // namespace quorvane::album
