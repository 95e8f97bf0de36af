// ImageFilter: one edit applied to an Image, returning an HRESULT-style code. The photo window
// and the album's batch edits run the same filters; FilterRun carries what a running filter
// reports (progress 0..100) and obeys (cancel, the selection).
//
// Example (on a worker thread):
//   FilterRun run;
//   LightFilter lighten(20, 100);
//   if (lighten.Apply(copy, run) == kOk) Install(copy);
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "image/image.h"
#include "platform/progress.h"
#include "platform/result_code.h"

namespace quorvane::imaging {

class SelectionMask;

using platform::kCancelled;
using platform::kFailed;
using platform::kNothingToDo;  // a success that left the image as it was
using platform::kNotImplemented;
using platform::kOk;
using platform::ResultCode;

// What a filter reports to and obeys while it runs. The filter reports rows done of the image's
// rows (from its worker threads: the sink is thread-safe) and polls for a cancel between rows.
struct FilterRun {
  platform::ProgressSink* progress = &platform::NoProgress();
  const SelectionMask* selection = nullptr;  // null: the whole image
  bool Cancelled() const { return progress->Cancelled(); }
};

// Filters are immutable once made: Apply may run on any thread, one image per call.
class ImageFilter {
 public:
  virtual ~ImageFilter() = default;
  // Changes `image` in place. Returns kOk, kNothingToDo, kFailed (the image
  // operation failed; the image may be partly changed), kCancelled (a cancel was seen;
  // the image is partly changed) or kNotImplemented.
  virtual ResultCode Apply(image::Image& image, FilterRun& run) const;
  // The name of the album history record ("Contrast" -> "Contrast Photo").
  virtual std::string RecordName() const { return {}; }
  // The album-level operation's descriptive label ("Reduce contrast on").
  virtual std::string OperationLabel() const { return RecordName(); }
};

// Fits the image into width x height like the album's FitImage: with only_shrink an image that
// already fits returns kNothingToDo; with keep_aspect the bound side takes the maximum
// and the other follows, truncated toward zero.
class ResizeFilter : public ImageFilter {
 public:
  ResizeFilter(int32_t width, int32_t height, bool keep_aspect, bool only_shrink,
               image::ResampleMode mode)
      : width_(width),
        height_(height),
        keep_aspect_(keep_aspect),
        only_shrink_(only_shrink),
        mode_(mode) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
  std::string RecordName() const override { return "Resize"; }

 private:
  int32_t width_, height_;
  bool keep_aspect_, only_shrink_;
  image::ResampleMode mode_;
};

// Brightness is added to every level; contrast is a percentage around the middle level 128
// (100 leaves contrast alone): out = 128 + (in - 128) * contrast / 100 + brightness, rounded
// to nearest and clamped. Honours the selection; alpha is left alone.
class LightFilter : public ImageFilter {
 public:
  LightFilter(int32_t brightness, int32_t contrast)
      : brightness_(brightness), contrast_(contrast) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
  std::string RecordName() const override;
  std::string OperationLabel() const override;

 private:
  int32_t brightness_, contrast_;
};

// out = 255 * (in / 255) ^ (1 / gamma), rounded; gamma above 1 lightens. Fails for gamma <= 0.
class GammaFilter : public ImageFilter {
 public:
  explicit GammaFilter(float gamma) : gamma_(gamma) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
  std::string RecordName() const override { return "Gamma"; }
  std::string OperationLabel() const override { return "Adjust gamma on"; }

 private:
  float gamma_;
};

// A square convolution: each colour level becomes the kernel-weighted sum of its neighbours
// (edges repeat the border pixels) divided by `divisor`, rounded to nearest, plus `offset`,
// clamped. Fails when the image is narrower or lower than the kernel. Honours the selection.
class KernelFilter : public ImageFilter {
 public:
  KernelFilter(std::vector<int32_t> kernel, int size, int32_t divisor, int32_t offset,
               std::string name)
      : kernel_(std::move(kernel)),
        size_(size),
        divisor_(divisor),
        offset_(offset),
        name_(std::move(name)) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
  std::string RecordName() const override { return name_; }

 private:
  std::vector<int32_t> kernel_;
  int size_;
  int32_t divisor_, offset_;
  std::string name_;
};
KernelFilter SharpenFilter();  // -1 -1 -1 / -1 15 -1 / -1 -1 -1, divisor 7
KernelFilter SoftenFilter();   // 1 1 1 / 1 8 1 / 1 1 1, divisor 16
KernelFilter BlurFilter();     // all ones, divisor 9

// Grey = (19595 R + 38470 G + 7471 B + 32768) >> 16 in all three channels. Honours the
// selection.
class GrayscaleFilter : public ImageFilter {
 public:
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
  std::string RecordName() const override { return "Grayscale"; }
};

// Every pixel keeps its lightness and takes hue 24 with saturation 40 (lightness 50..225) or
// 90 (darker or lighter). Tones the whole image, selection or not.
class SepiaFilter : public ImageFilter {
 public:
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
  std::string RecordName() const override { return "Sepia Tone"; }
};

// The photo window's desaturate, with its deliberate channel cross-overs (green comes from the
// adjusted red taken as HSL; blue's saturation from that red's green). Honours the selection.
class DesaturateFilter : public ImageFilter {
 public:
  DesaturateFilter(int a = -255, int b = -255, int c = -255) : a_(a), b_(b), c_(c) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;

 private:
  int a_, b_, c_;
};

// A Gaussian blur's kernel: size 2 * ceil(radius) + 1, or when radius <= 0 the smallest size
// whose edge weight still counts. Entries are trunc(1000 * e^-((x^2 + y^2) / sigma^2)); the
// divisor is their sum. Sigma 1.0 gives 5 x 5 with divisor 3128.
struct GaussianKernel {
  int size = 0;
  std::vector<int32_t> entries;
  int32_t divisor = 0;
};
GaussianKernel MakeGaussianKernel(double radius, double sigma);

// Sharpens by pushing each level away from a Gaussian blur of it (radius automatic, sigma 1):
// where |2 (original - blurred)| >= 12.75 the level becomes original + difference. Whole
// image; an image smaller than the kernel stays as it is.
class UnsharpMaskFilter : public ImageFilter {
 public:
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
};

// mode 0: by `angle` degrees clockwise; 1: 90 clockwise; 2: 90 counter-clockwise; 3: 180.
// Any other mode fails.
class RotateFilter : public ImageFilter {
 public:
  RotateFilter(int32_t mode, float angle) : mode_(mode), angle_(angle) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
  std::string RecordName() const override { return "Rotate"; }

 private:
  int32_t mode_;
  float angle_;
};

// vertical: the top row becomes the bottom row; otherwise left and right change places.
class FlipFilter : public ImageFilter {
 public:
  explicit FlipFilter(bool vertical) : vertical_(vertical) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;
  std::string RecordName() const override { return "Flip"; }

 private:
  bool vertical_;
};

// Raises the colour depth: kOk when the image already has `bits`,
// kNotImplemented when `bits` is lower than its depth.
class RaiseDepthFilter : public ImageFilter {
 public:
  explicit RaiseDepthFilter(int bits) : bits_(bits) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;

 private:
  int bits_;
};

// Keeps [left, right) x [top, bottom), rows counted from the top.
class CropFilter : public ImageFilter {
 public:
  CropFilter(int left, int top, int right, int bottom)
      : left_(left), top_(top), right_(right), bottom_(bottom) {}
  ResultCode Apply(image::Image& image, FilterRun& run) const override;

 private:
  int left_, top_, right_, bottom_;
};

}  // namespace quorvane::imaging
