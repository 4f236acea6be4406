#include <algorithm>

#include "qorcv/feature.h"
#include "qorcv/filter.h"
#include "support/support.h"

namespace {
using namespace qortest;

int sizeBy(auto* query, QoriSize size, auto... modes) {
  int bytes = -1;
  const QorStatus status = query(size, modes..., &bytes);
  return status == qorStsNoErr ? bytes : status;
}

// What queries report, worked out by hand from their headers. Of a large region Harris' tiles need most, or strips.
TEST(FeatureSizes, OnPaper) {
  EXPECT_EQ(sizeBy(qoriCannyGetSize, {65532, 1}), 5 * 65534 * 3 + 16 * 65532 + 160);
  EXPECT_EQ(sizeBy(qoriCannyGetSize, {1, 65533}), 9 * 3 * 65535 + 16 + 160);
  EXPECT_EQ(sizeBy(qoriCannyBorderGetSize, {641, 479}, 0, 33, 0), 643 * 497 + 4 * 643 * 481 + 64);
  EXPECT_EQ(sizeBy(qoriCannyBorderGetSize, {641, 479}, 0, 55, 0), 645 * 499 + 4 * 645 * 483 + 64);
  EXPECT_EQ(sizeBy(qoriHarrisCornerGetBufferSize, {640, 480}, 33, 3, qor8u, 1), 188464);
  EXPECT_EQ(sizeBy(qoriHarrisCornerGetBufferSize, {640, 480}, 55, 16, qor32f, 1), 494408);
  EXPECT_EQ(sizeBy(qoriLineSuppressionGetBufferSize, {100, 90}, 33, 15, qor32f, 1), 297680);
  EXPECT_EQ(sizeBy(qoriLineSuppressionGetBufferSize, {2, 9}, 33, 3, qor8u, 1), 2456);
  EXPECT_EQ(sizeBy(qoriHarrisCornerGetBufferSize, {640, 480}, 33, -1, qor8u, 1), qorStsMaskSizeErr);
  EXPECT_EQ(sizeBy(qoriHarrisCornerGetBufferSize, {3, 3}, 33, INT_MIN, qor8u, 1), qorStsSizeErr);
  for (const int threads : {1, 40}) {
    const ThreadCount count(threads);
    const QoriSize size{640, 480};
    const int mean = sizeBy(qoriFilterLowpassGetBufferSize_32f_C1R, size, 33);
    const int scharr = std::max(sizeBy(qoriFilterScharrVertGetBufferSize_8u16s_C1R, size),
                                sizeBy(qoriFilterScharrHorizGetBufferSize_8u16s_C1R, size));
    const int scharr32f = std::max(sizeBy(qoriFilterScharrVertGetBufferSize_32f_C1R, size),
                                   sizeBy(qoriFilterScharrHorizGetBufferSize_32f_C1R, size));
    EXPECT_EQ(sizeBy(qoriMinEigenValGetBufferSize_8u32f_C1R, size, 3, 3),
              std::max({threads * (1984 + 32), mean, scharr}) + 16 * 640 * 480 + 224);
    EXPECT_EQ(sizeBy(qoriEigenValsVecsGetBufferSize_32f_C1R, size, 3, 3),
              std::max(mean, scharr32f) + 20 * 640 * 480 + 224);
  }
}

}  // namespace
