// quorvane-cli photo: what a person writes about one photo of an album (its caption,
// description, keywords and date), which search then finds.
#include "album/photo_details.h"
#include "album/photo_operations.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"

namespace quorvane::cli {
namespace {

int Set(std::span<const std::string> args) {
  const std::string usage = UsageOf("photo set");
  constexpr OptionSpec kOptions[] = {
      {"--caption", true}, {"--description", true}, {"--keywords", true}, {"--date", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 2) {
    return UsageError("expected an album and a photo number", usage);
  }
  if (parsed.options.empty()) return UsageError("nothing to set", usage);

  // Every value is checked before the album is touched, so a typo changes nothing.
  album::PhotoDetails details;
  auto text = [&](std::string_view option) -> std::optional<std::string> {
    const std::string* value = parsed.Value(option);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  };
  details.title = text("--caption");
  details.description = text("--description");
  details.keywords = text("--keywords");
  if (const std::string* date_text = parsed.Value("--date")) {
    platform::OleDate date = platform::kNoDate;
    if (!ParseDateOption(*date_text, &date)) {
      return UsageError("invalid date \"" + *date_text + "\"", usage);
    }
    details.date = date;
  }
  if (std::string problem = album::PhotoDetailsProblem(details); !problem.empty()) {
    return Failure(problem);
  }

  auto changed = OpenAlbum(parsed.positional[0]);
  if (!changed) return kExitFailure;
  size_t index = 0;
  if (!ParsePhotoNumber(parsed.positional[1], changed->photos().size(), &index)) {
    return UsageError(NoPhotoNumbered(parsed.positional[1], changed->photos().size()), usage);
  }
  if (!album::SetPhotoDetails(*changed, index, details) || !album::SaveAlbum(*changed)) {
    return Failure(changed->last_error());
  }
  return kExitOk;
}

}  // namespace

int RunPhotoCommand(std::span<const std::string> args) {
  if (!args.empty() && args[0] == "set") return Set(args.subspan(1));
  return UsageError("expected \"set\"", UsageOf("photo"));
}

}  // namespace quorvane::cli
