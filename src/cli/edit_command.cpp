// quorvane-cli edit and edit-file: the edit commands on an album's photos (one undoable
// step, then saved) and the photo window's edits on one image file, by the names of the
// edit command table.
#include <iostream>
#include <sstream>
#include <thread>

#include "album/batch_operations.h"
#include "album/photo_naming.h"
#include "album/photo_operations.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "imaging/album_edit.h"
#include "imaging/edit_commands.h"
#include "imaging/viewer_document.h"

namespace quorvane::cli {
namespace {

constexpr std::string_view kEditUsage =
    "edit <album> <operation> [--gamma G] [--angle A] [--size WxH] [--photos 1,3,5]";
constexpr std::string_view kEditFileUsage =
    "edit-file <in> <out> <operation> [--gamma G] [--angle A] [--size WxH] "
    "[--select rect|ellipse L,T,R,B]";
constexpr OptionSpec kValueOptions[] = {{"--gamma", true}, {"--angle", true}, {"--size", true}};

bool ParseFloat(const std::string& text, float* value) {
  std::istringstream in(text);
  in >> *value;
  return !in.fail() && in.eof();
}

// Reads the operation's own values (--gamma, --angle, --size) into *values; false with
// *problem set when one is missing or malformed.
bool ParseValues(const Arguments& parsed, const imaging::EditCommand& command,
                 imaging::EditValues* values, std::string* problem) {
  switch (command.parameter) {
    case imaging::EditParameter::kGamma:
      if (const std::string* text = parsed.Value("--gamma")) {
        if (!ParseFloat(*text, &values->gamma) || !(values->gamma > 0)) {
          *problem = "--gamma takes a number above 0";
          return false;
        }
      }
      return true;
    case imaging::EditParameter::kAngle:
      if (const std::string* text = parsed.Value("--angle")) {
        if (!ParseFloat(*text, &values->angle)) {
          *problem = "--angle takes a number of degrees";
          return false;
        }
      }
      return true;
    case imaging::EditParameter::kSize: {
      const std::string* text = parsed.Value("--size");
      char x = 0;
      std::istringstream in(text != nullptr ? *text : "");
      if (text == nullptr || !(in >> values->width >> x >> values->height) || x != 'x' ||
          !in.eof() || values->width < 1 || values->height < 1) {
        *problem = std::string(command.name) + " needs --size WIDTHxHEIGHT";
        return false;
      }
      return true;
    }
    case imaging::EditParameter::kNone:
      return true;
  }
  return true;
}

// "1,3,5" -> positions 0, 2, 4, each a photo of the album.
bool ParsePhotoList(const std::string& text, size_t count, std::vector<size_t>* positions) {
  std::istringstream in(text);
  std::string item;
  while (std::getline(in, item, ',')) {
    try {
      size_t used = 0;
      const long number = std::stol(item, &used);
      if (used != item.size() || number < 1 || static_cast<size_t>(number) > count) return false;
      positions->push_back(static_cast<size_t>(number - 1));
    } catch (const std::exception&) {
      return false;
    }
  }
  return !positions->empty();
}

// "rect" or "ellipse", then "L,T,R,B" in the image's pixels.
bool ParseSelection(const std::vector<std::string>& values, imaging::EditSelection* selection) {
  if (values.empty()) return true;
  std::istringstream in(values.back());
  std::string shape;
  std::string rect;
  if (!std::getline(in, shape, ' ')) return false;
  if (shape == "rect") {
    selection->shape = 0;
  } else if (shape == "ellipse") {
    selection->shape = 1;
  } else {
    return false;
  }
  char c1 = 0, c2 = 0, c3 = 0;
  if (!(in >> selection->left >> c1 >> selection->top >> c2 >> selection->right >> c3 >>
        selection->bottom) ||
      c1 != ',' || c2 != ',' || c3 != ',') {
    return false;
  }
  return in.eof() || (in >> std::ws).eof();
}

// Runs `job` on a worker thread, as every edit runs, and reports the filter's progress.
template <typename Job>
void RunOnWorker(Job job) {
  std::thread worker(job);
  worker.join();
}

}  // namespace

int RunEditCommand(std::span<const std::string> args) {
  std::vector<OptionSpec> options(std::begin(kValueOptions), std::end(kValueOptions));
  options.push_back({"--photos", true});
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, options, &parsed, &error)) return UsageError(error, kEditUsage);
  if (parsed.positional.size() != 2) {
    return UsageError("expected an album and an operation", kEditUsage);
  }
  const imaging::EditCommand* command = imaging::FindEditCommand(parsed.positional[1]);
  if (command == nullptr || !command->album_level) {
    return UsageError("no album operation named \"" + parsed.positional[1] + "\"", kEditUsage);
  }
  imaging::EditValues values;
  if (!ParseValues(parsed, *command, &values, &error)) return UsageError(error, kEditUsage);

  auto album = OpenAlbum(parsed.positional[0]);
  if (!album) return kExitFailure;
  const album::ThumbnailOptions thumbnails = UserThumbnailOptions();
  album->set_thumbnail_options(thumbnails);
  std::vector<size_t> positions;
  if (const std::string* list = parsed.Value("--photos")) {
    if (!ParsePhotoList(*list, album->photos().size(), &positions)) {
      return UsageError("--photos takes photo numbers from 1 to " +
                            std::to_string(album->photos().size()) + ", separated by commas",
                        kEditUsage);
    }
  } else {
    for (size_t i = 0; i < album->photos().size(); ++i) positions.push_back(i);
  }
  if (positions.empty()) return kExitOk;  // nothing selected, nothing done

  const auto filter = imaging::MakeAlbumFilter(*command, values, thumbnails.mode);
  album::AlbumHistory history;
  imaging::FilterRun run;
  imaging::AlbumEditResult result;
  std::cerr << command->progress_text << '\n';
  RunOnWorker([&] {
    result = imaging::RunAlbumEdit(
        *album, history, *filter, positions, run,
        [](std::string_view text, int, int) { std::cerr << "  " << text << '\n'; });
  });
  for (const std::string& failure : result.failures) Failure(failure);
  if (result.changed > 0 && !album::SaveAlbum(*album)) return Failure(album->last_error());
  album::ReleaseRetainedFiles(*album);
  return result.failures.empty() ? kExitOk : kExitFailure;
}

int RunEditFileCommand(std::span<const std::string> given) {
  // "--select SHAPE L,T,R,B" is two words after the option: join them into its one value.
  std::vector<std::string> args;
  for (size_t i = 0; i < given.size(); ++i) {
    args.push_back(given[i]);
    if (given[i] == "--select" && i + 2 < given.size() && given[i + 1].rfind("--", 0) != 0) {
      args.push_back(given[i + 1] + " " + given[i + 2]);
      i += 2;
    }
  }
  std::vector<OptionSpec> options(std::begin(kValueOptions), std::end(kValueOptions));
  options.push_back({"--select", true});
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, options, &parsed, &error)) return UsageError(error, kEditFileUsage);
  if (parsed.positional.size() != 3) {
    return UsageError("expected an input file, an output file and an operation", kEditFileUsage);
  }
  const imaging::EditCommand* command = imaging::FindEditCommand(parsed.positional[2]);
  if (command == nullptr) {
    return UsageError("no operation named \"" + parsed.positional[2] + "\"", kEditFileUsage);
  }
  imaging::EditValues values;
  if (!ParseValues(parsed, *command, &values, &error)) return UsageError(error, kEditFileUsage);
  imaging::EditSelection selection;
  if (!ParseSelection(parsed.Values("--select"), &selection)) {
    return UsageError("--select takes \"rect L,T,R,B\" or \"ellipse L,T,R,B\"", kEditFileUsage);
  }
  const album::ImageType* out_type = album::FindImageType(parsed.positional[1]);
  if (out_type == nullptr) return Failure("Unable to determine image format");

  image::Image loaded;
  if (!loaded.Load(parsed.positional[0])) return Failure(loaded.last_error());
  // The selection is given in the image's own pixels: the display is the image.
  const imaging::DisplaySize display{loaded.width(), loaded.height()};
  imaging::ViewerDocument document(std::move(loaded));
  imaging::FilterRun run;
  uint32_t code = imaging::kFilterOk;
  std::cerr << command->progress_text << '\n';
  RunOnWorker([&] {
    code = document.RunEdit(*command, values, selection, display, run, UserThumbnailOptions().mode);
  });
  if (code >= 0x80000000u) {
    return Failure(document.last_error().empty() ? album::ErrorCodeText(code)
                                                 : document.last_error());
  }
  if (code == imaging::kFilterNothingToDo) std::cerr << "Nothing to do; the image is unchanged\n";
  const image::Image result = document.image();
  if (!result.Save(parsed.positional[1], out_type->format)) return Failure(result.last_error());
  return kExitOk;
}

std::string EditOperationsHelp() {
  std::string text;
  for (const imaging::EditCommand& command : imaging::kEditCommands) {
    text += "  " + std::string(command.name);
    text.append(command.name.size() < 16 ? 16 - command.name.size() : 1, ' ');
    switch (command.parameter) {
      case imaging::EditParameter::kGamma:
        text += "--gamma G (1.8)  ";
        break;
      case imaging::EditParameter::kAngle:
        text += "--angle DEGREES  ";
        break;
      case imaging::EditParameter::kSize:
        text += "--size WxH       ";
        break;
      case imaging::EditParameter::kNone:
        text += command.uses_selection_rect ? "--select (needed)" : "                 ";
        break;
    }
    text += command.album_level ? "album and file" : "file only     ";
    text += "  \"" + std::string(command.progress_text) + "\"\n";
  }
  return text;
}

}  // namespace quorvane::cli
