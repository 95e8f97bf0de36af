// The photo window's own undo history. Each entry holds the other version of what a step
// changed (the whole image with its changed state, or the photo's text fields); undo and redo
// both exchange it with the window's current one. There is no size limit, but only the two
// entries next to the current position keep their image in memory: older ones are written to
// a temporary folder as raw rows and read back exactly when they are needed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "album/album_history.h"
#include "image/image.h"
#include "platform/ref_counted.h"

namespace quorvane::imaging {

// The photo's text fields as the photo window's header shows them.
struct PhotoText {
  std::string caption;
  std::string description;
  std::string keywords;
  double date = -657435.0;  // no date
  friend bool operator==(const PhotoText&, const PhotoText&) = default;
};

// What the photo window shows and the history exchanges with.
struct ViewerState {
  image::Image image;
  int32_t image_changed = 0;
  bool drawing_in_progress = false;
  PhotoText text;
};

class ViewerHistoryEntry : public platform::RefCounted {
 public:
  const std::string& label() const { return label_; }
  bool has_image() const { return has_image_; }
  bool image_in_memory() const { return image_.IsValid(); }

 private:
  friend class ViewerHistory;

  std::string label_;
  bool has_image_ = false;
  image::Image image_;  // valid while in memory
  int32_t image_changed_ = 0;
  PhotoText text_;
  // While spilled: the file holding the rows, and a 1 x 1 copy that carries the image's
  // format, depth and metadata.
  std::filesystem::path spill_file_;
  image::Image carrier_;
  int width_ = 0;
  int height_ = 0;
};

// Thread-compatible: one thread at a time (the photo window's run pushes from its worker while
// the window waits). `guard` is the photo window's lock over `state`; the history takes it only
// around the exchange itself.
class ViewerHistory {
 public:
  // Spilled images go into a fresh folder under `spill_root` (the system's temporary folder
  // when empty), removed with the history.
  explicit ViewerHistory(std::filesystem::path spill_root = {});
  ~ViewerHistory();
  ViewerHistory(const ViewerHistory&) = delete;
  ViewerHistory& operator=(const ViewerHistory&) = delete;

  // Records a done step whose earlier version is `state`'s current image (or text). Discards
  // the redo branch and sets the document-changed flag.
  void PushImage(std::string label, ViewerState& state, std::mutex& guard);
  void PushText(std::string label, const PhotoText& before);

  // False when there is nothing to undo / redo, or when a spilled image could not be read
  // back (then nothing has changed and last_error() says why).
  bool Undo(ViewerState& state, std::mutex& guard);
  bool Redo(ViewerState& state, std::mutex& guard);

  std::optional<std::string> UndoLabel() const;
  std::optional<std::string> RedoLabel() const;
  album::HistoryMenuItem UndoMenu() const { return album::UndoMenuItem(UndoLabel()); }
  album::HistoryMenuItem RedoMenu() const { return album::RedoMenuItem(RedoLabel()); }

  int32_t count() const { return static_cast<int32_t>(entries_.size()); }
  int32_t index() const { return index_; }
  const ViewerHistoryEntry& entry(int32_t i) const { return *entries_[i]; }
  bool document_changed() const { return document_changed_; }
  void set_document_changed(bool changed) { document_changed_ = changed; }
  const std::string& last_error() const { return last_error_; }

 private:
  void Push(platform::RefPtr<ViewerHistoryEntry> entry);
  bool Exchange(ViewerHistoryEntry& entry, ViewerState& state, std::mutex& guard);
  // Spills every in-memory image except those of the entries next to the current position.
  void Settle();
  bool Spill(ViewerHistoryEntry& entry);
  bool Restore(ViewerHistoryEntry& entry);
  std::filesystem::path SpillFolder();

  std::vector<platform::RefPtr<ViewerHistoryEntry>> entries_;
  int32_t index_ = -1;
  bool document_changed_ = false;
  std::filesystem::path spill_root_;
  std::filesystem::path spill_folder_;
  uint64_t next_file_ = 0;
  std::string last_error_;
};

}  // namespace quorvane::imaging
