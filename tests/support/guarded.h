// Images and memory blocks between inaccessible pages.
//
//   GuardedImage<Qor8u> src({17, 5}, {.channels = 3, .gap = 2, .guard = Guard::After});
//   src.generate([](int x, int y, int c) { return Qor8u(x + 7 * y + c); });
//   src.protect();                                            // a write is now a crash
//   GuardedImage<Qor8u> dst({17, 5}, {.channels = 3});        // starts as junk
//   EXPECT_EQ(operation(src.data(), src.step(), dst.data(), dst.step(), dst.size()), qorStsNoErr);
//   expectSame(dst, want);                                    // compare.h
//   GuardedBytes scratch(reportedSize, 3);                    // 3 bytes from the guard page: any misalignment
//   noAccess<Qor8u>(0)                                        // a pointer at which every access is a crash
//
// Guard::After puts the last byte of the last row directly against an inaccessible page, Guard::Before the first byte
// of the first row directly behind one; `offset` moves the image away from that page by so many samples, which sets its
// alignment. Everything in the block that is not the image holds canaries, NaN for floats, checked by verify() and by
// the destructor. Under the address sanitizer they are poisoned, so a read of a row gap is found too.
//
// Margins are pixels around the image that the operation may read but not change: data() is the first pixel inside
// them, at() reaches them with coordinates outside the image, the guard stands outside.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <memory>
#if __has_builtin(__builtin_source_location)
  #include <source_location>
#endif
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "qorcv/types.h"
#include "support/case.h"

namespace qortest {

#if __has_builtin(__builtin_source_location)
using SourceLocation = std::source_location;
#else
// What clang 14 has of it.
class SourceLocation {
 public:
  static constexpr SourceLocation current(const char* file = __builtin_FILE(), unsigned line = __builtin_LINE()) {
    return {file, line};
  }
  constexpr const char* file_name() const { return file_; }
  constexpr unsigned line() const { return line_; }

 private:
  constexpr SourceLocation(const char* file, unsigned line) : file_(file), line_(line) {}
  const char* file_;
  unsigned line_;
};
#endif

enum class Guard { After, Before };

struct Margin {
  int left = 0, top = 0, right = 0, bottom = 0;
};

struct Layout {
  int channels = 1;
  int gap = 0;     // samples between the rows
  int offset = 0;  // samples between the image and its guard page
  Guard guard = Guard::After;
  Margin margin = {};
};

// Pixels without gaps: what references take and give. With a margin, at() reaches it with coordinates outside the size.
template <class T>
struct Image {
  QoriSize size = {0, 0};
  int channels = 1;
  Margin margin = {};
  std::vector<T> samples = {};

  explicit Image(QoriSize s, int c = 1, Margin m = {})
      : size(s), channels(c), margin(m), samples(static_cast<size_t>(pitch()) * (s.height + m.top + m.bottom) * c) {}

  int pitch() const { return margin.left + size.width + margin.right; }
  T& at(int x, int y, int c = 0) {
    return samples[(static_cast<size_t>(y + margin.top) * pitch() + x + margin.left) * channels + c];
  }
  const T& at(int x, int y, int c = 0) const { return const_cast<Image*>(this)->at(x, y, c); }
};

// Rows of bytes between two inaccessible pages, canaries around them: what image and block are made of. Knows nothing
// of samples but where the canaries need their NaN bytes.
class GuardedRows {
 public:
  struct Shape {
    ptrdiff_t rowBytes, rows, step, offset;
    Guard guard;
    int floatBytes;  // size of a float sample, 0 for integers
  };

  GuardedRows(const Shape& shape, SourceLocation where);
  GuardedRows(GuardedRows&& other) noexcept;
  ~GuardedRows();

  uint8_t* row(ptrdiff_t y) const { return first_ + y * shape_.step; }
  void protect();
  void verify() const;

 private:
  template <class F>
  void forEachGap(F f) const;
  void poison(bool on) const;

  Shape shape_;
  SourceLocation where_;
  uint8_t* block_ = nullptr;  // first page, inaccessible
  ptrdiff_t blockBytes_ = 0;
  bool isProtected_ = false;
  uint8_t* first_ = nullptr;
};

template <class T>
class GuardedImage {
 public:
  explicit GuardedImage(QoriSize size, const Layout& layout = {}, SourceLocation where = SourceLocation::current())
      : size_(size), layout_(layout), rows_(shape(size, layout), where) {}
  GuardedImage(GuardedImage&&) noexcept = default;
  ~GuardedImage() { verifyMargins(); }

  // A handle as a pointer is: constness of the image does not bind its pixels.
  T* data() const { return &at(0, 0); }
  int step() const { return static_cast<int>(shape(size_, layout_).step); }
  QoriSize size() const { return size_; }
  int channels() const { return layout_.channels; }

  T& at(int x, int y, int c = 0) const {
    T* row = reinterpret_cast<T*>(rows_.row(y + layout_.margin.top));
    return row[(x + layout_.margin.left) * layout_.channels + c];
  }

  // Every sample, margins included, from maker(x, y, c), row by row.
  template <class F>
  void generate(F maker) {
    forEachPixel([&](int x, int y, int c) { at(x, y, c) = maker(x, y, c); });
    keepMargins();
  }

  Image<T> pixels(bool withMargins = false) const {
    Image<T> copy(size_, layout_.channels, withMargins ? layout_.margin : Margin{});
    const Margin& m = copy.margin;
    const size_t count = static_cast<size_t>(copy.pitch()) * layout_.channels;
    for (int y = -m.top; y < size_.height + m.bottom; ++y)
      memcpy(&copy.at(-m.left, y), &at(-m.left, y), count * sizeof(T));
    return copy;
  }

  // With the margins, when there are some to put.
  void put(const Image<T>& pixels) {
    ASSERT_TRUE(pixels.size.width == size_.width && pixels.size.height == size_.height);
    ASSERT_EQ(pixels.channels, layout_.channels);
    const Margin& m = pixels.margin;
    const size_t count = static_cast<size_t>(pixels.pitch()) * layout_.channels;
    for (int y = -m.top; y < size_.height + m.bottom; ++y)
      memcpy(&at(-m.left, y), &pixels.at(-m.left, y), count * sizeof(T));
    keepMargins();
  }

  // From now on a write anywhere in the image is a crash.
  void protect() { rows_.protect(); }

  // Canaries and margins are as they were.
  void verify() const {
    rows_.verify();
    verifyMargins();
  }

  // Takes the present margins as those that must stay.
  void keepMargins() {
    margins_.clear();
    forEachMarginSample([&](const T& sample) { margins_.push_back(sample); });
  }

 private:
  static GuardedRows::Shape shape(QoriSize size, const Layout& l) {
    const ptrdiff_t sample = sizeof(T);
    const ptrdiff_t rowBytes = (l.margin.left + ptrdiff_t{size.width} + l.margin.right) * l.channels * sample;
    return {rowBytes, l.margin.top + size.height + l.margin.bottom,    rowBytes + l.gap * sample, l.offset * sample,
            l.guard,  std::is_floating_point_v<T> ? int{sizeof(T)} : 0};
  }

  template <class F>
  void forEachPixel(F f) const {
    const Margin& m = layout_.margin;
    for (int y = -m.top; y < size_.height + m.bottom; ++y)
      for (int x = -m.left; x < size_.width + m.right; ++x)
        for (int c = 0; c < layout_.channels; ++c) f(x, y, c);
  }

  template <class F>
  void forEachMarginSample(F f) const {
    const Margin& m = layout_.margin;
    if ((m.left | m.top | m.right | m.bottom) == 0) return;
    forEachPixel([&](int x, int y, int c) {
      if (x < 0 || y < 0 || x >= size_.width || y >= size_.height) f(at(x, y, c));
    });
  }

  void verifyMargins() const {
    size_t i = 0, changed = 0;
    if (margins_.empty()) return;
    forEachMarginSample([&](const T& sample) { changed += memcmp(&sample, &margins_[i++], sizeof(T)) != 0; });
    EXPECT_EQ(changed, 0U) << "samples of the margins changed, case: " << currentCase();
  }

  QoriSize size_;
  Layout layout_;
  std::vector<T> margins_ = {};
  GuardedRows rows_;
};

// Exactly `size` bytes of scratch, table or record, starting as junk.
class GuardedBytes {
 public:
  explicit GuardedBytes(ptrdiff_t size, int offset = 0, Guard guard = Guard::After,
                        SourceLocation where = SourceLocation::current())
      : rows_({size, 1, size, offset, guard, 0}, where) {}

  uint8_t* data() const { return rows_.row(0); }
  template <class T>
  T* as() const {
    return reinterpret_cast<T*>(data());
  }
  void protect() { rows_.protect(); }
  void verify() const { rows_.verify(); }

 private:
  GuardedRows rows_;
};

// Write-protects the images among sources that are not the destination of an in-place call.
template <class T, class... S>
void protectSources(const GuardedImage<T>& destination, S&... sources) {
  const auto protect = [&](auto& s) {
    if (static_cast<const void*>(&s) != static_cast<const void*>(&destination)) s.protect();
  };
  (protect(sources), ...);
}

// Inaccessible addresses, aligned to a page; those of two places are 64 MiB apart.
void* noAccessAddress(int place);

template <class T>
T* noAccess(int place = 0) {
  return static_cast<T*>(noAccessAddress(place));
}

}  // namespace qortest
