// Growing designs: fold-over, composite completion and D-optimal augmentation.
#include "zubra/evaluation/augmentation.h"

#include <gtest/gtest.h>

#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "tests/model/model_test_support.h"
#include "tests/platform/design/design_test_support.h"
#include "zubra/model/model_spec.h"
#include "zubra/platform/design/design_builder.h"

namespace zubra {
namespace {

using test_support::Builder;
using test_support::ExpectMessage;
using test_support::Make;
using test_support::MatrixResolution;
using test_support::OptionsFor;
using test_support::ProductSum;
using test_support::Quantitative;
using test_support::RowsOfBlock;
using F = Factors::Factor;
using RunKind = NCDesign::RunKind;

std::unique_ptr<NCDesign> Generate(EDesign::Type type, const Factors& factors, int runs,
                                   int center_points = 0) {
  const DesignBuilder& builder = Builder(type);
  DesignOptions options = OptionsFor(builder, factors, EObjective::kScreening, EModel::kLinear);
  EXPECT_TRUE(options.SetRuns(runs));
  EXPECT_TRUE(options.SetCenterPoints(center_points));
  return builder.Generate(factors, options);
}

// The first runs of `after` are those of `before`, value for value, block and kind.
void ExpectKeepsRuns(const NCDesign& before, const NCDesign& after) {
  for (int r = 0; r < before.GetRuns(); ++r) {
    for (int c = 0; c < before.GetFactorCount(); ++c) {
      ASSERT_EQ(after.GetCoded()(r, c), before.GetCoded()(r, c)) << r << ", " << c;
      ASSERT_EQ(after.GetUncoded()(r, c), before.GetUncoded()(r, c)) << r << ", " << c;
    }
    ASSERT_EQ(after.GetBlocks()[r], before.GetBlocks()[r]);
    ASSERT_EQ(after.GetRunKinds()[r], before.GetRunKinds()[r]);
  }
}

// The rows of `m` (those of `rows` only, when given) as a sorted list, to compare run sets.
std::vector<std::vector<float>> SortedRows(const NCDataMatrix<float>& m,
                                           const std::vector<int>* rows = nullptr) {
  std::vector<std::vector<float>> sorted;
  for (int r = 0; r < m.GetRows(); ++r) {
    if (rows == nullptr || std::find(rows->begin(), rows->end(), r) != rows->end()) {
      sorted.emplace_back(m.GetRowData(r), m.GetRowData(r) + m.GetCols());
    }
  }
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

// The rank of `x`.
Eigen::Index Rank(const Eigen::MatrixXd& x) {
  return Eigen::ColPivHouseholderQR<Eigen::MatrixXd>(x).rank();
}

TEST(FoldOver, FullFoldOfResolutionIIIFractionsHasResolutionIV) {
  for (const auto& [k, runs] : std::vector<std::pair<int, int>>{{5, 8}, {7, 8}, {11, 16}}) {
    SCOPED_TRACE(std::to_string(k) + " factors");
    const Factors factors = Quantitative(k);
    const auto design = Generate(EDesign::kFracFactResIII, factors, runs);
    ASSERT_EQ(MatrixResolution(design->GetCoded(), 4), 3);
    const auto folded = FoldOver(*design, factors);
    ASSERT_EQ(folded->GetRuns(), 2 * runs);
    ExpectKeepsRuns(*design, *folded);
    for (int r = 0; r < runs; ++r) {
      for (int c = 0; c < k; ++c)
        ASSERT_EQ(folded->GetCoded()(runs + r, c), -design->GetCoded()(r, c));
      ASSERT_EQ(folded->GetBlocks()[runs + r], 2);
    }
    EXPECT_EQ(MatrixResolution(folded->GetCoded(), 4), 4);
    const std::vector<int> half = RowsOfBlock(*folded, 2);
    for (int c = 0; c < k; ++c) ASSERT_EQ(ProductSum(folded->GetCoded(), {c}, &half), 0.0);

    // The rewritten generators give the same runs, block by block. The 16-run fraction's
    // first generated factor is a three-factor product, so it keeps its sign in the mirror
    // and the first five factors cannot be the base: no generators.
    const Generators& generators = folded->GetGenerators();
    ASSERT_EQ(generators.IsEmpty(), runs == 16);
    if (generators.IsEmpty()) continue;
    EXPECT_EQ(generators.GetResolution(), 4);
    const NCDataMatrix<float> made = generators.MakeDesign();
    const std::vector<int> made_blocks = generators.MakeBlocks();
    for (int block : {1, 2}) {
      std::vector<int> made_rows;
      for (int r = 0; r < made.GetRows(); ++r) {
        if (made_blocks[r] == block) made_rows.push_back(r);
      }
      const std::vector<int> rows = RowsOfBlock(*folded, block);
      EXPECT_EQ(SortedRows(made, &made_rows), SortedRows(folded->GetCoded(), &rows));
    }
  }
}

TEST(FoldOver, FoldingOneFactorFreesItsMainEffectAndInteractions) {
  const Factors factors = Quantitative(7);
  const auto design = Generate(EDesign::kFracFactResIII, factors, 8);
  for (int f : {0, 3, 6}) {
    SCOPED_TRACE("factor " + std::to_string(f));
    const auto folded = FoldOver(*design, factors, {.factor = f, .new_block = false});
    const NCDataMatrix<float>& m = folded->GetCoded();
    ASSERT_EQ(m.GetRows(), 16);
    EXPECT_EQ(folded->GetBlocks(), std::vector<int>(16, 1));
    int aliased_elsewhere = 0;
    for (int a = 0; a < 7; ++a) {
      for (int r = 0; r < 8; ++r) ASSERT_EQ(m(8 + r, a), a == f ? -m(r, a) : m(r, a));
      for (int b = a + 1; b < 7; ++b) {
        for (int c = b + 1; c < 7; ++c) {
          const bool with_f = a == f || b == f || c == f;
          if (with_f) {
            ASSERT_EQ(ProductSum(m, {a, b, c}), 0.0) << a << b << c;
          }
          aliased_elsewhere += !with_f && ProductSum(m, {a, b, c}) != 0.0 ? 1 : 0;
        }
      }
    }
    EXPECT_GT(aliased_elsewhere, 0);
    if (!folded->GetGenerators().IsEmpty()) {
      EXPECT_EQ(SortedRows(folded->GetGenerators().MakeDesign()), SortedRows(m));
    }
  }
}

TEST(FoldOver, MirrorsSettingsLevelsAndRangesAndKeepsFixedFactors) {
  F constant = F::Quantitative("Fixed", 2.0, 4.0);
  constant.use = CEUse::kConstant;
  const Factors factors = Make({F::Quantitative("T", 20.0, 80.0), F::Qualitative("Q", {"a", "b"}),
                                constant, F::Multilevel("L", {1.0, 2.0, 3.0})});
  DesignOptions options;
  options.SetCenterPoints(0);
  const auto design = Builder(EDesign::kDOptimal).Generate(factors, options);
  const auto folded = FoldOver(*design, factors);
  const int n = design->GetRuns();
  for (int r = 0; r < n; ++r) {
    const float* old = design->GetUncoded().GetRowData(r);
    const float* mirror = folded->GetUncoded().GetRowData(n + r);
    EXPECT_FLOAT_EQ(mirror[0], 100.0F - old[0]);
    EXPECT_EQ(mirror[1], 3.0F - old[1]);
    EXPECT_EQ(folded->GetCoded()(n + r, 1), mirror[1]);
    EXPECT_EQ(mirror[2], 3.0F);
    EXPECT_EQ(mirror[3], 4.0F - old[3]);
  }
  EXPECT_TRUE(folded->GetGenerators().IsEmpty());
}

TEST(CompleteComposite, MatchesTheCompositeDesignInTwoBlocks) {
  const Factors factors = Quantitative(3);
  const auto cube = Generate(EDesign::kFullFactorial, factors, 8, 2);
  const auto composite = CompleteComposite(*cube, factors);
  ExpectKeepsRuns(*cube, *composite);
  ASSERT_EQ(composite->GetRuns(), 8 + 2 + 6 + 2);
  EXPECT_EQ(composite->GetName(), "CCC");
  EXPECT_EQ(composite->CountRuns(RunKind::kAxial), 6);

  // The composite builder's design in two blocks with the same centre points has the same
  // runs in each block: the same axial distance of orthogonal blocking.
  const DesignBuilder& ccc = Builder(EDesign::kCentralComposite, "CCC");
  DesignOptions options = OptionsFor(ccc, factors, EObjective::kRSM, EModel::kQuadratic);
  ASSERT_TRUE(options.SetBlocks(2));
  ASSERT_TRUE(options.SetCenterPoints(4));
  const auto reference = ccc.Generate(factors, options);
  for (int block : {1, 2}) {
    const std::vector<int> ours = RowsOfBlock(*composite, block);
    const std::vector<int> theirs = RowsOfBlock(*reference, block);
    EXPECT_EQ(SortedRows(composite->GetCoded(), &ours), SortedRows(reference->GetCoded(), &theirs));
  }
  // The quadratic model with the block effect is estimable.
  const Eigen::MatrixXd x = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone)
                                .Expand(factors, composite->GetCoded());
  Eigen::MatrixXd with_block(x.rows(), x.cols() + 1);
  with_block << x, Eigen::VectorXd::NullaryExpr(x.rows(), [&](Eigen::Index r) {
    return composite->GetBlocks()[static_cast<std::size_t>(r)] == 1 ? 1.0 : -1.0;
  });
  EXPECT_EQ(Rank(with_block), with_block.cols());
}

TEST(CompleteComposite, TakesTheAxialDistanceAsChosen) {
  using Choice = DesignOptions::StarDistanceChoice;
  const Factors factors = Make({F::Quantitative("T", 20.0, 80.0), F::Quantitative("P", 1.0, 3.0)});
  const auto square = Generate(EDesign::kFullFactorial, factors, 4, 1);
  struct Row {
    std::string name;
    CompositeOptions options;
    float alpha;
  };
  const std::vector<Row> rows = {
      {"rotatable", {.star_choice = Choice::kRotatable}, std::sqrt(2.0F)},
      {"face-centred", {.star_choice = Choice::kFaceCentred}, 1.0F},
      {"given", {.star_choice = Choice::kGiven, .star_distance = 1.5F, .center_points = 0}, 1.5F},
      // alpha^2 (A / k) / (A + c_a) = F / (F + c_f): alpha^2 * 2 / 6 = 4 / 5.
      {"orthogonal blocking", {}, std::sqrt(2.4F)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto composite = CompleteComposite(*square, factors, row.options);
    EXPECT_EQ(composite->GetName(), row.alpha == 1.0F ? "CCF" : "CCC");
    ASSERT_EQ(composite->GetRuns(), 5 + 4 + row.options.center_points);
    EXPECT_NEAR(composite->GetCoded()(5, 0), -row.alpha, 1e-6);  // T at -alpha, then +alpha
    EXPECT_NEAR(composite->GetUncoded()(6, 0), 50.0 + 30.0 * row.alpha, 1e-4);
    EXPECT_NEAR(composite->GetUncoded()(7, 1), 2.0 - row.alpha, 1e-5);
    EXPECT_EQ(composite->GetCoded()(5, 1), 0.0F);
  }
}

TEST(AugmentDOptimal, AScreeningFractionKeepsItsRunsAndSupportsTheLargerModel) {
  const Factors four = Make({F::Quantitative("T", 20.0, 80.0), F::Quantitative("P", 1.0, 3.0),
                             F::Quantitative("C", 0.1, 0.5), F::Quantitative("S", 100, 300)});
  const auto screening = Generate(EDesign::kFracFactResIV, four, 8, 3);
  const Factors five = Quantitative(5);
  const auto folded = FoldOver(*Generate(EDesign::kFracFactResIII, five, 8), five);
  const DesignModel quadratic = DesignModel::Make(four, EModel::kQuadratic, EModel::kNone);
  const DesignModel interaction = DesignModel::Make(five, EModel::kInteraction, EModel::kNone);
  struct Row {
    std::string name;
    const NCDesign* design;
    const Factors* factors;
    AugmentOptions options;
    int runs;
    int new_block;
  };
  // 2^(4-1) with three centre points gives the quadratic model (15 columns and the block
  // effect) rank 9: the constant, 4 main effects, 3 pairs of aliased interactions and one
  // direction of the squares. The folded 2^(5-2) gives the interaction model (16 columns and
  // two block effects) rank 14: the constant, 5 main effects, 7 interactions (3 pairs
  // aliased) and the contrast of its halves.
  const std::vector<Row> rows = {
      {"fewest runs, new block", screening.get(), &four, {}, 11 + 16 - 9, 2},
      {"fewest runs, one block", screening.get(), &four, {.new_block = false}, 11 + 15 - 9, 1},
      {"more runs", screening.get(), &four, {.model = quadratic, .added_runs = 12}, 23, 2},
      {"blocks kept",
       folded.get(),
       &five,
       {.model = interaction, .blocks = folded->GetBlocks()},
       16 + 18 - 14,
       3},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const NCDataMatrix<float>& runs = row.design->GetUncoded();
    const auto augmented = AugmentDOptimal(runs, *row.factors, row.options);
    ASSERT_EQ(augmented->GetRuns(), row.runs);
    EXPECT_EQ(augmented->GetType(), EDesign::kDOptimal);
    for (int r = 0; r < row.runs; ++r) {
      const bool old = r < runs.GetRows();
      ASSERT_EQ(augmented->GetBlocks()[r], old ? row.design->GetBlocks()[r] : row.new_block);
      for (int c = 0; c < runs.GetCols() && old; ++c) {
        ASSERT_EQ(augmented->GetUncoded()(r, c), runs(r, c)) << r << ", " << c;
        ASSERT_NEAR(augmented->GetCoded()(r, c), row.design->GetCoded()(r, c), 1e-6);
      }
    }
    const DesignModel& model = row.factors == &four ? quadratic : interaction;
    const Eigen::MatrixXd x = model.Expand(*row.factors, augmented->GetCoded());
    EXPECT_EQ(Rank(x), x.cols());
  }
}

TEST(FoldOverSelectedDesign, AddsTheFoldOverToTheSetUpAndSelectsIt) {
  Variables set = test_support::ProcessSet(5);
  ModelSpec spec(&set, test_support::NewSection());
  std::string message;
  EXPECT_FALSE(FoldOverSelectedDesign(spec, {}, &message));
  EXPECT_EQ(message, "There is no design to fold.");
  ASSERT_TRUE(spec.ChangeCurrentDesign(EDesign::kFracFactResIII, "FractionalFactorial",
                                       EObjective::kScreening, EModel::kLinear, false));
  ASSERT_TRUE(spec.SetCenterPoints(0));
  spec.GenerateDesign(nullptr, nullptr);
  ASSERT_EQ(spec.GetDesign()->GetRuns(), 8);
  EXPECT_FALSE(FoldOverSelectedDesign(spec, {.factor = 9}, &message));
  EXPECT_EQ(message, "There is no varied factor 9 to fold.");
  EXPECT_EQ(spec.GetDesignCount(), 1);

  ASSERT_TRUE(FoldOverSelectedDesign(spec, {}, &message)) << message;
  EXPECT_EQ(spec.GetDesignCount(), 2);
  EXPECT_EQ(spec.GetSelectedDesign(), 2);
  EXPECT_EQ(spec.GetDesign()->GetRuns(), 16);
  ASSERT_NE(spec.GetDesignStatistics(), nullptr);
  EXPECT_FALSE(spec.GetDesignStatistics()->IsSingular());
}

TEST(Augmentation, BadInputIsRefusedWithTheReason) {
  const Factors three = Quantitative(3);
  const auto cube = Generate(EDesign::kFullFactorial, three, 8);
  const auto dsd = Generate(EDesign::kDefinitiveScreening, Quantitative(4), 9);
  const Factors mixed = Make({F::Quantitative("A", 0, 1), F::Qualitative("Q", {"a", "b", "c"}),
                              F::Multilevel("L", {1.0, 2.0, 5.0})});
  DesignOptions options;
  options.SetCenterPoints(0);
  const auto mixed_design = Builder(EDesign::kDOptimal).Generate(mixed, options);
  const NCDataMatrix<float>& runs = cube->GetUncoded();
  const NCDesign centres(EDesign::kFullFactorial, "", {"X1", "X2", "X3"}, NCDataMatrix<float>(2, 3),
                         NCDataMatrix<float>(2, 3, 5.0F), {1, 1},
                         {RunKind::kCenter, RunKind::kCenter}, Generators());
  NCDataMatrix<float> full(32, 3);  // the cube four times: as many runs as the cap allows
  for (int r = 0; r < 32; ++r) {
    for (int c = 0; c < 3; ++c) full(r, c) = runs(r % 8, c);
  }
  NCDataMatrix<float> broken = runs;
  broken(2, 1) = std::nanf("");
  const Factors four = Quantitative(4);
  using Choice = DesignOptions::StarDistanceChoice;
  const auto augment = [&three](NCDataMatrix<float> m, AugmentOptions o) {
    return [m, o, &three] { (void)AugmentDOptimal(m, three, o); };
  };
  struct Row {
    std::string name;
    std::function<void()> action;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"fold: other factors", [&] { (void)FoldOver(*cube, four); },
       "The design has 3 factors; 4 are given."},
      {"fold: no such factor", [&] { (void)FoldOver(*cube, three, {.factor = 3}); },
       "There is no varied factor 3 to fold."},
      {"fold: three settings", [&] { (void)FoldOver(*mixed_design, mixed); },
       "The factor 'Q' cannot be mirrored."},
      {"fold: uneven levels", [&] { (void)FoldOver(*mixed_design, mixed, {.factor = 2}); },
       "The factor 'L' cannot be mirrored."},
      {"composite: three levels", [&] { (void)CompleteComposite(*dsd, four); },
       "Run 1 is neither a factorial run nor a centre point."},
      {"composite: qualitative", [&] { (void)CompleteComposite(*mixed_design, mixed); },
       "The factor 'Q' is not continuous and cannot take axial runs."},
      {"composite: centre points only",
       [&] {
         (void)CompleteComposite(centres, three, {DesignOptions::StarDistanceChoice::kFaceCentred});
       },
       "The design has no factorial runs."},
      {"composite: too far",
       [&] {
         (void)CompleteComposite(*cube, three, {Choice::kGiven, 6.0F});
       },
       "The star distance must be a number between 0 and 5."},
      {"composite: negative centre points",
       [&] { (void)CompleteComposite(*cube, three, {.center_points = -1}); },
       "The number of centre points cannot be negative."},
      {"augment: no runs", augment(NCDataMatrix<float>(0, 3), {}), "There are no runs to augment."},
      {"augment: columns", augment(NCDataMatrix<float>(8, 2), {}),
       "The runs have 2 columns; there are 3 factors."},
      {"augment: blocks", augment(runs, {.blocks = {1, 2}}), "There are 2 blocks for 8 runs."},
      {"augment: block 0", augment(runs, {.blocks = std::vector<int>(8, 0)}),
       "Block 0 is not a block number."},
      {"augment: blocks in one",
       augment(runs, {.blocks = {1, 1, 1, 1, 2, 2, 2, 2}, .new_block = false}),
       "Runs in several blocks need the added runs in a block of their own."},
      {"augment: negative", augment(runs, {.added_runs = -1}),
       "The number of runs to add cannot be negative."},
      {"augment: model", augment(runs, {.model = DesignModel({{0, 5}})}),
       "The model names a factor that is not there."},
      // Quadratic model and block: 11 columns, of which the cube gives rank 7 (the constant,
      // main effects and interactions; the squares and the block equal the constant).
      {"augment: too few", augment(runs, {.added_runs = 3}),
       "The model needs at least 4 added runs."},
      {"augment: too many", augment(runs, {.added_runs = 25}),
       "At most 24 runs can be added for this model."},
      {"augment: already at the cap", augment(full, {}),
       "The design already has 32 runs; D-optimal runs can be added for this model only to "
       "designs of fewer than 32 runs."},
      {"augment: not a number", augment(broken, {}),
       "Run 3 has no valid value for the factor 'X2'."},
      {"augment: candidate levels", augment(runs, {.candidate_levels = 1}),
       "The candidate levels must be 2 to 9."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectMessage(row.action, row.message);
  }
  bool cancel = true;
  EXPECT_THROW((void)AugmentDOptimal(runs, three, {}, &cancel), CancelException);
}

}  // namespace
}  // namespace zubra
