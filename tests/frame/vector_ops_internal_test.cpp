// Internal operations on vectors.
#include "frame/vector_ops.h"

#include <math.h>

#include <algorithm>

#include "frame/alloc.h"
#include "qorcore.h"
#include "support/support.h"

namespace {
using namespace qortest;

// Around the lengths that go parallel, and more threads than elements.
const Sweep vectors{.heights = {1}, .thresholds = {{4095, 1}, {4096, 1}, {5, 1}}};

// Every element by a function of the sources' elements.
template <class T, class F>
std::function<void(Call&)> each(F f, char to = 'd') {
  return [=](Call& c) {
    Image<T> want(c.size());
    for (int x = 0; x < c.size().width; ++x) {
      const T a = c.before<T>('s').at(x, 0);
      if constexpr (std::is_invocable_v<F, T>)
        want.at(x, 0) = f(a);
      else
        want.at(x, 0) = f(a, to == 'i' ? c.before<T>('i').at(x, 0) : c.before<T>('s', 2).at(x, 0));
    }
    c.expect(to, want, std::is_floating_point_v<T> ? Equal::SignedZeros : Equal::Values);
  };
}

int fromLength(const Arguments& a, int threads, int) { return threads > 1 && a.size().width >= 4096 ? threads : 0; }

#define NAMED(name) QORTEST_NAMED(qor::name)

const Descriptions members([](Descriptions& d) {
  const char* const checks = "null | size";
  const auto fill = [&]<class T>(const char* name, QorStatus (*set)(T, T*, int), const char* zeroName,
                                 QorStatus (*zero)(T*, int)) {
    const auto expectAll = [](Call& c) {
      Image<T> want(c.size());
      if (c.has('v')) std::fill(want.samples.begin(), want.samples.end(), c.at<T>('v'));
      c.expect('d', want, Equal::Bits);
    };
    d.add(name, set, "vdz", {.checks = checks, .expect = expectAll, .sweep = vectors});
    d.add(zeroName, zero, "dz", {.checks = checks, .expect = expectAll, .sweep = vectors});
  };
  fill(NAMED(qorsSet_8u), NAMED(qorsZero_8u));
  fill(NAMED(qorsSet_16s), NAMED(qorsZero_16s));
  fill(NAMED(qorsSet_32s), NAMED(qorsZero_32s));
  fill(NAMED(qorsSet_32f), NAMED(qorsZero_32f));
  const auto copy = [&]<class T>(const char* name, QorStatus (*f)(const T*, T*, int)) {
    d.add(name, f, "Sdz", {.checks = checks, .expect = each<T>([](T v) { return v; }), .sweep = vectors});
  };
  copy(NAMED(qorsCopy_8u));
  copy(NAMED(qorsCopy_16s));
  copy(NAMED(qorsCopy_32f));

  const auto every = [&]<class T>(bool greater, const char* name, QorStatus (*f)(const T*, const T*, T*, qor::Qor32u),
                                  const char* nameI, QorStatus (*inPlace)(const T*, T*, qor::Qor32u)) {
    const auto pick = [=](T a, T b) { return (greater ? a > b : a < b) ? a : b; };
    const Traits traits{.checks = "null | not z SizeErr 0", .sweep = vectors};
    Traits apart = traits, onto = traits;
    apart.expect = each<T>(pick), onto.expect = each<T>(pick, 'i');
    d.add(name, f, "ssdz", apart);
    d.add(nameI, inPlace, "siz", onto);
  };
#define EVERY(tag)                                                        \
  every(false, NAMED(qorsMinEvery_##tag), NAMED(qorsMinEvery_##tag##_I)); \
  every(true, NAMED(qorsMaxEvery_##tag), NAMED(qorsMaxEvery_##tag##_I));
  EVERY(8u)
  EVERY(16u)
  EVERY(32f)
  EVERY(64f)

  const std::vector<QoriSize> lengths{{4095, 1}, {4096, 1}};
  d.add(NAMED(qorsSqrt_32f), "Sdz",
        {.checks = checks,
         .expect = each<Qor32f>([](Qor32f v) { return sqrtf(v); }),
         .teamOf = fromLength,
         .teamSizes = lengths,
         .sweep = vectors});
  const auto magnitude = [](Qor32f x, Qor32f y) {
    const Qor32f xx = x * x, yy = y * y;
    return sqrtf(xx + yy);
  };
  d.add(NAMED(qorsMagnitude_32f), "SSdz",
        {.checks = checks,
         .expect = each<Qor32f>(magnitude),
         .teamOf = fromLength,
         .teamSizes = lengths,
         .sweep = vectors});
  const auto ends = [](Call& c) {
    if (c.c.random.oneIn(2)) return;
    const auto end = static_cast<Qor16s>(c.c.random.oneIn(2) ? 0 : -32768);
    c.image<Qor16s>('s').at(0, 0) = c.image<Qor16s>('s', 2).at(0, 0) = end;
  };
  const auto expectScaled = [](Call& c) {
    each<Qor16s>([&](Qor16s x, Qor16s y) {
      const double xx = x, yy = y, root = ldexp(sqrt(xx * xx + yy * yy), -std::clamp(c.number('n'), -500, 500));
      return static_cast<Qor16s>(std::min(rint(root), 32767.0));
    })(c);
  };
  d.add(NAMED(qorsMagnitude_16s_Sfs), "ssdzn",
        {.checks = checks,
         .values = {{'n', {0, 1, 5, 16, -1, -14, INT_MAX, INT_MIN}}},
         .fill = ends,
         .expect = expectScaled,
         .teamOf = fromLength,
         .teamSizes = lengths,
         .sweep = {.heights = {1}, .thresholds = {{4095, 1}, {4096, 1}, {5, 1}}, .repeats = 4}});
});

void expectArctangent(Qor32f result, Qor32f y, Qor32f x) {
  const double want = atan2(double{y}, double{x}), got = double{result};
  // 21 correct mantissa bits; angles that are no normal numbers lose bits to their own format only.
  const double bound = std::max(fabs(want) * 0x1p-21, 0x1p-149);
  ASSERT_TRUE(isnan(want) ? isnan(got) : fabs(got - want) <= bound && signbit(got) == signbit(want))
      << "y " << y << " x " << x << " got " << got << " want " << want << ' ' << currentCase();
}

const Descriptions arctangent([](Descriptions& d) {
  const auto expectAngles = [](Call& c) {
    const Image<Qor32f> got = c.after<Qor32f>('d');
    for (int i = 0; i < c.size().width; ++i)
      expectArctangent(got.at(i, 0), c.before<Qor32f>('s').at(i, 0), c.before<Qor32f>('s', 2).at(i, 0));
  };
  d.add(NAMED(qorsAtan2_32f_A21), "SSdz", {.checks = "", .expect = expectAngles, .sweep = vectors});
});

TEST(VectorOps, ArctangentOfTheAxes) {
  for (const Qor32f y : {0.0F, -0.0F, 1.0F, -1.0F, 1e-40F, INFINITY, -INFINITY, NAN}) {
    for (const Qor32f x : {0.0F, -0.0F, 1.0F, -1.0F, 1e-40F, 1e30F, INFINITY, -INFINITY, NAN}) {
      Qor32f got = 7;
      EXPECT_EQ(qor::qorsAtan2_32f_A21(&y, &x, &got, 1), qorStsNoErr);
      expectArctangent(got, y, x);
    }
  }
  EXPECT_EQ(qor::qorsAtan2_32f_A21(nullptr, nullptr, nullptr, 0), qorStsNoErr);
}

const Descriptions sorting([](Descriptions& d) {
  const auto expectSorted = [](Call& c) {
    Image<Qor64f> want = c.before<Qor64f>('i');
    std::sort(want.samples.begin(), want.samples.end());
    c.expect('i', want);
  };
  d.add(NAMED(qorsSortAscend_64f_I), "iz",
        {.checks = "null | size",
         .expect = expectSorted,
         .sweep = {.heights = {1}, .thresholds = {{4095, 1}, {100000, 1}, {5, 1}}, .finite = true}});
});

// A sequence whose median of three is always next to the least: every split leaves almost everything on one side.
TEST(VectorOps, SortOfAKillerSequence) {
  for (const int half : {20, 100, 5000}) {
    const auto fill = [=](Call& c) {
      auto& values = c.image<Qor64f>('i');
      for (int i = 1; i <= half; ++i) {
        values.at(i - 1, 0) = i % 2 != 0 ? i : half + i - 1;
        values.at(half + i - 1, 0) = 2 * i;
      }
    };
    runOwn("qor::qorsSortAscend_64f_I", {2 * half, 1}, {.fill = fill});
  }
}

// The order of NaN is open, but the values stay the same ones and the ends are never passed.
TEST(VectorOps, SortKeepsUnorderedValues) {
  for (int share = 1; share < 20; ++share) {
    setCase("every %d.", share);
    GuardedImage<Qor64f> values({1000, 1});
    Random random(baseSeed() + static_cast<uint64_t>(share));
    values.generate([&](int, int, int) { return random.oneIn(share) ? NAN : random.unit(); });
    const auto bits = [&] {
      std::vector<uint64_t> b(1000);
      memcpy(b.data(), values.data(), 8000);
      std::sort(b.begin(), b.end());
      return b;
    };
    const auto before = bits();
    EXPECT_EQ(qor::qorsSortAscend_64f_I(values.data(), 1000), qorStsNoErr);
    EXPECT_EQ(bits(), before) << currentCase();
  }
  EXPECT_EQ(qor::qorsSortAscend_64f_I(noAccess<Qor64f>(), 1), qorStsNoErr);
}

TEST(Allocation, RefusesWhatItCannotCount) {
  EXPECT_EQ(qor::qorsMalloc_32f(0), nullptr);
  EXPECT_EQ(qor::qorsMalloc_8u(-1), nullptr);
  EXPECT_EQ(qor::qorsMalloc_16u(0x40000000), nullptr);
  EXPECT_EQ(qor::qorsMalloc_32s(0x20000000), nullptr);
  EXPECT_EQ(qor::qorsMalloc_64f(0x10000000), nullptr);
  EXPECT_EQ(qor::qorsMalloc_64f(0x20000001), nullptr);
  void* const blocks[] = {qor::qorsMalloc_8u(1), qor::qorsMalloc_16u(3), qor::qorsMalloc_32s(5), qor::qorsMalloc_32f(7),
                          qor::qorsMalloc_64f(1000)};
  for (void* const b : blocks) {
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % 64, 0U);
    qor::qorsFree(b);
  }
  qor::qorsFree(nullptr);
}

}  // namespace
