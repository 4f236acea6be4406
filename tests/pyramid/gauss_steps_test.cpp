#include <limits.h>

#include <type_traits>

#include "qorcv/pyramid.h"
#include "support/support.h"

namespace {
using namespace qortest;

template <class T>
using Number = std::conditional_t<std::is_integral_v<T>, int, Qor32f>;

int reflected(int i, int n) {
  if (n == 1) return 0;
  while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
  return i;
}

// Weights 1, 4, 6, 4, 1 around position i of a line.
template <class Line>
auto five(const Line& line, int i, int n) {
  const auto p = [&](int k) { return line(reflected(i + k, n)); };
  return 6 * p(0) + 4 * (p(-1) + p(1)) + p(-2) + p(2);
}

template <class T>
void expectHalf(Call& c) {
  const Image<T>& src = c.before<T>('s');
  const auto [w, h] = src.size;
  Image<T> want({(w + 1) / 2, (h + 1) / 2}, src.channels);
  for (int y = 0; y < want.size.height; ++y) {
    for (int x = 0; x < want.size.width; ++x) {
      for (int k = 0; k < src.channels; ++k) {
        const auto p = [&](int column, int row) { return static_cast<Number<T>>(src.at(column, row, k)); };
        const auto row = [&, w = w](int j) { return five([&](int i) { return p(i, j); }, 2 * x, w); };
        const Number<T> v = five(row, 2 * y, h);
        if constexpr (std::is_integral_v<T>) {
          want.at(x, y, k) = static_cast<T>((v + 128) >> 8);
        } else if (h < 3) {
          want.at(x, y, k) = five([&, h = h](int i) { return p(i, 0) + p(i, h - 1); }, 2 * x, w) * 0.03125F;
        } else if (w < 3) {
          want.at(x, y, k) = five([&, w = w](int i) { return p(0, i) + p(w - 1, i); }, 2 * y, h) * 0.03125F;
        } else {
          want.at(x, y, k) = v * 0.00390625F;
        }
      }
    }
  }
  c.expect('d', want);
}

// Output i of the doubled line.
template <class Line>
auto doubled(const Line& line, int i, int n) {
  const int at = i / 2, next = at + 1 < n ? at + 1 : n - 1, last = at > 0 ? at - 1 : next;
  return i % 2 == 0 ? 6 * line(at) + line(last) + line(next) : 4 * (line(at) + line(next));
}

template <class T>
void expectDouble(Call& c) {
  const Image<T>& src = c.before<T>('s');
  const auto [w, h] = src.size;
  Image<T> want({2 * w, 2 * h}, src.channels);
  for (int y = 0; y < 2 * h; ++y) {
    for (int x = 0; x < 2 * w; ++x) {
      for (int k = 0; k < src.channels; ++k) {
        const auto p = [&](int column, int row) { return static_cast<Number<T>>(src.at(column, row, k)); };
        const auto row = [&, w = w](int j) { return doubled([&](int i) { return p(i, j); }, x, w); };
        if constexpr (std::is_integral_v<T>) {
          want.at(x, y, k) = static_cast<T>((doubled(row, y, h) + 32) >> 6);
        } else if (h == 1) {
          want.at(x, y, k) = row(0) * 0.125F;
        } else if (w == 1) {
          want.at(x, y, k) = doubled([&](int j) { return p(0, j); }, y, h) * 0.125F;
        } else if (y % 2 == 0) {
          want.at(x, y, k) = doubled(row, y, h) * 0.015625F;
        } else {
          want.at(x, y, k) = (row(y / 2) + row(y / 2 + 1 < h ? y / 2 + 1 : h - 1)) * 0.0625F;
        }
      }
    }
  }
  c.expect('d', want);
}

int64_t rounded(int64_t bytes) { return (bytes + 15) / 16 * 16; }

// The stated size; beyond 31 bits what five rows of half the width take, where that fits.
void expectSize(Call& c, bool down) {
  const int64_t samples = int64_t{c.size().width} * c.number('k');
  const int64_t stated = down ? 6 * rounded(4 * samples) + 64 : 3 * rounded(8 * samples) + 64;
  const int64_t rows = 5 * 4 * ((int64_t{c.size().width} + 1) / 2) * c.number('k') + 3;
  const bool other = down && stated > INT_MAX && rows <= INT_MAX;
  c.expectResult(1, static_cast<int>(static_cast<uint32_t>(other ? rows : stated)));
}

template <class T>
void addSteps(Descriptions& d, const char* down, auto* downStep, const char* up, auto* upStep, int channels) {
  const QorDataType type = sizeof(T) == 4 ? qor32f : std::is_signed_v<T> ? qor8s : qor8u;
  const Sweep sizes{.heights = {1, 2, 3, 4, 5, 8}};
  const auto scratch = [=](auto* query) {
    return [=](const Arguments& a) {
      int bytes = -1;
      EXPECT_EQ(query(a.size().width, type, channels, &bytes), qorStsNoErr);
      return bytes;
    };
  };
  d.add(down, downStep, "s.d.zw",
        {.shape =
             [](const Arguments&, char role, int, Shape& s) {
               if (role == 'd') s.width = (s.width + 1) / 2, s.height = (s.height + 1) / 2;
             },
         .scratch = scratch(qoriPyrDownGetBufSize_Gauss5x5),
         .expect = expectHalf<T>,
         .sweep = sizes});
  d.add(up, upStep, "s.d.zw",
        {.shape =
             [](const Arguments&, char role, int, Shape& s) {
               if (role == 'd') s.width *= 2, s.height *= 2;
             },
         .scratch = scratch(qoriPyrUpGetBufSize_Gauss5x5),
         .expect = expectDouble<T>,
         .sweep = sizes});
}

const Descriptions members([](Descriptions& d) {
  const auto query = [&d](const char* name, auto* operation, void (*expect)(Call&)) {
    d.add(name, operation, "znkr",
          {.checks = "null | size | one k ChannelErr | one n DataTypeErr",
           .values = {{'n', {qor8u, qor8s, qor32f}}, {'k', {1, 3}}},
           .expect = expect,
           .sweep = {.widths = {1, 2, 5, 641, 0x3ffffff, 0x9999999, INT_MAX}, .heights = {1}, .repeats = 4}});
  };
  query(QORTEST_NAMED(qoriPyrDownGetBufSize_Gauss5x5), [](Call& c) { expectSize(c, true); });
  query(QORTEST_NAMED(qoriPyrUpGetBufSize_Gauss5x5), [](Call& c) { expectSize(c, false); });
#define QOR_GAUSS_STEPS(down, up, T, channels) addSteps<T>(d, QORTEST_NAMED(down), QORTEST_NAMED(up), channels);
#include "../../src/pyramid/gauss_steps.def"
});

}  // namespace
