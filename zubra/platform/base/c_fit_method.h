// The regression methods that fit models to responses.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// The regression method that fits models. Code 0 means not set. MLR and PCR fit each
// response on its own; PLS fits several responses together, so a run missing one of them is
// judged over the whole block of responses.
class CFitMethod {
 public:
  enum FitMethod : int {
    kNotSet = 0,
    kMLR = 1,  // multiple linear regression (least squares)
    kPCR = 2,  // principal component regression
    kPLS = 3,  // partial least squares, several responses in one model
  };

  // Returns the stored text of `method` ("MLR", "PCR", "PLS"); "" for kNotSet or an unknown
  // code.
  static std::string GetString(FitMethod method) { return std::string(kTexts.ValueOf(method, "")); }
  // Returns the method whose text equals `text` in any ASCII case; kNotSet otherwise.
  static FitMethod GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the JSON string form ("mlr", "pcr", "pls").
  static json_value ToJson(FitMethod method) { return EnumTextToJson(kTexts, method); }
  // Reads the JSON string form; kNotSet for a non-string or an unknown text.
  static FitMethod ToEnum(const json_value& value) {
    return EnumTextFromJson(kTexts, value, kNotSet);
  }

  static constexpr auto kTexts = MakeEnumTable<FitMethod>({
      {kNotSet, ""},
      {kMLR, "MLR"},
      {kPCR, "PCR"},
      {kPLS, "PLS"},
  });
};
static_assert(CFitMethod::kTexts.IsOneToOne());

}  // namespace zubra
