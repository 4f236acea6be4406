#include <math.h>

#include "qorcv/motion.h"
#include "support/support.h"

namespace {
using namespace qortest;

template <class S>
void expectHistory(Call& c) {
  const auto now = c.at<Qor32f>('t');
  const volatile Qor32f limit = now - c.at<Qor32f>('u');
  Image<Qor32f> want = c.before<Qor32f>('i');
  for (int y = 0; y < c.size().height; ++y) {
    for (int x = 0; x < c.size().width; ++x) {
      Qor32f& history = want.at(x, y);
      if (c.before<S>('s').at(x, y) != 0) {
        history = now;
      } else if (history < limit) {
        history = 0;
      }
    }
  }
  c.expect('i', want, Equal::Bits);
}

const Descriptions members([](Descriptions& d) {
#define QOR_MOTION_HISTORY(name, S)                                                                              \
  d.add(QORTEST_NAMED(name), "s.i.ztu",                                                                          \
        {.checks = "null | size | step | even | least u OutOfRangeErr 0",                                        \
         .values = {{'t', {2, 0, 16777218, -300, 1e6, NAN, INFINITY}}, {'u', {1, 0, -0.0, 900, NAN, INFINITY}}}, \
         .expect = expectHistory<S>});
#include "../../src/motion/motion_history.def"
});

// What equals the limit stays, also where the limit was rounded; all of a wide silhouette counts.
TEST(MotionHistory, OnPaper) {
  const Qor16u silhouette[6] = {0, 0x100, 0, 0, 0, 0};
  Qor32f history[6] = {16777216, 3, 16777214, NAN, -5, 16777218};
  const Qor32f want[6] = {16777216, 16777218, 0, NAN, 0, 16777218};
  EXPECT_EQ(qoriUpdateMotionHistory_16u32f_C1IR(silhouette, 12, history, 24, {6, 1}, 16777218, 1), qorStsNoErr);
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(same(history[i], want[i], Equal::Bits)) << i << ": " << history[i];
}

}  // namespace
