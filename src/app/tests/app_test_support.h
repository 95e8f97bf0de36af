// Shared pieces of the desktop program's tests: albums with real photos, and a fixture whose
// settings, library and caches live in a fresh temporary folder.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <QString>

#include "app/main_frame.h"
#include "settings/settings.h"
#include "testing/temp_dir.h"

namespace quorvane::app {

// Makes an album titled `title` in `folder` with `photos` small JPEG photos of different
// colours; returns its folder.
std::filesystem::path MakeAlbum(const std::filesystem::path& library, const std::string& title,
                                int photos);

// The built program.
QString ProgramPath();

// Runs the event loop until `done` holds or `timeout_ms` passes; true when it held. Waiting
// goes through gtest assertions (below) so that a condition that never holds fails the test:
// Qt Test's own waiting macros only report to a Qt Test run and would pass silently here.
bool WaitUntil(const std::function<bool()>& done, int timeout_ms);

#define ASSERT_EVENTUALLY_WITHIN(expr, timeout_ms)                                             \
  ASSERT_TRUE(::quorvane::app::WaitUntil([&] { return static_cast<bool>(expr); }, timeout_ms)) \
      << "never true: " #expr
#define ASSERT_EVENTUALLY(expr) ASSERT_EVENTUALLY_WITHIN(expr, 5000)
#define ASSERT_EVENTUALLY_EQ_WITHIN(actual, expected, timeout_ms)                   \
  do {                                                                              \
    ::quorvane::app::WaitUntil([&] { return (actual) == (expected); }, timeout_ms); \
    ASSERT_EQ(actual, expected);                                                    \
  } while (false)
#define ASSERT_EVENTUALLY_EQ(actual, expected) ASSERT_EVENTUALLY_EQ_WITHIN(actual, expected, 5000)

class AppTest : public ::testing::Test {
 protected:
  void SetUp() override;

  // The settings as the program would load them from the temporary folder.
  settings::UserSettings LoadSettings() const;

  testing::TempDir dir_;
};

// A main frame shown on the test's own settings, with a way to open albums in it.
class FrameTest : public AppTest {
 protected:
  void SetUp() override;
  // Closes the frame, its albums unsaved.
  void TearDown() override;
  // Opens the album folder or archive at `location` and waits until it is current.
  void Open(const std::filesystem::path& location);

  settings::UserSettings user_;
  std::unique_ptr<MainFrame> frame_;
};

}  // namespace quorvane::app
