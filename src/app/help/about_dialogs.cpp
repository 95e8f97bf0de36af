#include "app/help/about_dialogs.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFile>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace quorvane::app::help {
namespace {

constexpr char kReleaseNotesResource[] = ":/quorvane/help/release_notes.html";

QString ResourceText(const char* path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString Credit(const QString& library, const QString& use, const QString& licence) {
  return QStringLiteral(
             "<tr><td>%1&nbsp;&nbsp;</td><td>%2&nbsp;&nbsp;</td>"
             "<td><i>%3</i></td></tr>")
      .arg(library, use, licence);
}

}  // namespace

QString ProgramVersion() {
  const QString running = QApplication::applicationVersion();
  return running.isEmpty() ? QStringLiteral(QUORVANE_APP_VERSION) : running;
}

ReleaseNotesDialog::ReleaseNotesDialog(QWidget* parent) : QDialog(parent) {
  setWindowTitle(tr("Release Notes"));
  setObjectName("ReleaseNotes");
  browser_ = new QTextBrowser(this);
  // The notes are the program's own page: nothing in them is for a web browser to open.
  browser_->setOpenLinks(false);
  QString notes = ResourceText(kReleaseNotesResource);
  notes.replace("{VERSION}", ProgramVersion().toHtmlEscaped());
  browser_->setHtml(notes);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(browser_, 1);
  layout->addWidget(buttons);
  resize(620, 560);
}

AboutBox::AboutBox(QWidget* parent) : QDialog(parent) {
  setWindowTitle(tr("About Quorvane"));
  setObjectName("AboutQuorvane");
  auto* icon = new QLabel(this);
  icon->setPixmap(QIcon(":/quorvane/quorvane.svg").pixmap(96, 96));
  icon->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
  auto* name = new QLabel(this);
  name->setTextFormat(Qt::RichText);
  name->setText(QStringLiteral("<span style=\"font-size:20pt; font-weight:600\">Quorvane</span>"
                               "&nbsp;&nbsp;<span style=\"font-size:12pt\">%1</span>")
                    .arg(tr("version %1").arg(ProgramVersion().toHtmlEscaped())));
  text_ = new QLabel(this);
  text_->setTextFormat(Qt::RichText);
  text_->setWordWrap(true);
  text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  text_->setText(
      "<p>" +
      tr("A photo album manager: gather your photos into albums, correct them with unlimited "
         "undo, find them again by caption and keyword, and share them as web albums, by "
         "e-mail, as archives and on paper.") +
      "</p><p><b>" + tr("Built with") + "</b></p><table cellspacing=\"3\">" +
      Credit("Qt " + QString::fromLatin1(qVersion()), tr("windows and dialogs"), "LGPL 3") +
      Credit("libvips", tr("reading, scaling and writing photos"), "LGPL 2.1") +
      Credit("libzip", tr("album archives"), tr("BSD licence")) +
      Credit("zlib", tr("compression"), tr("zlib licence")) + "</table><p>" +
      tr("Copyright &copy; 2026 the Quorvane developers. Each library is used under its own "
         "licence, whose text comes with it.") +
      "</p>");
  // A wrapped label asks for too little height on its own: give it what its width needs.
  text_->setFixedWidth(420);
  text_->setMinimumHeight(text_->heightForWidth(420));
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  auto* words = new QVBoxLayout;
  words->addWidget(name);
  words->addWidget(text_, 1);
  auto* top = new QHBoxLayout;
  top->setSpacing(20);
  top->addWidget(icon, 0, Qt::AlignTop);
  top->addLayout(words, 1);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(20, 20, 20, 12);
  layout->addLayout(top, 1);
  layout->addWidget(buttons);
}

QString AboutBox::text() const { return text_->text(); }

}  // namespace quorvane::app::help
