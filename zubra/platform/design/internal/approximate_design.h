// ApproximateDOptimum: the D-optimal weighting of a set of candidate runs, the yardstick the
// design statistics measure designs of constrained regions against.
#pragma once

#include <Eigen/Core>
#include <optional>

namespace zubra::internal {

// The D-optimal approximate design over a finite candidate set: weights w_i >= 0 summing to 1
// on the candidate model rows f_i that maximise det M(w), M(w) = sum_i w_i f_i f_i'. M(w) is
// the information per run, so det(X'X / N) of any N-run design whose runs are candidates is
// at most max det M(w); the ratio (det(X'X / N) / max det M)^(1/p) is the design's
// D-efficiency relative to the best use of the candidates.
//
// The search alternates two kinds of step, both of which raise det M(w): the multiplicative
// step (w_i <- w_i d_i / p, d_i = f_i' M^-1 f_i the prediction variance), which shifts
// weight towards every candidate of high variance at once, and a round of vertex exchanges,
// each moving the best amount of weight from a support point of low variance to the
// candidate of highest variance (on a pool of 2p of each, with M^-1 kept by rank-one
// updates), which settles the weights of small supports in a few steps. It starts from equal
// weights, and drops the candidates that cannot carry weight in the optimum: for any weights,
// a support point of the optimum has d_i at least p (1 + e/2 - sqrt(e (4 + e - 4/p)) / 2),
// e = max d - p, so the candidates below it go as soon as e is small enough to show it. The problem
// is concave, so there are no local optima to fall into and no random starts: the same input always
// gives the same answer.
//
// Every step yields an upper bound on the optimum by the equivalence theorem,
// log det M* <= log det M(w) + p log(max d / p). The search stops when the bound is within
// `tolerance` of the value reached (in (1/p) log det, so 1e-3 pins det^(1/p) down to 0.1 %),
// after kMaxSteps steps, or once it has spent `max_work` multiply-adds (about 2 n p^2 a step
// on n candidates), whichever comes first. On the simplex the optimum is found in a few steps
// (to rounding); large process grids, whose optima spread over many points, converge slowest.
struct ApproximateDOptimum {
  // (1/p) log det M*, bounded from above: the smallest bound the search proved. Reported
  // efficiencies computed against it are never too high.
  double log_det_bound = 0.0;
  // (1/p) log det M(w) of the best weights found.
  double log_det_reached = 0.0;
  int steps = 0;
  // The candidates still carrying weight when the search stopped.
  Eigen::Index support = 0;

  static constexpr double kDefaultTolerance = 1e-3;
  static constexpr double kDefaultMaxWork = 1e9;
  static constexpr int kMaxSteps = 1000;

  // Searches over the rows of `candidates` (n x p, p >= 1). Returns nothing when the
  // candidates cannot support the model (M of equal weights is singular).
  static std::optional<ApproximateDOptimum> Find(const Eigen::MatrixXd& candidates,
                                                 double tolerance = kDefaultTolerance,
                                                 double max_work = kDefaultMaxWork);
};

}  // namespace zubra::internal
