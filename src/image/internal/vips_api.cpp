#include "image/internal/vips_api.h"

#include <array>
#include <type_traits>
#include <utility>

#include "image/internal/shared_library.h"

namespace quorvane::image::internal {
namespace {

#if defined(_WIN32)
// Windows looks a function up in one module only, and GLib's live in their own DLLs, which
// libvips has already loaded.
constexpr std::array<const char*, 1> kGObjectNames = {"libgobject-2.0-0.dll"};
constexpr std::array<const char*, 1> kGLibNames = {"libglib-2.0-0.dll"};
#endif

// Looks `name` up in each library in turn; the first library's reason is the one reported.
SymbolAddress FindInAny(std::span<void* const> libraries, const char* name, std::string* error) {
  std::string first_reason;
  for (void* library : libraries) {
    std::string reason;
    if (SymbolAddress address = FindSymbol(library, name, &reason)) return address;
    if (first_reason.empty()) first_reason = std::move(reason);
  }
  *error = std::move(first_reason);
  return nullptr;
}

}  // namespace

std::span<const char* const> VipsLibraryNames() {
#if defined(_WIN32)
  static constexpr std::array<const char*, 1> kNames = {"libvips-42.dll"};
#elif defined(QUORVANE_VIPS_SONAME)
  static constexpr std::array<const char*, 3> kNames = {QUORVANE_VIPS_SONAME, "libvips.so.42",
                                                        "libvips.so"};
#else
  static constexpr std::array<const char*, 2> kNames = {"libvips.so.42", "libvips.so"};
#endif
  return kNames;
}

bool LoadVipsApi(std::span<const char* const> library_names, VipsApi* api, std::string* error) {
  const std::string prefix = "Cannot load the image engine: ";
  std::string reason;
  void* vips = OpenSharedLibrary(library_names, &reason);
  if (vips == nullptr) {
    *error = prefix + reason;
    return false;
  }
#if defined(_WIN32)
  void* gobject = OpenSharedLibrary(kGObjectNames, &reason);
  void* glib = gobject != nullptr ? OpenSharedLibrary(kGLibNames, &reason) : nullptr;
  if (glib == nullptr) {
    *error = prefix + reason;
    return false;
  }
  const std::array<void*, 3> libraries = {vips, gobject, glib};
#else
  // dlsym searches a library's dependencies too, GLib among them.
  const std::array<void*, 1> libraries = {vips};
#endif
  bool complete = true;
  const auto find = [&](auto* member, const char* name) {
    if (!complete) return;
    SymbolAddress address = FindInAny(libraries, name, &reason);
    if (address == nullptr) {
      *error = prefix + reason;
      complete = false;
      return;
    }
    *member = reinterpret_cast<std::remove_reference_t<decltype(*member)>>(address);
  };
#define QUORVANE_FIND_VIPS(name) find(&api->name, "vips_" #name);
#define QUORVANE_FIND_GLIB(name) find(&api->name, "g_" #name);
  QUORVANE_VIPS_FUNCTIONS(QUORVANE_FIND_VIPS)
  QUORVANE_GLIB_FUNCTIONS(QUORVANE_FIND_GLIB)
#undef QUORVANE_FIND_VIPS
#undef QUORVANE_FIND_GLIB
  return complete;
}

}  // namespace quorvane::image::internal
