// The optimal-design search on the reference problems: time and the D value reached.
//
// Each scenario is a candidate set, a model and a run count. The search (point exchange, or
// coordinate exchange for the "c" scenarios) runs with the effort the design builders give it
// (PointExchange::Effort, CoordinateExchange::Effort) and a different seed in every run, on
// one thread and on all hardware threads. The quality is D = det(X'X)^(1/p) / N with the model
// in coded units -1..+1 for process factors and in proportions (Scheffe form) for mixtures.
//
// Run as a Google Benchmark (`zubra_optimal_bench`, the counter "D" is the last run's value),
// or with `--table [repetitions]` to print the median time and median D of every scenario as
// one Markdown table (bench/optimal_table.sh).
#include <benchmark/benchmark.h>

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/internal/coordinate_exchange.h"
#include "zubra/platform/design/internal/point_exchange.h"

namespace zubra {
namespace {

using internal::CoordinateExchange;
using internal::PointExchange;

// One reference problem: the model rows of the candidates as the search sees them, the same
// candidates in the form D is judged in, and the run count.
struct Scenario {
  std::string id;
  std::string text;
  Eigen::MatrixXd search;
  Eigen::MatrixXd judge;
  int runs = 0;
  // Searched by coordinate exchange over 3 levels a factor instead: the process factors and
  // their model (search and judge are then unused).
  Factors factors;
  DesignModel model;
};

Factors Process(int k, bool two_level) {
  Factors factors;
  for (int i = 1; i <= k; ++i) {
    const std::string name = "X" + std::to_string(i);
    factors.Add(two_level ? Factors::Factor::Multilevel(name, {-1.0, 1.0})
                          : Factors::Factor::Quantitative(name, -1.0, 1.0),
                nullptr);
  }
  return factors;
}

Scenario ProcessScenario(std::string id, std::string text, int k, bool two_level,
                         EModel::Type model, int runs) {
  const Factors factors = Process(k, two_level);
  const CandidateSet set = CandidateSet::Make(factors, 3, nullptr);
  const Eigen::MatrixXd f =
      DesignModel::Make(factors, model, EModel::kNone).Expand(factors, set.GetCoded());
  return {std::move(id), std::move(text), f, f, runs, {}, {}};
}

// The coordinate-exchange form of a process scenario.
Scenario ByCoordinates(std::string id, std::string text, int k, EModel::Type model, int runs) {
  Scenario scenario{std::move(id), std::move(text), {}, {}, runs, Process(k, false), {}};
  scenario.model = DesignModel::Make(scenario.factors, model, EModel::kNone);
  return scenario;
}

// Mixture components 0.1..0.6 (sum 1) and, for the process-mixture case, process factors
// first; the model crosses every process main effect with every component.
Scenario MixtureScenario(std::string id, std::string text, int process, int components,
                         EModel::Type mixture_model, int runs) {
  Factors factors;
  for (int i = 1; i <= process; ++i) {
    factors.Add(Factors::Factor::Quantitative("X" + std::to_string(i), -1.0, 1.0), nullptr);
  }
  for (int i = 1; i <= components; ++i) {
    factors.Add(Factors::Factor::Formulation("M" + std::to_string(i), 0.1, 0.6), nullptr);
  }
  const CandidateSet set = CandidateSet::Make(factors, 3, nullptr);
  const DesignModel model = DesignModel::MakeCrossed(
      factors, process > 0 ? EModel::kLinear : EModel::kNone, mixture_model);
  // Judged in proportions: the uncoded amounts (the total is 1) and the coded process factors.
  NCDataMatrix<float> proportions = set.GetCoded();
  for (int r = 0; r < proportions.GetRows(); ++r) {
    for (int c = process; c < process + components; ++c) proportions(r, c) = set.GetUncoded()(r, c);
  }
  return {std::move(id),
          std::move(text),
          model.Expand(factors, set.GetCoded()),
          model.Expand(factors, proportions),
          runs,
          {},
          {}};
}

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> scenarios = [] {
    std::vector<Scenario> list;
    list.push_back(ProcessScenario("S0", "7 two-level factors, interactions (29), 40 runs", 7, true,
                                   EModel::kInteraction, 40));
    list.push_back(ProcessScenario("S1", "3 factors, quadratic (10), 15 runs", 3, false,
                                   EModel::kQuadratic, 15));
    list.push_back(ProcessScenario("S2", "6 factors, quadratic (28), 40 runs", 6, false,
                                   EModel::kQuadratic, 40));
    list.push_back(ProcessScenario("S3", "10 factors, quadratic (66), 80 runs", 10, false,
                                   EModel::kQuadratic, 80));
    list.push_back(ByCoordinates("S3c", "S3 by coordinate exchange", 10, EModel::kQuadratic, 80));
    list.push_back(ByCoordinates("S2c", "S2 by coordinate exchange", 6, EModel::kQuadratic, 40));
    list.push_back(MixtureScenario("S4q", "4 components 0.1..0.6, quadratic (10), 20 runs", 0, 4,
                                   EModel::kQuadratic, 20));
    list.push_back(MixtureScenario("S4c", "4 components 0.1..0.6, special cubic (14), 20 runs", 0,
                                   4, EModel::kSpecialCubic, 20));
    list.push_back(MixtureScenario("S5",
                                   "5 process + 3 components 0.1..0.6, quadratic mixture "
                                   "and process main effects crossed with the components "
                                   "(21), 40 runs",
                                   5, 3, EModel::kQuadratic, 40));
    list.push_back(
        ProcessScenario("S6", "2 factors, quadratic (6), 8 runs", 2, false, EModel::kQuadratic, 8));
    return list;
  }();
  return scenarios;
}

struct Outcome {
  double seconds = 0.0;
  double d = 0.0;
  int starts = 0;
};

double DOf(const Eigen::MatrixXd& x) {
  const Eigen::LLT<Eigen::MatrixXd> llt(x.transpose() * x);
  const double log_det = 2.0 * llt.matrixLLT().diagonal().array().log().sum();
  return std::exp(log_det / static_cast<double>(x.cols())) / static_cast<double>(x.rows());
}

Outcome RunCoordinates(const Scenario& scenario, std::uint64_t seed, int threads) {
  const int k = scenario.factors.GetCount();
  const std::vector<std::vector<float>> levels(static_cast<std::size_t>(k), {-1.0F, 0.0F, 1.0F});
  const int columns = scenario.model.GetColumnCount(scenario.factors);
  const CoordinateExchange::Expander expand = [&](std::span<const float> point) {
    NCDataMatrix<float> row(1, k);
    for (int c = 0; c < k; ++c) row(0, c) = point[static_cast<std::size_t>(c)];
    return Eigen::RowVectorXd(scenario.model.Expand(scenario.factors, row).row(0));
  };
  CoordinateExchange::Options options = CoordinateExchange::Effort(scenario.runs, levels, columns);
  options.seed = seed;
  options.threads = threads;
  const auto begin = std::chrono::steady_clock::now();
  const CoordinateExchange::Result result = CoordinateExchange::Search(
      levels, expand, [](std::span<const float>) { return false; }, Eigen::MatrixXd(0, columns),
      scenario.runs, options);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return {seconds, DOf(scenario.model.Expand(scenario.factors, result.coded)), options.starts};
}

Outcome RunOnce(const Scenario& scenario, std::uint64_t seed, int threads) {
  if (scenario.factors.GetCount() > 0) return RunCoordinates(scenario, seed, threads);
  PointExchange::Options options =
      PointExchange::Effort(scenario.search.rows(), scenario.search.cols(), scenario.runs);
  options.seed = seed;
  options.threads = threads;
  const auto begin = std::chrono::steady_clock::now();
  const PointExchange::Result result = PointExchange::Search(
      scenario.search, Eigen::MatrixXd(0, scenario.search.cols()), scenario.runs, options);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  Eigen::MatrixXd x(scenario.runs, scenario.judge.cols());
  for (int r = 0; r < scenario.runs; ++r) {
    x.row(r) = scenario.judge.row(result.rows[static_cast<std::size_t>(r)]);
  }
  return {seconds, DOf(x), options.starts};
}

void BM_Optimal(benchmark::State& state, std::size_t index, int threads) {
  const Scenario& scenario = Scenarios()[index];
  std::uint64_t seed = 1;
  Outcome outcome;
  for (auto _ : state) outcome = RunOnce(scenario, seed++, threads);
  state.counters["D"] = outcome.d;
  state.counters["starts"] = outcome.starts;
}

void RegisterAll() {
  for (std::size_t i = 0; i < Scenarios().size(); ++i) {
    for (int threads : {1, 0}) {
      const std::string name =
          "BM_Optimal/" + Scenarios()[i].id + (threads == 1 ? "/one_thread" : "/all_threads");
      benchmark::RegisterBenchmark(name.c_str(), BM_Optimal, i, threads)
          ->Unit(benchmark::kMillisecond)
          ->UseRealTime();
    }
  }
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0;
}

// Prints the median time (one thread, all threads) and the median D of `repetitions` runs
// with seeds 1, 2, ... of every scenario.
void PrintTable(int repetitions) {
  std::printf(
      "| id | case | starts | median time, 1 thread | median time, %u threads | "
      "median D | worst D |\n|---|---|---|---|---|---|---|\n",
      std::max(1U, std::thread::hardware_concurrency()));
  for (const Scenario& scenario : Scenarios()) {
    std::vector<double> one;
    std::vector<double> all;
    std::vector<double> d;
    int starts = 0;
    for (int r = 1; r <= repetitions; ++r) {
      const Outcome single = RunOnce(scenario, static_cast<std::uint64_t>(r), 1);
      const Outcome parallel = RunOnce(scenario, static_cast<std::uint64_t>(r), 0);
      one.push_back(single.seconds);
      all.push_back(parallel.seconds);
      d.push_back(single.d);
      starts = single.starts;
    }
    std::printf("| %s | %s | %d | %.4g s | %.4g s | %.5g | %.5g |\n", scenario.id.c_str(),
                scenario.text.c_str(), starts, Median(one), Median(all), Median(d),
                *std::min_element(d.begin(), d.end()));
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace zubra

int main(int argc, char** argv) {
  if (argc >= 2 && std::strcmp(argv[1], "--table") == 0) {
    const int repetitions = argc >= 3 ? std::max(1, std::atoi(argv[2])) : 5;
    zubra::PrintTable(repetitions);
    return 0;
  }
  zubra::RegisterAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
