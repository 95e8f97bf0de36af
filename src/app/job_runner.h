// Runs the core's long jobs (adding photos, album edits, archives, search) on a worker thread
// while the window thread shows the progress window: caption "Quorvane", the job's text, a bar
// and Cancel. The job reports through a platform::ProgressSink whose calls are carried to the
// window thread; Cancel raises the sink's flag and the job stops at its next check. The window
// thread never waits for the job: completion comes back as a call on the window thread.
#pragma once

#include <functional>
#include <memory>

#include <QDialog>
#include <QObject>

#include "platform/progress.h"
#include "platform/result_code.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QTimer;

namespace quorvane::app {

// The progress window. Closing it (Escape, the close button) is the same as Cancel.
class ProgressWindow : public QDialog {
  Q_OBJECT
 public:
  explicit ProgressWindow(QWidget* parent);

  void SetText(const QString& text);
  void SetPosition(qint64 position, qint64 maximum);
  void Reset(const QString& text);

  QString text() const;
  QPushButton* cancel_button() const { return cancel_; }
  QProgressBar* bar() const { return bar_; }

 signals:
  void CancelRequested();

 protected:
  void reject() override;

 private:
  QLabel* label_;
  QProgressBar* bar_;
  QPushButton* cancel_;
};

class JobRunner : public QObject {
  Q_OBJECT
 public:
  using Job = std::function<platform::ResultCode(platform::ProgressSink&)>;
  using Done = std::function<void(platform::ResultCode)>;

  // The progress window belongs to `window`, modal to it alone.
  explicit JobRunner(QWidget* window);
  ~JobRunner() override;

  // Starts `job` on a worker thread, its progress window showing `text` (shown only when the
  // job takes longer than a blink, so quick jobs do not flash). `done` runs on the window
  // thread with the job's result once it has ended. False, starting nothing, while another job
  // runs: callers disable their commands while busy() anyway.
  bool Start(const QString& text, Job job, Done done);
  bool busy() const { return running_ != nullptr; }
  // Asks the running job to stop (as Cancel does).
  void Cancel();
  // Runs the event loop until the running job has ended: for closing the program, which must
  // not leave a worker using an album that is about to go.
  void WaitUntilIdle();

  ProgressWindow* progress_window() const { return window_; }

 signals:
  void BusyChanged(bool busy);

 private:
  class Sink;
  void Finish(const std::shared_ptr<Sink>& sink, platform::ResultCode result);

  ProgressWindow* window_;
  QTimer* show_timer_;
  std::shared_ptr<Sink> running_;
  Done done_;
};

}  // namespace quorvane::app
