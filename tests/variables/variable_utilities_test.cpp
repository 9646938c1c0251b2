#include "zubra/variables/variable_utilities.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/base/investigation_access.h"
#include "zubra/platform/base/list_options.h"
#include "zubra/platform/matrix/f_vector.h"
#include "zubra/region/transform.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

namespace VU = VariableUtilities;

std::unique_ptr<FactorClass> Qualitative(const std::vector<std::string>& settings) {
  auto f = std::make_unique<FactorClass>();
  f->SetSettings(settings, CEType::kQualitative, CEUse::kControlled);
  return f;
}

// A data service that includes the same settings for every factor.
struct IncludedSettings : InvestigationAccess {
  explicit IncludedSettings(std::vector<std::string> settings) : included(std::move(settings)) {}
  double GetMin(std::string_view) const override { return -99.0; }
  double GetCenter(std::string_view) const override { return -99.0; }
  double GetMax(std::string_view) const override { return -99.0; }
  std::vector<std::string> GetIncludedSettings(std::string_view) const override { return included; }
  std::vector<std::string> included;
};

// Installs the service while alive; no service for an empty list.
std::unique_ptr<ScopedInvestigationAccess> Include(const std::vector<std::string>& settings) {
  if (settings.empty()) return nullptr;
  return std::make_unique<ScopedInvestigationAccess>(std::make_shared<IncludedSettings>(settings));
}

TEST(VariableUtilities, TrimTurnsTabsAndLineFeedsIntoSpacesAndStripsTheEnds) {
  for (const auto& [in, out] : std::vector<std::pair<std::string, std::string>>{
           {"\tTemp\n", "Temp"}, {"Feed\tRate", "Feed Rate"}, {" \t\n ", ""}}) {
    std::string text = in;
    VU::Trim(text);
    EXPECT_EQ(text, out) << in;
    EXPECT_EQ(VU::TrimCopy(in), out) << in;
  }
}

// A = (-1, -1), B = (1, 0), C = (0, 1); the normaliser over two columns is 2 + sqrt(6) = 4.4495.
TEST(VariableUtilities, ClosestQualSettingUsesTheAccumulationRule) {
  struct Row {
    const char* name;
    std::vector<std::string> settings, included;  // included: what the data service answers
    FVector point;
    int setting, closeness;
  };
  const std::vector<std::string> abc = {"A", "B", "C"}, two = {"Lo", "Hi"};
  const std::vector<Row> rows = {
      {"exact row", abc, {}, FVector{1, 0}, 2, 100},
      {"exact first row", abc, {}, FVector{-1, -1}, 1, 100},
      // -1 and 1 are both at distance 1 from 0: the first stays; (1 - 1/2) x 100.
      {"tie keeps the first", two, {}, FVector{0}, 1, 50},
      // B: 1 then 1 + sqrt(1) = 2; C: 0 then 0 + sqrt(1) = 1. A plain Euclidean distance ties
      // B and C and keeps B; the rule picks C. (1 - 1/4.4495) x 100 = 77.5.
      {"accumulation order decides", abc, {}, FVector{0, 0}, 3, 77},
      // D = 9 against M = 2 gives (1 - 4.5) x 100.
      {"far point gives negative closeness", two, {}, FVector{10}, 2, -350},
      // Only B and C are candidates: B 2 + sqrt(3) = 3.732, C 1 + sqrt(5) = 3.236.
      {"included settings restrict the candidates", abc, {"B", "C"}, FVector{-1, -1}, 3, 27},
      // One included setting restricts only the compared columns to B's: column 2 is ignored.
      {"one included setting restricts the columns", abc, {"B"}, FVector{-1, 5}, 1, 100},
      // The same point over both columns: A 6, B 2 + sqrt(27), C 1 + sqrt(17) = 5.12.
      {"both columns without a service", abc, {}, FVector{-1, 5}, 3, -15},
      {"included settings name none", abc, {"X", "Y"}, FVector{1, 0}, 0, 0},
      {"point too short", abc, {}, FVector{1}, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto factor = Qualitative(row.settings);
    const auto guard = Include(row.included);
    FVector point = row.point;
    int closeness = -1;
    EXPECT_EQ(VU::GetClosestQualSetting(factor.get(), &point, closeness), row.setting);
    EXPECT_EQ(closeness, row.closeness);
  }
  auto refused = [](const FactorClass* factor, FVector* point) {
    int closeness = -1;
    return VU::GetClosestQualSetting(factor, point, closeness) == 0 && closeness == 0;
  };
  FVector point{1, 0};
  EXPECT_TRUE(refused(nullptr, &point));
  EXPECT_TRUE(refused(Qualitative(abc).get(), nullptr));
}

TEST(VariableUtilities, EachColorHelperPicksItsEntry) {
  using E = ListOptions::Entry;
  struct Reset {
    ~Reset() { ListOptions::Instance().Reset(); }
  } reset;
  std::uint32_t color = 0x101010;  // a colour of its own for every entry
  for (const E entry : ListOptions::kAllEntries) {
    ASSERT_TRUE(ListOptions::Instance().SetColor(entry, color));
    color += 0x010101;
  }
  auto of = [](E entry) { return ListOptions::Instance().GetColor(entry); };
  const std::pair<CEType::EType, E> types[] = {{CEType::kQuantitative, E::kDefaultFactor},
                                               {CEType::kMultilevel, E::kProcessFactor},
                                               {CEType::kQualitative, E::kProcessFactor},
                                               {CEType::kTime, E::kProcessFactor},
                                               {CEType::kFormulation, E::kFormulationFactor},
                                               {CEType::kFiller, E::kFillerFactor},
                                               {CEType::kNone, E::kDefaultFactor}};
  for (const auto& [type, entry] : types) {
    EXPECT_EQ(VU::GetFactorBackgroundColor(type), of(entry)) << type;
  }
  FactorClass filler, uncontrolled, constant, controlled;
  filler.SetValue(CEType::kFiller, CEUse::kControlled);
  uncontrolled.SetValue(1.0, 2.0, CEType::kQuantitative, false);
  constant.SetValue(1.0, CEType::kQuantitative);
  controlled.SetValue(1.0, 2.0, CEType::kQuantitative, true);
  EXPECT_EQ(VU::GetFactorValueBackgroundColor(&filler), of(E::kFillerValue));
  EXPECT_EQ(VU::GetFactorValueBackgroundColor(&uncontrolled), of(E::kUncontrolledValue));
  EXPECT_EQ(VU::GetFactorValueBackgroundColor(&constant), of(E::kConstantValue));
  EXPECT_EQ(VU::GetFactorValueBackgroundColor(&controlled), of(E::kDefaultValue));
  EXPECT_EQ(VU::GetFactorValueBackgroundColor(nullptr), of(E::kDefaultValue));
  EXPECT_EQ(VU::GetResponseBackgroundColor(ResponseEx::kDerived), of(E::kDerivedResponse));
  EXPECT_EQ(VU::GetResponseBackgroundColor(ResponseEx::kRegular), of(E::kDefaultResponse));
  EXPECT_EQ(VU::GetResponseBackgroundColor(ResponseEx::kLinked), of(E::kDefaultResponse));
  EXPECT_EQ(VU::GetResponseValueBackgroundColor(ResponseEx::kDerived),
            of(E::kDerivedResponseValue));
  EXPECT_EQ(VU::GetResponseValueBackgroundColor(ResponseEx::kRegular),
            of(E::kDefaultResponseValue));
}

TEST(VariableUtilities, NonDesignSetFactorsPicksFactorsOutsideTheDesignSet) {
  FactorClass in_set, outside;
  in_set.SetDesignSetFactor(true);
  const ResponseClass response;
  const VU::NonDesignSetFactors pick;
  EXPECT_TRUE(pick(&outside) && pick(static_cast<const ResponseClass*>(&outside)));
  EXPECT_FALSE(pick(&in_set) || pick(static_cast<const ResponseClass*>(&in_set)) ||
               pick(&response) || pick(static_cast<const FactorClass*>(nullptr)) ||
               pick(static_cast<const ResponseClass*>(nullptr)));
}

// Temp (T, log-transformed, unit "C"), Pressure (P), Cat (C: A, B, C) and the response Yield (Y).
Variables DisplaySet() {
  auto temp = std::make_unique<FactorClass>();
  temp->SetUnits("C");
  temp->SetValue(20.0, 80.0, CEType::kQuantitative, true);
  temp->SetTransform(Transform(TraData::kLog, 0.0, 1.0, 0.0));
  auto pressure = std::make_unique<FactorClass>();
  pressure->SetValue(1.0, 2.0, CEType::kQuantitative, true);
  std::unique_ptr<ResponseClass> all[] = {std::move(temp), std::move(pressure),
                                          Qualitative({"A", "B", "C"}),
                                          std::make_unique<ResponseClass>()};
  const char* const names[][2] = {{"Temp", "T"}, {"Pressure", "P"}, {"Cat", "C"}, {"Yield", "Y"}};
  Variables set;
  for (int i = 0; i < 4; ++i) {
    all[i]->SetName(names[i][0]);
    all[i]->SetAbbr(names[i][1]);
    EXPECT_EQ(set.Add(std::move(all[i])), Variables::kOk);
  }
  return set;
}

TEST(VariableUtilities, DisplayNamesFollowThePresentation) {
  const Variables set = DisplaySet();
  using C = CModelList;
  constexpr auto kAbbr = C::kFactorAbbreviation, kName = C::kFactorName;
  constexpr auto kRName = C::kResponseName, kRAbbr = C::kResponseAbbreviation;
  struct Row {
    C::FactorPresentation factors;
    C::ResponsePresentation responses;
    const char* text;
    bool transformed;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {kAbbr, kRName, "temp", false, "T"},
      {kAbbr, kRName, "Temp~", true, "T~"},
      {kName, kRAbbr, "T", true, "Temp~"},
      {C::kFactorPresentationNotSet, kRName, "Pressure", false, "P"},
      {C::kFactorNameAndAbbreviation, kRName, "T", true, "Temp~ (T~)"},
      {kAbbr, kRName, "Cat(B)", false, "C(B)"},
      {kName, kRName, "C(B)", false, "Cat(B)"},
      {C::kFactorNameAndAbbreviation, kRName, "T*P", true, "Temp~*Pressure (T~*P)"},
      {kName, kRAbbr, "Yield", false, "Y"},
      {kAbbr, C::kResponseNameAndAbbreviation, "y", false, "Yield (Y)"},
      // Unknown names, settings, responses in a product and block generators stay.
      {kName, kRName, "Speed", false, "Speed"},
      {kName, kRName, "C(D)", false, "C(D)"},
      {kName, kRName, "T*Y", false, "T*Y"},
      {kName, kRName, "$B1", false, "$B1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(
        VU::GetVariableNameToDisplay(&set, row.factors, row.responses, row.text, row.transformed),
        row.expected);
  }
  // Without options: abbreviations.
  EXPECT_EQ(VU::GetVariableNameToDisplay(&set, nullptr, "Pressure", false), "P");
  EXPECT_EQ(VU::GetVariableNameToDisplay(nullptr, nullptr, "Pressure", false), "Pressure");
}

TEST(VariableUtilities, FullNameAndFirstUsedTerm) {
  const Variables set = DisplaySet();
  EXPECT_EQ(VU::GetVariableFullName(&set, "T"), "Temp~ (C)");
  EXPECT_EQ(VU::GetVariableFullName(&set, "C(A)"), "Cat(A)");
  EXPECT_EQ(VU::GetVariableFullName(&set, "T*P"), "Temp~*Pressure");
  struct Row {
    std::vector<std::string> included;
    const char* term;
    bool expected;
  };
  const std::vector<Row> rows = {
      {{}, "C(A)", true},         {{}, "Cat(A)", true},        {{}, "C(B)", false},
      {{"B", "C"}, "C(B)", true}, {{"B", "C"}, "C(A)", false}, {{}, "C", false},
      {{}, "T", false},           {{}, "X(A)", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.term);
    const auto guard = Include(row.included);
    EXPECT_EQ(VU::IsFirstUsedTerm(&set, row.term), row.expected);
  }
  EXPECT_FALSE(VU::IsFirstUsedTerm(nullptr, "C(A)"));
}

}  // namespace
}  // namespace zubra
