#include "zubra/region/design_factors.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "zubra/model/term_info.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/region/constraints_info.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

// Temp (controlled 20..80, hard to change), Cat (qualitative a/b/c), Lot (design-set qualitative),
// Speed (constant 5), One (qualitative with one setting: constant), Water (formulation
// 0.1..0.6), Oil (formulation 0..0.5).
Variables MixedSet() {
  Variables set;
  const auto add = [&set](const std::string& name, auto&& configure) {
    auto factor = std::make_unique<FactorClass>();
    factor->SetName(name);
    factor->SetAbbr(name.substr(0, 3));
    configure(*factor);
    EXPECT_EQ(set.Add(std::move(factor)), Variables::kOk);
  };
  const auto qualitative = [](std::vector<std::string> settings) {
    return [settings](FactorClass& f) {
      f.SetSettings(settings, CEType::kQualitative, CEUse::kControlled);
    };
  };
  add("Temp", [](FactorClass& f) {
    f.SetValue(20, 80, CEType::kQuantitative, true);
    f.SetHardToChange(true);
  });
  add("Cat", qualitative({"a", "b", "c"}));
  add("Lot", [&](FactorClass& f) {
    qualitative({"L1", "L2"})(f);
    f.SetDesignSetFactor(true);
  });
  add("Speed", [](FactorClass& f) { f.SetValue(5.0, CEType::kQuantitative); });
  add("One", qualitative({"x"}));
  add("Water", [](FactorClass& f) { f.SetValue(0.1, 0.6, CEType::kFormulation, true); });
  add("Oil", [](FactorClass& f) { f.SetValue(0.0, 0.5, CEType::kFormulation, true); });
  return set;
}

TEST(DesignFactors, TakesFactorsWithoutTheDesignSetFlagThatTheEngineAccepts) {
  const Variables set = MixedSet();
  const DesignFactors extract(set);
  const std::pair<const char*, int> rows[] = {{"Temp", 0}, {"Cat", 1},   {"Lot", -1}, {"Speed", 2},
                                              {"One", -1}, {"Water", 3}, {"Oil", 4}};
  for (const auto& [name, index] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(extract.GetDesignIndex(set.GetFactor(name)), index);
  }
  ASSERT_EQ(extract.GetCount(), 5);
  EXPECT_EQ(extract.GetProblems().size(), 1U);  // the one-setting qualitative factor
  const Factors& factors = extract.GetFactors();
  EXPECT_TRUE(factors.IsProcessAndMixture());
  EXPECT_EQ(factors.GetFactor(2).low, 5.0);
  EXPECT_EQ(factors.GetFactor(2).high, 5.0);
  EXPECT_EQ(factors.GetFactor(1).settings, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(factors.GetVaried(), (std::vector<int>{0, 1, 3, 4}));
  // The hard-to-change mark reaches the engine.
  EXPECT_TRUE(factors.GetFactor(0).hard_to_change);
  EXPECT_FALSE(factors.GetFactor(1).hard_to_change);
  EXPECT_TRUE(factors.HasHardToChange());
  EXPECT_EQ(extract.GetDesignIndex(nullptr), -1);
  // A factor of another set that shares nothing but a name has no index.
  FactorClass stranger;
  stranger.SetName("Temp");
  EXPECT_EQ(extract.GetDesignIndex(&stranger), -1);
  StreamWindow out;
  extract.Show(out);
  EXPECT_NE(out.str().find("Temp : " + CEType::GetString(CEType::kQuantitative)),
            std::string::npos);
  EXPECT_NE(out.str().find("[20, 80], hard to change\n"), std::string::npos);
}

TEST(DesignFactors, PlateFactorsRestrictTheExtract) {
  const Variables set = MixedSet();
  DesignFactors extract;
  extract.SetREDMUPUsedFactors({set.GetFactor("Water")->GetUniqueID()});
  extract.Update(set);
  EXPECT_EQ(extract.GetCount(), 1);
  EXPECT_EQ(extract.GetDesignIndex(set.GetFactor("Water")), 0);
  EXPECT_EQ(extract.GetDesignIndex(set.GetFactor("Temp")), -1);
}

TEST(DesignFactors, TermListBecomesTheEnginesModelWithoutTermsOfFixedFactors) {
  // Factor numbers: Temp 1, Cat 2, Lot 3, Speed 4, One 5, Water 6, Oil 7; design indexes
  // Temp 0, Cat 1, Speed 2, Water 3, Oil 4.
  const Variables set = MixedSet();
  const DesignFactors extract(set);
  EXPECT_EQ(extract.GetFactorNumber(3), 6);
  EXPECT_EQ(extract.GetDesignIndexOfNumber(6), 3);
  EXPECT_EQ(extract.GetDesignIndexOfNumber(3), -1);
  TermInfo terms("Model");
  const int rows[][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0},
                         {2, 1, 0}, {6, 7, 1}, {4, 0, 0},  // constant factor: not estimable
                         {3, 1, 0},                        // design-set factor
                         {9, 0, 0}};                       // no such factor
  for (const auto& row : rows) ASSERT_EQ(terms.AddItm(0, "", row[0], row[1], row[2]), 0);
  const std::unique_ptr<DesignModel> model = extract.ToNCDOEModel(terms);
  EXPECT_EQ(model->GetTerms(),
            (std::vector<DesignModel::Term>{{}, {0}, {0, 0}, {0, 1}, {0, 3, 4}}));
  EXPECT_TRUE(model->IsValidFor(extract.GetFactors()));
}

TEST(ConstraintsInfo, DesignEngineFormUsesDesignIndexesAndSkipsQualitativeFactors) {
  const Variables set = MixedSet();
  const DesignFactors extract(set);
  ConstraintsInfo info(&set);
  const auto add = [&](ConstraintsInfo::ExcludeType type,
                       const std::vector<std::pair<std::string, double>>& terms, double limit) {
    ConstraintsInfo::Constraint* constraint = info.AddConstraint(type);
    for (const auto& [name, value] : terms) constraint->SetValue(info.GetIndex(name), value);
    constraint->SetLimit(limit);
  };
  EXPECT_EQ(info.ToNCConstraint(extract), nullptr);  // no constraints
  add(ConstraintsInfo::kLess, {{"Cat", 3}}, 1);      // qualitative only: no pair
  add(ConstraintsInfo::kGreater, {{"Lot", 2}}, 1);   // design-set factor: no pair
  EXPECT_EQ(info.ToNCConstraint(extract), nullptr);
  add(ConstraintsInfo::kLess, {{"Temp", 1}, {"Cat", 9}}, 50);
  add(ConstraintsInfo::kGreater, {{"Water", 1}, {"Oil", -1}}, 0.2);

  const std::unique_ptr<NCDOE::Constraints> converted = info.ToNCConstraint(extract);
  ASSERT_NE(converted, nullptr);
  ASSERT_EQ(converted->GetCount(), 2);
  const NCDOE::Constraint& first = converted->GetAll()[0];
  const NCDOE::Constraint& second = converted->GetAll()[1];
  EXPECT_TRUE(first.IsLessThan() && !second.IsLessThan());
  EXPECT_EQ(first.GetLimit(), 50);
  EXPECT_EQ(first.GetPairs(), (std::vector<std::pair<int, double>>{{0, 1}}));
  EXPECT_EQ(second.GetPairs(), (std::vector<std::pair<int, double>>{{3, 1}, {4, -1}}));
}

}  // namespace
}  // namespace zubra
