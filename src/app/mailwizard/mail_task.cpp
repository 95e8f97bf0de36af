#include "app/mailwizard/mail_task.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <QPointer>

namespace quorvane::app {

// What the worker reported since the window thread last looked.
class MailTask::State : public platform::ProgressSink {
 public:
  explicit State(MailTask* task) : task_(task) {}

  void SetText(std::string_view text) override {
    std::lock_guard lock(mutex_);
    photo_text_ = std::string(text);
    has_photo_text_ = true;
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

  void AddStatus(std::string_view text) {
    std::lock_guard lock(mutex_);
    statuses_.emplace_back(text);
    PostLocked();
  }

  // Takes what arrived, for the window thread to show.
  struct Reports {
    std::vector<std::string> statuses;
    std::optional<std::string> photo_text;
    std::optional<std::pair<int64_t, int64_t>> position;
  };
  Reports Take() {
    std::lock_guard lock(mutex_);
    posted_ = false;
    Reports reports;
    reports.statuses.swap(statuses_);
    if (has_photo_text_) reports.photo_text = photo_text_;
    if (has_position_) reports.position = {position_, maximum_};
    has_photo_text_ = has_position_ = false;
    return reports;
  }

 private:
  void PostLocked() {
    if (posted_) return;
    posted_ = true;
    // Qt drops the call if the task is gone by then; the task joins the worker first anyway.
    QMetaObject::invokeMethod(
        task_,
        [task = task_, self = this] {
          if (task->state_.get() == self) task->Deliver(task->state_);
        },
        Qt::QueuedConnection);
  }

  MailTask* task_;
  std::atomic<bool> cancelled_{false};
  std::mutex mutex_;
  bool posted_ = false;
  std::vector<std::string> statuses_;
  std::string photo_text_;
  bool has_photo_text_ = false;
  int64_t position_ = 0;
  int64_t maximum_ = 0;
  bool has_position_ = false;
};

MailTask::MailTask(QObject* parent) : QObject(parent) {}

MailTask::~MailTask() {
  if (state_) state_->Cancel();
  if (worker_.joinable()) worker_.join();
}

bool MailTask::Start(Step step) {
  if (running()) return false;
  if (worker_.joinable()) worker_.join();
  auto state = std::make_shared<State>(this);
  state_ = state;
  emit RunningChanged(true);
  worker_ = std::thread([this, state, step = std::move(step)] {
    const platform::ResultCode result =
        step(*state, [&state](std::string_view text) { state->AddStatus(text); });
    QMetaObject::invokeMethod(
        this, [this, state, result] { End(state, result); }, Qt::QueuedConnection);
  });
  return true;
}

void MailTask::Cancel() {
  if (state_) state_->Cancel();
}

bool MailTask::cancelling() const { return state_ && state_->Cancelled(); }

void MailTask::Deliver(const std::shared_ptr<State>& state) {
  State::Reports reports = state->Take();
  for (const std::string& text : reports.statuses) emit Status(QString::fromStdString(text));
  if (reports.photo_text) emit PhotoText(QString::fromStdString(*reports.photo_text));
  if (reports.position) emit Position(reports.position->first, reports.position->second);
}

void MailTask::End(const std::shared_ptr<State>& state, platform::ResultCode result) {
  if (state_ != state) return;
  Deliver(state);
  // The worker has nothing left to do but return.
  if (worker_.joinable()) worker_.join();
  state_.reset();
  emit RunningChanged(false);
  emit Finished(result);
}

}  // namespace quorvane::app
