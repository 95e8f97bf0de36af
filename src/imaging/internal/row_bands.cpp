#include "imaging/internal/row_bands.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include "imaging/edit_selection.h"

namespace quorvane::imaging::internal {
namespace {

constexpr int kBandRows = 16;
constexpr int kMinRowsToShare = 4 * kBandRows;

}  // namespace

bool ForEachRowBand(int height, FilterRun& run, const std::function<void(int, int)>& work) {
  std::atomic<int> next{0};
  std::atomic<int> rows_done{0};
  auto worker = [&] {
    while (!run.cancel.load(std::memory_order_relaxed)) {
      const int first = next.fetch_add(kBandRows);
      if (first >= height) return;
      const int end = std::min(first + kBandRows, height);
      work(first, end);
      const int done = rows_done.fetch_add(end - first) + (end - first);
      run.progress.store(static_cast<int>(int64_t{done} * 100 / height), std::memory_order_relaxed);
    }
  };
  if (height >= kMinRowsToShare && std::thread::hardware_concurrency() > 1) {
    std::thread helper(worker);
    worker();
    helper.join();
  } else {
    worker();
  }
  return rows_done.load() == height;
}

bool SelectedSpan(const SelectionMask* selection, int y, int width, int* begin, int* end) {
  if (selection == nullptr) {
    *begin = 0;
    *end = width;
    return width > 0;
  }
  return selection->RowSpan(y, begin, end);
}

}  // namespace quorvane::imaging::internal
