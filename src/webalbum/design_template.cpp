#include "webalbum/design_template.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "album/album_store.h"
#include "image/image_types.h"
#include "platform/ascii.h"
#include "xml/byte_buffer.h"
#include "xml/xml_document.h"

namespace quorvane::webalbum {
namespace fs = std::filesystem;
using platform::ResultCode;

namespace {

// Template files are a few KB; anything this large is not one, and is not read into memory.
constexpr uintmax_t kMaxTemplateSize = uintmax_t{64} << 20;

ResultCode FromErrorNumber(int error_number) {
  switch (error_number) {
    case ENOENT:
    case ENOTDIR:
      return kFileNotFound;
    case EACCES:
    case EPERM:
      return 0x80070005;
    default:
      return 0x80070000u | (static_cast<unsigned>(error_number) & 0xFFFFu);
  }
}

std::string Format(std::string_view pattern, const std::string& value) {
  std::string out(pattern);
  const size_t at = out.find("%s");
  if (at != std::string::npos) out.replace(at, 2, value);
  return out;
}

std::string ExtensionOf(std::string_view name) {
  const size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string() : std::string(name.substr(dot + 1));
}

bool IsRegularNotLink(const fs::path& path) {
  std::error_code ec;
  const fs::file_status status = fs::symlink_status(path, ec);
  return !ec && fs::is_regular_file(status);
}

// The entries of a folder sorted by name, so that "the first" is the same on every system.
std::vector<fs::directory_entry> SortedEntries(const fs::path& folder) {
  std::vector<fs::directory_entry> entries;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    entries.push_back(*it);
  }
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.path().filename() < b.path().filename(); });
  return entries;
}

}  // namespace

std::string LoadFailureMessage(ResultCode code, const std::string& path) {
  return Format(code == kFileNotFound ? kFileNotFoundMessage : kInvalidTemplateMessage, path);
}

DesignTemplate::DesignTemplate() = default;
DesignTemplate::~DesignTemplate() = default;

ResultCode DesignTemplate::Load(const fs::path& path) {
  path_ = path;
  document_.reset();
  std::error_code ec;
  if (fs::is_directory(path, ec)) return FromErrorNumber(EISDIR);
  errno = 0;
  std::FILE* file = std::fopen(path.string().c_str(), "rb");
  if (file == nullptr) return FromErrorNumber(errno != 0 ? errno : ENOENT);
  std::string bytes;
  char chunk[65536];
  bool failed = false;
  while (true) {
    const size_t got = std::fread(chunk, 1, sizeof chunk, file);
    bytes.append(chunk, got);
    if (bytes.size() > kMaxTemplateSize) {
      std::fclose(file);
      return kInvalidArgument;
    }
    if (got < sizeof chunk) {
      failed = std::ferror(file) != 0;
      break;
    }
  }
  const int read_error = errno;
  std::fclose(file);
  if (failed) return FromErrorNumber(read_error != 0 ? read_error : EIO);
  return LoadFromMemory(std::move(bytes));
}

ResultCode DesignTemplate::LoadFromMemory(std::string bytes) {
  document_.reset();
  if (bytes.empty()) return platform::kFailed;
  auto document = std::make_unique<xml::XmlDocument>();
  xml::ByteBuffer input(std::move(bytes));
  document->Parse(input);
  if (document->FindPath(root_name_) == nullptr) return kInvalidArgument;
  document_ = std::move(document);
  return platform::kOk;
}

std::string DesignTemplate::GetAttribute(std::string_view name) {
  if (!document_) return {};
  xml::XmlNode* node = document_->FindPath(root_name_ + ".@" + std::string(name));
  return node == nullptr ? std::string() : std::string(node->value());
}

std::string DesignTemplate::GetText() {
  if (!document_) return {};
  xml::XmlNode* node = document_->FindPath(root_name_ + ".#text");
  return node == nullptr ? std::string() : std::string(node->value());
}

xml::XmlNode* DesignTemplate::GetUserVar(int index) {
  if (!document_ || index < 0) return nullptr;
  return document_->FindPath(root_name_ + ".UserVar[" + std::to_string(index) + "]");
}

xml::XmlNode* DesignTemplate::GetUserVarForm() {
  if (!document_) return nullptr;
  return document_->FindPath(root_name_ + ".UserVarForm");
}

int DesignTemplate::FindUserVar(std::string_view tag) {
  for (int i = 0;; ++i) {
    xml::XmlNode* var = GetUserVar(i);
    if (var == nullptr) return -1;
    if (var->GetAttribute("Tag") == tag) return i;
  }
}

const std::string* DesignTemplate::GetVariable(std::string_view tag) const {
  return FindNamed(variables_, tag);
}

void DesignTemplate::SetVariable(std::string_view tag, std::string_view value) {
  SetNamed(variables_, tag, value);
}

bool ReadTemplateInfo(const fs::path& path, TemplateInfo* info) {
  DesignTemplate scratch;
  if (scratch.Load(path) != platform::kOk) return false;
  info->path = path.string();
  info->name = scratch.GetAttribute("Name");
  info->description = scratch.GetText();
  info->creator = scratch.GetAttribute("Creator");
  info->creator_url = scratch.GetAttribute("CreatorURL");
  info->creator_copyright = scratch.GetAttribute("CreatorCopyright");
  info->preview_image = scratch.GetAttribute("PreviewImage");
  return true;
}

std::vector<fs::path> TemplateFolders(const fs::path& program_folder,
                                      const fs::path& user_data_folder) {
  std::vector<fs::path> folders;
  if (!program_folder.empty()) folders.push_back(program_folder / kTemplatesFolderName);
  if (!user_data_folder.empty()) folders.push_back(user_data_folder / kTemplatesFolderName);
  return folders;
}

std::optional<fs::path> FindTemplateFile(const fs::path& folder, std::string_view extension) {
  for (const fs::directory_entry& entry : SortedEntries(folder)) {
    const std::string name = entry.path().filename().string();
    std::error_code ec;
    if (name.size() > extension.size() &&
        platform::EqualsIgnoringAsciiCase(
            std::string_view(name).substr(name.size() - extension.size()), extension) &&
        !entry.is_directory(ec)) {
      return entry.path();
    }
  }
  return std::nullopt;
}

std::vector<TemplateInfo> ListTemplates(const std::vector<fs::path>& folders,
                                        std::string_view extension) {
  std::vector<TemplateInfo> list;
  for (const fs::path& folder : folders) {
    for (const fs::directory_entry& entry : SortedEntries(folder)) {
      std::error_code ec;
      if (!entry.is_directory(ec)) continue;
      const std::optional<fs::path> file = FindTemplateFile(entry.path(), extension);
      TemplateInfo info;
      if (file && ReadTemplateInfo(*file, &info)) list.push_back(std::move(info));
    }
  }
  return list;
}

std::vector<std::string> SupportFiles(const fs::path& template_path,
                                      std::string_view preview_image) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : SortedEntries(template_path.parent_path())) {
    const std::string name = entry.path().filename().string();
    if (!album::IsPlainFileName(name) || !IsRegularNotLink(entry.path())) continue;
    const std::string extension = ExtensionOf(name);
    const bool wanted = image::FindImageType(name) != nullptr ||
                        platform::EqualsIgnoringAsciiCase(extension, "js") ||
                        platform::EqualsIgnoringAsciiCase(extension, "css");
    if (!wanted || platform::EqualsIgnoringAsciiCase(name, preview_image)) continue;
    names.push_back(name);
  }
  return names;
}

std::optional<fs::path> PreviewImagePath(const TemplateInfo& info) {
  if (info.preview_image.empty() || !album::IsPlainFileName(info.preview_image)) {
    return std::nullopt;
  }
  const fs::path path = fs::path(info.path).parent_path() / info.preview_image;
  if (!IsRegularNotLink(path)) return std::nullopt;
  return path;
}

}  // namespace quorvane::webalbum
