// CandidateSet: the points an optimal design chooses its runs from.
#pragma once

#include <cstddef>

#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// The grid of candidate runs over process factors, with the points that linear constraints
// exclude left out.
//
// Values each factor takes in the grid (coded as in NCDesign):
//   - a continuous factor (quantitative, or time without levels): `continuous_levels`
//     equally spaced levels from -1 to +1; an even count is raised by one so that the
//     centre 0 is always a level;
//   - a multilevel factor or a time factor with levels: its levels, mapped linearly onto
//     -1..+1 over its range;
//   - a qualitative factor: the setting numbers 1..L;
//   - a factor that is not varied: one value, 0 (1 for a qualitative factor).
// The first factor changes fastest. A point is tested against the constraints with its
// uncoded values (a qualitative factor as its setting number, a constant factor at the
// middle of its range, an uncontrolled one at -99); the design indexes of the constraints
// are positions in `factors`.
//
//   const CandidateSet set = CandidateSet::Make(factors, 3, constraints);
//   Eigen::MatrixXd f = model.Expand(factors, set.GetCoded());
class CandidateSet {
 public:
  // The largest grid (before constraints) Make builds by default.
  static constexpr std::size_t kDefaultMaxPoints = 2'000'000;

  // Builds the candidate set of `factors`. `constraints` may be null. Throws Exception when
  // a factor is a mixture factor, when `continuous_levels` is below 2, when the grid holds
  // more than `max_points` points, or when the constraints exclude every point.
  static CandidateSet Make(const Factors& factors, int continuous_levels,
                           const NCDOE::Constraints* constraints,
                           std::size_t max_points = kDefaultMaxPoints);

  // The number of grid points before the constraints are applied, or SIZE_MAX when the count
  // does not fit; throws like Make for mixture factors and a level count below 2.
  static std::size_t GridSize(const Factors& factors, int continuous_levels);

  // The level count used for continuous factors: `continuous_levels`, made odd.
  static int OddLevels(int continuous_levels);

  [[nodiscard]] int GetCount() const { return coded_.GetRows(); }
  // One row per candidate, one column per factor, coded.
  [[nodiscard]] const NCDataMatrix<float>& GetCoded() const { return coded_; }
  // The same points in the factors' own units.
  [[nodiscard]] const NCDataMatrix<float>& GetUncoded() const { return uncoded_; }
  // The number of grid points the constraints excluded.
  [[nodiscard]] std::size_t GetExcludedCount() const { return excluded_; }

 private:
  NCDataMatrix<float> coded_;
  NCDataMatrix<float> uncoded_;
  std::size_t excluded_ = 0;
};

}  // namespace zubra
