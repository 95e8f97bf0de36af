// The program's one top-level window: menus, tool bar and status bar built from the command
// table, the open albums and which is current, the title rule, recent albums, the Undo/Redo
// texts of the current album's history, and the window layout kept in the settings. Commands
// from every entry point (menus, shortcuts, tool bar, pane links) arrive in RunCommand.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <QMainWindow>
#include <QPointer>

#include "album/album_library.h"

class QAction;
class QStackedWidget;
class QMenu;
class QPoint;
class QSplitter;
class QToolBar;

namespace quorvane::settings {
struct Settings;
struct UserSettings;
}  // namespace quorvane::settings

namespace quorvane::app {

class AlbumDocument;
class AlbumHeaderPane;
class HtmlPane;
class AlbumModel;
class AlbumOperations;
class AlbumView;
class PhotoViewer;
class FileBrowser;
class JobRunner;
class LibraryPane;
class SearchPane;
namespace printing {
class PrintCommands;
}  // namespace printing

class MainFrame : public QMainWindow {
  Q_OBJECT
 public:
  // `user` (the loaded settings and their store) outlives the frame. The window layout is
  // restored from it here; the layout, the recent albums and the settings are written back
  // when the frame closes.
  explicit MainFrame(settings::UserSettings* user, QWidget* parent = nullptr);
  ~MainFrame() override;

  // Shows the window as the stored placement says (maximised, or at its normal rectangle).
  void ShowWithStoredPlacement();

  // Opens the album folder or archive at `location` on a worker and makes it current; an
  // album already open just becomes current. Failures are told in a "Quorvane" message box.
  // Requests arriving while a job runs wait for it.
  void OpenAlbum(const QString& location);

  // Runs the command `id` as if its menu entry had been chosen; nothing when it is disabled.
  void RunCommand(int id);

  // The menu-bar action of a command id (null when the table has none).
  QAction* action(int id) const;
  QMenu* top_menu(const QString& text) const;
  JobRunner* job_runner() const { return runner_; }
  printing::PrintCommands* print_commands() const { return printing_; }
  AlbumDocument* current_document() const;
  int document_count() const { return static_cast<int>(documents_.size()); }
  const std::vector<std::string>& recent_albums() const { return recent_; }
  AlbumView* album_view() const { return view_; }
  AlbumModel* album_model() const { return model_; }
  PhotoViewer* photo_viewer() const;
  // The open album at `location`, or null.
  AlbumDocument* FindDocument(const QString& location) const;

  // Asked before an album with unsaved changes closes: QMessageBox::Yes (save, then close),
  // No (close without saving) or Cancel. A message box unless replaced.
  using SaveQuestion = std::function<int(const QString& question)>;
  void set_save_question(SaveQuestion ask) { ask_ = std::move(ask); }
  FileBrowser* file_browser() const { return file_browser_; }
  SearchPane* search_pane() const { return search_pane_; }
  // The home page pane (resource pages, files, its own history) and the album header.
  HtmlPane* home_pane() const { return home_; }
  AlbumHeaderPane* album_header() const { return header_; }
  // True while the home page pane is shown in place of the album.
  bool home_shown() const;
  LibraryPane* library_pane() const { return library_; }
  settings::UserSettings* user_settings() const { return user_; }
  AlbumOperations* album_operations() const { return operations_; }

  // Makes an album in the library on a worker and makes it the current album, as New Photo
  // Album does; `done` gets it, or null after the failure was told.
  void CreateAlbum(const album::NewAlbumValues& values,
                   std::function<void(AlbumDocument*)> done = {});
  // Applies settings changed elsewhere (the preferences, the quick start) to what is open,
  // and keeps them.
  void ApplySettings(const settings::Settings& changed);

 public slots:
  // Re-reads everything the menus, title and tool bar show from the current state: the one
  // place where commands are enabled and disabled.
  void UpdateActions();
  // Brings the window to the front (a second start asked for it).
  void Activate();

 signals:
  // An album finished opening (or failed to); for the views and for tests.
  void AlbumOpened(const QString& location);
  void AlbumOpenFailed(const QString& location, const QString& error);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildActions();
  void BuildMenus();
  void BuildToolBar();
  void BuildCentre();
  void BuildPanes();
  void ShowAlbumViewMenu(const QPoint& where);
  void RestoreLayout();
  void SaveLayoutAndSettings();
  void RebuildRecentMenu();
  void AddRecent(const std::string& location);
  void SetCurrent(int index);
  void CloseCurrent();
  void ShowMessage(const QString& text);
  void OpenNextPending();
  // The current album changed (a job ended, a move, undo or redo).
  void OnAlbumChanged();
  // Asks about unsaved changes of `document`; true when it may close (saved or not).
  bool ConfirmClose(AlbumDocument* document);
  void RunEdit(int id);
  void ShowAlbumList();
  // Opens the photo window on photo `row` of the current album.
  void ShowPhoto(int row);
  void ShowNewAlbum();
  // Makes `document` (just opened or created) an open album and the current one.
  void Adopt(std::unique_ptr<AlbumDocument> document);
  void Paste();
  // The HTML panes: built once; their links run commands as the menus do.
  QWidget* BuildHtmlPanes(QWidget* album_view);
  void ConnectLinks(HtmlPane* pane);
  void ShowHomePane(const QString& link);
  // Runs the commands of the panes and the description editors; false for any other id.
  bool RunPaneCommand(int id);
  std::map<QString, QString> HomePlaceholders() const;
  // The description editors, recorded in the album's history.
  void EditAlbumDescription();
  void EditPhotoDescription(int row);
  void EditCaption(int row, const QString& caption);

  // Pictures from outside, preferences and the library pane.
  void Capture(bool pick_region);
  void Scan();
  void SelectScanSource();
  void ShowPreferences();
  void ReloadLibrary();
  // Forgets the open album at `path` without a question: it is being deleted.
  void DropDeletedAlbum(const std::string& path);
  // Writes the photo window's edits into its album first; true when nothing waits for that.
  bool PhotoEditsSettled(const std::function<void()>& then);

  settings::UserSettings* user_;
  JobRunner* runner_;
  printing::PrintCommands* printing_;
  std::vector<std::unique_ptr<AlbumDocument>> documents_;
  int current_ = -1;
  std::map<int, QAction*> actions_;
  std::map<QString, QMenu*> menus_;
  QMenu* recent_menu_ = nullptr;
  QToolBar* tool_bar_ = nullptr;
  QSplitter* splitter_ = nullptr;
  LibraryPane* library_ = nullptr;
  QStackedWidget* stack_ = nullptr;
  AlbumModel* model_ = nullptr;
  AlbumView* view_ = nullptr;
  AlbumOperations* operations_ = nullptr;
  QPointer<PhotoViewer> viewer_;
  SaveQuestion ask_;
  FileBrowser* file_browser_ = nullptr;
  SearchPane* search_pane_ = nullptr;
  std::vector<std::string> recent_;
  std::vector<QString> pending_opens_;
  bool layout_saved_ = false;
  HtmlPane* home_ = nullptr;
  AlbumHeaderPane* header_ = nullptr;
  bool home_requested_ = false;  // Home Page chosen while an album is current
};

}  // namespace quorvane::app
