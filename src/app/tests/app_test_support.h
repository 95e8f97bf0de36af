// Shared pieces of the desktop program's tests: albums with real photos, and a fixture whose
// settings, library and caches live in a fresh temporary folder.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <QString>

#include "settings/settings.h"
#include "testing/temp_dir.h"

namespace quorvane::app {

// Makes an album titled `title` in `folder` with `photos` small JPEG photos of different
// colours; returns its folder.
std::filesystem::path MakeAlbum(const std::filesystem::path& library, const std::string& title,
                                int photos);

// The built program.
QString ProgramPath();

class AppTest : public ::testing::Test {
 protected:
  void SetUp() override;

  // The settings as the program would load them from the temporary folder.
  settings::UserSettings LoadSettings() const;

  testing::TempDir dir_;
};

}  // namespace quorvane::app
