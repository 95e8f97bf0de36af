// The crash record's text, built without allocating, and the lock-free album table.
#include "crash/internal/record_writer.h"

#if __has_include(<cxxabi.h>)
#include <cxxabi.h>
#define QUORVANE_HAVE_CXXABI 1
#endif

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <span>
#include <string>
#include <typeinfo>

namespace quorvane::crash {
namespace internal {
namespace {

// The album list, written under a sequence count that is odd while a write is under way, so
// the handler can tell a torn copy and read again without taking a lock.
struct AlbumTable {
  std::atomic<unsigned> sequence{0};
  size_t count = 0;
  char paths[kMaxRecordedAlbums][kMaxAlbumPathBytes] = {};
};

AlbumTable g_albums;
AlbumTable g_album_copy;   // the handler's consistent copy
std::mutex g_album_write;  // orders writers; the handler never takes it

// Copies the album table as it stood between two writes; after many tries (the crash hit a
// writer halfway) it keeps the last copy, which may mix two lists but stays terminated.
const AlbumTable& CopyAlbums() {
  for (int attempt = 0; attempt < 1000; ++attempt) {
    const unsigned before = g_albums.sequence.load(std::memory_order_acquire);
    if (before % 2 != 0) continue;
    g_album_copy.count = g_albums.count;
    std::memcpy(g_album_copy.paths, g_albums.paths, sizeof g_album_copy.paths);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (g_albums.sequence.load(std::memory_order_relaxed) == before) break;
  }
  g_album_copy.count = std::min(g_album_copy.count, kMaxRecordedAlbums);
  for (size_t i = 0; i < g_album_copy.count; ++i) {
    g_album_copy.paths[i][kMaxAlbumPathBytes - 1] = '\0';
  }
  return g_album_copy;
}

void AppendTwo(FixedText& out, int value) { out.Number(static_cast<unsigned>(value), 10, 2); }

}  // namespace

void FixedText::Char(char c) {
  if (used_ + 1 >= capacity_) {
    if (write_ == nullptr) return;
    Flush();
  }
  buffer_[used_++] = c;
  buffer_[used_] = '\0';
}

void FixedText::Text(const char* text) {
  while (*text != '\0') Char(*text++);
}

void FixedText::Line(const char* text) {
  while (*text != '\0') {
    const char c = *text++;
    Char(c == '\n' || c == '\r' ? ' ' : c);
  }
  Char('\n');
}

void FixedText::Number(unsigned long long value, unsigned base, int min_digits) {
  char digits[24];
  int n = 0;
  do {
    digits[n++] = "0123456789abcdef"[value % base];
    value /= base;
  } while (value != 0 && n < 24);
  while (n < min_digits && n < 24) digits[n++] = '0';
  while (n > 0) Char(digits[--n]);
}

void FixedText::Flush() {
  if (write_ == nullptr || used_ == 0) return;
  write_(context_, buffer_, used_);
  used_ = 0;
  buffer_[0] = '\0';
}

platform::CivilTime UtcTime(long long seconds) {
  platform::CivilTime civil;
  platform::CivilFromOleDate(platform::OleDateFromUnixSeconds(seconds), &civil);
  return civil;
}

void AppendReportFolder(FixedText& out, const char* root, char separator,
                        const platform::CivilTime& t, unsigned long long pid) {
  out.Text(root);
  out.Char(separator);
  out.Number(static_cast<unsigned>(t.year), 10, 4);
  AppendTwo(out, t.month);
  AppendTwo(out, t.day);
  out.Char('-');
  AppendTwo(out, t.hour);
  AppendTwo(out, t.minute);
  AppendTwo(out, t.second);
  out.Char('-');
  out.Number(pid);
}

void WriteRecordHead(FixedText& out, const RecordFacts& facts) {
  out.Text("Signal: ");
  if (facts.signal_number > 0xffff) {  // a Windows exception code
    out.Text("0x");
    out.Number(facts.signal_number, 16, 8);
  } else {
    out.Number(facts.signal_number);
  }
  out.Char(' ');
  out.Line(facts.signal_name);
  if (facts.has_address) {
    out.Text("Address: 0x");
    out.Number(facts.address, 16);
    out.Char('\n');
  }
  const platform::CivilTime& t = facts.time;
  out.Text("Time: ");
  out.Number(static_cast<unsigned>(t.year), 10, 4);
  out.Char('-');
  AppendTwo(out, t.month);
  out.Char('-');
  AppendTwo(out, t.day);
  out.Char(' ');
  AppendTwo(out, t.hour);
  out.Char(':');
  AppendTwo(out, t.minute);
  out.Char(':');
  AppendTwo(out, t.second);
  out.Text(" UTC\nVersion: ");
  out.Line(facts.version);
  out.Text("Process: ");
  out.Number(facts.pid);
  out.Char('\n');
  if (facts.exception[0] != '\0') {
    out.Text("Exception: ");
    out.Line(facts.exception);
  }
  const AlbumTable& albums = CopyAlbums();
  for (size_t i = 0; i < albums.count; ++i) {
    out.Text("Album: ");
    out.Line(albums.paths[i]);
  }
  out.Text("Backtrace:\n");
}

void CaptureCurrentException(char* buffer, size_t capacity) {
  FixedText text(buffer, capacity);
  const std::exception_ptr current = std::current_exception();
  if (!current) {
    text.Text("terminate called without an active exception");
    return;
  }
#ifdef QUORVANE_HAVE_CXXABI
  const std::type_info* type = abi::__cxa_current_exception_type();
  int status = 0;
  char* name =
      type != nullptr ? abi::__cxa_demangle(type->name(), nullptr, nullptr, &status) : nullptr;
  text.Text(name != nullptr ? name : type != nullptr ? type->name() : "unknown exception");
  std::free(name);
#else
  text.Text("exception");
#endif
  try {
    std::rethrow_exception(current);
  } catch (const std::exception& e) {
    text.Text(": ");
    text.Text(e.what());
  } catch (...) {
  }
}

}  // namespace internal

void SetLoadedAlbums(std::span<const std::string> paths) {
  using internal::g_albums;
  std::lock_guard<std::mutex> lock(internal::g_album_write);
  const unsigned sequence = g_albums.sequence.load(std::memory_order_relaxed);
  g_albums.sequence.store(sequence + 1, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
  g_albums.count = std::min(paths.size(), kMaxRecordedAlbums);
  for (size_t i = 0; i < g_albums.count; ++i) {
    const size_t bytes = std::min(paths[i].size(), kMaxAlbumPathBytes - 1);
    std::memcpy(g_albums.paths[i], paths[i].data(), bytes);
    g_albums.paths[i][bytes] = '\0';
  }
  g_albums.sequence.store(sequence + 2, std::memory_order_release);
}

}  // namespace quorvane::crash
