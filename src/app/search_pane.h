// The search pane: "Look in:" (the library, the open albums, one open album), "Look for:",
// the Title, Description and Keywords boxes, the Search/Stop button and the results with
// their album thumbnails. The search runs on a worker of its own over a copy of the open
// albums' records, so the albums stay free to change meanwhile; results, thumbnails and the
// kept result list ("searchresults.xml" in the data folder) reach the window by queued calls.
#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <QThreadPool>
#include <QWidget>

#include "search/photo_search.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QListView;
class QPushButton;

namespace quorvane::album {
class Album;
}

namespace quorvane::app {

class SearchResultsModel;

struct SearchPaneFolders {
  std::filesystem::path library;  // the album library ("All My Quorvane Albums")
  std::filesystem::path data;     // holds the kept results and the search's presence cache
};

class SearchPane : public QWidget {
  Q_OBJECT
 public:
  explicit SearchPane(SearchPaneFolders folders, QWidget* parent = nullptr);
  // Stops a running search and waits for it and for the thumbnail loads.
  ~SearchPane() override;

  // Refills "Look in:" from the albums the frame has open, keeping the choice when it is
  // still offered. The albums must stay alive until the next call; a search reads a copy.
  void SetOpenAlbums(const std::vector<search::OpenAlbum>& albums);

  // The Search/Stop button: stops the running search (waiting for its end), or starts one
  // with the pane's text and boxes (an empty text starts nothing).
  void StartOrStop();
  bool searching() const;

  // Stops a running search, then writes the list to the results file. False with *error.
  bool SaveResults(QString* error);
  // Reads the results file off the window thread into the list; ResultsLoaded tells the end.
  // A missing or unreadable file leaves the list empty.
  void LoadResults();

  // The text the empty list shows ("Searching...", "No matches found" or none).
  const QString& empty_text() const { return empty_text_; }
  SearchResultsModel* model() const { return model_; }
  QComboBox* look_in() const { return look_in_; }
  QLineEdit* look_for() const { return look_for_; }
  QCheckBox* title_box() const { return title_; }
  QCheckBox* description_box() const { return description_; }
  QCheckBox* keywords_box() const { return keywords_; }
  QPushButton* search_button() const { return button_; }
  QListView* results() const { return results_; }

 signals:
  void SearchFinished(int results);
  void ResultsLoaded(int rows);
  // A result was opened (Enter or a double click): its album and photo.
  void ResultActivated(const QString& album_path, int index);

 private:
  class ResultList;
  struct Pending;
  std::filesystem::path ResultsFile() const;
  void Finish();
  void SetEmptyText(const QString& text);
  void TakePending(quint64 generation);
  void LoadDetails(quint64 generation, int first, int count);
  void CopySelection();

  SearchPaneFolders folders_;
  std::vector<search::OpenAlbum> open_albums_;
  std::vector<search::LookInItem> look_in_items_;
  QComboBox* look_in_;
  QLineEdit* look_for_;
  QCheckBox* title_;
  QCheckBox* description_;
  QCheckBox* keywords_;
  QPushButton* button_;
  QListView* results_;
  SearchResultsModel* model_;
  QString empty_text_;

  search::SearchWorker worker_;
  // The copies of the open albums the running search reads.
  std::vector<std::unique_ptr<album::Album>> snapshots_;
  // Results the worker found that the window has not taken yet.
  std::shared_ptr<Pending> pending_;
  // Raised for each new list, so late results and thumbnails of an older one are dropped.
  std::shared_ptr<std::atomic<quint64>> generation_;
  QThreadPool details_;
};

}  // namespace quorvane::app
