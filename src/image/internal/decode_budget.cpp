#include "image/internal/decode_budget.h"

#include <algorithm>

#include "image/image.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace quorvane::image {
namespace {

constexpr uint64_t kMiB = uint64_t{1} << 20;

// All the memory the machine has: no single decode may need more.
uint64_t PhysicalMemory() {
#if defined(_WIN32)
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  if (GlobalMemoryStatusEx(&status) != 0) return status.ullTotalPhys;
#else
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long page_size = sysconf(_SC_PAGE_SIZE);
  if (pages > 0 && page_size > 0) {
    return static_cast<uint64_t>(pages) * static_cast<uint64_t>(page_size);
  }
#endif
  return uint64_t{4} << 30;  // unknown: a common size
}

}  // namespace

void SetDecodeMemory(const DecodeMemory& limits) {
  internal::DecodeBudget::Shared().SetLimits(limits.budget, limits.ceiling);
}

DecodeMemory GetDecodeMemory() {
  const internal::DecodeBudget& shared = internal::DecodeBudget::Shared();
  return DecodeMemory{shared.budget(), shared.ceiling()};
}

namespace internal {

DecodeBudget& DecodeBudget::Shared() {
  static DecodeBudget shared(uint64_t{1} << 30, PhysicalMemory());
  return shared;
}

void DecodeBudget::SetLimits(uint64_t budget, uint64_t ceiling) {
  {
    std::lock_guard lock(mutex_);
    budget_ = budget;
    ceiling_ = ceiling;
  }
  changed_.notify_all();
}

uint64_t DecodeBudget::budget() const {
  std::lock_guard lock(mutex_);
  return budget_;
}

uint64_t DecodeBudget::ceiling() const {
  std::lock_guard lock(mutex_);
  return ceiling_;
}

bool DecodeBudget::Acquire(uint64_t bytes, Hold* hold, std::string* error) {
  std::unique_lock lock(mutex_);
  if (bytes > ceiling_) {
    *error = "decoding it needs " + Megabytes(bytes) + " of memory; at most " +
             Megabytes(ceiling_) + " are allowed for one image";
    return false;
  }
  const uint64_t ticket = next_ticket_++;
  changed_.wait(lock,
                [&] { return ticket == serving_ && (held_ == 0 || held_ + bytes <= budget_); });
  ++serving_;
  held_ += bytes;
  peak_ = std::max(peak_, held_);
  lock.unlock();
  changed_.notify_all();  // the next in line may fit too
  hold->Release();
  hold->owner_ = this;
  hold->bytes_ = bytes;
  return true;
}

void DecodeBudget::Give(uint64_t bytes) {
  {
    std::lock_guard lock(mutex_);
    held_ -= bytes;
  }
  changed_.notify_all();
}

uint64_t DecodeBudget::peak() const {
  std::lock_guard lock(mutex_);
  return peak_;
}

void DecodeBudget::ResetPeak() {
  std::lock_guard lock(mutex_);
  peak_ = held_;
}

void DecodeBudget::Hold::Release() {
  if (owner_ != nullptr) owner_->Give(bytes_);
  owner_ = nullptr;
  bytes_ = 0;
}

std::string Megabytes(uint64_t bytes) { return std::to_string((bytes + kMiB - 1) / kMiB) + " MB"; }

}  // namespace internal
}  // namespace quorvane::image
