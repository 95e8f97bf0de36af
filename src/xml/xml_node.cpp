#include "xml/xml_node.h"

#include <algorithm>
#include <typeinfo>

#include "xml/internal/node_arena.h"
#include "xml/xml_document.h"

namespace quorvane::xml {

struct XmlNode::Namespace {
  std::string prefix;
  std::string local_name;
  std::string uri;
};

namespace {

template <typename List>
auto AttributeLowerBound(const List& attributes, std::string_view name) {
  return std::lower_bound(
      attributes.begin(), attributes.end(), name,
      [](const std::unique_ptr<XmlNode>& a, std::string_view n) { return a->name() < n; });
}

}  // namespace

// Every node carries a header that tells whether its memory belongs to an arena (which frees
// it with the document) or to the heap.
namespace {
constexpr size_t kHeader = 16;
}  // namespace

void* XmlNode::operator new(size_t size) {
  internal::NodeArena* arena = internal::NodeArena::Current();
  void* block = arena != nullptr ? arena->Allocate(size + kHeader) : ::operator new(size + kHeader);
  *static_cast<internal::NodeArena**>(block) = arena;
  return static_cast<std::byte*>(block) + kHeader;
}

void XmlNode::operator delete(void* memory) {
  if (memory == nullptr) return;
  void* block = static_cast<std::byte*>(memory) - kHeader;
  if (*static_cast<internal::NodeArena**>(block) == nullptr) ::operator delete(block);
}

namespace {
std::pmr::memory_resource* ResourceOf(internal::NodeArena* arena) {
  return arena != nullptr ? arena->resource() : std::pmr::new_delete_resource();
}
}  // namespace

XmlNode::XmlNode(int kind, std::string_view name, std::string_view value)
    : arena_(internal::NodeArena::Current()),
      name_(name, ResourceOf(arena_)),
      value_(value, ResourceOf(arena_)),
      kind_(kind),
      children_(ResourceOf(arena_)),
      attributes_(ResourceOf(arena_)) {}

void XmlNode::CheckForeign(const XmlNode& child) {
  if (arena_ != nullptr &&
      (child.arena_ != arena_ || child.namespace_ || typeid(child) != typeid(XmlNode))) {
    arena_->MarkForeign();
  }
}

XmlNode::~XmlNode() { DestroyChildren(); }

void XmlNode::DestroyChildren() {
  if (children_.empty()) return;
  // Leaves are destroyed on the spot; only nodes with children of their own wait in a flat
  // list, so no destructor ever recurses.
  std::vector<std::unique_ptr<XmlNode>> pending;
  auto take_children = [&pending](NodeList& children) {
    for (auto& child : children) {
      if (!child->children_.empty()) pending.push_back(std::move(child));
    }
    children.clear();
  };
  take_children(children_);
  while (!pending.empty()) {
    std::unique_ptr<XmlNode> node = std::move(pending.back());
    pending.pop_back();
    take_children(node->children_);
  }
}

void XmlNode::Clear() {
  DestroyChildren();
  attributes_.clear();
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
  raw->parent_ = this;
  raw->previous_ = children_.empty() ? nullptr : children_.back().get();
  raw->next_ = nullptr;
  if (raw->previous_ != nullptr) raw->previous_->next_ = raw;
  CheckForeign(*raw);
  children_.push_back(std::move(child));
  self_closed_ = false;
  return raw;
}

XmlNode* XmlNode::FindAttribute(std::string_view name) const {
  auto it = AttributeLowerBound(attributes_, name);
  return it != attributes_.end() && (*it)->name() == name ? it->get() : nullptr;
}

void XmlNode::SetAttribute(std::string_view name, std::string_view value) {
  auto it = AttributeLowerBound(attributes_, name);
  if (it != attributes_.end() && (*it)->name() == name) {
    (*it)->value_.assign(value);
    return;
  }
  const internal::NodeArena::Scope same_memory(arena_);
  auto attribute = std::make_unique<XmlNode>(kAttributeNode, name, value);
  attribute->parent_ = this;
  attributes_.insert(it, std::move(attribute));
}

std::string_view XmlNode::GetAttribute(std::string_view name) const {
  const XmlNode* attribute = FindAttribute(name);
  return attribute != nullptr ? std::string_view(attribute->value_) : std::string_view();
}

XmlNode* XmlNode::InsertAttribute(std::unique_ptr<XmlNode> attribute) {
  if (attributes_.empty()) attributes_.reserve(8);  // one allocation for a typical element
  auto it = AttributeLowerBound(attributes_, attribute->name());
  if (it != attributes_.end() && (*it)->name() == attribute->name()) return nullptr;
  attribute->parent_ = this;
  CheckForeign(*attribute);
  return attributes_.insert(it, std::move(attribute))->get();
}

}  // namespace quorvane::xml
