#include <gtest/gtest.h>

#include "xml/xml_document.h"

namespace quorvane::xml {
namespace {

std::string Write(const XmlNode& node, int flags) {
  ByteBuffer out;
  WriteXml(node, out, flags);
  return out.Detach();
}

// <r b="2" a="1">text<!--c--><![CDATA[d]]><e x="y" /></r> built by hand.
std::unique_ptr<XmlDocument> BuildSample() {
  auto document = std::make_unique<XmlDocument>();
  XmlNode* r = document->AppendChild(XmlNode::CreateElement("r"));
  r->SetAttribute("b", "2");
  r->SetAttribute("a", "1");
  r->AppendChild(XmlNode::CreateText("text"));
  r->AppendChild(std::make_unique<XmlNode>(kCommentNode, "#comment", "c"));
  r->AppendChild(std::make_unique<XmlNode>(kCDataNode, "#cdata-section", "d"));
  r->AppendChild(XmlNode::CreateElement("e"))->SetAttribute("x", "y");
  return document;
}

TEST(WriteXmlTest, WriteFlags) {
  auto document = BuildSample();
  EXPECT_EQ(Write(*document, kWriteQuoteAttributes), "<r a=\"1\" b=\"2\">text<c><e x=\"y\" /></r>");
  EXPECT_EQ(Write(*document, 0), "<r a=1 b=2>text<c><e x=y /></r>");
  // Content only: every element contributes just its children, so only text remains.
  EXPECT_EQ(Write(*document, kWriteContentOnly), "text");
  EXPECT_EQ(Write(*document->ChildAt(0)->FindAttribute("a"), kWriteQuoteAttributes), "a=\"1\"");
}

TEST(WriteXmlTest, ValuesAreWrittenAsTheyStand) {
  XmlDocument document;
  XmlNode* r = document.AppendChild(XmlNode::CreateElement("r"));
  r->SetAttribute("raw", "a&b\"c");
  r->AppendChild(XmlNode::CreateText("<not a tag>"));
  EXPECT_EQ(Write(document, 1), "<r raw=\"a&b\"c\"><not a tag></r>");
  r->SetTextEncoded("x");  // a node's own value, not its text child
  r->ChildAt(0)->SetTextEncoded("<&>");
  EXPECT_EQ(Write(document, 1), "<r raw=\"a&b\"c\">&lt;&amp;&gt;</r>");
  EXPECT_EQ(r->ChildAt(0)->GetTextDecoded(), "<&>");
}

TEST(XmlNodeTest, AppendChildLinksSiblingsAndClearsSelfClosed) {
  XmlDocument document;
  ByteBuffer in("<a/>");
  document.Parse(in);
  XmlNode* a = document.ChildAt(0);
  ASSERT_TRUE(a->self_closed());
  XmlNode* first = a->AppendChild(XmlNode::CreateText("1"));
  XmlNode* second = a->AppendChild(XmlNode::CreateElement("b"));
  EXPECT_FALSE(a->self_closed());
  EXPECT_EQ(first->next_sibling(), second);
  EXPECT_EQ(second->previous_sibling(), first);
  EXPECT_EQ(second->parent(), a);
  EXPECT_EQ(a->ChildAt(2), nullptr);
}

// A node type with memory of its own, counting its destructions.
class CountedNode : public XmlNode {
 public:
  explicit CountedNode(int* destroyed)
      : XmlNode(kElementNode, "counted"), destroyed_(destroyed), payload_(1000, 'p') {}
  ~CountedNode() override { ++*destroyed_; }

 private:
  int* destroyed_;
  std::string payload_;
};

TEST(XmlNodeTest, NodesOwningOutsideMemoryAreDestroyedWithAParsedTree) {
  int destroyed = 0;
  {
    auto document = std::make_unique<XmlDocument>();
    ByteBuffer in("<r><a/></r>");
    document->Parse(in);
    XmlNode* a = document->FindPath("r.a");
    a->AppendChild(std::make_unique<CountedNode>(&destroyed));
    a->AppendChild(XmlNode::CreateElement(std::string(100, 'h')))->SetAttribute("k", "v");
    document->AppendChild(std::make_unique<CountedNode>(&destroyed));
  }  // under ASan, anything not freed here is reported as a leak
  EXPECT_EQ(destroyed, 2);
}

TEST(XmlNodeTest, ChangedNamesAndValuesLeaveTheInputAlone) {
  const std::string text = "<r a='long attribute value'>first text</r>";
  XmlDocument document;
  ByteBuffer in(text);
  document.Parse(in);
  XmlNode* r = document.ChildAt(0);
  XmlNode* a = r->FindAttribute("a");
  a->set_value(a->value().substr(5));            // from bytes it looks at
  a->set_value(a->value().substr(0, 9));         // from bytes of its own, shrinking
  a->set_value(std::string(a->value()) + "s!");  // and growing
  r->ChildAt(0)->set_value(r->ChildAt(0)->value().substr(0, 5));
  r->set_name("root");
  EXPECT_EQ(Write(document, 1), "<root a=\"attributes!\">first</root>");
  EXPECT_EQ(in.bytes(), text);

  // The same on the heap, where a replaced block is freed at once.
  auto e = XmlNode::CreateElement("e");
  e->SetAttribute("k", "a value of some length");
  XmlNode* k = e->FindAttribute("k");
  k->set_value(std::string(k->value()) + ", made longer");
  k->set_value(k->value().substr(2));
  EXPECT_EQ(Write(*e, 1), "<e k=\"value of some length, made longer\" />");
}

TEST(XmlNodeTest, SetAttributeReplacesAndGetAttributeDefaultsToEmpty) {
  auto e = XmlNode::CreateElement("e");
  e->SetAttribute("k", "1");
  e->SetAttribute("k", "2");
  EXPECT_EQ(e->AttributeCount(), 1u);
  EXPECT_EQ(e->GetAttribute("k"), "2");
  EXPECT_EQ(e->GetAttribute("missing"), "");
  EXPECT_EQ(e->InsertAttribute(std::make_unique<XmlNode>(kAttributeNode, "k", "3")), nullptr);
  EXPECT_EQ(e->GetAttribute("k"), "2");
  e->Clear();
  EXPECT_EQ(e->AttributeCount(), 0u);
}

TEST(ByteBufferTest, CapacityGrowsInStepsUntilLengthPlusAppendIsBelowIt) {
  ByteBuffer buffer;
  buffer.Reserve(10u << 20);  // room made ahead does not show in the stepped capacity
  EXPECT_EQ(buffer.capacity(), 0u);
  buffer.Append(std::string(1, 'x'));
  EXPECT_EQ(buffer.capacity(), 512u);
  buffer.Append(std::string(510, 'x'));  // 511 < 512
  EXPECT_EQ(buffer.capacity(), 512u);
  buffer.Append('x');  // 512 is not below 512
  EXPECT_EQ(buffer.capacity(), 1024u);
  buffer.Append(std::string(2000, 'x'));
  EXPECT_EQ(buffer.capacity(), 2560u);
  EXPECT_EQ(buffer.length(), 2512u);
}

TEST(ByteBufferTest, AdoptedInputEndsAtFirstFF) {
  ByteBuffer buffer;
  std::string bytes = "ab\xff" + std::string(40, 'c');  // long enough to live on the heap
  const char* block = bytes.data();
  buffer.Adopt(std::move(bytes));
  EXPECT_EQ(buffer.bytes().data(), block);  // no copy
  EXPECT_EQ(buffer.Remaining(), "ab");
  buffer.Advance(2);
  EXPECT_TRUE(buffer.AtEnd());
  EXPECT_EQ(buffer.length(), 43u);
}

TEST(ByteBufferTest, SharedBytesStayAsTheyWereWhenTheBufferChanges) {
  const std::string text = "ab" + std::string(40, 'c');
  ByteBuffer buffer(text);
  const char* block = buffer.bytes().data();
  const std::shared_ptr<const std::string> shared = buffer.Share();
  EXPECT_EQ(shared->data(), block);  // no copy
  EXPECT_EQ(buffer.Remaining(), text);
  buffer.Append('d');
  EXPECT_EQ(*shared, text);
  EXPECT_EQ(buffer.Detach(), text + "d");
  EXPECT_EQ(*shared, text);
}

}  // namespace
}  // namespace quorvane::xml
