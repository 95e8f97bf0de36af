// Scanning through SANE, when the program was built with it: the scanners the system knows,
// and one page from one of them as a picture. The scan runs on the calling (worker) thread,
// reports how much of the page has come and stops at a cancel. Built without SANE, nothing is
// available and the scanner commands stay greyed out.
#pragma once

#include <string>
#include <vector>

#include <QImage>

#include "platform/progress.h"
#include "platform/result_code.h"

namespace quorvane::app {

// True when this build can scan.
bool ScanningAvailable();

struct ScanSource {
  std::string name;         // what ScanPage takes ("test:0", "epson2:libusb:001:004")
  std::string description;  // vendor and model, for people
};

// The scanners found now (network ones included: this may take seconds). False with *error
// when SANE cannot start or the build has none.
bool ListScanSources(std::vector<ScanSource>* sources, std::string* error);

// Scans one page in colour from `device` (empty: the first scanner found). kOk with the page,
// kCancelled when `progress` was cancelled, kFailed with *error.
platform::ResultCode ScanPage(const std::string& device, platform::ProgressSink& progress,
                              QImage* page, std::string* error);

}  // namespace quorvane::app
