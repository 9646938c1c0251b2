#include "zubra/platform/matrix/tra_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "zubra/platform/base/undefined.h"

namespace zubra {
namespace {

using T = TraData;

// Forward values follow the displayed formulas; values outside a formula's domain, overflows
// and undefined or NaN input give the undefined value.
TEST(TraData, ValuesAreTheFormulasOrUndefinedOutsideTheirDomain) {
  struct Row {
    const char* name;
    bool forward;
    T::ETraType type;
    double value, c1, c2, c3, expected;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double kU = kUndefined;
  const std::vector<Row> rows = {
      {"2*x-3", true, T::kLinear, 4, 2, -3, 0, 5},
      {"10Log(2*x+1)", true, T::kLog, 49.5, 2, 1, 0, 2},
      {"-10Log(5-2*x)", true, T::kNegLog, 2.25, 5, 2, 0, -std::log10(0.5)},
      {"10Log((x-0.5)/(10-x))", true, T::kLogit, 9.05, 0.5, 10, 0, std::log10(9.0)},
      {"Exp(2*x+1)", true, T::kExp, 0.5, 2, 1, 0, std::exp(2.0)},
      {"(2*x+1)^0.5", true, T::kPower, 4, 2, 1, 0.5, 3},
      {"an odd power keeps the sign", true, T::kPower, -1, 2, 0, 3, -8},
      {"log of zero", true, T::kLog, 0, 1, 0, 0, kU},
      {"negative log of a negative number", true, T::kNegLog, 3, 5, 2, 0, kU},
      {"logit at its upper bound (0 divisor)", true, T::kLogit, 10, 0.5, 10, 0, kU},
      {"logit at its lower bound (log of 0)", true, T::kLogit, 0.5, 0.5, 10, 0, kU},
      {"exp overflow", true, T::kExp, 1000, 1, 0, 0, kU},
      {"fractional power of a negative base", true, T::kPower, -1, 1, 0, 0.5, kU},
      {"negative power of zero", true, T::kPower, 0, 1, 0, -1, kU},
      {"unknown type", true, static_cast<T::ETraType>(9), 1, 1, 0, 0, kU},
      {"undefined input, none", true, T::kNone, kU, 1, 0, 0, kU},
      {"NaN constant", true, T::kLog, 1, nan, 0, 0, kU},
      {"linear back with c1 = 0", false, T::kLinear, 1, 0, 1, 0, kU},
      {"log back overflow", false, T::kLog, 400, 1, 0, 0, kU},
      {"negative log back with c2 = 0", false, T::kNegLog, 1, 5, 0, 0, kU},
      {"exp back of zero", false, T::kExp, 0, 1, 0, 0, kU},
      {"power back with c3 = 0", false, T::kPower, 1, 1, 0, 0, kU},
      {"even root of a negative number", false, T::kPower, -4, 1, 0, 2, kU},
      {"undefined input back", false, T::kExp, kU, 1, 0, 0, kU},
      {"NaN input back", false, T::kLinear, nan, 1, 0, 0, kU},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_NEAR(row.forward ? T::Tra(row.value, row.type, row.c1, row.c2, row.c3)
                            : T::BackTra(row.value, row.type, row.c1, row.c2, row.c3),
                row.expected, 1e-12);
  }
}

TEST(TraData, BackTransformInvertsTheForwardOneAcrossItsDomain) {
  struct Row {
    const char* name;
    T::ETraType type;
    // `scale`: size of the offsets the back formula subtracts; it bounds the error near 0.
    double c1, c2, c3, scale;
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

}  // namespace
}  // namespace zubra
