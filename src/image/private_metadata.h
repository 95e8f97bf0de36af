// Private data in photos that leave the album (web albums, mail): GPS positions, camera and lens
// serial numbers, owner and artist names (in EXIF, XMP and IPTC). Finding it in JPEG, PNG and TIFF
// files, and removing it from a JPEG without re-encoding: the metadata segments go, and a small new
// EXIF block keeps the capture date and the orientation; and the capture date for
// re-encoded photos.
//
// Every reader is bounds-checked: files are untrusted.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::image {

// True when the file's bytes hold any of the private data above. Formats without metadata
// (and bytes that are not an image at all) hold none.
bool HasPrivateMetadata(std::string_view file);

// A JPEG without its EXIF, XMP and IPTC segments, with a new EXIF block holding only the
// orientation and the capture date when the old one had them. False (and *out untouched) when
// `jpeg` is not a JPEG whose segments can be walked up to the image data.
bool StripJpegMetadata(std::string_view jpeg, std::string* out);

// The EXIF segment a photo re-encoded from `file` (JPEG, PNG or TIFF bytes) carries: the
// capture date alone. The orientation is left out because re-encoded pixels are already
// upright. Empty when the file has no capture date.
std::string CaptureDateExif(std::string_view file);
// `jpeg` with `segment` added where readers look for EXIF; false when its segments cannot be
// walked.
bool InsertJpegSegment(std::string_view jpeg, std::string_view segment, std::string* out);

}  // namespace quorvane::image
