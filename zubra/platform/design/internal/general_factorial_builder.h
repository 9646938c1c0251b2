// The general full factorial: every combination of the factors' levels or settings.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"

namespace zubra::internal {

// All combinations of the levels of the process factors, the first factor changing fastest.
// Levels: a qualitative factor's settings; a multilevel or time factor's levels; a continuous
// factor's `num_levels` equally spaced levels over its range, or when that is 0, two levels
// for the linear and interaction models and three for the quadratic model. Serves every
// objective but the process-mixture one, models up to quadratic (the quadratic model needs
// at least three levels of every factor that is not qualitative). Centre points only when
// every factor is continuous. It is the fallback of the best-design choice, so it has no
// economy limit there.
class GeneralFactorialBuilder final : public DesignBuilder {
 public:
  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kGeneralFullFactorial; }
  [[nodiscard]] std::string GetName() const override { return "General Full Factorial"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 80; }
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;
  [[nodiscard]] bool IsAdmissible(const Factors& factors, const DesignOptions& options,
                                  bool score_imported, bool redmup) const override;

 protected:
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

 private:
  // The coded levels of each factor for the options' model.
  static std::vector<std::vector<float>> Levels(const Factors& factors,
                                                const DesignOptions& options);
};

}  // namespace zubra::internal
