// Which interval is drawn around a prediction.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// Which interval is drawn around a prediction. Code 0 means not set.
class CIntervalType {
 public:
  enum IntervalType : int {
    kNotSet = 0,
    kConfidence = 1,  // the confidence interval of the mean response
    kPrediction = 2,  // the prediction interval for an individual new value
  };

  // Returns the stored text of `type` ("ConfidenceInterval", "PredictionInterval"); "" for
  // kNotSet or an unknown code.
  static std::string GetString(IntervalType type) { return std::string(kTexts.ValueOf(type, "")); }
  // Returns the type whose text equals `text` in any ASCII case; kNotSet otherwise.
  static IntervalType GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the JSON string form ("confidenceInterval", "predictionInterval").
  static json_value ToJson(IntervalType type) { return EnumTextToJson(kTexts, type); }
  // Reads the JSON string form; kNotSet for a non-string or an unknown text.
  static IntervalType ToEnum(const json_value& value) {
    return EnumTextFromJson(kTexts, value, kNotSet);
  }

  static constexpr auto kTexts = MakeEnumTable<IntervalType>({
      {kNotSet, ""},
      {kConfidence, "ConfidenceInterval"},
      {kPrediction, "PredictionInterval"},
  });
};
static_assert(CIntervalType::kTexts.IsOneToOne());

}  // namespace zubra
