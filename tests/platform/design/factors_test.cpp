// Factors, constraints, models and the text forms of the engine's enumerations.
#include "zubra/platform/design/factors.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/design_options.h"
#include "zubra/platform/design/design_specific_options.h"
#include "zubra/platform/design/design_statistics.h"
#include "zubra/platform/design/e_design.h"
#include "zubra/platform/design/e_model.h"
#include "zubra/platform/design/e_objective.h"
#include "zubra/platform/design/ncdoe_constraints.h"

namespace zubra {
namespace {

using F = Factors::Factor;

TEST(DesignEnumerations, EveryCodeRoundTripsThroughItsText) {
  struct Row {
    std::string name;
    std::vector<int> codes;
    std::function<std::string(int)> text;
    std::function<int(const std::string&)> code;
  };
  const std::vector<Row> rows = {
      {"EObjective",
       {0, 1, 2, 3, 4, 5},
       [](int c) { return EObjective::GetString(static_cast<EObjective::Type>(c)); },
       [](const std::string& t) { return static_cast<int>(EObjective::GetType(t)); }},
      {"EModel",
       {0, 1, 2, 3, 4, 5},
       [](int c) { return EModel::GetString(static_cast<EModel::Type>(c)); },
       [](const std::string& t) { return static_cast<int>(EModel::GetType(t)); }},
      {"EDesign",
       {0, 1, 2, 3, 4, 8, 9, 10, 11, 13, 14, 20, 21, 22, 23, 26, 27, 30, 31, 33, 37, 40, 45},
       [](int c) { return EDesign::GetString(static_cast<EDesign::Type>(c)); },
       [](const std::string& t) { return static_cast<int>(EDesign::GetType(t)); }},
      {"StarDistanceChoice",
       {0, 1, 2, 3, 4},
       [](int c) {
         return DesignOptions::GetStarDistanceChoiceText(
             static_cast<DesignOptions::StarDistanceChoice>(c));
       },
       [](const std::string& t) {
         return static_cast<int>(DesignOptions::kStarDistanceChoiceTexts.CodeOf(
             t, DesignOptions::StarDistanceChoice::kDefault));
       }},
      {"DesignStatistics::Reference",
       {0, 1},
       [](int c) {
         return std::string(DesignStatistics::kReferenceTexts.ValueOf(
             static_cast<DesignStatistics::Reference>(c), ""));
       },
       [](const std::string& t) {
         return static_cast<int>(
             DesignStatistics::kReferenceTexts.CodeOf(t, DesignStatistics::Reference::kCodedScale));
       }},
      {"DesignSpecificOptions",
       {0, 1, 2, 3},
       [](int c) {
         return DesignSpecificOptions::GetKindText(static_cast<DesignSpecificOptions::Kind>(c));
       },
       [](const std::string& t) {
         const auto kind = DesignSpecificOptions::GetKindFromText(t);
         return kind ? static_cast<int>(*kind) : -1;
       }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    for (int code : row.codes) {
      const std::string text = row.text(code);
      ASSERT_FALSE(text.empty()) << code;
      EXPECT_EQ(row.code(text), code) << text;
      std::string upper = text;
      for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      EXPECT_EQ(row.code(upper), code) << upper;
    }
    EXPECT_EQ(row.code("no such name"), row.name == "DesignSpecificOptions" ? -1 : 0);
  }
  EXPECT_EQ(EDesign::GetString(static_cast<EDesign::Type>(12)), "");
  EXPECT_TRUE(EDesign::IsStabilityDesign(EDesign::kStability));
  EXPECT_TRUE(EDesign::IsStabilityDesign(EDesign::kStabilityFactorial));
  EXPECT_FALSE(EDesign::IsStabilityDesign(EDesign::kDOptimal));
}

TEST(Factors, AddRefusesBadFactorsWithAMessageAndKeepsTheSet) {
  struct Row {
    std::string name;
    F factor;
    std::string message;
  };
  F fixed = F::Quantitative("Fixed", 3, 3);
  fixed.use = CEUse::kConstant;
  F one_level = F::Quantitative("One", 0, 1);
  one_level.num_levels = 1;
  const std::vector<Row> rows = {
      {"no name", F::Quantitative("", 0, 1), "A design factor needs a name."},
      {"duplicate", F::Quantitative("A", 0, 1), "There is already a design factor called 'A'."},
      {"empty range", F::Quantitative("B", 2, 2),
       "The low limit of the factor 'B' must be below its high limit."},
      {"one level", one_level, "The factor 'One' needs at least two levels."},
      {"repeated level", F::Multilevel("C", {1, 2, 2}),
       "The factor 'C' needs at least two distinct levels."},
      {"one setting", F::Qualitative("D", {"x"}),
       "The qualitative factor 'D' needs at least two distinct settings."},
      {"negative mixture", F::Formulation("E", -0.1, 1),
       "The range of the mixture factor 'E' must satisfy 0 <= low < high."},
      {"another total", F::Formulation("G", 0, 1, 2.0),
       "The mixture factor 'G' has another mixture total than the mixture factors before it."},
  };
  Factors factors;
  ASSERT_TRUE(factors.Add(F::Quantitative("A", 0, 1), nullptr));
  ASSERT_TRUE(factors.Add(F::Formulation("M", 0, 1), nullptr));
  ASSERT_TRUE(factors.Add(fixed, nullptr)) << "a constant factor may have an empty range";
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string message;
    EXPECT_FALSE(factors.Add(row.factor, &message));
    EXPECT_EQ(message, row.message);
    EXPECT_EQ(factors.GetCount(), 3);
  }
}

TEST(Factors, DesignsLeaveFactorsThatAreNotVariedAtTheirFixedValues) {
  Factors factors;
  F constant = F::Quantitative("Pressure", 2, 4);
  constant.use = CEUse::kConstant;
  F uncontrolled = F::Quantitative("Humidity", 0, 100);
  uncontrolled.use = CEUse::kUncontrolled;
  ASSERT_TRUE(factors.Add(F::Quantitative("A", 0, 1), nullptr));
  ASSERT_TRUE(factors.Add(constant, nullptr));
  ASSERT_TRUE(factors.Add(uncontrolled, nullptr));
  ASSERT_TRUE(factors.Add(F::Quantitative("B", 0, 1), nullptr));
  EXPECT_EQ(factors.GetVaried(), (std::vector<int>{0, 3}));
  const DesignModel model = DesignModel::Make(factors, EModel::kInteraction, EModel::kNone);
  EXPECT_EQ(model.GetTerms(), (std::vector<DesignModel::Term>{{}, {0}, {3}, {0, 3}}));
}

TEST(DesignModel, MixtureModelsHaveTheCanonicalTermCounts) {
  struct Row {
    EModel::Type model;
    int terms;  // for 4 components
  };
  const std::vector<Row> rows = {{EModel::kLinear, 4},
                                 {EModel::kQuadratic, 10},
                                 {EModel::kSpecialCubic, 14},
                                 {EModel::kCubic, 20}};
  const Factors factors = test_support::Mixture(4);
  for (const Row& row : rows) {
    SCOPED_TRACE(EModel::GetString(row.model));
    const DesignModel model = DesignModel::Make(factors, EModel::kQuadratic, row.model);
    EXPECT_FALSE(model.HasConstant());
    EXPECT_EQ(model.GetColumnCount(factors), row.terms);
  }
  EXPECT_FALSE(DesignModel({{0, 5}}).IsValidFor(factors));
}

TEST(NCDOEConstraints, PointsOnTheLimitAreNotExcluded) {
  struct Row {
    std::string name;
    bool less_than;
    std::vector<float> run;  // x0, x1
    bool excluded;
  };
  // 1 x0 + 2 x1 compared with 10; the pair on index -1 is dropped.
  const std::vector<Row> rows = {
      {"below, less-than", true, {2, 3}, true},   {"on, less-than", true, {4, 3}, false},
      {"above, less-than", true, {6, 3}, false},  {"above, greater-than", false, {6, 3}, true},
      {"on, greater-than", false, {4, 3}, false}, {"below, greater-than", false, {2, 3}, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NCDOE::Constraint constraint(row.less_than, 10.0);
    constraint.AddPair(0, 1.0);
    constraint.AddPair(1, 2.0);
    constraint.AddPair(-1, 100.0);
    EXPECT_EQ(constraint.GetPairs().size(), 2U);
    NCDOE::Constraints constraints;
    constraints.Add(constraint);
    EXPECT_EQ(constraints.Excludes(row.run), row.excluded);
  }
  NCDOE::Constraints two;
  NCDOE::Constraint low(true, 1.0);
  low.AddPair(0, 1.0);
  NCDOE::Constraint high(false, 3.0);
  high.AddPair(0, 1.0);
  two.Add(low);
  two.Add(high);
  const std::vector<float> rows_x0 = {0.5F, 9, 1.0F, 9, 2.0F, 9, 3.5F, 9};
  EXPECT_EQ(two.ExcludedRows(rows_x0, 2), (std::vector<int>{0, 3}));
}

}  // namespace
}  // namespace zubra
