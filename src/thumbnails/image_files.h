// Which files the file browser shows: those whose extension is in the image type table
// (image/image_types.h), in any case.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvane::thumbnails {

// The image files directly inside `folder` (no sub-folders), sorted by file name byte-wise.
// On failure returns false and sets *error to "Unable to read \"<folder>\": <reason>".
bool ListImageFiles(const std::filesystem::path& folder, std::vector<std::filesystem::path>* files,
                    std::string* error);

}  // namespace quorvane::thumbnails
