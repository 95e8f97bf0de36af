#include "imaging/viewer_history.h"

#include <atomic>
#include <fstream>
#include <memory>
#include <random>
#include <system_error>
#include <utility>

namespace quorvane::imaging {
namespace {

namespace fs = std::filesystem;

std::atomic<uint64_t> folder_counter{0};

// Distinct per process, so two running programs never share a folder.
uint64_t ProcessTag() {
  static const uint64_t tag = std::random_device{}() % 1'000'000'000;
  return tag;
}

}  // namespace

ViewerHistory::ViewerHistory(fs::path spill_root) : spill_root_(std::move(spill_root)) {}

ViewerHistory::~ViewerHistory() {
  entries_.clear();
  if (!spill_folder_.empty()) {
    std::error_code ignored;
    fs::remove_all(spill_folder_, ignored);
  }
}

void ViewerHistory::Push(platform::RefPtr<ViewerHistoryEntry> entry) {
  // Entries above the current one are the redo branch; they go, with their files.
  for (size_t i = static_cast<size_t>(index_ + 1); i < entries_.size(); ++i) {
    if (!entries_[i]->spill_file_.empty()) {
      std::error_code ignored;
      fs::remove(entries_[i]->spill_file_, ignored);
    }
  }
  entries_.resize(static_cast<size_t>(index_ + 1));
  entries_.push_back(std::move(entry));
  ++index_;
  document_changed_ = true;
  Settle();
}

void ViewerHistory::PushImage(std::string label, ViewerState& state, std::mutex& guard) {
  auto entry = platform::MakeRef<ViewerHistoryEntry>();
  entry->label_ = std::move(label);
  entry->has_image_ = true;
  {
    std::lock_guard lock(guard);
    entry->image_ = state.image;  // shares the pixels until the window installs its new image
    entry->image_changed_ = state.image_changed;
    state.drawing_in_progress = false;
  }
  Push(std::move(entry));
}

void ViewerHistory::PushText(std::string label, const PhotoText& before) {
  auto entry = platform::MakeRef<ViewerHistoryEntry>();
  entry->label_ = std::move(label);
  entry->text_ = before;
  Push(std::move(entry));
}

bool ViewerHistory::Exchange(ViewerHistoryEntry& entry, ViewerState& state, std::mutex& guard) {
  if (!entry.has_image_) {
    std::lock_guard lock(guard);
    std::swap(entry.text_, state.text);
    return true;
  }
  if (!entry.image_.IsValid() && !Restore(entry)) return false;
  std::lock_guard lock(guard);
  std::swap(entry.image_, state.image);
  std::swap(entry.image_changed_, state.image_changed);
  state.drawing_in_progress = false;
  return true;
}

bool ViewerHistory::Undo(ViewerState& state, std::mutex& guard) {
  if (index_ < 0) return false;
  if (!Exchange(*entries_[index_], state, guard)) return false;
  --index_;
  Settle();
  return true;
}

bool ViewerHistory::Redo(ViewerState& state, std::mutex& guard) {
  if (index_ + 1 >= count()) return false;
  if (!Exchange(*entries_[index_ + 1], state, guard)) return false;
  ++index_;
  Settle();
  return true;
}

std::optional<std::string> ViewerHistory::UndoLabel() const {
  if (index_ < 0) return std::nullopt;
  return entries_[index_]->label_;
}

std::optional<std::string> ViewerHistory::RedoLabel() const {
  if (index_ + 1 >= count()) return std::nullopt;
  return entries_[index_ + 1]->label_;
}

void ViewerHistory::Settle() {
  for (int32_t i = 0; i < count(); ++i) {
    if (i == index_ || i == index_ + 1) continue;
    ViewerHistoryEntry& entry = *entries_[i];
    // A failed spill keeps the image in memory: costly, but nothing is lost.
    if (entry.image_.IsValid()) Spill(entry);
  }
}

fs::path ViewerHistory::SpillFolder() {
  if (spill_folder_.empty()) {
    std::error_code ec;
    fs::path root = spill_root_.empty() ? fs::temp_directory_path(ec) : spill_root_;
    if (ec) return {};
    fs::path folder = root / ("quorvane-history-" + std::to_string(ProcessTag()) + "-" +
                              std::to_string(folder_counter.fetch_add(1)));
    if (!fs::create_directories(folder, ec) && ec) return {};
    spill_folder_ = std::move(folder);
  }
  return spill_folder_;
}

bool ViewerHistory::Spill(ViewerHistoryEntry& entry) {
  const image::Image& image = entry.image_;
  const fs::path folder = SpillFolder();
  if (folder.empty()) return false;
  const fs::path file = folder / (std::to_string(next_file_++) + ".rows");
  const size_t row_bytes = static_cast<size_t>(image.width()) * image.channels();
  {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    for (int y = 0; out && y < image.height(); ++y) {
      out.write(reinterpret_cast<const char*>(image.Row(y)),
                static_cast<std::streamsize>(row_bytes));
    }
    out.close();
    if (!out) {
      std::error_code ignored;
      fs::remove(file, ignored);
      return false;
    }
  }
  image::Image carrier = image;
  if (!carrier.Crop(0, 0, 1, 1)) {
    std::error_code ignored;
    fs::remove(file, ignored);
    return false;
  }
  entry.carrier_ = std::move(carrier);
  entry.width_ = image.width();
  entry.height_ = image.height();
  entry.spill_file_ = file;
  entry.image_ = image::Image();
  return true;
}

bool ViewerHistory::Restore(ViewerHistoryEntry& entry) {
  image::Image image = entry.carrier_;
  // Nearest-neighbour growth of the 1 x 1 carrier gives a full-size image with the original's
  // format, depth and metadata; every row is then overwritten from the file.
  if (!image.Resample(entry.width_, entry.height_, image::ResampleMode::kNearest)) {
    last_error_ = "Cannot restore an earlier version of the photo: " + image.last_error();
    return false;
  }
  const size_t row_bytes = static_cast<size_t>(image.width()) * image.channels();
  std::ifstream in(entry.spill_file_, std::ios::binary);
  for (int y = 0; in && y < image.height(); ++y) {
    in.read(reinterpret_cast<char*>(image.MutableRow(y)), static_cast<std::streamsize>(row_bytes));
  }
  if (!in) {
    last_error_ =
        "Cannot read an earlier version of the photo from \"" + entry.spill_file_.string() + "\"";
    return false;
  }
  in.close();
  std::error_code ignored;
  fs::remove(entry.spill_file_, ignored);
  entry.spill_file_.clear();
  entry.carrier_ = image::Image();
  entry.image_ = std::move(image);
  return true;
}

}  // namespace quorvane::imaging
