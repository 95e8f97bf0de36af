// The pieces of a crash handler that must work while the process is broken, shared by the
// POSIX and Windows handlers: text built in fixed buffers (written out through a plain
// function when full), the UTC calendar without the C library's time-zone lock, the crash
// record's lines, and the album table read without a lock.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "crash/crash_handler.h"
#include "platform/ole_date.h"

namespace quorvane::crash::internal {

// Writes `size` bytes somewhere (a file descriptor, a file handle) given as `context`.
using WriteBytes = void (*)(void* context, const char* data, size_t size);

// Text into a fixed buffer, always NUL-terminated. Without a writer it is cut at the buffer's
// end; with one, the buffer is written out whenever it fills and at destruction.
class FixedText {
 public:
  FixedText(char* buffer, size_t capacity, WriteBytes write = nullptr, void* context = nullptr)
      : buffer_(buffer), capacity_(capacity), write_(write), context_(context) {
    buffer_[0] = '\0';
  }
  ~FixedText() { Flush(); }
  FixedText(const FixedText&) = delete;
  FixedText& operator=(const FixedText&) = delete;

  void Char(char c);
  void Text(const char* text);
  // A value of a record line: a line break in it must not start a line of its own.
  void Line(const char* text);
  void Number(unsigned long long value, unsigned base = 10, int min_digits = 1);
  void Flush();

 private:
  char* buffer_;
  size_t capacity_;
  WriteBytes write_;
  void* context_;
  size_t used_ = 0;
};

// The UTC calendar fields of a time (seconds since 1970), without gmtime, which may take the
// C library's time-zone lock.
platform::CivilTime UtcTime(long long seconds_since_1970);

// "<root>/yyyymmdd-hhmmss-<pid>" (the separator given).
void AppendReportFolder(FixedText& out, const char* root, char separator,
                        const platform::CivilTime& t, unsigned long long pid);

// What the handler knows when it writes the record.
struct RecordFacts {
  unsigned signal_number;
  const char* signal_name;
  bool has_address;
  uintptr_t address;
  platform::CivilTime time;
  const char* version;
  unsigned long long pid;
  const char* exception;  // empty when there was none
};
// Every line of the record up to and including "Backtrace:", the loaded albums among them.
void WriteRecordHead(FixedText& out, const RecordFacts& facts);

// For a terminate handler: the current exception's type and what() ("std::runtime_error:
// text"), or that there was none, into `buffer`. Not for a signal handler (it demangles).
void CaptureCurrentException(char* buffer, size_t capacity);

}  // namespace quorvane::crash::internal
