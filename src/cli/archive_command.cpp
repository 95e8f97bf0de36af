// quorvane-cli archive: pack an album folder into an album archive (".qvo") and unpack one
// into a folder.
#include "album/album_archive.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "platform/number_text.h"

namespace quorvane::cli {
namespace {

constexpr OptionSpec kPackOptions[] = {{"--level", true}, {"--deflate-jpeg", false}};

int Pack(std::span<const std::string> args) {
  const std::string usage = UsageOf("archive pack");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kPackOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 2) {
    return UsageError("expected an album folder and an archive", usage);
  }
  album::PackOptions options;
  if (const std::string* level = parsed.Value("--level")) {
    int64_t value = 0;
    if (!platform::ParseInteger(*level, 0, 9, &value)) {
      return UsageError("--level takes a number from 0 to 9", usage);
    }
    options.level = static_cast<int>(value);
  }
  options.deflate_jpeg = parsed.Has("--deflate-jpeg");

  // Packing a folder that is not an album (a typo'd home folder) would be a large mistake.
  album::FolderStore folder(parsed.positional[0]);
  bool has_index = false;
  for (std::string_view name : album::kIndexFileNames)
    has_index = has_index || folder.FileExists(name);
  if (!has_index) return Failure("\"" + parsed.positional[0] + "\" is not an album folder");

  if (!album::PackAlbumFolder(parsed.positional[0], parsed.positional[1], options, &error)) {
    return Failure(error);
  }
  return kExitOk;
}

int Unpack(std::span<const std::string> args) {
  const std::string usage = UsageOf("archive unpack");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, {}, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 2) {
    return UsageError("expected an archive and a folder", usage);
  }
  if (!album::UnpackArchive(parsed.positional[0], parsed.positional[1], {}, &error)) {
    return Failure(error);
  }
  return kExitOk;
}

}  // namespace

int RunArchiveCommand(std::span<const std::string> args) {
  if (!args.empty() && args[0] == "pack") return Pack(args.subspan(1));
  if (!args.empty() && args[0] == "unpack") return Unpack(args.subspan(1));
  return UsageError("expected \"pack\" or \"unpack\"", UsageOf("archive"));
}

}  // namespace quorvane::cli
