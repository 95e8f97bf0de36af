// The search pane's result list: one row per found photo, labelled with its caption (or file
// name), with the album thumbnail beside it and the result's info text as tool tip. Rows are
// what the results file keeps; a drag or a copy carries each row's reference text under
// "Quorvane_SearchResultItemRef" (and as plain text).
#pragma once

#include <vector>

#include <QAbstractListModel>
#include <QPixmap>

#include "search/search_results.h"

namespace quorvane::app {

class SearchResultsModel : public QAbstractListModel {
  Q_OBJECT
 public:
  struct Row {
    search::SearchResultRow row;  // label and reference text, as the results file keeps them
    QString tool_tip;             // empty until known (rows read from the results file)
    std::string image_file;       // the photo's file in its album; empty until known
    QPixmap thumbnail;            // null until loaded
  };

  explicit SearchResultsModel(QSize icon_size, QObject* parent = nullptr);

  void Clear();
  void Append(std::vector<Row> rows);
  // Fills in what a worker learned about row `index` (an unknown tool tip stays empty).
  void SetDetails(int index, const QString& tool_tip, const QImage& thumbnail);
  const Row& row(int index) const { return rows_[static_cast<size_t>(index)]; }
  std::vector<search::SearchResultRow> Rows() const;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  Qt::DropActions supportedDragActions() const override;

 private:
  QSize icon_size_;
  QPixmap placeholder_;
  std::vector<Row> rows_;
};

}  // namespace quorvane::app
