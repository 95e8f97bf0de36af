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

void SetStatus(QLabel* label, const QString& text, bool error) {
  label->setText(text);
  label->setVisible(!text.isEmpty());
  label->setStyleSheet(error ? "color: #b3261e; font-weight: bold" : QString());
}

}  // namespace quorvane::app
