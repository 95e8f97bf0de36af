#include "image/internal/jpeg_reduced.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>
// After jpeglib.h, which it extends.
#include <jerror.h>

#include "image/internal/decode.h"
#include "image/internal/decode_budget.h"
#include "image/internal/jpeg_walk.h"

namespace quorvane::image::internal {
namespace {

// libjpeg reports a fatal error by calling error_exit, which must not return: we jump back to
// the guarded step. Only C frames and POD locals lie between, so no destructor is skipped.
struct ErrorManager {
  jpeg_error_mgr pub;
  std::jmp_buf jump;
  bool cut_short;  // the data ended before the image did
};

[[noreturn]] void ErrorExit(j_common_ptr cinfo) {
  std::longjmp(reinterpret_cast<ErrorManager*>(cinfo->err)->jump, 1);
}

// Warnings (corrupt data the decoder repairs) would go to stderr; the decode carries on quietly.
void IgnoreMessage(j_common_ptr) {}

// Data that ends before the image does is fatal, as it is to the full decoder (libvips with
// fail_on=truncated); libjpeg's own rule pads the rest with grey and warns.
void EmitMessage(j_common_ptr cinfo, int level) {
  if (level < 0 && cinfo->err->msg_code == JWRN_JPEG_EOF) {
    reinterpret_cast<ErrorManager*>(cinfo->err)->cut_short = true;
    cinfo->err->error_exit(cinfo);
  }
}

uint16_t Read16(const unsigned char* p, bool big_endian) {
  return big_endian ? static_cast<uint16_t>(p[0] << 8 | p[1])
                    : static_cast<uint16_t>(p[1] << 8 | p[0]);
}

uint32_t Read32(const unsigned char* p, bool big_endian) {
  return big_endian ? (uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3])
                    : (uint32_t{p[3]} << 24 | uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0]);
}

// One libjpeg decompressor, its error manager and its input file.
class Decompressor {
 public:
  Decompressor() {
    cinfo_.err = jpeg_std_error(&errors_.pub);
    errors_.pub.error_exit = ErrorExit;
    errors_.pub.output_message = IgnoreMessage;
    errors_.pub.emit_message = EmitMessage;
  }
  ~Decompressor() {
    jpeg_destroy_decompress(&cinfo_);  // safe on a never-created struct: mem is null
    if (file_ != nullptr) std::fclose(file_);
  }
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  j_decompress_ptr get() { return &cinfo_; }
  std::FILE* file() const { return file_; }
  bool cut_short() const { return errors_.cut_short; }

  // Runs `step` with libjpeg's fatal errors caught; false when libjpeg gave up. `step` must
  // hold nothing with a destructor: a fatal error leaves it by longjmp.
  template <typename Step>
  bool Guarded(Step&& step) {
    if (setjmp(errors_.jump) != 0) return false;
    step(&cinfo_);
    return true;
  }

  // A reader of the whole input from its first byte, for the walks that do without libjpeg.
  // Null when the file cannot be rewound.
  std::optional<ByteScanner> Rescan() {
    if (file_ == nullptr) return ByteScanner(data_, size_);
    if (std::fseek(file_, 0, SEEK_SET) != 0) return std::nullopt;
    return ByteScanner(file_);
  }

  // Reads the header of a JPEG in memory or in a file, keeping APP1 (EXIF) markers.
  bool OpenHeader(const uint8_t* data, size_t size, std::FILE* file) {
    file_ = file;
    data_ = data;
    size_ = size;
    return Guarded([&](j_decompress_ptr c) {
      jpeg_create_decompress(c);
      if (file != nullptr) {
        jpeg_stdio_src(c, file);
      } else {
        jpeg_mem_src(c, data, static_cast<unsigned long>(size));
      }
      jpeg_save_markers(c, JPEG_APP0 + 1, 0xFFFF);
      jpeg_read_header(c, TRUE);
    });
  }

 private:
  jpeg_decompress_struct cinfo_{};
  ErrorManager errors_{};
  std::FILE* file_ = nullptr;
  const uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

bool TakesColourSpace(J_COLOR_SPACE space) {
  return space == JCS_GRAYSCALE || space == JCS_YCbCr || space == JCS_RGB;
}

bool WithinLimits(uint64_t width, uint64_t height) {
  return width >= 1 && height >= 1 && width <= static_cast<uint64_t>(kMaxSide) &&
         height <= static_cast<uint64_t>(kMaxSide) && width * height <= MaxImagePixels();
}

// A progressive file read at 1/8 scale needs only its DC coefficients: they are read straight
// from the file (jpeg_walk.h), so the memory is one value per block, not libjpeg's 64.
ReducedDecode DecodeFirstScans(Decompressor& d, ReducedJpeg* out) {
  j_decompress_ptr c = d.get();
  JpegFrame frame;
  frame.width = static_cast<int>(c->image_width);
  frame.height = static_cast<int>(c->image_height);
  frame.components = c->num_components;
  frame.ycc = c->jpeg_color_space == JCS_YCbCr;
  if (c->arith_code || (frame.components != 1 && frame.components != 3)) {
    return ReducedDecode::kDeclined;
  }
  for (int i = 0; i < frame.components; ++i) {
    frame.component[i].id = c->comp_info[i].component_id;
    frame.component[i].h = c->comp_info[i].h_samp_factor;
    frame.component[i].v = c->comp_info[i].v_samp_factor;
    frame.component[i].quant_table = c->comp_info[i].quant_tbl_no;
  }
  std::optional<ByteScanner> in = d.Rescan();
  if (!in) return ReducedDecode::kDeclined;
  switch (DecodeDcScans(*in, frame, &out->rgb)) {
    case DcDecode::kDone:
      out->width = (frame.width + 7) / 8;
      out->height = (frame.height + 7) / 8;
      out->decode = ThumbnailDecode::kFirstScans;
      return ReducedDecode::kDone;
    case DcDecode::kCutShort:
      return ReducedDecode::kCutShort;
    case DcDecode::kDeclined:
      break;
  }
  return ReducedDecode::kDeclined;
}

// Decodes an opened JPEG at the smallest scale n/8 whose output is at least twice
// stored_width x stored_height (or whole): the final filter then still shrinks by 2 or more,
// which keeps the result close to a full decode scaled down. At 1/8 only DC coefficients
// count, so a progressive file is read for its DC scans alone.
ReducedDecode DecodeToCover(Decompressor& d, int stored_width, int stored_height,
                            ReducedJpeg* out) {
  j_decompress_ptr c = d.get();
  const uint64_t w = c->image_width;
  const uint64_t h = c->image_height;
  const uint64_t want_width = 2 * static_cast<uint64_t>(stored_width);
  const uint64_t want_height = 2 * static_cast<uint64_t>(stored_height);
  int n = 1;
  while (n < 8 && ((w * n + 7) / 8 < want_width || (h * n + 7) / 8 < want_height)) ++n;
  if (c->progressive_mode && n == 1) {
    // A file the walk does not take goes to the general path, which judges it.
    return DecodeFirstScans(d, out);
  }
  if (!d.Guarded([&](j_decompress_ptr cc) {
        cc->scale_num = static_cast<unsigned>(n);
        cc->scale_denom = 8;
        cc->out_color_space = JCS_RGB;
        // Smoothing guesses missing AC coefficients; at 1/8 only DC is used anyway.
        cc->do_block_smoothing = FALSE;
        jpeg_calc_output_dimensions(cc);
      })) {
    return ReducedDecode::kDeclined;
  }
  if (c->output_components != 3 || c->output_width < 1 || c->output_height < 1) {
    return ReducedDecode::kDeclined;
  }
  // The result, and for a file of several scans every coefficient of the picture, which
  // libjpeg keeps until the last scan is in.
  uint64_t need = uint64_t{c->output_width} * c->output_height * 3;
  if (jpeg_has_multiple_scans(c)) {
    for (int i = 0; i < c->num_components; ++i) {
      const jpeg_component_info& component = c->comp_info[i];
      need += (uint64_t{component.width_in_blocks} + component.h_samp_factor) *
              (uint64_t{component.height_in_blocks} + component.v_samp_factor) * sizeof(JBLOCK);
    }
  }
  DecodeBudget::Hold hold;
  std::string refused;
  if (!DecodeBudget::Shared().Acquire(need, &hold, &refused)) return ReducedDecode::kDeclined;
  out->width = static_cast<int>(c->output_width);
  out->height = static_cast<int>(c->output_height);
  const size_t stride = static_cast<size_t>(out->width) * 3;
  out->rgb.assign(stride * static_cast<size_t>(out->height), 0);
  uint8_t* pixels = out->rgb.data();
  if (!d.Guarded([&](j_decompress_ptr cc) {
        jpeg_start_decompress(cc);
        while (cc->output_scanline < cc->output_height) {
          JSAMPROW row = pixels + stride * cc->output_scanline;
          if (jpeg_read_scanlines(cc, &row, 1) != 1) break;
        }
        // Reads on to the end-of-image marker: a file cut short fails here.
        jpeg_finish_decompress(cc);
      })) {
    return d.cut_short() ? ReducedDecode::kCutShort : ReducedDecode::kDeclined;
  }
  out->decode = ThumbnailDecode::kReducedScale;
  return ReducedDecode::kDone;
}

// Uses the EXIF preview when it covers the size and has the photo's shape: scaled to the
// photo's width, its height is within one preview pixel of the photo's proportion (camera
// previews of another shape carry black bars).
bool DecodePreview(std::string_view bytes, int stored_width, int stored_height,
                   uint64_t photo_width, uint64_t photo_height, ReducedJpeg* out) {
  Decompressor d;
  if (!d.OpenHeader(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), nullptr)) {
    return false;
  }
  j_decompress_ptr c = d.get();
  const uint64_t pw = c->image_width;
  const uint64_t ph = c->image_height;
  if (!TakesColourSpace(c->jpeg_color_space) || !WithinLimits(pw, ph)) return false;
  if (pw < static_cast<uint64_t>(stored_width) || ph < static_cast<uint64_t>(stored_height)) {
    return false;
  }
  const uint64_t lhs = ph * photo_width;
  const uint64_t rhs = pw * photo_height;
  if ((lhs > rhs ? lhs - rhs : rhs - lhs) > photo_width) return false;
  if (DecodeToCover(d, stored_width, stored_height, out) != ReducedDecode::kDone) return false;
  out->decode = ThumbnailDecode::kExifPreview;
  return true;
}

bool HasJpegSignature(const uint8_t* bytes) { return bytes[0] == 0xFF && bytes[1] == 0xD8; }

std::FILE* OpenFile(const std::filesystem::path& path) {
#if defined(_WIN32)
  return _wfopen(path.c_str(), L"rb");
#else
  return std::fopen(path.c_str(), "rb");
#endif
}

}  // namespace

bool ParseExifLayout(std::string_view tiff, ExifLayout* layout) {
  const auto* base = reinterpret_cast<const unsigned char*>(tiff.data());
  const size_t size = tiff.size();
  if (size < 8) return false;
  bool big_endian;
  if (base[0] == 'I' && base[1] == 'I') {
    big_endian = false;
  } else if (base[0] == 'M' && base[1] == 'M') {
    big_endian = true;
  } else {
    return false;
  }
  if (Read16(base + 2, big_endian) != 42) return false;
  // An IFD's entry table and the next-IFD offset after it, or 0 when it does not fit.
  auto entries = [&](uint32_t offset) -> uint32_t {
    if (offset < 8 || offset > size || size - offset < 2) return 0;
    const uint32_t count = Read16(base + offset, big_endian);
    if ((size - offset - 2) / 12 < count) return 0;
    return count;
  };
  const uint32_t ifd0 = Read32(base + 4, big_endian);
  const uint32_t count0 = entries(ifd0);
  uint32_t ifd1 = 0;
  for (uint32_t i = 0; i < count0; ++i) {
    const unsigned char* entry = base + ifd0 + 2 + 12 * i;
    if (Read16(entry, big_endian) == 0x0112 && Read16(entry + 2, big_endian) == 3) {
      const int value = Read16(entry + 8, big_endian);
      if (value >= 1 && value <= 8) layout->orientation = value;
    }
  }
  if (count0 > 0 && size - ifd0 - 2 - 12 * count0 >= 4) {
    ifd1 = Read32(base + ifd0 + 2 + 12 * count0, big_endian);
  }
  const uint32_t count1 = ifd1 != ifd0 ? entries(ifd1) : 0;
  uint32_t offset = 0;
  uint32_t length = 0;
  for (uint32_t i = 0; i < count1; ++i) {
    const unsigned char* entry = base + ifd1 + 2 + 12 * i;
    const uint16_t tag = Read16(entry, big_endian);
    const uint16_t type = Read16(entry + 2, big_endian);
    const uint32_t value =
        type == 3 ? Read16(entry + 8, big_endian) : Read32(entry + 8, big_endian);
    if (tag == 0x0201) offset = value;
    if (tag == 0x0202) length = value;
  }
  if (length > 0 && offset >= 8 && offset <= size && size - offset >= length) {
    layout->preview_offset = offset;
    layout->preview_length = length;
  }
  return true;
}

bool JpegReachesEnd(const JpegInput& input) {
  if (input.data != nullptr) {
    ByteScanner scanner(input.data, input.size);
    return ReachesEndOfImage(scanner);
  }
  std::FILE* file = OpenFile(input.path);
  if (file == nullptr) return false;
  ByteScanner scanner(file);
  const bool reaches = ReachesEndOfImage(scanner);
  std::fclose(file);
  return reaches;
}

ReducedDecode DecodeJpegReduced(const JpegInput& input, int max_width, int max_height,
                                bool use_exif_preview, ReducedJpeg* out) {
  Decompressor d;
  if (input.data != nullptr) {
    if (input.size < 4 || !HasJpegSignature(input.data)) return ReducedDecode::kDeclined;
    if (!d.OpenHeader(input.data, input.size, nullptr)) return ReducedDecode::kDeclined;
  } else {
    std::FILE* file = OpenFile(input.path);
    if (file == nullptr) return ReducedDecode::kDeclined;
    uint8_t signature[2] = {0, 0};
    const bool jpeg = std::fread(signature, 1, 2, file) == 2 && HasJpegSignature(signature) &&
                      std::fseek(file, 0, SEEK_SET) == 0;
    if (!jpeg) {
      std::fclose(file);
      return ReducedDecode::kDeclined;
    }
    if (!d.OpenHeader(nullptr, 0, file)) return ReducedDecode::kDeclined;
  }
  j_decompress_ptr c = d.get();
  const uint64_t w = c->image_width;
  const uint64_t h = c->image_height;
  if (!TakesColourSpace(c->jpeg_color_space) || !WithinLimits(w, h)) {
    return ReducedDecode::kDeclined;
  }

  ExifLayout exif;
  std::string_view tiff;
  for (jpeg_saved_marker_ptr m = c->marker_list; m != nullptr; m = m->next) {
    if (m->marker == JPEG_APP0 + 1 && m->data_length > 6 &&
        std::memcmp(m->data, "Exif\0\0", 6) == 0) {
      tiff = std::string_view(reinterpret_cast<const char*>(m->data) + 6, m->data_length - 6);
      if (ParseExifLayout(tiff, &exif)) break;
      tiff = {};
    }
  }
  const bool turned = exif.orientation >= 5;
  const int upright_width = static_cast<int>(turned ? h : w);
  const int upright_height = static_cast<int>(turned ? w : h);
  const FitSize fit = FitInside(upright_width, upright_height, max_width, max_height);
  // A photo that already fits (a cached thumbnail, say) is decoded whole.
  const bool shrinks = fit.width != upright_width || fit.height != upright_height;
  const int stored_width = turned ? fit.height : fit.width;
  const int stored_height = turned ? fit.width : fit.height;

  out->source_width = static_cast<int>(w);
  out->source_height = static_cast<int>(h);
  out->orientation = exif.orientation;
  if (!shrinks || !use_exif_preview || exif.preview_length == 0 ||
      !DecodePreview(tiff.substr(exif.preview_offset, exif.preview_length), stored_width,
                     stored_height, w, h, out)) {
    // Both ways of decoding the photo itself read it to its end-of-image marker.
    return DecodeToCover(d, stored_width, stored_height, out);
  }
  // The preview leaves the photo unread. A file the full decoder refuses must be refused here
  // too, so its end is looked for, without decoding.
  std::optional<ByteScanner> scanner = d.Rescan();
  return scanner && ReachesEndOfImage(*scanner) ? ReducedDecode::kDone : ReducedDecode::kCutShort;
}

}  // namespace quorvane::image::internal
