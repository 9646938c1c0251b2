#include "zubra/variables/variable_utilities.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/base/investigation_access.h"
#include "zubra/platform/base/list_options.h"
#include "zubra/platform/matrix/f_vector.h"
#include "zubra/region/transform.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

using VariableUtilities::GetClosestQualSetting;

FactorClass Qualitative(std::vector<std::string> settings) {
  FactorClass f;
  f.SetName("Cat");
  f.SetAbbr("C");
  f.SetSettings(settings, CEType::kQualitative, CEUse::kControlled);
  return f;
}

// A data service that includes the same settings for every factor.
class IncludedSettings : public InvestigationAccess {
 public:
  explicit IncludedSettings(std::vector<std::string> included) : included_(std::move(included)) {}
  double GetMin(std::string_view) const override { return -99.0; }
  double GetCenter(std::string_view) const override { return -99.0; }
  double GetMax(std::string_view) const override { return -99.0; }
  std::vector<std::string> GetIncludedSettings(std::string_view) const override {
    return included_;
  }

 private:
  std::vector<std::string> included_;
};

TEST(VariableUtilities, TrimTurnsTabsAndLineFeedsIntoSpacesAndStripsTheEnds) {
  struct Row {
    const char* name;
    std::string in;
    std::string out;
  };
  const std::vector<Row> rows = {
      {"tab name line feed", "\tTemp\n", "Temp"},
      {"inner tab becomes space", "Feed\tRate", "Feed Rate"},
      {"only blanks", " \t\n ", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string text = row.in;
    VariableUtilities::Trim(text);
    EXPECT_EQ(text, row.out);
    EXPECT_EQ(VariableUtilities::TrimCopy(row.in), row.out);
  }
}

// Coding of three settings A, B, C: A = (-1, -1), B = (1, 0), C = (0, 1); the normaliser over
// two columns is 2 + sqrt(6) = 4.449490.
TEST(VariableUtilities, ClosestQualSettingUsesTheAccumulationRule) {
  struct Row {
    const char* name;
    std::vector<std::string> settings;
    std::vector<std::string> included;  // what the data service answers
    FVector point;
    int setting;
    int closeness;
  };
  const std::vector<Row> rows = {
      {"exact row", {"A", "B", "C"}, {}, FVector{1.0F, 0.0F}, 2, 100},
      {"exact first row", {"A", "B", "C"}, {}, FVector{-1.0F, -1.0F}, 1, 100},
      // Rows -1 and 1: both at distance 1 from 0; the first stays; (1 - 1/2) x 100.
      {"tie keeps the first", {"Lo", "Hi"}, {}, FVector{0.0F}, 1, 50},
      // B: 1 then 1 + sqrt(1) = 2; C: 0 then 0 + sqrt(1) = 1. A plain Euclidean distance ties
      // B and C and keeps B; the rule picks C. (1 - 1/4.449490) x 100 = 77.5.
      {"accumulation order decides", {"A", "B", "C"}, {}, FVector{0.0F, 0.0F}, 3, 77},
      // Far outside: D = 9 against M = 2 gives (1 - 4.5) x 100.
      {"far point gives negative closeness", {"Lo", "Hi"}, {}, FVector{10.0F}, 2, -350},
      // Only B and C are candidates: B 2 + sqrt(3) = 3.732, C 1 + sqrt(5) = 3.236.
      {"included settings restrict the candidates",
       {"A", "B", "C"},
       {"B", "C"},
       FVector{-1.0F, -1.0F},
       3,
       27},
      // One included setting does not restrict the candidates but restricts the compared
      // columns to B's: A matches in column 1 and column 2 is ignored.
      {"one included setting restricts the columns only",
       {"A", "B", "C"},
       {"B"},
       FVector{-1.0F, 5.0F},
       1,
       100},
      // The same point over both columns: A 6, B 2 + sqrt(27), C 1 + sqrt(17) = 5.12.
      {"both columns without a service", {"A", "B", "C"}, {}, FVector{-1.0F, 5.0F}, 3, -15},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const FactorClass factor = Qualitative(row.settings);
    std::unique_ptr<ScopedInvestigationAccess> guard;
    if (!row.included.empty()) {
      guard = std::make_unique<ScopedInvestigationAccess>(
          std::make_shared<IncludedSettings>(row.included));
    }
    FVector point = row.point;
    int closeness = -1;
    EXPECT_EQ(GetClosestQualSetting(&factor, &point, closeness), row.setting);
    EXPECT_EQ(closeness, row.closeness);
  }
}

TEST(VariableUtilities, ClosestQualSettingRefusesWhatItCannotCompare) {
  const FactorClass factor = Qualitative({"A", "B", "C"});
  FVector short_point{1.0F};
  FVector point{1.0F, 0.0F};
  int closeness = -1;
  EXPECT_EQ(GetClosestQualSetting(nullptr, &point, closeness), 0);
  EXPECT_EQ(closeness, 0);
  closeness = -1;
  EXPECT_EQ(GetClosestQualSetting(&factor, nullptr, closeness), 0);
  EXPECT_EQ(closeness, 0);
  closeness = -1;
  EXPECT_EQ(GetClosestQualSetting(&factor, &short_point, closeness), 0);
  EXPECT_EQ(closeness, 0);
  // Included settings that name no setting of the factor leave no candidate.
  ScopedInvestigationAccess guard(
      std::make_shared<IncludedSettings>(std::vector<std::string>{"X", "Y"}));
  EXPECT_EQ(GetClosestQualSetting(&factor, &point, closeness), 0);
  EXPECT_EQ(closeness, 0);
}

// Every entry gets its own colour so that picking the wrong entry shows.
class VariableUtilitiesColors : public ::testing::Test {
 protected:
  void SetUp() override {
    std::uint32_t color = 0x101010;
    for (const ListOptions::Entry entry : ListOptions::kAllEntries) {
      ASSERT_TRUE(ListOptions::Instance().SetColor(entry, color));
      color += 0x010101;
    }
  }
  void TearDown() override { ListOptions::Instance().Reset(); }
  static std::uint32_t Of(ListOptions::Entry entry) {
    return ListOptions::Instance().GetColor(entry);
  }
};

TEST_F(VariableUtilitiesColors, EachHelperPicksItsEntry) {
  using E = ListOptions::Entry;
  struct Row {
    const char* name;
    std::uint32_t got;
    E entry;
  };
  FactorClass filler;
  filler.SetValue(CEType::kFiller, CEUse::kControlled);
  FactorClass uncontrolled;
  uncontrolled.SetValue(1.0, 2.0, CEType::kQuantitative, false);
  FactorClass constant;
  constant.SetValue(1.0, CEType::kQuantitative);
  FactorClass controlled;
  controlled.SetValue(1.0, 2.0, CEType::kQuantitative, true);
  using VariableUtilities::GetFactorBackgroundColor;
  using VariableUtilities::GetFactorValueBackgroundColor;
  using VariableUtilities::GetResponseBackgroundColor;
  using VariableUtilities::GetResponseValueBackgroundColor;
  const std::vector<Row> rows = {
      {"quantitative", GetFactorBackgroundColor(CEType::kQuantitative), E::kDefaultFactor},
      {"multilevel", GetFactorBackgroundColor(CEType::kMultilevel), E::kProcessFactor},
      {"qualitative", GetFactorBackgroundColor(CEType::kQualitative), E::kProcessFactor},
      {"time", GetFactorBackgroundColor(CEType::kTime), E::kProcessFactor},
      {"formulation", GetFactorBackgroundColor(CEType::kFormulation), E::kFormulationFactor},
      {"filler", GetFactorBackgroundColor(CEType::kFiller), E::kFillerFactor},
      {"none", GetFactorBackgroundColor(CEType::kNone), E::kDefaultFactor},
      {"filler value", GetFactorValueBackgroundColor(&filler), E::kFillerValue},
      {"uncontrolled value", GetFactorValueBackgroundColor(&uncontrolled), E::kUncontrolledValue},
      {"constant value", GetFactorValueBackgroundColor(&constant), E::kConstantValue},
      {"controlled value", GetFactorValueBackgroundColor(&controlled), E::kDefaultValue},
      {"null factor value", GetFactorValueBackgroundColor(nullptr), E::kDefaultValue},
      {"derived response", GetResponseBackgroundColor(ResponseEx::kDerived), E::kDerivedResponse},
      {"regular response", GetResponseBackgroundColor(ResponseEx::kRegular), E::kDefaultResponse},
      {"linked response", GetResponseBackgroundColor(ResponseEx::kLinked), E::kDefaultResponse},
      {"derived value", GetResponseValueBackgroundColor(ResponseEx::kDerived),
       E::kDerivedResponseValue},
      {"regular value", GetResponseValueBackgroundColor(ResponseEx::kRegular),
       E::kDefaultResponseValue},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.got, Of(row.entry));
  }
}

TEST(VariableUtilities, NonDesignSetFactorsPicksFactorsOutsideTheDesignSet) {
  FactorClass in_set;
  in_set.SetDesignSetFactor(true);
  FactorClass outside;
  ResponseClass response;
  const VariableUtilities::NonDesignSetFactors pick;
  const FactorClass* no_factor = nullptr;
  const ResponseClass* no_variable = nullptr;
  struct Row {
    const char* name;
    bool got;
    bool expected;
  };
  const std::vector<Row> rows = {
      {"factor outside the set", pick(&outside), true},
      {"factor in the set", pick(&in_set), false},
      {"null factor", pick(no_factor), false},
      {"factor seen as a variable", pick(static_cast<const ResponseClass*>(&outside)), true},
      {"set factor seen as a variable", pick(static_cast<const ResponseClass*>(&in_set)), false},
      {"response", pick(&response), false},
      {"null variable", pick(no_variable), false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.got, row.expected);
  }
}

// Temp (T, log-transformed, unit "C"), Pressure (P), Cat (C: A, B, C) and the response Yield (Y).
Variables DisplaySet() {
  Variables set;
  auto temp = std::make_unique<FactorClass>();
  temp->SetName("Temp");
  temp->SetAbbr("T");
  temp->SetUnits("C");
  temp->SetValue(20.0, 80.0, CEType::kQuantitative, true);
  temp->SetTransform(Transform(TraData::kLog, 0.0, 1.0, 0.0));
  auto pressure = std::make_unique<FactorClass>();
  pressure->SetName("Pressure");
  pressure->SetAbbr("P");
  pressure->SetValue(1.0, 2.0, CEType::kQuantitative, true);
  auto cat = std::make_unique<FactorClass>(Qualitative({"A", "B", "C"}));
  auto yield = std::make_unique<ResponseClass>();
  yield->SetName("Yield");
  yield->SetAbbr("Y");
  EXPECT_EQ(set.Add(std::move(temp)), Variables::kOk);
  EXPECT_EQ(set.Add(std::move(pressure)), Variables::kOk);
  EXPECT_EQ(set.Add(std::move(cat)), Variables::kOk);
  EXPECT_EQ(set.Add(std::move(yield)), Variables::kOk);
  return set;
}

TEST(VariableUtilities, DisplayNamesFollowThePresentation) {
  const Variables set = DisplaySet();
  using C = CModelList;
  struct Row {
    const char* name;
    C::FactorPresentation factors;
    C::ResponsePresentation responses;
    const char* text;
    bool transformed;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {"abbreviation from name", C::kFactorAbbreviation, C::kResponseName, "temp", false, "T"},
      {"abbreviation with mark", C::kFactorAbbreviation, C::kResponseName, "Temp~", true, "T~"},
      {"name from abbreviation", C::kFactorName, C::kResponseAbbreviation, "T", true, "Temp~"},
      {"not set is abbreviation", C::kFactorPresentationNotSet, C::kResponseName, "Pressure", false,
       "P"},
      {"both", C::kFactorNameAndAbbreviation, C::kResponseName, "T", true, "Temp~ (T~)"},
      {"setting by name", C::kFactorAbbreviation, C::kResponseName, "Cat(B)", false, "C(B)"},
      {"setting by abbreviation", C::kFactorName, C::kResponseName, "C(B)", false, "Cat(B)"},
      {"interaction", C::kFactorNameAndAbbreviation, C::kResponseName, "T*P", true,
       "Temp~*Pressure (T~*P)"},
      {"response follows its own choice", C::kFactorName, C::kResponseAbbreviation, "Yield", false,
       "Y"},
      {"response both", C::kFactorAbbreviation, C::kResponseNameAndAbbreviation, "y", false,
       "Yield (Y)"},
      {"unknown stays", C::kFactorName, C::kResponseName, "Speed", false, "Speed"},
      {"unknown setting stays", C::kFactorName, C::kResponseName, "C(D)", false, "C(D)"},
      {"response in a product stays", C::kFactorName, C::kResponseName, "T*Y", false, "T*Y"},
      {"block generator stays", C::kFactorName, C::kResponseName, "$B1", false, "$B1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(VariableUtilities::GetVariableNameToDisplay(&set, row.factors, row.responses,
                                                          row.text, row.transformed),
              row.expected);
  }
  // Without options: abbreviations.
  EXPECT_EQ(VariableUtilities::GetVariableNameToDisplay(&set, nullptr, "Pressure", false), "P");
  EXPECT_EQ(VariableUtilities::GetVariableNameToDisplay(nullptr, nullptr, "Pressure", false),
            "Pressure");
}

TEST(VariableUtilities, FullNameAndFirstUsedTerm) {
  const Variables set = DisplaySet();
  EXPECT_EQ(VariableUtilities::GetVariableFullName(&set, "T"), "Temp~ (C)");
  EXPECT_EQ(VariableUtilities::GetVariableFullName(&set, "C(A)"), "Cat(A)");
  EXPECT_EQ(VariableUtilities::GetVariableFullName(&set, "T*P"), "Temp~*Pressure");

  struct Row {
    const char* name;
    std::vector<std::string> included;
    const char* term;
    bool expected;
  };
  const std::vector<Row> rows = {
      {"reference level", {}, "C(A)", true},
      {"reference level by name", {}, "Cat(A)", true},
      {"other level", {}, "C(B)", false},
      {"first included level", {"B", "C"}, "C(B)", true},
      {"excluded first level", {"B", "C"}, "C(A)", false},
      {"factor without setting", {}, "C", false},
      {"quantitative factor", {}, "T", false},
      {"unknown", {}, "X(A)", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::unique_ptr<ScopedInvestigationAccess> guard;
    if (!row.included.empty()) {
      guard = std::make_unique<ScopedInvestigationAccess>(
          std::make_shared<IncludedSettings>(row.included));
    }
    EXPECT_EQ(VariableUtilities::IsFirstUsedTerm(&set, row.term), row.expected);
  }
  EXPECT_FALSE(VariableUtilities::IsFirstUsedTerm(nullptr, "C(A)"));
}

}  // namespace
}  // namespace zubra
