// Print set-up where there is no system printer to ask, so printing goes to PDF files only:
// Qt's own page set-up dialog serves system printers alone, but the paper and how it is turned
// still matter for the file.
#pragma once

#include <QDialog>

class QComboBox;
class QPrinter;
class QRadioButton;

namespace quorvane::app::printing {

class PaperDialog : public QDialog {
  Q_OBJECT
 public:
  // Shows `printer`'s paper and orientation; OK sets the chosen ones on it.
  PaperDialog(QPrinter* printer, QWidget* parent);

  QComboBox* paper() const { return paper_; }
  QRadioButton* landscape() const { return landscape_; }

  void accept() override;

 private:
  QPrinter* printer_;
  QComboBox* paper_;
  QRadioButton* portrait_;
  QRadioButton* landscape_;
};

}  // namespace quorvane::app::printing
