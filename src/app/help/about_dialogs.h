// The two "what is this program" windows of the Help menu: the release notes of this version
// (an HTML page built into the program, shown in a text browser) and the About box with the
// version, what the program is for, the libraries it is built on and their licences.
#pragma once

#include <QDialog>
#include <QString>

class QLabel;
class QTextBrowser;

namespace quorvane::app::help {

// The running program's version ("0.1.0").
QString ProgramVersion();

class ReleaseNotesDialog : public QDialog {
  Q_OBJECT
 public:
  explicit ReleaseNotesDialog(QWidget* parent);
  QTextBrowser* browser() const { return browser_; }

 private:
  QTextBrowser* browser_;
};

class AboutBox : public QDialog {
  Q_OBJECT
 public:
  explicit AboutBox(QWidget* parent);
  // The text under the program's name: version, description, credits and licences.
  QString text() const;

 private:
  QLabel* text_;
};

}  // namespace quorvane::app::help
