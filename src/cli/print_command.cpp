// quorvane-cli print: prints an album to a PDF file through a print template, as printing to
// a PDF file from the desktop program does.
#include <iostream>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/installed_templates.h"
#include "cli/open_album.h"
#include "cli/stderr_progress.h"
#include "cli/user_settings.h"
#include "print/print_job.h"

namespace quorvane::cli {
namespace {

namespace fs = std::filesystem;

std::vector<webalbum::TemplateInfo> InstalledPrintTemplates() {
  return print::ListPrintTemplates(print::PrintTemplateFolders(ProgramFolder(), UserDataFolder()));
}

}  // namespace

int RunPrintCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("print");
  static constexpr OptionSpec kOptions[] = {{"--template", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 2) return UsageError("expected an album and a PDF file", usage);

  settings::UserSettings user = LoadSettingsReportingProblems();
  fs::path template_path;
  if (const std::string* wanted = parsed.Value("--template")) {
    template_path =
        ResolveTemplate(*wanted, InstalledPrintTemplates(), print::kPrintTemplateExtension);
  } else {
    template_path =
        print::DefaultPrintTemplate(user.settings.print_template_path, InstalledPrintTemplates());
    if (template_path.empty()) return Failure("No print templates are installed.");
  }
  print::PrintTemplate print_template;
  if (print_template.Load(template_path) != platform::kOk) {
    return Failure(print_template.last_error());
  }

  const std::unique_ptr<album::Album> album = OpenAlbum(parsed.positional[0], AlbumAccess::kRead);
  if (!album) return kExitFailure;
  if (album->photos().empty()) return Failure("The album has no photos.");

  StderrProgress progress;
  const fs::path output = parsed.positional[1];
  const print::PageSize size = print::PaperSize(print_template.paper());
  const platform::ResultCode result = print::PrintAlbumToPdf(
      *album, print_template, size, output, print::PrintOptions{}, progress, &error);
  if (result == platform::kCancelled) return Failure("Cancelled");
  if (result != platform::kOk) return Failure(error);

  user.settings.print_template_path = fs::absolute(template_path).string();
  if (!settings::SaveUserSettings(&user)) {
    std::cerr << "quorvane-cli: the settings could not be saved: " << user.backend->LastError()
              << '\n';
  }
  const int pages = print::CountPages(print_template, static_cast<int>(album->photos().size()));
  std::cout << album->photos().size() << " photos on " << pages << (pages == 1 ? " page" : " pages")
            << " in " << output.string() << '\n';
  return kExitOk;
}

}  // namespace quorvane::cli
