#include <string>
#include <vector>

#include "cli_test_fixture.h"

namespace quorvane {
namespace {

using testing::RunCli;
using testing::RunCliTogether;

class CliSettingsTest : public testing::CliTest {};

// Three programs each change one key of the same file at the same moment; none may take
// another's value away, however their loads and saves interleave.
TEST_F(CliSettingsTest, SimultaneousSetsKeepEveryValue) {
  constexpr int kRounds = 30;
  for (int round = 0; round < kRounds; ++round) {
    const std::string n = std::to_string(round);
    const std::vector<testing::CliResult> sets =
        RunCliTogether({{"settings", "set", "email.name", "n" + n},
                        {"settings", "set", "smtp.server", "s" + n},
                        {"settings", "set", "options.k" + n, "v" + n}});
    for (const testing::CliResult& set : sets) ASSERT_EQ(set.exit_code, 0) << set.err;

    const testing::CliResult show = RunCli({"settings", "show"});
    ASSERT_EQ(show.exit_code, 0) << show.err;
    for (const std::string& line :
         {"email.name=n" + n, "smtp.server=s" + n, "options.k" + n + "=v" + n}) {
      EXPECT_NE(show.out.find(line + "\n"), std::string::npos) << "round " << round << ": " << line;
    }
    // Every earlier round's option is still there too.
    for (int earlier = 0; earlier < round; ++earlier) {
      const std::string e = std::to_string(earlier);
      EXPECT_NE(show.out.find("options.k" + e + "=v" + e + "\n"), std::string::npos)
          << "round " << round << " lost options.k" << e;
    }
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace quorvane
