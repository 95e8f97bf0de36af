// XmlDocument: the root of an XML tree, its tolerant byte-oriented parser and the writer.
// Parsing never fails: whatever the input, it yields some tree, and callers check for the
// elements they need. The parser's four steps are virtual so a derived document may replace
// any of them.
//
// Example:
//   XmlDocument doc;
//   doc.set_parse_flags(kParseKeepCarriageReturns);
//   ByteBuffer in(file_bytes);
//   doc.Parse(in);
//   if (XmlNode* title = doc.FindPath("Quorvane.@Title")) Use(title->value());
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "xml/byte_buffer.h"
#include "xml/xml_node.h"

namespace quorvane::xml {

// Parse flags.
inline constexpr unsigned kParseSkipWhitespace = 1;       // white space between nodes skipped
inline constexpr unsigned kParseLineFeedsToSpaces = 2;    // in text runs
inline constexpr unsigned kParseLowerCaseNames = 4;       // element and attribute names
inline constexpr unsigned kParseCommentEndsAtDashes = 8;  // "--->" ends a comment too
inline constexpr unsigned kParseNamespaces = 16;          // prefix, local name, namespace URI
inline constexpr unsigned kParsePercentValues = 32;       // 50% values; " /" self-closes
inline constexpr unsigned kParseKeepCarriageReturns = 64;

// Write flags.
inline constexpr int kWriteQuoteAttributes = 1;
inline constexpr int kWriteContentOnly = 2;

// What OnNodeParsed tells the reading loop.
enum class ParseStep { kContinue = 0, kDescend = 1, kEndLevel = 2 };

struct Placement {
  ParseStep step = ParseStep::kContinue;
  XmlNode* node = nullptr;  // where the node went, when it was kept
};

class XmlDocument : public XmlNode {
 public:
  XmlDocument();
  ~XmlDocument() override;

  unsigned parse_flags() const { return parse_flags_; }
  void set_parse_flags(unsigned flags) { parse_flags_ = flags; }
  // From an "<?xml" declaration, when one was read.
  const std::string& encoding() const { return encoding_; }
  const std::string& version() const { return version_; }
  XmlDocument* owner() { return this; }

  // Elements and text nodes made in the document's own arena, for building a large document
  // quickly; they must be appended to this document's tree, never to another.
  std::unique_ptr<XmlNode> CreateElement(std::string_view name);
  std::unique_ptr<XmlNode> CreateText(std::string_view value);

  // Reads `input` from its read position and appends the parsed nodes to the document.
  // Nesting depth is bounded only by memory. The nodes it makes live in the document's own
  // arena: a replaced hook must not hand them to another tree.
  void Parse(ByteBuffer& input);

  // Decides where a freshly parsed node goes under `parent`: appended (continue or descend)
  // or destroyed; a closing tag ends the current level.
  virtual Placement OnNodeParsed(XmlNode* parent, std::unique_ptr<XmlNode> node);
  // Reads one tag at "<"; null when it makes no node.
  virtual std::unique_ptr<XmlNode> ParseTag(ByteBuffer& input);
  // Reads one text run up to the next tag or the end of input.
  virtual std::unique_ptr<XmlNode> ParseText(ByteBuffer& input);
  // True at "<" followed by another readable byte.
  virtual bool AtTagStart(const ByteBuffer& input) const;

 protected:
  // How many bytes of `rest` a text run takes: up to the next "<" that has a byte after it.
  static size_t TextRunLength(std::string_view rest);

 private:
  internal::NodeArena* Arena();
  // A node of `kind` in the arena, without value, named by a literal or not at all.
  std::unique_ptr<XmlNode> NewNode(int kind, std::string_view literal_name = {});
  // Whether `bytes` lie in the input being parsed.
  bool InInput(std::string_view bytes) const;
  // Sets `text` of `node`: a view when the bytes lie in the input, a copy otherwise.
  void Keep(XmlNode& node, XmlNode::Text& text, std::string_view bytes);
  // Sets the node's name from the tag text, lower-cased under kParseLowerCaseNames.
  void KeepName(XmlNode& node, std::string_view name);
  void ParseAttributes(XmlNode& element, std::string_view text);

  // Holds the nodes made by Parse and the Create calls; destroyed after the tree (see the
  // destructor).
  std::unique_ptr<internal::NodeArena> own_arena_;
  // Every input parsed, which parsed nodes look into; destroyed after the tree.
  std::vector<std::shared_ptr<const std::string>> inputs_;
  std::string_view input_;  // the bytes of the input being parsed now
  unsigned parse_flags_ = 0;
  std::string encoding_;
  std::string version_;
};

// Writes `node` without declaration, line breaks or indentation, and without escaping:
// values must already be encoded. Comments come out as "<" value ">", CDATA sections not
// at all. Safe for trees of any depth.
void WriteXml(const XmlNode& node, ByteBuffer& output, int write_flags);

}  // namespace quorvane::xml
