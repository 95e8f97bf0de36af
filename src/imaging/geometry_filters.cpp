// The filters that change the image's shape or depth: resize, rotate, flip, crop and the
// colour-depth raise. The pixel work is the Image's own; these add the parameters' rules.
#include <cmath>

#include "imaging/image_filter.h"

namespace quorvane::imaging {

ResultCode ResizeFilter::Apply(image::Image& image, FilterRun& run) const {
  if (!image.IsValid()) return kFailed;
  const int w = image.width();
  const int h = image.height();
  if (only_shrink_ && w <= width_ && h <= height_) return kNothingToDo;
  const image::FitSize size = keep_aspect_ ? image::FitProportionally(w, h, width_, height_)
                                           : image::FitSize{width_, height_};
  const bool ok = image.Resample(size.width, size.height, mode_);
  run.progress->SetPosition(1, 1);
  return ok ? kOk : kFailed;
}

ResultCode RotateFilter::Apply(image::Image& image, FilterRun& run) const {
  bool ok = false;
  switch (mode_) {
    case 0:
      ok = image.Rotate(angle_);
      break;
    case 1:
      ok = image.RotateRight();
      break;
    case 2:
      ok = image.RotateLeft();
      break;
    case 3:
      ok = image.Rotate180();
      break;
    default:
      return kFailed;
  }
  run.progress->SetPosition(1, 1);
  return ok ? kOk : kFailed;
}

ResultCode FlipFilter::Apply(image::Image& image, FilterRun& run) const {
  const bool ok = vertical_ ? image.Flip() : image.Mirror();
  run.progress->SetPosition(1, 1);
  return ok ? kOk : kFailed;
}

ResultCode RaiseDepthFilter::Apply(image::Image& image, FilterRun&) const {
  if (!image.IsValid()) return kFailed;
  if (image.bits_per_pixel() == bits_) return kOk;
  if (bits_ < image.bits_per_pixel()) return kNotImplemented;
  // A depth the image cannot take (only 24 and 32 are) leaves it as it is, still a success.
  static_cast<void>(image.IncreaseBpp(bits_));
  return kOk;
}

ResultCode CropFilter::Apply(image::Image& image, FilterRun& run) const {
  const bool ok = image.Crop(left_, top_, right_, bottom_);
  run.progress->SetPosition(1, 1);
  return ok ? kOk : kFailed;
}

}  // namespace quorvane::imaging
