// Fuzzes pixel arithmetic: every call is valid, and its result is compared with a loop from the definition.
#include <cmath>
#include <limits>

#include "arith_reductions.h"
#include "fuzz.h"

namespace {

using fuzz::Image;
using fuzz::Input;

template <class T>
T difference(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) {
    return std::fabs(a - b);
  } else {
    return static_cast<T>(a > b ? a - b : b - a);
  }
}

template <class T>
bool same(T a, T b) {
  return a == b || (a != a && b != b);
}

// A size that is large enough for a team, but seldom: such an image takes a thousand times as long.
QoriSize anySize(Input& in) {
  return in.ConsumeIntegralInRange(0, 4095) == 4095 ? QoriSize{in.ConsumeIntegralInRange(510, 520), 514}
                                                    : fuzz::size(in);
}

template <class T, class Operation>
void absDiff(Input& in, Operation operation, int channels = 1) {
  const QoriSize size = anySize(in);
  Image<T> a(in, size, channels), b(in, size, channels), separate(in, size, channels);
  Image<T>& dst = in.ConsumeBool() ? separate : in.ConsumeBool() ? a : b;
  const auto beforeA = a.snapshot(), beforeB = b.snapshot(), before = dst.snapshot();
  FUZZ_CHECK(operation(a.data(), a.step(), b.data(), b.step(), dst.data(), dst.step(), size) == qorStsNoErr);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width * channels; ++x) {
      FUZZ_CHECK(same(dst.row(y)[x], difference(a.row(beforeA, y)[x], b.row(beforeB, y)[x])));
    }
  }
  FUZZ_CHECK(dst.gapsEqual(before));
}

template <class T, class Value, class Operation>
void absDiffC(Input& in, Operation operation, Value value, T effective) {
  const QoriSize size = anySize(in);
  Image<T> src(in, size), separate(in, size);
  Image<T>& dst = in.ConsumeBool() ? separate : src;
  const auto beforeSrc = src.snapshot(), before = dst.snapshot();
  FUZZ_CHECK(operation(src.data(), src.step(), dst.data(), dst.step(), size, value) == qorStsNoErr);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      FUZZ_CHECK(same(dst.row(y)[x], difference(src.row(beforeSrc, y)[x], effective)));
    }
  }
  FUZZ_CHECK(dst.gapsEqual(before));
}

int clamped(int value, int top) { return value < 0 ? 0 : value > top ? top : value; }

void fastArctan(Input& in) {
  const QoriSize size = {in.ConsumeIntegralInRange(1, 70), 1};
  Image<Qor32f> y(in, size), x(in, size), separate(in, size);
  Image<Qor32f>& dst = in.ConsumeBool() ? separate : in.ConsumeBool() ? y : x;
  const auto beforeY = y.snapshot(), beforeX = x.snapshot();
  FUZZ_CHECK(qoribFastArctan_32f(y.data(), x.data(), dst.data(), size.width) == qorStsNoErr);
  for (int i = 0; i < size.width; ++i) {
    const double exactY = y.row(beforeY, 0)[i], exactX = x.row(beforeX, 0)[i];
    const double angle = dst.row(0)[i];
    if (std::isnan(exactY) || std::isnan(exactX)) {
      FUZZ_CHECK(std::isnan(angle));
      continue;
    }
    FUZZ_CHECK(angle >= 0 && angle < 360);
    const bool origin = exactY == 0 && exactX == 0;
    const double exact = origin ? 0 : std::atan2(exactY, exactX) * (180 / 3.14159265358979323846);
    FUZZ_CHECK(std::fabs(std::remainder(angle - exact, 360)) <= 0.01);
  }
}

// An accumulator after an operation; call(src1, src2, mask, accumulator, size), rule(accumulator, src1, src2). Products
// and sums of floats in 64 bits, rounded, are those of 32-bit arithmetic.
template <class T, class Call, class Rule>
void accumulate(Input& in, bool masked, Call call, Rule rule) {
  const QoriSize size = anySize(in);
  Image<T> src1(in, size), src2(in, size);
  Image<Qor8u> mask(in, size);
  Image<Qor32f> accumulator(in, size);
  const auto before = accumulator.snapshot();
  FUZZ_CHECK(call(src1, src2, mask, accumulator, size) == qorStsNoErr);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const Qor32f old = accumulator.row(before, y)[x];
      if (masked && mask.row(y)[x] == 0) {
        FUZZ_CHECK(std::memcmp(&accumulator.row(y)[x], &old, sizeof old) == 0);
      } else {
        const double a = static_cast<double>(old);
        FUZZ_CHECK(same(accumulator.row(y)[x], static_cast<Qor32f>(rule(a, static_cast<double>(src1.row(y)[x]),
                                                                        static_cast<double>(src2.row(y)[x])))));
      }
    }
  }
  FUZZ_CHECK(accumulator.gapsEqual(before));
}

double rounded(double x) { return static_cast<double>(static_cast<Qor32f>(x)); }

template <class T, class Plain, class Masked>
void accumulateSquares(Input& in, Plain plain, Masked withMask) {
  const bool masked = in.ConsumeBool();
  accumulate<T>(
      in, masked,
      [=](auto& s, auto&, auto& m, auto& a, QoriSize size) {
        return masked ? withMask(s.data(), s.step(), m.data(), m.step(), a.data(), a.step(), size)
                      : plain(s.data(), s.step(), a.data(), a.step(), size);
      },
      [](double a, double s, double) { return a + rounded(s * s); });
}

template <class T, class Plain, class Masked>
void accumulateProducts(Input& in, Plain plain, Masked withMask) {
  const bool masked = in.ConsumeBool();
  accumulate<T>(
      in, masked,
      [=](auto& s, auto& t, auto& m, auto& a, QoriSize size) {
        return masked ? withMask(s.data(), s.step(), t.data(), t.step(), m.data(), m.step(), a.data(), a.step(), size)
                      : plain(s.data(), s.step(), t.data(), t.step(), a.data(), a.step(), size);
      },
      [](double a, double s, double t) { return a + rounded(s * t); });
}

template <class T, class Plain, class Masked>
void accumulateWeighted(Input& in, Plain plain, Masked withMask) {
  const bool masked = in.ConsumeBool();
  const auto alpha = static_cast<Qor32f>(in.ConsumeIntegral<int16_t>()) / 8192;
  accumulate<T>(
      in, masked,
      [=](auto& s, auto&, auto& m, auto& a, QoriSize size) {
        return masked ? withMask(s.data(), s.step(), m.data(), m.step(), a.data(), a.step(), size, alpha)
                      : plain(s.data(), s.step(), a.data(), a.step(), size, alpha);
      },
      [=](double a, double s, double) { return rounded(rounded(s - a) * static_cast<double>(alpha)) + a; });
}

constexpr Qor32f topOfFloat = std::numeric_limits<Qor32f>::max();

// Extremes and positions of a channel, call(src, mask, size, coi, values, positions). Every reported place holds the
// reported value, nothing above or left of it is as good, and nothing at all is better.
template <class T, class Call>
void minMax(Input& in, int channels, bool masked, Call call) {
  const QoriSize size = anySize(in);
  Image<T> src(in, size, channels);
  Image<Qor8u> mask(in, size);
  const int coi = in.ConsumeIntegralInRange(1, channels);
  Qor32f values[2] = {};
  QoriPoint positions[2] = {};
  FUZZ_CHECK(call(src, mask, size, coi, values, positions) == qorStsNoErr);
  // Without a mask, extremes have to be better than the ends of the finite range from which the search starts.
  bool any = false, better[2] = {};
  for (int i = 0; i < 2; ++i) {
    const QoriPoint at = positions[i];
    FUZZ_CHECK(at.x >= 0 && at.x < size.width && at.y >= 0 && at.y < size.height);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        const auto sample = static_cast<Qor32f>(src.row(y)[x * channels + coi - 1]);
        if (sample != sample || (masked && mask.row(y)[x] == 0)) continue;
        any = true;
        better[i] = better[i] || (i == 0 ? sample < topOfFloat : sample > -topOfFloat);
        FUZZ_CHECK(i == 0 ? sample >= values[0] : sample <= values[1]);
        const bool before = y < at.y || (y == at.y && x < at.x);
        FUZZ_CHECK(!before || sample != values[i]);
      }
    }
  }
  for (int i = 0; i < 2; ++i) {
    const Qor32f sample = static_cast<Qor32f>(src.row(positions[i].y)[positions[i].x * channels + coi - 1]);
    if (masked ? any : better[i]) FUZZ_CHECK(values[i] == sample);
    if (masked && !any) FUZZ_CHECK(values[i] == 0 && positions[i].x == 0 && positions[i].y == 0);
  }
}

template <class T, class Plain, class Masked, class Channel, class ChannelMasked>
void minMaxAny(Input& in, Plain plain, Masked withMask, Channel channel, ChannelMasked channelWithMask) {
  const bool masked = in.ConsumeBool(), ofThree = in.ConsumeBool();
  minMax<T>(in, ofThree ? 3 : 1, masked, [=](auto& s, auto& m, QoriSize size, int coi, Qor32f* v, QoriPoint* p) {
    if (ofThree && masked) {
      return channelWithMask(s.data(), s.step(), m.data(), m.step(), size, coi, v, v + 1, p, p + 1);
    }
    if (ofThree) return channel(s.data(), s.step(), size, coi, v, v + 1, p, p + 1);
    if (masked) return withMask(s.data(), s.step(), m.data(), m.step(), size, v, v + 1, p, p + 1);
    return plain(s.data(), s.step(), size, v, v + 1, p, p + 1);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t count) {
  Input in(data, count);
  fuzz::threads(in);
  const int value = in.ConsumeIntegral<int>();
  switch (in.ConsumeIntegralInRange(0, 26)) {
    case 0:
      absDiff<Qor8u>(in, qoriAbsDiff_8u_C1R);
      break;
    case 1:
      absDiff<Qor8u>(in, qoriAbsDiff_8u_C3R, 3);
      break;
    case 2:
      absDiff<Qor16u>(in, qoriAbsDiff_16u_C1R);
      break;
    case 3:
      absDiff<Qor32f>(in, qoriAbsDiff_32f_C1R);
      break;
    case 4:
      absDiffC(in, qoriAbsDiffC_8u_C1R, value, static_cast<Qor8u>(clamped(value, 255)));
      break;
    case 5:
      absDiffC(in, qoriAbsDiffC_16u_C1R, value, static_cast<Qor16u>(clamped(value, 65535)));
      break;
    case 6: {
      const auto real = static_cast<Qor32f>(value) / 64;
      absDiffC(in, qoriAbsDiffC_32f_C1R, real, real);
      break;
    }
    case 7:
      accumulateSquares<Qor8s>(in, qoriAddSquare_8s32f_C1IR, qoriAddSquare_8s32f_C1IMR);
      break;
    case 8:
      accumulateSquares<Qor16u>(in, qoriAddSquare_16u32f_C1IR, qoriAddSquare_16u32f_C1IMR);
      break;
    case 9:
      accumulateSquares<Qor32f>(in, qoriAddSquare_32f_C1IR, qoriAddSquare_32f_C1IMR);
      break;
    case 10:
      accumulateProducts<Qor8s>(in, qoriAddProduct_8s32f_C1IR, qoriAddProduct_8s32f_C1IMR);
      break;
    case 11:
      accumulateProducts<Qor32f>(in, qoriAddProduct_32f_C1IR, qoriAddProduct_32f_C1IMR);
      break;
    case 12:
      accumulateWeighted<Qor8u>(in, qoriAddWeighted_8u32f_C1IR, qoriAddWeighted_8u32f_C1IMR);
      break;
    case 13:
      accumulateWeighted<Qor32f>(in, qoriAddWeighted_32f_C1IR, qoriAddWeighted_32f_C1IMR);
      break;
    case 14:
      minMaxAny<Qor8u>(in, qoriMinMaxIndx_8u_C1R, qoriMinMaxIndx_8u_C1MR, qoriMinMaxIndx_8u_C3CR,
                       qoriMinMaxIndx_8u_C3CMR);
      break;
    case 15:
      minMaxAny<Qor8s>(in, qoriMinMaxIndx_8s_C1R, qoriMinMaxIndx_8s_C1MR, qoriMinMaxIndx_8s_C3CR,
                       qoriMinMaxIndx_8s_C3CMR);
      break;
    case 16:
      minMaxAny<Qor16u>(in, qoriMinMaxIndx_16u_C1R, qoriMinMaxIndx_16u_C1MR, qoriMinMaxIndx_16u_C3CR,
                        qoriMinMaxIndx_16u_C3CMR);
      break;
    case 17:
      minMaxAny<Qor32f>(in, qoriMinMaxIndx_32f_C1R, qoriMinMaxIndx_32f_C1MR, qoriMinMaxIndx_32f_C3CR,
                        qoriMinMaxIndx_32f_C3CMR);
      break;
    case 18:
      fastArctan(in);
      break;
    default:
      fuzz::reductions::anyMember(in, anySize(in));
      break;
  }
  return 0;
}
