// The album library: the folder whose subfolders are the user's albums. Finds the albums,
// builds and sorts the rows of the "Open Photo Album" list, creates an album from a typed
// name and deletes one, with the question and the close request left to the caller (the
// dialog, or quorvane-cli). The library folder and the sort order come in as arguments; the
// caller keeps them in the settings.
//
// Thread-compatible; the file work runs on the calling thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "album/album.h"
#include "platform/ole_date.h"
#include "platform/result_code.h"

namespace quorvane::album {

// Sort orders of the album list, in the order of its combo box.
enum AlbumSortOrder : int {
  kSortByTitle = 0,
  kSortNewestFirst = 1,
  kSortOldestFirst = 2,
  kSortByPhotoCount = 3,
};
inline constexpr std::string_view kSortOrderNames[] = {
    "Album Title", "Album Date, Starting with Most Recent", "Album Date, Starting with Oldest",
    "Number of Photos"};

inline constexpr size_t kMaxAlbumNameBytes = 2048;

struct AlbumListEntry {
  std::string title;
  std::string path;  // the album folder
  platform::OleDate date = platform::kNoDate;
  int32_t photo_count = 0;
  std::string caption;  // the text under the row's thumbnail
};

// Appends the full path of every subfolder of `folder` that holds "index.quorvane",
// "index.qvo" or "_index.xml", in the order the folder listing returns them; other entries
// are skipped without a message. Returns the number appended (0 or more), or platform::kFailed
// as a negative number when the folder cannot be listed (IsFailure tells).
int32_t FindAlbums(const std::filesystem::path& folder, std::vector<std::string>* list);

// A date that orders like the moment it names: OLE dates below zero count their fraction
// forward from the day, so a negative d becomes c - (d - c) with c = ceil(d).
double MonotonicOleDate(platform::OleDate date);

// Negative, zero or positive for the four sort orders: title ignoring case (Unicode letters
// of the Latin, Greek and Cyrillic scripts fold too), date newest first, date oldest first,
// photo count ascending; any other order compares equal.
int CompareAlbumEntries(const AlbumListEntry& a, const AlbumListEntry& b, int sort_order);

// "%s{DATE} (%d photos)" with {DATE} replaced by ", <date>" ("July 4, 2026"), or by nothing
// when the album has no date.
std::string AlbumCaption(std::string_view title, platform::OleDate date, int32_t photo_count);

// Reads the row of one album folder from its index. The photo count is what the index
// lists, without looking for the photo files, so a library lists at the cost of reading its
// index files. An album without a title shows its folder name. False, with the album's
// load error in *error, when no index can be read.
bool ReadAlbumListEntry(const std::string& path, AlbumListEntry* entry, std::string* error);

// The folder name of a typed album name: each of " * / : < > ? \ | (and control bytes, which
// no file name may hold) becomes "_".
std::string AlbumFolderName(std::string_view name);

struct NewAlbumValues {
  std::string name;  // as typed; the title, and the folder name after AlbumFolderName
  std::string description;
  platform::OleDate date = platform::kNoDate;
};

// Creates the album folder in `library` (a fresh "<name> (2)", "(3)", ... when the folder
// exists, so no album is ever overwritten) and writes its first index. Returns the album and
// its folder in *folder, or null with "Unable to create album \"<name>\"" in *error, leaving
// nothing behind. Names longer than kMaxAlbumNameBytes are cut there.
std::unique_ptr<Album> CreateAlbum(const std::filesystem::path& library,
                                   const NewAlbumValues& values, std::filesystem::path* folder,
                                   std::string* error);

// What deleting an album asks of the program around it.
struct DeleteAlbumHooks {
  // Shows the question (yes/no); true only for Yes. Required.
  std::function<bool(const std::string& question)> confirm;
  // The folders of the albums open in the main frame.
  std::vector<std::string> open_album_paths;
  // Asks the frame to close the open album in that folder before it is deleted.
  std::function<void(const std::string& path)> close_album;
};

enum class DeleteOutcome { kCancelled, kDeleted, kFailed };

// "Are you sure you want to delete the photo album \"<title>\"?"
std::string DeleteAlbumQuestion(std::string_view title);

// Asks, closes the album when it is open (same folder ignoring case), then deletes the
// folder with everything in it. kDeleted also when the folder was already gone; kFailed
// with "Unable to delete album" in *error.
DeleteOutcome DeleteAlbum(const AlbumListEntry& entry, const DeleteAlbumHooks& hooks,
                          std::string* error);

// The rows of the "Open Photo Album" list with their sort order and selection.
class AlbumList {
 public:
  // Reads every album of `library` and sorts the rows; selects the first. False, with
  // last_error(), when the library cannot be listed (the list is then empty). Albums whose
  // index cannot be read are left out.
  bool Load(const std::filesystem::path& library, int sort_order);
  // Sorts the rows again; rows that compare equal keep their order.
  void SetSortOrder(int sort_order);

  int sort_order() const { return sort_order_; }
  const std::vector<AlbumListEntry>& entries() const { return entries_; }
  // The selected row, or -1.
  int selected() const { return selected_; }
  void Select(int row);
  // Whether the dialog's OK and delete buttons are enabled.
  bool buttons_enabled() const { return !entries_.empty(); }

  // Deletes the selected row's album (DeleteAlbum). When it is gone the row goes too and the
  // selection stays at the same position, or on the last row when the deleted one was last.
  DeleteOutcome DeleteSelected(const DeleteAlbumHooks& hooks);

  const std::string& last_error() const { return last_error_; }

 private:
  std::vector<AlbumListEntry> entries_;
  int sort_order_ = kSortByTitle;
  int selected_ = -1;
  std::string last_error_;
};

}  // namespace quorvane::album
