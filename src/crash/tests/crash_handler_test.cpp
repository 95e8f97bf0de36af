// Crashes a copy of this test program on purpose (a null pointer, an unhandled exception), with
// a second thread alive and albums loaded, and reads the report folder it leaves behind.
#include "crash/crash_handler.h"

#include <cctype>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <signal.h>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "crash/crash_report.h"
#include "testing/temp_dir.h"

extern char** environ;

// Outside an anonymous namespace, so their names are exported and show in every backtrace.
namespace crash_test_frames {

[[gnu::noinline]] void ParkedHelperThread() {
  std::mutex mutex;
  std::condition_variable never;
  std::unique_lock<std::mutex> lock(mutex);
  never.wait(lock, [] { return false; });
}

// The undefined-behaviour checker would stop at the store itself; the fault is what is tested.
[[gnu::noinline, gnu::no_sanitize_undefined]] void CrashThroughNullPointer() {
  volatile int* nowhere = nullptr;
  *nowhere = 1;
}

[[gnu::noinline]] void ThrowUnhandled() { throw std::runtime_error("album index unreadable"); }

}  // namespace crash_test_frames

namespace quorvane::crash {
namespace {

constexpr const char* kChildSwitch = "--crash-child";
const std::vector<std::string> kAlbums = {"/albums/Holiday <2025>", "/albums/Family & Friends"};

int CrashChild(const std::string& how, const char* root) {
  std::string error;
  if (!InstallCrashHandler(root, "9.8.7-test", &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 3;
  }
  SetLoadedAlbums(kAlbums);
  std::thread(crash_test_frames::ParkedHelperThread).detach();
  if (how == "null") crash_test_frames::CrashThroughNullPointer();
  if (how == "throw") crash_test_frames::ThrowUnhandled();
  return 4;
}

// Runs this program as a crashing child and returns its wait status. Without `debugger` its
// PATH (which its reporter inherits) leads nowhere.
int RunCrashingChild(const std::string& how, const std::filesystem::path& root, bool debugger) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  std::vector<std::string> args = {program, kChildSwitch, how, root.string()};
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  std::vector<char*> env;
  std::string no_path = "PATH=/nonexistent";
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (debugger || std::strncmp(*variable, "PATH=", 5) != 0) env.push_back(*variable);
  }
  if (!debugger) env.push_back(no_path.data());
  env.push_back(nullptr);
  pid_t child = -1;
  EXPECT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, argv.data(), env.data()), 0);
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

// The first "{Name}" placeholder left in `html`, or empty.
std::string LeftoverPlaceholder(const std::string& html) {
  for (size_t open = html.find('{'); open != std::string::npos; open = html.find('{', open + 1)) {
    size_t end = open + 1;
    while (end < html.size() && std::isalpha(static_cast<unsigned char>(html[end]))) ++end;
    if (end > open + 1 && end < html.size() && html[end] == '}' &&
        std::isupper(static_cast<unsigned char>(html[open + 1]))) {
      return html.substr(open, end - open + 1);
    }
  }
  return {};
}

bool HaveDebugger() { return std::system("command -v gdb >/dev/null 2>&1") == 0; }

struct CrashCase {
  const char* name;
  const char* how;
  int signal_number;
  const char* signal_text;
  const char* frame;
  const char* exception;
  bool debugger;  // whether the reporter may find gdb
};

class CrashReportTest : public ::testing::TestWithParam<CrashCase> {};

TEST_P(CrashReportTest, LeavesCompleteReportOfEveryThread) {
  const CrashCase& c = GetParam();
  quorvane::testing::TempDir temp;
  const std::filesystem::path root = CrashReportRoot(temp.path());
  const int status = RunCrashingChild(c.how, root, c.debugger);
  ASSERT_TRUE(WIFSIGNALED(status)) << "exit status " << status;
  EXPECT_EQ(WTERMSIG(status), c.signal_number);

  const std::vector<std::filesystem::path> reports = UnseenCrashReports(root);
  ASSERT_EQ(reports.size(), 1u);
  CrashRecord record;
  std::string error;
  ASSERT_TRUE(ReadCrashRecord(reports[0], &record, &error)) << error;
  EXPECT_EQ(record.signal, c.signal_text);
  EXPECT_EQ(record.exception, c.exception);
  EXPECT_EQ(record.version, "9.8.7-test");
  EXPECT_EQ(record.albums, kAlbums);
  EXPECT_NE(record.backtrace.find(c.frame), std::string::npos) << record.backtrace;
  ASSERT_EQ(record.time.size(), 23u) << record.time;  // "2026-11-25 18:20:01 UTC"
  EXPECT_EQ(record.time.substr(4, 1) + record.time.substr(13, 1) + record.time.substr(19),
            "-: UTC");

  const std::string html = quorvane::testing::ReadTextFile(reports[0] / kReportFileName);
  EXPECT_EQ(LeftoverPlaceholder(html), "");
  EXPECT_NE(html.find("Holiday &lt;2025&gt;"), std::string::npos);
  EXPECT_NE(html.find("Family &amp; Friends"), std::string::npos);
  EXPECT_NE(html.find("9.8.7-test"), std::string::npos);

  const std::string threads = quorvane::testing::ReadTextFile(reports[0] / kThreadsFileName);
  if (c.debugger && HaveDebugger()) {
    EXPECT_NE(threads.find(c.frame), std::string::npos) << threads;
    EXPECT_NE(threads.find("ParkedHelperThread"), std::string::npos) << threads;
    EXPECT_NE(threads.find("Thread 2"), std::string::npos) << threads;
    EXPECT_NE(html.find("ParkedHelperThread"), std::string::npos);
  } else {
    EXPECT_NE(threads.find("No debugger"), std::string::npos) << threads;
  }

  ASSERT_TRUE(MarkCrashReportSeen(reports[0], &error)) << error;
  EXPECT_TRUE(UnseenCrashReports(root).empty());
}

INSTANTIATE_TEST_SUITE_P(
    Crashes, CrashReportTest,
    ::testing::Values(CrashCase{"NullPointer", "null", SIGSEGV, "11 SIGSEGV",
                                "CrashThroughNullPointer", "", true},
                      CrashCase{"UnhandledException", "throw", SIGABRT, "6 SIGABRT",
                                "ThrowUnhandled", "std::runtime_error: album index unreadable",
                                true},
                      CrashCase{"NullPointerWithoutDebugger", "null", SIGSEGV, "11 SIGSEGV",
                                "CrashThroughNullPointer", "", false}),
    [](const ::testing::TestParamInfo<CrashCase>& param) { return param.param.name; });

}  // namespace
}  // namespace quorvane::crash

int main(int argc, char** argv) {
  using namespace quorvane::crash;
  if (IsReporterCall(argc, argv)) return RunReporter(argc, argv);
  if (argc == 4 && std::strcmp(argv[1], kChildSwitch) == 0) return CrashChild(argv[2], argv[3]);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
