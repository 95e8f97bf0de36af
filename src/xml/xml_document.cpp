#include "xml/xml_document.h"

#include <algorithm>
#include <typeinfo>
#include <vector>

#include "xml/internal/char_class.h"
#include "xml/internal/node_arena.h"

namespace quorvane::xml {
namespace {

using internal::IsControl;
using internal::IsDigit;
using internal::IsSpace;
using internal::AsciiLower;

// The longest tag text the reader gathers; bytes after it are read as the next text.
constexpr size_t kTagLimit = 4095;

enum class TagKind { kOrdinary, kComment, kCData, kDocType };

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

TagKind Classify(std::string_view text) {
  if (text.empty() || text[0] != '!') return TagKind::kOrdinary;
  if (text.size() > 2 && StartsWith(text, "!--")) return TagKind::kComment;
  if (text.size() > 7 && StartsWith(text, "![CDATA[")) return TagKind::kCData;
  if (text.size() > 7 && StartsWith(text, "!DOCTYPE")) return TagKind::kDocType;
  return TagKind::kOrdinary;
}

// Whether a ">" after `text` ends the tag: an unfinished comment or CDATA section takes it
// as content instead.
bool GreaterThanEndsTag(std::string_view text, unsigned flags) {
  switch (Classify(text)) {
    case TagKind::kComment:
      return text.size() >= 6 && EndsWith(text, "--") &&
             ((flags & kParseCommentEndsAtDashes) || text[text.size() - 3] != '-');
    case TagKind::kCData:
      return text.size() >= 11 && EndsWith(text, "]]");
    default:
      return true;
  }
}

// The tag text after "<": up to the ">" that ends it, the end of input, or kTagLimit bytes.
// *consumed counts the ending ">" too.
std::string_view ScanTag(std::string_view input, unsigned flags, size_t* consumed) {
  const std::string_view limited = input.substr(0, kTagLimit);
  size_t from = 0;
  while (true) {
    const size_t gt = limited.find('>', from);
    if (gt == std::string_view::npos) {
      *consumed = limited.size();
      return limited;
    }
    if (GreaterThanEndsTag(limited.substr(0, gt), flags)) {
      *consumed = gt + 1;
      return limited.substr(0, gt);
    }
    from = gt + 1;
  }
}

// An ordinary tag's text ends at a NUL byte, as it did when tags were C strings.
size_t TextEnd(std::string_view text, size_t i) {
  while (i < text.size() && text[i] != '\0') ++i;
  return i;
}

void SkipSpace(std::string_view text, size_t* i) {
  while (*i < text.size() && IsSpace(text[*i])) ++*i;
}

std::string_view ReadNameToken(std::string_view text, size_t* i) {
  const size_t start = *i;
  while (*i < text.size() && !IsSpace(text[*i]) && text[*i] != '=') ++*i;
  return text.substr(start, *i - start);
}

std::string ReadValueToken(std::string_view text, size_t* i, unsigned flags) {
  std::string value;
  if (*i >= text.size()) return value;
  const char quote = text[*i];
  if (quote == '"' || quote == '\'') {
    ++*i;
    // The common case, a value without line breaks, is one copy.
    const size_t close = std::min(text.find(quote, *i), text.size());
    const std::string_view run = text.substr(*i, std::min(close - *i, kTagLimit));
    if (std::none_of(run.begin(), run.end(), [](char c) { return c == '\r' || c == '\n'; })) {
      value.assign(run);
      *i += run.size();
      if (*i < text.size() && text[*i] == quote) ++*i;
      return value;
    }
    while (*i < text.size() && text[*i] != quote && value.size() < kTagLimit) {
      const char c = text[(*i)++];
      if (c == '\r') continue;
      if (c == '\n') {
        if (!value.empty() && value.back() != ' ') value.push_back(' ');
        continue;
      }
      value.push_back(c);
    }
    if (*i < text.size() && text[*i] == quote) ++*i;
    return value;
  }
  const bool numeric =
      IsDigit(quote) || (quote == '-' && *i + 1 < text.size() && IsDigit(text[*i + 1]));
  if (numeric) {
    value.push_back(text[(*i)++]);
    while (*i < text.size() && value.size() < kTagLimit) {
      const char c = text[*i];
      if (IsDigit(c)) {
        value.push_back(c);
        ++*i;
      } else {
        if (c == '%' && (flags & kParsePercentValues)) {
          value.push_back(c);
          ++*i;
        }
        break;
      }
    }
    return value;
  }
  while (*i < text.size() && !IsSpace(text[*i]) && value.size() < kTagLimit) {
    value.push_back(text[(*i)++]);
  }
  return value;
}

std::string LowerCased(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) c = AsciiLower(c);
  return lower;
}

// The URI bound to `prefix` as seen from `node`: its own xmlns attributes first, then an
// unprefixed attribute takes its element's URI, and anything else asks its parent.
std::string LookupNamespaceUri(const XmlNode* node, const std::string& prefix) {
  const std::string key = prefix.empty() ? "xmlns" : "xmlns:" + prefix;
  while (node != nullptr) {
    if (node->prefix() != "xmlns") {
      if (const XmlNode* declaration = node->FindAttribute(key)) {
        return std::string(declaration->value());
      }
    }
    if (node->kind() == kAttributeNode && node->prefix().empty()) {
      return node->parent() != nullptr ? std::string(node->parent()->namespace_uri())
                                       : std::string();
    }
    node = node->parent();
  }
  return {};
}

void ApplyNamespace(XmlNode* node) {
  const std::string_view name = node->name();
  const size_t colon = name.find(':');
  std::string prefix, local(name);
  if (colon != std::string_view::npos && colon >= 1) {
    prefix = name.substr(0, colon);
    local = name.substr(colon + 1);
  }
  node->SetNamespace(prefix, local, {});
  std::string uri = LookupNamespaceUri(node, prefix);
  node->SetNamespace(std::move(prefix), std::move(local), std::move(uri));
}

void ParseAttributes(XmlNode* element, std::string_view text, unsigned flags) {
  size_t i = 0;
  std::string_view name;
  bool have_name = false;
  while (true) {
    if (!have_name) {
      SkipSpace(text, &i);
      name = ReadNameToken(text, &i);
    }
    have_name = false;
    if (name.empty()) return;
    auto attribute = std::make_unique<XmlNode>(
        kAttributeNode, (flags & kParseLowerCaseNames) ? LowerCased(name) : std::string(name));
    XmlNode* kept = element->InsertAttribute(std::move(attribute));
    if (kept != nullptr && (flags & kParseNamespaces)) ApplyNamespace(kept);
    SkipSpace(text, &i);
    if (i < text.size() && text[i] == '=') {
      ++i;
      SkipSpace(text, &i);
      std::string value = ReadValueToken(text, &i, flags);
      if (kept != nullptr) kept->set_value(std::move(value));
    } else {
      name = ReadNameToken(text, &i);
      have_name = true;
    }
  }
}

}  // namespace

XmlDocument::XmlDocument() : XmlNode(kDocumentNode, "#document") {}

XmlDocument::~XmlDocument() {
  // When everything under the arena's nodes lives in the arena, those nodes need no
  // destructor: dropping the arena frees them all. Anything else is destroyed node by node.
  if (own_arena_ && !own_arena_->foreign()) {
    for (NodeList* list : {&children_, &attributes_}) {
      for (std::unique_ptr<XmlNode>& node : *list) {
        if (node->arena_ == own_arena_.get() && typeid(*node) == typeid(XmlNode)) {
          (void)node.release();
        }
      }
      std::erase_if(*list, [](const std::unique_ptr<XmlNode>& node) { return !node; });
    }
  }
  // The tree goes before the arena, which members outlive only until this body ends.
  Clear();
}

internal::NodeArena* XmlDocument::Arena() {
  if (!own_arena_) own_arena_ = std::make_unique<internal::NodeArena>();
  return own_arena_.get();
}

std::unique_ptr<XmlNode> XmlDocument::CreateElement(std::string_view name) {
  const internal::NodeArena::Scope use_arena(Arena());
  return XmlNode::CreateElement(name);
}

std::unique_ptr<XmlNode> XmlDocument::CreateText(std::string_view value) {
  const internal::NodeArena::Scope use_arena(Arena());
  return XmlNode::CreateText(value);
}

void XmlDocument::Parse(ByteBuffer& input) {
  const internal::NodeArena::Scope use_arena(Arena());
  // The reading loop of every level, with the open elements on an explicit stack so that
  // nesting depth is bounded only by memory.
  std::vector<XmlNode*> open;
  XmlNode* parent = this;
  while (!input.AtEnd()) {
    if ((parse_flags_ & kParseSkipWhitespace) && IsSpace(static_cast<char>(input.Peek()))) {
      input.Advance(1);
      continue;
    }
    const size_t before = input.position();
    std::unique_ptr<XmlNode> node = AtTagStart(input) ? ParseTag(input) : ParseText(input);
    if (input.position() == before) input.Advance(1);  // a replaced hook that read nothing
    if (!node) continue;
    const Placement placed = OnNodeParsed(parent, std::move(node));
    if (placed.step == ParseStep::kEndLevel) {
      if (open.empty()) return;
      parent = open.back();
      open.pop_back();
    } else if (placed.step == ParseStep::kDescend && placed.node != nullptr &&
               !placed.node->self_closed()) {
      open.push_back(parent);
      parent = placed.node;
    }
  }
}

bool XmlDocument::AtTagStart(const ByteBuffer& input) const {
  const std::string_view rest = input.Remaining();
  return rest.size() >= 2 && rest[0] == '<';
}

size_t XmlDocument::TextRunLength(std::string_view rest) {
  for (size_t lt = rest.find('<'); lt != std::string_view::npos; lt = rest.find('<', lt + 1)) {
    if (lt + 1 < rest.size()) return lt;
  }
  return rest.size();
}

std::unique_ptr<XmlNode> XmlDocument::ParseText(ByteBuffer& input) {
  const std::string_view rest = input.Remaining();
  const std::string_view run = rest.substr(0, TextRunLength(rest));
  input.Advance(run.size());

  auto node = CreateText({});
  std::pmr::string& value = node->mutable_value();
  const bool keep_cr = parse_flags_ & kParseKeepCarriageReturns;
  const bool lf_to_space = parse_flags_ & kParseLineFeedsToSpaces;
  if (keep_cr && !lf_to_space) {
    value.assign(run);
    return node;
  }
  value.reserve(run.size());
  for (const char c : run) {
    if (c == '\r' && !keep_cr) continue;
    value.push_back(c == '\n' && lf_to_space ? ' ' : c);
  }
  return node;
}

std::unique_ptr<XmlNode> XmlDocument::ParseTag(ByteBuffer& input) {
  input.Advance(1);  // "<"
  size_t consumed = 0;
  std::string_view text = ScanTag(input.Remaining(), parse_flags_, &consumed);
  input.Advance(consumed);
  const TagKind kind = Classify(text);

  if (kind != TagKind::kOrdinary) {
    size_t start = kind == TagKind::kComment ? 3 : 8;
    if (kind == TagKind::kDocType) SkipSpace(text, &start);
    const std::string_view content = text.size() >= 2 && text.size() - 2 > start
                                         ? text.substr(start, text.size() - 2 - start)
                                         : std::string_view();
    if (content.empty()) return nullptr;
    std::unique_ptr<XmlNode> node;
    if (kind == TagKind::kComment) {
      node = std::make_unique<XmlNode>(kCommentNode, "#comment", std::string(content));
    } else if (kind == TagKind::kCData) {
      node = std::make_unique<XmlNode>(kCDataNode, "#cdata-section", std::string(content));
    } else {
      return std::make_unique<XmlNode>(kDocumentTypeNode, std::string(content));
    }
    node->set_self_closed(true);
    return node;
  }

  text = text.substr(0, TextEnd(text, 0));
  bool self_closed = false;
  if (text.size() > 1 && text.back() == '/' &&
      (!(parse_flags_ & kParsePercentValues) || IsSpace(text[text.size() - 2]))) {
    self_closed = true;
    text.remove_suffix(1);
  }
  size_t i = 0;
  SkipSpace(text, &i);
  const size_t name_start = i;
  while (i < text.size() && !IsSpace(text[i]) && !IsControl(text[i])) ++i;
  const std::string_view name = text.substr(name_start, i - name_start);
  if (name.empty()) return nullptr;

  auto element =
      CreateElement((parse_flags_ & kParseLowerCaseNames) ? LowerCased(name) : std::string(name));
  element->set_self_closed(self_closed);
  if (parse_flags_ & kParseNamespaces) ApplyNamespace(element.get());
  ParseAttributes(element.get(), text.substr(i), parse_flags_);
  return element;
}

Placement XmlDocument::OnNodeParsed(XmlNode* parent, std::unique_ptr<XmlNode> node) {
  switch (node->kind()) {
    case kCommentNode:
    case kTextNode:
    case kCDataNode:
      return {ParseStep::kContinue, parent->AppendChild(std::move(node))};
    case kElementNode:
      if (!node->name().empty() && node->name()[0] == '/') return {ParseStep::kEndLevel};
      if (node->name() == "?xml") {
        encoding_ = node->GetAttribute("encoding");
        version_ = node->GetAttribute("version");
        return {ParseStep::kContinue};
      }
      return {ParseStep::kDescend, parent->AppendChild(std::move(node))};
    default:
      return {ParseStep::kContinue};
  }
}

void WriteXml(const XmlNode& root, ByteBuffer& output, int write_flags) {
  const bool content_only = write_flags & kWriteContentOnly;
  const bool quote = write_flags & kWriteQuoteAttributes;
  struct Frame {
    const XmlNode* node;
    size_t next_child;
  };
  std::vector<Frame> open;

  auto write_attribute = [&](const XmlNode& attribute) {
    output.Append(attribute.name());
    output.Append('=');
    if (quote) output.Append('"');
    output.Append(attribute.value());
    if (quote) output.Append('"');
  };
  // Writes what comes before a node's children; true when the children follow.
  auto open_node = [&](const XmlNode& node) {
    switch (node.kind()) {
      case kDocumentNode:
        return true;
      case kElementNode:
        if (content_only) return true;
        output.Append('<');
        output.Append(node.name());
        for (size_t i = 0; i < node.AttributeCount(); ++i) {
          output.Append(' ');
          write_attribute(*node.AttributeAt(i));
        }
        if (node.ChildCount() == 0) {
          output.Append(" />");
          return false;
        }
        output.Append('>');
        return true;
      case kAttributeNode:
        write_attribute(node);
        return false;
      case kCommentNode:
        if (!content_only) {
          output.Append('<');
          output.Append(node.value());
          output.Append('>');
        }
        return false;
      case kTextNode:
        output.Append(node.value());
        return false;
      default:  // CDATA sections and every other kind are not written
        return false;
    }
  };

  if (open_node(root)) open.push_back({&root, 0});
  while (!open.empty()) {
    Frame& top = open.back();
    if (top.next_child < top.node->ChildCount()) {
      const XmlNode* child = top.node->ChildAt(top.next_child++);
      if (open_node(*child)) open.push_back({child, 0});
      continue;
    }
    if (top.node->kind() == kElementNode && !content_only) {
      output.Append("</");
      output.Append(top.node->name());
      output.Append('>');
    }
    open.pop_back();
  }
}

}  // namespace quorvane::xml
