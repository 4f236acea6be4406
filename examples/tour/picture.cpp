#include "picture.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tour {
namespace {

struct CloseFile {
  void operator()(FILE* f) const { fclose(f); }
};
using File = std::unique_ptr<FILE, CloseFile>;

std::vector<Qor8u> readFile(const std::string& file) {
  constexpr size_t maxBytes = 512u << 20, block = 1u << 20;
  const File in(fopen(file.c_str(), "rb"));
  if (!in) throw FileError(file, strerror(errno));
  std::vector<Qor8u> bytes;
  for (size_t got = 1; got > 0;) {
    const size_t end = bytes.size();
    bytes.resize(end + block);
    errno = 0;
    got = fread(bytes.data() + end, 1, block, in.get());
    if (ferror(in.get())) throw FileError(file, strerror(errno));
    bytes.resize(end + got);
    if (bytes.size() > maxBytes) throw FileError(file, "larger than 512 MiB");
  }
  return bytes;
}

bool startsWith(const std::vector<Qor8u>& bytes, const char* signature, size_t count) {
  return bytes.size() >= count && memcmp(bytes.data(), signature, count) == 0;
}

}  // namespace

Picture readPicture(const std::string& file) {
  const std::vector<Qor8u> bytes = readFile(file);
  if (bytes.empty()) throw FileError(file, "the file is empty");
  if (startsWith(bytes, "\x89PNG\r\n\x1a\n", 8)) return decodePng(bytes, file);
  if (startsWith(bytes, "\xff\xd8\xff", 3)) return decodeJpeg(bytes, file);
  throw FileError(file, "neither a PNG nor a JPEG picture");
}

void checkPictureSize(int64_t width, int64_t height, const std::string& name) {
  if (width < 1 || height < 1) throw FileError(name, "a picture without pixels");
  // By division: the product of two 32-bit claims may not fit.
  if (width > maxPixels / height) {
    throw FileError(name, "claims " + std::to_string(width) + " x " + std::to_string(height) +
                              " pixels, more than the limit of " + std::to_string(maxPixels / 1'000'000) + " million");
  }
}

void writeFile(const std::string& file, const void* bytes, size_t count) {
  File out(fopen(file.c_str(), "wb"));
  if (!out) throw FileError(file, strerror(errno));
  errno = 0;
  const bool written = count == 0 || fwrite(bytes, 1, count, out.get()) == count;
  // A full disk may show only when the last block leaves the stream.
  if (fclose(out.release()) != 0 || !written) throw FileError(file, strerror(errno != 0 ? errno : EIO));
}

void writePng(const std::string& file, const Picture& picture) {
  const std::vector<Qor8u> bytes = encodePng(picture);
  writeFile(file, bytes.data(), bytes.size());
}

Picture toGray(const Picture& picture) {
  if (picture.channels() == 1) return picture;
  Picture gray(picture.width(), picture.height(), 1);
  for (int y = 0; y < picture.height(); ++y) {
    const Qor8u* in = picture.row(y);
    Qor8u* out = gray.row(y);
    // Luma weights 0.299, 0.587, 0.114 in 1/256, with the half that rounds.
    for (int x = 0; x < picture.width(); ++x, in += 3) {
      out[x] = static_cast<Qor8u>((77 * in[0] + 150 * in[1] + 29 * in[2] + 128) >> 8);
    }
  }
  return gray;
}

Picture toColor(const Picture& picture) {
  if (picture.channels() == 3) return picture;
  Picture color(picture.width(), picture.height(), 3);
  for (int y = 0; y < picture.height(); ++y) {
    const Qor8u* in = picture.row(y);
    Qor8u* out = color.row(y);
    for (int x = 0; x < picture.width(); ++x, out += 3) out[0] = out[1] = out[2] = in[x];
  }
  return color;
}

Picture crop(const Picture& picture, QoriRect part) {
  Picture out(part.width, part.height, picture.channels());
  const auto rowBytes = static_cast<size_t>(part.width * picture.channels());
  for (int y = 0; y < part.height; ++y) memcpy(out.row(y), picture.at(part.x, part.y + y), rowBytes);
  return out;
}

Picture shrink(const Picture& picture, QoriSize size) {
  // Areas are counted in whole units: a source pixel is size.width units wide and size.height units high, a target
  // pixel picture.width() and picture.height() units. So every weight is an integer and the sums are exact; the
  // largest, 255 times the pixels of the source, fits 64 bits.
  const int channels = picture.channels();
  const auto samples = static_cast<size_t>(size.width * channels);
  const int64_t sourceWidth = picture.width(), sourceHeight = picture.height(), area = sourceWidth * sourceHeight;
  Picture out(size.width, size.height, channels);
  std::vector<int64_t> rowSums(samples), sums(samples);
  int target = 0;
  int64_t unitsLeft = sourceHeight;
  for (int y = 0; y < picture.height(); ++y) {
    std::fill(rowSums.begin(), rowSums.end(), 0);
    const Qor8u* in = picture.row(y);
    int64_t column = 0, columnLeft = sourceWidth;
    for (int x = 0; x < picture.width(); ++x, in += channels) {
      for (int64_t units = size.width; units > 0;) {
        const int64_t part = std::min(units, columnLeft);
        for (int c = 0; c < channels; ++c) rowSums[static_cast<size_t>(column * channels + c)] += part * in[c];
        units -= part;
        columnLeft -= part;
        if (columnLeft == 0) ++column, columnLeft = sourceWidth;
      }
    }
    for (int64_t units = size.height; units > 0;) {
      const int64_t part = std::min(units, unitsLeft);
      for (size_t i = 0; i < samples; ++i) sums[i] += part * rowSums[i];
      units -= part;
      unitsLeft -= part;
      if (unitsLeft > 0) continue;
      for (size_t i = 0; i < samples; ++i) out.row(target)[i] = static_cast<Qor8u>((sums[i] + area / 2) / area);
      std::fill(sums.begin(), sums.end(), 0);
      ++target;
      unitsLeft = sourceHeight;
    }
  }
  return out;
}

QoriSize fit(QoriSize size, int maxSide) {
  const int64_t longer = std::max(size.width, size.height);
  if (longer <= maxSide) return size;
  const auto scaled = [&](int64_t side) {
    return static_cast<int32_t>(std::max<int64_t>(1, (side * maxSide + longer / 2) / longer));
  };
  return {scaled(size.width), scaled(size.height)};
}

}  // namespace tour
