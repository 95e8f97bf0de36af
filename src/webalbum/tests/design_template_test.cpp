#include "webalbum/design_template.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "testing/temp_dir.h"
#include "webalbum/settings_form.h"

namespace quorvane::webalbum {
namespace {

namespace fs = std::filesystem;
using testing::TempDir;
using testing::WriteTextFile;

std::string Template(std::string_view body, std::string_view name = "T") {
  return "<PhotoAlbumTemplate Name=\"" + std::string(name) +
         "\" Creator=\"Me\" PreviewImage=\"Preview.PNG\">A &amp; B" + std::string(body) +
         "</PhotoAlbumTemplate>";
}

class DesignTemplateTest : public ::testing::Test {
 protected:
  fs::path Write(std::string_view relative, std::string_view text) {
    WriteTextFile(dir_ / relative, text);
    return dir_ / relative;
  }
  DesignTemplate& Loaded(std::string_view body) {
    EXPECT_EQ(design_.Load(Write("d/d.qvotmpl", Template(body))), platform::kOk);
    return design_;
  }

  TempDir dir_;
  DesignTemplate design_;
};

TEST_F(DesignTemplateTest, LoadTellsMissingEmptyAndInvalidFilesApart) {
  EXPECT_EQ(design_.Load(dir_ / "missing.qvotmpl"), kFileNotFound);
  EXPECT_EQ(design_.path(), dir_ / "missing.qvotmpl");
  EXPECT_EQ(design_.Load(Write("empty.qvotmpl", "")), platform::kFailed);
  EXPECT_EQ(design_.Load(Write("other.qvotmpl", "<PrintTemplate/>")), kInvalidArgument);
  EXPECT_EQ(design_.Load(dir_.path()), 0x80070015u);  // a folder
  EXPECT_EQ(LoadFailureMessage(kFileNotFound, "x"), "Error: File not found.\n\nFile: x");
  EXPECT_EQ(LoadFailureMessage(kInvalidArgument, "x"),
            "Error: Invalid template format.\n\nFile: x");
}

TEST_F(DesignTemplateTest, InfoAndUserVariablesStopAtTheFirstGap) {
  Loaded("<UserVar Tag=\"a\"/><UserVar Tag=\"b\"/><UserVar[2]/><Other/><UserVar Tag=\"c\"/>");
  TemplateInfo info;
  ASSERT_TRUE(ReadTemplateInfo(design_.path(), &info));
  EXPECT_EQ(info.name, "T");
  EXPECT_EQ(info.description, "A &amp; B");
  EXPECT_EQ(info.creator, "Me");
  EXPECT_EQ(info.creator_url, "");
  EXPECT_EQ(design_.FindUserVar("b"), 1);
  EXPECT_EQ(design_.FindUserVar("c"), 2);
  EXPECT_EQ(design_.FindUserVar("B"), -1);
  design_.SetVariable("b", "1");
  design_.SetVariable("a", "2");
  design_.SetVariable("b", "3");
  ASSERT_EQ(design_.variables().size(), 2u);
  EXPECT_EQ(design_.variables()[0], (std::pair<std::string, std::string>("b", "3")));
  EXPECT_EQ(design_.GetVariable("A"), nullptr);
}

TEST_F(DesignTemplateTest, ListingTakesOneTemplatePerSubfolder) {
  Write("Templates/b/z.qvotmpl", Template("", "B-z"));
  Write("Templates/b/a.qvotmpl", Template("", "B-a"));
  Write("Templates/a/x.qvotmpl", Template("", "A"));
  Write("Templates/loose.qvotmpl", Template("", "Loose"));
  Write("Templates/broken/x.qvotmpl", "<NotATemplate/>");
  Write("user/Templates/u/u.QVOTMPL", Template("", "User"));
  const auto list = ListTemplates(TemplateFolders(dir_.path(), dir_ / "user"));
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[0].name, "A");
  EXPECT_EQ(list[1].name, "B-a");
  EXPECT_EQ(list[2].name, "User");
  EXPECT_TRUE(ListTemplates({dir_ / "nowhere"}).empty());
}

TEST_F(DesignTemplateTest, SupportFilesStayInTheTemplateFolder) {
  Loaded("");
  for (const char* name : {"a.css", "b.JS", "c.png", "Preview.png", "notes.txt", "d.qvotmpl"}) {
    Write(std::string("d/") + name, "x");
  }
  Write("d/sub/e.css", "x");
  Write("outside.css", "secret");
  std::error_code ec;
  fs::create_symlink(dir_ / "outside.css", dir_ / "d" / "link.css", ec);
  ASSERT_FALSE(ec);
  EXPECT_EQ(SupportFiles(design_.path(), "preview.PNG"),
            (std::vector<std::string>{"a.css", "b.JS", "c.png"}));

  TemplateInfo info;
  info.path = design_.path().string();
  info.preview_image = "Preview.png";
  EXPECT_EQ(PreviewImagePath(info), dir_ / "d" / "Preview.png");
  for (const char* escape : {"../outside.css", "/etc/passwd", "link.css", "sub"}) {
    info.preview_image = escape;
    EXPECT_FALSE(PreviewImagePath(info).has_value()) << escape;
  }
}

TEST_F(DesignTemplateTest, GeneratedFormIsExactAndSeedsDefaults) {
  Loaded(
      "<UserVar Tag=\"Name\" Description=\"Your &amp; name\" Default=\"Ann\"/>"
      "<UserVar Tag=\"Box\" Type=\"CheckBox\" Value=\"on\">Help &lt;i&gt;text&lt;/i&gt;</UserVar>"
      "<UserVar Tag=\"Pick\" Type=\"select\" Description=\"Pick\"/>"
      "<UserVar Tag=\"Long\" Type=\"textarea\" Default=\"x\"/>");
  design_.SetVariable("Box", "On");  // not "on": the comparison is exact
  const std::string row =
      "<table leftmargin=0 topmargin=0 rightmargin=0 border=0 cellpadding=0 "
      "cellspacing=0><tr><td valign=\"top\">";
  const std::string end = "</td></tr></table></td></tr>";
  EXPECT_EQ(
      BuildSettingsForm(design_, "Sans"),
      "<body leftmargin=0 topmargin=0 rightmargin=0 bottommargin=0><font face=\"Sans\" size=2>"
      "<form name=\"settings\" method=\"post\" target=\"x\"><table leftmargin=0 topmargin=0 "
      "rightmargin=0 cellspacing=0 cellpadding=0 width=\"100%\" border=\"0\">"
      "<tr><td>" +
          row +
          "Your & name: </td><td valign=\"top\">"
          "<input name=\"Name\" value=\"Ann\" size=50 width=50>" +
          end + "<tr><td height=20><br>Help <i>text</i><br>" + row +
          "</td><td valign=\"top\">"
          "<input name=\"Box\" type=\"checkbox\" value=\"on\" >" +
          end + "<tr><td>" + row + "Pick: </td><td valign=\"top\">" + end + "<tr><td>" + row +
          "</td><td valign=\"top\"><textarea name=\"Long\" cols=50 rows=10>x"
          "</textarea>" +
          end + "</table></form></font></body>");
  ASSERT_NE(design_.GetVariable("Name"), nullptr);
  EXPECT_EQ(*design_.GetVariable("Name"), "Ann");
}

TEST_F(DesignTemplateTest, CustomFormReplacesBraceItems) {
  Loaded(
      "<UserVarForm>&lt;input name=&quot;c&quot; value=&quot;{Colour}&quot; "
      "{&quot;checked&quot; include_if Colour == &quot;r&amp;d&quot;}&gt;{Nobody}{open"
      "</UserVarForm>");
  design_.SetVariable("Colour", "r&d");
  const std::string html = BuildSettingsForm(design_, "F");
  EXPECT_NE(html.find("<input name=\"c\" value=\"r&amp;d\" checked>{open</form>"),
            std::string::npos)
      << html;
  design_.SetVariable("Colour", "blue");
  EXPECT_NE(BuildSettingsForm(design_, "F").find("value=\"blue\" >{open"), std::string::npos);
  // Without variables or form, no settings page.
  Loaded("<IndexPage/>");
  EXPECT_FALSE(HasSettingsPage(design_));
  EXPECT_EQ(BuildSettingsForm(design_, "F"), "");
}

TEST_F(DesignTemplateTest, RequiredMeansTrueInAnyCase) {
  Loaded(
      "<UserVar Tag=\"a\" Required=\"TRUE\" Description=\"Title\"/>"
      "<UserVar Tag=\"b\" Required=\"yes\"/><UserVar Tag=\"c\" Required=\"true\"/>");
  std::string message;
  EXPECT_TRUE(AcceptSettingsForm(design_, {{"b", ""}, {"a", "x"}}, &message));
  EXPECT_FALSE(AcceptSettingsForm(design_, {{"a", "y"}, {"c", ""}, {"b", "z"}}, &message));
  EXPECT_EQ(message, "Please fill in a value for \"c\"");
  EXPECT_EQ(*design_.GetVariable("a"), "y");  // stored before the refusal
  EXPECT_EQ(*design_.GetVariable("b"), "");
  EXPECT_FALSE(AcceptSettingsForm(design_, {{"a", ""}}, &message));
  EXPECT_EQ(message, "Please fill in a value for \"Title\"");
}

}  // namespace
}  // namespace quorvane::webalbum
