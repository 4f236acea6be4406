#include <math.h>

#include "morph/masks.h"

namespace {
using namespace qortest;

enum class Operation { Open, Close, Tophat, Blackhat, Gradient };

// ---- by two operations in a row

template <class T>
T difference(T a, T b, bool isPacked) {
  if constexpr (std::is_floating_point_v<T>) return a - b < 0 ? 0 : a - b;
  if constexpr (std::is_integral_v<T>) {
    if (isPacked) return static_cast<T>(a & ~b);
    return static_cast<T>(std::clamp<int>(a - b, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
  }
}

// What the second stage reads beside the region, where that is in memory.
Margin grownBy(const FlatMask& turned, const Sides& in) {
  return marginOf(in, {turned.anchor.x, turned.anchor.y, turned.size.width - 1 - turned.anchor.x,
                       turned.size.height - 1 - turned.anchor.y});
}

template <class T>
Image<T> compound(const Image<T>& src, Operation operation, const FlatMask& mask, const Sides& in, bool isPacked) {
  const auto minus = [&](Image<T> a, const Image<T>& b) {
    for (int y = 0; y < a.size.height; ++y)
      for (int x = 0; x < a.size.width; ++x)
        for (int c = 0; c < a.channels; ++c) a.at(x, y, c) = difference(a.at(x, y, c), b.at(x, y, c), isPacked);
    return a;
  };
  if (operation == Operation::Gradient) return minus(morphed(src, mask, true, in), morphed(src, mask, false, in));
  const bool closes = operation == Operation::Close || operation == Operation::Blackhat;
  const FlatMask turned = mask.turned();
  const Image<T> first = mask.isEmpty() ? src : morphed(src, mask, closes, in, grownBy(turned, in));
  const Image<T> both = morphed(first, turned, !closes, in);
  if (operation == Operation::Tophat) return minus(src, both);
  return operation == Operation::Blackhat ? minus(both, src) : both;
}

// ---- descriptions

QoriMorphAdvState* stateIn(uint8_t* block) { return reinterpret_cast<QoriMorphAdvState*>(block); }

template <class T>
void addOperation(Descriptions& d, const char* name, auto* call, Operation operation, auto* query, auto* init,
                  auto allocate) {
  const bool isPacked = strstr(name, "_1u_") != nullptr, inPlace = operation <= Operation::Close;
  const std::string source = inPlace ? "S" : "s";
  d.add(name, call, (source + (isPacked ? ".od.ozbvtw" : ".d.zbvtw")).c_str(),
        {.checks = std::string("null | size | ") + (isPacked ? "least o SizeErr 0 | " : "") +
                   "step | even | border b BorderErr 240 1 6 | own 1",
         .values = {{'b', borders({1, 6}, 240)}},
         .draw =
             [=](Call& c) {
               auto recorded = std::make_shared<Recorded>();
               FlatMask& mask = recorded->mask = anyMask(c.c, allocate != nullptr && c.c.random.oneIn(3) && !c.c.usual);
               c.data = recorded;
               QoriSize size = c.size();
               if (!c.c.usual) size = {size.width + c.c.random.below(3), size.height + c.c.random.below(3)};
               int spec = 0;
               EXPECT_EQ(query(size, mask.size, &spec, &recorded->scratch), qorStsNoErr);
               const QoriPoint centre = centreOf(mask.size);
               if constexpr (!std::is_null_pointer_v<decltype(allocate)>) {
                 if (mask.anchor.x != centre.x || mask.anchor.y != centre.y) {
                   QoriMorphAdvState*& state = c.at<QoriMorphAdvState*>('t');
                   EXPECT_EQ(allocate(&state, size, mask.elements.data(), mask.size, mask.anchor), qorStsNoErr);
                   recorded->release = [state] { EXPECT_EQ(qoriMorphAdvFree(state), qorStsNoErr); };
                   return;
                 }
               }
               const GuardedBytes scratch(recorded->scratch);
               EXPECT_EQ(init(size, mask.elements.data(), mask.size, stateIn(c.block('t', spec)), scratch.data()), 0);
             },
         .shape =
             [=](const Arguments& a, char role, int, Shape& s) {
               const FlatMask& mask = Recorded::of(a).mask;
               const Sides in = memorySides(a.number('b'));
               if (role != 's' || mask.isEmpty()) return;
               s.margin = marginOf(in, mask.reach());
               if (operation == Operation::Gradient) return;
               const Margin more = grownBy(mask.turned(), in);
               s.margin = {s.margin.left + more.left, s.margin.top + more.top, s.margin.right + more.right,
                           s.margin.bottom + more.bottom};
             },
         .scratch = [](const Arguments& a) { return Recorded::of(a).scratch; },
         .expect =
             [=](Call& c) {
               const FlatMask& mask = Recorded::of(c).mask;
               const Sides in = memorySides(c.number('b'));
               if (isPacked)
                 expectMorphed(c.bitsAfter('d'), compound(c.bitsBefore('s'), operation, mask, in, true));
               else
                 expectMorphed(c.after<T>('d'), compound(c.before<T>('s'), operation, mask, in, false));
             },
         .own =
             [](DescribedContract& c, int) {
               c.refuseWord('t', 0, qorStsSizeErr, [&c](int width) { return width < c.now.size().width; }, {16, 0});
             },
         .read = "t",
         .teamSizes = {{640, 480}},
         .sweep = {.widths = {1, 2, 3, 8, 16, 17, 33, 65, 130},
                   .heights = {1, 2, 5, 11},
                   .thresholds = {{600, 9}, {20, 200}}}});
}

uint32_t temporaryBytes(const Form& f, QoriSize size, QoriSize mask) {
  const auto width = static_cast<uint32_t>(size.width) + static_cast<uint32_t>(mask.width) - 1;
  const auto height = static_cast<uint32_t>(size.height) + static_cast<uint32_t>(mask.height) - 1;
  return up(width * f.channels * f.bytes, 32) * height;
}

Sizes compoundSizes(const Form& f, QoriSize size, QoriSize mask) {
  const Sizes one = sizesOf(f, size.width, mask);
  return {2 * one.spec + 32, 2 * one.buffer + temporaryBytes(f, size, mask)};
}

template <class T>
void addRecord(Descriptions& d, const char* sizeName, auto* query, const char* initName, auto* init) {
  const auto own = [](DescribedContract& c, int which) { checkMask(c, which); };
  d.add(sizeName, query, "zkrr",
        {.checks = "null | size | own 1",
         .draw = drawMask,
         .expect =
             [=](Call& c) {
               const Sizes want = compoundSizes(formOf<T>(sizeName), c.size(), c.at<QoriSize>('k'));
               c.expectResult(1, static_cast<int>(want.spec));
               c.expectResult(2, static_cast<int>(want.buffer));
             },
         .own = own,
         .sweep = querySizes});
  d.add(initName, init, "zMkqw",
        {.checks = "null | size | own 1",
         .draw = drawMask,
         .shape =
             [=](const Arguments& a, char role, int, Shape& s) {
               if (role == 'q') s.width = compoundSizes(formOf<T>(sizeName), a.size(), a.at<QoriSize>('k')).spec;
             },
         .own = own,
         .sweep = recordSizes});
}

const Descriptions members([](Descriptions& d) {
#define QOR_OPERATION(operation, form, T, allocate)                                            \
  addOperation<T>(d, QORTEST_NAMED(qoriMorph##operation##Border_##form), Operation::operation, \
                  qoriMorphAdvGetSize_##form, qoriMorphAdvInit_##form, allocate);
#define QOR_FORM(form, T, allocate)                                                                   \
  addRecord<T>(d, QORTEST_NAMED(qoriMorphAdvGetSize_##form), QORTEST_NAMED(qoriMorphAdvInit_##form)); \
  QOR_OPERATION(Open, form, T, allocate)                                                              \
  QOR_OPERATION(Close, form, T, allocate)                                                             \
  QOR_OPERATION(Tophat, form, T, allocate)                                                            \
  QOR_OPERATION(Blackhat, form, T, allocate)                                                          \
  QOR_OPERATION(Gradient, form, T, allocate)
#define QOR_MORPH_BORDER(form, T, channels) QOR_FORM(form, T, nullptr)
#define QOR_MORPH_PACKED(form) QOR_FORM(form, Qor8u, nullptr)
#define QOR_MORPH_REPLICATE(form, T, channels)                                                                       \
  QOR_FORM(form, T, qoriMorphAdvInitAlloc_##form)                                                                    \
  d.add(QORTEST_NAMED(qoriMorphAdvInitAlloc_##form), "azMkA",                                                        \
        {.checks = "null | size | own 1 | own 2",                                                                    \
         .draw = drawMask,                                                                                           \
         .release = [](Arguments& a) { EXPECT_EQ(qoriMorphAdvFree(*a.at<QoriMorphAdvState**>('a')), qorStsNoErr); }, \
         .own = [](DescribedContract& c, int which) { checkMask(c, which); },                                        \
         .sweep = recordSizes});
#include "../../src/morph/forms.def"
});

// ---- on paper

// A higher region is served as long as it fits, and one row more is refused with nothing touched.
TEST(Compound, ServesWhatFits) {
  const Qor8u mask[15] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  int spec = 0, scratch = 0;
  ASSERT_EQ(qoriMorphAdvGetSize_8u_C1R({100, 10}, {5, 3}, &spec, &scratch), qorStsNoErr);
  EXPECT_EQ(compoundSizes({1, 1, false}, {640, 480}, {5, 5}).spec, 38656U);
  EXPECT_EQ(compoundSizes({4, 4, false}, {640, 480}, {5, 5}).buffer, 5193568U);
  const GuardedBytes record(spec), buffer(scratch);
  ASSERT_EQ(qoriMorphAdvInit_8u_C1R({100, 10}, mask, {5, 3}, stateIn(record.data()), buffer.data()), qorStsNoErr);
  // 12 rows of 104 pixels, each rounded up to 128.
  constexpr int bytes = 12 * 128;
  const auto open = [&](QoriSize size, int border, int grown) {
    GuardedImage<Qor8u> src(size, {.margin = {4, 2, 4, 2}}), dst(size);
    src.generate([](int x, int y, int) { return static_cast<Qor8u>(x + 3 * y); });
    setCase("%dx%d, border %d", size.width, size.height, border);
    const bool fits = (size.height + grown) * static_cast<int>(up(static_cast<uint32_t>(size.width), 32)) <= bytes;
    const auto run = [&](auto* operation, Qor8u* to) {
      return operation(src.data(), src.step(), to, dst.step(), size, border, 0, stateIn(record.data()), buffer.data());
    };
    for (auto* const operation : {qoriMorphOpenBorder_8u_C1R, qoriMorphCloseBorder_8u_C1R, qoriMorphTophatBorder_8u_C1R,
                                  qoriMorphBlackhatBorder_8u_C1R})
      EXPECT_EQ(run(operation, fits ? dst.data() : noAccess<Qor8u>()), fits ? qorStsNoErr : qorStsSizeErr)
          << currentCase();
    const bool regionFits = size.height * static_cast<int>(up(static_cast<uint32_t>(size.width), 32)) <= bytes;
    EXPECT_EQ(run(qoriMorphGradientBorder_8u_C1R, regionFits ? dst.data() : noAccess<Qor8u>()),
              regionFits ? qorStsNoErr : qorStsSizeErr)
        << currentCase();
  };
  for (const int height : {1, 10, 12, 13, 48, 49}) {
    for (const int width : {1, 32, 33, 64, 97, 100}) {
      open({width, height}, qorBorderRepl, 0);
      // Top and bottom alone, so that rows stay as long.
      open({width, height}, qorBorderRepl | qorBorderInMemTop | qorBorderInMemBottom, 2);
    }
  }
  EXPECT_EQ(qoriMorphAdvFree(nullptr), qorStsNullPtrErr);
}

// Differences of signed words clip at both ends, and one of two infinities is none.
TEST(Compound, Differences) {
  const Qor8u mask[] = {1, 1};
  int spec = 0, scratch = 0;
  ASSERT_EQ(qoriMorphAdvGetSize_16s_C1R({4, 1}, {2, 1}, &spec, &scratch), qorStsNoErr);
  const GuardedBytes words(spec), buffer(scratch);
  ASSERT_EQ(qoriMorphAdvInit_16s_C1R({4, 1}, mask, {2, 1}, stateIn(words.data()), buffer.data()), qorStsNoErr);
  const Qor16s src[] = {-32768, 32767, -32768, -5};
  Qor16s dst[4];
  EXPECT_EQ(
      qoriMorphGradientBorder_16s_C1R(src, 8, dst, 8, {4, 1}, qorBorderRepl, 0, stateIn(words.data()), buffer.data()),
      qorStsNoErr);
  EXPECT_EQ(std::vector<Qor16s>(dst, dst + 4), (std::vector<Qor16s>{32767, 32767, 32763, 0}));
  QoriMorphAdvState* floats = nullptr;
  ASSERT_EQ(qoriMorphAdvInitAlloc_32f_C1R(&floats, {4, 1}, mask, {2, 1}, {0, 0}), qorStsNoErr);
  ASSERT_EQ(qoriMorphAdvGetSize_32f_C1R({4, 1}, {2, 1}, &spec, &scratch), qorStsNoErr);
  const GuardedBytes more(scratch);
  const Qor32f in[] = {INFINITY, INFINITY, 1, 3};
  Qor32f out[4];
  EXPECT_EQ(qoriMorphTophatBorder_32f_C1R(in, 16, out, 16, {4, 1}, qorBorderRepl, 0, floats, more.data()), qorStsNoErr);
  EXPECT_TRUE(isnan(out[0]) && isnan(out[1])) << out[0] << ", " << out[1];
  EXPECT_EQ(out[2], 0);
  EXPECT_EQ(qoriMorphAdvFree(floats), qorStsNoErr);
}

}  // namespace
