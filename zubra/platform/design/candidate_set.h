// CandidateSet: the points an optimal design chooses its runs from.
#pragma once

#include <cstddef>
#include <vector>

#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// The candidate runs of an optimal design: a grid over the process factors, the extreme
// vertices, edge centres, 2-face centroids and centroid of the mixture region, and the corners
// that linear constraints cut into the process region. Points that the constraints exclude are
// left out.
//
// Values each process factor takes in the grid (coded as in NCDesign):
//   - a continuous factor (quantitative, or time without levels): `continuous_levels`
//     equally spaced levels from -1 to +1; an even count is raised by one so that the
//     centre 0 is always a level;
//   - a multilevel factor or a time factor with levels: its levels, mapped linearly onto
//     -1..+1 over its range;
//   - a qualitative factor: the setting numbers 1..L;
//   - a factor that is not varied (process or mixture): one value, 0 (1 for a qualitative
//     factor).
// The first factor changes fastest.
//
// The varied mixture factors (formulation factors and the filler, which takes the rest of the
// total within its own bounds) range over the region where their amounts lie within their
// bounds, sum to the mixture total less the amounts of the constant mixture factors, and
// satisfy the constraints that involve no varied process factor. Their candidates are the
// region's extreme vertices, edge centres, 2-face centroids and overall centroid (see
// MixtureRegion), uncoded as amounts and coded as pseudo-components (x - L) / (T - sum L) over
// the varied mixture factors (1/q each when the region is a single point). With process
// factors too, every process point is paired with every mixture candidate, the mixture
// candidates changing fastest.
//
// When constraints that involve only process factors cut the continuous process factors, the
// extreme vertices of the cut region are added after the grid, for every combination of the
// values of the discrete factors (qualitative, multilevel, time with levels), leaving out
// those that are grid points already; a vertex is moved towards the inside of its region by
// at most 1e-3 of its distance from the region's centre when that is needed for its
// single-precision values to pass the constraints.
//
// A run is tested against the constraints with its uncoded values (a qualitative factor as
// its setting number, a constant factor at the middle of its range, an uncontrolled one at
// -99); the design indexes of the constraints are positions in `factors`. The same input
// always gives the same points in the same order.
//
//   const CandidateSet set = CandidateSet::Make(factors, 3, constraints);
//   Eigen::MatrixXd f = model.Expand(factors, set.GetCoded());
class CandidateSet {
 public:
  // The largest grid (before constraints) Make builds by default.
  static constexpr std::size_t kDefaultMaxPoints = 2'000'000;

  // Builds the candidate set of `factors`. `constraints` may be null. Throws Exception when
  // there are no factors, when `continuous_levels` is below 2, when the mixture region is
  // empty, when the points before the constraints (process points times mixture candidates)
  // are more than `max_points`, or when the constraints exclude every point.
  static CandidateSet Make(const Factors& factors, int continuous_levels,
                           const NCDOE::Constraints* constraints,
                           std::size_t max_points = kDefaultMaxPoints);

  // The number of process grid points times the number of mixture candidates of the region
  // without constraints, or SIZE_MAX when the count does not fit; the corners added for
  // constraints are not counted. Throws like Make for no factors, a level count below 2 and
  // an empty mixture region.
  static std::size_t GridSize(const Factors& factors, int continuous_levels);

  // One value of a factor in the grid, coded and in the factor's own units.
  struct Value {
    float coded;
    float uncoded;
  };
  // The grid values of every factor of `factors`, in factor order (a factor that is not
  // varied has its one fixed value): what a search that changes runs one coordinate at a
  // time walks through. Throws like Make for no factors and a level count below 2, and for a
  // varied mixture factor, whose values are not a grid.
  static std::vector<std::vector<Value>> GridValues(const Factors& factors, int continuous_levels);

  // The level count used for continuous factors: `continuous_levels`, made odd.
  static int OddLevels(int continuous_levels);

  [[nodiscard]] int GetCount() const { return coded_.GetRows(); }
  // One row per candidate, one column per factor, coded.
  [[nodiscard]] const NCDataMatrix<float>& GetCoded() const { return coded_; }
  // The same points in the factors' own units.
  [[nodiscard]] const NCDataMatrix<float>& GetUncoded() const { return uncoded_; }
  // The number of points (process points times mixture candidates) the constraints excluded.
  [[nodiscard]] std::size_t GetExcludedCount() const { return excluded_; }

 private:
  NCDataMatrix<float> coded_;
  NCDataMatrix<float> uncoded_;
  std::size_t excluded_ = 0;
};

}  // namespace zubra
