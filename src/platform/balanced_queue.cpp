#include "platform/balanced_queue.h"

#include <algorithm>

namespace quorvane::platform {

BalancedQueue::BalancedQueue(std::vector<std::pair<size_t, uint64_t>> jobs, int max_heavy)
    : max_heavy_(static_cast<size_t>(std::max(1, max_heavy))) {
  // Equal weights keep their given order, so a list of equals is handed out as it came.
  std::stable_sort(jobs.begin(), jobs.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  jobs_.assign(jobs.begin(), jobs.end());
}

std::optional<size_t> BalancedQueue::Take() {
  std::lock_guard lock(mutex_);
  if (jobs_.empty()) return std::nullopt;
  size_t job;
  if (heavy_running_.size() < max_heavy_) {
    job = jobs_.front().first;
    jobs_.pop_front();
    heavy_running_.push_back(job);
  } else {
    job = jobs_.back().first;
    jobs_.pop_back();
  }
  return job;
}

void BalancedQueue::Finished(size_t job) {
  std::lock_guard lock(mutex_);
  std::erase(heavy_running_, job);
}

}  // namespace quorvane::platform
