// Which files the file browser shows: those whose extension is in the image type table (JPG,
// JPEG, BMP, GIF, TIF, TIFF, PNG, TGA, PCX, ICO, in any case).
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::browser {

// True when the text after the name's last "." is one of the table's extensions.
bool IsImageFileName(std::string_view name);

// The image files directly inside `folder` (no sub-folders), sorted by file name byte-wise.
// On failure returns false and sets *error to "Unable to read \"<folder>\": <reason>".
bool ListImageFiles(const std::filesystem::path& folder, std::vector<std::filesystem::path>* files,
                    std::string* error);

}  // namespace quorvane::browser
