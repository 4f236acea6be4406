#include <vector>

#include "qorcv/arith.h"
#include "support/row.h"

namespace qor::bench {
namespace {

constexpr Qor32f alpha = 0.05F;

struct Sum {
  Qor32f operator()(Qor32f a, Qor32f s) const { return a + s; }
};
struct SumOfSquares {
  Qor32f operator()(Qor32f a, Qor32f s) const { return a + s * s; }
};
struct SumOfProducts {
  Qor32f operator()(Qor32f a, Qor32f s1, Qor32f s2) const { return a + s1 * s2; }
};
struct Blend {
  Qor32f operator()(Qor32f a, Qor32f s) const { return (s - a) * alpha + a; }
};

// The accumulator of a row and what it held before the first call.
struct Accumulator {
  Image<Qor32f> image;
  std::vector<Qor32f> start;

  explicit Accumulator(Setup& s) : image(s.random<Qor32f>()) {
    image.all([this](int x, int y) {
      start.push_back(image(x, y));
      return true;
    });
  }
  template <class Operation, class... S>
  bool holds(const Image<Qor8u>* mask, Operation operation, const Image<S>&... sources) const {
    return image.all([&](int x, int y) {
      const Qor32f a = start[static_cast<size_t>(y) * static_cast<size_t>(image.samples) + static_cast<size_t>(x)];
      if (mask != nullptr && (*mask)(x, y) == 0) return image(x, y) == a;
      return image(x, y) == operation(a, static_cast<Qor32f>(sources(x, y))...);
    });
  }
};

// args stand behind the size: alpha, or nothing.
template <class T, class Operation, class Call, class... Args>
auto plain(Operation operation, Call* call, Args... args) {
  return [=](Setup& s) {
    const Accumulator a(s);
    const auto src = s.random<T>();
    return checked([=, d = a.image, roi = s.roi()] { return call(src.p, src.step, d.p, d.step, roi, args...); },
                   [=] { return a.holds(nullptr, operation, src); });
  };
}
template <class T, class Operation, class Call, class... Args>
auto masked(Operation operation, Call* call, Args... args) {
  return [=](Setup& s) {
    const Accumulator a(s);
    const auto src = s.random<T>();
    const auto mask = s.mask();
    return checked(
        [=, d = a.image, roi = s.roi()] { return call(src.p, src.step, mask.p, mask.step, d.p, d.step, roi, args...); },
        [=] { return a.holds(&mask, operation, src); });
  };
}
template <class T, class Call>
auto product(Call* call) {
  return [=](Setup& s) {
    const Accumulator a(s);
    const auto src1 = s.random<T>(), src2 = s.random<T>();
    return checked(
        [=, d = a.image, roi = s.roi()] { return call(src1.p, src1.step, src2.p, src2.step, d.p, d.step, roi); },
        [=] { return a.holds(nullptr, SumOfProducts{}, src1, src2); });
  };
}
template <class T, class Call>
auto productMasked(Call* call) {
  return [=](Setup& s) {
    const Accumulator a(s);
    const auto src1 = s.random<T>(), src2 = s.random<T>();
    const auto mask = s.mask();
    return checked(
        [=, d = a.image, roi = s.roi()] {
          return call(src1.p, src1.step, src2.p, src2.step, mask.p, mask.step, d.p, d.step, roi);
        },
        [=] { return a.holds(&mask, SumOfProducts{}, src1, src2); });
  };
}

// The memory's share: float rows read and written in place beside one more image that is read, and nothing computed
// but one addition of whole words.
template <class T>
auto sameTraffic() {
  return [](Setup& s) {
    const auto d = s.random<Qor32f>();
    const auto src = s.random<T>();
    return [=] {
      for (int y = 0; y < d.height; ++y) {
        auto* words = reinterpret_cast<uint32_t*>(&d(0, y));
        const T* other = &src(0, y);
        constexpr int ratio = 4 / sizeof(T);
        uint32_t seen = 0;
        for (int x = 0; x < d.samples / ratio; ++x) {
          uint32_t word;
          __builtin_memcpy(&word, other + ratio * x, 4);
          seen |= word;
        }
        for (int x = 0; x < d.samples; ++x) words[x] ^= seen;
      }
    };
  };
}

template <class T>
Row row(const char* name) {
  Row r(name);
  r.pixel(sizeof(T)).against("same traffic", sameTraffic<T>());
  return r;
}

const Register accumulators([] {
#define QOR_ACCUMULATE(name, T, Operation) row<T>(#name).run(plain<T>(Operation{}, name));
#define QOR_ACCUMULATE_PRODUCT(name, T) row<T>(#name).run(product<T>(name));
#define QOR_ACCUMULATE_WEIGHTED(name, T) \
  row<T>(#name).alsoAt(ultraHd).threads(2, ultraHd).run(plain<T>(Blend{}, name, alpha));
#define QOR_ACCUMULATE_MASKED(name, T, Operation, bytes) row<T>(#name).run(masked<T>(Operation{}, name));
#define QOR_ACCUMULATE_PRODUCT_MASKED(name, T, bytes) row<T>(#name).run(productMasked<T>(name));
#define QOR_ACCUMULATE_WEIGHTED_MASKED(name, T, bytes) row<T>(#name).run(masked<T>(Blend{}, name, alpha));
#include "../../src/arith/accumulate.def"
  Row("qoriAddWeighted_32f_C1R").run([](Setup& s) {
    const auto a = s.random<Qor32f>(), b = s.random<Qor32f>(), d = s.blank<Qor32f>();
    return checked(
        [=, roi = s.roi()] { return qoriAddWeighted_32f_C1R(a.p, a.step, b.p, b.step, d.p, d.step, roi, alpha); },
        [=] { return d.all([=](int x, int y) { return d(x, y) == Blend{}(b(x, y), a(x, y)); }); });
  });
});

}  // namespace
}  // namespace qor::bench
