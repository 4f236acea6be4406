// Rows of the benchmark. A row carries the exported name and is registered at start:
//
//   const Register rows([] {
//     Row("qoriAbsDiff_8u_C1R").run([](Setup& s) {
//       const auto a = s.random<Qor8u>(), b = s.random<Qor8u>(), d = s.blank<Qor8u>();
//       return [=, roi = s.roi()] { return qoriAbsDiff_8u_C1R(a.p, a.step, b.p, b.step, d.p, d.step, roi); };
//     });
//   });
//
// The function that makes the call runs once per size; its buffers live until the row is done. To have the first call
// checked against a plain loop, return checked(call, check), where check() gives true for a right result.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qorcv/types.h"

namespace qor::bench {

constexpr QoriSize small{64, 64}, odd{641, 479}, fullHd{1920, 1080}, ultraHd{3840, 2160}, huge{4096, 4096};

constexpr int64_t pixels(QoriSize size) { return int64_t{size.width} * size.height; }
constexpr bool same(QoriSize a, QoriSize b) { return a.width == b.width && a.height == b.height; }

// An image of a row: what the call's argument triple takes. Sample x counts channels too.
template <class T>
struct Image {
  T* p = nullptr;
  int step = 0;
  int samples = 0;
  int height = 0;

  T& operator()(int x, int y) const {
    return *reinterpret_cast<T*>(reinterpret_cast<char*>(p) + int64_t{step} * y + int64_t{x} * int64_t{sizeof(T)});
  }
  // True when test(x, y) holds for every sample.
  template <class Test>
  bool all(Test test) const {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < samples; ++x)
        if (!test(x, y)) return false;
    return true;
  }
};

// Shape and data of an image; what is left out is the row's region, one channel, the whole range of an integer type
// and -1000..1000 for floats.
struct Shape {
  int channels = 1;
  QoriSize size{0, 0};
  int margin = 0;  // readable pixels on every side, for borders in memory; p still points at the region
  double low = 0, high = 0;
};

// Hands out the buffers of one row at one size and keeps them until the row is done.
class Setup {
 public:
  Setup(QoriSize roi, bool contiguous) : roi_(roi), contiguous_(contiguous) {}

  // Calls capture what they need of it, by value: images, roi(), len().
  Setup(const Setup&) = delete;
  Setup& operator=(const Setup&) = delete;

  QoriSize roi() const { return roi_; }
  int len() const { return roi_.width * roi_.height; }
  // Bytes of all images handed out, each once: the least that a call has to move.
  int64_t bytes() const { return bytes_; }

  template <class T>
  Image<T> blank(Shape shape = {}) {
    if (shape.size.width == 0) shape.size = roi_;
    const int samples = shape.size.width * shape.channels, margin = shape.margin * shape.channels;
    const int64_t row = int64_t{samples + 2 * margin} * int64_t{sizeof(T)};
    const int64_t step = contiguous_ ? row : (row + 63) / 64 * 64;
    char* block = allocate(step * (shape.size.height + 2 * shape.margin));
    bytes_ += int64_t{samples} * shape.size.height * int64_t{sizeof(T)};
    block += step * shape.margin + int64_t{margin} * int64_t{sizeof(T)};
    return {reinterpret_cast<T*>(block), static_cast<int>(step), samples, shape.size.height};
  }

  template <class T>
  Image<T> random(Shape shape = {}) {
    const Image<T> image = blank<T>(shape);
    double low = shape.low, high = shape.high;
    if (low == high) {
      low = std::is_integral_v<T> ? static_cast<double>(std::numeric_limits<T>::lowest()) : -1000;
      high = std::is_integral_v<T> ? static_cast<double>(std::numeric_limits<T>::max()) : 1000;
    }
    const int margin = shape.margin * shape.channels;
    for (int y = -shape.margin; y < image.height + shape.margin; ++y)
      for (int x = -margin; x < image.samples + margin; ++x) image(x, y) = number<T>(low, high);
    return image;
  }

  // A mask in which about the given share of the pixels takes part, scattered.
  Image<Qor8u> mask(int percent = 50) {
    const Image<Qor8u> image = random<Qor8u>({.low = 0, .high = 99});
    image.all([&](int x, int y) {
      image(x, y) = image(x, y) < percent ? 255 : 0;
      return true;
    });
    return image;
  }

  // One row of count samples without gaps, by default as many as the region has pixels.
  template <class T>
  T* blankVector(int count = 0) {
    return blank<T>({.size = {count > 0 ? count : len(), 1}}).p;
  }
  template <class T>
  T* randomVector(int count = 0, double low = 0, double high = 0) {
    return random<T>({.size = {count > 0 ? count : len(), 1}, .low = low, .high = high}).p;
  }

  // A block for an operation's working memory, not counted as an image.
  Qor8u* scratch(int size) { return reinterpret_cast<Qor8u*>(allocate(size > 0 ? size : 1)); }

 private:
  char* allocate(int64_t size);
  uint64_t nextRandom();

  template <class T>
  T number(double low, double high) {
    constexpr double unit = 1.0 / 9007199254740992.0;  // 2^-53: the upper bits as a fraction below 1
    const double fraction = static_cast<double>(nextRandom() >> 11) * unit;
    if constexpr (std::is_integral_v<T>) {
      // The fraction stays below 1, so the product stays below the count of values.
      return static_cast<T>(static_cast<int64_t>(low) + static_cast<int64_t>(fraction * (high - low + 1)));
    } else {
      return static_cast<T>(low + fraction * (high - low));
    }
  }

  struct Unmap {
    int64_t size;
    void operator()(char* p) const;
  };

  QoriSize roi_;
  bool contiguous_;
  int64_t bytes_ = 0;
  uint64_t state_ = 0x9e3779b97f4a7c15U;
  std::vector<std::unique_ptr<char, Unmap>> blocks_;
};

// Makes the call n times and returns the last status that was not 0. The loop stands inside, so that the indirection
// is paid once per batch.
using Batch = std::function<QorStatus(int64_t n)>;

struct Case {
  Batch batch;
  std::function<bool()> check;
};

template <class Call>
Batch repeat(Call call) {
  return [call](int64_t n) mutable {
    QorStatus status = qorStsNoErr;
    for (; n > 0; --n) {
      if constexpr (std::is_void_v<decltype(call())>) {
        call();
      } else if (const QorStatus s = call(); s != qorStsNoErr) {
        status = s;
      }
      benchmark::ClobberMemory();
    }
    return status;
  };
}

template <class Call, class Check>
Case checked(Call call, Check check) {
  return {repeat(std::move(call)), std::move(check)};
}

using Maker = std::function<Case(Setup&)>;

template <class Make>
Maker maker(Make make) {
  return [make](Setup& setup) -> Case {
    if constexpr (std::is_same_v<decltype(make(setup)), Case>) {
      return make(setup);
    } else {
      return {repeat(make(setup)), nullptr};
    }
  };
}

struct ThreadRun {
  int threads;
  QoriSize size;
};

struct RowData {
  std::string name;
  std::vector<QoriSize> sizes{small, odd, fullHd};
  std::vector<ThreadRun> threadRuns;
  double sampleBytes = 0;
  int channels = 0;
  bool contiguous = false;
  std::string referenceName;
  Maker make, makeReference;
};

class Row {
 public:
  // Sample size and channels of the image whose copy is the row's measure are read from the name's first type tag and
  // its C1, C3 or C4; a name without a tag needs pixel().
  explicit Row(std::string name);

  // The sizes instead of 64x64, 641x479 and 1920x1080, or one beside them.
  Row& sizes(std::vector<QoriSize> sizes);
  Row& alsoAt(QoriSize size);
  // The image copied for comparison.
  Row& pixel(double sampleBytes, int channels = 1);
  // Rows of images without gaps; otherwise steps are rounded up to 64 bytes.
  Row& contiguous();
  // One more run with a team at this size, interleaved with runs on one thread.
  Row& threads(int count, QoriSize size);
  // Another way to do the same, timed in the same rounds.
  template <class Make>
  Row& against(std::string name, Make make) {
    data_.referenceName = std::move(name);
    data_.makeReference = maker(std::move(make));
    return *this;
  }

  // Registers the row.
  template <class Make>
  void run(Make make) {
    data_.make = maker(std::move(make));
    add();
  }

 private:
  void add();
  RowData data_;
};

struct Register {
  template <class F>
  explicit Register(F rows) {
    rows();
  }
};

std::string sizeText(QoriSize size);

}  // namespace qor::bench

// What the rows of a module have registered.
extern "C" [[gnu::visibility("default")]] const std::vector<qor::bench::RowData>* qorBenchRows();
