#include "imaging/edit_commands.h"

#include <cstdio>

#include "platform/number_text.h"

namespace quorvane::imaging {
namespace {

// The resize commands give a size; both places keep the aspect and never enlarge.
std::unique_ptr<ImageFilter> MakeResize(int32_t width, int32_t height, image::ResampleMode mode) {
  return std::make_unique<ResizeFilter>(width, height, true, true, mode);
}

std::unique_ptr<ImageFilter> MakeFilter(const EditCommand& command, const EditValues& values,
                                        image::ResampleMode mode) {
  switch (command.id) {
    case 32783:
      return std::make_unique<LightFilter>(20, 100);
    case 32781:
      return std::make_unique<LightFilter>(-20, 100);
    case 32866:
      return std::make_unique<LightFilter>(0, 120);
    case 32867:
      return std::make_unique<LightFilter>(0, 80);
    case 32869:
      return std::make_unique<GammaFilter>(values.gamma);
    case 32797:
      return std::make_unique<KernelFilter>(SoftenFilter());
    case 32798:
      return std::make_unique<KernelFilter>(SharpenFilter());
    case 32795:
      return std::make_unique<KernelFilter>(BlurFilter());
    case 32876:
      return std::make_unique<GrayscaleFilter>();
    case 32873:
      return std::make_unique<SepiaFilter>();
    case 32874:
      return std::make_unique<DesaturateFilter>();
    case 32878:
      return std::make_unique<UnsharpMaskFilter>();
    case 32799:
      return std::make_unique<RotateFilter>(1, 0.0f);
    case 32800:
      return std::make_unique<RotateFilter>(2, 0.0f);
    case 32801:
      return std::make_unique<RotateFilter>(3, 0.0f);
    case 32779:
      return std::make_unique<RotateFilter>(0, values.angle);
    case 32780:
      return std::make_unique<FlipFilter>(false);
    case 32775:
      return std::make_unique<FlipFilter>(true);
    case 32805:
      return MakeResize(1024, 768, mode);
    case 32806:
      return MakeResize(800, 600, mode);
    case 32807:
      return MakeResize(640, 480, mode);
    case 32808:
      return MakeResize(values.width, values.height, mode);
    default:
      return nullptr;
  }
}

}  // namespace

const EditCommand* FindEditCommand(int32_t id) {
  for (const EditCommand& command : kEditCommands) {
    if (command.id == id) return &command;
  }
  return nullptr;
}

const EditCommand* FindEditCommand(std::string_view name) {
  for (const EditCommand& command : kEditCommands) {
    if (command.name == name) return &command;
  }
  return nullptr;
}

const EditParameterInfo* FindEditParameter(EditParameter kind) {
  for (const EditParameterInfo& parameter : kEditParameters) {
    if (parameter.kind == kind) return &parameter;
  }
  return nullptr;
}

bool ParseEditValue(const EditParameterInfo& parameter, std::string_view text, EditValues* values,
                    std::string* problem) {
  // "%g" writes the range as people type it: 0.1, 10, 65500.
  char range[64];
  std::snprintf(range, sizeof range, "%g to %g", parameter.minimum, parameter.maximum);
  if (parameter.kind == EditParameter::kSize) {
    int width = 0, height = 0;
    if (!platform::ParseDimensions(text, static_cast<int>(parameter.minimum),
                                   static_cast<int>(parameter.maximum), &width, &height)) {
      *problem = std::string(parameter.option) + " takes WIDTHxHEIGHT, each " + range;
      return false;
    }
    values->width = width;
    values->height = height;
    return true;
  }
  double number = 0;
  if (!platform::ParseDecimal(text, parameter.minimum, parameter.maximum, &number)) {
    *problem = std::string(parameter.option) + " takes a number from " + range;
    return false;
  }
  (parameter.kind == EditParameter::kGamma ? values->gamma : values->angle) =
      static_cast<float>(number);
  return true;
}

std::unique_ptr<ImageFilter> MakeAlbumFilter(const EditCommand& command, const EditValues& values,
                                             image::ResampleMode mode) {
  if (!command.album_level) return nullptr;
  return MakeFilter(command, values, mode);
}

std::unique_ptr<ImageFilter> MakeViewerFilter(const EditCommand& command, const EditValues& values,
                                              image::ResampleMode mode) {
  if (command.uses_selection_rect) return nullptr;
  return MakeFilter(command, values, mode);
}

}  // namespace quorvane::imaging
