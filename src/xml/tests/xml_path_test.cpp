#include <gtest/gtest.h>

#include "xml/xml_document.h"

namespace quorvane::xml {
namespace {

class XmlPathTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ByteBuffer in(
        "<Album Title=\"t\"><Image>first</Image><Image>second<!--c--></Image>"
        "<Tips><Tip>a</Tip><Tip>b</Tip></Tips></Album>");
    document_.Parse(in);
  }
  std::string Written() {
    ByteBuffer out;
    WriteXml(document_, out, kWriteQuoteAttributes);
    return out.Detach();
  }
  XmlDocument document_;
};

TEST_F(XmlPathTest, FindsElementsTextAndAttributes) {
  XmlNode* text = document_.FindPath("Album.Image[1].#text");
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text->value(), "second");
  EXPECT_EQ(document_.FindPath("Album.Image.#text")->value(), "first");
  EXPECT_EQ(document_.FindPath("Album.Image[ 1 ].#comment")->value(), "c");
  EXPECT_EQ(document_.FindPath("Album.@Title")->value(), "t");
  EXPECT_EQ(document_.FindPath("Album.@Title")->kind(), kAttributeNode);
  // An attribute ends the lookup, whatever follows it.
  EXPECT_EQ(document_.FindPath("Album.@Title.Image.x")->value(), "t");
  // A non-numeric index reads as 0.
  EXPECT_EQ(document_.FindPath("Album.Image[x].#text")->value(), "first");
}

TEST_F(XmlPathTest, ReturnsNullForWhatIsNotThere) {
  EXPECT_EQ(document_.FindPath("Album.Image[9]"), nullptr);
  EXPECT_EQ(document_.FindPath("Album.Image[-1]"), nullptr);
  EXPECT_EQ(document_.FindPath("Album.@Missing"), nullptr);
  EXPECT_EQ(document_.FindPath("Album.Nothing.Deeper"), nullptr);
  EXPECT_EQ(document_.FindPath("album"), nullptr);  // names are case-sensitive
  EXPECT_EQ(Written().find("Nothing"), std::string::npos);
}

TEST_F(XmlPathTest, CreatesOneNodeWhateverTheIndex) {
  XmlNode* tips = document_.FindPath("Album.Tips");
  XmlNode* tip = tips->FindPath("Tip[5]", kPathCreate);
  ASSERT_NE(tip, nullptr);
  EXPECT_EQ(tips->ChildCount(), 3u);
  EXPECT_EQ(tip->name(), "Tip");

  XmlNode* text = document_.FindPath("Album.Tips.Tip[2].#text", kPathCreate);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text->kind(), kTextNode);
  text->set_value("c");
  document_.FindPath("Album.New.@Attr", kPathCreate)->set_value("v");
  EXPECT_EQ(Written(),
            "<Album Title=\"t\"><Image>first</Image><Image>second<c></Image>"
            "<Tips><Tip>a</Tip><Tip>b</Tip><Tip>c</Tip></Tips><New Attr=\"v\" /></Album>");
}

TEST_F(XmlPathTest, CreatesTextKindsButNoOtherHashNames) {
  XmlNode* album = document_.FindPath("Album");
  EXPECT_EQ(album->FindPath("Image[1].#cdata-section", kPathCreate)->kind(), kCDataNode);
  EXPECT_EQ(album->FindPath("Tips.#comment", kPathCreate)->kind(), kCommentNode);
  EXPECT_EQ(album->FindPath("#foo", kPathCreate), nullptr);
  EXPECT_EQ(album->FindPath("#document", kPathCreate), nullptr);
}

TEST(XmlPathCreateTest, CreatesUnderDocumentsAndNodesWhereverTheyLive) {
  // A document on the stack, a parsed one (arena nodes) and a detached heap element all get
  // new children and attributes that live as long as they do.
  XmlDocument on_stack;
  on_stack.FindPath("Tips.Tip.@n", kPathCreate)->set_value("1");
  auto parsed = std::make_unique<XmlDocument>();
  ByteBuffer in("<r><a/></r>");
  parsed->Parse(in);
  parsed->FindPath("r.a.b.#text", kPathCreate)->set_value("x");
  parsed->FindPath("r.a", 0)->SetAttribute("k", "v");
  auto detached = XmlNode::CreateElement("e");
  detached->FindPath("f.@g", kPathCreate)->set_value("h");
  ByteBuffer out;
  WriteXml(on_stack, out, 1);
  WriteXml(*parsed, out, 1);
  WriteXml(*detached, out, 1);
  EXPECT_EQ(out.bytes(),
            "<Tips><Tip n=\"1\" /></Tips><r><a k=\"v\"><b>x</b></a></r><e><f g=\"h\" /></e>");
}

TEST(XmlPathLocalNameTest, LocalNamesMatchOnlyWithFlag) {
  XmlDocument document;
  document.set_parse_flags(kParseNamespaces);
  ByteBuffer in("<p:root><q:item>x</q:item></p:root>");
  document.Parse(in);
  EXPECT_EQ(document.FindPath("root.item"), nullptr);
  XmlNode* item = document.FindPath("root.item", kPathMatchLocalName);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->name(), "q:item");
  EXPECT_EQ(document.FindPath("p:root.q:item.#text", kPathMatchLocalName)->value(), "x");
}

// A node type that answers paths nothing in the tree matched, as derived documents may.
class VirtualFolder : public XmlNode {
 public:
  VirtualFolder() : XmlNode(kElementNode, "Folder") {}
  XmlNode* ResolveUnmatched(std::string_view rest_of_path, int index) override {
    last_rest = std::string(rest_of_path);
    last_index = index;
    return rest_of_path == "Virtual[3].x" ? &answer : nullptr;
  }
  std::string last_rest;
  int last_index = -1;
  XmlNode answer{kTextNode, "#text", "resolved"};
};

TEST(XmlPathResolveTest, UnmatchedRestGoesToTheHook) {
  XmlDocument document;
  auto* folder =
      static_cast<VirtualFolder*>(document.AppendChild(std::make_unique<VirtualFolder>()));
  folder->AppendChild(XmlNode::CreateElement("Real"));
  EXPECT_EQ(document.FindPath("Folder.Virtual[3].x")->value(), "resolved");
  EXPECT_EQ(folder->last_rest, "Virtual[3].x");
  EXPECT_EQ(folder->last_index, 3);
  EXPECT_EQ(document.FindPath("Folder.Real"), folder->ChildAt(0));
  EXPECT_EQ(document.FindPath("Folder.Other"), nullptr);
  EXPECT_EQ(folder->last_rest, "Other");
}

}  // namespace
}  // namespace quorvane::xml
