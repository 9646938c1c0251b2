// How coefficient lists show the terms of qualitative factors.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// How coefficient lists show the terms of qualitative factors. Code 0 means not set.
class CCoeffList {
 public:
  enum CoeffList : int {
    kNotSet = 0,
    kCompact = 1,   // one row per model column
    kExpanded = 2,  // qualitative terms listed at every level, the reference level included
  };

  // Returns the stored text of `list` ("Compact", "Expanded"); "" for kNotSet or an unknown
  // code.
  static std::string GetString(CoeffList list) { return std::string(kTexts.ValueOf(list, "")); }
  // Returns the choice whose text equals `text` in any ASCII case; kNotSet otherwise.
  static CoeffList GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the JSON string form ("compact", "expanded").
  static json_value ToJson(CoeffList list) { return EnumTextToJson(kTexts, list); }
  // Reads the JSON string form; kNotSet for a non-string or an unknown text.
  static CoeffList ToEnum(const json_value& value) {
    return EnumTextFromJson(kTexts, value, kNotSet);
  }

  static constexpr auto kTexts = MakeEnumTable<CoeffList>({
      {kNotSet, ""},
      {kCompact, "Compact"},
      {kExpanded, "Expanded"},
  });
};
static_assert(CCoeffList::kTexts.IsOneToOne());

}  // namespace zubra
