#include "mail/workflow/size_estimate.h"

#include <cstdio>

#include "mail/workflow/mail_fragments.h"
#include "platform/number_text.h"

namespace quorvane::mail {
namespace {

constexpr uint64_t kBytesPerSecond[3] = {7000, 64000, 193000};
constexpr uint64_t kSmallAlbum = 1048576;
constexpr uint64_t kMediumAlbum = 3145728;

std::string Format(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

}  // namespace

std::string ResizeChoice::Name() const {
  if (kind == ResizeKind::kAsIs) return "as-is";
  return std::to_string(width) + "x" + std::to_string(height);
}

bool ParseResizeChoice(std::string_view text, ResizeChoice* out) {
  if (text == "as-is") {
    *out = ResizeChoice::AsIs();
    return true;
  }
  int width = 0;
  int height = 0;
  if (!platform::ParseDimensions(text, 1, 65500, &width, &height)) return false;
  if (width == 800 && height == 600) {
    *out = ResizeChoice::Box800x600();
  } else if (width == 640 && height == 480) {
    *out = ResizeChoice::Box640x480();
  } else {
    *out = {ResizeKind::kCustom, width, height};
  }
  return true;
}

uint64_t TransferBytes(uint64_t album_bytes) {
  return static_cast<uint64_t>(static_cast<double>(album_bytes) * 1.3);
}

std::array<uint64_t, 3> DownloadSeconds(uint64_t album_bytes) {
  const uint64_t n = TransferBytes(album_bytes);
  return {n / kBytesPerSecond[0], n / kBytesPerSecond[1], n / kBytesPerSecond[2]};
}

std::string DurationText(uint64_t seconds) {
  const double s = static_cast<double>(seconds);
  if (seconds < 60) return std::to_string(seconds) + " seconds";
  if (seconds < 3600) return Format("%.1f minutes", s / 60);
  if (seconds < 86400) return Format("%.1f hours", s / 3600);
  return Format("%.1f days", s / 86400);
}

std::string SizeText(uint64_t bytes) {
  if (bytes >= 1048576) return Format("%.1f MB", static_cast<double>(bytes) / 1048576.0);
  return Format("%.0f KB", static_cast<double>(bytes) / 1024.0);
}

std::string SizeAndTimesHtml(bool resized, int photo_count, uint64_t album_bytes) {
  std::string html(FragmentText(resized ? MailFragment::kAlbumResized : MailFragment::kAlbumIntro));
  html = ReplacePlaceholder(std::move(html), "{NumPhotos}", std::to_string(photo_count));
  html = ReplacePlaceholder(std::move(html), "{GallerySize}", SizeText(album_bytes));
  const auto seconds = DownloadSeconds(album_bytes);
  for (size_t i = 0; i < seconds.size(); ++i) {
    html = ReplacePlaceholder(std::move(html), "{DownloadTime" + std::to_string(i + 1) + "}",
                              DurationText(seconds[i]));
  }
  return html;
}

uint64_t MessageBytes(uint64_t attachment_bytes, uint64_t text_bytes) {
  const uint64_t encoded = (attachment_bytes + 2) / 3 * 4;
  return encoded + (encoded + 75) / 76 * 2 + text_bytes;
}

ResizeChoice RecommendedResize(uint64_t album_bytes) {
  if (album_bytes <= kSmallAlbum) return ResizeChoice::AsIs();
  if (album_bytes <= kMediumAlbum) return ResizeChoice::Box800x600();
  return ResizeChoice::Box640x480();
}

std::string ServerLimitHtml(uint64_t message_bytes, uint64_t server_limit) {
  std::string html(FragmentText(message_bytes <= server_limit ? MailFragment::kServerFits
                                                              : MailFragment::kServerTooLarge));
  html = ReplacePlaceholder(std::move(html), "{ServerLimit}", SizeText(server_limit));
  return ReplacePlaceholder(std::move(html), "{MessageSize}", SizeText(message_bytes));
}

Recommendation Recommend(uint64_t album_bytes, const std::array<uint64_t, 3>& offered_bytes,
                         std::optional<uint64_t> server_limit) {
  static const ResizeChoice kOffered[3] = {ResizeChoice::AsIs(), ResizeChoice::Box800x600(),
                                           ResizeChoice::Box640x480()};
  Recommendation result;
  size_t pick = static_cast<size_t>(RecommendedResize(album_bytes).kind);
  if (server_limit) {
    while (pick + 1 < 3 && MessageBytes(offered_bytes[pick]) > *server_limit) ++pick;
  }
  result.choice = kOffered[pick];
  if (result.choice.resizes()) {
    result.html = ReplacePlaceholder(std::string(FragmentText(MailFragment::kResizeRecommended)),
                                     "{Size}", result.choice.Name());
  } else {
    result.html = FragmentText(MailFragment::kSendAsIs);
  }
  if (server_limit) {
    const uint64_t message = MessageBytes(offered_bytes[pick]);
    result.fits = message <= *server_limit;
    result.html += ServerLimitHtml(message, *server_limit);
  }
  return result;
}

}  // namespace quorvane::mail
