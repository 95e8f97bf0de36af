#include "app/album_document.h"

#include "album/album_archive.h"
#include "album/album_index.h"
#include "album/archive_store.h"
#include "album/folder_store.h"
#include "album/photo_operations.h"

namespace quorvane::app {

std::unique_ptr<AlbumDocument> AlbumDocument::Open(const std::string& location,
                                                   const album::ThumbnailOptions& thumbnails,
                                                   std::string* error) {
  std::unique_ptr<album::AlbumStore> store;
  if (album::IsArchivePath(location)) {
    store = album::ArchiveStore::Open(location, {}, error);
    if (!store) return nullptr;
  } else {
    store = std::make_unique<album::FolderStore>(location);
  }
  auto opened = std::make_unique<album::Album>(std::move(store));
  opened->SetLocation(location);
  opened->set_thumbnail_options(thumbnails);
  if (!album::AlbumIndex::LoadIndex(*opened)) {
    *error = opened->last_error();
    return nullptr;
  }
  return std::make_unique<AlbumDocument>(std::move(opened), location);
}

AlbumDocument::AlbumDocument(std::unique_ptr<album::Album> album, std::string location)
    : album_(std::move(album)), location_(std::move(location)) {}

AlbumDocument::~AlbumDocument() { album::ReleaseRetainedFiles(*album_); }

TitleState AlbumDocument::Title() const {
  return {true, album_->title(), album_->modified(), album_->read_only()};
}

}  // namespace quorvane::app
