// The library half of RunSearch: every album of the library folder read from its index file
// and matched on worker threads (both cores), with the results handed to the sink on the
// calling thread in album order, exactly as one thread would hand them over.
#pragma once

#include "search/photo_search.h"

namespace quorvane::search::internal {

SearchSummary SearchLibrary(const SearchRequest& request, const SearchScope& scope,
                            platform::ProgressSink& progress, const ResultSink& sink);

}  // namespace quorvane::search::internal
