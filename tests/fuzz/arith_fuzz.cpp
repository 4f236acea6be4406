// Fuzzes pixel arithmetic: every call is valid, and its result is compared with a loop from the definition.
#include <cmath>

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t count) {
  Input in(data, count);
  fuzz::threads(in);
  const int value = in.ConsumeIntegral<int>();
  switch (in.ConsumeIntegralInRange(0, 7)) {
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
    default:
      fastArctan(in);
      break;
  }
  return 0;
}
