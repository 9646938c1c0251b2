// The D-optimal design and its candidate set: optima checked against exhaustive search on
// small grids, constraints, forced runs, repeatability and refusals.
#include <gtest/gtest.h>

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/internal/d_optimal_builder.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using internal::PointExchange;
using test_support::Builder;
using test_support::ExpectMessage;
using test_support::MakeConstraint;
using test_support::Quantitative;

double LogDet(const Eigen::MatrixXd& m) {
  const Eigen::LLT<Eigen::MatrixXd> llt(m);
  if (llt.info() != Eigen::Success) return -INFINITY;
  return 2.0 * llt.matrixLLT().diagonal().array().log().sum();
}

// The largest log det(X'X) over every multiset of `runs` rows of `f`, added to `start`.
double ExhaustiveBest(const Eigen::MatrixXd& f, int runs, const Eigen::MatrixXd& start) {
  double best = -INFINITY;
  std::function<void(int, int, const Eigen::MatrixXd&)> walk = [&](int from, int left,
                                                                   const Eigen::MatrixXd& m) {
    if (left == 0) {
      best = std::max(best, LogDet(m));
      return;
    }
    for (int j = from; j < f.rows(); ++j) {
      walk(j, left - 1, m + f.row(j).transpose() * f.row(j));
    }
  };
  walk(0, runs, start);
  return best;
}

// Two factors over 0..10, X1 and X2, or X1 and a qualitative factor of three settings.
Factors TwoFactors(bool qualitative) {
  if (!qualitative) return Quantitative(2);
  Factors factors = Quantitative(1);
  EXPECT_TRUE(factors.Add(Factors::Factor::Qualitative("Q", {"a", "b", "c"}), nullptr));
  return factors;
}

DesignOptions DOptimalOptionsFor(const Factors& factors, EModel::Type model, int runs,
                                 std::vector<DesignModel::Term> terms = {}) {
  DesignOptions options =
      test_support::OptionsFor(Builder(EDesign::kDOptimal), factors, EObjective::kRSM, model);
  auto specific = std::make_unique<DOptimalOptions>();
  specific->SetModel(DesignModel(std::move(terms)));
  options.SetDesignSpecificOptions(std::move(specific));
  EXPECT_TRUE(options.SetRuns(runs));
  return options;
}

TEST(DOptimalBuilder, ReachesTheExhaustiveOptimumOnSmallGrids) {
  struct Row {
    std::string name;
    bool qualitative;
    EModel::Type model;
    std::vector<DesignModel::Term> terms;
    int runs;
    double known_det;  // a published determinant, or 0
  };
  const std::vector<Row> rows = {
      {"interaction, 4 runs: the 2^2 factorial", false, EModel::kInteraction, {}, 4, 256.0},
      {"interaction, 6 runs", false, EModel::kInteraction, {}, 6, 0.0},
      {"quadratic, 6 runs", false, EModel::kQuadratic, {}, 6, 0.0},
      {"quadratic, 7 runs", false, EModel::kQuadratic, {}, 7, 0.0},
      {"quadratic, 8 runs", false, EModel::kQuadratic, {}, 8, 2304.0},
      {"quadratic, 9 runs", false, EModel::kQuadratic, {}, 9, 0.0},
      {"given model: quadratic in X1 only", false, EModel::kLinear, {{}, {0}, {1}, {0, 0}}, 5, 0},
      {"with a qualitative factor", true, EModel::kInteraction, {}, 7, 0.0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = TwoFactors(row.qualitative);
    const DesignOptions options = DOptimalOptionsFor(factors, row.model, row.runs, row.terms);
    const auto design = Builder(EDesign::kDOptimal).Generate(factors, options);
    ASSERT_EQ(design->GetRuns(), row.runs);
    const DesignModel model = row.terms.empty()
                                  ? DesignModel::Make(factors, row.model, EModel::kNone)
                                  : DesignModel(row.terms);
    const Eigen::MatrixXd x = model.Expand(factors, design->GetCoded());
    const double found = LogDet(x.transpose() * x);
    const Eigen::MatrixXd f =
        model.Expand(factors, CandidateSet::Make(factors, 3, nullptr).GetCoded());
    const double best = ExhaustiveBest(f, row.runs, Eigen::MatrixXd::Zero(f.cols(), f.cols()));
    EXPECT_NEAR(found, best, 1e-9);
    if (row.known_det > 0.0) {
      EXPECT_NEAR(std::exp(found), row.known_det, 1e-6);
    }
  }
}

TEST(DOptimalBuilder, KeepsEveryRunInsideTheConstraints) {
  struct Row {
    std::string name;
    std::vector<NCDOE::Constraint> constraints;
    int levels;
  };
  const auto sum_at_most_15 = MakeConstraint(false, 15.0, {{0, 1.0}, {1, 1.0}});
  const auto x1_at_least_2 = MakeConstraint(true, 2.0, {{0, 1.0}});
  const auto difference = MakeConstraint(false, 4.0, {{1, 1.0}, {0, -1.0}});  // X2 - X1 <= 4
  const std::vector<Row> rows = {
      {"corner cut", {sum_at_most_15}, 5},
      {"corner cut and a lower bound", {sum_at_most_15, x1_at_least_2}, 5},
      {"band", {difference, sum_at_most_15}, 7},
  };
  const Factors factors = Quantitative(2);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    DesignOptions options = DOptimalOptionsFor(factors, EModel::kQuadratic, 10);
    auto specific = std::make_unique<DOptimalOptions>();
    auto constraints = std::make_unique<NCDOE::Constraints>();
    for (const NCDOE::Constraint& c : row.constraints) constraints->Add(c);
    const NCDOE::Constraints copy = *constraints;
    specific->SetConstraints(std::move(constraints));
    ASSERT_TRUE(specific->SetCandidateLevels(row.levels));
    options.SetDesignSpecificOptions(std::move(specific));
    const auto design = Builder(EDesign::kDOptimal).Generate(factors, options);
    ASSERT_EQ(design->GetRuns(), 10);
    const NCDataMatrix<float>& uncoded = design->GetUncoded();
    EXPECT_TRUE(copy.ExcludedRows({uncoded.GetData(), 20}, 2).empty());
    // The design still supports every column of the model.
    const DesignModel model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
    const Eigen::MatrixXd x = model.Expand(factors, design->GetCoded());
    EXPECT_GT(LogDet(x.transpose() * x), 0.0);
  }
}

// A constant factor between two varied ones: the model and the constraints name factors by
// their index among all three, and the design must honour them on the full runs.
TEST(DOptimalBuilder, ModelAndConstraintsSpeakOfAllFactorsAroundAConstantOne) {
  Factors factors;
  Factors::Factor constant = Factors::Factor::Quantitative("S", 5, 5);
  constant.use = CEUse::kConstant;
  ASSERT_TRUE(factors.Add(Factors::Factor::Quantitative("A", 0, 10), nullptr));
  ASSERT_TRUE(factors.Add(constant, nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Quantitative("B", 0, 10), nullptr));
  DesignOptions options =
      DOptimalOptionsFor(factors, EModel::kQuadratic, 8, {{}, {0}, {2}, {0, 2}, {0, 0}, {2, 2}});
  NCDOE::Constraints original;  // A + S + B <= 20, so A + B <= 15
  original.Add(MakeConstraint(false, 20.0, {{0, 1.0}, {1, 1.0}, {2, 1.0}}));
  auto* specific = dynamic_cast<DOptimalOptions*>(options.GetDesignSpecificOptions());
  ASSERT_NE(specific, nullptr);
  specific->SetConstraints(std::make_unique<NCDOE::Constraints>(original));
  ASSERT_TRUE(specific->SetCandidateLevels(5));

  const auto design = Builder(EDesign::kDOptimal).Generate(factors, options);
  ASSERT_EQ(design->GetRuns(), 8);
  const NCDataMatrix<float>& uncoded = design->GetUncoded();
  EXPECT_TRUE(original.ExcludedRows({uncoded.GetData(), 24}, 3).empty());
  bool corner_reached = false;  // the cut corner's edge A + B = 15 is where a D-optimal design goes
  for (int r = 0; r < 8; ++r) {
    EXPECT_EQ(uncoded(r, 1), 5.0F);
    corner_reached |= uncoded(r, 0) + uncoded(r, 2) == 15.0F;
  }
  EXPECT_TRUE(corner_reached);
}

TEST(PointExchange, KeepsForcedRunsAndOptimisesAroundThem) {
  struct Row {
    std::string name;
    std::vector<std::vector<float>> forced;  // coded X1, X2
    int free_runs;
  };
  const std::vector<Row> rows = {
      {"no forced run", {}, 4},
      {"a forced centre point", {{0.0F, 0.0F}}, 4},
      {"a forced run off the grid", {{0.5F, -0.25F}}, 4},
      {"two forced corners", {{1.0F, 1.0F}, {1.0F, 1.0F}}, 3},
  };
  const Factors factors = Quantitative(2);
  const DesignModel model = DesignModel::Make(factors, EModel::kInteraction, EModel::kNone);
  const Eigen::MatrixXd f =
      model.Expand(factors, CandidateSet::Make(factors, 3, nullptr).GetCoded());
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NCDataMatrix<float> forced_points(static_cast<int>(row.forced.size()), 2);
    for (std::size_t r = 0; r < row.forced.size(); ++r) {
      forced_points(static_cast<int>(r), 0) = row.forced[r][0];
      forced_points(static_cast<int>(r), 1) = row.forced[r][1];
    }
    const Eigen::MatrixXd forced =
        row.forced.empty() ? Eigen::MatrixXd(0, f.cols()) : model.Expand(factors, forced_points);
    const PointExchange::Result result = PointExchange::Search(f, forced, row.free_runs, {});
    ASSERT_EQ(static_cast<int>(result.rows.size()), row.free_runs);
    Eigen::MatrixXd m = forced.transpose() * forced;
    for (int r : result.rows) m += f.row(r).transpose() * f.row(r);
    EXPECT_NEAR(result.log_det, LogDet(m), 1e-9);
    EXPECT_NEAR(result.log_det, ExhaustiveBest(f, row.free_runs, forced.transpose() * forced),
                1e-9);
  }
}

TEST(PointExchange, SameSeedGivesTheSameDesign) {
  const Factors factors = Quantitative(4);
  const DesignModel model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
  const Eigen::MatrixXd f =
      model.Expand(factors, CandidateSet::Make(factors, 3, nullptr).GetCoded());
  PointExchange::Options options;
  options.seed = 77;
  options.starts = 3;
  const Eigen::MatrixXd none(0, f.cols());
  const PointExchange::Result first = PointExchange::Search(f, none, 17, options);
  EXPECT_EQ(PointExchange::Search(f, none, 17, options).rows, first.rows);
  // More starts from the same seed repeat the first ones, so they never do worse.
  options.starts = 6;
  EXPECT_GE(PointExchange::Search(f, none, 17, options).log_det, first.log_det);
}

TEST(PointExchange, RefusesWhatCannotBeSearched) {
  struct Row {
    std::string name;
    Eigen::MatrixXd candidates;
    int free_runs;
    std::string message;
  };
  Eigen::MatrixXd collinear(3, 2);
  collinear << 1, 2, 2, 4, -1, -2;
  const std::vector<Row> rows = {
      {"no candidates", Eigen::MatrixXd(0, 3), 4, "There are no candidate runs to choose from."},
      {"negative runs", Eigen::MatrixXd::Identity(3, 3), -1,
       "The forced runs do not fit the design of -1 runs."},
      {"candidates of too low a rank", collinear, 5,
       "No design of 5 runs from these candidates supports the model's 2 columns."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectMessage(
        [&] {
          (void)PointExchange::Search(row.candidates, Eigen::MatrixXd(0, row.candidates.cols()),
                                      row.free_runs, {});
        },
        row.message);
  }
}

TEST(DOptimalBuilder, OffersRunsFromTheModelSizeAndRefusesWhatItCannotDesign) {
  struct Row {
    std::string name;
    Factors factors;
    EModel::Type model;
    int first_runs;  // 0: refused
    std::string message;
    std::vector<DesignModel::Term> terms = {};
  };
  const std::string prefix = "The design 'D-Optimal' ";
  const std::vector<Row> rows = {
      {"linear in 3", Quantitative(3), EModel::kLinear, 4, ""},
      {"quadratic in 2", Quantitative(2), EModel::kQuadratic, 6, ""},
      {"interaction with a qualitative", TwoFactors(true), EModel::kInteraction, 6, ""},
      {"given model", Quantitative(3), EModel::kLinear, 3, "", {{}, {2}, {0, 1}}},
      {"mixture", test_support::Mixture(3), EModel::kLinear, 3, ""},
      {"cubic process model", Quantitative(2), EModel::kSpecialCubic, 0,
       prefix + "does not support the model 'SpecialCubic'."},
      {"model on a missing factor",
       Quantitative(2),
       EModel::kLinear,
       0,
       "The model of the design 'D-Optimal' names a factor that is not designed.",
       {{}, {0}, {3}}},
      // Beyond the candidate sets the point exchange holds, coordinate exchange takes over.
      {"grid too large for candidates", Quantitative(14), EModel::kLinear, 15, ""},
      {"model too large", Quantitative(24), EModel::kQuadratic, 0,
       prefix + "cannot support a model of 325 columns."},
  };
  const DesignBuilder& builder = Builder(EDesign::kDOptimal);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    DesignOptions options;
    options.SetObjective(EObjective::kRSM);
    options.SetProcessModel(row.model);
    options.SetCenterPoints(0);
    auto specific = std::make_unique<DOptimalOptions>();
    specific->SetModel(DesignModel(row.terms));
    options.SetDesignSpecificOptions(std::move(specific));
    std::string message;
    const bool valid = builder.IsValid(row.factors, options, &message);
    EXPECT_EQ(message, row.message);
    EXPECT_EQ(valid, row.first_runs > 0);
    if (row.first_runs > 0) {
      const std::vector<int> runs = builder.GetCandidateRuns(row.factors, options);
      ASSERT_FALSE(runs.empty());
      EXPECT_EQ(runs.front(), row.first_runs);
      EXPECT_EQ(runs.back(), 2 * row.first_runs + 10);
    }
    // The I- and A-optimal designs fall back on coordinate exchange too.
    if (row.name == "grid too large for candidates") {
      for (const EDesign::Type type : {EDesign::kIOptimal, EDesign::kAOptimal}) {
        EXPECT_TRUE(Builder(type).IsValid(row.factors, options, &message)) << message;
      }
    }
  }
}

TEST(DOptimalBuilder, CancelledSearchOrGenerationThrows) {
  const Factors factors = Quantitative(2);
  const DesignOptions options = DOptimalOptionsFor(factors, EModel::kQuadratic, 8);
  const bool cancel = true;
  EXPECT_THROW((void)Builder(EDesign::kDOptimal).Generate(factors, options, &cancel),
               CancelException);
  EXPECT_THROW((void)PointExchange::Search(Eigen::MatrixXd::Identity(4, 4), Eigen::MatrixXd(0, 4),
                                           4, {}, &cancel),
               CancelException);
}

TEST(CandidateSet, BuildsTheGridAndLeavesOutExcludedPoints) {
  struct Row {
    std::string name;
    Factors factors;
    int levels;
    double sum_limit;  // points with X1 + X2 above it are excluded; 0: no constraint
    int count;
    std::size_t excluded;
    std::vector<float> first_column;  // the distinct coded values of factor 0, ascending
  };
  Factors multilevel;
  ASSERT_TRUE(multilevel.Add(Factors::Factor::Multilevel("M", {4.0, 1.0, 2.0}), nullptr));
  ASSERT_TRUE(multilevel.Add(Factors::Factor::Quantitative("X", 0.0, 10.0), nullptr));
  Factors with_constant = Quantitative(2);
  Factors::Factor constant = Factors::Factor::Quantitative("C", 5.0, 5.0);
  constant.use = CEUse::kConstant;
  ASSERT_TRUE(with_constant.Add(constant, nullptr));
  const std::vector<float> three = {-1.0F, 0.0F, 1.0F}, five = {-1.0F, -0.5F, 0.0F, 0.5F, 1.0F};
  const std::vector<Row> rows = {
      {"three levels", Quantitative(2), 3, 0.0, 9, 0, three},
      {"even levels are made odd", Quantitative(2), 4, 0.0, 25, 0, five},
      {"settings", TwoFactors(true), 3, 0.0, 9, 0, three},
      {"multilevel", multilevel, 3, 0.0, 9, 0, {-1.0F, -1.0F / 3.0F, 1.0F}},
      {"a constant factor", with_constant, 3, 0.0, 9, 0, three},
      {"one corner cut", Quantitative(2), 3, 15.0, 8, 1, three},
      {"points on the limit stay", Quantitative(2), 5, 15.0, 22, 3, five},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NCDOE::Constraints constraints;
    if (row.sum_limit > 0.0)
      constraints.Add(MakeConstraint(false, row.sum_limit, {{0, 1}, {1, 1}}));
    const CandidateSet set = CandidateSet::Make(row.factors, row.levels, &constraints);
    EXPECT_EQ(set.GetCount(), row.count);
    EXPECT_EQ(set.GetExcludedCount(), row.excluded);
    EXPECT_EQ(CandidateSet::GridSize(row.factors, row.levels),
              static_cast<std::size_t>(row.count) + row.excluded);
    std::vector<float> values;
    std::vector<std::vector<float>> seen;
    for (int r = 0; r < set.GetCount(); ++r) {
      const float v = set.GetCoded()(r, 0);
      if (std::find(values.begin(), values.end(), v) == values.end()) values.push_back(v);
      std::vector<float> point(set.GetCoded().GetRowData(r),
                               set.GetCoded().GetRowData(r) + set.GetCoded().GetCols());
      EXPECT_EQ(std::count(seen.begin(), seen.end(), point), 0) << "repeated point";
      seen.push_back(point);
      const NCDataMatrix<float>& uncoded = set.GetUncoded();
      EXPECT_FALSE(constraints.Excludes({uncoded.GetRowData(r), 2U}));
      // The uncoded value is the coded one mapped onto the factor's range.
      const Factors::Factor& factor = row.factors.GetFactor(0);
      EXPECT_NEAR(uncoded(r, 0),
                  (factor.low + factor.high) / 2 + v * (factor.high - factor.low) / 2, 1e-5);
    }
    std::sort(values.begin(), values.end());
    ASSERT_EQ(values.size(), row.first_column.size());
    for (std::size_t i = 0; i < values.size(); ++i)
      EXPECT_NEAR(values[i], row.first_column[i], 1e-6);
  }
}

}  // namespace
}  // namespace zubra
