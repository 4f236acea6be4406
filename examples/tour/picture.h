// Pictures: reading PNG and JPEG, writing them, and the few conversions that the tour needs around the library.
#ifndef QORCV_TOUR_PICTURE_H
#define QORCV_TOUR_PICTURE_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "image.h"

namespace tour {

// What went wrong with a file; what() reads "FILE: reason".
struct FileError : std::runtime_error {
  FileError(const std::string& file, const std::string& reason) : std::runtime_error(file + ": " + reason) {}
};

// A picture that claims more pixels is refused before memory is taken for it.
inline constexpr int64_t maxPixels = 120'000'000;

// Reads a PNG or JPEG file, recognised by its first bytes whatever its name, into three channels. 16-bit samples are
// reduced to 8, transparency is laid on white, CMYK is converted, a camera's rotation is applied. Throws FileError.
Picture readPicture(const std::string& file);

// The decoders behind readPicture(); name is used in messages only.
Picture decodePng(const std::vector<Qor8u>& bytes, const std::string& name);
Picture decodeJpeg(const std::vector<Qor8u>& bytes, const std::string& name);

// Throws FileError for a width or height of zero and for more than maxPixels.
void checkPictureSize(int64_t width, int64_t height, const std::string& name);

std::vector<Qor8u> encodePng(const Picture& picture);
std::vector<Qor8u> encodeJpeg(const Picture& picture, int quality);

// Throws FileError when the file cannot be written.
void writeFile(const std::string& file, const void* bytes, size_t count);
void writePng(const std::string& file, const Picture& picture);

Picture toGray(const Picture& picture);
Picture toColor(const Picture& picture);
Picture crop(const Picture& picture, QoriRect part);

// The mean of the covered area for every pixel; neither side may grow.
Picture shrink(const Picture& picture, QoriSize size);

// The largest size of the same shape whose longer side is at most maxSide; never larger than the given size.
QoriSize fit(QoriSize size, int maxSide);

}  // namespace tour

#endif
