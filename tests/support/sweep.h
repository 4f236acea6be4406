// The sweep: one body, run over sizes around every vector length, with all other axes rotated through the grid.
//
//   sweep("qoriAbsDiff_8u_C1R", {.thresholds = {{511, 512}, {512, 512}}, .variants = 2}, [&](Case& c) {
//     auto src1 = c.image<Qor8u>(), src2 = c.image<Qor8u>();     // data, guard, gap and misalignment rotate
//     auto fresh = c.output<Qor8u>();                            // starts as junk
//     auto& dst = c.variant == 0 ? fresh : src1;                 // in place in every second case
//     const auto want = reference(src1.pixels(), src2.pixels());
//     protectSources(dst, src1, src2);
//     EXPECT_EQ(qoriAbsDiff_8u_C1R(src1.data(), src1.step(), ..., c.size), qorStsNoErr);
//     expectSame(dst, want);
//   });
//
// Every size runs once against the guard page behind and once against the one before. c.variant counts 0 ..
// variants - 1, for in-place forms and modes; every width sees up to eight variants, each with both guards in turn. The
// thread count is set before the body is called: rotated over the grid, and each of 1, 2, 3, 7 and 33 at every
// threshold size. At least one threshold size should have fewer rows than 7. The sweep ends after a few failing cases.
#pragma once

#include <functional>
#include <vector>

#include "support/compare.h"
#include "support/data.h"
#include "support/guarded.h"

namespace qortest {

// One case of a sweep; also usable alone.
class Case {
 public:
  explicit Case(QoriSize size_, uint64_t seed = baseSeed(), Guard guard_ = Guard::After, bool finite = false)
      : size(size_), guard(guard_), random(seed), finite_(finite) {}

  QoriSize size;
  Guard guard;
  int variant = 0;
  int threads = 1;
  Random random;                                // for whatever else the case needs
  bool usual = false;                           // the first of every list of values, and nothing out of the ordinary
  int64_t leastStep = 0;                        // of the images to come, in samples
  const std::vector<uint8_t>* bytes = nullptr;  // the fuzzer's: repeated in most images

  // An image of rotating data.
  template <class T>
  GuardedImage<T> image(int channels = 1, const Margin& margin = {}, SourceLocation where = SourceLocation::current()) {
    return image<T>(size, channels, margin, where);
  }

  template <class T>
  GuardedImage<T> image(QoriSize itsSize, int channels = 1, const Margin& margin = {},
                        SourceLocation where = SourceLocation::current()) {
    const int kind = random.oneIn(3) ? 0 : random.below(dataKinds<T>(finite_));
    appendCase(" %s", dataNames[kind]);
    GuardedImage<T> made(itsSize, layout(itsSize, channels, margin), where);
    made.generate(Maker<T>(static_cast<Data>(kind), random.bits()));
    if (bytes != nullptr && !finite_ && !random.oneIn(4)) repeatBytes(made);
    return made;
  }

  // An image of junk, NaN for floats.
  template <class T>
  GuardedImage<T> output(int channels = 1, SourceLocation where = SourceLocation::current()) {
    return output<T>(size, channels, {}, where);
  }

  template <class T>
  GuardedImage<T> output(QoriSize itsSize, int channels = 1, const Margin& margin = {},
                         SourceLocation where = SourceLocation::current()) {
    return GuardedImage<T>(itsSize, layout(itsSize, channels, margin), where);
  }

  GuardedImage<Qor8u> mask(SourceLocation where = SourceLocation::current()) { return mask(size, where); }
  GuardedImage<Qor8u> mask(QoriSize itsSize, SourceLocation where = SourceLocation::current());

  // Exactly that many bytes of junk.
  GuardedBytes scratch(ptrdiff_t bytes, SourceLocation where = SourceLocation::current());

 private:
  Layout layout(QoriSize itsSize, int channels, const Margin& margin);
  template <class T>
  void repeatBytes(GuardedImage<T>& image) const {
    size_t next = 0;
    image.generate([&](int, int, int) {
      T value = 0;
      for (size_t i = 0; i < sizeof(T); ++i) reinterpret_cast<uint8_t*>(&value)[i] = (*bytes)[next++ % bytes->size()];
      return value;
    });
  }

  bool finite_;
};

struct Sweep {
  std::vector<int> widths = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 13, 15, 16,  17,  18, 19,
                             23, 24, 25, 31, 32, 33, 34, 47, 48, 49, 63, 64, 65, 127, 128, 129};
  std::vector<int> heights = {1, 2, 3, 7};
  std::vector<QoriSize> thresholds = {};  // sizes where the path changes, run with every thread count
  std::vector<QoriSize> crowded = {};     // run with 33 threads alone: large enough for each to have its part
  int variants = 1;
  int repeats = 1;      // of every size but the thresholds
  bool finite = false;  // floats: neither NaN nor infinity, and nothing whose sums overflow
};

// Thread counts worth a run; the last exceeds the slots that a reduction keeps on the stack.
constexpr int threadCounts[] = {1, 2, 3, 7, 33};

void sweep(const char* name, const Sweep& options, const std::function<void(Case&)>& body);

}  // namespace qortest

// Name and address of an operation, for calls that need both.
#define QORTEST_NAMED(operation) #operation, operation
