#include "image/internal/shared_library.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace quorvane::image::internal {

#if defined(_WIN32)

static std::string LastErrorText(const char* what) {
  char* text = nullptr;
  const DWORD code = GetLastError();
  const DWORD length = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string message = std::string(what) + ": ";
  if (length == 0 || text == nullptr) {
    message += "error " + std::to_string(code);
  } else {
    message.append(text, length);
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r' ||
                                message.back() == ' ' || message.back() == '.')) {
      message.pop_back();
    }
  }
  LocalFree(text);
  return message;
}

void* OpenSharedLibrary(std::span<const char* const> names, std::string* error) {
  error->clear();
  for (const char* name : names) {
    if (HMODULE module = LoadLibraryA(name)) return reinterpret_cast<void*>(module);
    if (error->empty()) *error = LastErrorText(name);
  }
  return nullptr;
}

SymbolAddress FindSymbol(void* library, const char* name, std::string* error) {
  FARPROC address = GetProcAddress(static_cast<HMODULE>(library), name);
  if (address == nullptr) {
    *error = LastErrorText(name);
    return nullptr;
  }
  return reinterpret_cast<SymbolAddress>(address);
}

#else

void* OpenSharedLibrary(std::span<const char* const> names, std::string* error) {
  error->clear();
  for (const char* name : names) {
    // Lazy binding, as the loader does for a program's own libraries: the engine pulls in about
    // a hundred more, most of whose functions a run never calls.
    if (void* handle = dlopen(name, RTLD_LAZY | RTLD_LOCAL)) return handle;
    const char* reason = dlerror();
    if (error->empty()) *error = reason != nullptr ? reason : std::string(name) + ": not found";
  }
  return nullptr;
}

SymbolAddress FindSymbol(void* library, const char* name, std::string* error) {
  dlerror();
  void* address = dlsym(library, name);
  if (address == nullptr) {
    const char* reason = dlerror();
    *error = reason != nullptr ? reason : std::string(name) + ": not found";
    return nullptr;
  }
  // POSIX guarantees that a function's address survives the trip through void*.
  return reinterpret_cast<SymbolAddress>(address);
}

#endif

}  // namespace quorvane::image::internal
