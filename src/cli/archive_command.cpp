// quorvane-cli archive: pack an album folder into an album archive (".qvo") and unpack one
// into a folder.
#include "album/album_archive.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "cli/command_line.h"
#include "cli/commands.h"

namespace quorvane::cli {
namespace {

constexpr std::string_view kPackUsage =
    "archive pack <album-folder> <file.qvo> [--level 0-9] [--deflate-jpeg]";
constexpr std::string_view kUnpackUsage = "archive unpack <file.qvo> <folder>";
constexpr OptionSpec kPackOptions[] = {{"--level", true}, {"--deflate-jpeg", false}};

int Pack(std::span<const std::string> args) {
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kPackOptions, &parsed, &error)) return UsageError(error, kPackUsage);
  if (parsed.positional.size() != 2) {
    return UsageError("expected an album folder and an archive", kPackUsage);
  }
  album::PackOptions options;
  if (const std::string* level = parsed.Value("--level")) {
    if (level->size() != 1 || (*level)[0] < '0' || (*level)[0] > '9') {
      return UsageError("--level takes a number from 0 to 9", kPackUsage);
    }
    options.level = (*level)[0] - '0';
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
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, {}, &parsed, &error)) return UsageError(error, kUnpackUsage);
  if (parsed.positional.size() != 2) {
    return UsageError("expected an archive and a folder", kUnpackUsage);
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
  return UsageError("expected \"pack\" or \"unpack\"",
                    std::string(kPackUsage) + " | " + std::string(kUnpackUsage));
}

}  // namespace quorvane::cli
