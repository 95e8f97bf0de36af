// The report folder a crash leaves behind and what reads and completes it: the crash record
// the signal handler writes, the thread stacks the reporter collects with a debugger, the HTML
// error report filled from its built-in template, and the "seen" mark of reports already
// offered to the user.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::crash {

inline constexpr std::string_view kRecordFileName = "crash.txt";
inline constexpr std::string_view kThreadsFileName = "threads.txt";
inline constexpr std::string_view kReportFileName = "ErrorReport.html";
inline constexpr std::string_view kSeenFileName = ".seen";

// The folder that holds one sub-folder per crash, inside the program's data folder.
std::filesystem::path CrashReportRoot(const std::filesystem::path& data_folder);

// The crash record: "Name: value" lines, "Album:" once per album, then "Backtrace:" and the
// crashing thread's raw stack to the end of the file.
struct CrashRecord {
  std::string signal;     // "11 SIGSEGV"
  std::string address;    // the faulting address, "0x0"
  std::string time;       // "2026-11-25 18:20:01 UTC"
  std::string version;    // the program's version
  std::string process;    // the crashed process id
  std::string exception;  // "std::runtime_error: text" for an unhandled exception, else empty
  std::vector<std::string> albums;
  std::string backtrace;
};

// Reads <folder>/crash.txt. False, with *error, when it cannot be read or is no crash record.
bool ReadCrashRecord(const std::filesystem::path& folder, CrashRecord* record, std::string* error);

// The error report: the built-in template with {Version}, {Time}, {Signal}, {Address},
// {Exception}, {Process}, {Albums}, {Backtrace}, {Threads} and {Folder} replaced by the
// entity-encoded values.
std::string FillErrorReport(const CrashRecord& record, std::string_view threads,
                            const std::filesystem::path& folder);

// Lists every thread of process `pid` with a symbolised stack, by attaching a debugger (gdb on
// the PATH) for at most `timeout_seconds`. False, with the reason in *error, when no debugger
// is there or it gave nothing.
bool CollectThreadStacks(int pid, int timeout_seconds, std::string* stacks, std::string* error);

// The reporter's work on a report folder whose record is written: writes the error report at
// once, then the thread stacks of `pid` (or why there are none) into threads.txt, and the error
// report again with them. False, with *error, when the record is unreadable or a file cannot be
// written.
bool CompleteCrashReport(const std::filesystem::path& folder, int pid, std::string* error);

// The error report of a folder: its ErrorReport.html, or, when the reporter never wrote it, one
// filled from the crash record (and threads.txt when there is one). False, with *error, when
// neither can be read.
bool LoadErrorReport(const std::filesystem::path& folder, std::string* html, std::string* error);

// Copies the report folder's files (not the seen mark) into a new folder of the same name in
// `destination`; *copied_to gets it. False, with *error, on the first file that fails.
bool CopyCrashReport(const std::filesystem::path& folder, const std::filesystem::path& destination,
                     std::filesystem::path* copied_to, std::string* error);

// Report folders under `root` holding a crash record and not yet marked seen, oldest first.
std::vector<std::filesystem::path> UnseenCrashReports(const std::filesystem::path& root);
// Marks a report folder as offered, so it is not offered again.
bool MarkCrashReportSeen(const std::filesystem::path& folder, std::string* error);

}  // namespace quorvane::crash
