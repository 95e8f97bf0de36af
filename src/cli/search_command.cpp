// quorvane-cli search: finds photos by caption, description and keywords in every album of
// the library, or in the albums (folders or ".qvo" archives) given with --album (searched as
// open albums are), and prints one line per result. With --keep it also keeps the list in
// "searchresults.xml", where the search pane finds it, and --saved prints the kept list.
#include <iostream>
#include <memory>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/user_settings.h"
#include "search/photo_search.h"
#include "settings/user_folders.h"

namespace quorvane::cli {
namespace {

namespace fs = std::filesystem;

constexpr OptionSpec kOptions[] = {
    {"--title", false}, {"--description", false}, {"--keywords", false}, {"--library", true},
    {"--album", true},  {"--saved", false},       {"--keep", false}};

// The program's data folder, holding the kept results and the presence cache. Both once lived
// beside the thumbnail cache; a user's files from then come along on first use.
fs::path DataFolder() {
  const settings::UserFolders folders = settings::FindUserFolders(settings::ProcessEnvironment());
  constexpr std::string_view kDataFiles[] = {search::kSearchResultsFileName,
                                             search::kPresenceCacheFileName};
  for (const std::string& problem : settings::MoveDataFilesFromOldFolder(folders, kDataFiles)) {
    Failure(problem);
  }
  return folders.data;
}

int PrintSaved(const fs::path& data_folder) {
  const fs::path file = data_folder / search::kSearchResultsFileName;
  std::vector<search::SearchResultRow> rows;
  std::string error;
  if (fs::exists(file) && !search::LoadSearchResults(file, &rows, &error)) return Failure(error);
  std::string out;
  for (const search::SearchResultRow& row : rows)
    out += OneLine(row.count) + '\t' + row.path + '\n';
  std::cout << out;
  return kExitOk;
}

}  // namespace

int RunSearchCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("search");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.Has("--saved")) {
    if (args.size() != 1) return UsageError("--saved takes nothing else", usage);
    return PrintSaved(DataFolder());
  }
  if (parsed.positional.size() != 1) return UsageError("expected one search text", usage);
  if (parsed.Has("--library") && parsed.Has("--album")) {
    return UsageError("give --library or --album, not both", usage);
  }

  search::SearchRequest request;
  request.text = parsed.positional[0];
  request.in_title = parsed.Has("--title");
  request.in_description = parsed.Has("--description");
  request.in_keywords = parsed.Has("--keywords");
  if (!request.in_title && !request.in_description && !request.in_keywords) {
    request.in_title = request.in_description = request.in_keywords = true;
  }

  const fs::path data_folder = DataFolder();
  search::SearchScope scope;
  std::vector<std::unique_ptr<album::Album>> opened;
  if (parsed.Has("--album")) {
    scope.kind = search::ScopeKind::kOpenAlbums;
    for (const std::string& location : parsed.Values("--album")) {
      std::unique_ptr<album::Album> album = OpenAlbum(location, AlbumAccess::kRead);
      if (album == nullptr) return kExitFailure;  // OpenAlbum said why
      scope.albums.push_back({location, album.get()});
      opened.push_back(std::move(album));
    }
  } else {
    const std::string* library = parsed.Value("--library");
    scope.library = library != nullptr
                        ? fs::path(*library)
                        : fs::path(LoadSettingsReportingProblems().settings.myphotoalbums_path);
    if (!fs::is_directory(scope.library)) {
      return Failure("Unable to list the albums in " + scope.library.string());
    }
    scope.presence_cache = data_folder / search::kPresenceCacheFileName;
  }

  const bool keep = parsed.Has("--keep");
  // Lines go out in blocks as results come, so a search with many results never holds all
  // its output at once.
  constexpr size_t kBlock = 64 * 1024;
  std::string out;
  out.reserve(kBlock + 4096);
  std::vector<search::SearchResultRow> rows;
  search::RunSearch(request, scope, platform::NoProgress(), [&](search::SearchResult&& result) {
    out.append(result.album_path).append(1, '\t').append(std::to_string(result.index));
    out.append(1, '\t').append(OneLine(result.photo.image_file));
    out.append(1, '\t').append(OneLine(result.photo.title)).append(1, '\n');
    if (out.size() >= kBlock) {
      std::cout.write(out.data(), static_cast<std::streamsize>(out.size()));
      out.clear();
    }
    if (keep) rows.push_back(search::RowOf(result));
  });
  std::cout.write(out.data(), static_cast<std::streamsize>(out.size())) << std::flush;
  if (!keep) return kExitOk;
  // Keeping the list is a convenience: a failure is reported, the search still succeeded.
  const fs::path results_file = data_folder / search::kSearchResultsFileName;
  std::error_code ec;
  fs::create_directories(results_file.parent_path(), ec);
  if (!search::SaveSearchResults(results_file, rows, &error)) Failure(error);
  return kExitOk;
}

}  // namespace quorvane::cli
