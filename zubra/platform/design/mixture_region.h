// MixtureRegion: the extreme vertices, edges and 2-faces of a constrained mixture region or of
// a box cut by linear constraints, computed exactly from the constraints that meet there.
#pragma once

#include <cstddef>
#include <vector>

namespace zubra {

// A bounded convex polytope in n variables x_0..x_{n-1}:
//   { x : low_i <= x_i <= high_i for every i,
//         a_j'x <= b_j or a_j'x >= b_j for every added constraint j,
//         and, for a mixture region only, x_0 + ... + x_{n-1} = total }.
// A mixture region is the region of q mixture components in amounts (not pseudo-components);
// a box region is the range of continuous process factors, uncoded.
//
// Compute() finds the extreme vertices by enumerating the sets of constraints that can be
// active together at a vertex and solving for the point they determine, so the vertices are
// exact up to rounding (a tolerance of 1e-9 relative to the scale of the variables decides
// feasibility, activity and duplicates). With bounds only, a mixture vertex has at most one
// component strictly between its bounds, which keeps the enumeration near q * 2^(q-1) solves.
// Two vertices are adjacent (span an edge) when the constraints active at both define a face of
// dimension 1; a 2-face is the set of vertices at which a set of constraints of rank n - 2 is
// active.
//
//   MixtureRegion region = MixtureRegion::Mixture({0.4, 0.1, 0.1, 0.03},
//                                                 {0.6, 0.5, 0.5, 0.08}, 1.0);
//   region.AddConstraint({0.0, 1.0, -1.0, 0.0}, MixtureRegion::Sense::kAtMost, 0.2);
//   const MixtureRegion::Geometry geometry = region.Compute();
//   for (const MixtureRegion::Point& p : geometry.Points()) Use(p);
class MixtureRegion {
 public:
  using Point = std::vector<double>;
  enum class Sense { kAtMost, kAtLeast };

  // The most variables a region may have.
  static constexpr int kMaxVariables = 20;
  // Above this many vertices the 2-faces are not searched.
  static constexpr std::size_t kMaxFaceVertices = 4000;
  // Above this many vertices the edges are not searched either.
  static constexpr std::size_t kMaxEdgeVertices = 20000;

  // The points of interest of a non-empty region, in the region's own units.
  struct Geometry {
    // The extreme vertices, in lexicographic order.
    std::vector<Point> vertices;
    // The midpoints of the edges, ordered by the vertex pairs (i, j), i < j.
    std::vector<Point> edge_centres;
    // The centroids (means of the vertices) of the 2-dimensional faces.
    std::vector<Point> face_centroids;
    // The mean of the vertices.
    Point centroid;
    // The affine dimension of the region (0 for a single point).
    int dimension = 0;
    // False when the region had too many vertices for its edges or 2-faces to be searched;
    // the lists concerned are then empty.
    bool complete = true;

    // The vertices, edge centres, face centroids and the centroid in this order, with points
    // that coincide (a region of dimension below 3 has its centroid on a face) kept once.
    [[nodiscard]] std::vector<Point> Points() const;
  };

  // A mixture region of low.size() components summing to `total`. Throws Exception when the
  // bound lists differ in length, are empty or longer than kMaxVariables, hold a value that is
  // not finite, or have a low bound above its high bound.
  static MixtureRegion Mixture(std::vector<double> low, std::vector<double> high, double total);
  // A box region; throws like Mixture.
  static MixtureRegion Box(std::vector<double> low, std::vector<double> high);

  // Adds the constraint sum_i coefficients[i] * x_i (<= or >=) limit. Throws Exception, and
  // leaves the region unchanged, when the coefficient count is not the variable count or a
  // number is not finite.
  void AddConstraint(std::vector<double> coefficients, Sense sense, double limit);

  [[nodiscard]] int GetVariableCount() const { return static_cast<int>(low_.size()); }
  [[nodiscard]] bool IsMixture() const { return mixture_; }

  // The extreme vertices in lexicographic order; empty when the region is empty. Throws
  // Exception when there are too many constraints for the enumeration to finish in time.
  [[nodiscard]] std::vector<Point> FindVertices() const;
  // The vertices, edges, 2-faces and centroid. Throws Exception when the region is empty or
  // too large to enumerate.
  [[nodiscard]] Geometry Compute() const;
  // True when `point` satisfies every bound and constraint within the tolerance.
  [[nodiscard]] bool Contains(const Point& point) const;

 private:
  // One inequality a'x <= b over all variables; bounds and >= constraints are stored this way.
  struct Row {
    std::vector<double> a;
    double b = 0.0;
    double tolerance = 0.0;
  };
  // Bit set over the rows: which rows are active at a point.
  using RowSet = std::vector<unsigned long long>;

  MixtureRegion(std::vector<double> low, std::vector<double> high, bool mixture, double total);

  [[nodiscard]] std::vector<Row> AllRows() const;
  [[nodiscard]] double Scale() const;
  [[nodiscard]] RowSet ActiveRows(const std::vector<Row>& rows, const Point& point) const;
  // The rank of the equality (when a mixture) together with the rows in `set`.
  [[nodiscard]] int Rank(const std::vector<Row>& rows, const RowSet& set) const;
  [[nodiscard]] int Dimension(const std::vector<Point>& vertices) const;

  std::vector<double> low_;
  std::vector<double> high_;
  bool mixture_ = false;
  double total_ = 0.0;
  std::vector<Row> constraints_;
};

}  // namespace zubra
