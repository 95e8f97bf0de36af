#include "app/album_operations.h"

#include <filesystem>
#include <memory>

#include "album/album_history_records.h"
#include "album/batch_operations.h"
#include "app/album_document.h"
#include "app/job_runner.h"
#include "imaging/album_edit.h"

namespace quorvane::app {
namespace {

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
  if (files.isEmpty() || !Writable(document)) return false;
  std::vector<std::filesystem::path> sources;
  for (const QString& file : files) sources.emplace_back(file.toStdString());
  auto result = std::make_shared<album::BatchResult>();
  auto added = std::make_shared<std::vector<size_t>>();
  album::Album* target = &document->album();
  return runner_->Start(
      text.isEmpty() ? tr("Adding photos...") : text,
      [target, sources, position, result, added](platform::ProgressSink& progress) {
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
                           const imaging::EditValues& values) {
  const imaging::EditCommand* command = imaging::FindEditCommand(id);
  if (!command || positions.empty() || !Writable(document)) return false;
  std::shared_ptr<imaging::ImageFilter> filter =
      imaging::MakeAlbumFilter(*command, values, document->album().thumbnail_options().mode);
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

}  // namespace quorvane::app
