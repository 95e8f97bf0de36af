// The memory that decoding may take, shared by every thread of the process: each decode holds
// its estimated share while it runs, so parallel workers never add up to more than the budget
// and never multiply the worst case. Internal to src/image; it knows nothing of libvips.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

namespace quorvane::image::internal {

class DecodeBudget {
 public:
  // The one budget of the process, with the limits of SetDecodeMemory (image.h).
  static DecodeBudget& Shared();

  DecodeBudget(uint64_t budget, uint64_t ceiling) : budget_(budget), ceiling_(ceiling) {}
  DecodeBudget(const DecodeBudget&) = delete;
  DecodeBudget& operator=(const DecodeBudget&) = delete;

  void SetLimits(uint64_t budget, uint64_t ceiling);
  uint64_t budget() const;
  uint64_t ceiling() const;

  // A share of the budget, given back when it goes.
  class Hold {
   public:
    Hold() = default;
    ~Hold() { Release(); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    void Release();

   private:
    friend class DecodeBudget;
    DecodeBudget* owner_ = nullptr;
    uint64_t bytes_ = 0;
  };

  // Blocks until `bytes` fit beside what other threads hold, first come first served; a share
  // larger than the whole budget waits until nothing else is held and then runs alone. False,
  // with "decoding it needs N MB of memory; at most M MB are allowed for one image" in *error,
  // when `bytes` exceed the ceiling. A thread must not ask while it holds a share.
  bool Acquire(uint64_t bytes, Hold* hold, std::string* error);

  // The most held at once since the last reset, for tests and measurements.
  uint64_t peak() const;
  void ResetPeak();

 private:
  void Give(uint64_t bytes);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  uint64_t budget_;
  uint64_t ceiling_;
  uint64_t held_ = 0;
  uint64_t peak_ = 0;
  uint64_t next_ticket_ = 0;  // handed to each asker in turn
  uint64_t serving_ = 0;      // the ticket whose turn it is
};

// Megabytes, rounded up, for messages.
std::string Megabytes(uint64_t bytes);

}  // namespace quorvane::image::internal
