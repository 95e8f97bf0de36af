// Printing an album on a Qt printer: a system printer, or a PDF file through Qt's own writer.
// What the job needs of the album is taken on the window thread; the job then lays the album
// out on the printer's paper and, page by page, decodes the page's photos at the printer's
// resolution and paints it, so memory holds one page of photos however long the album is.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "album/album.h"
#include "platform/progress.h"
#include "platform/result_code.h"
#include "print/page_layout.h"
#include "print/print_template.h"
#include "webalbum/expansion.h"

class QPrinter;

namespace quorvane::app::printing {

// An album as printing reads it; a copy, so the job never touches the album itself.
struct PrintAlbum {
  std::string title;
  webalbum::GalleryFacts gallery;
  webalbum::NamedValues variables;
  std::vector<std::filesystem::path> files;  // where each photo's pixels are
};
PrintAlbum TakePrintAlbum(album::Album& album);

// The printer's sheet in points, turned as the printer is oriented.
print::PageSize PrinterPage(const QPrinter& printer);
// The pages of `printed` on the printer's sheet.
std::vector<print::PageLayout> LayOutForPrinter(const QPrinter& printer,
                                                const print::PrintTemplate& print_template,
                                                const PrintAlbum& printed);
// The resolution photos are decoded at for `printer`: its own, up to what a photo printer uses.
int PhotoDpi(const QPrinter& printer);

// Prints `printed` on `printer` (the pages its print range names, all without one), reporting
// "Printing page %d of %d ..." per page and one position per photo, and polling for cancel
// between photos. A PDF file is written beside its target and put in place only when whole, so
// a cancelled or failed print leaves an older file as it was. kOk, kCancelled, or kFailed with
// the reason in *error ("Unable to print ..."). Runs on the calling thread, which may be a
// worker: nothing else may use `printer` meanwhile.
platform::ResultCode PrintOnPrinter(QPrinter& printer, const print::PrintTemplate& print_template,
                                    const PrintAlbum& printed, platform::ProgressSink& progress,
                                    std::string* error);

}  // namespace quorvane::app::printing
