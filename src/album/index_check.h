// What an album index can hold, in both directions. Reading: watching for what the album would
// not keep of a file, since a save writes back only what the album holds, so an index that was
// read only in part must never be saved over (Album::read_only_reason). Writing: values the
// reader would not give back as they were are refused before anything is written.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "xml/xml_document.h"

namespace quorvane::album {

// The document an index is parsed into (AlbumIndex::ParseIndex). It parses as every document
// does and notes the first place where the album would lose what the file holds:
// - the reading stops early: a byte 0xFF, or a closing tag with no open element before the
//   end of the input;
// - a tag is cut off (by the end of the input or the 4,095-byte limit), holds a NUL byte, a
//   value whose quote is never closed (a ">" inside it ends the tag), an attribute twice, or
//   bytes the attribute reader skips; a file name holds a line break (read as a space);
// - a "<" that starts no tag the reader keeps;
// - the input ends with elements still open (a file cut off);
// - nodes and attributes the index reader does not keep (CheckRootChild and Loss): other
//   attributes on the root, an "Image" or a "Var"; other elements, comments, CDATA sections
//   or text (other than white space) beside the description, a photo's description, the
//   root and the first "UserVar"; an "Image" without "ImageFile".
// A photo whose image file is missing is left out by the format's own rule and is no loss.
// Kinds of index fields by how they are written. File names and the type name are written as
// they are; captions, keywords and variables encoded (entities for & " ' < >); descriptions
// as encoded text.
enum class IndexField { kAsIs, kEncoded, kText };

// True for a byte the index gives back unchanged in a field written as it is: all but the
// double quote and ">" (the reader ends the value or the tag there), CR and LF (read back as
// nothing or a space), NUL (ends the tag) and 0xFF (ends the whole file).
bool IndexCanHoldAsIs(char c);

// Why the index cannot hold `value` in a field of that kind ("holds a double quote"), or
// empty when it can. Encoded fields are refused NUL and 0xFF, text only 0xFF.
std::string IndexValueProblem(IndexField field, std::string_view value);

// Checks an element the index writer built, before anything is written: its attribute values
// and text as above, and its tag within the 4,094 bytes the reader takes of one (children
// other than text are not looked at). Returns why the index cannot hold it, naming the field
// ("the file name \"a\"b.jpg\" of photo ... holds a double quote"), or empty.
std::string WrittenElementProblem(const xml::XmlNode& element);

class IndexReadCheck : public xml::XmlDocument {
 public:
  // Checks one child of the root. The reader calls it for each child as it reads it: a
  // second walk over a large album's tree would cost as much as the reading.
  void CheckRootChild(const xml::XmlNode& child);
  // After Parse and CheckRootChild, given the root element: what the album would not keep,
  // as a phrase for the user ("a byte 0xFF at offset 36 ends the reading there"), or empty.
  std::string Loss(const xml::XmlNode& root) const;

  xml::Placement OnNodeParsed(xml::XmlNode* parent, std::unique_ptr<xml::XmlNode> node) override;
  std::unique_ptr<xml::XmlNode> ParseTag(xml::ByteBuffer& input) override;
  std::unique_ptr<xml::XmlNode> ParseText(xml::ByteBuffer& input) override;

 private:
  void Watch(const xml::ByteBuffer& input);
  void Note(std::string problem);
  void CheckTag(std::string_view text, size_t offset, const xml::XmlNode& element);

  const xml::ByteBuffer* input_ = nullptr;  // while Parse runs
  size_t tag_offset_ = 0;                   // where the last tag began
  std::vector<const xml::XmlNode*> open_;   // elements open at the current point
  bool description_seen_ = false;           // the root's first text, which the reader keeps
  std::string problem_;
};

}  // namespace quorvane::album
