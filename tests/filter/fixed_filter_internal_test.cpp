// When fixed filters are shared, with how many threads, and that large teams give the same bits.
#include "qorcv/filter.h"
#include "support/stand_in.h"
#include "support/support.h"

namespace {
using namespace qortest;

// Threads that a call of that size asks for; 1 when it opens no region.
template <class Call, class Query>
unsigned teamOf(Call call, Query query, QoriSize size, int threads, int cores) {
  const ThreadCount count(threads);
  StandIn core;
  core.cores = cores;
  int bytes = 0;
  EXPECT_EQ(query(size, &bytes), qorStsNoErr);
  std::vector<Qor8u> src(static_cast<size_t>(size.width) * static_cast<size_t>(size.height)),
      buffer(static_cast<size_t>(bytes));
  std::vector<Qor8s> dst(src.size());
  EXPECT_EQ(call(src.data(), size.width, dst.data(), size.width, size, buffer.data()), qorStsNoErr);
  EXPECT_LE(core.regions, 1);
  return core.regions == 0 ? 1 : core.lastTeam;
}

QorStatus sobel(const Qor8u* src, int srcStep, Qor8s* dst, int dstStep, QoriSize size, Qor8u* buffer) {
  return qoriFilterSobelVertBorder_8u8s_C1R(src, srcStep, dst, dstStep, size, 55, qorBorderMirror, 0, 7, buffer);
}
QorStatus sobelSize(QoriSize size, int* bytes) { return qoriFilterSobelVertGetBufferSize_8u8s_C1R(size, 55, bytes); }
QorStatus laplacian(const Qor8u* src, int srcStep, Qor8s* dst, int dstStep, QoriSize size, Qor8u* buffer) {
  return qoriFilterLaplacianBorder_8u8s_C1R(src, srcStep, dst, dstStep, size, 55, qorBorderWrap, 0, 7, buffer);
}
QorStatus laplacianSize(QoriSize size, int* bytes) {
  return qoriFilterLaplacianGetBufferSize_8u8s_C1R(size, 55, bytes);
}

TEST(FixedFilterThreads, AreAskedForFromTheirThresholds) {
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 256}, 2, 4), 2U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {255, 256}, 2, 4), 1U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 255}, 2, 4), 1U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 256}, 1, 4), 1U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 256}, 2, 1), 1U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 259}, 52, 4), 1U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 260}, 52, 4), 2U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 640}, 7, 3), 3U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 640}, 7, 64), 5U);
  EXPECT_EQ(teamOf(sobel, sobelSize, {256, 640}, 4, 64), 4U);
  EXPECT_EQ(teamOf(laplacian, laplacianSize, {256, 64}, 2, 4), 2U);
  EXPECT_EQ(teamOf(laplacian, laplacianSize, {256, 63}, 2, 4), 1U);
  EXPECT_EQ(teamOf(laplacian, laplacianSize, {256, 230}, 33, 64), 7U);
}

// Bands of every size, with borders that reach across the whole image.
template <class S, class D, class Query, class Filter>
void expectSameInBands(const char* name, Query query, Filter filter) {
  StandIn core;
  core.cores = 64;
  for (const int border : {0, 2, 3, 1 | 64}) {
    for (const int threads : {7, 33}) {
      Case c({257, 33 * 128 + 5}, 1, Guard::After);
      setCase("%s, border %d, %d threads", name, border, threads);
      auto src = c.image<S>(1, {2, 0, 0, 0});
      auto want = c.output<D>(), got = c.output<D>();
      const auto run = [&](int count, const GuardedImage<D>& dst) {
        const ThreadCount set(count);
        int bytes = 0;
        EXPECT_EQ(query(c.size, 55, &bytes), qorStsNoErr);
        const auto buffer = c.scratch(bytes);
        EXPECT_EQ(filter(src.data(), src.step(), dst.data(), dst.step(), c.size, 55, border, S{9}, buffer.data()),
                  qorStsNoErr);
      };
      run(1, want);
      const int before = core.regions;
      run(threads, got);
      EXPECT_EQ(core.regions, before + 1);
      EXPECT_EQ(core.lastTeam, static_cast<unsigned>(threads));
      expectSame(got, want.pixels(), Equal::Bits);
    }
  }
}

TEST(FixedFilterThreads, GiveTheSameBits) {
  expectSameInBands<Qor8u, Qor16s>("qoriFilterLaplacianBorder_8u16s_C1R", qoriFilterLaplacianGetBufferSize_8u16s_C1R,
                                   qoriFilterLaplacianBorder_8u16s_C1R);
  expectSameInBands<Qor32f, Qor32f>("qoriFilterSobelVertSecondBorder_32f_C1R",
                                    qoriFilterSobelVertSecondGetBufferSize_32f_C1R,
                                    qoriFilterSobelVertSecondBorder_32f_C1R);
}

}  // namespace
