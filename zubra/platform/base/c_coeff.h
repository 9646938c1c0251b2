// In which units the analysis reports model coefficients.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// In which units the analysis reports model coefficients. Code 0 means not set.
class CCoeff {
 public:
  enum Coeff : int {
    kNotSet = 0,
    kScaledAndCentered = 1,  // for the scaled and centred factors (the coded model)
    kUnscaled = 2,           // for the factors in their own units
    kNormalized = 3,         // scaled coefficients divided by the response's standard deviation
  };

  // Returns the stored text of `coeff` ("ScaledAndCentered", ...); "" for kNotSet or an
  // unknown code.
  static std::string GetString(Coeff coeff) { return std::string(kTexts.ValueOf(coeff, "")); }
  // Returns the choice whose text equals `text` in any ASCII case; kNotSet otherwise.
  static Coeff GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the JSON string form ("scaledAndCentered", ...).
  static json_value ToJson(Coeff coeff) { return EnumTextToJson(kTexts, coeff); }
  // Reads the JSON string form; kNotSet for a non-string or an unknown text.
  static Coeff ToEnum(const json_value& value) { return EnumTextFromJson(kTexts, value, kNotSet); }

  static constexpr auto kTexts = MakeEnumTable<Coeff>({
      {kNotSet, ""},
      {kScaledAndCentered, "ScaledAndCentered"},
      {kUnscaled, "Unscaled"},
      {kNormalized, "Normalized"},
  });
};
static_assert(CCoeff::kTexts.IsOneToOne());

}  // namespace zubra
