#include "zubra/platform/design/internal/whole_plot_exchange.h"

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <utility>

#include "zubra/platform/design/internal/coordinate_exchange.h"
#include "zubra/platform/design/internal/search_support.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

using RowMatrixD = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();
constexpr double kMinGain = 1e-9;
constexpr int kDraws = 1000;
constexpr int kRefreshChanges = 32;

// What every start shares.
struct Problem {
  const std::vector<std::vector<float>>& levels;
  const std::vector<bool>& hard;
  const std::vector<int>& plot_sizes;
  double eta;
  const WholePlotExchange::Exclusion& excluded;
  const bool* cancel;
  const std::atomic<bool>& stop;
  LevelRows table;
  std::vector<int> first_run;  // per plot, and the run count at the end
  std::vector<int> hard_factors;
  std::vector<int> easy_factors;

  [[nodiscard]] int Plots() const { return static_cast<int>(plot_sizes.size()); }
  [[nodiscard]] int Runs() const { return first_run.back(); }
  [[nodiscard]] double Weight(int w) const {
    return eta / (1.0 + eta * plot_sizes[static_cast<std::size_t>(w)]);
  }
  void CheckCancel() const {
    if (IsFlagSet(cancel) || stop.load(std::memory_order_relaxed)) throw CancelException();
  }
};

class Start final : public RaceStart {
 public:
  Start(const Problem& problem, std::uint64_t seed, int number, int max_passes, int size)
      : problem_(problem),
        max_passes_(max_passes),
        size_(std::min(size, problem.Runs())),
        factors_(static_cast<int>(problem.levels.size())),
        p_(problem.table.GetRows().Columns()),
        point_(static_cast<std::size_t>(problem.Runs()) * static_cast<std::size_t>(factors_), 0),
        x_(problem.Runs(), p_),
        sums_(problem.Plots(), p_),
        coded_(static_cast<std::size_t>(factors_)) {
    std::seed_seq seeds{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32U),
                        static_cast<std::uint32_t>(number)};
    rng_.seed(seeds);
  }

  // As CoordinateExchange's starts: a random design improved to a local optimum on the first
  // call, then `rounds` rounds of iterated local search.
  double Advance(int rounds) override {
    if (!begun_) {
      begun_ = true;
      for (int w = 0; w < problem_.Plots(); ++w) DrawPlot(w, true);
      Local();
      value_ = Value();
    }
    for (int round = 0; round < rounds; ++round) {
      saved_point_ = point_;
      saved_x_ = x_;
      std::uniform_int_distribution<int> run(0, problem_.Runs() - 1);
      for (int k = 0; k < size_; ++k) DrawEasy(run(rng_), false);
      if (!problem_.hard_factors.empty()) {
        DrawPlot(std::uniform_int_distribution<int>(0, problem_.Plots() - 1)(rng_), false);
      }
      Local();
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

  [[nodiscard]] NCDataMatrix<float> Coded() const {
    NCDataMatrix<float> coded(problem_.Runs(), factors_);
    for (int r = 0; r < problem_.Runs(); ++r) {
      for (int k = 0; k < factors_; ++k) coded(r, k) = Level(k, Point(r)[k]);
    }
    return coded;
  }

  [[nodiscard]] Eigen::MatrixXd Information() const {
    Eigen::MatrixXd m = Eigen::MatrixXd::Zero(p_, p_);
    m.selfadjointView<Eigen::Lower>().rankUpdate(x_.transpose());
    Eigen::MatrixXd sums(problem_.Plots(), p_);
    for (int w = 0; w < problem_.Plots(); ++w) {
      sums.row(w) = x_.middleRows(problem_.first_run[static_cast<std::size_t>(w)],
                                  problem_.plot_sizes[static_cast<std::size_t>(w)])
                        .colwise()
                        .sum() *
                    std::sqrt(problem_.Weight(w));
    }
    m.selfadjointView<Eigen::Lower>().rankUpdate(sums.transpose(), -1.0);
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
  [[nodiscard]] int RandomLevel(int k) {
    const auto count = problem_.levels[static_cast<std::size_t>(k)].size();
    return static_cast<int>(std::uniform_int_distribution<std::size_t>(0, count - 1)(rng_));
  }
  [[nodiscard]] bool Admitted(const int* point) {
    if (!problem_.excluded) return true;
    for (int k = 0; k < factors_; ++k) coded_[static_cast<std::size_t>(k)] = Level(k, point[k]);
    return !problem_.excluded(coded_);
  }
  void SetRow(int r) { problem_.table.Row(Point(r), x_.row(r).data()); }

  // Draws random easy factors for run r until the run is admitted. When none is found, a
  // required draw throws; otherwise the run keeps its levels. True when it was drawn.
  bool DrawEasy(int r, bool required) {
    int* point = Point(r);
    std::vector<int> before(point, point + factors_);
    for (int draw = 0; draw < kDraws; ++draw) {
      for (int k : problem_.easy_factors) point[k] = RandomLevel(k);
      if (Admitted(point)) {
        SetRow(r);
        return true;
      }
    }
    std::copy(before.begin(), before.end(), point);
    if (required) ThrowNoRun();
    return false;
  }

  // Draws random hard-to-change factors for plot w (and, for a fresh plot, random easy
  // factors for its runs) until every run of the plot is admitted. When none is found a fresh
  // plot throws and a perturbed one keeps its levels.
  void DrawPlot(int w, bool fresh) {
    const int first = problem_.first_run[static_cast<std::size_t>(w)];
    const int last = problem_.first_run[static_cast<std::size_t>(w) + 1];
    const std::vector<int> before(point_.begin() + static_cast<std::ptrdiff_t>(first) * factors_,
                                  point_.begin() + static_cast<std::ptrdiff_t>(last) * factors_);
    constexpr int kPlotDraws = 100;
    for (int draw = 0; draw < kPlotDraws; ++draw) {
      std::vector<int> hard;
      for (int k : problem_.hard_factors) hard.push_back(RandomLevel(k));
      bool admitted = true;
      for (int r = first; r < last && admitted; ++r) {
        int* point = Point(r);
        for (std::size_t h = 0; h < hard.size(); ++h) point[problem_.hard_factors[h]] = hard[h];
        admitted = fresh ? DrawEasy(r, false) : Admitted(point);
      }
      if (admitted) {
        for (int r = first; r < last; ++r) SetRow(r);
        return;
      }
    }
    std::copy(before.begin(), before.end(),
              point_.begin() + static_cast<std::ptrdiff_t>(first) * factors_);
    if (fresh) ThrowNoRun();
  }

  [[noreturn]] static void ThrowNoRun() {
    throw Exception(ExceptionMessage::translate("No admitted run was found among {} random "
                                                "points of the region.") %
                    kDraws);
  }

  [[nodiscard]] double Value() const { return LogDetOrMinusInfinity(Information()); }

  // Passes over the whole plots until a pass changes nothing.
  void Local() {
    Refresh();
    int quiet = 0;  // plots visited since the last change
    int changes = 0;
    const int plots = problem_.Plots();
    for (long visit = 0; visit < static_cast<long>(max_passes_) * plots && quiet < plots; ++visit) {
      const auto w = static_cast<int>(visit % plots);
      if (w == 0 && changes > 0 && (!regular_ || changes >= kRefreshChanges)) {
        Refresh();
        changes = 0;
      }
      problem_.CheckCancel();
      int changed = 0;
      for (int k : problem_.hard_factors) changed += ImprovePlot(w, k) ? 1 : 0;
      const int last = problem_.first_run[static_cast<std::size_t>(w) + 1];
      for (int r = problem_.first_run[static_cast<std::size_t>(w)]; r < last; ++r) {
        changed += ImproveRun(w, r);
      }
      if (changed > 0) {
        quiet = 0;
        changes += changed;
      } else {
        ++quiet;
      }
    }
  }

  // M (with a ridge while it is singular), its inverse, its log determinant and the plot sums
  // afresh.
  void Refresh() {
    for (int w = 0; w < problem_.Plots(); ++w) {
      sums_.row(w) = x_.middleRows(problem_.first_run[static_cast<std::size_t>(w)],
                                   problem_.plot_sizes[static_cast<std::size_t>(w)])
                         .colwise()
                         .sum();
    }
    m_ = Information();
    Eigen::LLT<Eigen::MatrixXd> llt(m_);
    regular_ = WellConditioned(llt);
    if (!regular_) {
      m_.diagonal().array() += 1e-7 * std::max(1.0, m_.diagonal().maxCoeff());
      llt.compute(m_);
    }
    inverse_ = llt.solve(Eigen::MatrixXd::Identity(p_, p_));
    log_det_ = 2.0 * llt.matrixLLT().diagonal().array().log().sum();
  }

  // Tries every other level of the hard-to-change factor k in plot w (every run of the plot
  // changes) and keeps the best when it raises det(M). True when it changed.
  bool ImprovePlot(int w, int k) {
    const int first = problem_.first_run[static_cast<std::size_t>(w)];
    const int last = problem_.first_run[static_cast<std::size_t>(w) + 1];
    const int count = static_cast<int>(problem_.levels[static_cast<std::size_t>(k)].size());
    const int current = Point(first)[k];
    const double c = problem_.Weight(w);
    // The plot's part of M: X_w'X_w - c s s'.
    const auto contribution = [&](const RowMatrixD& rows) {
      Eigen::MatrixXd part = Eigen::MatrixXd::Zero(p_, p_);
      part.selfadjointView<Eigen::Lower>().rankUpdate(rows.transpose());
      const Eigen::VectorXd sum = rows.colwise().sum().transpose();
      part.selfadjointView<Eigen::Lower>().rankUpdate(sum, -c);
      return Eigen::MatrixXd(part.selfadjointView<Eigen::Lower>());
    };
    const RowMatrixD old_rows = x_.middleRows(first, last - first);
    const Eigen::MatrixXd old_part = contribution(old_rows);
    double best = log_det_ + std::log1p(kMinGain);
    int best_level = -1;
    RowMatrixD rows(last - first, p_);
    Eigen::MatrixXd best_m;
    for (int v = 0; v < count; ++v) {
      if (v == current) continue;
      bool admitted = true;
      for (int r = first; r < last; ++r) {
        int* point = Point(r);
        point[k] = v;
        admitted = admitted && Admitted(point);
        problem_.table.Row(point, rows.row(r - first).data());
        point[k] = current;
      }
      if (!admitted) continue;
      Eigen::MatrixXd m = m_ + contribution(rows) - old_part;
      const Eigen::LLT<Eigen::MatrixXd> llt(m);
      if (llt.info() != Eigen::Success) continue;
      const double log_det = 2.0 * llt.matrixLLT().diagonal().array().log().sum();
      if (log_det > best) {
        best = log_det;
        best_level = v;
        best_m = std::move(m);
      }
    }
    if (best_level < 0) return false;
    for (int r = first; r < last; ++r) {
      Point(r)[k] = best_level;
      SetRow(r);
    }
    sums_.row(w) = x_.middleRows(first, last - first).colwise().sum();
    m_ = std::move(best_m);
    const Eigen::LLT<Eigen::MatrixXd> llt(m_);
    inverse_ = llt.solve(Eigen::MatrixXd::Identity(p_, p_));
    log_det_ = best;
    return true;
  }

  // Tries every other level of every easy factor of run r (in plot w), one factor after the
  // other, and keeps each factor's best change when it raises det(M). Returns the changes.
  int ImproveRun(int w, int r) {
    const double c = problem_.Weight(w);
    int* point = Point(r);
    int changes = 0;
    for (int k : problem_.easy_factors) {
      const std::vector<int>& touching = problem_.table.GetRows().Touching(k);
      const auto s = static_cast<int>(touching.size());
      const int count = static_cast<int>(problem_.levels[static_cast<std::size_t>(k)].size());
      if (s == 0 || count <= 1) continue;
      // u = f_i - c s_w and a = M^-1 u; G = [delta u]' M^-1 [delta u].
      u_ = x_.row(r).transpose() - c * sums_.row(w).transpose();
      a_.noalias() = inverse_ * u_;
      const double uau = u_.dot(a_);
      sub_b_.resize(s, s);
      sub_a_.resize(s);
      for (int t = 0; t < s; ++t) {
        const int ct = touching[static_cast<std::size_t>(t)];
        sub_a_(t) = a_(ct);
        for (int q = 0; q < s; ++q)
          sub_b_(t, q) = inverse_(ct, touching[static_cast<std::size_t>(q)]);
      }
      delta_.resize(s);
      const int current = point[k];
      double best_ratio = 1.0 + kMinGain;
      int best_level = -1;
      for (int v = 0; v < count; ++v) {
        if (v == current) continue;
        point[k] = v;
        const bool admitted = Admitted(point);
        if (admitted) {
          for (int t = 0; t < s; ++t) {
            const int ct = touching[static_cast<std::size_t>(t)];
            delta_(t) = problem_.table.Column(ct, point) - x_(r, ct);
          }
        }
        point[k] = current;
        if (!admitted) continue;
        const double g11 = delta_.dot(sub_b_ * delta_);
        const double g12 = delta_.dot(sub_a_);
        // det(I + Q G) with Q = [[1 - c, 1], [1, 0]].
        const double ratio =
            (1.0 + (1.0 - c) * g11 + g12) * (1.0 + g12) - ((1.0 - c) * g12 + uau) * g11;
        if (ratio > best_ratio) {
          best_ratio = ratio;
          best_level = v;
          best_delta_ = delta_;
        }
      }
      if (best_level < 0) continue;
      // M^-1 <- M^-1 - M^-1 W (Q^-1 + W'M^-1 W)^-1 W'M^-1 with W = [delta u] and
      // Q^-1 = [[0, 1], [1, c - 1]].
      full_delta_ = Eigen::VectorXd::Zero(p_);
      for (int t = 0; t < s; ++t)
        full_delta_(touching[static_cast<std::size_t>(t)]) = best_delta_(t);
      w_.resize(p_, 2);
      w_.col(0) = full_delta_;
      w_.col(1) = u_;
      bw_.resize(p_, 2);
      bw_.col(0).noalias() = inverse_ * full_delta_;
      bw_.col(1) = a_;
      Eigen::Matrix2d inner = w_.transpose() * bw_;
      inner(0, 1) += 1.0;
      inner(1, 0) += 1.0;
      inner(1, 1) += c - 1.0;
      const Eigen::Matrix2d k_inverse = inner.inverse();
      inverse_.noalias() -= bw_ * (k_inverse * bw_.transpose());
      Eigen::Matrix2d q;
      q << 1.0 - c, 1.0, 1.0, 0.0;
      m_.noalias() += w_ * (q * w_.transpose());
      log_det_ += std::log(best_ratio);
      point[k] = best_level;
      x_.row(r) += full_delta_.transpose();
      sums_.row(w) += full_delta_.transpose();
      ++changes;
    }
    return changes;
  }

  const Problem& problem_;
  std::mt19937_64 rng_;
  int max_passes_;
  int size_;
  bool begun_ = false;
  double value_ = kMinusInfinity;
  int factors_;
  int p_;
  std::vector<int> point_;  // level numbers, runs x factors
  RowMatrixD x_;            // model rows
  RowMatrixD sums_;         // per plot: the sum of its model rows
  std::vector<int> saved_point_;
  RowMatrixD saved_x_;
  Eigen::MatrixXd m_;  // X'V^-1 X, with a ridge while it is singular
  Eigen::MatrixXd inverse_;
  double log_det_ = 0.0;
  bool regular_ = false;
  std::vector<float> coded_;
  // Scratch.
  Eigen::VectorXd u_, a_, sub_a_, delta_, best_delta_, full_delta_;
  Eigen::MatrixXd sub_b_, w_, bw_;
};

}  // namespace

WholePlotExchange::Options WholePlotExchange::Effort() {
  const CoordinateExchange::Options effort = CoordinateExchange::Effort();
  Options options;
  options.starts = effort.starts;
  options.perturbations = effort.perturbations;
  options.perturbation_size = effort.perturbation_size;
  return options;
}

Eigen::MatrixXd WholePlotExchange::Information(const Eigen::MatrixXd& x,
                                               const std::vector<int>& plots, double eta) {
  Eigen::MatrixXd m = x.transpose() * x;
  std::map<int, std::pair<Eigen::VectorXd, int>> sums;
  for (Eigen::Index r = 0; r < x.rows(); ++r) {
    auto& [sum, count] =
        sums.try_emplace(plots[static_cast<std::size_t>(r)], Eigen::VectorXd::Zero(x.cols()), 0)
            .first->second;
    sum += x.row(r).transpose();
    ++count;
  }
  for (const auto& [plot, entry] : sums) {
    m -= eta / (1.0 + eta * entry.second) * entry.first * entry.first.transpose();
  }
  return m;
}

WholePlotExchange::Result WholePlotExchange::Search(const std::vector<std::vector<float>>& levels,
                                                    const ModelRows& rows,
                                                    const std::vector<bool>& hard,
                                                    const std::vector<int>& plot_sizes, double eta,
                                                    const Exclusion& excluded,
                                                    const Options& options, const bool* cancel) {
  if (levels.empty() || plot_sizes.empty() ||
      static_cast<int>(levels.size()) != rows.FactorCount() || hard.size() != levels.size() ||
      std::any_of(levels.begin(), levels.end(), [](const auto& v) { return v.empty(); }) ||
      std::any_of(plot_sizes.begin(), plot_sizes.end(), [](int size) { return size < 1; }) ||
      !(eta >= 0.0) || !std::isfinite(eta)) {
    throw Exception(ExceptionMessage::translate("There are no candidate runs to choose from."));
  }
  std::atomic<bool> stop{false};
  Problem problem{levels, hard, plot_sizes, eta, excluded, cancel, stop, LevelRows(rows, levels),
                  {},     {},   {}};
  problem.first_run.push_back(0);
  for (int size : plot_sizes) problem.first_run.push_back(problem.first_run.back() + size);
  for (std::size_t k = 0; k < hard.size(); ++k) {
    (hard[k] ? problem.hard_factors : problem.easy_factors).push_back(static_cast<int>(k));
  }
  const int starts = std::max(1, options.starts);
  const double p = rows.Columns();
  const double operations = 3.0 * starts * (1.0 + std::max(0, options.perturbations)) *
                            problem.Runs() * (p * p * (1.0 + static_cast<double>(levels.size())));
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
                                                "supports the model's columns.") %
                    problem.Runs());
  }
  Result result;
  result.coded = best.Coded();
  for (std::size_t w = 0; w < plot_sizes.size(); ++w) {
    result.plots.insert(result.plots.end(), static_cast<std::size_t>(plot_sizes[w]),
                        static_cast<int>(w) + 1);
  }
  result.log_det = best.GetValue();
  return result;
}

}  // namespace zubra::internal
