// A progress sink for tests: records every text and the last position a job reported, and
// cancels when told to, or when a text matching a trigger arrives (to cancel a job in the middle
// of a chosen step).
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/progress.h"

namespace quorvane::testing {

class RecordingProgress : public platform::ProgressSink {
 public:
  RecordingProgress() = default;
  // Cancels as soon as a text containing `trigger` is reported.
  explicit RecordingProgress(std::string trigger) : trigger_(std::move(trigger)) {}

  void SetTitle(std::string_view title) override {
    std::lock_guard lock(mutex_);
    titles_.emplace_back(title);
  }
  void SetText(std::string_view text) override {
    std::lock_guard lock(mutex_);
    texts_.emplace_back(text);
    if (!trigger_.empty() && text.find(trigger_) != std::string_view::npos) Cancel();
  }
  void SetPosition(int64_t position, int64_t maximum) override {
    std::lock_guard lock(mutex_);
    position_ = {position, maximum};
  }
  bool Cancelled() const override { return cancelled_.load(); }

  void Cancel() { cancelled_.store(true); }
  std::vector<std::string> titles() const {
    std::lock_guard lock(mutex_);
    return titles_;
  }
  std::vector<std::string> texts() const {
    std::lock_guard lock(mutex_);
    return texts_;
  }
  std::pair<int64_t, int64_t> position() const {
    std::lock_guard lock(mutex_);
    return position_;
  }

 private:
  mutable std::mutex mutex_;
  std::string trigger_;
  std::vector<std::string> titles_;
  std::vector<std::string> texts_;
  std::pair<int64_t, int64_t> position_{0, 0};
  std::atomic<bool> cancelled_{false};
};

}  // namespace quorvane::testing
