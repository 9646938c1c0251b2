// The model types the design engine builds designs for, with their text forms.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// The order of the model a design must support. The codes are stored in files.
//
// For process factors: kLinear (constant and main effects), kInteraction (plus every
// two-factor interaction), kQuadratic (plus every square). For mixture factors the models
// have no constant (the components sum to the mixture total): kLinear (the components),
// kQuadratic (plus every product of two components), kSpecialCubic (plus every product of
// three distinct components) and kCubic (the full cubic: plus one more cubic term per pair).
// kSpecialCubic and kCubic are offered for mixture factors only.
class EModel {
 public:
  enum Type : int {
    kNone = 0,
    kLinear = 1,
    kInteraction = 2,
    kQuadratic = 3,
    kSpecialCubic = 4,
    kCubic = 5,
  };

  // Returns the text of `type` ("Linear", ...); "" for a code outside 0..5.
  static std::string GetString(Type type) { return std::string(kTexts.ValueOf(type, "")); }

  // Returns the model whose text equals `text` in any ASCII case; kNone for any other.
  static Type GetType(std::string_view text) { return kTexts.CodeOf(text, kNone); }

  static constexpr auto kTexts = MakeEnumTable<Type>({
      {kNone, "None"},
      {kLinear, "Linear"},
      {kInteraction, "Interaction"},
      {kQuadratic, "Quadratic"},
      {kSpecialCubic, "SpecialCubic"},
      {kCubic, "Cubic"},
  });
};
static_assert(EModel::kTexts.IsOneToOne());

}  // namespace zubra
