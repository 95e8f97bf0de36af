// AlbumIndex: reads and writes an album's index file ("index.quorvane") through the album's
// store. The file is one line of XML: a "Quorvane" root with the album's fields and one
// "Image" element per photo, then a "UserVar" element beside the root.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "album/album.h"

namespace quorvane::xml {
class ByteBuffer;
class XmlDocument;
class XmlNode;
}  // namespace quorvane::xml

namespace quorvane::album {

// Index file names, in the reader's order of preference; only the first is ever written.
inline constexpr std::string_view kIndexFileNames[] = {"index.quorvane", "index.qvo", "_index.xml"};
inline constexpr std::string_view kIndexFileName = kIndexFileNames[0];
inline constexpr std::string_view kMalformedIndexError =
    "Unable to load album index; malformed index file.";

class AlbumIndex {
 public:
  // Reads the first index file the store has, in the order of preference. On failure the
  // store's LastError() holds the reason for the last name tried.
  [[nodiscard]] static bool ReadIndexFile(AlbumStore& store, std::string* bytes);
  // Parses index bytes into `document` (a derived document may read only what it needs) and
  // returns the root element, or null when the first node is not "Quorvane" or "Tarnwell".
  static xml::XmlNode* ParseIndex(xml::XmlDocument& document, std::string bytes);
  // The same from an input buffer, which keeps the bytes (ByteBuffer::Detach gives them back).
  static xml::XmlNode* ParseIndex(xml::XmlDocument& document, xml::ByteBuffer& input);

  // Reads an "ImageSize" value ("%dx%d") into the photo's width and height as sscanf would:
  // numbers that do not parse leave their field, and a width that parses is kept even when
  // the height does not.
  static void ReadImageSize(std::string_view text, AlbumPhoto* photo);

  // Parses index bytes into *record; photos whose image file is not in the store are left
  // out, and named in *left_out when given. *loss says what of the bytes the record does not
  // hold (index_check.h), empty when it holds everything. False, with the record in no
  // defined state, when the first node is not the root (kMalformedIndexError).
  [[nodiscard]] static bool ReadRecord(AlbumStore& store, std::string bytes, AlbumRecord* record,
                                       std::string* loss,
                                       std::vector<std::string>* left_out = nullptr);
  // The record an album read or wrote, again from its snapshot: the same photos, whatever
  // the store holds now. False when the snapshot holds no index.
  [[nodiscard]] static bool ReadSavedRecord(const IndexSnapshot& snapshot, AlbumRecord* record);

  // Reads the first index file the store has and replaces the album's fields, photos and
  // user variables with it; photos whose image file is not in the store are left out. On
  // failure returns false with the reason in album.last_error(); a failure before the root
  // was found leaves the album's fields untouched. Clears the modified flag on success and
  // remembers what was read (Album::saved_index). An index the album could not read whole
  // loads as far as it could be read and makes the album read-only, with the reason.
  [[nodiscard]] static bool LoadIndex(Album& album);

  // Writes "index.quorvane" through the store (atomically, for a folder). Fails, writing
  // nothing, for a read-only album and for values the file could not give back as they are
  // (index_check.h: quotes or ">" in file names, 0xFF anywhere, a tag too long); on failure
  // album.last_error() says why (or holds the store's message). Clears the modified flag and
  // remembers what was written on success. Does not lock or merge: see SaveAlbum.
  [[nodiscard]] static bool SaveIndex(Album& album);

 private:
  // ReadRecord with the photo filter of a store, or (without one) of a list of names to leave
  // out.
  // `bytes_back`, when given, receives the bytes again after parsing.
  static bool ReadRecordFrom(AlbumStore* store, const std::vector<std::string>* leave_out,
                             std::string bytes, AlbumRecord* record, std::string* loss,
                             std::vector<std::string>* left_out, std::string* bytes_back);
};

}  // namespace quorvane::album
