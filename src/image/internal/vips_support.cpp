#include "image/internal/vips_support.h"

#include <mutex>
#include <shared_mutex>

namespace quorvane::image::internal {
namespace {

VipsApi api;
std::string load_error;

// Jobs share this lock while they run; a job run again to read its own failure holds it alone.
std::shared_mutex jobs;
thread_local int job_depth = 0;
thread_local bool read_log = false;  // the current job called TakeVipsError

// libvips reports recoverable decoder trouble (a short JPEG, a bad PNG chunk) as GLib warnings
// on stderr. We turn the serious ones into errors through fail_on, so the rest is noise for a
// command-line user.
void DropWarning(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

bool StartVips() {
  if (!LoadVipsApi(VipsLibraryNames(), &api, &load_error)) return false;
  // The check VIPS_INIT makes: a library of another ABI would misread our structures.
  const int abi = api.version(3) - api.version(5);
  if (abi != VIPS_LIBRARY_CURRENT - VIPS_LIBRARY_AGE) {
    load_error = "Cannot load the image engine: libvips has ABI version " + std::to_string(abi) +
                 ", this program needs " + std::to_string(VIPS_LIBRARY_CURRENT - VIPS_LIBRARY_AGE);
    return false;
  }
  if (api.init("quorvane") != 0) {
    load_error = "Cannot load the image engine: " + TakeVipsError("libvips failed to start");
    return false;
  }
  api.cache_set_max(0);
  api.block_untrusted_set(TRUE);
  api.operation_block_set("VipsForeignLoadMagick", FALSE);
  api.operation_block_set("VipsForeignSaveMagick", FALSE);
  api.log_set_handler("VIPS",
                      static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
                      DropWarning, nullptr);
  return true;
}

}  // namespace

bool EnsureVips(std::string* error) {
  static std::once_flag once;
  static bool started = false;
  std::call_once(once, [] { started = StartVips(); });
  if (!started) *error = load_error;
  return started;
}

const VipsApi& Vips() { return api; }

std::string TakeVipsError(const char* fallback) {
  read_log = true;
  char* raw = api.error_buffer_copy();
  std::string text = raw != nullptr ? raw : "";
  api.free(raw);
  const size_t end = text.find('\n');
  if (end != std::string::npos) text.resize(end);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\r')) text.pop_back();
  return text.empty() ? fallback : text;
}

bool RunVipsJob(bool (*call)(void* job), void* job) {
  if (job_depth > 0) return call(job);
  struct Depth {
    Depth() { ++job_depth; }
    ~Depth() { --job_depth; }
  } depth;
  read_log = false;
  {
    std::shared_lock shared(jobs);
    if (call(job)) return true;
  }
  // A failure our own checks found carries an exact text already.
  if (!read_log) return false;
  std::unique_lock alone(jobs);
  if (api.error_clear != nullptr) api.error_clear();
  return call(job);
}

}  // namespace quorvane::image::internal
