// Parse and write throughput of the XML layer on a 50,000-photo album index, beside pugixml
// on the same bytes in the same process, and load and save time of that album from disk.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "xml/xml_document.h"

namespace {

namespace fs = std::filesystem;
using namespace quorvane;

constexpr int kPhotos = 50000;

const fs::path& AlbumFolder() {
  static const fs::path folder = [] {
    // Made once and kept between runs: creating 50,000 files costs far more than what is
    // measured here.
    fs::path f = fs::temp_directory_path() / "quorvane-xml-bench";
    fs::create_directories(f);
    album::Album a(std::make_unique<album::FolderStore>(f));
    a.set_title("Fifty thousand photos & more");
    a.set_description("Every photo of the family archive, scanned and sorted.");
    platform::OleDate date = 40000;
    for (int i = 0; i < kPhotos; ++i) {
      album::AlbumPhoto p;
      char name[32];
      std::snprintf(name, sizeof name, "IMG_%05d.jpg", i);
      p.image_file = name;
      p.format = "JPEG";
      p.width = 4000 + i % 17;
      p.height = 3000 - i % 13;
      p.title = "Photo number " + std::to_string(i) + " at the \"lake\"";
      p.keywords = i % 3 ? "holiday, lake, family" : "work; city";
      p.description = "Taken from the pier <north side> while the sun went down & it got cold.";
      p.date = date + i / 100;
      a.photos().push_back(p);
      if (!fs::exists(f / name)) std::ofstream(f / name).put('x');
    }
    a.user_variables().Set("Photographer", "Ann Lee");
    if (!album::AlbumIndex::SaveIndex(a)) std::abort();
    return f;
  }();
  return folder;
}

const std::string& IndexBytes() {
  static const std::string bytes = [] {
    std::ifstream in(AlbumFolder() / "index.quorvane", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }();
  return bytes;
}

void BM_Parse_Quorvane(benchmark::State& state) {
  const std::string& bytes = IndexBytes();
  for (auto _ : state) {
    xml::XmlDocument document;
    document.set_parse_flags(xml::kParseKeepCarriageReturns);
    xml::ByteBuffer in(bytes);
    document.Parse(in);
    benchmark::DoNotOptimize(document.ChildCount());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

void BM_Parse_Pugixml(benchmark::State& state) {
  const std::string& bytes = IndexBytes();
  for (auto _ : state) {
    pugi::xml_document document;
    auto result = document.load_buffer(bytes.data(), bytes.size(), pugi::parse_default);
    benchmark::DoNotOptimize(result.status);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

void BM_Write_Quorvane(benchmark::State& state) {
  xml::XmlDocument document;
  xml::ByteBuffer in(IndexBytes());
  document.Parse(in);
  size_t size = 0;
  for (auto _ : state) {
    xml::ByteBuffer out;
    xml::WriteXml(document, out, xml::kWriteQuoteAttributes);
    size = out.length();
    benchmark::DoNotOptimize(out.bytes().data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

struct StringWriter : pugi::xml_writer {
  std::string out;
  void write(const void* data, size_t size) override {
    out.append(static_cast<const char*>(data), size);
  }
};

void BM_Write_Pugixml(benchmark::State& state) {
  pugi::xml_document document;
  document.load_buffer(IndexBytes().data(), IndexBytes().size());
  size_t size = 0;
  for (auto _ : state) {
    StringWriter writer;
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    size = writer.out.size();
    benchmark::DoNotOptimize(writer.out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

void BM_LoadIndex(benchmark::State& state) {
  AlbumFolder();
  for (auto _ : state) {
    album::Album a(std::make_unique<album::FolderStore>(AlbumFolder()));
    if (!album::AlbumIndex::LoadIndex(a) || a.photos().size() != kPhotos) {
      state.SkipWithError("load failed");
    }
  }
}

void BM_SaveIndex(benchmark::State& state) {
  album::Album a(std::make_unique<album::FolderStore>(AlbumFolder()));
  if (!album::AlbumIndex::LoadIndex(a)) state.SkipWithError("load failed");
  for (auto _ : state) {
    if (!album::AlbumIndex::SaveIndex(a)) state.SkipWithError("save failed");
  }
}

BENCHMARK(BM_Parse_Quorvane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Parse_Pugixml)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write_Quorvane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write_Pugixml)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadIndex)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveIndex)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
