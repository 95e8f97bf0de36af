#include "cli/installed_templates.h"

#include <system_error>

#include "platform/ascii.h"
#include "settings/user_folders.h"

namespace quorvane::cli {
namespace fs = std::filesystem;

fs::path ProgramFolder() {
  std::error_code ec;
  const fs::path self = fs::read_symlink("/proc/self/exe", ec);
  return ec ? fs::current_path(ec) : self.parent_path();
}

fs::path UserDataFolder() { return settings::FindUserFolders(settings::ProcessEnvironment()).data; }

fs::path ResolveTemplate(const std::string& wanted,
                         const std::vector<webalbum::TemplateInfo>& installed,
                         std::string_view extension) {
  std::error_code ec;
  if (fs::is_directory(wanted, ec)) {
    return webalbum::FindTemplateFile(wanted, extension).value_or(fs::path(wanted));
  }
  if (fs::exists(wanted, ec)) return wanted;
  for (const auto& info : installed) {
    if (info.name == wanted) return info.path;
  }
  for (const auto& info : installed) {
    if (platform::EqualsIgnoringAsciiCase(info.name, wanted)) return info.path;
  }
  return wanted;
}

}  // namespace quorvane::cli
