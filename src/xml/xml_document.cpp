#include "xml/xml_document.h"

#include <algorithm>
#include <cstring>
#include <typeinfo>
#include <vector>

#include "xml/internal/char_class.h"
#include "xml/internal/node_arena.h"

namespace quorvane::xml {
namespace {

using internal::AsciiLower;
using internal::FindAnyOf;
using internal::HasClass;
using internal::IsDigit;
using internal::IsSpace;
using internal::kControlClass;
using internal::kEqualsClass;
using internal::kSpaceClass;

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
size_t TextEnd(std::string_view text) {
  const void* nul = std::memchr(text.data(), '\0', text.size());
  return nul == nullptr ? text.size() : static_cast<const char*>(nul) - text.data();
}

void SkipSpace(std::string_view text, size_t* i) {
  while (*i < text.size() && IsSpace(text[*i])) ++*i;
}

std::string_view ReadNameToken(std::string_view text, size_t* i) {
  const size_t start = *i;
  while (*i < text.size() && !HasClass(text[*i], kSpaceClass | kEqualsClass)) ++*i;
  return text.substr(start, *i - start);
}

// Reads a value token at text[*i]. Most values are a plain run of the tag text and come back
// as a view of it; a quoted value with line breaks is rewritten into *scratch.
std::string_view ReadValueToken(std::string_view text, size_t* i, unsigned flags,
                                std::string* scratch) {
  if (*i >= text.size()) return {};
  const char quote = text[*i];
  const size_t start = *i;
  if (quote == '"' || quote == '\'') {
    ++*i;
    const size_t stop = FindAnyOf(text, *i, quote, '\r', '\n');
    if (stop == text.size() || text[stop] == quote) {
      const std::string_view run = text.substr(*i, std::min(stop - *i, kTagLimit));
      *i += run.size();
      if (*i < text.size() && text[*i] == quote) ++*i;
      return run;
    }
    scratch->clear();
    while (*i < text.size() && text[*i] != quote && scratch->size() < kTagLimit) {
      const char c = text[(*i)++];
      if (c == '\r') continue;
      if (c == '\n') {
        if (!scratch->empty() && scratch->back() != ' ') scratch->push_back(' ');
        continue;
      }
      scratch->push_back(c);
    }
    if (*i < text.size() && text[*i] == quote) ++*i;
    return *scratch;
  }
  const bool numeric =
      IsDigit(quote) || (quote == '-' && *i + 1 < text.size() && IsDigit(text[*i + 1]));
  const size_t end = std::min(text.size(), start + kTagLimit);
  if (numeric) {
    ++*i;
    while (*i < end && IsDigit(text[*i])) ++*i;
    if (*i < end && text[*i] == '%' && (flags & kParsePercentValues)) ++*i;
  } else {
    while (*i < end && !IsSpace(text[*i])) ++*i;
  }
  return text.substr(start, *i - start);
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

}  // namespace

XmlDocument::XmlDocument() : XmlNode(kDocumentNode, "#document") {}

XmlDocument::~XmlDocument() {
  // When everything under the arena's nodes lives in the arena, those nodes need no
  // destructor: dropping the arena frees them all. Anything else is destroyed node by node.
  if (own_arena_ && !own_arena_->foreign()) {
    for (NodeList* list : {&children_, &attributes_}) {
      const size_t count = list->size();
      uint32_t kept = 0;
      for (size_t i = 0; i < count; ++i) {
        XmlNode* node = list->items[i];
        if (node->arena_ != own_arena_.get() || typeid(*node) != typeid(XmlNode)) {
          list->items[kept++] = node;
        }
      }
      if (list->items != nullptr) list->header()->size = kept;
    }
  }
  // The tree goes before the arena and the input, which members outlive only until this
  // body ends.
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

std::unique_ptr<XmlNode> XmlDocument::NewNode(int kind, std::string_view literal_name) {
  internal::NodeArena* arena = Arena();
  return std::unique_ptr<XmlNode>(new (arena) XmlNode(kind, arena, literal_name));
}

bool XmlDocument::InInput(std::string_view bytes) const {
  const auto at = reinterpret_cast<uintptr_t>(bytes.data());
  const auto input = reinterpret_cast<uintptr_t>(input_.data());
  return at >= input && at + bytes.size() <= input + input_.size();
}

void XmlDocument::Keep(XmlNode& node, XmlNode::Text& text, std::string_view bytes) {
  if (InInput(bytes)) {
    node.Refer(text, bytes);
  } else {
    node.Assign(text, bytes);
  }
}

void XmlDocument::KeepName(XmlNode& node, std::string_view name) {
  if (parse_flags_ & kParseLowerCaseNames) {
    node.Assign(node.name_, LowerCased(name));
  } else {
    Keep(node, node.name_, name);
  }
}

void XmlDocument::Parse(ByteBuffer& input) {
  const internal::NodeArena::Scope use_arena(Arena());
  // Parsed names and values look into the input, so the document keeps it while it lives.
  std::shared_ptr<const std::string> shared = input.Share();
  if (inputs_.empty() || inputs_.back() != shared) inputs_.push_back(std::move(shared));
  const std::string_view outer_input = input_;
  input_ = input.bytes();

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
      if (open.empty()) break;
      parent = open.back();
      open.pop_back();
    } else if (placed.step == ParseStep::kDescend && placed.node != nullptr &&
               !placed.node->self_closed()) {
      open.push_back(parent);
      parent = placed.node;
    }
  }
  input_ = outer_input;
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

  std::unique_ptr<XmlNode> node = NewNode(kTextNode, "#text");
  const bool drop_cr = !(parse_flags_ & kParseKeepCarriageReturns);
  const bool lf_to_space = parse_flags_ & kParseLineFeedsToSpaces;
  const bool changes = (drop_cr && run.find('\r') != std::string_view::npos) ||
                       (lf_to_space && run.find('\n') != std::string_view::npos);
  if (!changes) {
    Keep(*node, node->value_, run);
    return node;
  }
  std::string value;
  value.reserve(run.size());
  for (const char c : run) {
    if (c == '\r' && drop_cr) continue;
    value.push_back(c == '\n' && lf_to_space ? ' ' : c);
  }
  node->Assign(node->value_, value);
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
    if (kind == TagKind::kDocType) {
      std::unique_ptr<XmlNode> node = NewNode(kDocumentTypeNode);
      Keep(*node, node->name_, content);
      return node;
    }
    std::unique_ptr<XmlNode> node = kind == TagKind::kComment
                                        ? NewNode(kCommentNode, "#comment")
                                        : NewNode(kCDataNode, "#cdata-section");
    Keep(*node, node->value_, content);
    node->set_self_closed(true);
    return node;
  }

  text = text.substr(0, TextEnd(text));
  bool self_closed = false;
  if (text.size() > 1 && text.back() == '/' &&
      (!(parse_flags_ & kParsePercentValues) || IsSpace(text[text.size() - 2]))) {
    self_closed = true;
    text.remove_suffix(1);
  }
  size_t i = 0;
  SkipSpace(text, &i);
  const size_t name_start = i;
  while (i < text.size() && !HasClass(text[i], kSpaceClass | kControlClass)) ++i;
  const std::string_view name = text.substr(name_start, i - name_start);
  if (name.empty()) return nullptr;

  std::unique_ptr<XmlNode> element = NewNode(kElementNode);
  KeepName(*element, name);
  element->set_self_closed(self_closed);
  if (parse_flags_ & kParseNamespaces) ApplyNamespace(element.get());
  ParseAttributes(*element, text.substr(i));
  return element;
}

void XmlDocument::ParseAttributes(XmlNode& element, std::string_view text) {
  internal::NodeArena* arena = Arena();
  // A derived document may hand over tag text of its own; only the input is kept.
  const bool in_input = InInput(text);
  const bool lower_case = parse_flags_ & kParseLowerCaseNames;
  std::string scratch;
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

    XmlNode* kept = nullptr;
    std::unique_ptr<XmlNode> attribute(new (arena) XmlNode(kAttributeNode, arena, {}));
    if (lower_case) {
      attribute->Assign(attribute->name_, LowerCased(name));
    } else if (in_input) {
      attribute->Refer(attribute->name_, name);
    } else {
      attribute->Assign(attribute->name_, name);
    }
    // Attributes mostly come in name order (the writer puts them so): then they go last.
    const size_t count = element.attributes_.size();
    if (!lower_case &&
        (count == 0 || internal::NameBefore(element.attributes_.items[count - 1]->name(), name))) {
      kept = attribute.get();
      element.Append(element.attributes_, kept);
      (void)attribute.release();
      kept->parent_ = &element;
    } else {
      kept = element.InsertAttribute(std::move(attribute));
    }
    if (kept != nullptr && (parse_flags_ & kParseNamespaces)) ApplyNamespace(kept);
    SkipSpace(text, &i);
    if (i < text.size() && text[i] == '=') {
      ++i;
      SkipSpace(text, &i);
      const std::string_view value = ReadValueToken(text, &i, parse_flags_, &scratch);
      if (kept == nullptr) continue;
      if (in_input && value.data() != scratch.data()) {
        kept->Refer(kept->value_, value);
      } else {
        kept->Assign(kept->value_, value);
      }
    } else {
      name = ReadNameToken(text, &i);
      have_name = true;
    }
  }
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

namespace {

// Walks the tree in document order and hands `put` every piece of the written form, so that
// the same walk can first measure the output and then write it.
template <typename Put>
void WalkWritten(const XmlNode& root, int write_flags, Put put) {
  const bool content_only = write_flags & kWriteContentOnly;
  const bool quote = write_flags & kWriteQuoteAttributes;
  struct Frame {
    const XmlNode* node;
    size_t next_child;
  };
  std::vector<Frame> open;

  auto write_attribute = [&](const XmlNode& attribute) {
    put(attribute.name());
    put(quote ? "=\"" : "=");
    put(attribute.value());
    if (quote) put("\"");
  };
  // Writes what comes before a node's children; true when the children follow.
  auto open_node = [&](const XmlNode& node) {
    switch (node.kind()) {
      case kDocumentNode:
        return true;
      case kElementNode:
        if (content_only) return true;
        put("<");
        put(node.name());
        for (size_t i = 0; i < node.AttributeCount(); ++i) {
          put(" ");
          write_attribute(*node.AttributeAt(i));
        }
        if (node.ChildCount() == 0) {
          put(" />");
          return false;
        }
        put(">");
        return true;
      case kAttributeNode:
        write_attribute(node);
        return false;
      case kCommentNode:
        if (!content_only) {
          put("<");
          put(node.value());
          put(">");
        }
        return false;
      case kTextNode:
        put(node.value());
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
      put("</");
      put(top.node->name());
      put(">");
    }
    open.pop_back();
  }
}

}  // namespace

void WriteXml(const XmlNode& root, ByteBuffer& output, int write_flags) {
  // Measuring first costs a walk over the tree; growing the output as it is written would
  // cost copies and fresh memory, page by page, twice over.
  size_t length = 0;
  WalkWritten(root, write_flags, [&length](std::string_view piece) { length += piece.size(); });
  output.Reserve(length);
  WalkWritten(root, write_flags, [&output](std::string_view piece) { output.Append(piece); });
}

}  // namespace quorvane::xml
