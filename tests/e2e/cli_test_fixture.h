// The base of every end-to-end test: a fresh temporary folder holding every folder
// quorvane-cli finds through the environment (settings, library, caches), so no run sees the
// user's own.
#pragma once

#include <gtest/gtest.h>

#include "testing/cli_runner.h"
#include "testing/temp_dir.h"

namespace quorvane::testing {

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override { PointUserFoldersInto(dir_.path()); }

  TempDir dir_;
};

}  // namespace quorvane::testing
