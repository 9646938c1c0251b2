#include "zubra/region/transform.h"

#include <gtest/gtest.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

constexpr double kU = -99.0;  // the unset constant, spelled out to check stored values

Transform Rec(TraData::ETraType type, double c1, double c2, double c3 = kU) {
  return {type, c1, c2, c3};
}

void ExpectSameRecord(const Transform& actual, const Transform& expected) {
  EXPECT_EQ(actual.GetTransform(), expected.GetTransform());
  EXPECT_EQ(actual.GetC1(), expected.GetC1());
  EXPECT_EQ(actual.GetC2(), expected.GetC2());
  EXPECT_EQ(actual.GetC3(), expected.GetC3());
}

TEST(Transform, DisplayTextOfEveryTypeAndSparseCase) {
  struct Row {
    const char* name;
    Transform record;
    std::string text;
  };
  const std::vector<Row> rows = {
      {"none", Rec(TraData::kNone, 1, 2), ""},
      {"linear full", Rec(TraData::kLinear, 2, -3), "2*x-3"},
      {"linear unit slope", Rec(TraData::kLinear, 1, 4), "x+4"},
      {"linear no slope", Rec(TraData::kLinear, 0, -3), "-3"},
      {"linear zero", Rec(TraData::kLinear, 0, 0), "0.0"},
      {"linear negative slope", Rec(TraData::kLinear, -1, 0), "-1*x"},
      {"log bare", Rec(TraData::kLog, 1, 0), "10Log(x)"},
      {"log zero", Rec(TraData::kLog, 0, 0), "10Log(0.0)"},
      {"log small constant", Rec(TraData::kLog, 1e-5, 0.5), "10Log(1e-05*x+0.5)"},
      {"neglog full", Rec(TraData::kNegLog, 5, 2), "-10Log(5-2*x)"},
      {"neglog negative c2", Rec(TraData::kNegLog, 5, -2), "-10Log(5+2*x)"},
      {"neglog unit c2", Rec(TraData::kNegLog, 5, 1), "-10Log(5-x)"},
      {"neglog only x", Rec(TraData::kNegLog, 0, 1), "-10Log(-x)"},
      {"neglog only c1", Rec(TraData::kNegLog, 5, 0), "-10Log(5)"},
      {"neglog zero", Rec(TraData::kNegLog, 0, 0), "-10Log(0.0)"},
      {"logit full", Rec(TraData::kLogit, 0.5, 10), "10Log((x-0.5)/(10-x))"},
      {"logit no c1", Rec(TraData::kLogit, 0, 10), "10Log(x/(10-x))"},
      {"logit no c2", Rec(TraData::kLogit, 0.5, 0), "10Log((x-0.5)/-x)"},
      {"logit none", Rec(TraData::kLogit, 0, 0), "10Log(x/-x)"},
      {"exp", Rec(TraData::kExp, 2, 1), "Exp(2*x+1)"},
      {"power keeps its closing parenthesis", Rec(TraData::kPower, 2, 1, 0.5), "(2*x+1)^0.5)"},
      {"power negative exponent", Rec(TraData::kPower, 1, 0, -1), "(x)^-1)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.record.GetTransformString('x'), row.text);
  }
  EXPECT_EQ(Rec(TraData::kLog, 3, 0).GetTransformString('Y'), "10Log(3*Y)");
}

TEST(Transform, ParserDetectsTypeAndReadsConstants) {
  struct Row {
    const char* name;
    const char* text;
    Transform expected;
  };
  const std::vector<Row> rows = {
      {"bare letter", "x", Rec(TraData::kLinear, 1, 0, 1)},
      {"bare number", "5", Rec(TraData::kLinear, 0, 5, 1)},
      {"no transform", "abc", Transform()},
      {"number found anywhere", "abc5", Rec(TraData::kLinear, 0, 5, 1)},
      {"upper case and y", "10LOG(2*Y+1)", Rec(TraData::kLog, 2, 1, 1)},
      {"decimal comma", "2,5*x-1", Rec(TraData::kLinear, 2.5, -1, 1)},
      {"float precision", "0.1*x", Rec(TraData::kLinear, static_cast<double>(0.1F), 0, 1)},
      {"neglog plus means negative c2", "-10log(5+2*x)", Rec(TraData::kNegLog, 5, -2, 1)},
      {"logit negative c2", "10Log((x-0.5)/(-10-x))", Rec(TraData::kLogit, 0.5, -10, 1)},
      {"power", "(2*x+1)^0.5)", Rec(TraData::kPower, 2, 1, 0.5)},
      {"power exponent not read as base", "(x)^2)", Rec(TraData::kPower, 1, 0, 2)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectSameRecord(Transform::GetTransform(row.text), row.expected);
  }
}

TEST(Transform, ParserRejectsMalformedAndOverlongTextQuickly) {
  for (const std::string text : {"10log()", "exp(*)", "-", "(2*x+1)^)", "10log((a)/(b))"}) {
    SCOPED_TRACE(text);
    try {
      (void)Transform::GetTransform(text);
      ADD_FAILURE() << "no exception";
    } catch (const Exception& e) {
      EXPECT_STREQ(e.what(), "Incorrect transform format.");
    }
  }
  // Long texts are refused before any pattern runs: without the bound, 100 000 characters
  // overflow the pattern engine's stack.
  EXPECT_THROW((void)Transform::GetTransform(std::string(100000, '1')), Exception);
  EXPECT_THROW(
      (void)Transform::GetTransform("x+" + std::string(1000, ' ') + "1" + std::string(300, '9')),
      Exception);
  EXPECT_NO_THROW((void)Transform::GetTransform(std::string(Transform::kMaxTextLength, ' ')));
}

TEST(Transform, NumberThatDoesNotConvertGivesUnsetRecord) {
  ExpectSameRecord(Transform::GetTransform("1e999*x"), Transform());
}

// The value a constant has after "%g" printing and single-precision reading.
double AsPrinted(double value) {
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%g", value);
  float parsed = 0.0F;
  const char* end = buffer.data() + std::strlen(buffer.data());
  std::from_chars(buffer.data(), end, parsed);
  return static_cast<double>(parsed);
}

// Every display text the writer produces parses back to the same record, with the
// constants at single precision. Constants use at most six significant digits, as "%g"
// prints them.
TEST(Transform, EveryWrittenTextParsesBack) {
  std::mt19937 rng(1234);
  const std::vector<double> specials = {0.0,   1.0,  -1.0, 2.0,      -3.0,  0.5,
                                        -0.25, 10.0, 1e-5, 123456.0, -0.001};
  const auto constant = [&](bool allow_special) {
    if (allow_special && rng() % 3 == 0) return specials[rng() % specials.size()];
    const int mantissa = static_cast<int>(rng() % 200001) - 100000;  // up to 6 digits
    const int scale = static_cast<int>(rng() % 7) - 3;
    return mantissa * std::pow(10.0, scale - 3);
  };
  int checked = 0;
  for (int type = 1; type <= 6; ++type) {
    for (int i = 0; i < 400; ++i) {
      const double c1 = constant(true);
      const double c2 = constant(true);
      const double c3 = type == 6 ? constant(true) : kU;
      const Transform record(static_cast<TraData::ETraType>(type), c1, c2, c3);
      const std::string text = record.GetTransformString(i % 2 == 0 ? 'x' : 'y');
      SCOPED_TRACE(text);
      const Transform parsed = Transform::GetTransform(text);
      const Transform expected(record.GetTransform(), AsPrinted(c1), AsPrinted(c2),
                               type == 6 ? AsPrinted(c3) : 1.0);
      ASSERT_TRUE(parsed == expected)
          << parsed.GetC1() << " " << parsed.GetC2() << " " << parsed.GetC3();
      ++checked;
    }
  }
  EXPECT_EQ(checked, 2400);
}

TEST(Transform, EqualityComparesExponentForPowerOnly) {
  EXPECT_FALSE(Rec(TraData::kPower, 1, 0, 2) == Rec(TraData::kPower, 1, 0, 0.5));
  EXPECT_TRUE(Rec(TraData::kLog, 1, 0, 2) == Rec(TraData::kLog, 1, 0, 0.5));
  EXPECT_FALSE(Rec(TraData::kLog, 1, 0) == Rec(TraData::kExp, 1, 0));
  EXPECT_FALSE(Rec(TraData::kLog, 1, 0) == Rec(TraData::kLog, 1, 1));
}

TEST(Transform, ForwardAndBackValuesGoThroughTheTransform) {
  const Transform none;
  EXPECT_EQ(none.GetTransform(-5.0), -5.0);
  EXPECT_EQ(none.GetBackTransform(kU), kU);
  const Transform log = Rec(TraData::kLog, 1, 0);
  EXPECT_DOUBLE_EQ(log.GetTransform(100.0), 2.0);
  EXPECT_DOUBLE_EQ(log.GetBackTransform(2.0), 100.0);
  EXPECT_EQ(log.GetTransform(-1.0), kU);
}

TEST(Transform, ConfigurationFormRoundTripsInBothSectionKinds) {
  const Transform power = Rec(TraData::kPower, 0.1, -2, 0.5);
  TinyXML2Section xml;
  power.WriteToFile("Temp", xml);
  ASSERT_NE(xml.OpenChild("Tran"), nullptr);
  EXPECT_EQ(xml.OpenChild("Tran")->GetString("Transform"), TraData::GetString(TraData::kPower));
  ExpectSameRecord(Transform("Temp", xml), power);

  IniFileSection ini;
  power.WriteToFile("Temp", ini);
  ASSERT_NE(ini.OpenChild("Temp"), nullptr);
  EXPECT_EQ(ini.OpenChild("Tran"), nullptr);
  ExpectSameRecord(Transform("Temp", ini), power);

  // No transform: the type is written, the constants are not.
  TinyXML2Section plain;
  Transform().WriteToFile("Temp", plain);
  EXPECT_FALSE(plain.OpenChild("Tran")->HasKey("TransConst"));
  ExpectSameRecord(Transform("Temp", plain), Transform());
}

TEST(Transform, ConfigurationReaderFillsMissingConstants) {
  struct Row {
    const char* name;
    const char* constants;
    Transform expected;
  };
  const std::vector<Row> rows = {
      {"one constant", "3", Rec(TraData::kLog, 3, 0, 1)},
      {"two constants", "3,4", Rec(TraData::kLog, 3, 4, 1)},
      {"extra constants ignored", "3,4,5,6", Rec(TraData::kLog, 3, 4, 5)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TinyXML2Section section;
    ConfigurationSection& child = section.CreateChild("Tran");
    child.WriteString("Transform", TraData::GetString(TraData::kLog));
    child.WriteString("TransConst", row.constants);
    ExpectSameRecord(Transform("x", section), row.expected);
  }
  TinyXML2Section missing;
  ExpectSameRecord(Transform("x", missing), Transform());
  TinyXML2Section bad;
  bad.CreateChild("Tran").WriteString("Transform", TraData::GetString(TraData::kLog));
  bad.CreateChild("Tran").WriteString("TransConst", "1,abc");
  ExpectSameRecord(Transform("x", bad), Rec(TraData::kLog, 1, 0, 1));
}

TEST(Transform, JsonFormRoundTripsAndReportsErrors) {
  for (const Transform& record : {Transform(), Rec(TraData::kLinear, 2, -3),
                                  Rec(TraData::kLogit, 0.5, 10), Rec(TraData::kPower, 1, 0, -2)}) {
    SCOPED_TRACE(record.GetTransformString('x'));
    const json_value json = record.ToJson();
    EXPECT_EQ(json.contains("constants"), record.GetTransform() != TraData::kNone);
    EXPECT_EQ(json.contains("constants") && json["constants"].contains("c3"),
              record.GetTransform() == TraData::kPower);
    ExpectSameRecord(Transform::FromJson(json), record);
  }
  EXPECT_EQ(Rec(TraData::kLog, 1, 0).ToJson()["type"], "log");

  const std::string power = Rec(TraData::kPower, 1, 0, 1).ToJson()["type"];
  const std::string log = Rec(TraData::kLog, 1, 0).ToJson()["type"];
  struct Row {
    const char* name;
    json_value input;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"missing type",
       {{"constants", {{"c1", 1}, {"c2", 0}}}},
       "Parse error: missing key 'type' in transform."},
      {"missing c3",
       {{"type", power}, {"constants", {{"c1", 1}, {"c2", 0}}}},
       "Parse error: constant 'c3' is required for Power transform."},
      {"c3 above range",
       {{"type", power}, {"constants", {{"c1", 1}, {"c2", 0}, {"c3", 2.5}}}},
       "Invalid value: constant 'c3' must be within [-2..2]."},
      {"missing c1",
       {{"type", log}, {"constants", {{"c2", 0}}}},
       "Parse error: constant 'c1' is required for the " + TraData::GetString(TraData::kLog) +
           " transform."},
      {"string c2",
       {{"type", log}, {"constants", {{"c1", 1}, {"c2", "0"}}}},
       "Parse error: constant 'c2' is required for the " + TraData::GetString(TraData::kLog) +
           " transform."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    try {
      (void)Transform::FromJson(row.input);
      ADD_FAILURE() << "no exception";
    } catch (const Exception& e) {
      EXPECT_EQ(e.what(), row.message);
    }
  }
  ExpectSameRecord(Transform::FromJson(json_value::array()), Transform());
  EXPECT_NO_THROW((void)Transform::FromJson(
      {{"type", power}, {"constants", {{"c1", 1}, {"c2", 0}, {"c3", -2}}}}));
}

}  // namespace
}  // namespace zubra
