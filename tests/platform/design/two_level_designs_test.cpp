// The two-level screening families: full and fractional factorials, Plackett-Burman and the
// saturated two-level design.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/design_statistics.h"
#include "zubra/platform/design/internal/plackett_burman_builder.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using test_support::Builder;
using test_support::MatrixResolution;
using test_support::OptionsFor;
using test_support::ProductSum;
using test_support::Quantitative;
using test_support::RowsOfBlock;

// Every column is balanced and every pair orthogonal, over all runs and within each block.
void ExpectOrthogonalMainEffects(const NCDesign& design) {
  const NCDataMatrix<float>& m = design.GetCoded();
  for (int block = 1; block <= design.GetBlockCount(); ++block) {
    const std::vector<int> rows = RowsOfBlock(design, block);
    for (int a = 0; a < m.GetCols(); ++a) {
      ASSERT_EQ(ProductSum(m, {a}, &rows), 0.0) << "column " << a << " block " << block;
    }
  }
  for (int a = 0; a < m.GetCols(); ++a) {
    for (int b = a + 1; b < m.GetCols(); ++b) {
      ASSERT_EQ(ProductSum(m, {a, b}), 0.0) << "columns " << a << ", " << b;
    }
  }
}

TEST(FullFactorial, RunsEveryCombinationOnceInBalancedBlocks) {
  struct Row {
    std::string name;
    int factors;
    unsigned blocks;
  };
  const std::vector<Row> rows = {{"1 factor", 1, 1},  {"3 factors", 3, 2}, {"4 factors", 4, 4},
                                 {"5 factors", 5, 8}, {"7 factors", 7, 8}, {"10 factors", 10, 1}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Quantitative(row.factors);
    const DesignBuilder& builder = Builder(EDesign::kFullFactorial);
    DesignOptions options =
        OptionsFor(builder, factors, EObjective::kScreening, EModel::kInteraction);
    ASSERT_TRUE(options.SetBlocks(row.blocks));
    std::string why;
    ASSERT_TRUE(builder.IsValid(factors, options, &why)) << why;
    const auto design = builder.Generate(factors, options);
    ASSERT_EQ(design->GetRuns(), 1 << row.factors);
    std::set<std::vector<float>> distinct;
    for (int r = 0; r < design->GetRuns(); ++r) {
      distinct.insert(std::vector<float>(design->GetCoded().GetRowData(r),
                                         design->GetCoded().GetRowData(r) + row.factors));
    }
    EXPECT_EQ(distinct.size(), static_cast<std::size_t>(1 << row.factors));
    EXPECT_EQ(design->GetBlockCount(), static_cast<int>(row.blocks));
    ExpectOrthogonalMainEffects(*design);
    for (unsigned b = 1; b <= row.blocks; ++b) {
      EXPECT_EQ(RowsOfBlock(*design, static_cast<int>(b)).size(),
                static_cast<std::size_t>((1 << row.factors) / static_cast<int>(row.blocks)));
    }
  }
}

TEST(FractionalFactorial, EveryLevelGivesItsResolutionAtEveryOfferedSize) {
  struct Row {
    std::string name;
    EDesign::Type type;
    int level;
    EModel::Type model;
  };
  const std::vector<Row> rows = {{"res III", EDesign::kFracFactResIII, 3, EModel::kLinear},
                                 {"res IV", EDesign::kFracFactResIV, 4, EModel::kLinear},
                                 {"res V", EDesign::kFracFactResV, 5, EModel::kInteraction}};
  int designs = 0;
  for (const Row& row : rows) {
    const DesignBuilder& builder = Builder(row.type);
    for (int k = 3; k <= 15; ++k) {
      const Factors factors = Quantitative(k);
      DesignOptions options = OptionsFor(builder, factors, EObjective::kScreening, row.model);
      for (int runs : builder.GetCandidateRuns(factors, options)) {
        for (unsigned blocks : builder.GetBlockCounts(factors, options, runs)) {
          SCOPED_TRACE(row.name + ", " + std::to_string(k) + " factors, " + std::to_string(runs) +
                       " runs, " + std::to_string(blocks) + " blocks");
          ASSERT_TRUE(options.SetRuns(runs));
          ASSERT_TRUE(options.SetBlocks(blocks));
          const auto design = builder.Generate(factors, options);
          ASSERT_EQ(design->GetRuns(), runs);
          ExpectOrthogonalMainEffects(*design);
          if (design->GetGenerators().GetFactorWords().empty()) continue;  // a full factorial
          EXPECT_GE(MatrixResolution(design->GetCoded(), row.level - 1), row.level);
          ++designs;
        }
      }
    }
  }
  EXPECT_GT(designs, 150);
}

TEST(FractionalFactorial, DefaultSizesAreTheSmallestOfTheirResolution) {
  struct Row {
    std::string name;
    EDesign::Type type;
    int factors, runs;
  };
  const std::vector<Row> rows = {
      {"4 factors res III", EDesign::kFracFactResIII, 4, 8},
      {"7 factors res III", EDesign::kFracFactResIII, 7, 8},
      {"8 factors res III", EDesign::kFracFactResIII, 8, 16},
      {"5 factors res IV", EDesign::kFracFactResIV, 5, 16},
      {"9 factors res IV", EDesign::kFracFactResIV, 9, 32},
      {"6 factors res V", EDesign::kFracFactResV, 6, 32},
      {"9 factors res V", EDesign::kFracFactResV, 9, 128},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const DesignBuilder& builder = Builder(row.type);
    const Factors factors = Quantitative(row.factors);
    EXPECT_EQ(builder.GetDefaultRuns(factors, DesignOptions()), row.runs);
  }
}

TEST(FractionalFactorial, OwnGeneratorsAreUsedAtTheirSizeWhenTheyReachTheResolution) {
  const Factors factors = Quantitative(6);
  const DesignBuilder& builder = Builder(EDesign::kFracFactResIV);
  DesignOptions options = OptionsFor(builder, factors, EObjective::kScreening, EModel::kLinear);
  options.SetRuns(0);
  options.SetGenerators(Generators(4, {0b1111, 0b0111}, {}));  // E = ABCD, F = ABC: res III
  std::string why;
  EXPECT_FALSE(builder.IsValid(factors, options, &why));
  EXPECT_EQ(why,
            "The generators give a design of resolution 3, below the 4 the design "
            "'FractionalFactorial' needs.");
  options.SetGenerators(Generators(4, {0b1101, 0b1011}, {0b0011}));  // E = ACD, F = ABD
  options.SetBlocks(2);
  ASSERT_TRUE(builder.IsValid(factors, options, &why)) << why;
  const auto design = builder.Generate(factors, options);
  EXPECT_EQ(design->GetGenerators().GetTexts(),
            (std::vector<std::string>{"E = ACD", "F = ABD", "$B1 = AB"}));
  EXPECT_EQ(ProductSum(design->GetCoded(), {0, 2, 3, 4}), 16.0);
  // At another size the table design serves, and the own block words do not apply.
  options.SetRuns(32);
  EXPECT_EQ(builder.GetBlockCounts(factors, options), (std::vector<unsigned>{1, 2, 4, 8}));
  const auto larger = builder.Generate(factors, options);
  EXPECT_EQ(larger->GetGenerators().GetTexts(),
            (std::vector<std::string>{"F = ABCDE", "$B1 = ABC"}));
  // Generators of a size the table lacks join the candidates.
  const Factors ten = Quantitative(10);
  options.SetGenerators(Generators(8, {0b11111111, 0b00001111}, {}));
  EXPECT_EQ(builder.GetCandidateRuns(ten, options), (std::vector<int>{32, 64, 128, 256}));
}

TEST(PlackettBurman, EveryMatrixHasBalancedOrthogonalColumns) {
  for (int n = 8; n <= 48; n += 4) {
    SCOPED_TRACE(std::to_string(n) + " runs");
    const NCDataMatrix<float> m = internal::PlackettBurmanBuilder::MakeMatrix(n);
    ASSERT_EQ(m.GetRows(), n);
    ASSERT_EQ(m.GetCols(), n - 1);
    for (int a = 0; a < n - 1; ++a) {
      ASSERT_EQ(ProductSum(m, {a}), 0.0) << a;
      for (int b = a + 1; b < n - 1; ++b) ASSERT_EQ(ProductSum(m, {a, b}), 0.0) << a << " " << b;
    }
  }
  EXPECT_EQ(internal::PlackettBurmanBuilder::MakeMatrix(52).GetRows(), 0);
}

TEST(PlackettBurman, SizesAndBlocksFollowTheFactorCount) {
  struct Row {
    std::string name;
    int factors, runs;
    std::vector<unsigned> blocks;
  };
  const std::vector<Row> rows = {{"7 in 8", 7, 8, {1}},        {"8 in 12", 8, 12, {1, 2}},
                                 {"11 in 12", 11, 12, {1}},    {"23 in 24", 23, 24, {1}},
                                 {"26 in 28", 26, 28, {1, 2}}, {"40 in 44", 40, 44, {1, 2}}};
  const DesignBuilder& builder = Builder(EDesign::kPlackettBurman);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Quantitative(row.factors);
    DesignOptions options = OptionsFor(builder, factors, EObjective::kScreening, EModel::kLinear);
    EXPECT_EQ(options.GetRuns(), row.runs);
    EXPECT_EQ(builder.GetBlockCounts(factors, options), row.blocks);
    options.SetBlocks(row.blocks.back());
    const auto design = builder.Generate(factors, options);
    ASSERT_EQ(design->CountRuns(NCDesign::RunKind::kDesign), row.runs);
    ExpectOrthogonalMainEffects(*design);
  }
}

TEST(RechtschaffnerResV, IsASaturatedNonSingularInteractionDesign) {
  const DesignBuilder& builder = Builder(EDesign::kRechtschaffnerResV);
  for (int k = 4; k <= 12; ++k) {
    SCOPED_TRACE(std::to_string(k) + " factors");
    const Factors factors = Quantitative(k);
    const DesignOptions options =
        OptionsFor(builder, factors, EObjective::kScreening, EModel::kInteraction);
    const auto design = builder.Generate(factors, options);
    const auto stats =
        DesignStatistics::Compute(design->GetCoded(), factors,
                                  DesignModel::Make(factors, EModel::kInteraction, EModel::kNone));
    EXPECT_FALSE(stats.IsSingular());
    EXPECT_TRUE(stats.IsSaturated());
    // With five factors the design is a regular half fraction: fully efficient.
    if (k == 5) {
      EXPECT_NEAR(stats.GetDEfficiency(), 100.0, 1e-9);
    }
  }
}

TEST(TwoLevelDesigns, RefuseFactorsAndOptionsTheyCannotServe) {
  struct Row {
    std::string name;
    EDesign::Type type;
    std::vector<Factors::Factor> factors;
    EModel::Type model;
    int max_runs;
    std::string message;
  };
  const auto x = [](const char* name) { return Factors::Factor::Quantitative(name, 0, 1); };
  const std::vector<Row> rows = {
      {"three settings",
       EDesign::kFullFactorial,
       {x("A"), Factors::Factor::Qualitative("Q", {"a", "b", "c"})},
       EModel::kLinear,
       100,
       "The factor 'Q' does not have two levels, which the design 'Full Factorial' needs."},
      {"mixture",
       EDesign::kPlackettBurman,
       {Factors::Factor::Formulation("M", 0, 1)},
       EModel::kLinear,
       100,
       "The design 'Plackett-Burman' is for process factors only."},
      {"quadratic",
       EDesign::kFullFactorial,
       {x("A"), x("B")},
       EModel::kQuadratic,
       100,
       "The design 'Full Factorial' does not support the model 'Quadratic'."},
      {"interactions in res IV",
       EDesign::kFracFactResIV,
       {x("A"), x("B"), x("C"), x("D")},
       EModel::kInteraction,
       100,
       "The design 'FractionalFactorial' does not support the model 'Interaction'."},
      {"too few factors",
       EDesign::kRechtschaffnerResV,
       {x("A"), x("B"), x("C")},
       EModel::kLinear,
       100,
       "The design 'Rechtschaffner Res V' is for 4 to 32 factors."},
      {"run limit",
       EDesign::kFullFactorial,
       {x("A"), x("B"), x("C"), x("D")},
       EModel::kLinear,
       18,
       "The design 'Full Factorial' takes 19 runs, more than the 18 allowed."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = test_support::Make(row.factors);
    const DesignBuilder& builder = Builder(row.type);
    DesignOptions base;
    base.SetProcessModel(row.model);
    base.SetMaxRuns(row.max_runs);
    base.SetCenterPoints(3);
    const DesignOptions options = builder.MakeOptions(factors, base);
    std::string why;
    EXPECT_FALSE(builder.IsValid(factors, options, &why));
    EXPECT_EQ(why, row.message);
    try {
      (void)builder.Generate(factors, options);
      ADD_FAILURE() << "generated";
    } catch (const Exception& e) {
      EXPECT_EQ(e.Message(), row.message);
    }
  }
}

}  // namespace
}  // namespace zubra
