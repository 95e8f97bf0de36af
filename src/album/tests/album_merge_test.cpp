// Several programs with one album open: the three-way merge of album records, and a save over
// an index another program left unreadable. (Saves of two open albums into one index are run
// with an archive in album_archive_test and with folders by the command-line tests.)
#include "album/album_merge.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/photo_operations.h"
#include "testing/temp_dir.h"

namespace quorvane::album {
namespace {

// A record in short: photos as "name", "name:caption", "name#keywords" or
// "name:caption#keywords"; variables as "name=value".
struct Short {
  std::string title;
  std::vector<std::string> photos = {};
  std::vector<std::string> vars = {};
};

AlbumRecord Expand(const Short& s) {
  AlbumRecord record;
  record.title = s.title;
  for (const std::string& text : s.photos) {
    AlbumPhoto photo;
    const size_t hash = text.find('#');
    const std::string head = text.substr(0, hash);
    if (hash != std::string::npos) photo.keywords = text.substr(hash + 1);
    const size_t colon = head.find(':');
    photo.image_file = head.substr(0, colon);
    if (colon != std::string::npos) photo.title = head.substr(colon + 1);
    record.photos.push_back(photo);
  }
  for (const std::string& var : s.vars) {
    const size_t eq = var.find('=');
    record.user_variables.Set(var.substr(0, eq), var.substr(eq + 1));
  }
  return record;
}

Short Shorten(const AlbumRecord& record) {
  Short s{record.title, {}, {}};
  for (const AlbumPhoto& photo : record.photos) {
    std::string text = photo.image_file;
    if (!photo.title.empty()) text += ":" + photo.title;
    if (!photo.keywords.empty()) text += "#" + photo.keywords;
    s.photos.push_back(text);
  }
  for (const auto& [name, value] : record.user_variables) s.vars.push_back(name + "=" + value);
  return s;
}

struct MergeCase {
  const char* name;
  Short base, ours, theirs, merged;
};

class MergeTest : public ::testing::TestWithParam<MergeCase> {};

TEST_P(MergeTest, GivesEachChangeToWhoMadeIt) {
  const MergeCase& c = GetParam();
  const Short merged = Shorten(MergeAlbumRecords(Expand(c.base), Expand(c.ours), Expand(c.theirs)));
  EXPECT_EQ(merged.title, c.merged.title);
  EXPECT_EQ(merged.photos, c.merged.photos);
  EXPECT_EQ(merged.vars, c.merged.vars);
}

INSTANTIATE_TEST_SUITE_P(
    Records, MergeTest,
    ::testing::Values(MergeCase{"UnchangedByUsGivesTheirs",
                                {"T", {"a", "b"}, {"v=1"}},
                                {"T", {"a", "b"}, {"v=1"}},
                                {"U", {"b:x", "c"}, {}},
                                {"U", {"b:x", "c"}, {}}},
                      MergeCase{"TitleChangedByBothIsOurs", {"T"}, {"Ours"}, {"Theirs"}, {"Ours"}},
                      MergeCase{"ConcurrentAppendsKeepEveryPhoto",
                                {"", {"p"}},
                                {"", {"p", "a0", "a1"}},
                                {"", {"p", "b0"}},
                                {"", {"p", "b0", "a0", "a1"}}},
                      MergeCase{"InsertionFollowsItsPredecessor",
                                {"", {"p", "q"}},
                                {"", {"p", "x", "q"}},
                                {"", {"p", "q", "t"}},
                                {"", {"p", "x", "q", "t"}}},
                      MergeCase{"InsertionBeforeEverythingStaysFirst",
                                {"", {"p"}},
                                {"", {"x", "p"}},
                                {"", {"t", "p"}},
                                {"", {"x", "t", "p"}}},
                      MergeCase{"RemovedByUsGoesThoughTheyChangedIt",
                                {"", {"p", "q"}},
                                {"", {"q"}},
                                {"", {"p:caption", "q"}},
                                {"", {"q"}}},
                      MergeCase{"RemovedByThemStaysGoneThoughWeChangedIt",
                                {"", {"p", "q"}},
                                {"", {"p:caption", "q"}},
                                {"", {"q"}},
                                {"", {"q"}}},
                      MergeCase{"PhotoFieldsMergeOneByOne",
                                {"", {"p:old#old"}},
                                {"", {"p:ours#old"}},
                                {"", {"p:old#theirs"}},
                                {"", {"p:ours#theirs"}}},
                      MergeCase{"OurOrderAppliesToThePhotosWeKnow",
                                {"", {"a", "b", "c"}},
                                {"", {"c", "a", "b"}},
                                {"", {"a", "t", "b", "c"}},
                                {"", {"c", "t", "a", "b"}}},
                      MergeCase{"TheirOrderStaysWhenWeMovedNothing",
                                {"", {"a", "b", "c"}},
                                {"", {"a", "b", "c", "x"}},
                                {"", {"c", "b", "a"}},
                                {"", {"c", "b", "a", "x"}}},
                      MergeCase{"SameNameAddedByBothIsOursOnce",
                                {"", {}},
                                {"", {"n:ours"}},
                                {"", {"n:theirs"}},
                                {"", {"n:ours"}}},
                      MergeCase{"RepeatedNamesAreToldApart",
                                {"", {"d", "d"}},
                                {"", {"d", "d:second"}},
                                {"", {"d", "d"}},
                                {"", {"d", "d:second"}}},
                      MergeCase{"VariablesByName",
                                {"", {}, {"a=1", "b=2", "c=3"}},
                                {"", {}, {"a=1", "b=20", "n=5"}},
                                {"", {}, {"a=10", "b=2", "c=3", "t=7"}},
                                {"", {}, {"a=10", "b=20", "t=7", "n=5"}}}),
    [](const auto& row) { return std::string(row.param.name); });

// A file another program left in a state the album cannot read whole is not saved over.
TEST(SharedAlbumTest, AnIndexChangedIntoOneReadOnlyInPartIsNotSavedOver) {
  testing::TempDir dir;
  const std::string photo = "<Image Format=\"JPEG\" ImageFile=\"p.jpg\" ImageSize=\"1x1\">";
  testing::WriteTextFile(dir / "p.jpg", "p");
  testing::WriteTextFile(dir / "index.quorvane", "<Quorvane>" + photo + "</Image></Quorvane>");
  Album album(std::make_unique<FolderStore>(dir.path()));
  ASSERT_TRUE(AlbumIndex::LoadIndex(album)) << album.last_error();
  const std::string damaged = "<Quorvane Version=\"1.0\">" + photo + "\xff</Image></Quorvane>";
  testing::WriteTextFile(dir / "index.quorvane", damaged);
  album.set_title("Mine");
  EXPECT_FALSE(SaveAlbum(album));
  EXPECT_EQ(album.last_error(),
            "Another program changed the album's index and it could not be read whole: a byte "
            "0xFF at offset 79 ends the reading there; nothing was saved, so that nothing it "
            "holds is lost");
  EXPECT_EQ(testing::ReadTextFile(dir / "index.quorvane"), damaged);
}

}  // namespace
}  // namespace quorvane::album
