// quorvane-cli edit and edit-file: the edit commands on an album's photos (one undoable
// step, then saved) and the photo window's edits on one image file, by the names of the
// edit command table.
#include <cstdio>
#include <iostream>
#include <sstream>
#include <thread>

#include "album/batch_operations.h"
#include "album/photo_naming.h"
#include "album/photo_operations.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/stderr_progress.h"
#include "image/image_types.h"
#include "imaging/album_edit.h"
#include "imaging/edit_commands.h"
#include "imaging/viewer_document.h"
#include "platform/number_text.h"

namespace quorvane::cli {
namespace {

// The options of the values the operations take, from the edit command table.
std::string ValueOptionsUsage() {
  std::string text;
  for (const imaging::EditParameterInfo& parameter : imaging::kEditParameters) {
    text += " [" + std::string(parameter.option) + " " + std::string(parameter.value_name) + "]";
  }
  return text;
}

std::vector<OptionSpec> ValueOptions() {
  std::vector<OptionSpec> options;
  for (const imaging::EditParameterInfo& parameter : imaging::kEditParameters) {
    options.push_back({parameter.option, true});
  }
  return options;
}

// Reads the operation's own value into *values; false with *problem set when it is malformed,
// out of range, or missing though the operation has no default for it.
bool ParseValues(const Arguments& parsed, const imaging::EditCommand& command,
                 imaging::EditValues* values, std::string* problem) {
  const imaging::EditParameterInfo* parameter = imaging::FindEditParameter(command.parameter);
  if (parameter == nullptr) return true;
  const std::string* text = parsed.Value(parameter->option);
  if (text == nullptr) {
    if (!parameter->required) return true;
    *problem = std::string(command.name) + " needs " + std::string(parameter->option) + " " +
               std::string(parameter->value_name);
    return false;
  }
  return imaging::ParseEditValue(*parameter, *text, values, problem);
}

// "1,3,5" -> positions 0, 2, 4, each a photo of the album.
bool ParsePhotoList(const std::string& text, size_t count, std::vector<size_t>* positions) {
  std::istringstream in(text);
  std::string item;
  while (std::getline(in, item, ',')) {
    int64_t number = 0;
    if (!platform::ParseInteger(item, 1, static_cast<int64_t>(count), &number)) return false;
    positions->push_back(static_cast<size_t>(number - 1));
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

// Runs `job` on a worker thread, as every edit runs.
template <typename Job>
void RunOnWorker(Job job) {
  std::thread worker(job);
  worker.join();
}

}  // namespace

int RunEditCommand(std::span<const std::string> args) {
  const std::string kEditUsage = EditUsageLine();
  std::vector<OptionSpec> options = ValueOptions();
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
  imaging::AlbumEditResult result;
  StderrProgress progress;
  progress.SetTitle(command->progress_text);
  RunOnWorker(
      [&] { result = imaging::RunAlbumEdit(*album, history, *filter, positions, progress); });
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
  const std::string kEditFileUsage = EditFileUsageLine();
  std::vector<OptionSpec> options = ValueOptions();
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
  const image::ImageType* out_type = image::FindImageType(parsed.positional[1]);
  if (out_type == nullptr) return Failure("Unable to determine image format");

  image::Image loaded;
  if (!loaded.Load(parsed.positional[0])) return Failure(loaded.last_error());
  // The selection is given in the image's own pixels: the display is the image.
  const imaging::DisplaySize display{loaded.width(), loaded.height()};
  imaging::ViewerDocument document(std::move(loaded));
  platform::ResultCode code = platform::kOk;
  StderrProgress progress;
  progress.SetTitle(command->progress_text);
  RunOnWorker([&] {
    code = document.RunEdit(*command, values, selection, display, progress,
                            UserThumbnailOptions().mode);
  });
  if (platform::IsFailure(code)) {
    return Failure(document.last_error().empty() ? platform::ResultCodeText(code)
                                                 : document.last_error());
  }
  if (code == imaging::kNothingToDo) std::cerr << "Nothing to do; the image is unchanged\n";
  const image::Image result = document.image();
  if (!result.Save(parsed.positional[1], out_type->format)) return Failure(result.last_error());
  return kExitOk;
}

std::string EditUsageLine() {
  return "edit <album> <operation>" + ValueOptionsUsage() + " [--photos 1,3,5]";
}

std::string EditFileUsageLine() {
  return "edit-file <in> <out> <operation>" + ValueOptionsUsage() +
         " [--select rect|ellipse L,T,R,B]";
}

std::string EditOperationsHelp() {
  std::string text;
  for (const imaging::EditCommand& command : imaging::kEditCommands) {
    text += "  " + std::string(command.name);
    text.append(command.name.size() < 16 ? 16 - command.name.size() : 1, ' ');
    std::string value;
    if (const imaging::EditParameterInfo* parameter =
            imaging::FindEditParameter(command.parameter)) {
      char range[64];
      std::snprintf(range, sizeof range, "%g..%g", parameter->minimum, parameter->maximum);
      value =
          std::string(parameter->option) + " " + std::string(parameter->value_name) + " " + range;
      if (!parameter->required) {
        std::snprintf(range, sizeof range, " (%g)", parameter->initial);
        value += range;
      }
    } else if (command.uses_selection_rect) {
      value = "--select (needed)";
    }
    text += value;
    text.append(value.size() < 32 ? 32 - value.size() : 1, ' ');
    text += command.album_level ? "album and file" : "file only     ";
    text += "  \"" + std::string(command.progress_text) + "\"\n";
  }
  return text;
}

}  // namespace quorvane::cli
