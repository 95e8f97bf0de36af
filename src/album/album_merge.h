// Merging an album's changes into an index another program wrote meanwhile. Albums stay open
// for a long time in the desktop program and in scripts, so no program holds an album for
// itself: each save merges what it changed since it read the index into what the file holds
// now, under a short lock (photo_operations.h, SaveAlbum).
#pragma once

#include "album/album.h"

namespace quorvane::album {

// Three-way merge of album records: `base` as this program read (or last wrote) the index,
// `ours` as it is now in memory, `theirs` as the file holds it now. Pure; thread-safe.
//
// - Album fields: ours where we changed it from the base, else theirs.
// - Photos are keyed by image file name (the n-th photo of a name, should a file repeat one).
//   Photos we removed go; photos they removed stay gone; photos they added stay where they
//   are. On a photo both keep, each field we changed is ours, the others theirs. Photos we
//   added follow the photo before them in our list, and those after our last known photo
//   go to the end. When we reordered the photos we both know, our order applies to them.
// - User variables, by name: ours where we set or changed one, removed where we removed it,
//   else theirs; new ones at the end.
AlbumRecord MergeAlbumRecords(const AlbumRecord& base, const AlbumRecord& ours,
                              const AlbumRecord& theirs);

// Under the album's lock: learns whether the index file is still the one the album last read
// or wrote (by its stamp, else by reading it and comparing the bytes) and, when another
// program wrote it since, merges the album's changes into what it holds now: the album's
// record becomes the merge, and its snapshot the file as it is. False with the album's last
// error when the file cannot be read, or could not be read whole (saving over it would lose
// what the album cannot read).
[[nodiscard]] bool MergeChangesOnDisk(Album& album);

}  // namespace quorvane::album
