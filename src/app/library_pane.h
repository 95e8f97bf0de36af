// The left pane: the albums of the library in the album list's sort order, the open albums
// marked (bold, an open folder, " *" when they have unsaved changes) and the current one selected.
// Open albums from outside the library follow at the end. Choosing an open album makes it current;
// activating one that is closed (double click, Enter) opens it; Delete deletes one, after asking.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QWidget>

#include "album/album_library.h"

class QComboBox;
class QListWidget;

namespace quorvane::app {

class LibraryPane : public QWidget {
  Q_OBJECT
 public:
  explicit LibraryPane(QWidget* parent);
  ~LibraryPane() override;

  // Reads the albums of `library` on a worker and lists them in `sort_order`; Loaded follows.
  void Reload(const std::string& library, int sort_order);

  struct OpenAlbum {
    std::string location;
    QString title;
    bool modified = false;  // marked " *"
  };
  // The albums the frame holds, and which of them is current (-1: none).
  void SetOpenAlbums(std::vector<OpenAlbum> open, int current);

  int sort_order() const;
  QListWidget* list() const { return list_; }
  QComboBox* sort_box() const { return sort_; }
  // The album folder (or archive) of row `row`.
  QString LocationOf(int row) const;

  // Deletes the selected album of the library (Delete does the same) through album::DeleteAlbum,
  // with the hooks `make_hooks` gives (the question among them), then lists the library again.
  void set_delete_hooks(std::function<album::DeleteAlbumHooks()> make_hooks) {
    make_hooks_ = std::move(make_hooks);
  }
  void DeleteSelected();

 signals:
  void Loaded();
  void OpenRequested(const QString& location);
  void SortOrderChanged(int sort_order);

 private:
  void Fill();
  int OpenIndexOf(int row) const;

  std::shared_ptr<album::AlbumList> albums_;
  std::vector<OpenAlbum> open_;
  int current_ = -1;
  QComboBox* sort_;
  QListWidget* list_;
  quint64 generation_ = 0;
  std::string library_;
  std::function<album::DeleteAlbumHooks()> make_hooks_;
};

}  // namespace quorvane::app
