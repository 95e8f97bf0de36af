// Convolution filters (sharpen, soften, blur, the Gaussian of the unsharp mask) and the
// unsharp mask itself. The convolution keeps a ring of edge-padded source rows per thread and
// accumulates one kernel weight at a time over a short run of levels, which the compiler turns
// into vector code; the division is a multiplication whose rounding is proved exact up front.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "imaging/image_filter.h"
#include "imaging/internal/row_bands.h"

namespace quorvane::imaging {
namespace {

using internal::ForEachRowBand;
using internal::SelectedSpan;

constexpr size_t kChunk = 1024;  // levels accumulated at a time: the sums stay in L1

// round(sum / divisor) + offset, clamped, in one of two exact ways.
struct Rounding {
  int32_t divisor = 1;
  int32_t offset = 0;
  bool use_float = false;
  float scale = 0;  // 1 / (2 divisor)
  float epsilon = 0;

  Rounding(int32_t d, int32_t off, int64_t max_abs_sum) : divisor(d), offset(off) {
    // floor((2 sum + d) / 2d) by float multiplication: every non-integer quotient lies at least
    // 1 / 2d from the next integer, so an error below half of that, pushed up by epsilon,
    // cannot change the floor. Four roundings of relative 2^-24 each bound the error.
    const double max_quotient = (2.0 * max_abs_sum + d) / (2.0 * d) + 1.0;
    const double error = max_quotient * 2.4e-7;
    const double gap = 1.0 / (2.0 * d);
    use_float = error < gap / 2 && 2 * max_abs_sum + d < (int64_t{1} << 24);
    scale = static_cast<float>(1.0 / (2.0 * d));
    epsilon = static_cast<float>(gap / 2);
  }

  uint8_t Exact(int64_t sum) const {
    const int64_t numerator = 2 * sum + divisor;
    int64_t q = numerator / (2 * divisor);
    if (numerator % (2 * divisor) != 0 && numerator < 0) --q;
    return static_cast<uint8_t>(std::clamp<int64_t>(q + offset, 0, 255));
  }
};

template <typename Sum>
void FinishChunk(const Sum* __restrict sums, uint8_t* __restrict out, size_t count,
                 const Rounding& rounding) {
  if (rounding.use_float) {
    const float scale = rounding.scale, epsilon = rounding.epsilon;
    const int32_t divisor = rounding.divisor, offset = rounding.offset;
    for (size_t i = 0; i < count; ++i) {
      const float t = static_cast<float>(2 * int32_t{sums[i]} + divisor) * scale + epsilon;
      int32_t q = static_cast<int32_t>(t);
      q -= static_cast<int32_t>(t < static_cast<float>(q));  // truncation -> floor
      q += offset;
      q = q < 0 ? 0 : q;
      out[i] = static_cast<uint8_t>(q > 255 ? 255 : q);
    }
  } else {
    for (size_t i = 0; i < count; ++i) out[i] = rounding.Exact(sums[i]);
  }
}

// The 3 x 3 case in one pass: nine weighted reads per level and one store, which the compiler
// vectorises; the general loop would store and reload each sum nine times. The sums are kept
// in 16 bits (eight lanes per 128-bit register, and a multiply plain SSE2 has), which the
// caller allows only when no sum can leave -32768..32767.
void Sum3x3(const uint8_t* const* rows, const int32_t* k, size_t c0, size_t count, int channels,
            int16_t* __restrict sums) {
  const size_t c = static_cast<size_t>(channels);
  const uint8_t* __restrict a = rows[0] + c0;
  const uint8_t* __restrict b = rows[1] + c0;
  const uint8_t* __restrict d = rows[2] + c0;
  const int16_t k0 = static_cast<int16_t>(k[0]), k1 = static_cast<int16_t>(k[1]),
                k2 = static_cast<int16_t>(k[2]), k3 = static_cast<int16_t>(k[3]),
                k4 = static_cast<int16_t>(k[4]), k5 = static_cast<int16_t>(k[5]),
                k6 = static_cast<int16_t>(k[6]), k7 = static_cast<int16_t>(k[7]),
                k8 = static_cast<int16_t>(k[8]);
  for (size_t i = 0; i < count; ++i) {
    const int16_t top = static_cast<int16_t>(k0 * a[i] + k1 * a[i + c] + k2 * a[i + 2 * c]);
    const int16_t middle = static_cast<int16_t>(k3 * b[i] + k4 * b[i + c] + k5 * b[i + 2 * c]);
    const int16_t bottom = static_cast<int16_t>(k6 * d[i] + k7 * d[i + c] + k8 * d[i + 2 * c]);
    sums[i] = static_cast<int16_t>(top + middle + bottom);
  }
}

// Convolves the colour levels of `image` (alpha stays), limited to `selection` when given.
ResultCode Convolve(image::Image& image, FilterRun& run, const SelectionMask* selection,
                    const std::vector<int32_t>& kernel, int size, int32_t divisor, int32_t offset) {
  if (!image.IsValid() || size < 1 || size % 2 == 0 ||
      kernel.size() != static_cast<size_t>(size) * size) {
    return kFailed;
  }
  const int width = image.width();
  const int height = image.height();
  if (width < size || height < size) return kFailed;
  if (divisor <= 0) divisor = 1;
  int64_t positive = 0, negative = 0;
  for (int32_t k : kernel) (k > 0 ? positive : negative) += std::abs(int64_t{k});
  const Rounding rounding(divisor, offset, 255 * std::max(positive, negative));
  // Each partial sum of Sum3x3 stays within the whole kernel's bound.
  const bool short_sums = size == 3 && 255 * (positive + negative) <= 32767;

  const image::Image source = image;  // holds the unfiltered pixels while `image` changes
  const int channels = image.channels();
  const int radius = size / 2;
  const size_t stride = image.stride();
  const size_t row_levels = static_cast<size_t>(width) * channels;
  const size_t padded_levels = row_levels + 2 * static_cast<size_t>(radius) * channels;
  // `source` keeps the old pixels. Without alpha and selection every byte is rewritten, so
  // fresh pixels do; otherwise the copy keeps what the filter does not touch.
  uint8_t* out_base =
      channels == 3 && selection == nullptr ? image.PixelsForOverwrite() : image.MutableRow(0);
  if (out_base == nullptr) return kFailed;
  const uint8_t* in_base = source.Row(0);

  const bool done = ForEachRowBand(height, run, [&](int first, int end) {
    std::vector<uint8_t> ring(padded_levels * size);
    std::vector<int> ring_row(size, -1);
    std::vector<int32_t> sums(kChunk);
    std::vector<int16_t> short_acc(kChunk);
    std::vector<uint8_t> result(row_levels);
    auto padded = [&](int sy) -> const uint8_t* {
      sy = std::clamp(sy, 0, height - 1);
      const int slot = sy % size;
      uint8_t* row = ring.data() + slot * padded_levels;
      if (ring_row[slot] != sy) {
        const uint8_t* in = in_base + sy * stride;
        for (int i = 0; i < radius; ++i) {
          std::memcpy(row + i * channels, in, channels);
          std::memcpy(row + (radius + width + i) * channels, in + (width - 1) * channels, channels);
        }
        std::memcpy(row + radius * channels, in, row_levels);
        ring_row[slot] = sy;
      }
      return row;
    };
    std::vector<const uint8_t*> rows(size);
    for (int y = first; y < end; ++y) {
      int begin = 0, stop = 0;
      if (!SelectedSpan(selection, y, width, &begin, &stop)) continue;
      // Rows above and below the image repeat the edge; the ring's slots never clash because
      // clamped rows repeat the same row number.
      for (int ky = 0; ky < size; ++ky) rows[ky] = padded(y + ky - radius);
      const size_t span_first = static_cast<size_t>(begin) * channels;
      const size_t span_end = static_cast<size_t>(stop) * channels;
      for (size_t c0 = span_first; c0 < span_end; c0 += kChunk) {
        const size_t count = std::min(kChunk, span_end - c0);
        int32_t* acc = sums.data();
        if (short_sums) {
          Sum3x3(rows.data(), kernel.data(), c0, count, channels, short_acc.data());
          FinishChunk(short_acc.data(), result.data() + c0, count, rounding);
          continue;
        }
        std::fill_n(acc, count, 0);
        for (int ky = 0; ky < size; ++ky) {
          for (int kx = 0; kx < size; ++kx) {
            const int32_t weight = kernel[ky * size + kx];
            if (weight == 0) continue;
            const uint8_t* in = rows[ky] + c0 + static_cast<size_t>(kx) * channels;
            for (size_t i = 0; i < count; ++i) acc[i] += weight * in[i];
          }
        }
        FinishChunk(acc, result.data() + c0, count, rounding);
      }
      uint8_t* out = out_base + y * stride;
      if (channels == 3) {
        std::memcpy(out + span_first, result.data() + span_first, span_end - span_first);
      } else {
        for (size_t i = span_first; i < span_end; i += channels) {
          std::memcpy(out + i, result.data() + i, 3);
        }
      }
    }
  });
  return done ? kOk : kCancelled;
}

}  // namespace

ResultCode KernelFilter::Apply(image::Image& image, FilterRun& run) const {
  return Convolve(image, run, run.selection, kernel_, size_, divisor_, offset_);
}

KernelFilter SharpenFilter() {
  return KernelFilter({-1, -1, -1, -1, 15, -1, -1, -1, -1}, 3, 7, 0, "Sharpen");
}
KernelFilter SoftenFilter() {
  return KernelFilter({1, 1, 1, 1, 8, 1, 1, 1, 1}, 3, 16, 0, "Soften");
}
KernelFilter BlurFilter() { return KernelFilter({1, 1, 1, 1, 1, 1, 1, 1, 1}, 3, 9, 0, "Blur"); }

GaussianKernel MakeGaussianKernel(double radius, double sigma) {
  const double sigma2 = sigma * sigma;
  auto weight = [&](int x, int y) { return std::exp(-(x * x + y * y) / sigma2); };
  GaussianKernel kernel;
  if (radius > 0) {
    kernel.size = 2 * static_cast<int>(std::ceil(radius)) + 1;
  } else {
    // Grow until the edge weight no longer reaches one level out of 255; the size before is
    // the one that still counts.
    constexpr int kLargest = 101;
    int size = 5;
    for (; size < kLargest; size += 2) {
      const int half = size / 2;
      double sum = 0;
      for (int y = -half; y <= half; ++y) {
        for (int x = -half; x <= half; ++x) sum += weight(x, y);
      }
      const double edge = std::exp(-(half * half) / sigma2);
      if (static_cast<int>(edge / sum * 255) < 1) break;
    }
    kernel.size = size - 2;
  }
  const int half = kernel.size / 2;
  for (int y = -half; y <= half; ++y) {
    for (int x = -half; x <= half; ++x) {
      const int32_t entry = static_cast<int32_t>(weight(x, y) * 1000);
      kernel.entries.push_back(entry);
      kernel.divisor += entry;
    }
  }
  return kernel;
}

ResultCode UnsharpMaskFilter::Apply(image::Image& image, FilterRun& run) const {
  if (!image.IsValid()) return kFailed;
  const image::Image original = image;
  const GaussianKernel gaussian = MakeGaussianKernel(0, 1.0);
  // Too small for the kernel: the blur leaves the image alone, and the step below then finds
  // no difference anywhere.
  const ResultCode blurred =
      Convolve(image, run, nullptr, gaussian.entries, gaussian.size, gaussian.divisor, 0);
  if (blurred == kCancelled) return blurred;

  const int width = image.width();
  const int channels = image.channels();
  const size_t stride = image.stride();
  uint8_t* out_base = image.MutableRow(0);
  const uint8_t* in_base = original.Row(0);
  const bool done = ForEachRowBand(image.height(), run, [&](int first, int end) {
    for (int y = first; y < end; ++y) {
      const uint8_t* o = in_base + y * stride;
      uint8_t* b = out_base + y * stride;
      for (int x = 0; x < width; ++x, o += channels, b += channels) {
        for (int c = 0; c < 3; ++c) {
          const int d = o[c] - b[c];
          const int value = std::abs(2 * d) >= 12.75 ? o[c] + d : o[c];
          b[c] = static_cast<uint8_t>(std::clamp(value, 0, 255));
        }
      }
    }
  });
  return done ? kOk : kCancelled;
}

}  // namespace quorvane::imaging
