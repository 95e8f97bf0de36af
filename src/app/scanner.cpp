#include "app/scanner.h"

#ifdef QUORVANE_HAVE_SANE
#include <cstring>
#include <sane/sane.h>
#include <sane/saneopts.h>
#endif

namespace quorvane::app {

#ifndef QUORVANE_HAVE_SANE

bool ScanningAvailable() { return false; }

bool ListScanSources(std::vector<ScanSource>*, std::string* error) {
  *error = "This version of Quorvane was built without scanner support.";
  return false;
}

platform::ResultCode ScanPage(const std::string&, platform::ProgressSink&, QImage*,
                              std::string* error) {
  *error = "This version of Quorvane was built without scanner support.";
  return platform::kFailed;
}

#else

namespace {

// The resolution asked for: enough for prints up to the scanner glass's size.
constexpr SANE_Int kResolutionDpi = 200;

// One sane_init ... sane_exit bracket; SANE keeps global state, and one job scans at a time.
class SaneSession {
 public:
  SaneSession() { status_ = sane_init(nullptr, nullptr); }
  ~SaneSession() {
    if (status_ == SANE_STATUS_GOOD) sane_exit();
  }
  bool ok(std::string* error) const {
    if (status_ != SANE_STATUS_GOOD) *error = "Unable to start scanning: " + Text(status_);
    return status_ == SANE_STATUS_GOOD;
  }
  static std::string Text(SANE_Status status) { return sane_strstatus(status); }

 private:
  SANE_Status status_;
};

// Sets the option called `name` when the device has it and takes it; scanners differ, so a
// refusal is not an error.
void SetOption(SANE_Handle handle, const char* name, const char* text, SANE_Int number) {
  for (SANE_Int i = 1;; ++i) {
    const SANE_Option_Descriptor* option = sane_get_option_descriptor(handle, i);
    if (option == nullptr) return;
    if (option->name == nullptr || std::strcmp(option->name, name) != 0) continue;
    if (!SANE_OPTION_IS_SETTABLE(option->cap)) return;
    if (option->type == SANE_TYPE_STRING && text != nullptr) {
      std::vector<char> value(static_cast<size_t>(option->size), '\0');
      std::strncpy(value.data(), text, value.size() - 1);
      sane_control_option(handle, i, SANE_ACTION_SET_VALUE, value.data(), nullptr);
    } else if (option->type == SANE_TYPE_INT) {
      sane_control_option(handle, i, SANE_ACTION_SET_VALUE, &number, nullptr);
    } else if (option->type == SANE_TYPE_FIXED) {
      SANE_Fixed fixed = SANE_FIX(number);
      sane_control_option(handle, i, SANE_ACTION_SET_VALUE, &fixed, nullptr);
    }
    return;
  }
}

// One sample of a line as 8 bits.
uint8_t Sample(const uint8_t* line, int depth, int index) {
  switch (depth) {
    case 1:  // 1 is black
      return (line[index / 8] >> (7 - index % 8)) & 1 ? 0 : 255;
    case 16:  // the high byte, in the machine's order
      uint16_t wide;
      std::memcpy(&wide, line + 2 * index, 2);
      return static_cast<uint8_t>(wide >> 8);
    default:
      return line[index];
  }
}

}  // namespace

bool ScanningAvailable() { return true; }

bool ListScanSources(std::vector<ScanSource>* sources, std::string* error) {
  SaneSession session;
  if (!session.ok(error)) return false;
  const SANE_Device** devices = nullptr;
  const SANE_Status status = sane_get_devices(&devices, SANE_FALSE);
  if (status != SANE_STATUS_GOOD) {
    *error = "Unable to look for scanners: " + SaneSession::Text(status);
    return false;
  }
  for (int i = 0; devices[i] != nullptr; ++i) {
    sources->push_back({devices[i]->name, std::string(devices[i]->vendor) + " " +
                                              devices[i]->model + " (" + devices[i]->type + ")"});
  }
  return true;
}

platform::ResultCode ScanPage(const std::string& device, platform::ProgressSink& progress,
                              QImage* page, std::string* error) {
  SaneSession session;
  if (!session.ok(error)) return platform::kFailed;
  std::string name = device;
  if (name.empty()) {
    const SANE_Device** devices = nullptr;
    if (sane_get_devices(&devices, SANE_FALSE) != SANE_STATUS_GOOD || devices[0] == nullptr) {
      *error = "No scanner was found.";
      return platform::kFailed;
    }
    name = devices[0]->name;
  }
  SANE_Handle handle = nullptr;
  if (SANE_Status status = sane_open(name.c_str(), &handle); status != SANE_STATUS_GOOD) {
    *error = "Unable to open the scanner " + name + ": " + SaneSession::Text(status);
    return platform::kFailed;
  }
  SetOption(handle, SANE_NAME_SCAN_MODE, SANE_VALUE_SCAN_MODE_COLOR, 0);
  SetOption(handle, SANE_NAME_SCAN_RESOLUTION, nullptr, kResolutionDpi);

  // Frames come one after the other: one for grey or colour, three for a three-pass scanner.
  std::vector<uint8_t> planes[3];
  SANE_Parameters parameters{};
  SANE_Status status = SANE_STATUS_GOOD;
  bool grey = false;
  for (bool last = false; !last && status == SANE_STATUS_GOOD;) {
    status = sane_start(handle);
    if (status != SANE_STATUS_GOOD) break;
    status = sane_get_parameters(handle, &parameters);
    if (status != SANE_STATUS_GOOD) break;
    last = parameters.last_frame != 0;
    const int plane = parameters.format == SANE_FRAME_GREEN  ? 1
                      : parameters.format == SANE_FRAME_BLUE ? 2
                                                             : 0;
    grey = parameters.format == SANE_FRAME_GRAY;
    std::vector<uint8_t>& bytes = planes[plane];
    const int64_t expected =
        parameters.lines > 0 ? int64_t{parameters.bytes_per_line} * parameters.lines : 0;
    SANE_Byte buffer[32768];
    for (;;) {
      if (progress.Cancelled()) {
        sane_cancel(handle);
        sane_close(handle);
        return platform::kCancelled;
      }
      SANE_Int got = 0;
      status = sane_read(handle, buffer, sizeof buffer, &got);
      if (status != SANE_STATUS_GOOD) break;
      bytes.insert(bytes.end(), buffer, buffer + got);
      if (expected > 0) progress.SetPosition(static_cast<int64_t>(bytes.size()), expected);
    }
    if (status == SANE_STATUS_EOF) status = SANE_STATUS_GOOD;
  }
  sane_cancel(handle);
  sane_close(handle);
  if (status != SANE_STATUS_GOOD) {
    *error = "Unable to scan: " + SaneSession::Text(status);
    return platform::kFailed;
  }

  const int width = parameters.pixels_per_line;
  const int line_bytes = parameters.bytes_per_line;
  const int lines = line_bytes > 0 ? static_cast<int>(planes[0].size() / line_bytes) : 0;
  QImage scanned(width, lines, QImage::Format_RGB888);
  if (width <= 0 || lines <= 0 || scanned.isNull()) {
    *error = "The scanner delivered no picture.";
    return platform::kFailed;
  }
  const bool interleaved = parameters.format == SANE_FRAME_RGB;
  for (int y = 0; y < lines; ++y) {
    uint8_t* out = scanned.scanLine(y);
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) {
        const std::vector<uint8_t>& plane = planes[interleaved || grey ? 0 : c];
        const size_t offset = static_cast<size_t>(y) * line_bytes;
        out[3 * x + c] =
            offset + line_bytes <= plane.size()
                ? Sample(plane.data() + offset, parameters.depth, interleaved ? 3 * x + c : x)
                : 0;
      }
    }
  }
  *page = std::move(scanned);
  return platform::kOk;
}

#endif

}  // namespace quorvane::app
