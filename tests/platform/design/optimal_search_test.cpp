// The optimal-design searches (point and coordinate exchange) and the optimal builders:
// repeatability across threads, cancellation mid-search, the I criterion, inclusions, blocks,
// mixtures with constraints and the region moments; the optimal weighting of candidates.
#include <gtest/gtest.h>

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/internal/approximate_design.h"
#include "zubra/platform/design/internal/coordinate_exchange.h"
#include "zubra/platform/design/internal/point_exchange.h"
#include "zubra/platform/design/process_mixture_options.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using internal::ApproximateDOptimum;
using internal::CoordinateExchange;
using internal::PointExchange;
using test_support::Builder;
using test_support::Quantitative;

// The model rows of the 3^k grid for the quadratic model.
Eigen::MatrixXd QuadraticGrid(int k) {
  const Factors factors = Quantitative(k);
  const CandidateSet set = CandidateSet::Make(factors, 3, nullptr);
  return DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone)
      .Expand(factors, set.GetCoded());
}

double DValue(const Eigen::MatrixXd& x) {
  const Eigen::LLT<Eigen::MatrixXd> llt(x.transpose() * x);
  const double log_det = 2.0 * llt.matrixLLT().diagonal().array().log().sum();
  return std::exp(log_det / static_cast<double>(x.cols())) / static_cast<double>(x.rows());
}

Eigen::MatrixXd Rows(const Eigen::MatrixXd& f, const std::vector<int>& rows) {
  Eigen::MatrixXd x(static_cast<Eigen::Index>(rows.size()), f.cols());
  for (std::size_t r = 0; r < rows.size(); ++r)
    x.row(static_cast<Eigen::Index>(r)) = f.row(rows[r]);
  return x;
}

TEST(PointExchange, GivesTheSameDesignOnAnyNumberOfThreadsAndReachesKnownOptima) {
  struct Row {
    std::string name;
    int k;
    int runs;
    double best_known;  // the best D published for the problem
  };
  const std::vector<Row> rows = {
      {"3 factors, 15 runs", 3, 15, 0.45949},
      {"2 factors, 8 runs", 2, 8, 0.45428},
      {"6 factors, 40 runs", 6, 40, 0.49876},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Eigen::MatrixXd f = QuadraticGrid(row.k);
    PointExchange::Options options = PointExchange::Effort(f.rows(), f.cols(), row.runs);
    options.seed = 7;
    const PointExchange::Result one =
        PointExchange::Search(f, Eigen::MatrixXd(0, f.cols()), row.runs, options);
    options.threads = 3;
    const PointExchange::Result three =
        PointExchange::Search(f, Eigen::MatrixXd(0, f.cols()), row.runs, options);
    EXPECT_EQ(one.rows, three.rows);
    EXPECT_GE(DValue(Rows(f, one.rows)), row.best_known - 5e-6);
  }
}

TEST(PointExchange, StopsWhenCancelledWhileItRunsAndReportsProgress) {
  const Eigen::MatrixXd f = QuadraticGrid(4);
  for (int threads : {1, 2}) {
    SCOPED_TRACE(threads);
    bool cancel = false;
    int calls = 0;
    PointExchange::Options options;
    options.starts = 6;
    options.perturbations = 8;
    options.threads = threads;
    // The race runs 6 starts, then the better 3, 2 and 1: 12 stages in all.
    options.progress = [&](int finished, int stages) {
      EXPECT_EQ(stages, 12);
      EXPECT_LE(finished, 12);
      if (++calls == 2) cancel = true;
    };
    EXPECT_THROW((void)PointExchange::Search(f, Eigen::MatrixXd(0, f.cols()), 20, options, &cancel),
                 CancelException);
    EXPECT_LT(calls, 12);
  }
}

TEST(PointExchange, TheICriterionLowersTheAverageVarianceAndRangesHoldPositions) {
  const Factors factors = Quantitative(4);
  const DesignModel model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
  const Eigen::MatrixXd f =
      model.Expand(factors, CandidateSet::Make(factors, 3, nullptr).GetCoded());
  PointExchange::Options options;
  options.starts = 2;
  options.perturbations = 4;
  options.moments = model.Moments(factors);
  const Eigen::MatrixXd none(0, f.cols());
  const PointExchange::Result d = PointExchange::Search(f, none, 20, options);
  options.criterion = PointExchange::Criterion::kI;
  const PointExchange::Result i = PointExchange::Search(f, none, 20, options);
  EXPECT_LT(i.average_variance, d.average_variance - 1e-3);
  EXPECT_GT(d.log_det, i.log_det);
  // The I value reported is trace((X'X)^-1 W) of the design returned.
  const Eigen::MatrixXd x = Rows(f, i.rows);
  EXPECT_NEAR(i.average_variance, (x.transpose() * x).llt().solve(options.moments).trace(), 1e-9);
  // Both designs are local optima: no single swap of a run for a candidate improves them.
  for (const PointExchange::Result* result : {&d, &i}) {
    for (std::size_t r = 0; r < result->rows.size(); ++r) {
      std::vector<int> swapped = result->rows;
      for (int j = 0; j < f.rows(); ++j) {
        swapped[r] = j;
        const Eigen::MatrixXd y = Rows(f, swapped);
        const Eigen::LLT<Eigen::MatrixXd> llt(y.transpose() * y);
        if (llt.info() != Eigen::Success) continue;
        if (result == &d) {
          EXPECT_LE(2.0 * llt.matrixLLT().diagonal().array().log().sum(), d.log_det + 1e-9);
        } else {
          EXPECT_GE(llt.solve(options.moments).trace(), i.average_variance - 1e-9);
        }
      }
    }
  }

  // Positions restricted to rows 0..53 (the points with x4 = -1 or 0) and 27..80 (0 or +1).
  options.criterion = PointExchange::Criterion::kD;
  options.position_ranges.assign(10, {0, 54});
  options.position_ranges.resize(20, {27, 81});
  const PointExchange::Result ranged = PointExchange::Search(f, none, 20, options);
  for (std::size_t r = 0; r < 20; ++r) {
    EXPECT_GE(ranged.rows[r], options.position_ranges[r].first);
    EXPECT_LT(ranged.rows[r], options.position_ranges[r].second);
  }
  options.position_ranges.pop_back();
  EXPECT_THROW((void)PointExchange::Search(f, none, 20, options), Exception);
}

TEST(CoordinateExchange, ReachesTheOptimumKeepsOutExcludedRunsAndStopsWhenCancelled) {
  const Factors factors = Quantitative(3);
  const DesignModel model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
  const std::vector<std::vector<float>> levels(3, {-1.0F, 0.0F, 1.0F});
  const internal::ModelRows expand(model, factors);
  const auto to_rows = [&](const NCDataMatrix<float>& coded) {
    return model.Expand(factors, coded);
  };
  CoordinateExchange::Options options;
  options.starts = 8;
  const Eigen::MatrixXd none(0, 10);
  const CoordinateExchange::Result free = CoordinateExchange::Search(
      levels, expand, [](auto) { return false; }, none, 15, options);
  EXPECT_NEAR(DValue(to_rows(free.coded)), 0.45949, 1e-4);

  // x1 + x2 > 1 is excluded: the corner (1, 1) never appears.
  const auto corner = [](std::span<const float> p) { return p[0] + p[1] > 1.0F; };
  const CoordinateExchange::Result cut =
      CoordinateExchange::Search(levels, expand, corner, none, 15, options);
  for (int r = 0; r < cut.coded.GetRows(); ++r) {
    EXPECT_LE(cut.coded(r, 0) + cut.coded(r, 1), 1.0F);
  }
  EXPECT_LT(cut.log_det, free.log_det);
  // Forced rows count in the determinant.
  const Eigen::MatrixXd forced = to_rows(cut.coded);
  const CoordinateExchange::Result more =
      CoordinateExchange::Search(levels, expand, corner, forced, 5, options);
  EXPECT_GT(more.log_det, cut.log_det);

  const bool cancel = true;
  EXPECT_THROW((void)CoordinateExchange::Search(levels, expand, corner, none, 15, options, &cancel),
               CancelException);
  EXPECT_THROW((void)CoordinateExchange::Search(
                   levels, expand, [](auto) { return true; }, none, 15, options),
               Exception);
}

DesignOptions OptimalOptions(const Factors& factors, EModel::Type model, int runs, unsigned blocks,
                             NCDataMatrix<float> inclusions = {}) {
  DesignOptions options;
  options.SetObjective(EObjective::kRSM);
  options.SetProcessModel(factors.GetProcessCount() > 0 ? model : EModel::kNone);
  options.SetMixtureModel(factors.IsMixture() ? model : EModel::kNone);
  options.SetCenterPoints(0);
  options.SetRuns(runs);
  options.SetBlocks(blocks);
  auto specific = std::make_unique<DOptimalOptions>();
  specific->SetInclusions(std::move(inclusions));
  options.SetDesignSpecificOptions(std::move(specific));
  return options;
}

TEST(OptimalBuilder, KeepsInclusionsSplitsBlocksAndServesEveryFactorKind) {
  struct Row {
    std::string name;
    EDesign::Type type;
    Factors factors;
    EModel::Type model;
    int runs;
    unsigned blocks;
    std::vector<std::vector<float>> inclusions = {};  // uncoded
  };
  Factors mixed = Quantitative(2);
  ASSERT_TRUE(mixed.Add(Factors::Factor::Qualitative("Q", {"a", "b", "c"}), nullptr));
  Factors process_mixture = Quantitative(2);
  for (const char* name : {"M1", "M2", "M3"}) {
    ASSERT_TRUE(process_mixture.Add(Factors::Factor::Formulation(name, 0.1, 0.7), nullptr));
  }
  const auto d = EDesign::kDOptimal;
  const std::vector<std::vector<float>> centre_and_off_grid = {{0, 0, 0}, {0.25F, 1, 0.5F}},
                                        setting = {{1, 0, 3}}, corner = {std::vector(14, 1.0F)};
  const std::vector<Row> rows = {
      {"D, inclusions", d, Quantitative(3), EModel::kQuadratic, 16, 1, centre_and_off_grid},
      {"D, three blocks", d, Quantitative(3), EModel::kQuadratic, 14, 3},
      {"I, qualitative, blocks and an inclusion", EDesign::kIOptimal, mixed, EModel::kInteraction,
       12, 2, setting},
      {"D, mixture", d, test_support::Mixture(4), EModel::kSpecialCubic, 16, 1},
      {"D, process and mixture", d, process_mixture, EModel::kQuadratic, 20, 2},
      {"D, beyond the candidate sets", d, Quantitative(14), EModel::kLinear, 18, 1, corner},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NCDataMatrix<float> inclusions(static_cast<int>(row.inclusions.size()), row.factors.GetCount());
    for (std::size_t r = 0; r < row.inclusions.size(); ++r) {
      for (int c = 0; c < row.factors.GetCount(); ++c) {
        inclusions(static_cast<int>(r), c) = row.inclusions[r][static_cast<std::size_t>(c)];
      }
    }
    const DesignBuilder& builder = Builder(row.type);
    DesignOptions options =
        OptimalOptions(row.factors, row.model, row.runs, row.blocks, inclusions);
    int reported = 0;
    dynamic_cast<DOptimalOptions&>(*options.GetDesignSpecificOptions())
        .SetProgress([&reported](int, int) { ++reported; });
    std::string message;
    ASSERT_TRUE(builder.IsValid(row.factors, options, &message)) << message;
    const auto design = builder.Generate(row.factors, options);
    EXPECT_GT(reported, 0);
    ASSERT_EQ(design->GetRuns(), row.runs);
    EXPECT_EQ(design->GetBlockCount(), static_cast<int>(row.blocks));
    for (unsigned b = 1; b <= row.blocks; ++b) {
      EXPECT_GE(test_support::RowsOfBlock(*design, static_cast<int>(b)).size(),
                static_cast<std::size_t>(row.runs) / row.blocks);
    }
    for (std::size_t r = 0; r < row.inclusions.size(); ++r) {
      for (int c = 0; c < row.factors.GetCount(); ++c) {
        EXPECT_NEAR(design->GetUncoded()(static_cast<int>(r), c),
                    row.inclusions[r][static_cast<std::size_t>(c)], 1e-5);
      }
    }
    // Mixtures add up to the total, and the design supports its model.
    if (row.factors.IsMixture()) {
      for (int r = 0; r < design->GetRuns(); ++r) {
        double total = 0.0;
        for (int c = 0; c < row.factors.GetCount(); ++c) {
          if (row.factors.GetFactor(c).IsMixture()) total += design->GetUncoded()(r, c);
        }
        EXPECT_NEAR(total, 1.0, 1e-5);
      }
    }
    const DesignModel model = DesignModel::Make(row.factors, row.model, row.model);
    const Eigen::MatrixXd x = model.Expand(row.factors, design->GetCoded());
    EXPECT_EQ(Eigen::FullPivLU<Eigen::MatrixXd>(x).rank(), x.cols());
  }
}

TEST(OptimalBuilder, RefusesInclusionsThatDoNotFit) {
  Factors factors = Quantitative(1);
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Q", {"a", "b"}), nullptr));
  struct Row {
    std::string name;
    NCDataMatrix<float> inclusions;
    int runs;
    std::string message;
  };
  NCDataMatrix<float> bad_setting(1, 2, 1.0F);
  bad_setting(0, 1) = 3.0F;
  const std::vector<Row> rows = {
      {"columns", NCDataMatrix<float>(1, 3), 6,
       "The inclusions have 3 columns; the design has 2 factors."},
      {"setting", bad_setting, 6, "Inclusion 1 has no valid value for the factor 'Q'."},
      {"too many", NCDataMatrix<float>(7, 2, 1.0F), 6,
       "The design 'D-Optimal' cannot have 6 runs."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const DesignOptions options =
        OptimalOptions(factors, EModel::kInteraction, row.runs, 1, row.inclusions);
    std::string message;
    EXPECT_FALSE(Builder(EDesign::kDOptimal).IsValid(factors, options, &message));
    EXPECT_EQ(message, row.message);
  }
}

TEST(ProcessMixtureBuilder, DesignsBothKindsTogetherWithTheCrossedModelWhenAsked) {
  Factors factors = Quantitative(2);
  for (const char* name : {"M1", "M2", "M3"}) {
    ASSERT_TRUE(factors.Add(Factors::Factor::Formulation(name, 0.1, 0.6), nullptr));
  }
  const DesignBuilder& builder = Builder(EDesign::kProcessMixture);
  for (bool crossed : {false, true}) {
    SCOPED_TRACE(crossed);
    DesignOptions options;
    options.SetObjective(EObjective::kProcessMixture);
    options.SetProcessModel(EModel::kInteraction);
    options.SetMixtureModel(EModel::kQuadratic);
    options.SetCenterPoints(0);
    auto specific = std::make_unique<ProcessMixtureOptions>();
    specific->SetPMInteraction(crossed);
    options.SetDesignSpecificOptions(std::move(specific));
    EXPECT_EQ(builder.IsPMInteraction(factors, options), crossed);
    // Mixture quadratic (6) with the process interaction model (3 terms) beside it or crossed
    // with each of the 3 components.
    const int columns = crossed ? 6 + 3 * 3 : 6 + 3;
    EXPECT_EQ(builder.GetDefaultRuns(factors, options), columns);
    const auto design = builder.Generate(factors, options);
    const DesignModel model =
        crossed ? DesignModel::MakeCrossed(factors, EModel::kInteraction, EModel::kQuadratic)
                : DesignModel::Make(factors, EModel::kInteraction, EModel::kQuadratic);
    const Eigen::MatrixXd x = model.Expand(factors, design->GetCoded());
    EXPECT_EQ(Eigen::FullPivLU<Eigen::MatrixXd>(x).rank(), columns);
  }
  std::string message;
  EXPECT_FALSE(builder.IsValid(Quantitative(3), DesignOptions(), &message));
  EXPECT_EQ(message,
            "Split objective is only available when there are both process and formulation "
            "factors");
}

TEST(ApproximateDOptimum, FindsTheKnownOptimalWeightingsAndNeverUnderstatesThem) {
  struct Row {
    std::string name;
    Eigen::MatrixXd candidates;
    double optimum;  // (1/p) log det M* of the known optimal weighting
  };
  // Quadratic in one factor over 21 points of -1..+1: weight 1/3 on -1, 0, +1, det M = 4/27.
  Eigen::MatrixXd line(21, 3);
  for (int i = 0; i < 21; ++i) {
    const double x = -1.0 + 0.1 * i;
    line.row(i) << 1.0, x, x * x;
  }
  // The interaction model over the 3 x 3 grid: the 2^2 factorial, M = I.
  const Factors two = Quantitative(2);
  const Eigen::MatrixXd grid = DesignModel::Make(two, EModel::kInteraction, EModel::kNone)
                                   .Expand(two, CandidateSet::Make(two, 3, nullptr).GetCoded());
  // Candidates repeated many times over change nothing.
  const Eigen::MatrixXd repeated = grid.replicate(40, 1);
  const std::vector<Row> rows = {{"quadratic on a line", line, std::log(4.0 / 27.0) / 3.0},
                                 {"interaction on the square", grid, 0.0},
                                 {"repeated candidates", repeated, 0.0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto found = ApproximateDOptimum::Find(row.candidates);
    ASSERT_TRUE(found.has_value());
    EXPECT_GE(found->log_det_bound, row.optimum - 1e-12);
    EXPECT_LE(found->log_det_reached, row.optimum + 1e-12);
    EXPECT_LE(found->log_det_bound - found->log_det_reached,
              ApproximateDOptimum::kDefaultTolerance);
    EXPECT_LE(found->steps, ApproximateDOptimum::kMaxSteps);
  }
  // A tiny work allowance stops after the first step, with a valid but looser bound.
  const auto early = ApproximateDOptimum::Find(line, 1e-9, 1.0);
  ASSERT_TRUE(early.has_value());
  EXPECT_EQ(early->steps, 1);
  EXPECT_GT(early->log_det_bound, std::log(4.0 / 27.0) / 3.0);
  // Two points cannot carry three columns.
  EXPECT_FALSE(ApproximateDOptimum::Find(line.topRows(2)).has_value());
  EXPECT_FALSE(ApproximateDOptimum::Find(Eigen::MatrixXd(0, 3)).has_value());
}

TEST(DesignModel, MomentsAreTheRegionAveragesOfTheColumnProducts) {
  Factors factors = Quantitative(1);
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Q", {"a", "b", "c"}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Multilevel("L", {0.0, 1.0, 4.0}), nullptr));
  // Columns: 1, x, x^2, Q(a), Q(b), x*Q(a), x*Q(b), L.
  const DesignModel model({{}, {0}, {0, 0}, {1}, {0, 1}, {2}});
  const Eigen::MatrixXd w = model.Moments(factors);
  ASSERT_EQ(w.rows(), 8);
  // L's coded levels are -1, -0.5 and 1.
  const double l_mean = (-1.0 - 0.5 + 1.0) / 3.0;
  const double l_square = (1.0 + 0.25 + 1.0) / 3.0;
  struct Entry {
    int a, b;
    double value;
  };
  const std::vector<Entry> entries = {
      {0, 0, 1.0},       {0, 2, 1.0 / 3.0}, {1, 1, 1.0 / 3.0},    {2, 2, 0.2},       {0, 1, 0.0},
      {3, 3, 2.0 / 3.0}, {3, 4, 1.0 / 3.0}, {5, 5, 2.0 / 9.0},    {5, 6, 1.0 / 9.0}, {0, 3, 0.0},
      {0, 7, l_mean},    {7, 7, l_square},  {2, 7, l_mean / 3.0}, {6, 1, 0.0}};
  for (const Entry& entry : entries) {
    SCOPED_TRACE(std::to_string(entry.a) + "," + std::to_string(entry.b));
    EXPECT_NEAR(w(entry.a, entry.b), entry.value, 1e-12);
    EXPECT_NEAR(w(entry.b, entry.a), entry.value, 1e-12);
  }
  EXPECT_EQ(
      DesignModel(std::vector<DesignModel::Term>{{0}}).Moments(test_support::Mixture(3)).size(), 0);
  // The crossed process-mixture model: 3 + 3 mixture terms, then 2 process terms x 3.
  Factors both = Quantitative(2);
  for (const char* name : {"M1", "M2", "M3"}) {
    ASSERT_TRUE(both.Add(Factors::Factor::Formulation(name, 0.0, 1.0), nullptr));
  }
  const DesignModel crossed = DesignModel::MakeCrossed(both, EModel::kLinear, EModel::kQuadratic);
  EXPECT_EQ(crossed.GetColumnCount(both), 12);
  EXPECT_FALSE(crossed.HasConstant());
}

}  // namespace
}  // namespace zubra
