// The plate design: a strip-plot design that crosses a design in the factors of the plate's
// rows with one in the factors of its columns, on one or more well plates.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/design/split_plot_options.h"

namespace zubra::internal {

// The plate (strip-plot) design, type 40.
//
// The settings come from the SplitPlotOptions held as the design-specific options. The
// horizontal factors change from row to row of a plate and the vertical factors from column
// to column, so the horizontal side design fills the rows (one row per horizontal run), the
// vertical side design the columns, and every well holds one horizontal run crossed with one
// vertical run: a plate of H x V wells, H and V the side runs. Wells of a larger plate are
// left empty.
//
// Each side design is built for its side's model over its factors:
//   - a two-level factorial when the model is linear or interaction and every side factor has
//     two levels (continuous, or two levels or settings): with side runs 0 the smallest
//     design of the generator table whose main effects are clear of two-factor interactions
//     (resolution IV), or for the interaction model of resolution V (one factor: its two
//     levels); with side runs set to a run count of a table design that supports the model
//     (resolution III for linear, V for interaction), that design;
//   - otherwise a D-optimal choice from the side's candidate grid (three levels of every
//     continuous factor, the levels or settings of the others) by point exchange, with the
//     side runs, or as many runs as the side model has columns when they are 0.
// Several plates repeat the same two side designs, so each plate is a complete replicate and
// the plate effect can be taken out as a block; on every plate the side runs are assigned to
// rows and to columns in a fresh random order (seeded by the options' search seed or kSeed,
// so a generation is always repeated exactly), which keeps row and column positions from lining up
// with the factors. The runs come plate by plate, row by row, and column by column within a row:
// run (p * H + r) * V + c is the well in row r and column c of plate p (all 0-based).
//
// Blocks: 1, and the number of plates when the settings add a block factor and there are
// several plates; then each plate is one block. No centre points, replicates or replicated
// runs: a plate design repeats by plates. Run counts offered: one, H x V x plates. The
// design's model (Model below) is the two side models together, plus the products of every
// horizontal with every vertical factor when the settings add plate interactions; the
// options' own process model is not used. The switch for plate factors is kept with the
// settings and does not change the runs.
//
// Refused: mixture factors; missing settings; a side without factors; a factor named twice
// or on both sides; a varied factor on neither side; an index that names no factor; a side
// model other than linear, interaction or quadratic; side runs too few for the side model;
// a quadratic side model on a factor of two levels; fewer than one plate; a plate size below
// H x V. Serves every objective but the process-mixture one. In the best-design choice it
// is admissible only for plate investigations (the `redmup` flag), and is preferred to every
// classic design there.
//
// Factor indexes: the side lists name the factors by their position in the Factors the
// builder designs, that is among the varied factors (the same as the design index when every
// factor is varied); ForVariedFactors renumbers settings written with design indexes.
class PlateBuilder final : public DesignBuilder {
 public:
  static constexpr std::uint64_t kSeed = 20'260'401;
  static constexpr int kStarts = 8;  // random starts of the point exchange of a side
  static constexpr int kCandidateLevels = 3;

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kREDMUP; }
  [[nodiscard]] std::string GetName() const override { return "REDMUP"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 5; }
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;
  [[nodiscard]] bool IsAdmissible(const Factors& factors, const DesignOptions& options,
                                  bool score_imported, bool redmup) const override;

  // The model a plate design with `plate` settings is judged by, over `factors`: the
  // constant, the terms of the horizontal side model over the horizontal factors and of the
  // vertical side model over the vertical factors (each without its constant), and with plate
  // interactions every product of a horizontal and a vertical factor. Indexes that name no
  // factor of `factors` are skipped.
  static DesignModel Model(const Factors& factors, const SplitPlotOptions& plate);

  // The settings with the side lists renumbered from design indexes over all factors to
  // positions among the varied ones, given the design indexes of the varied factors
  // (ascending, as Factors::GetVaried gives them) and the number of all factors. An index of
  // a factor that is not varied is dropped (it keeps its fixed value); an index that names no
  // factor becomes -1, which the design refuses.
  static SplitPlotOptions ForVariedFactors(const SplitPlotOptions& plate,
                                           const std::vector<int>& varied_index, int factor_count);

 protected:
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;
  bool CheckSpecific(const Factors& factors, const DesignOptions& options, int runs,
                     std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  [[nodiscard]] bool CenterPointsAllowed(const Factors& factors) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

 private:
  struct SidePlan;
  struct Plan;
  // Checks the settings against `factors` and lays out both sides; false with the reason.
  bool MakePlan(const Factors& factors, const DesignOptions& options, Plan* plan,
                std::string* message) const;
  // Lays out one side; `name` is "horizontal" or "vertical".
  bool MakeSidePlan(const Factors& factors, const SplitPlotOptions::Side& side,
                    const std::string& name, SidePlan* plan, std::string* message) const;
  // The runs of one side design, coded, one column per side factor; the search takes the
  // options' threads and search seed.
  static NCDataMatrix<float> BuildSide(const SidePlan& plan, const DesignOptions& options,
                                       const bool* cancel);
};

}  // namespace zubra::internal
