#include "app/printing/paper_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QPrinter>
#include <QRadioButton>
#include <QVBoxLayout>

namespace quorvane::app::printing {
namespace {

constexpr QPageSize::PageSizeId kPapers[] = {QPageSize::A3,
                                             QPageSize::A4,
                                             QPageSize::A5,
                                             QPageSize::B5,
                                             QPageSize::Letter,
                                             QPageSize::Legal,
                                             QPageSize::ExecutiveStandard,
                                             QPageSize::Tabloid};

}  // namespace

PaperDialog::PaperDialog(QPrinter* printer, QWidget* parent)
    : QDialog(parent),
      printer_(printer),
      paper_(new QComboBox(this)),
      portrait_(new QRadioButton(tr("P&ortrait"), this)),
      landscape_(new QRadioButton(tr("&Landscape"), this)) {
  setWindowTitle(tr("Print Setup"));
  const QPageLayout layout = printer->pageLayout();
  for (const QPageSize::PageSizeId id : kPapers) {
    paper_->addItem(QPageSize::name(id), QVariant::fromValue(QPageSize(id)));
  }
  // A size of the template's own stays on offer.
  int current = paper_->findText(layout.pageSize().name());
  if (current < 0) {
    paper_->addItem(layout.pageSize().name(), QVariant::fromValue(layout.pageSize()));
    current = paper_->count() - 1;
  }
  paper_->setCurrentIndex(current);
  (layout.orientation() == QPageLayout::Landscape ? landscape_ : portrait_)->setChecked(true);

  auto* form = new QFormLayout;
  form->addRow(tr("Paper &size:"), paper_);
  auto* turn = new QVBoxLayout;
  turn->addWidget(portrait_);
  turn->addWidget(landscape_);
  form->addRow(tr("Orientation:"), turn);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* column = new QVBoxLayout(this);
  column->addLayout(form);
  column->addWidget(buttons);
}

void PaperDialog::accept() {
  printer_->setPageSize(paper_->currentData().value<QPageSize>());
  printer_->setPageOrientation(landscape_->isChecked() ? QPageLayout::Landscape
                                                       : QPageLayout::Portrait);
  QDialog::accept();
}

}  // namespace quorvane::app::printing
