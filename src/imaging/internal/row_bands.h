// Splits a filter's rows between two threads in small bands, so both cores share the work,
// progress moves smoothly and a cancel is seen within a few rows.
#pragma once

#include <functional>

#include "imaging/image_filter.h"

namespace quorvane::imaging::internal {

// Calls work(first_row, end_row) for bands covering [0, height), from this thread and one
// helper thread (small images stay on this thread). Bands never overlap; `work` must only
// write rows of its own band. run.progress follows the rows done. Returns false when
// run.cancel stopped it (some bands may not have run).
bool ForEachRowBand(int height, FilterRun& run, const std::function<void(int, int)>& work);

// The covered columns of row y: the selection's span, or the whole row without one.
bool SelectedSpan(const SelectionMask* selection, int y, int width, int* begin, int* end);

}  // namespace quorvane::imaging::internal
