// The edit commands of the album view, the photo window and the CLI in one self-describing
// table: command id, menu text, progress text, the photo window's history label, the value each
// takes (with its default and range) and which filter each runs. The desktop program builds its
// menus and dialogs from it; quorvane-cli its parsing, help and usage.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "image/image.h"
#include "imaging/image_filter.h"

namespace quorvane::imaging {

enum class EditParameter {
  kNone,
  kAngle,  // the custom-rotate dialog's angle, degrees clockwise
  kGamma,  // the gamma dialog's value
  kSize,   // the custom-resize dialog's width and height
};

struct EditCommand {
  int32_t id;
  std::string_view name;           // the CLI's name for it
  std::string_view menu_text;      // empty for commands only on the photo window's tool bar
  std::string_view tool_tip;       // for those tool-bar commands
  std::string_view progress_text;  // shown while it runs
  std::string_view viewer_label;   // the photo window's Undo/Redo label
  EditParameter parameter;
  bool album_level;          // offered on the album's selected photos
  bool honours_selection;    // the photo window limits it to the selection
  bool uses_selection_rect;  // crop: the selection is the result
};

inline constexpr float kInitialGamma = 1.8f;  // the gamma dialog's starting value
inline constexpr float kInitialAngle = 0.0f;

// The value of a command that takes one, as its dialog and the command line ask for it.
struct EditParameterInfo {
  EditParameter kind;
  std::string_view option;      // the command line's option
  std::string_view value_name;  // how usage texts show the value
  std::string_view label;       // what the dialog asks
  bool required;                // no default: the user must give it
  double initial;               // the dialog's starting value, when not required
  double minimum;               // accepted range, both ends included (for a size: each side)
  double maximum;
};

inline constexpr EditParameterInfo kEditParameters[] = {
    {EditParameter::kGamma, "--gamma", "G", "Gamma", false, kInitialGamma, 0.1, 10.0},
    {EditParameter::kAngle, "--angle", "DEGREES", "Angle (degrees clockwise)", false, kInitialAngle,
     -360.0, 360.0},
    {EditParameter::kSize, "--size", "WxH", "Size (width x height, pixels)", true, 0, 1, 65500},
};

// Null for kNone.
const EditParameterInfo* FindEditParameter(EditParameter kind);

inline constexpr EditCommand kEditCommands[] = {
    {32783, "lighten", "&Lighten", "", "Lightening...", "Lighten", EditParameter::kNone, true, true,
     false},
    {32781, "darken", "&Darken", "", "Darkening...", "Darken", EditParameter::kNone, true, true,
     false},
    {32866, "more-contrast", "More &Contrast", "", "Adjusting contrast...", "Contrast",
     EditParameter::kNone, true, true, false},
    {32867, "less-contrast", "Less &Contrast", "", "Adjusting contrast...", "Contrast",
     EditParameter::kNone, true, true, false},
    {32869, "gamma", "&Gamma", "", "Setting Gamma...", "Gamma", EditParameter::kGamma, true, true,
     false},
    {32797, "soften", "&Soften", "", "Softening...", "Soften", EditParameter::kNone, true, true,
     false},
    {32798, "sharpen", "S&harpen", "", "Sharpening...", "Sharpen", EditParameter::kNone, true, true,
     false},
    {32795, "blur", "&Blur", "", "Blurring...", "Blur", EditParameter::kNone, true, true, false},
    {32876, "grayscale", "G&rayscale", "", "Converting to Grayscale...", "Grayscale",
     EditParameter::kNone, true, true, false},
    {32873, "sepia", "S&epia Tone", "", "Applying Sepia Tone...", "Sepia", EditParameter::kNone,
     true, false, false},
    {32874, "desaturate", "", "Desaturate the selection", "Desaturating...", "Desaturate",
     EditParameter::kNone, false, true, false},
    {32878, "unsharp-mask", "", "Apply an unsharp mask to the photo", "Applying unsharp mask...",
     "Unsharp Mask", EditParameter::kNone, false, false, false},
    {32799, "rotate-right", "&90\u00b0 Clockwise", "", "Rotating...", "Rotate",
     EditParameter::kNone, true, false, false},
    {32800, "rotate-left", "90\u00b0 &Counter-clockwise", "", "Rotating...", "Rotate",
     EditParameter::kNone, true, false, false},
    {32801, "rotate-180", "&180\u00b0", "", "Rotating...", "Rotate", EditParameter::kNone, true,
     false, false},
    {32779, "rotate", "C&ustom...", "", "Rotating...", "Rotate", EditParameter::kAngle, true, false,
     false},
    {32780, "flip-horizontal", "Flip &Horizontal", "", "Flipping...", "Flip Horizonal",
     EditParameter::kNone, true, false, false},
    {32775, "flip-vertical", "Flip &Vertical", "", "Flipping...", "Flip Vertical",
     EditParameter::kNone, true, false, false},
    {32805, "resize-1024", "&1024x768", "", "Resizing...", "Resize", EditParameter::kNone, true,
     false, false},
    {32806, "resize-800", "&800x600", "", "Resizing...", "Resize", EditParameter::kNone, true,
     false, false},
    {32807, "resize-640", "&640x480", "", "Resizing...", "Resize", EditParameter::kNone, true,
     false, false},
    {32808, "resize", "C&ustom...", "", "Resizing...", "Resize", EditParameter::kSize, true, false,
     false},
    {32848, "crop", "&Crop", "", "Cropping...", "Crop", EditParameter::kNone, false, false, true},
};

// Null when no command has that id or name.
const EditCommand* FindEditCommand(int32_t id);
const EditCommand* FindEditCommand(std::string_view name);

// The values the dialogs return; each command reads only its own.
struct EditValues {
  float angle = kInitialAngle;
  float gamma = kInitialGamma;
  int32_t width = 0;
  int32_t height = 0;
};

// Reads the text a user gave for `parameter` into its field of *values. On failure returns
// false, leaves *values alone and sets *problem ("--gamma takes a number from 0.1 to 10").
bool ParseEditValue(const EditParameterInfo& parameter, std::string_view text, EditValues* values,
                    std::string* problem);

// The filter a command runs on the album's photos, or null for commands the album does not
// offer (desaturate, unsharp mask, crop). `mode` is the album's resampling setting.
std::unique_ptr<ImageFilter> MakeAlbumFilter(const EditCommand& command, const EditValues& values,
                                             image::ResampleMode mode);

// The filter a command runs in the photo window. Crop is made from the selection by the
// photo window's run (viewer_document.h); here it returns null.
std::unique_ptr<ImageFilter> MakeViewerFilter(const EditCommand& command, const EditValues& values,
                                              image::ResampleMode mode);

}  // namespace quorvane::imaging
