// What the desktop program's in-process benches share: waiting on the event loop for a
// condition, whether the cells in sight all show their pictures, and the median of timings.
#pragma once

#include <algorithm>
#include <vector>

#include <QAbstractItemView>
#include <QCoreApplication>
#include <QElapsedTimer>

namespace quorvane::bench {

// Runs the event loop until `done` or 120 s; false on the time limit.
template <typename Done>
bool Until(Done done) {
  QElapsedTimer limit;
  limit.start();
  while (!done()) {
    if (limit.elapsed() > 120000) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
  }
  return true;
}

// True when every cell in sight of `view` (wherever it is scrolled to) has its picture, as
// `has_picture(row)` says; *shown gets how many cells are in sight.
template <typename HasPicture>
bool CellsInSightReady(const QAbstractItemView* view, HasPicture has_picture, int* shown) {
  const QAbstractItemModel* model = view->model();
  const QRect area = view->viewport()->rect();
  int in_sight = 0;
  // The cells in sight are a run of rows.
  for (int row = 0; row < model->rowCount(); ++row) {
    if (!view->visualRect(model->index(row, 0)).intersects(area)) {
      if (in_sight > 0) break;
      continue;
    }
    if (!has_picture(row)) return false;
    ++in_sight;
  }
  *shown = in_sight;
  return in_sight > 0;
}

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

}  // namespace quorvane::bench
