#include "xml/byte_buffer.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace quorvane::xml {

void ByteBuffer::Append(std::string_view bytes) {
  const size_t needed = data_.size() + bytes.size();
  while (needed >= capacity_) capacity_ += kGrowthStep;
  // The storage underneath grows geometrically so that writing a large document stays linear;
  // capacity() reports the stepped value above.
  if (needed > data_.capacity()) data_.reserve(std::max(needed, 2 * data_.capacity()));
  data_.append(bytes);
}

std::string ByteBuffer::Detach() {
  std::string out = std::move(data_);
  data_.clear();
  capacity_ = position_ = readable_end_ = searched_up_to_ = 0;
  ended_by_ff_ = false;
  return out;
}

void ByteBuffer::Adopt(std::string bytes) {
  data_ = std::move(bytes);
  capacity_ = data_.size();
  position_ = 0;
  readable_end_ = searched_up_to_ = 0;
  ended_by_ff_ = false;
}

void ByteBuffer::FindReadableEnd() const {
  // Once a 0xFF is found the end stays there; otherwise only the new bytes need a look.
  if (!ended_by_ff_) {
    const void* ff =
        std::memchr(data_.data() + searched_up_to_, 0xFF, data_.size() - searched_up_to_);
    ended_by_ff_ = ff != nullptr;
    readable_end_ = ff == nullptr
                        ? data_.size()
                        : static_cast<size_t>(static_cast<const char*>(ff) - data_.data());
  }
  searched_up_to_ = data_.size();
}

}  // namespace quorvane::xml
