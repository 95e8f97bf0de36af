// Choosing the print template: the installed templates by name, and any template file the user
// picks ("Other Template File..."), which then stays in the list. Shown in the print preview's
// tool bar and on a page of its own in the print dialog.
#pragma once

#include <string>
#include <vector>

#include <QComboBox>

#include "webalbum/design_template.h"

namespace quorvane::app::printing {

class TemplateChooser : public QComboBox {
  Q_OBJECT
 public:
  TemplateChooser(const std::vector<webalbum::TemplateInfo>& installed, const QString& current,
                  QWidget* parent = nullptr);

  // The chosen template file.
  QString path() const;
  // Shows `path` as chosen, adding it to the list when it is not there yet.
  void SetPath(const QString& path);

 signals:
  // The user chose another template.
  void Chosen(const QString& path);

 private:
  void OnActivated(int index);
  int other_index() const { return count() - 1; }

  int last_ = -1;  // where to go back to when the file dialog is cancelled
};

}  // namespace quorvane::app::printing
