// The filters that map each pixel on its own: light, gamma, grayscale, sepia and desaturate.
// Each reduces its arithmetic to a table first, so the per-pixel work is a lookup whatever
// the formula costs; the tables are built with the same functions the formulas name.
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "imaging/hsl.h"
#include "imaging/image_filter.h"
#include "imaging/internal/row_bands.h"
#include "platform/memory_hint.h"

namespace quorvane::imaging {
namespace {

using internal::ForEachRowBand;
using internal::SelectedSpan;
using LevelTable = std::array<uint8_t, 256>;

uint8_t ClampLevel(long value) { return static_cast<uint8_t>(std::clamp(value, 0L, 255L)); }

// Where a filter reads and writes: without alpha and without a selection every byte is
// rewritten, so the result goes into fresh pixels (first touched by the threads that fill
// them) and the source stays with the other copies; otherwise the image changes in place.
struct Target {
  image::Image source;  // keeps the old pixels alive while they are read
  const uint8_t* in = nullptr;
  uint8_t* out = nullptr;
};

Target Prepare(image::Image& image, const SelectionMask* selection) {
  Target target;
  if (image.channels() == 3 && selection == nullptr) {
    target.source = image;
    target.out = image.PixelsForOverwrite();
    if (target.out != nullptr) {
      platform::AdviseLargePages(target.out, image.stride() * image.height());
      target.in = target.source.Row(0);
      return target;
    }
    target.source = image::Image();
  }
  target.out = image.MutableRow(0);
  target.in = target.out;
  return target;
}

// Runs `pixel(in, out)` on every covered pixel (each points at R, G, B[, A]; they may be the
// same pixel).
template <typename PixelFn>
ResultCode ForEachPixel(image::Image& image, FilterRun& run, const SelectionMask* selection,
                        PixelFn pixel) {
  if (!image.IsValid()) return kFailed;
  const int width = image.width();
  const int channels = image.channels();
  const size_t stride = image.stride();
  const Target target = Prepare(image, selection);
  if (target.out == nullptr) return kFailed;
  const bool done = ForEachRowBand(image.height(), run, [&](int first, int end) {
    for (int y = first; y < end; ++y) {
      int begin = 0, stop = 0;
      if (!SelectedSpan(selection, y, width, &begin, &stop)) continue;
      const size_t offset = y * stride + static_cast<size_t>(begin) * channels;
      const uint8_t* in = target.in + offset;
      uint8_t* out = target.out + offset;
      for (int x = begin; x < stop; ++x, in += channels, out += channels) pixel(in, out);
    }
  });
  return done ? kOk : kCancelled;
}

ResultCode ApplyLevelTable(image::Image& image, FilterRun& run, const LevelTable& table) {
  if (!image.IsValid()) return kFailed;
  if (image.channels() != 3) {
    return ForEachPixel(image, run, run.selection, [&](const uint8_t* in, uint8_t* out) {
      out[0] = table[in[0]];
      out[1] = table[in[1]];
      out[2] = table[in[2]];
    });
  }
  // Without alpha every byte of the span is a colour level: one flat loop.
  const int width = image.width();
  const size_t stride = image.stride();
  const Target target = Prepare(image, run.selection);
  if (target.out == nullptr) return kFailed;
  const bool done = ForEachRowBand(image.height(), run, [&](int first, int end) {
    for (int y = first; y < end; ++y) {
      int begin = 0, stop = 0;
      if (!SelectedSpan(run.selection, y, width, &begin, &stop)) continue;
      const uint8_t* in = target.in + y * stride;
      uint8_t* out = target.out + y * stride;
      for (size_t i = static_cast<size_t>(begin) * 3; i < static_cast<size_t>(stop) * 3; ++i) {
        out[i] = table[in[i]];
      }
    }
  });
  return done ? kOk : kCancelled;
}

}  // namespace

ResultCode ImageFilter::Apply(image::Image&, FilterRun&) const { return kNotImplemented; }

ResultCode LightFilter::Apply(image::Image& image, FilterRun& run) const {
  LevelTable table;
  for (int level = 0; level < 256; ++level) {
    const double value = 128.0 + (level - 128) * (contrast_ / 100.0) + brightness_;
    table[level] = ClampLevel(std::lround(value));
  }
  return ApplyLevelTable(image, run, table);
}

std::string LightFilter::RecordName() const {
  if (brightness_ < 0) return "Darken";
  if (brightness_ > 0) return "Lighten";
  return "Contrast";
}

std::string LightFilter::OperationLabel() const {
  if (brightness_ < 0) return "Darken";
  if (brightness_ > 0) return "Lighten";
  if (contrast_ < 100) return "Reduce contrast on";
  if (contrast_ > 100) return "Increase contrast on";
  return {};
}

ResultCode GammaFilter::Apply(image::Image& image, FilterRun& run) const {
  if (!(gamma_ > 0.0f) || !std::isfinite(gamma_)) return kFailed;
  LevelTable table;
  const double exponent = 1.0 / gamma_;
  for (int level = 0; level < 256; ++level) {
    table[level] = ClampLevel(std::lround(255.0 * std::pow(level / 255.0, exponent)));
  }
  return ApplyLevelTable(image, run, table);
}

ResultCode GrayscaleFilter::Apply(image::Image& image, FilterRun& run) const {
  return ForEachPixel(image, run, run.selection, [](const uint8_t* in, uint8_t* out) {
    const uint8_t grey =
        static_cast<uint8_t>((19595u * in[0] + 38470u * in[1] + 7471u * in[2] + 32768u) >> 16);
    out[0] = out[1] = out[2] = grey;
  });
}

ResultCode SepiaFilter::Apply(image::Image& image, FilterRun& run) const {
  // Lightness depends only on max + min of the channels, and hue and saturation are fixed by
  // lightness, so the result is a function of max + min.
  std::array<Rgb, 511> tone;
  for (int sum = 0; sum <= 510; ++sum) {
    const uint8_t high = static_cast<uint8_t>(std::min(sum, 255));
    const uint8_t low = static_cast<uint8_t>(sum - high);
    Hsl hsl = RgbToHsl(Rgb{high, low, low});
    hsl.h = 24;
    hsl.s = (hsl.l >= 50 && hsl.l <= 225) ? 40 : 90;
    tone[sum] = HslToRgb(hsl);
  }
  // The walk covers every pixel whatever the selection says.
  return ForEachPixel(image, run, nullptr, [&](const uint8_t* in, uint8_t* out) {
    const int sum = std::max({in[0], in[1], in[2]}) + std::min({in[0], in[1], in[2]});
    const Rgb rgb = tone[sum];
    out[0] = rgb.r;
    out[1] = rgb.g;
    out[2] = rgb.b;
  });
}

ResultCode DesaturateFilter::Apply(image::Image& image, FilterRun& run) const {
  auto adjust = [](int level, int delta) {
    return static_cast<uint8_t>(std::clamp(level + delta, 0, 255));
  };
  // Red's result depends on red alone, green's on red alone (the cross-over), and blue's on
  // blue and red: tabulate the three.
  std::array<Rgb, 256> red_only;
  std::array<Rgb, 256> green_only;
  for (int r = 0; r < 256; ++r) {
    Rgb value{static_cast<uint8_t>(r), 0, 0};
    if (a_ != 0) {
      Hsl hsl = RgbToHsl(value);
      hsl.s = adjust(hsl.s, a_);
      value = HslToRgb(hsl);
    }
    red_only[r] = value;
    // The adjusted red, read as hue, saturation, lightness.
    green_only[r] = HslToRgb(Hsl{value.r, value.g, value.b});
  }
  std::vector<uint8_t> blue_levels;
  if (c_ != 0) {
    blue_levels.resize(256 * 256);
    std::array<Hsl, 256> blue_hsl;
    for (int b = 0; b < 256; ++b) blue_hsl[b] = RgbToHsl(Rgb{0, 0, static_cast<uint8_t>(b)});
    for (int s = 0; s < 256; ++s) {
      for (int b = 0; b < 256; ++b) {
        Hsl hsl = blue_hsl[b];
        hsl.s = adjust(s, c_);
        blue_levels[s * 256 + b] = HslToRgb(hsl).b;
      }
    }
  }
  const bool cross_green = b_ != 0;
  return ForEachPixel(image, run, run.selection, [&](const uint8_t* in, uint8_t* out) {
    const int r = in[0];
    const Rgb& red = red_only[r];
    const uint8_t green = cross_green ? green_only[r].g : in[1];
    const uint8_t blue = c_ != 0 ? blue_levels[red.g * 256 + in[2]] : in[2];
    out[0] = red.r;
    out[1] = green;
    out[2] = blue;
  });
}

}  // namespace quorvane::imaging
