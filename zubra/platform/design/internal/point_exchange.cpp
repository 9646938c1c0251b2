#include "zubra/platform/design/internal/point_exchange.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <random>
#include <utility>

#include "zubra/platform/design/internal/search_support.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

using RowMatrixF = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using Criterion = PointExchange::Criterion;

constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
// A swap is made when it improves the criterion by more than this relative amount.
constexpr double kMinGain = 1e-9;

// What every start shares: the candidates in both precisions, the forced runs, each
// position's candidate range and the moments of the I criterion.
struct Problem {
  const Eigen::MatrixXd& exact;  // candidates, double: updates of M
  RowMatrixF scoring;            // candidates, single: the scores of all candidates
  const Eigen::MatrixXd& forced;
  std::vector<std::pair<int, int>> ranges;  // one per free position
  Criterion criterion;
  Eigen::MatrixXd moments;
  const bool* cancel;
  const std::atomic<bool>* stop;  // another start failed

  [[nodiscard]] Eigen::Index Columns() const { return exact.cols(); }
  [[nodiscard]] int Positions() const { return static_cast<int>(ranges.size()); }
  void CheckCancel() const {
    if (IsFlagSet(cancel) || stop->load(std::memory_order_relaxed)) throw CancelException();
  }
};

// The state of one start: the chosen rows, M^-1 (with a ridge while M is singular), every
// candidate's prediction variance d_j = f_j' M^-1 f_j and, for the I criterion,
// phi_j = f_j' M^-1 W M^-1 f_j.
class Exchange {
 public:
  explicit Exchange(const Problem& problem)
      : problem_(problem), f_(problem.scoring), p_(problem.Columns()) {}

  // Runs one start seeded by `rng` and returns its criterion value (log det for D, minus the
  // average variance for I: larger is better; minus infinity when singular).
  double Run(std::mt19937_64& rng, int max_passes, int perturbations, int perturbation_size) {
    Begin(rng);
    Local(Criterion::kD, max_passes);
    const Criterion criterion = problem_.criterion;
    if (criterion == Criterion::kI) Local(criterion, max_passes);
    double value = Value(criterion);
    const int positions = problem_.Positions();
    const int size = std::min(perturbation_size, positions);
    std::vector<int> saved;
    for (int round = 0; round < perturbations && size > 0; ++round) {
      saved = rows_;
      std::uniform_int_distribution<int> position(0, positions - 1);
      for (int k = 0; k < size; ++k) {
        const int r = position(rng);
        rows_[static_cast<std::size_t>(r)] = RandomRow(r, rng);
      }
      Refresh();
      Local(Criterion::kD, max_passes);
      if (criterion == Criterion::kI) Local(criterion, max_passes);
      const double next = Value(criterion);
      if (next >= value) {
        value = next;
      } else {
        rows_ = saved;
      }
    }
    return value;
  }

  [[nodiscard]] const std::vector<int>& GetRows() const { return rows_; }

  // log det(M) of the current rows, minus infinity when M is singular.
  [[nodiscard]] double LogDet() const { return LogDetOrMinusInfinity(Information()); }

  // trace(M^-1 W) of the current rows, infinity when M is singular.
  [[nodiscard]] double AverageVariance() const {
    const Eigen::LLT<Eigen::MatrixXd> llt(Information());
    if (!WellConditioned(llt)) return kInfinity;
    return llt.solve(problem_.moments).trace();
  }

 private:
  [[nodiscard]] double Value(Criterion criterion) const {
    if (criterion == Criterion::kD) return LogDet();
    const double variance = AverageVariance();
    return std::isfinite(variance) ? -variance : kMinusInfinity;
  }

  [[nodiscard]] int RandomRow(int position, std::mt19937_64& rng) const {
    const auto [first, last] = problem_.ranges[static_cast<std::size_t>(position)];
    return std::uniform_int_distribution<int>(first, last - 1)(rng);
  }

  // A random part of about half the model's size, completed position by position with the
  // candidate of largest variance.
  void Begin(std::mt19937_64& rng) {
    const int positions = problem_.Positions();
    rows_.assign(static_cast<std::size_t>(positions), -1);
    const int random_part = std::min(positions, std::max(1, static_cast<int>(p_ + 1) / 2));
    std::vector<int> order(static_cast<std::size_t>(positions));
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), rng);
    for (int k = 0; k < random_part; ++k) {
      const int r = order[static_cast<std::size_t>(k)];
      rows_[static_cast<std::size_t>(r)] = RandomRow(r, rng);
    }
    Refresh();
    for (int k = random_part; k < positions; ++k) {
      const int r = order[static_cast<std::size_t>(k)];
      const auto [first, last] = problem_.ranges[static_cast<std::size_t>(r)];
      Eigen::Index best = 0;
      d_.segment(first, last - first).maxCoeff(&best);
      const int row = first + static_cast<int>(best);
      Add(row);
      rows_[static_cast<std::size_t>(r)] = row;
    }
    Refresh();
  }

  // Exchange passes until no swap improves `criterion`.
  void Local(Criterion criterion, int max_passes) {
    for (int pass = 0; pass < max_passes; ++pass) {
      bool improved = false;
      for (int r = 0; r < problem_.Positions(); ++r) {
        problem_.CheckCancel();
        int& row = rows_[static_cast<std::size_t>(r)];
        const int best = criterion == Criterion::kD ? BestForD(r, row) : BestForI(r, row);
        if (best < 0) continue;
        Add(best);
        Remove(row);
        row = best;
        improved = true;
      }
      Refresh();
      if (!improved) break;
    }
  }

  // The candidate of position r whose swap for `row` raises det(M) most, or -1 when none
  // raises it. The ratio of the determinants after and before is
  // (1 - d_i)(1 + d_j) + d_ij^2.
  int BestForD(int r, int row) {
    const auto [first, last] = problem_.ranges[static_cast<std::size_t>(r)];
    a_.noalias() = inverse_ * problem_.exact.row(row).transpose();
    const double d_i = problem_.exact.row(row).dot(a_);
    af_ = a_.cast<float>();
    scores_.head(last - first).noalias() = f_.middleRows(first, last - first) * af_;
    double best_ratio = 1.0 + kMinGain;
    int best = -1;
    for (int j = first; j < last; ++j) {
      const double d_ij = scores_(j - first);
      const double ratio = (1.0 - d_i) * (1.0 + d_(j)) + d_ij * d_ij;
      if (ratio > best_ratio) {
        best_ratio = ratio;
        best = j;
      }
    }
    if (best < 0 || best == row) return -1;
    // The scores are single precision: the swap is made only when it gains in double too,
    // which keeps rounding from swapping back and forth.
    const Eigen::VectorXd exact = problem_.exact.row(best).transpose();
    const double d_ij = exact.dot(a_);
    const double d_j = exact.dot(inverse_ * exact);
    return (1.0 - d_i) * (1.0 + d_j) + d_ij * d_ij > 1.0 + kMinGain ? best : -1;
  }

  // The candidate of position r whose swap for `row` lowers trace(M^-1 W) most, or -1. With
  // U = [f_j, f_i] the swap is M + U diag(1, -1) U', and the trace falls by tr(A^-1 B) with
  // A = diag(1, -1) + U'M^-1 U and B = U'M^-1 W M^-1 U.
  int BestForI(int r, int row) {
    const auto [first, last] = problem_.ranges[static_cast<std::size_t>(r)];
    const Eigen::Index n = last - first;
    a_.noalias() = inverse_ * problem_.exact.row(row).transpose();
    const double d_i = problem_.exact.row(row).dot(a_);
    b_.noalias() = inverse_w_ * problem_.exact.row(row).transpose();  // M^-1 W M^-1 f_i
    const double phi_i = problem_.exact.row(row).dot(b_);
    af_ = a_.cast<float>();
    scores_.head(n).noalias() = f_.middleRows(first, n) * af_;
    af_ = b_.cast<float>();
    second_.head(n).noalias() = f_.middleRows(first, n) * af_;
    const double floor = kMinGain * std::max(trace_, 1e-300);
    double best_gain = floor;
    int best = -1;
    for (int j = first; j < last; ++j) {
      const double s = scores_(j - first);
      const double t = second_(j - first);
      const double a11 = 1.0 + d_(j);
      const double a22 = d_i - 1.0;
      const double det = a11 * a22 - s * s;  // minus the determinant ratio of the swap
      if (det > -1e-10) continue;            // the swap would make M (nearly) singular
      const double gain = (a22 * phi_(j) - 2.0 * s * t + a11 * phi_i) / det;
      if (gain > best_gain) {
        best_gain = gain;
        best = j;
      }
    }
    if (best < 0 || best == row) return -1;
    // Checked in double as for D.
    const Eigen::VectorXd exact = problem_.exact.row(best).transpose();
    const double s = exact.dot(a_);
    const double t = exact.dot(b_);
    const double a11 = 1.0 + exact.dot(inverse_ * exact);
    const double a22 = d_i - 1.0;
    const double det = a11 * a22 - s * s;
    if (det > -1e-10) return -1;
    const double gain = (a22 * exact.dot(inverse_w_ * exact) - 2.0 * s * t + a11 * phi_i) / det;
    return gain > floor ? best : -1;
  }

  // M^-1 <- (M + f_j f_j')^-1, and the variances with it.
  void Add(int j) { Update(j, 1.0); }
  // M^-1 <- (M - f_i f_i')^-1, and the variances with it.
  void Remove(int i) { Update(i, -1.0); }

  void Update(int row, double sign) {
    u_.noalias() = inverse_ * problem_.exact.row(row).transpose();
    const double c = 1.0 + sign * problem_.exact.row(row).dot(u_);
    af_ = u_.cast<float>();
    g_.noalias() = f_ * af_;
    if (problem_.criterion == Criterion::kI && have_phi_) {
      // phi changes by -2 sign (F M^-1 W u) g / c + (u'Wu) g^2 / c^2.
      const Eigen::VectorXd wu = problem_.moments * u_;
      const double uwu = u_.dot(wu);
      af_ = (inverse_ * wu).cast<float>();
      h_.noalias() = f_ * af_;
      phi_.array() += (-2.0 * sign / c) * (h_.array() * g_.array()).cast<double>() +
                      (uwu / (c * c)) * g_.array().square().cast<double>();
      inverse_w_.noalias() -=
          (sign / c) * (u_ * wu.transpose() * inverse_ + inverse_ * wu * u_.transpose());
      inverse_w_.noalias() += (uwu / (c * c)) * (u_ * u_.transpose());
    }
    inverse_.noalias() -= (sign / c) * (u_ * u_.transpose());
    d_.array() -= (sign / c) * g_.array().square().cast<double>();
  }

  [[nodiscard]] Eigen::MatrixXd Information() const {
    Eigen::MatrixXd m = Eigen::MatrixXd::Zero(p_, p_);
    if (problem_.forced.rows() > 0) {
      m.selfadjointView<Eigen::Lower>().rankUpdate(problem_.forced.transpose());
    }
    for (int r : rows_) {
      if (r >= 0) m.selfadjointView<Eigen::Lower>().rankUpdate(problem_.exact.row(r).transpose());
    }
    return m.selfadjointView<Eigen::Lower>();
  }

  // Computes M^-1 and the variances afresh from the current rows.
  void Refresh() {
    bool regular = false;
    inverse_ = RidgedInverse(Information(), &regular);
    const Eigen::MatrixXf inverse = inverse_.cast<float>();
    product_.noalias() = f_ * inverse;
    d_ = product_.cwiseProduct(f_).rowwise().sum().cast<double>();
    have_phi_ = problem_.criterion == Criterion::kI && regular;
    if (have_phi_) {
      inverse_w_ = inverse_ * problem_.moments * inverse_;
      trace_ = (inverse_ * problem_.moments).trace();
      const Eigen::MatrixXf w = problem_.moments.cast<float>();
      phi_ = ((product_ * w).cwiseProduct(product_)).rowwise().sum().cast<double>();
    }
    const Eigen::Index longest = MaxRange();
    if (scores_.size() < longest) {
      scores_.resize(longest);
      second_.resize(longest);
    }
  }

  [[nodiscard]] Eigen::Index MaxRange() const {
    Eigen::Index longest = 0;
    for (const auto& [first, last] : problem_.ranges)
      longest = std::max<Eigen::Index>(longest, last - first);
    return longest;
  }

  const Problem& problem_;
  const RowMatrixF& f_;
  Eigen::Index p_;
  std::vector<int> rows_;
  Eigen::MatrixXd inverse_;
  Eigen::MatrixXd inverse_w_;  // M^-1 W M^-1 (I criterion)
  double trace_ = 0.0;         // trace(M^-1 W) at the last refresh
  bool have_phi_ = false;
  Eigen::VectorXd d_;
  Eigen::VectorXd phi_;
  RowMatrixF product_;  // F M^-1, for the refresh
  // Scratch vectors, kept to spare allocations in the inner loops.
  Eigen::VectorXd a_, b_, u_;
  Eigen::VectorXf af_, scores_, second_, g_, h_;
};

// Checks the arguments and builds the shared problem.
Problem MakeProblem(const Eigen::MatrixXd& candidates, const Eigen::MatrixXd& forced, int free_runs,
                    const PointExchange::Options& options, const bool* cancel,
                    const std::atomic<bool>* stop) {
  if (candidates.rows() == 0 || candidates.cols() == 0) {
    throw Exception(ExceptionMessage::translate("There are no candidate runs to choose from."));
  }
  if (candidates.rows() > std::numeric_limits<int>::max()) {
    throw Exception(ExceptionMessage::translate("There are too many candidate runs."));
  }
  if (free_runs < 0 || (forced.rows() > 0 && forced.cols() != candidates.cols())) {
    throw Exception(ExceptionMessage::translate("The forced runs do not fit the design of {} "
                                                "runs.") %
                    free_runs);
  }
  const int count = static_cast<int>(candidates.rows());
  std::vector<std::pair<int, int>> ranges = options.position_ranges;
  if (ranges.empty()) {
    ranges.assign(static_cast<std::size_t>(free_runs), {0, count});
  } else if (static_cast<int>(ranges.size()) != free_runs ||
             std::any_of(ranges.begin(), ranges.end(), [count](const auto& range) {
               return range.first < 0 || range.first >= range.second || range.second > count;
             })) {
    throw Exception(ExceptionMessage::translate("The candidate ranges do not fit the design of "
                                                "{} runs.") %
                    free_runs);
  }
  Eigen::MatrixXd moments = options.moments;
  if (options.criterion == Criterion::kI) {
    if (moments.size() == 0) {
      moments = candidates.transpose() * candidates / static_cast<double>(candidates.rows());
    } else if (moments.rows() != candidates.cols() || moments.cols() != candidates.cols()) {
      throw Exception(ExceptionMessage::translate("The region moments do not fit the model's {} "
                                                  "columns.") %
                      static_cast<int>(candidates.cols()));
    }
  } else if (moments.size() != 0 &&
             (moments.rows() != candidates.cols() || moments.cols() != candidates.cols())) {
    moments.resize(0, 0);
  }
  if (moments.size() == 0) {
    moments = candidates.transpose() * candidates / static_cast<double>(candidates.rows());
  }
  return Problem{candidates,        candidates.cast<float>(), forced, std::move(ranges),
                 options.criterion, std::move(moments),       cancel, stop};
}

// The outcome of one start.
struct StartResult {
  double value = kMinusInfinity;  // larger is better
  std::vector<int> rows;
  bool done = false;
};

}  // namespace

PointExchange::Options PointExchange::Effort(Eigen::Index candidates, Eigen::Index columns,
                                             int runs) {
  const double pass = static_cast<double>(std::max<Eigen::Index>(1, candidates)) *
                      static_cast<double>(std::max<Eigen::Index>(1, columns)) *
                      static_cast<double>(std::max(1, runs));
  const int searches = static_cast<int>(std::clamp(6e9 / pass, 16.0, 64.0));
  Options options;
  options.starts = searches >= 48 ? 4 : 2;
  options.perturbations = searches / options.starts - 1;
  options.perturbation_size = 6;
  return options;
}

PointExchange::Result PointExchange::Search(const Eigen::MatrixXd& candidates,
                                            const Eigen::MatrixXd& forced, int free_runs,
                                            const Options& options, const bool* cancel) {
  std::atomic<bool> stop{false};
  const Problem problem = MakeProblem(candidates, forced, free_runs, options, cancel, &stop);
  const int starts = std::max(1, options.starts);
  std::vector<StartResult> results(static_cast<std::size_t>(starts));
  RunStarts(
      starts, options.threads,
      [&](int start, const std::atomic<bool>& failed) {
        if (failed) stop = true;
        std::seed_seq seeds{static_cast<std::uint32_t>(options.seed),
                            static_cast<std::uint32_t>(options.seed >> 32U),
                            static_cast<std::uint32_t>(start)};
        std::mt19937_64 rng(seeds);
        Exchange exchange(problem);
        StartResult& result = results[static_cast<std::size_t>(start)];
        try {
          result.value = exchange.Run(rng, options.max_passes, std::max(0, options.perturbations),
                                      options.perturbation_size);
        } catch (...) {
          stop = true;
          throw;
        }
        result.rows = exchange.GetRows();
        result.done = true;
      },
      options.progress);

  const StartResult* best = nullptr;
  for (const StartResult& result : results) {
    if (result.done && (best == nullptr || result.value > best->value)) best = &result;
  }
  if (best == nullptr || best->value == kMinusInfinity) {
    throw Exception(ExceptionMessage::translate("No design of {} runs from these candidates "
                                                "supports the model's {} columns.") %
                    (free_runs + static_cast<int>(forced.rows())) %
                    static_cast<int>(candidates.cols()));
  }
  Result result;
  result.rows = best->rows;
  if (options.position_ranges.empty()) std::sort(result.rows.begin(), result.rows.end());
  Eigen::MatrixXd m = Eigen::MatrixXd::Zero(candidates.cols(), candidates.cols());
  if (forced.rows() > 0) m.selfadjointView<Eigen::Lower>().rankUpdate(forced.transpose());
  for (int r : result.rows) {
    m.selfadjointView<Eigen::Lower>().rankUpdate(candidates.row(r).transpose());
  }
  m = m.selfadjointView<Eigen::Lower>();
  const Eigen::LLT<Eigen::MatrixXd> llt(m);
  result.log_det = 2.0 * llt.matrixLLT().diagonal().array().log().sum();
  result.average_variance = llt.solve(problem.moments).trace();
  return result;
}

}  // namespace zubra::internal
