// Evaluation of a 10-factor, 80-run design for the quadratic model: the power of its 65 term
// tests, its alias matrix and correlation map, and its prediction variance at 10 000 points.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "zubra/evaluation/alias_matrix.h"
#include "zubra/evaluation/evaluated_design.h"
#include "zubra/evaluation/power_analysis.h"
#include "zubra/evaluation/prediction_variance.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/nc_design.h"

namespace zubra {
namespace {

constexpr int kFactors = 10;
constexpr int kRuns = 80;

// The D-optimal design of kRuns runs for the quadratic model in kFactors factors, made once.
const EvaluatedDesign& Design() {
  static const EvaluatedDesign kDesign = [] {
    Factors factors;
    for (int i = 1; i <= kFactors; ++i) {
      std::string name = "X";
      name += std::to_string(i);
      factors.Add(Factors::Factor::Quantitative(name, 0.0, 1.0), nullptr);
    }
    const DesignModel model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
    const DesignBuilder& builder = *AllDesigns::GetDesignBuilder(EDesign::kDOptimal, "");
    DesignOptions base;
    base.SetObjective(EObjective::kRSM);
    base.SetProcessModel(EModel::kQuadratic);
    base.SetCenterPoints(0);
    DesignOptions options = builder.MakeOptions(factors, base);
    options.SetRuns(kRuns);
    options.SetCenterPoints(0);
    const std::unique_ptr<NCDesign> made = builder.Generate(factors, options);
    return EvaluatedDesign::FromDesign(*made, factors, model);
  }();
  return kDesign;
}

// Every three-factor interaction: the potential terms of a quadratic model, whose own
// two-factor interactions are all in the model.
const DesignModel& ThreeFactorInteractions() {
  static const DesignModel kTerms = [] {
    std::vector<DesignModel::Term> list;
    for (int a = 0; a < kFactors; ++a) {
      for (int b = a + 1; b < kFactors; ++b) {
        for (int c = b + 1; c < kFactors; ++c) list.push_back({a, b, c});
      }
    }
    return DesignModel(std::move(list));
  }();
  return kTerms;
}

PowerSettings Settings() {
  PowerSettings settings;
  settings.noise = 1.0;
  settings.signal = 2.0;
  return settings;
}

void BM_Power(benchmark::State& state) {
  const EvaluatedDesign& design = Design();
  for (auto _ : state) {
    const PowerAnalysis::Results power = PowerAnalysis::Compute(design, Settings());
    benchmark::DoNotOptimize(power.terms.data());
  }
}
BENCHMARK(BM_Power)->Unit(benchmark::kMillisecond);

void BM_AliasMatrixAndCorrelations(benchmark::State& state) {
  const EvaluatedDesign& design = Design();
  for (auto _ : state) {
    const AliasMatrix::Results aliases = AliasMatrix::Compute(design, &ThreeFactorInteractions());
    const AliasMatrix::Correlations map =
        AliasMatrix::CorrelationMap(design, &ThreeFactorInteractions());
    benchmark::DoNotOptimize(aliases.matrix.data());
    benchmark::DoNotOptimize(map.matrix.data());
  }
}
BENCHMARK(BM_AliasMatrixAndCorrelations)->Unit(benchmark::kMillisecond);

void BM_PredictionVariance(benchmark::State& state) {
  const EvaluatedDesign& design = Design();
  const PredictionVariance::Options options{static_cast<int>(state.range(0)), 1};
  for (auto _ : state) {
    const PredictionVariance::Results pv = PredictionVariance::Compute(design, options);
    benchmark::DoNotOptimize(pv.sorted.data());
  }
}
BENCHMARK(BM_PredictionVariance)->Arg(10000)->Unit(benchmark::kMillisecond);

// The whole evaluation: power, alias matrix, correlation map, prediction variance.
void BM_WholeEvaluation(benchmark::State& state) {
  const EvaluatedDesign& design = Design();
  for (auto _ : state) {
    const PowerAnalysis::Results power = PowerAnalysis::Compute(design, Settings());
    const AliasMatrix::Results aliases = AliasMatrix::Compute(design, &ThreeFactorInteractions());
    const AliasMatrix::Correlations map =
        AliasMatrix::CorrelationMap(design, &ThreeFactorInteractions());
    const PredictionVariance::Results pv = PredictionVariance::Compute(design, {10000, 1});
    benchmark::DoNotOptimize(power.terms.data());
    benchmark::DoNotOptimize(aliases.matrix.data());
    benchmark::DoNotOptimize(map.matrix.data());
    benchmark::DoNotOptimize(pv.sorted.data());
  }
}
BENCHMARK(BM_WholeEvaluation)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zubra
