// A process that saves one picture of noise over a file, for the test that kills saves
// half-way. It prints a digest of the bytes it is about to write before it starts the save and
// "saved" when the save returned, so the test knows what a whole new file would hold.
//   Usage: quorvane_image_save_child <path> <seed> <width> <height>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "image/image.h"

int main(int argc, char** argv) {
  using quorvane::image::Image;
  using quorvane::image::ImageFormat;
  if (argc != 5) return 2;
  const int width = std::atoi(argv[3]);
  const int height = std::atoi(argv[4]);
  Image image;
  if (!image.Create(width, height, false)) return 2;
  uint32_t state = static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)) * 2654435761u + 1;
  for (int y = 0; y < height; ++y) {
    uint8_t* row = image.MutableRow(y);
    for (size_t x = 0; x < image.stride(); ++x) {
      state = state * 1103515245u + 12345u;
      row[x] = static_cast<uint8_t>(state >> 24);
    }
  }
  std::vector<uint8_t> bytes;
  if (!image.SaveToMemory(&bytes, ImageFormat::kJpeg, 95)) return 2;
  uint64_t digest = 14695981039346656037u;  // FNV-1a
  for (const uint8_t byte : bytes) digest = (digest ^ byte) * 1099511628211u;
  std::printf("%016" PRIx64 "\n", digest);
  std::fflush(stdout);
  if (!image.Save(argv[1], ImageFormat::kJpeg, 95)) {
    std::fprintf(stderr, "%s\n", image.last_error().c_str());
    return 1;
  }
  std::printf("saved\n");
  return 0;
}
