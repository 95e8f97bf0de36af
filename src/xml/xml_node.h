// XmlNode: one node of the system's own XML tree. Every node owns its children and its
// attributes; attributes are nodes too, kept in byte-wise name order, one per name. Node
// kinds carry fixed numbers that callers test.
//
// Thread-compatible: one tree, one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>

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
  static void operator delete(XmlNode* node, std::destroying_delete_t);
  static void operator delete(void* memory);  // for a constructor that throws

  // Destroys all children and all attributes.
  virtual void Clear();

  // Asked by FindPath when no child matched `rest_of_path` (the unmatched segment and all
  // after it) at `index`. Returns the node the lookup ends at, or null. The base returns null.
  virtual XmlNode* ResolveUnmatched(std::string_view rest_of_path, int index);

  static std::unique_ptr<XmlNode> CreateElement(std::string_view name);
  static std::unique_ptr<XmlNode> CreateText(std::string_view value);

  int kind() const { return kind_; }
  std::string_view name() const { return name_.view(); }
  void set_name(std::string_view name) { Assign(name_, name); }
  std::string_view value() const { return value_.view(); }
  // The value's bytes for changing in place; the length stays.
  std::span<char> mutable_value();
  void set_value(std::string_view value) { Assign(value_, value); }
  bool self_closed() const { return self_closed_; }
  void set_self_closed(bool self_closed) { self_closed_ = self_closed; }

  // Namespace fields, filled only by namespace processing; empty otherwise.
  std::string_view namespace_uri() const;
  std::string_view prefix() const;
  std::string_view local_name() const;
  void SetNamespace(std::string prefix, std::string local_name, std::string uri);

  XmlNode* parent() const { return parent_; }
  // Siblings among the parent's children; null for the first and last, and for a node that
  // was never appended as a child (attributes among them).
  XmlNode* previous_sibling() const {
    return is_child_ && index_ > 0 ? parent_->children_.items[index_ - 1] : nullptr;
  }
  XmlNode* next_sibling() const {
    return is_child_ && index_ + 1 < parent_->children_.size()
               ? parent_->children_.items[index_ + 1]
               : nullptr;
  }
  // The document at the top of this node's tree, or null for a detached tree.
  XmlDocument* OwnerDocument();

  size_t ChildCount() const { return children_.size(); }
  XmlNode* ChildAt(size_t index) const {
    return index < children_.size() ? children_.items[index] : nullptr;
  }
  // Links the child after the current last child and clears this node's self-closed flag.
  XmlNode* AppendChild(std::unique_ptr<XmlNode> child);

  // Attributes, in byte-wise ascending name order.
  size_t AttributeCount() const { return attributes_.size(); }
  XmlNode* AttributeAt(size_t index) const {
    return index < attributes_.size() ? attributes_.items[index] : nullptr;
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
  void SetTextEncoded(std::string_view plain) { set_value(EncodeEntities(plain)); }
  // DecodeEntities of the value.
  std::string GetTextDecoded(int flags = 0, const TagHandler* tag_handler = nullptr) const {
    return DecodeEntities(value(), flags, tag_handler);
  }

  // The dotted path lookup: "Image[1].#text", "@Title", "UserVar.Var[2].@Name". Path flags:
  // kPathMatchLocalName, kPathCreate. Returns null for whatever cannot be resolved.
  XmlNode* FindPath(std::string_view path, int path_flags = 0);

 private:
  struct Namespace;
  friend class XmlDocument;

  // A name or value. It either looks at bytes that outlive the node (a literal, or the input
  // a document keeps while its nodes live), so that parsing copies nothing, or at a block of
  // the node's own memory, made when the text is first set or changed; such a block keeps
  // its capacity in the word before the bytes.
  struct Text {
    static constexpr size_t kOwned = size_t{1} << (sizeof(size_t) * 8 - 1);
    const char* data = "";
    size_t size_bits = 0;  // the length, and kOwned for a block of the node's own
    size_t size() const { return size_bits & ~kOwned; }
    bool owned() const { return (size_bits & kOwned) != 0; }
    std::string_view view() const { return {data, size()}; }
  };

  // Owned pointers in a block of the node's memory, grown by doubling. The block starts with
  // the size and the capacity, so that a node without children or attributes spends one
  // word on each list.
  struct NodeList {
    struct Header {
      uint32_t size;
      uint32_t capacity;
    };
    XmlNode** items = nullptr;  // just after the block's header; null while empty
    Header* header() const { return reinterpret_cast<Header*>(items) - 1; }
    size_t size() const { return items != nullptr ? header()->size : 0; }
  };

  // A node of `kind` without value, in `arena` (null: the heap), for the parser.
  XmlNode(int kind, internal::NodeArena* arena, std::string_view literal_name);
  static void* operator new(size_t size, internal::NodeArena* arena);
  static void operator delete(void* memory, internal::NodeArena* arena);

  // Copies `bytes` into the node's own memory (they may lie in the text they replace).
  void Assign(Text& text, std::string_view bytes);
  // Makes `text` look at bytes that outlive the node, without copying.
  void Refer(Text& text, std::string_view bytes) {
    Release(text);
    text = {bytes.data(), bytes.size()};
  }
  void Release(Text& text) {
    if (text.owned()) Free(reinterpret_cast<size_t*>(const_cast<char*>(text.data)) - 1);
    text = Text();
  }
  void* Allocate(size_t bytes);
  void Free(void* memory);
  void Insert(NodeList& list, size_t at, XmlNode* node);
  // Insert at the end, without a call while the list has room.
  void Append(NodeList& list, XmlNode* node) {
    if (list.items != nullptr && list.header()->size < list.header()->capacity) {
      list.items[list.header()->size++] = node;
    } else {
      Insert(list, list.size(), node);
    }
  }
  void ReleaseList(NodeList& list);

  // Detaches every descendant into a flat list so that destruction never recurses deeply.
  void DestroyChildren();
  void DestroyAttributes();
  // Notes in this node's arena that `child` owns memory outside it.
  void CheckForeign(const XmlNode& child);

  // The arena that was current when the node was made (null: the heap). The node's own
  // texts and lists, and the nodes it makes for itself (attributes, path creation), take
  // their memory from the same place.
  internal::NodeArena* arena_;
  Text name_;
  Text value_;
  std::unique_ptr<Namespace> namespace_;
  XmlNode* parent_ = nullptr;
  NodeList children_;
  NodeList attributes_;
  // The position among the parent's children, which stands for the sibling links: children
  // are only ever appended, so it never changes.
  uint32_t index_ = 0;
  int16_t kind_;  // the kinds are small numbers
  bool self_closed_ = false;
  bool is_child_ = false;
};

}  // namespace quorvane::xml
