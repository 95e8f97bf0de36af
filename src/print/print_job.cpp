#include "print/print_job.h"

#include <cmath>
#include <vector>

#include "image/image.h"
#include "print/pdf_writer.h"

namespace quorvane::print {
namespace {

// Pixels for `points` at `dpi`, rounded up so the photo is never short of the printer's
// resolution.
int Pixels(double points, int dpi) {
  return std::max(1, static_cast<int>(std::ceil(points / 72.0 * dpi - 1e-6)));
}

// Transparent photos print on white paper, not on the black a JPEG would give them.
void FlattenOnWhite(image::Image& picture) {
  if (!picture.has_alpha()) return;
  image::Image flat;
  if (!flat.Create(picture.width(), picture.height(), false, {255, 255, 255, 255})) return;
  for (int y = 0; y < picture.height(); ++y) {
    const uint8_t* in = picture.Row(y);
    uint8_t* out = flat.MutableRow(y);
    for (int x = 0; x < picture.width(); ++x, in += 4, out += 3) {
      for (int c = 0; c < 3; ++c)
        out[c] = static_cast<uint8_t>((in[c] * in[3] + 255 * (255 - in[3]) + 127) / 255);
    }
  }
  picture = std::move(flat);
}

// The folder of the built-in template used when none is chosen.
constexpr std::string_view kDefaultTemplateFolder = "contact-sheet";

}  // namespace

std::string PrintingPageText(int page, int count) {
  return "Printing page " + std::to_string(page) + " of " + std::to_string(count) + " ...";
}

bool LoadPrintPhoto(const std::filesystem::path& file, const Rect& placed, int dpi,
                    image::Image* picture, std::string* error) {
  if (!picture->LoadThumbnailToFit(file, Pixels(placed.width, dpi), Pixels(placed.height, dpi),
                                   image::ResampleMode::kLanczos3)) {
    *error = picture->last_error();
    return false;
  }
  FlattenOnWhite(*picture);
  return true;
}

std::filesystem::path DefaultPrintTemplate(const std::string& last_path,
                                           const std::vector<webalbum::TemplateInfo>& installed) {
  PrintTemplate last;
  if (!last_path.empty() && last.Load(last_path) == platform::kOk) return last_path;
  for (const auto& info : installed) {
    if (std::filesystem::path(info.path).parent_path().filename() == kDefaultTemplateFolder) {
      return info.path;
    }
  }
  return installed.empty() ? std::filesystem::path()
                           : std::filesystem::path(installed.front().path);
}

webalbum::GalleryFacts PrintFacts(album::Album& album) {
  webalbum::GalleryFacts gallery;
  gallery.title = album.title();
  gallery.description = album.description();
  gallery.date = album.date();
  for (const album::AlbumPhoto& photo : album.photos()) {
    webalbum::PhotoFacts facts;
    facts.title = photo.title;
    facts.description = photo.description;
    facts.keywords = photo.keywords;
    facts.date = photo.date;
    facts.image_file = photo.image_file;
    facts.width = photo.width;
    facts.height = photo.height;
    if (facts.width <= 0 || facts.height <= 0) {
      image::ImageInfo info;
      std::string ignored;
      if (image::ReadImageInfo(album.store().LocalPath(photo.image_file),
                               image::ImageFormat::kUnknown, &info, &ignored)) {
        facts.width = info.width;
        facts.height = info.height;
      }
    }
    gallery.photos.push_back(std::move(facts));
  }
  return gallery;
}

webalbum::NamedValues AlbumVariables(const album::Album& album) {
  webalbum::NamedValues variables;
  for (const auto& [name, value] : album.user_variables()) variables.emplace_back(name, value);
  return variables;
}

platform::ResultCode PrintAlbumToPdf(album::Album& album, const PrintTemplate& print_template,
                                     PageSize size, const std::filesystem::path& output,
                                     const PrintOptions& options, platform::ProgressSink& progress,
                                     std::string* error) {
  const webalbum::GalleryFacts gallery = PrintFacts(album);
  const std::vector<PageLayout> pages =
      LayoutPages(print_template, gallery, size, AlbumVariables(album));
  if (pages.empty()) {
    *error = "Unable to print: the paper has no size.";
    return platform::kFailed;
  }
  progress.SetTitle("Printing");
  PdfWriter writer;
  if (!writer.Open(output, error)) return platform::kFailed;
  const int64_t total = static_cast<int64_t>(gallery.photos.size());
  int64_t done = 0;
  for (size_t p = 0; p < pages.size(); ++p) {
    progress.SetText(PrintingPageText(static_cast<int>(p + 1), static_cast<int>(pages.size())));
    std::vector<int> images;
    for (const PlacedPhoto& placed : pages[p].photos) {
      if (progress.Cancelled()) {
        writer.Discard();
        return platform::kCancelled;
      }
      const std::string& name = gallery.photos[placed.photo].image_file;
      image::Image picture;
      std::vector<uint8_t> jpeg;
      std::string reason;
      if (!LoadPrintPhoto(album.store().LocalPath(name), placed.placed, options.dpi, &picture,
                          &reason)) {
        *error = "Unable to print \"" + name + "\": " + reason;
        writer.Discard();
        return platform::kFailed;
      }
      if (!picture.SaveToMemory(&jpeg, image::ImageFormat::kJpeg, options.jpeg_quality)) {
        *error = "Unable to print \"" + name + "\": " + picture.last_error();
        writer.Discard();
        return platform::kFailed;
      }
      const int id = writer.AddJpeg(
          std::string_view(reinterpret_cast<const char*>(jpeg.data()), jpeg.size()), error);
      if (id == 0) {
        writer.Discard();
        return platform::kFailed;
      }
      images.push_back(id);
      progress.SetPosition(++done, total);
    }
    if (!writer.AddPage(pages[p], images, error)) {
      writer.Discard();
      return platform::kFailed;
    }
  }
  if (progress.Cancelled()) {
    writer.Discard();
    return platform::kCancelled;
  }
  const std::string title = album.title().empty() ? output.stem().string() : album.title();
  return writer.Finish(title, error) ? platform::kOk : platform::kFailed;
}

}  // namespace quorvane::print
