// What the desktop program's in-process benches share: waiting on the event loop for a
// condition, and the median of a set of timings.
#pragma once

#include <algorithm>
#include <vector>

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

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

}  // namespace quorvane::bench
