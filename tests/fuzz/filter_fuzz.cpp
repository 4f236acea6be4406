// Fuzzes linear filters: every call is valid. Colour gradients, box means and gradient vectors are compared with a loop
// from the definition; pipelines, fixed filters and Gaussians with themselves on other threads and addresses.
#include <cmath>
#include <functional>

#include "filter/box_filter.h"
#include "filter/gradient_vector.h"
#include "filter/sobel.h"
#include "filter_calls.h"

namespace {

using fuzz::Image;
using fuzz::Input;
using fuzz::Region;
using fuzz::same;
using fuzz::Scratch;

template <class T>
T anyValue(Input& in) {
  if constexpr (std::is_integral_v<T>) return in.ConsumeIntegral<T>();
  if constexpr (!std::is_integral_v<T>) return static_cast<T>(in.ConsumeIntegral<int>()) / 64;
}

// ---- colour gradients

template <class T>
bool isNorm(T got, const T* s, QoriNorm norm) {
  if constexpr (std::is_integral_v<T>) {
    constexpr int factor = sizeof(T) == 1 ? 1365 : 5461, shift = sizeof(T) == 1 ? 12 : 14;
    const int64_t a = s[0], b = s[1], c = s[2], k = got, sum = a + b + c;
    if (norm == qoriNormInf) return k == std::max({a, b, c});
    if (norm == qoriNormL1) return k == (sum * factor + (1 << (shift - 1))) >> shift;
    // The number nearest to the root.
    const int64_t squares = a * a + b * b + c * c;
    return (k == 0 || 3 * k * (k - 1) < squares) && squares <= 3 * k * (k + 1);
  } else {
    const T a = std::fabs(s[0]), b = std::fabs(s[1]), c = std::fabs(s[2]), ab = a > b ? a : b;
    if (norm == qoriNormInf) return same(got, ab > c ? ab : c);
    return same(got, norm == qoriNormL1 ? a + b + c : std::sqrt(a * a + b * b + c * c));
  }
}

template <class T, class Operation>
void colorGradient(Input& in, Operation operation) {
  const QoriSize size = fuzz::size(in);
  const QoriNorm norm = in.ConsumeIntegralInRange(0, 2);
  Image<T> src(in, size, 3), dst(in, size);
  const auto before = dst.snapshot();
  FUZZ_CHECK(operation(src.data(), src.step(), dst.data(), dst.step(), size, norm) == qorStsNoErr);
  FUZZ_CHECK(dst.gapsEqual(before));
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) FUZZ_CHECK(isNorm(dst.row(y)[x], src.row(y) + 3 * x, norm));
}

// ---- box means of whole numbers, which are exact

void box(Input& in) {
  const QoriSize size = fuzz::size(in, 60, 12), mask = fuzz::size(in, 12, 12);
  const int border = fuzz::anyBorder(in, {qorBorderConst, qorBorderRepl, qorBorderInMem});
  const int left = (mask.width - 1) / 2, up = (mask.height - 1) / 2;
  Region<Qor32f> src(in, size, fuzz::sidesOf(border, left, up, mask.width - 1 - left, mask.height - 1 - up));
  src.generate([&] { return static_cast<Qor32f>(in.ConsumeIntegral<Qor8s>()); });
  const auto value = static_cast<Qor32f>(in.ConsumeIntegral<Qor8s>());
  const Qor32f scale = 1.0F / static_cast<Qor32f>(mask.width * mask.height);
  int bytes = 0;
  FUZZ_CHECK(qor::qoriFilterBoxBorderGetBufferSize(size, mask, qor32f, 1, &bytes) == qorStsNoErr);
  Scratch scratch(bytes, in.ConsumeIntegralInRange(0, 3));
  std::vector<Qor32f> want;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      Qor32f sum = 0;
      for (int j = -up; j < mask.height - up; ++j)
        for (int i = -left; i < mask.width - left; ++i) sum += fuzz::borderPixel(src, x + i, y + j, border, value);
      want.push_back(sum * scale);
    }
  }
  Image<Qor32f> fresh(in, size);
  const bool inPlace = in.ConsumeBool();
  Qor32f* const dst = inPlace ? src.data() : fresh.data();
  const int step = inPlace ? src.step() : fresh.step();
  FUZZ_CHECK(qor::qoriFilterBoxBorder_32f_C1R(src.data(), src.step(), dst, step, size, mask, border, &value,
                                              scratch.data()) == qorStsNoErr);
  size_t i = 0;
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) FUZZ_CHECK((inPlace ? *src.at(x, y) : fresh.row(y)[x]) == want[i++]);
}

// ---- gradients of bytes

struct Taps {
  int mask, radius, smooth[5], alongX[5], alongY[5];
};
constexpr Taps sobel3{33, 1, {1, 2, 1}, {1, 0, -1}, {-1, 0, 1}};
constexpr Taps sobel5{55, 2, {1, 4, 6, 4, 1}, {1, 2, 0, -2, -1}, {-1, -2, 0, 2, 1}};
constexpr Taps scharr3{33, 1, {3, 10, 3}, {-1, 0, 1}, {-1, 0, 1}};

int component(Region<Qor8u>& src, int x, int y, const Taps& taps, bool alongX, int border, Qor8u value) {
  const int r = taps.radius;
  int sum = 0;
  for (int j = 0; j <= 2 * r; ++j)
    for (int i = 0; i <= 2 * r; ++i)
      sum += (alongX ? taps.alongX : taps.smooth)[i] * (alongX ? taps.smooth : taps.alongY)[j] *
             fuzz::borderPixel(src, x + i - r, y + j - r, border, value);
  return sum;
}

void gradientVector(Input& in) {
  const QoriSize size = fuzz::size(in, 50, 8);
  const Taps& taps = *in.PickValueInArray({&sobel3, &sobel5, &scharr3});
  const int border = fuzz::anyBorder(in, {qorBorderConst, qorBorderRepl, qorBorderInMem}), r = taps.radius;
  const int wanted = in.ConsumeIntegralInRange(0, 15);
  const QorNormType norm = in.ConsumeBool() ? qorNormL1 : qorNormL2;
  const auto value = in.ConsumeIntegral<Qor8u>();
  Region<Qor8u> src(in, size, fuzz::sidesOf(border, r, r, r, r));
  Image<Qor16s> gx(in, size), gy(in, size), magnitude(in, size);
  Image<Qor32f> angle(in, size);
  int bytes = 0;
  FUZZ_CHECK(qor::qoriGradientVectorGetBufferSize(size, taps.mask, qor8u, 1, &bytes) == qorStsNoErr);
  Scratch scratch(bytes, in.ConsumeIntegralInRange(0, 3));
  const auto pick = [&](int bit, auto& image) { return (wanted & bit) != 0 ? image.data() : nullptr; };
  const auto operation =
      &taps == &scharr3 ? qor::qoriGradientVectorScharr_8u16s_C1R : qor::qoriGradientVectorSobel_8u16s_C1R;
  FUZZ_CHECK(operation(src.data(), src.step(), pick(1, gx), gx.step(), pick(2, gy), gy.step(), pick(4, magnitude),
                       magnitude.step(), pick(8, angle), angle.step(), size, taps.mask, norm, border, value,
                       scratch.data()) == qorStsNoErr);
  FUZZ_CHECK(src.unchanged());
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int dx = component(src, x, y, taps, true, border, value);
      const int dy = component(src, x, y, taps, false, border, value);
      FUZZ_CHECK((wanted & 1) == 0 || gx.row(y)[x] == dx);
      FUZZ_CHECK((wanted & 2) == 0 || gy.row(y)[x] == dy);
      const double size2 = 1.0 * dx * dx + 1.0 * dy * dy, direction = std::atan2(dy, dx);
      const int64_t length = norm == qorNormL1 ? std::abs(dx) + std::abs(dy) : std::lrint(std::sqrt(size2));
      FUZZ_CHECK((wanted & 4) == 0 || magnitude.row(y)[x] == length);
      FUZZ_CHECK((wanted & 8) == 0 || std::fabs(angle.row(y)[x] - direction) <= std::ldexp(std::fabs(direction), -21));
    }
  }
}

void sobelForms(Input& in) {
  const QoriSize size = fuzz::size(in, 50, 8);
  const Taps& taps = *in.PickValueInArray({&sobel3, &sobel5});
  const int border =
      fuzz::anyBorder(in, {qorBorderConst, qorBorderRepl, qorBorderMirror, qorBorderMirrorR, qorBorderInMem});
  const int r = taps.radius;
  const bool alongX = in.ConsumeBool();
  const auto value = in.ConsumeIntegral<Qor8u>();
  Region<Qor8u> src(in, size, fuzz::sidesOf(border, r, r, r, r));
  const auto operation = alongX ? qor::qoriFilterSobelVertBorder_8u16s_C1R : qor::qoriFilterSobelHorizBorder_8u16s_C1R;
  Image<Qor16s> dst(in, size);
  int bytes = 0;
  FUZZ_CHECK(qor::qoriFilterSobelVertGetBufferSize_8u16s_C1R(size, taps.mask, &bytes) == qorStsNoErr);
  Scratch scratch(bytes, in.ConsumeIntegralInRange(0, 3));
  FUZZ_CHECK(operation(src.data(), src.step(), dst.data(), dst.step(), size, taps.mask, border, value,
                       scratch.data()) == qorStsNoErr);
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) FUZZ_CHECK(dst.row(y)[x] == component(src, x, y, taps, alongX, border, value));
}

// ---- pipelines

template <class K>
std::vector<K> anyTaps(Input& in) {
  std::vector<K> taps(in.ConsumeIntegralInRange<size_t>(1, in.ConsumeBool() ? 7 : 40));
  for (K& k : taps) k = in.ConsumeBool() ? static_cast<K>(in.ConsumeIntegralInRange(-8, 8)) : anyValue<K>(in);
  // Symmetric ones and those of binomials take other paths.
  if (in.ConsumeBool()) std::copy(taps.begin(), taps.begin() + static_cast<ptrdiff_t>(taps.size() / 2), taps.rbegin());
  if (in.ConsumeIntegralInRange(0, 7) == 0) taps = {1, 4, 6, 4, 1};
  return taps;
}

template <class K>
int anyDivisor(Input& in) {
  const int some = in.ConsumeBool() ? 1 << in.ConsumeIntegralInRange(0, 14) : in.ConsumeIntegral<int>();
  const int positive = some == INT32_MIN || some == 0 ? 16 : std::abs(some);
  return std::is_unsigned_v<K> || some == 0 ? positive : some;
}

// Argument lists of the members: a divisor or none, a border value or three of them.
template <class S, class K, class D, int channels, class Operation, class Query>
void rowPipeline(Input& in, Operation operation, Query query) {
  const QoriSize size = fuzz::filterSize(in);
  const std::vector<K> taps = anyTaps<K>(in);
  const int length = static_cast<int>(taps.size()), anchor = in.ConsumeIntegralInRange(0, length - 1);
  const int divisor = anyDivisor<K>(in);
  const QoriBorderType border = in.PickValueInArray({qorBorderConst, qorBorderRepl, qorBorderInMem});
  const S values[3] = {anyValue<S>(in), anyValue<S>(in), anyValue<S>(in)};
  Region<S> src(in, size, fuzz::sidesOf(border, anchor, 0, length - 1 - anchor, 0), channels);
  const auto call = [&](Image<D>& dst, Qor8u* scratch) {
    std::vector<D*> rows;
    for (int y = 0; y < size.height; ++y) rows.push_back(dst.row(y));
    const auto with = [&](auto value) {
      if constexpr (std::is_same_v<D, Qor32f>) {
        return operation(src.data(), src.step(), rows.data(), size, taps.data(), length, anchor, border, value,
                         scratch);
      } else {
        return operation(src.data(), src.step(), rows.data(), size, taps.data(), length, anchor, border, value, divisor,
                         scratch);
      }
    };
    if constexpr (channels == 3) return with(values);
    if constexpr (channels == 1) return with(values[0]);
  };
  fuzz::callTwice<D>(
      in, size, channels, [&](int* bytes) { return query(size, length, bytes); }, call);
  FUZZ_CHECK(src.unchanged());
}

template <class S, class K, class D, int channels, class Operation, class Query>
void columnPipeline(Input& in, Operation operation, Query query) {
  const QoriSize size = fuzz::filterSize(in);
  const std::vector<K> taps = anyTaps<K>(in);
  const int length = static_cast<int>(taps.size()), divisor = anyDivisor<K>(in);
  // A ring of rows: addresses repeat, at times out of order.
  const int ring = in.ConsumeIntegralInRange(1, 20), stride = in.ConsumeIntegralInRange(0, 3);
  Image<S> src(in, {size.width, ring}, channels);
  std::vector<const S*> rows;
  for (int y = 0; y < size.height + length - 1; ++y) rows.push_back(src.row(y * stride % ring));
  const auto call = [&](Image<D>& dst, Qor8u* scratch) {
    if constexpr (std::is_same_v<D, Qor32f>) {
      return operation(rows.data(), dst.data(), dst.step(), size, taps.data(), length, scratch);
    } else {
      return operation(rows.data(), dst.data(), dst.step(), size, taps.data(), length, divisor, scratch);
    }
  };
  fuzz::callTwice<D>(
      in, size, channels, [&](int* bytes) { return query(size, length, bytes); }, call);
}

// ---- fixed filters

template <class S, class D, bool masks, class Operation, class Query>
void fixedFilter(Input& in, Operation operation, Query query) {
  const QoriSize size = fuzz::filterSize(in);
  const QoriMaskSize mask = masks && in.ConsumeBool() ? qorMskSize5x5 : qorMskSize3x3;
  const int border = fuzz::anyBorder(in, {0, 1, 2, 3, 4, 6}), r = mask == qorMskSize5x5 ? 2 : 1;
  const S value = anyValue<S>(in);
  const int divisor = anyDivisor<Qor16s>(in);
  Region<S> src(in, size, fuzz::sidesOf(border, r, r, r, r));
  const auto ask = [&](int* bytes) {
    if constexpr (masks) return query(size, mask, bytes);
    if constexpr (!masks) return query(size, bytes);
  };
  const auto call = [&](Image<D>& dst, Qor8u* scratch) {
    const auto with = [&](auto... rest) {
      if constexpr (masks) return operation(src.data(), src.step(), dst.data(), dst.step(), size, mask, rest...);
      if constexpr (!masks) return operation(src.data(), src.step(), dst.data(), dst.step(), size, rest...);
    };
    if constexpr (std::is_same_v<D, Qor8s>) return with(border, value, divisor, scratch);
    if constexpr (!std::is_same_v<D, Qor8s>) return with(border, value, scratch);
  };
  fuzz::callTwice<D>(in, size, 1, ask, call);
  FUZZ_CHECK(src.unchanged());
}

void genSobelKernel(Input& in) {
  const int length = 2 * in.ConsumeIntegralInRange(0, 20) + 1, dx = in.ConsumeIntegralInRange(0, length - 1);
  const int sign = in.ConsumeIntegralInRange(-1, 1);
  std::vector<Qor16s> whole(static_cast<size_t>(length));
  std::vector<Qor32f> floats(whole.size());
  FUZZ_CHECK(qoriGenSobelKernel_16s(whole.data(), length, dx, sign) == qorStsNoErr);
  FUZZ_CHECK(qoriGenSobelKernel_32f(floats.data(), length, dx, sign) == qorStsNoErr);
  for (size_t i = 0; i < whole.size(); ++i) FUZZ_CHECK(length > 17 || whole[i] == floats[i]);
}

// ---- Gaussians

Qor32f anySigma(Input& in) { return std::ldexp(in.ConsumeIntegralInRange(1, 64), in.ConsumeIntegralInRange(-40, 40)); }

template <class T, int channels, class Operation>
void gaussian(Input& in, Operation operation, QorDataType type) {
  const QoriSize size = fuzz::filterSize(in);
  const int length = 2 * in.ConsumeIntegralInRange(1, 12) + 1, reach = length / 2;
  const int border = fuzz::anyBorder(in, {qorBorderConst, qorBorderRepl, qorBorderInMem});
  const Qor32f sigma = anySigma(in);
  const T values[3] = {anyValue<T>(in), anyValue<T>(in), anyValue<T>(in)};
  Region<T> src(in, size, fuzz::sidesOf(border, reach, reach, reach, reach), channels);
  int recordBytes = 0;
  const auto ask = [&](int* bytes) {
    return qoriFilterGaussianGetBufferSize(size, length, type, channels, &recordBytes, bytes);
  };
  const auto call = [&](Image<T>& dst, Qor8u* scratch) {
    Scratch memory(recordBytes, in.ConsumeIntegralInRange(0, 3));
    auto* const record = reinterpret_cast<QoriFilterGaussianSpec*>(memory.data());
    FUZZ_CHECK(qoriFilterGaussianInit(size, length, sigma, border, type, channels, record, scratch) == qorStsNoErr);
    if constexpr (channels == 3) {
      return operation(src.data(), src.step(), dst.data(), dst.step(), size, values, record, scratch);
    } else {
      return operation(src.data(), src.step(), dst.data(), dst.step(), size, values[0], record, scratch);
    }
  };
  fuzz::callTwice<T>(in, size, channels, ask, call);
  FUZZ_CHECK(src.unchanged());
}

void gaussianOfFloats(Input& in) {
  const QoriSize size = fuzz::filterSize(in);
  const int length = 2 * in.ConsumeIntegralInRange(1, 12) + 1, reach = length / 2;
  const int border = in.ConsumeIntegralInRange(0, 4) | 16 * in.ConsumeIntegralInRange(0, 3);
  const Qor32f sigma = anySigma(in), value = anyValue<Qor32f>(in);
  Region<Qor32f> src(in, size, fuzz::sidesOf(border, 0, reach, 0, reach));
  fuzz::callTwice<Qor32f>(
      in, size, 1, [&](int* bytes) { return qoriFilterGaussGetBufferSize_32f_C1R(size, length, bytes); },
      [&](Image<Qor32f>& dst, Qor8u* scratch) {
        return qoriFilterGaussBorder_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), size, length, sigma,
                                             border, value, scratch);
      });
}

const std::vector<std::function<void(Input&)>> members{
    [](Input& in) { colorGradient<Qor8u>(in, qoriGradientColorToGray_8u_C3C1R); },
    [](Input& in) { colorGradient<Qor16u>(in, qoriGradientColorToGray_16u_C3C1R); },
    [](Input& in) { colorGradient<Qor32f>(in, qoriGradientColorToGray_32f_C3C1R); },
    box,
    gradientVector,
    sobelForms,
#define QOR_ROW_PIPELINE_C1(name, query, S, K, D, arithmetic) \
  [](Input& in) { rowPipeline<S, K, D, 1>(in, name, query); },
#define QOR_ROW_PIPELINE_C3(name, query, S, K, D, arithmetic) \
  [](Input& in) { rowPipeline<S, K, D, 3>(in, name, query); },
#define QOR_ROW_PIPELINE_32F_C1(name, query) [](Input& in) { rowPipeline<Qor32f, Qor32f, Qor32f, 1>(in, name, query); },
#define QOR_ROW_PIPELINE_32F_C3(name, query) [](Input& in) { rowPipeline<Qor32f, Qor32f, Qor32f, 3>(in, name, query); },
#include "filter/row_pipeline.def"
#define QOR_COLUMN_PIPELINE(name, query, S, K, D, channels, arithmetic) \
  [](Input& in) { columnPipeline<S, K, D, channels>(in, name, query); },
#define QOR_COLUMN_PIPELINE_32F(name, query, channels) \
  [](Input& in) { columnPipeline<Qor32f, Qor32f, Qor32f, channels>(in, name, query); },
#include "filter/column_pipeline.def"
#define QOR_FIXED_8U8S(name, query, filter, bytes) [](Input& in) { fixedFilter<Qor8u, Qor8s, true>(in, name, query); },
#define QOR_FIXED_8U16S(name, query, filter, bytes) \
  [](Input& in) { fixedFilter<Qor8u, Qor16s, true>(in, name, query); },
#define QOR_FIXED_32F(name, query, filter, bytes) [](Input& in) { fixedFilter<Qor32f, Qor32f, true>(in, name, query); },
#define QOR_SCHARR_8U8S(name, query, filter, bytes) \
  [](Input& in) { fixedFilter<Qor8u, Qor8s, false>(in, name, query); },
#define QOR_SCHARR_8U16S(name, query, filter, bytes) \
  [](Input& in) { fixedFilter<Qor8u, Qor16s, false>(in, name, query); },
#define QOR_SCHARR_32F(name, query, filter, bytes) \
  [](Input& in) { fixedFilter<Qor32f, Qor32f, false>(in, name, query); },
#include "filter/fixed_filter.def"
    [](Input& in) {
      fixedFilter<Qor8u, Qor8u, true>(in, qoriFilterLowpassBorder_8u_C1R, qoriFilterLowpassGetBufferSize_8u_C1R);
    },
    [](Input& in) {
      fixedFilter<Qor32f, Qor32f, true>(in, qoriFilterLowpassBorder_32f_C1R, qoriFilterLowpassGetBufferSize_32f_C1R);
    },
    genSobelKernel,
#define QOR_GAUSSIAN(name, T, channels, type, ...) [](Input& in) { gaussian<T, channels>(in, name, type); },
#include "filter/gaussian.def"
    gaussianOfFloats,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t count) {
  Input in(data, count);
  fuzz::threads(in);
  members[in.ConsumeIntegralInRange<size_t>(0, members.size() - 1)](in);
  return 0;
}
