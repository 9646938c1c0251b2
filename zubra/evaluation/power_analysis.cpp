#include "zubra/evaluation/power_analysis.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <optional>
#include <utility>

#include "zubra/model/zubra_options.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/matrix/noncentral_power.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// A closed interval, for the range of a term's column over the region.
struct Interval {
  double low = 1.0;
  double high = 1.0;
};

Interval Times(Interval a, Interval b) {
  const std::array<double, 4> corners = {a.low * b.low, a.low * b.high, a.high * b.low,
                                         a.high * b.high};
  return {*std::min_element(corners.begin(), corners.end()),
          *std::max_element(corners.begin(), corners.end())};
}

// The range of the values a term's columns take over the coded region: process factors over
// -1..+1 (a power odd or even), mixture factors over the simplex of pseudo-components, a
// qualitative factor's contrast between two settings as -1..+1.
double TermSpan(const Factors& factors, const DesignModel::Term& term) {
  std::map<int, int> powers;
  for (const int index : term) ++powers[index];
  Interval process;
  Interval qualitative;
  Interval mixture;
  bool odd = false;
  bool any_process = false;
  int mixture_degree = 0;
  double mixture_peak = 1.0;
  for (const auto& [index, power] : powers) {
    const Factors::Factor& factor = factors.GetFactor(index);
    if (factor.IsQualitative()) {
      qualitative = {-1.0, 1.0};
    } else if (factor.IsMixture()) {
      mixture_degree += power;
    } else {
      any_process = true;
      odd = odd || power % 2 == 1;
    }
  }
  if (any_process) process = {odd ? -1.0 : 0.0, 1.0};
  if (mixture_degree > 0) {
    // The largest value of prod z_i^a_i over the simplex is at z_i = a_i / sum(a).
    for (const auto& [index, power] : powers) {
      if (!factors.GetFactor(index).IsMixture()) continue;
      const double share = static_cast<double>(power) / mixture_degree;
      mixture_peak *= std::pow(share, power);
    }
    mixture = {0.0, mixture_peak};
  }
  const Interval all = Times(Times(process, qualitative), mixture);
  return all.high - all.low;
}

// The contrast vectors of a term's columns for the alternative: for every choice of a pair
// of settings (a, b) of each qualitative factor of the term, the Kronecker product (first
// factor slowest, as DesignModel::Expand orders the columns) of the effect-coded contrasts
// +1 at a, -1 at b (a setting L has no column of its own). At most kMaxPairChoices.
std::vector<Eigen::VectorXd> Contrasts(const Factors& factors, const DesignModel::Term& term) {
  std::vector<Eigen::VectorXd> partial{Eigen::VectorXd::Ones(1)};
  for (const int index : term) {
    const Factors::Factor& factor = factors.GetFactor(index);
    if (!factor.IsQualitative()) continue;
    const int settings = static_cast<int>(factor.settings.size());
    std::vector<Eigen::VectorXd> pairs;
    for (int a = 1; a <= settings; ++a) {
      for (int b = a + 1; b <= settings; ++b) {
        Eigen::VectorXd c = Eigen::VectorXd::Zero(settings - 1);
        c(a - 1) = 1.0;
        if (b < settings) c(b - 1) = -1.0;
        pairs.push_back(std::move(c));
      }
    }
    std::vector<Eigen::VectorXd> next;
    for (const Eigen::VectorXd& head : partial) {
      for (const Eigen::VectorXd& tail : pairs) {
        if (static_cast<int>(next.size()) == PowerAnalysis::kMaxPairChoices) break;
        Eigen::VectorXd product(head.size() * tail.size());
        for (Eigen::Index i = 0; i < head.size(); ++i) {
          product.segment(i * tail.size(), tail.size()) = head(i) * tail;
        }
        next.push_back(std::move(product));
      }
    }
    partial = std::move(next);
  }
  return partial;
}

// One term's place in the model matrix and its noncentrality for one copy of the design.
struct TermTest {
  PowerAnalysis::TermPower power;
  int first_column = 0;
};

void CheckSettings(const PowerSettings& settings) {
  std::string message;
  if (!settings.Validate(&message)) throw Exception(message);
}

// The terms with their noncentralities for the design as it is (copies scale them: delta by
// sqrt(copies), lambda by copies). Noncentralities are left undefined when singular.
std::vector<TermTest> TermTests(const EvaluatedDesign& design,
                                const EvaluatedDesign::Dispersion& dispersion,
                                const PowerSettings& settings) {
  const Factors& factors = design.GetFactors();
  std::vector<TermTest> tests;
  int column = 0;
  for (const DesignModel::Term& term : design.GetModel().GetTerms()) {
    const int width = DesignModel({term}).GetColumnCount(factors);
    const int first = column;
    column += width;
    if (term.empty()) continue;
    TermTest test;
    test.first_column = first;
    test.power.term = term;
    test.power.name = design.TermName(term);
    test.power.columns = width;
    test.power.coefficient = settings.signal / TermSpan(factors, term);
    if (!dispersion.singular) {
      const double b = test.power.coefficient / settings.noise;
      const Eigen::MatrixXd block = dispersion.inverse.block(first, first, width, width);
      if (width == 1) {
        test.power.noncentrality = b / std::sqrt(block(0, 0));
      } else {
        const Eigen::LLT<Eigen::MatrixXd> llt(block);
        double lowest = -1.0;
        for (const Eigen::VectorXd& contrast : Contrasts(factors, term)) {
          const double lambda = b * b * contrast.dot(llt.solve(contrast));
          if (lowest < 0.0 || lambda < lowest) lowest = lambda;
        }
        test.power.noncentrality = lowest;
      }
    }
    tests.push_back(std::move(test));
  }
  return tests;
}

// The results for `copies` copies of a design of `runs` runs and model-matrix rank `rank`.
PowerAnalysis::Results Evaluate(const std::vector<TermTest>& tests, bool singular, int runs,
                                int rank, int copies, double alpha) {
  PowerAnalysis::Results results;
  results.runs = runs * copies;
  results.residual_df = results.runs - rank;
  results.testable = !singular && results.residual_df > 0;
  for (const TermTest& test : tests) {
    PowerAnalysis::TermPower power = test.power;
    if (!results.testable) {
      power.noncentrality = kUndefined;
      power.power = kUndefined;
    } else if (power.columns == 1) {
      power.noncentrality *= std::sqrt(static_cast<double>(copies));
      power.power = NoncentralPower::TwoSidedT(results.residual_df, power.noncentrality, alpha);
    } else {
      power.noncentrality *= copies;
      power.power =
          NoncentralPower::FTest(power.columns, results.residual_df, power.noncentrality, alpha);
    }
    results.terms.push_back(std::move(power));
  }
  return results;
}

}  // namespace

PowerSettings PowerSettings::FromResponse(const ResponseClass::Power& power,
                                          const ZubraOptions& options) {
  PowerSettings settings;
  settings.noise = power.GetStandardDeviation();
  settings.signal = power.GetSignalDetection();
  settings.alpha = 1.0 - power.GetSignificance(true);
  const double target = power.GetTargetPower(false);
  settings.target = IsUndefined(target) ? options.GetPower() : target / 100.0;
  return settings;
}

bool PowerSettings::Validate(std::string* message) const {
  const auto refuse = [message](const char* text) {
    if (message != nullptr) *message = ExceptionMessage::translate(text).str();
    return false;
  };
  if (!(noise > 0.0) || !std::isfinite(noise) || IsUndefined(noise)) {
    return refuse("The estimated noise level must be a positive number.");
  }
  if (!(signal > 0.0) || !std::isfinite(signal)) {
    return refuse("The signal to detect must be a positive number.");
  }
  if (!(alpha > 0.0 && alpha < 1.0)) {
    return refuse("The significance test level must lie strictly between 0 and 1.");
  }
  if (!(target > 0.0 && target < 1.0)) {
    return refuse("The desired power must lie strictly between 0 and 100 %.");
  }
  return true;
}

double PowerAnalysis::Results::LowestPower() const {
  if (!testable || terms.empty()) return kUndefined;
  double lowest = 1.0;
  for (const TermPower& term : terms) lowest = std::min(lowest, term.power);
  return lowest;
}

bool PowerAnalysis::Results::ReachesTarget(double target) const {
  const double lowest = LowestPower();
  return !IsUndefined(lowest) && lowest >= target;
}

PowerAnalysis::Results PowerAnalysis::Compute(const EvaluatedDesign& design,
                                              const PowerSettings& settings) {
  CheckSettings(settings);
  const EvaluatedDesign::Dispersion dispersion = design.ComputeDispersion();
  const int rank = design.GetRuns() - dispersion.residual_df;
  return Evaluate(TermTests(design, dispersion, settings), dispersion.singular, design.GetRuns(),
                  rank, 1, settings.alpha);
}

PowerAnalysis::RunsToTarget PowerAnalysis::RunsByReplicating(const EvaluatedDesign& design,
                                                             const PowerSettings& settings,
                                                             int max_runs) {
  CheckSettings(settings);
  RunsToTarget answer;
  const EvaluatedDesign::Dispersion dispersion = design.ComputeDispersion();
  const int runs = design.GetRuns();
  if (dispersion.singular || runs == 0) return answer;
  const int rank = runs - dispersion.residual_df;
  const std::vector<TermTest> tests = TermTests(design, dispersion, settings);
  const auto lowest = [&](int copies) {
    return Evaluate(tests, false, runs, rank, copies, settings.alpha).LowestPower();
  };
  const auto reaches = [&](int copies) {
    const double power = lowest(copies);
    return !IsUndefined(power) && power >= settings.target;
  };
  const int most = max_runs / runs;
  if (most < 1) return answer;
  // Power grows with the copies (delta, lambda and df all grow): double, then bisect.
  int high = 1;
  while (high < most && !reaches(high)) high = std::min(most, 2 * high);
  if (!reaches(high)) {
    answer.runs = high * runs;
    answer.copies = high;
    answer.lowest_power = lowest(high);
    return answer;
  }
  int low = high / 2;  // 0, or a count known to miss the target
  while (high - low > 1) {
    const int middle = low + (high - low) / 2;
    (reaches(middle) ? high : low) = middle;
  }
  answer.reached = true;
  answer.copies = high;
  answer.runs = high * runs;
  answer.lowest_power = lowest(high);
  return answer;
}

PowerAnalysis::RunsToTarget PowerAnalysis::RunsByOptimalDesign(const EvaluatedDesign& design,
                                                               const PowerSettings& settings,
                                                               int max_runs, const bool* cancel) {
  CheckSettings(settings);
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(EDesign::kDOptimal, "");
  if (builder == nullptr) {
    throw Exception(ExceptionMessage::translate("There is no design available."));
  }
  const Factors& factors = design.GetFactors();
  DesignOptions base;
  base.SetObjective(EObjective::kRSM);
  base.SetCenterPoints(0);
  base.SetMaxRuns(std::max(max_runs, 1));
  auto specific = std::make_unique<DOptimalOptions>();
  specific->SetModel(design.GetModel());
  if (design.GetConstraints() != nullptr) {
    specific->SetConstraints(std::make_unique<NCDOE::Constraints>(*design.GetConstraints()));
  }
  base.SetDesignSpecificOptions(std::move(specific));
  DesignOptions options = builder->MakeOptions(factors, base);
  options.SetCenterPoints(0);
  std::vector<int> sizes;
  for (const int runs : builder->GetCandidateRuns(factors, options)) {
    if (runs > design.GetModelColumns() && runs <= max_runs) sizes.push_back(runs);
  }
  RunsToTarget answer;
  if (sizes.empty()) {
    std::string message;
    if (!builder->IsValid(factors, options, &message)) throw Exception(message);
    return answer;
  }
  std::map<int, RunsToTarget> tried;
  const auto attempt = [&](int runs) -> const RunsToTarget& {
    if (const auto found = tried.find(runs); found != tried.end()) return found->second;
    DesignOptions sized = options;
    sized.SetRuns(runs);
    std::shared_ptr<NCDesign> made = builder->Generate(factors, sized, cancel);
    const EvaluatedDesign candidate =
        EvaluatedDesign::FromDesign(*made, factors, design.GetModel(), design.GetConstraints());
    const Results results = Compute(candidate, settings);
    RunsToTarget outcome;
    outcome.runs = made->GetRuns();
    outcome.reached = results.ReachesTarget(settings.target);
    outcome.lowest_power = results.LowestPower();
    outcome.design = std::move(made);
    return tried.emplace(runs, std::move(outcome)).first->second;
  };
  std::size_t high = sizes.size() - 1;
  if (!attempt(sizes[high]).reached) return attempt(sizes[high]);
  // Invariant: sizes[high] reaches the target; sizes[i] for i < low do not.
  std::size_t low = 0;
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (attempt(sizes[middle]).reached) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return attempt(sizes[high]);
}

}  // namespace zubra
