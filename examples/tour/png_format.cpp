// PNG through libpng's simplified interface, which expands palettes, gray, 16 bits, transparency and interlacing.
#include <png.h>

#include "picture.h"

namespace tour {
namespace {

int64_t bigEndian32(const Qor8u* p) {
  return static_cast<int64_t>(p[0]) << 24 | static_cast<int64_t>(p[1]) << 16 | static_cast<int64_t>(p[2]) << 8 | p[3];
}

// Releases what libpng holds for an image that was begun, on every way out.
struct Reading {
  png_image image{};
  Reading() { image.version = PNG_IMAGE_VERSION; }
  ~Reading() { png_image_free(&image); }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
};

}  // namespace

Picture decodePng(const std::vector<Qor8u>& bytes, const std::string& name) {
  // The header comes first at a fixed place: signature, length and name of the chunk, width, height. Looking at it
  // here gives the claimed size a message of its own.
  if (bytes.size() < 24) throw FileError(name, "not a usable PNG: the file ends within its header");
  checkPictureSize(bigEndian32(&bytes[16]), bigEndian32(&bytes[20]), name);

  Reading reading;
  png_image& image = reading.image;
  const auto fail = [&] { return FileError(name, std::string("not a usable PNG: ") + image.message); };
  if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) throw fail();
  checkPictureSize(image.width, image.height, name);
  image.format = PNG_FORMAT_RGB;
  // 16-bit files without a colour space hold the same encoding as 8-bit ones, not linear light.
  image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
  Picture picture(static_cast<int>(image.width), static_cast<int>(image.height), 3);
  const png_color white = {255, 255, 255};
  if (png_image_finish_read(&image, &white, picture.data(), picture.step(), nullptr) == 0) throw fail();
  return picture;
}

std::vector<Qor8u> encodePng(const Picture& picture) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(picture.width());
  image.height = static_cast<png_uint_32>(picture.height());
  // Light compression: a tour writes many pictures, and their noise would not shrink much anyway.
  image.flags = PNG_IMAGE_FLAG_FAST;
  image.format = picture.channels() == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::vector<Qor8u> bytes(size);
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.data(), picture.step(), nullptr) == 0) {
    throw std::runtime_error(std::string("cannot encode PNG: ") + image.message);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace tour
