#include "app/printing/printer_job.h"

#include <algorithm>
#include <system_error>

#include <QFileInfo>
#include <QPainter>
#include <QPrinter>

#include "app/printing/page_painter.h"
#include "app/qt_image.h"
#include "print/print_job.h"

namespace quorvane::app::printing {
namespace {

namespace fs = std::filesystem;

// Beyond this, a photo's extra pixels cost memory and time but no paper shows them.
const int kMaxPhotoDpi = print::PrintOptions{}.dpi;

// Where a PDF is written until it is complete: beside the target, hidden, still ending in
// ".pdf" so that Qt keeps writing PDF.
fs::path PartialFile(const fs::path& target) {
  return target.parent_path() / ("." + target.filename().string() + ".part.pdf");
}

}  // namespace

PrintAlbum TakePrintAlbum(album::Album& album) {
  PrintAlbum printed;
  printed.title = album.title();
  printed.gallery = print::PrintFacts(album);
  printed.variables = print::AlbumVariables(album);
  for (const auto& photo : album.photos()) {
    printed.files.push_back(album.store().LocalPath(photo.image_file));
  }
  return printed;
}

print::PageSize PrinterPage(const QPrinter& printer) {
  const QRectF sheet = printer.pageLayout().fullRect(QPageLayout::Point);
  return {sheet.width(), sheet.height()};
}

std::vector<print::PageLayout> LayOutForPrinter(const QPrinter& printer,
                                                const print::PrintTemplate& print_template,
                                                const PrintAlbum& printed) {
  return print::LayoutPages(print_template, printed.gallery, PrinterPage(printer),
                            printed.variables);
}

int PhotoDpi(const QPrinter& printer) { return std::clamp(printer.resolution(), 72, kMaxPhotoDpi); }

platform::ResultCode PrintOnPrinter(QPrinter& printer, const print::PrintTemplate& print_template,
                                    const PrintAlbum& printed, platform::ProgressSink& progress,
                                    std::string* error) {
  const std::vector<print::PageLayout> pages = LayOutForPrinter(printer, print_template, printed);
  if (pages.empty()) {
    *error = "Unable to print: the paper has no size.";
    return platform::kFailed;
  }
  const int count = static_cast<int>(pages.size());
  int first = 1;
  int last = count;
  if (printer.printRange() == QPrinter::PageRange && printer.fromPage() > 0) {
    first = std::clamp(printer.fromPage(), 1, count);
    last = std::clamp(printer.toPage() > 0 ? printer.toPage() : count, first, count);
  }
  int64_t total = 0;
  for (int k = first; k <= last; ++k) total += static_cast<int64_t>(pages[k - 1].photos.size());

  const QString target = printer.outputFileName();
  const fs::path target_path = target.toStdString();
  const fs::path partial = target.isEmpty() ? fs::path() : PartialFile(target_path);
  if (!partial.empty()) printer.setOutputFileName(QString::fromStdString(partial.string()));
  std::error_code ignored;
  const auto finish = [&](platform::ResultCode result) {
    if (!partial.empty()) {
      if (result == platform::kOk) {
        std::error_code ec;
        fs::rename(partial, target_path, ec);
        if (ec) {
          *error = "Unable to print to \"" + target_path.string() + "\": " + ec.message();
          result = platform::kFailed;
        }
      }
      fs::remove(partial, ignored);
      printer.setOutputFileName(target);
    }
    return result;
  };

  progress.SetTitle("Printing");
  printer.setFullPage(true);  // the layout measures from the sheet's corner, not the margins
  QPainter painter;
  if (!painter.begin(&printer)) {
    *error = "Unable to print: the printer could not be started.";
    return finish(platform::kFailed);
  }
  const int dpi = PhotoDpi(printer);
  int64_t done = 0;
  for (int k = first; k <= last; ++k) {
    const print::PageLayout& page = pages[k - 1];
    progress.SetText(print::PrintingPageText(k, count));
    std::vector<QImage> photos;
    for (const print::PlacedPhoto& placed : page.photos) {
      if (progress.Cancelled()) {
        printer.abort();
        painter.end();
        return finish(platform::kCancelled);
      }
      image::Image picture;
      std::string reason;
      if (!print::LoadPrintPhoto(printed.files[placed.photo], placed.placed, dpi, &picture,
                                 &reason)) {
        *error = "Unable to print \"" + printed.gallery.photos[placed.photo].image_file +
                 "\": " + reason;
        printer.abort();
        painter.end();
        return finish(platform::kFailed);
      }
      photos.push_back(ToQImage(picture));
      progress.SetPosition(++done, total);
    }
    if (k > first) printer.newPage();
    PaintPage(painter, page, [&photos](size_t index, const print::PlacedPhoto&) {
      return index < photos.size() ? photos[index] : QImage();
    });
  }
  if (progress.Cancelled()) {
    printer.abort();
    painter.end();
    return finish(platform::kCancelled);
  }
  if (!painter.end()) {
    *error = "Unable to print: the printer did not take the pages.";
    return finish(platform::kFailed);
  }
  return finish(platform::kOk);
}

}  // namespace quorvane::app::printing
