// Which label marks the points of a plot.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// Which label marks the points (experiments) of a plot. Code 0 means not set.
class LabelTypes {
 public:
  enum PlotLabelType : int {
    kNotSet = 0,
    kExperimentNumber = 1,
    kExperimentName = 2,
    kRunOrder = 3,
    kNoLabel = 4,  // points are not labelled
  };

  // Returns the stored text of `type` ("ExperimentNumber", ..., "None" for kNoLabel); "" for
  // kNotSet or an unknown code.
  static std::string GetString(PlotLabelType type) { return std::string(kTexts.ValueOf(type, "")); }
  // Returns the label type whose text equals `text` in any ASCII case; kNotSet otherwise.
  static PlotLabelType GetEnum(std::string_view text) { return kTexts.CodeOf(text, kNotSet); }
  // Returns the JSON string form ("experimentNumber", ...).
  static json_value ToJson(PlotLabelType type) { return EnumTextToJson(kTexts, type); }
  // Reads the JSON string form; kNotSet for a non-string or an unknown text.
  static PlotLabelType ToEnum(const json_value& value) {
    return EnumTextFromJson(kTexts, value, kNotSet);
  }

  static constexpr auto kTexts = MakeEnumTable<PlotLabelType>({
      {kNotSet, ""},
      {kExperimentNumber, "ExperimentNumber"},
      {kExperimentName, "ExperimentName"},
      {kRunOrder, "RunOrder"},
      {kNoLabel, "None"},
  });
};
static_assert(LabelTypes::kTexts.IsOneToOne());

}  // namespace zubra
