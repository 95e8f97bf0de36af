// The web album wizard driven from the album menu to a finished web album, against the real
// generator and designs on disk; and the HTML form layer on the forms designs carry.
#include "app/webwizard/web_wizard.h"

#include <fstream>
#include <map>

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTextBrowser>

#include "app/album_document.h"
#include "app/command_table.h"
#include "app/tests/app_test_support.h"
#include "app/webwizard/html_form_view.h"
#include "app/webwizard/web_wizard_pages.h"
#include "webalbum/settings_form.h"
#include "xml/entities.h"
#include "xml/xml_node.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;
using Fields = HtmlFormView::Fields;

fs::path SourceDesigns() { return fs::path(std::getenv("QUORVANE_TESTDATA")) / ".." / "templates"; }

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// A design whose settings form is written by hand, with a control of every kind.
constexpr char kHandForm[] = R"(<h3>About the album</h3>
<p><label>Heading: <input name="Heading" value="{Heading}" size=30></label></p>
<p>Mood: <select name="Mood"><option value="calm" {"selected" include_if Mood == "calm"}>Calm &amp; quiet</option><option value="bright" {"selected" include_if Mood == "bright"}>Bright</option></select></p>
<p>Story:<br><textarea name="Story" rows=3 cols=40>{Story}</textarea></p>
<p><input type="checkbox" name="ShowMap" value="yes" {"checked" include_if ShowMap == "yes"}> Show the map</p>
<p>Layout: <input type="radio" name="Layout" value="grid" {"checked" include_if Layout == "grid"}> Grid
<input type="radio" name="Layout" value="list" {"checked" include_if Layout == "list"}> List</p>
<input type="hidden" name="Version" value="2"><!-- <input name="Ghost"> -->)";

void WriteHandmadeDesign(const fs::path& folder) {
  fs::create_directories(folder);
  std::ofstream(folder / "handmade.qvotmpl")
      << "<PhotoAlbumTemplate Name=\"Handmade\" Creator=\"Test Maker\" "
         "CreatorURL=\"https://example.org/\" PreviewImage=\"preview.png\">A design with its "
         "own form."
         "<UserVar Tag=\"Heading\" Description=\"Album heading\" Required=\"true\"/>"
         "<UserVar Tag=\"Mood\" Default=\"calm\"/><UserVar Tag=\"Story\" Type=\"textarea\"/>"
         "<UserVar Tag=\"ShowMap\" Type=\"checkbox\" Value=\"yes\"/>"
         "<UserVar Tag=\"Layout\" Type=\"radio\" Value=\"grid\" Default=\"grid\"/>"
         "<UserVar Tag=\"Layout\" Type=\"radio\" Value=\"list\"/>"
         "<UserVarForm>"
      << xml::EncodeEntities(kHandForm)
      << "</UserVarForm><IndexPage><Header>[{Heading}|{Mood}|{Story}|{ShowMap}|{Layout}|"
         "{Version}]</Header><Image>&lt;img src=&quot;{ImageThumbFileName}&quot;&gt;</Image>"
         "<Image/><Image/><Image/></IndexPage><PhotoDetailPage><Header>{ImageTitle}</Header>"
         "</PhotoDetailPage></PhotoAlbumTemplate>";
  QImage preview(160, 120, QImage::Format_RGB32);
  preview.fill(QColor(40, 110, 160));
  ASSERT_TRUE(preview.save(QString::fromStdString((folder / "preview.png").string())));
}

// Takes the message box the wizard shows: its text, after checking its caption and icon.
QString TakeMessage(QWidget* wizard, QMessageBox::Icon icon) {
  QMessageBox* box = nullptr;
  WaitUntil([&] { return (box = wizard->findChild<QMessageBox*>()) != nullptr; }, 2000);
  if (box == nullptr) return "(no message)";
  EXPECT_EQ(box->windowTitle(), "Quorvane");
  EXPECT_EQ(box->icon(), icon);
  const QString text = box->text();
  delete box;
  return text;
}

void KeepScreenshot(QWidget* wizard, const QString& name) {
  const QString folder = QUORVANE_ARTEFACT_DIR "/web_wizard";
  QDir().mkpath(folder);
  EXPECT_TRUE(wizard->grab().save(folder + "/" + name + ".png"));
}

using WebWizardTest = FrameTest;

TEST_F(WebWizardTest, PublishesAnAlbumWithAHandWrittenFormFromTheAlbumMenu) {
  const fs::path designs = dir_ / "data" / "Templates";
  fs::create_directories(designs);
  for (const char* name : {"classic", "dark", "modern"}) {
    fs::copy(SourceDesigns() / name, designs / name, fs::copy_options::recursive);
  }
  WriteHandmadeDesign(designs / "handmade");
  Open(MakeAlbum(dir_ / "albums", "Harbour", 3));
  frame_->RunCommand(kCmdCreateWebPages);
  auto* wizard = frame_->findChild<WebWizard*>();
  ASSERT_NE(wizard, nullptr);
  ASSERT_TRUE(QTest::qWaitForWindowExposed(wizard));
  KeepScreenshot(wizard, "1_welcome");

  wizard->next();
  auto* chooser = static_cast<TemplatePage*>(wizard->currentPage());
  ASSERT_EQ(wizard->currentId(), WebWizard::kTemplatePage);
  const auto found = chooser->list()->findItems("Handmade", Qt::MatchExactly);
  ASSERT_EQ(found.size(), 1);
  EXPECT_EQ(chooser->list()->count(), 4);
  chooser->list()->setCurrentItem(found[0]);
  EXPECT_TRUE(chooser->description()->toPlainText().contains("Created by: Test Maker"));
  EXPECT_FALSE(chooser->preview()->pixmap().isNull());
  KeepScreenshot(wizard, "2_template");

  wizard->next();
  ASSERT_EQ(wizard->currentId(), WebWizard::kSettingsPage);
  HtmlFormView* form = static_cast<SettingsPage*>(wizard->currentPage())->form();
  auto* heading = qobject_cast<QLineEdit*>(form->FindControl("Heading"));
  auto* mood = qobject_cast<QComboBox*>(form->FindControl("Mood"));
  auto* story = qobject_cast<QPlainTextEdit*>(form->FindControl("Story"));
  auto* map = qobject_cast<QCheckBox*>(form->FindControl("ShowMap"));
  auto* list = qobject_cast<QRadioButton*>(form->FindControl("Layout", "list"));
  ASSERT_TRUE(heading && mood && story && map && list);
  EXPECT_EQ(mood->currentText(), "Calm & quiet");  // the seeded default
  EXPECT_FALSE(map->isChecked());
  EXPECT_EQ(map->text(), "Show the map");
  KeepScreenshot(wizard, "3_settings");
  wizard->next();  // the required heading is empty
  EXPECT_EQ(TakeMessage(wizard, QMessageBox::Information),
            "Please fill in a value for \"Album heading\"");
  ASSERT_EQ(wizard->currentId(), WebWizard::kSettingsPage);
  heading->setText("Harbour days");
  mood->setCurrentIndex(1);
  story->setPlainText("A day by the sea");
  map->setChecked(true);
  list->setChecked(true);
  wizard->next();
  ASSERT_EQ(wizard->currentId(), WebWizard::kOptionsPage);
  // Back and forth keeps every answer.
  wizard->back();
  ASSERT_EQ(wizard->currentId(), WebWizard::kSettingsPage);
  wizard->next();
  EXPECT_EQ(form->FindControl("Heading"), heading);
  EXPECT_TRUE(map->isChecked());
  EXPECT_EQ(heading->text(), "Harbour days");
  ASSERT_EQ(wizard->currentId(), WebWizard::kOptionsPage);
  auto* options = static_cast<OptionsPage*>(wizard->currentPage());
  EXPECT_TRUE(options->preset(1)->isChecked());  // 800x600
  EXPECT_FALSE(options->strip_private()->isChecked());
  options->custom()->setChecked(true);
  options->custom_width()->setText("32");
  options->custom_height()->setText("24");
  options->strip_private()->setChecked(true);
  KeepScreenshot(wizard, "4_options");

  wizard->next();
  ASSERT_EQ(wizard->currentId(), WebWizard::kFolderPage);
  auto* folder = static_cast<FolderPage*>(wizard->currentPage());
  std::ofstream(dir_ / "a-file") << "not a folder";
  folder->path()->setText(QString::fromStdString((dir_ / "a-file").string()));
  wizard->next();
  EXPECT_EQ(TakeMessage(wizard, QMessageBox::Critical), "The selected path is not a folder.");
  ASSERT_EQ(wizard->currentId(), WebWizard::kFolderPage);
  folder->findChild<QPushButton*>()->click();
  auto* picker = wizard->findChild<QFileDialog*>();
  ASSERT_NE(picker, nullptr);
  EXPECT_EQ(picker->windowTitle(), "Select Folder");
  delete picker;
  const fs::path out = dir_ / "web" / "harbour";
  folder->path()->setText(QString::fromStdString(out.string()));
  KeepScreenshot(wizard, "5_folder");

  wizard->next();
  ASSERT_EQ(wizard->currentId(), WebWizard::kProcessingPage);
  auto* processing = static_cast<ProcessingPage*>(wizard->currentPage());
  ASSERT_EVENTUALLY_WITHIN(processing->isComplete(), 30000);
  EXPECT_EQ(processing->status()->text(), "Album creation finished.");
  KeepScreenshot(wizard, "6_processing");
  const std::string index = ReadFile(out / "index.html");
  EXPECT_NE(index.find("[Harbour days|bright|A day by the sea|yes|list|2]"), std::string::npos)
      << index;
  EXPECT_NE(index.find("-thumb.jpg"), std::string::npos);

  const settings::UserSettings stored = LoadSettings();
  EXPECT_EQ(stored.settings.web_publish_templatepath,
            (designs / "handmade" / "handmade.qvotmpl").string());
  EXPECT_TRUE(stored.settings.web_publish_stripprivate);
  EXPECT_EQ(stored.settings.weboutput_path, out.string());

  // Finish hands the first page to the desktop's handler.
  QTextBrowser opened;
  QDesktopServices::setUrlHandler("file", &opened, "setSource");
  wizard->button(QWizard::FinishButton)->click();
  QDesktopServices::unsetUrlHandler("file");
  EXPECT_EQ(opened.source(),
            QUrl::fromLocalFile(QString::fromStdString((out / "index.html").string())));
}

TEST_F(WebWizardTest, CancelWhileGeneratingClosesOnceTheWorkerHasStopped) {
  Open(MakeAlbum(dir_ / "albums", "Quay", 6));
  WebWizard wizard(frame_->current_document()->album(), &user_, {});
  ASSERT_EQ(wizard.LoadDesign(SourceDesigns() / "classic" / "classic.qvotmpl"), platform::kOk);
  wizard.options().only_larger = false;  // every photo re-encoded
  wizard.set_output_folder(dir_ / "out");
  wizard.show();
  ASSERT_TRUE(wizard.StartRun());
  wizard.reject();
  EXPECT_TRUE(wizard.isVisible());  // the album is still being read
  ASSERT_EVENTUALLY(!wizard.isVisible());
  EXPECT_FALSE(wizard.running());
}

// Each built-in design's generated form: every variable gets its control, and the untouched
// form submits the design's defaults and is accepted.
class BuiltInFormTest : public AppTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(BuiltInFormTest, EveryVariableIsFillableAndDefaultsSubmit) {
  webalbum::DesignTemplate design;
  const std::string name = GetParam();
  ASSERT_EQ(design.Load(SourceDesigns() / name / (name + ".qvotmpl")), platform::kOk);
  HtmlFormView view;
  view.SetHtml(QString::fromStdString(webalbum::BuildSettingsForm(design, "Sans")));
  view.resize(640, 420);
  view.show();
  KeepScreenshot(&view, QString::fromStdString("3_settings_" + name));
  const Fields fields = view.Submit();
  std::map<std::string, std::string> submitted(fields.begin(), fields.end());
  for (int i = 0; xml::XmlNode* var = design.GetUserVar(i); ++i) {
    const std::string tag(var->GetAttribute("Tag"));
    const std::string value(var->GetAttribute("Value"));
    EXPECT_NE(view.FindControl(QString::fromStdString(tag), QString::fromStdString(value)), nullptr)
        << tag;
    const std::string fallback(var->GetAttribute("Default"));
    if (!fallback.empty()) {
      EXPECT_EQ(submitted[tag], value.empty() ? fallback : value) << tag;
    }
  }
  std::string message;
  EXPECT_TRUE(webalbum::AcceptSettingsForm(design, fields, &message)) << message;
}

INSTANTIATE_TEST_SUITE_P(Designs, BuiltInFormTest, ::testing::Values("classic", "dark", "modern"));

struct FormCase {
  const char* name;
  const char* html;
  Fields expected;
};

class HtmlFormTest : public AppTest, public ::testing::WithParamInterface<FormCase> {};

TEST_P(HtmlFormTest, SubmitsWhatABrowserWould) {
  HtmlFormView view;
  view.SetHtml(GetParam().html);
  EXPECT_EQ(view.Submit(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, HtmlFormTest,
    ::testing::Values(
        FormCase{"UnquotedAndValuelessAttributes",
                 "<INPUT name=a value=x size=5><input type=checkbox name=b checked>",
                 {{"a", "x"}, {"b", "on"}}},
        FormCase{"UntickedBoxPostsEmptyOnce",
                 "<input type=checkbox name=c value=y><input type=checkbox name=c value=z>",
                 {{"c", ""}}},
        FormCase{"RadioGroupPostsTheCheckedOne",
                 "<input type=radio name=r value=1><input type=radio name=r value=2 checked>",
                 {{"r", "2"}}},
        FormCase{"OptionsWithoutValuesPostTheirText",
                 "<select name=s><option>One<option selected>Two &amp; more</select>",
                 {{"s", "Two & more"}}},
        FormCase{"TextAreaDecodedWithoutTheFirstLineFeed",
                 "<textarea name=t>\nA &lt;b&gt;\nline</textarea>",
                 {{"t", "A <b>\nline"}}},
        FormCase{"CommentsScriptsButtonsAndDisabledFieldsPostNothing",
                 "<!-- <input name=x> --><script>var s = '<input name=y>';</script>"
                 "<input name=z value=1 disabled><input type=submit name=go value=Go>"
                 "<input type=hidden name=h value=\"&quot;q&quot;\">",
                 {{"h", "\"q\""}}},
        FormCase{"UnclosedMarkupAtTheEnd",
                 "<b>Heading<p><input name=n value=v><select name=m>stray<option>M",
                 {{"n", "v"}, {"m", "M"}}}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace quorvane::app
