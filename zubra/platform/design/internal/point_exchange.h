// PointExchange: the search for the runs of an optimal design among candidate runs.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "zubra/platform/design/internal/search_support.h"

namespace zubra::internal {

// Point-exchange search for the runs of a D-, I- or A-optimal design.
//
// Given the model rows of the candidates (one row f(x) per candidate point) and of the
// forced runs, it chooses `free_runs` candidate rows (a candidate may be chosen more than
// once: replicated runs often raise the determinant) so that the criterion of M = X'X over
// the forced and the chosen rows is as good as it can find:
//   - D: det(M) as large as possible;
//   - I: the average prediction variance trace(M^-1 W) as small as possible, W being the
//     moment matrix of the region (Options::moments); with W the identity on the model's
//     parameters this is the A criterion.
//
// One start takes a random part of the design, completes it with the candidates of largest
// prediction variance and improves it by exchanges, one design position at a time (the
// modified Fedorov exchange): for position i every candidate j of the position's range is
// scored by how much swapping f_i for f_j improves the criterion, and the best improving
// swap is made by a rank-two update of M^-1 and of the candidates' variances. For D one
// vectorised sweep over the candidates per position does both the scoring and the update
// of the previous swap (see exchange_kernels.h); a local search ends as soon as every
// position has been scored once since the last swap. M^-1 is computed afresh after every
// 32 swaps to keep rounding in check, the variances at the start of every local search. When
// the exchanges end at a local optimum, the search perturbs the design (a few positions take
// random candidates), runs the exchanges again and keeps the result when it is at least as
// good (iterated local search); this escapes the local optima that plain restarts keep
// falling into. The I criterion starts from the start's D-optimised design.
//
// While the design is singular a tiny ridge keeps M invertible; it is dropped as soon as M is
// well conditioned, and designs are compared by their exact criterion in double precision
// (the candidates are scored in single precision, which halves the memory traffic of the
// large candidate sets and is far finer than the differences between designs).
//
// Starts are independent, seeded from the seed and their number, and race (RunRace): after
// every stage the better half goes on, so a start that falls behind stops early, and the
// winner is kept (the first among equals). A seed gives the same design whatever the number
// of threads.
//
//   PointExchange::Options options;
//   options.starts = 4;
//   PointExchange::Result best = PointExchange::Search(f, forced, 20, options);
class PointExchange {
 public:
  using Criterion = OptimalityCriterion;

  struct Options {
    // Independent random starts; they race, and the winner is kept.
    int starts = 8;
    // The same seed gives the same design.
    std::uint64_t seed = 1;
    // Exchange passes of one local search at most.
    int max_passes = 100;
    // Rounds of perturbation and renewed exchange after the first local optimum, of the
    // winning start (the others stop earlier, see RunRace).
    int perturbations = 0;
    // Positions given a random candidate in each perturbation (at most the free runs).
    int perturbation_size = 6;
    // Threads that share the starts; 0 takes one per hardware thread; a small search takes
    // fewer (ThreadsFor). The result does not depend on it.
    int threads = 1;
    Criterion criterion = Criterion::kD;
    // The I criterion's region moments E[f f'] (columns x columns); empty: the mean of f f'
    // over the candidates. Unused for D.
    Eigen::MatrixXd moments;
    // The candidate rows [first, second) each free position may take (for instance one block
    // of a stacked candidate matrix); empty: every position may take every candidate.
    std::vector<std::pair<int, int>> position_ranges;
    // Called after each start's stage of the race with (finished, all stages of all
    // starts), serialized but possibly from a worker thread. May be empty.
    std::function<void(int, int)> progress;
  };

  struct Result {
    // The chosen candidate row of each free position, in position order (ascending when no
    // position ranges were given). Forced runs are not included.
    std::vector<int> rows;
    // Natural log of det(X'X) over forced and chosen rows.
    double log_det = 0.0;
    // trace((X'X)^-1 W) with the moments W used (for D: the candidates' mean).
    double average_variance = 0.0;
  };

  // The effort the design builders spend on a problem of `candidates` candidate rows,
  // `columns` model columns and `runs` free runs: with S = 6e9 / (candidates x columns x
  // runs) held to 16..64 (one exchange pass costs about candidates x columns x runs
  // operations), 4 starts when S >= 48, else 2, racing over S / starts - 1 rounds of
  // perturbation of 6 positions. Small problems get the most thorough search, the largest
  // stay within seconds. Other fields keep their defaults.
  static Options Effort(Eigen::Index candidates, Eigen::Index columns, int runs);

  // Runs the search. `candidates` and `forced` have the same number of columns (the model
  // columns); `forced` may have no rows. Throws Exception when there are no candidates, when
  // `free_runs` is negative, when the forced runs, the position ranges or the moments do not
  // fit, or when no design of the search has a nonsingular X'X (the candidates and forced runs
  // cannot support the model); throws CancelException when `*cancel` becomes true (it may be
  // set from another thread while the search runs).
  static Result Search(const Eigen::MatrixXd& candidates, const Eigen::MatrixXd& forced,
                       int free_runs, const Options& options, const bool* cancel = nullptr);
};

}  // namespace zubra::internal
