// The stability designs: storage conditions, or a two-level factorial in the process factors,
// crossed with the time points of a shelf-life study.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"

namespace zubra::internal {

// Common rules of the stability designs. A stability study measures how a product keeps over
// time, so the factors are:
//   - exactly one time factor (CEType::kTime) given by its time points (`levels`); its uncoded
//     values are the time points themselves and its coded values map them linearly onto
//     -1..+1 over the first and last point;
//   - any number of other process factors (no mixture factors): what the product is and how it
//     is stored (see the two families below for how each is varied).
// Every combination of the other factors is tested at every time point, with one exception:
// when the first time point is 0, there are at least three time points and at least two
// storage conditions, the samples at time 0 are the same initial material for every storage
// condition, so time 0 is tested once per material (with the first storage condition's
// values in the condition columns) instead of once per condition. With only two time points
// the start is not shared, since a condition would then keep a single time point and its
// slope could not be estimated.
//
// Runs come in time order: all runs of the first time point, then of the second, and so on;
// within a time point the storage conditions (the first condition factor changing fastest),
// and within a condition the materials. One run count is offered (the size of the crossing),
// one block, no centre points. The designs serve every objective but the process-mixture
// one.
//
// Model (Model below), over the factors in design order:
//   - linear: the constant, every main effect and every product of another factor with time
//     (each condition and material keeps its own degradation rate, as a shelf-life
//     regression needs);
//   - interaction: also every two-factor interaction of the factors other than time;
//   - quadratic: also the square of time (curved degradation); it needs three time points.
// Other models are refused. The best-design choice picks these designs only on request, so
// they have no economy limit (IsAdmissible is IsValid).
class StabilityBuilderBase : public DesignBuilder {
 public:
  // The largest number of runs the crossing may reach before it is refused as too large.
  static constexpr long long kMaxCrossing = 1'000'000;

  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;
  [[nodiscard]] bool IsAdmissible(const Factors& factors, const DesignOptions& options,
                                  bool score_imported, bool redmup) const override;

  // The model the design is built for and judged by (see the class comment), over the varied
  // factors of `factors` (the factors that are not varied take no terms); `model` is linear,
  // interaction or quadratic. Term indexes are positions in `factors`. Without a varied time
  // factor it is the constant and the main effects.
  static DesignModel Model(const Factors& factors, EModel::Type model);

 protected:
  explicit StabilityBuilderBase(bool factorial) : factorial_(factorial) {}

  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

  // True for a factor that the factorial family puts into its two-level factorial.
  [[nodiscard]] bool IsMaterialFactor(const Factors::Factor& factor) const;

 private:
  struct Plan;
  // Lays out the crossing for `factors` and `model`; false (with the reason) when the
  // factorial family has no table design for its process factors.
  bool MakePlan(const Factors& factors, EModel::Type model, Plan* plan, std::string* message) const;

  bool factorial_;
};

// Type 30: the storage conditions crossed completely with the time points. Every factor
// other than time is a storage condition: a qualitative factor at its settings, a multilevel
// factor at its levels, a quantitative factor at its low and high limits. With no storage
// condition the design is the time points alone.
//
//   Factors factors;  // "Condition" (qualitative, 3 settings), "Time" (time, 0 1 3 6 12)
//   StabilityBuilder builder;
//   DesignOptions options = builder.MakeOptions(factors, DesignOptions());
//   std::unique_ptr<NCDesign> design = builder.Generate(factors, options);  // 3 x 4 + 1 runs
class StabilityBuilder final : public StabilityBuilderBase {
 public:
  StabilityBuilder() : StabilityBuilderBase(false) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kStability; }
  [[nodiscard]] std::string GetName() const override { return "Stability"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 111; }
};

// Type 31: a two-level factorial in the process (material) factors, crossed with the time
// points and with the storage conditions when there are any. A factor a two-level design can
// vary (continuous, or with exactly two levels or settings) is a material factor: a
// formulation, batch or packaging variable made once per material; a factor of three or more
// levels or settings is a storage condition, crossed completely. The material factors (1 to
// 15) take the full factorial for one or two factors, otherwise the smallest minimum-
// aberration fraction of the generator table whose main effects are clear of two-factor
// interactions (resolution IV; resolution V for the interaction model, so that the
// interactions of the materials are clear too). The shared start of the class comment holds
// per material: time 0 is tested once for each factorial run.
class StabilityFactorialBuilder final : public StabilityBuilderBase {
 public:
  static constexpr int kMaxMaterialFactors = 15;

  StabilityFactorialBuilder() : StabilityBuilderBase(true) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kStabilityFactorial; }
  [[nodiscard]] std::string GetName() const override { return "StabilityFactorial"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 112; }
};

}  // namespace zubra::internal
