#include "zubra/platform/design/internal/d_optimal_builder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <random>
#include <span>
#include <utility>

#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/internal/coordinate_exchange.h"
#include "zubra/platform/design/internal/model_rows.h"
#include "zubra/platform/design/internal/whole_plot_exchange.h"
#include "zubra/platform/design/process_mixture_options.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

const DOptimalOptions* Specific(const DesignOptions& options) {
  return dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
}

// The seed of the search: the options' search seed, or the builders' own.
std::uint64_t Seed(const DesignOptions& options) {
  return options.GetSearchSeed() != 0 ? options.GetSearchSeed() : OptimalBuilder::kSeed;
}

// The inclusions of the options, or an empty matrix.
const NCDataMatrix<float>& Inclusions(const DesignOptions& options) {
  static const NCDataMatrix<float> kNone;
  const DOptimalOptions* specific = Specific(options);
  return specific == nullptr ? kNone : specific->GetInclusions();
}

// The coded value (see NCDesign) of an uncoded value of a varied factor; `mixture_free` is the
// part of the mixture total above the sum of the mixture factors' lower bounds.
float Code(const Factors::Factor& factor, float value, double mixture_free) {
  if (factor.IsQualitative()) return value;
  if (factor.IsMixture()) {
    return static_cast<float>((static_cast<double>(value) - factor.low) / mixture_free);
  }
  const double half = (factor.high - factor.low) / 2.0;
  return static_cast<float>((static_cast<double>(value) - (factor.low + factor.high) / 2.0) / half);
}

// The inclusions coded, one row per inclusion.
NCDataMatrix<float> CodedInclusions(const Factors& factors, const NCDataMatrix<float>& uncoded) {
  double mixture_low = 0.0;
  for (const Factors::Factor& factor : factors.GetAll()) {
    if (factor.IsMixture()) mixture_low += factor.low;
  }
  const double mixture_free = factors.GetMixtureTotal() - mixture_low;
  NCDataMatrix<float> coded(uncoded.GetRows(), factors.GetCount());
  for (int r = 0; r < uncoded.GetRows(); ++r) {
    for (int c = 0; c < factors.GetCount(); ++c) {
      coded(r, c) = Code(factors.GetFactor(c), uncoded(r, c), mixture_free);
    }
  }
  return coded;
}

// The stacked candidate model rows of `blocks` blocks: block b's copy of `f` followed by the
// effect-coded block columns (block b < B: +1 in column b; block B: -1 in every column).
Eigen::MatrixXd WithBlockColumns(const Eigen::MatrixXd& f, unsigned blocks, int block) {
  const auto extra = static_cast<Eigen::Index>(blocks - 1);
  Eigen::MatrixXd x(f.rows(), f.cols() + extra);
  x.leftCols(f.cols()) = f;
  x.rightCols(extra).setZero();
  if (block == static_cast<int>(blocks)) {
    x.rightCols(extra).setConstant(-1.0);
  } else {
    x.col(f.cols() + block - 1).setOnes();
  }
  return x;
}

// The grid a coordinate search walks through: every factor's values, coded and uncoded.
struct Grid {
  std::vector<std::vector<CandidateSet::Value>> values;
  std::vector<std::vector<float>> levels;  // coded

  Grid(const Factors& factors, int candidate_levels)
      : values(CandidateSet::GridValues(factors, candidate_levels)) {
    for (const auto& factor : values) {
      std::vector<float>& coded = levels.emplace_back();
      for (const CandidateSet::Value& value : factor) coded.push_back(value.coded);
    }
  }

  // The test of a coded grid point against the constraints (empty when there are none). The
  // grid and the constraints must outlive it.
  [[nodiscard]] CoordinateExchange::Exclusion Exclusion(
      const NCDOE::Constraints* constraints) const {
    if (constraints == nullptr || constraints->GetCount() == 0) return {};
    return [this, constraints](std::span<const float> point) {
      std::vector<float> uncoded(values.size());
      for (std::size_t c = 0; c < values.size(); ++c) {
        // The grid value whose coded form this is.
        const auto& own = values[c];
        const auto match = std::find_if(own.begin(), own.end(), [&](const CandidateSet::Value& v) {
          return v.coded == point[c];
        });
        uncoded[c] = match == own.end() ? 0.0F : match->uncoded;
      }
      return constraints->Excludes(uncoded);
    };
  }
};

// The mean of f f' over `count` random admitted points of the grid, drawn from `seed`: the
// moments of a constrained region too large to enumerate. Throws Exception when 1000 draws
// in a row find no admitted point.
Eigen::MatrixXd SampledMoments(const Grid& grid, const ModelRows& rows,
                               const CoordinateExchange::Exclusion& excluded, int count,
                               std::uint64_t seed, const bool* cancel) {
  constexpr int kChunk = 1000;
  constexpr int kDraws = 1000;
  const LevelRows table(rows, grid.levels);
  const int p = rows.Columns();
  const auto factors = static_cast<int>(grid.levels.size());
  std::mt19937_64 rng(seed);
  Eigen::MatrixXd moments = Eigen::MatrixXd::Zero(p, p);
  Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor> chunk(kChunk, p);
  std::vector<int> point(static_cast<std::size_t>(factors));
  std::vector<float> coded(static_cast<std::size_t>(factors));
  int filled = 0;
  for (int drawn = 0; drawn < count; ++drawn) {
    bool admitted = false;
    for (int draw = 0; draw < kDraws && !admitted; ++draw) {
      for (int k = 0; k < factors; ++k) {
        const auto size = grid.levels[static_cast<std::size_t>(k)].size();
        point[static_cast<std::size_t>(k)] =
            static_cast<int>(std::uniform_int_distribution<std::size_t>(0, size - 1)(rng));
        coded[static_cast<std::size_t>(k)] =
            grid.levels[static_cast<std::size_t>(k)][static_cast<std::size_t>(point[k])];
      }
      admitted = !excluded || !excluded(coded);
    }
    if (!admitted) {
      throw Exception(ExceptionMessage::translate("No admitted run was found among {} random "
                                                  "points of the region.") %
                      kDraws);
    }
    table.Row(point.data(), chunk.row(filled++).data());
    if (filled == kChunk || drawn + 1 == count) {
      if (IsFlagSet(cancel)) throw CancelException();
      moments.selfadjointView<Eigen::Lower>().rankUpdate(chunk.topRows(filled).transpose());
      filled = 0;
    }
  }
  moments = moments.selfadjointView<Eigen::Lower>();
  return moments / static_cast<double>(count);
}

}  // namespace

EDesign::Type OptimalBuilder::GetType() const {
  switch (criterion_) {
    case Criterion::kI:
      return EDesign::kIOptimal;
    case Criterion::kA:
      return EDesign::kAOptimal;
    case Criterion::kD:
      break;
  }
  return EDesign::kDOptimal;
}

std::string OptimalBuilder::GetName() const {
  switch (criterion_) {
    case Criterion::kI:
      return "I-Optimal";
    case Criterion::kA:
      return "A-Optimal";
    case Criterion::kD:
      break;
  }
  return "D-Optimal";
}

std::int8_t OptimalBuilder::GetRank() const {
  switch (criterion_) {
    case Criterion::kI:
      return 101;
    case Criterion::kA:
      return 102;
    case Criterion::kD:
      break;
  }
  return 100;
}

bool OptimalBuilder::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kScreening || objective == EObjective::kRSM ||
         objective == EObjective::kRobustness || objective == EObjective::kOptimization ||
         objective == EObjective::kProcessMixture;
}

bool OptimalBuilder::CheckFactors(const Factors& /*factors*/, std::string* /*message*/) const {
  return true;
}

bool OptimalBuilder::CheckModel(const Factors& factors, const DesignOptions& options,
                                std::string* message) const {
  const DOptimalOptions* specific = Specific(options);
  if (specific != nullptr && !specific->GetModel().GetTerms().empty()) {
    if (!specific->GetModel().IsValidFor(factors)) {
      return Refuse(message, ExceptionMessage::translate("The model of the design '{}' names a "
                                                         "factor that is not designed.") %
                                 GetName());
    }
    return CheckModelSize(factors, options, message);
  }
  if (options.GetObjective() == EObjective::kProcessMixture && !factors.IsProcessAndMixture()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' serves the process and "
                                                       "mixture objective only with both kinds "
                                                       "of factors.") %
                               GetName());
  }
  if (factors.GetProcessCount() > 0) {
    const EModel::Type model = options.GetProcessModel();
    if (model < EModel::kLinear || model > EModel::kQuadratic) return RefuseModel(model, message);
  }
  if (factors.IsMixture()) {
    const EModel::Type model = options.GetMixtureModel();
    if (model < EModel::kLinear || model > EModel::kCubic || model == EModel::kInteraction) {
      return RefuseModel(model, message);
    }
  }
  return CheckModelSize(factors, options, message);
}

bool OptimalBuilder::CheckModelSize(const Factors& factors, const DesignOptions& options,
                                    std::string* message) const {
  const int columns = Model(factors, options).GetColumnCount(factors);
  if (columns > kMaxColumns) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' cannot support a model "
                                                       "of {} columns.") %
                               GetName() % columns);
  }
  return true;
}

bool OptimalBuilder::CheckSpecific(const Factors& factors, const DesignOptions& options, int runs,
                                   std::string* message) const {
  std::size_t grid = 0;
  try {
    // Counting the mixture candidates finds an empty mixture region.
    grid = CandidateSet::GridSize(factors, CandidateLevels(options));
  } catch (const Exception& e) {
    return Refuse(message, e.what());
  }
  if (IsSplitPlot(factors)) return CheckSplitPlot(factors, options, runs, message);
  // What coordinate exchange cannot take over must fit in memory as a candidate set.
  const auto columns =
      static_cast<std::size_t>(std::max(1, Model(factors, options).GetColumnCount(factors)));
  if (!UsesCoordinateExchange(factors, options) &&
      (grid > CandidateSet::kDefaultMaxPoints || grid > kMaxCandidateEntries / columns)) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' has too many candidate "
                                                       "runs for these factors.") %
                               GetName());
  }
  const NCDataMatrix<float>& inclusions = Inclusions(options);
  if (inclusions.GetRows() == 0) return true;
  if (inclusions.GetCols() != factors.GetCount()) {
    return Refuse(message, ExceptionMessage::translate("The inclusions have {} columns; the "
                                                       "design has {} factors.") %
                               inclusions.GetCols() % factors.GetCount());
  }
  if (inclusions.GetRows() > runs) {
    return Refuse(message, ExceptionMessage::translate("The design of {} runs cannot hold the "
                                                       "{} inclusions.") %
                               runs % inclusions.GetRows());
  }
  for (int r = 0; r < inclusions.GetRows(); ++r) {
    for (int c = 0; c < factors.GetCount(); ++c) {
      const float value = inclusions(r, c);
      const Factors::Factor& factor = factors.GetFactor(c);
      const bool setting =
          !factor.IsQualitative() || (value == std::round(value) && value >= 1.0F &&
                                      value <= static_cast<float>(factor.settings.size()));
      if (!std::isfinite(value) || !setting) {
        return Refuse(message, ExceptionMessage::translate("Inclusion {} has no valid value for "
                                                           "the factor '{}'.") %
                                   (r + 1) % factor.name);
      }
    }
  }
  return true;
}

std::vector<int> OptimalBuilder::CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const {
  if (!CheckModel(factors, options, nullptr)) return {};
  const int columns = Model(factors, options).GetColumnCount(factors);
  if (columns <= 0) return {};
  const int first = std::max(columns, Inclusions(options).GetRows() + 1);
  std::vector<int> runs(static_cast<std::size_t>(2 * columns + 10 - first + 1));
  std::iota(runs.begin(), runs.end(), first);
  return runs;
}

bool OptimalBuilder::IsSplitPlot(const Factors& factors) const {
  return criterion_ == Criterion::kD && GetType() == EDesign::kDOptimal &&
         factors.HasHardToChange();
}

bool OptimalBuilder::CheckSplitPlot(const Factors& factors, const DesignOptions& options, int runs,
                                    std::string* message) const {
  if (factors.IsMixture()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' cannot keep mixture "
                                                       "factors in whole plots.") %
                               GetName());
  }
  if (Inclusions(options).GetRows() > 0) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' in whole plots cannot "
                                                       "hold inclusions.") %
                               GetName());
  }
  if (options.GetReplicates() > 0 || options.GetReplicatedRuns() > 0) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' in whole plots cannot "
                                                       "have replicates.") %
                               GetName());
  }
  const int least = WholePlotColumns(factors, options);
  const int plots = WholePlots(factors, options, runs);
  if (plots < least || plots > runs) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' of {} runs needs from {} "
                                                       "to {} whole plots, not {}.") %
                               GetName() % runs % least % runs % plots);
  }
  return true;
}

int OptimalBuilder::WholePlots(const Factors& factors, const DesignOptions& options,
                               int runs) const {
  const DOptimalOptions* specific = Specific(options);
  if (specific != nullptr && specific->GetWholePlots() > 0) return specific->GetWholePlots();
  return std::min(runs, std::max(WholePlotColumns(factors, options) + 1, (runs + 3) / 4));
}

int OptimalBuilder::WholePlotColumns(const Factors& factors, const DesignOptions& options) const {
  const ModelRows rows(Model(factors, options), factors);
  int count = 0;
  for (int c = 0; c < rows.Columns(); ++c) {
    const std::vector<ModelRows::Part>& parts = rows.GetParts(c);
    if (std::all_of(parts.begin(), parts.end(), [&factors](const ModelRows::Part& part) {
          return factors.GetFactor(part.factor).hard_to_change;
        })) {
      ++count;
    }
  }
  return count;
}

bool OptimalBuilder::CenterPointsAllowed(const Factors& factors) const {
  return !IsSplitPlot(factors) && DesignBuilder::CenterPointsAllowed(factors);
}

std::vector<unsigned> OptimalBuilder::BlockCounts(const Factors& factors,
                                                  const DesignOptions& options, int runs) const {
  std::vector<unsigned> counts{1};
  if (!CheckModel(factors, options, nullptr) || UsesCoordinateExchange(factors, options) ||
      IsSplitPlot(factors)) {
    return counts;
  }
  const int columns = Model(factors, options).GetColumnCount(factors);
  for (unsigned b = 2; b <= kMaxBlocks; ++b) {
    const int blocks = static_cast<int>(b);
    if (runs / blocks < 2 || runs < columns + blocks - 1) break;
    counts.push_back(b);
  }
  return counts;
}

DesignBuilder::Core OptimalBuilder::BuildCore(const Factors& factors, const DesignOptions& options,
                                              int runs, unsigned blocks, const bool* cancel) const {
  const DOptimalOptions* specific = Specific(options);
  if (IsSplitPlot(factors)) return BuildSplitPlot(factors, options, runs, cancel);
  if (UsesCoordinateExchange(factors, options) ||
      (blocks <= 1 && PrefersCoordinateExchange(factors, options))) {
    return BuildByCoordinates(factors, options, runs, cancel);
  }
  const CandidateSet candidates =
      CandidateSet::Make(factors, CandidateLevels(options),
                         specific == nullptr ? nullptr : specific->GetConstraints());
  ThrowIfCancelled(cancel);
  const DesignModel model = Model(factors, options);
  const Eigen::MatrixXd f = model.Expand(factors, candidates.GetCoded());
  const NCDataMatrix<float> forced_coded = CodedInclusions(factors, Inclusions(options));
  const int forced_count = forced_coded.GetRows();
  const int free_runs = runs - forced_count;

  // Block sizes, as even as they go; the inclusions fill the first blocks.
  std::vector<int> block_of_run;
  for (unsigned b = 1; b <= blocks; ++b) {
    const int size = runs / static_cast<int>(blocks) +
                     (static_cast<int>(b) <= runs % static_cast<int>(blocks) ? 1 : 0);
    block_of_run.insert(block_of_run.end(), static_cast<std::size_t>(size), static_cast<int>(b));
  }

  Eigen::MatrixXd stacked;
  Eigen::MatrixXd forced;
  PointExchange::Options search = PointExchange::Effort(f.rows(), f.cols(), free_runs);
  search.seed = Seed(options);
  search.threads = options.GetThreads();
  search.criterion =
      criterion_ == Criterion::kD ? OptimalityCriterion::kD : OptimalityCriterion::kI;
  if (specific != nullptr) search.progress = specific->GetProgress();
  const Eigen::MatrixXd forced_rows = model.Expand(factors, forced_coded);
  if (blocks <= 1) {
    stacked = f;
    forced = forced_rows;
  } else {
    const auto count = static_cast<int>(f.rows());
    stacked.resize(f.rows() * static_cast<Eigen::Index>(blocks),
                   f.cols() + static_cast<Eigen::Index>(blocks) - 1);
    for (int b = 1; b <= static_cast<int>(blocks); ++b) {
      stacked.middleRows(static_cast<Eigen::Index>(b - 1) * f.rows(), f.rows()) =
          WithBlockColumns(f, blocks, b);
    }
    forced.resize(forced_count, stacked.cols());
    for (int r = 0; r < forced_count; ++r) {
      forced.row(r) =
          WithBlockColumns(forced_rows.row(r), blocks, block_of_run[static_cast<std::size_t>(r)]);
    }
    for (int r = forced_count; r < runs; ++r) {
      const int b = block_of_run[static_cast<std::size_t>(r)];
      search.position_ranges.emplace_back((b - 1) * count, b * count);
    }
  }
  if (criterion_ == Criterion::kA) {
    // The model's parameters, the block effects left out.
    search.moments = Eigen::MatrixXd::Zero(stacked.cols(), stacked.cols());
    search.moments.topLeftCorner(f.cols(), f.cols()).setIdentity();
  } else if (criterion_ == Criterion::kI) {
    const bool box = specific == nullptr || specific->GetConstraints() == nullptr ||
                     specific->GetConstraints()->GetCount() == 0;
    Eigen::MatrixXd moments = box ? model.Moments(factors) : Eigen::MatrixXd();
    if (moments.size() > 0 && blocks > 1) {
      // Blocks are equally likely and independent of the region; the effect-coded block
      // columns average 0, so they cross the model columns with zero moments.
      Eigen::MatrixXd codes(static_cast<Eigen::Index>(blocks),
                            static_cast<Eigen::Index>(blocks) - 1);
      for (int b = 1; b <= static_cast<int>(blocks); ++b) {
        codes.row(b - 1) = WithBlockColumns(Eigen::MatrixXd::Zero(1, 0), blocks, b);
      }
      const Eigen::Index p = moments.rows();
      Eigen::MatrixXd full = Eigen::MatrixXd::Zero(p + codes.cols(), p + codes.cols());
      full.topLeftCorner(p, p) = moments;
      full.bottomRightCorner(codes.cols(), codes.cols()) =
          codes.transpose() * codes / static_cast<double>(blocks);
      moments = std::move(full);
    }
    search.moments = std::move(moments);
  }
  const PointExchange::Result result =
      PointExchange::Search(stacked, forced, free_runs, search, cancel);

  Core core;
  core.coded = NCDataMatrix<float>(runs, factors.GetCount());
  const auto count = static_cast<int>(f.rows());
  for (int r = 0; r < runs; ++r) {
    for (int c = 0; c < factors.GetCount(); ++c) {
      if (r < forced_count) {
        core.coded(r, c) = forced_coded(r, c);
      } else {
        const int source = result.rows[static_cast<std::size_t>(r - forced_count)] % count;
        core.coded(r, c) = candidates.GetCoded()(source, c);
      }
    }
  }
  if (blocks > 1) core.blocks = block_of_run;
  return core;
}

bool OptimalBuilder::UsesCoordinateExchange(const Factors& factors,
                                            const DesignOptions& options) const {
  if (factors.IsMixture()) return false;
  const std::size_t grid = CandidateSet::GridSize(factors, CandidateLevels(options));
  const auto columns =
      static_cast<std::size_t>(std::max(1, Model(factors, options).GetColumnCount(factors)));
  return grid > kMaxCandidateEntries / columns;
}

bool OptimalBuilder::PrefersCoordinateExchange(const Factors& factors,
                                               const DesignOptions& options) const {
  if (factors.IsMixture()) return false;
  const DOptimalOptions* specific = Specific(options);
  if (specific != nullptr && specific->GetConstraints() != nullptr &&
      specific->GetConstraints()->GetCount() > 0) {
    return false;
  }
  return CandidateSet::GridSize(factors, CandidateLevels(options)) >= kCoordinateGrid;
}

DesignBuilder::Core OptimalBuilder::BuildByCoordinates(const Factors& factors,
                                                       const DesignOptions& options, int runs,
                                                       const bool* cancel) const {
  const DOptimalOptions* specific = Specific(options);
  const NCDOE::Constraints* constraints =
      specific == nullptr ? nullptr : specific->GetConstraints();
  const DesignModel model = Model(factors, options);
  const ModelRows rows(model, factors);
  const Grid grid(factors, CandidateLevels(options));
  const CoordinateExchange::Exclusion excluded = grid.Exclusion(constraints);
  const NCDataMatrix<float> forced_coded = CodedInclusions(factors, Inclusions(options));
  CoordinateExchange::Options search = CoordinateExchange::Effort();
  search.seed = Seed(options);
  search.threads = options.GetThreads();
  if (specific != nullptr) search.progress = specific->GetProgress();
  if (criterion_ == Criterion::kA) {
    search.criterion = OptimalityCriterion::kI;
    search.moments = Eigen::MatrixXd::Identity(rows.Columns(), rows.Columns());
  } else if (criterion_ == Criterion::kI) {
    search.criterion = OptimalityCriterion::kI;
    search.moments = excluded
                         ? SampledMoments(grid, rows, excluded, kMomentSample, search.seed, cancel)
                         : model.Moments(factors);
  }
  const CoordinateExchange::Result result =
      CoordinateExchange::Search(grid.levels, rows, excluded, model.Expand(factors, forced_coded),
                                 runs - forced_coded.GetRows(), search, cancel);
  const int count = factors.GetCount();
  Core core;
  core.coded = NCDataMatrix<float>(runs, count);
  for (int r = 0; r < runs; ++r) {
    for (int c = 0; c < count; ++c) {
      core.coded(r, c) = r < forced_coded.GetRows() ? forced_coded(r, c)
                                                    : result.coded(r - forced_coded.GetRows(), c);
    }
  }
  return core;
}

DesignBuilder::Core OptimalBuilder::BuildSplitPlot(const Factors& factors,
                                                   const DesignOptions& options, int runs,
                                                   const bool* cancel) const {
  const DOptimalOptions* specific = Specific(options);
  const NCDOE::Constraints* constraints =
      specific == nullptr ? nullptr : specific->GetConstraints();
  const ModelRows rows(Model(factors, options), factors);
  const Grid grid(factors, CandidateLevels(options));
  std::vector<bool> hard;
  for (const Factors::Factor& factor : factors.GetAll()) hard.push_back(factor.hard_to_change);
  const int plots = WholePlots(factors, options, runs);
  std::vector<int> sizes;
  for (int w = 0; w < plots; ++w) sizes.push_back(runs / plots + (w < runs % plots ? 1 : 0));
  WholePlotExchange::Options search = WholePlotExchange::Effort();
  search.seed = Seed(options);
  search.threads = options.GetThreads();
  if (specific != nullptr) search.progress = specific->GetProgress();
  const double ratio = specific == nullptr ? 1.0 : specific->GetVarianceRatio();
  WholePlotExchange::Result result = WholePlotExchange::Search(
      grid.levels, rows, hard, sizes, ratio, grid.Exclusion(constraints), search, cancel);
  Core core;
  core.coded = std::move(result.coded);
  core.whole_plots = std::move(result.plots);
  return core;
}

DesignModel OptimalBuilder::Model(const Factors& factors, const DesignOptions& options) const {
  const DOptimalOptions* specific = Specific(options);
  if (specific != nullptr && !specific->GetModel().GetTerms().empty()) return specific->GetModel();
  const EModel::Type mixture = factors.IsMixture() ? options.GetMixtureModel() : EModel::kNone;
  // The process-mixture objective crosses the two models.
  if (options.GetObjective() == EObjective::kProcessMixture) {
    return DesignModel::MakeCrossed(factors, options.GetProcessModel(), mixture);
  }
  return DesignModel::Make(factors, options.GetProcessModel(), mixture);
}

int OptimalBuilder::CandidateLevels(const DesignOptions& options) {
  const DOptimalOptions* specific = Specific(options);
  return specific == nullptr ? DOptimalOptions().GetCandidateLevels()
                             : specific->GetCandidateLevels();
}

bool ProcessMixtureBuilder::IsPMInteraction(const Factors& /*factors*/,
                                            const DesignOptions& options) const {
  const auto* specific =
      dynamic_cast<const ProcessMixtureOptions*>(options.GetDesignSpecificOptions());
  return specific != nullptr && specific->IsPMInteraction();
}

bool ProcessMixtureBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  if (!factors.IsProcessAndMixture()) {
    return Refuse(message, ExceptionMessage::translate("Split objective is only available when "
                                                       "there are both process and formulation "
                                                       "factors"));
  }
  return true;
}

DesignModel ProcessMixtureBuilder::Model(const Factors& factors,
                                         const DesignOptions& options) const {
  const EModel::Type mixture = factors.IsMixture() ? options.GetMixtureModel() : EModel::kNone;
  if (IsPMInteraction(factors, options)) {
    return DesignModel::MakeCrossed(factors, options.GetProcessModel(), mixture);
  }
  return DesignModel::Make(factors, options.GetProcessModel(), mixture);
}

}  // namespace zubra::internal
