// Opening a shared library at run time and looking up its functions: dlopen/dlsym on POSIX,
// LoadLibrary/GetProcAddress on Windows. The image engine is opened this way on first use, so
// commands that never touch pixels do not pay for loading it. Internal to src/image.
#pragma once

#include <span>
#include <string>

namespace quorvane::image::internal {

// A function's address as the loader returns it; cast it to the function's real type.
using SymbolAddress = void (*)();

// Opens the first of `names` the system's loader accepts and returns its handle, or null with
// the loader's reason for the first name in *error. Libraries are never unloaded: the image
// engine keeps threads and registered types alive until the process ends.
void* OpenSharedLibrary(std::span<const char* const> names, std::string* error);

// The function `name` in `library` (on POSIX also in the libraries it depends on), or null with
// the loader's reason in *error.
SymbolAddress FindSymbol(void* library, const char* name, std::string* error);

}  // namespace quorvane::image::internal
