// Bands of the watershed: formed only inside a region of the caller, by their number part of the result.
#include <omp.h>

#include "segment/watershed_reference.h"
#include "support/stand_in.h"

namespace {
using namespace qortest;

// Calls from the master of a region of that many threads, which may have nested ones.
template <class T>
void callInside(Case& c, int outer, bool nested, QoriNorm norm, int flag) {
  setCase("%d threads outside, %dx%d, nested %d, norm %d, flag %d", outer, c.size.width, c.size.height, nested, norm,
          flag);
  auto relief = c.image<Qor8u>();
  auto marker = c.image<T>();
  makeTerrain(c.random, relief, marker);
  relief.protect();
  const Image<T> want = watershed(relief.pixels(), marker.pixels(), norm, flag, outer);
  int bytes = 0;
  const auto query =
      sizeof(T) == 1 ? qoriSegmentWatershedGetBufferSize_8u_C1R : qoriSegmentWatershedGetBufferSize_8u16u_C1R;
  EXPECT_EQ(query(c.size, &bytes), qorStsNoErr);
  auto scratch = c.scratch(bytes);
  const auto call = [&] {
    if constexpr (sizeof(T) == 1) {
      return qoriSegmentWatershed_8u_C1IR(relief.data(), relief.step(), marker.data(), marker.step(), c.size, norm,
                                          flag, scratch.data());
    } else {
      return qoriSegmentWatershed_8u16u_C1IR(relief.data(), relief.step(), marker.data(), marker.step(), c.size, norm,
                                             flag, scratch.data());
    }
  };
  const ThreadCount count(4);
  StandIn core;
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(nested ? 2 : 1);
#pragma omp parallel num_threads(outer)
  {
#pragma omp master
    EXPECT_EQ(call(), qorStsNoErr);
  }
  omp_set_max_active_levels(levels);
  expectSame(marker, want);
  const int bands = std::min({outer, 32, c.size.height / 8, c.size.width * c.size.height / 256});
  EXPECT_EQ(core.regions, (flag & 1) == 0 && bands > 1 ? 2 : 1) << currentCase();
  if (core.regions == 2) {
    EXPECT_EQ(core.lastTeam, unsigned(std::min(bands, 4))) << currentCase();
  }
}

TEST(Watershed, Bands) {
  int i = 0;
  for (const int outer : {1, 2, 3, 4, 5, 34}) {
    for (const QoriSize size : {QoriSize{40, 15}, {31, 16}, {32, 16}, {133, 24}, {17, 70}, {70, 270}, {1, 600}}) {
      for (const int flag : {1, 2, 66, 130}) {
        ++i;
        Case c(size, baseSeed() + uint64_t(i), i % 2 == 0 ? Guard::After : Guard::Before);
        const QoriNorm norm = flag == 1 ? i & 1 : (i / 4 + flag / 64) & 3;
        i % 3 == 0 ? callInside<Qor16u>(c, outer, i % 5 != 0, norm, flag)
                   : callInside<Qor8u>(c, outer, i % 5 != 0, norm, flag);
      }
    }
  }
}

}  // namespace
