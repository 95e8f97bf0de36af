#include "xml/xml_node.h"

#include <algorithm>

#include "xml/internal/node_arena.h"
#include "xml/xml_document.h"

namespace quorvane::xml {

struct XmlNode::Namespace {
  std::string prefix;
  std::string local_name;
  std::string uri;
};

namespace {

const std::string& EmptyString() {
  static const std::string* const empty = new std::string();
  return *empty;
}

auto AttributeLowerBound(const std::vector<std::unique_ptr<XmlNode>>& attributes,
                         std::string_view name) {
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

XmlNode::XmlNode(int kind, std::string name, std::string value)
    : name_(std::move(name)),
      value_(std::move(value)),
      arena_(internal::NodeArena::Current()),
      kind_(kind) {}

XmlNode::~XmlNode() { DestroyChildren(); }

void XmlNode::DestroyChildren() {
  if (children_.empty()) return;
  // Leaves are destroyed on the spot; only nodes with children of their own wait in a flat
  // list, so no destructor ever recurses.
  std::vector<std::unique_ptr<XmlNode>> pending;
  auto take_children = [&pending](std::vector<std::unique_ptr<XmlNode>>& children) {
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

std::unique_ptr<XmlNode> XmlNode::CreateElement(std::string name) {
  return std::make_unique<XmlNode>(kElementNode, std::move(name));
}

std::unique_ptr<XmlNode> XmlNode::CreateText(std::string value) {
  return std::make_unique<XmlNode>(kTextNode, "#text", std::move(value));
}

const std::string& XmlNode::namespace_uri() const {
  return namespace_ ? namespace_->uri : EmptyString();
}
const std::string& XmlNode::prefix() const {
  return namespace_ ? namespace_->prefix : EmptyString();
}
const std::string& XmlNode::local_name() const {
  return namespace_ ? namespace_->local_name : EmptyString();
}

void XmlNode::SetNamespace(std::string prefix, std::string local_name, std::string uri) {
  namespace_ = std::make_unique<Namespace>(
      Namespace{std::move(prefix), std::move(local_name), std::move(uri)});
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
  auto attribute = std::make_unique<XmlNode>(kAttributeNode, std::string(name), std::string(value));
  attribute->parent_ = this;
  attributes_.insert(it, std::move(attribute));
}

const std::string& XmlNode::GetAttribute(std::string_view name) const {
  const XmlNode* attribute = FindAttribute(name);
  return attribute != nullptr ? attribute->value_ : EmptyString();
}

XmlNode* XmlNode::InsertAttribute(std::unique_ptr<XmlNode> attribute) {
  if (attributes_.empty()) attributes_.reserve(8);  // one allocation for a typical element
  auto it = AttributeLowerBound(attributes_, attribute->name());
  if (it != attributes_.end() && (*it)->name() == attribute->name()) return nullptr;
  attribute->parent_ = this;
  return attributes_.insert(it, std::move(attribute))->get();
}

}  // namespace quorvane::xml
