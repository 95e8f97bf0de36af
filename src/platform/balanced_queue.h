// Hands a list of weighted jobs to a few workers so that heavy jobs run beside light ones rather
// than beside each other. Photo decoding shares one memory budget: two large photos at once
// would make one wait for the other while a core stands idle, a large and a small one fit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace quorvane::platform {

class BalancedQueue {
 public:
  // `jobs` are (job, weight) pairs in any order. At most `max_heavy` workers hold a job taken
  // from the heavy end at once; the others take the lightest job left.
  BalancedQueue(std::vector<std::pair<size_t, uint64_t>> jobs, int max_heavy);

  // The next job for a worker, or nothing when every job has been handed out. A worker calls
  // Finished for its job before it takes the next. Thread-safe.
  std::optional<size_t> Take();
  void Finished(size_t job);

 private:
  std::mutex mutex_;
  std::deque<std::pair<size_t, uint64_t>> jobs_;  // heaviest first
  std::vector<size_t> heavy_running_;             // jobs taken from the heavy end, not finished
  size_t max_heavy_;
};

}  // namespace quorvane::platform
