// The outgoing e-mail: addresses, the MIME tree of body parts (quoted-printable text, base64
// attachments) and the header block, in the exact wire form our mail has always had. The DATA
// stream is written piece by piece to a sink, so an attachment is read and encoded while it is
// sent and never held whole.
#pragma once

#include <array>
#include <ctime>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::mail {

struct MailAddress {
  std::string friendly_name;
  std::string address;  // bare, as used in MAIL FROM and RCPT TO

  // "name <address>", or the bare address when there is no name.
  std::string Formatted() const;
};

enum RecipientKind { kTo = 0, kCc = 1, kBcc = 2 };

// Where the DATA stream goes; one call per piece. Returns false to stop the stream.
class DataSink {
 public:
  virtual ~DataSink() = default;
  virtual bool Write(std::string_view bytes) = 0;
};

// Collects the stream in memory (tests, small messages).
class StringSink : public DataSink {
 public:
  bool Write(std::string_view bytes) override {
    text.append(bytes);
    return true;
  }
  std::string text;
};

// One node of the MIME tree. A copy gets a boundary of its own (a fresh lower-case UUID) and
// copies of the children. Thread-compatible.
class MailBodyPart {
 public:
  MailBodyPart();
  MailBodyPart(const MailBodyPart& other);
  // A move keeps the boundary: it is the same part in a new place.
  MailBodyPart(MailBodyPart&& other) noexcept;
  MailBodyPart& operator=(const MailBodyPart&) = delete;

  // Stores `text` with every line end (CRLF, CR, LF) turned into CRLF.
  void SetPartText(std::string_view text);
  // Makes this part an attachment of the file at `path` ("application/octet-stream", titled
  // with the file's name). False, and nothing changed, when the file does not exist.
  bool AttachFile(const std::string& path);
  // Appends a copy of `part` as the last child; returns the number of children.
  int AppendChild(const MailBodyPart& part);

  // The part header (delimiter line, Content-* fields, empty line); empty for a root part.
  std::string BuildPartHeader() const;
  // The encoded body in memory. False when an attached file cannot be read.
  bool BuildPartBody(std::string* out) const;
  // The encoded body, written to `sink` in pieces (an attachment in blocks of a few hundred
  // kilobytes). False when the file cannot be read or the sink refuses.
  bool WritePartBody(DataSink& sink) const;
  // "\r\n--<boundary>--", closing a part that has children.
  std::string BuildPartFooter() const;

  const std::string& file_path() const { return file_path_; }
  const std::string& title() const { return title_; }
  const std::string& content_type() const { return content_type_; }
  const std::string& charset() const { return charset_; }
  const std::string& content_base() const { return content_base_; }
  const std::string& content_id() const { return content_id_; }
  const std::string& content_location() const { return content_location_; }
  const std::string& text() const { return text_; }
  const std::string& boundary() const { return boundary_; }
  bool quoted_printable() const { return quoted_printable_; }
  const MailBodyPart* parent() const { return parent_; }
  int child_count() const { return static_cast<int>(children_.size()); }
  MailBodyPart* child(int index) { return children_[static_cast<size_t>(index)].get(); }
  const MailBodyPart* child(int index) const { return children_[static_cast<size_t>(index)].get(); }

  void set_title(std::string value) { title_ = std::move(value); }
  void set_content_type(std::string value) { content_type_ = std::move(value); }
  void set_charset(std::string value) { charset_ = std::move(value); }
  void set_content_base(std::string value) { content_base_ = std::move(value); }
  void set_content_id(std::string value) { content_id_ = std::move(value); }
  void set_content_location(std::string value) { content_location_ = std::move(value); }
  void set_quoted_printable(bool value) { quoted_printable_ = value; }

 private:
  std::string file_path_;
  std::string title_;
  std::string content_type_ = "text/plain";
  std::string charset_ = "iso-8859-1";
  std::string content_base_;
  std::string content_id_;
  std::string content_location_;
  std::string text_;
  std::vector<std::unique_ptr<MailBodyPart>> children_;
  const MailBodyPart* parent_ = nullptr;
  std::string boundary_;
  bool quoted_printable_ = true;
};

// The time-zone text of the Date header for a bias in minutes (UTC = local + bias): the hours
// with a sign, then the minutes keeping the sign of the remainder (bias -330 gives "+05-30").
std::string ZoneText(int bias_minutes);
// "Wed, 05 Mar 2025 14:03:09 +0100": English names whatever the locale, local time of `when`.
std::string DateText(std::time_t when);

// The message: sender, recipients, subject, body tree and header block. Thread-compatible.
class MailMessage {
 public:
  MailMessage() = default;
  MailMessage(const MailMessage&) = delete;
  MailMessage& operator=(const MailMessage&) = delete;
  MailMessage(MailMessage&&) noexcept = default;

  void AddRecipient(MailAddress address, RecipientKind kind);
  int RecipientCount(RecipientKind kind) const;
  const MailAddress& Recipient(int index, RecipientKind kind) const;

  // Without the MIME flag the text becomes the root's text. With it, a text/plain root turns
  // into multipart/mixed whose first child holds `text`; on a root that is multipart already,
  // the first text child gets the new text (or one is added when there is none).
  void SetBodyText(std::string_view text);
  // Appends a copy of `part` to the root.
  void AddAttachmentPart(const MailBodyPart& part);
  void AddExtraHeader(std::string line) { extra_headers_.push_back(std::move(line)); }

  // The header block in its fixed order, dated now. `more_lines` are written after the extra
  // header lines as if they were among them.
  std::string BuildHeaderBlock(std::span<const std::string> more_lines = {}) const;
  // The same, dated `when`.
  std::string BuildHeaderBlockAt(std::time_t when, std::span<const std::string> more_lines) const;

  // Writes the whole DATA stream after "DATA": header block (with `more_lines`), body or part
  // tree, and the closing "\r\n.\r\n". A header block that does not end in an empty line (it
  // has extra header lines) is followed by one, so the body never runs into the headers.
  // False when an attachment cannot be read or the sink refuses; the stream stops there.
  bool WriteDataStream(DataSink& sink, std::span<const std::string> more_lines = {}) const;

  bool HasExtraHeader(std::string_view name) const;

  MailAddress from;
  std::string subject;
  std::string mailer = "CSMTPConnection v2.21";
  MailAddress reply_to;
  MailBodyPart root;
  bool mime = false;

 private:
  std::array<std::vector<MailAddress>, 3> recipients_;
  std::vector<std::string> extra_headers_;
};

}  // namespace quorvane::mail
