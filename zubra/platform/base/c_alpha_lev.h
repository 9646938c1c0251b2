// The significance (alpha) levels the analysis offers.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"
#include "zubra/platform/base/undefined.h"

namespace zubra {

// The significance level (alpha, the accepted risk of a false positive) of the analysis'
// tests. Code 0 means not set. The stored text is the level written as a decimal fraction;
// the JSON form is the level as a number.
class CAlphaLev {
 public:
  enum AlphaLev : int {
    kNotSet = 0,
    kAlpha10 = 1,  // 0.10
    kAlpha05 = 2,  // 0.05
    kAlpha01 = 3,  // 0.01
  };

  // Returns the stored text of `level` ("0.10", "0.05", "0.01"); "" for kNotSet or an
  // unknown code.
  static std::string GetString(AlphaLev level) { return std::string(kTexts.ValueOf(level, "")); }
  // Returns the level whose stored text equals `text`; kNotSet otherwise.
  static AlphaLev GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the level as a fraction (0.05 for kAlpha05); kUndefined for kNotSet or an unknown
  // code.
  static double GetLevel(AlphaLev level) { return kLevels.ValueOf(level, kUndefined); }
  // Returns the JSON number form (0.05 for kAlpha05); null for kNotSet or an unknown code.
  static json_value ToJson(AlphaLev level) { return EnumNumberToJson(kLevels, level); }
  // Reads the JSON number form: a number within 1e-9 of a level gives that level; any other
  // number, or a value that is not a number, gives kNotSet.
  static AlphaLev ToEnum(const json_value& value) {
    return EnumNumberFromJson(kLevels, value, kNotSet);
  }

  static constexpr auto kTexts = MakeEnumTable<AlphaLev>({
      {kNotSet, ""},
      {kAlpha10, "0.10"},
      {kAlpha05, "0.05"},
      {kAlpha01, "0.01"},
  });

  static constexpr auto kLevels = MakeEnumTable<AlphaLev, double>({
      {kAlpha10, 0.10},
      {kAlpha05, 0.05},
      {kAlpha01, 0.01},
  });
};
static_assert(CAlphaLev::kTexts.IsOneToOne());
static_assert(CAlphaLev::kLevels.IsOneToOne());

}  // namespace zubra
