#include "zubra/responses/response_ex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

constexpr double kU = -99.0;
using Limits = ResponseClass::Limits;
using Type = ResponseEx::EResponseType;
using D = Desirability;

TEST(ResponseEx, TypeTextsRoundTripAndUnknownsReadAsNotDefined) {
  const char* texts[] = {"NotDefined", "Regular", "Linked", "Derived", "All"};
  for (int code = 0; code < 5; ++code) {
    EXPECT_EQ(ResponseEx::GetStringFromType(static_cast<Type>(code)), texts[code]);
    EXPECT_EQ(ResponseEx::GetTypeFromString(texts[code]), code);
  }
  for (const int code : {7, -1}) {
    EXPECT_EQ(ResponseEx::GetStringFromType(static_cast<Type>(code)), "NotDefined");
  }
  for (const char* text : {"regular", "LINKED", "", "Derived ", "Measured"}) {
    EXPECT_EQ(ResponseEx::GetTypeFromString(text), ResponseEx::kNotDefined) << text;
  }
}

TEST(ResponseEx, CheckLimitsAndDesirabilityReadinessInEveryBranch) {
  struct Row {
    const char* name;
    Limits::Condition condition;
    D::OptimizeType objective;
    double min, max, target, predicted_min, predicted_max;
    bool check_limits, ready;
  };
  const auto R = Limits::kRequired;
  const auto De = Limits::kDesired;
  const auto kTgt = D::kTarget;
  // clang-format off
  const Row rows[] = {
      {"desired needs no limits", De, kTgt, kU, kU, kU, kU, kU, true, false},
      {"required target without limits", R, kTgt, kU, kU, kU, kU, kU, false, false},
      {"required exclude without limits", R, D::kExclude, kU, kU, kU, kU, kU, false, false},
      {"exclude with a minimum", R, D::kExclude, 1, kU, kU, kU, kU, true, false},
      {"minimize without maximum", R, D::kMinimize, 1, kU, kU, kU, kU, false, false},
      {"minimize with maximum", R, D::kMinimize, kU, 5, kU, kU, kU, true, true},
      {"maximize without minimum", R, D::kMaximize, kU, 5, kU, kU, kU, false, false},
      {"maximize with minimum", R, D::kMaximize, 1, kU, kU, kU, kU, true, true},
      {"target objective, no target", R, kTgt, 1, 5, kU, kU, kU, false, false},
      {"target inside", R, kTgt, 1, 5, 3, kU, kU, true, true},
      {"target on the maximum", R, kTgt, 1, 5, 5, kU, kU, true, false},
      {"target on the minimum", R, kTgt, 1, 5, 1, kU, kU, true, false},
      {"none objective", R, D::kNone, kU, kU, kU, kU, kU, true, false},
      {"predict objective", R, D::kPredict, 1, 5, 3, kU, kU, true, false},
      {"objective beyond the list", R, static_cast<D::OptimizeType>(6), 1, 5, 3, kU, kU, true, false},
      {"observed", Limits::kObserved, D::kMinimize, 1, 5, 3, kU, kU, true, false},
      {"desired uses the derived maximum", De, D::kMinimize, kU, kU, kU, 3, 7, true, true},
      {"desired target from derived limits", De, kTgt, kU, kU, 5, 3, 7, true, true}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ResponseEx r;
    r.SetCondition(row.condition);
    r.SetCriterion(row.objective);
    r.SetMinLimit(row.min);
    r.SetMaxLimit(row.max);
    r.SetTargetLimit(row.target);
    r.SetPredictedMinLimit(row.predicted_min);
    r.SetPredictedMaxLimit(row.predicted_max);
    EXPECT_EQ(r.CheckLimits(), row.check_limits);
    EXPECT_EQ(r.HasValidSettingsForDesirability(), row.ready);
  }
}

TEST(ResponseEx, DesirabilityTypeResetsPresetsButKeepsCustomExponents) {
  const std::vector<std::pair<D::DesirabilityType, double>> rows = {
      {D::kConvex, 2}, {D::kConcave, 0.5}, {D::kLinear, 1}, {D::kCustom, 3}, {D::kStep, 3}};
  for (const auto& [type, low] : rows) {
    SCOPED_TRACE(D::ToDesirabilityString(type));
    const double high = low == 3 ? 4 : low;
    ResponseEx r;
    r.SetDesirability({D::kMaximize, D::kCustom, 3, 4});
    r.SetDesirabilityType(type);
    EXPECT_TRUE(r.GetDesirability().low_exponent == low &&
                r.GetDesirability().high_exponent == high);
    EXPECT_EQ(r.GetCriterion(), D::kMaximize);
    r.SetCriterion(D::kTarget);  // keeps type and exponents
    EXPECT_TRUE(r.GetDesirability().low_exponent == low && r.GetDesirabilityType() == type);
  }
}

TEST(ResponseEx, TransformsFollowTheTypeWithLinkedOnlyGoingForward) {
  struct Row {
    Type type;
    TraData::ETraType reported;
    double forward, back;  // of 100 and of 2 under log10(x)
  };
  const Row rows[] = {{ResponseEx::kRegular, TraData::kLog, 2, 100},
                      {ResponseEx::kLinked, TraData::kNone, 2, 2},
                      {ResponseEx::kDerived, TraData::kNone, 100, 2},
                      {ResponseEx::kNotDefined, TraData::kNone, 100, 2}};
  for (const Row& row : rows) {
    SCOPED_TRACE(ResponseEx::GetStringFromType(row.type));
    const bool regular = row.type == ResponseEx::kRegular;
    ResponseEx r;
    r.GetResponseClass()->SetTransform(Transform(TraData::kLog, 1, 0, kU));
    r.SetType(row.type);
    EXPECT_EQ(r.GetTransform(), row.reported);
    EXPECT_EQ(r.IsTransformed(), regular);
    EXPECT_NEAR(r.GetTransform(100.0), row.forward, 1e-12);
    EXPECT_NEAR(r.GetBackTransform(2.0), row.back, 1e-9);
    double c1 = 0, c2 = 0, c3 = 0;
    r.GetTransConst(c1, c2, c3);
    EXPECT_TRUE(c1 == (regular ? 1.0 : kU) && c2 == (regular ? 0.0 : kU));
    EXPECT_EQ(r.SetTransform(TraData::kLinear, 2, 1, kU), regular);
    EXPECT_EQ(r.GetResponseClass()->GetTransform().GetTransform(),
              regular ? TraData::kLinear : TraData::kLog);
  }
  ResponseEx r;  // the range is twice the noise level; undefined stays undefined
  r.SetResponseRange(4.0);
  EXPECT_EQ(r.GetResponseClass()->GetPower().GetStandardDeviation(), 2.0);
  r.SetResponseRange(kU);
  EXPECT_EQ(r.GetResponseClass()->GetPower().GetStandardDeviation(), kU);
  EXPECT_EQ(r.GetResponseRange(), kU);
}

TEST(ResponseEx, LimitTestsOnBothScales) {
  struct Row {
    const char* name;
    Limits::Condition condition;
    Type type;
    bool log;  // log10 transform; the limits are then on the log scale
    double min, max, value;
    bool transformed, all, must;
  };
  const auto R = Limits::kRequired;
  const auto Reg = ResponseEx::kRegular;
  // clang-format off
  const Row rows[] = {
      {"observed takes anything", Limits::kObserved, Reg, false, 1, 2, kU, true, true, true},
      {"undefined value", R, Reg, false, kU, kU, kU, true, false, false},
      {"on the minimum", R, Reg, false, 1, 2, 1, true, true, true},
      {"on the maximum", R, Reg, false, 1, 2, 2, true, true, true},
      {"just above", R, Reg, false, 1, 2, 2.0001, true, false, false},
      {"just below", R, Reg, false, 1, 2, 0.9999, true, false, false},
      {"open below", R, Reg, false, kU, 2, -1e6, true, true, true},
      {"desired outside", Limits::kDesired, Reg, false, 1, 2, 3, true, false, true},
      {"untransformed value carried over", R, Reg, true, 0, 1, 5, false, true, true},
      {"untransformed value beyond", R, Reg, true, 0, 1, 50, false, false, false},
      {"value already transformed", R, Reg, true, 0, 1, 5, true, false, false},
      {"outside the transform's domain", R, Reg, true, kU, kU, -5, false, false, false},
      {"linked compares as it is", R, ResponseEx::kLinked, true, 0, 1, 5, false, false, false}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ResponseEx r;
    r.SetType(row.type);
    if (row.log) r.GetResponseClass()->SetTransform(Transform(TraData::kLog, 1, 0, kU));
    r.SetCondition(row.condition);
    r.SetMinLimit(row.min);
    r.SetMaxLimit(row.max);
    EXPECT_EQ(r.WithinAllLimits(row.value, row.transformed), row.all);
    EXPECT_EQ(r.WithinMustLimits(row.value, row.transformed), row.must);
  }
}

TEST(ResponseEx, FormulaReferencesAreReadAsAtoiReadsThem) {
  // clang-format off
  const std::vector<std::pair<const char*, std::vector<int>>> rows = {
      {"v(1)+v(12)*v(3)", {1, 12, 3}}, {"v( 7)-v(+2)/v(-1)", {7, 2, -1}},
      {"sqrt(v(10))+vv(2)", {10, 2}}, {"v(4x)", {4}}, {"v(x)+v()+V(3)+v 4+v", {}},
      {"v(99999999999)", {}}, {"", {}}};
  // clang-format on
  for (const auto& [formula, references] : rows) {
    SCOPED_TRACE(formula);
    ResponseEx r;
    r.SetFormula(formula);
    EXPECT_EQ(r.GetVariablesInFormula(), references);
    for (const int index : {1, 2, 3, 7, 10, 12}) {
      EXPECT_FALSE(r.IsItIncludedInFormula(index));  // regular responses have no formula
      r.SetType(ResponseEx::kDerived);
      EXPECT_EQ(r.IsItIncludedInFormula(index),
                std::count(references.begin(), references.end(), index) == 1)
          << index;
      r.SetType(ResponseEx::kRegular);
    }
  }
}

TEST(ResponseEx, RenumberingKeepsReferencesOnTheSameVariables) {
  struct Row {
    const char* formula;
    int index;
    bool added;
    const char* expected;
  };
  // clang-format off
  const Row rows[] = {
      {"v(1)+v(2)*v(3)", 2, true, "v(1)+v(3)*v(4)"}, {"v(1)+v(2)*v(3)", 2, false, "v(1)+v(0)*v(2)"},
      {"v(1)+v(3)", 4, true, "v(1)+v(3)"}, {"v(10)+v(9)", 10, true, "v(11)+v(9)"},
      {"log(v( 05))/v(1)+v(x)", 3, false, "log(v(4))/v(1)+v(x)"},
      {"v(-1)+v(1)", 1, true, "v(-1)+v(2)"}, {"no references", 1, true, "no references"}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.formula);
    ResponseEx r;
    r.SetType(ResponseEx::kDerived);
    r.SetFormula(row.formula);
    r.UpdateDerivedAfterNewOrDelFactor(row.index, row.added);
    EXPECT_EQ(r.GetFormula(), row.expected);
    if (row.added) {  // a deletion at the same place undoes the insertion
      r.UpdateDerivedAfterNewOrDelFactor(row.index, false);
      EXPECT_EQ(r.GetFormula(), row.formula);
    }
  }
}

TEST(ResponseEx, ReleasedDefinitionIsStillUsedThroughItsPointer) {
  ResponseEx r;
  ResponseClass* definition = r.GetResponseClass();
  std::unique_ptr<ResponseClass> taken(r.GetAndReleaseResponseClass());
  EXPECT_EQ(taken.get(), definition);
  EXPECT_FALSE(r.OwnsResponseClass());
  // Later calls give the same pointer without ownership (taking it would free it twice).
  EXPECT_EQ(r.GetAndReleaseResponseClass(), definition);
  EXPECT_FALSE(r.OwnsResponseClass());
  r.SetMinLimit(3.0);
  EXPECT_EQ(taken->GetLimits().GetMinLimit(), 3.0);
  ResponseEx source;
  source.GetResponseClass()->SetName("Source");
  source.SetType(ResponseEx::kLinked);
  r.CopyFrom(source);  // assigns into the released definition
  EXPECT_EQ(taken->GetName(), "Source");
  EXPECT_EQ(taken->GetUniqueID(), source.GetResponseClass()->GetUniqueID());
  EXPECT_EQ(r.GetType(), ResponseEx::kLinked);
  const ResponseEx copy(r);  // a copy owns a definition of its own
  EXPECT_TRUE(copy.OwnsResponseClass());
  EXPECT_NE(copy.GetResponseClass(), taken.get());
  EXPECT_EQ(copy.GetResponseClass()->GetUniqueID(), taken->GetUniqueID());
  // Handed back, the definition is owned again and freed once, with the response.
  ASSERT_TRUE(r.SetResponseClass(std::move(taken)));
  EXPECT_TRUE(r.OwnsResponseClass());
  EXPECT_EQ(r.GetResponseClass(), definition);
}

TEST(ResponseEx, QualitativeSettingSlotsRefuseBadIndexAndNonFiniteValues) {
  ResponseEx r;
  EXPECT_TRUE(r.SetQualitativeSettingValues(48, {1.5F}));
  EXPECT_FALSE(r.SetQualitativeSettingValues(49, {1.0F}));
  EXPECT_FALSE(r.SetQualitativeSettingValues(0, {std::numeric_limits<float>::quiet_NaN()}));
  EXPECT_EQ(r.GetQualitativeSettingValues(49), nullptr);
  EXPECT_TRUE(r.GetQualitativeSettingValues(0)->empty());
  EXPECT_EQ(*r.GetQualitativeSettingValues(48), std::vector<float>{1.5F});
}

ResponseEx FullRegular() {
  ResponseEx r;
  ResponseClass& d = *r.GetResponseClass();
  d.SetName("Yield & more");
  d.SetAbbr("Y");
  d.SetUnits("g/l");
  d.SetScaling(ScaTypes::kPareto);
  d.SetScaleModifier(0.25);
  r.SetTransform(TraData::kPower, 2, 1, 0.5);
  r.SetCondition(Limits::kDesired);
  r.SetCriterion(D::kTarget);
  r.SetDesirabilityType(D::kConvex);
  r.SetMinLimit(1.5);
  r.SetTargetLimit(3.1);
  r.SetPredictedMaxLimit(9.5);  // the maximum stays derived
  r.SetWeight(0.7);
  r.SetResponseRange(0.6);
  return r;
}

ResponseEx FullDerived() {
  ResponseEx r;
  r.GetResponseClass()->SetName("Ratio");
  r.GetResponseClass()->SetAbbr("R");
  r.SetType(ResponseEx::kDerived);
  r.SetFormula("v(1)/v(2)");
  r.SetQualitativeSettingValues(0, {1.0F, 0.1F});
  r.SetQualitativeSettingValues(48, {-2.5F, 3e-7F});
  return r;
}

std::string Saved(const ResponseEx& r) {
  TinyXML2Section section;
  r.Save(section);
  return section.ToString();
}

TEST(ResponseEx, JsonRoundTripOfRegularAndDerivedResponses) {
  for (const ResponseEx& original : {FullRegular(), FullDerived()}) {
    SCOPED_TRACE(original.GetResponseClass()->GetName());
    const json_value json = original.ToJson();
    ResponseEx read;
    ASSERT_TRUE(read.Load(json));
    EXPECT_EQ(read.ToJson(), json);
    EXPECT_EQ(read.GetType(), original.GetType());
    EXPECT_EQ(read.GetResponseClass()->GetLimits().GetMaxLimit(), kU);  // stored, not derived
    EXPECT_EQ(read.GetDesirability(), original.GetDesirability());
  }
  std::vector<std::string> keys;
  const json_value derived = FullDerived().ToJson();
  for (const auto& [key, value] : derived.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"name", "abbreviation", "unit", "type", "formula"}));
  const json_value regular = FullRegular().ToJson();
  EXPECT_EQ(regular["optimizationSettings"]["condition"], "Desired");
  EXPECT_EQ(regular["optimizationSettings"]["objective"]["max"], kU);
  EXPECT_EQ(regular["power"]["estimatedNoiseLevel"], 0.3);
  EXPECT_EQ(regular["scaling"]["type"], "pareto");
}

TEST(ResponseEx, JsonRoundTripKeepsNamesThatStillEndInATilde) {
  // The setters drop one trailing "~": a text set with two keeps one, and that one must
  // survive the JSON form.
  for (const char* text : {"P~~", "P~~~~~~~~", "~~", "Plain"}) {
    SCOPED_TRACE(text);
    ResponseEx original;
    original.GetResponseClass()->SetName(text);
    original.GetResponseClass()->SetAbbr(text);
    ResponseEx read;
    ASSERT_TRUE(read.Load(original.ToJson()));
    EXPECT_EQ(read.GetResponseClass()->GetName(), original.GetResponseClass()->GetName());
    EXPECT_EQ(read.GetResponseClass()->GetAbbr(), original.GetResponseClass()->GetAbbr());
    EXPECT_EQ(read.ToJson(), original.ToJson());
  }
}

TEST(ResponseEx, JsonLoadSkipsMalformedMembersAndRefusesANamelessDocument) {
  struct Row {
    const char* name;
    const char* json;
    bool accepted;
    const char* abbreviation;
    Type type;
    double weight;
  };
  const auto L = ResponseEx::kLinked;
  // clang-format off
  const Row rows[] = {
      {"no name", R"({"abbreviation": "Z"})", false, "Y", L, 0.5},
      {"name not text", R"({"name": 3})", false, "Y", L, 0.5},
      {"not an object", R"(["name"])", false, "Y", L, 0.5},
      {"refused transform", R"({"name": "N", "abbreviation": "Z~", "transform": {"type": "log"}})",
       true, "Z", L, 0.5},
      {"wrong kinds", R"({"name": "N", "abbreviation": 4, "type": "linked", "transform": "log",
          "optimizationSettings": {"weight": "heavy", "objective": 2}})",
       true, "Y", L, 0.5},
      {"regular keeps linked",
       R"({"name": "N", "type": "regular", "optimizationSettings": {"weight": 2}})", true, "Y", L, 2},
      {"derived", R"({"name": "N", "type": "derived"})", true, "Y", ResponseEx::kDerived, 0.5}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ResponseEx r;
    r.GetResponseClass()->SetName("Old");
    r.GetResponseClass()->SetAbbr("Y");
    r.GetResponseClass()->SetTransform(Transform(TraData::kLog, 1, 0, kU));
    r.SetType(ResponseEx::kLinked);
    r.SetWeight(0.5);
    const std::string before = Saved(r);
    EXPECT_EQ(r.Load(ParseJson(row.json)), row.accepted);
    EXPECT_TRUE(row.accepted || Saved(r) == before);  // a refusal changes nothing
    EXPECT_EQ(r.GetResponseClass()->GetName(), row.accepted ? "N" : "Old");
    EXPECT_EQ(r.GetResponseClass()->GetAbbr(), row.abbreviation);
    EXPECT_EQ(r.GetType(), row.type);
    EXPECT_EQ(r.GetResponseClass()->GetTransform().GetTransform(), TraData::kLog);
    EXPECT_EQ(r.GetWeight(), row.weight);
  }
}

TEST(ResponseEx, ConfigurationRoundTripInBothSectionKinds) {
  for (const ResponseEx& original : {FullRegular(), FullDerived()}) {
    const std::string& name = original.GetResponseClass()->GetName();
    SCOPED_TRACE(name);
    TinyXML2Section xml;
    original.Save(xml);
    IniFileSection ini;
    original.Save(ini.CreateChild(name));
    const auto ini_text = IniFileSection::LoadString(ini.ToString());
    for (const ConfigurationSection* section : {static_cast<const ConfigurationSection*>(&xml),
                                                std::as_const(*ini_text).OpenChild(name)}) {
      ResponseEx read;
      ASSERT_TRUE(read.Load(*section));
      EXPECT_EQ(Saved(read), Saved(original));
    }
  }
  TinyXML2Section section;
  FullDerived().Save(section);
  EXPECT_EQ(section.GetString("Type"), "Derived");
  EXPECT_EQ(section.GetString("QualitativeSettings"), "0:1,0.1;48:-2.5,3e-07");
}

TEST(ResponseEx, ConfigurationLoadKeepsValuesWhoseTextIsGarbled) {
  struct Row {
    const char *name, *type, *settings;
    Type expected_type;
    std::vector<float> slot0;
  };
  const auto kDer = ResponseEx::kDerived;
  // clang-format off
  const Row rows[] = {
      {"unknown type", "Measured", "0:7", ResponseEx::kNotDefined, {7}},
      {"settings cleared", "Linked", "", ResponseEx::kLinked, {}},
      {"value not a number", "Derived", "0:7;1:x", kDer, {1, 2}},
      {"slot out of range", "Derived", "49:1", kDer, {1, 2}},
      {"slot twice", "Derived", "0:1;0:2", kDer, {1, 2}}, {"missing colon", "Derived", "0", kDer, {1, 2}},
      {"empty value", "Derived", "0:1,", kDer, {1, 2}}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TinyXML2Section section;
    section.WriteString("Type", row.type);
    section.WriteString("QualitativeSettings", row.settings);
    ResponseEx r;
    r.SetQualitativeSettingValues(0, {1, 2});
    EXPECT_TRUE(r.Load(section));
    EXPECT_EQ(r.GetType(), row.expected_type);
    EXPECT_EQ(*r.GetQualitativeSettingValues(0), row.slot0);
  }
  TinyXML2Section section;  // a load that throws changes nothing
  section.WriteString("Name", "New");
  section.WriteString("Type", "Derived");
  section.WriteString("DesirabilityLowExponent", "-1");
  ResponseEx r = FullRegular();
  const std::string before = Saved(r);
  EXPECT_THROW(r.Load(section), Exception);
  EXPECT_EQ(Saved(r), before);
}

TEST(ResponseEx, TextDump) {
  for (const Type type : {ResponseEx::kDerived, ResponseEx::kRegular}) {
    SCOPED_TRACE(ResponseEx::GetStringFromType(type));
    ResponseEx r;
    r.GetResponseClass()->SetName("Ratio");
    r.GetResponseClass()->SetAbbr("R");
    r.GetResponseClass()->SetPrecision(CEPrec::kDecimals2);
    r.SetType(type);
    r.SetFormula("v(1)/v(2)");
    r.SetQualitativeSettingValues(0, {1.0F, 2.5F});
    r.SetQualitativeSettingValues(2, {-1.0F});
    r.SetMinLimit(1);
    r.SetResponseRange(1.0);
    StreamWindow out;
    r.Show(out);
    const std::string formula_lines = type != ResponseEx::kDerived
                                          ? ""
                                          : "Formula         : v(1)/v(2)\n"
                                            "Numerical Settings for Qualitative Settings:\n"
                                            "Qualitative Factor #1: 1, 2.5\n"
                                            "Qualitative Factor #3: -1\n";
    EXPECT_EQ(out.str(), "Name            : Ratio\nAbbreviation    : R\nUnit            : --\n" +
                             formula_lines +
                             "Condition       : Required\nObjective       : none\n"
                             "Min value       : 1.00\nTarget value    : --\nMax value       : --\n"
                             "Estimated noise level : 0.5\nSignal to detect : --\n"
                             "Significance test level : 0.95\nDesired power   : 80\n");
  }
}

}  // namespace
}  // namespace zubra
