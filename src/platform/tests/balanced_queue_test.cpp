#include "platform/balanced_queue.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace quorvane::platform {
namespace {

// Job i weighs weights[i].
BalancedQueue Queue(const std::vector<uint64_t>& weights, int max_heavy) {
  std::vector<std::pair<size_t, uint64_t>> jobs;
  for (size_t i = 0; i < weights.size(); ++i) jobs.emplace_back(i, weights[i]);
  return BalancedQueue(std::move(jobs), max_heavy);
}

TEST(BalancedQueueTest, PairsTheHeaviestLeftWithTheLightestLeft) {
  BalancedQueue queue = Queue({5, 90, 10, 70, 1, 40}, 1);
  EXPECT_EQ(queue.Take(), 1u);  // 90: the first worker takes the heaviest
  EXPECT_EQ(queue.Take(), 4u);  // 1: a heavy one runs, so the lightest
  EXPECT_EQ(queue.Take(), 0u);  // 5: still
  queue.Finished(4);
  queue.Finished(0);
  EXPECT_EQ(queue.Take(), 2u);  // 10: the heavy one has not finished
  queue.Finished(1);
  EXPECT_EQ(queue.Take(), 3u);  // 70: now the heavy end again
  EXPECT_EQ(queue.Take(), 5u);  // 40
  EXPECT_EQ(queue.Take(), std::nullopt);
}

TEST(BalancedQueueTest, HandsOutEveryJobOnceWithSeveralHeavyLanes) {
  BalancedQueue queue = Queue({3, 3, 8, 1, 8, 2}, 2);
  std::vector<size_t> taken;
  while (auto job = queue.Take()) {
    taken.push_back(*job);
    if (taken.size() % 3 == 0) queue.Finished(taken[taken.size() - 3]);
  }
  std::sort(taken.begin(), taken.end());
  EXPECT_EQ(taken, (std::vector<size_t>{0, 1, 2, 3, 4, 5}));
}

}  // namespace
}  // namespace quorvane::platform
