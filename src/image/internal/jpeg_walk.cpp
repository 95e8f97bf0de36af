#include "image/internal/jpeg_walk.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "image/internal/decode_budget.h"

namespace quorvane::image::internal {

bool ByteScanner::Skip(size_t count) {
  const size_t here = static_cast<size_t>(end_ - next_);
  if (count <= here) {
    next_ += count;
    return true;
  }
  next_ = end_;
  count -= here;
  if (file_ == nullptr || std::fseek(file_, static_cast<long>(count), SEEK_CUR) != 0) return false;
  // Seeking past the end succeeds; reading there does not.
  if (Get() < 0) return false;
  --next_;
  return true;
}

bool ByteScanner::SkipPastFF() {
  for (;;) {
    const void* ff = std::memchr(next_, 0xFF, static_cast<size_t>(end_ - next_));
    if (ff != nullptr) {
      next_ = static_cast<const uint8_t*>(ff) + 1;
      return true;
    }
    next_ = end_;
    if (!Refill()) return false;
  }
}

bool ByteScanner::Refill() {
  if (file_ == nullptr) return false;
  const size_t got = std::fread(buffer_.data(), 1, buffer_.size(), file_);
  next_ = buffer_.data();
  end_ = next_ + got;
  return got > 0;
}

namespace {

constexpr int kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kDht = 0xC4, kDqt = 0xDB, kDri = 0xDD;

bool IsRestart(int code) { return code >= 0xD0 && code <= 0xD7; }

// The code of the next marker, restart markers included: any bytes before it are skipped as
// libjpeg skips them, as are fill bytes and stuffed zeros. -1 at the end of the data.
int NextMarkerOrRestart(ByteScanner& in) {
  for (;;) {
    if (!in.SkipPastFF()) return -1;
    int code = in.Get();
    while (code == 0xFF) code = in.Get();
    if (code != 0) return code;
  }
}

// The same, restart markers inside scan data skipped.
int NextMarker(ByteScanner& in) {
  int code = NextMarkerOrRestart(in);
  while (IsRestart(code)) code = NextMarkerOrRestart(in);
  return code;
}

// A segment's length field; -1 when the data ends or the length is impossible.
int SegmentLength(ByteScanner& in) {
  const int high = in.Get();
  const int low = in.Get();
  if (high < 0 || low < 0 || (high << 8 | low) < 2) return -1;
  return (high << 8 | low) - 2;
}

// One Huffman table, decoded code by code as the standard lays out (canonical codes by length).
struct HuffmanTable {
  bool defined = false;
  std::array<int32_t, 18> max_code{};  // per length 1..16; -1 when no code has that length
  std::array<int32_t, 17> offset{};    // value index minus first code, per length
  std::array<uint8_t, 256> values{};
};

bool ReadHuffmanTable(ByteScanner& in, int* remaining, HuffmanTable* table) {
  if (*remaining < 16) return false;
  std::array<int, 17> counts{};
  int total = 0;
  for (int length = 1; length <= 16; ++length) {
    counts[length] = in.Get();
    if (counts[length] < 0) return false;
    total += counts[length];
  }
  *remaining -= 16;
  if (total > 256 || total > *remaining) return false;
  for (int i = 0; i < total; ++i) {
    const int value = in.Get();
    if (value < 0) return false;
    table->values[static_cast<size_t>(i)] = static_cast<uint8_t>(value);
  }
  *remaining -= total;
  int32_t code = 0;
  int index = 0;
  for (int length = 1; length <= 16; ++length) {
    table->offset[length] = index - code;
    code += counts[length];
    index += counts[length];
    table->max_code[length] = counts[length] > 0 ? code - 1 : -1;
    if (code > (1 << length)) return false;  // more codes than the length can hold
    code <<= 1;
  }
  table->max_code[17] = INT32_MAX;
  table->defined = true;
  return true;
}

// Bits of one scan's entropy-coded data. A marker ends the data: from there on zero bits are
// read, as libjpeg does, and the marker waits for whoever reads the next segment.
class BitReader {
 public:
  explicit BitReader(ByteScanner& in) : in_(in) {}

  int Bit() {
    if (count_ == 0) Fill();
    --count_;
    return (bits_ >> count_) & 1;
  }
  int Bits(int n) {
    int value = 0;
    for (int i = 0; i < n; ++i) value = value << 1 | Bit();
    return value;
  }
  int Decode(const HuffmanTable& table) {
    int32_t code = 0;
    for (int length = 1; length <= 16; ++length) {
      code = code << 1 | Bit();
      if (code <= table.max_code[length]) {
        return table.values[static_cast<size_t>(code + table.offset[length]) & 0xFF];
      }
    }
    return 0;  // a code no table holds: libjpeg warns and takes 0 too
  }
  // Drops what is left of the byte and reads on to the restart marker; false when another marker
  // or the end comes instead.
  bool Restart() {
    count_ = 0;
    if (marker_ < 0 && !ended_) marker_ = NextMarkerOrRestart(in_);
    if (!IsRestart(marker_)) return false;
    marker_ = -1;
    return true;
  }
  // The marker after the scan data; -1 at the end of the data.
  int FinishScan() {
    count_ = 0;
    if (marker_ >= 0 && !IsRestart(marker_)) return marker_;
    return ended_ ? -1 : NextMarker(in_);
  }
  bool ended() const { return ended_; }

 private:
  void Fill() {
    int byte = 0;
    if (marker_ < 0 && !ended_) {
      byte = in_.Get();
      if (byte == 0xFF) {
        int next = in_.Get();
        while (next == 0xFF) next = in_.Get();
        if (next > 0) {  // a marker; a zero stood for a data byte of 0xFF
          marker_ = next;
          byte = 0;
        } else if (next < 0) {
          byte = -1;
        }
      }
      if (byte < 0) {
        ended_ = true;
        byte = 0;
      }
    }
    bits_ = static_cast<uint32_t>(byte);
    count_ = 8;
  }

  ByteScanner& in_;
  uint32_t bits_ = 0;
  int count_ = 0;
  int marker_ = -1;
  bool ended_ = false;
};

// Extends a received difference of `size` bits to its signed value.
int Extend(int value, int size) {
  return value < (1 << (size - 1)) ? value - (1 << size) + 1 : value;
}

uint8_t Clamp(int value) { return static_cast<uint8_t>(std::clamp(value, 0, 255)); }

}  // namespace

bool ReachesEndOfImage(ByteScanner& in) {
  if (in.Get() != 0xFF || in.Get() != kSoi) return false;
  for (int marker = NextMarker(in); marker >= 0; marker = NextMarker(in)) {
    if (marker == kEoi) return true;
    if (marker == 0x01 || marker == kSoi) continue;  // the others without a length were skipped
    const int length = SegmentLength(in);
    if (length < 0 || !in.Skip(static_cast<size_t>(length))) return false;
  }
  return false;
}

DcDecode DecodeDcScans(ByteScanner& in, const JpegFrame& frame, std::vector<uint8_t>* rgb) {
  const int count = frame.components;
  if ((count != 1 && count != 3) || frame.width < 1 || frame.height < 1) {
    return DcDecode::kDeclined;
  }
  int h_max = 1, v_max = 1;
  for (int c = 0; c < count; ++c) {
    const JpegFrame::Component& component = frame.component[c];
    if (component.h < 1 || component.h > 4 || component.v < 1 || component.v > 4 ||
        component.quant_table < 0 || component.quant_table > 3) {
      return DcDecode::kDeclined;
    }
    h_max = std::max(h_max, component.h);
    v_max = std::max(v_max, component.v);
  }
  const int mcus_x = (frame.width + 8 * h_max - 1) / (8 * h_max);
  const int mcus_y = (frame.height + 8 * v_max - 1) / (8 * v_max);
  const int out_width = (frame.width + 7) / 8;
  const int out_height = (frame.height + 7) / 8;

  // One DC value per block, over the blocks of whole MCUs.
  struct Plane {
    int blocks_x = 0, blocks_y = 0;  // in whole MCUs
    int used_x = 0, used_y = 0;      // that hold picture
    std::vector<int16_t> dc;
    int quant = 0;  // the table's DC step, latched at the first scan
    bool seen = false;
  };
  std::array<Plane, 3> planes;
  uint64_t need = static_cast<uint64_t>(out_width) * out_height * 3;
  for (int c = 0; c < count; ++c) {
    const JpegFrame::Component& component = frame.component[c];
    Plane& plane = planes[static_cast<size_t>(c)];
    plane.blocks_x = mcus_x * component.h;
    plane.blocks_y = mcus_y * component.v;
    const int64_t samples_x = (int64_t{frame.width} * component.h + h_max - 1) / h_max;
    const int64_t samples_y = (int64_t{frame.height} * component.v + v_max - 1) / v_max;
    plane.used_x = static_cast<int>((samples_x + 7) / 8);
    plane.used_y = static_cast<int>((samples_y + 7) / 8);
    need += static_cast<uint64_t>(plane.blocks_x) * plane.blocks_y * sizeof(int16_t);
  }
  DecodeBudget::Hold hold;
  std::string refused;
  if (!DecodeBudget::Shared().Acquire(need, &hold, &refused)) return DcDecode::kDeclined;
  for (int c = 0; c < count; ++c) {
    Plane& plane = planes[static_cast<size_t>(c)];
    plane.dc.assign(static_cast<size_t>(plane.blocks_x) * plane.blocks_y, 0);
  }

  std::array<HuffmanTable, 4> dc_tables;
  std::array<int, 4> quant_dc = {-1, -1, -1, -1};
  int restart_interval = 0;
  if (in.Get() != 0xFF || in.Get() != kSoi) return DcDecode::kCutShort;
  int marker = NextMarker(in);
  for (;;) {
    if (marker < 0) return DcDecode::kCutShort;
    if (marker == kEoi) break;
    if (marker == 0x01 || marker == kSoi) {
      marker = NextMarker(in);
      continue;
    }
    int length = SegmentLength(in);
    if (length < 0) return DcDecode::kCutShort;
    if (marker == kDht) {
      while (length > 0) {
        const int kind = in.Get();
        if (kind < 0) return DcDecode::kCutShort;
        --length;
        HuffmanTable table;
        if (!ReadHuffmanTable(in, &length, &table)) return DcDecode::kDeclined;
        if ((kind >> 4) == 0 && (kind & 15) < 4) dc_tables[static_cast<size_t>(kind & 15)] = table;
      }
    } else if (marker == kDqt) {
      while (length > 0) {
        const int kind = in.Get();
        if (kind < 0) return DcDecode::kCutShort;
        const int entry_bytes = (kind >> 4) == 0 ? 1 : 2;
        if (length < 1 + 64 * entry_bytes || (kind & 15) > 3) return DcDecode::kDeclined;
        // The first entry is the DC step; the rest are for AC.
        int step = in.Get();
        if (entry_bytes == 2) step = step << 8 | in.Get();
        if (step < 0 || !in.Skip(static_cast<size_t>(63 * entry_bytes))) return DcDecode::kCutShort;
        quant_dc[static_cast<size_t>(kind & 15)] = step;
        length -= 1 + 64 * entry_bytes;
      }
    } else if (marker == kDri) {
      if (length != 2) return DcDecode::kDeclined;
      const int high = in.Get();
      const int low = in.Get();
      if (low < 0) return DcDecode::kCutShort;
      restart_interval = high << 8 | low;
    } else if (marker == kSos) {
      const int components = in.Get();
      if (components < 1 || components > 4 || length != 4 + 2 * components) {
        return components < 0 ? DcDecode::kCutShort : DcDecode::kDeclined;
      }
      std::array<int, 4> in_scan{};
      std::array<int, 4> table_of{};
      for (int i = 0; i < components; ++i) {
        const int id = in.Get();
        const int tables = in.Get();
        if (tables < 0) return DcDecode::kCutShort;
        int index = -1;
        for (int c = 0; c < count; ++c) {
          if (frame.component[c].id == id) index = c;
        }
        if (index < 0) return DcDecode::kDeclined;
        in_scan[static_cast<size_t>(i)] = index;
        table_of[static_cast<size_t>(i)] = tables >> 4;
      }
      const int start = in.Get();
      const int end = in.Get();
      const int approximation = in.Get();
      if (approximation < 0) return DcDecode::kCutShort;
      const int high_bit = approximation >> 4;
      const int low_bit = approximation & 15;
      BitReader bits(in);
      if (start == 0) {  // a DC scan; the standard keeps AC out of it in progressive files
        if (end != 0 || low_bit > 13 || components > count) return DcDecode::kDeclined;
        for (int i = 0; i < components; ++i) {
          const size_t c = static_cast<size_t>(in_scan[static_cast<size_t>(i)]);
          const size_t table = static_cast<size_t>(table_of[static_cast<size_t>(i)]);
          if (high_bit == 0 && (table > 3 || !dc_tables[table].defined)) {
            return DcDecode::kDeclined;
          }
          if (!planes[c].seen) {
            const int quant = quant_dc[static_cast<size_t>(frame.component[c].quant_table)];
            if (quant < 0) return DcDecode::kDeclined;
            planes[c].quant = quant;
            planes[c].seen = true;
          }
        }
        std::array<int, 4> predictor{};
        // Decodes the block at (x, y) of plane `c`, read with DC table `table`.
        const auto unit = [&](size_t c, int x, int y, size_t table) {
          Plane& plane = planes[c];
          int16_t& value = plane.dc[static_cast<size_t>(y) * plane.blocks_x + x];
          if (high_bit == 0) {
            const int size = std::min(bits.Decode(dc_tables[table]), 15);
            const int difference = size == 0 ? 0 : Extend(bits.Bits(size), size);
            // Bounded so that damaged data cannot overflow it.
            predictor[c] = std::clamp(predictor[c] + difference, -(1 << 16), 1 << 16);
            value = static_cast<int16_t>(
                std::clamp<int64_t>(int64_t{predictor[c]} << low_bit, -32768, 32767));
          } else if (bits.Bit() != 0) {
            value = static_cast<int16_t>(value | (1 << low_bit));
          }
        };
        int until_restart = restart_interval;
        const auto next_unit = [&] {
          if (restart_interval == 0) return true;
          if (until_restart == 0) {
            if (!bits.Restart()) return false;  // libjpeg would resynchronise; damage shows
            predictor = {};
            until_restart = restart_interval;
          }
          --until_restart;
          return true;
        };
        if (components == 1) {
          const size_t c = static_cast<size_t>(in_scan[0]);
          for (int y = 0; y < planes[c].used_y && !bits.ended(); ++y) {
            for (int x = 0; x < planes[c].used_x; ++x) {
              if (!next_unit()) break;
              unit(c, x, y, static_cast<size_t>(table_of[0]));
            }
          }
        } else {
          for (int my = 0; my < mcus_y && !bits.ended(); ++my) {
            for (int mx = 0; mx < mcus_x; ++mx) {
              if (!next_unit()) break;
              for (int i = 0; i < components; ++i) {
                const size_t c = static_cast<size_t>(in_scan[static_cast<size_t>(i)]);
                const JpegFrame::Component& component = frame.component[c];
                for (int by = 0; by < component.v; ++by) {
                  for (int bx = 0; bx < component.h; ++bx) {
                    unit(c, mx * component.h + bx, my * component.v + by,
                         static_cast<size_t>(table_of[static_cast<size_t>(i)]));
                  }
                }
              }
            }
          }
        }
      }
      // AC scans (and what is left of a DC scan) are skipped without decoding.
      marker = bits.FinishScan();
      continue;
    } else if (!in.Skip(static_cast<size_t>(length))) {
      return DcDecode::kCutShort;
    }
    marker = NextMarker(in);
  }

  for (int c = 0; c < count; ++c) {
    if (!planes[static_cast<size_t>(c)].seen) return DcDecode::kDeclined;  // no DC for it
  }
  // Each block's average, as libjpeg's 1 x 1 inverse transform gives it; colour planes of lower
  // resolution are repeated.
  rgb->assign(static_cast<size_t>(out_width) * out_height * 3, 0);
  uint8_t* out = rgb->data();
  std::array<int, 3> sample{};
  for (int y = 0; y < out_height; ++y) {
    for (int x = 0; x < out_width; ++x, out += 3) {
      for (int c = 0; c < count; ++c) {
        const Plane& plane = planes[static_cast<size_t>(c)];
        const JpegFrame::Component& component = frame.component[c];
        const int bx = std::min(x * component.h / h_max, plane.blocks_x - 1);
        const int by = std::min(y * component.v / v_max, plane.blocks_y - 1);
        const int dc = plane.dc[static_cast<size_t>(by) * plane.blocks_x + bx];
        sample[static_cast<size_t>(c)] =
            static_cast<int>(std::clamp<int64_t>((int64_t{dc} * plane.quant + 4) >> 3, -512, 512)) +
            128;
      }
      if (count == 1) {
        out[0] = out[1] = out[2] = Clamp(sample[0]);
      } else if (!frame.ycc) {
        out[0] = Clamp(sample[0]);
        out[1] = Clamp(sample[1]);
        out[2] = Clamp(sample[2]);
      } else {
        const double luma = std::clamp(sample[0], 0, 255);
        const double cb = std::clamp(sample[1], 0, 255) - 128.0;
        const double cr = std::clamp(sample[2], 0, 255) - 128.0;
        out[0] = Clamp(static_cast<int>(luma + 1.402 * cr + 0.5));
        out[1] = Clamp(static_cast<int>(luma - 0.344136 * cb - 0.714136 * cr + 0.5));
        out[2] = Clamp(static_cast<int>(luma + 1.772 * cb + 0.5));
      }
    }
  }
  return DcDecode::kDone;
}

}  // namespace quorvane::image::internal
