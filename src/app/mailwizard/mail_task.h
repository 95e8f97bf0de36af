// One step of the album e-mail (measuring, preparing, sending, the test message) run on a
// worker thread for the wizard. Unlike the program's progress window, the wizard shows every
// status text in its own page as it happens, so each text arrives on the window thread as one
// signal, in order; photo texts and positions are merged to the latest.
#pragma once

#include <functional>
#include <memory>
#include <thread>

#include <QObject>
#include <QString>

#include "mail/workflow/mail_delivery.h"
#include "platform/progress.h"
#include "platform/result_code.h"

namespace quorvane::app {

class MailTask : public QObject {
  Q_OBJECT
 public:
  using Step =
      std::function<platform::ResultCode(platform::ProgressSink&, const mail::StatusCallback&)>;

  explicit MailTask(QObject* parent = nullptr);
  // Cancels a running step and waits for it: only reached when the window goes away with a
  // step still running (the wizard itself waits for Finished before it closes).
  ~MailTask() override;

  // Starts `step` on a worker thread. False, starting nothing, while another step runs.
  bool Start(Step step);
  bool running() const { return state_ != nullptr; }
  // Asks the running step to stop at its next check; Finished follows.
  void Cancel();
  bool cancelling() const;

 signals:
  void RunningChanged(bool running);
  void Status(const QString& text);
  void PhotoText(const QString& text);
  void Position(qint64 position, qint64 maximum);
  // On the window thread, once the step has ended; running() is false by then.
  void Finished(platform::ResultCode result);

 private:
  class State;
  void Deliver(const std::shared_ptr<State>& state);
  void End(const std::shared_ptr<State>& state, platform::ResultCode result);

  std::shared_ptr<State> state_;
  std::thread worker_;
};

}  // namespace quorvane::app
