// The POSIX crash handler. The signal path runs in a process whose heap, locks and C library
// state may be broken, so it only uses what was prepared at installation (static buffers, the
// program's path, a warmed-up unwinder) and async-signal-safe system calls.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <exception>
#include <execinfo.h>
#include <fcntl.h>
#include <mutex>
#include <signal.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <typeinfo>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include "crash/crash_handler.h"
#include "crash/crash_report.h"

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

// The album list, written under a sequence count that is odd while a write is under way, so
// the handler can tell a torn copy and read again without taking a lock.
struct AlbumTable {
  std::atomic<unsigned> sequence{0};
  size_t count = 0;
  char paths[kMaxRecordedAlbums][kMaxAlbumPathBytes] = {};
};

struct HandlerState {
  char root[kPathBytes] = {};
  char program[kPathBytes] = {};
  char version[64] = {};
  char exception[1024] = {};  // written by the terminate handler before it aborts
  char folder[kPathBytes] = {};
  char pid_text[24] = {};
  AlbumTable albums;
  AlbumTable album_copy;   // the handler's consistent copy
  std::mutex album_write;  // orders writers; the handler never takes it
  std::atomic<long> crashing_thread{0};
};

HandlerState g_state;
alignas(16) char g_alt_stack[kAltStackBytes];

// Text into a fixed buffer, always NUL-terminated and cut at its end; or, with a file, written
// out whenever the buffer fills.
class FixedText {
 public:
  FixedText(char* buffer, size_t capacity, int fd = -1)
      : buffer_(buffer), capacity_(capacity), fd_(fd) {
    buffer_[0] = '\0';
  }
  ~FixedText() { Flush(); }
  FixedText(const FixedText&) = delete;
  FixedText& operator=(const FixedText&) = delete;

  void Char(char c) {
    if (used_ + 1 >= capacity_) {
      if (fd_ < 0) return;
      Flush();
    }
    buffer_[used_++] = c;
    buffer_[used_] = '\0';
  }
  void Text(const char* text) {
    while (*text != '\0') Char(*text++);
  }
  // A value of a record line: a line break in it must not start a line of its own.
  void Line(const char* text) {
    while (*text != '\0') {
      const char c = *text++;
      Char(c == '\n' || c == '\r' ? ' ' : c);
    }
    Char('\n');
  }
  void Number(unsigned long long value, unsigned base = 10, int min_digits = 1) {
    char digits[24];
    int n = 0;
    do {
      digits[n++] = "0123456789abcdef"[value % base];
      value /= base;
    } while (value != 0 && n < 24);
    while (n < min_digits && n < 24) digits[n++] = '0';
    while (n > 0) Char(digits[--n]);
  }
  void Flush() {
    if (fd_ < 0) return;
    size_t done = 0;
    while (done < used_) {
      const ssize_t written = write(fd_, buffer_ + done, used_ - done);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) break;
      done += static_cast<size_t>(written);
    }
    used_ = 0;
    buffer_[0] = '\0';
  }

 private:
  char* buffer_;
  size_t capacity_;
  int fd_;
  size_t used_ = 0;
};

struct CivilTime {
  long long year;
  unsigned month, day, hour, minute, second;
};

// UTC calendar fields without gmtime, which may take the time-zone lock.
CivilTime ToCivil(long long seconds) {
  long long days = seconds / 86400;
  long long rest = seconds % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  days += 719468;
  const long long era = (days >= 0 ? days : days - 146096) / 146097;
  const long long day_of_era = days - era * 146097;
  const long long year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const long long day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const long long mp = (5 * day_of_year + 2) / 153;
  CivilTime out;
  out.day = static_cast<unsigned>(day_of_year - (153 * mp + 2) / 5 + 1);
  out.month = static_cast<unsigned>(mp < 10 ? mp + 3 : mp - 9);
  out.year = year_of_era + era * 400 + (out.month <= 2 ? 1 : 0);
  out.hour = static_cast<unsigned>(rest / 3600);
  out.minute = static_cast<unsigned>(rest / 60 % 60);
  out.second = static_cast<unsigned>(rest % 60);
  return out;
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

// Copies the album table as it stood between two writes; after many tries (the crash hit a
// writer halfway) it keeps the last copy, which may mix two lists but stays terminated.
void CopyAlbums() {
  AlbumTable& from = g_state.albums;
  AlbumTable& to = g_state.album_copy;
  for (int attempt = 0; attempt < 1000; ++attempt) {
    const unsigned before = from.sequence.load(std::memory_order_acquire);
    if (before % 2 != 0) continue;
    to.count = from.count;
    std::memcpy(to.paths, from.paths, sizeof to.paths);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (from.sequence.load(std::memory_order_relaxed) == before) break;
  }
  if (to.count > kMaxRecordedAlbums) to.count = kMaxRecordedAlbums;
  for (size_t i = 0; i < to.count; ++i) to.paths[i][kMaxAlbumPathBytes - 1] = '\0';
}

void WriteRecord(int signal_number, const siginfo_t* info) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const CivilTime t = ToCivil(now.tv_sec);
  const auto pid = static_cast<unsigned long long>(getpid());
  {
    FixedText pid_text(g_state.pid_text, sizeof g_state.pid_text);
    pid_text.Number(pid);
  }
  FixedText folder(g_state.folder, sizeof g_state.folder);
  folder.Text(g_state.root);
  folder.Char('/');
  folder.Number(static_cast<unsigned long long>(t.year), 10, 4);
  folder.Number(t.month, 10, 2);
  folder.Number(t.day, 10, 2);
  folder.Char('-');
  folder.Number(t.hour, 10, 2);
  folder.Number(t.minute, 10, 2);
  folder.Number(t.second, 10, 2);
  folder.Char('-');
  folder.Number(pid);
  mkdir(g_state.folder, 0700);

  char record_path[kPathBytes + 32];
  {
    FixedText path(record_path, sizeof record_path);
    path.Text(g_state.folder);
    path.Char('/');
    path.Text(kRecordFileName.data());
  }
  const int fd = open(record_path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return;
  char buffer[1024];
  {
    FixedText out(buffer, sizeof buffer, fd);
    out.Text("Signal: ");
    out.Number(static_cast<unsigned>(signal_number));
    out.Char(' ');
    out.Text(SignalName(signal_number));
    // Only a fault has an address; an abort's siginfo holds the sender there.
    if (signal_number != SIGABRT && info != nullptr) {
      out.Text("\nAddress: 0x");
      out.Number(reinterpret_cast<uintptr_t>(info->si_addr), 16);
    }
    out.Text("\nTime: ");
    out.Number(static_cast<unsigned long long>(t.year), 10, 4);
    out.Char('-');
    out.Number(t.month, 10, 2);
    out.Char('-');
    out.Number(t.day, 10, 2);
    out.Char(' ');
    out.Number(t.hour, 10, 2);
    out.Char(':');
    out.Number(t.minute, 10, 2);
    out.Char(':');
    out.Number(t.second, 10, 2);
    out.Text(" UTC\nVersion: ");
    out.Text(g_state.version);
    out.Text("\nProcess: ");
    out.Text(g_state.pid_text);
    out.Char('\n');
    if (g_state.exception[0] != '\0') {
      out.Text("Exception: ");
      out.Line(g_state.exception);
    }
    CopyAlbums();
    for (size_t i = 0; i < g_state.album_copy.count; ++i) {
      out.Text("Album: ");
      out.Line(g_state.album_copy.paths[i]);
    }
    out.Text("Backtrace:\n");
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
  const int saved_errno = errno;
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
  errno = saved_errno;
  DieOf(signal_number);
}

void OnTerminate() {
  FixedText text(g_state.exception, sizeof g_state.exception);
  if (std::exception_ptr current = std::current_exception()) {
    const std::type_info* type = abi::__cxa_current_exception_type();
    int status = 0;
    char* name =
        type != nullptr ? abi::__cxa_demangle(type->name(), nullptr, nullptr, &status) : nullptr;
    text.Text(name != nullptr ? name : type != nullptr ? type->name() : "unknown exception");
    std::free(name);
    try {
      std::rethrow_exception(current);
    } catch (const std::exception& e) {
      text.Text(": ");
      text.Text(e.what());
    } catch (...) {
    }
  } else {
    text.Text("terminate called without an active exception");
  }
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

void SetLoadedAlbums(std::span<const std::string> paths) {
  std::lock_guard<std::mutex> lock(g_state.album_write);
  AlbumTable& table = g_state.albums;
  const unsigned sequence = table.sequence.load(std::memory_order_relaxed);
  table.sequence.store(sequence + 1, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
  table.count = std::min(paths.size(), kMaxRecordedAlbums);
  for (size_t i = 0; i < table.count; ++i) {
    const size_t bytes = std::min(paths[i].size(), kMaxAlbumPathBytes - 1);
    std::memcpy(table.paths[i], paths[i].data(), bytes);
    table.paths[i][bytes] = '\0';
  }
  table.sequence.store(sequence + 2, std::memory_order_release);
}

}  // namespace quorvane::crash
