// Generation of classical designs at the sizes the catalogue offers, their statistics (on the
// coded scale and against the optimal weighting of the candidates), and the catalogue
// questions asked on every edit of an investigation.
#include <benchmark/benchmark.h>

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <cmath>
#include <memory>
#include <string>

#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/design_statistics.h"
#include "zubra/platform/design/generators.h"
#include "zubra/platform/design/ncdoe_constraints.h"

namespace zubra {
namespace {

Factors Quantitative(int k) {
  Factors factors;
  for (int i = 1; i <= k; ++i) {
    factors.Add(Factors::Factor::Quantitative("X" + std::to_string(i), 0.0, 1.0), nullptr);
  }
  return factors;
}

DesignOptions Options(const DesignBuilder& builder, const Factors& factors,
                      EObjective::Type objective, EModel::Type model) {
  DesignOptions base;
  base.SetObjective(objective);
  base.SetProcessModel(model);
  return builder.MakeOptions(factors, base);
}

// Generates the design of `type`/`name` for state.range(0) factors.
void Generate(benchmark::State& state, EDesign::Type type, const char* name,
              EObjective::Type objective, EModel::Type model) {
  const Factors factors = Quantitative(static_cast<int>(state.range(0)));
  const DesignBuilder& builder = *AllDesigns::GetDesignBuilder(type, name);
  const DesignOptions options = Options(builder, factors, objective, model);
  int runs = 0;
  for (auto _ : state) {
    const auto design = builder.Generate(factors, options);
    runs = design->GetRuns();
    benchmark::DoNotOptimize(design->GetCoded().GetData());
  }
  state.counters["runs"] = runs;
}

void BM_FractionalFactorialResIV(benchmark::State& state) {
  Generate(state, EDesign::kFracFactResIV, "", EObjective::kScreening, EModel::kLinear);
}
BENCHMARK(BM_FractionalFactorialResIV)->Arg(8)->Arg(15);

void BM_FullFactorial(benchmark::State& state) {
  Generate(state, EDesign::kFullFactorial, "", EObjective::kScreening, EModel::kInteraction);
}
BENCHMARK(BM_FullFactorial)->Arg(7)->Arg(12);

void BM_CentralComposite(benchmark::State& state) {
  Generate(state, EDesign::kCentralComposite, "CCC", EObjective::kRSM, EModel::kQuadratic);
}
BENCHMARK(BM_CentralComposite)->Arg(5)->Arg(11);

void BM_BoxBehnken(benchmark::State& state) {
  Generate(state, EDesign::kBoxBehnken, "", EObjective::kRSM, EModel::kQuadratic);
}
BENCHMARK(BM_BoxBehnken)->Arg(6)->Arg(12);

// Statistics of the Box-Behnken design for the quadratic model (k = 12: 193 runs, 91
// model columns).
void BM_StatisticsQuadratic(benchmark::State& state) {
  const Factors factors = Quantitative(static_cast<int>(state.range(0)));
  const DesignBuilder& builder = *AllDesigns::GetDesignBuilder(EDesign::kBoxBehnken, "");
  const auto design =
      builder.Generate(factors, Options(builder, factors, EObjective::kRSM, EModel::kQuadratic));
  const DesignModel model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
  for (auto _ : state) {
    const auto stats = DesignStatistics::Compute(design->GetCoded(), factors, model);
    benchmark::DoNotOptimize(stats.GetDEfficiency());
  }
}
BENCHMARK(BM_StatisticsQuadratic)->Arg(6)->Arg(12);

// Statistics of designs measured against the optimal weighting of their candidates:
// state.range(0) = 0: the D-optimal design for q = state.range(1) mixture components 0.05..0.6
// (special cubic model); 1: the Box-Behnken design of k = state.range(1) factors for the
// quadratic model, under the constraint that the factors sum to at most 7/10 of their range.
void BM_StatisticsAgainstCandidates(benchmark::State& state) {
  const int size = static_cast<int>(state.range(1));
  Factors factors;
  NCDOE::Constraints constraints;
  DesignModel model;
  std::unique_ptr<NCDesign> design;
  if (state.range(0) == 0) {
    for (int i = 1; i <= size; ++i) {
      factors.Add(Factors::Factor::Formulation("M" + std::to_string(i), 0.05, 0.6), nullptr);
    }
    const DesignBuilder& builder = *AllDesigns::GetDesignBuilder(EDesign::kDOptimal, "");
    DesignOptions base;
    base.SetObjective(EObjective::kOptimization);
    base.SetProcessModel(EModel::kNone);
    base.SetMixtureModel(EModel::kSpecialCubic);
    design = builder.Generate(factors, builder.MakeOptions(factors, base));
    model = DesignModel::Make(factors, EModel::kNone, EModel::kSpecialCubic);
  } else {
    factors = Quantitative(size);
    NCDOE::Constraint sum(false, 0.7 * size);
    for (int i = 0; i < size; ++i) sum.AddPair(i, 1.0);
    constraints.Add(sum);
    const DesignBuilder& builder = *AllDesigns::GetDesignBuilder(EDesign::kBoxBehnken, "");
    design =
        builder.Generate(factors, Options(builder, factors, EObjective::kRSM, EModel::kQuadratic));
    model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
  }
  double efficiency = 0.0;
  for (auto _ : state) {
    const auto stats = DesignStatistics::Compute(design->GetCoded(), factors, model, &constraints);
    efficiency = stats.GetDEfficiency();
  }
  state.counters["runs"] = design->GetRuns();
  state.counters["D-efficiency"] = efficiency;
}
BENCHMARK(BM_StatisticsAgainstCandidates)
    ->Args({0, 4})
    ->Args({0, 8})
    ->Args({1, 4})
    ->Args({1, 6})
    ->Args({1, 8})
    ->Unit(benchmark::kMillisecond);

// The availability question of the design objective: objective RSM, quadratic model.
void BM_IsAnyDesignValid(benchmark::State& state) {
  const Factors factors = Quantitative(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        AllDesigns::IsAnyDesignValid(EObjective::kRSM, EModel::kQuadratic, 10000, factors, false));
  }
}
BENCHMARK(BM_IsAnyDesignValid)->Arg(4)->Arg(20);

// One generator-table query, as asked for every block count offered to the user.
void BM_GeneratorTableQuery(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(Generators::GetGen5(-2, 8, 64, 2));
  }
}
BENCHMARK(BM_GeneratorTableQuery);

// D-optimal designs from the full 3^k grid (the builder's 8 starts, fixed seed): k factors
// in state.range(0), model in state.range(1) (1 linear, 2 interaction, 3 quadratic), runs in
// state.range(2). The counter "D" is det(X'X)^(1/p) / N.
void BM_DOptimal(benchmark::State& state) {
  const Factors factors = Quantitative(static_cast<int>(state.range(0)));
  const auto model_type = static_cast<EModel::Type>(state.range(1));
  const DesignBuilder& builder = *AllDesigns::GetDesignBuilder(EDesign::kDOptimal, "");
  DesignOptions options = Options(builder, factors, EObjective::kRSM, model_type);
  options.SetCenterPoints(0);
  options.SetRuns(static_cast<int>(state.range(2)));
  double d = 0.0;
  for (auto _ : state) {
    const auto design = builder.Generate(factors, options);
    const DesignModel model = DesignModel::Make(factors, model_type, EModel::kNone);
    const Eigen::MatrixXd x = model.Expand(factors, design->GetCoded());
    const double log_det =
        Eigen::MatrixXd(x.transpose() * x).llt().matrixLLT().diagonal().array().log().sum() * 2.0;
    d = std::exp(log_det / static_cast<double>(x.cols())) / static_cast<double>(x.rows());
  }
  state.counters["D"] = d;
}
BENCHMARK(BM_DOptimal)
    ->Args({3, 3, 15})  // 10 terms, 27 candidates
    ->Args({2, 3, 8})   // 6 terms, 9 candidates
    ->Args({7, 2, 40})  // 29 terms, 2187 candidates (3 levels)
    ->Args({6, 3, 40})  // 28 terms, 729 candidates
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zubra
