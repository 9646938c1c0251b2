// Prediction variance over the region against the exact figures of a rotatable composite
// design, the coefficient precision against orthogonal designs, and the region sampler.
#include "zubra/evaluation/prediction_variance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "tests/evaluation/evaluation_test_support.h"
#include "zubra/evaluation/region_sampler.h"
#include "zubra/platform/design/nc_design.h"

namespace zubra {
namespace {

using test_support::ExpectMessage;
using test_support::MakeConstraint;
using test_support::Quantitative;
using test_support::RotatableComposite;
using test_support::TwoLevel;

// The points (r cos t, r sin t) for `angles` angles t.
NCDataMatrix<float> Circle(double radius, int angles) {
  NCDataMatrix<float> points(angles, 2);
  for (int i = 0; i < angles; ++i) {
    const double t = 2.0 * std::numbers::pi * i / angles;
    points(i, 0) = static_cast<float>(radius * std::cos(t));
    points(i, 1) = static_cast<float>(radius * std::sin(t));
  }
  return points;
}

TEST(PredictionVariance, RotatableCompositeDesignHasItsKnownVarianceProfile) {
  // Two factors, alpha = sqrt(2), 5 centre points, 13 runs: N v = 2.6 at the centre, 3.49375 at
  // radius 1 and 8.125 at radius sqrt(2), the same in every direction.
  const EvaluatedDesign design = RotatableComposite(5);
  struct Row {
    double radius;
    double expected;
  };
  for (const Row& row : std::vector<Row>{{0.0, 0.2}, {1.0, 0.26875}, {std::sqrt(2.0), 0.625}}) {
    SCOPED_TRACE(row.radius);
    for (const double v : PredictionVariance::At(design, Circle(row.radius, 12))) {
      EXPECT_NEAR(v, row.expected, 1e-6);
    }
  }
  const PredictionVariance::Results pv = PredictionVariance::Compute(design, {});
  ASSERT_FALSE(pv.singular);
  // Over the square -1..+1: the mean of v is trace((X'X)^-1 W) = 0.239444...
  EXPECT_NEAR(pv.exact_mean, 0.2394444444444444, 1e-8);  // the runs are single precision
  EXPECT_NEAR(pv.mean, pv.exact_mean, 0.01 * pv.exact_mean);
  // v = 0.2 - 0.075 r^2 + 0.14375 r^4 dips below its centre value to 0.190217 at r^2 = 6/23.
  EXPECT_GE(pv.minimum, 0.1902173 - 1e-6);
  EXPECT_NEAR(pv.minimum, 0.1902174, 2e-4);
  EXPECT_NEAR(pv.maximum, 0.625, 1e-6);  // the corners of the square and the axial runs
  EXPECT_NEAR(pv.g_efficiency, 100.0 * 6 / (13 * 0.625), 1e-4);
  EXPECT_NEAR(pv.standard_errors[0], std::sqrt(0.2), 1e-9);  // v at the centre
  // The fraction-of-design-space curve climbs from the smallest to the largest sample.
  const auto curve = pv.FdsCurve(11);
  ASSERT_EQ(curve.size(), 11U);
  EXPECT_DOUBLE_EQ(curve.front().second, pv.sorted.front());
  EXPECT_DOUBLE_EQ(curve.back().second, pv.sorted.back());
  for (std::size_t i = 1; i < curve.size(); ++i) EXPECT_GE(curve[i].second, curve[i - 1].second);
  // Half the square (the points within radius sqrt(2/pi) of the centre) lies below v(0.798).
  const double r = std::sqrt(2.0 / std::numbers::pi);
  EXPECT_NEAR(pv.Quantile(0.5), PredictionVariance::At(design, Circle(r, 1))[0], 0.003);
}

TEST(PredictionVariance, CoefficientPrecisionIsMeasuredAgainstAnOrthogonalDesign) {
  struct Row {
    std::string name;
    EvaluatedDesign design;
    double a_efficiency;
    std::vector<double> relative;
  };
  // 2^3 plus one centre point for main effects: the constant gains, the slopes lose
  // sqrt(9/8) against a 9-run orthogonal design.
  EvaluatedDesign centred = TwoLevel(Generators(3, {}, {}), 1);
  NCDataMatrix<float> with_centre = centred.GetCoded();
  with_centre.Resize(9, 3, 0.0F);
  const double slope = std::sqrt(9.0 / 8.0);
  const std::vector<Row> rows = {
      {"2^3", TwoLevel(Generators(3, {}, {}), 1), 100.0, {1, 1, 1, 1}},
      {"2^3 and a centre point",
       EvaluatedDesign(centred.GetFactors(), centred.GetModel(), with_centre),
       100.0 * 4 / (9 * (1.0 / 9 + 3.0 / 8)),
       {1, slope, slope, slope}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const PredictionVariance::Results pv = PredictionVariance::Compute(row.design, {100, 1});
    EXPECT_NEAR(pv.a_efficiency, row.a_efficiency, 1e-9);
    ASSERT_EQ(pv.relative_standard_errors.size(), row.relative.size());
    for (std::size_t j = 0; j < row.relative.size(); ++j) {
      EXPECT_NEAR(pv.relative_standard_errors[j], row.relative[j], 1e-9) << pv.column_names[j];
    }
  }
}

TEST(PredictionVariance, ASaturatedMixtureDesignPredictsEachRunWithVarianceOne) {
  // The {3,2} simplex lattice for the quadratic mixture model: 6 runs, 6 terms.
  Factors factors = test_support::Mixture(3);
  const std::vector<std::vector<float>> runs = {{1, 0, 0},     {0, 1, 0},     {0, 0, 1},
                                                {.5F, .5F, 0}, {.5F, 0, .5F}, {0, .5F, .5F}};
  NCDataMatrix<float> coded(6, 3);
  for (int r = 0; r < 6; ++r) {
    for (int c = 0; c < 3; ++c)
      coded(r, c) = runs[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)];
  }
  const EvaluatedDesign design(
      factors, DesignModel::Make(factors, EModel::kNone, EModel::kQuadratic), coded);
  for (const double v : PredictionVariance::At(design, coded)) EXPECT_NEAR(v, 1.0, 1e-9);
  const PredictionVariance::Results pv = PredictionVariance::Compute(design, {2000, 3});
  EXPECT_EQ(pv.exact_mean, kUndefined);  // no moments for a mixture region
  EXPECT_GE(pv.maximum, 1.0 - 1e-9);
  EXPECT_LE(pv.g_efficiency, 100.0 + 1e-9);
  EXPECT_LT(pv.mean, 1.0);
}

TEST(RegionSampler, SamplesEveryKindOfFactorOverItsRegion) {
  Factors factors = Quantitative(1);
  ASSERT_TRUE(factors.Add(Factors::Factor::Multilevel("L", {1.0, 2.0, 4.0}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Q", {"a", "b"}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Formulation("M1", 0.1, 0.6), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Formulation("M2", 0.1, 0.6), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Formulation("M3", 0.1, 0.6), nullptr));
  Factors::Factor fixed = Factors::Factor::Quantitative("F", 0, 1);
  fixed.use = CEUse::kConstant;
  ASSERT_TRUE(factors.Add(fixed, nullptr));
  const NCDataMatrix<float> points = RegionSampler::Sample(factors, nullptr, 4000, 7);
  ASSERT_EQ(points.GetRows(), 4000);
  double mean_x = 0.0;
  int second_setting = 0;
  for (int r = 0; r < points.GetRows(); ++r) {
    EXPECT_GE(points(r, 0), -1.0F);
    EXPECT_LE(points(r, 0), 1.0F);
    mean_x += points(r, 0) / 4000.0;
    const float level = points(r, 1);  // 1, 2, 4 over 1..4: -1, -1/3, 1
    EXPECT_TRUE(level == -1.0F || std::fabs(level + 1.0F / 3.0F) < 1e-6F || level == 1.0F);
    second_setting += points(r, 2) == 2.0F ? 1 : 0;
    const float sum = points(r, 3) + points(r, 4) + points(r, 5);
    EXPECT_NEAR(sum, 1.0F, 1e-5F);
    for (int c = 3; c < 6; ++c) {
      // Pseudo-components over a free part of 0.7; an amount of at most 0.6 is at most 5/7.
      EXPECT_GE(points(r, c), 0.0F);
      EXPECT_LE(points(r, c), 5.0F / 7.0F + 1e-6F);
    }
    EXPECT_EQ(points(r, 6), 0.0F);
  }
  EXPECT_NEAR(mean_x, 0.0, 0.05);
  EXPECT_NEAR(second_setting, 2000, 150);
  // The same seed gives the same points; another seed other points.
  EXPECT_EQ(RegionSampler::Sample(factors, nullptr, 4000, 7), points);
  EXPECT_NE(RegionSampler::Sample(factors, nullptr, 4000, 8), points);
}

TEST(RegionSampler, KeepsToTheConstraintsAndSaysWhenTheRegionIsTooSmall) {
  // X1 + X2 <= 10 over 0..10 each: half the square, below the diagonal.
  const Factors factors = Quantitative(2);
  NCDOE::Constraints constraints;
  constraints.Add(MakeConstraint(false, 10.0, {{0, 1.0}, {1, 1.0}}));
  const NCDataMatrix<float> points = RegionSampler::Sample(factors, &constraints, 2000, 1);
  for (int r = 0; r < points.GetRows(); ++r) EXPECT_LE(points(r, 0) + points(r, 1), 1e-5F);

  NCDOE::Constraints tiny;
  tiny.Add(MakeConstraint(false, 0.001, {{0, 1.0}, {1, 1.0}}));
  ExpectMessage([&] { (void)RegionSampler::Sample(factors, &tiny, 100, 1); },
                "The region is too small a part of its bounding box to be sampled.");
  Factors crowded;
  ASSERT_TRUE(crowded.Add(Factors::Factor::Formulation("M1", 0.6, 0.9), nullptr));
  ASSERT_TRUE(crowded.Add(Factors::Factor::Formulation("M2", 0.6, 0.9), nullptr));
  ExpectMessage([&] { (void)RegionSampler::Sample(crowded, nullptr, 10, 1); },
                "The lower bounds of the mixture factors exceed the mixture total.");
}

}  // namespace
}  // namespace zubra
