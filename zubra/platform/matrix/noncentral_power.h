// NoncentralPower: the power of the t and F tests of regression coefficients, from the
// noncentral t and F distributions.
#pragma once

namespace zubra {

// The probability that a test of level `alpha` rejects its null hypothesis when the
// alternative of the given noncentrality holds. Both functions accept 0 < alpha < 1, degrees
// of freedom of at least 1 and a finite non-negative noncentrality (the sign of the t
// noncentrality does not matter for the two-sided test); any other argument gives the
// undefined value -99. The result lies in alpha..1 and is never NaN; for noncentralities so
// large that the distributions' series give up (tens of thousands of standard errors) it is
// their limit, the chance that the residual sum of squares stays below what hides the effect.
class NoncentralPower {
 public:
  NoncentralPower() = delete;

  // The two-sided t test of H0: beta = 0 with `df` degrees of freedom, when beta over its
  // standard error is `delta`: P(|T| > t(1 - alpha/2, df)) with T noncentral t(df, delta).
  static double TwoSidedT(double df, double delta, double alpha);
  // The F test of H0: beta = 0 for a block of `df1` coefficients with `df2` residual degrees
  // of freedom, when beta' Cov(beta)^-1 beta is `lambda`: P(F > F(1 - alpha, df1, df2)) with
  // F noncentral F(df1, df2, lambda).
  static double FTest(double df1, double df2, double lambda, double alpha);
};

}  // namespace zubra
