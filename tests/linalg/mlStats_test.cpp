#include "linalg/mlStats.h"

#include <gtest/gtest.h>

#include <cmath>

#include "linalg/mlRandom.h"

namespace {

TEST(mlStats, MeanAndVarianceStayAccurateFarFromZero) {
  mlStats stats;
  EXPECT_EQ(stats.mean(), 0.0);
  EXPECT_EQ(stats.variance(), 0.0);
  EXPECT_EQ(stats.sample_variance(), 0.0);
  // 1e9 + {4, 7, 13, 16}: mean 1e9 + 10, squared deviations 36 + 9 + 9 + 36 = 90.
  for (double d : {4.0, 7.0, 13.0, 16.0})
    stats.add(1e9 + d);
  EXPECT_EQ(stats.count(), 4.0);
  EXPECT_EQ(stats.mean(), 1e9 + 10);
  EXPECT_NEAR(stats.variance(), 22.5, 1e-6);
  EXPECT_NEAR(stats.sample_variance(), 30.0, 1e-6);
  EXPECT_NEAR(stats.standard_deviation(), std::sqrt(22.5), 1e-7);
  stats.clear();
  EXPECT_EQ(stats.count(), 0.0);
  EXPECT_EQ(stats.mean(), 0.0);
}

TEST(mlStatsRandom, IsDeterministicAndUniform) {
  mlRandom a(42), b(42), c(43);
  for (int i = 0; i < 100; ++i) {
    const std::uint64_t x = a.next();
    ASSERT_EQ(x, b.next());
    ASSERT_NE(x, c.next());
  }
  // The published SplitMix64 sequence for seed 0.
  mlRandom zero(0);
  EXPECT_EQ(zero.next(), 0xE220A8397B1DCDAFu);
  EXPECT_EQ(zero.next(), 0x6E789E6AA1B965F4u);
  // Continuing from the stored state gives the same sequence.
  mlRandom resumed(zero.seed());
  EXPECT_EQ(resumed.next(), zero.next());

  mlRandom random(2026);
  mlStats uniform;
  int buckets[10] = {};
  for (int i = 0; i < 200000; ++i) {
    const double u = random.uniform();
    ASSERT_GE(u, 0.0);
    ASSERT_LT(u, 1.0);
    uniform.add(u);
    buckets[random.integer(10)] += 1;
  }
  EXPECT_NEAR(uniform.mean(), 0.5, 0.005);
  EXPECT_NEAR(uniform.variance(), 1.0 / 12.0, 0.002);
  for (int count : buckets)
    EXPECT_NEAR(count, 20000, 800);
  EXPECT_EQ(random.integer(0), 0);
  const double x = random.uniform(-3.0, -1.0);
  EXPECT_GE(x, -3.0);
  EXPECT_LT(x, -1.0);
}

}  // namespace
