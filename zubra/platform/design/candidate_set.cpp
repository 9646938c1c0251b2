#include "zubra/platform/design/candidate_set.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/mixture_region.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// How far (as a fraction of the distance to the region's centre) a corner may be moved inside
// so that its single-precision values pass the constraints that meet there.
constexpr double kNudges[] = {0.0, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3};

// One value a factor takes in the grid, coded and uncoded.
struct Level {
  float coded;
  float uncoded;
};

// The part a factor plays in the candidate set.
enum class Role { kFixed, kContinuous, kDiscrete, kMixture };

Role RoleOf(const Factors::Factor& factor) {
  if (!factor.IsVaried()) return Role::kFixed;
  if (factor.IsMixture()) return Role::kMixture;
  if (factor.IsQualitative() || !factor.levels.empty()) return Role::kDiscrete;
  return Role::kContinuous;
}

// The coded form of an uncoded process value.
double CodedProcess(const Factors::Factor& factor, double value) {
  const double mid = (factor.low + factor.high) / 2.0;
  const double half = (factor.high - factor.low) / 2.0;
  return (value - mid) / half;
}

// The grid values of every factor; a varied mixture factor gets one placeholder that the
// mixture candidates overwrite. Throws for no factors and too few levels.
std::vector<std::vector<Level>> FactorLevels(const Factors& factors, int continuous_levels) {
  if (continuous_levels < 2) {
    throw Exception(ExceptionMessage::translate("A candidate set needs at least 2 levels per "
                                                "factor, not {}.") %
                    continuous_levels);
  }
  if (factors.GetCount() == 0) {
    throw Exception(ExceptionMessage::translate("A candidate set needs at least one factor."));
  }
  const int odd = CandidateSet::OddLevels(continuous_levels);
  std::vector<std::vector<Level>> all;
  for (const Factors::Factor& factor : factors.GetAll()) {
    std::vector<Level> levels;
    const double mid = (factor.low + factor.high) / 2.0;
    const double half = (factor.high - factor.low) / 2.0;
    switch (RoleOf(factor)) {
      case Role::kFixed: {
        auto value = static_cast<float>(kUndefined);
        if (factor.use == CEUse::kConstant)
          value = factor.IsQualitative() ? 1.0F : static_cast<float>(mid);
        levels.push_back({factor.IsQualitative() ? 1.0F : 0.0F, value});
        break;
      }
      case Role::kMixture:
        levels.push_back({0.0F, 0.0F});
        break;
      case Role::kDiscrete:
        if (factor.IsQualitative()) {
          for (std::size_t s = 1; s <= factor.settings.size(); ++s) {
            levels.push_back({static_cast<float>(s), static_cast<float>(s)});
          }
        } else {
          for (double level : factor.levels) {
            levels.push_back({static_cast<float>((level - mid) / half), static_cast<float>(level)});
          }
        }
        break;
      case Role::kContinuous:
        for (int i = 0; i < odd; ++i) {
          // Levels symmetric about the centre, the middle one exactly 0.
          const double coded =
              static_cast<double>(2 * i - (odd - 1)) / static_cast<double>(odd - 1);
          levels.push_back({static_cast<float>(coded), static_cast<float>(mid + coded * half)});
        }
        break;
    }
    all.push_back(std::move(levels));
  }
  return all;
}

std::size_t CountPoints(const std::vector<std::vector<Level>>& levels) {
  std::size_t count = 1;
  for (const std::vector<Level>& factor : levels) {
    if (count > SIZE_MAX / factor.size()) return SIZE_MAX;
    count *= factor.size();
  }
  return count;
}

std::size_t Multiply(std::size_t a, std::size_t b) {
  if (a != 0 && b > SIZE_MAX / a) return SIZE_MAX;
  return a * b;
}

[[noreturn]] void ThrowTooLarge(std::size_t max_points) {
  throw Exception(ExceptionMessage::translate("The candidate set would hold more than {} "
                                              "points.") %
                  max_points);
}

// The constraints sorted by the varied factors they involve.
struct ConstraintGroups {
  std::vector<const NCDOE::Constraint*> process;  // varied process factors only
  std::vector<const NCDOE::Constraint*> mixture;  // varied mixture factors only
};

ConstraintGroups GroupConstraints(const Factors& factors, const NCDOE::Constraints* constraints) {
  ConstraintGroups groups;
  if (constraints == nullptr) return groups;
  for (const NCDOE::Constraint& constraint : constraints->GetAll()) {
    bool process = false;
    bool mixture = false;
    for (const auto& [index, coefficient] : constraint.GetPairs()) {
      if (index >= factors.GetCount() || coefficient == 0.0) continue;
      const Role role = RoleOf(factors.GetFactor(index));
      mixture = mixture || role == Role::kMixture;
      process = process || role == Role::kContinuous || role == Role::kDiscrete;
    }
    if (process && !mixture) groups.process.push_back(&constraint);
    if (mixture && !process) groups.mixture.push_back(&constraint);
  }
  return groups;
}

bool AnyExcludes(const std::vector<const NCDOE::Constraint*>& constraints,
                 const std::vector<float>& run) {
  return std::any_of(constraints.begin(), constraints.end(), [&run](const NCDOE::Constraint* c) {
    return c->Excludes(std::span<const float>(run));
  });
}

// Adds `constraint` to `region` over the design indexes `columns`, the other factors taking
// their values in `run`. Returns false, adding nothing, when none of `columns` takes part;
// `*excludes_all` then tells whether the constraint excludes every point of the region.
bool AddToRegion(const NCDOE::Constraint& constraint, const std::vector<int>& columns,
                 const std::vector<float>& run, MixtureRegion& region, bool* excludes_all) {
  std::vector<double> coefficients(columns.size(), 0.0);
  double constant = 0.0;
  bool involved = false;
  for (const auto& [index, coefficient] : constraint.GetPairs()) {
    if (static_cast<std::size_t>(index) >= run.size()) continue;
    const auto at = std::find(columns.begin(), columns.end(), index);
    if (at == columns.end()) {
      constant += coefficient * static_cast<double>(run[static_cast<std::size_t>(index)]);
    } else {
      coefficients[static_cast<std::size_t>(at - columns.begin())] += coefficient;
      involved = involved || coefficient != 0.0;
    }
  }
  const double limit = constraint.GetLimit() - constant;
  if (!involved) {
    *excludes_all = constraint.IsLessThan() ? 0.0 < limit : 0.0 > limit;
    return false;
  }
  region.AddConstraint(
      std::move(coefficients),
      constraint.IsLessThan() ? MixtureRegion::Sense::kAtLeast : MixtureRegion::Sense::kAtMost,
      limit);
  return true;
}

// Moves `vertex` towards `centre` as little as lets `fits` accept it. Returns the point
// accepted, or an empty point when no allowed move suffices.
template <typename Fits>
MixtureRegion::Point PlaceInside(const MixtureRegion::Point& vertex,
                                 const MixtureRegion::Point& centre, Fits&& fits) {
  MixtureRegion::Point point(vertex.size());
  for (double t : kNudges) {
    for (std::size_t i = 0; i < vertex.size(); ++i) {
      point[i] = vertex[i] + t * (centre[i] - vertex[i]);
    }
    if (fits(point)) return point;
  }
  return {};
}

// True when the single-precision form of `point` in the `columns` of `run` passes
// `constraints`, both as stored and as recomputed from its single-precision coded form by
// `recode` (which maps a column position and a value to the value a design built from the
// coded form would hold).
template <typename Recode>
bool FitsBothForms(const MixtureRegion::Point& point, const std::vector<int>& columns,
                   const std::vector<const NCDOE::Constraint*>& constraints,
                   std::vector<float>& run, Recode&& recode) {
  for (std::size_t i = 0; i < point.size(); ++i) {
    run[static_cast<std::size_t>(columns[i])] = static_cast<float>(point[i]);
  }
  if (AnyExcludes(constraints, run)) return false;
  for (std::size_t i = 0; i < point.size(); ++i) {
    run[static_cast<std::size_t>(columns[i])] = recode(i, point[i]);
  }
  if (AnyExcludes(constraints, run)) return false;
  for (std::size_t i = 0; i < point.size(); ++i) {
    run[static_cast<std::size_t>(columns[i])] = static_cast<float>(point[i]);
  }
  return true;
}

// The mixture candidates: one coded and one uncoded value per varied mixture factor.
struct MixtureCandidates {
  std::vector<int> columns;
  std::vector<std::vector<float>> coded;
  std::vector<std::vector<float>> uncoded;
};

// Computes the mixture candidates of the varied mixture factors, under the constraints in
// `constraints` (which involve no varied process factor); `fixed_run` holds the values of the
// factors that are not varied. Throws when the region is empty.
MixtureCandidates MakeMixtureCandidates(const Factors& factors,
                                        const std::vector<const NCDOE::Constraint*>& constraints,
                                        std::vector<float> fixed_run) {
  MixtureCandidates candidates;
  std::vector<double> low;
  std::vector<double> high;
  double total = factors.GetMixtureTotal();
  for (int f = 0; f < factors.GetCount(); ++f) {
    const Factors::Factor& factor = factors.GetFactor(f);
    if (!factor.IsMixture()) continue;
    if (RoleOf(factor) == Role::kMixture) {
      candidates.columns.push_back(f);
      low.push_back(factor.low);
      high.push_back(factor.high);
    } else if (factor.use == CEUse::kConstant) {
      total -= (factor.low + factor.high) / 2.0;
    }
  }
  if (candidates.columns.empty()) return candidates;
  MixtureRegion region = MixtureRegion::Mixture(low, high, total);
  for (const NCDOE::Constraint* constraint : constraints) {
    bool excludes_all = false;
    if (!AddToRegion(*constraint, candidates.columns, fixed_run, region, &excludes_all) &&
        excludes_all) {
      return candidates;  // no candidate survives; the caller reports it
    }
  }
  const MixtureRegion::Geometry geometry = region.Compute();
  double low_sum = 0.0;
  for (double l : low) low_sum += l;
  const double free = total - low_sum;
  const double tolerance = 1e-9 * std::max(std::fabs(total), 1e-300);
  const auto q = static_cast<float>(low.size());
  const auto recode = [&](std::size_t i, double amount) {
    if (!(free > tolerance)) return static_cast<float>(amount);
    const auto coded = static_cast<float>((amount - low[i]) / free);
    return static_cast<float>(low[i] + free * static_cast<double>(coded));
  };
  for (const MixtureRegion::Point& point : geometry.Points()) {
    const MixtureRegion::Point placed =
        PlaceInside(point, geometry.centroid, [&](const MixtureRegion::Point& p) {
          return FitsBothForms(p, candidates.columns, constraints, fixed_run, recode);
        });
    if (placed.empty()) continue;
    std::vector<float> coded;
    std::vector<float> uncoded;
    for (std::size_t i = 0; i < placed.size(); ++i) {
      uncoded.push_back(static_cast<float>(placed[i]));
      coded.push_back(free > tolerance ? static_cast<float>((placed[i] - low[i]) / free)
                                       : 1.0F / q);
    }
    candidates.coded.push_back(std::move(coded));
    candidates.uncoded.push_back(std::move(uncoded));
  }
  return candidates;
}

// A process point outside the grid: coded and uncoded values of every factor (the mixture
// columns are overwritten later).
struct ProcessPoint {
  std::vector<float> coded;
  std::vector<float> uncoded;
};

// The extreme vertices of the continuous process region cut by the process constraints, for
// every combination of the discrete factors' values, leaving out grid points.
std::vector<ProcessPoint> ProcessCorners(const Factors& factors,
                                         const std::vector<std::vector<Level>>& levels,
                                         const std::vector<const NCDOE::Constraint*>& constraints,
                                         int odd) {
  std::vector<ProcessPoint> corners;
  std::vector<int> continuous;
  std::vector<int> discrete;
  for (int f = 0; f < factors.GetCount(); ++f) {
    const Role role = RoleOf(factors.GetFactor(f));
    if (role == Role::kContinuous) continuous.push_back(f);
    if (role == Role::kDiscrete) discrete.push_back(f);
  }
  const bool cuts = std::any_of(constraints.begin(), constraints.end(), [&](const auto* c) {
    return std::any_of(c->GetPairs().begin(), c->GetPairs().end(), [&](const auto& pair) {
      return pair.second != 0.0 &&
             std::find(continuous.begin(), continuous.end(), pair.first) != continuous.end();
    });
  });
  if (continuous.empty() || !cuts) return corners;

  const auto width = levels.size();
  std::vector<float> coded(width);
  std::vector<float> uncoded(width);
  for (std::size_t f = 0; f < width; ++f) {
    coded[f] = levels[f][0].coded;
    uncoded[f] = levels[f][0].uncoded;
  }
  std::vector<double> low;
  std::vector<double> high;
  for (int f : continuous) {
    low.push_back(factors.GetFactor(f).low);
    high.push_back(factors.GetFactor(f).high);
  }
  // The value a design holds for a continuous factor, recomputed from the coded form.
  const auto recode = [&](std::size_t i, double value) {
    const Factors::Factor& factor = factors.GetFactor(continuous[i]);
    const auto code = static_cast<float>(CodedProcess(factor, value));
    return static_cast<float>((factor.low + factor.high) / 2.0 +
                              static_cast<double>(code) * (factor.high - factor.low) / 2.0);
  };
  std::vector<std::size_t> digit(discrete.size(), 0);
  while (true) {
    for (std::size_t d = 0; d < discrete.size(); ++d) {
      const auto f = static_cast<std::size_t>(discrete[d]);
      coded[f] = levels[f][digit[d]].coded;
      uncoded[f] = levels[f][digit[d]].uncoded;
    }
    MixtureRegion region = MixtureRegion::Box(low, high);
    bool empty = false;
    for (const NCDOE::Constraint* constraint : constraints) {
      bool excludes_all = false;
      if (!AddToRegion(*constraint, continuous, uncoded, region, &excludes_all)) {
        empty = empty || excludes_all;
      }
    }
    const std::vector<MixtureRegion::Point> vertices =
        empty ? std::vector<MixtureRegion::Point>{} : region.FindVertices();
    MixtureRegion::Point centre(continuous.size(), 0.0);
    for (const MixtureRegion::Point& v : vertices) {
      for (std::size_t i = 0; i < centre.size(); ++i) {
        centre[i] += v[i] / static_cast<double>(vertices.size());
      }
    }
    for (const MixtureRegion::Point& vertex : vertices) {
      // A vertex at grid levels is a grid point; the grid keeps it if it passes.
      bool on_grid = true;
      for (std::size_t i = 0; i < continuous.size() && on_grid; ++i) {
        const auto f = static_cast<std::size_t>(continuous[i]);
        const double step = (CodedProcess(factors.GetFactor(continuous[i]), vertex[i]) + 1.0) *
                            static_cast<double>(odd - 1) / 2.0;
        const double nearest = std::round(step);
        on_grid = std::fabs(step - nearest) < 1e-6;
        if (on_grid) uncoded[f] = levels[f][static_cast<std::size_t>(nearest)].uncoded;
      }
      if (on_grid && !AnyExcludes(constraints, uncoded)) continue;
      const MixtureRegion::Point placed =
          PlaceInside(vertex, centre, [&](const MixtureRegion::Point& p) {
            return FitsBothForms(p, continuous, constraints, uncoded, recode);
          });
      if (placed.empty()) continue;
      ProcessPoint point{coded, uncoded};
      for (std::size_t i = 0; i < continuous.size(); ++i) {
        point.coded[static_cast<std::size_t>(continuous[i])] =
            static_cast<float>(CodedProcess(factors.GetFactor(continuous[i]), placed[i]));
      }
      corners.push_back(std::move(point));
    }
    // Next combination: the first discrete factor changes fastest.
    std::size_t d = 0;
    for (; d < discrete.size(); ++d) {
      if (++digit[d] < levels[static_cast<std::size_t>(discrete[d])].size()) break;
      digit[d] = 0;
    }
    if (d == discrete.size()) break;
  }
  return corners;
}

// The values of the factors that are not varied, with the other columns 0.
std::vector<float> FixedRun(const std::vector<std::vector<Level>>& levels) {
  std::vector<float> run;
  run.reserve(levels.size());
  for (const std::vector<Level>& factor : levels) run.push_back(factor.front().uncoded);
  return run;
}

}  // namespace

std::vector<std::vector<CandidateSet::Value>> CandidateSet::GridValues(const Factors& factors,
                                                                       int continuous_levels) {
  const std::vector<std::vector<Level>> levels = FactorLevels(factors, continuous_levels);
  std::vector<std::vector<Value>> values;
  for (int f = 0; f < factors.GetCount(); ++f) {
    const Factors::Factor& factor = factors.GetFactor(f);
    if (RoleOf(factor) == Role::kMixture) {
      throw Exception(ExceptionMessage::translate("The factor '{}' is a mixture factor; its "
                                                  "values are not a grid.") %
                      factor.name);
    }
    std::vector<Value>& own = values.emplace_back();
    for (const Level& level : levels[static_cast<std::size_t>(f)]) {
      own.push_back({level.coded, level.uncoded});
    }
  }
  return values;
}

int CandidateSet::OddLevels(int continuous_levels) {
  return continuous_levels % 2 == 0 ? continuous_levels + 1 : continuous_levels;
}

std::size_t CandidateSet::GridSize(const Factors& factors, int continuous_levels) {
  const std::vector<std::vector<Level>> levels = FactorLevels(factors, continuous_levels);
  const std::size_t grid = CountPoints(levels);
  if (factors.GetMixtureCount() == 0) return grid;
  const MixtureCandidates mixture = MakeMixtureCandidates(factors, {}, FixedRun(levels));
  if (mixture.columns.empty()) return grid;
  return Multiply(grid, mixture.coded.size());
}

CandidateSet CandidateSet::Make(const Factors& factors, int continuous_levels,
                                const NCDOE::Constraints* constraints, std::size_t max_points) {
  const std::vector<std::vector<Level>> levels = FactorLevels(factors, continuous_levels);
  const std::size_t grid = CountPoints(levels);
  if (grid > max_points) ThrowTooLarge(max_points);
  const ConstraintGroups groups = GroupConstraints(factors, constraints);
  const MixtureCandidates mixture =
      MakeMixtureCandidates(factors, groups.mixture, FixedRun(levels));
  const std::size_t per_point = mixture.columns.empty() ? 1 : mixture.coded.size();
  if (Multiply(grid, per_point) > max_points) ThrowTooLarge(max_points);
  const std::vector<ProcessPoint> corners =
      ProcessCorners(factors, levels, groups.process, OddLevels(continuous_levels));
  if (Multiply(grid + corners.size(), per_point) > max_points) ThrowTooLarge(max_points);

  const int cols = factors.GetCount();
  const auto width = static_cast<std::size_t>(cols);
  std::vector<float> coded;
  std::vector<float> uncoded;
  std::vector<float> point_coded(width);
  std::vector<float> point_uncoded(width);
  CandidateSet set;
  // Pairs the process point in point_coded/point_uncoded with every mixture candidate.
  const auto add_runs = [&]() {
    for (std::size_t m = 0; m < per_point; ++m) {
      if (!mixture.columns.empty()) {
        for (std::size_t i = 0; i < mixture.columns.size(); ++i) {
          const auto f = static_cast<std::size_t>(mixture.columns[i]);
          point_coded[f] = mixture.coded[m][i];
          point_uncoded[f] = mixture.uncoded[m][i];
        }
      }
      if (constraints != nullptr && constraints->Excludes(std::span<const float>(point_uncoded))) {
        ++set.excluded_;
      } else {
        coded.insert(coded.end(), point_coded.begin(), point_coded.end());
        uncoded.insert(uncoded.end(), point_uncoded.begin(), point_uncoded.end());
      }
    }
  };
  std::vector<std::size_t> digit(width, 0);
  for (std::size_t n = 0; n < grid; ++n) {
    for (std::size_t f = 0; f < width; ++f) {
      point_coded[f] = levels[f][digit[f]].coded;
      point_uncoded[f] = levels[f][digit[f]].uncoded;
    }
    add_runs();
    // Next point: the first factor changes fastest.
    for (std::size_t f = 0; f < width; ++f) {
      if (++digit[f] < levels[f].size()) break;
      digit[f] = 0;
    }
  }
  for (const ProcessPoint& corner : corners) {
    point_coded = corner.coded;
    point_uncoded = corner.uncoded;
    add_runs();
  }
  if (coded.empty()) {
    throw Exception(ExceptionMessage::translate("The constraints exclude every candidate run."));
  }
  const int rows = static_cast<int>(coded.size() / width);
  set.coded_ = NCDataMatrix<float>(rows, cols);
  set.uncoded_ = NCDataMatrix<float>(rows, cols);
  std::copy(coded.begin(), coded.end(), set.coded_.GetData());
  std::copy(uncoded.begin(), uncoded.end(), set.uncoded_.GetData());
  return set;
}

}  // namespace zubra
