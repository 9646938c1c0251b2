// How the analysis formats numbers in its lists.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// How the analysis formats numbers in its lists. Code 0 means not set.
class CNumberFormat {
 public:
  enum NumberFormat : int {
    kNotSet = 0,
    kGeneral = 1,     // the shortest of fixed and exponent notation ("%g")
    kFixed = 2,       // a fixed number of decimals
    kScientific = 3,  // exponent notation
  };

  // Returns the stored text of `format` ("General", ...); "" for kNotSet or an unknown code.
  static std::string GetString(NumberFormat format) {
    return std::string(kTexts.ValueOf(format, ""));
  }
  // Returns the format whose text equals `text` in any ASCII case; kNotSet otherwise.
  static NumberFormat GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the JSON string form ("general", "fixed", "scientific").
  static json_value ToJson(NumberFormat format) { return EnumTextToJson(kTexts, format); }
  // Reads the JSON string form; kNotSet for a non-string or an unknown text.
  static NumberFormat ToEnum(const json_value& value) {
    return EnumTextFromJson(kTexts, value, kNotSet);
  }

  static constexpr auto kTexts = MakeEnumTable<NumberFormat>({
      {kNotSet, ""},
      {kGeneral, "General"},
      {kFixed, "Fixed"},
      {kScientific, "Scientific"},
  });
};
static_assert(CNumberFormat::kTexts.IsOneToOne());

}  // namespace zubra
