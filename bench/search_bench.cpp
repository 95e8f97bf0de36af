// The parts of a photo search, each beside what it replaces or costs over the simplest way:
// reading one album of 100 photos for search (own scanner) against opening it with the album
// index reader; matching with Unicode case folding against plain ASCII lower-casing on the
// same fields; and the byte filter that settles an album without reading its photos.
#include <algorithm>
#include <filesystem>
#include <fstream>

#include <benchmark/benchmark.h>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "search/case_folding.h"
#include "search/photo_search.h"
#include "search/search_index_reader.h"

namespace {

namespace fs = std::filesystem;
using namespace quorvane;

constexpr int kPhotos = 100;

// Made once and kept between runs, as the program writes it.
const fs::path& AlbumFolder() {
  static const fs::path folder = [] {
    fs::path f = fs::temp_directory_path() / "quorvane-search-bench";
    fs::create_directories(f);
    album::Album a(std::make_unique<album::FolderStore>(f));
    a.set_title("Summer & the lakes");
    for (int i = 0; i < kPhotos; ++i) {
      album::AlbumPhoto p;
      p.image_file = "IMG_" + std::to_string(1000 + i) + ".jpg";
      p.format = "JPEG";
      p.width = 4000;
      p.height = 3000;
      p.title = (i % 2 ? "Château de Chillon " : "Sunset over the lake ") + std::to_string(i);
      p.keywords = i % 3 ? "holiday, lake; family" : "été, Genève";
      p.description = "Taken from the pier while the sun went down & it got cold.";
      p.date = 45000 + i;
      a.photos().push_back(p);
      if (!fs::exists(f / p.image_file)) std::ofstream(f / p.image_file).put('x');
    }
    if (!album::AlbumIndex::SaveIndex(a)) std::abort();
    return f;
  }();
  return folder;
}

void BM_OpenAlbumWithIndexReader(benchmark::State& state) {
  for (auto _ : state) {
    album::Album a(std::make_unique<album::FolderStore>(AlbumFolder()));
    if (!album::AlbumIndex::LoadIndex(a)) state.SkipWithError("load failed");
    benchmark::DoNotOptimize(a.photos().data());
  }
}
BENCHMARK(BM_OpenAlbumWithIndexReader);

void BM_ReadAlbumForSearch(benchmark::State& state) {
  search::SearchIndexReader reader;
  const std::string folder = AlbumFolder().string();
  for (auto _ : state) {
    if (!reader.Read(folder) || reader.used_full_reader()) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(reader.photo_count());
  }
}
BENCHMARK(BM_ReadAlbumForSearch);

// The fields every photo search folds, without and with Unicode.
std::vector<std::string> Fields() {
  album::Album a(std::make_unique<album::FolderStore>(AlbumFolder()));
  if (!album::AlbumIndex::LoadIndex(a)) std::abort();
  std::vector<std::string> fields;
  for (const album::AlbumPhoto& p : a.photos()) {
    fields.insert(fields.end(), {p.title, p.description, p.keywords});
  }
  return fields;
}

void BM_HoldsAsciiLowerCase(benchmark::State& state) {
  const std::vector<std::string> fields = Fields();
  std::string scratch;
  size_t found = 0, bytes = 0;
  for (auto _ : state) {
    for (const std::string& field : fields) {
      scratch.assign(field);
      for (char& c : scratch) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
      found += scratch.find("lake") != std::string::npos;
      bytes += field.size();
    }
  }
  benchmark::DoNotOptimize(found);
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_HoldsAsciiLowerCase);

void BM_HoldsUnicodeFolded(benchmark::State& state) {
  const std::vector<std::string> fields = Fields();
  const std::string text = search::Folded("LAKE");
  std::string scratch;
  size_t found = 0, bytes = 0;
  for (auto _ : state) {
    for (const std::string& field : fields) {
      scratch.clear();
      search::AppendFolded(field, &scratch);
      found += scratch.find(text) != std::string::npos;
      bytes += field.size();
    }
  }
  benchmark::DoNotOptimize(found);
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_HoldsUnicodeFolded);

void BM_SettleAlbumFromBytes(benchmark::State& state) {
  std::ifstream in(AlbumFolder() / "index.quorvane", std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  search::PhotoMatcher matcher(search::SearchRequest{"Zürich", true, true, true});
  for (auto _ : state) {
    if (matcher.MayMatchIn(bytes)) state.SkipWithError("should be ruled out");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_SettleAlbumFromBytes);

}  // namespace

BENCHMARK_MAIN();
