// The scalings applied to a variable before fitting, with their texts and JSON form.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// How a variable's values are scaled before a model is fitted. The codes are stored in files.
//
//   kNone         values used as they are
//   kUnitVariance centred and divided by the standard deviation; the usual PLS scaling
//   kCentered     centred only
//   kPareto       centred and divided by the square root of the standard deviation
//   kRange        centred and divided by the range
//   kOrthogonal   coded orthogonally, low -> -1, high -> +1; the usual MLR scaling, and the
//                 scaling forced on factors that cannot be scaled (qualitative, mixture, time
//                 or constant factors)
//   kAutomatic    a working marker: the variable follows the default of the fitting method
//                 (kOrthogonal for MLR, kUnitVariance for PLS). JSON forms never carry it.
class ScaTypes {
 public:
  enum EScaType : int {
    kNone = 0,
    kUnitVariance = 1,
    kCentered = 2,
    kPareto = 3,
    kRange = 4,
    kOrthogonal = 5,
    kAutomatic = 6,
  };

  // The default scaling of a variable for PLS fits.
  static constexpr EScaType kPlsDefault = kUnitVariance;
  // The default scaling for MLR fits, and the one forced on factors that cannot be scaled.
  static constexpr EScaType kMlrDefault = kOrthogonal;

  // Returns the stored text of `type` ("UnitVariance", ...); "" for a code outside 0..6.
  static std::string GetString(EScaType type) { return std::string(kTexts.ValueOf(type, "")); }

  // Returns the display text of `type` for text dumps, e.g. "Orthogonal (coded -1 to +1)";
  // "" for a code outside 0..6.
  static std::string GetStringEx(EScaType type) {
    return std::string(kDisplayTexts.ValueOf(type, ""));
  }

  // Returns the scaling whose stored text equals `text` in any ASCII case (so the JSON form
  // reads back too); `fallback` for any other text. Readers of PLS scaling pass kPlsDefault.
  static EScaType GetScaType(std::string_view text, EScaType fallback = kMlrDefault) {
    return kTexts.CodeOf(text, fallback);
  }

  // Returns the JSON form of `type`: its stored text in lower camel case ("unitVariance").
  static json_value ToJson(EScaType type) { return EnumTextToJson(kTexts, type); }

  static constexpr auto kTexts = MakeEnumTable<EScaType>({
      {kNone, "None"},
      {kUnitVariance, "UnitVariance"},
      {kCentered, "Centered"},
      {kPareto, "Pareto"},
      {kRange, "Range"},
      {kOrthogonal, "Orthogonal"},
      {kAutomatic, "Automatic"},
  });

  static constexpr auto kDisplayTexts = MakeEnumTable<EScaType>({
      {kNone, "None (values used as they are)"},
      {kUnitVariance, "Unit variance (centred, divided by the standard deviation)"},
      {kCentered, "Centred (mean subtracted, not scaled)"},
      {kPareto, "Pareto (centred, divided by the square root of the standard deviation)"},
      {kRange, "Range (centred, divided by the range)"},
      {kOrthogonal, "Orthogonal (coded -1 to +1)"},
      {kAutomatic, "Automatic (the default of the fitting method)"},
  });
};
static_assert(ScaTypes::kTexts.IsOneToOne());
static_assert(ScaTypes::kDisplayTexts.IsOneToOne());

}  // namespace zubra
