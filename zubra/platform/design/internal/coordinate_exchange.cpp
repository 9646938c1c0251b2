#include "zubra/platform/design/internal/coordinate_exchange.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <random>
#include <utility>

#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

using Criterion = CoordinateExchange::Criterion;
using RowMatrixD = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();
constexpr double kMinGain = 1e-9;
constexpr int kDraws = 1000;
// M^-1 is computed afresh at the start of a pass after this many changes.
constexpr int kRefreshChanges = 32;

// What every start shares: the levels, the model with the value of every part at every
// level, the forced runs and the moments of the I criterion.
struct Problem {
  const std::vector<std::vector<float>>& levels;
  const ModelRows& rows;
  const CoordinateExchange::Exclusion& excluded;
  const Eigen::MatrixXd& forced;
  Criterion criterion;
  Eigen::MatrixXd moments;
  const bool* cancel;
  const std::atomic<bool>& stop;
  LevelRows table;

  // Column c of the model row of the run whose factors stand at the level numbers `point`.
  [[nodiscard]] double Column(int c, const int* point) const { return table.Column(c, point); }

  void CheckCancel() const {
    if (IsFlagSet(cancel) || stop.load(std::memory_order_relaxed)) throw CancelException();
  }
};

// One start: the runs as level numbers, their model rows X, M^-1 and, for the I criterion,
// P = M^-1 W M^-1.
class Start final : public RaceStart {
 public:
  Start(const Problem& problem, int runs, std::uint64_t seed, int number, int max_passes,
        int perturbation_size)
      : problem_(problem),
        max_passes_(max_passes),
        size_(std::min(perturbation_size, runs)),
        runs_(runs),
        factors_(static_cast<int>(problem.levels.size())),
        p_(problem.rows.Columns()),
        point_(static_cast<std::size_t>(runs) * static_cast<std::size_t>(factors_), 0),
        x_(runs, p_),
        coded_(static_cast<std::size_t>(factors_)) {
    std::seed_seq seeds{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32U),
                        static_cast<std::uint32_t>(number)};
    rng_.seed(seeds);
  }

  // The first call draws random runs and improves them to a local optimum; then (and on
  // every later call) `rounds` rounds of iterated local search: `size` random runs are drawn
  // anew, the passes run again, and the result is kept when it is at least as good. Returns
  // the criterion value (log det for D, minus the average variance for I; minus infinity
  // when singular).
  double Advance(int rounds) override {
    if (!begun_) {
      begun_ = true;
      for (int r = 0; r < runs_; ++r) Draw(r);
      Improve(max_passes_);
      value_ = Value();
    }
    for (int round = 0; round < rounds && size_ > 0; ++round) {
      saved_point_ = point_;
      saved_x_ = x_;
      std::uniform_int_distribution<int> position(0, runs_ - 1);
      for (int k = 0; k < size_; ++k) Draw(position(rng_));
      Improve(max_passes_);
      const double next = Value();
      if (next >= value_) {
        value_ = next;
      } else {
        point_.swap(saved_point_);
        x_.swap(saved_x_);
      }
    }
    return value_;
  }

  [[nodiscard]] double GetValue() const { return value_; }

  // The runs, coded.
  [[nodiscard]] NCDataMatrix<float> Coded() const {
    NCDataMatrix<float> coded(runs_, factors_);
    for (int r = 0; r < runs_; ++r) {
      for (int k = 0; k < factors_; ++k) coded(r, k) = Level(k, Point(r)[k]);
    }
    return coded;
  }

  [[nodiscard]] Eigen::MatrixXd Information() const {
    Eigen::MatrixXd m = Eigen::MatrixXd::Zero(p_, p_);
    m.selfadjointView<Eigen::Lower>().rankUpdate(x_.transpose());
    if (problem_.forced.rows() > 0) {
      m.selfadjointView<Eigen::Lower>().rankUpdate(problem_.forced.transpose());
    }
    return m.selfadjointView<Eigen::Lower>();
  }

 private:
  [[nodiscard]] float Level(int k, int v) const {
    return problem_.levels[static_cast<std::size_t>(k)][static_cast<std::size_t>(v)];
  }
  int* Point(int r) { return point_.data() + static_cast<std::size_t>(r) * factors_; }
  [[nodiscard]] const int* Point(int r) const {
    return point_.data() + static_cast<std::size_t>(r) * factors_;
  }

  // The D local search, then for the I criterion the I local search.
  void Improve(int max_passes) {
    Refresh(Criterion::kD);
    Local(Criterion::kD, max_passes);
    if (problem_.criterion == Criterion::kI) {
      Refresh(Criterion::kI);
      Local(Criterion::kI, max_passes);
    }
  }

  [[nodiscard]] double Value() const {
    const Eigen::MatrixXd m = Information();
    if (problem_.criterion == Criterion::kD) return LogDetOrMinusInfinity(m);
    const Eigen::LLT<Eigen::MatrixXd> llt(m);
    if (!WellConditioned(llt)) return kMinusInfinity;
    return -llt.solve(problem_.moments).trace();
  }

  // Gives run r random admitted levels.
  void Draw(int r) {
    std::mt19937_64& rng = rng_;
    int* point = Point(r);
    bool found = false;
    for (int draw = 0; draw < kDraws && !found; ++draw) {
      for (int k = 0; k < factors_; ++k) {
        const auto count = problem_.levels[static_cast<std::size_t>(k)].size();
        point[k] = static_cast<int>(std::uniform_int_distribution<std::size_t>(0, count - 1)(rng));
        coded_[static_cast<std::size_t>(k)] = Level(k, point[k]);
      }
      found = !problem_.excluded || !problem_.excluded(coded_);
    }
    if (!found) {
      throw Exception(ExceptionMessage::translate("No admitted run was found among {} random "
                                                  "points of the region.") %
                      kDraws);
    }
    for (int c = 0; c < p_; ++c) x_(r, c) = problem_.Column(c, point);
  }

  // Passes over the runs until a whole pass changes nothing (or `max_passes` passes).
  void Local(Criterion criterion, int max_passes) {
    int quiet = 0;    // runs visited since the last change
    int changes = 0;  // changes since M^-1 was computed afresh
    for (long visit = 0; visit < static_cast<long>(max_passes) * runs_ && quiet < runs_; ++visit) {
      const auto r = static_cast<int>(visit % runs_);
      if (r == 0 && changes > 0 && (!regular_ || changes >= kRefreshChanges)) {
        Refresh(criterion);
        changes = 0;
      }
      problem_.CheckCancel();
      const int changed = ImproveRun(criterion, r);
      if (changed > 0) {
        quiet = 0;
        changes += changed;
      } else {
        ++quiet;
      }
    }
  }

  // Tries every other level of every factor of run r, one factor after the other, and keeps
  // each factor's best change when it improves the criterion. Returns the changes made.
  int ImproveRun(Criterion criterion, int r) {
    const bool i_criterion = criterion == Criterion::kI;
    if (i_criterion && !regular_) return 0;
    int* point = Point(r);
    for (int k = 0; k < factors_; ++k) coded_[static_cast<std::size_t>(k)] = Level(k, point[k]);
    f_ = x_.row(r).transpose();
    Track();
    int changes = 0;
    for (int k = 0; k < factors_; ++k) {
      const std::vector<int>& touching = problem_.rows.Touching(k);
      const auto s = static_cast<int>(touching.size());
      const auto count = static_cast<int>(problem_.levels[static_cast<std::size_t>(k)].size());
      if (s == 0 || count <= 1) continue;
      // The parts of M^-1 (and P) and of a (and e) that the changes of factor k involve.
      sub_b_.resize(s, s);
      sub_a_.resize(s);
      if (i_criterion) {
        sub_p_.resize(s, s);
        sub_e_.resize(s);
      }
      for (int t = 0; t < s; ++t) {
        const int ct = touching[static_cast<std::size_t>(t)];
        sub_a_(t) = a_(ct);
        if (i_criterion) sub_e_(t) = e_(ct);
        for (int u = 0; u < s; ++u) {
          const int cu = touching[static_cast<std::size_t>(u)];
          sub_b_(t, u) = inverse_(ct, cu);
          if (i_criterion) sub_p_(t, u) = pwp_(ct, cu);
        }
      }
      delta_.resize(s);
      const int current = point[k];
      const double floor = i_criterion ? kMinGain * std::max(trace_, 1e-300) : 1.0 + kMinGain;
      double best_value = floor;
      int best_level = -1;
      for (int v = 0; v < count; ++v) {
        if (v == current) continue;
        if (problem_.excluded) {
          coded_[static_cast<std::size_t>(k)] = Level(k, v);
          const bool out = problem_.excluded(coded_);
          coded_[static_cast<std::size_t>(k)] = Level(k, current);
          if (out) continue;
        }
        point[k] = v;
        for (int t = 0; t < s; ++t) {
          const int ct = touching[static_cast<std::size_t>(t)];
          delta_(t) = problem_.Column(ct, point) - f_(ct);
        }
        point[k] = current;
        const double da = delta_.dot(sub_a_);
        const double d_j = d_i_ + 2.0 * da + delta_.dot(sub_b_ * delta_);
        const double d_ij = d_i_ + da;
        double value = 0.0;
        if (i_criterion) {
          const double de = delta_.dot(sub_e_);
          const double phi_ij = phi_i_ + de;
          const double phi_j = phi_i_ + 2.0 * de + delta_.dot(sub_p_ * delta_);
          const double a11 = 1.0 + d_j;
          const double a22 = d_i_ - 1.0;
          const double det = a11 * a22 - d_ij * d_ij;
          if (det > -1e-10) continue;  // the change would make M (nearly) singular
          value = (a22 * phi_j - 2.0 * d_ij * phi_ij + a11 * phi_i_) / det;
        } else {
          value = (1.0 - d_i_) * (1.0 + d_j) + d_ij * d_ij;
        }
        if (value > best_value) {
          best_value = value;
          best_level = v;
          best_delta_ = delta_;
        }
      }
      if (best_level >= 0 && Apply(criterion, r, k, best_level, floor)) ++changes;
    }
    return changes;
  }

  // Computes a = M^-1 f, d_i = f'a and, for the I criterion, e = P f and phi_i = f'e for the
  // current row f of the run being improved.
  void Track() {
    a_.noalias() = inverse_ * f_;
    d_i_ = f_.dot(a_);
    if (regular_ && pwp_.size() > 0) {
      e_.noalias() = pwp_ * f_;
      phi_i_ = f_.dot(e_);
    }
  }

  // Makes the change of factor k of run r to `level` (its delta in best_delta_) when it
  // improves the criterion in exact arithmetic too: M^-1 (and P) by the rank-two update of
  // replacing f_i by f_j, with V = [M^-1 f_j, M^-1 f_i] and
  // K = [[d_i - 1, -d_ij], [-d_ij, 1 + d_j]] / ((1 + d_j)(d_i - 1) - d_ij^2).
  bool Apply(Criterion criterion, int r, int k, int level, double floor) {
    const std::vector<int>& touching = problem_.rows.Touching(k);
    f_new_ = f_;
    for (std::size_t t = 0; t < touching.size(); ++t) {
      f_new_(touching[t]) += best_delta_(static_cast<Eigen::Index>(t));
    }
    b_.noalias() = inverse_ * f_new_;
    const double d_j = f_new_.dot(b_);
    const double d_ij = f_new_.dot(a_);
    const double det = (1.0 + d_j) * (d_i_ - 1.0) - d_ij * d_ij;
    const bool i_criterion = criterion == Criterion::kI;
    if (i_criterion) {
      g_.noalias() = pwp_ * f_new_;
      const double phi_j = f_new_.dot(g_);
      const double phi_ij = f_new_.dot(e_);
      if (det > -1e-10) return false;
      const double gain = ((d_i_ - 1.0) * phi_j - 2.0 * d_ij * phi_ij + (1.0 + d_j) * phi_i_) / det;
      if (!(gain > floor)) return false;
      trace_ -= gain;
    } else if (!(-det > 1.0 + kMinGain)) {
      return false;
    }
    Eigen::Matrix2d kk;
    kk << d_i_ - 1.0, -d_ij, -d_ij, 1.0 + d_j;
    kk /= det;
    v_.resize(p_, 2);
    v_.col(0) = b_;
    v_.col(1) = a_;
    if (i_criterion) {
      // P' = P - G K V' - V K G' + V K (V'WV) K V' with G = M^-1 W V = [P f_j, P f_i].
      w_.resize(p_, 2);
      w_.col(0) = g_;
      w_.col(1) = e_;
      const Eigen::Matrix2d s = v_.transpose() * problem_.moments * v_;
      kv_.noalias() = v_ * kk;
      pwp_.noalias() -= w_ * kv_.transpose();
      pwp_.noalias() -= kv_ * w_.transpose();
      pwp_.noalias() += kv_ * (s * kv_.transpose());
    } else {
      kv_.noalias() = v_ * kk;
    }
    inverse_.noalias() -= v_ * kv_.transpose();
    int* point = Point(r);
    point[k] = level;
    coded_[static_cast<std::size_t>(k)] = Level(k, level);
    x_.row(r) = f_new_.transpose();
    f_ = f_new_;
    Track();
    return true;
  }

  // Computes M^-1 afresh (with a ridge while M is singular) and, for the I criterion,
  // P = M^-1 W M^-1 and trace(M^-1 W).
  void Refresh(Criterion criterion) {
    inverse_ = RidgedInverse(Information(), &regular_);
    pwp_.resize(0, 0);
    if (criterion == Criterion::kI && regular_) {
      pwp_.noalias() = inverse_ * problem_.moments * inverse_;
      trace_ = (inverse_ * problem_.moments).trace();
    }
  }

  const Problem& problem_;
  std::mt19937_64 rng_;
  int max_passes_;
  int size_;
  bool begun_ = false;
  double value_ = kMinusInfinity;
  int runs_;
  int factors_;
  int p_;
  std::vector<int> point_;  // level numbers, runs x factors
  RowMatrixD x_;            // model rows
  std::vector<int> saved_point_;
  RowMatrixD saved_x_;
  Eigen::MatrixXd inverse_;
  Eigen::MatrixXd pwp_;  // M^-1 W M^-1 (I criterion)
  double trace_ = 0.0;   // trace(M^-1 W)
  bool regular_ = false;
  std::vector<float> coded_;  // the coded values of the run being improved
  // The run being improved: its row, a = M^-1 f, d_i = f'a, e = P f, phi_i = f'e.
  Eigen::VectorXd f_, a_, e_;
  double d_i_ = 0.0;
  double phi_i_ = 0.0;
  // Scratch, kept to spare allocations in the inner loops.
  Eigen::VectorXd f_new_, b_, g_, delta_, best_delta_, sub_a_, sub_e_;
  Eigen::MatrixXd sub_b_, sub_p_, v_, w_, kv_;
};

}  // namespace

CoordinateExchange::Options CoordinateExchange::Effort() {
  Options options;
  options.starts = 4;
  options.perturbations = 120;
  options.perturbation_size = 4;
  return options;
}

CoordinateExchange::Result CoordinateExchange::Search(const std::vector<std::vector<float>>& levels,
                                                      const ModelRows& rows,
                                                      const Exclusion& excluded,
                                                      const Eigen::MatrixXd& forced, int free_runs,
                                                      const Options& options, const bool* cancel) {
  if (levels.empty() || free_runs <= 0 ||
      std::any_of(levels.begin(), levels.end(),
                  [](const auto& values) { return values.empty(); })) {
    throw Exception(ExceptionMessage::translate("There are no candidate runs to choose from."));
  }
  const int p = rows.Columns();
  if (static_cast<int>(levels.size()) != rows.FactorCount() ||
      (forced.rows() > 0 && forced.cols() != p)) {
    throw Exception(ExceptionMessage::translate("The forced runs do not fit the design of {} "
                                                "runs.") %
                    free_runs);
  }
  if (options.criterion == Criterion::kI &&
      (options.moments.rows() != p || options.moments.cols() != p)) {
    throw Exception(ExceptionMessage::translate("The region moments do not fit the model's {} "
                                                "columns.") %
                    p);
  }
  std::atomic<bool> stop{false};
  const Problem problem{levels,
                        rows,
                        excluded,
                        forced,
                        options.criterion,
                        options.moments,
                        cancel,
                        stop,
                        LevelRows(rows, levels)};

  const int starts = std::max(1, options.starts);
  // One pass costs about runs x (p^2 + the sparse products of every level change).
  double per_run = static_cast<double>(p) * p;
  for (std::size_t k = 0; k < levels.size(); ++k) {
    const auto s = static_cast<double>(rows.Touching(static_cast<int>(k)).size());
    per_run += static_cast<double>(levels[k].size()) * s * (s + 2.0);
  }
  const double operations = 3.0 * starts * (1.0 + std::max(0, options.perturbations)) *
                            static_cast<double>(free_runs) * per_run;
  std::vector<std::unique_ptr<Start>> field;
  std::vector<RaceStart*> racers;
  for (int number = 0; number < starts; ++number) {
    field.push_back(std::make_unique<Start>(problem, free_runs, options.seed, number,
                                            options.max_passes, options.perturbation_size));
    racers.push_back(field.back().get());
  }
  const int winner =
      RunRace(racers, std::max(0, options.perturbations),
              ThreadsFor(options.threads, starts, operations), stop, options.progress);
  const Start& best = *field[static_cast<std::size_t>(winner)];
  if (best.GetValue() == kMinusInfinity) {
    throw Exception(ExceptionMessage::translate("No design of {} runs from these candidates "
                                                "supports the model's columns.") %
                    (free_runs + static_cast<int>(forced.rows())));
  }
  Result result;
  result.coded = best.Coded();
  const Eigen::LLT<Eigen::MatrixXd> llt(best.Information());
  result.log_det = 2.0 * llt.matrixLLT().diagonal().array().log().sum();
  if (options.criterion == Criterion::kI) {
    result.average_variance = llt.solve(options.moments).trace();
  }
  return result;
}

}  // namespace zubra::internal
