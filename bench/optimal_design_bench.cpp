// The optimal-design search on the reference problems: CPU time, wall time and the D value
// reached.
//
// Each scenario is a set of factors, a model and a run count. The builder scenarios go
// through the public D-optimal builder (AllDesigns, DesignBuilder::Generate) exactly as an
// application would, with the effort the builder gives them, the search seed set in the
// design options (a different seed in every run) and the thread count set there too. The
// engine scenarios call one search directly where the builder would choose the other one
// (the point exchange on the 3^10 grid, the coordinate exchange on the 3^6 grid). The quality
// is D = det(X'X)^(1/p) / N with the model in coded units -1..+1 for process factors and in
// proportions (Scheffe form) for mixture components; for the split-plot scenario it is the
// same function of the split-plot information X'V^-1 X (variance ratio 1).
//
// CPU time is that of the whole process (every thread), read from CLOCK_PROCESS_CPUTIME_ID
// around each generation; wall time from the steady clock.
//
// Run as a Google Benchmark (`zubra_optimal_bench`; the counter "D" is the last run's value;
// the CPU column is the process's), or with `--table [repetitions]` to print every scenario's
// medians as one Markdown table (bench/optimal_table.sh).
#include <benchmark/benchmark.h>

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/internal/coordinate_exchange.h"
#include "zubra/platform/design/internal/exchange_kernels.h"
#include "zubra/platform/design/internal/point_exchange.h"
#include "zubra/platform/design/internal/whole_plot_exchange.h"

namespace zubra {
namespace {

using internal::CoordinateExchange;
using internal::PointExchange;

enum class Path { kBuilder, kPointExchange, kCoordinateExchange };

const char* PathText(Path path) {
  switch (path) {
    case Path::kPointExchange:
      return "point exchange (engine)";
    case Path::kCoordinateExchange:
      return "coordinate exchange (engine)";
    case Path::kBuilder:
      break;
  }
  return "D-optimal builder";
}

struct Scenario {
  std::string id;
  std::string text;
  Factors factors;
  DesignModel model;
  int runs = 0;
  Path path = Path::kBuilder;
  int whole_plots = 0;  // split-plot scenario: the whole plots (variance ratio 1)
};

Factors Process(int k, bool two_level, int hard = 0) {
  Factors factors;
  for (int i = 1; i <= k; ++i) {
    const std::string name = "X" + std::to_string(i);
    Factors::Factor factor = two_level ? Factors::Factor::Multilevel(name, {-1.0, 1.0})
                                       : Factors::Factor::Quantitative(name, -1.0, 1.0);
    factor.hard_to_change = i <= hard;
    factors.Add(factor, nullptr);
  }
  return factors;
}

Scenario ProcessScenario(std::string id, std::string text, int k, bool two_level,
                         EModel::Type model, int runs, Path path = Path::kBuilder) {
  Factors factors = Process(k, two_level);
  DesignModel terms = DesignModel::Make(factors, model, EModel::kNone);
  return {std::move(id), std::move(text), std::move(factors), std::move(terms), runs, path, 0};
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
  DesignModel model = DesignModel::MakeCrossed(
      factors, process > 0 ? EModel::kLinear : EModel::kNone, mixture_model);
  return {std::move(id), std::move(text), std::move(factors), std::move(model),
          runs,          Path::kBuilder};
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
    list.push_back(ProcessScenario("S7", "14 factors, quadratic (120), 144 runs", 14, false,
                                   EModel::kQuadratic, 144));
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
    Scenario split;
    split.id = "SP";
    split.text = "split plot: 2 hard-to-change + 4 factors, quadratic (28), 8 whole plots, 32 runs";
    split.factors = Process(6, false, 2);
    split.model = DesignModel::Make(split.factors, EModel::kQuadratic, EModel::kNone);
    split.runs = 32;
    split.whole_plots = 8;
    list.push_back(std::move(split));
    list.push_back(ProcessScenario("S3p", "S3 by point exchange", 10, false, EModel::kQuadratic, 80,
                                   Path::kPointExchange));
    list.push_back(ProcessScenario("S2c", "S2 by coordinate exchange", 6, false, EModel::kQuadratic,
                                   40, Path::kCoordinateExchange));
    return list;
  }();
  return scenarios;
}

struct Outcome {
  double cpu = 0.0;   // seconds of CPU time of the whole process
  double wall = 0.0;  // seconds
  double d = 0.0;
};

double CpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double DOf(const Eigen::MatrixXd& information, Eigen::Index runs) {
  const Eigen::LLT<Eigen::MatrixXd> llt(information);
  const double log_det = 2.0 * llt.matrixLLT().diagonal().array().log().sum();
  return std::exp(log_det / static_cast<double>(information.rows())) / static_cast<double>(runs);
}

// The model matrix of a design's runs as D judges them: process factors coded, mixture
// components as proportions of the total.
Eigen::MatrixXd Judged(const Scenario& scenario, const NCDataMatrix<float>& coded,
                       const NCDataMatrix<float>* uncoded) {
  NCDataMatrix<float> runs = coded;
  if (uncoded != nullptr) {
    for (int r = 0; r < runs.GetRows(); ++r) {
      for (int c = 0; c < runs.GetCols(); ++c) {
        if (scenario.factors.GetFactor(c).IsMixture()) runs(r, c) = (*uncoded)(r, c);
      }
    }
  }
  return scenario.model.Expand(scenario.factors, runs);
}

Outcome RunBuilder(const Scenario& scenario, std::uint32_t seed, int threads) {
  const DesignBuilder& builder = *AllDesigns::GetDesignBuilder(EDesign::kDOptimal, "");
  DesignOptions options;
  options.SetObjective(EObjective::kRSM);
  options.SetProcessModel(EModel::kLinear);
  options.SetMixtureModel(EModel::kLinear);
  options.SetCenterPoints(0);
  options.SetRuns(scenario.runs);
  options.SetSearchSeed(seed);
  options.SetThreads(threads);
  auto specific = std::make_unique<DOptimalOptions>();
  specific->SetModel(scenario.model);
  if (scenario.whole_plots > 0) specific->SetWholePlots(scenario.whole_plots);
  options.SetDesignSpecificOptions(std::move(specific));
  const double cpu = CpuSeconds();
  const auto begin = std::chrono::steady_clock::now();
  const std::unique_ptr<NCDesign> design = builder.Generate(scenario.factors, options);
  Outcome outcome;
  outcome.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  outcome.cpu = CpuSeconds() - cpu;
  const Eigen::MatrixXd x = Judged(scenario, design->GetCoded(), &design->GetUncoded());
  const Eigen::MatrixXd m = scenario.whole_plots > 0 ? internal::WholePlotExchange::Information(
                                                           x, design->GetWholePlots(), 1.0)
                                                     : Eigen::MatrixXd(x.transpose() * x);
  outcome.d = DOf(m, x.rows());
  return outcome;
}

Outcome RunEngine(const Scenario& scenario, std::uint64_t seed, int threads) {
  Outcome outcome;
  const double cpu = CpuSeconds();
  const auto begin = std::chrono::steady_clock::now();
  NCDataMatrix<float> coded;
  if (scenario.path == Path::kPointExchange) {
    const CandidateSet set = CandidateSet::Make(scenario.factors, 3, nullptr);
    const Eigen::MatrixXd f = scenario.model.Expand(scenario.factors, set.GetCoded());
    PointExchange::Options options = PointExchange::Effort(f.rows(), f.cols(), scenario.runs);
    options.seed = seed;
    options.threads = threads;
    const PointExchange::Result result =
        PointExchange::Search(f, Eigen::MatrixXd(0, f.cols()), scenario.runs, options);
    coded = NCDataMatrix<float>(scenario.runs, scenario.factors.GetCount());
    for (int r = 0; r < scenario.runs; ++r) {
      for (int c = 0; c < coded.GetCols(); ++c) {
        coded(r, c) = set.GetCoded()(result.rows[static_cast<std::size_t>(r)], c);
      }
    }
  } else {
    const std::vector<std::vector<float>> levels(
        static_cast<std::size_t>(scenario.factors.GetCount()), {-1.0F, 0.0F, 1.0F});
    const internal::ModelRows rows(scenario.model, scenario.factors);
    CoordinateExchange::Options options = CoordinateExchange::Effort();
    options.seed = seed;
    options.threads = threads;
    coded = CoordinateExchange::Search(levels, rows, {}, Eigen::MatrixXd(0, rows.Columns()),
                                       scenario.runs, options)
                .coded;
  }
  outcome.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  outcome.cpu = CpuSeconds() - cpu;
  const Eigen::MatrixXd x = Judged(scenario, coded, nullptr);
  outcome.d = DOf(x.transpose() * x, x.rows());
  return outcome;
}

Outcome RunOnce(const Scenario& scenario, std::uint32_t seed, int threads) {
  return scenario.path == Path::kBuilder ? RunBuilder(scenario, seed, threads)
                                         : RunEngine(scenario, seed, threads);
}

void BM_Optimal(benchmark::State& state, std::size_t index, int threads) {
  const Scenario& scenario = Scenarios()[index];
  std::uint32_t seed = 1;
  Outcome outcome;
  for (auto _ : state) outcome = RunOnce(scenario, seed++, threads);
  state.counters["D"] = outcome.d;
}

void RegisterAll() {
  for (std::size_t i = 0; i < Scenarios().size(); ++i) {
    for (int threads : {1, 0}) {
      const std::string name =
          "BM_Optimal/" + Scenarios()[i].id + (threads == 1 ? "/one_thread" : "/all_threads");
      benchmark::RegisterBenchmark(name.c_str(), BM_Optimal, i, threads)
          ->Unit(benchmark::kMillisecond)
          ->MeasureProcessCPUTime()
          ->UseRealTime();
    }
  }
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0;
}

double LoadAverage() {
  double load[1] = {0.0};
  return getloadavg(load, 1) == 1 ? load[0] : -1.0;
}

std::string Seconds(double seconds) {
  char text[32];
  if (seconds < 0.1) {
    std::snprintf(text, sizeof text, "%.3g ms", seconds * 1e3);
  } else {
    std::snprintf(text, sizeof text, "%.3g s", seconds);
  }
  return text;
}

// Prints, for every scenario, the median CPU and wall time of `repetitions` runs (seeds 1,
// 2, ...) on one thread and on all hardware threads, the median and worst D (which must be
// the same on any number of threads; a difference is marked), and the one-minute load
// average before the scenario's runs.
void PrintTable(int repetitions) {
  const unsigned all = std::max(1U, std::thread::hardware_concurrency());
  std::printf("%d runs per scenario (seeds 1..%d); instruction set of the sweeps: %s\n\n",
              repetitions, repetitions, internal::SweepInstructionSet());
  std::printf(
      "| id | case | search | CPU, 1 thread | wall, 1 thread | CPU, %u threads | wall, %u "
      "threads | median D | worst D | load |\n|---|---|---|---|---|---|---|---|---|---|\n",
      all, all);
  for (const Scenario& scenario : Scenarios()) {
    const double load = LoadAverage();
    std::vector<double> cpu_one;
    std::vector<double> wall_one;
    std::vector<double> cpu_all;
    std::vector<double> wall_all;
    std::vector<double> d;
    bool same = true;
    for (int r = 1; r <= repetitions; ++r) {
      const Outcome one = RunOnce(scenario, static_cast<std::uint32_t>(r), 1);
      const Outcome many = RunOnce(scenario, static_cast<std::uint32_t>(r), 0);
      cpu_one.push_back(one.cpu);
      wall_one.push_back(one.wall);
      cpu_all.push_back(many.cpu);
      wall_all.push_back(many.wall);
      d.push_back(one.d);
      same = same && one.d == many.d;
    }
    std::printf("| %s | %s | %s | %s | %s | %s | %s | %.5g | %.5g%s | %.1f |\n",
                scenario.id.c_str(), scenario.text.c_str(), PathText(scenario.path),
                Seconds(Median(cpu_one)).c_str(), Seconds(Median(wall_one)).c_str(),
                Seconds(Median(cpu_all)).c_str(), Seconds(Median(wall_all)).c_str(), Median(d),
                *std::min_element(d.begin(), d.end()), same ? "" : " (threads differ)", load);
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
