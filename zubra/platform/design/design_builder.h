// DesignBuilder: the interface every design family of the engine implements.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/design_options.h"
#include "zubra/platform/design/e_design.h"
#include "zubra/platform/design/e_model.h"
#include "zubra/platform/design/e_objective.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/generators.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// One design family (or one member of a family, told apart by name): what it accepts, how
// large it is, and its generation.
//
// A builder is stateless: every answer depends on the factors and options passed in, so one
// const instance serves the whole process (AllDesigns owns them). A new family derives from
// this class, implements the pure virtual functions and is registered with
// AllDesigns::Register; the common rules (objective, model, runs, blocks, centre points,
// replication, run limit) and the finishing of a design (centre points, replicates, blocks,
// uncoded values, fixed factors) are done here once for all families.
//
// Runs: "runs" is the size of the design proper, without centre points and replicates; the
// options' runs of 0 stand for the builder's default. A family designs the varied factors
// only (Factors::GetVaried) and never sees the others.
//
//   const DesignBuilder* ccd = AllDesigns::GetDesignBuilder(EDesign::kCentralComposite, "CCF");
//   DesignOptions options = ccd->MakeOptions(factors, base_options);
//   std::string why;
//   if (ccd->IsValid(factors, options, &why)) design = ccd->Generate(factors, options);
class DesignBuilder {
 public:
  virtual ~DesignBuilder() = default;

  [[nodiscard]] virtual EDesign::Type GetType() const = 0;
  [[nodiscard]] virtual std::string GetName() const = 0;
  // The preference among the designs that accept the factors: the smallest rank is chosen.
  [[nodiscard]] virtual std::int8_t GetRank() const = 0;
  // True when the family serves `objective`.
  [[nodiscard]] virtual bool SupportsObjective(EObjective::Type objective) const = 0;

  // True when a design of this family can be generated for `factors` with `options`. On
  // false, `message` (when given) receives the first reason found. Checks, in order: the
  // objective; the varied factors (kinds and counts); the process and mixture models; the
  // runs (0 or a candidate run count); family rules (generators, star distance); the blocks;
  // the centre points (at least the minimum, none when not allowed); the replicated runs (at
  // most the runs); the run total against the options' maximum.
  [[nodiscard]] bool IsValid(const Factors& factors, const DesignOptions& options,
                             std::string* message = nullptr) const;
  // The test of the best-design choice: IsValid, and the design is economical for the
  // options' model (at most max(16, 4 x model columns) runs). Classic designs ignore
  // `score_imported` and `redmup`.
  [[nodiscard]] virtual bool IsAdmissible(const Factors& factors, const DesignOptions& options,
                                          bool score_imported, bool redmup) const;

  // The run counts the family offers for `factors` and `options`, ascending; empty when it
  // does not accept the factors.
  [[nodiscard]] std::vector<int> GetCandidateRuns(const Factors& factors,
                                                  const DesignOptions& options) const;
  // The first candidate run count, or 0 when there is none.
  [[nodiscard]] int GetDefaultRuns(const Factors& factors, const DesignOptions& options) const;
  // The last candidate run count, or 0 when there is none.
  [[nodiscard]] int GetMaxRuns(const Factors& factors, const DesignOptions& options) const;
  // The block counts the family offers for a design of `runs` runs (0: the options' runs or
  // the default), ascending and always beginning with 1.
  [[nodiscard]] std::vector<unsigned> GetBlockCounts(const Factors& factors,
                                                     const DesignOptions& options,
                                                     int runs = 0) const;
  // The fewest centre points (total over all blocks) the options need.
  [[nodiscard]] int GetMinCenterPoints(const Factors& factors, const DesignOptions& options) const;
  // False when the design cannot hold centre points (by default when a varied factor has
  // discrete levels or settings).
  [[nodiscard]] bool AllowsCenterPoints(const Factors& factors) const;
  // Whether the design's model crosses process and mixture terms; false for classic designs.
  [[nodiscard]] virtual bool IsPMInteraction(const Factors& factors,
                                             const DesignOptions& options) const;
  // Sets the number of layers of a layered design into `options`; false (nothing changed)
  // for the families without layers.
  virtual bool SetLayers(DesignOptions& options, int layers, const Factors& factors) const;

  // The coded values of a factor with discrete values: the setting numbers 1..L of a
  // qualitative factor, the levels of a multilevel or time factor mapped onto -1..+1; empty
  // for a continuous factor.
  static std::vector<float> DiscreteCodedLevels(const Factors::Factor& factor);
  // The uncoded value of a process factor (not qualitative, not mixture) at coded value
  // `coded`: the middle of the range plus coded times half the range; a factor with levels
  // takes the level the value stands for, free of rounding.
  static float ProcessValue(const Factors::Factor& factor, float coded);

  // A copy of `base` made to suit this family for `factors`: the default runs, no
  // generators, blocks 1 unless the base's blocks are offered, centre points raised to the
  // minimum (or 0 when none are allowed), replicated runs at most the runs.
  [[nodiscard]] DesignOptions MakeOptions(const Factors& factors, const DesignOptions& base) const;

  // Generates the design. Throws Exception with the message of IsValid when the options are
  // not valid for the factors, and CancelException when `*cancel` becomes true while it
  // works. Runs come block by block: in each block the design's runs, their replicates, the
  // replicated runs and last the block's share of the centre points (spread evenly, the
  // first blocks taking one more when they do not divide).
  [[nodiscard]] std::unique_ptr<NCDesign> Generate(const Factors& factors,
                                                   const DesignOptions& options,
                                                   const bool* cancel = nullptr) const;

 protected:
  // The design proper over the varied factors, as a family builds it.
  struct Core {
    // One row per run, one column per varied factor, coded as in NCDesign, except that a
    // two-level design may give a qualitative factor -1/+1 (see two_level).
    NCDataMatrix<float> coded;
    std::vector<int> blocks;               // 1-based per run; empty: all in block 1
    std::vector<NCDesign::RunKind> kinds;  // per run; empty: all kDesign
    Generators generators;
    bool two_level = false;        // -1/+1 of a qualitative factor are its first and second setting
    std::vector<int> whole_plots;  // 1-based whole plot per run; empty: not a split-plot design
  };

  // The family's answers. Each receives the varied factors only (never empty), and all but
  // CheckFactors may assume that CheckFactors accepted them.
  //
  // Rules on the factors (kinds, counts).
  virtual bool CheckFactors(const Factors& factors, std::string* message) const = 0;
  // Rules on the models of the options.
  virtual bool CheckModel(const Factors& factors, const DesignOptions& options,
                          std::string* message) const = 0;
  // Further rules (generators, star distance) for a design of `runs` runs; true by default.
  virtual bool CheckSpecific(const Factors& factors, const DesignOptions& options, int runs,
                             std::string* message) const;
  [[nodiscard]] virtual std::vector<int> CandidateRuns(const Factors& factors,
                                                       const DesignOptions& options) const = 0;
  // Block counts for `runs` runs; {1} by default.
  [[nodiscard]] virtual std::vector<unsigned> BlockCounts(const Factors& factors,
                                                          const DesignOptions& options,
                                                          int runs) const;
  // 0 by default.
  [[nodiscard]] virtual int MinCenterPoints(const Factors& factors,
                                            const DesignOptions& options) const;
  // True unless a factor has discrete levels or settings, by default.
  [[nodiscard]] virtual bool CenterPointsAllowed(const Factors& factors) const;
  // Builds the design proper for valid options of `runs` runs in `blocks` blocks.
  virtual Core BuildCore(const Factors& factors, const DesignOptions& options, int runs,
                         unsigned blocks, const bool* cancel) const = 0;
  // The coded centre point: 0 for process factors, the overall centroid 1/q for q mixture
  // factors.
  [[nodiscard]] virtual std::vector<float> CenterPoint(const Factors& factors) const;

  // Helpers for the families.
  static bool Refuse(std::string* message, std::string text);
  // Refuses (false, with the family's message) when a factor is a mixture factor; true
  // otherwise.
  bool RefuseMixture(const Factors& factors, std::string* message) const;
  // Refuses `model`: returns false with the family's message that it does not support it.
  bool RefuseModel(EModel::Type model, std::string* message) const;
  // Throws CancelException when `cancel` points to true.
  static void ThrowIfCancelled(const bool* cancel);
  // The varied factors, as Factors of their own (design order kept).
  static Factors VariedFactors(const Factors& factors);
  // True for a factor a two-level design can vary: continuous, or with exactly two levels
  // or settings.
  static bool IsTwoLevelFactor(const Factors::Factor& factor);
  // True for a continuous process factor (quantitative, or time without time points).
  static bool IsContinuous(const Factors::Factor& factor);
  // The model of the options over `factors`.
  static DesignModel OptionsModel(const Factors& factors, const DesignOptions& options);

 private:
  bool CheckAll(const Factors& factors, const DesignOptions& options, int* runs,
                std::string* message) const;
};

}  // namespace zubra
