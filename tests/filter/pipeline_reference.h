// One row and one column of the pipelines, sample by sample, as the header defines them.
#pragma once

#include <math.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "support/outside.h"
#include "support/support.h"

namespace qortest {

enum class Pipeline { Bytes, Signed, Unsigned, Floats, Low };

template <class Tap>
struct PipelineKernel {
  std::vector<Tap> taps;
  int anchor = 0;
  int divisor = 1;

  int size() const { return static_cast<int>(taps.size()); }
};

// The samples under the taps of one result.
template <class T>
using UnderTaps = std::vector<T>;

template <class T, class Tap>
class PipelineReference {
 public:
  PipelineReference(Pipeline member, const PipelineKernel<Tap>& kernel, int channels)
      : member_(member), k_(kernel), channels_(channels), inverse_(1.0F / static_cast<float>(kernel.divisor)) {
    for (const Tap tap : k_.taps) absolute_ += fabsf(static_cast<float>(tap));
  }

  // A result of a row: inside stands for W - K + 1 columns from the anchor on, width for W in pixels.
  template <class D>
  D row(const UnderTaps<T>& p, bool inside, int width, QoriBorderType border) const {
    const int K = k_.size();
    switch (member_) {
      case Pipeline::Bytes:
        return toInteger<D>(static_cast<float>(wrapped(p)) * inverse_, inside);
      case Pipeline::Unsigned:
        return toInteger<D>(sum(p, 1.0F) * inverse_, inside);
      case Pipeline::Signed:
        if constexpr (std::is_integral_v<Tap>) {
          if (K == 3 || K == 5) {
            if (!inside) return toInteger<D>(sum(p, 1.0F) * inverse_, false);
            if (channels_ == 3 || absolute_ >= 65535.0F) return toInteger<D>(sum(p, inverse_), true);
            return toInteger<D>(static_cast<float>(wrapped(p)) * inverse_, true);
          }
          const bool lowest = channels_ == 1 && std::count(k_.taps.begin(), k_.taps.end(), -32768) != 0;
          if (!inside || width - K <= 15) return toInteger<D>(sum(p, inverse_), false);
          if (lowest) return toInteger<D>(sum(p, inverse_), true);
          return toInteger<D>(sumOfPairs(p) * inverse_, true);
        }
        break;
      case Pipeline::Low:
        return low<D>(p, inside || (binomial() && border == qorBorderRepl && k_.anchor == 2 && width - 2 > 8));
      case Pipeline::Floats:
        return static_cast<D>(sum(p, 1.0F));
    }
    return D();
  }

  // A result of a column; x counts samples of n in the row.
  template <class D>
  D column(const UnderTaps<T>& p, int x, int n, int height) const {
    const int K = k_.size();
    const int block = K != 3 && K != 5 ? 16 : member_ == Pipeline::Low ? 8 : 4;
    const bool inside = x < n / block * block;
    switch (member_) {
      case Pipeline::Unsigned:
        return toInteger<D>(sum(p, 1.0F) * inverse_, inside);
      case Pipeline::Low:
        return low<D>(p, inside || (binomial() && height >= 3));
      case Pipeline::Floats:
        return static_cast<D>(sum(p, 1.0F));
      default:
        return toInteger<D>(sum(p, inverse_), inside);
    }
  }

 private:
  bool binomial() const {
    const auto& t = k_.taps;
    return k_.size() == 5 && t[0] == t[4] && t[1] == t[3] && k_.divisor == 16;
  }

  float sum(const UnderTaps<T>& p, float factor) const {
    float total = 0;
    for (size_t i = 0; i < p.size(); ++i) {
      const float product = static_cast<float>(p[i]) * (static_cast<float>(k_.taps[i]) * factor);
      total = i == 0 ? product : total + product;
    }
    return total;
  }

  // Modulo 2^32.
  int32_t wrapped(const UnderTaps<T>& p, size_t first = 0, size_t count = SIZE_MAX) const {
    int64_t total = 0;
    for (size_t i = first; i < p.size() && i - first < count; ++i)
      total += static_cast<int64_t>(p[i]) * static_cast<int64_t>(k_.taps[i]);
    return static_cast<int32_t>(total);
  }

  float sumOfPairs(const UnderTaps<T>& p) const {
    float total = 0;
    for (size_t i = 0; i < p.size(); i += 2) total += static_cast<float>(wrapped(p, i, 2));
    return total;
  }

  template <class D>
  D low(const UnderTaps<T>& p, bool wraps) const {
    const auto scale = static_cast<int16_t>(static_cast<int32_t>(16384.0F / static_cast<float>(k_.divisor)));
    const int32_t total = wrapped(p);
    if (wraps) return static_cast<D>(std::clamp(static_cast<int16_t>(total) * scale >> 14, -32768, 32767));
    return static_cast<D>(static_cast<int32_t>(static_cast<int64_t>(total) * scale) >> 14);
  }

  template <class D>
  static D toInteger(float value, bool rounds) {
    const float low = std::numeric_limits<D>::lowest(), high = std::numeric_limits<D>::max();
    const float cut = std::clamp(value, low, high);
    return static_cast<D>(rounds ? nearbyintf(cut) : truncf(cut));
  }

  Pipeline member_;
  PipelineKernel<Tap> k_;
  int channels_;
  float inverse_;
  float absolute_ = 0;
};

// The taps of a call of roles k, K, a and n, as far as it has them.
template <class Tap>
PipelineKernel<Tap> kernelOf(const Arguments& a) {
  const Tap* const taps = a.at<const Tap*>('k');
  return {{taps, taps + a.number('K')}, a.has('a') ? a.number('a') : 0, a.has('n') ? a.number('n') : 1};
}

// Rows of an image whose margins hold what lies in memory beside them; the rule is one of three.
template <class D, class T, class Tap>
Image<D> referenceRows(Pipeline member, const Image<T>& src, const PipelineKernel<Tap>& kernel, QoriBorderType border,
                       const T* value) {
  const PipelineReference<T, Tap> reference(member, kernel, src.channels);
  const int K = kernel.size(), width = src.size.width;
  Image<D> want(src.size, src.channels);
  UnderTaps<T> under(static_cast<size_t>(K));
  for (int y = 0; y < want.size.height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool inside = x >= kernel.anchor && x < width - (K - 1 - kernel.anchor);
      for (int c = 0; c < want.channels; ++c) {
        for (int i = 0; i < K; ++i) {
          const bool inMemory = border == qorBorderInMem;
          const auto at = place(border, x - kernel.anchor + i, width, inMemory, inMemory);
          under[static_cast<size_t>(i)] = at ? src.at(*at, y, c) : value[c];
        }
        want.at(x, y, c) = reference.template row<D>(under, inside, width, border);
      }
    }
  }
  return want;
}

template <class D, class T, class Tap>
Image<D> referenceColumns(Pipeline member, const T* const* rows, QoriSize size, int channels,
                          const PipelineKernel<Tap>& kernel) {
  const PipelineReference<T, Tap> reference(member, kernel, channels);
  const int n = size.width * channels;
  Image<D> want(size, channels);
  UnderTaps<T> under(static_cast<size_t>(kernel.size()));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < n; ++x) {
      for (int i = 0; i < kernel.size(); ++i) under[static_cast<size_t>(i)] = rows[y + i][x];
      want.at(0, y, x) = reference.template column<D>(under, x, n, size.height);
    }
  }
  return want;
}

}  // namespace qortest
