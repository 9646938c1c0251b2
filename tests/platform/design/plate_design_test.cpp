// The plate (strip-plot) design: the crossing of the row and column designs on every plate,
// the choice of each side design, blocks by plate, repeatability and the refusals.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/design_statistics.h"
#include "zubra/platform/design/internal/plate_builder.h"
#include "zubra/platform/design/split_plot_options.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using internal::PlateBuilder;
using Side = SplitPlotOptions::Side;
using Values = std::vector<float>;
using Order = std::vector<Values>;  // the side runs along the rows or columns of a plate

DesignOptions PlateOptions(const Side& horizontal, const Side& vertical, int plates = 1,
                           bool block = false, bool interactions = false) {
  auto plate = std::make_unique<SplitPlotOptions>();
  plate->Horizontal() = horizontal;
  plate->Vertical() = vertical;
  plate->SetPlates(plates);
  plate->SetAddBlockFactor(block);
  plate->SetAddPlateInteractions(interactions);
  DesignOptions options;
  options.SetCenterPoints(0);
  options.SetDesignSpecificOptions(std::move(plate));
  if (block) options.SetBlocks(static_cast<unsigned>(plates));
  return options;
}

const SplitPlotOptions& Settings(const DesignOptions& options) {
  return dynamic_cast<const SplitPlotOptions&>(*options.GetDesignSpecificOptions());
}

Values Pick(const NCDesign& design, int run, const std::vector<int>& columns) {
  Values values;
  for (int c : columns) values.push_back(design.GetCoded()(run, c));
  return values;
}

// Checks that every plate is the crossing of `rows` row runs with `columns` column runs, the
// same side designs on every plate; returns the row and column order of each plate.
std::vector<std::pair<Order, Order>> CheckCrossing(const NCDesign& design, const Side& horizontal,
                                                   const Side& vertical, int rows, int columns) {
  std::vector<std::pair<Order, Order>> plates;
  const int wells = rows * columns;
  EXPECT_EQ(design.GetRuns() % wells, 0);
  for (int start = 0; start < design.GetRuns(); start += wells) {
    Order row_order;
    Order column_order;
    for (int r = 0; r < rows; ++r)
      row_order.push_back(Pick(design, start + r * columns, horizontal.factors));
    for (int c = 0; c < columns; ++c)
      column_order.push_back(Pick(design, start + c, vertical.factors));
    for (int run = start; run < start + wells; ++run) {
      const auto r = static_cast<std::size_t>((run - start) / columns);
      const auto c = static_cast<std::size_t>((run - start) % columns);
      EXPECT_EQ(Pick(design, run, horizontal.factors), row_order[r]) << "run " << run;
      EXPECT_EQ(Pick(design, run, vertical.factors), column_order[c]) << "run " << run;
    }
    if (!plates.empty()) {
      using Bag = std::multiset<Values>;
      EXPECT_EQ(Bag(row_order.begin(), row_order.end()),
                Bag(plates[0].first.begin(), plates[0].first.end()));
      EXPECT_EQ(Bag(column_order.begin(), column_order.end()),
                Bag(plates[0].second.begin(), plates[0].second.end()));
    }
    plates.emplace_back(std::move(row_order), std::move(column_order));
  }
  return plates;
}

Factors PlateFactors() {
  return test_support::Make({Factors::Factor::Quantitative("pH", 6.0, 8.0),
                             Factors::Factor::Qualitative("Buffer", {"Phosphate", "Tris"}),
                             Factors::Factor::Quantitative("Enzyme", 1.0, 5.0),
                             Factors::Factor::Quantitative("Substrate", 10.0, 50.0),
                             Factors::Factor::Multilevel("Salt", {0.0, 50.0, 100.0})});
}

TEST(PlateBuilder, FillsTwo8By12PlatesWithTheCrossingOfItsSides) {
  // Rows: pH and buffer with their interaction; columns: enzyme, substrate and salt for the
  // quadratic model; each of the two plates a block.
  const Factors factors = PlateFactors();
  const PlateBuilder builder;
  const Side rows = {{0, 1}, EModel::kInteraction, 8};
  const Side columns = {{2, 3, 4}, EModel::kQuadratic, 12};
  for (bool interactions : {false, true}) {
    SCOPED_TRACE(interactions ? "with plate interactions" : "without plate interactions");
    const DesignOptions options = PlateOptions(rows, columns, 2, true, interactions);
    std::string why;
    ASSERT_TRUE(builder.IsValid(factors, options, &why)) << why;
    EXPECT_TRUE(builder.IsAdmissible(factors, options, false, true));
    EXPECT_FALSE(builder.IsAdmissible(factors, options, false, false)) << "plate studies only";
    EXPECT_EQ(builder.GetCandidateRuns(factors, options), std::vector<int>{192});
    const auto design = builder.Generate(factors, options);
    ASSERT_EQ(design->GetRuns(), 192);
    const auto plates = CheckCrossing(*design, rows, columns, 8, 12);
    EXPECT_NE(plates[0], plates[1]) << "each plate has its own layout";
    EXPECT_EQ(builder.Generate(factors, options)->GetCoded(), design->GetCoded()) << "repeated";
    for (int r = 0; r < design->GetRuns(); ++r) {
      EXPECT_EQ(design->GetBlocks()[static_cast<std::size_t>(r)], r / 96 + 1);
      const float salt = design->GetUncoded()(r, 4);
      EXPECT_TRUE(salt == 0.0F || salt == 50.0F || salt == 100.0F) << salt;
      EXPECT_TRUE(design->GetCoded()(r, 1) == 1.0F || design->GetCoded()(r, 1) == 2.0F);
    }
    const DesignModel model = PlateBuilder::Model(factors, Settings(options));
    // 1 + (pH, buffer, pH*buffer) + (3 mains, 3 interactions, 3 squares), and 2 x 3 products.
    EXPECT_EQ(model.GetColumnCount(factors), interactions ? 19 : 13);
    EXPECT_FALSE(DesignStatistics::Compute(design->GetCoded(), factors, model).IsSingular());
  }
}

TEST(PlateBuilder, ChoosesEachSideDesignByItsModelAndRuns) {
  struct Row {
    std::string name;
    std::vector<Factors::Factor> factors;
    Side horizontal;
    Side vertical;
    int rows;
    int columns;
    int resolution;  // of the two-level row design; 0: the rows are chosen by point exchange
  };
  std::vector<Factors::Factor> seven;
  for (char name = 'A'; name <= 'G'; ++name) {
    seven.push_back(Factors::Factor::Quantitative(std::string(1, name), 0, 1));
  }
  const auto first = [&seven](int n) {
    return std::vector<Factors::Factor>(seven.begin(), seven.begin() + n);
  };
  std::vector<Factors::Factor> cell = first(3);
  cell[0] = Factors::Factor::Qualitative("Cell", {"a", "b", "c"});
  // clang-format off
  const std::vector<Row> rows = {
      {"linear: resolution IV", seven, {{0, 1, 2, 3}}, {{4, 5, 6}}, 8, 8, 4},
      {"interaction: resolution V", first(6), {{0, 1, 2, 3, 4}, EModel::kInteraction}, {{5}}, 16, 2, 5},
      {"runs of a table design", first(4), {{0, 1, 2}, EModel::kLinear, 4}, {{3}}, 4, 2, 3},
      {"runs off the table", first(3), {{0, 1}, EModel::kLinear, 6}, {{2}, EModel::kLinear, 3}, 6, 3, 0},
      {"quadratic: one run per column", first(3), {{0, 1}, EModel::kQuadratic}, {{2}}, 6, 2, 0},
      {"three settings", cell, {{0, 1}, EModel::kInteraction}, {{2}}, 6, 2, 0},
  };
  // clang-format on
  const PlateBuilder builder;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = test_support::Make(row.factors);
    const DesignOptions options = PlateOptions(row.horizontal, row.vertical);
    std::string why;
    ASSERT_TRUE(builder.IsValid(factors, options, &why)) << why;
    const auto design = builder.Generate(factors, options);
    ASSERT_EQ(design->GetRuns(), row.rows * row.columns);
    const auto plates = CheckCrossing(*design, row.horizontal, row.vertical, row.rows, row.columns);
    const DesignModel model = PlateBuilder::Model(factors, Settings(options));
    EXPECT_FALSE(DesignStatistics::Compute(design->GetCoded(), factors, model).IsSingular());
    if (row.resolution == 0) continue;
    const Order& side = plates[0].first;
    NCDataMatrix<float> matrix(row.rows, static_cast<int>(side[0].size()));
    for (int r = 0; r < row.rows; ++r) {
      for (int c = 0; c < matrix.GetCols(); ++c)
        matrix(r, c) = side[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)];
    }
    for (int c = 0; c < matrix.GetCols(); ++c) {
      EXPECT_EQ(test_support::ProductSum(matrix, {c}), 0.0) << "balanced column " << c;
      EXPECT_EQ(test_support::ProductSum(matrix, {c, c}), row.rows) << "two levels, column " << c;
    }
    EXPECT_EQ(test_support::MatrixResolution(matrix, row.resolution), row.resolution);
  }
}

TEST(PlateBuilder, RefusesInconsistentSettings) {
  struct Row {
    std::string name;
    Side horizontal;
    Side vertical;
    std::string message;
    std::function<void(DesignOptions&)> change = nullptr;
    bool two_level_salt = false;
  };
  const auto settings = [](DesignOptions& options) {
    return dynamic_cast<SplitPlotOptions*>(options.GetDesignSpecificOptions());
  };
  const Side rows = {{0, 1}};
  const Side columns = {{2, 3, 4}};
  // clang-format off
  const std::vector<Row> table = {
      {"no plate settings", rows, columns, "The design 'REDMUP' needs the plate settings.",
       [](DesignOptions& options) { options.SetDesignSpecificOptions(nullptr); }},
      {"an empty side", {}, {{0, 1, 2, 3, 4}}, "The horizontal side of the plate has no factors."},
      {"a factor on both sides", {{0, 1, 2}}, columns, "The factor 'Enzyme' is on both sides of the plate."},
      {"a factor twice on one side", rows, {{2, 3, 4, 3}},
       "The factor 'Substrate' is named twice on the vertical side of the plate."},
      {"a factor on neither side", rows, {{2, 3}}, "The factor 'Salt' is on neither side of the plate."},
      {"an index past the factors", rows, {{2, 3, 4, 5}}, "The plate settings name a factor that is not designed."},
      {"a cubic side model", {{0, 1}, EModel::kCubic}, columns,
       "The horizontal side of the plate does not support the model 'Cubic'."},
      {"too few runs", rows, {{2, 3, 4}, EModel::kQuadratic, 9},
       "The vertical side of the plate needs at least 10 runs for its model, not 9."},
      {"a quadratic side over two levels", rows, {{2, 3, 4}, EModel::kQuadratic},
       "The factor 'Salt' needs at least three levels for the quadratic model.", nullptr, true},
      {"more wells than the plate holds", {{0, 1}, EModel::kInteraction, 8}, {{2, 3, 4}, EModel::kQuadratic, 13},
       "A plate of 96 wells cannot hold the 8 x 13 runs of its sides."},
      {"no plates", rows, columns, "The number of plates must be at least 1, not 0.",
       [&](DesignOptions& options) { settings(options)->SetPlates(0); }},
      {"replicates", rows, columns,
       "The design 'REDMUP' is repeated by its plates; it takes no replicates or replicated runs.",
       [](DesignOptions& options) { options.SetReplicates(1); }},
      {"centre points", rows, columns, "The design 'REDMUP' cannot have centre points for these factors.",
       [](DesignOptions& options) { options.SetCenterPoints(2); }},
      {"plates as blocks without a block factor", rows, columns, "The design 'REDMUP' cannot be divided into 2 blocks.",
       [&](DesignOptions& options) { settings(options)->SetPlates(2); options.SetBlocks(2); }},
  };
  // clang-format on
  const PlateBuilder builder;
  const Factors plate_factors = PlateFactors();
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    Factors factors;
    for (const Factors::Factor& factor : plate_factors.GetAll()) {
      const bool swap = row.two_level_salt && factor.name == "Salt";
      ASSERT_TRUE(
          factors.Add(swap ? Factors::Factor::Multilevel("Salt", {0, 1}) : factor, nullptr));
    }
    DesignOptions options = PlateOptions(row.horizontal, row.vertical);
    if (row.change) row.change(options);
    std::string why;
    EXPECT_FALSE(builder.IsValid(factors, options, &why));
    EXPECT_EQ(why, row.message);
    try {
      (void)builder.Generate(factors, options);
      ADD_FAILURE() << "generated";
    } catch (const Exception& error) {
      EXPECT_EQ(error.Message(), row.message);
    }
  }
}

TEST(PlateBuilder, RenumbersSideListsForTheVariedFactors) {
  struct Row {
    std::string name;
    std::vector<int> varied;
    std::vector<int> horizontal, vertical, horizontal_after, vertical_after;
  };
  const std::vector<Row> rows = {
      {"every factor varied", {0, 1, 2, 3}, {0, 2}, {3, 1}, {0, 2}, {3, 1}},
      {"a fixed factor in front", {1, 2, 3}, {1, 3}, {2}, {0, 2}, {1}},
      {"a fixed factor on a side is dropped", {0, 2, 3}, {0, 1}, {2, 3}, {0}, {1, 2}},
      {"an index past the factors", {0, 1, 2, 3}, {0}, {1, 7}, {0}, {1, -1}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    SplitPlotOptions plate;
    plate.Horizontal().factors = row.horizontal;
    plate.Vertical().factors = row.vertical;
    const SplitPlotOptions renumbered = PlateBuilder::ForVariedFactors(plate, row.varied, 4);
    EXPECT_EQ(renumbered.Horizontal().factors, row.horizontal_after);
    EXPECT_EQ(renumbered.Vertical().factors, row.vertical_after);
  }
}

}  // namespace
}  // namespace zubra
