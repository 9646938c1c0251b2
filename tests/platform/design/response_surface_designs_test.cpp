// The response-surface families: central composite, Box-Behnken, the saturated three-level
// design and the general full factorial.
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <algorithm>
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
using test_support::OptionsFor;
using test_support::ProductSum;
using test_support::Quantitative;
using test_support::RowsOfBlock;

// Orthogonal blocking for a second-order model: in every block the first-order and the
// cross-product columns sum to zero, and each square's sum is the same share of the block
// size.
void ExpectOrthogonalBlocks(const NCDesign& design) {
  const NCDataMatrix<float>& m = design.GetCoded();
  const int k = m.GetCols();
  std::vector<double> share;
  for (int block = 1; block <= design.GetBlockCount(); ++block) {
    const std::vector<int> rows = RowsOfBlock(design, block);
    for (int a = 0; a < k; ++a) {
      ASSERT_NEAR(ProductSum(m, {a}, &rows), 0.0, 1e-9) << block << " " << a;
      for (int b = a + 1; b < k; ++b) {
        ASSERT_NEAR(ProductSum(m, {a, b}, &rows), 0.0, 1e-9) << block << " " << a << b;
      }
      share.push_back(ProductSum(m, {a, a}, &rows) / static_cast<double>(rows.size()));
      ASSERT_NEAR(share.back(), share.front(), 1e-6) << block << " " << a;
    }
  }
}

bool Quadratic(const Factors& factors, const NCDesign& design) {
  return !DesignStatistics::Compute(design.GetCoded(), factors,
                                    DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone))
              .IsSingular();
}

TEST(CentralComposite, FormsPlaceFactorialAndAxialRunsAtTheirDistances) {
  struct Row {
    std::string name, form;
    int factors, runs;       // runs: of the design proper
    float axial, factorial;  // coded distances of the axial and of the factorial runs
  };
  const float a4 = std::sqrt(2.0F);        // 4^(1/4)
  const float a8 = std::pow(8.0F, 0.25F);  // 1.68179
  const std::vector<Row> rows = {
      {"CCC 2", "CCC", 2, 8, a4, 1.0F},
      {"CCC 3", "CCC", 3, 14, a8, 1.0F},
      {"CCC 5 half", "CCC", 5, 26, 2.0F, 1.0F},
      {"CCC 6 half", "CCC", 6, 44, std::pow(32.0F, 0.25F), 1.0F},
      {"CCF 4", "CCF", 4, 24, 1.0F, 1.0F},
      {"CCI 3", "CCI", 3, 14, 1.0F, 1.0F / a8},
      {"CCC 11", "CCC", 11, 150, std::pow(128.0F, 0.25F), 1.0F},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Quantitative(row.factors);
    const DesignBuilder& builder = Builder(EDesign::kCentralComposite, row.form);
    ASSERT_EQ(builder.GetName(), row.form);
    DesignOptions options = OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic);
    options.SetCenterPoints(3);
    const auto design = builder.Generate(factors, options);
    EXPECT_EQ(design->GetRuns(), row.runs + 3);
    EXPECT_EQ(design->CountRuns(NCDesign::RunKind::kAxial), 2 * row.factors);
    EXPECT_EQ(design->CountRuns(NCDesign::RunKind::kCenter), 3);
    for (int r = 0; r < design->GetRuns(); ++r) {
      int nonzero = 0;
      for (int c = 0; c < row.factors; ++c) {
        const float v = std::fabs(design->GetCoded()(r, c));
        if (v == 0.0F) continue;
        ++nonzero;
        const bool axial =
            design->GetRunKinds()[static_cast<std::size_t>(r)] == NCDesign::RunKind::kAxial;
        EXPECT_NEAR(v, axial ? row.axial : row.factorial, 1e-5);
      }
      const auto kind = design->GetRunKinds()[static_cast<std::size_t>(r)];
      EXPECT_EQ(nonzero, kind == NCDesign::RunKind::kCenter  ? 0
                         : kind == NCDesign::RunKind::kAxial ? 1
                                                             : row.factors);
    }
    EXPECT_TRUE(Quadratic(factors, *design));
  }
}

TEST(CentralComposite, RotatableDistanceGivesRotatableMoments) {
  // Rotatable second-order design: odd moments vanish and sum x_i^4 = 3 sum x_i^2 x_j^2.
  const DesignBuilder& builder = Builder(EDesign::kCentralComposite, "CCC");
  for (int k = 2; k <= 8; ++k) {
    SCOPED_TRACE(std::to_string(k) + " factors");
    const Factors factors = Quantitative(k);
    const auto design = builder.Generate(
        factors, OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic));
    const NCDataMatrix<float>& m = design->GetCoded();
    const double pure = ProductSum(m, {0, 0, 0, 0});
    const double mixed = ProductSum(m, {0, 0, 1, 1});
    EXPECT_NEAR(pure, 3.0 * mixed, 1e-3 * pure);
    EXPECT_NEAR(ProductSum(m, {0, 0, 1}), 0.0, 1e-6);
    EXPECT_NEAR(ProductSum(m, {0, 1}), 0.0, 1e-6);
  }
}

TEST(CentralComposite, StarDistanceOptionMovesTheAxialRuns) {
  const Factors factors = Quantitative(3);
  struct Row {
    std::string name, form;
    float distance;
    bool valid;
    float axial;
  };
  const std::vector<Row> rows = {{"CCC 1.5", "CCC", 1.5F, true, 1.5F},
                                 {"CCC inside", "CCC", 0.8F, true, 0.8F},
                                 {"CCF ignores it", "CCF", 2.5F, true, 1.0F},
                                 {"CCI below 1", "CCI", 0.5F, false, 0.0F}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const DesignBuilder& builder = Builder(EDesign::kCentralComposite, row.form);
    DesignOptions options = OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic);
    ASSERT_TRUE(options.SetStarDistance(row.distance));
    std::string why;
    ASSERT_EQ(builder.IsValid(factors, options, &why), row.valid) << why;
    if (!row.valid) {
      EXPECT_EQ(why, "The inscribed composite design needs a star distance of at least 1.");
      continue;
    }
    const auto design = builder.Generate(factors, options);
    EXPECT_NEAR(design->GetCoded()(8, 0), -row.axial, 1e-6);  // first axial run
    EXPECT_NEAR(design->GetUncoded()(8, 0), 5.0F - 5.0F * row.axial, 1e-4);
  }
}

TEST(CentralComposite, BlocksSeparateTheAxialRunsAndSplitTheFactorialPart) {
  struct Row {
    std::string name;
    int factors, runs;
    std::vector<unsigned> blocks;
  };
  // Composite designs in orthogonal blocks: k = 2: 2; k = 3, 4: 2 or 3; k = 5 (full): up to
  // 5; k = 5 (half): 2; k = 6 (half): 3; k = 7 (half): up to 9.
  const std::vector<Row> rows = {
      {"2 factors", 2, 8, {1, 2}},
      {"3 factors", 3, 14, {1, 2, 3}},
      {"4 factors", 4, 24, {1, 2, 3}},
      {"5 factors", 5, 42, {1, 2, 3, 5}},
      {"5 factors half", 5, 26, {1, 2}},
      {"6 factors half", 6, 44, {1, 2, 3}},
      {"7 factors half", 7, 78, {1, 2, 3, 5, 9}},
  };
  const DesignBuilder& builder = Builder(EDesign::kCentralComposite, "CCC");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Quantitative(row.factors);
    DesignOptions options = OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic);
    ASSERT_TRUE(options.SetRuns(row.runs));
    EXPECT_EQ(builder.GetBlockCounts(factors, options), row.blocks);
    for (unsigned blocks : row.blocks) {
      if (blocks == 1) continue;
      options.SetBlocks(blocks);
      options.SetCenterPoints(0);
      EXPECT_EQ(builder.GetMinCenterPoints(factors, options), static_cast<int>(blocks));
      EXPECT_FALSE(builder.IsValid(factors, options));
      options.SetCenterPoints(static_cast<int>(blocks));
      const auto design = builder.Generate(factors, options);
      ASSERT_EQ(design->GetBlockCount(), static_cast<int>(blocks));
      for (int r = 0; r < design->GetRuns(); ++r) {
        const bool axial =
            design->GetRunKinds()[static_cast<std::size_t>(r)] == NCDesign::RunKind::kAxial;
        if (axial) {
          EXPECT_EQ(design->GetBlocks()[static_cast<std::size_t>(r)], static_cast<int>(blocks));
        }
      }
      // The factorial blocks are equal and keep first- and second-order columns balanced.
      for (unsigned b = 1; b < blocks; ++b) {
        const std::vector<int> rows_b = RowsOfBlock(*design, static_cast<int>(b));
        EXPECT_EQ(rows_b.size(),
                  static_cast<std::size_t>((row.runs - 2 * row.factors) / (blocks - 1) + 1));
        for (int a = 0; a < row.factors; ++a) {
          EXPECT_EQ(ProductSum(design->GetCoded(), {a}, &rows_b), 0.0);
          for (int c = a + 1; c < row.factors; ++c) {
            EXPECT_EQ(ProductSum(design->GetCoded(), {a, c}, &rows_b), 0.0);
          }
        }
      }
    }
  }
}

// The largest |z_b' x_j| over the block indicator columns z_b, centred, and the columns x_j
// of the quadratic model but the constant: 0 when the block effects are orthogonal to the
// model.
double BlockAliasing(const NCDesign& design, const Factors& factors) {
  const Eigen::MatrixXd x = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone)
                                .Expand(factors, design.GetCoded());
  const auto n = static_cast<double>(design.GetRuns());
  double most = 0.0;
  for (int block = 1; block <= design.GetBlockCount(); ++block) {
    const std::vector<int> rows = RowsOfBlock(design, block);
    const double share = static_cast<double>(rows.size()) / n;
    for (Eigen::Index j = 1; j < x.cols(); ++j) {
      double product = -share * x.col(j).sum();
      for (int r : rows) product += x(r, j);
      most = std::max(most, std::fabs(product));
    }
  }
  return most;
}

TEST(CentralComposite, StarDistanceHelpersGiveThePublishedDistances) {
  struct Row {
    std::string name;
    DesignOptions::CompositeLayout layout;
    double orthogonal, rotatable;
  };
  const std::vector<Row> rows = {
      // Two factorial blocks of 4 runs and 2 centre points, the axial block of 6 + 2.
      {"3 factors in 3 blocks", {3, 8, 4, 6, 2}, 1.633, 1.682},
      {"2 factors in 2 blocks", {2, 4, 3, 4, 3}, 1.414, 1.414},
      {"4 factors in 3 blocks", {4, 16, 4, 8, 2}, 2.000, 2.000},
      {"5 factors, half fraction, in 2 blocks", {5, 16, 6, 10, 1}, 2.000, 2.000},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_NEAR(DesignOptions::OrthogonalBlockingStarDistance(row.layout), row.orthogonal, 5e-4);
    EXPECT_NEAR(DesignOptions::RotatableStarDistance(row.layout.factorial_runs), row.rotatable,
                5e-4);
  }
  EXPECT_EQ(DesignOptions::OrthogonalBlockingStarDistance({3, 8, 4, 0, 2}), -99.0);
  EXPECT_EQ(DesignOptions::OrthogonalBlockingStarDistance({3, 8, -1, 6, 2}), -99.0);
  EXPECT_EQ(DesignOptions::RotatableStarDistance(0), -99.0);
}

TEST(CentralComposite, StarDistanceChoicesPlaceTheAxialRunsAndBlockedDesignsBlockOrthogonally) {
  using Choice = DesignOptions::StarDistanceChoice;
  struct Row {
    std::string name, form;
    int factors, runs;
    unsigned blocks;
    int centers, replicates;
    Choice choice;
    float axial;      // the coded distance of the axial runs
    bool orthogonal;  // the block effects are orthogonal to the quadratic model
  };
  const float a8 = std::pow(8.0F, 0.25F);
  const std::vector<Row> rows = {
      {"3 in 3 blocks, default", "CCC", 3, 14, 3, 6, 0, Choice::kDefault, 1.633F, true},
      {"3 in 3 blocks, orthogonal", "CCC", 3, 14, 3, 6, 0, Choice::kOrthogonalBlocking, 1.633F,
       true},
      {"3 in 3 blocks, rotatable", "CCC", 3, 14, 3, 6, 0, Choice::kRotatable, a8, false},
      {"3 in 3 blocks, face-centred", "CCC", 3, 14, 3, 6, 0, Choice::kFaceCentred, 1.0F, false},
      {"3 in 2 blocks, replicated", "CCC", 3, 14, 2, 4, 1, Choice::kDefault,
       std::sqrt(16.0F * 3 * 14 / (12 * 18)), true},
      {"2 in 2 blocks", "CCC", 2, 8, 2, 6, 0, Choice::kDefault, std::sqrt(2.0F), true},
      {"4 in 3 blocks", "CCC", 4, 24, 3, 6, 0, Choice::kDefault, 2.0F, true},
      {"5 half in 2 blocks", "CCC", 5, 26, 2, 7, 0, Choice::kDefault,
       std::sqrt(16.0F * 13 / (2 * 20)), true},
      {"3 in 3 blocks, inscribed", "CCI", 3, 14, 3, 6, 0, Choice::kDefault, 1.0F, true},
      {"one block, default", "CCC", 3, 14, 1, 6, 0, Choice::kDefault, a8, true},
      {"one block, orthogonal", "CCC", 3, 14, 1, 6, 0, Choice::kOrthogonalBlocking, a8, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Quantitative(row.factors);
    const DesignBuilder& builder = Builder(EDesign::kCentralComposite, row.form);
    DesignOptions options = OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic);
    ASSERT_TRUE(options.SetRuns(row.runs));
    ASSERT_TRUE(options.SetBlocks(row.blocks));
    ASSERT_TRUE(options.SetCenterPoints(row.centers));
    ASSERT_TRUE(options.SetReplicates(row.replicates));
    ASSERT_TRUE(options.SetStarDistanceChoice(row.choice));
    const auto design = builder.Generate(factors, options);
    for (int r = 0; r < design->GetRuns(); ++r) {
      if (design->GetRunKinds()[static_cast<std::size_t>(r)] != NCDesign::RunKind::kAxial) continue;
      float largest = 0.0F;
      for (int c = 0; c < row.factors; ++c) {
        largest = std::max(largest, std::fabs(design->GetCoded()(r, c)));
      }
      EXPECT_NEAR(largest, row.axial, 5e-4) << "run " << r;
    }
    EXPECT_EQ(BlockAliasing(*design, factors) < 1e-4, row.orthogonal)
        << BlockAliasing(*design, factors);
  }
}

TEST(BoxBehnken, PublishedDesignsAreBuiltAndOrthogonallyBlocked) {
  struct Row {
    int factors, runs;
    std::vector<unsigned> blocks;
  };
  const std::vector<Row> rows = {
      {3, 12, {1}},  {4, 24, {1, 3}},      {5, 40, {1, 2}},   {6, 48, {1, 2}}, {7, 56, {1, 2}},
      {8, 128, {1}}, {9, 120, {1, 5, 10}}, {10, 160, {1, 2}}, {11, 176, {1}},  {12, 192, {1, 2}}};
  const DesignBuilder& builder = Builder(EDesign::kBoxBehnken);
  for (const auto& [k, runs, blocks] : rows) {
    SCOPED_TRACE(std::to_string(k) + " factors");
    const Factors factors = Quantitative(k);
    DesignOptions options = OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic);
    EXPECT_EQ(options.GetCenterPoints(), 1);
    const auto design = builder.Generate(factors, options);
    EXPECT_EQ(design->GetRuns(), runs + 1);
    // Three levels, every pair of factors varied together somewhere, no run at a corner.
    std::set<std::pair<int, int>> pairs;
    for (int r = 0; r < design->GetRuns(); ++r) {
      int nonzero = 0;
      for (int a = 0; a < k; ++a) {
        const float v = design->GetCoded()(r, a);
        ASSERT_TRUE(v == -1.0F || v == 0.0F || v == 1.0F);
        if (v == 0.0F) continue;
        ++nonzero;
        for (int b = a + 1; b < k; ++b) {
          if (design->GetCoded()(r, b) != 0.0F) pairs.emplace(a, b);
        }
      }
      EXPECT_LE(nonzero, 5);
      EXPECT_LT(nonzero, k);
    }
    EXPECT_EQ(pairs.size(), static_cast<std::size_t>(k * (k - 1) / 2));
    EXPECT_TRUE(Quadratic(factors, *design));
    EXPECT_EQ(builder.GetBlockCounts(factors, options), blocks);
    for (unsigned b : blocks) {
      if (b == 1) continue;
      SCOPED_TRACE(std::to_string(b) + " blocks");
      options.SetBlocks(b);
      options.SetCenterPoints(static_cast<int>(b) - 1);
      EXPECT_FALSE(builder.IsValid(factors, options));
      options.SetCenterPoints(static_cast<int>(b));
      const auto blocked = builder.Generate(factors, options);
      ASSERT_EQ(blocked->GetBlockCount(), static_cast<int>(b));
      ExpectOrthogonalBlocks(*blocked);
    }
  }
}

TEST(Rechtschaffner, IsASaturatedNonSingularQuadraticDesign) {
  const DesignBuilder& builder = Builder(EDesign::kRechtschaffner);
  for (int k = 4; k <= 10; ++k) {
    SCOPED_TRACE(std::to_string(k) + " factors");
    const Factors factors = Quantitative(k);
    const auto design = builder.Generate(
        factors, OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic));
    const auto stats = DesignStatistics::Compute(
        design->GetCoded(), factors, DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone));
    EXPECT_EQ(design->GetRuns(), (k + 1) * (k + 2) / 2);
    EXPECT_FALSE(stats.IsSingular());
    EXPECT_TRUE(stats.IsSaturated());
  }
}

TEST(GeneralFactorial, CrossesEveryLevelOfEveryFactorOnce) {
  Factors factors;
  ASSERT_TRUE(factors.Add(Factors::Factor::Multilevel("Speed", {300.0, 100.0, 200.0}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Tool", {"a", "b", "c", "d"}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Quantitative("Temp", 20.0, 40.0), nullptr));
  const DesignBuilder& builder = Builder(EDesign::kGeneralFullFactorial);
  struct Row {
    std::string name;
    EModel::Type model;
    int runs;
    std::set<float> temps;
  };
  const std::vector<Row> rows = {{"linear", EModel::kLinear, 24, {20.0F, 40.0F}},
                                 {"quadratic", EModel::kQuadratic, 36, {20.0F, 30.0F, 40.0F}}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const DesignOptions options = OptionsFor(builder, factors, EObjective::kRSM, row.model);
    const auto design = builder.Generate(factors, options);
    ASSERT_EQ(design->GetRuns(), row.runs);
    std::set<std::vector<float>> distinct;
    std::set<float> temps;
    for (int r = 0; r < design->GetRuns(); ++r) {
      const float* run = design->GetUncoded().GetRowData(r);
      distinct.insert(std::vector<float>(run, run + 3));
      temps.insert(run[2]);
      EXPECT_TRUE(run[0] == 100.0F || run[0] == 200.0F || run[0] == 300.0F) << run[0];
    }
    EXPECT_EQ(distinct.size(), static_cast<std::size_t>(row.runs));
    EXPECT_EQ(temps, row.temps);
  }
  Factors two_levels;
  ASSERT_TRUE(two_levels.Add(Factors::Factor::Multilevel("Speed", {1.0, 2.0}), nullptr));
  std::string why;
  EXPECT_FALSE(builder.IsValid(
      two_levels, OptionsFor(builder, two_levels, EObjective::kRSM, EModel::kQuadratic), &why));
  EXPECT_EQ(why, "The factor 'Speed' needs at least three levels for the quadratic model.");
  DesignOptions with_centres = OptionsFor(builder, factors, EObjective::kRSM, EModel::kLinear);
  with_centres.SetCenterPoints(2);
  EXPECT_FALSE(builder.IsValid(factors, with_centres, &why));
  EXPECT_EQ(why,
            "The design 'General Full Factorial' cannot have centre points for these "
            "factors.");
}

}  // namespace
}  // namespace zubra
