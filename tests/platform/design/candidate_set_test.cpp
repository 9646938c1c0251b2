// CandidateSet over mixture factors, process and mixture factors together, and process regions
// cut by constraints: counts worked out by hand, coding, and random constraint sets.
#include "zubra/platform/design/candidate_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/mixture_region.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using Factor = Factors::Factor;
using test_support::Make;
using test_support::MakeConstraint;
using test_support::Mixture;
using test_support::Quantitative;

std::vector<float> RowOf(const NCDataMatrix<float>& m, int r) {
  return {m.GetRowData(r), m.GetRowData(r) + m.GetCols()};
}

// The number of rows of `m` within `tolerance` of `point` in every column.
int CountRows(const NCDataMatrix<float>& m, const std::vector<double>& point, double tolerance) {
  int hits = 0;
  for (int r = 0; r < m.GetRows(); ++r) {
    bool same = true;
    for (int c = 0; c < m.GetCols(); ++c) {
      same = same && std::fabs(m(r, c) - point[static_cast<std::size_t>(c)]) <= tolerance;
    }
    hits += same ? 1 : 0;
  }
  return hits;
}

Factors Flare(bool binder_as_filler) {
  return Make({Factor::Formulation("Mg", 0.40, 0.60), Factor::Formulation("NaNO3", 0.10, 0.50),
               Factor::Formulation("SrNO3", 0.10, 0.50),
               binder_as_filler ? Factor::Filler("Binder", 0.03, 0.08)
                                : Factor::Formulation("Binder", 0.03, 0.08)});
}

TEST(CandidateSet, MixtureFactorsGiveTheRegionsPointsAsPseudoComponents) {
  struct Row {
    std::string name;
    Factors factors;
    int count;
    std::vector<std::vector<double>> must_hold;  // uncoded rows that must be there
    std::vector<NCDOE::Constraint> constraints = {};
  };
  Factor constant = Factor::Formulation("M4", 0.1, 0.3);
  constant.use = CEUse::kConstant;
  const Factors constant_mixture =
      Make({Factor::Formulation("M1", 0.0, 1.0), Factor::Formulation("M2", 0.0, 1.0),
            Factor::Formulation("M3", 0.0, 1.0), constant});
  const std::vector<Row> rows = {
      // 8 vertices, 12 edge centres, 6 face centroids and the centroid.
      {"flare", Flare(false), 27, {{0.4, 0.1, 0.47, 0.03}, {0.6, 0.22, 0.1, 0.08}}},
      {"flare with a filler",
       Flare(true),
       27,
       {{0.6, 0.1, 0.22, 0.08}, {0.5, 0.2225, 0.2225, 0.055}}},
      // 3 vertices, 3 edge centres, the centroid.
      {"simplex", Mixture(3), 7, {{1, 0, 0}, {0, 0.5, 0.5}}},
      // The constant factor holds 0.2, the others share 0.8.
      {"constant mixture factor", constant_mixture, 7, {{0.8, 0, 0, 0.2}, {0.4, 0.4, 0, 0.2}}},
      // M1 <= 0.5 cuts the simplex to a trapezoid: 4 vertices, 4 edge centres, 1 centroid.
      {"cut simplex",
       Mixture(3),
       9,
       {{0.5, 0.5, 0.0}, {0.5, 0.0, 0.5}, {0.5, 0.25, 0.25}, {0.25, 0.375, 0.375}},
       {MakeConstraint(false, 0.5, {{0, 1.0}})}},
      // 2 M1 >= M2 + M3, i.e. M1 >= 1/3; the corner it cuts in is reached.
      {"cut from below",
       Mixture(3),
       7,
       {{1.0 / 3, 2.0 / 3, 0.0}, {1.0 / 3, 0.0, 2.0 / 3}, {1.0 / 3, 1.0 / 3, 1.0 / 3}},
       {MakeConstraint(true, 0.0, {{0, 2.0}, {1, -1.0}, {2, -1.0}})}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NCDOE::Constraints constraints;
    for (const NCDOE::Constraint& c : row.constraints) constraints.Add(c);
    const CandidateSet set = CandidateSet::Make(row.factors, 3, &constraints);
    ASSERT_EQ(set.GetCount(), row.count);
    EXPECT_EQ(set.GetExcludedCount(), 0U);
    for (const std::vector<double>& point : row.must_hold) {
      EXPECT_EQ(CountRows(set.GetUncoded(), point, 1e-6), 1) << point[0] << " " << point[1];
    }
    // Pseudo-components of the varied factors: (x - L) / (T - sum L), summing to 1.
    double free = row.factors.GetMixtureTotal();
    for (const Factor& f : row.factors.GetAll())
      free -= f.IsVaried() ? f.low : (f.low + f.high) / 2;
    for (int r = 0; r < set.GetCount(); ++r) {
      double coded_sum = 0.0;
      double amount_sum = 0.0;
      for (int c = 0; c < row.factors.GetCount(); ++c) {
        const Factor& f = row.factors.GetFactor(c);
        amount_sum += set.GetUncoded()(r, c);
        if (!f.IsVaried()) {
          EXPECT_EQ(set.GetCoded()(r, c), 0.0F);
          continue;
        }
        coded_sum += set.GetCoded()(r, c);
        EXPECT_NEAR(set.GetCoded()(r, c), (set.GetUncoded()(r, c) - f.low) / free, 1e-6);
      }
      EXPECT_NEAR(coded_sum, 1.0, 1e-6);
      EXPECT_NEAR(amount_sum, 1.0, 1e-6);
    }
  }
}

TEST(CandidateSet, ProcessPointsArePairedWithEveryMixtureCandidate) {
  struct Row {
    std::string name;
    double limit;  // X1 + 10 M1 above it is excluded; 0: no constraint
    int count;
    std::size_t excluded;
  };
  // 3 levels of X1 times the 7 points of the simplex; with the limit 15 only X1 = 10 with
  // M1 = 1 goes (M1 = 0.5 lies on the limit and stays).
  const std::vector<Row> rows = {{"no constraint", 0.0, 21, 0}, {"mixed constraint", 15.0, 20, 1}};
  const Factors factors =
      Make({Factor::Quantitative("X1", 0.0, 10.0), Factor::Formulation("M1", 0.0, 1.0),
            Factor::Formulation("M2", 0.0, 1.0), Factor::Formulation("M3", 0.0, 1.0)});
  EXPECT_EQ(CandidateSet::GridSize(factors, 3), 21U);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NCDOE::Constraints constraints;
    if (row.limit > 0.0) constraints.Add(MakeConstraint(false, row.limit, {{0, 1.0}, {1, 10.0}}));
    const CandidateSet set = CandidateSet::Make(factors, 3, &constraints);
    EXPECT_EQ(set.GetCount(), row.count);
    EXPECT_EQ(set.GetExcludedCount(), row.excluded);
    // The mixture candidates change fastest.
    for (int r = 0; r < 7; ++r) EXPECT_EQ(set.GetCoded()(r, 0), -1.0F);
    EXPECT_EQ(CountRows(set.GetUncoded(), {10.0, 0.5, 0.5, 0.0}, 1e-6), 1);
    EXPECT_EQ(CountRows(set.GetUncoded(), {10.0, 1.0, 0.0, 0.0}, 1e-6), row.limit > 0.0 ? 0 : 1);
  }
}

TEST(CandidateSet, ProcessConstraintsAddTheCornersTheyCut) {
  struct Row {
    std::string name;
    Factors factors;
    NCDOE::Constraint constraint;
    int count;
    std::size_t excluded;
    std::vector<std::vector<double>> corners;  // uncoded rows that must be there
  };
  const Factors with_setting =
      Make({Factor::Quantitative("X1", 0.0, 10.0), Factor::Quantitative("X2", 0.0, 10.0),
            Factor::Qualitative("Q", {"a", "b", "c"})});
  const Factors two = Quantitative(2);
  const std::vector<std::pair<int, double>> sum = {{0, 1.0}, {1, 1.0}};
  const std::vector<Row> rows = {
      // Of the 9 grid points 6 stay; the cut adds (10, 2) and (2, 10).
      {"one cut", two, MakeConstraint(false, 12.0, sum), 8, 3, {{10.0, 2.0}, {2.0, 10.0}}},
      // X1 + X2 >= 3 adds (3, 0) and (0, 3); 8 grid points stay.
      {"cut from below", two, MakeConstraint(true, 3.0, sum), 10, 1, {{3.0, 0.0}, {0.0, 3.0}}},
      // The limit for X1 + X2 is 11, 10 and 9 by setting: 6 + 2, 6 + 0 and 3 + 2 points.
      {"setting in the constraint",
       with_setting,
       MakeConstraint(false, 12.0, {{0, 1.0}, {1, 1.0}, {2, 1.0}}),
       19,
       12,
       {{10.0, 1.0, 1.0}, {1.0, 10.0, 1.0}, {9.0, 0.0, 3.0}, {0.0, 9.0, 3.0}}},
      // A cut that meets the grid only at grid points adds nothing.
      {"cut through grid points", two, MakeConstraint(false, 15.0, sum), 8, 1, {{10.0, 5.0}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NCDOE::Constraints constraints;
    constraints.Add(row.constraint);
    const CandidateSet set = CandidateSet::Make(row.factors, 3, &constraints);
    EXPECT_EQ(set.GetCount(), row.count);
    EXPECT_EQ(set.GetExcludedCount(), row.excluded);
    for (const std::vector<double>& corner : row.corners) {
      EXPECT_EQ(CountRows(set.GetUncoded(), corner, 1e-4), 1) << corner[0] << " " << corner[1];
    }
    for (int r = 0; r < set.GetCount(); ++r) {
      for (int c = 0; c < 2; ++c) {
        // Coded and uncoded agree for the added corners as for the grid.
        EXPECT_NEAR(set.GetUncoded()(r, c), 5.0 + 5.0 * set.GetCoded()(r, c), 1e-5);
      }
    }
  }
}

TEST(CandidateSet, RandomConstraintsNeverLetAnExcludedPointIn) {
  struct Row {
    std::string name;
    Factors factors;
    int constraints;
    unsigned seed;
  };
  const std::vector<Row> rows = {
      {"process, 2 cuts", Quantitative(2), 2, 21},
      {"process, 3 cuts", Quantitative(3), 3, 22},
      {"process and setting",
       Make({Factor::Quantitative("X1", -5.0, 5.0), Factor::Qualitative("Q", {"a", "b"}),
             Factor::Quantitative("X2", 100.0, 300.0)}),
       2, 23},
      {"mixture of 3, 2 cuts", Mixture(3), 2, 24},
      {"mixture of 4, 3 cuts", Flare(true), 3, 25},
      {"mixture of 5, 2 cuts", Mixture(5, 10.0), 2, 26},
      {"process and mixture",
       Make({Factor::Quantitative("X1", 0.0, 1.0), Factor::Formulation("M1", 0.0, 1.0),
             Factor::Formulation("M2", 0.2, 1.0), Factor::Filler("M3", 0.0, 0.7)}),
       3, 27},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::mt19937 random(row.seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const int n = row.factors.GetCount();
    // Cuts through one random point of the region, so that this point stays.
    std::vector<double> centre;
    std::vector<double> mixture_low;
    std::vector<double> mixture_high;
    for (const Factor& f : row.factors.GetAll()) {
      centre.push_back(f.IsQualitative() ? 1.0
                                         : f.low + (0.3 + 0.4 * unit(random)) * (f.high - f.low));
      if (f.IsMixture()) {
        mixture_low.push_back(f.low);
        mixture_high.push_back(f.high);
      }
    }
    if (row.factors.IsMixture()) {
      const MixtureRegion::Point middle =
          MixtureRegion::Mixture(mixture_low, mixture_high, row.factors.GetMixtureTotal())
              .Compute()
              .centroid;
      for (int i = 0, m = 0; i < n; ++i) {
        if (row.factors.GetFactor(i).IsMixture()) {
          centre[static_cast<std::size_t>(i)] = middle[static_cast<std::size_t>(m++)];
        }
      }
    }
    NCDOE::Constraints constraints;
    for (int c = 0; c < row.constraints; ++c) {
      std::vector<double> a(static_cast<std::size_t>(n), 0.0);
      double limit = 0.0;
      for (int i = 0; i < n; ++i) {
        const Factor& f = row.factors.GetFactor(i);
        a[static_cast<std::size_t>(i)] = std::round(8.0 * unit(random) - 4.0) / (f.high - f.low);
        limit += a[static_cast<std::size_t>(i)] * centre[static_cast<std::size_t>(i)];
      }
      const bool less_than = unit(random) < 0.5;
      limit += less_than ? -0.01 : 0.01;  // the centre stays
      NCDOE::Constraint constraint(less_than, limit);
      for (int i = 0; i < n; ++i) constraint.AddPair(i, a[static_cast<std::size_t>(i)]);
      constraints.Add(constraint);
    }
    const CandidateSet set = CandidateSet::Make(row.factors, 3, &constraints);
    ASSERT_GT(set.GetCount(), 0);
    std::vector<std::vector<float>> seen;
    for (int r = 0; r < set.GetCount(); ++r) {
      EXPECT_FALSE(
          constraints.Excludes({set.GetUncoded().GetRowData(r), static_cast<std::size_t>(n)}))
          << "row " << r;
      const std::vector<float> coded = RowOf(set.GetCoded(), r);
      EXPECT_EQ(std::count(seen.begin(), seen.end(), coded), 0) << "repeated row " << r;
      seen.push_back(coded);
    }
  }
}

TEST(CandidateSet, RefusesBadRequestsWithAMessage) {
  struct Row {
    std::string name;
    Factors factors;
    int levels;
    std::size_t max_points;
    std::string message;
    std::vector<NCDOE::Constraint> constraints = {};
  };
  const std::string empty = "The bounds and constraints of the region leave no feasible point.";
  const std::vector<Row> rows = {
      {"one level", Quantitative(2), 1, 100,
       "A candidate set needs at least 2 levels per factor, not 1."},
      {"too large", Quantitative(3), 3, 26, "The candidate set would hold more than 26 points."},
      {"everything excluded",
       Quantitative(2),
       3,
       100,
       "The constraints exclude every candidate run.",
       {MakeConstraint(false, -1.0, {{0, 1.0}})}},
      {"no factors", Factors(), 3, 100, "A candidate set needs at least one factor."},
      {"lows above the total",
       Make({Factor::Formulation("A", 0.6, 0.9), Factor::Formulation("B", 0.5, 0.9)}), 3, 100,
       empty},
      {"mixture constraint leaves nothing",
       Mixture(3),
       3,
       100,
       empty,
       {MakeConstraint(true, 1.5, {{0, 1.0}, {1, 1.0}})}},
      {"mixed constraint leaves nothing",
       Make({Factor::Quantitative("X", 0.0, 1.0), Factor::Formulation("A", 0.0, 1.0),
             Factor::Formulation("B", 0.0, 1.0)}),
       3,
       100,
       "The constraints exclude every candidate run.",
       {MakeConstraint(true, 2.5, {{0, 1.0}, {1, 1.0}})}},
      {"product too large",
       Make({Factor::Quantitative("X", 0.0, 1.0), Factor::Formulation("A", 0.0, 1.0),
             Factor::Formulation("B", 0.0, 1.0), Factor::Formulation("C", 0.0, 1.0)}),
       3, 20, "The candidate set would hold more than 20 points."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NCDOE::Constraints constraints;
    for (const NCDOE::Constraint& c : row.constraints) constraints.Add(c);
    test_support::ExpectMessage(
        [&] { (void)CandidateSet::Make(row.factors, row.levels, &constraints, row.max_points); },
        row.message);
  }
}

}  // namespace
}  // namespace zubra
