#include "zubra/platform/design/design_builder.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/internal/plate_builder.h"
#include "zubra/platform/design/internal/search_support.h"
#include "zubra/platform/design/mixture_region.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/design/split_plot_options.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// The optimal designs' model, constraints and inclusions name factors by their index among
// all factors, while the core of a design sees the varied factors only. Returns the options
// with them renumbered for the varied factors: a model term on a factor that is not varied is
// dropped (it cannot be estimated), a constraint term on a constant factor moves into the
// limit at the factor's value (the middle of its range), and the inclusions keep the columns
// of the varied factors; the plate designs' side lists are renumbered the same way; other
// options are returned as they are.
DesignOptions ForVariedFactors(const DesignOptions& options, const Factors& factors,
                               const std::vector<int>& varied_index) {
  DesignOptions renumbered = options;
  if (const auto* plate = dynamic_cast<const SplitPlotOptions*>(options.GetDesignSpecificOptions());
      plate != nullptr && static_cast<int>(varied_index.size()) != factors.GetCount()) {
    renumbered.SetDesignSpecificOptions(std::make_unique<SplitPlotOptions>(
        internal::PlateBuilder::ForVariedFactors(*plate, varied_index, factors.GetCount())));
    return renumbered;
  }
  auto* specific = dynamic_cast<DOptimalOptions*>(renumbered.GetDesignSpecificOptions());
  if (specific == nullptr || static_cast<int>(varied_index.size()) == factors.GetCount()) {
    return renumbered;
  }
  std::vector<int> position(static_cast<std::size_t>(factors.GetCount()), -1);
  for (std::size_t v = 0; v < varied_index.size(); ++v) {
    position[static_cast<std::size_t>(varied_index[v])] = static_cast<int>(v);
  }
  const auto varied_position = [&](int index) {
    return index >= 0 && index < factors.GetCount() ? position[static_cast<std::size_t>(index)]
                                                    : -1;
  };

  std::vector<DesignModel::Term> terms;
  for (const DesignModel::Term& term : specific->GetModel().GetTerms()) {
    DesignModel::Term mapped;
    mapped.reserve(term.size());
    for (int index : term) mapped.push_back(varied_position(index));
    if (std::find(mapped.begin(), mapped.end(), -1) == mapped.end()) {
      terms.push_back(std::move(mapped));
    }
  }
  specific->SetModel(DesignModel(std::move(terms)));

  if (const NCDOE::Constraints* constraints = specific->GetConstraints()) {
    auto mapped = std::make_unique<NCDOE::Constraints>();
    for (const NCDOE::Constraint& constraint : constraints->GetAll()) {
      double limit = constraint.GetLimit();
      std::vector<std::pair<int, double>> pairs;
      for (const auto& [index, coefficient] : constraint.GetPairs()) {
        const int v = varied_position(index);
        if (v >= 0) {
          pairs.emplace_back(v, coefficient);
        } else if (index >= 0 && index < factors.GetCount()) {
          const Factors::Factor& fixed = factors.GetFactor(index);
          if (fixed.use == CEUse::kConstant) limit -= coefficient * (fixed.low + fixed.high) / 2.0;
        }
      }
      NCDOE::Constraint renumbered_constraint(constraint.IsLessThan(), limit);
      for (const auto& [index, coefficient] : pairs)
        renumbered_constraint.AddPair(index, coefficient);
      mapped->Add(std::move(renumbered_constraint));
    }
    specific->SetConstraints(std::move(mapped));
  }

  const NCDataMatrix<float>& inclusions = specific->GetInclusions();
  if (inclusions.GetRows() > 0 && inclusions.GetCols() == factors.GetCount()) {
    NCDataMatrix<float> kept(inclusions.GetRows(), static_cast<int>(varied_index.size()));
    for (int r = 0; r < inclusions.GetRows(); ++r) {
      for (std::size_t v = 0; v < varied_index.size(); ++v) {
        kept(r, static_cast<int>(v)) = inclusions(r, varied_index[v]);
      }
    }
    specific->SetInclusions(std::move(kept));
  }
  return renumbered;
}

// The centre run moved into the region when the plain centre lies outside it: the centroid of
// the mixture region when the mixture's bounds or constraints cut the simplex's centroid away,
// and the centroid of the continuous process region when its constraints exclude the middle of
// the ranges. `center` is coded as NCDesign codes (pseudo-components for mixture factors).
// Regions that cannot be enumerated keep the plain centre.
std::vector<float> CenterInsideRegion(const Factors& varied, const DesignOptions& options,
                                      std::vector<float> center) {
  const auto* optimal = dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
  const NCDOE::Constraints* constraints = optimal != nullptr ? optimal->GetConstraints() : nullptr;
  const int n = varied.GetCount();
  std::vector<int> mixture;
  std::vector<int> continuous;
  double mixture_low = 0.0;
  for (int i = 0; i < n; ++i) {
    const Factors::Factor& factor = varied.GetFactor(i);
    if (factor.IsMixture()) {
      mixture.push_back(i);
      mixture_low += factor.low;
    } else if (factor.type == CEType::kQuantitative ||
               (factor.type == CEType::kTime && factor.levels.empty())) {
      continuous.push_back(i);
    }
  }
  const double free = varied.GetMixtureTotal() - mixture_low;
  const auto uncoded = [&](int i, double coded) {
    const Factors::Factor& factor = varied.GetFactor(i);
    if (factor.IsMixture()) return factor.low + free * coded;
    return (factor.low + factor.high) / 2.0 + coded * (factor.high - factor.low) / 2.0;
  };
  // The constraints that touch only the factors of `group`.
  const auto constraints_of = [&](const std::vector<int>& group) {
    std::vector<const NCDOE::Constraint*> found;
    if (constraints == nullptr) return found;
    for (const NCDOE::Constraint& constraint : constraints->GetAll()) {
      const bool inside =
          !constraint.IsEmpty() &&
          std::all_of(constraint.GetPairs().begin(), constraint.GetPairs().end(),
                      [&](const auto& pair) {
                        return std::find(group.begin(), group.end(), pair.first) != group.end();
                      });
      if (inside) found.push_back(&constraint);
    }
    return found;
  };
  // The centroid of the region over `group`, or nothing when it cannot be had.
  const auto centroid = [&](const std::vector<int>& group, bool is_mixture) {
    std::vector<double> low;
    std::vector<double> high;
    for (int i : group) {
      low.push_back(varied.GetFactor(i).low);
      high.push_back(varied.GetFactor(i).high);
    }
    std::vector<float> point(center);
    std::vector<double> values(group.size());
    for (std::size_t k = 0; k < group.size(); ++k) values[k] = uncoded(group[k], center[group[k]]);
    const std::vector<const NCDOE::Constraint*> cuts = constraints_of(group);
    bool outside = false;
    for (std::size_t k = 0; k < group.size(); ++k) {
      const double tolerance = 1e-9 * std::max(1.0, std::fabs(high[k] - low[k]));
      outside = outside || values[k] < low[k] - tolerance || values[k] > high[k] + tolerance;
    }
    std::vector<float> run(static_cast<std::size_t>(n), 0.0F);
    for (std::size_t k = 0; k < group.size(); ++k) {
      run[static_cast<std::size_t>(group[k])] = static_cast<float>(values[k]);
    }
    for (const NCDOE::Constraint* cut : cuts) outside = outside || cut->Excludes(run);
    if (!outside) return point;
    try {
      MixtureRegion region = is_mixture
                                 ? MixtureRegion::Mixture(low, high, varied.GetMixtureTotal())
                                 : MixtureRegion::Box(low, high);
      for (const NCDOE::Constraint* cut : cuts) {
        std::vector<double> coefficients(group.size(), 0.0);
        for (const auto& [index, coefficient] : cut->GetPairs()) {
          const auto at = std::find(group.begin(), group.end(), index) - group.begin();
          coefficients[static_cast<std::size_t>(at)] += coefficient;
        }
        // A "<" constraint excludes what lies below its limit: the region keeps the rest.
        region.AddConstraint(
            std::move(coefficients),
            cut->IsLessThan() ? MixtureRegion::Sense::kAtLeast : MixtureRegion::Sense::kAtMost,
            cut->GetLimit());
      }
      const MixtureRegion::Point middle = region.Compute().centroid;
      for (std::size_t k = 0; k < group.size(); ++k) {
        const Factors::Factor& factor = varied.GetFactor(group[k]);
        const double coded = is_mixture ? (free > 0.0 ? (middle[k] - factor.low) / free : 0.0)
                                        : (middle[k] - (factor.low + factor.high) / 2.0) /
                                              ((factor.high - factor.low) / 2.0);
        point[static_cast<std::size_t>(group[k])] = static_cast<float>(coded);
      }
    } catch (const Exception&) {
      // An empty or too large region keeps the plain centre.
    }
    return point;
  };
  if (mixture.size() >= 2) center = centroid(mixture, true);
  if (!continuous.empty() && constraints != nullptr) center = centroid(continuous, false);
  return center;
}

// One run of the finished design: a row of the design proper (or -1 for a centre point),
// its kind and block.
struct Placed {
  int source;
  NCDesign::RunKind kind;
  int block;
};

}  // namespace

bool DesignBuilder::IsValid(const Factors& factors, const DesignOptions& options,
                            std::string* message) const {
  int runs = 0;
  return CheckAll(factors, options, &runs, message);
}

bool DesignBuilder::CheckAll(const Factors& factors, const DesignOptions& options, int* runs,
                             std::string* message) const {
  if (!SupportsObjective(options.GetObjective())) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' does not serve the "
                                                       "objective '{}'.") %
                               GetName() % EObjective::GetString(options.GetObjective()));
  }
  const Factors varied = VariedFactors(factors);
  if (varied.GetCount() == 0) {
    return Refuse(message, ExceptionMessage::translate("There are no factors to vary."));
  }
  const DesignOptions core_options = ForVariedFactors(options, factors, factors.GetVaried());
  if (!CheckFactors(varied, message) || !CheckModel(varied, core_options, message)) return false;
  const std::vector<int> candidates = CandidateRuns(varied, core_options);
  if (candidates.empty()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' has no size for these "
                                                       "factors.") %
                               GetName());
  }
  *runs = options.GetRuns() == 0 ? candidates.front() : options.GetRuns();
  if (std::find(candidates.begin(), candidates.end(), *runs) == candidates.end()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' cannot have {} runs.") %
                               GetName() % *runs);
  }
  if (!CheckSpecific(varied, core_options, *runs, message)) return false;
  const std::vector<unsigned> blocks = BlockCounts(varied, core_options, *runs);
  if (std::find(blocks.begin(), blocks.end(), options.GetBlocks()) == blocks.end()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' cannot be divided into "
                                                       "{} blocks.") %
                               GetName() % options.GetBlocks());
  }
  if (options.GetCenterPoints() > 0 && !CenterPointsAllowed(varied)) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' cannot have centre "
                                                       "points for these factors.") %
                               GetName());
  }
  const int least = MinCenterPoints(varied, core_options);
  if (options.GetCenterPoints() < least) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' needs at least {} "
                                                       "centre points.") %
                               GetName() % least);
  }
  if (options.GetReplicatedRuns() > *runs) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' has only {} runs to "
                                                       "replicate.") %
                               GetName() % *runs);
  }
  const int total = options.GetTotalRuns(*runs);
  if (total > options.GetMaxRuns()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' takes {} runs, more "
                                                       "than the {} allowed.") %
                               GetName() % total % options.GetMaxRuns());
  }
  return true;
}

bool DesignBuilder::IsAdmissible(const Factors& factors, const DesignOptions& options,
                                 bool /*score_imported*/, bool /*redmup*/) const {
  if (!IsValid(factors, options)) return false;
  const int runs = options.GetRuns() == 0 ? GetDefaultRuns(factors, options) : options.GetRuns();
  const int columns = OptionsModel(factors, options).GetColumnCount(factors);
  return runs <= std::max(16, 4 * columns);
}

std::vector<int> DesignBuilder::GetCandidateRuns(const Factors& factors,
                                                 const DesignOptions& options) const {
  const Factors varied = VariedFactors(factors);
  if (varied.GetCount() == 0 || !CheckFactors(varied, nullptr)) return {};
  return CandidateRuns(varied, options);
}

int DesignBuilder::GetDefaultRuns(const Factors& factors, const DesignOptions& options) const {
  const std::vector<int> runs = GetCandidateRuns(factors, options);
  return runs.empty() ? 0 : runs.front();
}

int DesignBuilder::GetMaxRuns(const Factors& factors, const DesignOptions& options) const {
  const std::vector<int> runs = GetCandidateRuns(factors, options);
  return runs.empty() ? 0 : runs.back();
}

std::vector<unsigned> DesignBuilder::GetBlockCounts(const Factors& factors,
                                                    const DesignOptions& options, int runs) const {
  const Factors varied = VariedFactors(factors);
  if (varied.GetCount() == 0 || !CheckFactors(varied, nullptr)) return {1};
  if (runs == 0) runs = options.GetRuns();
  if (runs == 0) runs = GetDefaultRuns(factors, options);
  return BlockCounts(varied, options, runs);
}

int DesignBuilder::GetMinCenterPoints(const Factors& factors, const DesignOptions& options) const {
  const Factors varied = VariedFactors(factors);
  if (varied.GetCount() == 0 || !CheckFactors(varied, nullptr)) return 0;
  return MinCenterPoints(varied, options);
}

bool DesignBuilder::AllowsCenterPoints(const Factors& factors) const {
  const Factors varied = VariedFactors(factors);
  if (varied.GetCount() == 0 || !CheckFactors(varied, nullptr)) return false;
  return CenterPointsAllowed(varied);
}

bool DesignBuilder::IsPMInteraction(const Factors& /*factors*/,
                                    const DesignOptions& /*options*/) const {
  return false;
}

bool DesignBuilder::SetLayers(DesignOptions& /*options*/, int /*layers*/,
                              const Factors& /*factors*/) const {
  return false;
}

DesignOptions DesignBuilder::MakeOptions(const Factors& factors, const DesignOptions& base) const {
  DesignOptions options(base);
  options.SetGenerators(Generators());
  options.SetRuns(0);
  const int runs = GetDefaultRuns(factors, options);
  options.SetRuns(runs);
  const std::vector<unsigned> blocks = GetBlockCounts(factors, options, runs);
  if (std::find(blocks.begin(), blocks.end(), options.GetBlocks()) == blocks.end()) {
    options.SetBlocks(1);
  }
  if (!AllowsCenterPoints(factors)) {
    options.SetCenterPoints(0);
  } else {
    options.SetCenterPoints(
        std::max(options.GetCenterPoints(), GetMinCenterPoints(factors, options)));
  }
  options.SetReplicatedRuns(std::min(options.GetReplicatedRuns(), runs));
  return options;
}

std::unique_ptr<NCDesign> DesignBuilder::Generate(const Factors& factors,
                                                  const DesignOptions& options,
                                                  const bool* cancel) const {
  std::string message;
  int runs = 0;
  if (!CheckAll(factors, options, &runs, &message)) throw Exception(message);
  ThrowIfCancelled(cancel);
  const Factors varied = VariedFactors(factors);
  const std::vector<int> varied_index = factors.GetVaried();
  Core core = BuildCore(varied, ForVariedFactors(options, factors, varied_index), runs,
                        options.GetBlocks(), cancel);
  ThrowIfCancelled(cancel);
  const int core_runs = core.coded.GetRows();
  assert(core.coded.GetCols() == varied.GetCount());
  if (core.blocks.empty()) core.blocks.assign(static_cast<std::size_t>(core_runs), 1);
  if (core.kinds.empty()) {
    core.kinds.assign(static_cast<std::size_t>(core_runs), NCDesign::RunKind::kDesign);
  }

  // Place the runs block by block.
  const int blocks = static_cast<int>(options.GetBlocks());
  const int centers = options.GetCenterPoints();
  std::vector<Placed> placed;
  for (int b = 1; b <= blocks; ++b) {
    for (int copy = 0; copy <= options.GetReplicates(); ++copy) {
      for (int r = 0; r < core_runs; ++r) {
        if (core.blocks[static_cast<std::size_t>(r)] != b) continue;
        placed.push_back(
            {r, copy == 0 ? core.kinds[static_cast<std::size_t>(r)] : NCDesign::RunKind::kReplicate,
             b});
      }
    }
    for (int r = 0; r < options.GetReplicatedRuns() && r < core_runs; ++r) {
      if (core.blocks[static_cast<std::size_t>(r)] == b) {
        placed.push_back({r, NCDesign::RunKind::kReplicate, b});
      }
    }
    const int share = centers / blocks + (b <= centers % blocks ? 1 : 0);
    for (int c = 0; c < share; ++c) placed.push_back({-1, NCDesign::RunKind::kCenter, b});
  }

  // Fill both matrices over all factors.
  const std::vector<float> center = CenterInsideRegion(
      varied, ForVariedFactors(options, factors, varied_index), CenterPoint(varied));
  const int total = static_cast<int>(placed.size());
  NCDataMatrix<float> coded(total, factors.GetCount());
  NCDataMatrix<float> uncoded(total, factors.GetCount());
  double mixture_low = 0.0;
  for (const Factors::Factor& factor : varied.GetAll()) {
    if (factor.IsMixture()) mixture_low += factor.low;
  }
  const double mixture_free = factors.GetMixtureTotal() - mixture_low;
  for (int f = 0; f < factors.GetCount(); ++f) {
    const Factors::Factor& factor = factors.GetFactor(f);
    if (factor.IsVaried()) continue;
    const float fixed_coded = factor.IsQualitative() ? 1.0F : 0.0F;
    auto fixed_value = static_cast<float>(kUndefined);
    if (factor.use == CEUse::kConstant) {
      fixed_value =
          factor.IsQualitative() ? 1.0F : static_cast<float>((factor.low + factor.high) / 2.0);
    }
    for (int row = 0; row < total; ++row) {
      coded(row, f) = fixed_coded;
      uncoded(row, f) = fixed_value;
    }
  }
  for (std::size_t j = 0; j < varied_index.size(); ++j) {
    const int f = varied_index[j];
    const Factors::Factor& factor = factors.GetFactor(f);
    for (int row = 0; row < total; ++row) {
      const int source = placed[static_cast<std::size_t>(row)].source;
      float value = source < 0 ? center[j] : core.coded(source, static_cast<int>(j));
      if (factor.IsQualitative() && core.two_level) value = value < 0.0F ? 1.0F : 2.0F;
      coded(row, f) = value;
      if (factor.IsQualitative()) {
        uncoded(row, f) = value;
      } else if (factor.IsMixture()) {
        uncoded(row, f) =
            static_cast<float>(factor.low + mixture_free * static_cast<double>(value));
      } else {
        uncoded(row, f) = ProcessValue(factor, value);
      }
    }
  }
  std::vector<std::string> names;
  std::vector<int> run_blocks;
  std::vector<NCDesign::RunKind> kinds;
  std::vector<int> whole_plots;
  for (const Factors::Factor& factor : factors.GetAll()) names.push_back(factor.name);
  for (const Placed& run : placed) {
    run_blocks.push_back(run.block);
    kinds.push_back(run.kind);
    // A split-plot design has neither centre points nor replicates (its builder refuses them).
    if (!core.whole_plots.empty() && run.source >= 0) {
      whole_plots.push_back(core.whole_plots[static_cast<std::size_t>(run.source)]);
    }
  }
  if (whole_plots.size() != placed.size()) whole_plots.clear();
  return std::make_unique<NCDesign>(GetType(), GetName(), std::move(names), std::move(coded),
                                    std::move(uncoded), std::move(run_blocks), std::move(kinds),
                                    std::move(core.generators), std::move(whole_plots));
}

bool DesignBuilder::RefuseMixture(const Factors& factors, std::string* message) const {
  if (!factors.IsMixture()) return true;
  return Refuse(message, ExceptionMessage::translate("The design '{}' is for process factors "
                                                     "only.") %
                             GetName());
}

bool DesignBuilder::RefuseModel(EModel::Type model, std::string* message) const {
  return Refuse(message, ExceptionMessage::translate("The design '{}' does not support the model "
                                                     "'{}'.") %
                             GetName() % EModel::GetString(model));
}

float DesignBuilder::ProcessValue(const Factors::Factor& factor, float coded) {
  const double mid = (factor.low + factor.high) / 2.0;
  const double half = (factor.high - factor.low) / 2.0;
  double value = mid + static_cast<double>(coded) * half;
  // A factor with levels takes the level the coded value stands for, free of rounding.
  for (double level : factor.levels) {
    if (std::fabs(level - value) <= 1e-5 * half) value = level;
  }
  return static_cast<float>(value);
}

std::vector<float> DesignBuilder::DiscreteCodedLevels(const Factors::Factor& factor) {
  std::vector<float> coded;
  if (factor.IsQualitative()) {
    for (std::size_t s = 1; s <= factor.settings.size(); ++s) {
      coded.push_back(static_cast<float>(s));
    }
  } else if (!factor.levels.empty()) {
    const double mid = (factor.low + factor.high) / 2.0;
    const double half = (factor.high - factor.low) / 2.0;
    for (double level : factor.levels) coded.push_back(static_cast<float>((level - mid) / half));
  }
  return coded;
}

bool DesignBuilder::CheckSpecific(const Factors& /*factors*/, const DesignOptions& /*options*/,
                                  int /*runs*/, std::string* /*message*/) const {
  return true;
}

std::vector<unsigned> DesignBuilder::BlockCounts(const Factors& /*factors*/,
                                                 const DesignOptions& /*options*/,
                                                 int /*runs*/) const {
  return {1};
}

int DesignBuilder::MinCenterPoints(const Factors& /*factors*/,
                                   const DesignOptions& /*options*/) const {
  return 0;
}

bool DesignBuilder::CenterPointsAllowed(const Factors& factors) const {
  return std::none_of(factors.GetAll().begin(), factors.GetAll().end(),
                      [](const Factors::Factor& f) { return f.GetDiscreteLevels() > 0; });
}

std::vector<float> DesignBuilder::CenterPoint(const Factors& factors) const {
  const int mixtures = factors.GetMixtureCount();
  std::vector<float> center;
  for (const Factors::Factor& factor : factors.GetAll()) {
    center.push_back(factor.IsMixture() ? 1.0F / static_cast<float>(mixtures) : 0.0F);
  }
  return center;
}

bool DesignBuilder::Refuse(std::string* message, std::string text) {
  if (message != nullptr) *message = std::move(text);
  return false;
}

void DesignBuilder::ThrowIfCancelled(const bool* cancel) {
  // Another thread may set the flag meanwhile.
  if (internal::IsFlagSet(cancel)) throw CancelException();
}

Factors DesignBuilder::VariedFactors(const Factors& factors) {
  Factors varied;
  for (int index : factors.GetVaried()) {
    // The factor was accepted once, so it is accepted again.
    varied.Add(factors.GetFactor(index), nullptr);
  }
  return varied;
}

bool DesignBuilder::IsTwoLevelFactor(const Factors::Factor& factor) {
  return IsContinuous(factor) || factor.GetDiscreteLevels() == 2;
}

bool DesignBuilder::IsContinuous(const Factors::Factor& factor) {
  return factor.type == CEType::kQuantitative ||
         (factor.type == CEType::kTime && factor.levels.empty());
}

DesignModel DesignBuilder::OptionsModel(const Factors& factors, const DesignOptions& options) {
  return DesignModel::Make(factors, options.GetProcessModel(), options.GetMixtureModel());
}

}  // namespace zubra
