// The precision codes (number of decimals shown) with their texts and printf formats.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// The number of decimals with which a variable's values are shown. Code 0 means not set
// (values are shown with "%g"); codes 1..5 mean 0..4 decimals. The codes are stored in files.
class CEPrec {
 public:
  enum EPrec : int {
    kNotSet = 0,
    kDecimals0 = 1,
    kDecimals1 = 2,
    kDecimals2 = 3,
    kDecimals3 = 4,
    kDecimals4 = 5,
  };

  // Returns the number of decimals of `precision` spelled as an integer, "0".."4". kNotSet
  // and codes outside 0..5 give "".
  static std::string GetString(EPrec precision) {
    return std::string(kTexts.ValueOf(precision, ""));
  }

  // Returns the code for a decimal count spelled "0".."4" ("2" gives kDecimals2, code 3);
  // kNotSet for any other text, "" and "02" included.
  static EPrec GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }

  // Returns the printf format of `precision`: "%g" for kNotSet, "%.0f".."%.4f" for 1..5, and
  // "" for any other code (which formats to an empty text). The view refers to a
  // null-terminated literal.
  static std::string_view GetFormat(EPrec precision) { return kFormats.ValueOf(precision, ""); }

  static constexpr auto kTexts = MakeEnumTable<EPrec>({
      {kNotSet, ""},
      {kDecimals0, "0"},
      {kDecimals1, "1"},
      {kDecimals2, "2"},
      {kDecimals3, "3"},
      {kDecimals4, "4"},
  });

  static constexpr auto kFormats = MakeEnumTable<EPrec>({
      {kNotSet, "%g"},
      {kDecimals0, "%.0f"},
      {kDecimals1, "%.1f"},
      {kDecimals2, "%.2f"},
      {kDecimals3, "%.3f"},
      {kDecimals4, "%.4f"},
  });
};
static_assert(CEPrec::kTexts.IsOneToOne());
static_assert(CEPrec::kFormats.IsOneToOne());

}  // namespace zubra
