// Where quorvane-cli finds installed templates (web designs and print templates): beside the
// program and in the user's data folder, and how a --template option names one of them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "webalbum/design_template.h"

namespace quorvane::cli {

// The folder quorvane-cli lies in: the built-in templates are installed beside it.
std::filesystem::path ProgramFolder();
// The user's data folder, where the templates the user installs go.
std::filesystem::path UserDataFolder();

// The template file that --template names: a package folder (its first file of `extension`),
// a template file, or the Name of one of `installed` (exact first, then in any letter case).
// `wanted` itself when none of these fits, so that loading it reports it.
std::filesystem::path ResolveTemplate(const std::string& wanted,
                                      const std::vector<webalbum::TemplateInfo>& installed,
                                      std::string_view extension);

}  // namespace quorvane::cli
