#include "app/printing/template_chooser.h"

#include <QFileDialog>
#include <QFileInfo>

namespace quorvane::app::printing {

TemplateChooser::TemplateChooser(const std::vector<webalbum::TemplateInfo>& installed,
                                 const QString& current, QWidget* parent)
    : QComboBox(parent) {
  setObjectName("PrintTemplateChooser");
  for (const auto& info : installed) {
    addItem(QString::fromStdString(info.name), QString::fromStdString(info.path));
  }
  addItem(tr("Other Template File..."));
  SetPath(current);
  connect(this, &QComboBox::activated, this, &TemplateChooser::OnActivated);
}

QString TemplateChooser::path() const { return currentData().toString(); }

void TemplateChooser::SetPath(const QString& path) {
  if (path.isEmpty()) return;
  const QString wanted = QFileInfo(path).absoluteFilePath();
  for (int i = 0; i < other_index(); ++i) {
    if (QFileInfo(itemData(i).toString()).absoluteFilePath() == wanted) {
      setCurrentIndex(last_ = i);
      return;
    }
  }
  insertItem(other_index(), QFileInfo(path).completeBaseName(), path);
  setItemData(other_index() - 1, path, Qt::ToolTipRole);
  setCurrentIndex(last_ = other_index() - 1);
}

void TemplateChooser::OnActivated(int index) {
  if (index != other_index()) {
    if (index != last_) {
      last_ = index;
      emit Chosen(path());
    }
    return;
  }
  const QString file = QFileDialog::getOpenFileName(
      this, tr("Print Template"), QFileInfo(itemData(last_).toString()).absolutePath(),
      tr("Print Templates (*.qvoprnt)"));
  if (file.isEmpty()) {
    setCurrentIndex(last_);
    return;
  }
  SetPath(file);
  emit Chosen(path());
}

}  // namespace quorvane::app::printing
