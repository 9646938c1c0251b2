// The confidence levels (also used as tolerance proportions) the analysis offers.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"
#include "zubra/platform/base/undefined.h"

namespace zubra {

// A confidence level for intervals, also used as the proportion of the population a tolerance
// interval covers. Code 0 means not set. The stored text is the level written as a decimal
// fraction; the JSON form is the level as a number.
class CConfLev {
 public:
  enum ConfLev : int {
    kNotSet = 0,
    kLevel90 = 1,  // 0.90
    kLevel95 = 2,  // 0.95
    kLevel99 = 3,  // 0.99
  };

  // Returns the stored text of `level` ("0.90", "0.95", "0.99"); "" for kNotSet or an unknown
  // code.
  static std::string GetString(ConfLev level) { return std::string(kTexts.ValueOf(level, "")); }
  // Returns the level whose stored text equals `text`; kNotSet otherwise.
  static ConfLev GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the level as a fraction (0.95 for kLevel95); kUndefined for kNotSet or an unknown
  // code.
  static double GetLevel(ConfLev level) { return kLevels.ValueOf(level, kUndefined); }
  // Returns the JSON number form (0.95 for kLevel95); null for kNotSet or an unknown code.
  static json_value ToJson(ConfLev level) { return EnumNumberToJson(kLevels, level); }
  // Reads the JSON number form: a number within 1e-9 of a level gives that level; any other
  // number, or a value that is not a number, gives kNotSet.
  static ConfLev ToEnum(const json_value& value) {
    return EnumNumberFromJson(kLevels, value, kNotSet);
  }

  static constexpr auto kTexts = MakeEnumTable<ConfLev>({
      {kNotSet, ""},
      {kLevel90, "0.90"},
      {kLevel95, "0.95"},
      {kLevel99, "0.99"},
  });

  static constexpr auto kLevels = MakeEnumTable<ConfLev, double>({
      {kLevel90, 0.90},
      {kLevel95, 0.95},
      {kLevel99, 0.99},
  });
};
static_assert(CConfLev::kTexts.IsOneToOne());
static_assert(CConfLev::kLevels.IsOneToOne());

}  // namespace zubra
