#include "zubra/variables/factor_class.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/base/investigation_access.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"
#include "zubra/platform/util/variable_name_validator.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

constexpr double kU = -99.0;

FactorClass Quantitative(double low, double high, CEUse::EUse use = CEUse::kControlled) {
  FactorClass f;
  f.SetName("Temp");
  f.SetAbbr("T");
  if (use == CEUse::kConstant) {
    f.SetValue(low, CEType::kQuantitative);
  } else {
    f.SetValue(low, high, CEType::kQuantitative, use == CEUse::kControlled);
  }
  return f;
}

FactorClass Listed(CEType::EType type, std::vector<std::string> settings,
                   CEUse::EUse use = CEUse::kControlled) {
  FactorClass f;
  f.SetName("Cat");
  f.SetAbbr("C");
  f.SetSettings(settings, type, use);
  return f;
}

// A data service answering fixed values for every factor.
class FixedData : public InvestigationAccess {
 public:
  double GetMin(std::string_view) const override { return 2.0; }
  double GetCenter(std::string_view) const override { return 5.0; }
  double GetMax(std::string_view) const override { return 8.0; }
  std::vector<std::string> GetIncludedSettings(std::string_view) const override { return included; }
  std::vector<std::string> included;
};

TEST(FactorClass, NameValidationStepsInOrder) {
  Variables variables;
  FactorClass temp = Quantitative(0, 1);
  ASSERT_EQ(variables.Add(std::make_unique<FactorClass>(temp)), Variables::kOk);
  auto yield = std::make_unique<ResponseClass>();
  yield->SetName("Yield");
  yield->SetAbbr("Y");
  ASSERT_EQ(variables.Add(std::move(yield)), Variables::kOk);

  std::string hundred;
  for (int i = 0; i < 100; ++i) hundred += "\xC3\xA9";  // 100 two-byte clusters
  struct Row {
    const char* name;
    std::string text;
    std::string old_name;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"empty after trim", " \t\n ", "", "Please provide a factor name."},
      {"100 clusters pass", hundred, "", ""},
      {"101 clusters fail", hundred + "e", "",
       "The factor name is too long. The limit is 100 characters."},
      {"reserved in any case", "model settings", "",
       "'model settings' is a reserved name in ZUBRA. Please change the name."},
      {"prefix of a reserved name is fine", "Models", "", ""},
      {"forbidden character", "a=b", "",
       "A factor name may not contain the following characters:\n\n" +
           ZubraVariableNameValidator().GetForbiddenCharacters() + "."},
      {"leading hash", "#1", "", "A factor name may not start with '#'"},
      {"duplicate factor", "TEMP", "",
       "The factor name already exists. Please change to a unique name."},
      {"rename to itself in another case", "TEMP", "Temp", ""},
      {"response name", "yield", "",
       "The factor name already exists as a response name. Please change to a unique name."},
      {"response name even when renaming to itself", "Yield", "yield",
       "The factor name already exists as a response name. Please change to a unique name."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string name = row.text;
    std::string message = "stale";
    EXPECT_EQ(FactorClass::CheckValidName(name, message, variables, row.old_name),
              row.message.empty());
    EXPECT_EQ(message, row.message);
  }
  std::string padded = "\tPressure\n";
  std::string message;
  EXPECT_TRUE(FactorClass::CheckValidName(padded, message, variables, ""));
  EXPECT_EQ(padded, "Pressure");
}

TEST(FactorClass, AbbreviationAndUnitValidation) {
  struct Row {
    const char* name;
    bool abbreviation;  // else unit
    std::string text;
    std::string message;
  };
  const std::string bracket_message =
      "Abbreviations may not contain the following characters:\n\n[ ] ( ) and SPACE.";
  const std::vector<Row> rows = {
      {"empty abbreviation", true, "  ", "Please provide an abbreviation for the factor."},
      {"five clusters", true, "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", ""},
      {"six clusters", true, "abcdef", "The abbreviation is too long. The limit is 5 characters."},
      {"inner space", true, "a b", bracket_message},
      {"bracket", true, "a(", bracket_message},
      {"empty unit", false, "", ""},
      {"25 clusters", false, std::string(25, 'u'), ""},
      {"26 clusters", false, std::string(26, 'u'),
       "The unit is too long. The limit is 25 characters."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string text = row.text;
    std::string message;
    const bool ok = row.abbreviation ? FactorClass::CheckValidAbbrevation(text, message)
                                     : FactorClass::CheckValidUnits(text, message);
    EXPECT_EQ(ok, row.message.empty());
    EXPECT_EQ(message, row.message);
  }
}

TEST(FactorClass, QualitativeCodingAndExpansion) {
  const FactorClass f = Listed(CEType::kQualitative, {"a", "b", "c"});
  EXPECT_EQ(f.GetExpandedCount(), 2);
  const XFMatrix& coding = *f.GetCodingMatrix();
  ASSERT_EQ(coding.GetRows(), 3);
  ASSERT_EQ(coding.GetCols(), 2);
  const float expected[3][2] = {{-1, -1}, {1, 0}, {0, 1}};
  for (int r = 1; r <= 3; ++r) {
    for (int c = 1; c <= 2; ++c) EXPECT_EQ(coding(r, c), expected[r - 1][c - 1]);
  }
  float row[6] = {};
  int position = 0;
  f.SetExpandedSettings(row, "c", position, nullptr, false);
  f.SetExpandedSettings(row, "zz", position, nullptr, false);
  f.SetExpandedSettings(row, "2.5", position, nullptr, false);
  EXPECT_EQ(position, 6);
  EXPECT_EQ(std::vector<float>(row, row + 6), (std::vector<float>{0, 1, -99, -99, -99, -99}));

  const FactorClass numeric = Quantitative(0, 10);
  position = 0;
  numeric.SetExpandedSettings(row, "2.5", position, nullptr, false);
  numeric.SetExpandedSettings(row, "x", position, nullptr, false);
  EXPECT_EQ(row[0], 2.5F);
  EXPECT_EQ(row[1], -99.0F);
  EXPECT_EQ(numeric.GetCodingMatrix()->GetRows(), 1);

  std::vector<std::string> many;
  for (int i = 1; i <= 25; ++i) many.push_back("s" + std::to_string(i));
  many.insert(many.begin() + 3, "");
  const FactorClass capped = Listed(CEType::kQualitative, many);
  EXPECT_EQ(capped.GetSettingCount(), 24);
  EXPECT_EQ(capped.GetSetting(24), "s24");
  EXPECT_EQ(capped.GetExpandedCount(), 23);
}

TEST(FactorClass, PrecisionArithmetic) {
  EXPECT_DOUBLE_EQ(FactorClass::CalculateFactorRangePrecision(10, 50), 1.0);
  EXPECT_EQ(FactorClass::CalculateFactorRangePrecision(5, 5), kU);
  EXPECT_EQ(FactorClass::CalculateFactorRangePrecision(kU, 5), kU);
  FactorClass f = Quantitative(10, 50);
  f.SetFactorRangePrecision(1.0);
  EXPECT_DOUBLE_EQ(f.GetFactorRangePrecision(), 1.0);
  EXPECT_DOUBLE_EQ(f.GetFactorStdDevPrecision(), 1.0 / 1.96);
  f.SetFactorRangePrecision(kU);
  EXPECT_EQ(f.GetFactorRangePrecision(), kU);
  FactorClass zero = Quantitative(0, 1);
  zero.SetFactorRangePrecision(0.0);
  EXPECT_FALSE(FactorClass::DoesAnyHaveDistribution({&zero, &f, nullptr}));
  f.SetFactorRangePrecision(2.0);
  EXPECT_TRUE(FactorClass::DoesAnyHaveDistribution({&zero, &f}));
}

TEST(FactorClass, CentrePointsByKindAndUse) {
  auto data = std::make_shared<FixedData>();
  struct Row {
    const char* name;
    FactorClass factor;
    bool with_data;
    double low, high, expected;
  };
  FactorClass log_factor = Quantitative(1, 100);
  log_factor.SetTransform(Transform(TraData::kLog, 1, 0, kU));
  const std::vector<Row> rows = {
      {"controlled range", Quantitative(10, 20), false, kU, kU, 15},
      {"controlled ignores missing bounds", Quantitative(10, 20), false, kU, 30, 20},
      {"log range centre is geometric", log_factor, false, kU, kU, 10},
      {"uncontrolled without bounds asks data", Quantitative(0, 1, CEUse::kUncontrolled), true, kU,
       kU, 5},
      {"uncontrolled without service", Quantitative(0, 1, CEUse::kUncontrolled), false, kU, kU, kU},
      {"uncontrolled with bounds", Quantitative(0, 1, CEUse::kUncontrolled), true, 0, 4, 2},
      {"constant", Quantitative(3, 3, CEUse::kConstant), false, kU, kU, kU},
      {"multilevel odd count", Listed(CEType::kMultilevel, {"1", "2", "7"}), false, kU, kU, 2},
      {"multilevel even count", Listed(CEType::kMultilevel, {"1", "2", "7", "9"}), false, kU, kU,
       2},
      {"multilevel with bounds", Listed(CEType::kMultilevel, {"1", "9"}), false, 0, 10, 5},
      {"time uncontrolled", Listed(CEType::kTime, {"1", "2"}, CEUse::kUncontrolled), true, kU, kU,
       5},
      {"qualitative", Listed(CEType::kQualitative, {"a", "b"}), false, 0, 10, kU},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::unique_ptr<ScopedInvestigationAccess> scope;
    if (row.with_data) scope = std::make_unique<ScopedInvestigationAccess>(data);
    EXPECT_NEAR(row.factor.GetCenterpoint(true, row.low, row.high), row.expected, 1e-9);
  }
}

TEST(FactorClass, NormalizedPointsInTransformedUnits) {
  FactorClass f = Quantitative(1, 100);
  f.SetTransform(Transform(TraData::kLog, 1, 0, kU));
  EXPECT_NEAR(f.GetPointFromNormalized(1.0, true), 100.0, 1e-9);
  EXPECT_NEAR(f.GetPointFromNormalized(-1.0, false), 0.0, 1e-12);
  EXPECT_NEAR(f.GetNormalizedFromPoint(10.0, true), 0.0, 1e-12);
  EXPECT_NEAR(f.GetNormalizedFromPoint(2.0, false), 1.0, 1e-12);
  EXPECT_EQ(f.GetPointFromNormalized(kU, true), kU);
  EXPECT_EQ(f.GetNormalizedFromPoint(kU, false), kU);
  EXPECT_EQ(Quantitative(5, 5).GetNormalizedFromPoint(5, false), kU);  // empty range
  EXPECT_EQ(Listed(CEType::kQualitative, {"a", "b"}).GetPointFromNormalized(0, true), kU);
}

TEST(FactorClass, AdjustedRangesRememberWhereTheyCameFrom) {
  FactorClass f = Quantitative(0, 1);
  EXPECT_FALSE(f.IsAdjusted());
  f.AdjustRange(0.2, 1);
  f.AdjustRange(0.3, 1);
  EXPECT_TRUE(f.IsAdjusted());
  EXPECT_EQ(f.GetAdjustFromLow(), 0.0);
  EXPECT_EQ(f.GetAdjustFromHigh(), 1.0);  // not adjusted: the high itself
  f.SetOldRanges();
  EXPECT_FALSE(f.IsAdjusted());
  EXPECT_EQ(f.GetLow(true), 0.0);
}

TEST(FactorClass, KindUseAndDefinitionPredicates) {
  struct Row {
    const char* name;
    FactorClass factor;
    CEVar::EVar is_a;
    bool design, scaling, defined;
  };
  FactorClass filler;
  filler.SetValue(CEType::kFiller, CEUse::kControlled);
  FactorClass block = Listed(CEType::kQualitative, {"a", "b"});
  block.SetName("$Block");
  FactorClass formulation;
  formulation.SetValue(0.1, 0.5, CEType::kFormulation, true);
  FactorClass reversed = Quantitative(5, 1);
  const std::vector<Row> rows = {
      {"controlled quantitative", Quantitative(0, 1), CEVar::kProcessFactor, true, true, true},
      {"uncontrolled quantitative", Quantitative(0, 1, CEUse::kUncontrolled), CEVar::kProcessFactor,
       false, true, true},
      {"constant", Quantitative(2, 2, CEUse::kConstant), CEVar::kProcessFactor, false, false, true},
      {"low above high", reversed, CEVar::kProcessFactor, true, true, false},
      {"qualitative", Listed(CEType::kQualitative, {"a", "b"}), CEVar::kProcessFactor, true, false,
       true},
      {"block factor", block, CEVar::kProcessFactor, false, false, true},
      {"uncontrolled multilevel", Listed(CEType::kMultilevel, {"1", "2"}, CEUse::kUncontrolled),
       CEVar::kProcessFactor, true, true, true},
      {"time", Listed(CEType::kTime, {"1", "2"}), CEVar::kProcessFactor, false, false, true},
      {"formulation", formulation, CEVar::kMixtureFactor, true, false, true},
      {"filler", filler, CEVar::kMixtureFactor, false, false, true},
      {"nothing", FactorClass(), CEVar::kMixtureFactor, false, true, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.factor.IsA(), row.is_a);
    EXPECT_EQ(row.factor.IsDesignFactor(), row.design);
    EXPECT_EQ(row.factor.SupportsScaling(), row.scaling);
    EXPECT_EQ(row.factor.IsDefined(), row.defined);
  }
}

TEST(FactorClass, LabelsOfSettingsAndTransforms) {
  FactorClass f = Listed(CEType::kQualitative, {"a", "b"});
  EXPECT_EQ(f.GetAbbr(2), "C(b)");
  EXPECT_EQ(f.GetAbbr(3), "C");
  EXPECT_EQ(f.GetNameWithSetting(1), "Cat(a)");
  EXPECT_EQ(Listed(CEType::kQualitative, {"a"}).GetAbbr(1), "C");
  FactorClass t = Quantitative(1, 10);
  t.SetTransform(Transform(TraData::kLog, 1, 0, kU));
  EXPECT_EQ(t.GetTransformedAbbr(0), "T~");
  t.SetAbbr("$B2");
  EXPECT_EQ(t.GetTransformedAbbr(0), "$B2");
}

// Every kind and use survives both stored forms.
std::vector<FactorClass> EveryKindAndUse() {
  std::vector<FactorClass> factors = {
      Quantitative(10, 20),
      Quantitative(-1.5, 2.25, CEUse::kUncontrolled),
      Quantitative(7.125, 7.125, CEUse::kConstant),
      Listed(CEType::kQualitative, {"low, cold", "m<&>\"", "\xE6\xB8\xA9"}),
      Listed(CEType::kQualitative, {"only"}),
      Listed(CEType::kMultilevel, {"1", "2.5", "10"}),
      Listed(CEType::kTime, {"0", "30", "60"}, CEUse::kUncontrolled)};
  FactorClass formulation;
  formulation.SetValue(0.1, 0.6, CEType::kFormulation, true);
  FactorClass filler;
  filler.SetValue(CEType::kFiller, CEUse::kControlled);
  FactorClass uncontrolled;
  uncontrolled.SetValue(CEType::kQuantitative, CEUse::kUncontrolled);
  factors.insert(factors.end(), {formulation, filler, uncontrolled});
  for (std::size_t i = 0; i < factors.size(); ++i) {
    factors[i].SetName("F" + std::to_string(i));
    factors[i].SetAbbr("A" + std::to_string(i));
    factors[i].SetNumber(static_cast<int>(i) + 1);
    factors[i].SetFactorRangePrecision(0.5);
    factors[i].SetNOR(i % 2 == 0 ? 1.25 : kU);
    factors[i].SetDesignSetFactor(i % 3 == 0);
    factors[i].SetHardToChange(i % 4 == 1);
  }
  factors[0].SetTransform(Transform(TraData::kLog, 2, 1, kU));
  factors[0].AdjustRange(11, 20);
  return factors;
}

std::string Saved(const FactorClass& factor) {
  TinyXML2Section section;
  factor.WriteToFile(section);
  return section.ToString();
}

TEST(FactorClass, ConfigurationFormRoundTripsEveryKindAndUse) {
  for (const FactorClass& factor : EveryKindAndUse()) {
    SCOPED_TRACE(factor.GetName());
    TinyXML2Section xml;
    factor.WriteToFile(xml);
    const auto reloaded = TinyXML2Section::LoadString(xml.ToString());
    const FactorClass from_xml(factor.GetName(), *reloaded);
    EXPECT_EQ(Saved(from_xml), Saved(factor));
    EXPECT_EQ(from_xml.GetSettings(), factor.GetSettings());
    EXPECT_EQ(from_xml.GetUse(), factor.GetUse());
    EXPECT_EQ(from_xml.IsHardToChange(), factor.IsHardToChange());

    IniFileSection ini;
    factor.WriteToFile(ini);
    const FactorClass from_ini(factor.GetName(), *IniFileSection::LoadString(ini.ToString()));
    EXPECT_EQ(Saved(from_ini), Saved(factor));
    EXPECT_EQ(from_ini.IsHardToChange(), factor.IsHardToChange());
  }
}

TEST(FactorClass, ConfigurationReaderKeepsFieldsOnGarbledKeysAndReadsOlderSettings) {
  IniFileSection ini;
  ConfigurationSection& own = ini.CreateChild("Old");
  own.WriteString("Type", "Qualitative");
  own.WriteString("Use", "Controlled");
  own.WriteString("SettingsU", "a%20b,c");
  own.WriteString("NormalOperatingRange", "garbled");
  FactorClass f;
  f.SetName("Old");
  f.SetNOR(3.0);
  EXPECT_NO_THROW(f.Load(own));
  EXPECT_EQ(f.GetSettings(), (std::vector<std::string>{"a b", "c"}));
  EXPECT_EQ(f.GetNOR(), 3.0);
}

TEST(FactorClass, JsonRoundTripsEveryKindAndUse) {
  for (const FactorClass& factor : EveryKindAndUse()) {
    SCOPED_TRACE(factor.GetName());
    FactorClass read;
    ASSERT_TRUE(read.Load(factor.ToJson()));
    EXPECT_EQ(read.ToJson(), factor.ToJson());
    EXPECT_EQ(read.IsHardToChange(), factor.IsHardToChange());
    EXPECT_EQ(read.GetType(), factor.GetType());
    EXPECT_EQ(read.GetSettings(), factor.GetSettings());
    EXPECT_EQ(read.GetLow(true),
              factor.GetUse() == CEUse::kUncontrolled && factor.GetType() != CEType::kTime
                  ? kU
                  : factor.GetLow(true));
  }
}

TEST(FactorClass, TheHardToChangeMarkIsStoredOnlyWhenSetSoOtherFactorsAreStoredAsBefore) {
  FactorClass factor = Quantitative(10, 20);
  const std::string id = std::to_string(factor.GetUniqueID());
  // The stored forms of a factor without the mark, as they have always been.
  const std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<zubra version=\"1\">\n"
      "    <section name=\"Factors\">\n        <value key=\"Temp\">-1</value>\n"
      "    </section>\n    <section name=\"Response\">\n"
      "        <value key=\"Name\">Temp</value>\n        <value key=\"Abbreviation\">T</value>\n"
      "        <value key=\"Units\"/>\n        <value key=\"Precision\"/>\n"
      "        <value key=\"Scaling\">Orthogonal</value>\n"
      "        <value key=\"PLSScaling\">UnitVariance</value>\n"
      "        <value key=\"ScaleModifier\">-99</value>\n"
      "        <value key=\"UniqueID\">" +
      id +
      "</value>\n        <section name=\"Tran\">\n"
      "            <value key=\"Transform\">None</value>\n        </section>\n"
      "        <section name=\"Values\">\n            <value key=\"Type\">Quantitative</value>\n"
      "            <value key=\"Use\">Controlled</value>\n"
      "            <value key=\"Settings\">10,20</value>\n"
      "            <value key=\"FSensitivity\">-99</value>\n"
      "            <value key=\"NormalOperatingRange\">-99</value>\n        </section>\n"
      "        <section name=\"Factor\">\n"
      "            <value key=\"DesignSetFactor\">false</value>\n        </section>\n"
      "    </section>\n</zubra>\n";
  const std::string ini =
      "[Factors]\nTemp=-1\n\n\n[Temp]\nName=Temp\nAbbreviation=T\nUnits=\nPrecision=\n"
      "Scaling=Orthogonal\nPLSScaling=UnitVariance\nScaleModifier=-99\nTransform=None\n"
      "UniqueID=" +
      id +
      "\nType=Quantitative\nUse=Controlled\nSettings=10,20\nFSensitivity=-99\n"
      "NormalOperatingRange=-99\nDesignSetFactor=false\n";
  const std::string json =
      R"({"name":"Temp","abbreviation":"T","type":"quantitative","settings":[10.0,20.0],)"
      R"("scaling":{"type":"orthogonal"}})";
  const auto ini_form = [](const FactorClass& f) {
    IniFileSection section;
    f.WriteToFile(section);
    return section.ToString();
  };
  EXPECT_EQ(Saved(factor), xml);
  EXPECT_EQ(ini_form(factor), ini);
  EXPECT_EQ(factor.ToJson().dump(), json);

  // Marked: each form carries it and reads it back.
  factor.SetHardToChange(true);
  EXPECT_NE(Saved(factor).find("<value key=\"HardToChange\">true</value>"), std::string::npos);
  EXPECT_NE(ini_form(factor).find("\nHardToChange=true\n"), std::string::npos);
  EXPECT_EQ(factor.ToJson()["isHardToChange"], true);
  // Unmarked again, a section written over the marked form loses the mark.
  TinyXML2Section section;
  factor.WriteToFile(section);
  factor.SetHardToChange(false);
  factor.WriteToFile(section);
  EXPECT_EQ(section.ToString(), xml);
  const FactorClass read("Temp", section);
  EXPECT_FALSE(read.IsHardToChange());
  // A JSON mark that is not a boolean does not mark the factor.
  FactorClass from_json;
  ASSERT_TRUE(from_json.Load(json_value::parse(
      R"({"name":"H","type":"quantitative","settings":[0,1],"isHardToChange":"yes"})")));
  EXPECT_FALSE(from_json.IsHardToChange());
  // Copies of the definition keep the mark.
  FactorClass marked = Quantitative(0, 1);
  marked.SetHardToChange(true);
  FactorClass copy;
  copy.CopyValues(&marked);
  EXPECT_TRUE(copy.IsHardToChange());
}

TEST(FactorClass, JsonRoundTripKeepsNamesThatStillEndInATilde) {
  for (const char* text : {"T~~", "~~~", "Plain"}) {
    SCOPED_TRACE(text);
    FactorClass factor = EveryKindAndUse().front();
    factor.SetName(text);
    factor.SetAbbr(text);
    FactorClass read;
    ASSERT_TRUE(read.Load(factor.ToJson()));
    EXPECT_EQ(read.GetName(), factor.GetName());
    EXPECT_EQ(read.ResponseClass::GetAbbr(), factor.ResponseClass::GetAbbr());
  }
}

TEST(FactorClass, JsonReaderRules) {
  FactorClass constant;
  ASSERT_TRUE(constant.Load(json_value::parse(
      R"({"name":"N","abbreviation":"n","type":"quantitative","settings":[5]})")));
  EXPECT_TRUE(constant.IsConstant());
  EXPECT_EQ(constant.GetConst(true), 5.0);
  EXPECT_EQ(constant.ToJson()["settings"], json_value::parse("[5.0]"));
  EXPECT_FALSE(constant.ToJson().contains("scaling"));

  FactorClass unchanged = Quantitative(1, 2);
  EXPECT_FALSE(unchanged.Load(json_value::parse(R"({"name":3,"type":"quantitative"})")));
  EXPECT_EQ(unchanged.GetName(), "Temp");
  try {
    (void)unchanged.Load(json_value::parse(R"({"name":"X","type":"colour"})"));
    ADD_FAILURE() << "no exception";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "Parse error: illegal factor type.");
  }
  EXPECT_EQ(unchanged.GetName(), "Temp");  // nothing half-read

  FactorClass design_set;
  ASSERT_TRUE(design_set.Load(json_value::parse(
      R"({"name":"D","type":"qualitative","isDesignSetFactor":true,"settings":["a","b"]})")));
  EXPECT_EQ(design_set.GetUse(), CEUse::kUncontrolled);
}

TEST(FactorClass, TextDump) {
  FactorClass f = Quantitative(10, 20);
  f.SetFactorRangePrecision(0.25);
  StreamWindow out;
  f.Show(out);
  const std::string text = out.str();
  EXPECT_NE(text.find("Factor name     : Temp\n"), std::string::npos);
  EXPECT_NE(text.find("Use             : " + CEUse::GetString(CEUse::kControlled) +
                      "\n"
                      "Type            : " +
                      CEType::GetString(CEType::kQuantitative) +
                      "\n"
                      "Precision       : 0.25\n"
                      "NOR             : --\n"
                      "Values          : 10 and 20\n"),
            std::string::npos);
  StreamWindow settings;
  Listed(CEType::kQualitative, {"a", "b", "c"}).Show(settings);
  EXPECT_NE(settings.str().find("Values          : a, b and c\n"), std::string::npos);
}

}  // namespace
}  // namespace zubra
