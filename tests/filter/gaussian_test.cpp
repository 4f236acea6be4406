#include <array>

#include "filter/pipeline_reference.h"
#include "qorcv/filter.h"

namespace {
using namespace qortest;

constexpr int top = qorBorderInMemTop, bottom = qorBorderInMemBottom, right = qorBorderInMemRight;
constexpr int tapsAt = 32;

template <class T>
struct Kind;
template <>
struct Kind<Qor8u> {
  using Row = Qor16s;
  static constexpr QorDataType type = qor8u;
  static constexpr int shift = 12;
  static constexpr Pipeline rows = Pipeline::Bytes, columns = Pipeline::Signed;
};
template <>
struct Kind<Qor16s> {
  using Row = Qor16s;
  static constexpr QorDataType type = qor16s;
  static constexpr int shift = 15;
  static constexpr Pipeline rows = Pipeline::Signed, columns = Pipeline::Signed;
};
template <>
struct Kind<Qor16u> {
  using Row = Qor16u;
  static constexpr QorDataType type = qor16u;
  static constexpr int shift = 15;
  static constexpr Pipeline rows = Pipeline::Unsigned, columns = Pipeline::Unsigned;
};
template <>
struct Kind<Qor32f> {
  using Row = Qor32f;
  static constexpr QorDataType type = qor32f;
  static constexpr int shift = 0;
  static constexpr Pipeline rows = Pipeline::Floats, columns = Pipeline::Floats;
};

struct Sizes {
  int spec = -1, buffer = -1;
};

Sizes sizesFor(QoriSize size, int K, QorDataType type, int channels) {
  Sizes s;
  EXPECT_EQ(qoriFilterGaussianGetBufferSize(size, K, type, channels, &s.spec, &s.buffer), qorStsNoErr);
  return s;
}

// A record of exactly the reported size.
template <class T>
GuardedBytes record(QoriSize size, int K, Qor32f sigma, QoriBorderType border, int channels, int offset = 0) {
  GuardedBytes block(sizesFor(size, K, Kind<T>::type, channels).spec, offset);
  EXPECT_EQ(qoriFilterGaussianInit(size, K, sigma, border, Kind<T>::type, channels, block.as<QoriFilterGaussianSpec>(),
                                   noAccess<Qor8u>()),
            qorStsNoErr);
  return block;
}

// Of a record at any address.
int word(const void* spec, int index) {
  int value;
  memcpy(&value, static_cast<const char*>(spec) + 4 * index, sizeof value);
  return value;
}
template <class Tap>
Tap tapAt(const void* spec, int i) {
  Tap tap;
  memcpy(&tap, static_cast<const char*>(spec) + tapsAt + (sizeof(Tap) == 4 ? 4 * i : i) * int(sizeof(Tap)), sizeof tap);
  return tap;
}
template <class T>
PipelineKernel<typename Kind<T>::Row> kernelIn(const void* spec) {
  const int K = word(spec, 0);
  PipelineKernel<typename Kind<T>::Row> kernel{{}, K / 2, 1 << Kind<T>::shift};
  for (int i = 0; i < K; ++i) kernel.taps.push_back(tapAt<typename Kind<T>::Row>(spec, i));
  return kernel;
}

// Left and right are in memory by the rule alone; a single row has no neighbours but under the constant.
Sides gaussianSides(QoriBorderType border, int height) {
  Sides in = memorySides(border);
  in.left = in.right = (border & 15) == qorBorderInMem;
  if (height == 1 && (border & 15) != qorBorderConst) in.top = in.bottom = false;
  return in;
}

template <class T>
void expectSmoothed(Call& c, const PipelineKernel<typename Kind<T>::Row>& kernel, QoriBorderType border) {
  using Row = typename Kind<T>::Row;
  const Image<T>& src = c.before<T>('s');
  const int K = kernel.size(), reach = K / 2, width = src.size.width, height = src.size.height;
  const QoriBorderType rule = border & 15;
  const Sides in = gaussianSides(border, height);
  Image<Row> rows({width, height + K - 1}, src.channels);
  std::vector<const Row*> pointers;
  const int vertical = height == 1 && rule != qorBorderConst ? int{qorBorderRepl} : rule;
  for (int i = 0; i < height + K - 1; ++i) {
    const int y = i - reach;
    const bool isRead = y < 0 ? in.top : y < height || in.bottom;
    const std::optional<int> from = isRead ? y : standIn(vertical, y, height);
    Image<T> row({width, 1}, src.channels, {reach, 0, reach, 0});
    for (int x = -reach; from && x < width + reach; ++x) {
      const auto at = place(rule, x, width, in.left, in.right);
      for (int k = 0; k < src.channels; ++k) row.at(x, 0, k) = at ? src.at(*at, *from, k) : c.borderValue<T>()[k];
    }
    // All sides are known now.
    const Image<Row> filtered = referenceRows<Row>(Kind<T>::rows, row, kernel, qorBorderInMem, row.samples.data());
    for (int x = 0; x < width; ++x)
      for (int k = 0; k < src.channels; ++k)
        rows.at(x, i, k) = from ? filtered.at(x, 0, k) : static_cast<Row>(c.borderValue<T>()[k]);
    pointers.push_back(&rows.at(0, i));
  }
  c.expect('d', referenceColumns<T>(Kind<T>::columns, pointers.data(), src.size, src.channels, kernel), Equal::Values);
}

// Around blocks of 4, 8 and 16, narrower and lower than the kernels; one whose columns are filtered in strips; and wide
// bands, which go parallel, with fewer rows than threads too.
const Sweep sizes{.widths = {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 15, 16, 17, 19, 20, 23, 31, 33, 40},
                  .heights = {1, 2, 3, 4, 7, 8, 15, 16, 40},
                  .thresholds = {{431, 33}, {22000, 4}},
                  .crowded = {{360500, 4}}};

// Bands of up to K rows go through the row pipeline, which shares those of 32768 pixels and more.
const std::vector<QoriSize> neverShared{{32767, 1}, {10922, 3}};

constexpr int lengths[] = {3, 3, 5, 5, 7, 9, 15, 31};
int lengthFor(Case& c) { return c.size.width > 1000 ? 3 : c.size.width > 100 ? 31 : lengths[c.random.below(8)]; }
constexpr Qor32f sigmas[] = {1e-30F, 0.3F, 0.8F, 1.0F, 1.7F, 4.0F, 1e30F};

// A record that was made for another region, number of channels and place.
template <class T>
void drawRecord(Call& call) {
  Case& c = call.c;
  const int K = lengthFor(c), channels = call.description.channels;
  const Qor32f sigma = sigmas[c.random.below(7)];
  const int border = anyBorder(c.random, {qorBorderConst, qorBorderRepl, qorBorderInMem});
  appendCase(" K %d sigma %g border %d", K, static_cast<double>(sigma), border);
  const GuardedBytes made = record<T>({1000, 1}, K, sigma, border, 4 - channels);
  const Sizes s = sizesFor(c.size, K, Kind<T>::type, channels);
  uint8_t* const spec = call.block('t', s.spec);
  memcpy(spec, made.data(), static_cast<size_t>(s.spec));
  // Taps of a caller's own: not the same on both sides, and with a sum that makes more of bytes than bytes.
  if (c.random.oneIn(8)) spec[tapsAt + 1] = static_cast<Qor8u>(c.random.below(20));
}

template <class T>
void add(Descriptions& d, const char* name, auto* operation, int channels) {
  const std::string shift = Kind<T>::shift != 0 ? " | own 3" : "";
  d.add(name, operation, "S.d.zvtw",
        {.checks = "null | step | size | own 1 | own 2" + shift + " | even | own 4",
         .draw = drawRecord<T>,
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               const void* const spec = a.at<const void*>('t');
               if (role == 's' && spec != nullptr)
                 s.margin = marginOf(gaussianSides(word(spec, 3), a.size().height), word(spec, 0) / 2);
             },
         .scratch =
             [=](const Arguments& a) {
               return sizesFor(a.size(), word(a.at<const void*>('t'), 0), Kind<T>::type, channels).buffer;
             },
         .expect =
             [](Call& c) {
               const void* const spec = c.at<const void*>('t');
               expectSmoothed<T>(c, kernelIn<T>(spec), word(spec, 3));
             },
         .own =
             [](DescribedContract& c, int which) {
               const auto fails = [](int rule) { return rule != 0 && rule != 1 && rule != 6; };
               if (which == 1)
                 c.refuseWord('t', 0, qorStsBadArgErr, [](int K) { return K < 3 || K % 2 == 0; }, {1, 4, 0, -1});
               if (which == 2)
                 c.refuseWord('t', 3, qorStsBorderErr, [=](int b) { return fails(b & ~240); }, {2, 257, -1, 256});
               if (which == 3)
                 c.refuseWord('t', 4, qorStsBadArgErr, [](int shift) { return shift < 0 || shift > 30; }, {31, -1});
               if (which == 4)
                 c.refuseWord('t', 2, qorStsDataTypeErr, [](int type) { return type != Kind<T>::type; },
                              {0, 3, Kind<T>::type + 2, Kind<T>::type + 256});
             },
         .read = "t",
         .teamSizes = neverShared,
         .sweep = sizes});
}

// ---- sizes: what is reported of one is its low 32 bits

uint64_t up(uint64_t n, uint64_t multiple) { return (n + multiple - 1) / multiple * multiple; }
int low(uint64_t bytes) { return static_cast<int>(static_cast<uint32_t>(bytes)); }

// The pipelines of a type, whose sizes are part of its own: 8u, 16s, 16u, 32f.
using Query = QorStatus (*)(QoriSize, int, int*);
#define ROW(tag) qoriFilterRowBorderPipelineGetBufferSize_##tag
#define COLUMN(tag) qoriFilterColumnPipelineGetBufferSize_##tag
constexpr struct {
  QorDataType type;
  int channels;
  Query row, column;
} halves[] = {{qor8u, 1, ROW(8u16s_C1R), COLUMN(16s8u_C1R)}, {qor8u, 3, ROW(8u16s_C3R), COLUMN(16s8u_C3R)},
              {qor16s, 1, ROW(16s_C1R), COLUMN(16s_C1R)},    {qor16s, 3, ROW(16s_C3R), COLUMN(16s_C3R)},
              {qor16u, 1, ROW(16u_C1R), COLUMN(16u_C1R)},    {qor16u, 3, ROW(16u_C3R), COLUMN(16u_C3R)},
              {qor32f, 1, ROW(32f_C1R), COLUMN(32f_C1R)},    {qor32f, 3, ROW(32f_C3R), COLUMN(32f_C3R)}};

void expectSizes(Call& c) {
  const QorDataType type = c.has('t') ? c.number('t') : int{qor32f};
  const uint64_t channels = c.has('c') ? c.number('c') : 1, W = c.size().width, H = c.size().height, K = c.number('K'),
                 m = std::min(H, K), w = up((W + K) * channels, 8);
  const auto both = [&](uint64_t rows) {
    uint64_t sum = 0;
    for (const auto& h : halves) {
      if (h.type != type || h.channels != static_cast<int>(channels)) continue;
      for (const Query query : {h.row, h.column}) {
        int bytes = -1;
        EXPECT_EQ(query({c.size().width, static_cast<int>(rows)}, c.number('K'), &bytes), qorStsNoErr);
        sum += static_cast<uint64_t>(bytes);
      }
    }
    return sum;
  };
  if (!c.has('t')) {
    const uint64_t n = W + K, a = 16 * ((n + 3) / 4), b = 32 * ((n + 7) / 8);
    c.expectResult(1, low(16 * ((K + 3) / 4) + 32 + 2 * (b / 2 * K) + 2 * K * a + 64 + both(K) + 64 + 16 * K + 32));
  } else if (type == qor32f) {
    c.expectResult(1, low(16 * K + 32));
    c.expectResult(2, low(4 * K * w + 32 + 4 * (m + K) * w + 64 + both(m) + 64 + 8 * (m + K) + 32));
  } else {
    const uint64_t border = up((W + K - 1) * channels, 8) * (K - 1) + 16;
    c.expectResult(1, low(8 * K + 36));
    c.expectResult(2, low(2 * (m + K) * w + 64 + 2 * border + both(m) + 64 + 8 * (H + K) + 32));
  }
}

const Descriptions members([](Descriptions& d) {
#define QOR_GAUSSIAN(name, T, channels, ...) add<T>(d, QORTEST_NAMED(name), channels);
#include "../../src/filter/gaussian.def"
#undef QOR_GAUSSIAN
  d.add(
      QORTEST_NAMED(qoriFilterGaussBorder_32f_C1R), "S.d.zKgbvw",
      {.checks = "null | size | step | odd K BadArgErr 3 | border b BadArgErr 48 0 1 2 3 4 | even",
       .values = {{'b', borders({0, 1, 2, 3, 4}, 48)}, {'g', {1, 0, -1, NAN, 1e-30, 0.3, 0.8, -1.7, 4, 1e30}}},
       .draw =
           [](Call& c) {
             c.set('K', lengthFor(c.c));
             if ((c.number('b') & 15) == qorBorderWrap) c.apart();
           },
       .shape =
           [](const Arguments& a, char role, int, Shape& s) {
             if (role == 's') s.margin = marginOf(gaussianSides(a.number('b'), a.size().height), a.number('K') / 2);
           },
       .scratch = reported(qoriFilterGaussGetBufferSize_32f_C1R, 'K'),
       .expect =
           [](Call& c) {
             // No record is made for a sigma that is not above 0.
             const double sigma = fabs(c.real('g'));
             auto kernel = kernelIn<Qor32f>(
                 record<Qor32f>(c.size(), c.number('K'), sigma > 0 ? static_cast<Qor32f>(sigma) : 1e-30F, 0, 1).data());
             if (isnan(sigma)) kernel.taps.assign(kernel.taps.size(), NAN);
             expectSmoothed<Qor32f>(c, kernel, c.number('b'));
           },
       .teamSizes = neverShared,
       .sweep = sizes});
  const char* const checks = "null | size | odd K BadArgErr 3 | one t DataTypeErr | one c NumChannelsErr";
  const std::vector<std::pair<char, std::vector<double>>> values{{'K', {3, 5, 15, 31}},
                                                                 {'t', {qor8u, qor16u, qor16s, qor32f}},
                                                                 {'c', {1, 3}},
                                                                 {'g', {1, 1e-40, 0.7, 2, INFINITY}},
                                                                 {'b', borders({0, 1, 6}, 240)}};
  const auto drawLength = [](Call& c) {
    if (c.c.random.oneIn(5)) c.set('K', INT_MAX);
  };
  const Sweep ofSizes{.widths = {1, 17, 641, 100003, INT_MAX}, .heights = {1, 4, 479, 90001, INT_MAX}, .repeats = 3};
  d.add(QORTEST_NAMED(qoriFilterGaussianGetBufferSize), "zKtcrr",
        {.checks = checks, .values = values, .draw = drawLength, .expect = expectSizes, .sweep = ofSizes});
  d.add(QORTEST_NAMED(qoriFilterGaussGetBufferSize_32f_C1R), "zKr",
        {.checks = "null | size | odd K BadArgErr 3",
         .values = values,
         .draw = drawLength,
         .expect = expectSizes,
         .sweep = ofSizes});
  d.add(QORTEST_NAMED(qoriFilterGaussianInit), "zKgbtcrw",
        {.checks = std::string(checks) + " | own | border b BorderErr 240 0 1 6",
         .values = values,
         .draw = [](Call& c) { c.set('K', lengthFor(c.c)); },
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 'r') s.width = sizesFor(a.size(), a.number('K'), a.number('t'), a.number('c')).spec;
             },
         .own =
             [](DescribedContract& c, int) {
               auto* const sigma = &c.now.at<Qor32f>('g');
               c.check(
                   "sigma", qorStsBadArgErr, [=] { return !(*sigma > 0); }, [=] { *sigma = 0; }, [=] { *sigma = -1; },
                   [=] { *sigma = NAN; });
             }});
});

// Strips of the full width, each with its neighbours in memory, give what the whole image gives.
TEST(Gaussian, StripsEqualTheWhole) {
  Random random(baseSeed());
  const QoriSize size{77, 90};
  for (const int K : {3, 5, 9, 15}) {
    GuardedImage<Qor8u> src(size), whole(size), strips(size);
    src.generate(Maker<Qor8u>(Data::Random, random.bits()));
    const GuardedBytes buffer(sizesFor(size, K, qor8u, 1).buffer);
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

// A report that has wrapped to less than the rows take: nothing is touched.
TEST(Gaussian, StaysWithinTheReport) {
  const ThreadCount most(1024);
  constexpr QoriSize size{349324, 1};
  const GuardedBytes spec = record<Qor8u>(size, 3, 1, qorBorderRepl, 1);
  EXPECT_LT(sizesFor(size, 3, qor8u, 1).buffer, 2 * 4 * size.width);
  EXPECT_GT(sizesFor(size, 3, qor8u, 1).buffer, 0);
  EXPECT_EQ(qoriFilterGaussianBorder_8u_C1R(noAccess<Qor8u>(), INT_MAX, noAccess<Qor8u>(), INT_MAX, size, 0,
                                            spec.as<QoriFilterGaussianSpec>(), noAccess<Qor8u>()),
            qorStsSizeErr);
}

// ---- taps and record

// Against the definition in double. The exponent has an error of 2^-23 of its value, which is at most 104 where the tap
// is not 0, and the sum of K floats one of K * 2^-24; integer taps are rounded.
template <class T>
void testTaps(int K, Qor32f sigma) {
  using Tap = typename Kind<T>::Row;
  setCase("type %d, K %d, sigma %g", Kind<T>::type, K, static_cast<double>(sigma));
  const GuardedBytes spec = record<T>({5, 5}, K, sigma, qorBorderInMem | right, 1, 3);
  int header[5];
  memcpy(header, spec.data(), sizeof header);
  EXPECT_EQ(std::vector<int>(header, header + 5),
            (std::vector<int>{K, 20, Kind<T>::type, qorBorderInMem | right, Kind<T>::shift}))
      << currentCase();
  std::vector<double> bell;
  double sum = 0;
  for (int i = 0; i < K; ++i) {
    const double s = static_cast<double>(sigma), x = i - K / 2;
    bell.push_back(x == 0 ? 1 : exp(-x * x / (2 * s * s)));
    sum += bell.back();
  }
  const double scale = 1 << Kind<T>::shift;
  for (int i = 0; i < K; ++i) {
    const double want = bell[static_cast<size_t>(i)] / sum * scale;
    double got = static_cast<double>(tapAt<Tap>(spec.data(), i));
    if (Kind<T>::type == qor16s && got < 0) got += 65536;
    const double bound = Kind<T>::shift > 0 ? 0.501 : want * (104 * 0x1p-23 + K * 0x1p-24) + 0x1p-149;
    EXPECT_NEAR(got, want, bound) << "tap " << i << ", " << currentCase();
    EXPECT_EQ(tapAt<Tap>(spec.data(), K - 1 - i), tapAt<Tap>(spec.data(), i)) << currentCase();
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
  EXPECT_EQ(kernelIn<Qor8u>(spec.data()).taps, (std::vector<Qor16s>{1123, 1851, 1123}));
  GuardedImage<Qor8u> flat({40, 40}), dst({40, 40});
  flat.generate([](int, int, int) { return Qor8u{200}; });
  const GuardedBytes buffer(sizesFor({40, 40}, 3, qor8u, 1).buffer);
  EXPECT_EQ(qoriFilterGaussianBorder_8u_C1R(flat.data(), flat.step(), dst.data(), dst.step(), {40, 40}, 0,
                                            spec.as<QoriFilterGaussianSpec>(), buffer.data()),
            qorStsNoErr);
  expectSame(dst, flat.pixels());
  // The wrapped tap.
  EXPECT_EQ(tapAt<Qor16s>(record<Qor16s>({1, 1}, 3, 1e-3F, qorBorderRepl, 1).data(), 1), -32768);
}

// Taps half-way between two integers go up: found among many by the taps of the same sigma in float.
TEST(Gaussian, TiesOfTapsGoUp) {
  int ties = 0;
  for (int i = 0; i < 20000; ++i) {
    const Qor32f sigma = 0.4F + 1e-4F * static_cast<Qor32f>(i);
    const GuardedBytes floats = record<Qor32f>({1, 1}, 5, sigma, qorBorderRepl, 1);
    for (int k = 0; k < 3; ++k) {
      const Qor32f scaled = 4096 * tapAt<Qor32f>(floats.data(), k);
      if (scaled - floorf(scaled) != 0.5F) continue;
      ++ties;
      EXPECT_EQ(tapAt<Qor16s>(record<Qor8u>({1, 1}, 5, sigma, qorBorderRepl, 1).data(), k), ceilf(scaled)) << sigma;
    }
  }
  EXPECT_GT(ties, 0);
}

}  // namespace
