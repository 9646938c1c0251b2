// PredictionVariance: how precisely a design's fitted model predicts across the region, and
// how precisely it estimates each coefficient.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "zubra/evaluation/evaluated_design.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// The relative prediction variance of a design at a point x of the coded region is
// v(x) = f(x)' (X'X)^-1 f(x): the variance of the fitted response at x in units of the
// run-to-run variance sigma^2 (f the model columns at x, X the model matrix of the runs; with
// blocks, the prediction is for the average block). N v(x), N the runs, is the scaled
// prediction variance that charges a design for its size.
//
// Over the region (RegionSampler: uniform over the coded box, levels and settings with equal
// weight, mixtures uniform over their constrained simplex, constraints honoured) the results
// give:
//   - mean: the average of v, the I-criterion (integrated variance); for a box region without
//     constraints or mixtures also exactly, trace((X'X)^-1 W) with the moments W of
//     DesignModel::Moments (exact_mean), against which the sampled mean can be checked;
//   - maximum: the largest v found over the sample points and the design's own runs that lie
//     in the region (process factors within -1..+1), the G-criterion. With many factors a
//     sample seldom comes near the corners of the region, so this is a lower bound of the
//     true maximum there. g_efficiency = 100 p / (N maximum), 100 when no point of the region
//     is predicted worse than p/N, the average over the runs (the design statistics'
//     G-efficiency looks at the runs only);
//   - the fraction-of-design-space curve: the sorted sample values, where the value at
//     fraction f is the v that a share f of the region does not exceed.
// And of the coefficients, against an orthogonal design of the same runs whose model columns
// are all +-1 (X'X = N I):
//   - a_efficiency = 100 p / (N trace((X'X)^-1)) over the model columns, 100 for such a
//     design (on the coded scale, so mixture and quadratic models score lower by their coding);
//   - standard_errors[j] = sqrt([(X'X)^-1]_jj), the standard error of coefficient j in units
//     of sigma, and relative_standard_errors[j] = sqrt(N [(X'X)^-1]_jj), the same against the
//     orthogonal design's 1/sqrt(N): 1 when the column is as well estimated as it can be.
//
//   PredictionVariance::Results pv = PredictionVariance::Compute(design, {});
//   for (auto [fraction, v] : pv.FdsCurve(21)) Plot(fraction, v);
class PredictionVariance {
 public:
  struct Options {
    int points = 10000;      // sample points, at least 1
    std::uint64_t seed = 1;  // the same seed gives the same points
  };

  struct Results {
    // True when the model matrix is singular: no variance is finite, every figure is
    // undefined (-99) and the lists are empty.
    bool singular = true;
    int runs = 0;
    int model_columns = 0;
    double mean = kUndefined;
    double exact_mean = kUndefined;  // only for a box region without constraints
    double minimum = kUndefined;
    double maximum = kUndefined;
    double g_efficiency = kUndefined;
    double a_efficiency = kUndefined;
    // One per model column, in the order of GetColumnNames().
    std::vector<std::string> column_names;
    std::vector<double> standard_errors;
    std::vector<double> relative_standard_errors;
    // v at every sample point, ascending.
    std::vector<double> sorted;

    // The v that a share `fraction` (clamped into 0..1) of the sampled region does not
    // exceed, interpolated linearly between sorted sample values (0 gives the smallest, 1 the
    // largest sampled); undefined when there are no samples.
    [[nodiscard]] double Quantile(double fraction) const;
    // `points` (at least 2) equally spaced fractions 0..1 with their Quantile: the
    // fraction-of-design-space curve. Empty when there are no samples.
    [[nodiscard]] std::vector<std::pair<double, double>> FdsCurve(int points) const;
  };

  // The prediction variance of `design` over its region. Throws Exception as
  // RegionSampler::Sample when the region cannot be sampled.
  static Results Compute(const EvaluatedDesign& design, const Options& options);

  // v at each row of `coded` (points coded as the design's runs, one column per factor);
  // empty when the design is singular. Throws Exception when the columns do not match the
  // factors.
  static std::vector<double> At(const EvaluatedDesign& design, const NCDataMatrix<float>& coded);
};

}  // namespace zubra
