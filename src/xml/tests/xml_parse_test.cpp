#include <algorithm>
#include <cctype>
#include <string>

#include <gtest/gtest.h>

#include "xml/xml_document.h"

namespace quorvane::xml {
namespace {

std::string Rewrite(std::string_view input, unsigned parse_flags = 0, int write_flags = 1) {
  XmlDocument document;
  document.set_parse_flags(parse_flags);
  ByteBuffer in(input);
  document.Parse(in);
  ByteBuffer out;
  WriteXml(document, out, write_flags);
  return out.Detach();
}

struct RoundTrip {
  const char* name;
  const char* input;
  unsigned parse_flags;
  const char* written;
};

class ParseWriteTest : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(ParseWriteTest, WritesBackAsTheFormatRequires) {
  const RoundTrip& c = GetParam();
  EXPECT_EQ(Rewrite(c.input, c.parse_flags), c.written) << "input: " << c.input;
}

constexpr RoundTrip kRoundTrips[] = {
    {"SelfClosedGetsSpaceBeforeSlash", "<a/>", 0, "<a />"},
    {"BareAndMissingValues", "<a x=1 y>", 0, "<a x=\"1\" y=\"\" />"},
    {"FirstOfTwoSameNamedAttributesStays", "<a x='1' x='2'/>", 0, "<a x=\"1\" />"},
    {"AttributesInByteOrder", "<a b=1 B=2 a=3 _=4/>", 0, "<a B=\"2\" _=\"4\" a=\"3\" b=\"1\" />"},
    {"AnyClosingTagClosesInnermost", "<a><b></c></a>", 0, "<a><b /></a>"},
    {"StrayClosingTagEndsTheDocument", "<a/></b><c/>", 0, "<a />"},
    {"CommentWrittenWithoutDashes", "<!-- note -->", 0, "< note >"},
    {"EmptyCommentDoesNotEndAtItsGreaterThan", "<!----><x/>", 0, "<--><x>"},
    {"CommentWithThreeDashesGoesOn", "<!-- a ---><b/>-->", 0, "< a ---><b/>>"},
    {"FlagEightEndsCommentAtThreeDashes", "<!-- a ---><b/>", 8, "< a -><b />"},
    {"CDataDroppedOnOutput", "<a><![CDATA[x<y]]></a>", 0, "<a></a>"},
    {"EmptyCDataDoesNotEnd", "<![CDATA[]]><y/>", 0, ""},
    {"DeclarationLeavesNoNode", "<?xml version='1.0' encoding='x'?><r/>", 0, "<r />"},
    {"OtherProcessingInstructionHoldsWhatFollows", "<?pi x?><r/>", 0, "<?pi x?=\"\"><r /></?pi>"},
    {"DocumentTypeDiscarded", "<!DOCTYPE r><r/>", 0, "<r />"},
    {"ByteFFEndsInput", "<a>1\xff<b/></a>", 0, "<a>1</a>"},
    {"LessThanAtEndIsText", "<a>x<", 0, "<a>x<</a>"},
    {"EntitiesStayEncoded", "<a t=\"&amp;\">&lt;&foo;</a>", 0, "<a t=\"&amp;\">&lt;&foo;</a>"},
    {"CarriageReturnsDroppedByDefault", "<a>1\r\n2</a>", 0, "<a>1\n2</a>"},
    {"CarriageReturnsKeptWithFlag64", "<a>1\r\n2</a>", 64, "<a>1\r\n2</a>"},
    {"LineFeedsBecomeSpacesWithFlag2", "<a>1\n2</a>", 2, "<a>1 2</a>"},
    {"WhiteSpaceKeptBetweenNodes", "<a> <b/> </a>", 0, "<a> <b /> </a>"},
    {"WhiteSpaceSkippedWithFlag1", "<a>\n <b/>\t</a>", 1, "<a><b /></a>"},
    {"NamesLowerCasedWithFlag4", "<A Bx=1/>", 4, "<a bx=\"1\" />"},
    {"NumericValueEndsAtNonDigit", "<a x=12px/>", 0, "<a px=\"\" x=\"12\" />"},
    {"NegativeNumericValue", "<a x=-5y/>", 0, "<a x=\"-5\" y=\"\" />"},
    {"PercentOnlyWithFlag32", "<a x=5% y=5%/>", 0, "<a %=\"\" x=\"5\" y=\"5\" />"},
    {"PercentTakenWithFlag32", "<a x=5% />", 32, "<a x=\"5%\" />"},
    {"Flag32SelfClosesOnlyAfterSpace", "<a x=5%/>", 32, "<a /=\"\" x=\"5%\" />"},
    {"NonNumericBareValueRunsToSpace", "<a x=ab%c y=1/>", 0, "<a x=\"ab%c\" y=\"1\" />"},
    {"LineFeedsInQuotedValue", "<a x=\"\nl1\n\nl2\r\n\"/>", 0, "<a x=\"l1 l2 \" />"},
    {"UnterminatedQuoteRunsToEndOfTag", "<a x=\"1 y=2>t</a>", 0, "<a x=\"1 y=2\">t</a>"},
    {"SpaceAroundEquals", "<a x = '1'/>", 0, "<a x=\"1\" />"},
    {"EmptyTagMakesNoNode", "<>x", 0, "x"},
    {"WhiteSpaceBeforeName", "< a/>", 0, "<a />"},
    {"TruncatedInputEndsTree", "<a><b x='1", 0, "<a><b x=\"1\" /></a>"},
    {"RepeatedNamesAmongOrderedAttributes", "<a a=1 b=2 b=3 c=4 a=5/>", 0,
     "<a a=\"1\" b=\"2\" c=\"4\" />"},
    {"HighBytesSortAfterLetters", "<a \xc3\xa9=1 z=2 Z=3/>", 0,
     "<a Z=\"3\" z=\"2\" \xc3\xa9=\"1\" />"},
    {"LongQuotedValues", "<a x=\"0123456789abcdef\nghij\" y='0123456789abcdef\"ghij'/>", 0,
     "<a x=\"0123456789abcdef ghij\" y=\"0123456789abcdef\"ghij\" />"},
};

INSTANTIATE_TEST_SUITE_P(Rules, ParseWriteTest, ::testing::ValuesIn(kRoundTrips),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(XmlParseTest, NulInsideTagStopsAttributes) {
  XmlDocument document;
  ByteBuffer in(std::string_view("<a x='1'\0 y='2'/><b/>", 21));
  document.Parse(in);
  ASSERT_EQ(document.ChildCount(), 1u);
  XmlNode* a = document.ChildAt(0);
  EXPECT_EQ(a->AttributeCount(), 1u);
  EXPECT_EQ(a->GetAttribute("x"), "1");
  // The "/" was not the tag's last byte, so a stays open and b is its child.
  EXPECT_EQ(a->ChildCount(), 1u);
}

TEST(XmlParseTest, NodeKindsNamesAndFlags) {
  XmlDocument document;
  ByteBuffer in("<r a='v'><e/>text<!-- c --><![CDATA[d]]></r>");
  document.Parse(in);
  ASSERT_EQ(document.ChildCount(), 1u);
  XmlNode* r = document.ChildAt(0);
  EXPECT_EQ(r->kind(), kElementNode);
  EXPECT_FALSE(r->self_closed());
  EXPECT_EQ(r->parent(), &document);
  EXPECT_EQ(r->OwnerDocument(), &document);

  const XmlNode* attribute = r->FindAttribute("a");
  ASSERT_NE(attribute, nullptr);
  EXPECT_EQ(attribute->kind(), kAttributeNode);
  EXPECT_EQ(attribute->parent(), r);
  EXPECT_EQ(attribute->next_sibling(), nullptr);

  // Text and comments show in the written form (the round trips above); CDATA does not.
  ASSERT_EQ(r->ChildCount(), 4u);
  const XmlNode* e = r->ChildAt(0);
  EXPECT_TRUE(e->self_closed());
  EXPECT_EQ(e->ChildCount(), 0u);
  EXPECT_EQ(r->ChildAt(3)->kind(), kCDataNode);
  EXPECT_EQ(r->ChildAt(3)->value(), "d");

  // Siblings are linked in document order.
  EXPECT_EQ(e->previous_sibling(), nullptr);
  EXPECT_EQ(e->next_sibling(), r->ChildAt(1));
  EXPECT_EQ(r->ChildAt(3)->previous_sibling(), r->ChildAt(2));
  EXPECT_EQ(r->ChildAt(3)->next_sibling(), nullptr);
}

TEST(XmlParseTest, DeclarationIsKeptAsFieldsAndParseAppends) {
  XmlDocument document;
  ByteBuffer first("<?xml version='1.0' encoding='x'?><a/>");
  ByteBuffer second("<b/>");
  document.Parse(first);
  document.Parse(second);
  EXPECT_EQ(document.version(), "1.0");
  EXPECT_EQ(document.encoding(), "x");
  ASSERT_EQ(document.ChildCount(), 2u);
  EXPECT_EQ(document.ChildAt(1)->name(), "b");
}

TEST(XmlParseTest, TagLongerThanLimitContinuesAsText) {
  const std::string long_name(5000, 'n');
  XmlDocument document;
  ByteBuffer in("<" + long_name + ">");
  document.Parse(in);
  ASSERT_EQ(document.ChildCount(), 1u);
  XmlNode* element = document.ChildAt(0);
  EXPECT_EQ(element->name(), std::string(4095, 'n'));
  ASSERT_EQ(element->ChildCount(), 1u);
  EXPECT_EQ(element->ChildAt(0)->value(), std::string(5000 - 4095, 'n') + ">");
}

TEST(XmlParseTest, DeepNestingNeitherOverflowsNorLeaks) {
  std::string input;
  const int depth = 200000;
  for (int i = 0; i < depth; ++i) input += "<a>";
  {
    XmlDocument document;
    ByteBuffer in(input);
    document.Parse(in);
    XmlNode* node = &document;
    int seen = 0;
    while (node->ChildCount() == 1) {
      node = node->ChildAt(0);
      ++seen;
    }
    EXPECT_EQ(seen, depth);
    ByteBuffer out;
    WriteXml(document, out, 1);
    EXPECT_EQ(out.length(), 7u * depth - 2);  // "<a>...</a>" around the innermost "<a />"
  }                                           // and destroying the tree must not recurse either
}

TEST(XmlParseTest, NamespaceProcessingFillsPrefixLocalNameAndUri) {
  for (const unsigned flags : {0u, kParseNamespaces}) {
    XmlDocument document;
    document.set_parse_flags(flags);
    ByteBuffer in("<p:e xmlns:p='urn:p' p:x='1' y='2'/>");
    document.Parse(in);
    const XmlNode* e = document.ChildAt(0);
    const XmlNode* px = e->FindAttribute("p:x");
    const bool on = flags != 0;
    EXPECT_EQ(e->name(), "p:e");
    EXPECT_EQ(e->prefix(), on ? "p" : "");
    EXPECT_EQ(e->local_name(), on ? "e" : "");
    // An element's URI is looked up before its attributes are read and before it is placed
    // in the tree, so it never sees a declaration; an attribute finds one on its element.
    EXPECT_EQ(e->namespace_uri(), "");
    EXPECT_EQ(px->local_name(), on ? "x" : "");
    EXPECT_EQ(px->namespace_uri(), on ? "urn:p" : "");
    EXPECT_EQ(e->FindAttribute("y")->namespace_uri(), "");  // takes its element's
  }
}

// A derived document replaces parsing hooks: here text runs are upper-cased and comments
// are kept out of the tree.
class ShoutingDocument : public XmlDocument {
 public:
  std::unique_ptr<XmlNode> ParseText(ByteBuffer& input) override {
    auto node = XmlDocument::ParseText(input);
    for (char& c : node->mutable_value()) c = static_cast<char>(std::toupper(c));
    return node;
  }
  Placement OnNodeParsed(XmlNode* parent, std::unique_ptr<XmlNode> node) override {
    if (node->kind() == kCommentNode) return {ParseStep::kContinue};
    if (node->kind() == kDocumentTypeNode) document_type = node->name();
    return XmlDocument::OnNodeParsed(parent, std::move(node));
  }
  std::string document_type;
};

TEST(XmlParseTest, DerivedDocumentReplacesHooks) {
  ShoutingDocument document;
  ByteBuffer in("<!DOCTYPE html ><a>hi<!-- x --></a>");
  document.Parse(in);
  ByteBuffer out;
  WriteXml(document, out, 1);
  EXPECT_EQ(out.bytes(), "<a>HI</a>");
  // The text was changed in the node, not in the bytes it was read from.
  EXPECT_EQ(in.bytes(), "<!DOCTYPE html ><a>hi<!-- x --></a>");
  // A document type reaches the hook named by its content, before it is dropped.
  EXPECT_EQ(document.document_type, "htm");
}

// Reads each tag from a rewritten copy that lives only for the call, as a document that
// renames old tags may: what the nodes keep must not point into that copy.
class RenamingDocument : public XmlDocument {
 public:
  std::unique_ptr<XmlNode> ParseTag(ByteBuffer& input) override {
    const std::string_view rest = input.Remaining();
    std::string tag(rest.substr(0, std::min(rest.find('>'), rest.size() - 1) + 1));
    input.Advance(tag.size());
    for (size_t at = tag.find("old"); at != std::string::npos; at = tag.find("old", at)) {
      tag.replace(at, 3, "new");
    }
    ByteBuffer rewritten(tag);
    return XmlDocument::ParseTag(rewritten);
  }
};

TEST(XmlParseTest, NamesAndValuesOutliveTheBytesTheyWereReadFrom) {
  RenamingDocument renamed;
  XmlDocument plain;
  {
    const std::string text = "<old k='old value' j=1>text of some length</old>";
    ByteBuffer for_renamed(text);
    ByteBuffer for_plain(text);
    renamed.Parse(for_renamed);
    plain.Parse(for_plain);
    for_plain.Append("<more/>");  // the buffer goes on changing after the parse
  }
  ByteBuffer out;
  WriteXml(renamed, out, 1);
  WriteXml(plain, out, 1);
  EXPECT_EQ(out.bytes(),
            "<new j=\"1\" k=\"new value\">text of some length</new>"
            "<old j=\"1\" k=\"old value\">text of some length</old>");
}

}  // namespace
}  // namespace quorvane::xml
