#include "app/album_view.h"

#include <algorithm>

#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QStyledItemDelegate>

#include "app/album_model.h"

namespace quorvane::app {
namespace {

constexpr int kCaptionLines = 1;
constexpr int kSpacing = 6;

// Draws the thumbnail centred on white in the album's cell, the caption elided below it.
class CellDelegate : public QStyledItemDelegate {
 public:
  explicit CellDelegate(AlbumModel* model, QObject* parent)
      : QStyledItemDelegate(parent), model_(model) {}

  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
    const QSize cell = model_->cell_size();
    return {cell.width() + 4, cell.height() + 6 + option.fontMetrics.height() * kCaptionLines};
  }

  // A thumbnail arriving while a caption is typed changes the cell's data; the typing stays.
  void setEditorData(QWidget* editor, const QModelIndex& index) const override {
    if (auto* line = qobject_cast<QLineEdit*>(editor); line && line->isModified()) return;
    QStyledItemDelegate::setEditorData(editor, index);
  }

  // The caption is typed in place, over the caption line.
  void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                            const QModelIndex&) const override {
    const int top = option.rect.top() + model_->cell_size().height() + 4;
    editor->setGeometry(option.rect.left(), top, option.rect.width(),
                        std::max(editor->sizeHint().height(), option.rect.bottom() + 1 - top));
  }

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    painter->save();
    const QSize cell = model_->cell_size();
    const QRect area(option.rect.left() + (option.rect.width() - cell.width()) / 2,
                     option.rect.top() + 2, cell.width(), cell.height());
    const bool selected = option.state & QStyle::State_Selected;
    if (selected) painter->fillRect(area.adjusted(-2, -2, 2, 2), option.palette.highlight());
    painter->fillRect(area, Qt::white);
    const QPixmap thumbnail = index.data(Qt::DecorationRole).value<QPixmap>();
    if (!thumbnail.isNull()) {
      const QSize size = thumbnail.deviceIndependentSize().toSize();
      painter->drawPixmap(area.left() + (area.width() - size.width()) / 2,
                          area.top() + (area.height() - size.height()) / 2, thumbnail);
    }
    painter->setPen(option.palette.mid().color());
    painter->drawRect(area.adjusted(0, 0, -1, -1));
    const QRect caption(option.rect.left(), area.bottom() + 4, option.rect.width(),
                        option.fontMetrics.height());
    painter->setPen(selected ? option.palette.highlightedText().color()
                             : option.palette.text().color());
    if (selected) painter->fillRect(caption, option.palette.highlight());
    painter->drawText(caption, Qt::AlignHCenter | Qt::AlignVCenter,
                      option.fontMetrics.elidedText(index.data().toString(), Qt::ElideRight,
                                                    caption.width() - 4));
    if (option.state & QStyle::State_HasFocus) {
      painter->setPen(QPen(option.palette.highlight().color(), 1, Qt::DotLine));
      painter->drawRect(option.rect.adjusted(0, 0, -1, -1));
    }
    painter->restore();
  }

 private:
  AlbumModel* model_;
};

}  // namespace

AlbumView::AlbumView(AlbumModel* model, QWidget* parent) : QListView(parent), model_(model) {
  setObjectName("AlbumView");
  setModel(model);
  setItemDelegate(new CellDelegate(model, this));
  setViewMode(QListView::IconMode);
  setResizeMode(QListView::Adjust);
  setMovement(QListView::Static);
  setUniformItemSizes(true);
  setSpacing(kSpacing);
  setSelectionMode(QAbstractItemView::ExtendedSelection);
  setDragEnabled(true);
  setAcceptDrops(true);
  // Drags arrive at the viewport; the scroll area itself passes them over.
  viewport()->setAcceptDrops(true);
  setDropIndicatorShown(true);
  setDragDropMode(QAbstractItemView::DragDrop);
  setDefaultDropAction(Qt::MoveAction);
  setWordWrap(false);
  // F2 edits the caption; a double-click opens the photo.
  setEditTriggers(QAbstractItemView::EditKeyPressed);
  connect(this, &QListView::activated, this,
          [this](const QModelIndex& index) { emit OpenRequested(index.row()); });
}

std::vector<size_t> AlbumView::SelectedPositions() const {
  std::vector<size_t> positions;
  for (const QModelIndex& index : selectionModel()->selectedIndexes()) {
    positions.push_back(static_cast<size_t>(index.row()));
  }
  std::sort(positions.begin(), positions.end());
  return positions;
}

void AlbumView::UpdateCellSize() { doItemsLayout(); }

void AlbumView::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Delete && event->modifiers() == Qt::NoModifier) {
    emit RemoveRequested();
    return;
  }
  QListView::keyPressEvent(event);
}

}  // namespace quorvane::app
