#include "zubra/platform/design/internal/approximate_design.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace zubra::internal {
namespace {

// The points that take part in one round of exchanges: the support points of smallest
// variance (their weight is best moved elsewhere) and the points of largest variance (the
// best places for it), at most kExchangeShare x p of each.
constexpr Eigen::Index kExchangeShare = 2;

// Relative size below which a pivot of the Cholesky factor of M counts as zero: the
// candidates cannot support the model. Rounding leaves pivots of about 1e-8 where M is
// singular, the square root of the precision of its entries.
constexpr double kSingularPivot = 1e-6;

// Moves weight between pairs of the points `pool` (indexes into the rows of `f`), each time
// from the pool's support point of smallest variance still unvisited to the pool's point of
// largest variance, by the step that maximises det M (the vertex exchange). `inverse` is M^-1
// and `variance` holds f_i' M^-1 f_i of the pool on entry; the pool's M^-1 f_i and variances
// then follow every move by rank-one updates. Returns the multiply-adds spent.
double ExchangeRound(const Eigen::MatrixXd& f, const std::vector<Eigen::Index>& pool,
                     Eigen::VectorXd& w, const Eigen::MatrixXd& inverse, Eigen::VectorXd variance) {
  const auto size = static_cast<Eigen::Index>(pool.size());
  const Eigen::Index p = f.cols();
  Eigen::MatrixXd rows(size, p);
  for (Eigen::Index a = 0; a < size; ++a) rows.row(a) = f.row(pool[static_cast<std::size_t>(a)]);
  // u_a = M^-1 f_a for every pool point.
  Eigen::MatrixXd u = rows * inverse;
  double work = static_cast<double>(size) * static_cast<double>(p * p);
  std::vector<Eigen::Index> order(static_cast<std::size_t>(size));
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(),
            [&](Eigen::Index a, Eigen::Index b) { return variance(a) < variance(b); });
  // Adds `step` f_a f_a' to M.
  const auto update = [&](Eigen::Index a, double step) {
    const double scale = step / (1.0 + step * variance(a));
    const Eigen::VectorXd ua = u.row(a).transpose();
    const Eigen::VectorXd products = rows * ua;  // f_b' M^-1 f_a
    u -= scale * products * ua.transpose();
    variance -= scale * products.cwiseAbs2();
    work += 2.0 * static_cast<double>(size) * static_cast<double>(p);
  };
  for (const Eigen::Index from : order) {
    const Eigen::Index k = pool[static_cast<std::size_t>(from)];
    if (w(k) <= 0.0) continue;
    Eigen::Index to = 0;
    variance.maxCoeff(&to);
    if (to == from) break;
    const Eigen::Index l = pool[static_cast<std::size_t>(to)];
    const double dk = variance(from);
    const double dl = variance(to);
    const double dkl = u.row(from).dot(rows.row(to));
    // det M changes by the factor 1 + s (dl - dk) - s^2 (dk dl - dkl^2) when weight s moves
    // from k to l.
    const double curvature = dk * dl - dkl * dkl;
    double step = curvature > 0.0 ? (dl - dk) / (2.0 * curvature) : w(k);
    step = std::min(step, w(k));
    if (!(step > 0.0)) continue;
    w(k) -= step;
    w(l) += step;
    update(to, step);
    update(from, -step);
  }
  return work;
}

}  // namespace

std::optional<ApproximateDOptimum> ApproximateDOptimum::Find(const Eigen::MatrixXd& candidates,
                                                             double tolerance, double max_work) {
  const Eigen::Index p = candidates.cols();
  if (candidates.rows() == 0 || p == 0) return std::nullopt;
  const auto columns = static_cast<double>(p);
  Eigen::MatrixXd f = candidates;
  Eigen::VectorXd w = Eigen::VectorXd::Constant(f.rows(), 1.0 / static_cast<double>(f.rows()));
  ApproximateDOptimum result;
  result.log_det_bound = std::numeric_limits<double>::infinity();
  result.log_det_reached = -std::numeric_limits<double>::infinity();
  double work = 0.0;
  for (;;) {
    const Eigen::Index n = f.rows();
    const Eigen::MatrixXd scaled = f.array().colwise() * w.array().sqrt();
    Eigen::MatrixXd information = Eigen::MatrixXd::Zero(p, p);
    information.selfadjointView<Eigen::Lower>().rankUpdate(scaled.transpose());
    const Eigen::LLT<Eigen::MatrixXd> llt(information.selfadjointView<Eigen::Lower>());
    const Eigen::VectorXd diagonal = llt.matrixLLT().diagonal();
    if (llt.info() != Eigen::Success ||
        !(diagonal.minCoeff() > kSingularPivot * diagonal.maxCoeff())) {
      if (result.steps == 0) return std::nullopt;
      break;  // rounding after many steps: keep what was proved
    }
    // d_i = |L^-1 f_i|^2.
    const Eigen::MatrixXd solved = llt.matrixL().solve(f.transpose());
    const Eigen::VectorXd variance = solved.colwise().squaredNorm();
    const double most = variance.maxCoeff();
    const double log_det = 2.0 * diagonal.array().log().sum() / columns;
    result.log_det_reached = std::max(result.log_det_reached, log_det);
    result.log_det_bound = std::min(result.log_det_bound, log_det + std::log(most / columns));
    result.support = n;
    ++result.steps;
    work += 2.0 * static_cast<double>(n) * columns * columns;
    if (result.log_det_bound - result.log_det_reached <= tolerance || work >= max_work ||
        result.steps >= kMaxSteps) {
      break;
    }

    // Drop the candidates that cannot carry weight in the optimum, then take the
    // multiplicative step on the rest.
    const double excess = std::max(0.0, most - columns);
    const double least =
        columns * (1.0 + excess / 2.0 - std::sqrt(excess * (4.0 + excess - 4.0 / columns)) / 2.0);
    Eigen::Index kept = 0;
    Eigen::VectorXd kept_variance(n);
    for (Eigen::Index i = 0; i < n; ++i) {
      if (variance(i) < least) continue;
      if (kept != i) f.row(kept) = f.row(i);
      w(kept) = w(i) * variance(i) / columns;
      kept_variance(kept) = variance(i);
      ++kept;
    }
    f.conservativeResize(kept, Eigen::NoChange);
    w.conservativeResize(kept);
    kept_variance.conservativeResize(kept);
    w /= w.sum();

    // Then exchanges among the weakest support points and the strongest points, against M^-1
    // of the multiplicative step's weights.
    std::vector<Eigen::Index> by_variance(static_cast<std::size_t>(kept));
    std::iota(by_variance.begin(), by_variance.end(), 0);
    const auto share = std::min<Eigen::Index>(kExchangeShare * p, kept);
    std::vector<Eigen::Index> pool;
    std::partial_sort(
        by_variance.begin(), by_variance.begin() + share, by_variance.end(),
        [&](Eigen::Index a, Eigen::Index b) { return kept_variance(a) > kept_variance(b); });
    pool.assign(by_variance.begin(), by_variance.begin() + share);
    std::partial_sort(by_variance.begin() + share, by_variance.begin() + std::min(kept, 2 * share),
                      by_variance.end(), [&](Eigen::Index a, Eigen::Index b) {
                        return kept_variance(a) < kept_variance(b);
                      });
    pool.insert(pool.end(), by_variance.begin() + share,
                by_variance.begin() + std::min(kept, 2 * share));
    const Eigen::MatrixXd scaled_now = f.array().colwise() * w.array().sqrt();
    Eigen::MatrixXd now = Eigen::MatrixXd::Zero(p, p);
    now.selfadjointView<Eigen::Lower>().rankUpdate(scaled_now.transpose());
    const Eigen::LLT<Eigen::MatrixXd> now_llt(now.selfadjointView<Eigen::Lower>());
    if (now_llt.info() != Eigen::Success) continue;
    const Eigen::MatrixXd inverse = now_llt.solve(Eigen::MatrixXd::Identity(p, p));
    Eigen::VectorXd pool_variance(static_cast<Eigen::Index>(pool.size()));
    for (std::size_t a = 0; a < pool.size(); ++a) {
      const auto row = f.row(pool[a]);
      pool_variance(static_cast<Eigen::Index>(a)) = row * inverse * row.transpose();
    }
    work += static_cast<double>(kept) * columns * columns + 2.0 * columns * columns * columns;
    work += ExchangeRound(f, pool, w, inverse, pool_variance);
  }
  return result;
}

}  // namespace zubra::internal
