#include "app/html_pane.h"

#include <algorithm>

#include <QAction>
#include <QIcon>
#include <QStyle>
#include <QTextDocument>

#include "app/link_router.h"

namespace quorvane::app {

HtmlPane::HtmlPane(QWidget* parent) : QTextBrowser(parent), router_(new LinkRouter(this)) {
  setOpenLinks(false);
  setOpenExternalLinks(false);
  back_ = new QAction(QIcon::fromTheme("go-previous", style()->standardIcon(QStyle::SP_ArrowBack)),
                      tr("Back"), this);
  forward_ =
      new QAction(QIcon::fromTheme("go-next", style()->standardIcon(QStyle::SP_ArrowForward)),
                  tr("Forward"), this);
  connect(back_, &QAction::triggered, router_, [this] { router_->Follow("history:previous"); });
  connect(forward_, &QAction::triggered, router_, [this] { router_->Follow("history:next"); });
  auto update_history = [this] {
    back_->setEnabled(router_->CanGoBack());
    forward_->setEnabled(router_->CanGoForward());
  };
  update_history();
  connect(router_, &LinkRouter::HistoryChanged, this, update_history);
  connect(router_, &LinkRouter::PageShown, this, [this](const QString& html, const QUrl& base) {
    base_ = base;
    setHtml(html);
    FitHeight();
  });
  // The link as the page wrote it: the pane has no source that would resolve it.
  connect(this, &QTextBrowser::anchorClicked, router_,
          [this](const QUrl& link) { router_->Follow(link.toString()); });
}

void HtmlPane::FitHeightToPage(int max_lines) {
  max_lines_ = max_lines;
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  FitHeight();
}

void HtmlPane::FitHeight() {
  if (max_lines_ <= 0) return;
  document()->setTextWidth(viewport()->width());
  const int page = static_cast<int>(document()->size().height()) + 2 * frameWidth();
  setFixedHeight(std::min(page, fontMetrics().lineSpacing() * max_lines_));
}

void HtmlPane::resizeEvent(QResizeEvent* event) {
  QTextBrowser::resizeEvent(event);
  FitHeight();
}

QVariant HtmlPane::loadResource(int type, const QUrl& name) {
  if (name.isRelative() && base_.isValid()) {
    return QTextBrowser::loadResource(type, base_.resolved(name));
  }
  return QTextBrowser::loadResource(type, name);
}

}  // namespace quorvane::app
