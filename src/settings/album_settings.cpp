#include "settings/album_settings.h"

#include <optional>
#include <string>
#include <variant>

namespace quorvane::settings {
namespace {

std::optional<int32_t> Number(const Settings& values, std::string_view name) {
  auto it = values.options.find(name);
  if (it == values.options.end()) return std::nullopt;
  if (const int32_t* value = std::get_if<int32_t>(&it->second)) return *value;
  return std::nullopt;
}

void SetNumber(Settings* values, std::string_view name, int32_t number) {
  values->options.insert_or_assign(std::string(name), number);
}

}  // namespace

album::ThumbnailOptions ThumbnailOptionsFrom(const Settings& values) {
  album::ThumbnailOptions options;
  if (auto quality = Number(values, kThumbnailQualityOption);
      quality && *quality >= 1 && *quality <= 100) {
    options.jpeg_quality = *quality;
  }
  if (auto mode = Number(values, kThumbnailResampleOption)) {
    options.mode = image::ResampleModeFromInt(*mode);
  }
  return options;
}

image::ResampleMode EditResampleModeFrom(const Settings& values) {
  auto mode = Number(values, kEditResampleOption);
  return mode ? image::ResampleModeFromInt(*mode) : image::ResampleMode::kBicubic;
}

void SetThumbnailOptions(Settings* values, const album::ThumbnailOptions& options) {
  SetNumber(values, kThumbnailQualityOption, options.jpeg_quality);
  SetNumber(values, kThumbnailResampleOption, static_cast<int32_t>(options.mode));
}

void SetEditResampleMode(Settings* values, image::ResampleMode mode) {
  SetNumber(values, kEditResampleOption, static_cast<int32_t>(mode));
}

}  // namespace quorvane::settings
