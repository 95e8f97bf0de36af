#include "xml/byte_buffer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/memory_hint.h"

namespace quorvane::xml {

void ByteBuffer::Grow(std::string_view bytes) {
  if (shared_) Unshare();
  const size_t needed = data_.size() + bytes.size();
  if (needed >= capacity_) capacity_ += ((needed - capacity_) / kGrowthStep + 1) * kGrowthStep;
  // The storage underneath grows geometrically so that writing a large document stays linear;
  // capacity() reports the stepped value above.
  if (needed > data_.capacity()) data_.reserve(std::max(needed, 2 * data_.capacity()));
  data_.append(bytes);
}

void ByteBuffer::Reserve(size_t bytes) {
  if (shared_) Unshare();
  const size_t needed = data_.size() + bytes;
  if (needed <= data_.capacity()) return;
  data_.reserve(needed);
  // The new block is written once from start to end: a large one is best filled in large
  // pages. The bytes already in it were touched by the copy.
  platform::AdviseLargePages(data_.data() + data_.size(), data_.capacity() - data_.size());
}

std::string ByteBuffer::Detach() {
  if (shared_) Unshare();
  std::string out = std::move(data_);
  data_.clear();
  capacity_ = position_ = readable_end_ = searched_up_to_ = 0;
  ended_by_ff_ = false;
  return out;
}

void ByteBuffer::Adopt(std::string bytes) {
  data_ = std::move(bytes);
  shared_.reset();
  capacity_ = data_.size();
  position_ = 0;
  readable_end_ = searched_up_to_ = 0;
  ended_by_ff_ = false;
}

std::shared_ptr<const std::string> ByteBuffer::Share() {
  if (!shared_) {
    shared_ = std::make_shared<std::string>(std::move(data_));
    data_.clear();
  }
  return shared_;
}

void ByteBuffer::Unshare() {
  // The last owner may take the bytes back; otherwise others still read them.
  data_ = shared_.use_count() == 1 ? std::move(*shared_) : std::string(*shared_);
  shared_.reset();
}

void ByteBuffer::FindReadableEnd() const {
  // Once a 0xFF is found the end stays there; otherwise only the new bytes need a look.
  const std::string_view all = bytes();
  if (!ended_by_ff_) {
    const void* ff = std::memchr(all.data() + searched_up_to_, 0xFF, all.size() - searched_up_to_);
    ended_by_ff_ = ff != nullptr;
    readable_end_ =
        ff == nullptr ? all.size() : static_cast<size_t>(static_cast<const char*>(ff) - all.data());
  }
  searched_up_to_ = all.size();
}

}  // namespace quorvane::xml
