// quorvane-cli album: show an album's index, change its title, date, description and user
// variables, or save it under a new name. The verbs on photos are in album_photos_command.cpp.
#include <iostream>
#include <memory>
#include <utility>

#include "album/album_index.h"
#include "album/album_save_as.h"
#include "album/index_check.h"
#include "album/photo_operations.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/stderr_progress.h"

namespace quorvane::cli {
namespace {

constexpr OptionSpec kSetOptions[] = {{"--title", true},
                                      {"--description", true},
                                      {"--date", true},
                                      {"--title-image", true},
                                      {"--var", true}};

std::string DateText(platform::OleDate date) {
  return platform::IsValidOleDate(date) ? platform::FormatOleDate(date) : "-";
}

int Show(std::span<const std::string> args) {
  const std::string usage = UsageOf("album show");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, {}, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 1) return UsageError("expected one album folder", usage);
  auto shown = OpenAlbum(parsed.positional[0], AlbumAccess::kRead);
  if (!shown) return kExitFailure;

  std::cout << "Title: " << shown->title() << '\n'
            << "Date: " << DateText(shown->date()) << '\n'
            << "Description: " << shown->description() << '\n'
            << "Version: " << shown->version() << '\n';
  if (!shown->title_image_file().empty()) {
    std::cout << "Title image: " << shown->title_image_file() << '\n';
  }
  for (const auto& [name, value] : shown->user_variables()) {
    std::cout << "Variable: " << name << '=' << value << '\n';
  }
  std::cout << "Photos: " << shown->photos().size() << '\n';
  size_t number = 0;
  for (const album::AlbumPhoto& photo : shown->photos()) {
    std::cout << ++number << '\t' << OneLine(photo.image_file) << '\t' << OneLine(photo.format)
              << '\t' << photo.width << 'x' << photo.height << '\t' << DateText(photo.date) << '\t'
              << OneLine(photo.title) << '\t' << OneLine(photo.keywords) << '\n';
    if (!photo.description.empty()) {
      std::cout << "\tDescription: " << OneLine(photo.description) << '\n';
    }
  }
  return kExitOk;
}

int Set(std::span<const std::string> args) {
  const std::string usage = UsageOf("album set");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kSetOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 1) return UsageError("expected one album folder", usage);

  // Check every value before touching the album, so a typo changes nothing.
  platform::OleDate date = platform::kNoDate;
  const std::string* date_text = parsed.Value("--date");
  if (date_text != nullptr && !ParseDateOption(*date_text, &date)) {
    return UsageError("invalid date \"" + *date_text + "\"", usage);
  }
  const std::vector<std::string> vars = parsed.Values("--var");
  for (const std::string& var : vars) {
    if (var.find('=') == std::string::npos || var.front() == '=') {
      return UsageError("--var takes NAME=VALUE", usage);
    }
  }
  // A value the index could not give back as it is would be lost or, in a file name, change
  // what the next load reads.
  using album::IndexField;
  for (const auto& [option, field] : {std::pair{"--title", IndexField::kEncoded},
                                      {"--description", IndexField::kText},
                                      {"--title-image", IndexField::kAsIs}}) {
    const std::string* value = parsed.Value(option);
    if (value == nullptr) continue;
    if (std::string problem = album::IndexValueProblem(field, *value); !problem.empty()) {
      return Failure("the album index cannot hold the " + std::string(option) + " value \"" +
                     OneLine(*value) + "\": it " + problem);
    }
  }
  for (const std::string& var : vars) {
    if (std::string problem = album::IndexValueProblem(IndexField::kEncoded, var);
        !problem.empty()) {
      return Failure("the album index cannot hold the --var value \"" + OneLine(var) + "\": it " +
                     problem);
    }
  }

  auto changed = OpenAlbum(parsed.positional[0]);
  if (!changed) return kExitFailure;
  if (const std::string* title = parsed.Value("--title")) changed->set_title(*title);
  if (const std::string* text = parsed.Value("--description")) changed->set_description(*text);
  if (const std::string* file = parsed.Value("--title-image")) changed->set_title_image_file(*file);
  if (date_text != nullptr) changed->set_date(date);
  for (const std::string& var : vars) {
    const size_t eq = var.find('=');
    changed->user_variables().Set(var.substr(0, eq), var.substr(eq + 1));
  }
  if (!album::SaveAlbum(*changed)) return Failure(changed->last_error());
  return kExitOk;
}

int SaveAs(std::span<const std::string> args) {
  const std::string usage = UsageOf("album save-as");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, {}, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 2) {
    return UsageError("expected an album and a new folder or archive", usage);
  }
  auto album = OpenAlbum(parsed.positional[0], AlbumAccess::kReadQuietly);
  if (!album) return kExitFailure;
  StderrProgress progress;
  const platform::ResultCode result = album::SaveAlbumAs(*album, parsed.positional[1], progress);
  return platform::IsFailure(result) ? Failure(album->last_error()) : kExitOk;
}

}  // namespace

int RunAlbumCommand(std::span<const std::string> args) {
  const std::string verb = args.empty() ? "" : args[0];
  if (verb == "show") return Show(args.subspan(1));
  if (verb == "set") return Set(args.subspan(1));
  if (verb == "create") return CreateAlbumCommand(args.subspan(1));
  if (verb == "add") return AddPhotosCommand(args.subspan(1));
  if (verb == "remove") return RemovePhotosCommand(args.subspan(1));
  if (verb == "export") return ExportPhotoCommand(args.subspan(1));
  if (verb == "save-as") return SaveAs(args.subspan(1));
  if (verb == "move") return MovePhotosCommand(args.subspan(1));
  if (verb == "copy") return CopyPhotosCommand(args.subspan(1));
  return UsageError(verb.empty() ? "expected a verb" : "no album verb \"" + verb + "\"",
                    UsageOf("album"));
}

}  // namespace quorvane::cli
