#include "platform/progress.h"

namespace quorvane::platform {

ProgressSink& NoProgress() {
  static ProgressSink none;
  return none;
}

void NestedProgress::SetPosition(int64_t position, int64_t maximum) {
  const int64_t inner = maximum > 0 ? span_ * position / maximum : 0;
  outer_.SetPosition(base_ + inner, outer_maximum_);
}

}  // namespace quorvane::platform
