// The crash handler: on a fatal signal or an unhandled exception it writes a crash record into
// a fresh report folder and starts the reporter (this same program, run with kReporterSwitch),
// which lists every thread's stack and writes the HTML error report while the crashed process
// waits. Everything the signal path needs is prepared at installation, so that path only makes
// async-signal-safe system calls.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace quorvane::crash {

// The first argument that makes a program run the reporter instead of its own work:
//   <program> --write-crash-report <report folder> <pid of the crashed process>
inline constexpr std::string_view kReporterSwitch = "--write-crash-report";

// The loaded albums a crash record lists: at most this many, each cut to kMaxAlbumPathBytes.
inline constexpr size_t kMaxRecordedAlbums = 32;
inline constexpr size_t kMaxAlbumPathBytes = 1024;

// Installs the handler for SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT (on an alternate stack,
// so a stack overflow is reported too) and the terminate handler that records an unhandled
// exception's type and text. Reports go into <report_root>/<yyyymmdd-hhmmss>-<pid>/;
// report_root is created here. Call it once, first thing in main, before other threads start.
// False, with *error, when the folder cannot be created or this program cannot be found.
bool InstallCrashHandler(const std::filesystem::path& report_root, std::string_view version,
                         std::string* error);

// Replaces the album list of the next crash record. Safe to call from any thread, while a
// crash handler may read the list on another.
void SetLoadedAlbums(std::span<const std::string> paths);

// True when `argv` asks for the reporter (argv[1] is kReporterSwitch).
bool IsReporterCall(int argc, char** argv);
// Runs the reporter for the arguments kReporterSwitch announces; returns the exit status.
int RunReporter(int argc, char** argv);

}  // namespace quorvane::crash
