#include "settings/registry_backend.h"

#ifdef _WIN32

#include <cstdint>
#include <cstring>

// clang-format off
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// clang-format on

namespace quorvane::settings {
namespace {

constexpr DWORD kValueBufferSize = 1024;
constexpr DWORD kNameBufferSize = 16384;  // the registry's own limit on value names

std::string KeyPath(std::string_view section) {
  return std::string(kRegistryKey) + "\\" + std::string(section);
}

std::string SystemMessage(LONG code) {
  char* text = nullptr;
  const DWORD length = ::FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string message = length > 0 && text != nullptr ? std::string(text, length) : "error";
  if (text != nullptr) ::LocalFree(text);
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) {
    message.pop_back();
  }
  return message + " (" + std::to_string(code) + ")";
}

class KeyHandle {
 public:
  KeyHandle() = default;
  ~KeyHandle() {
    if (key_ != nullptr) ::RegCloseKey(key_);
  }
  KeyHandle(const KeyHandle&) = delete;
  KeyHandle& operator=(const KeyHandle&) = delete;
  HKEY* out() { return &key_; }
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

}  // namespace

bool RegistryBackend::ReadSection(std::string_view section, SettingValues* values) {
  values->clear();
  KeyHandle key;
  const LONG opened =
      ::RegOpenKeyExA(HKEY_CURRENT_USER, KeyPath(section).c_str(), 0, KEY_READ, key.out());
  if (opened == ERROR_FILE_NOT_FOUND) return true;
  if (opened != ERROR_SUCCESS) {
    last_error_ = "Unable to open the settings key: " + SystemMessage(opened);
    return false;
  }
  std::string name(kNameBufferSize, '\0');
  BYTE data[kValueBufferSize];
  for (DWORD index = 0;; ++index) {
    DWORD name_length = kNameBufferSize;
    DWORD data_size = kValueBufferSize;
    DWORD type = 0;
    const LONG got = ::RegEnumValueA(key.get(), index, name.data(), &name_length, nullptr, &type,
                                     data, &data_size);
    if (got == ERROR_NO_MORE_ITEMS) break;
    if (got != ERROR_SUCCESS) continue;  // ERROR_MORE_DATA: too long, keeps its default
    const std::string value_name(name.data(), name_length);
    if (type == REG_DWORD && data_size == sizeof(DWORD)) {
      DWORD number = 0;
      std::memcpy(&number, data, sizeof number);
      (*values)[value_name] = static_cast<int32_t>(number);
    } else if (type == REG_SZ || type == REG_EXPAND_SZ) {
      size_t length = data_size;
      while (length > 0 && data[length - 1] == 0) --length;
      (*values)[value_name] = std::string(reinterpret_cast<const char*>(data), length);
    }
  }
  return true;
}

bool RegistryBackend::ChangeValues(std::string_view section, const ChangeDecider& decide) {
  SettingValues stored;
  if (!ReadSection(section, &stored)) return false;
  const SettingChanges changes = decide(stored);
  if (changes.empty()) return true;
  KeyHandle key;
  const LONG created =
      ::RegCreateKeyExA(HKEY_CURRENT_USER, KeyPath(section).c_str(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, key.out(), nullptr);
  if (created != ERROR_SUCCESS) {
    last_error_ = "Unable to create the settings key: " + SystemMessage(created);
    return false;
  }
  for (const auto& [name, value] : changes.set) {
    LONG set;
    if (const int32_t* number = std::get_if<int32_t>(&value)) {
      const DWORD dword = static_cast<DWORD>(*number);
      set = ::RegSetValueExA(key.get(), name.c_str(), 0, REG_DWORD,
                             reinterpret_cast<const BYTE*>(&dword), sizeof dword);
    } else {
      const std::string& text = std::get<std::string>(value);
      const size_t length = std::strlen(text.c_str()) + 1;
      set =
          ::RegSetValueExA(key.get(), name.c_str(), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(text.c_str()), static_cast<DWORD>(length));
    }
    if (set != ERROR_SUCCESS) {
      last_error_ = "Unable to write the setting \"" + name + "\": " + SystemMessage(set);
      return false;
    }
  }
  for (const std::string& name : changes.removed) {
    const LONG deleted = ::RegDeleteValueA(key.get(), name.c_str());
    if (deleted != ERROR_SUCCESS && deleted != ERROR_FILE_NOT_FOUND) {
      last_error_ = "Unable to remove the setting \"" + name + "\": " + SystemMessage(deleted);
      return false;
    }
  }
  return true;
}

}  // namespace quorvane::settings

#endif  // _WIN32
