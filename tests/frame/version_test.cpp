// The version record and the layer under the library.
#include "qorcv/version.h"

#include <limits.h>
#include <sched.h>
#include <string.h>
#include <unistd.h>

#include <iterator>
#include <string>
#include <utility>

#include "qorcore.h"
#include "support/support.h"

namespace {
using namespace qortest;

TEST(Version, RecordOfTheLoadedLibrary) {
  const QorLibraryVersion* v = qorcvGetLibVersion();
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v, qorcvGetLibVersion());
  EXPECT_EQ(v->major, 8);
  EXPECT_EQ(v->minor, 2);
  EXPECT_EQ(v->update, 1);
  EXPECT_EQ(v->revision, 44077);
  const bool wide = memcmp(v->cpuCode, "v3\0\0", 4) == 0;
  EXPECT_TRUE(wide || memcmp(v->cpuCode, "t6\0\0", 4) == 0);
  EXPECT_STREQ(v->version, "8.2.1 (r44077)");
  EXPECT_STREQ(v->buildDate, "Oct  9 2014");
  std::string name = wide ? "qorCV AVX2 (v3 threaded)" : "qorCV SSE4.1/4.2 (t6 threaded)";
  if ((qorGetEnabledCpuFeatures() & qorFeatureAvx) != 0) name += '+';
  EXPECT_EQ(v->name, name);
}

TEST(Core, ThreadCount) {
  ThreadCount restore(3);
  int count = -7;
  EXPECT_EQ(qorGetNumThreads(nullptr), qorStsNullPtrErr);
  for (const int refused : {0, -1, INT_MIN}) {
    EXPECT_EQ(qorSetNumThreads(refused), qorStsSizeErr);
  }
  EXPECT_EQ(qorGetNumThreads(&count), qorStsNoErr);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(ownGetNumThreads(), 3);
  for (const auto& [set, stored] : {std::pair{1024, 1024}, {1025, 1024}, {1000000, 1024}, {INT_MAX, 1024}, {1, 1}}) {
    EXPECT_EQ(qorSetNumThreads(set), qorStsNoErr);
    EXPECT_EQ(ownGetNumThreads(), stored) << set;
  }
}

// The program of a death test starts anew, under the mask of this one.
TEST(CoreDeathTest, StartsWithTheProcessorsItMayRunOn) {
  cpu_set_t all, one;
  ASSERT_EQ(sched_getaffinity(0, sizeof all, &all), 0);
  EXPECT_EXIT(_exit(ownGetNumThreads() == CPU_COUNT(&all) ? 3 : 4), testing::ExitedWithCode(3), "");
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  EXPECT_EXIT(_exit(ownGetNumThreads() == 1 ? 3 : 4), testing::ExitedWithCode(3), "");
  EXPECT_EQ(sched_setaffinity(0, sizeof all, &all), 0);
}

TEST(Core, Processor) {
  EXPECT_GE(qorGetNumCoresOnDie(), 1);
  uint64_t features = 0;
  uint32_t word = 0;
  EXPECT_EQ(qorGetCpuFeatures(&features, &word), features);
  EXPECT_EQ(qorGetCpuFeatures(nullptr, nullptr), features);
  EXPECT_NE(word, 0U);
  // What the library itself is built for.
  EXPECT_NE(features & qorFeatureSse42, 0U);
  for (int bit = 0; bit < 64; ++bit)
    EXPECT_EQ(ownGetFeature(uint64_t{1} << bit), (qorGetEnabledCpuFeatures() >> bit & 1) != 0 ? 1 : 0) << bit;
  constexpr uint64_t unknown = uint64_t{3} << 62;
  EXPECT_EQ(ownGetFeature(0), 0);
  EXPECT_EQ(ownGetFeature(unknown), 0);
  EXPECT_EQ(ownGetFeature(unknown | qorFeatureSse | qorFeatureSse42), 1);
  int size = 0;
  EXPECT_EQ(qorGetMaxCacheSizeB(nullptr), qorStsNullPtrErr);
  if (qorGetMaxCacheSizeB(&size) == qorStsNoErr) {
    EXPECT_GE(size, 16 * 1024);
  }
}

TEST(Core, Memory) {
  EXPECT_EQ(qorMalloc(0), nullptr);
  EXPECT_EQ(qorMalloc(-5), nullptr);
  // All at once, so that no block is given twice.
  constexpr int sizes[] = {1, 7, 63, 65, 129, 1000, 1001, 4095, 70001};
  void* blocks[std::size(sizes)];
  for (size_t i = 0; i < std::size(sizes); ++i) {
    blocks[i] = qorMalloc(sizes[i]);
    ASSERT_NE(blocks[i], nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(blocks[i]) % 64, 0U) << sizes[i];
    memset(blocks[i], 1, static_cast<size_t>(sizes[i]));
  }
  for (void* block : blocks) qorFree(block);
  qorFree(nullptr);
}

}  // namespace
