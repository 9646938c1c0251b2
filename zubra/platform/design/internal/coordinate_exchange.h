// CoordinateExchange: the optimal-run search for design spaces too large to enumerate.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "zubra/platform/design/internal/model_rows.h"
#include "zubra/platform/design/internal/search_support.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra::internal {

// Coordinate-exchange search for the runs of a D-, I- or A-optimal design.
//
// Where the point exchange needs every candidate's model row in memory, this search only
// needs the values each factor may take: a run is changed one coordinate at a time, each
// factor of each run trying its every value, and the best change is kept when it improves
// the criterion. Changing factor k of run i changes only the model columns of the terms with
// factor k, so the new row is f_i + delta with delta nonzero in those s columns; with
// a = M^-1 f_i at hand, the variance of the changed run and its covariance with the old one
// cost O(s^2), and the determinant ratio of the swap is (1 - d_i)(1 + d_j) + d_ij^2 (for the
// I criterion the change of trace(M^-1 W) follows alike from M^-1 W M^-1 f_i). A kept change
// updates M^-1 by a rank-two term. Passes over the runs repeat until a whole pass changes
// nothing; then, as in the point exchange, a few runs are drawn anew and the passes
// repeated, the result kept when it is not worse (iterated local search). Runs the
// `excluded` test refuses are never entered, so random runs are drawn among the admitted
// points (up to 1000 draws a run). The I criterion starts each local search from the
// D-optimised design.
//
// Starts are independent, seeded from the seed and their number, and race (RunRace): the
// better half goes on after each stage, and the winner is kept (the first among equals), so a
// seed gives the same design whatever the number of threads.
class CoordinateExchange {
 public:
  using Criterion = OptimalityCriterion;

  struct Options {
    int starts = 4;             // independent random starts
    std::uint64_t seed = 1;     // the same seed gives the same design
    int max_passes = 50;        // passes of one local search at most
    int perturbations = 0;      // rounds of iterated local search of the winning start
    int perturbation_size = 4;  // runs drawn anew in each round (at most the runs)
    int threads = 1;            // threads that share the starts; 0: all hardware threads
    Criterion criterion = Criterion::kD;
    // The I criterion's moments W (columns x columns); required for kI, unused for kD.
    Eigen::MatrixXd moments;
    // (finished stages of starts, all stages of all starts), serialized (see RunRace).
    std::function<void(int, int)> progress;
  };
  struct Result {
    NCDataMatrix<float> coded;      // one row per free run, one column per factor
    double log_det = 0.0;           // log det(X'X) over forced and free runs
    double average_variance = 0.0;  // trace((X'X)^-1 W) (kI only, else 0)
  };
  // True for a coded run the region excludes. Called from several threads at once. May be
  // empty: no run is excluded.
  using Exclusion = std::function<bool(std::span<const float>)>;

  // The effort the design builders spend, whatever the size of the problem: 4 starts racing
  // over 120 rounds of perturbation of 4 runs (see RunRace: the winner has run all 120
  // rounds, the others stopped after 40 or 80).
  static Options Effort();

  // Runs the search for `free_runs` runs of the model `rows`; `levels[k]` lists the coded
  // values factor k may take (at least one each, one list per factor of the model); `forced`
  // holds model rows of runs the design keeps (may have no rows; rows.Columns() columns).
  // Throws Exception when a factor has no values or the levels do not fit the model, when no
  // admitted run is found, when the moments do not fit, or when no start gives a nonsingular
  // X'X; throws CancelException when `*cancel` becomes true.
  static Result Search(const std::vector<std::vector<float>>& levels, const ModelRows& rows,
                       const Exclusion& excluded, const Eigen::MatrixXd& forced, int free_runs,
                       const Options& options, const bool* cancel = nullptr);
};

}  // namespace zubra::internal
