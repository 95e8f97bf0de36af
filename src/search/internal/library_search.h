// The library half of RunSearch: every album of the library folder read from its index file
// and matched on worker threads (both cores), with the results handed to the sink on the
// calling thread in album order, exactly as one thread would hand them over.
#pragma once

#include <atomic>

#include "search/photo_search.h"

namespace quorvane::search::internal {

SearchSummary SearchLibrary(const SearchRequest& request, const SearchScope& scope,
                            const std::atomic<bool>& stop, const ResultSink& sink);

}  // namespace quorvane::search::internal
