// WholePlotExchange: the search for D-optimal designs whose hard-to-change factors stay
// constant within whole plots.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "zubra/platform/design/internal/model_rows.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra::internal {

// Coordinate exchange for split-plot designs: the runs fall into whole plots of given sizes;
// the hard-to-change factors take one value per whole plot, the others (easy to change) one
// value per run.
//
// The runs of a whole plot share its random effect, so the model is fitted by generalised
// least squares with V = I + eta Z Z' (Z the whole-plot incidence, eta the ratio of the
// whole-plot variance to the run variance), and the search maximises the determinant of the
// information matrix
//   M = X'V^-1 X = X'X - sum over whole plots w of c_w s_w s_w',
// with s_w the sum of the model rows of plot w and c_w = eta / (1 + eta m_w) for m_w runs.
// The search changes one coordinate at a time: an easy factor of one run (the change of row
// f_i by delta and of s_w by delta changes M by a rank-two term in delta and f_i - c_w s_w,
// so its determinant ratio is a 2 x 2 determinant; O(s^2) for the s model columns the factor
// enters, given M^-1 (f_i - c_w s_w)), or a hard-to-change factor of a whole plot, which
// changes every run of the plot (its determinant is taken afresh). Passes over the whole
// plots (their hard-to-change factors, then their runs' easy factors) repeat until a pass
// changes nothing; then a few runs and one whole plot are drawn anew and the passes repeated,
// the result kept when it is not worse (iterated local search). Starts race as in the other
// searches (RunRace), so a seed gives the same design on any number of threads.
class WholePlotExchange {
 public:
  struct Options {
    int starts = 4;
    std::uint64_t seed = 1;
    int max_passes = 50;
    int perturbations = 0;      // rounds of iterated local search of the winning start
    int perturbation_size = 4;  // runs whose easy factors are drawn anew in each round
    int threads = 1;            // 0: one per hardware thread
    std::function<void(int, int)> progress;
  };
  struct Result {
    NCDataMatrix<float> coded;  // one row per run, plot after plot
    std::vector<int> plots;     // the 1-based whole plot of each run
    double log_det = 0.0;       // log det(X'V^-1 X)
  };
  // True for a coded run the region excludes (may be empty). Called from several threads.
  using Exclusion = std::function<bool(std::span<const float>)>;

  // The effort of the design builders: as CoordinateExchange::Effort.
  static Options Effort();

  // The split-plot information matrix X'V^-1 X of the model rows `x` whose runs lie in the
  // whole plots `plots` (any numbers; runs of equal number share a plot) with variance ratio
  // `eta`.
  static Eigen::MatrixXd Information(const Eigen::MatrixXd& x, const std::vector<int>& plots,
                                     double eta);

  // Runs the search. `levels[k]` lists the coded values of factor k (one list per factor of
  // `rows`); `hard[k]` marks the hard-to-change factors; `plot_sizes` gives the runs of each
  // whole plot (each at least 1); `eta` >= 0. Throws Exception when the arguments do not
  // fit, when no admitted run is found, or when no start supports the model; throws
  // CancelException when `*cancel` becomes true.
  static Result Search(const std::vector<std::vector<float>>& levels, const ModelRows& rows,
                       const std::vector<bool>& hard, const std::vector<int>& plot_sizes,
                       double eta, const Exclusion& excluded, const Options& options,
                       const bool* cancel = nullptr);
};

}  // namespace zubra::internal
