#include "image/internal/vips_support.h"

#include <mutex>

namespace quorvane::image::internal {
namespace {

// libvips reports recoverable decoder trouble (a short JPEG, a bad PNG chunk) as GLib warnings
// on stderr. We turn the serious ones into errors through fail_on, so the rest is noise for a
// command-line user.
void DropWarning(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

}  // namespace

void EnsureVips() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (VIPS_INIT("quorvane") != 0) {
      // Nothing works without libvips; every later call fails with its own error text.
      vips_error_clear();
      return;
    }
    vips_cache_set_max(0);
    vips_block_untrusted_set(TRUE);
    vips_operation_block_set("VipsForeignLoadMagick", FALSE);
    vips_operation_block_set("VipsForeignSaveMagick", FALSE);
    g_log_set_handler("VIPS",
                      static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
                      DropWarning, nullptr);
  });
}

std::string TakeVipsError(const char* fallback) {
  char* raw = vips_error_buffer_copy();
  std::string text = raw != nullptr ? raw : "";
  g_free(raw);
  const size_t end = text.find('\n');
  if (end != std::string::npos) text.resize(end);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\r')) text.pop_back();
  return text.empty() ? fallback : text;
}

}  // namespace quorvane::image::internal
