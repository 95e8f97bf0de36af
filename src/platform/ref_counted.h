// Intrusive reference counting for history records and entries, which the window thread and a
// worker thread may both hold: the count is atomic, and the object deletes itself when the
// last RefPtr lets go.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace quorvane::platform {

class RefCounted {
 public:
  RefCounted(const RefCounted&) = delete;
  RefCounted& operator=(const RefCounted&) = delete;

  void AddRef() const { count_.fetch_add(1, std::memory_order_relaxed); }
  void Release() const {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  int32_t ref_count() const { return count_.load(std::memory_order_acquire); }

 protected:
  RefCounted() = default;
  virtual ~RefCounted() = default;

 private:
  mutable std::atomic<int32_t> count_{0};
};

template <typename T>
class RefPtr {
 public:
  RefPtr() = default;
  explicit RefPtr(T* object) : object_(object) {
    if (object_) object_->AddRef();
  }
  RefPtr(const RefPtr& other) : RefPtr(other.object_) {}
  template <typename U>
  RefPtr(const RefPtr<U>& other) : RefPtr(other.get()) {}  // NOLINT: implicit upcast
  RefPtr(RefPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  RefPtr& operator=(RefPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~RefPtr() {
    if (object_) object_->Release();
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

template <typename T, typename... Args>
RefPtr<T> MakeRef(Args&&... args) {
  return RefPtr<T>(new T(std::forward<Args>(args)...));
}

}  // namespace quorvane::platform
