// The definitive screening designs and the conference matrices they are built from.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/internal/definitive_screening_builder.h"

namespace zubra {
namespace {

using internal::DefinitiveScreeningBuilder;
using test_support::Builder;
using test_support::ExpectMessage;
using test_support::Make;
using test_support::OptionsFor;
using test_support::ProductSum;
using test_support::Quantitative;
using test_support::RowsOfBlock;
using F = Factors::Factor;

const DesignBuilder& Dsd() { return Builder(EDesign::kDefinitiveScreening); }

// The design's columns on the -1..+1 scale: a qualitative factor's first setting as -1 and
// its second as +1.
NCDataMatrix<float> Signed(const NCDesign& design, const Factors& factors) {
  NCDataMatrix<float> m = design.GetCoded();
  for (int c = 0; c < factors.GetCount(); ++c) {
    if (!factors.GetFactor(c).IsQualitative()) continue;
    for (int r = 0; r < m.GetRows(); ++r) m(r, c) = m(r, c) == 1.0F ? -1.0F : 1.0F;
  }
  return m;
}

// Main effects orthogonal to every two-factor interaction and every square.
void ExpectMainEffectsClearOfSecondOrder(const NCDataMatrix<float>& m) {
  const int k = m.GetCols();
  for (int a = 0; a < k; ++a) {
    for (int b = 0; b < k; ++b) {
      ASSERT_EQ(ProductSum(m, {a, b, b}), 0.0) << "main effect " << a << ", square " << b;
      for (int c = b + 1; c < k; ++c) {
        ASSERT_EQ(ProductSum(m, {a, b, c}), 0.0) << "main effect " << a << ", " << b << "*" << c;
      }
    }
  }
}

std::unique_ptr<NCDesign> Generate(const Factors& factors, int runs = 0, unsigned blocks = 1) {
  DesignOptions options = OptionsFor(Dsd(), factors, EObjective::kScreening, EModel::kLinear);
  if (runs > 0) {
    EXPECT_TRUE(options.SetRuns(runs));
  }
  EXPECT_TRUE(options.SetBlocks(blocks));
  std::string why;
  EXPECT_TRUE(Dsd().IsValid(factors, options, &why)) << why;
  return Dsd().Generate(factors, options);
}

TEST(ConferenceMatrix, EveryOrderHasAZeroDiagonalAndOrthogonalColumns) {
  const std::vector<int> orders = DefinitiveScreeningBuilder::GetOrders();
  EXPECT_EQ(orders, (std::vector<int>{4, 6, 8, 10, 12, 14, 16, 18, 20, 24, 26, 28, 30, 32}));
  for (int n : orders) {
    SCOPED_TRACE("order " + std::to_string(n));
    const NCDataMatrix<float> c = DefinitiveScreeningBuilder::MakeConferenceMatrix(n);
    ASSERT_EQ(c.GetRows(), n);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) ASSERT_EQ(std::fabs(c(i, j)), i == j ? 0.0F : 1.0F);
      for (int j = i; j < n; ++j) ASSERT_EQ(ProductSum(c, {i, j}), i == j ? n - 1 : 0);
    }
  }
  // 21 is not a sum of two squares: there is no matrix of order 22.
  EXPECT_EQ(DefinitiveScreeningBuilder::MakeConferenceMatrix(22).GetRows(), 0);
}

TEST(DefinitiveScreening, EveryFactorCountHasThePublishedStructure) {
  EXPECT_EQ(Dsd().GetDefaultRuns(Quantitative(6), DesignOptions()), 13);
  EXPECT_EQ(Dsd().GetDefaultRuns(Quantitative(8), DesignOptions()), 17);
  // Larger orders leave columns unused; order 22 does not exist.
  EXPECT_EQ(Dsd().GetCandidateRuns(Quantitative(6), DesignOptions()),
            (std::vector<int>{13, 17, 21, 25, 29, 33, 37, 41, 49, 53, 57, 61, 65}));
  for (int m = DefinitiveScreeningBuilder::kMinFactors;
       m <= DefinitiveScreeningBuilder::kMaxFactors; ++m) {
    SCOPED_TRACE(std::to_string(m) + " factors");
    const Factors factors = Quantitative(m);
    const int order = m == 21 || m == 22 ? 24 : m + m % 2;
    for (int runs : {2 * order + 1, 65}) {
      const auto design = Generate(factors, runs);
      const NCDataMatrix<float>& x = design->GetCoded();
      ASSERT_EQ(design->GetRuns(), runs);
      EXPECT_EQ(design->CountRuns(NCDesign::RunKind::kCenter), 1);
      for (int a = 0; a < m; ++a) {
        int zeros = 0;  // the column's mirror pair and the centre run
        for (int r = 0; r < runs; ++r) zeros += x(r, a) == 0.0F ? 1 : 0;
        ASSERT_EQ(zeros, 3) << "column " << a;
        for (int b = a; b < m; ++b) {
          ASSERT_EQ(ProductSum(x, {a, b}), a == b ? runs - 3 : 0) << a << ", " << b;
        }
      }
      ExpectMainEffectsClearOfSecondOrder(x);
      EXPECT_EQ(design->GetUncoded()(runs - 1, 0), 5.0F);  // the middle of 0..10
    }
  }
}

TEST(DefinitiveScreening, TwoLevelFactorsKeepMirrorPairsAndSmallCorrelations) {
  struct Row {
    std::string name;
    int continuous;
    int two_level;
    int runs;
  };
  // One two-level factor may use a symmetric matrix (order 6); two or more take an
  // antisymmetric one (a multiple of 4).
  const std::vector<Row> rows = {
      {"5 + 1", 5, 1, 14}, {"4 + 2", 4, 2, 18}, {"6 + 3", 6, 3, 26}, {"10 + 5", 10, 5, 34}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::vector<F> list;
    for (int i = 0; i < row.continuous; ++i) {
      list.push_back(F::Quantitative("X" + std::to_string(i), 0, 1));
    }
    for (int i = 0; i < row.two_level; ++i) {
      list.push_back(i % 2 == 0 ? F::Qualitative("Q" + std::to_string(i), {"a", "b"})
                                : F::Multilevel("L" + std::to_string(i), {10.0, 20.0}));
    }
    const Factors factors = Make(list);
    const auto design = Generate(factors);
    ASSERT_EQ(design->GetRuns(), row.runs);
    const NCDataMatrix<float> x = Signed(*design, factors);
    ExpectMainEffectsClearOfSecondOrder(x);
    const int k = factors.GetCount();
    for (int a = 0; a < k; ++a) {
      const bool a_two = a >= row.continuous;
      EXPECT_EQ(ProductSum(x, {a}), 0.0) << "column " << a;
      // The last two runs: continuous factors in the middle, two-level ones at opposite ends.
      EXPECT_EQ(x(row.runs - 2, a), a_two ? -x(row.runs - 1, a) : 0.0F);
      for (int b = a + 1; b < k; ++b) {
        const bool b_two = b >= row.continuous;
        const double sum = ProductSum(x, {a, b});
        if (a_two != b_two) {
          EXPECT_EQ(std::fabs(sum), 2.0) << a << ", " << b;
        } else {
          EXPECT_EQ(sum, a_two ? 2.0 : 0.0) << a << ", " << b;
        }
      }
    }
    for (int r = 0; r < row.runs && row.two_level > 1; ++r) {
      const float setting = design->GetUncoded()(r, row.continuous);
      const float level = design->GetUncoded()(r, row.continuous + 1);
      ASSERT_TRUE((setting == 1.0F || setting == 2.0F) && (level == 10.0F || level == 20.0F));
    }
  }
}

TEST(DefinitiveScreening, RefusesWhatItCannotDesignWithItsReason) {
  struct Row {
    std::string name;
    Factors factors;
    EObjective::Type objective;
    EModel::Type model;
    int center_points;
    std::string message;
  };
  const auto with = [](F extra) {
    std::vector<F> list;
    for (int i = 0; i < 4; ++i) list.push_back(F::Quantitative("X" + std::to_string(i), 0, 1));
    list.push_back(std::move(extra));
    return Make(list);
  };
  std::vector<F> two_level;
  for (int i = 0; i < 5; ++i) {
    two_level.push_back(F::Qualitative("Q" + std::to_string(i), {"a", "b"}));
  }
  const auto screening = EObjective::kScreening;
  const auto linear = EModel::kLinear;
  const std::string not_three =
      " has neither two levels nor three equally spaced ones, which "
      "the design 'Definitive Screening' needs.";
  const std::vector<Row> rows = {
      {"three settings", with(F::Qualitative("Q", {"a", "b", "c"})), screening, linear, 0,
       "The factor 'Q'" + not_three},
      {"unequal levels", with(F::Multilevel("L", {1.0, 2.0, 5.0})), screening, linear, 0,
       "The factor 'L'" + not_three},
      {"mixture", with(F::Formulation("M", 0, 1)), screening, linear, 0,
       "The design 'Definitive Screening' is for process factors only."},
      {"3 factors", Quantitative(3), screening, linear, 0,
       "The design 'Definitive Screening' is for 4 to 30 factors."},
      {"31 factors", Quantitative(31), screening, linear, 0,
       "The design 'Definitive Screening' is for 4 to 30 factors."},
      {"only two-level factors", Make(two_level), screening, linear, 0,
       "The design 'Definitive Screening' needs a factor with three levels."},
      {"interaction model", Quantitative(6), screening, EModel::kInteraction, 0,
       "The design 'Definitive Screening' does not support the model 'Interaction'."},
      {"RSM", Quantitative(6), EObjective::kRSM, EModel::kQuadratic, 0,
       "The design 'Definitive Screening' does not serve the objective 'RSM'."},
      {"centre points without a middle", with(F::Qualitative("Q", {"a", "b"})), screening, linear,
       1, "The design 'Definitive Screening' cannot have centre points for these factors."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    DesignOptions options;
    options.SetObjective(row.objective);
    options.SetProcessModel(row.model);
    options.SetCenterPoints(row.center_points);
    ExpectMessage([&] { (void)Dsd().Generate(row.factors, options); }, row.message);
  }
  // Three equally spaced levels count as continuous, and centre points are allowed then.
  const Factors levels = with(F::Multilevel("L", {1.0, 2.0, 3.0}));
  DesignOptions options = OptionsFor(Dsd(), levels, EObjective::kScreening, EModel::kLinear);
  ASSERT_TRUE(options.SetCenterPoints(2));
  const auto design = Dsd().Generate(levels, options);
  for (int r = 0; r < design->GetRuns(); ++r) {
    const float level = design->GetUncoded()(r, 4);
    ASSERT_TRUE(level == 1.0F || level == 2.0F || level == 3.0F) << level;
  }
}

TEST(DefinitiveScreening, BlocksHoldWholeMirrorPairsAndStayOrthogonalToMainEffects) {
  const Factors factors = Quantitative(8);
  EXPECT_EQ(Dsd().GetBlockCounts(factors, DesignOptions(), 17), (std::vector<unsigned>{1, 2, 4}));
  const auto design = Generate(factors, 17, 4);
  for (int b = 1; b <= 4; ++b) {
    const std::vector<int> rows = RowsOfBlock(*design, b);
    EXPECT_EQ(rows.size(), b == 4 ? 5U : 4U);  // the centre run in the last block
    for (int a = 0; a < 8; ++a) ASSERT_EQ(ProductSum(design->GetCoded(), {a}, &rows), 0.0);
  }
}

TEST(DefinitiveScreening, IsTheBestScreeningChoiceOnlyWhereNoResolutionIVFractionFits) {
  struct Row {
    std::string name;
    int factors;
    int max_runs;
    EDesign::Type type;
  };
  const std::vector<Row> rows = {
      {"8 factors", 8, 10000, EDesign::kFracFactResIV},
      {"15 factors", 15, 10000, EDesign::kFracFactResIV},
      // The fraction's 32 + 3 runs are over the limit, these 25 + 3 fit.
      {"12 factors within 30 runs", 12, 30, EDesign::kDefinitiveScreening},
      {"30 factors", 30, 10000, EDesign::kDefinitiveScreening},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Quantitative(row.factors);
    DesignOptions base;
    base.SetMaxRuns(row.max_runs);
    const DesignBuilder* best = nullptr;
    for (const DesignBuilder* builder : AllDesigns::ClassicDesigns()) {
      if (best != nullptr && builder->GetRank() >= best->GetRank()) continue;
      if (builder->IsAdmissible(factors, builder->MakeOptions(factors, base), false, false)) {
        best = builder;
      }
    }
    ASSERT_NE(best, nullptr);
    EXPECT_EQ(best->GetType(), row.type);
  }
}

}  // namespace
}  // namespace zubra
