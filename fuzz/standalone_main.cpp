// Replays fuzz inputs without libFuzzer, so every build (gcc included) runs the committed
// corpora as ordinary tests. Arguments are files or folders of files.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  size_t runs = 0;
  auto run = [&](const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    ++runs;
  };
  for (int i = 1; i < argc; ++i) {
    const fs::path path = argv[i];
    if (fs::is_directory(path)) {
      for (const auto& entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) run(entry.path());
      }
    } else {
      run(path);
    }
  }
  std::printf("replayed %zu inputs\n", runs);
  return runs > 0 ? 0 : 1;
}
