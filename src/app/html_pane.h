// An HTML pane: a QTextBrowser that shows what its LinkRouter says and hands it every link
// clicked (links never leave the program), with Back and Forward actions over the pane's
// history for a tool bar.
#pragma once

#include <QTextBrowser>
#include <QUrl>

class QAction;

namespace quorvane::app {

class LinkRouter;

class HtmlPane : public QTextBrowser {
  Q_OBJECT
 public:
  explicit HtmlPane(QWidget* parent = nullptr);

  LinkRouter* router() const { return router_; }
  // Issue "history:previous" and "history:next"; enabled while there is a page that way.
  QAction* back_action() const { return back_; }
  QAction* forward_action() const { return forward_; }
  // A header pane: as high as its page, up to `max_lines` lines of text, never a scroll bar
  // over empty space.
  void FitHeightToPage(int max_lines);

 protected:
  // Pictures of a page from a file are found beside that file.
  QVariant loadResource(int type, const QUrl& name) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  LinkRouter* router_;
  QAction* back_;
  QAction* forward_;
  QUrl base_;
  int max_lines_ = 0;  // 0: the pane takes the height its layout gives it
  void FitHeight();
};

}  // namespace quorvane::app
