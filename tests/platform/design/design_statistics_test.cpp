#include "zubra/platform/design/design_statistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

using test_support::Builder;
using test_support::OptionsFor;
using test_support::Quantitative;

NCDataMatrix<float> Matrix(const std::vector<std::vector<float>>& rows) {
  NCDataMatrix<float> m(static_cast<int>(rows.size()), static_cast<int>(rows.front().size()));
  for (std::size_t r = 0; r < rows.size(); ++r) {
    for (std::size_t c = 0; c < rows[r].size(); ++c) {
      m(static_cast<int>(r), static_cast<int>(c)) = rows[r][c];
    }
  }
  return m;
}

TEST(DesignStatistics, KnownDesignsGiveTheirKnownValues) {
  struct Row {
    std::string name;
    EDesign::Type type;
    int factors;
    EModel::Type model;
    int centers;
    double d_efficiency, g_efficiency, condition;
    int residual, pure_error;
  };
  const std::vector<Row> rows = {
      // 2^3 for the interaction model: X'X = 8 I.
      {"2^3 interaction", EDesign::kFullFactorial, 3, EModel::kInteraction, 0, 100, 100, 1, 1, 0},
      // Saturated: 7 factors in 8 runs, linear.
      {"PB 8 saturated", EDesign::kPlackettBurman, 7, EModel::kLinear, 0, 100, 100, 1, 0, 0},
      // 2^2 with 3 centre points, linear: det = 7 * 4 * 4.
      {"2^2 + 3 centres", EDesign::kFullFactorial, 2, EModel::kLinear, 3,
       100.0 * std::cbrt(7.0 * 16.0) / 7.0, 100.0 * 3.0 / (7.0 * (1.0 / 7 + 2.0 / 4)),
       std::sqrt(7.0 / 4.0), 4, 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Quantitative(row.factors);
    const DesignBuilder& builder = Builder(row.type);
    DesignOptions options = OptionsFor(builder, factors, EObjective::kScreening, row.model);
    options.SetCenterPoints(row.centers);
    const auto design = builder.Generate(factors, options);
    const DesignModel model = DesignModel::Make(factors, row.model, EModel::kNone);
    const auto stats = DesignStatistics::Compute(design->GetCoded(), factors, model);
    ASSERT_FALSE(stats.IsSingular());
    EXPECT_NEAR(stats.GetDEfficiency(), row.d_efficiency, 1e-9);
    EXPECT_NEAR(stats.GetGEfficiency(), row.g_efficiency, 1e-9);
    EXPECT_NEAR(stats.GetConditionNumber(), row.condition, 1e-9);
    EXPECT_EQ(stats.GetResidualDF(), row.residual);
    EXPECT_EQ(stats.GetPureErrorDF(), row.pure_error);
    EXPECT_EQ(stats.GetLackOfFitDF(), row.residual - row.pure_error);
    EXPECT_EQ(stats.IsSaturated(), row.residual == 0);
    EXPECT_NEAR(stats.GetLogDet(),
                std::log(design->GetRuns()) * model.GetColumnCount(factors) -
                    (row.centers > 0 ? 2 * std::log(7.0 / 4.0) : 0.0),
                1e-9);
    ASSERT_EQ(stats.GetVIF().size(), static_cast<std::size_t>(model.GetColumnCount(factors) - 1));
    for (double vif : stats.GetVIF()) EXPECT_NEAR(vif, 1.0, 1e-9);
  }
}

TEST(DesignStatistics, CorrelatedColumnsRaiseTheirVIF) {
  // x2 = x1 on three of four runs: correlation 0.5, so both VIFs are 1 / (1 - 0.25).
  Factors factors = Quantitative(2);
  const auto stats =
      DesignStatistics::Compute(Matrix({{-1, -1}, {1, 1}, {-1, 1}, {1, 1}}), factors,
                                DesignModel::Make(factors, EModel::kLinear, EModel::kNone));
  ASSERT_FALSE(stats.IsSingular());
  EXPECT_EQ(stats.GetTermNames(), (std::vector<std::string>{"X1", "X2"}));
  // Columns centred: x1 (-1, 1, -1, 1), x2 (-1.5, .5, .5, .5) / ...; r^2 = 1/3.
  EXPECT_NEAR(stats.GetVIF()[0], 1.5, 1e-9);
  EXPECT_NEAR(stats.GetVIF()[1], 1.5, 1e-9);
  EXPECT_GT(stats.GetConditionNumber(), 1.0);
  EXPECT_LT(stats.GetDEfficiency(), 100.0);
}

TEST(DesignStatistics, SingularDesignsAreReportedAsSuchNeverAsNaN) {
  struct Row {
    std::string name;
    NCDataMatrix<float> coded;
    EModel::Type model;
    int residual;
  };
  const std::vector<Row> rows = {
      {"fewer runs than terms", Matrix({{-1, -1}, {1, 1}}), EModel::kLinear, 0},
      {"aliased columns", Matrix({{-1, -1}, {1, 1}, {-1, -1}, {1, 1}}), EModel::kLinear, 2},
      {"two levels, quadratic", Matrix({{-1, -1}, {1, -1}, {-1, 1}, {1, 1}, {1, 1}}),
       EModel::kQuadratic, 1},
  };
  const Factors factors = Quantitative(2);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto stats = DesignStatistics::Compute(
        row.coded, factors, DesignModel::Make(factors, row.model, EModel::kNone));
    EXPECT_TRUE(stats.IsSingular());
    EXPECT_FALSE(stats.IsSaturated());
    for (double v : {stats.GetGEfficiency(), stats.GetConditionNumber()}) {
      EXPECT_FALSE(std::isnan(v));
    }
    EXPECT_EQ(stats.GetDEfficiency(), 0.0);
    EXPECT_EQ(stats.GetLogDet(), -99.0);
    EXPECT_EQ(stats.GetResidualDF(), row.residual);
    for (double vif : stats.GetVIF()) EXPECT_EQ(vif, -99.0);
  }
}

TEST(DesignStatistics, QualitativeFactorsExpandIntoEffectCodedColumns) {
  Factors factors;
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Tool", {"a", "b", "c"}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Quantitative("T", 0, 1), nullptr));
  const DesignBuilder& builder = Builder(EDesign::kGeneralFullFactorial);
  const auto design = builder.Generate(
      factors, OptionsFor(builder, factors, EObjective::kScreening, EModel::kInteraction));
  const DesignModel model = DesignModel::Make(factors, EModel::kInteraction, EModel::kNone);
  EXPECT_EQ(
      model.GetColumnNames(factors),
      (std::vector<std::string>{"Constant", "Tool(a)", "Tool(b)", "T", "Tool(a)*T", "Tool(b)*T"}));
  const auto stats = DesignStatistics::Compute(design->GetCoded(), factors, model);
  EXPECT_TRUE(stats.IsSaturated());
}

TEST(DesignStatistics, SaveThenLoadRestoresEveryValue) {
  const Factors factors = Quantitative(3);
  const DesignBuilder& builder = Builder(EDesign::kCentralComposite, "CCF");
  const auto design =
      builder.Generate(factors, OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic));
  const auto saved = DesignStatistics::Compute(
      design->GetCoded(), factors, DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone));
  TinyXML2Section section;
  saved.Save(section);
  saved.Save(section);  // a second save replaces the terms, it does not add to them
  DesignStatistics::Results loaded;
  loaded.Load(section);
  EXPECT_EQ(loaded, saved);
  EXPECT_EQ(loaded.GetVIF().size(), 9U);
}

TEST(DesignStatistics, LoadRefusesInconsistentValuesAndKeepsTheObject) {
  struct Row {
    std::string name, key, value, message;
  };
  const std::string inconsistent = "The stored design statistics are not consistent.";
  const std::vector<Row> rows = {
      {"negative runs", "Runs", "-1", inconsistent},
      {"pure error above residual", "PureErrorDF", "9", inconsistent},
      {"not finite", "LogDet", "inf", inconsistent},
      {"not a number", "DEfficiency", "high",
       "The value 'high' of the key 'DEfficiency' is not a valid number."},
  };
  const Factors factors = Quantitative(2);
  const auto original = DesignStatistics::Compute(
      Matrix({{-1, -1}, {1, -1}, {-1, 1}, {1, 1}, {0, 0}, {0, 0}}), factors,
      DesignModel::Make(factors, EModel::kLinear, EModel::kNone));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TinyXML2Section section;
    original.Save(section);
    section.SetValue(row.key, row.value);
    DesignStatistics::Results loaded = original;
    try {
      loaded.Load(section);
      ADD_FAILURE() << "accepted";
    } catch (const Exception& e) {
      EXPECT_EQ(e.Message(), row.message);
    }
    EXPECT_EQ(loaded, original);
  }
}

}  // namespace
}  // namespace zubra
