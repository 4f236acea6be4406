#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "qorcv/morph.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// ---- masks

struct Mask {
  QoriSize size;
  std::vector<Qor8u> elements;
};

template <class Active>
Mask mask(int side, Active active) {
  Mask made{{side, side}, {}};
  for (int i = 0; i < side; ++i)
    for (int j = 0; j < side; ++j) made.elements.push_back(active(j, i) ? 1 : 0);
  return made;
}
Mask square(int side) {
  return mask(side, [](int, int) { return true; });
}
Mask disc(int side) {
  return mask(side, [=](int j, int i) {
    const int x = 2 * j + 1 - side, y = 2 * i + 1 - side;
    return x * x + y * y <= side * side;
  });
}
Mask checkered(int side) {
  return mask(side, [](int j, int i) { return (i + j) % 2 == 0; });
}
// Half of it, in no order.
Mask scattered(int side) {
  uint32_t state = 1;
  return mask(side, [=](int, int) mutable { return ((state = state * 1664525 + 1013904223) >> 31) != 0; });
}

// ---- calls

// A few pixels against a plain loop, which knows the region's pixels and those in memory around it.
template <class T>
bool plausible(const Image<T>& src, const Image<T>& dst, const Mask& m, int channels, bool inMemory) {
  const auto clamp = [=](int at, int n) { return inMemory ? at : at < 0 ? 0 : at >= n ? n - 1 : at; };
  const int width = src.samples / channels;
  for (const int y : {0, src.height / 2, src.height - 1}) {
    for (const int x : {0, width / 3, width - 1}) {
      T largest = std::numeric_limits<T>::lowest();
      for (int i = 0; i < m.size.height; ++i) {
        for (int j = 0; j < m.size.width; ++j) {
          if (m.elements[static_cast<size_t>(i * m.size.width + j)] == 0) continue;
          const int column = clamp(x + j - (m.size.width - 1) / 2, width);
          const T value = src(column * channels, clamp(y + i - (m.size.height - 1) / 2, src.height));
          if (value > largest) largest = value;
        }
      }
      if (dst(x * channels, y) != largest) return false;
    }
  }
  return true;
}

// A record and scratch, made for the region.
template <class State>
struct Prepared {
  State* record;
  Qor8u* scratch;
};
template <class State, class Size, class Query, class Init>
Prepared<State> prepare(Setup& s, const Mask& m, Size size, Query* query, Init* init) {
  int recordBytes = 0, scratchBytes = 0;
  query(size, m.size, &recordBytes, &scratchBytes);
  const Prepared<State> p{reinterpret_cast<State*>(s.scratch(recordBytes)), s.scratch(scratchBytes)};
  init(size, m.elements.data(), m.size, p.record, p.scratch);
  return p;
}

template <class T, class Operation, class Query, class Init>
auto dilate(Operation* operation, Query* query, Init* init, const Mask& m, int channels = 1,
            QoriBorderType border = qorBorderRepl) {
  return [=](Setup& s) {
    const bool inMemory = border == qorBorderInMem;
    const auto src = s.random<T>({.channels = channels, .margin = inMemory ? m.size.width : 0});
    const auto dst = s.blank<T>({.channels = channels});
    const auto p = prepare<QoriMorphState>(s, m, s.roi().width, query, init);
    return checked(
        [=, roi = s.roi()] {
          return operation(src.p, src.step, dst.p, dst.step, roi, border, T{0}, p.record, p.scratch);
        },
        [=] { return plausible(src, dst, m, channels, inMemory); });
  };
}

auto dilateBits(const Mask& m) {
  return [=](Setup& s) {
    const QoriSize bytes{(s.roi().width + 15) / 8, s.roi().height};
    const auto src = s.random<Qor8u>({.size = bytes}), dst = s.blank<Qor8u>({.size = bytes});
    const auto p = prepare<QoriMorphState>(s, m, s.roi().width, qoriMorphologyBorderGetSize_1u_C1R,
                                           qoriMorphologyBorderInit_1u_C1R);
    return [=, roi = s.roi()] {
      return qoriDilateBorder_1u_C1R(src.p, src.step, 3, dst.p, dst.step, 5, roi, qorBorderRepl, 0, p.record,
                                     p.scratch);
    };
  };
}

template <class Operation>
auto compound(Operation* operation, const Mask& m) {
  return [=](Setup& s) {
    const auto src = s.random<Qor8u>(), dst = s.blank<Qor8u>();
    const auto p = prepare<QoriMorphAdvState>(s, m, s.roi(), qoriMorphAdvGetSize_8u_C1R, qoriMorphAdvInit_8u_C1R);
    return [=, roi = s.roi()] {
      return operation(src.p, src.step, dst.p, dst.step, roi, qorBorderRepl, Qor8u{0}, p.record, p.scratch);
    };
  };
}

// With a free anchor, and for a general mask without memory to work in.
auto dilateReplicated(const Mask& m) {
  return [=](Setup& s) {
    const auto src = s.random<Qor8u>(), dst = s.blank<Qor8u>();
    int bytes = 0;
    qoriMorphologyGetSize_8u_C1R(s.roi().width, m.elements.data(), m.size, &bytes);
    auto* const record = reinterpret_cast<QoriMorphState*>(s.scratch(bytes));
    const QoriPoint centre{(m.size.width - 1) / 2, (m.size.height - 1) / 2};
    qoriMorphologyInit_8u_C1R(s.roi().width, m.elements.data(), m.size, centre, record);
    return checked(
        [=, roi = s.roi()] {
          return qoriDilateBorderReplicate_8u_C1R(src.p, src.step, dst.p, dst.step, roi, qorBorderRepl, record);
        },
        [=] { return plausible(src, dst, m, 1, false); });
  };
}

auto largestOf(const Mask& m) {
  return [=](Setup& s) {
    const auto src = s.random<Qor8u>(), dst = s.blank<Qor8u>();
    int bytes = 0;
    qoriFilterMaxGetBufferSize_8u_C1R(s.roi().width, m.size, &bytes);
    Qor8u* const scratch = s.scratch(bytes);
    const QoriPoint centre{(m.size.width - 1) / 2, (m.size.height - 1) / 2};
    return checked(
        [=, roi = s.roi()] {
          return qoriFilterMaxBorderReplicate_8u_C1R(src.p, src.step, dst.p, dst.step, roi, m.size, centre, scratch);
        },
        [=] { return plausible(src, dst, m, 1, false); });
  };
}

#define QOR_DILATE(form, T, m, ...)                                                                          \
  dilate<T>(qoriDilateBorder_##form, qoriMorphologyBorderGetSize_##form, qoriMorphologyBorderInit_##form, m, \
            ##__VA_ARGS__)

const Register rows([] {
  const std::string bytes = "qoriDilateBorder_8u_C1R:";
  for (const int side : {3, 5, 15, 31}) {
    const std::string size = std::to_string(side) + "x" + std::to_string(side);
    Row(bytes + size).run(QOR_DILATE(8u_C1R, Qor8u, square(side)));
    Row(bytes + size + ",memory").run(QOR_DILATE(8u_C1R, Qor8u, square(side), 1, qorBorderInMem));
  }
  for (const int side : {5, 15, 31}) {
    Row(bytes + "disc" + std::to_string(side)).run(QOR_DILATE(8u_C1R, Qor8u, disc(side)));
  }
  Row(bytes + "scattered15").run(QOR_DILATE(8u_C1R, Qor8u, scattered(15)));
  Row(bytes + "checkered15").run(QOR_DILATE(8u_C1R, Qor8u, checkered(15)));
  Row("qoriDilateBorderReplicate_8u_C1R:disc15").run(dilateReplicated(disc(15)));
  Row("qoriDilateBorderReplicate_8u_C1R:scattered15").run(dilateReplicated(scattered(15)));
  Row("qoriFilterMaxBorderReplicate_8u_C1R:15x15").run(largestOf(square(15)));

  Row("qoriDilateBorder_8u_C3R:3x3").run(QOR_DILATE(8u_C3R, Qor8u, square(3), 3));
  Row("qoriDilateBorder_8u_C3R:15x15").run(QOR_DILATE(8u_C3R, Qor8u, square(15), 3));
  Row("qoriDilateBorder_16u_C1R:3x3").run(QOR_DILATE(16u_C1R, Qor16u, square(3)));
  Row("qoriDilateBorder_32f_C1R:3x3").run(QOR_DILATE(32f_C1R, Qor32f, square(3)));
  Row("qoriDilateBorder_32f_C1R:5x5").run(QOR_DILATE(32f_C1R, Qor32f, square(5)));
  Row("qoriDilateBorder_32f_C1R:15x15").run(QOR_DILATE(32f_C1R, Qor32f, square(15)));
  for (const int side : {3, 15}) {
    Row("qoriDilateBorder_1u_C1R:" + std::to_string(side) + "x" + std::to_string(side))
        .pixel(0.125)
        .run(dilateBits(square(side)));
  }

  for (const int side : {3, 5, 15}) {
    const std::string size = std::to_string(side) + "x" + std::to_string(side);
    Row("qoriMorphOpenBorder_8u_C1R:" + size).run(compound(qoriMorphOpenBorder_8u_C1R, square(side)));
    Row("qoriMorphTophatBorder_8u_C1R:" + size).run(compound(qoriMorphTophatBorder_8u_C1R, square(side)));
    Row("qoriMorphGradientBorder_8u_C1R:" + size).run(compound(qoriMorphGradientBorder_8u_C1R, square(side)));
  }
  Row("qoriMorphOpenBorder_8u_C1R:disc15").run(compound(qoriMorphOpenBorder_8u_C1R, disc(15)));
});

}  // namespace
}  // namespace qor::bench
