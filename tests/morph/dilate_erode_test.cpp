#include "morph/masks.h"

namespace {
using namespace qortest;

// ---- images

template <class T>
void expectFiltered(Call& c, bool highest) {
  const FlatMask& mask = Recorded::of(c).mask;
  const Sides in = memorySides(c.has('o') || c.has('w') ? c.number('b') : int{qorBorderRepl});
  if (c.has('o'))
    expectMorphed(c.bitsAfter('d'), morphed(c.bitsBefore('s'), mask, highest, in));
  else
    expectMorphed(c.after<T>('d'), morphed(c.before<T>('s'), mask, highest, in));
}

void ownChecks(DescribedContract& c, int which) {
  if (which == 1)
    c.refuseWord('t', 4, qorStsSizeErr, [&c](int width) { return width < c.now.size().width; }, {16, 0, -1});
  else
    c.check(
        "same image", qorStsInPlaceErr, [&c] { return c.now.at<void*>('s') == c.now.at<void*>('d'); },
        [&c] { c.now.at<void*>('d') = c.now.at<void*>('s'); });
}

QoriMorphState* stateIn(uint8_t* block) { return reinterpret_cast<QoriMorphState*>(block); }

// With a record that the operation only reads.
template <class T>
void addBorder(Descriptions& d, const char* name, auto* operation, auto* query, auto* init, bool highest) {
  const bool isPacked = strstr(name, "_1u_") != nullptr;
  d.add(name, operation, isPacked ? "s.od.ozbvtw" : "s.d.zbvtw",
        {.checks = std::string("null | size | ") + (isPacked ? "least o SizeErr 0 | " : "") +
                   "step | even | border b BorderErr 240 1 6 | own 1" + (isPacked || sizeof(T) == 2 ? " | own 2" : ""),
         .values = {{'b', borders({1, 6}, 240)}},
         .draw =
             [=](Call& call) {
               auto recorded = std::make_shared<Recorded>();
               const FlatMask& mask = recorded->mask = anyMask(call.c, false);
               const int width = call.size().width + (call.c.usual ? 0 : call.c.random.below(3));
               int spec = 0;
               EXPECT_EQ(query(width, mask.size, &spec, &recorded->scratch), qorStsNoErr);
               const GuardedBytes scratch(recorded->scratch);
               std::vector<Qor8u> elements = mask.elements;
               EXPECT_EQ(init(width, elements.data(), mask.size, stateIn(call.block('t', spec)), scratch.data()), 0);
               // The record has a copy.
               std::fill(elements.begin(), elements.end(), Qor8u{1});
               call.data = recorded;
             },
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 's') s.margin = marginOf(memorySides(a.number('b')), Recorded::of(a).mask.reach());
             },
         .scratch = [](const Arguments& a) { return Recorded::of(a).scratch; },
         .expect = [=](Call& c) { expectFiltered<T>(c, highest); },
         .own = ownChecks,
         .read = "t",
         .sweep = imageSizes});
}

// Neither a rectangle nor rows of runs over the anchor, of which those of one length begin in one column.
bool isGeneral(const FlatMask& mask) {
  std::vector<int> starts(static_cast<size_t>(mask.size.width) + 1, -1);
  int first = -1, last = -1, start = 0, length = 0;
  bool isRectangle = true, isRows = true;
  for (int i = 0; i < mask.size.height; ++i) {
    const Qor8u* const row = &mask.elements[static_cast<size_t>(i) * mask.size.width];
    const auto active = [](Qor8u e) { return e != 0; };
    const int s = static_cast<int>(std::find_if(row, row + mask.size.width, active) - row);
    const int e = static_cast<int>(std::find_if_not(row + s, row + mask.size.width, active) - row);
    if (std::any_of(row + e, row + mask.size.width, active)) return true;
    if (s == e) continue;
    isRectangle = isRectangle && (first < 0 || (last == i - 1 && s == start && e - s == length));
    isRows = isRows && s <= mask.anchor.x && mask.anchor.x < e;
    int& known = starts[static_cast<size_t>(e - s)];
    isRows = isRows && (known < 0 || known == s);
    known = start = s;
    length = e - s;
    if (first < 0) first = i;
    last = i;
  }
  return first < 0 || (!isRectangle && !(isRows && first <= mask.anchor.y && mask.anchor.y <= last));
}

// With a record of a free anchor, which the operation only reads where the mask is general.
template <class T>
void addReplicate(Descriptions& d, const char* name, auto* operation, auto* query, auto* init, auto* allocate,
                  bool highest) {
  d.add(name, operation, "s.d.zbt",
        {.checks = "null | size | step | even | one b BadArgErr | own 1",
         .values = {{'b', {1}}},
         .draw =
             [=](Call& call) {
               auto recorded = std::make_shared<Recorded>();
               const FlatMask& mask = recorded->mask = anyMask(call.c, true);
               call.data = recorded;
               const int width = call.size().width + (call.c.usual ? 0 : call.c.random.below(3));
               const Qor8u* const elements = mask.elements.data();
               if (!call.c.usual && call.c.random.oneIn(3)) {
                 QoriMorphState*& state = call.at<QoriMorphState*>('t');
                 EXPECT_EQ(allocate(width, elements, mask.size, mask.anchor, &state), qorStsNoErr);
                 recorded->release = [state] { EXPECT_EQ(qoriMorphologyFree(state), qorStsNoErr); };
                 return;
               }
               int spec = 0;
               EXPECT_EQ(query(width, elements, mask.size, &spec), qorStsNoErr);
               uint8_t* block;
               if (isGeneral(mask)) {
                 block = call.block('t', spec);
               } else {
                 recorded->block = std::make_unique<GuardedBytes>(call.c.scratch(spec));
                 block = recorded->block->data();
                 call.at<uint8_t*>('t') = block;
               }
               EXPECT_EQ(init(width, elements, mask.size, mask.anchor, stateIn(block)), qorStsNoErr);
             },
         .expect = [=](Call& c) { expectFiltered<T>(c, highest); },
         .own = ownChecks,
         .read = "t",
         .sweep = imageSizes});
}

// ---- records

template <class T>
void addRecord(Descriptions& d, const char* sizeName, auto* query, const char* initName, auto* init) {
  d.add(sizeName, query, "zkrr",
        {.checks = "null | size | own 1",
         .draw = drawMask,
         .expect =
             [=](Call& c) {
               const Sizes want = sizesOf(formOf<T>(sizeName), c.size().width, c.at<QoriSize>('k'));
               c.expectResult(1, static_cast<int>(want.spec));
               c.expectResult(2, static_cast<int>(want.buffer));
             },
         .own = [](DescribedContract& c, int which) { checkMask(c, which); },
         .sweep = querySizes});
  d.add(initName, init, "zMkqw",
        {.checks = "null | size | own 1",
         .draw = drawMask,
         .shape =
             [=](const Arguments& a, char role, int, Shape& s) {
               if (role == 'q') s.width = sizesOf(formOf<T>(sizeName), a.size().width, a.at<QoriSize>('k')).spec;
             },
         .own = [](DescribedContract& c, int which) { checkMask(c, which); },
         .sweep = recordSizes});
}

template <class T>
void addReplicateRecord(Descriptions& d, const char* sizeName, auto* query, const char* initName, auto* init,
                        const char* allocateName, auto* allocate) {
  const auto own = [](DescribedContract& c, int which) { checkMask(c, which); };
  const auto spec = [=](const Arguments& a) {
    return sizesOf(formOf<T>(sizeName), a.size().width, a.at<QoriSize>('k')).spec;
  };
  d.add(sizeName, query, "zMkr",
        {.checks = "null | size | own 1",
         .draw = drawMask,
         .expect = [=](Call& c) { c.expectResult(1, static_cast<int>(spec(c))); },
         .own = own,
         .sweep = querySizes});
  d.add(initName, init, "zMkAq",
        {.checks = "null | size | own 1 | own 2",
         .draw = drawMask,
         .shape =
             [=](const Arguments& a, char role, int, Shape& s) {
               if (role == 'q') s.width = spec(a);
             },
         .own = own,
         .sweep = recordSizes});
  d.add(allocateName, allocate, "zMkAa",
        {.checks = "null | size | own 1 | own 2",
         .draw = drawMask,
         .release = [](Arguments& a) { EXPECT_EQ(qoriMorphologyFree(*a.at<QoriMorphState**>('a')), qorStsNoErr); },
         .own = own,
         .sweep = recordSizes});
}

const Descriptions members([](Descriptions& d) {
#define QOR_FORM(form, T)                                                                                             \
  addRecord<T>(d, QORTEST_NAMED(qoriMorphologyBorderGetSize_##form), QORTEST_NAMED(qoriMorphologyBorderInit_##form)); \
  addBorder<T>(d, QORTEST_NAMED(qoriDilateBorder_##form), qoriMorphologyBorderGetSize_##form,                         \
               qoriMorphologyBorderInit_##form, true);                                                                \
  addBorder<T>(d, QORTEST_NAMED(qoriErodeBorder_##form), qoriMorphologyBorderGetSize_##form,                          \
               qoriMorphologyBorderInit_##form, false);
#define QOR_MORPH_BORDER(form, T, channels) QOR_FORM(form, T)
#define QOR_MORPH_PACKED(form) QOR_FORM(form, Qor8u)
#define QOR_MORPH_REPLICATE(form, T, channels)                                                                    \
  QOR_FORM(form, T)                                                                                               \
  addReplicateRecord<T>(d, QORTEST_NAMED(qoriMorphologyGetSize_##form), QORTEST_NAMED(qoriMorphologyInit_##form), \
                        QORTEST_NAMED(qoriMorphologyInitAlloc_##form));                                           \
  addReplicate<T>(d, QORTEST_NAMED(qoriDilateBorderReplicate_##form), qoriMorphologyGetSize_##form,               \
                  qoriMorphologyInit_##form, qoriMorphologyInitAlloc_##form, true);                               \
  addReplicate<T>(d, QORTEST_NAMED(qoriErodeBorderReplicate_##form), qoriMorphologyGetSize_##form,                \
                  qoriMorphologyInit_##form, qoriMorphologyInitAlloc_##form, false);
#include "../../src/morph/forms.def"
});

// ---- on paper

TEST(Morphology, OnPaper) {
  // A row of two elements right of the centre: what is dilated moves left, and is not reflected.
  const Qor8u mask[] = {0, 0, 0, 7, 255}, src[] = {0, 0, 0, 0, 9, 0, 3};
  const Qor8u dilated[] = {0, 0, 9, 9, 3, 3, 3}, eroded[] = {0, 0, 0, 0, 0, 3, 3};
  int spec = 0, scratch = 0;
  ASSERT_EQ(qoriMorphologyBorderGetSize_8u_C1R(7, {5, 1}, &spec, &scratch), qorStsNoErr);
  const GuardedBytes record(spec), buffer(scratch);
  ASSERT_EQ(qoriMorphologyBorderInit_8u_C1R(7, mask, {5, 1}, stateIn(record.data()), buffer.data()), qorStsNoErr);
  Qor8u dst[7];
  const auto filter = [&](auto* operation) {
    return operation(src, 7, dst, 7, {7, 1}, qorBorderRepl, 0, stateIn(record.data()), buffer.data());
  };
  EXPECT_EQ(filter(qoriDilateBorder_8u_C1R), qorStsNoErr);
  EXPECT_EQ(memcmp(dst, dilated, 7), 0);
  EXPECT_EQ(filter(qoriErodeBorder_8u_C1R), qorStsNoErr);
  EXPECT_EQ(memcmp(dst, eroded, 7), 0);
  EXPECT_EQ(qoriMorphologyFree(nullptr), qorStsNullPtrErr);
}

TEST(Morphology, SizesOnPaper) {
  const auto expect = [](const Form& f, uint32_t spec, uint32_t buffer) {
    const Sizes s = sizesOf(f, 640, {5, 5});
    EXPECT_EQ(s.spec, spec);
    EXPECT_EQ(s.buffer, buffer);
  };
  expect({1, 1, false}, 19312, 18016);
  expect({1, 3, false}, 21312, 20016);
  expect({2, 1, false}, 1296, 34656);
  expect({4, 4, false}, 104512, 103216);
  expect({1, 1, true}, 192, 18016);
}

// The least step of bits ignores their offset: a row ends in the byte in which the next one begins.
TEST(Morphology, RowsOfBitsMayShareBytes) {
  const Qor8u mask[] = {1};
  int spec = 0, scratch = 0;
  ASSERT_EQ(qoriMorphologyBorderGetSize_1u_C1R(8, {1, 1}, &spec, &scratch), qorStsNoErr);
  const GuardedBytes record(spec), buffer(scratch);
  ASSERT_EQ(qoriMorphologyBorderInit_1u_C1R(8, mask, {1, 1}, stateIn(record.data()), buffer.data()), qorStsNoErr);
  const Qor8u src[] = {0x5a, 0xff, 0x00, 0xa5};
  Qor8u dst[] = {7, 0, 0, 0, 0x28};
  EXPECT_EQ(
      qoriErodeBorder_1u_C1R(src, 1, 0, dst, 1, 3, {8, 4}, qorBorderRepl, 0, stateIn(record.data()), buffer.data()),
      qorStsNoErr);
  const Qor8u want[] = {0xd7, 0xfa, 0x07, 0x28, 0x2d};
  EXPECT_EQ(memcmp(dst, want, sizeof want), 0);
}

// Tiles with their neighbours in memory make the whole.
TEST(Morphology, TilesEqualTheWhole) {
  const QoriSize size{150, 70};
  Case c(size, baseSeed());
  for (int round = 0; round < 20; ++round) {
    setCase("tiles, round %d", round);
    const FlatMask mask = anyMask(c, false);
    GuardedImage<Qor8u> src(size, {.margin = mask.reach()}), whole(size), tiles(size);
    src.generate(Maker<Qor8u>(Data::Random, c.random.bits()));
    int spec = 0, scratch = 0;
    ASSERT_EQ(qoriMorphologyBorderGetSize_8u_C1R(size.width, mask.size, &spec, &scratch), qorStsNoErr);
    const GuardedBytes record(spec), buffer(scratch);
    ASSERT_EQ(qoriMorphologyBorderInit_8u_C1R(size.width, mask.elements.data(), mask.size, stateIn(record.data()),
                                              buffer.data()),
              qorStsNoErr);
    const auto filter = [&](const GuardedImage<Qor8u>& dst, const QoriRect& r) {
      EXPECT_EQ(qoriDilateBorder_8u_C1R(&src.at(r.x, r.y), src.step(), &dst.at(r.x, r.y), dst.step(),
                                        {r.width, r.height}, qorBorderInMem, 0, stateIn(record.data()), buffer.data()),
                qorStsNoErr);
    };
    filter(whole, {0, 0, size.width, size.height});
    for (const int y : {0, 33})
      for (const int x : {0, 20, 140}) filter(tiles, {x, y, x == 0 ? 20 : x == 20 ? 120 : 10, y == 0 ? 33 : 37});
    expectSame(tiles, whole.pixels());
  }
}

}  // namespace
