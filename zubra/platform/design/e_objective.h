// The objectives of an investigation, the model types and the design types of the design
// engine, with their text forms.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// What an investigation sets out to do. The codes are stored in files and tested by value.
//
//   - kScreening: find the factors that matter (linear or interaction models);
//   - kRSM: map a response surface (quadratic process models, quadratic and cubic mixture
//     models);
//   - kProcessMixture: process and mixture factors designed together, one design crossed
//     with the other;
//   - kRobustness: robustness testing, small designs around a set point that check that no
//     factor matters within its range (linear mixture models, like screening);
//   - kOptimization: find the best settings, any process model and the quadratic and cubic
//     mixture models (like RSM for mixtures).
class EObjective {
 public:
  enum Type : int {
    kNone = 0,
    kScreening = 1,
    kRSM = 2,
    kProcessMixture = 3,
    kRobustness = 4,
    kOptimization = 5,
  };

  // Returns the text of `type` ("Screening", ...); "" for a code outside 0..5.
  static std::string GetString(Type type) { return std::string(kTexts.ValueOf(type, "")); }

  // Returns the objective whose text equals `text` in any ASCII case; kNone for any other.
  static Type GetType(std::string_view text) { return kTexts.CodeOf(text, kNone); }

  static constexpr auto kTexts = MakeEnumTable<Type>({
      {kNone, "None"},
      {kScreening, "Screening"},
      {kRSM, "RSM"},
      {kProcessMixture, "ProcessMixture"},
      {kRobustness, "Robustness"},
      {kOptimization, "Optimization"},
  });
};
static_assert(EObjective::kTexts.IsOneToOne());

}  // namespace zubra
