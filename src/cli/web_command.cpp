// quorvane-cli web: lists the installed web-album designs and publishes an album as a web
// album with one of them, as the web album wizard does.
#include <iostream>
#if defined(__GLIBC__)
#include <malloc.h>
#endif
#include <set>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/installed_templates.h"
#include "cli/open_album.h"
#include "cli/stderr_progress.h"
#include "cli/user_settings.h"
#include "image/image.h"
#include "platform/ascii.h"
#include "platform/number_text.h"
#include "webalbum/design_template.h"
#include "webalbum/settings_form.h"
#include "webalbum/web_album_generator.h"
#include "xml/xml_node.h"

namespace quorvane::cli {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> InstalledTemplateFolders() {
  return webalbum::TemplateFolders(ProgramFolder(), UserDataFolder());
}

int ListDesigns() {
  for (const webalbum::TemplateInfo& info : webalbum::ListTemplates(InstalledTemplateFolders())) {
    std::cout << OneLine(info.name) << '\t' << fs::path(info.path).parent_path().string() << '\n';
  }
  return kExitOk;
}

struct Choice {
  const char* on;
  const char* off;
};

}  // namespace

std::string WebUsage() {
  return "web templates\n"
         "web build <album> <out-folder> [--template NAME|PATH] [--var TAG=VALUE]... "
         "[--size WxH | --no-resize] [--keep-aspect | --no-keep-aspect] "
         "[--only-larger | --always] [--no-index] [--no-photo-pages] [--strip-private]";
}

int RunWebCommand(std::span<const std::string> args) {
  if (args.empty()) return UsageError("expected a verb", WebUsage());
  const std::string& verb = args[0];
  if (verb == "templates") {
    if (args.size() != 1)
      return UsageError("\"web templates\" takes no arguments", UsageOf("web templates"));
    return ListDesigns();
  }
  if (verb != "build") return UsageError("unknown verb \"" + verb + "\"", WebUsage());
  const std::string usage = UsageOf("web build");
  static constexpr OptionSpec kOptions[] = {
      {"--template", true},        {"--var", true},           {"--size", true},
      {"--no-resize", false},      {"--keep-aspect", false},  {"--no-keep-aspect", false},
      {"--only-larger", false},    {"--always", false},       {"--no-index", false},
      {"--no-photo-pages", false}, {"--strip-private", false}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args.subspan(1), kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 2) return UsageError("expected an album and a folder", usage);
  for (const Choice& choice :
       {Choice{"--size", "--no-resize"}, Choice{"--keep-aspect", "--no-keep-aspect"},
        Choice{"--only-larger", "--always"}}) {
    if (parsed.Has(choice.on) && parsed.Has(choice.off)) {
      return UsageError(std::string(choice.on) + " and " + choice.off + " exclude each other",
                        usage);
    }
  }
  webalbum::WebAlbumOptions options;
  if (const std::string* size = parsed.Value("--size");
      size != nullptr &&
      !platform::ParseDimensions(*size, 1, 65500, &options.max_width, &options.max_height)) {
    return UsageError("--size takes WxH, 1 to 65500 pixels each", usage);
  }
  options.resize = !parsed.Has("--no-resize");
  options.keep_aspect = !parsed.Has("--no-keep-aspect");
  options.only_larger = !parsed.Has("--always");
  options.index_pages = !parsed.Has("--no-index");
  options.photo_pages = !parsed.Has("--no-photo-pages");
  std::vector<std::pair<std::string, std::string>> assignments;
  for (const std::string& var : parsed.Values("--var")) {
    const size_t equals = var.find('=');
    if (equals == std::string::npos || equals == 0) {
      return UsageError("--var takes TAG=VALUE", usage);
    }
    assignments.emplace_back(var.substr(0, equals), var.substr(equals + 1));
  }

  settings::UserSettings user = LoadSettingsReportingProblems();
  fs::path template_path;
  if (const std::string* wanted = parsed.Value("--template")) {
    template_path = ResolveTemplate(*wanted, webalbum::ListTemplates(InstalledTemplateFolders()),
                                    webalbum::kTemplateExtension);
  } else {
    webalbum::DesignTemplate last;
    if (!user.settings.web_publish_templatepath.empty() &&
        last.Load(user.settings.web_publish_templatepath) == platform::kOk) {
      template_path = user.settings.web_publish_templatepath;
    } else {
      const auto list = webalbum::ListTemplates(InstalledTemplateFolders());
      if (list.empty()) return Failure("No web album designs are installed.");
      template_path = list.front().path;
    }
  }
  options.strip_private = parsed.Has("--strip-private") || user.settings.web_publish_stripprivate;
  webalbum::DesignTemplate design;
  if (const platform::ResultCode code = design.Load(template_path); code != platform::kOk) {
    return Failure(webalbum::LoadFailureMessage(code, template_path.string()));
  }
  for (const auto& [tag, value] : assignments) {
    if (design.FindUserVar(tag) < 0) {
      return UsageError("the design has no variable \"" + tag + "\"", usage);
    }
  }
  // What the settings page would submit: every variable once, the defaults seeded, then the
  // answers given on the command line.
  webalbum::SeedDefaultValues(design);
  std::vector<std::pair<std::string, std::string>> fields;
  std::set<std::string> seen;
  for (int i = 0; xml::XmlNode* var = design.GetUserVar(i); ++i) {
    const std::string tag(var->GetAttribute("Tag"));
    if (!seen.insert(tag).second) continue;
    const std::string* value = design.GetVariable(tag);
    fields.emplace_back(tag, value == nullptr ? std::string() : *value);
  }
  for (const auto& [tag, value] : assignments) {
    for (auto& field : fields) {
      if (field.first == tag) field.second = value;
    }
  }
  std::string message;
  if (!webalbum::AcceptSettingsForm(design, fields, &message)) return UsageError(message, usage);

  const std::unique_ptr<album::Album> album = OpenAlbum(parsed.positional[0], AlbumAccess::kRead);
  if (!album) return kExitFailure;
  if (album->photos().empty()) return Failure("The album has no photos.");
  const fs::path output = parsed.positional[1];
  if (!webalbum::PrepareOutputFolder(output, &message)) return Failure(message);

  user.settings.web_publish_templatepath = design.path().string();
  user.settings.weboutput_path = fs::absolute(output).string();
  if (!settings::SaveUserSettings(&user)) {
    std::cerr << "quorvane-cli: the settings could not be saved: " << user.backend->LastError()
              << '\n';
  }

  StderrProgress progress;
  webalbum::WebAlbumGenerator generator(design, output, options);
  // Photos decode a few at a time. A budget that one large progressive JPEG (whose decoder keeps
  // every coefficient) nearly fills makes such photos take turns, and one heap instead of one
  // per decoding thread hands what a photo freed on to the next: that bounds the peak (139 MB
  // on the benchmark corpus, against 152-159 MB with 96 MB here, which was 10% faster).
  image::DecodeMemory memory = image::GetDecodeMemory();
  memory.budget = uint64_t{80} << 20;
  image::SetDecodeMemory(memory);
#if defined(__GLIBC__)
  mallopt(M_ARENA_MAX, 1);
#endif
  const platform::ResultCode result = generator.Generate(*album, progress);
  if (result == platform::kCancelled) return Failure("Cancelled");
  if (result != platform::kOk) return Failure(generator.last_error());
  std::cout << album->photos().size() << " photos, " << generator.index_page_count()
            << " index pages in " << output.string() << " (" << generator.photos_written()
            << " photos and " << generator.pages_written() << " pages written)\n";
  return kExitOk;
}

}  // namespace quorvane::cli
