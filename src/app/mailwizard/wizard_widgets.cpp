#include "app/mailwizard/wizard_widgets.h"

#include <QApplication>
#include <QFrame>
#include <QLabel>
#include <QPalette>
#include <QTextBrowser>

#include "mail/workflow/mail_fragments.h"

namespace quorvane::app {

QTextBrowser* NewFragmentView(QWidget* parent) {
  auto* view = new QTextBrowser(parent);
  view->setFrameShape(QFrame::NoFrame);
  view->setOpenLinks(false);
  view->setFocusPolicy(Qt::NoFocus);
  view->setTextInteractionFlags(Qt::TextSelectableByMouse);
  // The fragments are part of the page, not a document in a box.
  QPalette palette = view->palette();
  palette.setColor(QPalette::Base, palette.color(QPalette::Window));
  view->setPalette(palette);
  view->viewport()->setAutoFillBackground(false);
  view->document()->setDefaultStyleSheet(
      "td { padding: 2px 18px 2px 0; } p { margin-bottom: 8px; }");
  return view;
}

void ShowFragment(QTextBrowser* view, std::string_view html) {
  const std::string family = QApplication::font().family().toStdString();
  view->setHtml(QString::fromStdString(mail::WizardPage(html, family)));
}

QLabel* NewStatusLabel(QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setWordWrap(true);
  label->setTextFormat(Qt::PlainText);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  label->hide();
  return label;
}

void SetStatusLines(QLabel* label, const QStringList& lines, qsizetype marked_from, bool error) {
  QString html;
  for (qsizetype i = 0; i < lines.size(); ++i) {
    const QString line = lines[i].toHtmlEscaped();
    if (i < marked_from) {
      html += line;
    } else if (error) {
      html += "<span style=\"color: #b3261e; font-weight: bold\">" + line + "</span>";
    } else {
      html += "<b>" + line + "</b>";
    }
    if (i + 1 < lines.size()) html += "<br>";
  }
  label->setTextFormat(Qt::RichText);
  label->setStyleSheet(QString());
  // The texts keep their spacing ("Done!  Your ...").
  label->setText("<div style=\"white-space: pre-wrap\">" + html + "</div>");
  label->setVisible(!lines.isEmpty());
}

void SetStatus(QLabel* label, const QString& text, bool error) {
  label->setTextFormat(Qt::PlainText);
  label->setText(text);
  label->setVisible(!text.isEmpty());
  label->setStyleSheet(error ? "color: #b3261e; font-weight: bold" : QString());
}

}  // namespace quorvane::app
