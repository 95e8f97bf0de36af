#include "album/index_check.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace quorvane::album {
namespace {

using xml::XmlNode;

// The reader's classes of bytes (the XML reader's own are internal to it).
bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}
bool IsControl(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u < 0x20 || u == 0x7F;
}
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsBlank(std::string_view text) { return std::all_of(text.begin(), text.end(), IsSpace); }

void SkipSpace(std::string_view text, size_t* i) {
  while (*i < text.size() && IsSpace(text[*i])) ++*i;
}

std::string At(size_t offset) { return "at offset " + std::to_string(offset); }

std::string Quoted(std::string_view text) {
  std::string quoted(1, '"');
  quoted.append(text).push_back('"');
  return quoted;
}

bool OneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// The fields the index holds as they are: file names and the type name.
bool IsAsIsField(std::string_view name) {
  return name == "ImageFile" || name == "Format" || name == "TitleImageFileName";
}

// The first attribute of `element` not among `kept`, or empty.
std::string UnkeptAttribute(const XmlNode& element, std::initializer_list<std::string_view> kept) {
  for (size_t i = 0; i < element.AttributeCount(); ++i) {
    const std::string_view name = element.AttributeAt(i)->name();
    if (!OneOf(name, kept)) return std::string(name);
  }
  return {};
}

// What of an element's children the reader drops: everything but its first text node (when
// `first_text_kept`) and, when given, elements named `kept_element`. White space is no loss.
const XmlNode* DroppedChild(const XmlNode& element, bool first_text_kept,
                            std::string_view kept_element = {}) {
  bool text_seen = !first_text_kept;
  for (size_t i = 0; i < element.ChildCount(); ++i) {
    const XmlNode& child = *element.ChildAt(i);
    if (child.kind() == xml::kTextNode) {
      if (!text_seen) {
        text_seen = true;
      } else if (!IsBlank(child.value())) {
        return &child;
      }
    } else if (child.kind() != xml::kElementNode || child.name() != kept_element ||
               kept_element.empty()) {
      return &child;
    }
  }
  return nullptr;
}

std::string Describe(const XmlNode& node) {
  switch (node.kind()) {
    case xml::kElementNode:
      return "an element <" + std::string(node.name()) + ">";
    case xml::kCommentNode:
      return "a comment";
    case xml::kCDataNode:
      return "a CDATA section";
    default:
      return "text";
  }
}

// The attributes the index reader keeps of a photo. Asked of every attribute of every photo,
// so by length first.
bool IsPhotoAttribute(std::string_view name) {
  switch (name.size()) {
    case 4:
      return name == "Date";
    case 5:
      return name == "Title";
    case 6:
      return name == "Format";
    case 8:
      return name == "Keywords";
    case 9:
      return name == "ImageFile" || name == "ImageSize";
    default:
      return false;
  }
}

std::string PhotoLoss(const XmlNode& image) {
  const XmlNode* file = nullptr;
  const XmlNode* unkept = nullptr;
  for (size_t i = 0; i < image.AttributeCount(); ++i) {
    const XmlNode* attribute = image.AttributeAt(i);
    if (attribute->name() == "ImageFile") {
      file = attribute;
    } else if (unkept == nullptr && !IsPhotoAttribute(attribute->name())) {
      unkept = attribute;
    }
  }
  if (file == nullptr) return "a photo has no file name";
  const std::string photo = "photo " + Quoted(file->value());
  if (unkept != nullptr) {
    return photo + " has an attribute " + Quoted(unkept->name()) + " that is not kept";
  }
  // The usual photo has its description and nothing else.
  if (image.ChildCount() == 0 ||
      (image.ChildCount() == 1 && image.ChildAt(0)->kind() == xml::kTextNode)) {
    return {};
  }
  if (const XmlNode* child = DroppedChild(image, true)) {
    return photo + " holds " + Describe(*child) + " that is not kept";
  }
  return {};
}

std::string VariablesLoss(const XmlNode& user_vars) {
  if (!UnkeptAttribute(user_vars, {}).empty())
    return "the user variables have attributes that are not kept";
  if (const XmlNode* child = DroppedChild(user_vars, false, "Var")) {
    return "the user variables hold " + Describe(*child) + " that is not kept";
  }
  for (size_t i = 0; i < user_vars.ChildCount(); ++i) {
    const XmlNode& var = *user_vars.ChildAt(i);
    if (var.kind() != xml::kElementNode) continue;
    const std::string attribute = UnkeptAttribute(var, {"Name", "Value"});
    if (!attribute.empty()) {
      return "a user variable has an attribute " + Quoted(attribute) + " that is not kept";
    }
    if (const XmlNode* child = DroppedChild(var, false)) {
      return "a user variable holds " + Describe(*child) + " that is not kept";
    }
  }
  return {};
}

// The longest tag text the reader takes: it reads 4,095 bytes after "<" and needs the ">".
constexpr size_t kLongestTag = 4094;

// A value as a message shows it: bytes that would break the line or the terminal as \xNN.
std::string Shown(std::string_view value) {
  std::string shown;
  for (const char c : value) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7F || u == 0xFF) {
      constexpr char kHex[] = "0123456789ABCDEF";
      shown += "\\x";
      shown += kHex[u >> 4];
      shown += kHex[u & 15];
    } else {
      shown += c;
    }
  }
  return shown;
}

// How a message names an element the writer makes, and a field of it.
std::string Owner(const XmlNode& element) {
  if (element.name() == "Image") return "photo " + Quoted(Shown(element.GetAttribute("ImageFile")));
  if (element.name() == "Var") return "a user variable";
  return "the album";
}

std::string FieldName(const XmlNode& element, std::string_view attribute) {
  if (attribute == "ImageFile") return "file name";
  if (attribute == "TitleImageFileName") return "title image file name";
  if (attribute == "Format") return "type name";
  if (attribute == "Title") return element.name() == "Image" ? "caption" : "title";
  return std::string(attribute == "Keywords" ? "keywords" : attribute == "Name" ? "name" : "value");
}

}  // namespace

bool IndexCanHoldAsIs(char c) {
  return c != '"' && c != '>' && c != '\r' && c != '\n' && c != '\0' && c != '\xff';
}

std::string IndexValueProblem(IndexField field, std::string_view value) {
  // Every value of a large album passes here on each save: the search for the rare bytes is
  // left to memchr, except in the short fields written as they are.
  size_t at = value.find('\xff');
  if (field == IndexField::kEncoded) at = std::min(at, value.find('\0'));
  if (field == IndexField::kAsIs) {
    at = std::find_if(value.begin(), value.end(), [](char c) { return !IndexCanHoldAsIs(c); }) -
         value.begin();
  }
  if (at >= value.size()) return {};
  switch (value[at]) {
    case '\xff':
      return "holds a byte 0xFF";
    case '\0':
      return "holds a NUL byte";
    case '"':
      return "holds a double quote";
    case '>':
      return "holds \">\"";
    default:
      return "holds a line break";
  }
}

std::string WrittenElementProblem(const XmlNode& element) {
  size_t tag = element.name().size() + (element.ChildCount() == 0 ? 2 : 0);  // " />"
  for (size_t i = 0; i < element.AttributeCount(); ++i) {
    const XmlNode& attribute = *element.AttributeAt(i);
    const IndexField field =
        IsAsIsField(attribute.name()) ? IndexField::kAsIs : IndexField::kEncoded;
    if (std::string problem = IndexValueProblem(field, attribute.value()); !problem.empty()) {
      return "the " + FieldName(element, attribute.name()) + " " +
             Quoted(Shown(attribute.value())) + " of " + Owner(element) + " " + problem;
    }
    tag += attribute.name().size() + attribute.value().size() + 4;  // space, =, two quotes
  }
  if (tag > kLongestTag) {
    return "the fields of " + Owner(element) + " take more than the " +
           std::to_string(kLongestTag) + " bytes one tag can hold";
  }
  for (size_t i = 0; i < element.ChildCount(); ++i) {
    const XmlNode& child = *element.ChildAt(i);
    if (child.kind() != xml::kTextNode) continue;
    if (std::string problem = IndexValueProblem(IndexField::kText, child.value());
        !problem.empty()) {
      return "the description of " + Owner(element) + " " + problem;
    }
  }
  return {};
}

void IndexReadCheck::Note(std::string problem) {
  if (problem_.empty()) problem_ = std::move(problem);
}

void IndexReadCheck::Watch(const xml::ByteBuffer& input) {
  if (input_ == &input) return;
  input_ = &input;
  // The reader stops at the first 0xFF: whatever follows it is never seen.
  const size_t stop = input.bytes().find('\xff', input.position());
  if (stop != std::string_view::npos) Note("a byte 0xFF " + At(stop) + " ends the reading there");
}

std::unique_ptr<XmlNode> IndexReadCheck::ParseText(xml::ByteBuffer& input) {
  Watch(input);
  return XmlDocument::ParseText(input);
}

std::unique_ptr<XmlNode> IndexReadCheck::ParseTag(xml::ByteBuffer& input) {
  Watch(input);
  tag_offset_ = input.position();
  std::unique_ptr<XmlNode> node = XmlDocument::ParseTag(input);
  if (!problem_.empty()) return node;  // the first loss is the one reported
  const std::string_view read =
      input.bytes().substr(tag_offset_ + 1, input.position() - tag_offset_ - 1);
  if (read.empty() || read.back() != '>') {
    Note("the tag " + At(tag_offset_) + " is cut off");
  } else if (node == nullptr) {
    // Empty comments and CDATA sections carry nothing; any other tag that made no node
    // swallowed its bytes.
    if (read.front() != '!') Note("the bytes " + At(tag_offset_) + " make no tag the reader keeps");
  } else if (node->kind() == xml::kElementNode && !node->name().starts_with('/')) {
    CheckTag(read.substr(0, read.size() - 1), tag_offset_, *node);
  }
  return node;
}

// Goes over the tag's attributes as the reader does (XmlDocument::ParseTag), looking for what
// it would read differently from what the bytes say.
void IndexReadCheck::CheckTag(std::string_view text, size_t offset, const XmlNode& element) {
  if (text.find('\0') != std::string_view::npos) {
    Note("the tag " + At(offset) + " holds a NUL byte");
    return;
  }
  if (text.size() > 1 && text.back() == '/') text.remove_suffix(1);
  size_t i = 0;
  SkipSpace(text, &i);
  while (i < text.size() && !IsSpace(text[i]) && !IsControl(text[i])) ++i;
  size_t names = 0;
  for (;;) {
    SkipSpace(text, &i);
    const size_t name_start = i;
    while (i < text.size() && !IsSpace(text[i]) && text[i] != '=') ++i;
    const std::string_view name = text.substr(name_start, i - name_start);
    if (name.empty()) {
      if (i < text.size()) Note("the tag " + At(offset) + " holds bytes the reader skips");
      break;
    }
    ++names;
    SkipSpace(text, &i);
    if (i >= text.size() || text[i] != '=') continue;  // a name without a value
    ++i;
    SkipSpace(text, &i);
    if (i >= text.size()) break;
    const char quote = text[i];
    if (quote == '"' || quote == '\'') {
      const size_t close = text.find(quote, i + 1);
      if (close == std::string_view::npos) {
        Note("a value in the tag " + At(offset) + " is not closed by its quote");
        return;
      }
      const std::string_view value = text.substr(i + 1, close - i - 1);
      if (IsAsIsField(name) && value.find_first_of("\r\n") != std::string_view::npos) {
        Note("a file name in the tag " + At(offset) + " holds a line break");
        return;
      }
      i = close + 1;
    } else if (IsDigit(quote) || (quote == '-' && i + 1 < text.size() && IsDigit(text[i + 1]))) {
      ++i;
      while (i < text.size() && IsDigit(text[i])) ++i;
    } else {
      while (i < text.size() && !IsSpace(text[i])) ++i;
    }
  }
  if (names > element.AttributeCount()) {
    Note("the tag " + At(offset) + " repeats an attribute");
  }
}

xml::Placement IndexReadCheck::OnNodeParsed(XmlNode* parent, std::unique_ptr<XmlNode> node) {
  const xml::Placement placed = XmlDocument::OnNodeParsed(parent, std::move(node));
  if (placed.step == xml::ParseStep::kEndLevel) {
    if (!open_.empty()) {
      open_.pop_back();
    } else if (input_ != nullptr && !IsBlank(input_->Remaining())) {
      // With nothing open, a closing tag ends the whole reading.
      Note("a closing tag " + At(tag_offset_) + " ends the reading there");
    }
  } else if (placed.step == xml::ParseStep::kDescend && placed.node != nullptr &&
             !placed.node->self_closed()) {
    open_.push_back(placed.node);
  }
  return placed;
}

void IndexReadCheck::CheckRootChild(const XmlNode& child) {
  if (!problem_.empty()) return;
  switch (child.kind()) {
    case xml::kTextNode:
      if (description_seen_ && !IsBlank(child.value())) {
        Note("the album holds text that is not kept");
      }
      description_seen_ = true;
      return;
    case xml::kElementNode:
      if (child.name() == "Image") {
        Note(PhotoLoss(child));
        return;
      }
      [[fallthrough]];
    default:
      Note("the album holds " + Describe(child) + " that is not kept");
  }
}

std::string IndexReadCheck::Loss(const XmlNode& root) const {
  if (!problem_.empty()) return problem_;
  if (!open_.empty()) {
    return "the file ends before its element <" + std::string(open_.back()->name()) + "> is closed";
  }
  const std::string attribute =
      UnkeptAttribute(root, {"Date", "Title", "TitleImageFileName", "Version"});
  if (!attribute.empty()) {
    return "the album has an attribute " + Quoted(attribute) + " that is not kept";
  }
  bool user_vars_seen = false;
  for (size_t i = 1; i < ChildCount(); ++i) {
    const XmlNode& child = *ChildAt(i);
    if (child.kind() == xml::kTextNode && IsBlank(child.value())) continue;
    if (child.kind() == xml::kElementNode && child.name() == "UserVar" && !user_vars_seen) {
      user_vars_seen = true;
      if (std::string loss = VariablesLoss(child); !loss.empty()) return loss;
      continue;
    }
    return "the index holds " + Describe(child) + " beside the album that is not kept";
  }
  return {};
}

}  // namespace quorvane::album
