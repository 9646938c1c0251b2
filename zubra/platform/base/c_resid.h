// Which kind of residual the analysis shows.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// Which kind of residual the analysis shows. Code 0 means not set.
class CResid {
 public:
  enum Resid : int {
    kNotSet = 0,
    kRaw = 1,                 // observed minus fitted, in the response's units
    kStandardized = 2,        // raw residuals divided by the residual standard deviation
    kDeletedStudentized = 3,  // each residual studentized by a fit without its own run
  };

  // Returns the stored text of `resid` ("Raw", ...); "" for kNotSet or an unknown code.
  static std::string GetString(Resid resid) { return std::string(kTexts.ValueOf(resid, "")); }
  // Returns the kind whose text equals `text` in any ASCII case; kNotSet otherwise.
  static Resid GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the JSON string form ("raw", "standardized", "deletedStudentized").
  static json_value ToJson(Resid resid) { return EnumTextToJson(kTexts, resid); }
  // Reads the JSON string form; kNotSet for a non-string or an unknown text.
  static Resid ToEnum(const json_value& value) { return EnumTextFromJson(kTexts, value, kNotSet); }

  static constexpr auto kTexts = MakeEnumTable<Resid>({
      {kNotSet, ""},
      {kRaw, "Raw"},
      {kStandardized, "Standardized"},
      {kDeletedStudentized, "DeletedStudentized"},
  });
};
static_assert(CResid::kTexts.IsOneToOne());

}  // namespace zubra
