// The Windows crash handler: an unhandled structured exception (access violation, stack
// overflow, an abort after an unhandled C++ exception) writes the crash record with the same
// lines as elsewhere and runs the reporter, waiting for it, before Windows ends the process.
// The filter runs in a broken process too, so it only uses buffers prepared at installation
// and kernel calls. Not yet on Windows: the crashing thread's stack and the other threads'.
#include <cstdlib>
#include <exception>
#include <string>
#include <windows.h>

#include "crash/crash_handler.h"
#include "crash/crash_report.h"
#include "crash/internal/record_writer.h"

namespace quorvane::crash {
namespace {

using internal::FixedText;

constexpr size_t kPathChars = 4096;

struct HandlerState {
  wchar_t root[kPathChars] = {};
  wchar_t program[kPathChars] = {};
  wchar_t command_line[kPathChars * 2 + 64] = {};
  char version[64] = {};
  char exception[1024] = {};
  LONG entered = 0;
};
HandlerState g_state;

void WriteToHandle(void* context, const char* data, size_t size) {
  DWORD written = 0;
  WriteFile(static_cast<HANDLE>(context), data, static_cast<DWORD>(size), &written, nullptr);
}

// Appends ASCII `text` to a wide buffer of `capacity` characters.
void AppendWide(wchar_t* buffer, size_t capacity, const char* text) {
  size_t used = lstrlenW(buffer);
  while (*text != '\0' && used + 1 < capacity) buffer[used++] = static_cast<wchar_t>(*text++);
  buffer[used] = L'\0';
}

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* info) {
  if (InterlockedExchange(&g_state.entered, 1) != 0) return EXCEPTION_CONTINUE_SEARCH;
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  const unsigned long long ticks =
      (static_cast<unsigned long long>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
  const platform::CivilTime time =
      internal::UtcTime(static_cast<long long>(ticks / 10000000ULL) - 11644473600LL);
  const unsigned long long pid = GetCurrentProcessId();

  char leaf[64];
  {
    FixedText text(leaf, sizeof leaf);
    internal::AppendReportFolder(text, "", '\\', time, pid);
  }
  static wchar_t folder[kPathChars + 64];
  static wchar_t record[kPathChars + 96];
  lstrcpynW(folder, g_state.root, kPathChars);
  AppendWide(folder, sizeof folder / sizeof folder[0], leaf);
  CreateDirectoryW(folder, nullptr);
  lstrcpynW(record, folder, kPathChars + 64);
  AppendWide(record, sizeof record / sizeof record[0], "\\");
  AppendWide(record, sizeof record / sizeof record[0], kRecordFileName.data());
  const HANDLE file =
      CreateFileW(record, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    const EXCEPTION_RECORD* what = info->ExceptionRecord;
    char buffer[1024];
    {
      FixedText out(buffer, sizeof buffer, WriteToHandle, file);
      internal::WriteRecordHead(out, {static_cast<unsigned>(what->ExceptionCode), "exception", true,
                                      reinterpret_cast<uintptr_t>(what->ExceptionAddress), time,
                                      g_state.version, pid, g_state.exception});
      out.Text("(the stack is not recorded on this system)\n");
    }
    CloseHandle(file);
  }

  // "<program>" --write-crash-report "<folder>" <pid>
  wchar_t* line = g_state.command_line;
  const size_t capacity = sizeof g_state.command_line / sizeof line[0];
  line[0] = L'\0';
  AppendWide(line, capacity, "\"");
  lstrcatW(line, g_state.program);
  AppendWide(line, capacity, "\" ");
  AppendWide(line, capacity, kReporterSwitch.data());
  AppendWide(line, capacity, " \"");
  lstrcatW(line, folder);
  AppendWide(line, capacity, "\" ");
  char pid_text[24];
  {
    FixedText text(pid_text, sizeof pid_text);
    text.Number(pid);
  }
  AppendWide(line, capacity, pid_text);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (CreateProcessW(g_state.program, line, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                     &process)) {
    WaitForSingleObject(process.hProcess, 60000);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

void OnTerminate() {
  internal::CaptureCurrentException(g_state.exception, sizeof g_state.exception);
  // Through the filter above, which abort() would bypass.
  RaiseException(0xE0000001, EXCEPTION_NONCONTINUABLE, 0, nullptr);
  std::abort();
}

}  // namespace

bool InstallCrashHandler(const std::filesystem::path& report_root, std::string_view version,
                         std::string* error) {
  std::error_code code;
  std::filesystem::create_directories(report_root, code);
  const std::wstring root = std::filesystem::absolute(report_root, code).wstring();
  if (code || root.size() >= kPathChars - 64) {
    *error = "Unable to create \"" + report_root.string() + "\": " + code.message();
    return false;
  }
  lstrcpynW(g_state.root, root.c_str(), kPathChars);
  if (GetModuleFileNameW(nullptr, g_state.program, kPathChars) == 0) {
    *error = "Unable to find this program's file for its crash reporter.";
    return false;
  }
  const std::string version_text(version.substr(0, sizeof g_state.version - 1));
  lstrcpynA(g_state.version, version_text.c_str(), sizeof g_state.version);
  SetUnhandledExceptionFilter(OnUnhandledException);
  std::set_terminate(OnTerminate);
  return true;
}

bool CollectThreadStacks(int /*pid*/, int /*timeout_seconds*/, std::string* /*stacks*/,
                         std::string* error) {
  *error =
      "Listing the threads is not available on this system; only the crash record is in "
      "this report.";
  return false;
}

}  // namespace quorvane::crash
