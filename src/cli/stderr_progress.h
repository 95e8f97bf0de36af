// The command line's progress sink: a job's title and each new text on a line of its own on
// stderr (texts indented under a title), so a log of a batch reads like the progress window.
// Positions are not printed, and it never cancels: Ctrl-C ends the process, and every job's
// files are written atomically.
#pragma once

#include <mutex>
#include <string>

#include "platform/progress.h"

namespace quorvane::cli {

class StderrProgress : public platform::ProgressSink {
 public:
  void SetTitle(std::string_view title) override;
  void SetText(std::string_view text) override;

 private:
  std::mutex mutex_;
  bool titled_ = false;
  std::string last_text_;
};

}  // namespace quorvane::cli
