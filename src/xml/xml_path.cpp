// The dotted path language: segments joined by ".", each a name with an optional "[index]".
#include <algorithm>

#include "xml/internal/char_class.h"
#include "xml/internal/node_arena.h"
#include "xml/xml_node.h"

namespace quorvane::xml {
namespace {

struct Segment {
  std::string_view name;
  int index = 0;
  std::string_view rest;  // the path after this segment's "."; empty at the last segment
  bool last = true;
};

// "%d" as scanf reads it: leading white space, an optional sign, digits. No digits gives 0;
// values beyond the int range saturate, which can never match anyway.
int ReadIndex(std::string_view text) {
  size_t i = 0;
  while (i < text.size() && internal::IsSpace(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  long long value = 0;
  while (i < text.size() && internal::IsDigit(text[i])) {
    value = std::min(value * 10 + (text[i++] - '0'), 1LL << 32);
  }
  if (negative) value = -value;
  return static_cast<int>(std::clamp<long long>(value, -2147483647LL - 1, 2147483647LL));
}

Segment ReadSegment(std::string_view path) {
  Segment s;
  const size_t dot = path.find('.');
  const std::string_view text = path.substr(0, dot);
  if (dot != std::string_view::npos) {
    s.rest = path.substr(dot + 1);
    s.last = false;
  }
  const size_t bracket = text.find('[');
  s.name = text.substr(0, bracket);
  if (bracket != std::string_view::npos) s.index = ReadIndex(text.substr(bracket + 1));
  return s;
}

bool IsCreatableTextName(std::string_view name, int* kind) {
  if (name == "#text") {
    *kind = kTextNode;
  } else if (name == "#comment") {
    *kind = kCommentNode;
  } else if (name == "#cdata-section") {
    *kind = kCDataNode;
  } else {
    return false;
  }
  return true;
}

}  // namespace

XmlNode* XmlNode::FindPath(std::string_view path, int path_flags) {
  XmlNode* node = this;
  std::string_view remaining = path;
  while (true) {
    const Segment segment = ReadSegment(remaining);
    if (!segment.name.empty() && segment.name[0] == '@') {
      const std::string_view attribute_name = segment.name.substr(1);
      XmlNode* attribute = node->FindAttribute(attribute_name);
      if (attribute == nullptr && (path_flags & kPathCreate)) {
        node->SetAttribute(attribute_name, "");
        attribute = node->FindAttribute(attribute_name);
      }
      return attribute != nullptr ? attribute : node->ResolveUnmatched(remaining, segment.index);
    }

    XmlNode* match = nullptr;
    int seen = 0;
    for (size_t i = 0; i < node->ChildCount(); ++i) {
      XmlNode* child = node->ChildAt(i);
      const bool matches = child->name() == segment.name ||
                           ((path_flags & kPathMatchLocalName) && !child->local_name().empty() &&
                            child->local_name() == segment.name);
      if (matches && seen++ == segment.index) {
        match = child;
        break;
      }
    }

    if (match == nullptr && (path_flags & kPathCreate) && !segment.name.empty()) {
      const internal::NodeArena::Scope same_memory(node->arena_);
      int kind = kElementNode;
      if (segment.name[0] != '#') {
        match = node->AppendChild(CreateElement(std::string(segment.name)));
      } else if (IsCreatableTextName(segment.name, &kind)) {
        match = node->AppendChild(std::make_unique<XmlNode>(kind, std::string(segment.name)));
      }
    }
    if (match == nullptr) return node->ResolveUnmatched(remaining, segment.index);
    if (segment.last) return match;
    node = match;
    remaining = segment.rest;
  }
}

}  // namespace quorvane::xml
