#include "zubra/platform/design/internal/plate_builder.h"

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <random>
#include <utility>

#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/internal/point_exchange.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

// The factors at `positions` of `factors`, as Factors of their own.
Factors Subset(const Factors& factors, const std::vector<int>& positions) {
  Factors subset;
  for (int f : positions) {
    // Each factor was accepted into `factors`, so it is accepted again.
    subset.Add(factors.GetFactor(f), nullptr);
  }
  return subset;
}

// A random order of 0..n-1 (Fisher-Yates on the engine's raw output, which the standard
// fixes, so that a seed gives the same order with every standard library).
std::vector<int> Permutation(int n, std::mt19937_64& rng) {
  std::vector<int> order(static_cast<std::size_t>(n));
  std::iota(order.begin(), order.end(), 0);
  for (int i = n - 1; i > 0; --i) {
    const auto j = static_cast<std::size_t>(rng() % static_cast<std::uint64_t>(i + 1));
    std::swap(order[static_cast<std::size_t>(i)], order[j]);
  }
  return order;
}

const SplitPlotOptions* PlateSettings(const DesignOptions& options) {
  return dynamic_cast<const SplitPlotOptions*>(options.GetDesignSpecificOptions());
}

}  // namespace

// One side of the plate as it will be built.
struct PlateBuilder::SidePlan {
  std::vector<int> positions;  // the side's factors among the designed ones
  Factors factors;             // the same factors on their own
  DesignModel model;           // over `factors`
  int runs = 0;
  std::optional<Generators> factorial;  // set for a two-level factorial side
};

struct PlateBuilder::Plan {
  SidePlan horizontal;
  SidePlan vertical;
  int plates = 1;
  int total = 0;
};

bool PlateBuilder::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kScreening || objective == EObjective::kRSM ||
         objective == EObjective::kRobustness || objective == EObjective::kOptimization;
}

bool PlateBuilder::IsAdmissible(const Factors& factors, const DesignOptions& options,
                                bool /*score_imported*/, bool redmup) const {
  return redmup && IsValid(factors, options);
}

DesignModel PlateBuilder::Model(const Factors& factors, const SplitPlotOptions& plate) {
  const auto known = [&factors](const std::vector<int>& indexes) {
    std::vector<int> kept;
    for (int f : indexes) {
      if (f >= 0 && f < factors.GetCount() && std::find(kept.begin(), kept.end(), f) == kept.end())
        kept.push_back(f);
    }
    return kept;
  };
  const std::vector<int> horizontal = known(plate.Horizontal().factors);
  const std::vector<int> vertical = known(plate.Vertical().factors);
  std::vector<DesignModel::Term> terms{{}};
  for (const auto& [positions, model] : {std::pair{horizontal, plate.Horizontal().model},
                                         std::pair{vertical, plate.Vertical().model}}) {
    const Factors side = Subset(factors, positions);
    const DesignModel side_model = DesignModel::Make(side, model, EModel::kNone);
    for (const DesignModel::Term& term : side_model.GetTerms()) {
      if (term.empty()) continue;
      DesignModel::Term mapped;
      for (int f : term) mapped.push_back(positions[static_cast<std::size_t>(f)]);
      terms.push_back(std::move(mapped));
    }
  }
  if (plate.AddsPlateInteractions()) {
    for (int h : horizontal) {
      for (int v : vertical) terms.push_back({h, v});
    }
  }
  return DesignModel(std::move(terms));
}

SplitPlotOptions PlateBuilder::ForVariedFactors(const SplitPlotOptions& plate,
                                                const std::vector<int>& varied_index,
                                                int factor_count) {
  SplitPlotOptions renumbered = plate;
  for (SplitPlotOptions::Side* side : {&renumbered.Horizontal(), &renumbered.Vertical()}) {
    std::vector<int> mapped;
    for (int index : side->factors) {
      const auto found = std::find(varied_index.begin(), varied_index.end(), index);
      if (found != varied_index.end()) {
        mapped.push_back(static_cast<int>(found - varied_index.begin()));
      } else if (index < 0 || index >= factor_count) {
        mapped.push_back(-1);
      }
    }
    side->factors = std::move(mapped);
  }
  return renumbered;
}

bool PlateBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  if (!RefuseMixture(factors, message)) return false;
  return true;
}

bool PlateBuilder::CheckModel(const Factors& factors, const DesignOptions& options,
                              std::string* message) const {
  Plan plan;
  return MakePlan(factors, options, &plan, message);
}

bool PlateBuilder::CheckSpecific(const Factors& /*factors*/, const DesignOptions& options,
                                 int /*runs*/, std::string* message) const {
  if (options.GetReplicates() > 0 || options.GetReplicatedRuns() > 0) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' is repeated by its "
                                                       "plates; it takes no replicates or "
                                                       "replicated runs.") %
                               GetName());
  }
  return true;
}

std::vector<int> PlateBuilder::CandidateRuns(const Factors& factors,
                                             const DesignOptions& options) const {
  Plan plan;
  if (!MakePlan(factors, options, &plan, nullptr)) return {};
  return {plan.total};
}

std::vector<unsigned> PlateBuilder::BlockCounts(const Factors& /*factors*/,
                                                const DesignOptions& options, int /*runs*/) const {
  const SplitPlotOptions* plate = PlateSettings(options);
  if (plate == nullptr || !plate->AddsBlockFactor() || plate->GetPlates() < 2) return {1};
  return {1, static_cast<unsigned>(plate->GetPlates())};
}

bool PlateBuilder::CenterPointsAllowed(const Factors& /*factors*/) const { return false; }

bool PlateBuilder::MakePlan(const Factors& factors, const DesignOptions& options, Plan* plan,
                            std::string* message) const {
  const SplitPlotOptions* plate = PlateSettings(options);
  if (plate == nullptr) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' needs the plate "
                                                       "settings.") %
                               GetName());
  }
  if (plate->GetPlates() < 1) {
    return Refuse(message, ExceptionMessage::translate("The number of plates must be at least "
                                                       "1, not {}.") %
                               plate->GetPlates());
  }
  if (plate->GetPlateSize() < 1) {
    return Refuse(message, ExceptionMessage::translate("The plate size must be at least 1, not "
                                                       "{}.") %
                               plate->GetPlateSize());
  }
  const std::array<std::pair<const SplitPlotOptions::Side*, std::string>, 2> sides = {
      {{&plate->Horizontal(), "horizontal"}, {&plate->Vertical(), "vertical"}}};
  std::vector<int> side_of(static_cast<std::size_t>(factors.GetCount()), -1);
  for (int s = 0; s < 2; ++s) {
    const auto& [side, name] = sides[static_cast<std::size_t>(s)];
    if (side->factors.empty()) {
      return Refuse(message, ExceptionMessage::translate("The {} side of the plate has no "
                                                         "factors.") %
                                 name);
    }
    for (int f : side->factors) {
      if (f < 0 || f >= factors.GetCount()) {
        return Refuse(message, ExceptionMessage::translate("The plate settings name a factor "
                                                           "that is not designed."));
      }
      int& placed = side_of[static_cast<std::size_t>(f)];
      if (placed == s) {
        return Refuse(message, ExceptionMessage::translate("The factor '{}' is named twice on "
                                                           "the {} side of the plate.") %
                                   factors.GetFactor(f).name % name);
      }
      if (placed >= 0) {
        return Refuse(message, ExceptionMessage::translate("The factor '{}' is on both sides "
                                                           "of the plate.") %
                                   factors.GetFactor(f).name);
      }
      placed = s;
    }
  }
  for (int f = 0; f < factors.GetCount(); ++f) {
    if (side_of[static_cast<std::size_t>(f)] < 0) {
      return Refuse(message, ExceptionMessage::translate("The factor '{}' is on neither side of "
                                                         "the plate.") %
                                 factors.GetFactor(f).name);
    }
  }
  if (!MakeSidePlan(factors, plate->Horizontal(), sides[0].second, &plan->horizontal, message) ||
      !MakeSidePlan(factors, plate->Vertical(), sides[1].second, &plan->vertical, message)) {
    return false;
  }
  const long long wells = static_cast<long long>(plan->horizontal.runs) * plan->vertical.runs;
  if (wells > plate->GetPlateSize()) {
    return Refuse(message, ExceptionMessage::translate("A plate of {} wells cannot hold the {} x "
                                                       "{} runs of its sides.") %
                               plate->GetPlateSize() % plan->horizontal.runs % plan->vertical.runs);
  }
  const long long total = wells * plate->GetPlates();
  if (total > INT_MAX) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' has too many runs for "
                                                       "these factors.") %
                               GetName());
  }
  plan->plates = plate->GetPlates();
  plan->total = static_cast<int>(total);
  return true;
}

bool PlateBuilder::MakeSidePlan(const Factors& factors, const SplitPlotOptions::Side& side,
                                const std::string& name, SidePlan* plan,
                                std::string* message) const {
  if (side.model < EModel::kLinear || side.model > EModel::kQuadratic) {
    return Refuse(message, ExceptionMessage::translate("The {} side of the plate does not "
                                                       "support the model '{}'.") %
                               name % EModel::GetString(side.model));
  }
  plan->positions = side.factors;
  plan->factors = Subset(factors, side.factors);
  if (side.model == EModel::kQuadratic) {
    for (const Factors::Factor& factor : plan->factors.GetAll()) {
      if (!factor.IsQualitative() && factor.GetDiscreteLevels() == 2) {
        return Refuse(message, ExceptionMessage::translate("The factor '{}' needs at least three "
                                                           "levels for the quadratic model.") %
                                   factor.name);
      }
    }
  }
  plan->model = DesignModel::Make(plan->factors, side.model, EModel::kNone);
  const int columns = plan->model.GetColumnCount(plan->factors);
  const int k = plan->factors.GetCount();
  const auto& all = plan->factors.GetAll();
  const bool two_level =
      side.model != EModel::kQuadratic && std::all_of(all.begin(), all.end(), IsTwoLevelFactor);
  if (two_level) {
    if (k == 1) {
      if (side.runs == 0 || side.runs == 2) {
        plan->factorial = Generators(1, {}, {});
        plan->runs = 2;
        return true;
      }
    } else {
      const bool linear = side.model == EModel::kLinear;
      const std::vector<int> preferred = Generators::GetTableRuns(linear ? 4 : 5, k);
      const std::vector<int> supporting = Generators::GetTableRuns(linear ? 3 : 5, k);
      int runs = 0;
      if (side.runs == 0 && !preferred.empty()) {
        runs = preferred.front();
      } else if (std::find(supporting.begin(), supporting.end(), side.runs) != supporting.end()) {
        runs = side.runs;
      }
      if (runs > 0) {
        // The table answers for every run count it listed.
        plan->factorial = Generators::FromTable(linear ? 3 : 5, k, runs, 0);
        plan->runs = runs;
        return true;
      }
    }
  }
  plan->factorial.reset();
  plan->runs = side.runs == 0 ? columns : side.runs;
  if (plan->runs < columns) {
    return Refuse(message, ExceptionMessage::translate("The {} side of the plate needs at least "
                                                       "{} runs for its model, not {}.") %
                               name % columns % plan->runs);
  }
  if (CandidateSet::GridSize(plan->factors, kCandidateLevels) > CandidateSet::kDefaultMaxPoints) {
    return Refuse(message, ExceptionMessage::translate("The {} side of the plate has too many "
                                                       "candidate runs.") %
                               name);
  }
  return true;
}

NCDataMatrix<float> PlateBuilder::BuildSide(const SidePlan& plan, const DesignOptions& options,
                                            const bool* cancel) {
  const int k = plan.factors.GetCount();
  NCDataMatrix<float> coded(plan.runs, k);
  if (plan.factorial) {
    const NCDataMatrix<float> design = plan.factorial->MakeDesign();
    for (int r = 0; r < plan.runs; ++r) {
      for (int j = 0; j < k; ++j) {
        float value = design(r, j);
        // A qualitative factor of two settings takes its first setting for -1.
        if (plan.factors.GetFactor(j).IsQualitative()) value = value < 0.0F ? 1.0F : 2.0F;
        coded(r, j) = value;
      }
    }
    return coded;
  }
  const CandidateSet candidates = CandidateSet::Make(plan.factors, kCandidateLevels, nullptr);
  ThrowIfCancelled(cancel);
  const Eigen::MatrixXd f = plan.model.Expand(plan.factors, candidates.GetCoded());
  PointExchange::Options search;
  search.starts = kStarts;
  search.seed = options.GetSearchSeed() != 0 ? options.GetSearchSeed() : kSeed;
  search.threads = options.GetThreads();
  const PointExchange::Result result =
      PointExchange::Search(f, Eigen::MatrixXd(0, f.cols()), plan.runs, search, cancel);
  for (int r = 0; r < plan.runs; ++r) {
    const int source = result.rows[static_cast<std::size_t>(r)];
    for (int j = 0; j < k; ++j) coded(r, j) = candidates.GetCoded()(source, j);
  }
  return coded;
}

DesignBuilder::Core PlateBuilder::BuildCore(const Factors& factors, const DesignOptions& options,
                                            int runs, unsigned blocks, const bool* cancel) const {
  Plan plan;
  // The options were checked, so the plan exists and has `runs` runs.
  MakePlan(factors, options, &plan, nullptr);
  const NCDataMatrix<float> horizontal = BuildSide(plan.horizontal, options, cancel);
  const NCDataMatrix<float> vertical = BuildSide(plan.vertical, options, cancel);
  const int rows = horizontal.GetRows();
  const int columns = vertical.GetRows();
  Core core;
  core.coded = NCDataMatrix<float>(runs, factors.GetCount());
  if (blocks > 1) core.blocks.resize(static_cast<std::size_t>(runs));
  std::mt19937_64 rng(options.GetSearchSeed() != 0 ? options.GetSearchSeed() : kSeed);
  for (int p = 0; p < plan.plates; ++p) {
    ThrowIfCancelled(cancel);
    const std::vector<int> row_order = Permutation(rows, rng);
    const std::vector<int> column_order = Permutation(columns, rng);
    for (int r = 0; r < rows; ++r) {
      for (int c = 0; c < columns; ++c) {
        const int run = (p * rows + r) * columns + c;
        const int h = row_order[static_cast<std::size_t>(r)];
        const int v = column_order[static_cast<std::size_t>(c)];
        for (std::size_t j = 0; j < plan.horizontal.positions.size(); ++j) {
          core.coded(run, plan.horizontal.positions[j]) = horizontal(h, static_cast<int>(j));
        }
        for (std::size_t j = 0; j < plan.vertical.positions.size(); ++j) {
          core.coded(run, plan.vertical.positions[j]) = vertical(v, static_cast<int>(j));
        }
        if (blocks > 1) core.blocks[static_cast<std::size_t>(run)] = p + 1;
      }
    }
  }
  return core;
}

}  // namespace zubra::internal
