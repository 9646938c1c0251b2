// The uses of a factor and their texts.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// How a factor takes its values in the experiments. The codes are fixed and stored in files.
class CEUse {
 public:
  enum EUse : int {
    kNotSet = 0,
    kControlled = 1,    // set by the experimenter to the values of the design
    kUncontrolled = 2,  // observed, not set; its range comes from the data
    kConstant = 3,      // held at one value
  };

  // Returns the text of `use` ("Controlled", ...); "" for a code outside 0..3.
  static std::string GetString(EUse use) { return std::string(kTexts.ValueOf(use, "")); }

  // Returns the use whose text equals `text` in any ASCII case; kNotSet for any other text.
  static EUse GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }

  static constexpr auto kTexts = MakeEnumTable<EUse>({
      {kNotSet, "NotSet"},
      {kControlled, "Controlled"},
      {kUncontrolled, "Uncontrolled"},
      {kConstant, "Constant"},
  });
};
static_assert(CEUse::kTexts.IsOneToOne());

}  // namespace zubra
