#include <math.h>

#include <algorithm>

#include "qorcv/segment.h"
#include "support/support.h"

namespace {
using namespace qortest;

enum class Family { Plain, Range, Gradient };

struct Member {
  Family family;
  bool diagonal;
};

template <class T>
struct Values {
  T paint[3], down[3], up[3];
};

// The fills as the header tells them, column by column, with all that a span knows. Pixels are painted at the end: a
// pixel joins once, and what has joined is not looked at again but as a reference by its former value.
template <class T>
class Filled {
 public:
  struct Span {
    int row, left, right, parentLeft, parentRight, side;
  };

  Filled(Image<T> before, Member member, const Values<T>& values, QoriPoint seed)
      : image(std::move(before)), m(member), v(values), w(image.size.width), h(image.size.height), joined(image.size) {
    bool isPaint = m.family != Family::Gradient;
    for (int c = 0; c < image.channels; ++c) {
      old[c] = image.at(seed.x, seed.y, c);
      isPaint = isPaint && old[c] == v.paint[c];
    }
    if (isPaint) return;
    told = true;
    Span first{seed.y, seed.x, seed.x, 0, 0, 1};
    joined.at(seed.x, seed.y) = 1;
    while (fits(first.right + 1, seed.y, first.right, seed.y, Way::Seed)) joined.at(++first.right, seed.y) = 1;
    while (fits(first.left - 1, seed.y, first.left, seed.y, Way::Seed)) joined.at(--first.left, seed.y) = 1;
    // Nothing has been looked at in the rows beside the first span.
    first.parentLeft = first.right + 2, first.parentRight = first.right + 1;
    if (m.family != Family::Gradient && seed.y == h - 1) first.side = -1;
    widest = {first.left, seed.y, first.right, seed.y};
    area = first.right - first.left + 1;
    const size_t capacity = m.family == Family::Range ? static_cast<size_t>(w * h / 4) : 0;
    if ((m.family == Family::Gradient || h > 1) && capacity != 1) spread(first, capacity);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        for (int c = 0; c < image.channels && joined.at(x, y) != 0; ++c) image.at(x, y, c) = v.paint[c];
  }

  Image<T> image;
  bool told = false;
  int area = 0;
  QoriRect widest{};  // with the last column and row for width and height

 private:
  enum class Way { Right, Left, Seed, FromSpan };

  void spread(const Span& first, size_t capacity) {
    stack = {first};
    while (!stack.empty()) {
      const Span s = stack.back();
      stack.pop_back();
      widest = {std::min(widest.x, s.left), std::min(widest.y, s.row), std::max(widest.width, s.right),
                std::max(widest.height, s.row)};
      const int from = std::max(m.diagonal ? s.left - 1 : s.left, 0);
      const int to = std::min(m.diagonal ? s.right + 1 : s.right, w - 1);
      scan(s, s.row - s.side, from, to, s.side, capacity);
      scan(s, s.row + s.side, from, std::min(to, s.parentLeft - 1), -s.side, capacity);
      scan(s, s.row + s.side, std::max(from, s.parentRight + 1), to, -s.side, capacity);
    }
  }

  void scan(const Span& s, int y, int from, int to, int side, size_t capacity) {
    for (int x = from; x <= to; ++x) {
      if (!fitsSpan(x, y, s)) continue;
      int left = x;
      joined.at(x, y) = 1;
      while (fits(left - 1, y, left, y, Way::Left)) joined.at(--left, y) = 1;
      while (fits(x + 1, y, x, y, Way::Right) || fitsSpan(x + 1, y, s)) joined.at(++x, y) = 1;
      area += x - left + 1;
      stack.push_back({y, left, x, s.left, s.right, side});
      if (stack.size() == capacity) stack.clear();
      ++x;
    }
  }

  bool fitsSpan(int x, int y, const Span& s) const {
    if (m.family != Family::Gradient) return fits(x, y, x, y, Way::FromSpan);
    for (int at = m.diagonal ? x - 1 : x; at <= (m.diagonal ? x + 1 : x); ++at)
      if (at >= s.left && at <= s.right && fits(x, y, at, s.row, Way::FromSpan)) return true;
    return false;
  }

  // Whether a pixel joins because of another one.
  bool fits(int x, int y, int fromX, int fromY, Way way) const {
    if (x < 0 || y < 0 || x >= w || y >= h || joined.at(x, y) != 0) return false;
    for (int c = 0; c < image.channels; ++c)
      if (!fitsChannel(image.at(x, y, c), image.at(fromX, fromY, c), c, way)) return false;
    return true;
  }
  bool fitsChannel(T p, T q, int c, Way way) const {
    if (m.family == Family::Plain) return p == old[c];
    if constexpr (std::is_floating_point_v<T>) {
      const T low = old[c] - v.down[c], high = v.up[c] + old[c];
      if (m.family == Family::Range) return low <= p && p <= high;
      const T centre = (v.down[c] - v.up[c]) * 0.5F, half = 0.5F * (v.down[c] + v.up[c]);
      const T apart = fabsf(way == Way::Left ? (p - q) + centre : (p + centre) - q);
      return way == Way::Seed ? !(apart > half) : apart <= half;
    } else {
      const int64_t reference = m.family == Family::Range ? old[c] : q, value = p;
      return value >= reference - v.down[c] && value <= reference + v.up[c];
    }
  }

  const Member m;
  const Values<T> v;
  const int w, h;
  T old[3] = {};
  Image<Qor8u> joined;
  std::vector<Span> stack = {};
};

// ---- data

// Few levels near each other, in floats a tenth apart so that sums round, and values that compare with nothing.
template <class T>
T level(Random& random, int count) {
  if constexpr (std::is_floating_point_v<T>) {
    if (random.oneIn(200)) return random.oneIn(2) ? NAN : INFINITY;
    return static_cast<T>(7 + random.below(count)) * T(0.1);
  } else {
    return static_cast<T>(7 + random.below(count));
  }
}

template <class T>
void drawValues(Call& call, Member m) {
  Random& random = call.c.random;
  auto values = std::make_shared<Values<T>>();
  const bool isWide = random.oneIn(4);
  const auto delta = [&]() -> T {
    if constexpr (std::is_floating_point_v<T>) {
      if (random.oneIn(40)) return NAN;
      if (random.oneIn(40)) return INFINITY;
      const T d = static_cast<T>(random.below(4)) * T(0.1) * (isWide ? 3000 : 1);
      return m.family == Family::Range && random.oneIn(20) ? -d : d;
    } else {
      return static_cast<T>(isWide ? random.bits() : static_cast<uint64_t>(random.below(3)));
    }
  };
  for (int c = 0; c < 3; ++c) {
    values->paint[c] = level<T>(random, random.oneIn(2) ? 4 : 40);
    values->down[c] = call.c.usual ? T(0) : delta();
    values->up[c] = call.c.usual ? T(0) : delta();
  }
  call.data = values;
  const auto pass = [&](char role, const T* v) {
    if (call.description.operation.parameters[size_t(call.position(role))].kind == Parameter::Pointer)
      call.array(role, std::vector<T>(v, v + 3));
    else
      call.at<T>(role) = v[0];
  };
  pass('x', values->paint);
  if (m.family == Family::Plain) return;
  pass('n', values->down);
  pass('k', values->up);
}

// Blots, or teeth on both sides of full rows, which make the most spans of one; or as it came.
template <class T>
void makePicture(Call& call) {
  GuardedImage<T>& image = call.image<T>('i');
  Random& random = call.c.random;
  const int kind = random.below(6), levels = random.between(1, 5), across = 1 << random.below(7);
  if (kind == 0) return;
  const T one = level<T>(random, 1);
  image.generate([&](int x, int y, int c) {
    if (kind == 1) return x % 2 == 0 || y % 4 == 1 ? one : T(one + T(90));
    if (x > 0 && !random.oneIn(across)) return image.at(x - 1, y, c);
    return y > 0 && random.oneIn(2) ? image.at(x, y - 1, c) : level<T>(random, levels);
  });
}

template <class T>
void expectFill(Call& call, Member m) {
  const auto& values = *static_cast<const Values<T>*>(call.data.get());
  const Filled<T> want(call.before<T>('i'), m, values, call.at<QoriPoint>('p'));
  call.expect('i', want.image);
  if (!want.told) return;
  const QoriConnectedComp& got = *call.at<QoriConnectedComp*>('r');
  const QoriRect r{want.widest.x, want.widest.y, want.widest.width - want.widest.x + 1,
                   want.widest.height - want.widest.y + 1};
  EXPECT_EQ(got.area, want.area) << currentCase();
  EXPECT_EQ(memcmp(&got.rect, &r, sizeof r), 0)
      << got.rect.x << ' ' << got.rect.y << ' ' << got.rect.width << ' ' << got.rect.height << ' ' << currentCase();
  for (int c = 0; c < 3; ++c)
    EXPECT_TRUE(same(got.value[c], c < want.image.channels ? static_cast<double>(values.paint[c]) : 0))
        << currentCase();
}

// Deltas below 0, by their bits.
void refuseDeltas(DescribedContract& c, int channels) {
  const auto isNegative = [](int bits) { return bits < 0 && bits != INT_MIN; };
  for (int i = 0; i < channels; ++i)
    for (const char role : {'n', 'k'})
      c.refuseWord(role, i, qorStsOutOfRangeErr, isNegative, {static_cast<int>(0xbf800000), INT_MIN + 1});
}

template <class T>
void add(Descriptions& d, const char* name, auto* operation, Member m, int channels) {
  std::string checks =
      "null | size | step i:" + std::to_string(sizeof(T) == 2 ? 2 * channels : int{sizeof(T)}) + " | even | inside p";
  if (m.family == Family::Gradient && sizeof(T) == 4) {
    checks += channels == 1 ? " | least n OutOfRangeErr 0 | least k OutOfRangeErr 0" : " | own 1";
  }
  d.add(name, operation, m.family == Family::Plain ? "i.zpxrw" : "i.zpxnkrw",
        {.checks = checks,
         .draw = [=](Call& call) { drawValues<T>(call, m); },
         .fill = makePicture<T>,
         .scratch = reported(m.family == Family::Gradient ? qoriFloodFillGetSize_Grad : qoriFloodFillGetSize),
         .expect = [=](Call& call) { expectFill<T>(call, m); },
         .own = [](DescribedContract& c, int) { refuseDeltas(c, 3); },
         .read = channels == 1               ? ""
                 : m.family == Family::Plain ? "x"
                                             : "xnk",
         .sweep = {.thresholds = {{29, 3}, {70, 30}, {200, 17}}, .repeats = 3}});
}

const Descriptions members([](Descriptions& d) {
#define QOR_FLOOD(name, T, channels, diagonal) add<T>(d, QORTEST_NAMED(name), {Family::Plain, diagonal}, channels);
#define QOR_FLOOD_C3 QOR_FLOOD
#define QOR_FLOOD_RANGE(name, T, channels, diagonal) \
  add<T>(d, QORTEST_NAMED(name), {Family::Range, diagonal}, channels);
#define QOR_FLOOD_RANGE_C3 QOR_FLOOD_RANGE
#define QOR_FLOOD_GRAD(name, T, channels, diagonal) \
  add<T>(d, QORTEST_NAMED(name), {Family::Gradient, diagonal}, channels);
#define QOR_FLOOD_GRAD_C3 QOR_FLOOD_GRAD
#include "../../src/segment/flood.def"
  const Sweep regions{.widths = {1, 641, 46341, INT_MAX}, .heights = {1, 7, 70000, INT_MAX}};
  d.add(QORTEST_NAMED(qoriFloodFillGetSize), "zr",
        {.checks = "null | size",
         .expect =
             [](Call& c) {
               const auto w = uint32_t(c.size().width), h = uint32_t(c.size().height);
               c.expectResult(1, static_cast<int>(6 * w * h + 32));
             },
         .sweep = regions});
  d.add(QORTEST_NAMED(qoriFloodFillGetSize_Grad), "zr",
        {.checks = "null | size",
         .expect =
             [](Call& c) {
               const auto w = uint32_t(c.size().width), h = uint32_t(c.size().height);
               c.expectResult(1, static_cast<int>((w + 2) * (h + 2) + 16 * w * h + 64));
             },
         .sweep = regions});
});

}  // namespace
