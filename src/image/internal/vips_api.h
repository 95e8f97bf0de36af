// The libvips and GLib functions this library calls, reached through pointers filled when
// libvips is opened on first use: no program of ours links against it, so commands that never
// touch pixels start without loading it and its hundred dependencies. Its headers still give
// the types, constants and macros that do not call functions. Internal to src/image.
#pragma once

#include <span>
#include <string>

#include <vips/vips.h>

// Every function called through the table, by its name without the "vips_" or "g_" prefix.
// A call the linker reports as undefined belongs here; beware of macros that call functions
// (VIPS_INIT, VIPS_IMAGE_ADDR, g_object_unref's relatives).
#define QUORVANE_VIPS_FUNCTIONS(VIPS) \
  VIPS(area_unref)                    \
  VIPS(array_double_new)              \
  VIPS(autorot)                       \
  VIPS(bandjoin)                      \
  VIPS(bandjoin2)                     \
  VIPS(bandjoin_const1)               \
  VIPS(block_untrusted_set)           \
  VIPS(cache_set_max)                 \
  VIPS(cast)                          \
  VIPS(colourspace)                   \
  VIPS(copy)                          \
  VIPS(embed)                         \
  VIPS(error_buffer_copy)             \
  VIPS(error_clear)                   \
  VIPS(extract_area)                  \
  VIPS(extract_band)                  \
  VIPS(flip)                          \
  VIPS(gifload)                       \
  VIPS(gifload_buffer)                \
  VIPS(gifsave_buffer)                \
  VIPS(image_copy_memory)             \
  VIPS(image_get)                     \
  VIPS(image_get_fields)              \
  VIPS(image_get_int)                 \
  VIPS(image_get_string)              \
  VIPS(image_get_typeof)              \
  VIPS(image_guess_interpretation)    \
  VIPS(image_hasalpha)                \
  VIPS(image_init_fields)             \
  VIPS(image_new_from_memory_copy)    \
  VIPS(image_new_memory)              \
  VIPS(image_remove)                  \
  VIPS(image_set)                     \
  VIPS(image_set_int)                 \
  VIPS(image_wio_input)               \
  VIPS(image_write_prepare)           \
  VIPS(init)                          \
  VIPS(interpolate_new)               \
  VIPS(invert)                        \
  VIPS(jpegload)                      \
  VIPS(jpegload_buffer)               \
  VIPS(jpegsave_buffer)               \
  VIPS(magickload_buffer)             \
  VIPS(magicksave_buffer)             \
  VIPS(min)                           \
  VIPS(operation_block_set)           \
  VIPS(pngload)                       \
  VIPS(pngload_buffer)                \
  VIPS(pngsave_buffer)                \
  VIPS(premultiply)                   \
  VIPS(resize)                        \
  VIPS(rot)                           \
  VIPS(rotate)                        \
  VIPS(text)                          \
  VIPS(tiffload)                      \
  VIPS(tiffload_buffer)               \
  VIPS(tiffsave_buffer)               \
  VIPS(unpremultiply)                 \
  VIPS(version)

#define QUORVANE_GLIB_FUNCTIONS(GLIB) \
  GLIB(free)                          \
  GLIB(log_set_handler)               \
  GLIB(object_ref)                    \
  GLIB(object_unref)                  \
  GLIB(strfreev)                      \
  GLIB(value_unset)

namespace quorvane::image::internal {

// One pointer per function, typed from the library's own declaration, so a call through the
// table is checked like a direct call (variadic ones included).
struct VipsApi {
#define QUORVANE_VIPS_MEMBER(name) decltype(&::vips_##name) name = nullptr;
#define QUORVANE_GLIB_MEMBER(name) decltype(&::g_##name) name = nullptr;
  QUORVANE_VIPS_FUNCTIONS(QUORVANE_VIPS_MEMBER)
  QUORVANE_GLIB_FUNCTIONS(QUORVANE_GLIB_MEMBER)
#undef QUORVANE_VIPS_MEMBER
#undef QUORVANE_GLIB_MEMBER
};

// Opens the first of `library_names` that loads and fills `api` from it. False with "Cannot
// load the image engine: <the loader's reason>" in *error when no library loads or one of the
// functions is missing; `api` must then not be used. Starts nothing: see EnsureVips.
bool LoadVipsApi(std::span<const char* const> library_names, VipsApi* api, std::string* error);

// The libraries tried by EnsureVips, in order: the one this program was built against, then the
// usual names.
std::span<const char* const> VipsLibraryNames();

}  // namespace quorvane::image::internal
