#include "app/thumbnail_options.h"

#include <variant>

namespace quorvane::app {

album::ThumbnailOptions ThumbnailOptionsFrom(const settings::Settings& values) {
  album::ThumbnailOptions options;
  auto number = [&](std::string_view name) -> std::optional<int32_t> {
    auto it = values.options.find(name);
    if (it == values.options.end()) return std::nullopt;
    if (const int32_t* value = std::get_if<int32_t>(&it->second)) return *value;
    return std::nullopt;
  };
  if (auto quality = number("options.thumbnail.quality");
      quality && *quality >= 1 && *quality <= 100) {
    options.jpeg_quality = *quality;
  }
  if (auto mode = number("options.thumbnail.resample")) {
    options.mode = image::ResampleModeFromInt(*mode);
  }
  return options;
}

}  // namespace quorvane::app
