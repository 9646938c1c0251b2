#include "zubra/platform/design/mixture_region.h"

#include <Eigen/Core>
#include <Eigen/LU>
#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>

#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using Point = MixtureRegion::Point;

// Feasibility, activity and sameness are decided to this fraction of the region's scale.
constexpr double kRelativeTolerance = 1e-9;
// Pivots below this fraction of the largest one count as zero in rank decisions.
constexpr double kRankThreshold = 1e-9;
// The most (active-set, bound assignment) combinations the vertex search may visit.
constexpr double kMaxCombinations = 4e8;

bool AllFinite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

double Binomial(int n, int k) {
  if (k < 0 || k > n) return 0.0;
  double result = 1.0;
  for (int i = 1; i <= k; ++i) result = result * static_cast<double>(n - k + i) / i;
  return result;
}

// Advances `c` (ascending indexes below `n`) to the next combination in lexicographic order;
// false after the last one.
bool NextCombination(std::vector<int>& c, int n) {
  const int k = static_cast<int>(c.size());
  int i = k - 1;
  while (i >= 0 && c[static_cast<std::size_t>(i)] == n - k + i) --i;
  if (i < 0) return false;
  ++c[static_cast<std::size_t>(i)];
  for (int j = i + 1; j < k; ++j) {
    c[static_cast<std::size_t>(j)] = c[static_cast<std::size_t>(j - 1)] + 1;
  }
  return true;
}

bool SamePoint(const Point& a, const Point& b, double tolerance) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::fabs(a[i] - b[i]) > tolerance) return false;
  }
  return true;
}

// For every point, whether it is the first (in list order) of the points that coincide with it
// within `tolerance` in every coordinate.
std::vector<bool> FirstOccurrences(const std::vector<Point>& points, double tolerance) {
  std::vector<std::size_t> order(points.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(),
            [&points](std::size_t a, std::size_t b) { return points[a] < points[b]; });
  // Representatives in sorted order; each keeps the smallest list index of its group.
  std::vector<std::size_t> representatives;
  std::vector<std::size_t> keeper(points.size());
  std::vector<std::size_t> group(points.size());
  for (std::size_t index : order) {
    const Point& p = points[index];
    std::size_t found = points.size();
    for (auto it = representatives.rbegin();
         it != representatives.rend() && (p.empty() || points[*it][0] >= p[0] - tolerance); ++it) {
      if (SamePoint(points[*it], p, tolerance)) {
        found = *it;
        break;
      }
    }
    if (found == points.size()) {
      representatives.push_back(index);
      keeper[index] = index;
      group[index] = index;
    } else {
      group[index] = found;
      keeper[found] = std::min(keeper[found], index);
    }
  }
  std::vector<bool> first(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) first[i] = keeper[group[i]] == i;
  return first;
}

Point Mean(const std::vector<const Point*>& points) {
  Point mean(points.front()->size(), 0.0);
  for (const Point* p : points) {
    for (std::size_t i = 0; i < mean.size(); ++i) mean[i] += (*p)[i];
  }
  for (double& v : mean) v /= static_cast<double>(points.size());
  return mean;
}

int PopCount(const std::vector<unsigned long long>& set) {
  int count = 0;
  for (unsigned long long word : set) count += std::popcount(word);
  return count;
}

// Depth-first search over the low/high assignments of the variables held at a bound, for one
// choice of active constraints and free variables; collects the feasible points.
class BoundWalk {
 public:
  BoundWalk(const std::vector<double>& low, const std::vector<double>& high,
            const std::vector<std::vector<double>>& columns, const std::vector<int>& fixed,
            const std::vector<int>& free, bool mixture, double total, double tolerance)
      : low_(low),
        high_(high),
        columns_(columns),
        fixed_(fixed),
        mixture_(mixture),
        total_(total),
        tolerance_(tolerance),
        rest_low_(fixed.size() + 1, 0.0),
        rest_high_(fixed.size() + 1, 0.0) {
    for (std::size_t p = fixed.size(); p-- > 0;) {
      const auto v = static_cast<std::size_t>(fixed[p]);
      rest_low_[p] = rest_low_[p + 1] + low[v];
      rest_high_[p] = rest_high_[p + 1] + high[v];
    }
    for (int v : free) {
      free_low_ += low[static_cast<std::size_t>(v)];
      free_high_ += high[static_cast<std::size_t>(v)];
    }
  }

  // Walks every assignment; `leaf` receives the point with the fixed variables set and the
  // right-hand side left for the free ones.
  template <typename Leaf>
  void Run(Point& x, const Eigen::VectorXd& rhs, double sum, std::size_t position,
           Leaf&& leaf) const {
    if (mixture_ && (sum + rest_low_[position] > total_ - free_low_ + tolerance_ ||
                     sum + rest_high_[position] < total_ - free_high_ - tolerance_)) {
      return;  // the free components cannot make up the rest of the total
    }
    if (position == fixed_.size()) {
      leaf(x, rhs);
      return;
    }
    const auto v = static_cast<std::size_t>(fixed_[position]);
    const double values[2] = {low_[v], high_[v]};
    const int choices = low_[v] == high_[v] ? 1 : 2;
    for (int c = 0; c < choices; ++c) {
      x[v] = values[c];
      Eigen::VectorXd next = rhs;
      for (Eigen::Index r = 0; r < next.size(); ++r) {
        next(r) -= columns_[v][static_cast<std::size_t>(r)] * values[c];
      }
      Run(x, next, sum + values[c], position + 1, leaf);
    }
  }

 private:
  const std::vector<double>& low_;
  const std::vector<double>& high_;
  // For every variable, its coefficients in the equations solved for the free variables.
  const std::vector<std::vector<double>>& columns_;
  const std::vector<int>& fixed_;
  bool mixture_;
  double total_;
  double tolerance_;
  std::vector<double> rest_low_;   // sum of the low bounds of fixed_[p..]
  std::vector<double> rest_high_;  // sum of the high bounds of fixed_[p..]
  double free_low_ = 0.0;
  double free_high_ = 0.0;
};

}  // namespace

MixtureRegion::MixtureRegion(std::vector<double> low, std::vector<double> high, bool mixture,
                             double total)
    : low_(std::move(low)), high_(std::move(high)), mixture_(mixture), total_(total) {
  if (low_.size() != high_.size()) {
    throw Exception(
        ExceptionMessage::translate("A region needs a low and a high bound for "
                                    "every variable."));
  }
  if (low_.empty() || low_.size() > static_cast<std::size_t>(kMaxVariables)) {
    throw Exception(ExceptionMessage::translate("A region needs between 1 and {} variables, "
                                                "not {}.") %
                    kMaxVariables % low_.size());
  }
  if (!AllFinite(low_) || !AllFinite(high_) || !std::isfinite(total_)) {
    throw Exception(
        ExceptionMessage::translate("A bound or the total of a region is not a "
                                    "finite number."));
  }
  for (std::size_t i = 0; i < low_.size(); ++i) {
    if (low_[i] > high_[i]) {
      throw Exception(ExceptionMessage::translate("The low bound of variable {} of the region "
                                                  "is above its high bound.") %
                      (i + 1));
    }
  }
}

MixtureRegion MixtureRegion::Mixture(std::vector<double> low, std::vector<double> high,
                                     double total) {
  return {std::move(low), std::move(high), true, total};
}

MixtureRegion MixtureRegion::Box(std::vector<double> low, std::vector<double> high) {
  return {std::move(low), std::move(high), false, 0.0};
}

void MixtureRegion::AddConstraint(std::vector<double> coefficients, Sense sense, double limit) {
  if (coefficients.size() != low_.size()) {
    throw Exception(ExceptionMessage::translate("A constraint of the region needs {} "
                                                "coefficients, not {}.") %
                    low_.size() % coefficients.size());
  }
  if (!AllFinite(coefficients) || !std::isfinite(limit)) {
    throw Exception(
        ExceptionMessage::translate("A constraint of the region has a coefficient "
                                    "or a limit that is not a finite number."));
  }
  Row row;
  row.a = std::move(coefficients);
  row.b = limit;
  if (sense == Sense::kAtLeast) {
    for (double& a : row.a) a = -a;
    row.b = -limit;
  }
  constraints_.push_back(std::move(row));
}

double MixtureRegion::Scale() const {
  double scale = mixture_ ? std::fabs(total_) : 0.0;
  for (std::size_t i = 0; i < low_.size(); ++i) {
    scale = std::max({scale, std::fabs(low_[i]), std::fabs(high_[i])});
  }
  return scale > 0.0 ? scale : 1.0;
}

std::vector<MixtureRegion::Row> MixtureRegion::AllRows() const {
  const std::size_t n = low_.size();
  const double scale = Scale();
  std::vector<Row> rows;
  rows.reserve(2 * n + constraints_.size());
  for (int side = 0; side < 2; ++side) {
    for (std::size_t i = 0; i < n; ++i) {
      Row row;
      row.a.assign(n, 0.0);
      row.a[i] = side == 0 ? -1.0 : 1.0;
      row.b = side == 0 ? -low_[i] : high_[i];
      rows.push_back(std::move(row));
    }
  }
  rows.insert(rows.end(), constraints_.begin(), constraints_.end());
  for (Row& row : rows) {
    double size = std::fabs(row.b);
    for (double a : row.a) size += std::fabs(a) * scale;
    row.tolerance = kRelativeTolerance * size;
  }
  return rows;
}

bool MixtureRegion::Contains(const Point& point) const {
  if (point.size() != low_.size()) return false;
  for (const Row& row : AllRows()) {
    double sum = 0.0;
    for (std::size_t i = 0; i < point.size(); ++i) sum += row.a[i] * point[i];
    if (!(sum <= row.b + row.tolerance)) return false;
  }
  if (mixture_) {
    const double sum = std::accumulate(point.begin(), point.end(), 0.0);
    const double tolerance =
        kRelativeTolerance * (std::fabs(total_) + static_cast<double>(point.size()) * Scale());
    if (!(std::fabs(sum - total_) <= tolerance)) return false;
  }
  return true;
}

std::vector<MixtureRegion::Point> MixtureRegion::FindVertices() const {
  const int n = GetVariableCount();
  const int e = mixture_ ? 1 : 0;
  const int m = static_cast<int>(constraints_.size());
  const int most_active = std::min(m, n - e);
  double work = 0.0;
  for (int k = 0; k <= most_active; ++k) {
    work += Binomial(m, k) * Binomial(n, k + e) * std::ldexp(1.0, n - k - e);
  }
  if (work > kMaxCombinations) {
    throw Exception(
        ExceptionMessage::translate("The region has too many constraints for its "
                                    "vertices to be enumerated."));
  }
  const double scale = Scale();
  const double point_tolerance = kRelativeTolerance * scale;
  const double sum_tolerance = kRelativeTolerance * (std::fabs(total_) + n * scale);
  const std::vector<Row> rows = AllRows();
  const std::size_t general = 2 * static_cast<std::size_t>(n);
  std::vector<Point> found;
  Point x(static_cast<std::size_t>(n), 0.0);

  for (int k = 0; k <= most_active; ++k) {
    std::vector<int> chosen(static_cast<std::size_t>(k));
    std::iota(chosen.begin(), chosen.end(), 0);
    do {
      const int size = k + e;
      std::vector<int> free(static_cast<std::size_t>(size));
      std::iota(free.begin(), free.end(), 0);
      do {
        // The equations that determine the free variables: the total, then the chosen
        // constraints held at their limits.
        std::vector<std::vector<double>> columns(
            static_cast<std::size_t>(n), std::vector<double>(static_cast<std::size_t>(size)));
        Eigen::VectorXd rhs(size);
        for (int v = 0; v < n; ++v) {
          std::vector<double>& column = columns[static_cast<std::size_t>(v)];
          if (e == 1) column[0] = 1.0;
          for (int r = 0; r < k; ++r) {
            const Row& row =
                constraints_[static_cast<std::size_t>(chosen[static_cast<std::size_t>(r)])];
            column[static_cast<std::size_t>(e) + static_cast<std::size_t>(r)] =
                row.a[static_cast<std::size_t>(v)];
          }
        }
        if (e == 1) rhs(0) = total_;
        for (int r = 0; r < k; ++r) {
          rhs(e + r) =
              constraints_[static_cast<std::size_t>(chosen[static_cast<std::size_t>(r)])].b;
        }
        Eigen::MatrixXd system(size, size);
        for (int c = 0; c < size; ++c) {
          const std::vector<double>& column =
              columns[static_cast<std::size_t>(free[static_cast<std::size_t>(c)])];
          for (int r = 0; r < size; ++r) system(r, c) = column[static_cast<std::size_t>(r)];
        }
        Eigen::FullPivLU<Eigen::MatrixXd> lu;
        if (size > 0) {
          lu.compute(system);
          lu.setThreshold(kRankThreshold);
          if (!lu.isInvertible()) continue;
        }
        std::vector<int> fixed;
        for (int v = 0, f = 0; v < n; ++v) {
          if (f < size && free[static_cast<std::size_t>(f)] == v) {
            ++f;
          } else {
            fixed.push_back(v);
          }
        }
        const BoundWalk walk(low_, high_, columns, fixed, free, mixture_, total_, sum_tolerance);
        walk.Run(x, rhs, 0.0, 0, [&](Point& point, const Eigen::VectorXd& rest) {
          if (size > 0) {
            const Eigen::VectorXd y = lu.solve(rest);
            for (int c = 0; c < size; ++c) {
              point[static_cast<std::size_t>(free[static_cast<std::size_t>(c)])] = y(c);
            }
          }
          for (std::size_t r = 0; r < rows.size(); ++r) {
            // The bounds of the fixed variables hold by construction.
            if (r < general) {
              const std::size_t v = r % static_cast<std::size_t>(n);
              if (std::find(free.begin(), free.end(), static_cast<int>(v)) == free.end()) continue;
            }
            const Row& row = rows[r];
            double sum = 0.0;
            for (std::size_t i = 0; i < point.size(); ++i) sum += row.a[i] * point[i];
            if (!(sum <= row.b + row.tolerance)) return;
          }
          found.push_back(point);
        });
      } while (NextCombination(free, n));
    } while (NextCombination(chosen, m));
  }

  // Sort and merge the points that several active sets determine.
  std::sort(found.begin(), found.end());
  const std::vector<bool> first = FirstOccurrences(found, point_tolerance);
  std::vector<Point> vertices;
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (first[i]) vertices.push_back(std::move(found[i]));
  }
  return vertices;
}

MixtureRegion::RowSet MixtureRegion::ActiveRows(const std::vector<Row>& rows,
                                                const Point& point) const {
  RowSet set((rows.size() + 63) / 64, 0ULL);
  for (std::size_t r = 0; r < rows.size(); ++r) {
    const Row& row = rows[r];
    double sum = 0.0;
    for (std::size_t i = 0; i < point.size(); ++i) sum += row.a[i] * point[i];
    if (std::fabs(sum - row.b) <= row.tolerance) set[r / 64] |= 1ULL << (r % 64);
  }
  return set;
}

int MixtureRegion::Rank(const std::vector<Row>& rows, const RowSet& set) const {
  const std::size_t n = low_.size();
  // A bound row fixes its variable; the other rows count on the remaining columns.
  std::vector<bool> fixed(n, false);
  std::vector<std::size_t> others;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    if ((set[r / 64] >> (r % 64) & 1ULL) == 0) continue;
    if (r < 2 * n) {
      fixed[r % n] = true;
    } else {
      others.push_back(r);
    }
  }
  std::vector<std::size_t> columns;
  for (std::size_t i = 0; i < n; ++i) {
    if (!fixed[i]) columns.push_back(i);
  }
  const int held = static_cast<int>(n - columns.size());
  const std::size_t equations = others.size() + (mixture_ ? 1 : 0);
  if (columns.empty() || equations == 0) return held;
  Eigen::MatrixXd matrix(static_cast<Eigen::Index>(equations),
                         static_cast<Eigen::Index>(columns.size()));
  Eigen::Index r = 0;
  if (mixture_) matrix.row(r++).setOnes();
  for (std::size_t index : others) {
    const Row& row = rows[index];
    double size = 0.0;
    for (double a : row.a) size = std::max(size, std::fabs(a));
    for (std::size_t c = 0; c < columns.size(); ++c) {
      matrix(r, static_cast<Eigen::Index>(c)) = size > 0.0 ? row.a[columns[c]] / size : 0.0;
    }
    ++r;
  }
  Eigen::FullPivLU<Eigen::MatrixXd> lu(matrix);
  lu.setThreshold(kRankThreshold);
  return held + static_cast<int>(lu.rank());
}

int MixtureRegion::Dimension(const std::vector<Point>& vertices) const {
  if (vertices.size() < 2) return 0;
  Eigen::MatrixXd differences(static_cast<Eigen::Index>(vertices.size() - 1),
                              static_cast<Eigen::Index>(low_.size()));
  for (std::size_t v = 1; v < vertices.size(); ++v) {
    for (std::size_t i = 0; i < low_.size(); ++i) {
      differences(static_cast<Eigen::Index>(v - 1), static_cast<Eigen::Index>(i)) =
          vertices[v][i] - vertices[0][i];
    }
  }
  Eigen::FullPivLU<Eigen::MatrixXd> lu(differences);
  lu.setThreshold(1e-8);
  return static_cast<int>(lu.rank());
}

MixtureRegion::Geometry MixtureRegion::Compute() const {
  Geometry geometry;
  geometry.vertices = FindVertices();
  if (geometry.vertices.empty()) {
    throw Exception(
        ExceptionMessage::translate("The bounds and constraints of the region leave "
                                    "no feasible point."));
  }
  const std::vector<Point>& vertices = geometry.vertices;
  const std::size_t count = vertices.size();
  std::vector<const Point*> all;
  all.reserve(count);
  for (const Point& v : vertices) all.push_back(&v);
  geometry.centroid = Mean(all);
  geometry.dimension = Dimension(vertices);
  if (count > kMaxEdgeVertices) {
    geometry.complete = false;
    return geometry;
  }

  const int n = GetVariableCount();
  const int e = mixture_ ? 1 : 0;
  const std::vector<Row> rows = AllRows();
  std::vector<RowSet> active;
  active.reserve(count);
  for (const Point& v : vertices) active.push_back(ActiveRows(rows, v));
  const auto intersect = [](RowSet a, const RowSet& b) {
    for (std::size_t w = 0; w < a.size(); ++w) a[w] &= b[w];
    return a;
  };

  std::vector<std::vector<std::size_t>> neighbours(count);
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = i + 1; j < count; ++j) {
      const RowSet common = intersect(active[i], active[j]);
      if (PopCount(common) + e < n - 1 || Rank(rows, common) != n - 1) continue;
      neighbours[i].push_back(j);
      neighbours[j].push_back(i);
      geometry.edge_centres.push_back(Mean({&vertices[i], &vertices[j]}));
    }
  }
  if (count > kMaxFaceVertices) {
    geometry.complete = false;
    return geometry;
  }

  // Two edges at a vertex span the 2-face whose constraints are active at all three
  // vertices, when those constraints have rank n - 2.
  std::map<RowSet, bool> seen;
  for (std::size_t v = 0; v < count; ++v) {
    const std::vector<std::size_t>& around = neighbours[v];
    for (std::size_t a = 0; a < around.size(); ++a) {
      const RowSet pair = intersect(active[v], active[around[a]]);
      for (std::size_t b = a + 1; b < around.size(); ++b) {
        const RowSet common = intersect(pair, active[around[b]]);
        if (seen.count(common) != 0) continue;
        const bool face = PopCount(common) + e >= n - 2 && Rank(rows, common) == n - 2;
        seen.emplace(common, face);
        if (!face) continue;
        std::vector<const Point*> members;
        for (std::size_t u = 0; u < count; ++u) {
          if (intersect(active[u], common) == common) members.push_back(&vertices[u]);
        }
        geometry.face_centroids.push_back(Mean(members));
      }
    }
  }
  return geometry;
}

std::vector<MixtureRegion::Point> MixtureRegion::Geometry::Points() const {
  std::vector<Point> points;
  points.reserve(vertices.size() + edge_centres.size() + face_centroids.size() + 1);
  points.insert(points.end(), vertices.begin(), vertices.end());
  points.insert(points.end(), edge_centres.begin(), edge_centres.end());
  points.insert(points.end(), face_centroids.begin(), face_centroids.end());
  if (!centroid.empty()) points.push_back(centroid);
  double scale = 0.0;
  for (const Point& p : vertices) {
    for (double v : p) scale = std::max(scale, std::fabs(v));
  }
  const double tolerance = kRelativeTolerance * (scale > 0.0 ? scale : 1.0);
  const std::vector<bool> first = FirstOccurrences(points, tolerance);
  std::vector<Point> unique;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (first[i]) unique.push_back(std::move(points[i]));
  }
  return unique;
}

}  // namespace zubra
