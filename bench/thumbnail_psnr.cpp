// Checks that fast thumbnails look like full decodes: for every JPEG in a folder, the thumbnail
// from Image::LoadThumbnailToFit against the whole photo decoded and scaled to the same size
// with the same filter. Prints one line per photo, then the minimum and mean PSNR.
//   Usage: thumbnail_psnr <folder> [max_width max_height] [--exif-preview]
//   (default 118 x 88, a 120 x 90 cell; --exif-preview also allows embedded previews)
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "image/image.h"

namespace fs = std::filesystem;
using quorvane::image::Image;
using quorvane::image::ResampleMode;
using quorvane::image::ThumbnailDecode;
using quorvane::image::ThumbnailSource;

namespace {

const char* DecodeName(ThumbnailDecode decode) {
  switch (decode) {
    case ThumbnailDecode::kExifPreview:
      return "exif-preview";
    case ThumbnailDecode::kFirstScans:
      return "first-scans";
    case ThumbnailDecode::kReducedScale:
      return "reduced-scale";
    case ThumbnailDecode::kGeneric:
      break;
  }
  return "generic";
}

// Peak signal-to-noise ratio over the RGB channels, in dB; 99 for identical images.
double Psnr(const Image& a, const Image& b) {
  double sum = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      const auto p = a.GetPixel(x, y);
      const auto q = b.GetPixel(x, y);
      const double dr = p.r - q.r, dg = p.g - q.g, db = p.b - q.b;
      sum += dr * dr + dg * dg + db * db;
    }
  }
  const double mse = sum / (3.0 * a.width() * a.height());
  return mse == 0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

}  // namespace

int main(int argc, char** argv) {
  const bool use_preview = argc > 1 && std::string(argv[argc - 1]) == "--exif-preview";
  if (use_preview) --argc;
  if (argc != 2 && argc != 4) {
    std::fprintf(stderr,
                 "usage: thumbnail_psnr <folder> [max_width max_height] [--exif-preview]\n");
    return 2;
  }
  const int max_width = argc == 4 ? std::atoi(argv[2]) : 118;
  const int max_height = argc == 4 ? std::atoi(argv[3]) : 88;
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(argv[1])) {
    std::string ext = entry.path().extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
    if (ext == ".jpg" || ext == ".jpeg") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  double min = 1e9, total = 0;
  int count = 0, failures = 0;
  for (const fs::path& file : files) {
    Image fast;
    ThumbnailSource source;
    Image full;
    if (!fast.LoadThumbnailToFit(file, max_width, max_height, ResampleMode::kBicubic, &source,
                                 use_preview) ||
        !full.Load(file) || !full.Resample(fast.width(), fast.height(), ResampleMode::kBicubic)) {
      std::printf("%-50s failed: %s%s\n", file.filename().c_str(), fast.last_error().c_str(),
                  full.last_error().c_str());
      ++failures;
      continue;
    }
    const double psnr = Psnr(fast, full);
    std::printf("%-50s %-14s %4dx%-4d %6.2f dB\n", file.filename().c_str(),
                DecodeName(source.decode), fast.width(), fast.height(), psnr);
    min = std::min(min, psnr);
    total += psnr;
    ++count;
  }
  if (count == 0) return 1;
  std::printf("photos %d  PSNR min %.2f dB  mean %.2f dB  failures %d\n", count, min, total / count,
              failures);
  return failures == 0 && min >= 35.0 ? 0 : 1;
}
