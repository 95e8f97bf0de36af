// Opening libvips at run time: the name the build recorded, and the error texts when a library
// is missing or is not libvips at all.
#include <array>
#include <string>

#include <gtest/gtest.h>

#include "image/internal/vips_api.h"

namespace quorvane::image::internal {
namespace {

TEST(VipsLoadingTest, TheBuildsOwnLibraryNameLoadsAndWorks) {
  // Only the first name: the fallbacks would hide a soname read wrongly at configure time.
  const std::array<const char*, 1> names = {VipsLibraryNames().front()};
  VipsApi api;
  std::string error;
  ASSERT_TRUE(LoadVipsApi(names, &api, &error)) << error;
  EXPECT_EQ(api.version(0), VIPS_MAJOR_VERSION);
}

TEST(VipsLoadingTest, MissingLibrariesAndFunctionsAreNamedInTheError) {
  VipsApi api;
  std::string error;
  const std::array<const char*, 2> absent = {"libquorvane-absent.so.7", "libquorvane-gone.so"};
  EXPECT_FALSE(LoadVipsApi(absent, &api, &error));
  EXPECT_EQ(error.rfind("Cannot load the image engine: libquorvane-absent.so.7", 0), 0u) << error;

  // A library that loads but is not libvips: the first function looked up is reported.
  const std::array<const char*, 1> not_vips = {"libc.so.6"};
  EXPECT_FALSE(LoadVipsApi(not_vips, &api, &error));
  EXPECT_EQ(error.rfind("Cannot load the image engine: ", 0), 0u) << error;
  EXPECT_NE(error.find("vips_area_unref"), std::string::npos) << error;
}

}  // namespace
}  // namespace quorvane::image::internal
