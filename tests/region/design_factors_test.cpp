#include "zubra/region/design_factors.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/region/constraints_info.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

std::unique_ptr<FactorClass> Factor(const std::string& name) {
  auto factor = std::make_unique<FactorClass>();
  factor->SetName(name);
  factor->SetAbbr(name.substr(0, 3));
  return factor;
}

// Temp (controlled 20..80), Cat (qualitative a/b/c), Lot (design-set qualitative),
// Speed (constant 5), One (qualitative with one setting: constant), Water (formulation
// 0.1..0.6), Oil (formulation 0..0.5).
Variables MixedSet() {
  Variables set;
  auto temp = Factor("Temp");
  temp->SetValue(20, 80, CEType::kQuantitative, true);
  auto cat = Factor("Cat");
  cat->SetSettings({"a", "b", "c"}, CEType::kQualitative, CEUse::kControlled);
  auto lot = Factor("Lot");
  lot->SetSettings({"L1", "L2"}, CEType::kQualitative, CEUse::kControlled);
  lot->SetDesignSetFactor(true);
  auto speed = Factor("Speed");
  speed->SetValue(5.0, CEType::kQuantitative);
  auto one = Factor("One");
  one->SetSettings({"x"}, CEType::kQualitative, CEUse::kControlled);
  auto water = Factor("Water");
  water->SetValue(0.1, 0.6, CEType::kFormulation, true);
  auto oil = Factor("Oil");
  oil->SetValue(0.0, 0.5, CEType::kFormulation, true);
  for (auto* factor : {&temp, &cat, &lot, &speed, &one, &water, &oil}) {
    EXPECT_EQ(set.Add(std::move(*factor)), Variables::kOk);
  }
  return set;
}

TEST(DesignFactors, TakesFactorsWithoutTheDesignSetFlagThatTheEngineAccepts) {
  const Variables set = MixedSet();
  const DesignFactors extract(set);
  struct Row {
    const char* name;
    int index;
  };
  for (const Row& row : std::vector<Row>{{"Temp", 0},
                                         {"Cat", 1},
                                         {"Lot", -1},
                                         {"Speed", 2},
                                         {"One", -1},
                                         {"Water", 3},
                                         {"Oil", 4}}) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(extract.GetDesignIndex(set.GetFactor(row.name)), row.index);
  }
  ASSERT_EQ(extract.GetCount(), 5);
  EXPECT_EQ(extract.GetProblems().size(), 1U);  // the one-setting qualitative factor
  const Factors& factors = extract.GetFactors();
  EXPECT_TRUE(factors.IsProcessAndMixture());
  EXPECT_EQ(factors.GetFactor(2).low, 5.0);
  EXPECT_EQ(factors.GetFactor(2).high, 5.0);
  EXPECT_EQ(factors.GetFactor(1).settings, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(factors.GetVaried(), (std::vector<int>{0, 1, 3, 4}));
  EXPECT_EQ(extract.GetDesignIndex(nullptr), -1);

  // A factor of another set that happens to share nothing but a name has no index.
  FactorClass stranger;
  stranger.SetName("Temp");
  EXPECT_EQ(extract.GetDesignIndex(&stranger), -1);

  StreamWindow out;
  extract.Show(out);
  EXPECT_NE(out.str().find("Temp : " + CEType::GetString(CEType::kQuantitative)),
            std::string::npos);
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
  EXPECT_TRUE(first.IsLessThan());
  EXPECT_EQ(first.GetLimit(), 50);
  EXPECT_EQ(first.GetPairs(), (std::vector<std::pair<int, double>>{{0, 1}}));
  const NCDOE::Constraint& second = converted->GetAll()[1];
  EXPECT_FALSE(second.IsLessThan());
  EXPECT_EQ(second.GetPairs(), (std::vector<std::pair<int, double>>{{3, 1}, {4, -1}}));
}

}  // namespace
}  // namespace zubra
