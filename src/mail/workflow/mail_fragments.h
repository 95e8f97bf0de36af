// The texts of the album e-mail: HTML fragments the wizard shows in its pane and the plain-text
// fragments of the messages, built into the program from resources/mail. Placeholders in curly
// brackets ("{NumPhotos}") are filled by plain text replacement.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorvane::mail {

enum class MailFragment {
  kAlbumIntro,         // HTML: {NumPhotos}, {GallerySize}, {DownloadTime1..3}
  kAlbumResized,       // HTML: {GallerySize}, {DownloadTime1..3}
  kSendAsIs,           // HTML: the album is fairly small
  kResizeRecommended,  // HTML: {Size}
  kServerFits,         // HTML: {ServerLimit}, {MessageSize}
  kServerTooLarge,     // HTML: {ServerLimit}, {MessageSize}
  kAlbumMailBody,      // text: {SenderName}, {AlbumTitle}, {NumPhotos}, {GoalNum}
  kTestMailBody,       // text
  kWizardPage,         // HTML: {DEFAULT_GUI_FONT}, {HTML_CONTENT}
  kDefaultMailClient,  // HTML: the "Default Mail Client" help page
};

// The fragment as built in (empty only if the build left it out).
std::string_view FragmentText(MailFragment fragment);

// `text` with every `placeholder` replaced by `value`; the value is not searched again.
std::string ReplacePlaceholder(std::string text, std::string_view placeholder,
                               std::string_view value);

// A fragment wrapped for the wizard's HTML pane, in the system's default GUI font.
std::string WizardPage(std::string_view html_content, std::string_view gui_font);

// HTML fragment text as plain text for a terminal: tags dropped, paragraphs and table rows on
// lines of their own, cells separated by a blank, the few entities our fragments use decoded.
std::string HtmlToText(std::string_view html);

namespace internal {
struct FragmentFile {
  const char* name;
  const char* text;
};
extern const FragmentFile kFragmentFiles[];
extern const size_t kFragmentFileCount;
}  // namespace internal

}  // namespace quorvane::mail
