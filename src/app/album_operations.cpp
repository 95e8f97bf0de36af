#include "app/album_operations.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include <QTemporaryDir>

#include "album/album_history_records.h"
#include "album/batch_operations.h"
#include "app/album_document.h"
#include "app/job_runner.h"
#include "imaging/album_edit.h"

namespace quorvane::app {
namespace {

// Pictures from outside are kept as JPEG files, as a camera would deliver them.
constexpr int kPictureQuality = 95;
// The record of a photo window's edits put into the album: "Edit Photo".
constexpr char kEditRecordName[] = "Edit";

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

AlbumOperations::AlbumOperations(JobRunner* runner, QObject* parent)
    : QObject(parent), runner_(runner) {}

bool AlbumOperations::Writable(AlbumDocument* document) {
  if (!document || runner_->busy()) return false;
  if (!document->album().CheckWritable()) {
    emit Failed(FromUtf8(document->album().last_error()));
    return false;
  }
  return true;
}

void AlbumOperations::Report(const std::vector<std::string>& failures) {
  if (failures.empty()) return;
  QStringList lines;
  for (const std::string& failure : failures) lines.push_back(FromUtf8(failure));
  emit Failed(lines.join('\n'));
}

bool AlbumOperations::Add(AlbumDocument* document, const QStringList& files, int position,
                          const QString& text) {
  if (files.isEmpty()) return false;
  std::vector<std::filesystem::path> sources;
  for (const QString& file : files) sources.emplace_back(file.toStdString());
  return AddPrepared(
      document,
      [sources](platform::ProgressSink&, std::vector<std::filesystem::path>* named, std::string*) {
        *named = sources;
        return platform::kOk;
      },
      position, text);
}

bool AlbumOperations::AddPicture(AlbumDocument* document, const QImage& picture,
                                 const QString& file_name, const QString& text) {
  if (picture.isNull()) return false;
  return AddPicture(
      document,
      [picture](platform::ProgressSink&, QImage* taken, std::string*) {
        *taken = picture;
        return platform::kOk;
      },
      file_name, text);
}

bool AlbumOperations::AddPicture(AlbumDocument* document, TakePicture take,
                                 const QString& file_name, const QString& text) {
  // The folder lives until the job has added its file: the album keeps its own copy.
  auto folder = std::make_shared<QTemporaryDir>();
  return AddPrepared(
      document,
      [take, file_name, folder](platform::ProgressSink& progress,
                                std::vector<std::filesystem::path>* named, std::string* error) {
        QImage picture;
        const platform::ResultCode taken = take(progress, &picture, error);
        if (taken != platform::kOk) return taken;
        const QString file = folder->filePath(file_name);
        if (!folder->isValid() || !picture.save(file, "JPEG", kPictureQuality)) {
          *error = "Unable to write " + file.toStdString();
          return platform::kFailed;
        }
        named->emplace_back(file.toStdString());
        return platform::kOk;
      },
      -1, text);
}

bool AlbumOperations::AddPrepared(AlbumDocument* document, Prepare prepare, int position,
                                  const QString& text) {
  if (!Writable(document)) return false;
  auto result = std::make_shared<album::BatchResult>();
  auto added = std::make_shared<std::vector<size_t>>();
  album::Album* target = &document->album();
  return runner_->Start(
      text.isEmpty() ? tr("Adding photos...") : text,
      [target, prepare, position, result, added](platform::ProgressSink& progress) {
        std::vector<std::filesystem::path> sources;
        std::string error;
        if (const platform::ResultCode prepared = prepare(progress, &sources, &error);
            prepared != platform::kOk) {
          if (!error.empty()) result->failures.push_back(error);
          return prepared;
        }
        *result = album::AddImages(*target, sources, position, progress, added.get());
        return result->cancelled ? platform::kCancelled : platform::kOk;
      },
      [this, document, result, added](platform::ResultCode) {
        // What was added stays recorded, cancelled or not, so undo can take it back.
        if (!added->empty()) {
          document->history().Push(album::MakeAddPhotoRecord(document->album(), *added));
        }
        Report(result->failures);
        emit Finished();
      });
}

bool AlbumOperations::CopyFrom(AlbumDocument* document, AlbumDocument* source,
                               const QStringList& files, int position) {
  if (!source) return false;
  QStringList paths;
  album::Album& from = source->album();
  // By file: a photo cut from `source` is out of its list, but its file stays in the album
  // until it closes, so it can still be pasted.
  for (const QString& file : files) {
    const std::filesystem::path path = from.store().LocalPath(file.toStdString());
    std::error_code ec;
    if (!path.empty() && std::filesystem::is_regular_file(path, ec)) {
      paths.push_back(QString::fromStdString(path.string()));
    }
  }
  return Add(document, paths, position);
}

bool AlbumOperations::Move(AlbumDocument* document, const std::vector<size_t>& positions,
                           size_t insert_before) {
  if (positions.empty() || !Writable(document)) return false;
  platform::RefPtr<album::HistoryRecord> record =
      album::MovePhotos(document->album(), positions, insert_before);
  if (!record) return false;
  document->history().Push(std::move(record));
  emit Finished();
  return true;
}

bool AlbumOperations::Remove(AlbumDocument* document, const std::vector<size_t>& positions) {
  if (positions.empty() || !Writable(document)) return false;
  auto result = std::make_shared<album::BatchResult>();
  auto removed = std::make_shared<std::vector<album::RemovedPhoto>>();
  album::Album* target = &document->album();
  return runner_->Start(
      tr("Removing photos..."),
      [target, positions, result, removed](platform::ProgressSink& progress) {
        *result = album::DeletePhotos(*target, positions, progress, removed.get());
        return result->cancelled ? platform::kCancelled : platform::kOk;
      },
      [this, document, result, removed](platform::ResultCode) {
        if (!removed->empty()) {
          document->history().Push(album::MakeRemovePhotoRecord(std::move(*removed)));
        }
        Report(result->failures);
        emit Finished();
      });
}

bool AlbumOperations::Edit(AlbumDocument* document, int id, const std::vector<size_t>& positions,
                           const imaging::EditValues& values, image::ResampleMode mode) {
  const imaging::EditCommand* command = imaging::FindEditCommand(id);
  if (!command || positions.empty() || !Writable(document)) return false;
  std::shared_ptr<imaging::ImageFilter> filter = imaging::MakeAlbumFilter(*command, values, mode);
  if (!filter) return false;
  auto result = std::make_shared<imaging::AlbumEditResult>();
  album::Album* target = &document->album();
  album::AlbumHistory* history = &document->history();
  return runner_->Start(
      FromUtf8(command->progress_text),
      [target, history, filter, positions, result](platform::ProgressSink& progress) {
        // The record goes onto the history from this worker; the frame hears of it on the
        // window thread, and keeps away from the history until the job has ended.
        *result = imaging::RunAlbumEdit(*target, *history, *filter, positions, progress);
        return result->code;
      },
      [this, result](platform::ResultCode) {
        Report(result->failures);
        emit Finished();
      });
}

void AlbumOperations::Replace(AlbumDocument* document, const QString& file,
                              const image::Image& picture, std::function<void(bool)> done) {
  if (!Writable(document)) {
    done(false);
    return;
  }
  const std::string name = file.toStdString();
  const std::vector<album::AlbumPhoto>& photos = document->album().photos();
  auto found = std::find_if(photos.begin(), photos.end(), [&](const album::AlbumPhoto& photo) {
    return photo.image_file == name;
  });
  if (found == photos.end()) {
    emit Failed(tr("%1 is no longer in the album").arg(file));
    done(false);
    return;
  }
  const size_t index = static_cast<size_t>(found - photos.begin());
  auto record = platform::MakeRef<imaging::ImageOperationRecord>(kEditRecordName);
  auto error = std::make_shared<std::string>();
  album::Album* target = &document->album();
  const bool started = runner_->Start(
      tr("Replacing image in album..."),
      [target, index, picture, record, error](platform::ProgressSink& progress) {
        album::PhotoVersion kept;
        if (!album::ReplacePhotoImage(*target, index, picture, &kept, progress)) {
          *error = target->last_error();
          return platform::kFailed;
        }
        record->Add(std::move(kept));
        return platform::kOk;
      },
      [this, document, record, error, done](platform::ResultCode result) {
        if (result == platform::kOk) document->history().Push(record);
        if (!error->empty()) emit Failed(FromUtf8(*error));
        emit Finished();
        done(result == platform::kOk);
      });
  if (!started) done(false);
}

}  // namespace quorvane::app
