// An image as the library takes it: pointer, step in bytes, size. Rows are padded, so a section that forgets the step
// shows at once.
#ifndef QORCV_TOUR_IMAGE_H
#define QORCV_TOUR_IMAGE_H

#include <cstddef>
#include <vector>

#include "qorcv/types.h"

namespace tour {

template <class T>
class Image {
 public:
  Image() = default;

  // A black image. The caller keeps width * channels * sizeof(T) within an int: the readers and the tour see to it.
  Image(int width, int height, int channels = 1) : width_(width), height_(height), channels_(channels) {
    constexpr size_t alignment = 64;
    const size_t rowBytes = static_cast<size_t>(width) * static_cast<size_t>(channels) * sizeof(T);
    const size_t padded = (rowBytes + alignment) / alignment * alignment;
    step_ = static_cast<int>(padded);
    samples_.resize(padded / sizeof(T) * static_cast<size_t>(height));
  }

  int width() const { return width_; }
  int height() const { return height_; }
  int channels() const { return channels_; }
  bool empty() const { return samples_.empty(); }
  QoriSize size() const { return {width_, height_}; }

  // The distance between rows in bytes.
  int step() const { return step_; }

  T* data() { return samples_.data(); }
  const T* data() const { return samples_.data(); }

  T* row(int y) { return samples_.data() + offset(y); }
  const T* row(int y) const { return samples_.data() + offset(y); }

  // The first sample of a pixel.
  T* at(int x, int y) { return row(y) + static_cast<ptrdiff_t>(x) * channels_; }
  const T* at(int x, int y) const { return row(y) + static_cast<ptrdiff_t>(x) * channels_; }

 private:
  size_t offset(int y) const { return static_cast<size_t>(y) * (static_cast<size_t>(step_) / sizeof(T)); }

  int width_ = 0;
  int height_ = 0;
  int channels_ = 0;
  int step_ = 0;
  std::vector<T> samples_;
};

// 8 bits a sample, one channel (gray) or three (red, green, blue).
using Picture = Image<Qor8u>;
using FloatImage = Image<Qor32f>;

}  // namespace tour

#endif
