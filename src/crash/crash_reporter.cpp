// The reporter's entry point: the crashed program runs itself again with kReporterSwitch.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "crash/crash_handler.h"
#include "crash/crash_report.h"

namespace quorvane::crash {

bool IsReporterCall(int argc, char** argv) { return argc >= 2 && argv[1] == kReporterSwitch; }

int RunReporter(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s %s <report folder> <process id>\n", argv[0],
                 kReporterSwitch.data());
    return 2;
  }
  std::string error;
  if (!CompleteCrashReport(argv[2], std::atoi(argv[3]), &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  return 0;
}

}  // namespace quorvane::crash
