#include <math.h>

#include <algorithm>
#include <type_traits>

#include "qorcv/morph.h"
#include "support/support.h"

namespace {
using namespace qortest;

// A record as it stands in memory, its elements behind it.
struct Record {
  const void* mask;
  QoriSize maskSize;
  QoriPoint anchor;
  QoriSize roiSize;
};

template <class T>
using ElementOf = std::conditional_t<std::is_integral_v<T>, Qor32s, Qor32f>;

template <class Element>
struct Mask {
  QoriSize size;
  QoriPoint anchor;
  std::vector<Element> elements;
};

template <class Element>
Element oddOne(Random& random) {
  if constexpr (std::is_integral_v<Element>) {
    const Qor32s values[] = {0, 1, -1, 254, 255, 256, -254, -255, -256, 65536, -65537, INT_MAX, INT_MIN};
    return values[random.below(13)];
  } else {
    const Qor32f values[] = {0, -0.0F, 1, -1e6F, 3e38F, -3e38F, 1e-40F, INFINITY, -INFINITY, NAN};
    return values[random.below(10)];
  }
}

// Random elements in two ranges, odd ones among them, or one throughout; the anchor in a corner or anywhere.
template <class Element>
Mask<Element> makeMask(Random& random, QoriSize size) {
  const int corner = random.below(6), w = size.width - 1, h = size.height - 1, kind = random.below(4);
  Mask<Element> mask{size, {corner & 1 ? w : 0, corner & 2 ? h : 0}, {}};
  if (corner >= 4) mask.anchor = {random.between(0, w), random.between(0, h)};
  const Element first = oddOne<Element>(random);
  const double range = kind == 1 ? 600 : 60;
  for (int i = 0; i < size.width * size.height; ++i) {
    const Element any = static_cast<Element>(range * random.unit() - range / 2);
    mask.elements.push_back(kind == 3 ? first : kind == 2 && random.oneIn(3) ? oddOne<Element>(random) : any);
  }
  appendCase(" mask %dx%d at %d,%d kind %d", size.width, size.height, mask.anchor.x, mask.anchor.y, kind);
  return mask;
}

template <class Element>
Mask<Element> maskIn(const void* state) {
  Record record;
  memcpy(&record, state, sizeof record);
  EXPECT_EQ(record.mask, static_cast<const char*>(state) + sizeof record);
  Mask<Element> mask{record.maskSize, record.anchor, {}};
  mask.elements.resize(static_cast<size_t>(mask.size.width) * static_cast<size_t>(mask.size.height));
  memcpy(mask.elements.data(), record.mask, mask.elements.size() * sizeof(Element));
  return mask;
}

template <class T>
Image<T> reference(const Image<T>& src, const Mask<ElementOf<T>>& mask, bool dilate) {
  // Sums of 8u in 64 bits, of 32f in 32.
  using Sum = std::conditional_t<std::is_integral_v<T>, int64_t, Qor32f>;
  const Sum low = std::numeric_limits<T>::lowest(), high = std::numeric_limits<T>::max();
  Image<T> dst(src.size);
  for (int y = 0; y < src.size.height; ++y) {
    for (int x = 0; x < src.size.width; ++x) {
      Sum best = dilate ? low : high;
      const ElementOf<T>* element = mask.elements.data();
      for (int i = 0; i < mask.size.height; ++i) {
        for (int j = 0; j < mask.size.width; ++j) {
          const int sx = std::clamp(x + j - mask.anchor.x, 0, src.size.width - 1);
          const int sy = std::clamp(y + i - mask.anchor.y, 0, src.size.height - 1);
          const Sum sum = static_cast<Sum>(src.at(sx, sy)) + static_cast<Sum>(*element++);
          if (dilate ? sum > best : sum < best) best = sum;
        }
      }
      if constexpr (std::is_integral_v<T>) best = std::clamp(best, low, high);
      dst.at(x, y) = static_cast<T>(best);
    }
  }
  return dst;
}

// A record of exactly the reported size for this region or a larger one; the mask that it was made from is gone.
template <class Element, class GetSize, class Init>
void makeRecord(Call& c, QoriSize maskSize, GetSize getSize, Init init) {
  const Mask<Element> mask = makeMask<Element>(c.c.random, maskSize);
  const QoriSize roi = {c.size().width + c.c.random.below(2), c.size().height + c.c.random.below(2)};
  int bytes = 0;
  EXPECT_EQ(getSize(roi, mask.elements.data(), mask.size, &bytes), qorStsNoErr);
  auto* const state = reinterpret_cast<QoriMorphGrayState*>(c.block('t', bytes));
  EXPECT_EQ(init(state, roi, mask.elements.data(), mask.size, mask.anchor), qorStsNoErr);
}

void refuseLargerRegions(DescribedContract& c, int) {
  c.check(
      "region beyond the record", qorStsSizeErr,
      [&c] {
        const int* const record = c.now.at<const int*>('t');
        return record != nullptr && (c.now.size().width > record[6] || c.now.size().height > record[7]);
      },
      [&c] { c.now.at<QoriSize>('z').width = 19; }, [&c] { c.now.at<QoriSize>('z').height = 7; });
}
// From an anchor that every mask has.
void refuseAnchors(DescribedContract& c, int) {
  QoriPoint* const anchor = &c.now.at<QoriPoint>('A');
  const QoriSize* const size = &c.now.at<QoriSize>('z', 2);
  *anchor = {0, 0};
  c.start('A', 0);
  const auto isOutside = [=] {
    return anchor->x < 0 || anchor->y < 0 || anchor->x >= std::max(size->width, 1) ||
           anchor->y >= std::max(size->height, 1);
  };
  c.check(
      "anchor outside", qorStsAnchorErr, isOutside, [=] { anchor->x = -1; }, [=] { anchor->y = -1; },
      [=] { anchor->x = std::max(size->width, 1); }, [=] { anchor->y = std::max(size->height, 1); });
}

// The inits copy a mask as large as the region.
template <class Element>
void drawMask(Call& c) {
  const Mask<Element> mask = makeMask<Element>(c.c.random, c.size());
  c.array('e', mask.elements);
  c.at<QoriPoint>('A') = mask.anchor;
}
template <class Element>
void expectRecord(Call& c, const void* state) {
  const Mask<Element> got = maskIn<Element>(state);
  Record record;
  memcpy(&record, state, sizeof record);
  EXPECT_TRUE(memcmp(&record.roiSize, &c.at<QoriSize>('z'), sizeof record.roiSize) == 0 &&
              memcmp(&got.size, &c.at<QoriSize>('z', 2), sizeof got.size) == 0 &&
              memcmp(&got.anchor, &c.at<QoriPoint>('A'), sizeof got.anchor) == 0 &&
              memcmp(got.elements.data(), c.at<const Element*>('e'), got.elements.size() * sizeof(Element)) == 0)
      << currentCase();
}

template <class T, class GetSize, class Init, class InitAlloc, class Free, class Filter>
void describe(Descriptions& d, const char* const (&names)[5], GetSize getSize, Init init, InitAlloc initAlloc,
              Free free, Filter dilate, Filter erode) {
  using Element = ElementOf<T>;
  const Sweep masks{.widths = {1, 2, 5, 18}, .heights = {1, 3, 16}};
  d.add(names[0], getSize, "zezr",
        {.checks = "null | size",
         .draw = [](Call& c) { c.at<const Element*>('e') = noAccess<Element>(); },
         .expect =
             [](Call& c) {
               const uint32_t w = static_cast<uint32_t>(c.size().width), h = static_cast<uint32_t>(c.size().height);
               c.expectResult(1, static_cast<int>(32 + 4 * w * h));
             },
         .sweep = {.widths = {1, 17, 1 << 15, INT_MAX}, .heights = {1, 9, 1 << 15, INT_MAX}}});
  d.add(names[1], init, "tzezA",
        {.checks = "null te | size | own",
         .draw =
             [=](Call& c) {
               drawMask<Element>(c);
               c.block('t', 32 + 4 * c.size().width * c.size().height);
             },
         .expect = [](Call& c) { expectRecord<Element>(c, c.at<void*>('t')); },
         .own = refuseAnchors,
         .teamSizes = {{40, 40}},
         .sweep = masks});
  d.add(names[2], initAlloc, "azezA",
        {.checks = "null ae | size | own",
         .draw = drawMask<Element>,
         .expect = [](Call& c) { expectRecord<Element>(c, *c.at<QoriMorphGrayState**>('a')); },
         .release = [=](Arguments& a) { EXPECT_EQ(free(*a.at<QoriMorphGrayState**>('a')), qorStsNoErr); },
         .own = refuseAnchors,
         .teamSizes = {{40, 40}},
         .sweep = masks});
  for (const bool isDilation : {true, false}) {
    d.add(names[isDilation ? 3 : 4], isDilation ? dilate : erode, "s.d.zbt",
          {.checks = "null | size | step | even | border b BadArgErr 0 1 | own",
           .values = {{'b', {qorBorderRepl}}},
           .draw =
               [=](Call& c) {
                 // The last ones are more than one pass takes, and rectangles in pieces.
                 const QoriSize size = c.pick<QoriSize>({{1, 1},
                                                         {3, 3},
                                                         {5, 5},
                                                         {2, 3},
                                                         {4, 1},
                                                         {1, 6},
                                                         {7, 2},
                                                         {9, 9},
                                                         {16, 5},
                                                         {3, 17},
                                                         {150, 2},
                                                         {2, 80},
                                                         {17, 17}});
                 makeRecord<Element>(c, size, getSize, init);
               },
           .expect =
               [=](Call& c) {
                 const auto mask = maskIn<Element>(c.at<const void*>('t'));
                 c.expect('d', reference(c.before<T>('s'), mask, isDilation));
               },
           .own = refuseLargerRegions,
           .read = "t",
           .sweep = {.heights = {1, 2, 5, 13}, .thresholds = {{1100, 2}, {300, 40}, {9, 140}}, .repeats = 2}});
  }
}

#define QORTEST_GRAY(T, tag)                                                                                         \
  describe<T>(                                                                                                       \
      d,                                                                                                             \
      {"qoriMorphGrayGetSize_" #tag "_C1R", "qoriMorphGrayInit_" #tag "_C1R", "qoriMorphGrayInitAlloc_" #tag "_C1R", \
       "qoriGrayDilateBorder_" #tag "_C1R", "qoriGrayErodeBorder_" #tag "_C1R"},                                     \
      qoriMorphGrayGetSize_##tag##_C1R, qoriMorphGrayInit_##tag##_C1R, qoriMorphGrayInitAlloc_##tag##_C1R,           \
      qoriMorphGrayFree_##tag##_C1R, qoriGrayDilateBorder_##tag##_C1R, qoriGrayErodeBorder_##tag##_C1R)
const Descriptions members([](Descriptions& d) {
  QORTEST_GRAY(Qor8u, 8u);
  QORTEST_GRAY(Qor32f, 32f);
});

TEST(Gray, OnPaper) {
  const Qor32s ten = 10;
  QoriMorphGrayState* state = nullptr;
  ASSERT_EQ(qoriMorphGrayInitAlloc_8u_C1R(&state, {3, 1}, &ten, {1, 1}, {0, 0}), qorStsNoErr);
  const Qor8u src[] = {0, 240, 250}, want[] = {10, 250, 255};
  Qor8u dst[3];
  for (const auto operation : {qoriGrayDilateBorder_8u_C1R, qoriGrayErodeBorder_8u_C1R}) {
    EXPECT_EQ(operation(src, 3, dst, 3, {3, 1}, qorBorderRepl, state), qorStsNoErr);
    EXPECT_EQ(memcmp(dst, want, sizeof want), 0);
  }
  EXPECT_EQ(qoriMorphGrayFree_8u_C1R(state), qorStsNoErr);
  EXPECT_EQ(qoriMorphGrayFree_8u_C1R(nullptr), qorStsNullPtrErr);
  EXPECT_EQ(qoriMorphGrayFree_32f_C1R(nullptr), qorStsNullPtrErr);
}

// Of equal sums the first is stored, which shows in the sign of a zero.
TEST(Gray, SignsOfZeros) {
  const std::vector<Qor32f> zeros(12, -0.0F);
  QoriMorphGrayState* state = nullptr;
  ASSERT_EQ(qoriMorphGrayInitAlloc_32f_C1R(&state, {4, 1}, zeros.data(), {12, 1}, {1, 0}), qorStsNoErr);
  const Qor32f src[] = {0.0F, -0.0F, 0.0F, -0.0F};
  Qor32f dst[4];
  for (const auto operation : {qoriGrayDilateBorder_32f_C1R, qoriGrayErodeBorder_32f_C1R}) {
    EXPECT_EQ(operation(src, 16, dst, 16, {4, 1}, qorBorderRepl, state), qorStsNoErr);
    EXPECT_TRUE(!signbit(dst[0]) && !signbit(dst[1]) && signbit(dst[2]) && !signbit(dst[3]));
  }
  EXPECT_EQ(qoriMorphGrayFree_32f_C1R(state), qorStsNoErr);
}

// A record of the library's is never short of its elements, though its size wraps, and is refused before they are read.
TEST(Gray, RecordsBeyond31Bits) {
  auto* const untouched = noAccess<QoriMorphGrayState>(1);
  QoriMorphGrayState* state = untouched;
  const QoriSize huge{1 << 15, 1 << 15};
  EXPECT_EQ(qoriMorphGrayInitAlloc_8u_C1R(&state, huge, noAccess<Qor32s>(), huge, {0, 0}), qorStsMemAllocErr);
  EXPECT_EQ(qoriMorphGrayInitAlloc_32f_C1R(&state, huge, noAccess<Qor32f>(), huge, {0, 0}), qorStsMemAllocErr);
  EXPECT_EQ(state, untouched);
}

}  // namespace
