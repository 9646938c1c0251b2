#include "zubra/platform/design/internal/onion_builder.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numeric>
#include <utility>

#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/internal/d_optimal_builder.h"
#include "zubra/platform/design/internal/point_exchange.h"
#include "zubra/platform/design/onion_options.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

// A distance this close above a layer's outer edge still counts as inside it, so that float
// rounding of the grid's levels (steps of 1/L) never pushes a point one layer out.
constexpr double kEdgeTolerance = 1e-3;
// The smallest eigenvalue of X'X, relative to the largest, of a layer that supports the model.
constexpr double kRankTolerance = 1e-10;

// The continuous levels of the grid for `layers` layers: steps of 1/layers from -1 to +1.
int GridLevels(int layers) { return 2 * layers + 1; }

// The rows `rows` of `m`.
Eigen::MatrixXd SelectRows(const Eigen::MatrixXd& m, const std::vector<int>& rows) {
  Eigen::MatrixXd selected(static_cast<Eigen::Index>(rows.size()), m.cols());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    selected.row(static_cast<Eigen::Index>(i)) = m.row(rows[i]);
  }
  return selected;
}

}  // namespace

bool OnionBuilder::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kScreening || objective == EObjective::kRSM ||
         objective == EObjective::kRobustness || objective == EObjective::kOptimization;
}

bool OnionBuilder::SetLayers(DesignOptions& options, int layers, const Factors& factors) const {
  if (layers < 1 || layers > OnionOptions::kMaxLayers) return false;
  const std::vector<int> offered_before = GetCandidateRuns(factors, options);
  DesignOptions changed = options;
  if (changed.GetDesignSpecificOptions() == nullptr) {
    changed.SetDesignSpecificOptions(std::make_unique<OnionOptions>());
  }
  auto* onion = dynamic_cast<OnionOptions*>(changed.GetDesignSpecificOptions());
  if (onion == nullptr || !onion->SetNLayers(layers)) return false;
  changed.SetBlocks(onion->IsLayerSettingOn() ? static_cast<unsigned>(layers) : 1U);
  const std::vector<int> offered = GetCandidateRuns(factors, changed);
  const bool was_default = !offered_before.empty() && changed.GetRuns() == offered_before.front();
  if (changed.GetRuns() != 0 && (was_default || std::find(offered.begin(), offered.end(),
                                                          changed.GetRuns()) == offered.end())) {
    changed.SetRuns(offered.empty() ? 0 : offered.front());
  }
  const int runs =
      changed.GetRuns() != 0 ? changed.GetRuns() : (offered.empty() ? 0 : offered.front());
  if (runs > 0) changed.SetReplicatedRuns(std::min(changed.GetReplicatedRuns(), runs));
  options = std::move(changed);
  return true;
}

bool OnionBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  if (!RefuseMixture(factors, message)) return false;
  return true;
}

bool OnionBuilder::CheckModel(const Factors& factors, const DesignOptions& options,
                              std::string* message) const {
  const auto* specific = dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
  if (specific != nullptr && !specific->GetModel().GetTerms().empty()) {
    if (!specific->GetModel().IsValidFor(factors)) {
      return Refuse(message, ExceptionMessage::translate("The model of the design '{}' names a "
                                                         "factor that is not designed.") %
                                 GetName());
    }
  } else {
    const EModel::Type model = options.GetProcessModel();
    if (model < EModel::kLinear || model > EModel::kQuadratic) {
      return RefuseModel(model, message);
    }
  }
  const Settings settings = ReadSettings(options);
  const int least = MinRuns(factors, options);
  if (settings.total_runs > 0 && settings.total_runs < least) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' needs at least {} runs "
                                                       "over its {} layers, not {}.") %
                               GetName() % least % settings.layers % settings.total_runs);
  }
  return true;
}

bool OnionBuilder::CheckSpecific(const Factors& factors, const DesignOptions& options, int /*runs*/,
                                 std::string* message) const {
  const Settings settings = ReadSettings(options);
  // The layers' candidates and their model rows must fit in memory, as for the optimal designs.
  const std::size_t grid = CandidateSet::GridSize(factors, GridLevels(settings.layers));
  const auto columns =
      static_cast<std::size_t>(std::max(1, Model(factors, options).GetColumnCount(factors)));
  if (grid > CandidateSet::kDefaultMaxPoints ||
      grid > OptimalBuilder::kMaxCandidateEntries / columns) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' has too many candidate "
                                                       "runs for these factors.") %
                               GetName());
  }
  const Region region = MakeRegion(factors, settings.layers, Model(factors, options));
  for (std::size_t l = 0; l < region.members.size(); ++l) {
    if (region.members[l].empty()) {
      return Refuse(message, ExceptionMessage::translate("The layer {} of the design '{}' holds "
                                                         "no candidate runs.") %
                                 (l + 1) % GetName());
    }
  }
  if (!Supports(region.model_rows, region.members.front()) &&
      !Supports(region.model_rows, region.members.back())) {
    return Refuse(message, ExceptionMessage::translate("Neither the innermost nor the outermost "
                                                       "layer of the design '{}' has enough "
                                                       "candidate runs for the model.") %
                               GetName());
  }
  return true;
}

std::vector<int> OnionBuilder::CandidateRuns(const Factors& factors,
                                             const DesignOptions& options) const {
  if (!CheckModel(factors, options, nullptr)) return {};
  const int columns = Model(factors, options).GetColumnCount(factors);
  if (columns <= 0) return {};
  const Settings settings = ReadSettings(options);
  if (settings.total_runs > 0) return {settings.total_runs};
  const int least = settings.layers * columns;
  const int most = settings.layers * (2 * columns + kExtraRunsPerLayer);
  std::vector<int> runs(static_cast<std::size_t>(most - least + 1));
  std::iota(runs.begin(), runs.end(), least);
  return runs;
}

std::vector<unsigned> OnionBuilder::BlockCounts(const Factors& /*factors*/,
                                                const DesignOptions& options, int /*runs*/) const {
  const Settings settings = ReadSettings(options);
  if (settings.layer_blocks && settings.layers > 1) {
    return {1U, static_cast<unsigned>(settings.layers)};
  }
  return {1U};
}

DesignBuilder::Core OnionBuilder::BuildCore(const Factors& factors, const DesignOptions& options,
                                            int runs, unsigned blocks, const bool* cancel) const {
  const Settings settings = ReadSettings(options);
  const int layers = settings.layers;
  const Region region = MakeRegion(factors, layers, Model(factors, options));
  ThrowIfCancelled(cancel);
  const std::vector<int> shares = SplitRuns(runs, layers);
  const Eigen::Index columns = region.model_rows.cols();
  PointExchange::Options search;
  search.starts = kStarts;
  search.seed = options.GetSearchSeed() != 0 ? options.GetSearchSeed() : kSeed;
  search.threads = options.GetThreads();

  double best_log_det = -std::numeric_limits<double>::infinity();
  std::vector<std::vector<int>> best;  // the chosen candidate rows of each layer
  for (const bool inner_first : {true, false}) {
    if (!inner_first && layers == 1) break;
    const int first = inner_first ? 0 : layers - 1;
    if (!Supports(region.model_rows, region.members[static_cast<std::size_t>(first)])) continue;
    std::vector<std::vector<int>> chosen(static_cast<std::size_t>(layers));
    Eigen::MatrixXd forced(0, columns);
    double log_det = 0.0;
    for (int step = 0; step < layers; ++step) {
      const auto layer = static_cast<std::size_t>(inner_first ? step : layers - 1 - step);
      const std::vector<int>& members = region.members[layer];
      const PointExchange::Result result = PointExchange::Search(
          SelectRows(region.model_rows, members), forced, shares[layer], search, cancel);
      const Eigen::Index before = forced.rows();
      forced.conservativeResize(before + static_cast<Eigen::Index>(result.rows.size()), columns);
      for (std::size_t i = 0; i < result.rows.size(); ++i) {
        const int row = members[static_cast<std::size_t>(result.rows[i])];
        chosen[layer].push_back(row);
        forced.row(before + static_cast<Eigen::Index>(i)) = region.model_rows.row(row);
      }
      log_det = result.log_det;
    }
    if (best.empty() || log_det > best_log_det) {
      best_log_det = log_det;
      best = std::move(chosen);
    }
  }
  if (best.empty()) {
    // CheckSpecific refuses such options, so this is reached only when they were not checked.
    throw Exception(ExceptionMessage::translate("Neither the innermost nor the outermost layer "
                                                "of the design '{}' has enough candidate runs "
                                                "for the model.") %
                    GetName());
  }

  const bool layer_blocks =
      settings.layer_blocks && layers > 1 && blocks == static_cast<unsigned>(layers);
  Core core;
  core.coded = NCDataMatrix<float>(runs, factors.GetCount());
  int r = 0;
  for (std::size_t layer = 0; layer < best.size(); ++layer) {
    for (int source : best[layer]) {
      for (int c = 0; c < factors.GetCount(); ++c) {
        core.coded(r, c) = region.candidates.GetCoded()(source, c);
      }
      if (layer_blocks) core.blocks.push_back(static_cast<int>(layer) + 1);
      ++r;
    }
  }
  return core;
}

OnionBuilder::Settings OnionBuilder::ReadSettings(const DesignOptions& options) {
  Settings settings;
  if (const auto* onion = dynamic_cast<const OnionOptions*>(options.GetDesignSpecificOptions())) {
    settings.layers = onion->GetNLayers();
    settings.layer_blocks = onion->IsLayerSettingOn();
    settings.total_runs = onion->GetTotalLayerRuns();
  } else {
    const OnionOptions defaults;
    settings.layers = defaults.GetNLayers();
    settings.layer_blocks = defaults.IsLayerSettingOn();
    settings.total_runs = defaults.GetTotalLayerRuns();
  }
  return settings;
}

DesignModel OnionBuilder::Model(const Factors& factors, const DesignOptions& options) {
  const auto* specific = dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
  if (specific != nullptr && !specific->GetModel().GetTerms().empty()) return specific->GetModel();
  return DesignModel::Make(factors, options.GetProcessModel(), EModel::kNone);
}

int OnionBuilder::MinRuns(const Factors& factors, const DesignOptions& options) {
  return ReadSettings(options).layers * Model(factors, options).GetColumnCount(factors);
}

OnionBuilder::Region OnionBuilder::MakeRegion(const Factors& factors, int layers,
                                              const DesignModel& model) {
  Region region;
  region.candidates = CandidateSet::Make(factors, GridLevels(layers), nullptr);
  region.model_rows = model.Expand(factors, region.candidates.GetCoded());
  region.members.resize(static_cast<std::size_t>(layers));
  const std::vector<int> layer_of = LayerOf(factors, region.candidates.GetCoded(), layers);
  for (std::size_t r = 0; r < layer_of.size(); ++r) {
    region.members[static_cast<std::size_t>(layer_of[r] - 1)].push_back(static_cast<int>(r));
  }
  return region;
}

std::vector<int> OnionBuilder::LayerOf(const Factors& factors, const NCDataMatrix<float>& coded,
                                       int layers) {
  std::vector<int> layer_of(static_cast<std::size_t>(coded.GetRows()));
  for (int r = 0; r < coded.GetRows(); ++r) {
    double distance = 0.0;
    for (int c = 0; c < factors.GetCount(); ++c) {
      if (factors.GetFactor(c).IsQualitative()) continue;
      distance = std::max(distance, std::fabs(static_cast<double>(coded(r, c))));
    }
    const double edge = std::ceil(distance * layers - kEdgeTolerance);
    layer_of[static_cast<std::size_t>(r)] = std::clamp(static_cast<int>(edge), 1, layers);
  }
  return layer_of;
}

std::vector<int> OnionBuilder::SplitRuns(int runs, int layers) {
  std::vector<int> shares(static_cast<std::size_t>(layers), runs / layers);
  const int left_over = runs % layers;
  for (int l = layers - left_over; l < layers; ++l) ++shares[static_cast<std::size_t>(l)];
  return shares;
}

bool OnionBuilder::Supports(const Eigen::MatrixXd& model_rows, const std::vector<int>& rows) {
  const Eigen::Index columns = model_rows.cols();
  if (static_cast<Eigen::Index>(rows.size()) < columns) return false;
  Eigen::MatrixXd information = Eigen::MatrixXd::Zero(columns, columns);
  for (int r : rows) {
    information.selfadjointView<Eigen::Lower>().rankUpdate(model_rows.row(r).transpose());
  }
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> eigen(
      Eigen::MatrixXd(information.selfadjointView<Eigen::Lower>()), Eigen::EigenvaluesOnly);
  const Eigen::VectorXd& values = eigen.eigenvalues();  // ascending
  return values(columns - 1) > 0.0 && values(0) > kRankTolerance * values(columns - 1);
}

}  // namespace zubra::internal
