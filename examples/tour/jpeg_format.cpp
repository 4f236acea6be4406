// JPEG through libjpeg. Its errors come as a call that must not return, so each conversation with it is one function
// that jumps back here; such a function holds no object with a destructor.
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <utility>

// The library's header needs size_t and FILE declared before it.
#include <jpeglib.h>

#include <jerror.h>

#include "picture.h"

namespace tour {
namespace {

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf back;
  char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void jumpBack(j_common_ptr info) {
  auto* errors = reinterpret_cast<ErrorManager*>(info->err);
  errors->base.format_message(info, errors->message);
  std::longjmp(errors->back, 1);
}

// Damage in the picture itself is only a warning to libjpeg, which goes on with gray. Here it ends the reading; other
// warnings (stray bytes between parts, odd version numbers) leave the picture right.
void onMessage(j_common_ptr info, int level) {
  if (level >= 0) return;
  switch (info->err->msg_code) {
    case JWRN_HIT_MARKER:
    case JWRN_HUFF_BAD_CODE:
    case JWRN_JPEG_EOF:
    case JWRN_MUST_RESYNC:
    case JWRN_ARITH_BAD_CODE:
      jumpBack(info);
    default:
      break;
  }
}

jpeg_error_mgr* start(ErrorManager& errors) {
  jpeg_std_error(&errors.base);
  errors.base.error_exit = jumpBack;
  errors.base.emit_message = onMessage;
  errors.message[0] = '\0';
  return &errors.base;
}

// A decompressor, released on every way out.
struct Decoder {
  jpeg_decompress_struct info{};
  ErrorManager errors;
  Decoder() { info.err = start(errors); }
  ~Decoder() { jpeg_destroy_decompress(&info); }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  bool readHeader(const Qor8u* bytes, size_t count) {
    if (setjmp(errors.back) != 0) return false;
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, bytes, count);
    jpeg_save_markers(&info, JPEG_APP0 + 1, 0xffff);
    jpeg_read_header(&info, TRUE);
    const bool inks = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
    info.out_color_space = inks ? JCS_CMYK : JCS_RGB;
    return true;
  }

  bool readRows(Qor8u* first, int step) {
    if (setjmp(errors.back) != 0) return false;
    jpeg_start_decompress(&info);
    while (info.output_scanline < info.output_height) {
      JSAMPROW row = first + static_cast<size_t>(info.output_scanline) * static_cast<size_t>(step);
      jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    return true;
  }
};

Picture inksToColor(const Picture& inks, bool inverted) {
  Picture color(inks.width(), inks.height(), 3);
  for (int y = 0; y < inks.height(); ++y) {
    for (int x = 0; x < inks.width(); ++x) {
      const Qor8u* in = inks.at(x, y);
      for (int c = 0; c < 3; ++c) {
        // The light that passes both the ink and the black, each 0..255.
        const int ink = inverted ? in[c] : 255 - in[c], black = inverted ? in[3] : 255 - in[3];
        color.at(x, y)[c] = static_cast<Qor8u>((ink * black + 127) / 255);
      }
    }
  }
  return color;
}

// How the camera was held, 1 to 8, from the Exif block's orientation tag (0x0112); 1 when there is none or the block
// is not sound. Offsets in the block count from its byte-order mark.
int orientation(const jpeg_decompress_struct& info) {
  for (jpeg_saved_marker_ptr m = info.marker_list; m != nullptr; m = m->next) {
    if (m->data_length < 14 || memcmp(m->data, "Exif\0\0", 6) != 0) continue;
    const Qor8u* block = m->data + 6;
    const size_t size = m->data_length - 6;
    const bool little = block[0] == 'I';
    const auto read16 = [&](size_t i) -> size_t {
      if (i + 2 > size) return 0;
      return little ? static_cast<size_t>(block[i] | block[i + 1] << 8)
                    : static_cast<size_t>(block[i] << 8 | block[i + 1]);
    };
    const size_t directory = little ? read16(4) | read16(6) << 16 : read16(4) << 16 | read16(6);
    const size_t entries = read16(directory);
    for (size_t i = 0; i < entries; ++i) {
      constexpr size_t orientationTag = 0x0112, entrySize = 12;
      const size_t entry = directory + 2 + i * entrySize;
      if (read16(entry) != orientationTag) continue;
      const size_t value = read16(entry + 8);
      return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
    }
  }
  return 1;
}

Picture turnUpright(const Picture& in, int held) {
  if (held == 1) return in;
  const bool transposed = held >= 5;
  const int width = in.width(), height = in.height();
  Picture out(transposed ? height : width, transposed ? width : height, in.channels());
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      int sx = transposed ? y : x, sy = transposed ? x : y;
      if (held == 2 || held == 3 || held == 7 || held == 8) sx = width - 1 - sx;
      if (held == 3 || held == 4 || held == 6 || held == 7) sy = height - 1 - sy;
      memcpy(out.at(x, y), in.at(sx, sy), static_cast<size_t>(in.channels()));
    }
  }
  return out;
}

struct Encoder {
  jpeg_compress_struct info{};
  ErrorManager errors;
  Qor8u* bytes = nullptr;
  unsigned long count = 0;
  Encoder() { info.err = start(errors); }
  ~Encoder() {
    jpeg_destroy_compress(&info);
    free(bytes);
  }
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  bool write(const Picture& picture, int quality) {
    if (setjmp(errors.back) != 0) return false;
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, &bytes, &count);
    info.image_width = static_cast<JDIMENSION>(picture.width());
    info.image_height = static_cast<JDIMENSION>(picture.height());
    info.input_components = picture.channels();
    info.in_color_space = picture.channels() == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    // Full colour resolution: thin coloured marks are what the figures show.
    info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
      JSAMPROW row = const_cast<JSAMPROW>(picture.row(static_cast<int>(info.next_scanline)));
      jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    return true;
  }
};

}  // namespace

Picture decodeJpeg(const std::vector<Qor8u>& bytes, const std::string& name) {
  Decoder decoder;
  const auto fail = [&] { return FileError(name, std::string("not a usable JPEG: ") + decoder.errors.message); };
  if (!decoder.readHeader(bytes.data(), bytes.size())) throw fail();
  checkPictureSize(decoder.info.image_width, decoder.info.image_height, name);
  const bool inks = decoder.info.out_color_space == JCS_CMYK;
  const int held = orientation(decoder.info);
  Picture picture(static_cast<int>(decoder.info.image_width), static_cast<int>(decoder.info.image_height),
                  inks ? 4 : 3);
  if (!decoder.readRows(picture.data(), picture.step())) throw fail();
  // The programs that mark their files in this way store inks inverted.
  if (inks) picture = inksToColor(picture, decoder.info.saw_Adobe_marker != FALSE);
  return turnUpright(picture, held);
}

std::vector<Qor8u> encodeJpeg(const Picture& picture, int quality) {
  Encoder encoder;
  if (!encoder.write(picture, quality)) {
    throw std::runtime_error(std::string("cannot encode JPEG: ") + encoder.errors.message);
  }
  return {encoder.bytes, encoder.bytes + encoder.count};
}

}  // namespace tour
