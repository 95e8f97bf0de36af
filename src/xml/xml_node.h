// XmlNode: one node of the system's own XML tree. Every node owns its children and its
// attributes; attributes are nodes too, kept in byte-wise name order, one per name. Node
// kinds carry fixed numbers that callers test.
//
// Thread-compatible: one tree, one thread at a time.
#pragma once

#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "xml/entities.h"

namespace quorvane::xml {

class XmlDocument;
namespace internal {
class NodeArena;
}  // namespace internal

// Node kinds.
inline constexpr int kDocumentNode = 1;
inline constexpr int kElementNode = 2;
inline constexpr int kAttributeNode = 3;
inline constexpr int kCommentNode = 5;
inline constexpr int kTextNode = 6;
inline constexpr int kCDataNode = 7;
inline constexpr int kDocumentTypeNode = 11;

// FindPath flags.
inline constexpr int kPathMatchLocalName = 1;
inline constexpr int kPathCreate = 2;

class XmlNode {
 public:
  // The node's strings and lists take their memory from the arena current on this thread
  // (a parsing document's), or from the heap.
  XmlNode(int kind, std::string_view name, std::string_view value = {});
  XmlNode(const XmlNode&) = delete;
  XmlNode& operator=(const XmlNode&) = delete;
  // Destroys children and attributes first; safe for trees of any depth.
  virtual ~XmlNode();

  // Nodes made while a document parses come from that document's arena and must stay in
  // its tree; all others come from the heap.
  static void* operator new(size_t size);
  static void operator delete(void* memory);

  // Destroys all children and all attributes.
  virtual void Clear();

  // Asked by FindPath when no child matched `rest_of_path` (the unmatched segment and all
  // after it) at `index`. Returns the node the lookup ends at, or null. The base returns null.
  virtual XmlNode* ResolveUnmatched(std::string_view rest_of_path, int index);

  static std::unique_ptr<XmlNode> CreateElement(std::string_view name);
  static std::unique_ptr<XmlNode> CreateText(std::string_view value);

  int kind() const { return kind_; }
  std::string_view name() const { return name_; }
  void set_name(std::string_view name) { name_.assign(name); }
  std::string_view value() const { return value_; }
  std::pmr::string& mutable_value() { return value_; }
  void set_value(std::string_view value) { value_.assign(value); }
  bool self_closed() const { return self_closed_; }
  void set_self_closed(bool self_closed) { self_closed_ = self_closed; }

  // Namespace fields, filled only by namespace processing; empty otherwise.
  std::string_view namespace_uri() const;
  std::string_view prefix() const;
  std::string_view local_name() const;
  void SetNamespace(std::string prefix, std::string local_name, std::string uri);

  XmlNode* parent() const { return parent_; }
  XmlNode* previous_sibling() const { return previous_; }
  XmlNode* next_sibling() const { return next_; }
  // The document at the top of this node's tree, or null for a detached tree.
  XmlDocument* OwnerDocument();

  size_t ChildCount() const { return children_.size(); }
  XmlNode* ChildAt(size_t index) const {
    return index < children_.size() ? children_[index].get() : nullptr;
  }
  // Links the child after the current last child and clears this node's self-closed flag.
  XmlNode* AppendChild(std::unique_ptr<XmlNode> child);

  // Attributes, in byte-wise ascending name order.
  size_t AttributeCount() const { return attributes_.size(); }
  XmlNode* AttributeAt(size_t index) const {
    return index < attributes_.size() ? attributes_[index].get() : nullptr;
  }
  XmlNode* FindAttribute(std::string_view name) const;
  // Replaces the value of the attribute of that name, or adds one.
  void SetAttribute(std::string_view name, std::string_view value);
  // The attribute's value, or an empty string when there is none.
  std::string_view GetAttribute(std::string_view name) const;
  // Adds an attribute node unless one of that name exists; then the new one is dropped and
  // null returned (the first of two same-named attributes stays).
  XmlNode* InsertAttribute(std::unique_ptr<XmlNode> attribute);

  // value := EncodeEntities(plain).
  void SetTextEncoded(std::string_view plain) { value_ = EncodeEntities(plain); }
  // DecodeEntities of the value.
  std::string GetTextDecoded(int flags = 0, const TagHandler* tag_handler = nullptr) const {
    return DecodeEntities(value_, flags, tag_handler);
  }

  // The dotted path lookup: "Image[1].#text", "@Title", "UserVar.Var[2].@Name". Path flags:
  // kPathMatchLocalName, kPathCreate. Returns null for whatever cannot be resolved.
  XmlNode* FindPath(std::string_view path, int path_flags = 0);

 private:
  struct Namespace;

  using NodeList = std::pmr::vector<std::unique_ptr<XmlNode>>;
  friend class XmlDocument;

  // Detaches every descendant into a flat list so that destruction never recurses deeply.
  void DestroyChildren();
  // Notes in this node's arena that `child` owns memory outside it.
  void CheckForeign(const XmlNode& child);

  // The arena that was current when the node was made (null: the heap). The node's strings
  // and lists, and the nodes it makes for itself (attributes, path creation), take their
  // memory from the same place. Declared first: the members below are built with it.
  internal::NodeArena* arena_;
  std::pmr::string name_;
  std::pmr::string value_;
  std::unique_ptr<Namespace> namespace_;
  int kind_;
  bool self_closed_ = false;
  XmlNode* parent_ = nullptr;
  XmlNode* previous_ = nullptr;
  XmlNode* next_ = nullptr;
  NodeList children_;
  NodeList attributes_;
};

}  // namespace quorvane::xml
