// The power of the t and F tests, against figures computed by direct numerical integration
// of the noncentral densities (30 digits) outside this library.
#include "zubra/platform/matrix/noncentral_power.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "zubra/platform/base/undefined.h"

namespace zubra {
namespace {

TEST(NoncentralPower, MatchesIndependentlyIntegratedFigures) {
  struct Row {
    std::string name;
    double df1;  // 0 for the t test
    double df2;
    double noncentrality;
    double expected;
  };
  const std::vector<Row> rows = {
      {"t, 8 df, delta 2", 0, 8, 2.0, 0.421051938048},
      {"t, 12 df, delta 2", 0, 12, 2.0, 0.452193700935},
      {"t, the sign of delta does not matter", 0, 8, -2.0, 0.421051938048},
      {"F with one column is the squared t", 1, 8, 4.0, 0.421051938048},
      {"F, 2 and 9 df, lambda 2", 2, 9, 2.0, 0.173282415671},
      {"F, 2 and 12 df, lambda 3", 2, 12, 3.0, 0.258324102361},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const double power = row.df1 == 0
                             ? NoncentralPower::TwoSidedT(row.df2, row.noncentrality, 0.05)
                             : NoncentralPower::FTest(row.df1, row.df2, row.noncentrality, 0.05);
    EXPECT_NEAR(power, row.expected, 1e-9);
  }
}

TEST(NoncentralPower, NoEffectGivesTheLevelAndBadArgumentsGiveUndefined) {
  EXPECT_DOUBLE_EQ(NoncentralPower::TwoSidedT(5, 0.0, 0.05), 0.05);
  EXPECT_DOUBLE_EQ(NoncentralPower::FTest(3, 5, 0.0, 0.1), 0.1);
  EXPECT_EQ(NoncentralPower::TwoSidedT(0.5, 2.0, 0.05), kUndefined);
  EXPECT_EQ(NoncentralPower::TwoSidedT(8, 2.0, 1.0), kUndefined);
  EXPECT_EQ(NoncentralPower::TwoSidedT(8, std::numeric_limits<double>::quiet_NaN(), 0.05),
            kUndefined);
  EXPECT_EQ(NoncentralPower::FTest(2, 8, -1.0, 0.05), kUndefined);
}

TEST(NoncentralPower, HugeNoncentralitiesGiveTheLimitingPowerNotAnError) {
  // Far beyond where the series work: with 2 df the t test still misses when the residual
  // chi-square happens to be enormous, so the power is close to but below 1.
  const double t = NoncentralPower::TwoSidedT(2, 1e5, 0.05);
  EXPECT_GT(t, 0.999);
  EXPECT_LE(t, 1.0);
  const double f = NoncentralPower::FTest(2, 2, 1e10, 0.05);
  EXPECT_GT(f, 0.999);
  EXPECT_LE(f, 1.0);
  // A tiny level with one df keeps the power well below 1 even so.
  EXPECT_LT(NoncentralPower::TwoSidedT(1, 1e5, 1e-9), 0.9);
}

}  // namespace
}  // namespace zubra
