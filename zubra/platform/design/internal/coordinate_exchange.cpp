#include "zubra/platform/design/internal/coordinate_exchange.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <utility>

#include "zubra/platform/design/internal/search_support.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();
constexpr double kMinGain = 1e-9;
constexpr int kDraws = 1000;

// One start: the runs (coded), their model rows and M^-1.
class Start {
 public:
  Start(const std::vector<std::vector<float>>& levels, const CoordinateExchange::Expander& expand,
        const CoordinateExchange::Exclusion& excluded, const Eigen::MatrixXd& forced,
        const bool* cancel, const std::atomic<bool>& stop)
      : levels_(levels),
        expand_(expand),
        excluded_(excluded),
        forced_(forced),
        cancel_(cancel),
        stop_(stop) {}

  // A random start improved to a local optimum, then `perturbations` rounds of iterated local
  // search: `size` random runs are drawn anew, the passes run again, and the result is kept
  // when it is at least as good.
  double Run(int runs, std::mt19937_64& rng, int max_passes, int perturbations, int size) {
    const auto factors = static_cast<int>(levels_.size());
    points_ = NCDataMatrix<float>(runs, factors);
    for (int r = 0; r < runs; ++r) Draw(r, rng);
    Refresh();
    Local(max_passes);
    double value = LogDet();
    size = std::min(size, runs);
    for (int round = 0; round < perturbations && size > 0; ++round) {
      const NCDataMatrix<float> saved_points = points_;
      const Eigen::MatrixXd saved_rows = rows_;
      std::uniform_int_distribution<int> position(0, runs - 1);
      for (int k = 0; k < size; ++k) Draw(position(rng), rng);
      Refresh();
      Local(max_passes);
      const double next = LogDet();
      if (next >= value) {
        value = next;
      } else {
        points_ = saved_points;
        rows_ = saved_rows;
      }
    }
    return value;
  }

  [[nodiscard]] const NCDataMatrix<float>& GetPoints() const { return points_; }

 private:
  // Gives run r random admitted values.
  void Draw(int r, std::mt19937_64& rng) {
    const auto factors = static_cast<int>(levels_.size());
    std::vector<float> point(static_cast<std::size_t>(factors));
    bool found = false;
    for (int draw = 0; draw < kDraws && !found; ++draw) {
      for (int k = 0; k < factors; ++k) {
        const auto& values = levels_[static_cast<std::size_t>(k)];
        point[static_cast<std::size_t>(k)] =
            values[std::uniform_int_distribution<std::size_t>(0, values.size() - 1)(rng)];
      }
      found = !excluded_(point);
    }
    if (!found) {
      throw Exception(ExceptionMessage::translate("No admitted run was found among {} random "
                                                  "points of the region.") %
                      kDraws);
    }
    for (int k = 0; k < factors; ++k) points_(r, k) = point[static_cast<std::size_t>(k)];
    const Eigen::RowVectorXd row = expand_(point);
    if (rows_.size() == 0) rows_.resize(points_.GetRows(), row.size());
    rows_.row(r) = row;
  }

  // Passes over every coordinate of every run until none improves det(M).
  void Local(int max_passes) {
    const auto factors = static_cast<int>(levels_.size());
    std::vector<float> point(static_cast<std::size_t>(factors));
    for (int pass = 0; pass < max_passes; ++pass) {
      bool improved = false;
      for (int r = 0; r < points_.GetRows(); ++r) {
        for (int k = 0; k < factors; ++k) improved = Improve(r, k, point) || improved;
      }
      Refresh();
      if (!improved) break;
    }
  }

  // Tries every value of factor k in run r and keeps the best change that raises det(M).
  bool Improve(int r, int k, std::vector<float>& point) {
    if (IsFlagSet(cancel_) || stop_) throw CancelException();
    const auto factors = static_cast<int>(levels_.size());
    for (int c = 0; c < factors; ++c) point[static_cast<std::size_t>(c)] = points_(r, c);
    const Eigen::VectorXd f_i = rows_.row(r).transpose();
    const Eigen::VectorXd a = inverse_ * f_i;
    const double d_i = f_i.dot(a);
    const float current = points_(r, k);
    double best_ratio = 1.0 + kMinGain;
    float best_value = current;
    Eigen::RowVectorXd best_row;
    for (float value : levels_[static_cast<std::size_t>(k)]) {
      if (value == current) continue;
      point[static_cast<std::size_t>(k)] = value;
      if (excluded_(point)) continue;
      const Eigen::RowVectorXd row = expand_(point);
      const double d_ij = row.dot(a);
      const double d_j = row.dot(inverse_ * row.transpose());
      const double ratio = (1.0 - d_i) * (1.0 + d_j) + d_ij * d_ij;
      if (ratio > best_ratio) {
        best_ratio = ratio;
        best_value = value;
        best_row = row;
      }
    }
    if (best_value == current) return false;
    Update(best_row.transpose(), 1.0);
    Update(f_i, -1.0);
    rows_.row(r) = best_row;
    points_(r, k) = best_value;
    return true;
  }

  void Update(const Eigen::VectorXd& f, double sign) {
    const Eigen::VectorXd u = inverse_ * f;
    const double c = 1.0 + sign * f.dot(u);
    inverse_.noalias() -= (sign / c) * (u * u.transpose());
  }

  [[nodiscard]] Eigen::MatrixXd Information() const {
    const Eigen::Index p = rows_.cols();
    Eigen::MatrixXd m = Eigen::MatrixXd::Zero(p, p);
    m.selfadjointView<Eigen::Lower>().rankUpdate(rows_.transpose());
    if (forced_.rows() > 0) m.selfadjointView<Eigen::Lower>().rankUpdate(forced_.transpose());
    return m.selfadjointView<Eigen::Lower>();
  }

  void Refresh() { inverse_ = RidgedInverse(Information()); }

  [[nodiscard]] double LogDet() const { return LogDetOrMinusInfinity(Information()); }

  const std::vector<std::vector<float>>& levels_;
  const CoordinateExchange::Expander& expand_;
  const CoordinateExchange::Exclusion& excluded_;
  const Eigen::MatrixXd& forced_;
  const bool* cancel_;
  const std::atomic<bool>& stop_;
  NCDataMatrix<float> points_;
  Eigen::MatrixXd rows_;
  Eigen::MatrixXd inverse_;
};

struct StartResult {
  double log_det = kMinusInfinity;
  NCDataMatrix<float> points;
};

}  // namespace

CoordinateExchange::Options CoordinateExchange::Effort(
    int runs, const std::vector<std::vector<float>>& levels, int columns) {
  double changes = 0.0;  // value changes tried per run and pass
  for (const auto& values : levels) changes += static_cast<double>(values.size()) - 1.0;
  const double pass =
      std::max(1.0, static_cast<double>(runs) * changes * static_cast<double>(columns) *
                        static_cast<double>(columns));
  Options options;
  options.starts = 4;
  options.perturbations = static_cast<int>(std::clamp(1.4e8 / pass, 2.0, 20.0));
  options.perturbation_size = 4;
  return options;
}

CoordinateExchange::Result CoordinateExchange::Search(const std::vector<std::vector<float>>& levels,
                                                      const Expander& expand,
                                                      const Exclusion& excluded,
                                                      const Eigen::MatrixXd& forced, int free_runs,
                                                      const Options& options, const bool* cancel) {
  if (levels.empty() || free_runs <= 0 ||
      std::any_of(levels.begin(), levels.end(),
                  [](const auto& values) { return values.empty(); })) {
    throw Exception(ExceptionMessage::translate("There are no candidate runs to choose from."));
  }
  const int starts = std::max(1, options.starts);
  std::vector<StartResult> results(static_cast<std::size_t>(starts));
  RunStarts(
      starts, options.threads,
      [&](int number, const std::atomic<bool>& stop) {
        std::seed_seq seeds{static_cast<std::uint32_t>(options.seed),
                            static_cast<std::uint32_t>(options.seed >> 32U),
                            static_cast<std::uint32_t>(number)};
        std::mt19937_64 rng(seeds);
        Start start(levels, expand, excluded, forced, cancel, stop);
        StartResult& result = results[static_cast<std::size_t>(number)];
        result.log_det = start.Run(free_runs, rng, options.max_passes,
                                   std::max(0, options.perturbations), options.perturbation_size);
        result.points = start.GetPoints();
      },
      options.progress);
  const StartResult* best = nullptr;
  for (const StartResult& result : results) {
    if (best == nullptr || result.log_det > best->log_det) best = &result;
  }
  if (best == nullptr || best->log_det == kMinusInfinity) {
    throw Exception(ExceptionMessage::translate("No design of {} runs from these candidates "
                                                "supports the model's columns.") %
                    (free_runs + static_cast<int>(forced.rows())));
  }
  return {best->points, best->log_det};
}

}  // namespace zubra::internal
