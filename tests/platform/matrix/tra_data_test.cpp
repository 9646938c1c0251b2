#include "zubra/platform/matrix/tra_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "zubra/platform/base/undefined.h"

namespace zubra {
namespace {

using T = TraData;

TEST(TraData, EveryTypeNameReadsBackAlsoWithItsFirstLetterLowered) {
  std::set<std::string> lowered_names;
  for (int code = 0; code < T::kTypeCount; ++code) {
    const auto type = static_cast<T::ETraType>(code);
    std::string name = T::GetString(type);
    SCOPED_TRACE(name);
    ASSERT_FALSE(name.empty());
    EXPECT_EQ(T::GetETraType(name), type);
    name[0] = static_cast<char>(name[0] - 'A' + 'a');
    EXPECT_EQ(T::GetETraType(name), type);
    lowered_names.insert(name);
  }
  EXPECT_EQ(lowered_names.size(), static_cast<std::size_t>(T::kTypeCount));
  for (const char* unknown : {"", "LOG", "Neglog", "Log ", "sqrt"}) {
    EXPECT_EQ(T::GetETraType(unknown), T::kNone) << unknown;
  }
  EXPECT_EQ(T::GetString(static_cast<T::ETraType>(7)), "");
}

TEST(TraData, ForwardValuesFollowTheDisplayedFormulas) {
  struct Row {
    T::ETraType type;
    double x, c1, c2, c3;
    double expected;
  };
  const std::vector<Row> rows = {
      {T::kLinear, 4, 2, -3, 0, 5},                    // 2*x-3
      {T::kLog, 49.5, 2, 1, 0, 2},                     // 10Log(2*x+1)
      {T::kNegLog, 2.25, 5, 2, 0, -std::log10(0.5)},   // -10Log(5-2*x)
      {T::kLogit, 9.05, 0.5, 10, 0, std::log10(9.0)},  // 10Log((x-0.5)/(10-x))
      {T::kExp, 0.5, 2, 1, 0, std::exp(2.0)},          // Exp(2*x+1)
      {T::kPower, 4, 2, 1, 0.5, 3},                    // (2*x+1)^0.5
      {T::kPower, -1, 2, 0, 3, -8},                    // an odd power keeps the sign
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(T::GetString(row.type));
    EXPECT_NEAR(T::Tra(row.x, row.type, row.c1, row.c2, row.c3), row.expected, 1e-12);
  }
}

TEST(TraData, BackTransformInvertsTheForwardOneAcrossItsDomain) {
  struct Row {
    const char* name;
    T::ETraType type;
    double c1, c2, c3;
    // Size of the offsets the back formula subtracts; it bounds the absolute error near 0.
    double scale;
    std::vector<double> xs;
  };
  const std::vector<Row> rows = {
      {"linear", T::kLinear, -0.5, 10, 0, 20, {-1e6, 0, 7.75, 1e4}},
      {"log", T::kLog, 1, 0, 0, 0, {1e-30, 0.3, 42, 1e30}},
      {"log of 2x+1", T::kLog, 2, 1, 0, 0.5, {-0.49, 0, 3, 1e5}},
      {"negative log", T::kNegLog, 5, 2, 0, 2.5, {-1e4, 0, 2, 2.49}},
      {"logit", T::kLogit, 0.5, 10, 0, 10, {0.51, 5.25, 9.99}},
      {"logit, reversed bounds", T::kLogit, 10, 0, 0, 10, {0.01, 3, 9.99}},
      {"exp", T::kExp, -2, 1, 0, 0.5, {-100, 0, 3.3, 100}},
      {"square root", T::kPower, 2, 1, 0.5, 0.5, {-0.5, 0, 4, 1e6}},
      {"cube", T::kPower, 1, 0, 3, 0, {-1e3, -2, 0, 2}},
      {"negative exponent", T::kPower, 3, 1, -1.5, 0.34, {-0.3, 0, 1e3}},
      {"reciprocal", T::kPower, 1, 0, -1, 0, {-8, -0.5, 8}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    for (double x : row.xs) {
      const double y = T::Tra(x, row.type, row.c1, row.c2, row.c3);
      ASSERT_NE(y, kUndefined) << x;
      // Single-precision accuracy, relative to the larger of the value and the offsets.
      EXPECT_NEAR(T::BackTra(y, row.type, row.c1, row.c2, row.c3), x,
                  std::numeric_limits<float>::epsilon() * std::max(std::fabs(x), row.scale));
    }
  }
}

TEST(TraData, ValuesOutsideTheDomainGiveTheUndefinedValue) {
  struct Row {
    const char* name;
    bool forward;
    T::ETraType type;
    double value, c1, c2, c3;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<Row> rows = {
      {"log of zero", true, T::kLog, 0, 1, 0, 0},
      {"negative log of a negative number", true, T::kNegLog, 3, 5, 2, 0},
      {"logit at its upper bound (0 divisor)", true, T::kLogit, 10, 0.5, 10, 0},
      {"logit at its lower bound (log of 0)", true, T::kLogit, 0.5, 0.5, 10, 0},
      {"exp overflow", true, T::kExp, 1000, 1, 0, 0},
      {"linear overflow", true, T::kLinear, std::numeric_limits<double>::max(), 10, 0, 0},
      {"fractional power of a negative base", true, T::kPower, -1, 1, 0, 0.5},
      {"negative power of zero", true, T::kPower, 0, 1, 0, -1},
      {"unknown type", true, static_cast<T::ETraType>(9), 1, 1, 0, 0},
      {"undefined input, none", true, T::kNone, kUndefined, 1, 0, 0},
      {"undefined input, power", true, T::kPower, kUndefined, 1, 0, 2},
      {"NaN constant", true, T::kLog, 1, nan, 0, 0},
      {"linear back with c1 = 0", false, T::kLinear, 1, 0, 1, 0},
      {"log back with c1 = 0", false, T::kLog, 1, 0, 1, 0},
      {"log back overflow", false, T::kLog, 400, 1, 0, 0},
      {"negative log back with c2 = 0", false, T::kNegLog, 1, 5, 0, 0},
      {"logit back overflow", false, T::kLogit, 400, 0.5, 10, 0},
      {"exp back of zero", false, T::kExp, 0, 1, 0, 0},
      {"exp back with c1 = 0", false, T::kExp, 1, 0, 0, 0},
      {"power back with c3 = 0", false, T::kPower, 1, 1, 0, 0},
      {"even root of a negative number", false, T::kPower, -4, 1, 0, 2},
      {"undefined input back", false, T::kExp, kUndefined, 1, 0, 0},
      {"NaN input back", false, T::kLinear, nan, 1, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.forward ? T::Tra(row.value, row.type, row.c1, row.c2, row.c3)
                          : T::BackTra(row.value, row.type, row.c1, row.c2, row.c3),
              kUndefined);
  }
}

}  // namespace
}  // namespace zubra
