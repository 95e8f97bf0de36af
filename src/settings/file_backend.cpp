#include "settings/file_backend.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <system_error>

#include "platform/ascii.h"
#include "platform/file_lock.h"
#include "platform/file_util.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace quorvane::settings {
namespace fs = std::filesystem;

namespace {

constexpr std::string_view kHeader =
    "# Quorvane settings, written by the program. 25 is a number, \"25\" a text.\n";
constexpr char kHexDigits[] = "0123456789ABCDEF";

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// `in_name` also escapes what would end a name or a section, and blanks at either end,
// which the reader trims.
std::string Escape(std::string_view raw, bool in_name) {
  std::string out;
  out.reserve(raw.size());
  for (size_t i = 0; i < raw.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(raw[i]);
    const bool edge = i == 0 || i + 1 == raw.size();
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c < 0x20 || c == 0x7F ||
               (in_name && (c == '=' || c == ']' || (edge && c == ' ') ||
                            (i == 0 && (c == '[' || c == '#'))))) {
      out += "\\x";
      out += kHexDigits[c >> 4];
      out += kHexDigits[c & 15];
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

// An unknown or cut-off escape keeps its characters, so a hand-edited file loses nothing.
std::string Unescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char next = text[i + 1];
    switch (next) {
      case 'n':
        out += '\n';
        ++i;
        break;
      case 'r':
        out += '\r';
        ++i;
        break;
      case 't':
        out += '\t';
        ++i;
        break;
      case 'x': {
        const int high = i + 2 < text.size() ? platform::HexDigitValue(text[i + 2]) : -1;
        const int low = i + 3 < text.size() ? platform::HexDigitValue(text[i + 3]) : -1;
        if (high < 0 || low < 0) {
          out += '\\';
          break;
        }
        out += static_cast<char>(high * 16 + low);
        i += 3;
        break;
      }
      default:  // "\\", "\"", "\=", "\]" and anything else: the character itself
        out += next;
        ++i;
    }
  }
  return out;
}

// The "=" that ends a name: the first one not escaped.
size_t FindNameEnd(std::string_view line, char terminator) {
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\') {
      ++i;
    } else if (line[i] == terminator) {
      return i;
    }
  }
  return std::string_view::npos;
}

bool ParseNumber(std::string_view text, int32_t* value) {
  if (text.empty()) return false;
  int64_t wide = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), wide);
  if (ec != std::errc() || end != text.data() + text.size()) return false;
  if (wide < INT32_MIN || wide > static_cast<int64_t>(UINT32_MAX)) return false;
  // Above INT32_MAX the bits of a DWORD are kept, as the registry would.
  *value = static_cast<int32_t>(static_cast<uint32_t>(wide));
  return true;
}

bool ParseValue(std::string_view text, SettingValue* value) {
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
    *value = Unescape(text.substr(1, text.size() - 2));
    return true;
  }
  int32_t number = 0;
  if (!ParseNumber(text, &number)) return false;
  *value = number;
  return true;
}

}  // namespace

SettingSections ParseSettingsFile(std::string_view bytes) {
  SettingSections sections;
  SettingValues* current = nullptr;
  size_t start = 0;
  while (start < bytes.size()) {
    size_t end = bytes.find('\n', start);
    if (end == std::string_view::npos) end = bytes.size();
    std::string_view line = bytes.substr(start, end - start);
    start = end + 1;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    line = Trimmed(line);
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      const size_t close = FindNameEnd(line, ']');
      current = close == std::string_view::npos
                    ? nullptr
                    : &sections[Unescape(Trimmed(line.substr(1, close - 1)))];
      continue;
    }
    if (current == nullptr) continue;  // values before any section belong nowhere
    const size_t eq = FindNameEnd(line, '=');
    if (eq == std::string_view::npos) continue;
    const std::string_view name = Trimmed(line.substr(0, eq));
    SettingValue value;
    if (name.empty() || !ParseValue(Trimmed(line.substr(eq + 1)), &value)) continue;
    (*current)[Unescape(name)] = std::move(value);
  }
  return sections;
}

std::string FormatSettingsFile(const SettingSections& sections) {
  std::string out(kHeader);
  for (const auto& [section, values] : sections) {
    out += '[';
    out += Escape(section, true);
    out += "]\n";
    for (const auto& [name, value] : values) {
      out += Escape(name, true);
      out += '=';
      if (const int32_t* number = std::get_if<int32_t>(&value)) {
        out += std::to_string(*number);
      } else {
        out += '"';
        out += Escape(std::get<std::string>(value), false);
        out += '"';
      }
      out += '\n';
    }
  }
  return out;
}

bool FileBackend::ReadAll(SettingSections* sections) {
  sections->clear();
  std::error_code ec;
  if (!fs::exists(file_, ec) && !ec) return true;
  std::string bytes;
  if (!platform::ReadWholeFile(file_, &bytes, &last_error_)) return false;
  *sections = ParseSettingsFile(bytes);
  return true;
}

bool FileBackend::ReadSection(std::string_view section, SettingValues* values) {
  values->clear();
  SettingSections sections;
  if (!ReadAll(&sections)) return false;
  if (auto found = sections.find(section); found != sections.end()) {
    *values = std::move(found->second);
  }
  return true;
}

bool FileBackend::ChangeValues(std::string_view section, const ChangeDecider& decide) {
  const fs::path folder = file_.has_parent_path() ? file_.parent_path() : fs::path(".");
  std::error_code ec;
  if (!fs::is_directory(folder, ec)) {
    fs::create_directories(folder, ec);
    if (ec) {
      last_error_ = "Unable to create " + folder.string() + ": " + ec.message();
      return false;
    }
    fs::permissions(folder, fs::perms::owner_all, ec);
  }
  // The folder, not the file, because every save replaces the file. Held from the read to
  // the rename, so no other writer's change can fall between the two.
  platform::FileLock lock;
  if (!lock.Acquire(folder, platform::FileLock::Mode::kExclusive, kLockWait, &last_error_)) {
    return false;
  }

  SettingSections sections;
  if (!ReadAll(&sections)) return false;
  auto stored = sections.find(section);
  const SettingChanges changes =
      decide(stored != sections.end() ? stored->second : SettingValues());
  if (changes.empty()) return true;
  if (stored == sections.end()) stored = sections.try_emplace(std::string(section)).first;
  for (const auto& [name, value] : changes.set) stored->second.insert_or_assign(name, value);
  for (const std::string& name : changes.removed) stored->second.erase(name);
#ifndef _WIN32
  // The atomic write keeps the mode of the file it replaces, so the file is made private
  // before the password can reach it.
  const int fd = ::open(file_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0 || ::fchmod(fd, 0600) != 0) {
    const int saved = errno;
    if (fd >= 0) ::close(fd);
    last_error_ = "Unable to write \"" + file_.string() + "\": " + platform::ErrorText(saved);
    return false;
  }
  ::close(fd);
#endif
  return platform::WriteFileAtomically(file_, FormatSettingsFile(sections), &last_error_);
}

}  // namespace quorvane::settings
