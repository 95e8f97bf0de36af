// The byte buffer that the XML parser reads from and the writer writes into. Capacity grows
// in fixed 512-byte steps as the file format's tools always did; input ends at the length or
// at the first 0xFF byte, which the parser treats as end of input.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace quorvane::xml {

class ByteBuffer {
 public:
  static constexpr size_t kGrowthStep = 512;

  ByteBuffer() = default;
  // An input buffer over a copy of `bytes`.
  explicit ByteBuffer(std::string_view bytes) { Adopt(std::string(bytes)); }

  // Appends bytes. The capacity first grows by kGrowthStep, repeatedly, until
  // length + bytes.size() is below it.
  void Append(std::string_view bytes) {
    const size_t needed = data_.size() + bytes.size();
    if (needed < capacity_ && needed <= data_.capacity() && !shared_) {
      data_.append(bytes);
    } else {
      Grow(bytes);
    }
  }
  void Append(char byte) { Append(std::string_view(&byte, 1)); }

  // Makes room for `bytes` more bytes at once, so that a large output is written into one
  // block instead of a series of growing copies. capacity() is not changed.
  void Reserve(size_t bytes);

  // Hands the bytes and their ownership to the caller; the buffer is left empty.
  std::string Detach();

  // Takes over a block of bytes without copying, as input; the read position goes to 0.
  void Adopt(std::string bytes);

  size_t length() const { return bytes().size(); }
  size_t capacity() const { return capacity_; }
  size_t position() const { return position_; }
  std::string_view bytes() const { return shared_ ? std::string_view(*shared_) : data_; }

  // Reading. Input ends at the length or at the first 0xFF byte.
  bool AtEnd() const { return position_ >= ReadableEnd(); }
  unsigned char Peek() const { return static_cast<unsigned char>(bytes()[position_]); }
  // The readable bytes from the read position to the end of input.
  std::string_view Remaining() const {
    return bytes().substr(position_, ReadableEnd() - position_);
  }
  void Advance(size_t count) { position_ += count; }

  // Hands out shared ownership of the bytes, so that views into them (a parsed document's
  // names and values) stay valid after the buffer is gone. The bytes do not move; a later
  // Append or Detach works on a copy of its own.
  std::shared_ptr<const std::string> Share();

 private:
  // Where input ends; looked for only when read, so that writing stays cheap.
  size_t ReadableEnd() const {
    if (searched_up_to_ != length()) FindReadableEnd();
    return readable_end_;
  }
  void FindReadableEnd() const;
  // Append when the capacity must grow first.
  void Grow(std::string_view bytes);
  // Takes the bytes back from shared ownership before they change.
  void Unshare();

  std::string data_;  // empty while shared_ holds the bytes
  std::shared_ptr<std::string> shared_;
  size_t capacity_ = 0;
  size_t position_ = 0;
  mutable size_t readable_end_ = 0;
  mutable size_t searched_up_to_ = 0;
  mutable bool ended_by_ff_ = false;
};

}  // namespace quorvane::xml
