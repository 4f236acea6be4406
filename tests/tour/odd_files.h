// Writes pictures in every variety that the two formats offer, straight through their libraries.
#ifndef QORCV_TESTS_TOUR_ODD_FILES_H
#define QORCV_TESTS_TOUR_ODD_FILES_H

#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include <jpeglib.h>

#include "picture.h"

namespace tour_test {

using Bytes = std::vector<Qor8u>;

struct PngShape {
  int width = 0, height = 0;
  int bitDepth = 8;
  int colorType = PNG_COLOR_TYPE_RGB;
  bool interlaced = false;
  std::function<void(png_structp, png_infop)> beforeHeader = {};  // palette, transparency, ...
};

// rows: packed as the format wants them, rowBytes apart. An error of libpng ends the test program: it is the test's.
inline Bytes makePng(const PngShape& shape, const Bytes& rows, size_t rowBytes) {
  Bytes out;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png)) != 0) abort();
  png_set_write_fn(
      png, &out,
      [](png_structp p, png_bytep data, png_size_t count) {
        auto* bytes = static_cast<Bytes*>(png_get_io_ptr(p));
        bytes->insert(bytes->end(), data, data + count);
      },
      nullptr);
  png_set_IHDR(png, info, static_cast<png_uint_32>(shape.width), static_cast<png_uint_32>(shape.height), shape.bitDepth,
               shape.colorType, shape.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (shape.beforeHeader) shape.beforeHeader(png, info);
  png_write_info(png, info);
  const int passes = shape.interlaced ? png_set_interlace_handling(png) : 1;
  for (int pass = 0; pass < passes; ++pass) {
    for (int y = 0; y < shape.height; ++y) png_write_row(png, rows.data() + static_cast<size_t>(y) * rowBytes);
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return out;
}

struct JpegShape {
  int width = 0, height = 0, channels = 3;
  J_COLOR_SPACE colors = JCS_RGB;
  bool adobe = false;
  bool progressive = false;
  int held = 0;  // the orientation of an Exif block; none for 0
  bool bigEndianExif = false;
};

inline Bytes makeJpeg(const JpegShape& shape, Bytes rows) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* memory = nullptr;
  unsigned long count = 0;
  jpeg_mem_dest(&info, &memory, &count);
  info.image_width = static_cast<JDIMENSION>(shape.width);
  info.image_height = static_cast<JDIMENSION>(shape.height);
  info.input_components = shape.channels;
  info.in_color_space = shape.colors;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 100, TRUE);
  for (int c = 0; c < shape.channels; ++c) info.comp_info[c].h_samp_factor = info.comp_info[c].v_samp_factor = 1;
  if (shape.channels == 4) info.write_Adobe_marker = shape.adobe ? TRUE : FALSE;
  if (shape.progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  if (shape.held != 0) {
    // A directory of one entry: tag 0x0112, type 3 (16 bits), one value.
    const auto held = static_cast<Qor8u>(shape.held);
    const Bytes little = {'E',  'x',  'i', 'f', 0, 0, 'I', 'I', 42,   0, 8, 0, 0, 0, 1, 0,
                          0x12, 0x01, 3,   0,   1, 0, 0,   0,   held, 0, 0, 0, 0, 0, 0, 0};
    const Bytes big = {'E',  'x',  'i', 'f', 0, 0, 'M', 'M', 0, 42,   0, 0, 0, 8, 0, 1,
                       0x01, 0x12, 0,   3,   0, 0, 0,   1,   0, held, 0, 0, 0, 0, 0, 0};
    const Bytes& block = shape.bigEndianExif ? big : little;
    jpeg_write_marker(&info, JPEG_APP0 + 1, block.data(), static_cast<unsigned>(block.size()));
  }
  for (int y = 0; y < shape.height; ++y) {
    JSAMPROW row = rows.data() + static_cast<size_t>(y * shape.width * shape.channels);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  Bytes out(memory, memory + count);
  free(memory);
  return out;
}

}  // namespace tour_test

#endif
