#include "browser/search_index_reader.h"

#include <memory>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"

namespace quorvane::browser {

bool SearchIndexReader::Read(const std::string& path) {
  title_.clear();
  photos_.clear();
  album::Album album(std::make_unique<album::FolderStore>(path));
  if (!album::AlbumIndex::LoadIndex(album)) {
    last_error_ = album.last_error();
    return false;
  }
  title_ = album.title();
  photos_ = std::move(album.photos());
  return true;
}

}  // namespace quorvane::browser
