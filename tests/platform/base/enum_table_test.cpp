#include "zubra/platform/base/enum_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/base/c_alpha_lev.h"
#include "zubra/platform/base/c_coeff.h"
#include "zubra/platform/base/c_coeff_list.h"
#include "zubra/platform/base/c_conf_lev.h"
#include "zubra/platform/base/c_fit_method.h"
#include "zubra/platform/base/c_interval_type.h"
#include "zubra/platform/base/c_model_list.h"
#include "zubra/platform/base/c_number_format.h"
#include "zubra/platform/base/c_resid.h"
#include "zubra/platform/base/ce_prec.h"
#include "zubra/platform/base/ce_type.h"
#include "zubra/platform/base/ce_use.h"
#include "zubra/platform/base/ce_var.h"
#include "zubra/platform/base/cr2_opt.h"
#include "zubra/platform/base/label_types.h"
#include "zubra/platform/base/sca_types.h"
#include "zubra/platform/util/json.h"

namespace zubra {
namespace {

std::string ChangeCase(std::string text, bool upper) {
  for (char& c : text) {
    if (upper && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (!upper && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// One enumeration seen through ints: its codes and its text and JSON conversions.
struct EnumCase {
  std::string name;
  std::vector<int> codes;  // every code the enumeration defines
  int unknown_code = 0;    // what an unknown text reads as
  std::function<std::string(int)> to_text;
  std::function<int(std::string_view)> from_text;
  std::function<json_value(int)> to_json;  // empty when there is no JSON form
  std::function<int(const json_value&)> from_json;
};

// Reads the conversions of the enumeration E of class C through their usual names; a class
// without a JSON form gets none.
template <typename C, typename E>
EnumCase Case(std::string name, std::vector<int> codes) {
  EnumCase row;
  row.name = std::move(name);
  row.codes = std::move(codes);
  row.to_text = [](int code) { return C::GetString(static_cast<E>(code)); };
  row.from_text = [](std::string_view text) { return static_cast<int>(C::GetEnum(text)); };
  if constexpr (requires { C::ToEnum(json_value()); }) {
    row.to_json = [](int code) { return C::ToJson(static_cast<E>(code)); };
    row.from_json = [](const json_value& value) { return static_cast<int>(C::ToEnum(value)); };
  }
  return row;
}

std::vector<EnumCase> AllEnumerations() {
  using CML = CModelList;
  std::vector<EnumCase> rows = {
      Case<CEType, CEType::EType>("CEType", {0, 1, 2, 3, 4, 5, 6}),
      Case<CEUse, CEUse::EUse>("CEUse", {0, 1, 2, 3}),
      Case<CEVar, CEVar::EVar>("CEVar", {0, 2, 3}),
      Case<CEPrec, CEPrec::EPrec>("CEPrec", {0, 1, 2, 3, 4, 5}),
      Case<CR2Opt, CR2Opt::R2Opt>("CR2Opt", {0, 1, 2}),
      Case<CCoeff, CCoeff::Coeff>("CCoeff", {0, 1, 2, 3}),
      Case<CResid, CResid::Resid>("CResid", {0, 1, 2, 3}),
      Case<CConfLev, CConfLev::ConfLev>("CConfLev", {0, 1, 2, 3}),
      Case<CAlphaLev, CAlphaLev::AlphaLev>("CAlphaLev", {0, 1, 2, 3}),
      Case<CCoeffList, CCoeffList::CoeffList>("CCoeffList", {0, 1, 2}),
      Case<CML, CML::ModelList>("CModelList::ModelList", {0, 1, 2}),
      Case<CNumberFormat, CNumberFormat::NumberFormat>("CNumberFormat", {0, 1, 2, 3}),
      Case<CIntervalType, CIntervalType::IntervalType>("CIntervalType", {0, 1, 2}),
      Case<LabelTypes, LabelTypes::PlotLabelType>("LabelTypes", {0, 1, 2, 3, 4}),
      Case<CFitMethod, CFitMethod::FitMethod>("CFitMethod", {0, 1, 2, 3}),
      {"CModelList::FactorPresentation",
       {0, 1, 2, 3},
       0,
       [](int code) { return CML::GetString(static_cast<CML::FactorPresentation>(code)); },
       [](std::string_view text) { return static_cast<int>(CML::GetFactorPresentation(text)); },
       [](int code) { return CML::ToJson(static_cast<CML::FactorPresentation>(code)); },
       [](const json_value& value) { return static_cast<int>(CML::ToFactorPresentation(value)); }},
      {"CModelList::ResponsePresentation",
       {0, 1, 2, 3},
       0,
       [](int code) { return CML::GetString(static_cast<CML::ResponsePresentation>(code)); },
       [](std::string_view text) { return static_cast<int>(CML::GetResponsePresentation(text)); },
       [](int code) { return CML::ToJson(static_cast<CML::ResponsePresentation>(code)); },
       [](const json_value& value) {
         return static_cast<int>(CML::ToResponsePresentation(value));
       }},
      // Unknown scaling texts read as the MLR default; the JSON reader of a scaling hands the
      // string to GetScaType.
      {"ScaTypes",
       {0, 1, 2, 3, 4, 5, 6},
       ScaTypes::kMlrDefault,
       [](int code) { return ScaTypes::GetString(static_cast<ScaTypes::EScaType>(code)); },
       [](std::string_view text) { return static_cast<int>(ScaTypes::GetScaType(text)); },
       [](int code) { return ScaTypes::ToJson(static_cast<ScaTypes::EScaType>(code)); },
       [](const json_value& value) {
         return static_cast<int>(
             ScaTypes::GetScaType(value.is_string() ? value.get<std::string>() : ""));
       }},
  };
  return rows;
}

TEST(EnumTables, EveryCodeRoundTripsThroughTextAndJsonAndUnknownInputReadsAsDefault) {
  for (const EnumCase& row : AllEnumerations()) {
    SCOPED_TRACE(row.name);
    std::vector<std::string> texts;
    for (int code : row.codes) {
      SCOPED_TRACE("code " + std::to_string(code));
      const std::string text = row.to_text(code);
      // Code 0 (not set) may be spelled "", every other code needs its own text.
      if (code != 0) {
        EXPECT_FALSE(text.empty());
      }
      for (const std::string& seen : texts)
        EXPECT_NE(ChangeCase(seen, false), ChangeCase(text, false));
      texts.push_back(text);
      EXPECT_EQ(row.from_text(text), code);
      EXPECT_EQ(row.from_text(ChangeCase(text, true)), code);
      EXPECT_EQ(row.from_text(ChangeCase(text, false)), code);
      if (!text.empty()) {
        EXPECT_EQ(row.from_text(" " + text), row.unknown_code);
      }
      if (row.to_json) {
        const json_value json = row.to_json(code);
        EXPECT_EQ(row.from_json(json), code);
        // Through the document text, as a stored file is read back.
        EXPECT_EQ(row.from_json(ParseJson(DumpJson(json))), code);
      }
    }
    EXPECT_EQ(row.to_text(99), "");
    EXPECT_EQ(row.from_text("no such value"), row.unknown_code);
    if (row.to_json) {
      EXPECT_EQ(row.from_json(json_value("no such value")), row.unknown_code);
      EXPECT_EQ(row.from_json(json_value::object()), row.unknown_code);
      EXPECT_EQ(row.from_json(json_value(0.5)), row.unknown_code);
    }
  }
}

TEST(EnumTables, FixedTextsAndFormatsAreTheOnesStoredFormsUse) {
  struct Row {
    const char* name;
    std::string actual;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {"precision code 1 is zero decimals", CEPrec::GetString(CEPrec::kDecimals0), "0"},
      {"precision code 5 is four decimals", CEPrec::GetString(CEPrec::kDecimals4), "4"},
      {"precision not set has no text", CEPrec::GetString(CEPrec::kNotSet), ""},
      {"precision not set formats with %g", std::string(CEPrec::GetFormat(CEPrec::kNotSet)), "%g"},
      {"precision code 1 format", std::string(CEPrec::GetFormat(CEPrec::kDecimals0)), "%.0f"},
      {"precision code 4 format", std::string(CEPrec::GetFormat(CEPrec::kDecimals3)), "%.3f"},
      {"unknown precision format", std::string(CEPrec::GetFormat(static_cast<CEPrec::EPrec>(6))),
       ""},
      {"scaling JSON is lower camel", ScaTypes::ToJson(ScaTypes::kUnitVariance).get<std::string>(),
       "unitVariance"},
      {"acronym lowered as a whole", CFitMethod::ToJson(CFitMethod::kPLS).get<std::string>(),
       "pls"},
      {"level text", CConfLev::GetString(CConfLev::kLevel95), "0.95"},
      {"level JSON is a number", DumpJson(CConfLev::ToJson(CConfLev::kLevel95)), "0.95"},
      {"alpha JSON is a number", DumpJson(CAlphaLev::ToJson(CAlphaLev::kAlpha05)), "0.05"},
      {"level of not set is null", DumpJson(CConfLev::ToJson(CConfLev::kNotSet)), "null"},
      {"scaling display text", ScaTypes::GetStringEx(ScaTypes::kOrthogonal),
       "Orthogonal (coded -1 to +1)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.actual, row.expected);
  }
  // The decimal count read back from a factor's JSON integer.
  EXPECT_EQ(CEPrec::GetEnum("2"), 3);
  // The JSON kind of a factor is the text with its first letter lowered.
  EXPECT_EQ(CEType::GetEnum("quantitative"), CEType::kQuantitative);
  EXPECT_EQ(ScaTypes::GetScaType("garbage", ScaTypes::kPlsDefault), ScaTypes::kUnitVariance);
}

TEST(EnumTables, LevelsReadBackFromJsonNumbers) {
  struct Row {
    const char* name;
    const char* document;
    int conf_level;
    int alpha_level;
  };
  const std::vector<Row> rows = {
      {"exact decimal", "0.95", CConfLev::kLevel95, CConfLev::kNotSet},
      {"alpha decimal", "0.05", CConfLev::kNotSet, CAlphaLev::kAlpha05},
      {"written with more digits", "0.9000000000", CConfLev::kLevel90, CAlphaLev::kNotSet},
      {"within the tolerance", "0.9900000000001", CConfLev::kLevel99, CAlphaLev::kNotSet},
      {"near but not a level", "0.951", CConfLev::kNotSet, CAlphaLev::kNotSet},
      {"percent is not a fraction", "95", CConfLev::kNotSet, CAlphaLev::kNotSet},
      {"integer zero", "0", CConfLev::kNotSet, CAlphaLev::kNotSet},
      {"string is not a number", "\"0.95\"", CConfLev::kNotSet, CAlphaLev::kNotSet},
      {"null", "null", CConfLev::kNotSet, CAlphaLev::kNotSet},
      {"array", "[0.95]", CConfLev::kNotSet, CAlphaLev::kNotSet},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const json_value value = ParseJson(row.document);
    EXPECT_EQ(CConfLev::ToEnum(value), row.conf_level);
    EXPECT_EQ(CAlphaLev::ToEnum(value), row.alpha_level);
  }
  EXPECT_DOUBLE_EQ(CConfLev::GetLevel(CConfLev::kLevel95), 0.95);
  EXPECT_DOUBLE_EQ(CConfLev::GetLevel(CConfLev::kNotSet), kUndefined);
}

enum Fruit : int { kNoFruit = 0, kApple = 1, kPLSFruit = 2, kR2Fruit = 3, kMLR = 4 };

TEST(EnumTable, LowerCamelLowersTheLeadingWordOrAcronym) {
  static constexpr auto kTable = MakeEnumTable<Fruit>({{kNoFruit, ""},
                                                       {kApple, "AppleTree"},
                                                       {kPLSFruit, "PLSScaling"},
                                                       {kR2Fruit, "R2Adj"},
                                                       {kMLR, "MLR"}});
  struct Row {
    Fruit code;
    const char* expected;
  };
  const std::vector<Row> rows = {
      {kNoFruit, ""},      {kApple, "appleTree"}, {kPLSFruit, "plsScaling"},
      {kR2Fruit, "r2Adj"}, {kMLR, "mlr"},         {static_cast<Fruit>(9), ""}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(kTable.LowerCamelOf(row.code), row.expected);
    if (row.code != 9) {
      EXPECT_EQ(kTable.CodeOf(kTable.LowerCamelOf(row.code), kMLR), row.code);
    }
  }
}

TEST(EnumTable, OneToOneCheckCatchesRepeatedCodesAndValues) {
  static constexpr auto kGood = MakeEnumTable<Fruit>({{kNoFruit, "a"}, {kApple, "b"}});
  static constexpr auto kSameCode = MakeEnumTable<Fruit>({{kApple, "a"}, {kApple, "b"}});
  static constexpr auto kSameTextOtherCase =
      MakeEnumTable<Fruit>({{kNoFruit, "Apple"}, {kApple, "APPLE"}});
  static constexpr auto kNearNumbers =
      MakeEnumTable<Fruit, double>({{kNoFruit, 0.5}, {kApple, 0.5 + 1e-12}});
  static_assert(kGood.IsOneToOne());
  static_assert(!kSameCode.IsOneToOne());
  static_assert(!kSameTextOtherCase.IsOneToOne());
  static_assert(!kNearNumbers.IsOneToOne());
  static constexpr auto kNumbers = MakeEnumTable<Fruit, double>({{kApple, 0.5}});
  EXPECT_EQ(kNumbers.CodeOf(std::numeric_limits<double>::quiet_NaN(), kNoFruit), kNoFruit);
  EXPECT_EQ(kNumbers.CodeOf(std::numeric_limits<double>::infinity(), kNoFruit), kNoFruit);
  // Non-ASCII bytes are not folded: only A-Z and a-z match without case.
  static constexpr auto kUtf8 = MakeEnumTable<Fruit>({{kApple, "\xC3\x84pfel"}});
  EXPECT_EQ(kUtf8.CodeOf("\xC3\xA4pfel", kNoFruit), kNoFruit);
  EXPECT_EQ(kUtf8.CodeOf("\xC3\x84PFEL", kNoFruit), kApple);
}

}  // namespace
}  // namespace zubra
