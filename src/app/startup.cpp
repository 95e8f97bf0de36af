#include "app/startup.h"

#include <system_error>

#include "platform/ascii.h"
#include "platform/file_util.h"

namespace quorvane::app {

bool IsSwitch(std::string_view argument, std::string_view name) {
  if (argument.size() != name.size() + 1) return false;
  if (argument[0] != '/' && argument[0] != '-') return false;
  return platform::EqualsIgnoringAsciiCase(argument.substr(1), name);
}

StartupRequest ParseArguments(const std::vector<std::string>& arguments) {
  StartupRequest request;
  for (const std::string& argument : arguments) {
    if (IsSwitch(argument, "initialize")) {
      request.initialize = true;
    } else {
      request.open = argument;
    }
  }
  return request;
}

namespace {

// Desktop entries quote an argument in double quotes, escaping ", `, $ and \ with a backslash;
// a literal % is written %%.
std::string QuoteExecArgument(const std::string& text) {
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
    if (c == '%') quoted += '%';
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace

std::string DesktopEntryText(const std::filesystem::path& program) {
  std::string text =
      "[Desktop Entry]\n"
      "Type=Application\n"
      "Name=Quorvane\n"
      "GenericName=Photo Album Manager\n"
      "Comment=Gather photos into albums, correct them and publish them\n"
      "Icon=quorvane\n"
      "Exec=" +
      QuoteExecArgument(program.string()) +
      " %f\n"
      "Terminal=false\n"
      "Categories=Graphics;Photography;Viewer;\n"
      "StartupWMClass=quorvane\n"
      "MimeType=";
  text += std::string(kArchiveMimeType) + ";" + std::string(kAlbumIndexMimeType) + ";\n";
  return text;
}

std::string MimePackageText() {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n";
  text += "  <mime-type type=\"" + std::string(kArchiveMimeType) +
          "\">\n"
          "    <comment>Quorvane Archive</comment>\n"
          "    <sub-class-of type=\"application/zip\"/>\n"
          "    <icon name=\"quorvane\"/>\n"
          "    <glob pattern=\"*.qvo\"/>\n"
          "  </mime-type>\n";
  text += "  <mime-type type=\"" + std::string(kAlbumIndexMimeType) +
          "\">\n"
          "    <comment>Quorvane Album Index</comment>\n"
          "    <sub-class-of type=\"application/xml\"/>\n"
          "    <icon name=\"quorvane\"/>\n"
          "    <glob pattern=\"index.quorvane\" weight=\"60\"/>\n"
          "    <glob pattern=\"*.quorvane\"/>\n"
          "  </mime-type>\n"
          "</mime-info>\n";
  return text;
}

bool WriteFileTypeRegistration(const std::filesystem::path& data_home,
                               const std::filesystem::path& program, std::string_view icon_svg,
                               FileTypeRegistration* written, std::string* error) {
  FileTypeRegistration files{
      data_home / "applications" / "quorvane.desktop",
      data_home / "mime" / "packages" / "quorvane.xml",
      data_home / "icons" / "hicolor" / "scalable" / "apps" / "quorvane.svg"};
  const std::pair<const std::filesystem::path*, std::string> contents[] = {
      {&files.desktop_file, DesktopEntryText(program)},
      {&files.mime_package, MimePackageText()},
      {&files.icon_file, std::string(icon_svg)}};
  for (const auto& [path, bytes] : contents) {
    std::error_code ec;
    std::filesystem::create_directories(path->parent_path(), ec);
    if (ec) {
      *error = "Unable to write " + path->string() + ": " + ec.message();
      return false;
    }
    if (!platform::WriteFileAtomically(*path, bytes, error)) return false;
  }
  if (written) *written = files;
  return true;
}

}  // namespace quorvane::app
