// The POSIX crash handler. The signal path runs in a process whose heap, locks and C library
// state may be broken, so it only uses what was prepared at installation (static buffers, the
// program's path, a warmed-up unwinder) and async-signal-safe system calls.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include "crash/crash_handler.h"
#include "crash/crash_report.h"
#include "crash/internal/record_writer.h"

extern char** environ;

namespace quorvane::crash {
namespace {

struct CrashSignal {
  int number;
  const char* name;
};
constexpr CrashSignal kCrashSignals[] = {
    {SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"},   {SIGILL, "SIGILL"},
    {SIGFPE, "SIGFPE"},   {SIGABRT, "SIGABRT"},
};

constexpr size_t kPathBytes = 4096;
constexpr int kMaxFrames = 128;
// The reporter runs a debugger over every thread, which takes seconds on a loaded machine;
// past this the process dies without waiting for the rest of the report.
constexpr int kReporterWaitTenths = 600;
// A stack overflow leaves no room on the thread's own stack, so the handler runs on this one.
constexpr size_t kAltStackBytes = 256 * 1024;

struct HandlerState {
  char root[kPathBytes] = {};
  char program[kPathBytes] = {};
  char version[64] = {};
  char exception[1024] = {};  // written by the terminate handler before it aborts
  char folder[kPathBytes] = {};
  char pid_text[24] = {};
  std::atomic<long> crashing_thread{0};
};

HandlerState g_state;
alignas(16) char g_alt_stack[kAltStackBytes];

using internal::FixedText;

void WriteToFile(void* context, const char* data, size_t size) {
  const int fd = *static_cast<const int*>(context);
  size_t done = 0;
  while (done < size) {
    const ssize_t written = write(fd, data + done, size - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    done += static_cast<size_t>(written);
  }
}

long CurrentThreadId() {
#ifdef __linux__
  return syscall(SYS_gettid);
#else
  return static_cast<long>(reinterpret_cast<uintptr_t>(&errno));  // per-thread address
#endif
}

const char* SignalName(int number) {
  for (const CrashSignal& s : kCrashSignals) {
    if (s.number == number) return s.name;
  }
  return "signal";
}

void WriteRecord(int signal_number, const siginfo_t* info) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const platform::CivilTime time = internal::UtcTime(now.tv_sec);
  const auto pid = static_cast<unsigned long long>(getpid());
  {
    FixedText pid_text(g_state.pid_text, sizeof g_state.pid_text);
    pid_text.Number(pid);
  }
  {
    FixedText folder(g_state.folder, sizeof g_state.folder);
    internal::AppendReportFolder(folder, g_state.root, '/', time, pid);
  }
  mkdir(g_state.folder, 0700);

  char record_path[kPathBytes + 32];
  {
    FixedText path(record_path, sizeof record_path);
    path.Text(g_state.folder);
    path.Char('/');
    path.Text(kRecordFileName.data());
  }
  int fd = open(record_path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return;
  char buffer[1024];
  {
    FixedText out(buffer, sizeof buffer, WriteToFile, &fd);
    // Only a fault has an address; a signal sent by kill or abort holds the sender there.
    const bool fault = info != nullptr && info->si_code > 0;
    internal::WriteRecordHead(out, {static_cast<unsigned>(signal_number), SignalName(signal_number),
                                    fault, fault ? reinterpret_cast<uintptr_t>(info->si_addr) : 0,
                                    time, g_state.version, pid, g_state.exception});
  }
  void* frames[kMaxFrames];
  const int depth = backtrace(frames, kMaxFrames);
  backtrace_symbols_fd(frames, depth, fd);
  close(fd);
}

pid_t ForkForReporter() {
#ifdef __linux__
  // The raw system call: the library's fork runs at-fork handlers and takes the allocator's
  // locks, which the crashed thread may hold.
  return static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0));
#else
  return fork();
#endif
}

void WaitForReporter(pid_t child) {
  for (int tenth = 0; tenth < kReporterWaitTenths; ++tenth) {
    int status = 0;
    const pid_t done = waitpid(child, &status, WNOHANG);
    if (done == child) return;
    // Someone else's SIGCHLD handler may reap the child first: then watch for it to be gone.
    if (done < 0 && errno == ECHILD && kill(child, 0) != 0) return;
    timespec tick{0, 100'000'000};
    nanosleep(&tick, nullptr);
  }
}

void StartReporter() {
  if (g_state.program[0] == '\0') return;
  int gate[2];
  if (pipe(gate) != 0) return;
  char* argv[] = {g_state.program, const_cast<char*>(kReporterSwitch.data()), g_state.folder,
                  g_state.pid_text, nullptr};
  const pid_t child = ForkForReporter();
  if (child == 0) {
    // Waits until the parent allowed it (and so the debugger it starts) to attach.
    close(gate[1]);
    char byte;
    while (read(gate[0], &byte, 1) < 0 && errno == EINTR) {
    }
    close(gate[0]);
    execve(g_state.program, argv, environ);
    _exit(127);
  }
  close(gate[0]);
#ifdef PR_SET_PTRACER
  if (child > 0) prctl(PR_SET_PTRACER, static_cast<unsigned long>(child), 0, 0, 0);
#endif
  close(gate[1]);
  if (child > 0) WaitForReporter(child);
}

void DieOf(int signal_number) {
  for (const CrashSignal& s : kCrashSignals) signal(s.number, SIG_DFL);
  // Blocked while the handler runs: it arrives, with the default action, when it returns (a
  // fault that repeats on return does the same).
  raise(signal_number);
}

void OnCrashSignal(int signal_number, siginfo_t* info, void* /*context*/) {
  const long thread = CurrentThreadId();
  long first = 0;
  if (!g_state.crashing_thread.compare_exchange_strong(first, thread)) {
    if (first == thread) {
      DieOf(signal_number);  // the handler itself crashed
      return;
    }
    for (;;) pause();  // another thread is reporting; its death ends this one
  }
  WriteRecord(signal_number, info);
  StartReporter();
  DieOf(signal_number);
}

void OnTerminate() {
  internal::CaptureCurrentException(g_state.exception, sizeof g_state.exception);
  std::abort();
}

bool CopyInto(const std::string& value, char* buffer, size_t capacity) {
  if (value.size() >= capacity) return false;
  std::memcpy(buffer, value.c_str(), value.size() + 1);
  return true;
}

}  // namespace

bool InstallCrashHandler(const std::filesystem::path& report_root, std::string_view version,
                         std::string* error) {
  std::error_code code;
  std::filesystem::create_directories(report_root, code);
  if (code) {
    *error = "Unable to create \"" + report_root.string() + "\": " + code.message();
    return false;
  }
  const std::filesystem::path root = std::filesystem::absolute(report_root, code);
  if (code || !CopyInto(root.string(), g_state.root, sizeof g_state.root - 64)) {
    *error = "The crash report folder \"" + report_root.string() + "\" cannot be used.";
    return false;
  }
  const std::string version_text(version.substr(0, sizeof g_state.version - 1));
  CopyInto(version_text, g_state.version, sizeof g_state.version);
#ifdef __linux__
  const ssize_t length = readlink("/proc/self/exe", g_state.program, sizeof g_state.program - 1);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof g_state.program - 1) {
    *error = "Unable to find this program's file for its crash reporter.";
    return false;
  }
  g_state.program[length] = '\0';
#endif

  // The first backtrace loads the unwinder, which allocates: never let that be in a crash.
  void* frame[1];
  backtrace(frame, 1);

  stack_t alt_stack{};
  alt_stack.ss_sp = g_alt_stack;
  alt_stack.ss_size = sizeof g_alt_stack;
  sigaltstack(&alt_stack, nullptr);
  struct sigaction action {};
  action.sa_sigaction = OnCrashSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (const CrashSignal& s : kCrashSignals) sigaddset(&action.sa_mask, s.number);
  for (const CrashSignal& s : kCrashSignals) sigaction(s.number, &action, nullptr);
  std::set_terminate(OnTerminate);
  return true;
}

}  // namespace quorvane::crash
