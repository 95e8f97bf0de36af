// Splits a filter's rows between two threads in small bands, so both cores share the work,
// progress moves smoothly and a cancel is seen within a few rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "imaging/image_filter.h"

namespace quorvane::imaging::internal {

// Calls work(first_row, end_row) for bands covering [0, height), from this thread and one
// helper thread (small images stay on this thread). Bands never overlap; `work` must only
// write rows of its own band. run.progress follows the rows done. Returns false when
// run.cancel stopped it (some bands may not have run).
bool ForEachRowBand(int height, FilterRun& run, const std::function<void(int, int)>& work);

// Hints that a large block of fresh pixels, about to be written whole, is best backed by
// large pages: then filling it costs a few dozen page faults instead of one per 4 KB, which
// for a new 24-megapixel image is most of the cost of writing it. Only a hint: it changes
// no byte, and where the system has no such pages it does nothing.
void AdviseFreshPixels(uint8_t* pixels, size_t bytes);

// The covered columns of row y: the selection's span, or the whole row without one.
bool SelectedSpan(const SelectionMask* selection, int y, int width, int* begin, int* end);

}  // namespace quorvane::imaging::internal
