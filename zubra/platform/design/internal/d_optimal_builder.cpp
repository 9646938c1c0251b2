#include "zubra/platform/design/internal/d_optimal_builder.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <random>
#include <utility>

#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();
// The ridge that keeps a singular information matrix invertible, relative to its scale.
constexpr double kRidge = 1e-7;
// A swap is made when it raises the determinant by more than this factor minus one.
constexpr double kMinGain = 1e-9;

// The state of one start: the chosen rows, the information matrix's inverse (with a ridge
// while it is singular) and every candidate's prediction variance d_j = f_j' M^-1 f_j.
class Exchange {
 public:
  Exchange(const Eigen::MatrixXd& f, const Eigen::MatrixXd& forced)
      : f_(f), forced_(forced), p_(f.cols()) {}

  // Chooses `free_runs` rows for the start seeded by `rng`, then exchanges until no swap
  // helps. Returns log det(M) of the result (minus infinity when singular).
  double Run(int free_runs, std::mt19937_64& rng, int max_passes, const bool* cancel) {
    const Eigen::Index count = f_.rows();
    rows_.clear();
    // A random part: about half the model's size, distinct rows when there are enough.
    const int random_part = std::min(free_runs, std::max(1, static_cast<int>(p_ + 1) / 2));
    if (random_part <= count) {
      // A partial shuffle: distinct rows.
      std::vector<int> order(static_cast<std::size_t>(count));
      std::iota(order.begin(), order.end(), 0);
      for (int k = 0; k < random_part; ++k) {
        std::uniform_int_distribution<Eigen::Index> pick(k, count - 1);
        std::swap(order[static_cast<std::size_t>(k)], order[static_cast<std::size_t>(pick(rng))]);
        rows_.push_back(order[static_cast<std::size_t>(k)]);
      }
    } else {
      std::uniform_int_distribution<Eigen::Index> pick(0, count - 1);
      for (int k = 0; k < random_part; ++k) rows_.push_back(static_cast<int>(pick(rng)));
    }
    Refresh();
    // The rest: each time the candidate of largest variance.
    while (static_cast<int>(rows_.size()) < free_runs) {
      Eigen::Index best = 0;
      d_.maxCoeff(&best);
      Add(best);
      rows_.push_back(static_cast<int>(best));
    }
    Refresh();
    for (int pass = 0; pass < max_passes && !rows_.empty(); ++pass) {
      bool improved = false;
      for (int& row : rows_) {
        if (cancel != nullptr && *cancel) throw CancelException();
        const int i = row;
        const Eigen::VectorXd a = inverse_ * f_.row(i).transpose();
        const double d_i = f_.row(i).dot(a);
        const Eigen::VectorXd d_ij = f_ * a;
        Eigen::Index best = 0;
        const double ratio =
            ((1.0 - d_i) * (1.0 + d_.array()) + d_ij.array().square()).maxCoeff(&best);
        if (best == i || ratio <= 1.0 + kMinGain) continue;
        Add(best);
        Remove(i);
        row = static_cast<int>(best);
        improved = true;
      }
      Refresh();
      if (!improved) break;
    }
    return LogDet();
  }

  [[nodiscard]] const std::vector<int>& GetRows() const { return rows_; }

 private:
  // M^-1 <- (M + f_j f_j')^-1, and the variances with it.
  void Add(Eigen::Index j) {
    const Eigen::VectorXd u = inverse_ * f_.row(j).transpose();
    const double c = 1.0 + f_.row(j).dot(u);
    inverse_.noalias() -= (u / c) * u.transpose();
    const Eigen::VectorXd g = f_ * u;
    d_.array() -= g.array().square() / c;
  }

  // M^-1 <- (M - f_i f_i')^-1, and the variances with it.
  void Remove(Eigen::Index i) {
    const Eigen::VectorXd w = inverse_ * f_.row(i).transpose();
    const double c = 1.0 - f_.row(i).dot(w);
    inverse_.noalias() += (w / c) * w.transpose();
    const Eigen::VectorXd h = f_ * w;
    d_.array() += h.array().square() / c;
  }

  [[nodiscard]] Eigen::MatrixXd Information() const {
    Eigen::MatrixXd m = Eigen::MatrixXd::Zero(p_, p_);
    if (forced_.rows() > 0) m.selfadjointView<Eigen::Lower>().rankUpdate(forced_.transpose());
    for (int r : rows_) {
      m.selfadjointView<Eigen::Lower>().rankUpdate(f_.row(r).transpose());
    }
    return m.selfadjointView<Eigen::Lower>();
  }

  // True when `m` is well conditioned enough to be inverted without a ridge.
  static bool WellConditioned(const Eigen::LLT<Eigen::MatrixXd>& llt) {
    if (llt.info() != Eigen::Success) return false;
    const Eigen::VectorXd pivots = llt.matrixLLT().diagonal();
    return pivots.minCoeff() > 1e-6 * pivots.maxCoeff();
  }

  // Computes M^-1 and the variances afresh from the current rows.
  void Refresh() {
    Eigen::MatrixXd m = Information();
    Eigen::LLT<Eigen::MatrixXd> llt(m);
    if (!WellConditioned(llt)) {
      const double scale = std::max(1.0, m.diagonal().maxCoeff());
      m.diagonal().array() += kRidge * scale;
      llt.compute(m);
    }
    inverse_ = llt.solve(Eigen::MatrixXd::Identity(p_, p_));
    d_ = (f_ * inverse_).cwiseProduct(f_).rowwise().sum();
  }

  // The exact log det(M), minus infinity when M is singular.
  [[nodiscard]] double LogDet() const {
    const Eigen::LLT<Eigen::MatrixXd> llt(Information());
    if (!WellConditioned(llt)) return kMinusInfinity;
    return 2.0 * llt.matrixLLT().diagonal().array().log().sum();
  }

  const Eigen::MatrixXd& f_;
  const Eigen::MatrixXd& forced_;
  Eigen::Index p_;
  std::vector<int> rows_;
  Eigen::MatrixXd inverse_;
  Eigen::VectorXd d_;
};

}  // namespace

PointExchange::Result PointExchange::Search(const Eigen::MatrixXd& candidates,
                                            const Eigen::MatrixXd& forced, int free_runs,
                                            const Options& options, const bool* cancel) {
  if (candidates.rows() == 0 || candidates.cols() == 0) {
    throw Exception(ExceptionMessage::translate("There are no candidate runs to choose from."));
  }
  if (free_runs < 0 || (forced.rows() > 0 && forced.cols() != candidates.cols())) {
    throw Exception(ExceptionMessage::translate("The forced runs do not fit the design of {} "
                                                "runs.") %
                    free_runs);
  }
  Result best;
  best.log_det = kMinusInfinity;
  Exchange exchange(candidates, forced);
  for (int start = 0; start < std::max(1, options.starts); ++start) {
    std::seed_seq seeds{static_cast<std::uint32_t>(options.seed),
                        static_cast<std::uint32_t>(options.seed >> 32U),
                        static_cast<std::uint32_t>(start)};
    std::mt19937_64 rng(seeds);
    const double log_det = exchange.Run(free_runs, rng, options.max_passes, cancel);
    if (log_det > best.log_det) {
      best.log_det = log_det;
      best.rows = exchange.GetRows();
    }
  }
  if (best.log_det == kMinusInfinity) {
    throw Exception(ExceptionMessage::translate("No design of {} runs from these candidates "
                                                "supports the model's {} columns.") %
                    (free_runs + static_cast<int>(forced.rows())) %
                    static_cast<int>(candidates.cols()));
  }
  std::sort(best.rows.begin(), best.rows.end());
  return best;
}

bool DOptimalBuilder::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kScreening || objective == EObjective::kRSM ||
         objective == EObjective::kRobustness || objective == EObjective::kOptimization;
}

bool DOptimalBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  if (factors.IsMixture()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' is for process factors "
                                                       "only.") %
                               GetName());
  }
  return true;
}

bool DOptimalBuilder::CheckModel(const Factors& factors, const DesignOptions& options,
                                 std::string* message) const {
  const auto* specific = dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
  if (specific != nullptr && !specific->GetModel().GetTerms().empty()) {
    if (!specific->GetModel().IsValidFor(factors)) {
      return Refuse(message, ExceptionMessage::translate("The model of the design '{}' names a "
                                                         "factor that is not designed.") %
                                 GetName());
    }
    return true;
  }
  const EModel::Type model = options.GetProcessModel();
  if (model < EModel::kLinear || model > EModel::kQuadratic) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' does not support the "
                                                       "model '{}'.") %
                               GetName() % EModel::GetString(model));
  }
  return true;
}

bool DOptimalBuilder::CheckSpecific(const Factors& factors, const DesignOptions& options,
                                    int /*runs*/, std::string* message) const {
  if (CandidateSet::GridSize(factors, CandidateLevels(options)) > CandidateSet::kDefaultMaxPoints) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' has too many candidate "
                                                       "runs for these factors.") %
                               GetName());
  }
  return true;
}

std::vector<int> DOptimalBuilder::CandidateRuns(const Factors& factors,
                                                const DesignOptions& options) const {
  if (!CheckModel(factors, options, nullptr)) return {};
  const int columns = Model(factors, options).GetColumnCount(factors);
  if (columns <= 0) return {};
  std::vector<int> runs(static_cast<std::size_t>(columns + 11));
  std::iota(runs.begin(), runs.end(), columns);
  return runs;
}

DesignBuilder::Core DOptimalBuilder::BuildCore(const Factors& factors, const DesignOptions& options,
                                               int runs, unsigned /*blocks*/,
                                               const bool* cancel) const {
  const auto* specific = dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
  const CandidateSet candidates =
      CandidateSet::Make(factors, CandidateLevels(options),
                         specific == nullptr ? nullptr : specific->GetConstraints());
  ThrowIfCancelled(cancel);
  const DesignModel model = Model(factors, options);
  const Eigen::MatrixXd f = model.Expand(factors, candidates.GetCoded());
  PointExchange::Options search;
  search.starts = kStarts;
  search.seed = kSeed;
  const PointExchange::Result result =
      PointExchange::Search(f, Eigen::MatrixXd(0, f.cols()), runs, search, cancel);
  Core core;
  core.coded = NCDataMatrix<float>(runs, factors.GetCount());
  for (int r = 0; r < runs; ++r) {
    const int source = result.rows[static_cast<std::size_t>(r)];
    for (int c = 0; c < factors.GetCount(); ++c) {
      core.coded(r, c) = candidates.GetCoded()(source, c);
    }
  }
  return core;
}

DesignModel DOptimalBuilder::Model(const Factors& factors, const DesignOptions& options) {
  const auto* specific = dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
  if (specific != nullptr && !specific->GetModel().GetTerms().empty()) return specific->GetModel();
  return DesignModel::Make(factors, options.GetProcessModel(), EModel::kNone);
}

int DOptimalBuilder::CandidateLevels(const DesignOptions& options) {
  const auto* specific = dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
  return specific == nullptr ? DOptimalOptions().GetCandidateLevels()
                             : specific->GetCandidateLevels();
}

}  // namespace zubra::internal
