#include "zubra/platform/matrix/noncentral_power.h"

#include <algorithm>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/non_central_f.hpp>
#include <boost/math/distributions/non_central_t.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <exception>

#include "zubra/platform/base/undefined.h"

namespace zubra {
namespace {

bool ValidLevel(double alpha) { return alpha > 0.0 && alpha < 1.0; }

// P(chi-square(df) < x), the limit of both powers when the noncentrality is so large that
// the numerator of the statistic is all but exactly its mean: the test then rejects unless
// the residual sum of squares is large enough to hide it.
double ChiSquaredBelow(double df, double x) {
  if (!(x > 0.0)) return 0.0;
  if (!std::isfinite(x)) return 1.0;
  return boost::math::cdf(boost::math::chi_squared(df), x);
}

}  // namespace

double NoncentralPower::TwoSidedT(double df, double delta, double alpha) {
  if (!ValidLevel(alpha) || !(df >= 1.0) || !std::isfinite(df) || !std::isfinite(delta)) {
    return kUndefined;
  }
  delta = std::fabs(delta);
  const boost::math::students_t central(df);
  const double critical = boost::math::quantile(boost::math::complement(central, alpha / 2.0));
  if (delta == 0.0) return alpha;
  double power = 0.0;
  try {
    const boost::math::non_central_t shifted(df, delta);
    power = boost::math::cdf(boost::math::complement(shifted, critical)) +
            boost::math::cdf(shifted, -critical);
  } catch (const std::exception&) {
    // The series give up only for noncentralities in the tens of thousands, where
    // T = (Z + delta) / sqrt(chi2 / df) exceeds the critical value when chi2 < df (delta/t)^2.
    power = ChiSquaredBelow(df, df * (delta / critical) * (delta / critical));
  }
  return std::clamp(power, alpha, 1.0);
}

double NoncentralPower::FTest(double df1, double df2, double lambda, double alpha) {
  if (!ValidLevel(alpha) || !(df1 >= 1.0) || !(df2 >= 1.0) || !std::isfinite(df1) ||
      !std::isfinite(df2) || !(lambda >= 0.0) || !std::isfinite(lambda)) {
    return kUndefined;
  }
  const boost::math::fisher_f central(df1, df2);
  const double critical = boost::math::quantile(boost::math::complement(central, alpha));
  if (lambda == 0.0) return alpha;
  double power = 0.0;
  try {
    const boost::math::non_central_f shifted(df1, df2, lambda);
    power = boost::math::cdf(boost::math::complement(shifted, critical));
  } catch (const std::exception&) {
    // As for t: the numerator chi-square is close to lambda.
    power = ChiSquaredBelow(df2, df2 * (lambda + df1) / (df1 * critical));
  }
  return std::clamp(power, alpha, 1.0);
}

}  // namespace zubra
