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

namespace quorvane::imaging {
namespace {

using internal::ForEachRowBand;
using internal::SelectedSpan;
using LevelTable = std::array<uint8_t, 256>;

uint8_t ClampLevel(long value) { return static_cast<uint8_t>(std::clamp(value, 0L, 255L)); }

// Runs `pixel(p)` on every covered pixel (p points at R, G, B[, A]).
template <typename PixelFn>
uint32_t ForEachPixel(image::Image& image, FilterRun& run, PixelFn pixel) {
  if (!image.IsValid()) return kFilterFailed;
  const int width = image.width();
  const int channels = image.channels();
  const size_t stride = image.stride();
  uint8_t* base = image.MutableRow(0);
  const bool done = ForEachRowBand(image.height(), run, [&](int first, int end) {
    for (int y = first; y < end; ++y) {
      int begin = 0, stop = 0;
      if (!SelectedSpan(run.selection, y, width, &begin, &stop)) continue;
      uint8_t* p = base + y * stride + static_cast<size_t>(begin) * channels;
      for (int x = begin; x < stop; ++x, p += channels) pixel(p);
    }
  });
  return done ? kFilterOk : kFilterCancelled;
}

uint32_t ApplyLevelTable(image::Image& image, FilterRun& run, const LevelTable& table) {
  if (!image.IsValid()) return kFilterFailed;
  if (image.channels() != 3) {
    return ForEachPixel(image, run, [&](uint8_t* p) {
      p[0] = table[p[0]];
      p[1] = table[p[1]];
      p[2] = table[p[2]];
    });
  }
  // Without alpha every byte of the span is a colour level: one flat loop.
  const int width = image.width();
  const size_t stride = image.stride();
  uint8_t* base = image.MutableRow(0);
  const bool done = ForEachRowBand(image.height(), run, [&](int first, int end) {
    for (int y = first; y < end; ++y) {
      int begin = 0, stop = 0;
      if (!SelectedSpan(run.selection, y, width, &begin, &stop)) continue;
      uint8_t* row = base + y * stride;
      for (size_t i = static_cast<size_t>(begin) * 3; i < static_cast<size_t>(stop) * 3; ++i) {
        row[i] = table[row[i]];
      }
    }
  });
  return done ? kFilterOk : kFilterCancelled;
}

}  // namespace

uint32_t ImageFilter::Apply(image::Image&, FilterRun&) const { return kFilterNotImplemented; }

uint32_t LightFilter::Apply(image::Image& image, FilterRun& run) const {
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

uint32_t GammaFilter::Apply(image::Image& image, FilterRun& run) const {
  if (!(gamma_ > 0.0f) || !std::isfinite(gamma_)) return kFilterFailed;
  LevelTable table;
  const double exponent = 1.0 / gamma_;
  for (int level = 0; level < 256; ++level) {
    table[level] = ClampLevel(std::lround(255.0 * std::pow(level / 255.0, exponent)));
  }
  return ApplyLevelTable(image, run, table);
}

uint32_t GrayscaleFilter::Apply(image::Image& image, FilterRun& run) const {
  return ForEachPixel(image, run, [](uint8_t* p) {
    const uint8_t grey =
        static_cast<uint8_t>((19595u * p[0] + 38470u * p[1] + 7471u * p[2] + 32768u) >> 16);
    p[0] = p[1] = p[2] = grey;
  });
}

uint32_t SepiaFilter::Apply(image::Image& image, FilterRun& run) const {
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
  if (!image.IsValid()) return kFilterFailed;
  const int width = image.width();
  const int channels = image.channels();
  const size_t stride = image.stride();
  uint8_t* base = image.MutableRow(0);
  // The walk covers every row whatever the selection says.
  const bool done = ForEachRowBand(image.height(), run, [&](int first, int end) {
    for (int y = first; y < end; ++y) {
      uint8_t* p = base + y * stride;
      for (int x = 0; x < width; ++x, p += channels) {
        const int sum = std::max({p[0], p[1], p[2]}) + std::min({p[0], p[1], p[2]});
        const Rgb rgb = tone[sum];
        p[0] = rgb.r;
        p[1] = rgb.g;
        p[2] = rgb.b;
      }
    }
  });
  return done ? kFilterOk : kFilterCancelled;
}

uint32_t DesaturateFilter::Apply(image::Image& image, FilterRun& run) const {
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
  return ForEachPixel(image, run, [&](uint8_t* p) {
    const int r = p[0];
    const Rgb& red = red_only[r];
    const uint8_t green = cross_green ? green_only[r].g : p[1];
    const uint8_t blue = c_ != 0 ? blue_levels[red.g * 256 + p[2]] : p[2];
    p[0] = red.r;
    p[1] = green;
    p[2] = blue;
  });
}

}  // namespace quorvane::imaging
