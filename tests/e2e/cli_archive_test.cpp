#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <vector>

#include <zlib.h>

#include "cli_test_fixture.h"
#include "testing/raw_zip.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;

// `mib` MiB of zeros, deflated without deflating them all: one MiB compressed and flushed in
// full is a self-contained run of blocks, so copies of it follow each other validly.
testing::RawZipEntry Zeros(const std::string& name, uint64_t mib) {
  const std::string chunk(1 << 20, '\0');
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY), Z_OK);
  std::string one;
  for (int round = 0; round < 2; ++round) {  // the second run starts from a flushed state
    one.assign(1 << 16, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(chunk.data()));
    stream.avail_in = static_cast<uInt>(chunk.size());
    stream.next_out = reinterpret_cast<Bytef*>(one.data());
    stream.avail_out = static_cast<uInt>(one.size());
    EXPECT_EQ(deflate(&stream, Z_FULL_FLUSH), Z_OK);
    EXPECT_EQ(stream.avail_in, 0u);
    one.resize(one.size() - stream.avail_out);
  }
  deflateEnd(&stream);

  testing::RawZipEntry entry{name, 8, 0, mib << 20, {}};
  const uLong chunk_crc = crc32(0, reinterpret_cast<const Bytef*>(chunk.data()), 1 << 20);
  for (uint64_t i = 0; i < mib; ++i) {
    entry.data += one;
    entry.crc = static_cast<uint32_t>(crc32_combine(entry.crc, chunk_crc, 1 << 20));
  }
  entry.data += std::string("\3\0", 2);  // the final, empty block
  return entry;
}

testing::RawZipEntry Stored(const std::string& name, const std::string& data) {
  return {name, 0,
          static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(data.data()),
                                      static_cast<uInt>(data.size()))),
          data.size(), data};
}

uint64_t BytesIn(const fs::path& folder) {
  uint64_t total = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) total += entry.file_size();
  }
  return total;
}

// Runs the CLI with its temporary folder in `tmp` and no file of it allowed past 64 MB: a
// command that unpacked a big photo would be stopped by the system (SIGXFSZ).
testing::CliResult RunSmall(const fs::path& tmp, const std::vector<std::string>& args) {
  std::optional<std::string> old_tmp;
  if (const char* value = std::getenv("TMPDIR")) old_tmp = value;
  ::setenv("TMPDIR", tmp.c_str(), 1);
  rlimit old_limit;
  ::getrlimit(RLIMIT_FSIZE, &old_limit);
  rlimit small = old_limit;
  small.rlim_cur = rlim_t{64} << 20;
  ::setrlimit(RLIMIT_FSIZE, &small);
  testing::CliResult result = RunCli(args);
  ::setrlimit(RLIMIT_FSIZE, &old_limit);
  old_tmp ? ::setenv("TMPDIR", old_tmp->c_str(), 1) : ::unsetenv("TMPDIR");
  return result;
}

class CliArchiveTest : public testing::CliTest {};

// A 3.9 MB archive whose photo is 3.9 GB of zeros: showing it reads the index and nothing else,
// and a change saves back with the photo carried over still compressed.
TEST_F(CliArchiveTest, ArchiveAlbumOpensAndSavesWithoutUnpackingItsPhotos) {
  const fs::path archive = dir_ / "zeros.qvo";
  const std::string index =
      "<Quorvane Title=\"Zeros\" Version=\"1.0\"><Image Format=\"BMP\" ImageFile=\"zeros.bmp\" "
      "ImageSize=\"0x0\"></Image></Quorvane>";
  testing::WriteTextFile(archive,
                         testing::RawZip({Stored("index.quorvane", index), Zeros("zeros.bmp", 3720),
                                          Stored("_thumb_zeros.bmp.jpg", "thumbnail")}));
  const uint64_t archive_size = fs::file_size(archive);
  ASSERT_LT(archive_size, uint64_t{8} << 20);
  const fs::path tmp = dir_ / "tmp";
  fs::create_directories(tmp);

  auto r = RunSmall(tmp, {"album", "show", archive.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out,
            "Title: Zeros\nDate: -\nDescription: \nVersion: 1.0\nPhotos: 1\n"
            "1\tzeros.bmp\tBMP\t0x0\t-\t\t\n");
  EXPECT_EQ(BytesIn(tmp), 0u);

  r = RunSmall(tmp, {"album", "set", archive.string(), "--title", "Still zeros"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_LT(fs::file_size(archive), archive_size + 4096);
  r = RunSmall(tmp, {"album", "show", archive.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, 19), "Title: Still zeros\n");
  EXPECT_NE(r.out.find("1\tzeros.bmp\tBMP\t"), std::string::npos) << r.out;
  EXPECT_EQ(BytesIn(tmp), 0u);
}

}  // namespace
}  // namespace quorvane
