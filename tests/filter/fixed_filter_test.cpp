#include <functional>

#include "filter/fixed_filters.h"

namespace {
using namespace qortest;

// A call in one form for all members, whatever arguments they lack.
template <class S, class D>
struct Call {
  const GuardedImage<S>& src;
  const GuardedImage<D>& dst;
  int maskSize, border;
  S borderValue;
  int divisor;
  Qor8u* buffer;
};

template <class S, class D>
using WithMask = QorStatus (*)(const S*, int, D*, int, QoriSize, int, int, S, Qor8u*);
template <class S, class D>
using Divided = QorStatus (*)(const S*, int, D*, int, QoriSize, int, int, S, int, Qor8u*);
template <class S, class D>
using Scharr = QorStatus (*)(const S*, int, D*, int, QoriSize, int, S, Qor8u*);
// The divisor of a divided Scharr stands where the value of the others with a mask does.
using DividedScharr = QorStatus (*)(const Qor8u*, int, Qor8s*, int, QoriSize, int, Qor8u, int, Qor8u*);

template <class S, class D>
QorStatus invoke(WithMask<S, D> f, const Call<S, D>& c) {
  return f(c.src.data(), c.src.step(), c.dst.data(), c.dst.step(), c.src.size(), c.maskSize, c.border, c.borderValue,
           c.buffer);
}
template <class S, class D>
QorStatus invoke(Divided<S, D> f, const Call<S, D>& c) {
  return f(c.src.data(), c.src.step(), c.dst.data(), c.dst.step(), c.src.size(), c.maskSize, c.border, c.borderValue,
           c.divisor, c.buffer);
}
template <class S, class D>
QorStatus invoke(Scharr<S, D> f, const Call<S, D>& c) {
  return f(c.src.data(), c.src.step(), c.dst.data(), c.dst.step(), c.src.size(), c.border, c.borderValue, c.buffer);
}
QorStatus invoke(DividedScharr f, const Call<Qor8u, Qor8s>& c) {
  return f(c.src.data(), c.src.step(), c.dst.data(), c.dst.step(), c.src.size(), c.border, c.borderValue, c.divisor,
           c.buffer);
}
QorStatus invoke(QorStatus (*f)(QoriSize, int, int*), QoriSize size, int maskSize, int* bytes) {
  return f(size, maskSize, bytes);
}
QorStatus invoke(QorStatus (*f)(QoriSize, int*), QoriSize size, int, int* bytes) { return f(size, bytes); }

// The terms of the reported size that the members differ in.
struct Terms {
  int extra;
  bool threeByThreeOnly;
};

template <class S, class D>
struct Member {
  const char* name;
  const Filter& filter;
  std::function<QorStatus(const Call<S, D>&)> call;
  std::function<QorStatus(QoriSize, int, int*)> query;
  Terms terms;

  int bufferSize(QoriSize size, int maskSize) const {
    int bytes = 0;
    EXPECT_EQ(query(size, maskSize, &bytes), qorStsNoErr) << currentCase();
    return bytes;
  }
};

#define MEMBER(S, D, name, size, F, extra, small)                               \
  Member<S, D>{#name,                                                           \
               filters::F,                                                      \
               [](const Call<S, D>& c) { return invoke(name, c); },             \
               [](QoriSize s, int m, int* b) { return invoke(size, s, m, b); }, \
               {extra, small}},
const Member<Qor8u, Qor16s> to16s[] = {
#define QOR_FIXED_8U16S(name, size, F, extra) MEMBER(Qor8u, Qor16s, name, size, F, extra, false)
#define QOR_SCHARR_8U16S(name, size, F, extra) MEMBER(Qor8u, Qor16s, name, size, F, extra, true)
#include "../../src/filter/fixed_filter.def"
};
#undef QOR_FIXED_8U16S
#undef QOR_SCHARR_8U16S
const Member<Qor8u, Qor8s> to8s[] = {
#define QOR_FIXED_8U8S(name, size, F, extra) MEMBER(Qor8u, Qor8s, name, size, F, extra, false)
#define QOR_SCHARR_8U8S(name, size, F, extra) MEMBER(Qor8u, Qor8s, name, size, F, extra, true)
#include "../../src/filter/fixed_filter.def"
};
#undef QOR_FIXED_8U8S
#undef QOR_SCHARR_8U8S
const Member<Qor32f, Qor32f> to32f[] = {
#define QOR_FIXED_32F(name, size, F, extra) MEMBER(Qor32f, Qor32f, name, size, F, extra, false)
#define QOR_SCHARR_32F(name, size, F, extra) MEMBER(Qor32f, Qor32f, name, size, F, extra, true)
#include "../../src/filter/fixed_filter.def"
    MEMBER(Qor32f, Qor32f, qoriFilterLowpassBorder_32f_C1R, qoriFilterLowpassGetBufferSize_32f_C1R, Lowpass, 304,
           false)};
#undef QOR_FIXED_32F
#undef QOR_SCHARR_32F
const Member<Qor8u, Qor8u> to8u[] = {
    MEMBER(Qor8u, Qor8u, qoriFilterLowpassBorder_8u_C1R, qoriFilterLowpassGetBufferSize_8u_C1R, Lowpass, 368, false)};

template <class Test>
void forAllMembers(Test test) {
  for (const auto& m : to16s) test(m);
  for (const auto& m : to8s) test(m);
  for (const auto& m : to32f) test(m);
  for (const auto& m : to8u) test(m);
}

template <class S, class D>
Image<D> reference(const Member<S, D>& m, const Call<S, D>& c) {
  const int K = c.maskSize / 11, width = c.src.size().width;
  const auto sums = FilterSums<S>(c.src, K, c.border, c.borderValue).of(m.filter);
  Image<D> want(c.src.size());
  for (size_t i = 0; i < sums.size(); ++i) {
    const auto sum = sums[i];
    const int column = static_cast<int>(i) % width;
    if constexpr (std::is_same_v<D, Qor8s>) {
      const bool cut = (m.filter.isLaplacian && K == 5) || column >= width / 4 * 4;
      const float quotient =
          std::clamp(static_cast<float>(sum) * (1.0F / static_cast<float>(c.divisor)), -128.F, 127.F);
      want.samples[i] = static_cast<D>(cut ? truncf(quotient) : nearbyintf(quotient));
    } else if constexpr (std::is_same_v<D, Qor8u>) {
      want.samples[i] = static_cast<D>(K == 3 ? ((sum + 5) * 7280) >> 16 : (sum * 2621) >> 16);
    } else if (std::is_same_v<D, Qor32f> && &m.filter == &filters::Lowpass) {
      want.samples[i] = static_cast<D>(sum * static_cast<decltype(sum)>(K == 3 ? 0.11111111F : 0.04F));
    } else {
      want.samples[i] = static_cast<D>(sum);
    }
  }
  return want;
}

// Powers of two in half of the cases, and all signs and sizes.
int drawDivisor(Random& random) {
  constexpr int others[] = {3, 5, 6, 7, 10, 12, 100, 1000, INT_MAX, INT_MIN, -1, -2, -8};
  return random.oneIn(2) ? 1 << random.below(random.oneIn(4) ? 31 : 9) : others[random.below(13)];
}

// Margins exactly where memory around the region is read.
Margin marginOf(int border, int reach) {
  const Sides in = memorySides(border);
  return {in.left ? reach : 0, in.top ? reach : 0, in.right ? reach : 0, in.bottom ? reach : 0};
}

template <class S, class D>
void testMember(const Member<S, D>& m, int maskSize) {
  static const std::vector<int> borders = allBorders();
  // Every width to 40, and around four and eight blocks; a size that is shared, with all thread counts.
  Sweep options{.widths = {63, 64, 65, 79, 127, 130}, .heights = {1, 2, 3, 4, 5, 9, 26}};
  for (int width = 1; width <= 40; ++width) options.widths.push_back(width);
  options.thresholds = {{259, std::is_same_v<D, Qor8s> && m.filter.isLaplacian ? 70 : 258}};
  sweep(m.name, options, [&](Case& c) {
    const int border = borders[static_cast<size_t>(c.random.below(static_cast<int>(borders.size())))];
    const int divisor = drawDivisor(c.random);
    appendCase(", mask %d, border %d, divisor %d", maskSize, border, divisor);
    auto src = c.image<S>(1, marginOf(border, maskSize / 22));
    auto dst = c.output<D>();
    const auto buffer = c.scratch(m.bufferSize(c.size, maskSize));
    const Call<S, D> call{src, dst, maskSize, border, static_cast<S>(c.random.below(256)), divisor, buffer.data()};
    const Image<D> want = reference(m, call);
    src.protect();
    EXPECT_EQ(m.call(call), qorStsNoErr);
    expectSame(dst, want);
  });
}

TEST(FixedFilter, EqualsItsDefinition) {
  forAllMembers([](const auto& m) {
    testMember(m, qorMskSize3x3);
    if (!m.terms.threeByThreeOnly) testMember(m, qorMskSize5x5);
  });
}

}  // namespace
