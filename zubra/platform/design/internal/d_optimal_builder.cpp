#include "zubra/platform/design/internal/d_optimal_builder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <span>
#include <utility>

#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/internal/coordinate_exchange.h"
#include "zubra/platform/design/process_mixture_options.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

const DOptimalOptions* Specific(const DesignOptions& options) {
  return dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
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

}  // namespace

EDesign::Type OptimalBuilder::GetType() const {
  return criterion_ == PointExchange::Criterion::kD ? EDesign::kDOptimal : EDesign::kIOptimal;
}

std::string OptimalBuilder::GetName() const {
  return criterion_ == PointExchange::Criterion::kD ? "D-Optimal" : "I-Optimal";
}

std::int8_t OptimalBuilder::GetRank() const {
  return criterion_ == PointExchange::Criterion::kD ? 100 : 101;
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

std::vector<unsigned> OptimalBuilder::BlockCounts(const Factors& factors,
                                                  const DesignOptions& options, int runs) const {
  std::vector<unsigned> counts{1};
  if (!CheckModel(factors, options, nullptr) || UsesCoordinateExchange(factors, options)) {
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
  search.seed = kSeed;
  search.threads = 0;
  search.criterion = criterion_;
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
  if (criterion_ == PointExchange::Criterion::kI) {
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
  if (criterion_ != PointExchange::Criterion::kD || factors.IsMixture()) return false;
  const std::size_t grid = CandidateSet::GridSize(factors, CandidateLevels(options));
  const auto columns =
      static_cast<std::size_t>(std::max(1, Model(factors, options).GetColumnCount(factors)));
  return grid > kMaxCandidateEntries / columns;
}

bool OptimalBuilder::PrefersCoordinateExchange(const Factors& factors,
                                               const DesignOptions& options) const {
  if (criterion_ != PointExchange::Criterion::kD || factors.IsMixture()) return false;
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
  const std::vector<std::vector<CandidateSet::Value>> values =
      CandidateSet::GridValues(factors, CandidateLevels(options));
  std::vector<std::vector<float>> levels;
  for (const auto& factor : values) {
    std::vector<float>& coded = levels.emplace_back();
    for (const CandidateSet::Value& value : factor) coded.push_back(value.coded);
  }
  const int count = factors.GetCount();
  const CoordinateExchange::Expander expand = [&](std::span<const float> point) {
    NCDataMatrix<float> row(1, count);
    for (int c = 0; c < count; ++c) row(0, c) = point[static_cast<std::size_t>(c)];
    return Eigen::RowVectorXd(model.Expand(factors, row).row(0));
  };
  const CoordinateExchange::Exclusion excluded = [&](std::span<const float> point) {
    if (constraints == nullptr || constraints->GetCount() == 0) return false;
    std::vector<float> uncoded(static_cast<std::size_t>(count));
    for (int c = 0; c < count; ++c) {
      // The grid value whose coded form this is.
      const auto& own = values[static_cast<std::size_t>(c)];
      const auto match = std::find_if(own.begin(), own.end(), [&](const CandidateSet::Value& v) {
        return v.coded == point[static_cast<std::size_t>(c)];
      });
      uncoded[static_cast<std::size_t>(c)] = match == own.end() ? 0.0F : match->uncoded;
    }
    return constraints->Excludes(uncoded);
  };
  const NCDataMatrix<float> forced_coded = CodedInclusions(factors, Inclusions(options));
  CoordinateExchange::Options search = CoordinateExchange::Effort(
      runs - forced_coded.GetRows(), levels, model.GetColumnCount(factors));
  search.seed = kSeed;
  search.threads = 0;
  if (specific != nullptr) search.progress = specific->GetProgress();
  const CoordinateExchange::Result result =
      CoordinateExchange::Search(levels, expand, excluded, model.Expand(factors, forced_coded),
                                 runs - forced_coded.GetRows(), search, cancel);
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
