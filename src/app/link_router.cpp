#include "app/link_router.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "app/command_table.h"
#include "app/html_resources.h"

namespace quorvane::app {

LinkRouter::LinkRouter(QObject* parent) : QObject(parent) {}

bool LinkRouter::Follow(const QString& link) {
  if (link.startsWith("file:")) return LoadFile(link);
  if (link.startsWith("res:")) return LoadResource(link);
  if (link.startsWith("history:")) {
    const QString where = link.mid(8);
    if (where == "back" || where == "previous") return Go(-1);
    if (where == "forward" || where == "next") return Go(+1);
    return Fail(tr("Unknown link %1").arg(link));
  }
  if (link == "properties") {
    emit CommandPosted(kCmdEditPhotoDescription);
    return true;
  }
  if (link == "gallery_properties") {
    emit CommandPosted(kCmdEditAlbumDescription);
    return true;
  }
  if (link == "show_description") {
    emit DescriptionRequested();
    return true;
  }
  if (link == "navigate:prev" || link == "navigate:next") {
    emit NavigateRequested(link == "navigate:next" ? 1 : -1);
    return true;
  }
  if (link.startsWith("command:")) {
    const int id = named_commands_ ? named_commands_(link.mid(8)) : 0;
    if (id == 0) return Fail(tr("Unknown command %1").arg(link.mid(8)));
    emit CommandPosted(id);
    return true;
  }
  // Web addresses included: the panes are the program's, and nothing opens a browser.
  return Fail(tr("Unknown link %1").arg(link));
}

bool LinkRouter::LoadFile(const QString& link) {
  QString path = link.startsWith("file://") ? QUrl(link).toLocalFile() : link.mid(5);
  // A relative name is taken from the folder of the file page shown.
  if (QFileInfo(path).isRelative() && current_ >= 0 && Current().base.isLocalFile()) {
    path = QDir(Current().base.toLocalFile()).filePath(path);
  }
  QFile file(path);
  if (path.isEmpty() || !file.open(QIODevice::ReadOnly)) {
    return Fail(tr("Unable to open %1").arg(path));
  }
  const QFileInfo info(path);
  Push({"file:" + info.absoluteFilePath(), QString::fromUtf8(file.readAll()),
        QUrl::fromLocalFile(info.absolutePath() + "/")});
  return true;
}

bool LinkRouter::LoadResource(const QString& link) {
  const QString name = link.mid(4);
  std::optional<QString> html;
  bool substitute = true;
  int number = 0;
  if (name == "home") {
    number = kHomePageResource;
  } else if (name.startsWith('#')) {
    bool ok = false;
    number = name.mid(1).toInt(&ok);
    if (!ok) return Fail(tr("There is no page %1").arg(name));
  } else {
    html = HtmlResource(name);
    substitute = false;
  }
  if (number != 0) html = HtmlResource(number);
  if (!html) return Fail(tr("There is no page %1").arg(name));
  if (substitute) {
    *html = SubstitutePlaceholders(*html,
                                   placeholders_ ? placeholders_() : std::map<QString, QString>{});
  }
  // One page, one location: "res:home" and "res:#233" are the same place in the history.
  Push({number != 0 ? QString("res:#%1").arg(number) : link, *html, QUrl("qrc:/quorvane/html/")});
  return true;
}

void LinkRouter::Show(const QString& location, const QString& html) {
  Push({location, html, QUrl()});
}

QString LinkRouter::location() const { return current_ >= 0 ? Current().location : QString(); }

QString LinkRouter::html() const { return current_ >= 0 ? Current().html : QString(); }

bool LinkRouter::Go(int step) {
  const int target = current_ + step;
  if (target < 0 || target >= static_cast<int>(pages_.size())) return false;
  current_ = target;
  ShowCurrent();
  emit HistoryChanged();
  return true;
}

void LinkRouter::Push(Page page) {
  // The page shown, shown again (a header rebuilt, Home twice): replaced, not stacked.
  if (current_ >= 0 && Current().location == page.location) {
    Current() = std::move(page);
    ShowCurrent();
    return;
  }
  pages_.erase(pages_.begin() + (current_ + 1), pages_.end());
  pages_.push_back(std::move(page));
  current_ = static_cast<int>(pages_.size()) - 1;
  ShowCurrent();
  emit HistoryChanged();
}

void LinkRouter::ShowCurrent() { emit PageShown(Current().html, Current().base); }

LinkRouter::Page& LinkRouter::Current() { return pages_[static_cast<size_t>(current_)]; }

const LinkRouter::Page& LinkRouter::Current() const {
  return pages_[static_cast<size_t>(current_)];
}

bool LinkRouter::Fail(const QString& message) {
  emit Failed(message);
  return false;
}

}  // namespace quorvane::app
