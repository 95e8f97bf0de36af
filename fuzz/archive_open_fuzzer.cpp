// Unpacks arbitrary bytes as an album archive under small limits. Whatever is accepted must
// stay inside the target folder, and must pack and unpack again to the same files.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>

#include "album/album_archive.h"

namespace fs = std::filesystem;
using namespace quorvane::album;

namespace {

// One private folder per process; every input is unpacked below it and removed again.
struct ScratchFolder {
  ScratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "qvo-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    path = pattern;
  }
  ~ScratchFolder() {
    std::error_code ec;
    fs::remove_all(path, ec);
  }
  fs::path path;
};

const fs::path& Scratch() {
  static const ScratchFolder scratch;
  return scratch.path;
}

std::map<std::string, std::string> Contents(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!entry.is_regular_file() || entry.is_symlink()) std::abort();  // only plain files
    std::ifstream in(entry.path(), std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    files[entry.path().filename().string()] = bytes.str();
  }
  return files;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fs::path out = Scratch() / "out";
  const fs::path again = Scratch() / "again";
  const fs::path repacked = Scratch() / "repacked.qvo";
  ArchiveLimits limits;
  limits.max_total_bytes = 4 << 20;
  limits.max_entries = 64;
  std::string error;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (UnpackArchiveBytes(bytes, out, limits, &error)) {
    const auto files = Contents(out);
    if (!PackAlbumFolder(out, repacked, {}, &error)) std::abort();
    if (!UnpackArchive(repacked, again, limits, &error)) std::abort();
    if (Contents(again) != files) std::abort();
  } else if (error.empty() || fs::exists(out)) {
    std::abort();  // a refusal must say why and leave nothing behind
  }
  // Nothing may appear beside the target folders.
  for (const auto& entry : fs::directory_iterator(Scratch())) {
    const std::string name = entry.path().filename().string();
    if (name != "out" && name != "again" && name != "repacked.qvo") std::abort();
  }
  std::error_code ec;
  fs::remove_all(out, ec);
  fs::remove_all(again, ec);
  fs::remove(repacked, ec);
  return 0;
}
