// Printing an album to a PDF file: the album laid out with a print template, each photo
// decoded at the printer's resolution for the size it is printed at (shrink-on-load, never
// enlarged), re-encoded as JPEG and written page by page.
#pragma once

#include <filesystem>
#include <string>

#include "album/album.h"
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
