// Runs one photo-window edit on a small image built from the input bytes, with a selection,
// display size and dialog values that are also taken from the input (negative, reversed,
// outside the image, any shape code). Whatever the filter does, undo must give back the very
// pixels it started from and redo the result.
#include <cstdint>
#include <cstring>
#include <limits>

#include "image/image.h"
#include "imaging/edit_commands.h"
#include "imaging/viewer_document.h"

using namespace quorvane;

namespace {

struct Reader {
  const uint8_t* data;
  size_t size;
  uint8_t Byte() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
  int16_t Short() { return static_cast<int16_t>(Byte() | (Byte() << 8)); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 64 * 1024) return 0;
  Reader in{data, size};
  const int width = 1 + in.Byte() % 48;
  const int height = 1 + in.Byte() % 48;
  const bool alpha = in.Byte() & 1;
  const auto& command = imaging::kEditCommands[in.Byte() % std::size(imaging::kEditCommands)];
  imaging::EditSelection selection{in.Short(), in.Short(), in.Short(), in.Short(),
                                   static_cast<int32_t>(in.Byte() % 4)};
  const imaging::DisplaySize display{in.Short(), in.Short()};
  imaging::EditValues values;
  values.angle = static_cast<float>(in.Short()) / 8.0f;
  values.gamma = static_cast<float>(in.Short()) / 64.0f;
  values.width = in.Short() % 80;
  values.height = in.Short() % 80;

  image::Image original;
  if (!original.Create(width, height, alpha)) return 0;
  for (int y = 0; y < height; ++y) {
    uint8_t* row = original.MutableRow(y);
    for (size_t i = 0; i < static_cast<size_t>(width) * original.channels(); ++i) {
      row[i] = in.Byte();
    }
  }
  imaging::ViewerDocument document(original);
  const uint32_t code =
      document.RunEdit(command, values, selection, display, platform::NoProgress());
  if (code != imaging::kOk) {
    if (!image::SamePixels(document.image(), original)) __builtin_trap();
    return 0;
  }
  const image::Image result = document.image();
  if (!document.Undo() || !image::SamePixels(document.image(), original)) __builtin_trap();
  if (!document.Redo() || !image::SamePixels(document.image(), result)) __builtin_trap();
  return 0;
}
