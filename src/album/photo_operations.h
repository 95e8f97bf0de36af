// The operations that bring photos into an album, replace them, copy them out and let them
// go. Every photo has a thumbnail beside it (photo_naming.h, ThumbnailName), made to fit
// 2 pixels inside the album's thumbnail cell.
//
// Nothing here deletes a photo's file at once: a replaced version or a removed photo's files
// are retained (Album::RetainFile) so the album's undo can bring them back, and
// ReleaseRetainedFiles deletes them when the album closes. Thread-compatible, like Album.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "album/album.h"
#include "image/image.h"
#include "platform/progress.h"

namespace quorvane::album {

// Each long operation tells `progress` the text of each step ("Loading image from disk...")
// and its position (the step, from 0, of the steps).
// Loads an image file whose type comes from its extension (the image type table). On failure
// sets the album's last error: "Unable to determine image format", or the decoder's own text.
[[nodiscard]] bool LoadImageFile(Album& album, image::Image* image,
                                 const std::filesystem::path& path);

// Fits `image` into max_width x max_height. With `only_shrink` an image that already fits
// stays as it is. With `keep_proportions` the bound side takes its maximum and the other side
// follows the ratio, truncated toward zero (a 1600x1200 image in 118x88 becomes 117x88).
[[nodiscard]] bool FitImage(image::Image& image, int max_width, int max_height,
                            bool keep_proportions, bool only_shrink, image::ResampleMode mode);

// Adds the image file `source` to the album as `file_name` made safe (photo_naming.h,
// AlbumFileName: "~" and bytes the index cannot hold become "-") at `position` (-1 appends):
// loads it, records its size, date (EXIF date taken, else the file's time) and type, makes its
// thumbnail, then copies the file and writes the thumbnail into the album. The file never
// replaces another: when the album has a file of that name (also one another program has
// just added), the photo takes the next free name (MakeUniqueName), which its record holds.
// Fails for a read-only album. A failure after the photo's record was inserted leaves the
// record in place; the album's last error says why. Sets the modified flag on success. The
// new files are flushed to the disk by the album's save (SaveAlbum), before the index that
// names them.
[[nodiscard]] bool AddImageFromDisk(Album& album, const std::filesystem::path& source,
                                    std::string_view file_name, int position,
                                    platform::ProgressSink& progress = platform::NoProgress());

// Copies the photo at `index` of `from` into `to` at `position` (-1 appends): its image file
// and its thumbnail ("Copying image...", "Copying thumbnail..."), under a name free in `to`
// made from its own (AlbumFileName, then MakeUniqueName, also against another program adding
// at the same time), and its record with every field but the file name. A photo without a
// thumbnail gets a new one. Fails for a read-only `to` and leaves `to` as it was on failure,
// with the reason in to's last error. Sets to's modified flag; the files reach the disk for
// sure at to's save (SaveAlbum). `from` and `to` may be two openings of the same album.
[[nodiscard]] bool CopyPhotoToAlbum(Album& from, size_t index, Album& to, int position,
                                    platform::ProgressSink& progress = platform::NoProgress());

// Makes the thumbnail of `image` for this album: a true-colour copy fitted into the cell less
// 2 pixels, never enlarged.
[[nodiscard]] bool MakeThumbnail(Album& album, const image::Image& image, image::Image* thumbnail);

// Loads the photo at `index` from the album ("Loading image from album...").
[[nodiscard]] bool LoadAlbumImage(Album& album, size_t index, image::Image* image,
                                  platform::ProgressSink& progress = platform::NoProgress());

// The other version of one photo's image and thumbnail, kept in the album's store under
// names of its own, with the size that version has.
struct PhotoVersion {
  std::string photo_file;      // the photo's image file name (its name in the index)
  std::string image_file;      // the kept image
  std::string thumbnail_file;  // the kept thumbnail
  int32_t width = 0;
  int32_t height = 0;
};

// Replaces the photo at `index` with `image` (saved in the photo's own format) and a new
// thumbnail. The replaced image and thumbnail are kept; *kept tells where. Sets the modified
// flag. Fails for a read-only album. On failure nothing has changed.
[[nodiscard]] bool ReplacePhotoImage(Album& album, size_t index, const image::Image& image,
                                     PhotoVersion* kept,
                                     platform::ProgressSink& progress = platform::NoProgress());

// Swaps the photo's current image, thumbnail and size with the kept version. Calling it again
// swaps them back, so one routine serves undo and redo. Fails when the album is read-only,
// the photo is no longer in the album or a file cannot be moved (then nothing has changed).
[[nodiscard]] bool ExchangePhotoVersion(Album& album, PhotoVersion& version);

// Copies the photo at `index` out of the album to `target` (a file path), as it is, or fitted
// into *fit (never enlarged, proportions kept, the thumbnail resampling mode) and saved in the
// photo's format. Refuses to overwrite an existing file.
using image::FitSize;
[[nodiscard]] bool CopyImageOut(Album& album, size_t index, const std::filesystem::path& target,
                                const std::optional<FitSize>& fit,
                                platform::ProgressSink& progress = platform::NoProgress());
// Copies the thumbnail of the photo at `index` to `target` ("Copying thumbnail...").
[[nodiscard]] bool CopyThumbnailOut(Album& album, size_t index, const std::filesystem::path& target,
                                    platform::ProgressSink& progress = platform::NoProgress());

// Writes the index and makes the album durable where it lives (an archive is repacked,
// without the retained files). Other programs may have the album open and save it too: the
// save takes the album's lock (AlbumStore::LockIndex, waiting a few seconds at most), catches
// up with what they saved (AlbumStore::CatchUp), and when the index changed since the album
// read or wrote it, merges the album's changes into what it holds now (album_merge.h) before
// writing. Fails, writing nothing, for a read-only album, when the changed index could not be
// read whole, and when an archive cannot take both programs' files; the last error says why.
[[nodiscard]] bool SaveAlbum(Album& album);

// Deletes the retained files that neither a photo of the album nor the saved index uses: the
// album's undo history is gone (the album is closing). Files still named by the saved index
// stay, so closing without saving never loses a photo the album on disk shows.
void ReleaseRetainedFiles(Album& album);

}  // namespace quorvane::album
