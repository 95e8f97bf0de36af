#include "app/webwizard/web_wizard_pages.h"

#include <algorithm>

#include <QCheckBox>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFont>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QStandardPaths>
#include <QStyle>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "album/album.h"
#include "app/html_resources.h"
#include "app/webwizard/html_form_view.h"
#include "app/webwizard/web_wizard.h"
#include "platform/ascii.h"
#include "platform/number_text.h"
#include "settings/settings.h"
#include "webalbum/settings_form.h"
#include "xml/entities.h"
#include "xml/xml_node.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

fs::path ToPath(const QString& text) { return fs::path(text.toStdU16String()); }
QString FromPath(const fs::path& path) { return QString::fromStdU16String(path.u16string()); }

// The maker's guide for people who write their own designs.
constexpr char kTemplateWritersGuideUrl[] = "https://quorvane.org/guides/web-templates.html";

constexpr char kTemplateNote[] =
    "<body leftmargin=0 topmargin=0><font face=\"{DEFAULT_GUI_FONT}\" size=2>Designs are "
    "folders in the \"Templates\" folder; a new one is installed by copying its folder there. "
    "<a href=\"{TEMPLATEWRITERSGUIDE_URL}\">Learn how to write your own templates</a>."
    "</font></body>";

constexpr char kDescriptionFormat[] =
    "<body leftmargin=0 topmargin=0 rightmargin=0 bottommargin=0><font face=\"%1\" "
    "size=2>%2<br><br>Created by: <a href=\"%3\">%4</a></font></body>";

constexpr QSize kPreviewSize(240, 180);

struct Preset {
  const char* text;
  int width;
  int height;
};
constexpr Preset kPresets[] = {
    {"&640x480", 640, 480}, {"&800x600", 800, 600}, {"&1024x768", 1024, 768}};

QTextBrowser* MakeHtmlPane(QWidget* parent) {
  auto* pane = new QTextBrowser(parent);
  pane->setOpenLinks(false);
  pane->setFrameShape(QFrame::NoFrame);
  pane->viewport()->setAutoFillBackground(false);
  // The panes' HTML asks for size=2, which was dialog-sized text where these pages come from;
  // here it is one step below the base size, so the base is raised by that step.
  QFont base = pane->font();
  base.setPointSizeF(base.pointSizeF() * 1.2);
  pane->document()->setDefaultFont(base);
  QObject::connect(pane, &QTextBrowser::anchorClicked,
                   [](const QUrl& url) { QDesktopServices::openUrl(url); });
  return pane;
}

QLabel* WrappedLabel(const QString& text, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  label->setWordWrap(true);
  return label;
}

}  // namespace

WelcomePage::WelcomePage(WebWizard* wizard) : wizard_(wizard) {
  setTitle("Create a Web Photo Album");
  setSubTitle("Quorvane can create professional looking web albums from your photos.");
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(WrappedLabel(
      tr("This wizard makes a complete web site of the album: index pages with thumbnails, a "
         "page for every photo, and the photos themselves, sized for the web.\n\n"
         "You choose a design and its settings, how the photos are sized and the folder the "
         "pages go into. The album itself is not changed."),
      this));
  layout->addSpacing(12);
  album_ = WrappedLabel({}, this);
  layout->addWidget(album_);
  layout->addStretch(1);
}

void WelcomePage::initializePage() {
  const album::Album& album = wizard_->album();
  const size_t count = album.photos().size();
  album_->setText((count == 1 ? tr("Album: <b>%1</b>, one photo.")
                              : tr("Album: <b>%1</b>, %2 photos.").arg("%1").arg(count))
                      .arg(FromUtf8(album.title()).toHtmlEscaped()));
}

TemplatePage::TemplatePage(WebWizard* wizard) : wizard_(wizard) {
  setTitle("Select Template");
  setSubTitle("Select a template to use for formatting your web photo album");
  list_ = new QListWidget(this);
  list_->setObjectName("TemplateList");
  list_->setMinimumWidth(180);
  preview_ = new QLabel(this);
  preview_->setObjectName("TemplatePreview");
  preview_->setFixedSize(kPreviewSize);
  preview_->setAlignment(Qt::AlignCenter);
  preview_->setFrameShape(QFrame::StyledPanel);
  description_ = MakeHtmlPane(this);
  description_->setObjectName("TemplateDescription");
  auto* browse = new QPushButton(tr("&Browse..."), this);
  note_ = MakeHtmlPane(this);
  note_->setMaximumHeight(56);
  note_->setHtml(SubstitutePlaceholders(
      kTemplateNote, {{"{TEMPLATEWRITERSGUIDE_URL}", kTemplateWritersGuideUrl}}));

  auto* layout = new QGridLayout(this);
  layout->addWidget(new QLabel(tr("&Templates:"), this), 0, 0);
  static_cast<QLabel*>(layout->itemAtPosition(0, 0)->widget())->setBuddy(list_);
  layout->addWidget(list_, 1, 0, 2, 1);
  layout->addWidget(browse, 3, 0, Qt::AlignLeft);
  layout->addWidget(preview_, 1, 1, Qt::AlignLeft | Qt::AlignTop);
  layout->addWidget(description_, 2, 1, 2, 1);
  layout->addWidget(note_, 4, 0, 1, 2);
  layout->setColumnStretch(1, 1);
  layout->setRowStretch(2, 1);

  connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
    if (row >= 0 && row < static_cast<int>(templates_.size())) {
      ShowTemplate(templates_[static_cast<size_t>(row)]);
    }
  });
  connect(browse, &QPushButton::clicked, this, &TemplatePage::Browse);
}

void TemplatePage::initializePage() {
  templates_ = webalbum::ListTemplates(wizard_->template_folders());
  // The design chosen last time, also when it came from elsewhere by browsing.
  const std::string& remembered = wizard_->user().settings.web_publish_templatepath;
  const bool listed = std::any_of(templates_.begin(), templates_.end(),
                                  [&](const auto& info) { return info.path == remembered; });
  webalbum::TemplateInfo extra;
  if (!remembered.empty() && !listed && webalbum::ReadTemplateInfo(remembered, &extra)) {
    templates_.push_back(extra);
  }
  QSignalBlocker block(list_);
  list_->clear();
  int selected = 0;
  for (size_t i = 0; i < templates_.size(); ++i) {
    const QString name = FromUtf8(templates_[i].name);
    list_->addItem(name.isEmpty() ? FromPath(fs::path(templates_[i].path).stem()) : name);
    if (templates_[i].path == remembered) selected = static_cast<int>(i);
  }
  if (!templates_.empty()) {
    list_->setCurrentRow(selected);
    ShowTemplate(templates_[static_cast<size_t>(selected)]);
  }
  list_->setFocus();
}

void TemplatePage::ShowTemplate(const webalbum::TemplateInfo& info) {
  chosen_ = FromUtf8(info.path);
  QString html = QString(kDescriptionFormat)
                     .arg(DefaultGuiFont(), FromUtf8(xml::DecodeEntities(info.description)),
                          FromUtf8(info.creator_url), FromUtf8(info.creator));
  if (info.creator.empty()) html.replace("<br><br>Created by: <a href=\"\"></a>", "");
  description_->setHtml(html);
  preview_->clear();
  preview_->setText(tr("No preview"));
  if (const auto path = webalbum::PreviewImagePath(info)) {
    const QPixmap picture(FromPath(*path));
    if (!picture.isNull()) {
      preview_->setPixmap(picture.scaled(kPreviewSize - QSize(4, 4), Qt::KeepAspectRatio,
                                         Qt::SmoothTransformation));
    }
  }
}

void TemplatePage::Browse() {
  auto* dialog = new QFileDialog(this, tr("Open Template"), QDir::homePath(),
                                 "Quorvane Template Files (*.qvotmpl);;All Files (*.*)");
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setDefaultSuffix("qvotmpl");
  dialog->setFileMode(QFileDialog::ExistingFile);
  connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& file) {
    webalbum::TemplateInfo info;
    if (!webalbum::ReadTemplateInfo(ToPath(file), &info)) {
      QString text = FromUtf8(webalbum::kInvalidTemplateMessage);
      wizard_->ShowMessage(text.replace("%s", file), QMessageBox::Critical);
      return;
    }
    templates_.push_back(info);
    QSignalBlocker block(list_);
    list_->addItem(FromUtf8(info.name));
    list_->setCurrentRow(list_->count() - 1);
    ShowTemplate(info);
  });
  dialog->open();
}

bool TemplatePage::validatePage() {
  const std::string path = chosen_.toStdString();
  const platform::ResultCode code = wizard_->LoadDesign(ToPath(chosen_));
  if (code != platform::kOk) {
    wizard_->ShowMessage(FromUtf8(webalbum::LoadFailureMessage(code, path)), QMessageBox::Critical);
    return false;
  }
  wizard_->user().settings.web_publish_templatepath = path;
  wizard_->SaveSettings();
  return true;
}

int TemplatePage::nextId() const {
  webalbum::DesignTemplate* design = wizard_->design();
  return design != nullptr && !webalbum::HasSettingsPage(*design) ? WebWizard::kOptionsPage
                                                                  : WebWizard::kSettingsPage;
}

SettingsPage::SettingsPage(WebWizard* wizard) : wizard_(wizard) {
  setTitle("Enter Template Settings");
  setSubTitle("The template you selected has additional settings you may specify");
  form_ = new HtmlFormView(this);
  form_->setObjectName("SettingsForm");
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(form_);
}

void SettingsPage::initializePage() {
  webalbum::DesignTemplate* design = wizard_->design();
  if (design == nullptr) return;
  // Shown again for the same design (Back, then Next), the form keeps what was typed.
  if (shown_generation_ != wizard_->design_generation()) {
    form_->SetHtml(FromUtf8(webalbum::BuildSettingsForm(*design, DefaultGuiFont().toStdString())));
    shown_generation_ = wizard_->design_generation();
  }
  if (QWidget* first = form_->FirstControl()) first->setFocus();
}

bool SettingsPage::validatePage() {
  webalbum::DesignTemplate* design = wizard_->design();
  if (design == nullptr) return true;
  const HtmlFormView::Fields fields = form_->Submit();
  std::string message;
  if (webalbum::AcceptSettingsForm(*design, fields, &message)) return true;
  wizard_->ShowMessage(FromUtf8(message), QMessageBox::Information);
  for (const auto& [name, value] : fields) {
    xml::XmlNode* var = design->GetUserVar(design->FindUserVar(name));
    if (value.empty() && var != nullptr &&
        platform::EqualsIgnoringAsciiCase(var->GetAttribute("Required"), "true")) {
      if (QWidget* control = form_->FindControl(FromUtf8(name))) control->setFocus();
      break;
    }
  }
  return false;
}

OptionsPage::OptionsPage(WebWizard* wizard) : wizard_(wizard) {
  setTitle("Select Options");
  setSubTitle("Select the options for your web photo album");
  resize_ = new QCheckBox("&Resize photos", this);
  auto* sizes = new QGroupBox(tr("Largest size of the published photos"), this);
  auto* size_layout = new QGridLayout(sizes);
  for (int i = 0; i < 3; ++i) {
    presets_[i] = new QRadioButton(kPresets[i].text, sizes);
    size_layout->addWidget(presets_[i], i, 0, 1, 4);
  }
  custom_ = new QRadioButton("&Custom size:", sizes);
  width_ = new QLineEdit(sizes);
  height_ = new QLineEdit(sizes);
  for (QLineEdit* field : {width_, height_}) {
    field->setValidator(new QIntValidator(1, 65500, field));
    field->setMaxLength(1024);
    field->setFixedWidth(field->fontMetrics().horizontalAdvance("000000") + 16);
  }
  size_layout->addWidget(custom_, 3, 0);
  size_layout->addWidget(width_, 3, 1);
  size_layout->addWidget(new QLabel("x", sizes), 3, 2);
  size_layout->addWidget(height_, 3, 3);
  size_layout->setColumnStretch(4, 1);
  keep_aspect_ = new QCheckBox("Preserve &aspect ratio", sizes);
  only_larger_ = new QCheckBox("Resize &only if the photo is larger", sizes);
  only_larger_note_ = new QLabel("than the selected size.", sizes);
  size_layout->addWidget(keep_aspect_, 4, 0, 1, 5);
  size_layout->addWidget(only_larger_, 5, 0, 1, 5);
  only_larger_note_->setIndent(only_larger_->style()->pixelMetric(QStyle::PM_IndicatorWidth) + 6);
  size_layout->addWidget(only_larger_note_, 6, 0, 1, 5);

  strip_private_ = new QCheckBox(
      tr("Remove &private details from the published photos (GPS position, camera serial "
         "numbers, owner names)"),
      this);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(resize_);
  layout->addWidget(sizes);
  layout->addSpacing(8);
  layout->addWidget(strip_private_);
  layout->addStretch(1);

  connect(resize_, &QCheckBox::toggled, this, &OptionsPage::UpdateEnabled);
  connect(custom_, &QRadioButton::toggled, this, &OptionsPage::UpdateEnabled);
}

void OptionsPage::UpdateEnabled() {
  const bool resize = resize_->isChecked();
  for (QWidget* widget :
       std::initializer_list<QWidget*>{presets_[0], presets_[1], presets_[2], custom_, keep_aspect_,
                                       only_larger_, only_larger_note_}) {
    widget->setEnabled(resize);
  }
  width_->setEnabled(resize && custom_->isChecked());
  height_->setEnabled(resize && custom_->isChecked());
}

void OptionsPage::initializePage() {
  const webalbum::WebAlbumOptions& options = wizard_->options();
  resize_->setChecked(options.resize);
  bool preset = false;
  for (int i = 0; i < 3; ++i) {
    if (kPresets[i].width == options.max_width && kPresets[i].height == options.max_height) {
      presets_[i]->setChecked(true);
      preset = true;
    }
  }
  custom_->setChecked(!preset);
  width_->setText(QString::number(options.max_width));
  height_->setText(QString::number(options.max_height));
  keep_aspect_->setChecked(options.keep_aspect);
  only_larger_->setChecked(options.only_larger);
  strip_private_->setChecked(options.strip_private);
  UpdateEnabled();
}

bool OptionsPage::validatePage() {
  webalbum::WebAlbumOptions& options = wizard_->options();
  if (resize_->isChecked()) {
    int width = 0;
    int height = 0;
    for (int i = 0; i < 3; ++i) {
      if (presets_[i]->isChecked()) {
        width = kPresets[i].width;
        height = kPresets[i].height;
      }
    }
    if (custom_->isChecked()) {
      int64_t w = 0;
      int64_t h = 0;
      if (!platform::ParseInteger(width_->text().trimmed().toStdString(), 1, 65500, &w) ||
          !platform::ParseInteger(height_->text().trimmed().toStdString(), 1, 65500, &h)) {
        wizard_->ShowMessage(
            tr("Please enter the custom size as a width and a height of 1 to 65500 pixels."),
            QMessageBox::Warning);
        (width_->hasAcceptableInput() ? height_ : width_)->setFocus();
        return false;
      }
      width = static_cast<int>(w);
      height = static_cast<int>(h);
    }
    options.max_width = width;
    options.max_height = height;
  }
  options.resize = resize_->isChecked();
  options.keep_aspect = keep_aspect_->isChecked();
  options.only_larger = only_larger_->isChecked();
  options.strip_private = strip_private_->isChecked();
  bool& stored = wizard_->user().settings.web_publish_stripprivate;
  if (stored != options.strip_private) {
    stored = options.strip_private;
    wizard_->SaveSettings();
  }
  return true;
}

FolderPage::FolderPage(WebWizard* wizard) : wizard_(wizard) {
  setTitle("Select Folder");
  setSubTitle("Select the folder where your web photo album will be created");
  path_ = new QLineEdit(this);
  path_->setObjectName("OutputFolder");
  auto* browse = new QPushButton(tr("&Browse..."), this);
  auto* label = new QLabel(tr("&Folder:"), this);
  label->setBuddy(path_);
  auto* row = new QHBoxLayout;
  row->addWidget(path_, 1);
  row->addWidget(browse);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(label);
  layout->addLayout(row);
  layout->addSpacing(8);
  layout->addWidget(WrappedLabel(
      tr("The pages, photos and thumbnails are written side by side into this folder; it is "
         "made when it does not exist. A web album made there before is brought up to date."),
      this));
  layout->addStretch(1);
  connect(browse, &QPushButton::clicked, this, &FolderPage::Browse);
}

void FolderPage::initializePage() {
  if (!path_->text().isEmpty()) return;
  const std::string& last = wizard_->user().settings.weboutput_path;
  if (!last.empty()) {
    path_->setText(FromUtf8(last));
    return;
  }
  QString title = FromUtf8(wizard_->album().title()).trimmed();
  title.replace(QRegularExpression(R"([\\/:*?"<>|])"), "_");
  const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
  path_->setText(QDir(documents).filePath("Web Albums/" + (title.isEmpty() ? "Album" : title)));
}

void FolderPage::Browse() {
  auto* dialog = new QFileDialog(this, "Select Folder", path_->text());
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setFileMode(QFileDialog::Directory);
  dialog->setOption(QFileDialog::ShowDirsOnly);
  connect(dialog, &QFileDialog::fileSelected, this,
          [this](const QString& folder) { path_->setText(QDir::toNativeSeparators(folder)); });
  dialog->open();
}

bool FolderPage::validatePage() {
  const QString text = path_->text().trimmed();
  if (text.isEmpty()) {
    wizard_->ShowMessage(tr("Please enter the folder the web album goes into."),
                         QMessageBox::Critical);
    return false;
  }
  const fs::path folder = ToPath(QDir::home().absoluteFilePath(QDir::fromNativeSeparators(text)));
  std::string message;
  if (!webalbum::PrepareOutputFolder(folder, &message)) {
    wizard_->ShowMessage(FromUtf8(message), QMessageBox::Critical);
    path_->setFocus();
    return false;
  }
  wizard_->set_output_folder(folder);
  wizard_->user().settings.weboutput_path = folder.string();
  wizard_->SaveSettings();
  return true;
}

ProcessingPage::ProcessingPage(WebWizard* wizard) : wizard_(wizard) {
  setTitle("Processing...");
  setSubTitle("Quorvane is generating your web photo album...");
  status_ = WrappedLabel({}, this);
  status_->setObjectName("ProcessingStatus");
  bar_ = new QProgressBar(this);
  bar_->setTextVisible(false);
  hint_ = WrappedLabel({}, this);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(status_);
  layout->addWidget(bar_);
  layout->addSpacing(12);
  layout->addWidget(hint_);
  layout->addStretch(1);
  connect(wizard_, &WebWizard::Progress, this,
          [this](const QString& text, qint64 position, qint64 maximum) {
            if (!text.isEmpty()) status_->setText(text);
            if (maximum <= 0) return;
            bar_->setRange(0, 1000);
            bar_->setValue(static_cast<int>(position * 1000 / maximum));
          });
  connect(wizard_, &WebWizard::RunEnded, this,
          [this](platform::ResultCode result, const QString& error) {
            if (result == platform::kOk) {
              Ended(true, {});
            } else {
              Ended(false, result == platform::kCancelled ? tr("Cancelled") : error);
            }
          });
}

void ProcessingPage::initializePage() {
  ended_ = false;
  result_ok_ = false;
  status_->setText(tr("Starting..."));
  bar_->setRange(0, 1000);
  bar_->setValue(0);
  hint_->clear();
  // No way back while the album is being written: the pages behind it would change it.
  wizard_->setOption(QWizard::NoBackButtonOnLastPage, true);
  if (!wizard_->StartRun()) Ended(false, FromUtf8(webalbum::kProcessingFailed));
}

void ProcessingPage::Ended(bool ok, const QString& text) {
  ended_ = true;
  result_ok_ = ok;
  wizard_->setOption(QWizard::NoBackButtonOnLastPage, false);
  if (ok) {
    bar_->setValue(bar_->maximum());
    hint_->setText(tr("Click Finish to open the web album in your browser."));
  } else {
    status_->setText(text);
    hint_->setText(tr("Click Back to change the options and try again."));
  }
  emit completeChanged();
}

bool ProcessingPage::isComplete() const { return ended_ && result_ok_; }

}  // namespace quorvane::app
