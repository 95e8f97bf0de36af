#include "mail/mail_message.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "mail/mime/base64.h"
#include "mail/mime/header_encoding.h"
#include "mail/mime/quoted_printable.h"
#include "platform/ascii.h"
#include "platform/uuid.h"

namespace quorvane::mail {
namespace {

// 57 bytes make one base64 line; this many lines per read keeps memory small and sends large.
constexpr size_t kAttachmentBlock = 57 * 8192;

bool IsTextPlain(std::string_view type) {
  return platform::EqualsIgnoringAsciiCase(type, "text/plain");
}

std::string JoinFormatted(const std::vector<MailAddress>& list) {
  std::string text;
  for (const auto& address : list) {
    if (!text.empty()) text.push_back(',');
    text += address.Formatted();
  }
  return text;
}

bool WritePartTree(const MailBodyPart& part, bool is_root, DataSink& sink) {
  if (!is_root && !sink.Write(part.BuildPartHeader())) return false;
  if (!part.WritePartBody(sink)) return false;
  for (int i = 0; i < part.child_count(); ++i) {
    if (!WritePartTree(*part.child(i), false, sink)) return false;
  }
  if (part.child_count() > 0 && !sink.Write(part.BuildPartFooter())) return false;
  return true;
}

}  // namespace

std::string MailAddress::Formatted() const {
  if (friendly_name.empty()) return address;
  return friendly_name + " <" + address + ">";
}

MailBodyPart::MailBodyPart() : boundary_(platform::NewUuidText()) {}

MailBodyPart::MailBodyPart(const MailBodyPart& other)
    : file_path_(other.file_path_),
      title_(other.title_),
      content_type_(other.content_type_),
      charset_(other.charset_),
      content_base_(other.content_base_),
      content_id_(other.content_id_),
      content_location_(other.content_location_),
      text_(other.text_),
      parent_(other.parent_),
      boundary_(platform::NewUuidText()),
      quoted_printable_(other.quoted_printable_) {
  for (const auto& child : other.children_) AppendChild(*child);
}

MailBodyPart::MailBodyPart(MailBodyPart&& other) noexcept
    : file_path_(std::move(other.file_path_)),
      title_(std::move(other.title_)),
      content_type_(std::move(other.content_type_)),
      charset_(std::move(other.charset_)),
      content_base_(std::move(other.content_base_)),
      content_id_(std::move(other.content_id_)),
      content_location_(std::move(other.content_location_)),
      text_(std::move(other.text_)),
      children_(std::move(other.children_)),
      parent_(other.parent_),
      boundary_(std::move(other.boundary_)),
      quoted_printable_(other.quoted_printable_) {
  for (auto& child : children_) child->parent_ = this;
}

void MailBodyPart::SetPartText(std::string_view text) {
  // CRLF to LF, then lone CR to LF, then every LF to CRLF: one pass does all three.
  std::string out;
  out.reserve(text.size() + text.size() / 32);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r') {
      if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
      out += "\r\n";
    } else if (text[i] == '\n') {
      out += "\r\n";
    } else {
      out.push_back(text[i]);
    }
  }
  text_ = std::move(out);
}

bool MailBodyPart::AttachFile(const std::string& path) {
  std::error_code error;
  const std::filesystem::path file(path);
  if (path.empty() || !std::filesystem::exists(file, error)) return false;
  file_path_ = path;
  title_ = file.filename().string();
  content_type_ = "application/octet-stream";
  return true;
}

int MailBodyPart::AppendChild(const MailBodyPart& part) {
  auto copy = std::make_unique<MailBodyPart>(part);
  copy->parent_ = this;
  children_.push_back(std::move(copy));
  return child_count();
}

std::string MailBodyPart::BuildPartHeader() const {
  if (parent_ == nullptr) return {};
  const std::string& p = parent_->boundary_;
  std::string header;
  if (file_path_.empty()) {
    header = "\r\n--" + p + "\r\nContent-Type: " + content_type_ + "; charset=" + charset_;
    if (!children_.empty()) header += "; Boundary=\"" + boundary_ + "\"";
    header += "\r\n";
    if (quoted_printable_) header += "Content-Transfer-Encoding: quoted-printable\r\n";
  } else {
    header = "\r\n\r\n--" + p + "\r\nContent-Type: " + content_type_ + "; charset=" + charset_ +
             "; name=" + title_;
    if (!children_.empty()) header += "; Boundary=\"" + boundary_ + "\"";
    header +=
        "\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; filename=\"" +
        title_ + "\"\r\n";
  }
  if (!content_base_.empty()) header += "Content-Base: " + content_base_ + "\r\n";
  if (!content_id_.empty()) header += "Content-ID: " + content_id_ + "\r\n";
  if (!content_location_.empty()) header += "Content-Location: " + content_location_ + "\r\n";
  header += "\r\n";
  return header;
}

bool MailBodyPart::BuildPartBody(std::string* out) const {
  StringSink sink;
  if (!WritePartBody(sink)) return false;
  *out = std::move(sink.text);
  return true;
}

bool MailBodyPart::WritePartBody(DataSink& sink) const {
  if (file_path_.empty()) {
    if (!quoted_printable_) return sink.Write(text_);
    return sink.Write(DotStuff(QuotedPrintableEncode(text_)));
  }
  std::ifstream in(std::filesystem::path(file_path_), std::ios::binary);
  if (!in) return false;
  std::string block(kAttachmentBlock, '\0');
  std::string encoded;
  encoded.reserve(Base64LinesSize(kAttachmentBlock));
  for (;;) {
    // read() fills the whole block unless the file ends: only the last block may be short, so
    // padding never lands mid-stream.
    in.read(block.data(), static_cast<std::streamsize>(block.size()));
    const auto filled = static_cast<size_t>(in.gcount());
    if (in.bad()) return false;
    if (filled == 0) return true;
    encoded.clear();
    AppendBase64Lines(std::string_view(block.data(), filled), &encoded);
    if (!sink.Write(encoded)) return false;
    if (filled < block.size()) return true;
  }
}

std::string MailBodyPart::BuildPartFooter() const { return "\r\n--" + boundary_ + "--"; }

std::string ZoneText(int bias_minutes) {
  char text[16];
  std::snprintf(text, sizeof text, "%+.2d%.2d", -bias_minutes / 60, bias_minutes % 60);
  return text;
}

std::string DateText(std::time_t when) {
  static constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm local{};
#ifdef _WIN32
  localtime_s(&local, &when);
  std::tm copy = local;
  const std::time_t as_utc = _mkgmtime(&copy);
#else
  localtime_r(&when, &local);
  std::tm copy = local;
  const std::time_t as_utc = timegm(&copy);
#endif
  // Local time read as if it were UTC, minus the real instant: the zone's offset east of UTC.
  const auto offset_minutes = static_cast<int>((as_utc - when) / 60);
  char text[100];
  std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d ", kDays[local.tm_wday % 7],
                local.tm_mday, kMonths[local.tm_mon % 12], local.tm_year + 1900, local.tm_hour,
                local.tm_min, local.tm_sec);
  return text + ZoneText(-offset_minutes);
}

void MailMessage::AddRecipient(MailAddress address, RecipientKind kind) {
  recipients_[kind].push_back(std::move(address));
}

int MailMessage::RecipientCount(RecipientKind kind) const {
  return static_cast<int>(recipients_[kind].size());
}

const MailAddress& MailMessage::Recipient(int index, RecipientKind kind) const {
  return recipients_[kind][static_cast<size_t>(index)];
}

void MailMessage::SetBodyText(std::string_view text) {
  if (!mime) {
    root.SetPartText(text);
    return;
  }
  if (IsTextPlain(root.content_type())) {
    const MailBodyPart copy(root);
    root.set_charset(copy.charset());
    root.SetPartText("This is a multi-part message in MIME format");
    root.set_content_type("multipart/mixed");
    MailBodyPart body;
    body.set_charset(copy.charset());
    body.SetPartText(text);
    root.AppendChild(body);
    return;
  }
  for (int i = 0; i < root.child_count(); ++i) {
    if (root.child(i)->file_path().empty()) {
      root.child(i)->SetPartText(text);
      return;
    }
  }
  MailBodyPart body;
  body.set_charset(root.charset());
  body.SetPartText(text);
  root.AppendChild(body);
}

void MailMessage::AddAttachmentPart(const MailBodyPart& part) { root.AppendChild(part); }

bool MailMessage::HasExtraHeader(std::string_view name) const {
  for (const auto& line : extra_headers_) {
    if (line.size() > name.size() && line[name.size()] == ':' &&
        platform::EqualsIgnoringAsciiCase(std::string_view(line).substr(0, name.size()), name)) {
      return true;
    }
  }
  return false;
}

std::string MailMessage::BuildHeaderBlock(std::span<const std::string> more_lines) const {
  return BuildHeaderBlockAt(std::time(nullptr), more_lines);
}

std::string MailMessage::BuildHeaderBlockAt(std::time_t when,
                                            std::span<const std::string> more_lines) const {
  const std::string& charset = root.charset();
  std::string block;
  block += "From: " + EncodeHeaderValue(from.Formatted(), charset) + "\r\n";
  block += "To: " + EncodeHeaderValue(JoinFormatted(recipients_[kTo]), charset) + "\r\n";
  const std::string cc = JoinFormatted(recipients_[kCc]);
  if (!cc.empty()) block += "Cc: " + EncodeHeaderValue(cc, charset) + "\r\n";
  block += "Subject: " + EncodeHeaderValue(subject, charset) + "\r\n";
  block += "Date: " + EncodeHeaderValue(DateText(when), charset) + "\r\n";
  block += "X-Mailer: " + EncodeHeaderValue(mailer, charset) + "\r\n";
  if (mime) {
    if (root.quoted_printable()) block += "Content-Transfer-Encoding: quoted-printable\r\n";
    block += "MIME-Version: 1.0\r\nContent-Type: " + root.content_type();
    if (root.child_count() > 0) block += "; boundary=\"" + root.boundary() + "\"";
    block += "\r\n";
  }
  if (!reply_to.address.empty()) block += "Reply-To: " + reply_to.Formatted() + "\r\n";
  bool first = true;
  for (const auto& line : extra_headers_) {
    if (!first) block += "\r\n";
    block += line;
    first = false;
  }
  for (const auto& line : more_lines) {
    if (!first) block += "\r\n";
    block += line;
    first = false;
  }
  block += "\r\n";
  return block;
}

bool MailMessage::WriteDataStream(DataSink& sink, std::span<const std::string> more_lines) const {
  const std::string header = BuildHeaderBlock(more_lines);
  if (!sink.Write(header)) return false;
  if (!mime && root.child_count() == 0) {
    if (!sink.Write("\r\n") || !sink.Write(root.text())) return false;
  } else {
    if (!header.ends_with("\r\n\r\n") && !sink.Write("\r\n")) return false;
    if (!WritePartTree(root, true, sink)) return false;
  }
  return sink.Write("\r\n.\r\n");
}

}  // namespace quorvane::mail
