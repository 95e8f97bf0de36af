// Reads arbitrary bytes as the thumbnail cache's "_index.xml", then writes the entries and
// reads them back: every entry that can be represented must come back unchanged, and no entry
// may name a file outside the cache folder.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "thumbnails/thumbnail_cache.h"
#include "xml/entities.h"

using quorvane::thumbnails::ThumbnailCache;
using quorvane::thumbnails::ThumbnailCacheEntry;

namespace {

// The XML reader ends input at a 0xFF byte and splits tags past 4,095 bytes; the cache leaves
// such entries out of the file, and every other entry must come back.
bool Representable(const ThumbnailCacheEntry& e) {
  auto clean = [](const std::string& s) { return s.find('\xff') == std::string::npos; };
  return clean(e.filename) && clean(e.original_path) &&
         quorvane::xml::EncodeEntities(e.filename).size() +
                 quorvane::xml::EncodeEntities(e.original_path).size() <=
             3800;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ThumbnailCache cache;
  cache.LoadIndexText(std::string_view(reinterpret_cast<const char*>(data), size));
  std::map<std::string, ThumbnailCacheEntry> first;
  for (const ThumbnailCacheEntry& entry : cache.Entries()) {
    const std::string& name = entry.filename;
    if (name.empty() || name == "." || name == ".." || name == "_index.xml" ||
        name.find_first_of(std::string_view("/\\:\0", 4)) != std::string::npos) {
      std::abort();
    }
    if (!first.emplace(entry.original_path, entry).second) std::abort();  // keys are unique
  }
  if (first.size() != cache.size()) std::abort();

  ThumbnailCache again;
  again.LoadIndexText(cache.IndexText());
  for (const ThumbnailCacheEntry& entry : again.Entries()) {
    auto it = first.find(entry.original_path);
    if (it == first.end() || !(it->second == entry)) std::abort();
  }
  size_t representable = 0;
  for (const auto& [path, entry] : first) representable += Representable(entry) ? 1 : 0;
  if (again.size() != representable) std::abort();
  return 0;
}
