// The photo window's history under load: 50 edits in a row on a 24-megapixel photo, then 50
// undos and 50 redos, checking after every step that the pixels are exactly the version they
// should be, and reporting the time of each phase and the process's peak memory. Keeping all
// 50 earlier versions in memory would take 50 x width x height x 3 bytes; the history keeps
// two and spills the rest to temporary files.
//   Usage: viewer_history_bench [PHOTO] [SPILL_FOLDER]   (default /tmp/corpus/big24mp.jpg)
#include <chrono>
#include <cstdio>
#include <functional>
#include <string_view>
#include <sys/resource.h>
#include <vector>

#include "image/image.h"
#include "imaging/viewer_document.h"

namespace {

using quorvane::image::Image;
namespace imaging = quorvane::imaging;
namespace platform = quorvane::platform;
using Clock = std::chrono::steady_clock;

size_t PixelHash(const Image& image) {
  size_t hash = static_cast<size_t>(image.width()) * 31 + static_cast<size_t>(image.height());
  const size_t row_bytes = static_cast<size_t>(image.width()) * image.channels();
  for (int y = 0; y < image.height(); ++y) {
    const auto* row = reinterpret_cast<const char*>(image.Row(y));
    hash = hash * 1099511628211u ^ std::hash<std::string_view>{}(std::string_view(row, row_bytes));
  }
  return hash;
}

double PeakMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024.0;
}

double Seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

}  // namespace

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "/tmp/corpus/big24mp.jpg";
  Image photo;
  if (!photo.Load(path)) {
    std::fprintf(stderr, "cannot load %s: %s\n", path, photo.last_error().c_str());
    return 2;
  }
  const double full_mib = photo.stride() * photo.height() / 1048576.0;
  std::printf("photo %dx%d, %.0f MiB of pixels; after loading, peak %.0f MiB\n", photo.width(),
              photo.height(), full_mib, PeakMiB());

  imaging::ViewerDocument document(std::move(photo), {}, argc > 2 ? argv[2] : "");
  const char* cycle[] = {"lighten",       "darken", "blur",   "sharpen",
                         "more-contrast", "gamma",  "soften", "flip-horizontal",
                         "rotate-180",    "sepia"};
  constexpr int kEdits = 50;
  std::vector<size_t> versions = {PixelHash(document.image())};
  const imaging::DisplaySize display{document.image().width(), document.image().height()};

  auto start = Clock::now();
  for (int i = 0; i < kEdits; ++i) {
    const imaging::EditCommand& command = *imaging::FindEditCommand(cycle[i % 10]);
    if (document.RunEdit(command, {}, {}, display, platform::NoProgress()) != imaging::kOk) {
      std::fprintf(stderr, "edit %d (%s) failed\n", i, cycle[i % 10]);
      return 1;
    }
    versions.push_back(PixelHash(document.image()));
  }
  const double edit_seconds = Seconds(start);

  int wrong = 0;
  start = Clock::now();
  for (int i = kEdits; i > 0; --i) {
    if (!document.Undo()) {
      std::fprintf(stderr, "undo %d failed: %s\n", i, document.history().last_error().c_str());
      return 1;
    }
    wrong += PixelHash(document.image()) != versions[i - 1];
  }
  const double undo_seconds = Seconds(start);
  start = Clock::now();
  for (int i = 1; i <= kEdits; ++i) {
    if (!document.Redo()) {
      std::fprintf(stderr, "redo %d failed: %s\n", i, document.history().last_error().c_str());
      return 1;
    }
    wrong += PixelHash(document.image()) != versions[i];
  }
  const double redo_seconds = Seconds(start);

  std::printf(
      "%d edits %.1f s (%.0f ms each, pixel hash included), %d undos %.1f s, %d redos %.1f s\n",
      kEdits, edit_seconds, 1000 * edit_seconds / kEdits, kEdits, undo_seconds, kEdits,
      redo_seconds);
  std::printf("versions restored wrongly: %d of %d\n", wrong, 2 * kEdits);
  std::printf("peak memory %.0f MiB (all versions in memory would be %.0f MiB)\n", PeakMiB(),
              full_mib * (kEdits + 1));
  return wrong == 0 ? 0 : 1;
}
