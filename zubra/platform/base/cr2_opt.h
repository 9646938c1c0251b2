// Which R-squared statistic the analysis reports.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// Which R-squared statistic the analysis reports for a fitted model. Code 0 means not set.
class CR2Opt {
 public:
  enum R2Opt : int {
    kNotSet = 0,
    kR2 = 1,          // the ordinary coefficient of determination
    kR2Adjusted = 2,  // R-squared adjusted for the number of model terms
  };

  // Returns the stored text of `option` ("R2", "R2Adjusted"); "" for kNotSet or an unknown
  // code.
  static std::string GetString(R2Opt option) { return std::string(kTexts.ValueOf(option, "")); }
  // Returns the option whose text equals `text` in any ASCII case; kNotSet otherwise.
  static R2Opt GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the JSON string form ("r2", "r2Adjusted").
  static json_value ToJson(R2Opt option) { return EnumTextToJson(kTexts, option); }
  // Reads the JSON string form; kNotSet for a non-string or an unknown text.
  static R2Opt ToEnum(const json_value& value) { return EnumTextFromJson(kTexts, value, kNotSet); }

  static constexpr auto kTexts = MakeEnumTable<R2Opt>({
      {kNotSet, ""},
      {kR2, "R2"},
      {kR2Adjusted, "R2Adjusted"},
  });
};
static_assert(CR2Opt::kTexts.IsOneToOne());

}  // namespace zubra
