// A JPEG EXIF segment that holds private data (a GPS block and a body serial number "SN12345")
// beside a capture date and an orientation, for tests of private-data stripping.
#pragma once

#include <string>

namespace quorvane::testing {

// The APP1 segment, marker included: orientation 6 and a GPS IFD in IFD0; the capture date
// 2021:07:14 10:20:30 and the serial number in the EXIF IFD. Little-endian.
std::string ExifSegment();

// `jpeg` with ExifSegment() right after its start-of-image marker.
std::string WithPrivateExif(const std::string& jpeg);

}  // namespace quorvane::testing
