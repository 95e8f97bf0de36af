// WebAlbumGenerator: writes a static web album of one album into a folder: index pages with
// thumbnails, one page per photo, the photos (byte copies, or re-encoded smaller), their
// thumbnails and the design's support files, all side by side in the output folder.
//
// Rebuilds into the same folder redo only what changed: a manifest (kManifestFileName)
// remembers each photo's source, size and time and the parameters it was written with, pages
// are rewritten only when their text changed, and files an earlier build wrote that this one
// does not are removed. A rebuild gives the same bytes as a build into an empty folder.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/progress.h"
#include "platform/result_code.h"
#include "webalbum/design_template.h"

namespace quorvane::album {
class Album;
}  // namespace quorvane::album

namespace quorvane::webalbum {

inline constexpr std::string_view kManifestFileName = ".quorvane-web";
inline constexpr std::string_view kProcessingFailed = "Processing failed";
inline constexpr std::string_view kNotAFolderMessage = "The selected path is not a folder.";
inline constexpr std::string_view kCannotCreateFolderMessage =
    "Error: %s\n\nUnable to create the requested folder.";

struct WebAlbumOptions {
  bool resize = true;
  int max_width = 800;
  int max_height = 600;
  bool keep_aspect = true;
  bool only_larger = true;  // photos that already fit are copied byte for byte
  bool index_pages = true;
  bool photo_pages = true;
  int jpeg_quality = 85;  // of re-encoded photos and of thumbnails
  // No GPS position, serial numbers or owner names in what is published (capture date and
  // orientation stay); off by default, so that photos that fit are exact copies.
  bool strip_private = false;
  int threads = 0;  // photo workers; 0: one per core
};

// Makes sure `folder` is a folder, creating it when missing. On failure returns false with
// kNotAFolderMessage, or kCannotCreateFolderMessage filled with the system's reason.
bool PrepareOutputFolder(const std::filesystem::path& folder, std::string* message);

class WebAlbumGenerator {
 public:
  // `design` must be loaded and outlive the generator; its variables are the user's answers.
  WebAlbumGenerator(DesignTemplate& design, std::filesystem::path output_folder,
                    WebAlbumOptions options = {});

  // The whole run on the calling thread (photos on worker threads it owns). Reports the title
  // "Photo Album", the step texts and one position per photo. Returns kOk, kCancelled when the
  // sink asked to stop (what was written stays whole), or kFailed with last_error() beginning
  // with kProcessingFailed. The album is only read.
  platform::ResultCode Generate(album::Album& album, platform::ProgressSink& progress);

  const std::string& last_error() const { return last_error_; }
  int index_page_count() const { return index_page_count_; }
  // What the last run did: photos decoded and pages written, the rest having been up to date.
  int photos_written() const { return photos_written_; }
  int pages_written() const { return pages_written_; }

 private:
  DesignTemplate& design_;
  std::filesystem::path output_;
  WebAlbumOptions options_;
  std::string last_error_;
  int index_page_count_ = 0;
  int photos_written_ = 0;
  int pages_written_ = 0;
};

}  // namespace quorvane::webalbum
