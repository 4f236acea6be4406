// One step up: every source row is filtered along itself into a row of even pixels and one of odd pixels, which meet
// again when two destination rows are made from three such pairs.
#pragma once

#include "pyramid/gauss_sums.h"

namespace qor::inline QOR_LEVEL {

constexpr int gaussUpRows = 3;

// The sums of a filtered row: the even pixels of the doubled row, and the odd ones.
template <class Sum>
struct Phases {
  Sum *even, *odd;
};

// A line reflects at its start and repeats its last pixel at its end.
constexpr ptrdiff_t before(ptrdiff_t i, ptrdiff_t n) { return i > 0 ? i - 1 : n > 1 ? 1 : 0; }
constexpr ptrdiff_t behind(ptrdiff_t i, ptrdiff_t n) { return i < n - 1 ? i + 1 : n - 1; }

template <class T, int channels>
void filterUp(Phases<typename GaussSums<T>::Sum> dst, const T* src, ptrdiff_t width) {
  using Sums = GaussSums<T>;
  using Sum = typename Sums::Sum;
  const auto one = [=](ptrdiff_t x) {
    for (int c = 0; c < channels; ++c) {
      const auto p = [=](ptrdiff_t i) { return Sums::number(src[i * channels + c]); };
      const ptrdiff_t l = before(x, width), r = behind(x, width), i = x * channels + c;
      dst.even[i] = static_cast<Sum>(sumOfThree(p(l), p(x), p(r)));
      dst.odd[i] = static_cast<Sum>(sumOfTwo(p(x), p(r)));
    }
  };
  const ptrdiff_t inside = (width - 2) * channels;
  one(0);
  if (inside >= Vec<Sum>::lanes) {
    forBlocks<Vec<Sum>::lanes>(inside, [=](ptrdiff_t i) {
      const auto p = [=](int pixels) {
        const T* const at = src + i + (1 + pixels) * channels;
        if constexpr (std::is_same_v<T, Sum>) {
          return load(at);
        } else {
          return Sums::turn(loadAs<Sum>(reinterpret_cast<const Qor8u*>(at)));
        }
      };
      const auto l = p(-1), c = p(0), r = p(1);
      store(dst.even + channels + i, sumOfThree(l, c, r));
      store(dst.odd + channels + i, sumOfTwo(c, r));
    });
    one(width - 1);
  } else {
    for (ptrdiff_t x = 1; x < width; ++x) one(x);
  }
}

// Sums down the columns, as the destination has them, in its even rows and in its odd ones.
template <class T>
struct UpColumns {
  template <class V>
  QOR_FORCE_INLINE static auto even(V above, V here, V below) {
    return GaussSums<T>::template rounded<6>(sumOfThree(above, here, below));
  }
  template <class V>
  QOR_FORCE_INLINE static auto odd(V here, V below) {
    return GaussSums<T>::template rounded<6>(sumOfTwo(here, below));
  }
};
template <>
struct UpColumns<Qor32f> {
  template <class V>
  QOR_FORCE_INLINE static V even(V above, V here, V below) {
    return sumOfThree(above, here, below) * constant<V>(0.015625F);
  }
  template <class V>
  QOR_FORCE_INLINE static V odd(V here, V below) {
    return (here + below) * constant<V>(0.0625F);
  }
};
// Of one row alone.
struct UpOneRow {
  template <class V>
  QOR_FORCE_INLINE static V even(V, V here, V) {
    return here * constant<V>(0.125F);
  }
  template <class V>
  QOR_FORCE_INLINE static V odd(V here, V) {
    return here * constant<V>(0.125F);
  }
};

// Pixels in turns from both phases. In three channels each 16 bytes have whole pixels of their own, and what stands
// behind these in the destination loses its meaning.
template <int channels, class T>
QOR_FORCE_INLINE void putPixels(T* dst, V16u even, V16u odd) {
  const V8u both = GaussSums<T>::turn(as<Qor8u>(even | (odd << 8)));
  if constexpr (channels == 1) {
    store(dst, as<T>(both));
  } else {
    storeApart(dst, 12, as<T>(lookUp(both, bytes(0, 2, 4, 1, 3, 5, 6, 8, 10, 7, 9, 11, -1, -1, -1, -1))));
  }
}
template <int channels, int size>
QOR_FORCE_INLINE void putPixels(Qor32f* dst, VecOf<Qor32f, size> even, VecOf<Qor32f, size> odd) {
  if constexpr (channels == 1) {
    store(dst, zip(even, odd));
  } else {
    store(dst, firstShort(even));
    store(dst + channels, firstShort(odd));
    if constexpr (size > Short<Qor32f>::bytes) {
      store(dst + 2 * channels, lastShort(even));
      store(dst + 3 * channels, lastShort(odd));
    }
  }
}

// Three filtered rows into two of the destination.
template <class T, int channels, class Columns = UpColumns<T>>
void storeUp(T* even, T* odd, ptrdiff_t width, Phases<const typename GaussSums<T>::Sum> above,
             Phases<const typename GaussSums<T>::Sum> here, Phases<const typename GaussSums<T>::Sum> below) {
  using Sums = GaussSums<T>;
  using Sum = typename Sums::Sum;
  constexpr int shorts = Vec<Sum>::bytes / Short<Sum>::bytes, ofShort = Short<Sum>::lanes / channels;
  constexpr int block = ofShort * shorts;
  const auto pixels = [=](ptrdiff_t x) {
    const auto at = [x](const Sum* p) { return loadApart(p + x * channels, ofShort * channels); };
    const auto ae = at(above.even), he = at(here.even), be = at(below.even);
    const auto ao = at(above.odd), ho = at(here.odd), bo = at(below.odd);
    putPixels<channels>(even + 2 * channels * x, Columns::even(ae, he, be), Columns::even(ao, ho, bo));
    putPixels<channels>(odd + 2 * channels * x, Columns::odd(he, be), Columns::odd(ho, bo));
  };
  // In three channels a block reads and writes behind its last pixel.
  const ptrdiff_t end = channels == 1 ? width : width - 1;
  const bool wide = end >= block;
  if (wide) forBlocks<block>(end, pixels);
  for (ptrdiff_t i = wide ? end * channels : 0; i < width * channels; ++i) {
    const ptrdiff_t to = (i / channels * 2) * channels + i % channels;
    const auto at = [i](const Sum* p) { return static_cast<typename Sums::Number>(p[i]); };
    even[to] = Columns::even(at(above.even), at(here.even), at(below.even));
    even[to + channels] = Columns::even(at(above.odd), at(here.odd), at(below.odd));
    odd[to] = Columns::odd(at(here.even), at(below.even));
    odd[to + channels] = Columns::odd(at(here.odd), at(below.odd));
  }
}

template <class T, int channels>
struct GaussUp {
  using Sum = typename GaussSums<T>::Sum;

  Plane<const T> src;
  Plane<T> dst;
  QoriSize size;  // of the source

  static auto layout(int width) {
    return [samples = int64_t{2} * width * channels * gaussUpRows](ScratchParts& parts) {
      return parts.take<Sum>(samples);
    };
  }

  void run(Sum* ring) const {
    const ptrdiff_t n = int64_t{size.width} * channels;
    const auto slot = [=](ptrdiff_t y) {
      Sum* const row = ring + y % gaussUpRows * 2 * n;
      return Phases<Sum>{row, row + n};
    };
    const auto filtered = [=](ptrdiff_t y) { return Phases<const Sum>{slot(y).even, slot(y).odd}; };
    int next = 0;
    for (int y = 0; y < size.height; ++y) {
      const ptrdiff_t above = before(y, size.height), below = behind(y, size.height);
      for (; next <= (above > below ? above : below); ++next) {
        filterUp<T, channels>(slot(next), src.row(next), size.width);
      }
      T *const even = rowAt(dst.row(y), dst.step, y), *const odd = rowAt(even, dst.step, 1);
      if constexpr (std::is_same_v<T, Qor32f>) {
        if (size.height == 1) {
          storeUp<T, channels, UpOneRow>(even, odd, size.width, filtered(y), filtered(y), filtered(y));
          return;
        }
      }
      storeUp<T, channels>(even, odd, size.width, filtered(above), filtered(y), filtered(below));
    }
  }
};

// A column of floats alone, filtered down only, like a row that is alone. Whole numbers are exact either way.
template <int channels>
void gaussUpOneColumn(const GaussUp<Qor32f, channels>& step) {
  const int height = step.size.height;
  const auto p = [&](ptrdiff_t y, int c) { return step.src.row(static_cast<int>(y))[c]; };
  for (int y = 0; y < height; ++y) {
    Qor32f *const even = rowAt(step.dst.row(y), step.dst.step, y), *const odd = rowAt(even, step.dst.step, 1);
    for (int c = 0; c < channels; ++c) {
      const Qor32f here = p(y, c), below = p(behind(y, height), c);
      even[c] = even[c + channels] = sumOfThree(p(before(y, height), c), here, below) * 0.125F;
      odd[c] = odd[c + channels] = sumOfTwo(here, below) * 0.125F;
    }
  }
}

}  // namespace qor
