// What a click on a link of an HTML pane does. Every link is the program's own business, never
// a browser's: pages from files and from the program's resources, the pane's history, the
// album and photo description editors, previous/next photo and any named command. The pane
// widget only shows what the router says and hands it the links clicked, so tests drive the
// router without painting anything.
#pragma once

#include <functional>
#include <map>
#include <vector>

#include <QObject>
#include <QString>
#include <QUrl>

namespace quorvane::app {

class LinkRouter : public QObject {
  Q_OBJECT
 public:
  // The id of the command a "command:" name stands for in the owning view, or 0 when the
  // view has none by that name.
  using NamedCommands = std::function<int(const QString& name)>;

  explicit LinkRouter(QObject* parent = nullptr);

  void set_named_commands(NamedCommands lookup) { named_commands_ = std::move(lookup); }
  // Values of the "{NAME}" placeholders of "res:home" and "res:#" pages, read at each load.
  using Placeholders = std::function<std::map<QString, QString>()>;
  void set_placeholders(Placeholders placeholders) { placeholders_ = std::move(placeholders); }

  // Carries out `link` as the table of links says. False, with Failed emitted, for a link
  // that names nothing the program has (an unknown resource or command, a file it cannot
  // read, another scheme); nothing is shown then and the history stays as it was.
  bool Follow(const QString& link);

  // Shows a page the program made (a header), as `location`. Showing the same location again
  // replaces the page in place, so a header that is rebuilt does not fill the history.
  void Show(const QString& location, const QString& html);

  bool CanGoBack() const { return current_ > 0; }
  bool CanGoForward() const { return current_ + 1 < static_cast<int>(pages_.size()); }
  // Where the pane is (the link or location of the page shown), and the page's HTML.
  QString location() const;
  QString html() const;

 signals:
  // The pane is to show `html`; `base` is where relative names in it are found.
  void PageShown(const QString& html, const QUrl& base);
  // The command is to run once the click is over (connect queued: links post commands).
  void CommandPosted(int id);
  // "show_description": the album header is to be built again with the description.
  void DescriptionRequested();
  // "navigate:prev" / "navigate:next": -1 or +1.
  void NavigateRequested(int step);
  void Failed(const QString& message);
  // The history moved or grew (the Back and Forward buttons follow it).
  void HistoryChanged();

 private:
  struct Page {
    QString location;
    QString html;
    QUrl base;
  };
  bool LoadFile(const QString& link);
  bool LoadResource(const QString& link);
  bool Go(int step);
  void Push(Page page);
  void ShowCurrent();
  Page& Current();
  const Page& Current() const;
  bool Fail(const QString& message);

  NamedCommands named_commands_;
  Placeholders placeholders_;
  std::vector<Page> pages_;
  int current_ = -1;
};

}  // namespace quorvane::app
