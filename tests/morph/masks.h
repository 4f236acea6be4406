// Masks of every shape, and dilation and erosion by their definition.
#pragma once

#include <algorithm>
#include <climits>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "qorcv/morph.h"
#include "support/outside.h"
#include "support/support.h"

namespace qortest {

struct FlatMask {
  QoriSize size;
  QoriPoint anchor;
  std::vector<Qor8u> elements;

  bool active(int j, int i) const { return elements[static_cast<size_t>(i) * size.width + j] != 0; }

  template <class F>
  void forActive(F f) const {
    for (int i = 0; i < size.height; ++i)
      for (int j = 0; j < size.width; ++j)
        if (active(j, i)) f(j - anchor.x, i - anchor.y);
  }

  FlatMask turned() const {
    FlatMask mask{size, {size.width - 1 - anchor.x, size.height - 1 - anchor.y}, elements};
    std::reverse(mask.elements.begin(), mask.elements.end());
    return mask;
  }

  bool isEmpty() const {
    return std::all_of(elements.begin(), elements.end(), [](Qor8u e) { return e == 0; });
  }

  // How far the active elements reach.
  Margin reach() const {
    Margin m;
    forActive([&](int x, int y) {
      m = {std::max(m.left, -x), std::max(m.top, -y), std::max(m.right, x), std::max(m.bottom, y)};
    });
    return m;
  }
};

constexpr QoriPoint centreOf(QoriSize size) { return {(size.width - 1) / 2, (size.height - 1) / 2}; }

// Shapes: solid, a rectangle anywhere inside, one element, a disc, an arrow, rows of random runs, two columns, rows of
// one length in different places, random, chequered, nothing. The usual one is an arrow of 3x3.
inline FlatMask anyMask(Case& c, bool freeAnchor) {
  Random& random = c.random;
  const auto side = [&](int most) { return random.oneIn(4) ? random.between(1, most) : random.between(1, 8); };
  QoriSize size{side(45), side(30)};
  if (random.oneIn(12)) size = {random.between(17, 24), random.between(17, 24)};  // many runs, if of single elements
  if (random.oneIn(12)) size = random.oneIn(2) ? QoriSize{random.between(60, 300), 1} : QoriSize{2, 70};
  if (c.usual) size = {3, 3};
  FlatMask mask{size, centreOf(size), std::vector<Qor8u>(static_cast<size_t>(size.width) * size.height)};
  if (freeAnchor && !c.usual) mask.anchor = {random.below(size.width), random.below(size.height)};
  const int kind = c.usual ? 5 : random.below(12);
  const int left = random.below(size.width), top = random.below(size.height);
  const int right = random.between(left, size.width - 1), bottom = random.between(top, size.height - 1);
  const auto isActive = [&](int j, int i) {
    const double x = (j + 0.5) / size.width * 2 - 1, y = (i + 0.5) / size.height * 2 - 1;
    switch (kind) {
      case 0:
      case 1:
        return true;
      case 2:
        return j >= left && j <= right && i >= top && i <= bottom;
      case 3:
        return j == left && i == top;
      case 4:
        return x * x + y * y <= 1;
      case 5:
        return j <= i;
      case 6:
        return j >= left - i % 3 && j <= right;
      case 7:
        return j == left || j == right;
      case 8:
        return (j + i) % size.width < (size.width + 1) / 2;
      case 9:
        return random.oneIn(2);
      case 10:
        return (i + j) % 2 == 0;
      default:
        return false;
    }
  };
  for (int i = 0; i < size.height; ++i)
    for (int j = 0; j < size.width; ++j)
      if (isActive(j, i))
        mask.elements[static_cast<size_t>(i) * size.width + j] = static_cast<Qor8u>(random.between(1, 255));
  appendCase(" mask %d of %dx%d at %d, %d", kind, size.width, size.height, mask.anchor.x, mask.anchor.y);
  return mask;
}

// The extremum under the mask at every pixel, and in the margin that is asked for; NaN where a NaN leaves it open.
template <class T>
Image<T> morphed(const Image<T>& src, const FlatMask& mask, bool highest, const Sides& in, const Margin& margin = {}) {
  const int w = src.size.width, h = src.size.height;
  std::vector<QoriPoint> offsets;
  mask.forActive([&](int x, int y) { offsets.push_back({x, y}); });
  Image<T> dst(src.size, src.channels, margin);
  if (offsets.empty()) offsets = {{0, 0}};
  for (int y = -margin.top; y < h + margin.bottom; ++y) {
    for (int x = -margin.left; x < w + margin.right; ++x) {
      for (int c = 0; c < src.channels; ++c) {
        std::optional<T> result;
        for (const QoriPoint offset : offsets) {
          const T value = src.at(*place(qorBorderRepl, x + offset.x, w, in.left, in.right),
                                 *place(qorBorderRepl, y + offset.y, h, in.top, in.bottom), c);
          const bool isNaN = value != value, isBetter = !result || (highest ? value > *result : value < *result);
          if (isBetter || isNaN) result = value;
          if (isNaN) break;
        }
        dst.at(x, y, c) = *result;
      }
    }
  }
  return dst;
}

// Where a NaN is wanted, anything may come.
template <class T>
void expectMorphed(const Image<T>& got, const Image<T>& want) {
  expectAgreement(
      got, want, [](T g, T w) { return w != w || g == w; }, "extrema");
}

// What the record of a call says, and its memory where that is not the call's.
struct Recorded {
  FlatMask mask;
  int scratch = 0;  // bytes
  std::unique_ptr<GuardedBytes> block = {};
  std::function<void()> release = [] {};

  ~Recorded() { release(); }
  static Recorded& of(const Arguments& a) { return *static_cast<Recorded*>(a.data.get()); }
};

// ---- checks that the inits and queries of masks share: 1 the size, 2 the anchor

inline void checkMask(DescribedContract& c, int which, QorStatus sizeStatus = qorStsSizeErr) {
  auto& size = c.now.at<QoriSize>('k');
  if (which == 1) {
    c.check(
        "mask", sizeStatus, [&] { return size.width < 1 || size.height < 1; }, [&] { size.width = 0; },
        [&] { size.height = -3; });
    return;
  }
  auto& anchor = c.now.at<QoriPoint>('A');
  c.check(
      "anchor", qorStsAnchorErr,
      [&] {
        return size.width > 0 && size.height > 0 &&
               (anchor.x < 0 || anchor.y < 0 || anchor.x >= size.width || anchor.y >= size.height);
      },
      [&] { anchor.x = -1; }, [&] { anchor.y = -1; }, [&] { anchor.x = size.width; }, [&] { anchor.y = size.height; });
}

// A mask for a call that makes a record of it, or asks for its size.
inline void drawMask(Call& call) {
  const FlatMask mask = anyMask(call.c, call.has('A'));
  call.at<QoriSize>('k') = mask.size;
  if (call.has('A')) call.at<QoriPoint>('A') = mask.anchor;
  if (call.has('M')) call.array('M', mask.elements);
}

// Around vectors of every type and words of bits, masks larger than the image, and several strips.
inline const Sweep imageSizes{.widths = {1, 2, 3, 7, 8, 16, 17, 33, 64, 65, 130},
                              .heights = {1, 2, 5, 11},
                              .thresholds = {{700, 9}, {2500, 4}, {20, 90}}};
inline const Sweep recordSizes{.widths = {1, 640, 1000}, .heights = {1, 3}, .repeats = 5};
inline const Sweep querySizes{.widths = {1, 640, 1 << 22, INT_MAX}, .heights = {1, 480, INT_MAX}, .repeats = 5};

// ---- sizes in 32 bits

struct Form {
  uint32_t bytes, channels;
  bool isPacked;
};
template <class T>
Form formOf(const char* name) {
  const char* const channels = strstr(name, "_C");
  return {sizeof(T), static_cast<uint32_t>(channels[2] - '0'), strstr(name, "_1u_") != nullptr};
}

struct Sizes {
  uint32_t spec, buffer;
};

inline uint32_t up(uint32_t n, uint32_t multiple) { return (n + multiple - 1) / multiple * multiple; }

inline Sizes sizesOf(const Form& f, int roiWidth, QoriSize mask) {
  const auto mw = static_cast<uint32_t>(mask.width), mh = static_cast<uint32_t>(mask.height);
  const auto width = static_cast<uint32_t>(roiWidth);
  const uint32_t A = up(mw * mh, 16), twice = f.bytes == 2 ? 2 : 1;
  const uint32_t F = (2 * mh * (width * f.channels * f.bytes + 32) + 32 * mh + 32) * twice;
  const uint32_t E = (mh * mh + 1) * (width * f.bytes + 32) + 40 * mh + 40;
  const auto larger = static_cast<uint32_t>(std::max(static_cast<int32_t>(F), static_cast<int32_t>(E)));
  const uint32_t B = larger + up(24 * mh, 16) + A + (16 * mh + 79) / 16 * 16;
  if (f.isPacked) return {3 * A + 96, B};
  return {33 * A + 16 * mh + 160 + (f.bytes == 2 ? 0 : B), B};
}

}  // namespace qortest
