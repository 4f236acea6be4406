#include "qorcv/integral.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <tuple>

#include "support/row.h"

namespace qor::bench {
namespace {

// A table of one or two more columns and rows than the region.
template <class T>
Image<T> table(Setup& s, int more) {
  return s.blank<T>({.size = {s.roi().width + more, s.roi().height + more}});
}

// Sums of whole samples up to 2^24 and of squares up to 2^53 are exact in their tables; the small sample values keep
// the plain sums of 2 million pixels below the first bound.
constexpr Shape fewGrays{.low = 0, .high = 7};

template <class T>
size_t rowBytes(const Image<T>& t) {
  return static_cast<size_t>(t.samples) * sizeof(T);
}

// Every sample of a table against the same rule of a plain loop: value(x, y) is what the table counts.
template <class T, class Value>
bool isTable(const Image<T>& t, Value value) {
  return t.all([&](int x, int y) {
    if (x == 0 || y == 0) return t(x, y) == T{0};
    return t(x, y) - t(x - 1, y) - t(x, y - 1) + t(x - 1, y - 1) == static_cast<T>(value(x - 1, y - 1));
  });
}
template <class T, class Value>
bool isTiltedTable(const Image<T>& t, Value value) {
  const int w = t.samples - 2;
  return t.all([&](int x, int y) {
    if (y < 2) return t(x, y) == T{0};
    if (x == 0) return t(x, y) == t(1, y - 1);
    if (x > w) return t(x, y) == t(w, y - 1);
    const T here = x < w ? static_cast<T>(value(x, y - 2)) : T{0};
    return t(x, y) == t(x - 1, y - 1) - t(x, y - 2) + t(x + 1, y - 1) + static_cast<T>(value(x - 1, y - 2)) + here;
  });
}

template <class T, class S, class Operation, class... Val>
auto plain(Operation* operation, Val... val) {
  return [=](Setup& s) {
    const auto src = s.random<S>(fewGrays);
    if constexpr (std::is_floating_point_v<S>) {
      src.all([=](int x, int y) {
        src(x, y) = std::floor(src(x, y));
        return true;
      });
    }
    const auto d = table<T>(s, 1);
    return checked([=, roi = s.roi()] { return operation(src.p, src.step, d.p, d.step, roi, val...); },
                   [=] { return isTable(d, src); });
  };
}

template <class T, class Q, class Operation>
auto squared(Operation* operation) {
  return [=](Setup& s) {
    const auto src = s.random<Qor8u>(fewGrays);
    const auto d = table<T>(s, 1);
    const auto q = table<Q>(s, 1);
    const auto square = [=](int x, int y) { return src(x, y) * src(x, y); };
    return checked([=, roi = s.roi()] { return operation(src.p, src.step, d.p, d.step, q.p, q.step, roi, T{}, Q{}); },
                   [=] { return isTable(d, src) && isTable(q, square); });
  };
}

template <class T, class Operation>
auto tilted(Operation* operation) {
  return [=](Setup& s) {
    const auto src = s.random<Qor8u>(fewGrays);
    const auto d = table<T>(s, 2);
    return checked([=, roi = s.roi()] { return operation(src.p, src.step, d.p, d.step, roi, T{}); },
                   [=] { return isTiltedTable(d, src); });
  };
}

template <class T, class Q, class Operation>
auto tiltedSquared(Operation* operation) {
  return [=](Setup& s) {
    const auto src = s.random<Qor8u>(fewGrays);
    const auto d = table<T>(s, 2);
    const auto q = table<Q>(s, 2);
    const auto square = [=](int x, int y) { return src(x, y) * src(x, y); };
    return checked([=, roi = s.roi()] { return operation(src.p, src.step, d.p, d.step, q.p, q.step, roi, T{}, Q{}); },
                   [=] { return isTiltedTable(d, src) && isTiltedTable(q, square); });
  };
}

// The least that any way to fill the tables moves: the source read once, every table written once.
template <class S, class... T>
auto traffic(int more) {
  return [=](Setup& s) {
    const auto src = s.random<S>(fewGrays);
    const auto tables = std::make_tuple(table<T>(s, more)...);
    const std::span row(s.randomVector<Qor64f>(s.roi().width + more), static_cast<size_t>(s.roi().width + more));
    return [=, roi = s.roi()] {
      for (int y = 0; y < roi.height; ++y) {
        std::memcpy(row.data(), &src(0, y), static_cast<size_t>(roi.width) * sizeof(S));
        std::apply([&](const auto&... t) { (std::memcpy(&t(0, y), row.data(), rowBytes(t)), ...); }, tables);
      }
      return qorStsNoErr;
    };
  };
}

const char* const trafficName = "moving the bytes of source and tables";

const Register integrals([] {
  Row("qoriIntegral_8u32s_C1R")
      .alsoAt(ultraHd)
      .against(trafficName, traffic<Qor8u, Qor32s>(1))
      .run(plain<Qor32s, Qor8u>(qoriIntegral_8u32s_C1R, 0));
  Row("qoriIntegral_8u32f_C1R")
      .against(trafficName, traffic<Qor8u, Qor32f>(1))
      .run(plain<Qor32f, Qor8u>(qoriIntegral_8u32f_C1R, 0.0F));
  Row("qoriIntegral_32f_C1R")
      .against(trafficName, traffic<Qor32f, Qor32f>(1))
      .run(plain<Qor32f, Qor32f>(qoriIntegral_32f_C1R));
  Row("qoriSqrIntegral_8u32s_C1R")
      .against(trafficName, traffic<Qor8u, Qor32s, Qor32s>(1))
      .run(squared<Qor32s, Qor32s>(qoriSqrIntegral_8u32s_C1R));
  Row("qoriSqrIntegral_8u32s64f_C1R")
      .alsoAt(ultraHd)
      .against(trafficName, traffic<Qor8u, Qor32s, Qor64f>(1))
      .run(squared<Qor32s, Qor64f>(qoriSqrIntegral_8u32s64f_C1R));
  Row("qoriSqrIntegral_8u32f64f_C1R")
      .against(trafficName, traffic<Qor8u, Qor32f, Qor64f>(1))
      .run(squared<Qor32f, Qor64f>(qoriSqrIntegral_8u32f64f_C1R));
  Row("qoriTiltedIntegral_8u32s_C1R")
      .alsoAt(ultraHd)
      .against(trafficName, traffic<Qor8u, Qor32s>(2))
      .run(tilted<Qor32s>(qoriTiltedIntegral_8u32s_C1R));
  Row("qoriTiltedIntegral_8u32f_C1R")
      .against(trafficName, traffic<Qor8u, Qor32f>(2))
      .run(tilted<Qor32f>(qoriTiltedIntegral_8u32f_C1R));
  Row("qoriTiltedSqrIntegral_8u32s_C1R")
      .against(trafficName, traffic<Qor8u, Qor32s, Qor32s>(2))
      .run(tiltedSquared<Qor32s, Qor32s>(qoriTiltedSqrIntegral_8u32s_C1R));
  Row("qoriTiltedSqrIntegral_8u32s64f_C1R")
      .against(trafficName, traffic<Qor8u, Qor32s, Qor64f>(2))
      .run(tiltedSquared<Qor32s, Qor64f>(qoriTiltedSqrIntegral_8u32s64f_C1R));
  Row("qoriTiltedSqrIntegral_8u32f64f_C1R")
      .against(trafficName, traffic<Qor8u, Qor32f, Qor64f>(2))
      .run(tiltedSquared<Qor32f, Qor64f>(qoriTiltedSqrIntegral_8u32f64f_C1R));
});

}  // namespace
}  // namespace qor::bench
