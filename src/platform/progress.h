// ProgressSink: how every long job (adding photos, album edits, archives, thumbnails, search,
// web albums, mail) reports what it is doing and learns that the user wants it to stop. The
// command line prints it to stderr; the desktop program shows it in its progress window.
//
// Contract for jobs: report between units of work (per photo, per file written, per row band),
// poll Cancelled() at the same points, and when it says true stop at once, leave nothing
// half-written, and return kCancelled (result_code.h) rather than a failure.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace quorvane::platform {

// Thread-safe: a job may report from its worker threads; the implementation serialises what it
// shows. The defaults do nothing, so a sink overrides only what it shows.
class ProgressSink {
 public:
  virtual ~ProgressSink() = default;

  // The caption of the job as a whole ("Adding photos").
  virtual void SetTitle(std::string_view title) { (void)title; }
  // What is being done now ("Adding \"a.jpg\" (image 1 of 3) ...").
  virtual void SetText(std::string_view text) { (void)text; }
  // How far the job is: `position` of `maximum` units (0 <= position <= maximum; a maximum of
  // 0 means the length is not known).
  virtual void SetPosition(int64_t position, int64_t maximum) {
    (void)position;
    (void)maximum;
  }
  // True once the user asked the job to stop. Cheap: polled often.
  virtual bool Cancelled() const { return false; }
};

// A sink that shows nothing and never cancels: for callers with nobody watching.
ProgressSink& NoProgress();

// A sink that shows nothing and cancels when its flag is raised, from any thread: for a caller
// that only needs a stop button (a search pane, a test).
class CancelFlag : public ProgressSink {
 public:
  void Cancel() { cancelled_.store(true, std::memory_order_relaxed); }
  void Reset() { cancelled_.store(false, std::memory_order_relaxed); }
  bool Cancelled() const override { return cancelled_.load(std::memory_order_relaxed); }

 private:
  std::atomic<bool> cancelled_{false};
};

// Passes a part of a job on to the job's sink, with the part's positions mapped onto
// [base, base + span) of the outer scale: how a batch shows the steps of each photo. With
// Texts::kDrop the part's texts are not shown, so the batch's own text ("Adding ... (image 2 of
// 5) ...") stays in view.
class NestedProgress : public ProgressSink {
 public:
  enum class Texts { kPass, kDrop };
  NestedProgress(ProgressSink& outer, int64_t base, int64_t span, int64_t outer_maximum,
                 Texts texts = Texts::kPass)
      : outer_(outer), base_(base), span_(span), outer_maximum_(outer_maximum), texts_(texts) {}
  void SetTitle(std::string_view title) override {
    if (texts_ == Texts::kPass) outer_.SetTitle(title);
  }
  void SetText(std::string_view text) override {
    if (texts_ == Texts::kPass) outer_.SetText(text);
  }
  void SetPosition(int64_t position, int64_t maximum) override;
  bool Cancelled() const override { return outer_.Cancelled(); }

 private:
  ProgressSink& outer_;
  int64_t base_;
  int64_t span_;
  int64_t outer_maximum_;
  Texts texts_;
};

}  // namespace quorvane::platform
