#include <array>

#include "filter/pipeline_reference.h"
#include "qorcv/filter.h"

namespace {
using namespace qortest;

// Operations with and without a divisor, and with a value or three for the border.
template <class T, class Tap, class D, class... Rest>
using RowOperation = QorStatus (*)(const T*, int, D* const*, QoriSize, const Tap*, int, int, QoriBorderType, Rest...);
template <class T, class Tap, class D, class... Rest>
using ColumnOperation = QorStatus (*)(const T* const*, D*, int, QoriSize, const Tap*, int, Rest...);
using SizeQuery = QorStatus (*)(QoriSize, int, int*);

template <class First, class...>
constexpr int channelsOf = std::is_pointer_v<First> ? 3 : 1;

// Small sizes around the blocks of 4, 8 and 16, and around the row whose inside has 15 columns more than none; a size
// that goes parallel for two threads.
const Sweep sizes{.widths = {1,  2,  3,  4,  5,  6,  7,  8,  9,  11, 12, 13, 15, 16,  17, 18,
                             19, 20, 21, 22, 23, 24, 31, 33, 40, 47, 64, 65, 97, 131, 337},
                  .heights = {1, 3, 4},
                  .thresholds = {{256, 256}}};

// Kernels of every path: 3 and 5 taps, longer ones, the same on both sides or not, small or of the whole range, with
// the lowest tap, so many that 32-bit sums wrap, with absolute sums on both sides of 65535; divisors with exact and
// inexact reciprocals.
template <class Tap>
PipelineKernel<Tap> randomKernel(Case& c) {
  constexpr int lengths[] = {1, 2, 3, 3, 3, 4, 5, 5, 5, 6, 7, 8, 9, 11, 15, 23, 31, 300};
  const bool large = c.size.width * c.size.height > 0x4000;
  const int K = lengths[c.random.below(large ? 9 : 18)];
  PipelineKernel<Tap> kernel;
  kernel.anchor = c.random.oneIn(2) ? K / 2 : c.random.below(K);
  constexpr int divisors[] = {1, 1, 2, 3, 4, 7, 16, 16, 16, 100, 255, 4096, 32768, 65535, 100000, INT_MAX};
  kernel.divisor = divisors[c.random.below(16)];
  if (std::is_signed_v<Tap> && c.random.oneIn(4)) kernel.divisor = c.random.oneIn(8) ? INT_MIN : -kernel.divisor;
  const int kind = c.random.below(6);
  for (int i = 0; i < K; ++i) {
    if constexpr (std::is_floating_point_v<Tap>) {
      kernel.taps.push_back(static_cast<Tap>(c.random.unit() - 0.25));
    } else {
      const int wide = static_cast<int>(c.random.bits() & 0xffff), small = c.random.between(0, 12);
      const int below = std::is_signed_v<Tap> && c.random.oneIn(2) ? -small : small;
      const int sum = K > 1 ? (65534 + c.random.below(2)) / K : 32767;  // near the limit of exact sums
      const int tap = kind == 0 ? wide : kind == 1 ? sum : kind == 2 ? (c.random.oneIn(2) ? 0x8000 : wide) : below;
      kernel.taps.push_back(static_cast<Tap>(tap));
    }
  }
  if (kind == 1) kernel.taps.back() = static_cast<Tap>(kernel.taps.back() + c.random.below(5));
  if (kind == 4) std::copy(kernel.taps.begin(), kernel.taps.begin() + K / 2, kernel.taps.rbegin());
  appendCase(" K %d anchor %d divisor %d kind %d", K, kernel.anchor, kernel.divisor, kind);
  return kernel;
}

template <class Tap>
GuardedBytes guarded(const std::vector<Tap>& values) {
  GuardedBytes block(static_cast<ptrdiff_t>(values.size() * sizeof(Tap)));
  memcpy(block.data(), values.data(), values.size() * sizeof(Tap));
  block.protect();
  return block;
}

int scratchSize(SizeQuery query, QoriSize size, int kernelSize) {
  int bytes = -1;
  EXPECT_EQ(query(size, kernelSize, &bytes), qorStsNoErr);
  return bytes;
}

template <class T, class Tap, class D, class... Rest>
QorStatus callRows(RowOperation<T, Tap, D, Rest...> operation, const GuardedImage<T>& src, D* const* rows,
                   const PipelineKernel<Tap>& k, const Tap* taps, QoriBorderType border, const T* value,
                   Qor8u* scratch) {
  const auto call = [&](auto borderValue) {
    if constexpr (sizeof...(Rest) == 3) {
      return operation(src.data(), src.step(), rows, src.size(), taps, k.size(), k.anchor, border, borderValue,
                       k.divisor, scratch);
    } else {
      return operation(src.data(), src.step(), rows, src.size(), taps, k.size(), k.anchor, border, borderValue,
                       scratch);
    }
  };
  if constexpr (channelsOf<Rest...> == 3) return call(value);
  if constexpr (channelsOf<Rest...> == 1) return call(*value);
}

template <class T, class Tap, class D, class... Rest>
QorStatus callColumns(ColumnOperation<T, Tap, D, Rest...> operation, const T* const* rows, const GuardedImage<D>& dst,
                      const PipelineKernel<Tap>& k, const Tap* taps, Qor8u* scratch) {
  if constexpr (sizeof...(Rest) == 2) {
    return operation(rows, dst.data(), dst.step(), dst.size(), taps, k.size(), k.divisor, scratch);
  } else {
    return operation(rows, dst.data(), dst.step(), dst.size(), taps, k.size(), scratch);
  }
}

// The size, then the pointers of the array, of which the operation looks at count().
template <class Contract, class Roi, class Rows, class Pointers, class Count>
void checkSizeAndRows(Contract& contract, Roi roiSize, Rows rows, const Pointers& good, Pointers& bad, Count count) {
  contract.range(roiSize, qorStsSizeErr, 1, INT_MAX, &QoriSize::width);
  contract.range(roiSize, qorStsSizeErr, 1, INT_MAX, &QoriSize::height);
  const auto withNull = [=, &contract, &good, &bad](bool last) {
    return [=, &contract, &good, &bad] {
      if (contract[rows] == nullptr || count() < 1) return;
      bad = good;
      bad[last ? static_cast<size_t>(count() - 1) : 0] = nullptr;
      contract[rows] = bad.data();
    };
  };
  contract.check(
      "a null row", qorStsNullPtrErr,
      [=, &contract] {
        return contract[rows] != nullptr && count() > 0 &&
               std::count(contract[rows], contract[rows] + count(), nullptr) != 0;
      },
      withNull(false), withNull(true));
}

template <class Contract, class Divisor>
void checkDivisor(Contract& contract, Divisor divisor, bool positive) {
  contract.check(
      "divisor", qorStsBadArgErr,
      [=, &contract] { return contract[divisor] == 0 || (positive && contract[divisor] < 0); },
      [=, &contract] { contract[divisor] = 0; }, [=, &contract] { contract[divisor] = positive ? -1 : 0; },
      [=, &contract] { contract[divisor] = positive ? INT_MIN : 0; });
  contract.any(divisor, 1, positive ? 2 : -1, INT_MAX);
}

template <class T, class Tap, class D, class... Rest>
void testRows(const char* name, RowOperation<T, Tap, D, Rest...> operation, SizeQuery query, Pipeline member) {
  constexpr int channels = channelsOf<Rest...>;
  sweep(name, sizes, [&](Case& c) {
    const PipelineKernel<Tap> kernel = randomKernel<Tap>(c);
    constexpr QoriBorderType borders[] = {qorBorderConst, qorBorderRepl, qorBorderRepl, qorBorderInMem};
    const QoriBorderType border = borders[c.random.below(4)];
    appendCase(" border %d", border);
    Margin margin;
    if (border == qorBorderInMem) margin = {kernel.anchor, 0, kernel.size() - 1 - kernel.anchor, 0};
    auto src = c.image<T>(channels, margin);
    src.protect();
    const auto value = c.image<T>({1, 1}, channels);
    const auto dst = c.output<D>(channels);
    // Rows go where the array says: here upside down.
    std::vector<D*> pointers;
    for (int y = c.size.height; y-- > 0;) pointers.push_back(&dst.at(0, y));
    const GuardedBytes rows = guarded(pointers), taps = guarded(kernel.taps);
    const auto scratch = c.scratch(scratchSize(query, c.size, kernel.size()));
    EXPECT_EQ(callRows(operation, src, rows.as<D*>(), kernel, taps.as<Tap>(), border, value.data(), scratch.data()),
              qorStsNoErr);
    Image<D> want = referenceRows<D>(member, src, kernel, border, value.data());
    Image<D> got = want;
    for (int y = 0; y < c.size.height; ++y)
      memcpy(&got.at(0, y), pointers[static_cast<size_t>(y)], sizeof(D) * static_cast<size_t>(c.size.width * channels));
    expectSame(got, want);
  });

  Contract contract(name, operation);
  std::vector<D> row(64);
  const std::vector<D*> good(8, row.data());
  std::vector<D*> bad = good;
  const auto describe = [&](auto pSrc, auto srcStep, auto ppDst, auto roiSize, auto pKernel, auto kernelSize,
                            auto xAnchor, auto borderType, auto value, auto pBuffer) {
    contract.set(ppDst, good.data());
    contract.set(kernelSize, 4);
    contract.null(pSrc, ppDst, pKernel, pBuffer);
    checkSizeAndRows(contract, roiSize, ppDst, good, bad,
                     [&contract, roiSize] { return int64_t{contract[roiSize].height}; });
    if constexpr (channels == 3) contract.null(value);
    if constexpr (channels == 1) contract.any(value, 0, 7);
    contract.range(kernelSize, qorStsSizeErr, 1, INT_MAX);
    contract.range(xAnchor, qorStsAnchorErr, 0, INT_MAX);
    contract.check(
        "anchor behind the kernel", qorStsAnchorErr,
        [=, &contract] { return contract[kernelSize] > 0 && contract[xAnchor] >= contract[kernelSize]; },
        [=, &contract] { contract[xAnchor] = contract[kernelSize]; }, [=, &contract] { contract[xAnchor] = INT_MAX; });
    contract.step(channels * sizeof(T), srcStep);
    contract.even(sizeof(T), srcStep);
    const auto becomes = [=, &contract](int border) { return [=, &contract] { contract[borderType] = border; }; };
    contract.check(
        "border", qorStsBadArgErr,
        [=, &contract] { return contract[borderType] != 0 && contract[borderType] != 1 && contract[borderType] != 6; },
        becomes(qorBorderWrap), becomes(qorBorderMirror), becomes(qorBorderMirrorR), becomes(5), becomes(7),
        becomes(-1), becomes(qorBorderRepl | qorBorderInMemLeft), becomes(qorBorderInMemTop), becomes(246),
        becomes(256));
    contract.any(borderType, qorBorderConst, qorBorderRepl, qorBorderInMem);
  };
  if constexpr (sizeof...(Rest) == 3) {
    QORTEST_ARGUMENTS(contract, pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor, borderType, borderValue,
                      divisor, pBuffer);
    describe(pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor, borderType, borderValue, pBuffer);
    checkDivisor(contract, divisor, member == Pipeline::Unsigned);
  } else {
    QORTEST_ARGUMENTS(contract, pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor, borderType, borderValue,
                      pBuffer);
    describe(pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor, borderType, borderValue, pBuffer);
  }
  contract.run();
  // Bytes of a row beyond 31 bits are a step too small, whatever their low bits say.
  D* one[] = {row.data()};
  const PipelineKernel<Tap> kernel{{Tap{1}}};
  GuardedImage<T> wide({1, 1}, {.channels = channels});
  if constexpr (sizeof...(Rest) == 3 && channels == 1) {
    EXPECT_EQ(
        operation(wide.data(), 64, one, {INT_MAX, 1}, kernel.taps.data(), 1, 0, qorBorderRepl, 0, 1, noAccess<Qor8u>()),
        qorStsStepErr);
  }
}

template <class T, class Tap, class D, class... Rest>
void testColumns(const char* name, ColumnOperation<T, Tap, D, Rest...> operation, SizeQuery query, Pipeline member,
                 int channels) {
  sweep(name, sizes, [&](Case& c) {
    const PipelineKernel<Tap> kernel = randomKernel<Tap>(c);
    const int K = kernel.size();
    auto src = c.image<T>({c.size.width, c.size.height + K - 1}, channels);
    src.protect();
    const auto dst = c.output<D>(channels);
    // Entries of the array need not be distinct.
    std::vector<const T*> pointers;
    for (int y = 0; y < c.size.height + K - 1; ++y)
      pointers.push_back(&src.at(0, c.random.oneIn(4) ? c.random.below(src.size().height) : y));
    const GuardedBytes rows = guarded(pointers), taps = guarded(kernel.taps);
    const auto scratch = c.scratch(scratchSize(query, c.size, K));
    EXPECT_EQ(callColumns(operation, rows.as<const T*>(), dst, kernel, taps.as<Tap>(), scratch.data()), qorStsNoErr);
    expectSame(dst, referenceColumns<D>(member, pointers.data(), c.size, channels, kernel));
  });

  Contract contract(name, operation);
  std::vector<T> row(64);
  const std::vector<const T*> good(16, row.data());
  std::vector<const T*> bad = good;
  const auto describe = [&](auto ppSrc, auto pDst, auto dstStep, auto roiSize, auto pKernel, auto kernelSize,
                            auto pBuffer) {
    contract.set(ppSrc, good.data());
    contract.set(kernelSize, 4);
    contract.null(ppSrc, pDst, pKernel);
    checkSizeAndRows(contract, roiSize, ppSrc, good, bad,
                     [=, &contract] { return int64_t{contract[roiSize].height} + contract[kernelSize] - 1; });
    contract.range(kernelSize, qorStsSizeErr, 1, INT_MAX);
    // Three channels of low precision ask for one channel's bytes.
    contract.step(sizeof(D) * static_cast<size_t>(member == Pipeline::Low ? 1 : channels), dstStep);
    contract.even(sizeof(D), dstStep);
    contract.null(pBuffer);
  };
  if constexpr (sizeof...(Rest) == 2) {
    QORTEST_ARGUMENTS(contract, ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, divisor, pBuffer);
    describe(ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, pBuffer);
    checkDivisor(contract, divisor, false);
  } else {
    QORTEST_ARGUMENTS(contract, ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, pBuffer);
    describe(ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, pBuffer);
  }
  contract.run();
}

// The bands of a team, each with its own scratch, against one thread: 33 threads, and fewer rows than threads.
template <class Run>
void compareTeams(const char* name, Run run) {
  const auto compare = [&](int threads, QoriSize size) {
    setCase("%s %dx%d with %d threads", name, size.width, size.height, threads);
    const ThreadCount many(threads);
    const auto got = run(size);
    const ThreadCount one(1);
    expectSame(got, run(size).pixels());
  };
  compare(33, {2049, 530});
  compare(3, {49160, 2});
}

template <class T, class Tap, class D, class... Rest>
void testRowTeams(const char* name, RowOperation<T, Tap, D, Rest...> operation, SizeQuery query) {
  constexpr int channels = channelsOf<Rest...>;
  const PipelineKernel<Tap> kernel{{1, 2, 3, 4, 3, 2, 1}, 2, 16};
  compareTeams(name, [&](QoriSize size) {
    GuardedImage<T> src(size, {.channels = channels});
    src.generate([](int x, int y, int ch) { return static_cast<T>(x * 7 + y * 31 + ch + x / 100); });
    GuardedImage<D> dst(size, {.channels = channels});
    std::vector<D*> rows;
    for (int y = 0; y < size.height; ++y) rows.push_back(&dst.at(0, y));
    const T value[3] = {};
    const GuardedBytes scratch(scratchSize(query, size, kernel.size()), 1);
    EXPECT_EQ(callRows(operation, src, rows.data(), kernel, kernel.taps.data(), qorBorderRepl, value, scratch.data()),
              qorStsNoErr);
    return dst;
  });
}

template <class T, class Tap, class D, class... Rest>
void testColumnTeams(const char* name, ColumnOperation<T, Tap, D, Rest...> operation, SizeQuery query, int channels) {
  const PipelineKernel<Tap> kernel{{1, 2, 3, 4, 3, 2, 1}, 0, 16};
  compareTeams(name, [&](QoriSize size) {
    GuardedImage<T> src({size.width, size.height + kernel.size() - 1}, {.channels = channels});
    src.generate([](int x, int y, int ch) { return static_cast<T>(x * 7 + y * 31 + ch + x / 100); });
    GuardedImage<D> dst(size, {.channels = channels});
    std::vector<const T*> rows;
    for (int y = 0; y < src.size().height; ++y) rows.push_back(&src.at(0, y));
    const GuardedBytes scratch(scratchSize(query, size, kernel.size()), 1);
    EXPECT_EQ(callColumns(operation, rows.data(), dst, kernel, kernel.taps.data(), scratch.data()), qorStsNoErr);
    return dst;
  });
}

TEST(Pipeline, Rows) {
  constexpr auto RowOfBytes = Pipeline::Bytes, RowOfSigned = Pipeline::Signed, RowOfUnsigned = Pipeline::Unsigned,
                 RowOfLow = Pipeline::Low;
#define QOR_ROW_PIPELINE_C1(name, sizeName, T, Tap, D, Arithmetic)                \
  testRows<T, Tap, D, T, int, Qor8u*>(QORTEST_NAMED(name), sizeName, Arithmetic); \
  testRowTeams<T, Tap, D, T, int, Qor8u*>(QORTEST_NAMED(name), sizeName);
#define QOR_ROW_PIPELINE_C3(name, sizeName, T, Tap, D, Arithmetic)                       \
  testRows<T, Tap, D, const T*, int, Qor8u*>(QORTEST_NAMED(name), sizeName, Arithmetic); \
  testRowTeams<T, Tap, D, const T*, int, Qor8u*>(QORTEST_NAMED(name), sizeName);
#define QOR_ROW_PIPELINE_32F_C1(name, sizeName)                                                      \
  testRows<Qor32f, Qor32f, Qor32f, Qor32f, Qor8u*>(QORTEST_NAMED(name), sizeName, Pipeline::Floats); \
  testRowTeams<Qor32f, Qor32f, Qor32f, Qor32f, Qor8u*>(QORTEST_NAMED(name), sizeName);
#define QOR_ROW_PIPELINE_32F_C3(name, sizeName)                                                             \
  testRows<Qor32f, Qor32f, Qor32f, const Qor32f*, Qor8u*>(QORTEST_NAMED(name), sizeName, Pipeline::Floats); \
  testRowTeams<Qor32f, Qor32f, Qor32f, const Qor32f*, Qor8u*>(QORTEST_NAMED(name), sizeName);
#include "../../src/filter/row_pipeline.def"
}

TEST(Pipeline, Columns) {
  constexpr auto ColumnOfSigned = Pipeline::Signed, ColumnOfUnsigned = Pipeline::Unsigned, ColumnOfLow = Pipeline::Low;
#define QOR_COLUMN_PIPELINE(name, sizeName, T, Tap, D, channels, Arithmetic)                \
  testColumns<T, Tap, D, int, Qor8u*>(QORTEST_NAMED(name), sizeName, Arithmetic, channels); \
  testColumnTeams<T, Tap, D, int, Qor8u*>(QORTEST_NAMED(name), sizeName, channels);
#define QOR_COLUMN_PIPELINE_32F(name, sizeName, channels) \
  testColumns<Qor32f, Qor32f, Qor32f, Qor8u*>(QORTEST_NAMED(name), sizeName, Pipeline::Floats, channels);
#include "../../src/filter/column_pipeline.def"
}

// The reported bytes, and the checks of a query.
void testQuery(const char* name, SizeQuery query, const std::function<int64_t(int64_t T, int64_t W, int64_t K)>& piece,
               bool threads = true, bool extra = false) {
  for (const int T : threadCounts) {
    const ThreadCount count(T);
    for (const auto& [W, H, K] : {std::array{1, 1, 1}, {641, 479, 5}, {0x10003, 0x7fff, 31}, {INT_MAX, 3, INT_MAX}}) {
      const int64_t lists = threads ? T * (32 + 8 * (int64_t{H} + K)) + (extra ? 16 * T : 0) : 0;
      EXPECT_EQ(scratchSize(query, {W, H}, K), static_cast<int>(lists + piece(T, W, K))) << name << " at " << W;
    }
  }
  Contract contract(name, query);
  QORTEST_ARGUMENTS(contract, roiSize, kernelSize, pBufferSize);
  contract.null(pBufferSize);
  contract.size(roiSize);
  contract.range(kernelSize, qorStsSizeErr, 1, INT_MAX);
  contract.run();
}

TEST(Pipeline, ScratchSizes) {
  const auto linear = [](int64_t perTap, int64_t fixed) {
    return [=](int64_t T, int64_t, int64_t K) { return T * (perTap * K + fixed); };
  };
#define ROW(tag) QORTEST_NAMED(qoriFilterRowBorderPipelineGetBufferSize_##tag)
  testQuery(ROW(8u16s_C1R), linear(36, 112));
  testQuery(ROW(8u16s_C3R), linear(60, 112));
  testQuery(ROW(16s_C1R), linear(48, 80));
  testQuery(ROW(16s_C3R), linear(40, 64));
  testQuery(ROW(32f_C1R), linear(64, 64), true, true);
  testQuery(ROW(32f_C3R), linear(192, 64));
  testQuery(ROW(Low_16s_C1R), linear(24, 64));
  testQuery(ROW(Low_16s_C3R), linear(208, 64));
  testQuery(
      ROW(16u_C1R), [](int64_t, int64_t, int64_t K) { return 48 * K + 80; }, false);
  testQuery(
      ROW(16u_C3R), [](int64_t, int64_t, int64_t K) { return 112 * K + 80; }, false);

  const auto columns = [](int64_t perColumn, int64_t multiple) {
    return [=](int64_t T, int64_t W, int64_t) {
      return T * (perColumn * ((W + multiple - 1) / multiple * multiple) + 32);
    };
  };
  const auto taps = [](int64_t, int64_t, int64_t K) { return 16 * K + 32; };
#define COLUMN(tag) QORTEST_NAMED(qoriFilterColumnPipelineGetBufferSize_##tag)
  testQuery(COLUMN(16s_C1R), columns(12, 4));
  testQuery(COLUMN(16s8u_C1R), columns(12, 4));
  testQuery(COLUMN(16s8s_C1R), columns(12, 4));
  testQuery(COLUMN(16s_C3R), columns(36, 4));
  testQuery(COLUMN(16s8u_C3R), columns(36, 4));
  testQuery(COLUMN(16s8s_C3R), columns(36, 4));
  testQuery(COLUMN(Low_16s_C1R), columns(12, 8));
  testQuery(COLUMN(Low_16s_C3R), columns(36, 8));
  testQuery(COLUMN(16u_C1R), taps, false);
  testQuery(COLUMN(32f_C1R), taps, false);
  testQuery(COLUMN(32f_C3R), taps, false);
  testQuery(
      COLUMN(16u_C3R), [](int64_t, int64_t W, int64_t) { return 36 * ((3 * W + 3) / 4 * 4) + 32; }, false);
}

// Results that can be checked on paper.
TEST(Pipeline, RoundsInsideAndTruncatesAtTheEdges) {
  const Qor8u src[] = {1, 1, 1, 1, 1};
  Qor16s dst[5], *rows[] = {dst};
  Qor16s taps[] = {1, 1, 1};
  std::vector<Qor8u> scratch(8192);
  EXPECT_EQ(
      qoriFilterRowBorderPipeline_8u16s_C1R(src, 5, rows, {5, 1}, taps, 3, 1, qorBorderRepl, 0, 2, scratch.data()), 0);
  EXPECT_EQ(std::vector<Qor16s>(dst, dst + 5), (std::vector<Qor16s>{1, 2, 2, 2, 1}));
  // 131070 / 4 lies half a step above the top of 16 bits.
  const Qor16s peaks[] = {-32768, 32767, -32768, 32767, -32768};
  const Qor16s edge[] = {-1, 2, -1};
  EXPECT_EQ(
      qoriFilterRowBorderPipeline_16s_C1R(peaks, 10, rows, {5, 1}, edge, 3, 1, qorBorderRepl, 0, 4, scratch.data()), 0);
  EXPECT_EQ(std::vector<Qor16s>(dst + 1, dst + 4), (std::vector<Qor16s>{32767, -32768, 32767}));
  // A sum of 60000 wraps inside and has 32 bits at the edge.
  const Qor16s words[] = {200, 200, 200};
  for (Qor16s& tap : taps) tap = 100;
  EXPECT_EQ(
      qoriFilterRowBorderPipeline_Low_16s_C1R(words, 6, rows, {3, 1}, taps, 3, 1, qorBorderRepl, 0, 2, scratch.data()),
      0);
  EXPECT_EQ(std::vector<Qor16s>(dst, dst + 3), (std::vector<Qor16s>{30000, -2768, 30000}));
}

}  // namespace
