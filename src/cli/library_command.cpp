// quorvane-cli library: list, create and delete the albums of the album library, the folder
// the settings name unless --library gives another.
#include <iostream>

#include "album/album_library.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/user_settings.h"
#include "platform/number_text.h"
#include "settings/settings.h"

namespace quorvane::cli {
namespace {

namespace fs = std::filesystem;

constexpr OptionSpec kListOptions[] = {{"--sort", true}, {"--library", true}};
constexpr OptionSpec kCreateOptions[] = {
    {"--description", true}, {"--date", true}, {"--library", true}};
constexpr OptionSpec kDeleteOptions[] = {{"--yes", false}, {"--library", true}};

fs::path LibraryOf(const Arguments& parsed, const settings::Settings& settings) {
  const std::string* library = parsed.Value("--library");
  return library != nullptr ? fs::path(*library) : fs::path(settings.myphotoalbums_path);
}

int List(std::span<const std::string> args) {
  const std::string usage = UsageOf("library list");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kListOptions, &parsed, &error)) return UsageError(error, usage);
  if (!parsed.positional.empty()) return UsageError("list takes no arguments", usage);
  const std::string* sort_text = parsed.Value("--sort");
  int64_t sort_value = 0;
  if (sort_text != nullptr && !platform::ParseInteger(*sort_text, 0, 3, &sort_value)) {
    return UsageError("--sort takes 0, 1, 2 or 3", usage);
  }

  settings::UserSettings user = LoadSettingsReportingProblems();
  int sort_order = user.settings.app_openalbumsorttype.value_or(album::kSortByTitle);
  if (sort_text != nullptr) {
    // Choosing an order keeps it for the next listing, as the album dialog does.
    sort_order = static_cast<int>(sort_value);
    user.settings.app_openalbumsorttype = sort_order;
    if (!settings::SaveUserSettings(&user)) {
      Failure(user.backend->LastError());
    }
  }
  album::AlbumList list;
  if (!list.Load(LibraryOf(parsed, user.settings), sort_order)) return Failure(list.last_error());
  std::string out;
  for (const album::AlbumListEntry& entry : list.entries()) {
    out += OneLine(entry.caption) + '\t' + entry.path + '\n';
  }
  std::cout << out;
  return kExitOk;
}

int Create(std::span<const std::string> args) {
  const std::string usage = UsageOf("library create");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kCreateOptions, &parsed, &error)) {
    return UsageError(error, usage);
  }
  if (parsed.positional.size() != 1) return UsageError("expected one album name", usage);
  album::NewAlbumValues values;
  values.name = parsed.positional[0];
  if (const std::string* description = parsed.Value("--description")) {
    values.description = *description;
  }
  if (const std::string* date = parsed.Value("--date");
      date != nullptr && !platform::ParseOleDate(*date, &values.date)) {
    return UsageError("invalid date \"" + *date + "\"", usage);
  }
  const settings::UserSettings user = LoadSettingsReportingProblems();
  fs::path folder;
  if (!album::CreateAlbum(LibraryOf(parsed, user.settings), values, &folder, &error)) {
    return Failure(error);
  }
  std::cout << folder.string() << '\n';
  return kExitOk;
}

// The album a name means: its folder name first, else its title when only one album has it.
const album::AlbumListEntry* FindByName(const album::AlbumList& list, const std::string& name,
                                        std::string* error) {
  const album::AlbumListEntry* titled = nullptr;
  int titled_count = 0;
  for (const album::AlbumListEntry& entry : list.entries()) {
    if (fs::path(entry.path).filename() == name) return &entry;
    if (entry.title == name) titled = &entry, ++titled_count;
  }
  if (titled_count == 1) return titled;
  *error = titled_count == 0 ? "no album \"" + name + "\" in the library"
                             : "more than one album is titled \"" + name + "\"; give its folder";
  return nullptr;
}

int Delete(std::span<const std::string> args) {
  const std::string usage = UsageOf("library delete");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kDeleteOptions, &parsed, &error)) {
    return UsageError(error, usage);
  }
  if (parsed.positional.size() != 1) return UsageError("expected one album name", usage);
  const settings::UserSettings user = LoadSettingsReportingProblems();
  album::AlbumList list;
  if (!list.Load(LibraryOf(parsed, user.settings), album::kSortByTitle)) {
    return Failure(list.last_error());
  }
  const album::AlbumListEntry* entry = FindByName(list, parsed.positional[0], &error);
  if (entry == nullptr) return Failure(error);
  list.Select(static_cast<int>(entry - list.entries().data()));

  album::DeleteAlbumHooks hooks;
  const bool assume_yes = parsed.Has("--yes");
  hooks.confirm = [assume_yes](const std::string& question) {
    if (assume_yes) return true;
    std::cerr << question << " [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes";
  };
  switch (list.DeleteSelected(hooks)) {
    case album::DeleteOutcome::kDeleted:
      return kExitOk;
    case album::DeleteOutcome::kCancelled:
      return Failure("not deleted");
    case album::DeleteOutcome::kFailed:
      break;
  }
  return Failure(list.last_error());
}

}  // namespace

int RunLibraryCommand(std::span<const std::string> args) {
  if (!args.empty() && args[0] == "list") return List(args.subspan(1));
  if (!args.empty() && args[0] == "create") return Create(args.subspan(1));
  if (!args.empty() && args[0] == "delete") return Delete(args.subspan(1));
  return UsageError("expected \"list\", \"create\" or \"delete\"", UsageOf("library"));
}

}  // namespace quorvane::cli
