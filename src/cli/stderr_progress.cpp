#include "cli/stderr_progress.h"

#include <iostream>

namespace quorvane::cli {

void StderrProgress::SetTitle(std::string_view title) {
  std::lock_guard lock(mutex_);
  std::cerr << title << '\n';
  titled_ = true;
  last_text_.clear();
}

void StderrProgress::SetText(std::string_view text) {
  std::lock_guard lock(mutex_);
  if (text == last_text_) return;  // a job may report the same step again with a new position
  last_text_ = text;
  std::cerr << (titled_ ? "  " : "") << text << '\n';
}

}  // namespace quorvane::cli
