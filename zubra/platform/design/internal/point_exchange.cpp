#include "zubra/platform/design/internal/point_exchange.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <utility>

#include "zubra/platform/design/internal/exchange_kernels.h"
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

// What every start shares: the candidates in double precision (for the exact updates of M
// and the final check of every swap) and in single precision (in panels for the D sweeps, as
// rows for the I criterion), the forced runs, each position's candidate range and the
// moments of the I criterion.
struct Problem {
  const Eigen::MatrixXd& exact;
  CandidatePanels panels;
  RowMatrixF scoring;  // only for the I criterion
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
  // M = X'X over the forced runs and the given candidate rows (-1: none).
  [[nodiscard]] Eigen::MatrixXd Information(const std::vector<int>& rows) const {
    const Eigen::Index p = Columns();
    Eigen::MatrixXd x(static_cast<Eigen::Index>(rows.size()) + forced.rows(), p);
    Eigen::Index n = 0;
    for (int r : rows) {
      if (r >= 0) x.row(n++) = exact.row(r);
    }
    if (forced.rows() > 0) x.middleRows(n, forced.rows()) = forced;
    n += forced.rows();
    Eigen::MatrixXd m = Eigen::MatrixXd::Zero(p, p);
    m.selfadjointView<Eigen::Lower>().rankUpdate(x.topRows(n).transpose());
    return m.selfadjointView<Eigen::Lower>();
  }
  [[nodiscard]] double LogDet(const std::vector<int>& rows) const {
    return LogDetOrMinusInfinity(Information(rows));
  }
  // trace(M^-1 W), infinity when M is singular.
  [[nodiscard]] double AverageVariance(const std::vector<int>& rows) const {
    const Eigen::LLT<Eigen::MatrixXd> llt(Information(rows));
    if (!WellConditioned(llt)) return kInfinity;
    return llt.solve(moments).trace();
  }
};

// A random candidate of position r's range.
int RandomRow(const Problem& problem, int position, std::mt19937_64& rng) {
  const auto [first, last] = problem.ranges[static_cast<std::size_t>(position)];
  return std::uniform_int_distribution<int>(first, last - 1)(rng);
}

// The D exchanges of one start. It keeps M^-1 in double precision and the variances
// d_j = f_j' M^-1 f_j of all candidates in single precision. Scoring position i computes
// s_j = f_j' M^-1 f_i for every candidate in one sweep; a swap of f_i for f_j changes M^-1 by
// a rank-two term in M^-1 f_i and M^-1 f_j, so the variances follow from s and one more
// product g_j, which the next position's sweep computes along with its own scores. Every
// position thus costs one pass over the candidates, two products per candidate after a swap
// and one otherwise. The variances are computed afresh at the start of every local search;
// M^-1 after every pass.
class DExchange {
 public:
  explicit DExchange(const Problem& problem)
      : problem_(problem),
        p_(problem.Columns()),
        d_(static_cast<std::size_t>(problem.panels.PaddedRows()), 0.0F),
        s_(d_.size(), 0.0F) {}

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
      rows_[static_cast<std::size_t>(r)] = RandomRow(problem_, r, rng);
    }
    Refresh();
    for (int k = random_part; k < positions; ++k) {
      const int r = order[static_cast<std::size_t>(k)];
      const auto [first, last] = problem_.ranges[static_cast<std::size_t>(r)];
      Sweep sweep = Pending();
      sweep.score = Sweep::Score::kVariance;
      sweep.first = first;
      sweep.last = last;
      const int row = RunSweep(sweep).row;
      // M^-1 <- (M + f f')^-1 = M^-1 - b b' / (1 + f'b); the variances fall by g^2 / (1 + f'b).
      f_ = problem_.exact.row(row).transpose();
      b_.noalias() = inverse_ * f_;
      const double c = 1.0 + f_.dot(b_);
      inverse_.noalias() -= (1.0 / c) * (b_ * b_.transpose());
      SetPending(nullptr, static_cast<float>(1.0 / c), 0.0F, 0.0F);
      rows_[static_cast<std::size_t>(r)] = row;
    }
    pending_ = false;
    Refresh();
  }

  // Takes `rows` as the design and computes M^-1 and the variances for them.
  void SetRows(const std::vector<int>& rows) {
    rows_ = rows;
    Refresh();
  }

  // Exchanges position after position, cyclically, until no swap raises det(M): the search
  // ends when every position has been scored once since the last swap, or after
  // `max_passes` passes. At the start of a pass M^-1 is computed afresh while M is singular
  // (to drop the ridge as soon as it can go) and after every kRefreshSwaps swaps.
  void Local(int max_passes) {
    constexpr int kRefreshSwaps = 32;
    const int positions = problem_.Positions();
    int quiet = 0;  // positions scored since the last swap
    int swaps = 0;  // swaps since M^-1 was computed afresh
    for (long visit = 0; visit < static_cast<long>(max_passes) * positions && quiet < positions;
         ++visit) {
      const auto r = static_cast<int>(visit % positions);
      if (r == 0 && swaps > 0 && (!regular_ || swaps >= kRefreshSwaps)) {
        RefreshInverse();
        swaps = 0;
      }
      problem_.CheckCancel();
      if (Improve(r)) {
        quiet = 0;
        ++swaps;
      } else {
        ++quiet;
      }
    }
    Flush();
  }

  [[nodiscard]] const std::vector<int>& GetRows() const { return rows_; }

 private:
  // Scores position r and makes the best swap when it raises det(M) (the ratio of the
  // determinants after and before is (1 - d_i)(1 + d_j) + d_ij^2). True when it swapped.
  bool Improve(int r) {
    int& row = rows_[static_cast<std::size_t>(r)];
    const auto [first, last] = problem_.ranges[static_cast<std::size_t>(r)];
    f_ = problem_.exact.row(row).transpose();
    a_.noalias() = inverse_ * f_;
    const double d_i = f_.dot(a_);
    af_ = a_.cast<float>();
    Sweep sweep = Pending();
    sweep.score = Sweep::Score::kRatio;
    sweep.a = af_.data();
    sweep.coef = static_cast<float>(1.0 - d_i);
    sweep.first = first;
    sweep.last = last;
    const SweepBest best = RunSweep(sweep);
    s_first_ = first / CandidatePanels::kRows;
    s_last_ = (last + CandidatePanels::kRows - 1) / CandidatePanels::kRows;
    if (best.row < 0 || best.row == row || !(best.value > 1.0F)) return false;
    // The scores are single precision: the swap is made only when it gains in double too,
    // which keeps rounding from swapping back and forth.
    f_ = problem_.exact.row(best.row).transpose();
    b_.noalias() = inverse_ * f_;
    const double d_j = f_.dot(b_);
    const double d_ij = f_.dot(a_);
    const double ratio = (1.0 - d_i) * (1.0 + d_j) + d_ij * d_ij;
    if (!(ratio > 1.0 + kMinGain)) return false;
    // With U = [f_j, f_i] and C = diag(1, -1): M^-1 <- M^-1 - [b a] K [b a]', where
    // K = (C^-1 + U'M^-1 U)^-1 = [[d_i - 1, -d_ij], [-d_ij, 1 + d_j]] / det and
    // det = (1 + d_j)(d_i - 1) - d_ij^2 = -ratio.
    const double det = -ratio;
    const double k_bb = (d_i - 1.0) / det;
    const double k_ab = -d_ij / det;
    const double k_aa = (1.0 + d_j) / det;
    ba_.resize(p_, 2);
    ba_.col(0) = b_;
    ba_.col(1) = a_;
    Eigen::Matrix2d k;
    k << k_bb, k_ab, k_ab, k_aa;
    kba_.noalias() = ba_ * k;
    inverse_.noalias() -= ba_ * kba_.transpose();
    SetPending(af_.data(), static_cast<float>(k_bb), static_cast<float>(2.0 * k_ab),
               static_cast<float>(k_aa));
    row = best.row;
    return true;
  }

  // A sweep that applies the pending change of the variances, if any.
  Sweep Pending() {
    Sweep sweep;
    sweep.panels = &problem_.panels;
    sweep.d = d_.data();
    sweep.s = s_.data();
    if (pending_) {
      sweep.b = pending_b_.data();
      sweep.a_old = pending_has_a_ ? pending_a_.data() : nullptr;
      sweep.s_first = s_first_;
      sweep.s_last = s_last_;
      sweep.gg = gg_;
      sweep.gs = gs_;
      sweep.ss = ss_;
      pending_ = false;
    }
    return sweep;
  }

  // Records the change of the variances by gg g^2 + gs g s + ss s^2 with g_j = f_j'b (b_ as it
  // is now) and s_j = f_j'a (a null: none), to be applied by the next sweep.
  void SetPending(const float* a, float gg, float gs, float ss) {
    pending_b_ = b_.cast<float>();
    pending_has_a_ = a != nullptr;
    if (a != nullptr) pending_a_ = Eigen::Map<const Eigen::VectorXf>(a, p_);
    gg_ = gg;
    gs_ = gs;
    ss_ = ss;
    pending_ = true;
  }

  void Flush() {
    if (pending_) (void)RunSweep(Pending());
  }

  // Computes M^-1 (with a ridge while M is singular) and the variances afresh.
  void Refresh() {
    pending_ = false;
    const Eigen::MatrixXd m = problem_.Information(rows_);
    Eigen::LLT<Eigen::MatrixXd> llt(m);
    regular_ = WellConditioned(llt);
    if (!regular_) {
      Eigen::MatrixXd ridged = m;
      ridged.diagonal().array() += 1e-7 * std::max(1.0, m.diagonal().maxCoeff());
      llt.compute(ridged);
    }
    const Eigen::MatrixXd identity = Eigen::MatrixXd::Identity(p_, p_);
    const Eigen::MatrixXd lower_inverse = llt.matrixL().solve(identity);
    inverse_.noalias() = lower_inverse.transpose() * lower_inverse;
    t_ = lower_inverse.cast<float>();
    ComputeVariances(problem_.panels, t_.data(), d_.data());
  }

  // Computes M^-1 afresh, keeping rounding in check; the variances too when the ridge came
  // or went.
  void RefreshInverse() {
    bool regular = false;
    Eigen::MatrixXd inverse = RidgedInverse(problem_.Information(rows_), &regular);
    if (regular != regular_ || !regular) {
      Refresh();
    } else {
      inverse_ = std::move(inverse);
    }
  }

  const Problem& problem_;
  Eigen::Index p_;
  std::vector<int> rows_;
  Eigen::MatrixXd inverse_;
  bool regular_ = false;
  PanelVector d_;
  PanelVector s_;
  int s_first_ = 0;  // the panels whose s holds f_j' a for the last scored position
  int s_last_ = 0;
  bool pending_ = false;
  bool pending_has_a_ = false;
  Eigen::VectorXf pending_b_, pending_a_;
  float gg_ = 0.0F, gs_ = 0.0F, ss_ = 0.0F;
  // Row-major T = L^-1 for the variances.
  Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor> t_;
  Eigen::VectorXd f_, a_, b_;
  Eigen::MatrixXd ba_, kba_;
  Eigen::VectorXf af_;
};

// The I exchanges of one start, from a design the D exchanges improved: it keeps M^-1,
// M^-1 W M^-1, and for every candidate d_j = f_j' M^-1 f_j and phi_j = f_j' M^-1 W M^-1 f_j.
class IExchange {
 public:
  explicit IExchange(const Problem& problem)
      : problem_(problem), f_(problem.scoring), p_(problem.Columns()) {}

  void SetRows(const std::vector<int>& rows) {
    rows_ = rows;
    Refresh();
  }

  // Exchange passes until no swap lowers trace(M^-1 W).
  void Local(int max_passes) {
    for (int pass = 0; pass < max_passes; ++pass) {
      bool improved = false;
      for (int r = 0; r < problem_.Positions(); ++r) {
        problem_.CheckCancel();
        int& row = rows_[static_cast<std::size_t>(r)];
        const int best = Best(r, row);
        if (best < 0) continue;
        Update(best, 1.0);
        Update(row, -1.0);
        row = best;
        improved = true;
      }
      Refresh();
      if (!improved) break;
    }
  }

  [[nodiscard]] const std::vector<int>& GetRows() const { return rows_; }

 private:
  // The candidate of position r whose swap for `row` lowers trace(M^-1 W) most, or -1. With
  // U = [f_j, f_i] the swap is M + U diag(1, -1) U', and the trace falls by tr(A^-1 B) with
  // A = diag(1, -1) + U'M^-1 U and B = U'M^-1 W M^-1 U.
  int Best(int r, int row) {
    if (!have_phi_) return -1;
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
    // Checked in double: the scores are single precision.
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

  // M^-1 <- (M + sign f f')^-1 for candidate `row`, and the candidates' d and phi with it.
  void Update(int row, double sign) {
    u_.noalias() = inverse_ * problem_.exact.row(row).transpose();
    const double c = 1.0 + sign * problem_.exact.row(row).dot(u_);
    af_ = u_.cast<float>();
    g_.noalias() = f_ * af_;
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
    inverse_.noalias() -= (sign / c) * (u_ * u_.transpose());
    d_.array() -= (sign / c) * g_.array().square().cast<double>();
  }

  // Computes M^-1, M^-1 W M^-1, d and phi afresh from the current rows. A singular design
  // (which the D exchanges leave only when nothing supports the model) is not improved.
  void Refresh() {
    bool regular = false;
    inverse_ = RidgedInverse(problem_.Information(rows_), &regular);
    have_phi_ = regular;
    if (!have_phi_) return;
    const Eigen::MatrixXf inverse = inverse_.cast<float>();
    product_.noalias() = f_ * inverse;
    d_ = product_.cwiseProduct(f_).rowwise().sum().cast<double>();
    inverse_w_ = inverse_ * problem_.moments * inverse_;
    trace_ = (inverse_ * problem_.moments).trace();
    const Eigen::MatrixXf w = problem_.moments.cast<float>();
    phi_ = ((product_ * w).cwiseProduct(product_)).rowwise().sum().cast<double>();
    Eigen::Index longest = 0;
    for (const auto& [first, last] : problem_.ranges)
      longest = std::max<Eigen::Index>(longest, last - first);
    if (scores_.size() < longest) {
      scores_.resize(longest);
      second_.resize(longest);
    }
  }

  const Problem& problem_;
  const RowMatrixF& f_;
  Eigen::Index p_;
  std::vector<int> rows_;
  Eigen::MatrixXd inverse_;
  Eigen::MatrixXd inverse_w_;  // M^-1 W M^-1
  double trace_ = 0.0;         // trace(M^-1 W) at the last refresh
  bool have_phi_ = false;
  Eigen::VectorXd d_;
  Eigen::VectorXd phi_;
  RowMatrixF product_;  // F M^-1, for the refresh
  // Scratch vectors, kept to spare allocations in the inner loops.
  Eigen::VectorXd a_, b_, u_;
  Eigen::VectorXf af_, scores_, second_, g_, h_;
};

// One start: the D exchanges from a random start, then (for the I criterion) the I
// exchanges; then rounds of perturbation (a few positions take random candidates) and
// renewed exchanges, each kept when it is at least as good (iterated local search). Returns
// the criterion value (log det for D, minus the average variance for I: larger is better;
// minus infinity when singular).
class Start final : public RaceStart {
 public:
  Start(const Problem& problem, std::uint64_t seed, int number, int max_passes,
        int perturbation_size)
      : problem_(problem),
        max_passes_(max_passes),
        size_(std::min(perturbation_size, problem.Positions())),
        d_(problem),
        i_(problem) {
    std::seed_seq seeds{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32U),
                        static_cast<std::uint32_t>(number)};
    rng_.seed(seeds);
  }

  double Advance(int rounds) override {
    if (!begun_) {
      begun_ = true;
      d_.Begin(rng_);
      Improve();
      value_ = Value();
    }
    const int positions = problem_.Positions();
    for (int round = 0; round < rounds && size_ > 0; ++round) {
      saved_ = rows_;
      std::uniform_int_distribution<int> position(0, positions - 1);
      for (int k = 0; k < size_; ++k) {
        const int r = position(rng_);
        rows_[static_cast<std::size_t>(r)] = RandomRow(problem_, r, rng_);
      }
      d_.SetRows(rows_);
      Improve();
      const double next = Value();
      if (next >= value_) {
        value_ = next;
      } else {
        rows_.swap(saved_);
      }
    }
    return value_;
  }

  [[nodiscard]] double GetValue() const { return value_; }
  [[nodiscard]] const std::vector<int>& GetRows() const { return rows_; }

 private:
  void Improve() {
    d_.Local(max_passes_);
    rows_ = d_.GetRows();
    if (problem_.criterion == Criterion::kI) {
      i_.SetRows(rows_);
      i_.Local(max_passes_);
      rows_ = i_.GetRows();
    }
  }

  [[nodiscard]] double Value() const {
    if (problem_.criterion == Criterion::kD) return problem_.LogDet(rows_);
    const double variance = problem_.AverageVariance(rows_);
    return std::isfinite(variance) ? -variance : kMinusInfinity;
  }

  const Problem& problem_;
  std::mt19937_64 rng_;
  int max_passes_;
  int size_;
  bool begun_ = false;
  double value_ = kMinusInfinity;
  DExchange d_;
  IExchange i_;
  std::vector<int> rows_;
  std::vector<int> saved_;
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
  return Problem{
      candidates,
      CandidatePanels(candidates),
      options.criterion == Criterion::kI ? RowMatrixF(candidates.cast<float>()) : RowMatrixF(),
      forced,
      std::move(ranges),
      options.criterion,
      std::move(moments),
      cancel,
      stop};
}

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
  // A local search takes a few passes, each scoring every candidate once per position.
  const double operations =
      3.0 * starts * (1.0 + std::max(0, options.perturbations)) * static_cast<double>(free_runs) *
      static_cast<double>(candidates.rows()) * static_cast<double>(candidates.cols());
  std::vector<std::unique_ptr<Start>> field;
  std::vector<RaceStart*> racers;
  for (int number = 0; number < starts; ++number) {
    field.push_back(std::make_unique<Start>(problem, options.seed, number, options.max_passes,
                                            options.perturbation_size));
    racers.push_back(field.back().get());
  }
  const int winner =
      RunRace(racers, std::max(0, options.perturbations),
              ThreadsFor(options.threads, starts, operations), stop, options.progress);
  const Start& best = *field[static_cast<std::size_t>(winner)];
  if (best.GetValue() == kMinusInfinity) {
    throw Exception(ExceptionMessage::translate("No design of {} runs from these candidates "
                                                "supports the model's {} columns.") %
                    (free_runs + static_cast<int>(forced.rows())) %
                    static_cast<int>(candidates.cols()));
  }
  Result result;
  result.rows = best.GetRows();
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
