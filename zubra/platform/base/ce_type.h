// The kinds of factor and their texts.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// The kind of a factor. The codes are fixed: they are stored in files and tested by value
// throughout the library. Formulation and filler factors are the mixture factors.
class CEType {
 public:
  enum EType : int {
    kNone = 0,          // no kind; illegal in a stored factor
    kQuantitative = 1,  // continuous, a low/high range
    kMultilevel = 2,    // quantitative with a list of numeric settings
    kQualitative = 3,   // a list of named settings
    kFormulation = 4,   // mixture component with a low/high range
    kFiller = 5,        // mixture component that makes the mixture up to its total
    kTime = 6,          // quantitative with a list of time points
  };

  // Returns the text of `type` ("Quantitative", ...); "" for a code outside 0..6. The JSON
  // form of a factor's kind is this text with its first letter lowered.
  static std::string GetString(EType type) { return std::string(kTexts.ValueOf(type, "")); }

  // Returns the kind whose text equals `text` in any ASCII case ("quantitative" and
  // "QUANTITATIVE" both give kQuantitative); kNone for any other text.
  static EType GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNone); }

  static constexpr auto kTexts = MakeEnumTable<EType>({
      {kNone, "None"},
      {kQuantitative, "Quantitative"},
      {kMultilevel, "Multilevel"},
      {kQualitative, "Qualitative"},
      {kFormulation, "Formulation"},
      {kFiller, "Filler"},
      {kTime, "Time"},
  });
};
static_assert(CEType::kTexts.IsOneToOne());

}  // namespace zubra
