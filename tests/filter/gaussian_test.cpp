#include <array>

#include "filter/pipeline_reference.h"
#include "qorcv/filter.h"

namespace {
using namespace qortest;

constexpr int top = qorBorderInMemTop, bottom = qorBorderInMemBottom, left = qorBorderInMemLeft,
              right = qorBorderInMemRight;
constexpr int tapsAt = 32;

template <class T>
struct Traits;
template <>
struct Traits<Qor8u> {
  using Row = Qor16s;
  static constexpr QorDataType type = qor8u;
  static constexpr int shift = 12;
  static constexpr Pipeline rows = Pipeline::Bytes, columns = Pipeline::Signed;
};
template <>
struct Traits<Qor16s> {
  using Row = Qor16s;
  static constexpr QorDataType type = qor16s;
  static constexpr int shift = 15;
  static constexpr Pipeline rows = Pipeline::Signed, columns = Pipeline::Signed;
};
template <>
struct Traits<Qor16u> {
  using Row = Qor16u;
  static constexpr QorDataType type = qor16u;
  static constexpr int shift = 15;
  static constexpr Pipeline rows = Pipeline::Unsigned, columns = Pipeline::Unsigned;
};
template <>
struct Traits<Qor32f> {
  using Row = Qor32f;
  static constexpr QorDataType type = qor32f;
  static constexpr int shift = 0;
  static constexpr Pipeline rows = Pipeline::Floats, columns = Pipeline::Floats;
};

template <class T, int channels>
using Value = std::conditional_t<channels == 1, T, const T*>;
template <class T, int channels>
using Operation = QorStatus (*)(const T*, int, T*, int, QoriSize, Value<T, channels>, const QoriFilterGaussianSpec*,
                                Qor8u*);

struct Sizes {
  int spec = -1, buffer = -1;
};

template <class T>
Sizes sizesFor(QoriSize size, int K, int channels) {
  Sizes s;
  EXPECT_EQ(qoriFilterGaussianGetBufferSize(size, K, Traits<T>::type, channels, &s.spec, &s.buffer), qorStsNoErr);
  return s;
}

// A record of exactly the reported size.
template <class T>
GuardedBytes record(QoriSize size, int K, Qor32f sigma, QoriBorderType border, int channels, int offset = 0) {
  const Sizes s = sizesFor<T>(size, K, channels);
  GuardedBytes block(s.spec, offset);
  EXPECT_EQ(qoriFilterGaussianInit(size, K, sigma, border, Traits<T>::type, channels,
                                   block.as<QoriFilterGaussianSpec>(), noAccess<Qor8u>()),
            qorStsNoErr);
  return block;
}

template <class Tap>
Tap tapAt(const GuardedBytes& spec, int i) {
  Tap tap;
  memcpy(&tap, spec.data() + tapsAt + (sizeof(Tap) == 4 ? 4 * i : i) * static_cast<int>(sizeof(Tap)), sizeof tap);
  return tap;
}

template <class T>
PipelineKernel<typename Traits<T>::Row> kernelOf(const GuardedBytes& spec, int K) {
  PipelineKernel<typename Traits<T>::Row> kernel{{}, K / 2, 1 << Traits<T>::shift};
  for (int i = 0; i < K; ++i) kernel.taps.push_back(tapAt<typename Traits<T>::Row>(spec, i));
  return kernel;
}

// The position that stands for one outside 0 .. n - 1, found step by step.
int inside(QoriBorderType rule, int at, int n) {
  if (rule == qorBorderRepl) return std::clamp(at, 0, n - 1);
  while (at < 0 || at >= n) {
    if (rule == qorBorderWrap) {
      at += at < 0 ? n : -n;
    } else if (rule == qorBorderMirror && n > 1) {
      at = at < 0 ? -at : 2 * (n - 1) - at;
    } else {
      at = at < 0 ? -1 - at : 2 * n - 1 - at;
    }
  }
  return at;
}

struct Sides {
  bool above, below;
};

Sides memorySides(QoriBorderType border, int height) {
  const bool all = (border & 15) == qorBorderInMem, none = height == 1 && (border & 15) != qorBorderConst;
  return {!none && (all || (border & top) != 0), !none && (all || (border & bottom) != 0)};
}

// The pixels around the region that may be read: nothing else is there.
Margin marginFor(QoriBorderType border, int height, int reach) {
  const Sides memory = memorySides(border, height);
  const int across = (border & 15) == qorBorderInMem ? reach : 0;
  return {across, memory.above ? reach : 0, across, memory.below ? reach : 0};
}

template <class T>
Image<T> reference(const GuardedImage<T>& src, const PipelineKernel<typename Traits<T>::Row>& kernel,
                   QoriBorderType border, const T* value) {
  using Row = typename Traits<T>::Row;
  const int width = src.size().width, height = src.size().height, channels = src.channels();
  const int K = kernel.size(), reach = K / 2;
  const QoriBorderType rule = border & 15;
  const Sides memory = memorySides(border, height);
  const PipelineReference<T, Row> filter(Traits<T>::rows, kernel, channels);
  Image<Row> rows({width, height + K - 1}, channels);
  UnderTaps<T> under(static_cast<size_t>(K));
  std::vector<const Row*> pointers;
  for (int i = 0; i < height + K - 1; ++i) {
    const int y = i - reach;
    const bool isOutside = y < 0 || y >= height, isRead = !isOutside || (y < 0 ? memory.above : memory.below);
    const int from = isRead ? y
                            : inside(height == 1              ? qorBorderRepl
                                     : rule == qorBorderConst ? qorBorderRepl
                                                              : rule,
                                     y, height);
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        if (!isRead && rule == qorBorderConst) {
          rows.at(x, i, c) = value[c];
          continue;
        }
        for (int k = 0; k < K; ++k) {
          const int at = x - reach + k;
          const bool known = (at >= 0 && at < width) || rule == qorBorderInMem;
          under[static_cast<size_t>(k)] = known                    ? src.at(at, from, c)
                                          : rule == qorBorderConst ? value[c]
                                                                   : src.at(inside(rule, at, width), from, c);
        }
        rows.at(x, i, c) = filter.template row<Row>(under, x >= reach && x < width - reach, width, rule);
      }
    }
    pointers.push_back(&rows.at(0, i));
  }
  return referenceColumns<T>(Traits<T>::columns, pointers.data(), src.size(), channels, kernel);
}

// Around blocks of 4, 8 and 16, narrower and lower than the kernels; and one whose columns are filtered in strips.
const Sweep sizes{.widths = {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 15, 16, 17, 19, 20, 23, 31, 33, 40},
                  .heights = {1, 2, 3, 4, 7, 8, 15, 16, 40},
                  .thresholds = {{431, 33}},
                  .variants = 2};

constexpr int lengths[] = {3, 3, 5, 5, 7, 9, 15, 31};
int lengthFor(Case& c) { return c.size.width > 100 ? 31 : lengths[c.random.below(8)]; }
constexpr Qor32f sigmas[] = {1e-30F, 0.3F, 0.8F, 1.0F, 1.7F, 4.0F, 1e30F};

template <class T>
std::array<T, 3> values(Case& c) {
  std::array<T, 3> v;
  Maker<T> maker(Data::Random, c.random.bits());
  for (T& one : v) one = maker(0, 0, 0);
  return v;
}

template <class T, int channels>
void testMember(const char* name, Operation<T, channels> operation) {
  const auto call = [&](const GuardedImage<T>& src, const GuardedImage<T>& dst, const T* value,
                        const GuardedBytes& spec, Qor8u* buffer) {
    const auto with = [&](auto v) {
      return operation(src.data(), src.step(), dst.data(), dst.step(), src.size(), v,
                       spec.template as<QoriFilterGaussianSpec>(), buffer);
    };
    if constexpr (channels == 3) return with(value);
    if constexpr (channels == 1) return with(*value);
  };

  // In place in every second case, with a record that was copied to another alignment.
  sweep(name, sizes, [&](Case& c) {
    const int K = lengthFor(c);
    const Qor32f sigma = sigmas[c.random.below(7)];
    constexpr QoriBorderType rules[] = {qorBorderConst, qorBorderRepl, qorBorderInMem};
    const QoriBorderType border = rules[c.random.below(3)] | (c.random.oneIn(2) ? c.random.below(16) << 4 : 0);
    appendCase(" K %d sigma %g border %d", K, static_cast<double>(sigma), border);
    auto src = c.image<T>(channels, marginFor(border, c.size.height, K / 2)), fresh = c.output<T>(channels);
    auto& dst = c.variant == 0 ? fresh : src;
    const auto value = values<T>(c);
    // Made for another region.
    const GuardedBytes made = record<T>({1000, 1}, K, sigma, border, 4 - channels);
    const Sizes s = sizesFor<T>(c.size, K, channels);
    GuardedBytes spec(s.spec, c.random.below(16));
    memcpy(spec.data(), made.data(), static_cast<size_t>(s.spec));
    // Taps of a caller's own: not the same on both sides, and with a sum that makes more of bytes than bytes.
    if (c.random.oneIn(8)) spec.data()[tapsAt + 1] = static_cast<Qor8u>(c.random.below(20));
    spec.protect();
    const GuardedBytes buffer = c.scratch(s.buffer);
    const Image<T> want = reference(src, kernelOf<T>(spec, K), border, value.data());
    protectSources(dst, src);
    EXPECT_EQ(call(src, dst, value.data(), spec, buffer.data()), qorStsNoErr);
    expectSame(dst, want);
  });

  // Wide bands go parallel; 33 threads are more than their rows.
  const auto run = [&](int threads, QoriSize size, int K) {
    const ThreadCount count(threads);
    GuardedImage<T> src(size, {.channels = channels}), dst(size, {.channels = channels});
    src.generate([](int x, int y, int ch) { return static_cast<T>(x * 7 + y * 31 + ch + x / 100); });
    const GuardedBytes spec = record<T>(size, K, 5, qorBorderRepl, channels);
    const GuardedBytes buffer(sizesFor<T>(size, K, channels).buffer, 1);
    const T value[3] = {};
    EXPECT_EQ(call(src, dst, value, spec, buffer.data()), qorStsNoErr);
    return dst;
  };
  for (const auto& [threads, width, K] : {std::array{2, 2115, 31}, {33, 360500, 3}}) {
    if (threads > 2 && channels > 1) continue;
    setCase("%s, width %d with %d threads", name, width, threads);
    const QoriSize size{width, K + 1};
    expectSame(run(threads, size, K), run(1, size, K).pixels());
  }
}

TEST(Gaussian, Members) {
#define QOR_GAUSSIAN(name, T, channels, ...) testMember<T, channels>(QORTEST_NAMED(name));
#include "../../src/filter/gaussian.def"
#undef QOR_GAUSSIAN
}

TEST(Gaussian, FloatsInOneCall) {
  Sweep options = sizes;
  options.variants = 5;
  sweep("qoriFilterGaussBorder_32f_C1R", options, [&](Case& c) {
    const int K = lengthFor(c);
    const Qor32f sigma = c.random.oneIn(8) ? -sigmas[c.random.below(7)] : sigmas[c.random.below(7)];
    const QoriBorderType border = c.variant | (c.random.oneIn(2) ? c.random.below(4) << 4 : 0);
    appendCase(" K %d sigma %g border %d", K, static_cast<double>(sigma), border);
    auto src = c.image<Qor32f>(1, marginFor(border, c.size.height, K / 2)), fresh = c.output<Qor32f>();
    auto& dst = c.variant == qorBorderWrap || c.random.oneIn(2) ? fresh : src;
    const auto value = values<Qor32f>(c);
    int size = -1;
    EXPECT_EQ(qoriFilterGaussGetBufferSize_32f_C1R(c.size, K, &size), qorStsNoErr);
    const GuardedBytes buffer = c.scratch(size);
    const auto kernel = kernelOf<Qor32f>(record<Qor32f>(c.size, K, fabsf(sigma), 0, 1), K);
    const Image<Qor32f> want = reference(src, kernel, border, value.data());
    protectSources(dst, src);
    EXPECT_EQ(qoriFilterGaussBorder_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), c.size, K, sigma, border,
                                            value[0], buffer.data()),
              qorStsNoErr);
    expectSame(dst, want);
  });
}

// Strips of the full width, each with its neighbours in memory, give what the whole image gives.
TEST(Gaussian, StripsEqualTheWhole) {
  Random random(baseSeed());
  const QoriSize size{77, 90};
  for (const int K : {3, 5, 9, 15}) {
    GuardedImage<Qor8u> src(size), whole(size), strips(size);
    src.generate(Maker<Qor8u>(Data::Random, random.bits()));
    const GuardedBytes buffer(sizesFor<Qor8u>(size, K, 1).buffer);
    const auto filter = [&](GuardedImage<Qor8u>& dst, int from, int rows, QoriBorderType border) {
      const GuardedBytes spec = record<Qor8u>(size, K, 1.5F, border, 1);
      EXPECT_EQ(
          qoriFilterGaussianBorder_8u_C1R(&src.at(0, from), src.step(), &dst.at(0, from), dst.step(),
                                          {size.width, rows}, 0, spec.as<QoriFilterGaussianSpec>(), buffer.data()),
          qorStsNoErr);
    };
    filter(whole, 0, size.height, qorBorderRepl);
    // Two rows or more: a single one replicates.
    for (int y = 0; y < size.height;) {
      const int rows = size.height - y < 40 ? size.height - y : std::max(K / 2, random.between(2, 30));
      filter(strips, y, rows, qorBorderRepl | (y > 0 ? top : 0) | (y + rows < size.height ? bottom : 0));
      y += rows;
    }
    setCase("strips, K %d", K);
    expectSame(strips, whole.pixels());
  }
}

// ---- taps and record

// Against the definition in double. The exponent has an error of 2^-23 of its value, which is at most 104 where the tap
// is not 0, and the sum of K floats one of K * 2^-24; integer taps are rounded.
template <class T>
void testTaps(int K, Qor32f sigma) {
  using Tap = typename Traits<T>::Row;
  setCase("type %d, K %d, sigma %g", Traits<T>::type, K, static_cast<double>(sigma));
  const GuardedBytes spec = record<T>({5, 5}, K, sigma, qorBorderInMem | right, 1, 3);
  int header[5];
  memcpy(header, spec.data(), sizeof header);
  EXPECT_EQ(std::vector<int>(header, header + 5),
            (std::vector<int>{K, 20, Traits<T>::type, qorBorderInMem | right, Traits<T>::shift}))
      << currentCase();
  std::vector<double> bell;
  double sum = 0;
  for (int i = 0; i < K; ++i) {
    const double s = static_cast<double>(sigma), x = i - K / 2;
    bell.push_back(x == 0 ? 1 : exp(-x * x / (2 * s * s)));
    sum += bell.back();
  }
  const double scale = 1 << Traits<T>::shift;
  for (int i = 0; i < K; ++i) {
    const double want = bell[static_cast<size_t>(i)] / sum * scale;
    double got = static_cast<double>(tapAt<Tap>(spec, i));
    if (Traits<T>::type == qor16s && got < 0) got += 65536;
    const double bound = Traits<T>::shift > 0 ? 0.501 : want * (104 * 0x1p-23 + K * 0x1p-24) + 0x1p-149;
    EXPECT_NEAR(got, want, bound) << "tap " << i << ", " << currentCase();
    EXPECT_EQ(tapAt<Tap>(spec, K - 1 - i), tapAt<Tap>(spec, i)) << currentCase();
    if constexpr (std::is_same_v<T, Qor32f>) {
      for (int lane = 1; lane < 4; ++lane)
        EXPECT_EQ(memcmp(spec.data() + tapsAt + 16 * i, spec.data() + tapsAt + 16 * i + 4 * lane, 4), 0);
    }
  }
}

TEST(Gaussian, Taps) {
  // Squares that vanish or overflow in float among them.
  for (const int K : {3, 5, 7, 15, 31, 101}) {
    for (const Qor32f sigma :
         {1e-45F, 1e-30F, 1e-3F, 0.1F, 0.31F, 0.5F, 0.8F, 1.0F, 1.5F, 2.7F, 10.0F, 1e4F, 2e19F, 3e38F, INFINITY}) {
      testTaps<Qor8u>(K, sigma);
      testTaps<Qor16u>(K, sigma);
      testTaps<Qor16s>(K, sigma);
      testTaps<Qor32f>(K, sigma);
    }
  }
  // On paper: e^-0.5, 1, e^-0.5, whose rounded shares add up to 4097; a flat image stays as it is.
  const GuardedBytes spec = record<Qor8u>({40, 40}, 3, 1, qorBorderRepl, 1);
  EXPECT_EQ(kernelOf<Qor8u>(spec, 3).taps, (std::vector<Qor16s>{1123, 1851, 1123}));
  GuardedImage<Qor8u> flat({40, 40}), dst({40, 40});
  flat.generate([](int, int, int) { return Qor8u{200}; });
  const GuardedBytes buffer(sizesFor<Qor8u>({40, 40}, 3, 1).buffer);
  EXPECT_EQ(qoriFilterGaussianBorder_8u_C1R(flat.data(), flat.step(), dst.data(), dst.step(), {40, 40}, 0,
                                            spec.as<QoriFilterGaussianSpec>(), buffer.data()),
            qorStsNoErr);
  expectSame(dst, flat.pixels());
  // The wrapped tap.
  EXPECT_EQ(tapAt<Qor16s>(record<Qor16s>({1, 1}, 3, 1e-3F, qorBorderRepl, 1), 1), -32768);
}

// ---- sizes

uint64_t up(uint64_t n, uint64_t multiple) { return (n + multiple - 1) / multiple * multiple; }

// What is reported of a size: its low 32 bits.
int low(uint64_t bytes) { return static_cast<int>(static_cast<uint32_t>(bytes)); }

using Query = QorStatus (*)(QoriSize, int, int*);

int reported(Query query, int width, int height, int K) {
  int bytes = -1;
  EXPECT_EQ(query({width, height}, K, &bytes), qorStsNoErr);
  return bytes;
}

template <class T>
void testSizes(const char* name, unsigned channels, Query rowSize, Query columnSize) {
  constexpr int sizes[][3] = {{1, 1, 3}, {641, 479, 15}, {17, 4, 5}, {100003, 90001, 31}, {INT_MAX, INT_MAX, INT_MAX}};
  for (const int threads : {1, 33}) {
    const ThreadCount count(threads);
    for (const auto& [width, height, k] : sizes) {
      const int rows = std::min(height, k);
      const auto W = static_cast<uint64_t>(width), H = static_cast<uint64_t>(height), K = static_cast<uint64_t>(k),
                 m = static_cast<uint64_t>(rows), w = up((W + K) * channels, 8);
      const auto both = [&](int of) {
        return static_cast<uint64_t>(reported(rowSize, width, of, k)) +
               static_cast<uint64_t>(reported(columnSize, width, of, k));
      };
      const Sizes s = sizesFor<T>({width, height}, k, static_cast<int>(channels));
      if (Traits<T>::type == qor32f) {
        EXPECT_EQ(s.spec, low(16 * K + 32)) << name;
        EXPECT_EQ(s.buffer, low(4 * K * w + 32 + 4 * (m + K) * w + 64 + both(rows) + 64 + 8 * (m + K) + 32)) << name;
      } else {
        const uint64_t border = up((W + K - 1) * channels, 8) * (K - 1) + 16;
        EXPECT_EQ(s.spec, low(8 * K + 36)) << name;
        EXPECT_EQ(s.buffer, low(2 * (m + K) * w + 64 + 2 * border + both(rows) + 64 + 8 * (H + K) + 32)) << name;
      }
      if (Traits<T>::type != qor32f || channels != 1) continue;
      const uint64_t n = W + K, a = 16 * ((n + 3) / 4), b = 32 * ((n + 7) / 8);
      EXPECT_EQ(reported(qoriFilterGaussGetBufferSize_32f_C1R, width, height, k),
                low(16 * ((K + 3) / 4) + 32 + 2 * (b / 2 * K) + 2 * K * a + 64 + both(k) + 64 + 16 * K + 32));
    }
  }
}

TEST(Gaussian, Sizes) {
#define QOR_GAUSSIAN(name, T, channels, type, row, column, rowSize, columnSize) \
  testSizes<T>(#name, channels, rowSize, columnSize);
#include "../../src/filter/gaussian.def"
#undef QOR_GAUSSIAN
}

// ---- contract

// An odd number, at least 3.
template <class C, class At>
void lengthLine(C& c, At kernelSize) {
  c.any(kernelSize, 3, 5, 31);
  c.check(
      "kernel size", qorStsBadArgErr, [&c, kernelSize] { return c[kernelSize] < 3 || c[kernelSize] % 2 == 0; },
      [&c, kernelSize] { c[kernelSize] = 1; }, [&c, kernelSize] { c[kernelSize] = 4; },
      [&c, kernelSize] { c[kernelSize] = 0; }, [&c, kernelSize] { c[kernelSize] = -3; },
      [&c, kernelSize] { c[kernelSize] = INT_MIN; });
}

TEST(Gaussian, ContractOfRecords) {
  const auto enumerations = [](auto& c, auto dataType, auto numChannels) {
    c.oneOf(dataType, qorStsDataTypeErr, qor8u, qor16u, qor16s, qor32f);
    c.oneOf(numChannels, qorStsNumChannelsErr, 1, 3);
  };
  {
    Contract c(QORTEST_NAMED(qoriFilterGaussianGetBufferSize));
    QORTEST_ARGUMENTS(c, roiSize, kernelSize, dataType, numChannels, pSpecSize, pBufferSize);
    c.null(pSpecSize, pBufferSize);
    c.size(roiSize);
    lengthLine(c, kernelSize);
    enumerations(c, dataType, numChannels);
    c.run();
  }
  {
    Contract c(QORTEST_NAMED(qoriFilterGaussGetBufferSize_32f_C1R));
    QORTEST_ARGUMENTS(c, roiSize, kernelSize, pBufferSize);
    c.null(pBufferSize);
    c.size(roiSize);
    lengthLine(c, kernelSize);
    c.run();
  }
  Contract c(QORTEST_NAMED(qoriFilterGaussianInit));
  QORTEST_ARGUMENTS(c, roiSize, kernelSize, sigma, borderType, dataType, numChannels, pSpec, pBuffer);
  c.null(pSpec, pBuffer);
  c.size(roiSize);
  lengthLine(c, kernelSize);
  enumerations(c, dataType, numChannels);
  c.any(sigma, 1.0F, 1e-40F, INFINITY);
  c.check(
      "sigma", qorStsBadArgErr, [&] { return !(c[sigma] > 0); }, [&] { c[sigma] = 0; }, [&] { c[sigma] = -1; },
      [&] { c[sigma] = NAN; });
  c.any(borderType, qorBorderConst, qorBorderRepl, qorBorderInMem, qorBorderInMem | 240, qorBorderRepl | left);
  c.check(
      "border", qorStsBorderErr,
      [&] {
        const int rule = c[borderType] & ~240;
        return rule != 0 && rule != 1 && rule != 6;
      },
      [&] { c[borderType] = 2; }, [&] { c[borderType] = 7; }, [&] { c[borderType] = 256; },
      [&] { c[borderType] = 241 + 256; }, [&] { c[borderType] = -1; }, [&] { c[borderType] = INT_MIN; });
  c.run();
}

template <class T, int channels>
void testContract(const char* name, Operation<T, channels> operation) {
  const int type = Traits<T>::type, shift = Traits<T>::shift;
  const GuardedBytes good = record<T>({17, 5}, 3, 1, qorBorderRepl, channels);
  // Records with one fault, and with a later one beside it.
  std::vector<GuardedBytes> bad;
  const auto faulty = [&](int K, int border, int itsShift, int itsType) {
    const int header[] = {K, 20, itsType, border, itsShift};
    bad.emplace_back(static_cast<ptrdiff_t>(sizeof header));
    memcpy(bad.back().data(), header, sizeof header);
    return bad.back().as<const QoriFilterGaussianSpec>();
  };
  const int other = type == qor8u ? qor16s : qor8u;
  const std::vector<const QoriFilterGaussianSpec*> lengthFaults = {
      faulty(1, 1, shift, type), faulty(4, 2, 31, other), faulty(-1, 1, shift, type), faulty(0, 256, shift, type)};
  const std::vector<const QoriFilterGaussianSpec*> borderFaults = {faulty(3, 2, shift, type), faulty(3, 257, 40, other),
                                                                   faulty(3, -1, shift, type)};
  const std::vector<const QoriFilterGaussianSpec*> shiftFaults = {faulty(3, 1, 31, type), faulty(3, 1, -1, other)};
  const std::vector<const QoriFilterGaussianSpec*> typeFaults = {faulty(3, 1, shift, other), faulty(3, 1, shift, 0)};

  Contract c(name, operation);
  QORTEST_ARGUMENTS(c, pSrc, srcStep, pDst, dstStep, roiSize, value, pSpec, pBuffer);
  c.null(pSrc, pDst, pSpec, pBuffer);
  if constexpr (channels == 3) c.null(value);
  if constexpr (channels == 1) c.any(value, T{0}, T{100});
  c.set(pSpec, good.as<QoriFilterGaussianSpec>());
  c.step(channels * sizeof(T), srcStep, dstStep);
  c.size(roiSize);
  const auto line = [&](const char* what, QorStatus status, const std::vector<const QoriFilterGaussianSpec*>& faults) {
    const auto fails = [&, faults] { return std::count(faults.begin(), faults.end(), c[pSpec]) != 0; };
    const auto violate = [&, faults](size_t i) {
      return [&, fault = faults[std::min(i, faults.size() - 1)]] { c[pSpec] = fault; };
    };
    c.check(what, status, fails, violate(0), violate(1), violate(2), violate(3));
  };
  line("record's kernel size", qorStsBadArgErr, lengthFaults);
  line("record's border", qorStsBorderErr, borderFaults);
  if (type != qor32f) line("record's shift", qorStsBadArgErr, shiftFaults);
  c.even(sizeof(T), srcStep, dstStep);
  line("record's type", qorStsDataTypeErr, typeFaults);
  c.run();
}

TEST(Gaussian, ContractOfFilters) {
#define QOR_GAUSSIAN(name, T, channels, ...) testContract<T, channels>(QORTEST_NAMED(name));
#include "../../src/filter/gaussian.def"
#undef QOR_GAUSSIAN
  Contract c(QORTEST_NAMED(qoriFilterGaussBorder_32f_C1R));
  QORTEST_ARGUMENTS(c, pSrc, srcStep, pDst, dstStep, roiSize, kernelSize, sigma, borderType, value, pBuffer);
  c.null(pSrc, pDst, pBuffer);
  c.size(roiSize);
  c.step(sizeof(Qor32f), srcStep, dstStep);
  lengthLine(c, kernelSize);
  c.any(sigma, 1.0F, 0.0F, -1.0F, NAN);
  c.any(borderType, 0, 1, 2, 3, 4, 3 | top, 1 | top | bottom);
  c.check(
      "border", qorStsBadArgErr, [&] { return (c[borderType] & ~48) < 0 || (c[borderType] & ~48) > 4; },
      [&] { c[borderType] = 5; }, [&] { c[borderType] = 6; }, [&] { c[borderType] = 1 | left; },
      [&] { c[borderType] = 256; }, [&] { c[borderType] = -1; });
  c.any(value, 0.0F, 5.0F);
  c.even(sizeof(Qor32f), srcStep, dstStep);
  c.run();
}

}  // namespace
