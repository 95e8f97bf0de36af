#include "app/search_pane_model.h"

#include <algorithm>

#include <QMimeData>
#include <QPainter>

namespace quorvane::app {

SearchResultsModel::SearchResultsModel(QSize icon_size, QObject* parent)
    : QAbstractListModel(parent), icon_size_(icon_size), placeholder_(icon_size) {
  placeholder_.fill(Qt::white);
  QPainter painter(&placeholder_);
  painter.setPen(QColor(220, 220, 220));
  painter.drawRect(0, 0, icon_size.width() - 1, icon_size.height() - 1);
}

void SearchResultsModel::Clear() {
  beginResetModel();
  rows_.clear();
  endResetModel();
}

void SearchResultsModel::Append(std::vector<Row> rows) {
  if (rows.empty()) return;
  const int first = rowCount();
  beginInsertRows({}, first, first + static_cast<int>(rows.size()) - 1);
  for (Row& row : rows) rows_.push_back(std::move(row));
  endInsertRows();
}

void SearchResultsModel::SetDetails(int index, const QString& tool_tip, const QImage& thumbnail) {
  if (index < 0 || index >= rowCount()) return;
  Row& row = rows_[static_cast<size_t>(index)];
  if (!tool_tip.isEmpty()) row.tool_tip = tool_tip;
  if (!thumbnail.isNull()) row.thumbnail = QPixmap::fromImage(thumbnail);
  const QModelIndex changed = this->index(index);
  emit dataChanged(changed, changed, {Qt::DecorationRole, Qt::ToolTipRole});
}

std::vector<search::SearchResultRow> SearchResultsModel::Rows() const {
  std::vector<search::SearchResultRow> rows;
  rows.reserve(rows_.size());
  for (const Row& row : rows_) rows.push_back(row.row);
  return rows;
}

int SearchResultsModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant SearchResultsModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const Row& row = rows_[static_cast<size_t>(index.row())];
  switch (role) {
    case Qt::DisplayRole:
      return QString::fromStdString(row.row.count);
    case Qt::DecorationRole:
      return row.thumbnail.isNull() ? placeholder_ : row.thumbnail;
    case Qt::ToolTipRole:
      return row.tool_tip.isEmpty() ? QString::fromStdString(row.row.path) : row.tool_tip;
    default:
      return {};
  }
}

Qt::ItemFlags SearchResultsModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) return Qt::NoItemFlags;
  return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

QStringList SearchResultsModel::mimeTypes() const {
  return {QString::fromUtf8(search::kSearchResultClipboardFormat.data(),
                            static_cast<qsizetype>(search::kSearchResultClipboardFormat.size())),
          "text/plain"};
}

QMimeData* SearchResultsModel::mimeData(const QModelIndexList& indexes) const {
  // One reference per line, in list order, whatever order the selection was made in.
  std::vector<int> chosen;
  for (const QModelIndex& index : indexes) {
    if (index.isValid() && index.row() < rowCount()) chosen.push_back(index.row());
  }
  std::sort(chosen.begin(), chosen.end());
  chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
  if (chosen.empty()) return nullptr;
  QByteArray text;
  for (int row : chosen) {
    if (!text.isEmpty()) text += '\n';
    text += QByteArray::fromStdString(rows_[static_cast<size_t>(row)].row.path);
  }
  auto* data = new QMimeData;
  data->setData(mimeTypes().front(), text);
  data->setText(QString::fromUtf8(text));
  return data;
}

Qt::DropActions SearchResultsModel::supportedDragActions() const { return Qt::CopyAction; }

}  // namespace quorvane::app
