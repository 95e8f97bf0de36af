// How big an album is to send and how long it takes to arrive, which resize to recommend, and
// the size choices a user can make ("as-is", "800x600", "640x480" or a custom "WxH"). Plain
// arithmetic and texts: the wizard's pages and `quorvane-cli mail estimate` show these.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorvane::mail {

inline constexpr std::string_view kInvalidSizeMessage =
    "Invalid size selected. Please enter the desired size.";

enum class ResizeKind { kAsIs, k800x600, k640x480, kCustom };

struct ResizeChoice {
  ResizeKind kind = ResizeKind::kAsIs;
  int width = 0;  // the box; 0 for kAsIs
  int height = 0;

  static ResizeChoice AsIs() { return {}; }
  static ResizeChoice Box800x600() { return {ResizeKind::k800x600, 800, 600}; }
  static ResizeChoice Box640x480() { return {ResizeKind::k640x480, 640, 480}; }
  bool resizes() const { return kind != ResizeKind::kAsIs; }
  // "as-is", "800x600", "640x480" or "WxH", as the command line writes it.
  std::string Name() const;
  friend bool operator==(const ResizeChoice&, const ResizeChoice&) = default;
};

// Reads "as-is", "800x600", "640x480" or a custom "WxH" (each side 1 to 65500 pixels). False
// for anything else: the wizard then shows kInvalidSizeMessage.
bool ParseResizeChoice(std::string_view text, ResizeChoice* out);

// The album size with the transfer encoding allowed for: bytes x 1.3, truncated.
uint64_t TransferBytes(uint64_t album_bytes);

// Seconds to download the album over average dial-up, typical home DSL, and fast DSL, cable
// or a corporate network, in that order.
std::array<uint64_t, 3> DownloadSeconds(uint64_t album_bytes);

// "12 seconds", "1.5 minutes", "2.0 hours", "3.1 days".
std::string DurationText(uint64_t seconds);

// Sizes as the program shows them: "1.0 MB" from 1,048,576 bytes on, "356 KB" below.
std::string SizeText(uint64_t bytes);

// The size and download-time fragment (MailFragment::kAlbumIntro or kAlbumResized) filled in.
std::string SizeAndTimesHtml(bool resized, int photo_count, uint64_t album_bytes);

// The bytes of a message that carries an attachment of `attachment_bytes` (base64 in lines of
// 76) with a body and headers of about `text_bytes`: what a server's SIZE limit is about.
uint64_t MessageBytes(uint64_t attachment_bytes, uint64_t text_bytes = 4096);

// The choice the size of the album recommends: as it is up to 1 MiB, 800x600 up to 3 MiB,
// 640x480 above.
ResizeChoice RecommendedResize(uint64_t album_bytes);

struct Recommendation {
  ResizeChoice choice;
  std::string html;  // the recommendation fragment, and what the server limit means for it
  bool fits = true;  // false when even the recommended choice exceeds the server's limit
};

// The recommendation for an album of `album_bytes`, given the estimated album bytes of each of
// the three offered choices (as-is, 800x600, 640x480). When the mail server announced a
// `server_limit`, a choice whose message would not fit gives way to the next smaller offered
// size that does, and the text says whether it fits.
Recommendation Recommend(uint64_t album_bytes, const std::array<uint64_t, 3>& offered_bytes,
                         std::optional<uint64_t> server_limit);

// The server-limit fragment for a message of `message_bytes`.
std::string ServerLimitHtml(uint64_t message_bytes, uint64_t server_limit);

}  // namespace quorvane::mail
