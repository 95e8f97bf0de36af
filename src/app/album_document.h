// One open album as the frame holds it: the album, its undo history and where it was opened
// from (a folder or a ".qvo" archive, whose working copy lives as long as the document).
// Opening reads the disk, so the frame runs it on a worker. No Qt.
#pragma once

#include <memory>
#include <string>

#include "album/album.h"
#include "album/album_history.h"
#include "app/frame_title.h"

namespace quorvane::app {

class AlbumDocument {
 public:
  // Opens the album folder or archive at `location` and reads its index. Null with the
  // reason in *error. Safe on any thread; the document is then handed to the window thread.
  static std::unique_ptr<AlbumDocument> Open(const std::string& location,
                                             const album::ThumbnailOptions& thumbnails,
                                             std::string* error);
  // Takes an album already made (a new album of the library).
  AlbumDocument(std::unique_ptr<album::Album> album, std::string location);
  // Lets go of the files only the undo history still needed.
  ~AlbumDocument();

  album::Album& album() { return *album_; }
  const album::Album& album() const { return *album_; }
  album::AlbumHistory& history() { return history_; }
  const std::string& location() const { return location_; }

  // What the frame's title shows for this album.
  TitleState Title() const;

 private:
  std::unique_ptr<album::Album> album_;
  album::AlbumHistory history_;
  std::string location_;
};

}  // namespace quorvane::app
