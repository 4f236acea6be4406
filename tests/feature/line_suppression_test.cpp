#include "feature/structure.h"

namespace {
using namespace qortest;

void expectSuppressed(Call& c) {
  const Means m = meansOf<Qor8u>(c);
  Image<Qor8u> want = c.before<Qor8u>('s', 2);
  for (size_t i = 0; i < want.samples.size(); ++i) {
    const Qor32f a = m.a.samples[i], b = m.b.samples[i], xy = m.c.samples[i], trace = a + b;
    if (trace * trace > (a * b - xy * xy) * c.at<Qor32f>('j')) want.samples[i] = 0;
  }
  c.expect('d', want);
}

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriLineSuppression_8u_C1R), "s.s.d.zfknjbvw",
        {.checks = "null | size | one f FilterTypeErr | own 1 | border b BorderErr 240 0 1 6 | least n SizeErr 1 | "
                   "positive .1 StepErr | least .2 StepErr 0 | least .3 StepErr 0 | own 2",
         .values = {{'f', {2, 5, 8}},
                    {'n', {3, 1, 2, 5, 6, 8}},
                    {'b', borders({0, 1, 6}, 240)},
                    {'j', {8, 4, 6, 30, static_cast<double>(NAN), -1}}},
         .draw = drawStructure,
         .shape =
             [](const Arguments& a, char role, int which, Shape& s) {
               if (role == 's' && which == 1) s.margin = marginOf(memorySides(a.number('b')), structureReach(a));
             },
         .fill = fillStructure<Qor8u>,
         .scratch =
             [](const Arguments& a) {
               int bytes = -1;
               EXPECT_EQ(qoriLineSuppressionGetBufferSize(a.size(), a.number('k'), a.number('n'), qor8u, 1, &bytes),
                         qorStsNoErr);
               return bytes;
             },
         .expect = expectSuppressed,
         .own =
             [](DescribedContract& c, int which) {
               if (which == 1) return ownMask(c);
               c.check(
                   "same map", qorStsInPlaceErr, [&c] { return c.now.at<void*>('s', 2) == c.now.at<void*>('d'); },
                   [&c] { c.now.at<void*>('d') = c.now.at<void*>('s', 2); });
             }});
});

}  // namespace
