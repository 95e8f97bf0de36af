// Writing one photo's files into a web album: the photo (a byte copy, or re-encoded at the
// album's size) and its thumbnail, both from a single decode at the reduced size the larger
// of them needs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "platform/progress.h"

namespace quorvane::webalbum::internal {

struct PhotoJob {
  std::filesystem::path source;
  std::string source_name;  // the photo's file name in the album
  std::string output_stem;  // of every file written, distinct within the album
  int thumb_width = -1;     // -1: no thumbnail
  int thumb_height = -1;
  bool resize = true;
  int max_width = 800;
  int max_height = 600;
  bool keep_aspect = true;
  bool only_larger = true;
  int jpeg_quality = 85;
  // Published files carry no GPS position, serial numbers or owner names: JPEG copies lose
  // them without re-encoding, other formats that hold them are re-encoded.
  bool strip_private = false;
};

struct PhotoResult {
  std::string image_file;  // output names
  std::string thumb_file;  // empty without thumbnail
  int width = 0;
  int height = 0;
  int thumb_width = 0;
  int thumb_height = 0;
  uint64_t file_size = 0;
  uint64_t thumb_size = 0;
};

// The output names the job will write, without doing anything.
PhotoResult PlannedNames(const PhotoJob& job, bool copied);

// Writes the job's files into `folder`, reporting the step texts. Thread-safe for distinct
// jobs. On failure returns false with *error.
bool WritePhoto(const PhotoJob& job, const std::filesystem::path& folder,
                platform::ProgressSink& progress, PhotoResult* result, std::string* error);

// The parameters that decide the job's output bytes, as one line of text for the manifest.
std::string JobParameters(const PhotoJob& job);

}  // namespace quorvane::webalbum::internal
