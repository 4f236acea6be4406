// Calls of filters for the fuzzer: images with pixels around them, scratch as large as reported, and every call twice.
#pragma once

#include "fuzz.h"

namespace fuzz {

// Small, and now and then large enough to go parallel.
inline QoriSize filterSize(Input& in) {
  if (in.ConsumeIntegralInRange(0, 255) == 255) return {in.ConsumeIntegralInRange(256, 400), 300};
  return size(in, 70, 20);
}

// Exactly that many bytes at an address of any alignment.
class Scratch {
 public:
  Scratch(int bytes, int offset) : block_(new Qor8u[static_cast<size_t>(bytes + offset)]), offset_(offset) {}
  Qor8u* data() { return block_.get() + offset_; }

 private:
  std::unique_ptr<Qor8u[]> block_;
  int offset_;
};

struct Sides {
  int left, top, right, bottom;
};

// A region with pixels around it on the sides where memory is read.
template <class T>
class Region {
 public:
  Region(Input& in, QoriSize size, const Sides& sides, int channels = 1)
      : size_(size),
        sides_(sides),
        channels_(channels),
        image_(in, {size.width + sides.left + sides.right, size.height + sides.top + sides.bottom}, channels),
        before_(image_.snapshot()) {}

  T* data() { return at(0, 0); }
  int step() const { return image_.step(); }
  QoriSize size() const { return size_; }
  // Any pixel of the region or around it.
  T* at(int x, int y) { return image_.row(y + sides_.top) + (x + sides_.left) * channels_; }
  bool unchanged() const { return image_.snapshot() == before_ || !std::is_integral_v<T>; }
  template <class F>
  void generate(F f) {
    for (int y = -sides_.top; y < size_.height + sides_.bottom; ++y)
      for (int x = -sides_.left; x < size_.width + sides_.right; ++x) *at(x, y) = f();
    before_ = image_.snapshot();
  }

 private:
  QoriSize size_;
  Sides sides_;
  int channels_;
  Image<T> image_;
  std::vector<T> before_;
};

template <class T>
bool same(T a, T b) {
  return a == b || (a != a && b != b);
}

// Makes a call on two destinations that differ in alignment, step and what they hold, once with several threads and
// once with one, and compares. query(bytes) asks for the scratch, call(destination, scratch) is the call.
template <class D, class Query, class Call>
void callTwice(Input& in, QoriSize size, int channels, Query query, Call call) {
  Image<D> first(in, size, channels), second(in, size, channels);
  const auto run = [&](Image<D>& dst, int threads) {
    FUZZ_CHECK(qorSetNumThreads(threads) == qorStsNoErr);
    int bytes = 0;
    FUZZ_CHECK(query(&bytes) == qorStsNoErr);
    Scratch scratch(bytes, in.ConsumeIntegralInRange(0, 3));
    const auto before = dst.snapshot();
    FUZZ_CHECK(call(dst, scratch.data()) == qorStsNoErr);
    FUZZ_CHECK(dst.gapsEqual(before));
  };
  run(first, in.ConsumeIntegralInRange(2, 5));
  run(second, 1);
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width * channels; ++x) FUZZ_CHECK(same(first.row(y)[x], second.row(y)[x]));
}

struct InMemory {
  bool top, bottom, left, right;

  static InMemory of(int border) {
    const bool all = (border & 15) == qorBorderInMem;
    return {all || (border & 16) != 0, all || (border & 32) != 0, all || (border & 64) != 0,
            all || (border & 128) != 0};
  }
};

inline Sides sidesOf(int border, int left, int top, int right, int bottom) {
  const InMemory m = InMemory::of(border);
  return {m.left ? left : 0, m.top ? top : 0, m.right ? right : 0, m.bottom ? bottom : 0};
}

// One of the rules with any flags.
template <size_t n>
int anyBorder(Input& in, const int (&rules)[n]) {
  return in.PickValueInArray(rules) | 16 * in.ConsumeIntegralInRange(0, 15);
}

// Where position i of n is found; outside it is the constant.
constexpr int outside = INT32_MIN;
inline int found(int i, int n, int rule, bool low, bool high) {
  if ((i >= 0 && i < n) || (i < 0 && low) || (i >= n && high)) return i;
  if (rule == qorBorderConst) return outside;
  if (rule == qorBorderRepl) return i < 0 ? 0 : n - 1;
  if (rule == qorBorderMirror && n == 1 && !low && !high) return 0;
  const int repeated = rule == qorBorderMirrorR ? 1 : 0;
  return found(i < 0 ? -i - repeated : 2 * (n - 1) + repeated - i, n, rule, low, high);
}

template <class T>
T borderPixel(Region<T>& region, int x, int y, int border, T value) {
  const InMemory m = InMemory::of(border);
  const int row = found(y, region.size().height, border & 15, m.top, m.bottom);
  const int column = found(x, region.size().width, border & 15, m.left, m.right);
  return row == outside || column == outside ? value : *region.at(column, row);
}

}  // namespace fuzz
