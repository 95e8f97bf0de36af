// Printing an album to a PDF file: the album laid out with a print template, each photo
// decoded at the printer's resolution for the size it is printed at (shrink-on-load, never
// enlarged), re-encoded as JPEG and written page by page.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "album/album.h"
#include "image/image.h"
#include "platform/progress.h"
#include "platform/result_code.h"
#include "print/page_layout.h"
#include "print/print_template.h"
#include "webalbum/expansion.h"

namespace quorvane::print {

struct PrintOptions {
  int dpi = 300;  // pixels per inch of printed photo
  int jpeg_quality = 90;
};

// What the layout needs of the album: titles, dates, the photos' files and upright sizes (from
// the index, or the file's header when the index has none), and its user variables.
webalbum::GalleryFacts PrintFacts(album::Album& album);
webalbum::NamedValues AlbumVariables(const album::Album& album);

// The photo at `file` as it is printed in `placed` (points) at `dpi`: shrunk on load to that
// size (never enlarged), transparency flattened on white paper. False with the image engine's
// reason in *error. Thread-compatible: any thread may decode its own photos.
bool LoadPrintPhoto(const std::filesystem::path& file, const Rect& placed, int dpi,
                    image::Image* picture, std::string* error);

// The progress text of page `page` (from 1) of `count`: "Printing page %d of %d ...".
std::string PrintingPageText(int page, int count);

// The template to print with when none is named: the one printed with last (`last_path`, when
// it still loads), else the built-in contact sheet, else the first of `installed`. Empty when
// there is none.
std::filesystem::path DefaultPrintTemplate(const std::string& last_path,
                                           const std::vector<webalbum::TemplateInfo>& installed);

// Prints the album to `output` on paper of `size`. Reports "Printing page %d of %d ..." and
// one position per photo; polls for cancel between photos and returns kCancelled then. On
// failure returns kFailed with the reason in *error ("Unable to print ..."). Either way no
// file is left at `output` but a whole one, and an older file there stays until the new one
// is complete. Runs on the calling thread.
platform::ResultCode PrintAlbumToPdf(album::Album& album, const PrintTemplate& print_template,
                                     PageSize size, const std::filesystem::path& output,
                                     const PrintOptions& options, platform::ProgressSink& progress,
                                     std::string* error);

}  // namespace quorvane::print
