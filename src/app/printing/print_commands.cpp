#include "app/printing/print_commands.h"

#include <algorithm>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QPageSetupDialog>
#include <QPaintEngine>
#include <QPainter>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <QTimer>
#include <QToolBar>

#include "app/job_runner.h"
#include "app/printing/page_painter.h"
#include "app/printing/paper_dialog.h"
#include "app/printing/preview_photos.h"
#include "app/printing/printer_job.h"
#include "app/printing/template_chooser.h"
#include "print/print_job.h"
#include "settings/settings.h"
#include "settings/user_folders.h"

namespace quorvane::app::printing {
namespace {

constexpr int32_t kKnownFlags = kPrintInColor | kPrintLandscape | kPrintOnTemplatePaper;
// How long the preview gathers arriving photos before it is drawn again.
constexpr int kPreviewRefreshMs = 150;

QString FromUtf8(const std::string& text) { return QString::fromStdString(text); }

QPageSize TemplatePageSize(const print::PrintTemplate& print_template) {
  const print::PaperSetup& paper = print_template.paper();
  // Standard sizes keep their names (and their trays) when the template's millimetres match.
  return QPageSize(
      QSizeF(std::min(paper.width_mm, paper.height_mm), std::max(paper.width_mm, paper.height_mm)),
      QPageSize::Millimeter, QString(), QPageSize::FuzzyMatch);
}

}  // namespace

PrintCommands::PrintCommands(settings::UserSettings* user, JobRunner* runner, QWidget* window)
    : QObject(window), user_(user), runner_(runner), window_(window) {}

PrintCommands::~PrintCommands() = default;

std::vector<webalbum::TemplateInfo> PrintCommands::InstalledTemplates() const {
  return print::ListPrintTemplates(
      print::PrintTemplateFolders(QCoreApplication::applicationDirPath().toStdString(),
                                  settings::FindUserFolders(settings::ProcessEnvironment()).data));
}

const print::PrintTemplate* PrintCommands::print_template() {
  if (!template_) {
    const std::filesystem::path path =
        print::DefaultPrintTemplate(user_->settings.print_template_path, InstalledTemplates());
    if (path.empty()) {
      emit Failed(tr("No print templates are installed."));
      return nullptr;
    }
    if (!UseTemplate(QString::fromStdString(path.string()))) return nullptr;
  }
  return template_.get();
}

bool PrintCommands::UseTemplate(const QString& path) {
  auto loaded = std::make_shared<print::PrintTemplate>();
  if (loaded->Load(path.toStdString()) != platform::kOk) {
    emit Failed(FromUtf8(loaded->last_error()));
    return false;
  }
  template_ = std::move(loaded);
  const std::string absolute = QFileInfo(path).absoluteFilePath().toStdString();
  if (user_->settings.print_template_path != absolute) {
    user_->settings.print_template_path = absolute;
    if (!settings::SaveUserSettings(user_)) emit Failed(FromUtf8(user_->backend->LastError()));
  }
  ApplyTemplatePaper(true);
  return true;
}

QPrinter* PrintCommands::printer() {
  if (!printer_) {
    printer_ = std::make_unique<QPrinter>(QPrinter::HighResolution);
    const int32_t flags = user_->settings.print_flags;
    printer_->setColorMode(flags & kPrintInColor ? QPrinter::Color : QPrinter::GrayScale);
    printer_->setPageOrientation(flags & kPrintLandscape ? QPageLayout::Landscape
                                                         : QPageLayout::Portrait);
    printer_->setFullPage(true);
    ApplyTemplatePaper(false);
  }
  return printer_.get();
}

void PrintCommands::ApplyTemplatePaper(bool turn) {
  if (!printer_ || !template_ || !(user_->settings.print_flags & kPrintOnTemplatePaper)) return;
  printer_->setPageSize(TemplatePageSize(*template_));
  if (turn) {
    const print::PaperSetup& paper = template_->paper();
    printer_->setPageOrientation(paper.width_mm > paper.height_mm ? QPageLayout::Landscape
                                                                  : QPageLayout::Portrait);
  }
}

void PrintCommands::KeepFlags() {
  if (!printer_) return;
  int32_t flags = user_->settings.print_flags & ~kKnownFlags;
  if (printer_->colorMode() == QPrinter::Color) flags |= kPrintInColor;
  if (printer_->pageLayout().orientation() == QPageLayout::Landscape) flags |= kPrintLandscape;
  if (template_ && printer_->pageLayout().pageSize().isEquivalentTo(TemplatePageSize(*template_))) {
    flags |= kPrintOnTemplatePaper;
  }
  if (flags == user_->settings.print_flags) return;
  user_->settings.print_flags = flags;
  if (!settings::SaveUserSettings(user_)) emit Failed(FromUtf8(user_->backend->LastError()));
}

QWidget* PrintCommands::TemplatePage(QWidget* parent) {
  auto* page = new QWidget(parent);
  page->setWindowTitle(tr("Template"));
  auto* chooser = new TemplateChooser(InstalledTemplates(), FromUtf8(template_->path().string()));
  auto* form = new QFormLayout(page);
  form->addRow(tr("&Template:"), chooser);
  connect(chooser, &TemplateChooser::Chosen, this, [this, chooser](const QString& path) {
    if (!UseTemplate(path)) chooser->SetPath(FromUtf8(template_->path().string()));
  });
  return page;
}

void PrintCommands::ShowPreview(album::Album& album) {
  if (preview_ || !print_template()) return;
  previewed_ = std::make_shared<const PrintAlbum>(TakePrintAlbum(album));
  print_from_preview_ = false;
  preview_ = new QPrintPreviewDialog(printer(), window_);
  preview_->setAttribute(Qt::WA_DeleteOnClose);
  preview_->setWindowTitle(tr("Print Preview - %1").arg(FromUtf8(album.title())));
  preview_photos_ = new PreviewPhotos(preview_);
  auto* refresh = new QTimer(preview_);
  refresh->setSingleShot(true);
  refresh->setInterval(kPreviewRefreshMs);
  auto* widget = preview_->findChild<QPrintPreviewWidget*>();
  connect(preview_photos_, &PreviewPhotos::Ready, refresh, qOverload<>(&QTimer::start));
  connect(refresh, &QTimer::timeout, widget, &QPrintPreviewWidget::updatePreview);

  // The template is chosen in the preview's own tool bar, where its effect shows at once.
  if (auto* tool_bar = preview_->findChild<QToolBar*>()) {
    auto* chooser = new TemplateChooser(InstalledTemplates(), FromUtf8(template_->path().string()));
    tool_bar->addSeparator();
    tool_bar->addWidget(new QLabel(tr("Template:"), tool_bar));
    tool_bar->addWidget(chooser);
    connect(chooser, &TemplateChooser::Chosen, this, [this, chooser, widget](const QString& path) {
      if (!UseTemplate(path)) {
        chooser->SetPath(FromUtf8(template_->path().string()));
        return;
      }
      preview_photos_->Clear();
      widget->updatePreview();
    });
  }
  connect(preview_, &QPrintPreviewDialog::paintRequested, this, &PrintCommands::PaintPreview);
  connect(preview_, &QDialog::finished, this, [this](int result) {
    KeepFlags();
    if (result == QDialog::Accepted && print_from_preview_) StartJob(previewed_);
    previewed_.reset();
  });
  preview_->open();
}

void PrintCommands::PaintPreview(QPrinter* target) {
  if (!template_ || !previewed_) return;
  // The preview's own Print button asks for the pages on the printer itself: they are printed
  // as a job once the preview has closed, with the photos at the printer's resolution.
  if (target->paintEngine() == nullptr || target->paintEngine()->type() != QPaintEngine::Picture) {
    print_from_preview_ = true;
    return;
  }
  target->setFullPage(true);
  const std::vector<print::PageLayout> pages = LayOutForPrinter(*target, *template_, *previewed_);
  const int dpi = PreviewDpi(pages);
  QPainter painter(target);
  for (size_t k = 0; k < pages.size(); ++k) {
    if (k > 0) target->newPage();
    PaintPage(painter, pages[k], [&](size_t, const print::PlacedPhoto& placed) {
      return preview_photos_->Get(placed.photo, previewed_->files[placed.photo], placed.placed,
                                  dpi);
    });
  }
}

void PrintCommands::ShowPrintDialog(album::Album& album) {
  if (!print_template()) return;
  auto printed = std::make_shared<const PrintAlbum>(TakePrintAlbum(album));
  auto* dialog = new QPrintDialog(printer(), window_);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setOptionTabs({TemplatePage(dialog)});
  dialog->setMinMax(1, print::CountPages(*template_, static_cast<int>(printed->files.size())));
  connect(dialog, &QDialog::accepted, this, [this, printed] {
    KeepFlags();
    StartJob(printed);
  });
  dialog->open();
}

void PrintCommands::ShowPageSetup() {
  print_template();  // the paper follows it until another is chosen
  QDialog* dialog = printer()->outputFormat() == QPrinter::NativeFormat
                        ? static_cast<QDialog*>(new QPageSetupDialog(printer(), window_))
                        : new PaperDialog(printer(), window_);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(dialog, &QDialog::accepted, this, &PrintCommands::KeepFlags);
  dialog->open();
}

bool PrintCommands::Print(album::Album& album) {
  if (!print_template()) return false;
  return StartJob(std::make_shared<const PrintAlbum>(TakePrintAlbum(album)));
}

bool PrintCommands::StartJob(std::shared_ptr<const PrintAlbum> printed) {
  if (!printed || !template_) return false;
  QPrinter* target = printer();
  auto error = std::make_shared<std::string>();
  const std::shared_ptr<const print::PrintTemplate> used = template_;
  const QString title = FromUtf8(printed->title);
  const QString where = target->outputFileName();
  return runner_->Start(
      tr("Printing..."),
      [target, used, printed, error](platform::ProgressSink& progress) {
        return PrintOnPrinter(*target, *used, *printed, progress, error.get());
      },
      [this, error, title, where](platform::ResultCode result) {
        if (result == platform::kFailed) {
          emit Failed(FromUtf8(*error));
        } else if (result == platform::kOk) {
          emit Printed(
              where.isEmpty()
                  ? tr("\"%1\" was sent to the printer.").arg(title)
                  : tr("\"%1\" was printed to %2.").arg(title, QDir::toNativeSeparators(where)));
        }
      });
}

}  // namespace quorvane::app::printing
