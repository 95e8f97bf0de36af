// The File menu's printing commands: "&Print with Preview", "&Print..." and "P&rint Setup...".
// The printer and its set-up stay for the session; the template is kept in
// "print.template_path" and what fits of the set-up in "print.flags". Printing runs as a job of
// the main frame's job runner, with its progress window and Cancel.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <QObject>
#include <QPointer>
#include <QPrintPreviewDialog>
#include <QString>

#include "album/album.h"
#include "app/printing/preview_photos.h"
#include "print/print_template.h"
#include "webalbum/design_template.h"

class QPrinter;
class QWidget;

namespace quorvane::settings {
struct UserSettings;
}  // namespace quorvane::settings

namespace quorvane::app {
class JobRunner;
}  // namespace quorvane::app

namespace quorvane::app::printing {

struct PrintAlbum;

// The bits of "print.flags"; the default 5 prints in colour on the template's paper, upright.
enum PrintFlag : int32_t {
  kPrintInColor = 1,
  kPrintLandscape = 2,
  kPrintOnTemplatePaper = 4,  // the paper follows the template; cleared by choosing another
};

class PrintCommands : public QObject {
  Q_OBJECT
 public:
  // `user` and `runner` outlive this; dialogs belong to `window`.
  PrintCommands(settings::UserSettings* user, JobRunner* runner, QWidget* window);
  ~PrintCommands() override;

  // The commands, on the current album (only read, and copied before anything runs).
  void ShowPreview(album::Album& album);
  void ShowPrintDialog(album::Album& album);
  void ShowPageSetup();
  // Prints `album` on the session's printer as it is set up now, as a job of the runner; false
  // when it cannot start (no template, or a job runs).
  bool Print(album::Album& album);

  // The session's printer, made on first use with the options of "print.flags".
  QPrinter* printer();
  // The open preview, or null.
  QPrintPreviewDialog* preview_dialog() const { return preview_; }
  // The template printed with, loaded on first use; null when none could be.
  const print::PrintTemplate* print_template();

 signals:
  // A message for the user ("Quorvane" message box).
  void Failed(const QString& message);
  // A print ended well; the text is for the status bar.
  void Printed(const QString& message);

 private:
  std::vector<webalbum::TemplateInfo> InstalledTemplates() const;
  // Loads `path` as the template printed with and remembers it; false (message sent) when it
  // does not load.
  bool UseTemplate(const QString& path);
  // The template's paper on the printer, when the paper follows the template; `turn` turns it
  // as the template stands too (a template just chosen), else the kept orientation holds.
  void ApplyTemplatePaper(bool turn);
  // Keeps what fits of the printer's set-up in "print.flags".
  void KeepFlags();
  void PaintPreview(QPrinter* target);
  bool StartJob(std::shared_ptr<const PrintAlbum> printed);
  QWidget* TemplatePage(QWidget* parent);

  settings::UserSettings* user_;
  JobRunner* runner_;
  QWidget* window_;
  std::unique_ptr<QPrinter> printer_;
  std::shared_ptr<const print::PrintTemplate> template_;
  QPointer<QPrintPreviewDialog> preview_;
  QPointer<PreviewPhotos> preview_photos_;
  std::shared_ptr<const PrintAlbum> previewed_;
  bool print_from_preview_ = false;
};

}  // namespace quorvane::app::printing
