#include "zubra/platform/base/enum_table.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
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
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/matrix/desirability.h"
#include "zubra/platform/matrix/tra_data.h"
#include "zubra/platform/util/json.h"

namespace zubra {
namespace {

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  return text;
}

// Leaves E to be deduced from `unknown` alone, so that overloaded functions resolve against it.
template <typename E>
using Id = std::type_identity_t<E>;

// Checks one enumeration: every code in `codes` round-trips through its text (as written, in
// capitals unless the reader is case-sensitive, and with the first letter lowered as JSON
// documents spell it) and through its JSON form when it has one; unknown input reads as
// `unknown`.
template <typename E>
void CheckEnum(const char* name, const std::vector<int>& codes, E unknown,
               std::string (*to_text)(Id<E>), Id<E> (*from_text)(std::string_view),
               json_value (*to_json)(Id<E>) = nullptr,
               Id<E> (*from_json)(const json_value&) = nullptr, bool any_case = true) {
  SCOPED_TRACE(name);
  for (const int code : codes) {
    SCOPED_TRACE(code);
    const auto value = static_cast<E>(code);
    const std::string text = to_text(value);
    // Code 0 (not set) may be spelled "", every other code needs its own text.
    EXPECT_TRUE(code == 0 || !text.empty());
    EXPECT_EQ(from_text(text), value);
    EXPECT_EQ(from_text(Upper(text)), any_case ? value : unknown);
    std::string lowered = text;
    if (!lowered.empty() && lowered[0] >= 'A' && lowered[0] <= 'Z') lowered[0] += 'a' - 'A';
    EXPECT_EQ(from_text(lowered), value);
    EXPECT_EQ(from_text(" " + text), unknown);
    if (to_json != nullptr) {
      // Directly, and through the document text as a stored file is read back.
      EXPECT_EQ(from_json(to_json(value)), value);
      EXPECT_EQ(from_json(ParseJson(DumpJson(to_json(value)))), value);
    }
  }
  EXPECT_EQ(to_text(static_cast<E>(99)), "");
  EXPECT_EQ(from_text("no such value"), unknown);
  if (to_json == nullptr) return;
  for (const json_value& bad :
       {json_value("no such value"), json_value::object(), json_value(0.5), json_value()}) {
    EXPECT_EQ(from_json(bad), unknown) << DumpJson(bad);
  }
}

// The usual names: GetString/GetEnum, and ToJson/ToEnum when C has a JSON form; 0 is not set.
template <typename C, typename E = decltype(C::GetEnum(""))>
void CheckClass(const char* name, const std::vector<int>& codes) {
  if constexpr (requires { C::ToEnum(json_value()); }) {
    CheckEnum<E>(name, codes, E{}, &C::GetString, &C::GetEnum, &C::ToJson, &C::ToEnum);
  } else {
    CheckEnum<E>(name, codes, E{}, &C::GetString, &C::GetEnum);
  }
}

TEST(EnumTables, EveryCodeRoundTripsThroughTextAndJsonAndUnknownInputReadsAsDefault) {
  using CML = CModelList;
  using D = Desirability;
  using S = ScaTypes;
  CheckClass<CEType>("CEType", {0, 1, 2, 3, 4, 5, 6});
  CheckClass<CEUse>("CEUse", {0, 1, 2, 3});
  CheckClass<CEVar>("CEVar", {0, 2, 3});
  CheckClass<CEPrec>("CEPrec", {0, 1, 2, 3, 4, 5});
  CheckClass<CR2Opt>("CR2Opt", {0, 1, 2});
  CheckClass<CCoeff>("CCoeff", {0, 1, 2, 3});
  CheckClass<CResid>("CResid", {0, 1, 2, 3});
  CheckClass<CConfLev>("CConfLev", {0, 1, 2, 3});
  CheckClass<CAlphaLev>("CAlphaLev", {0, 1, 2, 3});
  CheckClass<CCoeffList>("CCoeffList", {0, 1, 2});
  CheckClass<CML>("ModelList", {0, 1, 2});
  CheckClass<CNumberFormat>("CNumberFormat", {0, 1, 2, 3});
  CheckClass<CIntervalType>("CIntervalType", {0, 1, 2});
  CheckClass<CFitMethod>("CFitMethod", {0, 1, 2, 3});
  CheckClass<LabelTypes>("LabelTypes", {0, 1, 2, 3, 4});
  CheckEnum("FactorPresentation", {0, 1, 2, 3}, CML::kFactorPresentationNotSet, &CML::GetString,
            &CML::GetFactorPresentation, &CML::ToJson, &CML::ToFactorPresentation);
  CheckEnum("ResponsePresentation", {0, 1, 2, 3}, CML::kResponsePresentationNotSet, &CML::GetString,
            &CML::GetResponsePresentation, &CML::ToJson, &CML::ToResponsePresentation);
  // Unknown scaling texts read as the MLR default; the JSON reader hands the string over.
  CheckEnum(
      "ScaTypes", {0, 1, 2, 3, 4, 5, 6}, S::kMlrDefault, &S::GetString,
      [](std::string_view text) { return S::GetScaType(text); }, &S::ToJson,
      [](const json_value& v) { return S::GetScaType(v.is_string() ? v.get<std::string>() : ""); });
  CheckEnum("OptimizeType", {0, 1, 2, 3, 4, 5}, D::kNone, &D::ToString, &D::ToType);
  CheckEnum("DesirabilityType", {0, 1, 2, 3, 4}, D::kLinear, &D::ToDesirabilityString,
            &D::ToDesirabilityType);
  CheckEnum("TraData", {0, 1, 2, 3, 4, 5, 6}, TraData::kNone, &TraData::GetString,
            &TraData::GetETraType, nullptr, nullptr, /*any_case=*/false);
}

TEST(EnumTables, FixedTextsAndFormatsAreTheOnesStoredFormsUse) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {CEPrec::GetString(CEPrec::kDecimals0), "0"},
      {std::string(CEPrec::GetFormat(CEPrec::kNotSet)), "%g"},
      {std::string(CEPrec::GetFormat(CEPrec::kDecimals3)), "%.3f"},
      {std::string(CEPrec::GetFormat(static_cast<CEPrec::EPrec>(6))), ""},
      {DumpJson(ScaTypes::ToJson(ScaTypes::kUnitVariance)), "\"unitVariance\""},
      {DumpJson(CFitMethod::ToJson(CFitMethod::kPLS)), "\"pls\""},
      {ScaTypes::GetStringEx(ScaTypes::kOrthogonal), "Orthogonal (coded -1 to +1)"},
      {Desirability::ToString(Desirability::kMaximize), "maximize"},
      {TraData::GetString(TraData::kNegLog), "NegLog"},
      {CConfLev::GetString(CConfLev::kLevel95), "0.95"},
      {DumpJson(CConfLev::ToJson(CConfLev::kLevel95)), "0.95"},
      {DumpJson(CAlphaLev::ToJson(CAlphaLev::kAlpha05)), "0.05"},
      {DumpJson(CConfLev::ToJson(CConfLev::kNotSet)), "null"},
  };
  for (const auto& [actual, expected] : rows) EXPECT_EQ(actual, expected);
  // A JSON number within 1e-9 of a level reads as that level; any other value does not.
  const std::vector<std::pair<const char*, const char*>> levels = {
      {"0.9000000000", "0.90"},
      {"0.9900000000001", "0.99"},
      {"0.951", ""},
      {"95", ""},
      {"\"0.95\"", ""},
      {"[0.95]", ""},
      {"0.05", ""},
  };
  for (const auto& [json, text] : levels) {
    EXPECT_EQ(CConfLev::GetString(CConfLev::ToEnum(ParseJson(json))), text) << json;
  }
  EXPECT_EQ(ScaTypes::GetScaType("garbage", ScaTypes::kPlsDefault), ScaTypes::kUnitVariance);
  EXPECT_DOUBLE_EQ(CConfLev::GetLevel(CConfLev::kLevel95), 0.95);
  EXPECT_DOUBLE_EQ(CConfLev::GetLevel(CConfLev::kNotSet), kUndefined);
}

enum Fruit : int { kNoFruit, kApple, kPLSFruit, kR2Fruit, kMLR, kPh };

TEST(EnumTable, LowerCamelLowersTheLeadingWordOrAcronym) {
  static constexpr EnumEntry<Fruit> kEntries[] = {
      {kNoFruit, ""},      {kApple, "AppleTree"}, {kPLSFruit, "PLSScaling"},
      {kR2Fruit, "R2Adj"}, {kMLR, "MLR"},         {kPh, "pH"}};
  static constexpr auto kTable = MakeEnumTable(kEntries);
  const std::vector<std::string> lower_camel = {"",      "appleTree", "plsScaling",
                                                "r2Adj", "mlr",       "pH"};
  for (int code = kNoFruit; code <= kPh; ++code) {
    EXPECT_EQ(kTable.LowerCamelOf(static_cast<Fruit>(code)), lower_camel[code]);
    EXPECT_EQ(kTable.CodeOf(lower_camel[code], kMLR), code) << lower_camel[code];
  }
  EXPECT_EQ(kTable.LowerCamelOf(static_cast<Fruit>(9)), "");
}

TEST(EnumTable, OneToOneCheckCatchesRepeatsAndLookupsRejectNonFiniteAndNonAscii) {
  static_assert(MakeEnumTable<Fruit>({{kNoFruit, "a"}, {kApple, "b"}}).IsOneToOne());
  static_assert(!MakeEnumTable<Fruit>({{kApple, "a"}, {kApple, "b"}}).IsOneToOne());
  static_assert(!MakeEnumTable<Fruit>({{kNoFruit, "Apple"}, {kApple, "APPLE"}}).IsOneToOne());
  static_assert(
      !MakeEnumTable<Fruit, double>({{kNoFruit, 0.5}, {kApple, 0.5 + 1e-12}}).IsOneToOne());
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
