// Design templates: a package folder holding one ".qvotmpl" XML file (root element
// "PhotoAlbumTemplate") with the page skeletons and user variables of a web-album design, and
// the graphics, scripts and style sheets the pages refer to. Finding and listing packages,
// loading one, its variables, and which files of its folder may be published.
//
// A package never makes the program read or write outside its own folder: support files and
// the preview picture are plain names of regular files in the template file's folder.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result_code.h"
#include "webalbum/expression.h"

namespace quorvane::xml {
class XmlDocument;
class XmlNode;
}  // namespace quorvane::xml

namespace quorvane::webalbum {

inline constexpr std::string_view kTemplateRootName = "PhotoAlbumTemplate";
inline constexpr std::string_view kTemplateExtension = ".qvotmpl";
inline constexpr std::string_view kTemplatesFolderName = "Templates";

// Load's failures besides the system's own error codes (0x8007xxxx, xxxx the error number).
inline constexpr platform::ResultCode kFileNotFound = 0x80070002;
inline constexpr platform::ResultCode kInvalidArgument = 0x80070057;

// The messages the chooser shows for a template that cannot be used (%s: the file).
inline constexpr std::string_view kFileNotFoundMessage = "Error: File not found.\n\nFile: %s";
inline constexpr std::string_view kInvalidTemplateMessage =
    "Error: Invalid template format.\n\nFile: %s";
// The message for `code` from Load, filled with `path`.
std::string LoadFailureMessage(platform::ResultCode code, const std::string& path);

// One listed template; missing attributes read as empty strings.
struct TemplateInfo {
  std::string path;  // the template file
  std::string name;
  std::string description;  // the root's text, as written (HTML, entity-encoded)
  std::string creator;
  std::string creator_url;
  std::string creator_copyright;
  std::string preview_image;  // relative to the template file's folder
};

class DesignTemplate {
 public:
  DesignTemplate();
  ~DesignTemplate();
  DesignTemplate(const DesignTemplate&) = delete;
  DesignTemplate& operator=(const DesignTemplate&) = delete;

  // Reads and parses the template file. Returns kOk; the system's error of the open or read
  // (kFileNotFound for a missing file); kFailed for an empty file; kInvalidArgument when the
  // root element is missing. The path is remembered before reading; the variables are kept.
  platform::ResultCode Load(const std::filesystem::path& path);
  // The parse and root check of Load on bytes already read (kFailed when empty,
  // kInvalidArgument without the root); the path stays as it was.
  platform::ResultCode LoadFromMemory(std::string bytes);

  bool loaded() const { return document_ != nullptr; }
  const std::filesystem::path& path() const { return path_; }
  const std::string& root_name() const { return root_name_; }
  xml::XmlDocument* document() { return document_.get(); }

  // The root's attribute of that name, and the root's text (both empty when absent).
  std::string GetAttribute(std::string_view name);
  std::string GetText();
  // "PhotoAlbumTemplate.UserVar[index]", or null. Indexes are contiguous from 0.
  xml::XmlNode* GetUserVar(int index);
  xml::XmlNode* GetUserVarForm();
  // The index of the first UserVar whose Tag equals `tag` exactly, or -1.
  int FindUserVar(std::string_view tag);

  // The user's answers, in the order they were first set.
  const std::string* GetVariable(std::string_view tag) const;
  void SetVariable(std::string_view tag, std::string_view value);
  const NamedValues& variables() const { return variables_; }

 private:
  std::unique_ptr<xml::XmlDocument> document_;
  std::filesystem::path path_;
  std::string root_name_{kTemplateRootName};
  NamedValues variables_;
};

// Loads a scratch template from `path` and fills *info; false when loading fails.
bool ReadTemplateInfo(const std::filesystem::path& path, TemplateInfo* info);

// The folders templates are listed from, in order: the program's own "Templates" beside it,
// then the user's (in the data folder), so that designs install without administrator rights.
std::vector<std::filesystem::path> TemplateFolders(const std::filesystem::path& program_folder,
                                                   const std::filesystem::path& user_data_folder);

// The first ".qvotmpl" file (or other `extension`: print templates are listed alike) in
// `folder` by name, or nothing.
std::optional<std::filesystem::path> FindTemplateFile(
    const std::filesystem::path& folder, std::string_view extension = kTemplateExtension);

// Every package of each folder: one sub-folder each, its first ".qvotmpl" only; files lying
// in the folders themselves are not listed, and templates that fail to load are skipped.
std::vector<TemplateInfo> ListTemplates(const std::vector<std::filesystem::path>& folders,
                                        std::string_view extension = kTemplateExtension);

// The support files of the template at `template_path`: plain names of the regular files of
// its folder (links and sub-folders excluded) whose extension is an image type, "js" or
// "css", except the preview picture `preview_image` (compared without regard to case).
std::vector<std::string> SupportFiles(const std::filesystem::path& template_path,
                                      std::string_view preview_image);

// The preview picture's path when it is a plain name of a regular file in the template's
// folder; nothing otherwise.
std::optional<std::filesystem::path> PreviewImagePath(const TemplateInfo& info);

}  // namespace quorvane::webalbum
