#include "app/album_header.h"

#include <filesystem>
#include <system_error>

#include <QPalette>

#include "album/photo_naming.h"
#include "app/album_document.h"
#include "app/html_resources.h"
#include "app/link_router.h"

namespace quorvane::app {
namespace {

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

QString AlbumHeaderHtml(const AlbumHeaderValues& values) {
  const QString background =
      values.background ? QString::asprintf("#%02x%02x%02x", values.background->red(),
                                            values.background->green(), values.background->blue())
                        : QString("White");
  QString html = QString::asprintf("<body bgcolor=\"%s\">", qPrintable(background));
  html += "<font face=\"{DEFAULT_GUI_FONT}\"><b><font size=\"+2\">" + values.title.toHtmlEscaped() +
          "</font></b>&nbsp;&nbsp;<a href=\"gallery_properties\">Edit&nbsp;description</a><br>";
  QStringList facts;
  if (!values.date.isEmpty()) facts << values.date;
  facts << (values.photo_count == 1 ? QString("1 photo")
                                    : QString("%1 photos").arg(values.photo_count));
  if (values.size_bytes) {
    facts << QString::asprintf("%.1lf MB", static_cast<double>(*values.size_bytes) / 1048576.0);
  }
  html += facts.join(" &middot; ");
  if (!values.description.isEmpty()) {
    if (values.show_description) {
      html += "<p>" + values.description.toHtmlEscaped().replace('\n', "<br>") + "</p>";
    } else {
      html += "&nbsp;&nbsp;<a href=\"show_description\">Show&nbsp;description</a>";
    }
  }
  html += "</font></body>";
  return SubstitutePlaceholders(html, {});
}

int64_t AlbumSizeOnDisk(const std::vector<std::filesystem::path>& files) {
  int64_t total = 0;
  for (const std::filesystem::path& file : files) {
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(file, error);
    if (!error) total += static_cast<int64_t>(size);
  }
  return total;
}

AlbumHeaderPane::AlbumHeaderPane(QWidget* parent) : HtmlPane(parent) {
  setObjectName("AlbumHeader");
  pool_.setMaxThreadCount(1);
  connect(router(), &LinkRouter::DescriptionRequested, this,
          [this] { set_show_description(true); });
}

AlbumHeaderPane::~AlbumHeaderPane() {
  pool_.clear();
  pool_.waitForDone();
}

void AlbumHeaderPane::SetDocument(AlbumDocument* document) {
  document_ = document;
  Refresh();
}

void AlbumHeaderPane::set_show_description(bool shown) {
  show_description_ = shown;
  Build();
}

QString AlbumHeaderPane::html() const { return router()->html(); }

void AlbumHeaderPane::Refresh() {
  const int generation = ++generation_;
  size_.reset();
  Build();
  if (!document_) return;
  album::Album& album = document_->album();
  std::vector<std::filesystem::path> files;
  files.reserve(album.photos().size() * 2);
  for (const album::AlbumPhoto& photo : album.photos()) {
    files.push_back(album.store().LocalPath(photo.image_file));
    files.push_back(album.store().LocalPath(album::ThumbnailName(photo.image_file)));
  }
  pool_.start([this, generation, files = std::move(files)] {
    const int64_t size = AlbumSizeOnDisk(files);
    // Queued to the window thread; a pane deleted meanwhile takes the event with it.
    QMetaObject::invokeMethod(
        this,
        [this, generation, size] {
          if (generation != generation_) return;  // the album changed again since
          size_ = size;
          Build();
          emit SizeMeasured();
        },
        Qt::QueuedConnection);
  });
}

void AlbumHeaderPane::Build() {
  if (!document_) {
    router()->Show("album:", {});
    return;
  }
  const album::Album& album = document_->album();
  AlbumHeaderValues values;
  values.title = FromUtf8(album.title());
  if (values.title.isEmpty()) {
    values.title = FromUtf8(std::filesystem::path(document_->location()).filename().string());
  }
  values.date = FromUtf8(platform::FormatOleDate(album.date()));
  values.description = FromUtf8(album.description());
  values.show_description = show_description_;
  values.photo_count = static_cast<int>(album.photos().size());
  values.size_bytes = size_;
  values.background = palette().color(QPalette::Base);
  router()->Show("album:" + FromUtf8(document_->location()), AlbumHeaderHtml(values));
}

}  // namespace quorvane::app
