#include "app/job_runner.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QThread>
#include <QWidget>

#include "app/tests/app_test_support.h"

namespace quorvane::app {
namespace {

TEST(JobRunner, ShowsTheJobsProgressAndCancelStopsIt) {
  QWidget window;
  window.show();
  JobRunner runner(&window);
  std::atomic<QThread*> job_thread{nullptr};
  std::optional<platform::ResultCode> result;
  QThread* done_thread = nullptr;
  ASSERT_TRUE(runner.Start(
      "Adding photos",
      [&](platform::ProgressSink& progress) {
        job_thread = QThread::currentThread();
        progress.SetText("Adding \"a.jpg\" (image 1 of 4) ...");
        progress.SetPosition(1, 4);
        while (!progress.Cancelled()) std::this_thread::yield();
        return platform::kCancelled;
      },
      [&](platform::ResultCode code) {
        result = code;
        done_thread = QThread::currentThread();
      }));
  EXPECT_TRUE(runner.busy());
  // A second job waits for the first to end; nothing starts meanwhile.
  EXPECT_FALSE(runner.Start("Other", [](platform::ProgressSink&) { return platform::kOk; }, {}));

  ProgressWindow* progress = runner.progress_window();
  ASSERT_EVENTUALLY(progress->isVisible());
  ASSERT_EVENTUALLY_EQ(progress->text(), QString("Adding \"a.jpg\" (image 1 of 4) ..."));
  ASSERT_EVENTUALLY_EQ(progress->bar()->value(), progress->bar()->maximum() / 4);
  EXPECT_EQ(progress->windowTitle(), "Quorvane");
  QTest::mouseClick(progress->cancel_button(), Qt::LeftButton);
  ASSERT_EVENTUALLY(result.has_value());
  EXPECT_EQ(*result, platform::kCancelled);
  EXPECT_FALSE(runner.busy());
  EXPECT_FALSE(progress->isVisible());
  // The job ran off the window thread; its ending was told on it.
  EXPECT_NE(job_thread.load(), QThread::currentThread());
  EXPECT_EQ(done_thread, QThread::currentThread());
}

TEST(JobRunner, EscapeInTheProgressWindowCancelsAndTheRunnerIsReusable) {
  QWidget window;
  window.show();
  JobRunner runner(&window);
  std::optional<platform::ResultCode> result;
  ASSERT_TRUE(runner.Start(
      "Searching...",
      [](platform::ProgressSink& progress) {
        while (!progress.Cancelled()) std::this_thread::yield();
        return platform::kCancelled;
      },
      [&](platform::ResultCode code) { result = code; }));
  ASSERT_EVENTUALLY(runner.progress_window()->isVisible());
  QTest::keyClick(runner.progress_window(), Qt::Key_Escape);
  ASSERT_EVENTUALLY_EQ(result, std::optional<platform::ResultCode>(platform::kCancelled));

  result.reset();
  ASSERT_TRUE(runner.Start(
      "Saving...", [](platform::ProgressSink&) { return platform::kOk; },
      [&](platform::ResultCode code) { result = code; }));
  ASSERT_EVENTUALLY_EQ(result, std::optional<platform::ResultCode>(platform::kOk));
}

}  // namespace
}  // namespace quorvane::app
