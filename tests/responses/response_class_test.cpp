#include "zubra/responses/response_class.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

constexpr double kU = -99.0;
using Condition = ResponseClass::Limits::Condition;
using Limits = ResponseClass::Limits;

TEST(ResponseClass, NamesDropOneTildeAndTransformedNamesAddOne) {
  ResponseClass r;
  r.SetName("Yield~");
  r.SetAbbr("Y~~");
  EXPECT_EQ(r.GetName() + " " + r.GetAbbr(), "Yield Y~");
  r.SetAbbr("Y");
  const auto transformed = [&r] { return r.GetTransformedName() + " " + r.GetTransformedAbbr(); };
  EXPECT_EQ(transformed(), "Yield Y");
  r.SetTransform(Transform(TraData::kLog, 1, 0, kU));
  EXPECT_EQ(transformed(), "Yield~ Y~");
  r.SetAbbr("$B1$B2");
  EXPECT_EQ(r.GetTransformedAbbr(), "$B1$B2");
}

TEST(ResponseClass, IdentityIsTheNumberOnly) {
  ResponseClass a;
  ResponseClass b;
  a.SetName("A");
  a.SetNumber(3);
  b.SetNumber(3);
  EXPECT_TRUE(a == b);
  b.SetNumber(4);
  EXPECT_TRUE(a < b);
  EXPECT_EQ(ResponseClass(a).GetUniqueID(), a.GetUniqueID());
  EXPECT_NE(ResponseClass().GetUniqueID(), ResponseClass().GetUniqueID());
}

TEST(ResponseClass, PrecisionStringUsesTheCodeAndOneSharedBuffer) {
  struct Row {
    CEPrec::EPrec code;
    const char* text;
  };
  ResponseClass r;
  // clang-format off
  for (const Row& row : std::vector<Row>{{CEPrec::kNotSet, "3.14159"}, {CEPrec::kDecimals0, "3"},
           {CEPrec::kDecimals2, "3.14"}, {CEPrec::kDecimals4, "3.1416"},
           {static_cast<CEPrec::EPrec>(9), ""}}) {
    // clang-format on
    SCOPED_TRACE(row.text);
    r.SetPrecision(row.code);
    EXPECT_STREQ(r.ToPrecisionString(3.14159265), row.text);
  }
  ResponseClass other;
  const char* first = r.ToPrecisionString(1.0);
  EXPECT_EQ(first, other.ToPrecisionString(2.0));
}

TEST(ResponseClass, DefaultLimitRulesInEveryBranch) {
  struct Row {
    const char* name;
    double min, max, target, p_min, p_max;
    Desirability::OptimizeType objective;
    Condition condition;
    double expected_min, expected_max;
  };
  const auto D = Limits::kDesired;
  // clang-format off
  const std::vector<Row> rows = {
      {"not desired keeps stored", kU, kU, kU, 1, 9, Desirability::kTarget, Limits::kRequired, kU, kU},
      {"stored limits win", 2, 8, kU, 1, 9, Desirability::kTarget, D, 2, 8},
      {"wrong objective", kU, kU, kU, 1, 9, Desirability::kNone, D, kU, kU},
      {"no prediction", kU, kU, kU, kU, kU, Desirability::kTarget, D, kU, kU},
      {"target beyond prediction", kU, kU, 10, 12, 8, Desirability::kTarget, D, 9.8, 10.2},
      {"prediction inside", kU, kU, kU, 3, 7, Desirability::kTarget, D, 3, 7},
      {"min beyond other limit", kU, 5, kU, 8, kU, Desirability::kMaximize, D, 4.6997, 5},
      {"max beyond other limit", 5, kU, kU, kU, 2, Desirability::kMinimize, D, 5, 5.3003},
      {"maximize derives min only", kU, kU, kU, 3, 7, Desirability::kMaximize, D, 3, kU},
      {"minimize derives max only", kU, kU, kU, 3, 7, Desirability::kMinimize, D, kU, 7}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_NEAR(ResponseClass::CalculateDefaultMinLimit(row.min, row.max, row.target, row.p_min,
                                                        row.p_max, row.objective, row.condition),
                row.expected_min, 1e-12);
    EXPECT_NEAR(ResponseClass::CalculateDefaultMaxLimit(row.min, row.max, row.target, row.p_min,
                                                        row.p_max, row.objective, row.condition),
                row.expected_max, 1e-12);
  }
}

TEST(ResponseClass, DefaultTargetRulesInEveryBranch) {
  struct Row {
    const char* name;
    double min, max, p_min, p_max;
    Desirability::OptimizeType objective;
    double expected;
  };
  const std::vector<Row> rows = {
      {"minimize above min", 0, 10, kU, kU, Desirability::kMinimize, 1},
      {"maximize below max", 0, 10, kU, kU, Desirability::kMaximize, 9},
      {"minimize from prediction", kU, kU, 3, 7, Desirability::kMinimize, 3},
      {"maximize from prediction", kU, kU, 3, 7, Desirability::kMaximize, 7},
      {"target objective has none", 0, 10, 3, 7, Desirability::kTarget, kU},
      {"nothing known", kU, kU, kU, kU, Desirability::kMinimize, kU},
      {"clamped above max", kU, 2, 3, kU, Desirability::kMinimize, 2 - 0.1},
      {"step from max and p_min", kU, 10, 0, kU, Desirability::kMaximize, 9},
      {"step from p_max and min", 2, kU, kU, 12, Desirability::kMinimize, 3},
      {"zero step only in last branch", 0, kU, kU, kU, Desirability::kMinimize, 0.01},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_NEAR(ResponseClass::CalculateDefaultTarget(row.min, row.max, row.p_min, row.p_max,
                                                      row.objective, Limits::kRequired),
                row.expected, 1e-12);
  }
}

TEST(ResponseClass, DefaultObjectiveFromLimits) {
  struct Row {
    const char* name;
    Condition condition;
    double min, max, target;
    Desirability::OptimizeType expected;
  };
  const std::vector<Row> rows = {
      {"observed", Limits::kObserved, 1, 2, kU, Desirability::kPredict},
      {"nothing desired", Limits::kDesired, kU, kU, kU, Desirability::kTarget},
      {"nothing required", Limits::kRequired, kU, kU, kU, Desirability::kMaximize},
      {"only max", Limits::kRequired, kU, 5, kU, Desirability::kMinimize},
      {"max and target", Limits::kRequired, kU, 5, 3, Desirability::kMinimize},
      {"only min", Limits::kRequired, 1, kU, kU, Desirability::kMaximize},
      {"only target", Limits::kRequired, kU, kU, 3, Desirability::kTarget},
      {"both", Limits::kRequired, 1, 5, kU, Desirability::kNone},
      {"all three", Limits::kRequired, 1, 5, 3, Desirability::kTarget},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Limits limits;
    limits.SetCondition(row.condition);
    limits.SetMinLimit(row.min);
    limits.SetMaxLimit(row.max);
    limits.SetTargetLimit(row.target);
    EXPECT_EQ(ResponseClass::GetDefaultObjective(limits), row.expected);
  }
}

TEST(ResponseClass, ConditionChangeKeepsOrRecomputesTheObjectiveAndShownLimits) {
  ResponseClass r;
  r.SetObjective(Desirability::kMaximize);
  r.SetCondition(Limits::kDesired);
  EXPECT_EQ(r.GetObjective(), Desirability::kMaximize);
  r.SetCondition(Limits::kObserved);
  EXPECT_EQ(r.GetObjective(), Desirability::kPredict);
  r.SetCondition(Limits::kDesired);
  EXPECT_EQ(r.GetObjective(), Desirability::kTarget);  // recomputed: nothing set, desired
  r = ResponseClass();
  r.SetPredictedMinLimit(3);
  r.SetPredictedMaxLimit(7);
  r.SetObjective(Desirability::kMinimize);
  // Required: stored limits as they are, but a derived target.
  EXPECT_TRUE(r.GetMinLimit() == kU && r.GetMaxLimit() == kU);
  EXPECT_EQ(r.GetTargetLimit(), 3);
  r.SetCondition(Limits::kDesired);
  EXPECT_EQ(r.GetMaxLimit(), 7);
  EXPECT_TRUE(r.GetAutoMaxLimit() && !r.GetAutoMinLimit());
  r.SetMaxLimit(6);
  EXPECT_FALSE(r.GetAutoMaxLimit());
}

TEST(ResponseClass, ConditionTexts) {
  EXPECT_EQ(Limits::FromString("required"), Limits::kRequired);
  EXPECT_EQ(Limits::FromString("DESIRED"), Limits::kDesired);
  EXPECT_EQ(Limits::FromString(""), Limits::kObserved);
  EXPECT_EQ(Limits::ToString(static_cast<Condition>(7)), "Observed");
  EXPECT_EQ(Limits::ToJson(Limits::kDesired), "Desired");
}

ResponseClass FullResponse() {
  ResponseClass r;
  r.SetName("Yield <\"&'> ünïcode 😀");
  r.SetAbbr("Y&1");
  r.SetUnits("g/l");
  r.SetNumber(2);
  r.SetPrecision(CEPrec::kDecimals2);
  r.SetScaling(ScaTypes::kPareto);
  r.SetPLSScaling(ScaTypes::kCentered);
  r.SetScaleModifier(0.25);
  r.SetTransform(Transform(TraData::kLog, 2, 1, kU));
  r.SetCondition(Limits::kDesired);
  r.SetWeight(0.5);
  r.SetMinLimit(1.5);
  r.SetTargetLimit(3);
  r.SetPredictedMinLimit(0.1);
  r.SetPredictedMaxLimit(9.9);
  ResponseClass::Power power;
  power.SetTargetPower(90);
  power.SetStandardDeviation(0.3);
  r.SetPower(power);
  return r;
}

// Two definitions are the same when they save to the same text.
void ExpectSameDefinition(const ResponseClass& a, const ResponseClass& b) {
  TinyXML2Section first;
  TinyXML2Section second;
  a.WriteToFile(first);
  b.WriteToFile(second);
  EXPECT_EQ(first.ToString(), second.ToString());
}

TEST(ResponseClass, WriteToFileThenReadBackInBothSectionKinds) {
  const ResponseClass original = FullResponse();
  TinyXML2Section xml;
  original.WriteToFile(xml);
  ASSERT_NE(xml.OpenChild("Response"), nullptr);
  EXPECT_TRUE(xml.OpenChild("Response")->GetBool("NameIsEncoded", false));
  EXPECT_TRUE(xml.OpenChild("Response")->GetBool("AbbreviationIsEncoded", false));
  EXPECT_FALSE(xml.OpenChild("Response")->HasKey("UnitsIsEncoded"));
  ExpectSameDefinition(ResponseClass(original.GetName(), xml), original);

  const auto reloaded = TinyXML2Section::LoadString(xml.ToString());
  ExpectSameDefinition(ResponseClass(original.GetName(), *reloaded), original);

  IniFileSection ini;
  original.WriteToFile(ini);
  EXPECT_EQ(ini.OpenChild("Responses")->GetInt(original.GetName(), 0), 2);
  ExpectSameDefinition(ResponseClass(original.GetName(), ini), original);
}

TEST(ResponseClass, SavingClearsStaleFlagAndDefaultLimitKeys) {
  TinyXML2Section section;
  section.WriteBool("NameIsEncoded", true);
  for (const char* key : {"Weight", "MinLimit", "MaxLimit", "TargetLimit", "TargetPower"}) {
    section.WriteDouble(key, 4.0);
  }
  ResponseClass plain;
  plain.SetName("Plain");
  plain.Save(section);
  for (const char* key :
       {"NameIsEncoded", "Weight", "MinLimit", "MaxLimit", "TargetLimit", "TargetPower"}) {
    SCOPED_TRACE(key);
    EXPECT_FALSE(section.HasKey(key));
  }
  EXPECT_EQ(section.GetInt("Condition", -1), 0);
}

TEST(ResponseClass, LoadReadsOlderForms) {
  struct Row {
    const char* name;
    std::vector<std::pair<const char*, const char*>> keys;
    const char* expected;  // name|abbreviation|scale modifier|unique id|min limit
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"uri-encoded names", {{"NameU", "Yield%20%25"}, {"AbbreviationU", "Y%201"}}, "Yield %|Y 1|-99|0|-99"},
      {"bad escape falls back on Abbr",
       {{"Abbreviation", "&bogus;"}, {"AbbreviationIsEncoded", "true"}, {"Abbr", "Old"}}, "|Old|-99|0|-99"},
      {"auto modifier wins for a response", {{"ScaleModifier", "0.5"}, {"AutoScaleModifier", "0.7"}},
       "||0.7|0|-99"},
      {"unique id stops at non-digit", {{"UniqueID", "123abc"}}, "||-99|123|-99"},
      {"unparsable unique id", {{"UniqueID", "x1"}}, "||-99|0|-99"},
      {"limits without condition", {{"MinLimit", "2.5"}}, "||-99|0|2.5"},
      {"garbled numbers keep their fields",
       {{"ScaleModifier", "abc"}, {"Condition", "x"}, {"MinLimit", "1,5"}}, "||-99|0|-99"}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TinyXML2Section section;
    for (const auto& [key, value] : row.keys) section.WriteString(key, value);
    ResponseClass r;
    r.SetUniqueID(0);
    EXPECT_TRUE(r.Load(section));
    EXPECT_EQ(r.GetName() + "|" + r.GetAbbr() + "|" +
                  KtString::FormatShortest(r.GetScaleModifier()) + "|" +
                  std::to_string(r.GetUniqueID()) + "|" +
                  KtString::FormatShortest(r.GetLimits().GetMinLimit()),
              row.expected);
  }
}

TEST(ResponseClass, PowerJsonUsesDefaultsAndReadsOnlyNumbers) {
  ResponseClass::Power power;
  power.SetStandardDeviation(0.5);
  const json_value json = power.ToJson();
  EXPECT_EQ(json["estimatedNoiseLevel"], 0.5);
  EXPECT_EQ(json["signalToDetect"], kU);
  EXPECT_EQ(json["significanceTestLevel"], 0.95);
  EXPECT_EQ(json["desiredPower"], 80.0);

  ResponseClass::Power read;
  EXPECT_FALSE(read.FromJson(json_value::array()));
  EXPECT_TRUE(read.FromJson({{"desiredPower", 90}, {"signalToDetect", "2"}}));
  EXPECT_EQ(read.GetTargetPower(false), 90.0);
  EXPECT_EQ(read.GetSignalDetection(), kU);
}

TEST(ResponseClass, TextDump) {
  ResponseClass r;
  r.SetName("Yield");
  r.SetAbbr("Y");
  r.SetTransform(Transform(TraData::kLog, 2, 1, kU));
  r.SetPrecision(CEPrec::kDecimals1);
  r.SetScaleModifier(0.123456);
  StreamWindow out;
  r.Show(out);
  // clang-format off
  EXPECT_EQ(out.str(), "Response name   : Yield\nResponse abbr   : Y\nUnit            : --\n"
            "Transform       : " + TraData::GetString(TraData::kLog) +
            " C1 = 2, C2 = 1, Transform string: 10Log(2*Y+1)\n\nNo. of decimals : 1\n"
            "MLR Scaling     : " + ScaTypes::GetStringEx(ScaTypes::kOrthogonal) +
            "\nPLS Scaling     : " + ScaTypes::GetStringEx(ScaTypes::kUnitVariance) +
            "\nPLS Modifier    : 0.123456\n");
  // clang-format on
}

}  // namespace
}  // namespace zubra
