// What a person writes about an album (title, date, description) and about one photo (caption,
// description, keywords, date), changed as undoable steps of the album's history. The fields
// are set through the same setters the command line uses, so both refuse the same values.
#pragma once

#include <optional>
#include <string>

#include "album/album_history.h"
#include "album/photo_details.h"

namespace quorvane::album {

// What to change of the album itself; fields left empty stay as they are. A date of kNoDate
// clears the date.
struct AlbumDetails {
  std::optional<std::string> title;
  std::optional<std::string> description;
  std::optional<platform::OleDate> date;
};

// Why the index could not give back a value of `details` as it was, naming the field, or
// empty when it can hold them all.
std::string AlbumDetailsProblem(const AlbumDetails& details);

// Changes the album's fields that `details` gives and sets the modified flag. Fails, changing
// nothing, for a read-only album or a value the index cannot hold; the last error says why.
[[nodiscard]] bool SetAlbumDetails(Album& album, const AlbumDetails& details);

// Labels of the records below, as the Undo and Redo entries show them.
inline constexpr char kEditAlbumDescriptionLabel[] = "Edit Album Description";
inline constexpr char kEditPhotoDescriptionLabel[] = "Edit Description";
inline constexpr char kEditCaptionLabel[] = "Edit Caption";

// Sets the album's fields and returns the record that undoes and redoes it. Null when the
// change failed (the album's last error says why, nothing changed) and also, with an empty
// last error, when every field already held its value: such a step is not worth an entry.
RefPtr<HistoryRecord> ChangeAlbumDetails(Album& album, const AlbumDetails& details);

// The same for the photo at `index`, under `label`.
RefPtr<HistoryRecord> ChangePhotoDetails(Album& album, size_t index, const PhotoDetails& details,
                                         std::string label = kEditPhotoDescriptionLabel);

}  // namespace quorvane::album
