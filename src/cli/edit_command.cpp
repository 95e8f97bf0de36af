// quorvane-cli edit and edit-file: the edit commands on an album's photos (one undoable
// step, then saved) and the photo window's edits on one image file, by the names of the
// edit command table.
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <thread>

#include "album/batch_operations.h"
#include "album/photo_naming.h"
#include "album/photo_operations.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/stderr_progress.h"
#include "cli/user_settings.h"
#include "image/image_types.h"
#include "imaging/album_edit.h"
#include "imaging/edit_commands.h"
#include "imaging/viewer_document.h"
#include "platform/number_text.h"
#include "settings/album_settings.h"

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

// The comma-separated items of `text`, empty ones included.
std::vector<std::string_view> SplitAtCommas(std::string_view text) {
  std::vector<std::string_view> items;
  for (size_t begin = 0;;) {
    const size_t comma = text.find(',', begin);
    items.push_back(text.substr(begin, comma - begin));
    if (comma == std::string_view::npos) return items;
    begin = comma + 1;
  }
}

// "1,3,5" -> positions 0, 2, 4, each a photo of the album.
bool ParsePhotoList(const std::string& text, size_t count, std::vector<size_t>* positions) {
  for (std::string_view item : SplitAtCommas(text)) {
    size_t position = 0;
    if (!ParsePhotoNumber(item, count, &position)) return false;
    positions->push_back(position);
  }
  return true;
}

// "rect" or "ellipse", a space, then "L,T,R,B" in the image's pixels.
bool ParseSelection(const std::vector<std::string>& values, imaging::EditSelection* selection) {
  if (values.empty()) return true;
  const std::string_view text = values.back();
  const size_t space = text.find(' ');
  if (space == std::string_view::npos) return false;
  const std::string_view shape = text.substr(0, space);
  if (shape == "rect") {
    selection->shape = 0;
  } else if (shape == "ellipse") {
    selection->shape = 1;
  } else {
    return false;
  }
  const std::vector<std::string_view> sides = SplitAtCommas(text.substr(space + 1));
  int32_t* const fields[] = {&selection->left, &selection->top, &selection->right,
                             &selection->bottom};
  if (sides.size() != std::size(fields)) return false;
  for (size_t i = 0; i < sides.size(); ++i) {
    int64_t value = 0;
    if (!platform::ParseInteger(sides[i], INT32_MIN, INT32_MAX, &value)) return false;
    *fields[i] = static_cast<int32_t>(value);
  }
  return true;
}

// Runs `job` on a worker thread, as every edit runs.
template <typename Job>
void RunOnWorker(Job job) {
  std::thread worker(job);
  worker.join();
}

}  // namespace

int RunEditCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("edit");
  std::vector<OptionSpec> options = ValueOptions();
  options.push_back({"--photos", true});
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, options, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 2) {
    return UsageError("expected an album and an operation", usage);
  }
  const imaging::EditCommand* command = imaging::FindEditCommand(parsed.positional[1]);
  if (command == nullptr || !command->album_level) {
    return UsageError("no album operation named \"" + parsed.positional[1] + "\"", usage);
  }
  imaging::EditValues values;
  if (!ParseValues(parsed, *command, &values, &error)) return UsageError(error, usage);

  auto album = OpenAlbum(parsed.positional[0]);
  if (!album) return kExitFailure;
  const settings::Settings user = LoadSettingsReportingProblems().settings;
  album->set_thumbnail_options(settings::ThumbnailOptionsFrom(user));
  std::vector<size_t> positions;
  if (const std::string* list = parsed.Value("--photos")) {
    if (!ParsePhotoList(*list, album->photos().size(), &positions)) {
      return UsageError("--photos takes photo numbers from 1 to " +
                            std::to_string(album->photos().size()) + ", separated by commas",
                        usage);
    }
  } else {
    for (size_t i = 0; i < album->photos().size(); ++i) positions.push_back(i);
  }
  if (positions.empty()) return kExitOk;  // nothing selected, nothing done

  const auto filter =
      imaging::MakeAlbumFilter(*command, values, settings::EditResampleModeFrom(user));
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
  const std::string usage = UsageOf("edit-file");
  std::vector<OptionSpec> options = ValueOptions();
  options.push_back({"--select", true});
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, options, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 3) {
    return UsageError("expected an input file, an output file and an operation", usage);
  }
  const imaging::EditCommand* command = imaging::FindEditCommand(parsed.positional[2]);
  if (command == nullptr) {
    return UsageError("no operation named \"" + parsed.positional[2] + "\"", usage);
  }
  imaging::EditValues values;
  if (!ParseValues(parsed, *command, &values, &error)) return UsageError(error, usage);
  imaging::EditSelection selection;
  if (!ParseSelection(parsed.Values("--select"), &selection)) {
    return UsageError("--select takes \"rect L,T,R,B\" or \"ellipse L,T,R,B\"", usage);
  }
  const image::ImageType* out_type = image::FindImageType(parsed.positional[1]);
  if (out_type == nullptr) return Failure("Unable to determine image format");

  image::Image loaded;
  if (!loaded.Load(parsed.positional[0])) return Failure(loaded.last_error());
  // The selection is given in the image's own pixels: the display is the image.
  const imaging::DisplaySize display{loaded.width(), loaded.height()};
  imaging::ViewerDocument document(std::move(loaded));
  platform::ResultCode code = platform::kOk;
  const image::ResampleMode mode =
      settings::EditResampleModeFrom(LoadSettingsReportingProblems().settings);
  StderrProgress progress;
  progress.SetTitle(command->progress_text);
  RunOnWorker(
      [&] { code = document.RunEdit(*command, values, selection, display, progress, mode); });
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
