// The onion (layered) design: runs inside their layers, layers as blocks, the quality of the
// whole design, the layer settings, repeatability and refusals.
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/internal/onion_builder.h"
#include "zubra/platform/design/onion_options.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using internal::OnionBuilder;
using test_support::Make;
using test_support::Quantitative;

const OnionBuilder kOnion;

// Options made as the design set-up makes them: the family's defaults, then the layers.
DesignOptions Options(const Factors& factors, EModel::Type model, int layers = 3, bool on = true,
                      int total_runs = 0) {
  DesignOptions base;
  base.SetProcessModel(model);
  base.SetCenterPoints(0);
  auto onion = std::make_unique<OnionOptions>();
  onion->SetLayerSetting(on);
  EXPECT_TRUE(onion->SetTotalLayerRuns(total_runs));
  base.SetDesignSpecificOptions(std::move(onion));
  DesignOptions options = kOnion.MakeOptions(factors, base);
  EXPECT_TRUE(kOnion.SetLayers(options, layers, factors));
  return options;
}

// The largest |coded value| of run `r` over the factors that are not qualitative.
double Distance(const Factors& factors, const NCDataMatrix<float>& coded, int r) {
  double distance = 0.0;
  for (int c = 0; c < factors.GetCount(); ++c) {
    if (!factors.GetFactor(c).IsQualitative()) {
      distance = std::max(distance, std::fabs(static_cast<double>(coded(r, c))));
    }
  }
  return distance;
}

TEST(OnionBuilder, PutsEveryRunInsideTheLayerOfItsBlock) {
  Factors with_qualitative = Quantitative(2);
  ASSERT_TRUE(with_qualitative.Add(Factors::Factor::Qualitative("Q", {"a", "b"}), nullptr));
  struct Row {
    std::string name;
    Factors factors;
    EModel::Type model;
    int layers;
    bool on;
    int total_runs;
    std::vector<int> block_runs;  // innermost layer first
  };
  const Factors one = Quantitative(1), two = Quantitative(2), three = Quantitative(3);
  const std::vector<Row> rows = {
      {"3 factors, quadratic", three, EModel::kQuadratic, 3, true, 0, {10, 10, 10}},
      {"extra runs go outwards", two, EModel::kLinear, 4, true, 14, {3, 3, 4, 4}},
      {"outer layer too thin alone", one, EModel::kQuadratic, 2, true, 0, {3, 3}},
      {"qualitative factor", with_qualitative, EModel::kInteraction, 2, true, 0, {7, 7}},
      {"layer setting off", two, EModel::kQuadratic, 3, false, 0, {18}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto design = kOnion.Generate(
        row.factors, Options(row.factors, row.model, row.layers, row.on, row.total_runs));
    const NCDataMatrix<float>& coded = design->GetCoded();
    const double layers = static_cast<double>(row.block_runs.size());
    ASSERT_EQ(design->GetBlockCount(), static_cast<int>(row.block_runs.size()));
    for (int b = 1; b <= design->GetBlockCount(); ++b) {
      const std::vector<int> runs = test_support::RowsOfBlock(*design, b);
      EXPECT_EQ(static_cast<int>(runs.size()), row.block_runs[static_cast<std::size_t>(b - 1)]);
      for (int r : runs) {
        EXPECT_LE(Distance(row.factors, coded, r), b / layers + 1e-6) << r;
        EXPECT_GT(Distance(row.factors, coded, r), (b - 1) / layers - (b == 1 ? 1 : -1e-6)) << r;
        EXPECT_NEAR(design->GetUncoded()(r, 0), 5.0F + 5.0F * coded(r, 0), 1e-4F) << r;
      }
    }
    const Eigen::MatrixXd x =
        DesignModel::Make(row.factors, row.model, EModel::kNone).Expand(row.factors, coded);
    EXPECT_EQ(Eigen::FullPivLU<Eigen::MatrixXd>(x).rank(), x.cols());
  }
}

// The layers are searched from one end, each complementing those before it: the first layer
// supports the model alone, and a second generation repeats the first.
TEST(OnionBuilder, ComplementsTheLayersFromOneEndAndRepeatsItself) {
  const Factors three = Quantitative(3);
  for (const EModel::Type model : {EModel::kInteraction, EModel::kQuadratic}) {
    SCOPED_TRACE(EModel::GetString(model));
    const DesignModel terms = DesignModel::Make(three, model, EModel::kNone);
    const auto design = kOnion.Generate(three, Options(three, model));
    const Eigen::MatrixXd x = terms.Expand(three, design->GetCoded());
    const auto rank_of_block = [&](int b) {
      const std::vector<int> runs = test_support::RowsOfBlock(*design, b);
      return Eigen::FullPivLU<Eigen::MatrixXd>(x(runs, Eigen::all)).rank();
    };
    EXPECT_EQ(std::max(rank_of_block(1), rank_of_block(3)), x.cols());
    const auto again = kOnion.Generate(three, Options(three, model));
    EXPECT_TRUE((terms.Expand(three, again->GetCoded()).array() == x.array()).all());
  }
}

TEST(OnionBuilder, SetLayersStoresTheLayersAndKeepsTheOptionsConsistent) {
  const Factors three = Quantitative(3);
  DesignOptions plain, plain_35;
  for (DesignOptions* options : {&plain, &plain_35}) options->SetProcessModel(EModel::kQuadratic);
  ASSERT_TRUE(plain.SetRuns(30) && plain_35.SetRuns(35));
  DesignOptions optimal = plain;
  optimal.SetDesignSpecificOptions(std::make_unique<DOptimalOptions>());
  struct Row {
    std::string name;
    DesignOptions options;
    int layers;
    bool stored;
    unsigned blocks;
    int runs;
  };
  const std::vector<Row> rows = {
      {"default runs follow the layers", plain, 2, true, 2, 20},
      {"runs still offered stay", plain_35, 2, true, 2, 35},
      {"runs no longer offered become the default", plain_35, 4, true, 4, 40},
      {"setting off keeps one block", Options(three, EModel::kQuadratic, 3, false), 5, true, 1, 50},
      {"no layers", plain, 0, false, 1, 30},
      {"too many layers", plain, OnionOptions::kMaxLayers + 1, false, 1, 30},
      {"settings of another design", optimal, 2, false, 1, 30},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    DesignOptions options = row.options;
    ASSERT_EQ(kOnion.SetLayers(options, row.layers, three), row.stored);
    EXPECT_EQ(options.GetBlocks(), row.blocks);
    EXPECT_EQ(options.GetRuns(), row.runs);
    EXPECT_TRUE(row.stored || options == row.options);
    const auto* onion = dynamic_cast<const OnionOptions*>(options.GetDesignSpecificOptions());
    EXPECT_EQ(row.stored, onion != nullptr && onion->GetNLayers() == row.layers);
    EXPECT_TRUE(!row.stored || kOnion.IsValid(three, options));
  }
}

TEST(OnionBuilder, RefusesSetUpsItCannotDesign) {
  const Factors two_level = Make(
      {Factors::Factor::Multilevel("A", {1.0, 2.0}), Factors::Factor::Multilevel("B", {1.0, 2.0})});
  const Factors four_level = Make({Factors::Factor::Multilevel("A", {1.0, 2.0, 3.0, 4.0})});
  const Factors three = Quantitative(3);
  DesignOptions cubic = Options(three, EModel::kLinear), two_blocks = cubic, stray_term;
  cubic.SetProcessModel(EModel::kCubic);
  ASSERT_TRUE(two_blocks.SetBlocks(2));
  auto terms = std::make_unique<DOptimalOptions>();
  terms->SetModel(DesignModel({{}, {0}, {5}}));
  stray_term.SetDesignSpecificOptions(std::move(terms));
  const std::string too_thin =
      "Neither the innermost nor the outermost layer of the design 'Onion' has enough "
      "candidate runs for the model.";
  struct Row {
    std::string name;
    Factors factors;
    DesignOptions options;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"mixture", test_support::Mixture(3), cubic,
       "The design 'Onion' is for process factors only."},
      {"cubic model", three, cubic, "The design 'Onion' does not support the model 'Cubic'."},
      {"stray term", three, stray_term,
       "The model of the design 'Onion' names a factor that is not designed."},
      {"too few layer runs", three, Options(three, EModel::kLinear, 3, true, 11),
       "The design 'Onion' needs at least 12 runs over its 3 layers, not 11."},
      {"blocks other than the layers", three, two_blocks,
       "The design 'Onion' cannot be divided into 2 blocks."},
      {"empty inner layer", two_level, Options(two_level, EModel::kLinear, 2),
       "The layer 1 of the design 'Onion' holds no candidate runs."},
      {"layers too thin", four_level, Options(four_level, EModel::kQuadratic, 2), too_thin},
      {"grid too large", Quantitative(8), Options(Quantitative(8), EModel::kLinear),
       "The design 'Onion' has too many candidate runs for these factors."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string message;
    EXPECT_FALSE(kOnion.IsValid(row.factors, row.options, &message));
    EXPECT_EQ(message, row.message);
    EXPECT_THROW((void)kOnion.Generate(row.factors, row.options), Exception);
  }
  const bool cancel = true;
  EXPECT_THROW((void)kOnion.Generate(three, Options(three, EModel::kQuadratic), &cancel),
               CancelException);
}

}  // namespace
}  // namespace zubra
