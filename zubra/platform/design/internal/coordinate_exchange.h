// CoordinateExchange: the optimal-run search for design spaces too large to enumerate.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra::internal {

// Coordinate-exchange search for the runs of a D-optimal design.
//
// Where the point exchange needs every candidate's model row in memory, this search only
// needs the values each factor may take: a run is changed one coordinate at a time, each
// factor of each run trying its every value, and a change is kept when it raises det(X'X)
// (the rank-two update of replacing row f_i by f' multiplies the determinant by
// (1 - d_i)(1 + d') + d_i'^2; M^-1 follows by two rank-one updates). Passes over all runs
// repeat until none helps; then, as in the point exchange, a few runs are drawn anew and the
// passes repeated, the result kept when it is not worse (iterated local search). Runs the
// `excluded` test refuses are never entered, so random runs are drawn among the admitted
// points (up to 1000 draws a run).
//
// Starts are independent and seeded from the seed and their number; the best is kept (the
// first among equals), so a seed gives the same design whatever the number of threads.
class CoordinateExchange {
 public:
  struct Options {
    int starts = 4;             // independent random starts
    std::uint64_t seed = 1;     // the same seed gives the same design
    int max_passes = 50;        // passes of one local search at most
    int perturbations = 0;      // rounds of iterated local search after each start
    int perturbation_size = 4;  // runs drawn anew in each round (at most the runs)
    int threads = 1;            // threads that share the starts; 0: all hardware threads
    std::function<void(int, int)> progress;  // (finished starts, starts), serialized
  };
  struct Result {
    NCDataMatrix<float> coded;  // one row per free run, one column per factor
    double log_det = 0.0;       // log det(X'X) over forced and free runs
  };
  // The model row of a coded run. Called from several threads at once: it must not change
  // shared state.
  using Expander = std::function<Eigen::RowVectorXd(std::span<const float>)>;
  // True for a coded run the region excludes. Called from several threads at once.
  using Exclusion = std::function<bool(std::span<const float>)>;

  // The effort the design builders spend: 4 starts, each followed by up to 20 rounds of
  // perturbation of 4 runs, fewer when one pass (runs x value changes x columns^2) is so dear
  // that 20 rounds would take more than about 1.4e8 such operations a start (at least 2).
  static Options Effort(int runs, const std::vector<std::vector<float>>& levels, int columns);

  // Runs the search for `free_runs` runs; `levels[k]` lists the coded values factor k may
  // take (at least one each); `forced` holds model rows of runs the design keeps (may have no
  // rows; same columns as the expander's rows). Throws Exception when a factor has no values,
  // when no admitted run is found, or when no start gives a nonsingular X'X; throws
  // CancelException when `*cancel` becomes true.
  static Result Search(const std::vector<std::vector<float>>& levels, const Expander& expand,
                       const Exclusion& excluded, const Eigen::MatrixXd& forced, int free_runs,
                       const Options& options, const bool* cancel = nullptr);
};

}  // namespace zubra::internal
