// Small pieces the e-mail wizard's pages share: the HTML view that shows the resource
// fragments in the system's GUI font, and the status line in which every message appears.
#pragma once

#include <string_view>

#include <QString>
#include <QStringList>

class QLabel;
class QTextBrowser;
class QWidget;

namespace quorvane::app {

inline QString FromView(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// A borderless, read-only HTML view on the page's own background.
QTextBrowser* NewFragmentView(QWidget* parent);
// Shows `html` (a fragment of resources/mail) wrapped as a wizard page in the GUI font.
void ShowFragment(QTextBrowser* view, std::string_view html);

// A word-wrapped status line, hidden while empty.
QLabel* NewStatusLabel(QWidget* parent);
// Errors in the palette's error colour, other texts in the normal one.
void SetStatus(QLabel* label, const QString& text, bool error);
// A step's status texts, one a line, those from `marked_from` on standing out: in the error
// colour after a failure, in bold after success.
void SetStatusLines(QLabel* label, const QStringList& lines, qsizetype marked_from, bool error);

}  // namespace quorvane::app
