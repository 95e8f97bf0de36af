// Albums for the mail workflow's tests, made through the album's own operations from photos
// drawn here: a folder with an index, the photos and their thumbnails.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/photo_operations.h"
#include "image/image.h"
#include "testing/private_exif.h"
#include "testing/temp_dir.h"

namespace quorvane::mail {

struct TestPhoto {
  std::string name;
  int width = 0;
  int height = 0;
  bool private_exif = false;  // a JPEG with a GPS block and a serial number
};

// Writes `photos` (JPEG or PNG by their names) and adds them to a new album at `folder`.
inline void MakeAlbum(const std::filesystem::path& folder, const std::string& title,
                      const std::vector<TestPhoto>& photos) {
  const std::filesystem::path sources =
      folder.parent_path() / (folder.filename().string() + "-src");
  std::filesystem::create_directories(sources);
  std::filesystem::create_directories(folder);
  album::Album album(std::make_unique<album::FolderStore>(folder));
  album.SetLocation(folder.string());
  album.set_title(title);
  for (const TestPhoto& photo : photos) {
    image::Image picture;
    ASSERT_TRUE(picture.Create(photo.width, photo.height, false, {200, 120, 40, 255}));
    for (int x = 0; x < photo.width; x += 7)
      picture.SetPixel(x, x % photo.height, {0, 0, 255, 255});
    const bool png = photo.name.ends_with(".png");
    const std::filesystem::path source = sources / photo.name;
    ASSERT_TRUE(picture.Save(source, png ? image::ImageFormat::kPng : image::ImageFormat::kJpeg));
    if (photo.private_exif) {
      testing::WriteTextFile(source, testing::WithPrivateExif(testing::ReadTextFile(source)));
    }
    ASSERT_TRUE(album::AddImageFromDisk(album, source, photo.name, -1)) << album.last_error();
  }
  ASSERT_TRUE(album::AlbumIndex::SaveIndex(album)) << album.last_error();
}

// Opens the album at `folder`.
inline std::unique_ptr<album::Album> OpenTestAlbum(const std::filesystem::path& folder) {
  auto opened = std::make_unique<album::Album>(std::make_unique<album::FolderStore>(folder));
  opened->SetLocation(folder.string());
  EXPECT_TRUE(album::AlbumIndex::LoadIndex(*opened)) << opened->last_error();
  return opened;
}

}  // namespace quorvane::mail
