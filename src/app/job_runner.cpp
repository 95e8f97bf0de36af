#include "app/job_runner.h"

#include <atomic>
#include <mutex>
#include <string>

#include <QCoreApplication>
#include <QEventLoop>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QThreadPool>
#include <QTimer>
#include <QVBoxLayout>

namespace quorvane::app {
namespace {

// How long a job runs before its window appears.
constexpr int kShowDelayMs = 300;

}  // namespace

ProgressWindow::ProgressWindow(QWidget* parent) : QDialog(parent) {
  setWindowTitle("Quorvane");
  setWindowModality(Qt::WindowModal);
  label_ = new QLabel(this);
  label_->setMinimumWidth(360);
  label_->setWordWrap(true);
  bar_ = new QProgressBar(this);
  bar_->setTextVisible(false);
  cancel_ = new QPushButton(tr("Cancel"), this);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(label_);
  layout->addWidget(bar_);
  layout->addWidget(cancel_, 0, Qt::AlignRight);
  connect(cancel_, &QPushButton::clicked, this, &ProgressWindow::CancelRequested);
}

void ProgressWindow::SetText(const QString& text) { label_->setText(text); }

void ProgressWindow::SetPosition(qint64 position, qint64 maximum) {
  // The bar counts in int; long jobs are scaled to a thousand steps.
  if (maximum <= 0) {
    bar_->setRange(0, 0);
    return;
  }
  bar_->setRange(0, 1000);
  bar_->setValue(static_cast<int>(position * 1000 / maximum));
}

void ProgressWindow::Reset(const QString& text) {
  label_->setText(text);
  bar_->setRange(0, 1000);
  bar_->setValue(0);
  cancel_->setEnabled(true);
}

QString ProgressWindow::text() const { return label_->text(); }

void ProgressWindow::reject() { emit CancelRequested(); }

// Carries a job's reports to the window thread. Reports arriving faster than the window
// thread takes them are merged: only the latest text and position are shown.
class JobRunner::Sink : public platform::ProgressSink {
 public:
  explicit Sink(JobRunner* runner) : runner_(runner) {}

  void SetTitle(std::string_view title) override { (void)title; }
  void SetText(std::string_view text) override {
    std::lock_guard lock(mutex_);
    text_ = std::string(text);
    has_text_ = true;
    PostLocked();
  }
  void SetPosition(int64_t position, int64_t maximum) override {
    std::lock_guard lock(mutex_);
    position_ = position;
    maximum_ = maximum;
    has_position_ = true;
    PostLocked();
  }
  bool Cancelled() const override { return cancelled_.load(std::memory_order_relaxed); }
  void Cancel() { cancelled_.store(true, std::memory_order_relaxed); }

  // On the window thread: shows what arrived since the last call.
  void Deliver(ProgressWindow* window) {
    std::lock_guard lock(mutex_);
    posted_ = false;
    if (has_text_) window->SetText(QString::fromStdString(text_));
    if (has_position_) window->SetPosition(position_, maximum_);
    has_text_ = has_position_ = false;
  }

 private:
  void PostLocked() {
    if (posted_) return;
    posted_ = true;
    QPointer<JobRunner> runner = runner_;
    QMetaObject::invokeMethod(
        runner_,
        [runner, this] {
          if (runner && runner->running_.get() == this) Deliver(runner->window_);
        },
        Qt::QueuedConnection);
  }

  JobRunner* runner_;
  std::atomic<bool> cancelled_{false};
  std::mutex mutex_;
  bool posted_ = false;
  std::string text_;
  bool has_text_ = false;
  int64_t position_ = 0;
  int64_t maximum_ = 0;
  bool has_position_ = false;
};

JobRunner::JobRunner(QWidget* window)
    : QObject(window), window_(new ProgressWindow(window)), show_timer_(new QTimer(this)) {
  show_timer_->setSingleShot(true);
  connect(show_timer_, &QTimer::timeout, window_, [this] {
    if (busy()) window_->show();
  });
  connect(window_, &ProgressWindow::CancelRequested, this, &JobRunner::Cancel);
}

JobRunner::~JobRunner() { WaitUntilIdle(); }

bool JobRunner::Start(const QString& text, Job job, Done done) {
  if (busy()) return false;
  auto sink = std::make_shared<Sink>(this);
  running_ = sink;
  done_ = std::move(done);
  window_->Reset(text);
  show_timer_->start(kShowDelayMs);
  emit BusyChanged(true);
  QPointer<JobRunner> self = this;
  QThreadPool::globalInstance()->start([self, sink, job = std::move(job)] {
    const platform::ResultCode result = job(*sink);
    // `sink` stays alive in this lambda until the window thread has taken the result.
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [self, sink, result] {
          if (self) self->Finish(sink, result);
        },
        Qt::QueuedConnection);
  });
  return true;
}

void JobRunner::Finish(const std::shared_ptr<Sink>& sink, platform::ResultCode result) {
  if (running_ != sink) return;
  show_timer_->stop();
  window_->hide();
  running_.reset();
  Done done = std::move(done_);
  done_ = nullptr;
  emit BusyChanged(false);
  if (done) done(result);
}

void JobRunner::Cancel() {
  if (!running_) return;
  running_->Cancel();
  window_->cancel_button()->setEnabled(false);
}

void JobRunner::WaitUntilIdle() {
  if (!busy()) return;
  QEventLoop loop;
  connect(this, &JobRunner::BusyChanged, &loop, [&loop](bool busy) {
    if (!busy) loop.quit();
  });
  if (busy()) loop.exec(QEventLoop::ExcludeUserInputEvents);
}

}  // namespace quorvane::app
