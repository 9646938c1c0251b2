// MixtureRegion: vertices, edges and 2-faces of constrained regions, checked against regions
// worked out by hand, a brute-force vertex search and Euler's formula.
#include "zubra/platform/design/mixture_region.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "design_test_support.h"

namespace zubra {
namespace {

using Point = MixtureRegion::Point;
using Sense = MixtureRegion::Sense;

constexpr double kClose = 1e-12;

bool Near(const Point& a, const Point& b, double tolerance) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::fabs(a[i] - b[i]) > tolerance) return false;
  }
  return true;
}

std::string Show(const Point& p) {
  std::string text = "(";
  for (double v : p) text += std::to_string(v) + " ";
  return text + ")";
}

// Fails unless `actual` and `expected` hold the same points, in any order, each once.
void ExpectSamePoints(const std::vector<Point>& actual, const std::vector<Point>& expected,
                      double tolerance = kClose) {
  EXPECT_EQ(actual.size(), expected.size());
  for (const Point& e : expected) {
    const auto hits = std::count_if(actual.begin(), actual.end(),
                                    [&](const Point& a) { return Near(a, e, tolerance); });
    EXPECT_EQ(hits, 1) << Show(e);
  }
}

// Every distinct ordering of `values`.
std::vector<Point> Permutations(Point values) {
  std::sort(values.begin(), values.end());
  std::vector<Point> all;
  do {
    all.push_back(values);
  } while (std::next_permutation(values.begin(), values.end()));
  return all;
}

MixtureRegion Flare() {
  return MixtureRegion::Mixture({0.40, 0.10, 0.10, 0.03}, {0.60, 0.50, 0.50, 0.08}, 1.0);
}

TEST(MixtureRegion, FlareRegionHasItsEightVerticesTwelveEdgesAndSixFaces) {
  const MixtureRegion::Geometry g = Flare().Compute();
  // x1 and x4 at a bound, one of x2 and x3 at 0.1, the other taking the rest: 0.47, 0.42,
  // 0.27 or 0.22; never 0.5, which would leave less than 0.1 for the other.
  const std::vector<Point> vertices = {{0.4, 0.1, 0.42, 0.08}, {0.4, 0.1, 0.47, 0.03},
                                       {0.4, 0.42, 0.1, 0.08}, {0.4, 0.47, 0.1, 0.03},
                                       {0.6, 0.1, 0.22, 0.08}, {0.6, 0.1, 0.27, 0.03},
                                       {0.6, 0.22, 0.1, 0.08}, {0.6, 0.27, 0.1, 0.03}};
  ASSERT_EQ(g.vertices.size(), vertices.size());
  for (std::size_t i = 0; i < vertices.size(); ++i) {
    EXPECT_TRUE(Near(g.vertices[i], vertices[i], kClose)) << i << Show(g.vertices[i]);
  }
  // The region is a combinatorial cube: an edge changes x1, x4, or which of x2, x3 is 0.1.
  ExpectSamePoints(g.edge_centres, {{0.5, 0.1, 0.37, 0.03},
                                    {0.5, 0.1, 0.32, 0.08},
                                    {0.5, 0.37, 0.1, 0.03},
                                    {0.5, 0.32, 0.1, 0.08},
                                    {0.4, 0.1, 0.445, 0.055},
                                    {0.6, 0.1, 0.245, 0.055},
                                    {0.4, 0.445, 0.1, 0.055},
                                    {0.6, 0.245, 0.1, 0.055},
                                    {0.4, 0.285, 0.285, 0.03},
                                    {0.4, 0.26, 0.26, 0.08},
                                    {0.6, 0.185, 0.185, 0.03},
                                    {0.6, 0.16, 0.16, 0.08}});
  ExpectSamePoints(g.face_centroids, {{0.4, 0.2725, 0.2725, 0.055},
                                      {0.6, 0.1725, 0.1725, 0.055},
                                      {0.5, 0.235, 0.235, 0.03},
                                      {0.5, 0.21, 0.21, 0.08},
                                      {0.5, 0.1, 0.345, 0.055},
                                      {0.5, 0.345, 0.1, 0.055}});
  EXPECT_TRUE(Near(g.centroid, {0.5, 0.2225, 0.2225, 0.055}, kClose)) << Show(g.centroid);
  EXPECT_EQ(g.dimension, 3);
  EXPECT_TRUE(g.complete);
  EXPECT_EQ(g.Points().size(), 27U);
}

TEST(MixtureRegion, FourComponentsFromPointOneToPointSixGiveThirtyNineDistinctPoints) {
  // In pseudo-components z = (x - 0.1) / 0.6 every z_i lies in [0, 5/6]: the simplex with its
  // four corners cut off, a truncated tetrahedron. Its 12 vertices have one component at 0.6,
  // one at 0.2 and two at 0.1. Its 18 edges: 12 on the four corner triangles (0.6 fixed, the
  // 0.2 moving between two components: centre 0.6, 0.15, 0.15, 0.1) and 6 between two
  // hexagons (two components at 0.1, the others swapping 0.6 and 0.2: centre 0.4, 0.4, 0.1,
  // 0.1). Its 8 faces: 4 triangles (one component at 0.6, centroid 0.6 and 0.4/3 thrice) and 4
  // hexagons (one component at 0.1, centroid 0.3, 0.3, 0.3, 0.1). With the centroid
  // 0.25 x 4: 12 + 18 + 8 + 1 = 39 points, all distinct since each lies inside its own face.
  const MixtureRegion region =
      MixtureRegion::Mixture({0.1, 0.1, 0.1, 0.1}, {0.6, 0.6, 0.6, 0.6}, 1.0);
  const MixtureRegion::Geometry g = region.Compute();
  ExpectSamePoints(g.vertices, Permutations({0.6, 0.2, 0.1, 0.1}));
  std::vector<Point> edges = Permutations({0.6, 0.15, 0.15, 0.1});
  for (const Point& p : Permutations({0.4, 0.4, 0.1, 0.1})) edges.push_back(p);
  ExpectSamePoints(g.edge_centres, edges);
  std::vector<Point> faces = Permutations({0.6, 0.4 / 3, 0.4 / 3, 0.4 / 3});
  for (const Point& p : Permutations({0.3, 0.3, 0.3, 0.1})) faces.push_back(p);
  ExpectSamePoints(g.face_centroids, faces);
  EXPECT_TRUE(Near(g.centroid, {0.25, 0.25, 0.25, 0.25}, kClose));
  EXPECT_EQ(g.Points().size(), 39U);
}

TEST(MixtureRegion, LowDimensionalRegionsKeepEachPointOnce) {
  struct Row {
    std::string name;
    MixtureRegion region;
    std::vector<Point> points;  // expected Points(), in order
    int dimension;
  };
  // x1 = x2 written as two opposite constraints: a segment, whose centre is the centroid.
  MixtureRegion segment = MixtureRegion::Mixture({0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}, 1.0);
  segment.AddConstraint({1.0, -1.0, 0.0}, Sense::kAtMost, 0.0);
  segment.AddConstraint({1.0, -1.0, 0.0}, Sense::kAtLeast, 0.0);
  // A box whose second variable has no width.
  MixtureRegion flat = MixtureRegion::Box({0.0, 5.0}, {2.0, 5.0});
  const std::vector<Row> rows = {
      {"single point: the lows add up to the total",
       MixtureRegion::Mixture({0.2, 0.3, 0.5}, {0.4, 0.6, 0.9}, 1.0),
       {{0.2, 0.3, 0.5}},
       0},
      {"single point: the highs add up to the total",
       MixtureRegion::Mixture({0.0, 0.0}, {0.25, 0.75}, 1.0),
       {{0.25, 0.75}},
       0},
      {"segment", segment, {{0.0, 0.0, 1.0}, {0.5, 0.5, 0.0}, {0.25, 0.25, 0.5}}, 1},
      {"flat box", flat, {{0.0, 5.0}, {2.0, 5.0}, {1.0, 5.0}}, 1},
      {"simplex: the triangle's centroid is the overall one",
       MixtureRegion::Mixture({0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}, 1.0),
       {{0.0, 0.0, 1.0},
        {0.0, 1.0, 0.0},
        {1.0, 0.0, 0.0},
        {0.0, 0.5, 0.5},
        {0.5, 0.0, 0.5},
        {0.5, 0.5, 0.0},
        {1.0 / 3, 1.0 / 3, 1.0 / 3}},
       2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const MixtureRegion::Geometry g = row.region.Compute();
    EXPECT_EQ(g.dimension, row.dimension);
    const std::vector<Point> points = g.Points();
    ASSERT_EQ(points.size(), row.points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
      EXPECT_TRUE(Near(points[i], row.points[i], kClose)) << i << Show(points[i]);
    }
  }
}

TEST(MixtureRegion, RefusesBadOrEmptyRegionsWithAMessage) {
  using test_support::ExpectMessage;
  const std::string empty = "The bounds and constraints of the region leave no feasible point.";
  ExpectMessage([] { (void)MixtureRegion::Mixture({0.5, 0.6}, {0.9, 0.9}, 1.0).Compute(); }, empty);
  ExpectMessage([] { (void)MixtureRegion::Mixture({0.0, 0.0}, {0.4, 0.5}, 1.0).Compute(); }, empty);
  ExpectMessage(
      [] {
        MixtureRegion r = MixtureRegion::Box({0.0, 0.0}, {1.0, 1.0});
        r.AddConstraint({1.0, 1.0}, Sense::kAtLeast, 2.5);
        (void)r.Compute();
      },
      empty);
  ExpectMessage(
      [] {
        MixtureRegion r = MixtureRegion::Box({0.0}, {1.0});
        r.AddConstraint({0.0}, Sense::kAtMost, -1.0);
        (void)r.Compute();
      },
      empty);
  ExpectMessage(
      [] {
        (void)MixtureRegion::Box({0.0, 2.0}, {1.0, 1.0});
      },
      "The low bound of variable 2 of the region is above its high bound.");
  ExpectMessage(
      [] {
        (void)MixtureRegion::Box({0.0, 0.0}, {1.0});
      },
      "A region needs a low and a high bound for every variable.");
  ExpectMessage([] { (void)MixtureRegion::Mixture({}, {}, 1.0); },
                "A region needs between 1 and 20 variables, not 0.");
  ExpectMessage([] { (void)MixtureRegion::Box(Point(21, 0.0), Point(21, 1.0)); },
                "A region needs between 1 and 20 variables, not 21.");
  ExpectMessage([] { (void)MixtureRegion::Mixture({0.0}, {1.0}, INFINITY); },
                "A bound or the total of a region is not a finite number.");
  ExpectMessage(
      [] {
        MixtureRegion::Box({0.0}, {1.0}).AddConstraint({1, 2}, Sense::kAtMost, 1);
      },
      "A constraint of the region needs 1 coefficients, not 2.");
  ExpectMessage(
      [] { MixtureRegion::Box({0.0}, {1.0}).AddConstraint({1.0}, Sense::kAtMost, std::nan("")); },
      "A constraint of the region has a coefficient or a limit that is not a finite number.");
}

TEST(MixtureRegion, EdgesAndFacesSatisfyEulersFormula) {
  struct Row {
    std::string name;
    int n;
    int constraints;
    unsigned seed;
  };
  // Regions of dimension 3 (mixtures of 4) satisfy V - E + F = 2; polygons (mixtures of 3)
  // have as many edges as vertices and one face.
  const std::vector<Row> rows = {
      {"4 components, bounds only", 4, 0, 11},
      {"4 components, 1 cut", 4, 1, 12},
      {"4 components, 3 cuts", 4, 3, 14},
      {"3 components, 3 cuts", 3, 3, 16},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::mt19937 random(row.seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<double> low;
    std::vector<double> high;
    for (int i = 0; i < row.n; ++i) {
      low.push_back(0.2 * unit(random) / row.n);
      high.push_back(low.back() + 0.3 + 0.5 * unit(random));
    }
    MixtureRegion region = MixtureRegion::Mixture(low, high, 1.0);
    for (int c = 0; c < row.constraints; ++c) {
      Point a;
      for (int i = 0; i < row.n; ++i) a.push_back(2.0 * unit(random) - 1.0);
      double middle = 0.0;
      for (double v : a) middle += v / row.n;  // through the centre of the simplex
      region.AddConstraint(a, Sense::kAtMost, middle + 0.05);
    }
    const MixtureRegion::Geometry g = region.Compute();
    ASSERT_EQ(g.dimension, row.n - 1);
    const auto v = static_cast<long>(g.vertices.size());
    const auto e = static_cast<long>(g.edge_centres.size());
    const auto f = static_cast<long>(g.face_centroids.size());
    if (row.n == 4) {
      EXPECT_EQ(v - e + f, 2) << v << " " << e << " " << f;
    } else {
      EXPECT_EQ(e, v);
      EXPECT_EQ(f, 1);
    }
    for (const Point& p : g.Points()) EXPECT_TRUE(region.Contains(p)) << Show(p);
    EXPECT_TRUE(std::is_sorted(g.vertices.begin(), g.vertices.end()));
  }
}

TEST(MixtureRegion, TenComponentsWithBoundsOnlyHaveOneComponentBetweenItsBounds) {
  // Free part 1 - 10 x 0.05 = 0.5 over widths 0.15: three components at 0.2, one at 0.1 and
  // six at 0.05, so C(10, 3) x 7 = 840 vertices.
  const MixtureRegion region =
      MixtureRegion::Mixture(std::vector<double>(10, 0.05), std::vector<double>(10, 0.2), 1.0);
  const MixtureRegion::Geometry g = region.Compute();
  ASSERT_EQ(g.vertices.size(), 840U);
  for (const Point& p : g.vertices) {
    EXPECT_EQ(
        std::count_if(p.begin(), p.end(), [](double x) { return std::fabs(x - 0.2) < 1e-12; }), 3);
    EXPECT_EQ(
        std::count_if(p.begin(), p.end(), [](double x) { return std::fabs(x - 0.1) < 1e-12; }), 1);
  }
  EXPECT_TRUE(Near(g.centroid, Point(10, 0.1), kClose));
  EXPECT_EQ(g.dimension, 9);
}

}  // namespace
}  // namespace zubra
