// The album view's changes to an album, each through the core and recorded in the album's
// history with its label ("Add Photo", "Move Photo", "Remove Photo", "<edit> Photo"). Those
// that read or write photos run as jobs on the job runner; the record is pushed on the window
// thread once the job has ended. Failures come back as texts for a "Quorvane" message box.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <QImage>
#include <QObject>
#include <QStringList>

#include "image/image.h"
#include "imaging/edit_commands.h"
#include "platform/progress.h"
#include "platform/result_code.h"

namespace quorvane::app {

class AlbumDocument;
class JobRunner;

class AlbumOperations : public QObject {
  Q_OBJECT
 public:
  AlbumOperations(JobRunner* runner, QObject* parent);

  // Each returns false, doing nothing, while another job runs or when the album is read-only.
  // Adds image files at `position` (-1: at the end).
  bool Add(AlbumDocument* document, const QStringList& files, int position,
           const QString& text = {});
  // Adds a picture from outside (the clipboard, the screen, a scanner): written on the worker
  // as a JPEG named `file_name` ("clip.jpg", "scan.jpg") in a temporary folder of its own,
  // then added at the end as any file is, under the progress text `text`.
  bool AddPicture(AlbumDocument* document, const QImage& picture, const QString& file_name,
                  const QString& text);
  // The same with a picture that `take` gives first on the worker (a scanner's, as it scans);
  // its kCancelled or kFailed, with its reason, ends the job there.
  using TakePicture = std::function<platform::ResultCode(platform::ProgressSink& progress,
                                                         QImage* picture, std::string* error)>;
  bool AddPicture(AlbumDocument* document, TakePicture take, const QString& file_name,
                  const QString& text);
  // Copies the image files named `files` of `source` (another open album, or the same) into
  // `document` at `position`; files no longer in `source`'s store are skipped.
  bool CopyFrom(AlbumDocument* document, AlbumDocument* source, const QStringList& files,
                int position);
  // Moves photos (ascending positions) to stand before `insert_before`; no job: only the
  // album's list changes.
  bool Move(AlbumDocument* document, const std::vector<size_t>& positions, size_t insert_before);
  bool Remove(AlbumDocument* document, const std::vector<size_t>& positions);
  // Runs the edit command `id` on the photos; a cancel leaves every photo as it was.
  bool Edit(AlbumDocument* document, int id, const std::vector<size_t>& positions,
            const imaging::EditValues& values, image::ResampleMode mode);
  // Puts `picture` (the photo window's edit of the photo whose file is `file`) in place of the
  // photo, recorded as "Edit Photo". `done` runs once, with true when the album holds it.
  void Replace(AlbumDocument* document, const QString& file, const image::Image& picture,
               std::function<void(bool)> done);

 signals:
  // A job or move ended (the album may have changed).
  void Finished();
  // Something could not be done; the text is for the user.
  void Failed(const QString& text);

 private:
  bool Writable(AlbumDocument* document);
  // Add's job, with `prepare` run first on the worker: it names the files to add, or fails
  // with its reason.
  using Prepare = std::function<platform::ResultCode(
      platform::ProgressSink&, std::vector<std::filesystem::path>*, std::string* error)>;
  bool AddPrepared(AlbumDocument* document, Prepare prepare, int position, const QString& text);
  void Report(const std::vector<std::string>& failures);

  JobRunner* runner_;
};

}  // namespace quorvane::app
