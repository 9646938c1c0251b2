// The classical mixture designs: simplex lattice, simplex centroid and axial designs.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/design_statistics.h"

namespace zubra {
namespace {

using test_support::Builder;
using test_support::Mixture;
using test_support::OptionsFor;

TEST(MixtureDesigns, RunCountsAndModelsFollowTheDesignKind) {
  struct Row {
    std::string name;
    EDesign::Type type;
    int components;
    EModel::Type model;
    int runs;
    bool saturated;
  };
  const std::vector<Row> rows = {
      {"lattice {3,1}", EDesign::kSimplexLattice, 3, EModel::kLinear, 3, true},
      {"lattice {3,2}", EDesign::kSimplexLattice, 3, EModel::kQuadratic, 6, true},
      {"lattice {4,3} cubic", EDesign::kSimplexLattice, 4, EModel::kCubic, 20, true},
      {"lattice {4,3} special cubic", EDesign::kSimplexLattice, 4, EModel::kSpecialCubic, 20,
       false},
      {"lattice {5,2}", EDesign::kSimplexLattice, 5, EModel::kQuadratic, 15, true},
      {"centroid 3 special cubic", EDesign::kSimplexCentroid, 3, EModel::kSpecialCubic, 7, true},
      {"centroid 4 quadratic", EDesign::kSimplexCentroid, 4, EModel::kQuadratic, 15, false},
      {"axial 4", EDesign::kAxial, 4, EModel::kLinear, 9, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Mixture(row.components);
    const DesignBuilder& builder = Builder(row.type);
    const DesignOptions options =
        OptionsFor(builder, factors, EObjective::kOptimization, EModel::kNone, row.model);
    std::string why;
    ASSERT_TRUE(builder.IsValid(factors, options, &why)) << why;
    const auto design = builder.Generate(factors, options);
    EXPECT_EQ(design->GetRuns(), row.runs);
    const auto stats = DesignStatistics::Compute(
        design->GetCoded(), factors, DesignModel::Make(factors, EModel::kNone, row.model));
    EXPECT_FALSE(stats.IsSingular());
    EXPECT_EQ(stats.IsSaturated(), row.saturated);
  }
  std::string why;
  const Factors three = Mixture(3);
  const DesignBuilder& centroid = Builder(EDesign::kSimplexCentroid);
  EXPECT_FALSE(centroid.IsValid(
      three, OptionsFor(centroid, three, EObjective::kRSM, EModel::kNone, EModel::kCubic), &why));
  EXPECT_EQ(why, "The design 'Simplex Centroid' does not support the model 'Cubic'.");
}

TEST(MixtureDesigns, EveryRunSumsToTheMixtureTotal) {
  // Lower bounds make pseudo-components: amounts L_i + (T - sum L) z_i.
  const Factors factors = test_support::Make({Factors::Factor::Formulation("Water", 10, 60, 100),
                                              Factors::Factor::Formulation("Oil", 20, 70, 100),
                                              Factors::Factor::Formulation("Wax", 20, 75, 100)});
  const std::vector<std::pair<EDesign::Type, EModel::Type>> designs = {
      {EDesign::kSimplexLattice, EModel::kCubic},
      {EDesign::kSimplexCentroid, EModel::kSpecialCubic},
      {EDesign::kAxial, EModel::kLinear}};
  for (const auto& [type, model] : designs) {
    SCOPED_TRACE(EDesign::GetString(type));
    const DesignBuilder& builder = Builder(type);
    DesignOptions options =
        OptionsFor(builder, factors, EObjective::kScreening, EModel::kNone, model);
    options.SetCenterPoints(2);
    const auto design = builder.Generate(factors, options);
    ASSERT_EQ(design->CountRuns(NCDesign::RunKind::kCenter), 2);
    for (int r = 0; r < design->GetRuns(); ++r) {
      float coded = 0.0F;
      double amount = 0.0;
      for (int c = 0; c < 3; ++c) {
        coded += design->GetCoded()(r, c);
        amount += design->GetUncoded()(r, c);
        EXPECT_GE(design->GetUncoded()(r, c), factors.GetFactor(c).low - 1e-4);
        EXPECT_LE(design->GetUncoded()(r, c), factors.GetFactor(c).high + 1e-4);
      }
      EXPECT_NEAR(coded, 1.0F, 1e-6);
      EXPECT_NEAR(amount, 100.0, 1e-4);
    }
  }
}

TEST(MixtureDesigns, LatticePointsLieOnTheGrid) {
  const Factors factors = Mixture(4);
  const DesignBuilder& builder = Builder(EDesign::kSimplexLattice);
  const auto design = builder.Generate(factors, OptionsFor(builder, factors, EObjective::kRSM,
                                                           EModel::kNone, EModel::kSpecialCubic));
  std::set<std::vector<int>> points;
  for (int r = 0; r < design->GetRuns(); ++r) {
    std::vector<int> thirds;
    for (int c = 0; c < 4; ++c) {
      const float v = design->GetCoded()(r, c) * 3.0F;
      ASSERT_NEAR(v, std::round(v), 1e-5);
      thirds.push_back(static_cast<int>(std::lround(v)));
    }
    points.insert(thirds);
  }
  EXPECT_EQ(points.size(), 20U);  // C(4 + 3 - 1, 3) distinct points
}

TEST(MixtureDesigns, RefuseRegionsAndFactorsTheyCannotCover) {
  struct Row {
    std::string name;
    std::vector<Factors::Factor> factors;
    std::string message;
  };
  using F = Factors::Factor;
  const std::string no_simplex =
      "The ranges of the mixture factors do not form a simplex; the design 'Simplex Lattice' "
      "cannot cover them.";
  const std::vector<Row> rows = {
      {"upper bound cuts the simplex",
       {F::Formulation("A", 0, 1), F::Formulation("B", 0, 0.5), F::Formulation("C", 0, 1)},
       no_simplex},
      {"lower bounds fill the total",
       {F::Formulation("A", 0.5, 1), F::Formulation("B", 0.5, 1)},
       no_simplex},
      {"filler",
       {F::Formulation("A", 0, 1), F::Filler("B", 0, 1)},
       "The design 'Simplex Lattice' cannot have a filler factor."},
      {"process factor",
       {F::Formulation("A", 0, 1), F::Quantitative("T", 0, 1)},
       "The design 'Simplex Lattice' is for mixture factors only."},
  };
  const DesignBuilder& builder = Builder(EDesign::kSimplexLattice);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = test_support::Make(row.factors);
    std::string why;
    EXPECT_FALSE(builder.IsValid(
        factors, OptionsFor(builder, factors, EObjective::kRSM, EModel::kNone, EModel::kQuadratic),
        &why));
    EXPECT_EQ(why, row.message);
    EXPECT_TRUE(builder.GetCandidateRuns(factors, DesignOptions()).empty());
  }
}

}  // namespace
}  // namespace zubra
