// The version record and the layer under the library.
#include "qorcv/version.h"

#include <limits.h>
#include <string.h>

#include <string>

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
    EXPECT_EQ(ownGetFeature(uint64_t{1} << bit) != 0, (qorGetEnabledCpuFeatures() >> bit & 1) != 0) << bit;
  int size = 0;
  EXPECT_EQ(qorGetMaxCacheSizeB(nullptr), qorStsNullPtrErr);
  if (qorGetMaxCacheSizeB(&size) == qorStsNoErr) {
    EXPECT_GE(size, 16 * 1024);
  }
}

TEST(Core, Memory) {
  EXPECT_EQ(qorMalloc(0), nullptr);
  EXPECT_EQ(qorMalloc(-5), nullptr);
  void* const p = qorMalloc(1000);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0U);
  memset(p, 1, 1000);
  qorFree(p);
  qorFree(nullptr);
}

}  // namespace
