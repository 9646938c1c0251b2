// RegionSampler: random points spread uniformly over a design's experimental region.
#pragma once

#include <cstdint>

#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// Draws points of the region of `factors`, coded as in NCDesign (one column per factor):
//   - a continuous process factor uniformly over -1..+1;
//   - a multilevel factor (or a time factor with levels) at one of its levels, a qualitative
//     factor at one of its settings, each with equal chance;
//   - the varied mixture factors uniformly over their region: the simplex of amounts that
//     lie within their bounds and sum to the mixture total (less the amounts of the constant
//     mixture factors), coded as pseudo-components (x - L) / (T - sum L) that sum to 1;
//   - a factor that is not varied at its fixed value (coded 0; 1 for a qualitative factor).
// Points that a constraint excludes (tested with their uncoded values, as the candidate sets
// test them) or that break a mixture factor's upper bound are drawn again, so the points are
// uniform over the constrained region. This is the region over which the prediction variance
// is averaged, and the weighting of the moments of DesignModel::Moments for a box.
//
// The generator is a 64-bit Mersenne twister seeded with `seed` and turned into numbers by
// the code here, not by the standard library's distributions, so a seed gives the same points
// on every platform.
class RegionSampler {
 public:
  // Draws at most this many candidates per point asked for before giving up.
  static constexpr int kMaxDrawsPerPoint = 1000;

  // `points` points (at least 1) in the region. Throws Exception when there are no factors,
  // when the mixture region is empty (the lower bounds exceed the total), or when fewer than
  // one draw in kMaxDrawsPerPoint falls inside the constraints ("The region is too small a
  // part of its bounding box to be sampled.").
  static NCDataMatrix<float> Sample(const Factors& factors, const NCDOE::Constraints* constraints,
                                    int points, std::uint64_t seed);
};

}  // namespace zubra
