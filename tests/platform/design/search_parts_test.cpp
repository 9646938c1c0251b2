// The parts the optimal-design searches are built from, checked against plain double-precision
// arithmetic: the vectorised sweeps of the point exchange (on every instruction set the
// library has), the compiled model rows of the coordinate searches, the race of starts and
// the split-plot information matrix.
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/internal/exchange_kernels.h"
#include "zubra/platform/design/internal/model_rows.h"
#include "zubra/platform/design/internal/search_support.h"
#include "zubra/platform/design/internal/whole_plot_exchange.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using internal::CandidatePanels;
using internal::ModelRows;
using internal::Sweep;

// Runs `check` once with the sweeps the processor offers and once with the generic ones.
template <typename Check>
void OnEveryInstructionSet(Check check) {
  for (const bool generic : {false, true}) {
    SCOPED_TRACE(generic ? "generic" : internal::SweepInstructionSet());
    const bool before = internal::UseGenericSweeps(generic);
    check();
    internal::UseGenericSweeps(before);
  }
}

TEST(Sweep, ScoresUpdatesAndPicksTheBestRowAsPlainArithmeticDoes) {
  constexpr int kRows = 37;  // four whole panels and a part
  constexpr int kColumns = 13;
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  Eigen::MatrixXd f(kRows, kColumns);
  for (Eigen::Index i = 0; i < f.size(); ++i) f.data()[i] = unit(rng);
  const CandidatePanels panels(f);
  ASSERT_EQ(panels.PaddedRows(), 40);
  const auto vector = [&] {
    Eigen::VectorXf v(kColumns);
    for (int k = 0; k < kColumns; ++k) v(k) = static_cast<float>(unit(rng));
    return v;
  };
  const Eigen::VectorXf a = vector(), a_old = vector(), b = vector();
  std::vector<float> d0(40, 0.0F);
  for (int j = 0; j < kRows; ++j)
    d0[static_cast<std::size_t>(j)] = 2.0F + static_cast<float>(unit(rng));
  const auto dot = [&](int j, const Eigen::VectorXf& v) { return f.row(j).dot(v.cast<double>()); };

  struct Row {
    std::string name;
    bool update;
    bool rank_one;        // update without s (a_old null)
    int s_first, s_last;  // panels whose s is stored from a_old
    Sweep::Score score;
    int first, last;
  };
  const std::vector<Row> rows = {
      {"ratio over every row", false, false, 0, 0, Sweep::Score::kRatio, 0, kRows},
      {"ratio over a range inside panels", false, false, 0, 0, Sweep::Score::kRatio, 5, 30},
      {"update, s stored for all, ratio", true, false, 0, 5, Sweep::Score::kRatio, 3, 36},
      {"update, s stored for some, ratio elsewhere", true, false, 1, 3, Sweep::Score::kRatio, 17,
       kRows},
      {"update only", true, false, 2, 4, Sweep::Score::kNone, 0, 0},
      {"rank-one update, largest variance", true, true, 0, 0, Sweep::Score::kVariance, 9, 21},
  };
  const double gg = 0.31, gs = -0.22, ss = 0.17, coef = 0.4;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    OnEveryInstructionSet([&] {
      std::vector<float> d = d0;
      std::vector<float> s(40, 0.0F);
      for (int j = row.s_first * 8; j < row.s_last * 8 && j < kRows; ++j) {
        s[static_cast<std::size_t>(j)] = static_cast<float>(dot(j, a_old));
      }
      Sweep sweep;
      sweep.panels = &panels;
      sweep.d = d.data();
      sweep.s = s.data();
      if (row.update) {
        sweep.b = b.data();
        sweep.a_old = row.rank_one ? nullptr : a_old.data();
        sweep.s_first = row.s_first;
        sweep.s_last = row.s_last;
        sweep.gg = static_cast<float>(gg);
        sweep.gs = row.rank_one ? 0.0F : static_cast<float>(gs);
        sweep.ss = row.rank_one ? 0.0F : static_cast<float>(ss);
      }
      sweep.score = row.score;
      sweep.a = a.data();
      sweep.coef = static_cast<float>(coef);
      sweep.first = row.first;
      sweep.last = row.last;
      const internal::SweepBest best = internal::RunSweep(sweep);

      int expected_row = -1;
      double expected_value = -std::numeric_limits<double>::infinity();
      for (int j = 0; j < kRows; ++j) {
        double variance = d0[static_cast<std::size_t>(j)];
        if (row.update) {
          const double g = dot(j, b);
          const double s_old = row.rank_one ? 0.0 : dot(j, a_old);
          variance -= row.rank_one ? gg * g * g : gg * g * g + gs * g * s_old + ss * s_old * s_old;
          EXPECT_NEAR(d[static_cast<std::size_t>(j)], variance, 1e-4) << "row " << j;
        }
        if (row.score == Sweep::Score::kNone || j < row.first || j >= row.last) continue;
        double value = variance;
        if (row.score == Sweep::Score::kRatio) {
          const double score = dot(j, a);
          EXPECT_NEAR(s[static_cast<std::size_t>(j)], score, 1e-4) << "row " << j;
          value = coef * (1.0 + variance) + score * score;
        }
        if (value > expected_value) {
          expected_value = value;
          expected_row = j;
        }
      }
      EXPECT_EQ(best.row, expected_row);
      if (expected_row >= 0) {
        EXPECT_NEAR(best.value, expected_value, 1e-4);
      }
    });
  }
}

TEST(Sweep, VariancesAreTheQuadraticFormsOfTheInverse) {
  const Factors factors = test_support::Quantitative(3);
  const Eigen::MatrixXd f =
      DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone)
          .Expand(factors, CandidateSet::Make(factors, 3, nullptr).GetCoded());
  const Eigen::MatrixXd m = f.transpose() * f / 9.0 + Eigen::MatrixXd::Identity(10, 10);
  const Eigen::MatrixXd lower_inverse =
      m.llt().matrixL().solve(Eigen::MatrixXd::Identity(m.rows(), m.cols()));
  const Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor> t =
      lower_inverse.cast<float>();
  const Eigen::MatrixXd inverse = m.inverse();
  OnEveryInstructionSet([&] {
    const CandidatePanels panels(f);
    std::vector<float> d(static_cast<std::size_t>(panels.PaddedRows()), -1.0F);
    internal::ComputeVariances(panels, t.data(), d.data());
    for (int j = 0; j < f.rows(); ++j) {
      EXPECT_NEAR(d[static_cast<std::size_t>(j)], f.row(j) * inverse * f.row(j).transpose(), 1e-5);
    }
  });
}

TEST(ModelRows, ExpandsAsTheModelDoesAndKnowsWhichColumnsAFactorEnters) {
  Factors factors = test_support::Quantitative(2);
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Q", {"a", "b", "c"}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Multilevel("L", {0.0, 1.0, 4.0}), nullptr));
  struct Row {
    std::string name;
    DesignModel model;
    int factor;                 // a factor whose columns are checked
    std::vector<int> touching;  // its columns
  };
  const std::vector<Row> rows = {
      {"quadratic",
       DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone),
       1,
       // 1, X1, X2, Q(a), Q(b), L, X1X2, X1Q(a), X1Q(b), X1L, X2Q(a), X2Q(b), X2L, QL (2),
       // X1^2, X2^2, L^2
       {2, 6, 10, 11, 12, 16}},
      {"qualitative in a three-factor term and a cube",
       DesignModel({{}, {2}, {0, 2, 3}, {0, 0, 0}, {1, 3}}),
       2,
       {1, 2, 3, 4}},
  };
  // Every grid point (the multilevel factor off the three-level grid).
  NCDataMatrix<float> points = CandidateSet::Make(factors, 3, nullptr).GetCoded();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const ModelRows compiled(row.model, factors);
    ASSERT_EQ(compiled.Columns(), row.model.GetColumnCount(factors));
    EXPECT_EQ(compiled.Touching(row.factor), row.touching);
    const Eigen::MatrixXd expected = row.model.Expand(factors, points);
    std::vector<double> f(static_cast<std::size_t>(compiled.Columns()));
    for (int r = 0; r < points.GetRows(); ++r) {
      compiled.Expand({points.GetRowData(r), 4U}, f.data());
      for (int c = 0; c < compiled.Columns(); ++c) {
        ASSERT_EQ(f[static_cast<std::size_t>(c)], expected(r, c)) << "run " << r << " col " << c;
      }
    }
  }
}

// A start whose values over the rounds are given.
class ScriptedStart : public internal::RaceStart {
 public:
  explicit ScriptedStart(std::vector<double> values) : values_(std::move(values)) {}
  double Advance(int rounds) override {
    rounds_ += rounds;
    return values_[std::min(static_cast<std::size_t>(stage_++), values_.size() - 1)];
  }
  int rounds_ = 0;
  int stage_ = 0;

 private:
  std::vector<double> values_;
};

TEST(RunRace, HalvesTheFieldAfterEveryStageAndTheWinnerRunsEveryRound) {
  for (const int threads : {1, 3}) {
    SCOPED_TRACE(threads);
    // Start 2 leads the first stage; 0 and 2 go on; 0 wins the second; 0 runs the third.
    std::vector<ScriptedStart> starts = {
        ScriptedStart({5, 9, 10}), ScriptedStart({4}), ScriptedStart({6, 7}),
        ScriptedStart({5})};  // equal to start 0 but later: it stops
    std::vector<internal::RaceStart*> field;
    for (ScriptedStart& start : starts) field.push_back(&start);
    std::atomic<bool> stop{false};
    std::vector<std::pair<int, int>> reports;
    const int winner = internal::RunRace(
        field, 31, threads, stop, [&](int done, int all) { reports.emplace_back(done, all); });
    EXPECT_EQ(winner, 0);
    // Three stages of 11, 10 and 10 rounds.
    EXPECT_EQ(starts[0].rounds_, 31);
    EXPECT_EQ(starts[2].rounds_, 21);
    EXPECT_EQ(starts[1].rounds_, 11);
    EXPECT_EQ(starts[3].rounds_, 11);
    ASSERT_EQ(reports.size(), 7U);
    EXPECT_EQ(reports.back(), std::make_pair(7, 7));
  }
}

TEST(WholePlotExchange, InformationIsTheGeneralisedLeastSquaresInformation) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  Eigen::MatrixXd x(7, 3);
  for (Eigen::Index i = 0; i < x.size(); ++i) x.data()[i] = unit(rng);
  const std::vector<int> plots = {4, 4, 9, 9, 9, 2, 4};  // numbers need not be consecutive
  for (const double eta : {0.0, 1.0, 3.5}) {
    SCOPED_TRACE(eta);
    Eigen::MatrixXd v = Eigen::MatrixXd::Identity(7, 7);
    for (int i = 0; i < 7; ++i) {
      for (int j = 0; j < 7; ++j) {
        if (plots[static_cast<std::size_t>(i)] == plots[static_cast<std::size_t>(j)])
          v(i, j) += eta;
      }
    }
    const Eigen::MatrixXd expected = x.transpose() * v.inverse() * x;
    EXPECT_TRUE(internal::WholePlotExchange::Information(x, plots, eta).isApprox(expected, 1e-12));
  }
}

}  // namespace
}  // namespace zubra
