#include "xml/xml_node.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <typeinfo>
#include <vector>

#include "xml/internal/char_class.h"
#include "xml/internal/node_arena.h"
#include "xml/xml_document.h"

namespace quorvane::xml {

struct XmlNode::Namespace {
  std::string prefix;
  std::string local_name;
  std::string uri;
};

namespace {

// The first position in a name-ordered list whose name is not below `name`.
size_t LowerBound(XmlNode* const* items, size_t size, std::string_view name) {
  size_t low = 0;
  while (size > 0) {
    const size_t half = size / 2;
    if (internal::NameBefore(items[low + half]->name(), name)) {
      low += half + 1;
      size -= half + 1;
    } else {
      size = half;
    }
  }
  return low;
}

// The names the parser and the path language give to nodes that are not elements; nodes
// made with one of them look at the literal instead of copying it.
std::string_view FixedName(std::string_view name) {
  static constexpr std::string_view kNames[] = {"#text", "#comment", "#cdata-section", "#document"};
  if (name.size() < 5 || name[0] != '#') return {};
  for (const std::string_view fixed : kNames) {
    if (name == fixed) return fixed;
  }
  return {};
}

constexpr uint32_t kFirstChildCapacity = 2;
constexpr uint32_t kFirstAttributeCapacity = 8;  // one block for a typical element

}  // namespace

void* XmlNode::operator new(size_t size) {
  return operator new(size, internal::NodeArena::Current());
}

void XmlNode::operator delete(XmlNode* node, std::destroying_delete_t) {
  // The node says where its memory came from; that must be read before it is destroyed.
  internal::NodeArena* arena = node->arena_;
  const bool plain = arena != nullptr && typeid(*node) == typeid(XmlNode);
  node->~XmlNode();
  if (arena == nullptr) {
    ::operator delete(node);
  } else if (plain) {
    // Every closing tag is parsed into a node that is dropped at once; the next node made
    // takes its place.
    arena->KeepSpare(node, sizeof(XmlNode));
  }
}

void XmlNode::operator delete(void* memory) {
  // Only reached when a constructor throws, on the thread (and so the arena) that allocated.
  if (internal::NodeArena::Current() == nullptr) ::operator delete(memory);
}

void* XmlNode::operator new(size_t size, internal::NodeArena* arena) {
  if (arena == nullptr) return ::operator new(size);
  if (void* spare = arena->TakeSpare(size)) return spare;
  return arena->Allocate(size);
}

void XmlNode::operator delete(void* memory, internal::NodeArena* arena) {
  if (arena == nullptr) ::operator delete(memory);
}

XmlNode::XmlNode(int kind, std::string_view name, std::string_view value)
    : arena_(internal::NodeArena::Current()), kind_(static_cast<int16_t>(kind)) {
  if (const std::string_view fixed = FixedName(name); !fixed.empty()) {
    Refer(name_, fixed);
  } else if (!name.empty()) {
    Assign(name_, name);
  }
  if (value.empty()) return;
  try {
    Assign(value_, value);
  } catch (...) {
    Release(name_);
    throw;
  }
}

XmlNode::XmlNode(int kind, internal::NodeArena* arena, std::string_view literal_name)
    : arena_(arena),
      name_{literal_name.data(), literal_name.size()},
      kind_(static_cast<int16_t>(kind)) {}

XmlNode::~XmlNode() {
  DestroyChildren();
  DestroyAttributes();
  Release(name_);
  Release(value_);
}

void* XmlNode::Allocate(size_t bytes) {
  return arena_ != nullptr ? arena_->Allocate(bytes, alignof(void*)) : ::operator new(bytes);
}

void XmlNode::Free(void* memory) {
  if (arena_ == nullptr) ::operator delete(memory);
}

void XmlNode::Assign(Text& text, std::string_view bytes) {
  if (text.owned()) {
    char* own = const_cast<char*>(text.data);
    const size_t capacity = reinterpret_cast<const size_t*>(own)[-1];
    if (bytes.size() <= capacity) {
      if (!bytes.empty()) std::memmove(own, bytes.data(), bytes.size());
      text.size_bits = bytes.size() | Text::kOwned;
      return;
    }
  }
  if (bytes.empty()) {
    Release(text);
    return;
  }
  // Rounded up so that small edits in place (path creation, then a value) need no new block.
  const size_t capacity = (bytes.size() + 7) & ~size_t{7};
  auto* block = static_cast<size_t*>(Allocate(sizeof(size_t) + capacity));
  block[0] = capacity;
  char* own = reinterpret_cast<char*>(block + 1);
  std::memcpy(own, bytes.data(), bytes.size());
  Release(text);  // only now: `bytes` may have been the old block
  text.data = own;
  text.size_bits = bytes.size() | Text::kOwned;
}

std::span<char> XmlNode::mutable_value() {
  if (!value_.owned()) Assign(value_, value_.view());
  return {const_cast<char*>(value_.data), value_.size()};
}

void XmlNode::Insert(NodeList& list, size_t at, XmlNode* node) {
  const uint32_t size = static_cast<uint32_t>(list.size());
  if (list.items == nullptr || size == list.header()->capacity) {
    const uint32_t first = &list == &attributes_ ? kFirstAttributeCapacity : kFirstChildCapacity;
    const uint32_t old_capacity = list.items != nullptr ? list.header()->capacity : 0;
    if (old_capacity > std::numeric_limits<uint32_t>::max() / 4) throw std::bad_alloc();
    const uint32_t capacity = old_capacity == 0 ? first : old_capacity * 2;
    void* block = Allocate(sizeof(NodeList::Header) + capacity * sizeof(XmlNode*));
    auto* header = static_cast<NodeList::Header*>(block);
    *header = {size, capacity};
    auto** items = reinterpret_cast<XmlNode**>(header + 1);
    if (size != 0) std::memcpy(items, list.items, size * sizeof(XmlNode*));
    ReleaseList(list);
    list.items = items;
  }
  if (at < size) std::memmove(list.items + at + 1, list.items + at, (size - at) * sizeof(XmlNode*));
  list.items[at] = node;
  list.header()->size = size + 1;
}

void XmlNode::ReleaseList(NodeList& list) {
  if (list.items != nullptr) Free(list.header());
  list.items = nullptr;
}

void XmlNode::CheckForeign(const XmlNode& child) {
  if (arena_ != nullptr &&
      (child.arena_ != arena_ || child.namespace_ || typeid(child) != typeid(XmlNode))) {
    arena_->MarkForeign();
  }
}

void XmlNode::DestroyChildren() {
  if (children_.size() == 0) {
    ReleaseList(children_);
    return;
  }
  // Leaves are destroyed on the spot; only nodes with children of their own wait in a flat
  // list, so no destructor ever recurses.
  std::vector<XmlNode*> pending;
  auto take_children = [&pending](XmlNode& owner) {
    const size_t count = owner.children_.size();
    for (size_t i = 0; i < count; ++i) {
      XmlNode* child = owner.children_.items[i];
      if (child->children_.size() != 0) {
        pending.push_back(child);
      } else {
        delete child;
      }
    }
    owner.ReleaseList(owner.children_);
  };
  take_children(*this);
  while (!pending.empty()) {
    XmlNode* node = pending.back();
    pending.pop_back();
    take_children(*node);
    delete node;
  }
}

void XmlNode::DestroyAttributes() {
  const size_t count = attributes_.size();
  for (size_t i = 0; i < count; ++i) delete attributes_.items[i];
  ReleaseList(attributes_);
}

void XmlNode::Clear() {
  DestroyChildren();
  DestroyAttributes();
}

XmlNode* XmlNode::ResolveUnmatched(std::string_view, int) { return nullptr; }

std::unique_ptr<XmlNode> XmlNode::CreateElement(std::string_view name) {
  return std::make_unique<XmlNode>(kElementNode, name);
}

std::unique_ptr<XmlNode> XmlNode::CreateText(std::string_view value) {
  return std::make_unique<XmlNode>(kTextNode, "#text", value);
}

std::string_view XmlNode::namespace_uri() const {
  return namespace_ ? std::string_view(namespace_->uri) : std::string_view();
}
std::string_view XmlNode::prefix() const {
  return namespace_ ? std::string_view(namespace_->prefix) : std::string_view();
}
std::string_view XmlNode::local_name() const {
  return namespace_ ? std::string_view(namespace_->local_name) : std::string_view();
}

void XmlNode::SetNamespace(std::string prefix, std::string local_name, std::string uri) {
  namespace_ = std::make_unique<Namespace>(
      Namespace{std::move(prefix), std::move(local_name), std::move(uri)});
  // The fields live on the heap, so this node's tree can no longer be dropped as a whole.
  if (arena_ != nullptr) arena_->MarkForeign();
}

XmlDocument* XmlNode::OwnerDocument() {
  XmlNode* node = this;
  while (node->parent_ != nullptr) node = node->parent_;
  return node->kind_ == kDocumentNode ? static_cast<XmlDocument*>(node) : nullptr;
}

XmlNode* XmlNode::AppendChild(std::unique_ptr<XmlNode> child) {
  XmlNode* raw = child.get();
  const size_t at = children_.size();
  Append(children_, raw);
  (void)child.release();
  raw->parent_ = this;
  raw->index_ = static_cast<uint32_t>(at);
  raw->is_child_ = true;
  CheckForeign(*raw);
  self_closed_ = false;
  return raw;
}

XmlNode* XmlNode::FindAttribute(std::string_view name) const {
  const size_t count = attributes_.size();
  const size_t at = LowerBound(attributes_.items, count, name);
  return at < count && attributes_.items[at]->name() == name ? attributes_.items[at] : nullptr;
}

void XmlNode::SetAttribute(std::string_view name, std::string_view value) {
  const size_t at = LowerBound(attributes_.items, attributes_.size(), name);
  if (at < attributes_.size() && attributes_.items[at]->name() == name) {
    XmlNode* attribute = attributes_.items[at];
    attribute->Assign(attribute->value_, value);
    return;
  }
  const internal::NodeArena::Scope same_memory(arena_);
  auto attribute = std::make_unique<XmlNode>(kAttributeNode, name, value);
  attribute->parent_ = this;
  Insert(attributes_, at, attribute.get());
  (void)attribute.release();
}

std::string_view XmlNode::GetAttribute(std::string_view name) const {
  const XmlNode* attribute = FindAttribute(name);
  return attribute != nullptr ? attribute->value() : std::string_view();
}

XmlNode* XmlNode::InsertAttribute(std::unique_ptr<XmlNode> attribute) {
  const std::string_view name = attribute->name();
  // Attributes mostly arrive in name order (the writer puts them so); then they go last.
  const size_t count = attributes_.size();
  size_t at = count;
  if (at != 0 && !internal::NameBefore(attributes_.items[at - 1]->name(), name)) {
    at = LowerBound(attributes_.items, count, name);
    if (attributes_.items[at]->name() == name) return nullptr;
  }
  XmlNode* raw = attribute.get();
  Insert(attributes_, at, raw);
  (void)attribute.release();
  raw->parent_ = this;
  CheckForeign(*raw);
  return raw;
}

}  // namespace quorvane::xml
