// Reads an album's index for searching: the album's title and, per photo, the texts that are
// searched, exactly as opening the album gives them (photos whose file is missing are left
// out, so a photo's position here is its index in the opened album). An index written the
// way the program writes it is read by the album's fast scanner (album/index_scanner.h),
// without building a document tree; anything else by the album index reader itself.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "album/album_photo.h"
#include "album/index_scanner.h"
#include "search/internal/regular_files.h"

namespace quorvane::album {
class AlbumStore;
}

namespace quorvane::search {

namespace internal {
class PhotoPresenceCache;
}

// Reusable from album to album, so the buffers of one read serve the next. Thread-compatible.
class SearchIndexReader {
 public:
  SearchIndexReader();
  ~SearchIndexReader();

  // Lets Read and Load of album folders ask `cache` (which must outlive the reader) whether
  // all photos of a folder are known to be there, and tell it when they were all found.
  void UsePresenceCache(internal::PhotoPresenceCache* cache) { presence_ = cache; }

  // Reads the index of the album folder at `path`: Load, then Parse.
  bool Read(const std::string& path);
  // The same for an album in any store (its FileExists answers for the photo files).
  bool Read(std::unique_ptr<album::AlbumStore> store);

  // The two halves of Read, for a caller that looks at the bytes in between. Load reads the
  // index file's bytes; false, with last_error(), when no index name can be read.
  bool Load(const std::string& path);
  std::string_view bytes() const { return bytes_; }
  // True when the bytes begin with the root tag of an index written the usual way, so that
  // Parse cannot fail; false says nothing.
  bool HasIndexRoot() const;
  // Reads the title and photos from the loaded bytes. False, with last_error(), when they
  // are not an album index; there are then no photos.
  bool Parse();

  const std::string& title() const { return title_; }
  size_t photo_count() const;
  // The photo's caption, description and keywords, decoded. The views stay valid until the
  // next call of Texts or Read.
  void Texts(size_t i, std::string_view* title, std::string_view* description,
             std::string_view* keywords);
  // The bytes [*begin, *end) of the index that the photo's element takes; false when the
  // album index reader read the album, which tells no such thing.
  bool Span(size_t i, size_t* begin, size_t* end) const;
  // The photo's whole record, as the album's index load makes it.
  album::AlbumPhoto Photo(size_t i) const;

  const std::string& last_error() const { return last_error_; }
  // Whether the last successful Read took the album index reader's path (for tests).
  bool used_full_reader() const { return full_read_; }

 private:
  bool Scan(const std::function<bool(std::string_view)>& exists);
  void Reset();

  // Whether each photo's file is there, from one listing of the album folder.
  bool ScanWithListing(bool* all_found);

  std::unique_ptr<album::AlbumStore> store_;
  std::string folder_;  // the album folder when Load read it, else empty
  internal::PhotoPresenceCache* presence_ = nullptr;
  bool stamped_ = false;  // stamp_ describes the folder and index that Load read
  internal::FolderStamp stamp_;

  std::string bytes_;
  std::vector<album::ScannedPhoto> raw_;
  std::vector<album::AlbumPhoto> loaded_;  // when the album index reader read it
  bool full_read_ = false;
  std::string title_;
  std::string scratch_[3];
  std::string names_;                     // the album folder's regular files, one after another
  std::vector<std::string_view> listed_;  // names_ in sorted order
  std::string last_error_;
};

}  // namespace quorvane::search
