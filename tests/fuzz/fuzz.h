// What the fuzzers share: sizes, images and threads out of the fuzzer's input.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "qorcore.h"
#include "qorcv.h"

// Ends the run with the place of the fault; the fuzzer keeps the input.
#define FUZZ_CHECK(condition)                                                      \
  do {                                                                             \
    if (!(condition)) {                                                            \
      std::fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                \
    }                                                                              \
  } while (false)

namespace fuzz {

using Input = FuzzedDataProvider;

inline QoriSize size(Input& in, int maxWidth = 150, int maxHeight = 12) {
  return {in.ConsumeIntegralInRange(1, maxWidth), in.ConsumeIntegralInRange(1, maxHeight)};
}

inline void threads(Input& in) { FUZZ_CHECK(qorSetNumThreads(in.ConsumeIntegralInRange(1, 5)) == qorStsNoErr); }

// Bytes of the input, repeated when it runs out: large images from small inputs.
inline void fill(Input& in, void* data, size_t count) {
  std::vector<uint8_t> pattern = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(1, 512));
  if (pattern.empty()) pattern.push_back(0);
  auto* bytes = static_cast<uint8_t*>(data);
  for (size_t done = 0; done < count; done += pattern.size()) {
    std::memcpy(bytes + done, pattern.data(), std::min(pattern.size(), count - done));
  }
}

// An image whose block ends with the last sample of its last row, so that the sanitizer sees a byte beyond.
template <class T>
class Image {
 public:
  Image(Input& in, QoriSize size, int channels = 1)
      : width_(size.width * channels),
        height_(size.height),
        lead_(in.ConsumeIntegralInRange<size_t>(0, 3)),
        rowSamples_(static_cast<size_t>(width_ + in.ConsumeIntegralInRange(0, 9))),
        count_(lead_ + rowSamples_ * static_cast<size_t>(height_ - 1) + static_cast<size_t>(width_)),
        block_(new T[count_]) {
    fill(in, block_.get(), count_ * sizeof(T));
  }

  T* data() { return block_.get() + lead_; }
  int step() const { return static_cast<int>(rowSamples_ * sizeof(T)); }
  T* row(int y) { return data() + rowSamples_ * static_cast<size_t>(y); }

  // A copy of the whole block, gaps included.
  std::vector<T> snapshot() const { return {block_.get(), block_.get() + count_}; }

  // Row y of a snapshot.
  const T* row(const std::vector<T>& snapshot, int y) const {
    return snapshot.data() + lead_ + rowSamples_ * static_cast<size_t>(y);
  }

  // Whether all that stands outside the region is as in the snapshot.
  bool gapsEqual(const std::vector<T>& before) const {
    const size_t width = static_cast<size_t>(width_), gap = rowSamples_ - width;
    bool equal = std::memcmp(before.data(), block_.get(), lead_ * sizeof(T)) == 0;
    for (size_t end = lead_ + width; end < count_; end += rowSamples_) {
      equal = equal && std::memcmp(before.data() + end, block_.get() + end, gap * sizeof(T)) == 0;
    }
    return equal;
  }

 private:
  int width_;
  int height_;
  size_t lead_;
  size_t rowSamples_;
  size_t count_;
  std::unique_ptr<T[]> block_;
};

}  // namespace fuzz
