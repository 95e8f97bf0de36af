#include "album/photo_details.h"

#include <utility>

#include "album/index_check.h"

namespace quorvane::album {

std::string PhotoDetailsProblem(const PhotoDetails& details) {
  const struct {
    const char* name;
    const std::optional<std::string>& value;
    IndexField field;
  } texts[] = {{"caption", details.title, IndexField::kEncoded},
               {"description", details.description, IndexField::kText},
               {"keywords", details.keywords, IndexField::kEncoded}};
  for (const auto& text : texts) {
    if (!text.value) continue;
    if (std::string problem = IndexValueProblem(text.field, *text.value); !problem.empty()) {
      return "The album index cannot hold the " + std::string(text.name) + ": it " + problem;
    }
  }
  if (details.date && *details.date != platform::kNoDate &&
      !platform::IsValidOleDate(*details.date)) {
    return "The album index cannot hold the date: it is outside the years 100 to 9999";
  }
  return {};
}

bool SetPhotoDetails(Album& album, size_t index, const PhotoDetails& details) {
  if (!album.CheckWritable()) return false;
  if (index >= album.photos().size()) {
    album.set_last_error("There is no photo " + std::to_string(index + 1) + " in the album");
    return false;
  }
  if (std::string problem = PhotoDetailsProblem(details); !problem.empty()) {
    album.set_last_error(std::move(problem));
    return false;
  }
  AlbumPhoto& photo = album.photos()[index];
  if (details.title) photo.title = *details.title;
  if (details.description) photo.description = *details.description;
  if (details.keywords) photo.keywords = *details.keywords;
  if (details.date) photo.date = *details.date;
  album.set_modified(true);
  return true;
}

}  // namespace quorvane::album
