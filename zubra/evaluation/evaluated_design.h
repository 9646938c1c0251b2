// EvaluatedDesign: a design together with the factors, model, blocks and region it is judged
// by, the common input of the power, aliasing and prediction-variance evaluations.
#pragma once

#include <Eigen/Core>
#include <optional>
#include <string>
#include <vector>

#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

class ConstraintsInfo;
class ModelSpec;
class NCDesign;

// A snapshot of one design and what it is meant to estimate: the engine's factors, the model
// (DesignModel, whose Expand gives the model matrix in coded units: process factors -1..+1,
// qualitative factors effect-coded, mixture factors as pseudo-components), the coded runs
// (one column per factor, as in NCDesign), the 1-based block of each run and the linear
// constraints of the region. It owns copies of all of them.
//
// Blocks enter every evaluation as nuisance effects: with B distinct block numbers the model
// matrix gets B - 1 effect-coded block columns after the model's own, so that every figure is
// the one of the blocked analysis; predictions are for the average block.
//
//   EvaluatedDesign design = EvaluatedDesign::FromModelSpec(spec, &constraints);
//   PowerAnalysis::Results power = PowerAnalysis::Compute(design, settings);
class EvaluatedDesign {
 public:
  // The most runs Replicated makes.
  static constexpr long long kMaxReplicatedRuns = 10'000'000;

  // The dispersion of the coefficients of the full model matrix X (model and block columns).
  struct Dispersion {
    // True when X has rank below its column count (also when there are fewer runs than
    // columns): no coefficient can be estimated on its own, and the other fields are empty.
    bool singular = true;
    // Runs less the rank of X.
    int residual_df = 0;
    // (X'X)^-1, model columns first, then block columns.
    Eigen::MatrixXd inverse;
  };

  // Throws Exception, naming the problem, when the model has no column or is not valid for
  // the factors (a term names no factor or repeats a qualitative one), when `coded` does not
  // have one column per factor, when `blocks` is neither empty (all runs in one block) nor
  // one positive number per run, or when a coded value is not finite.
  EvaluatedDesign(Factors factors, DesignModel model, NCDataMatrix<float> coded,
                  std::vector<int> blocks = {}, std::optional<NCDOE::Constraints> constraints = {});

  // `design` (its coded runs and blocks) for `model` over `factors`; `constraints` may be
  // null. Throws as the constructor.
  static EvaluatedDesign FromDesign(const NCDesign& design, const Factors& factors,
                                    const DesignModel& model,
                                    const NCDOE::Constraints* constraints = nullptr);
  // The selected design of `spec` for its term list (the terms whose factors the designs
  // vary), over its factor extract, with the constraints of `constraints` (may be null).
  // Throws Exception "There is no design to evaluate." when no design is selected, and as
  // the constructor otherwise.
  static EvaluatedDesign FromModelSpec(const ModelSpec& spec, const ConstraintsInfo* constraints);

  [[nodiscard]] const Factors& GetFactors() const { return factors_; }
  [[nodiscard]] const DesignModel& GetModel() const { return model_; }
  [[nodiscard]] const NCDataMatrix<float>& GetCoded() const { return coded_; }
  // The 1-based block of every run (all 1 when the design is not blocked).
  [[nodiscard]] const std::vector<int>& GetBlocks() const { return blocks_; }
  // The constraints of the region, or null when there are none.
  [[nodiscard]] const NCDOE::Constraints* GetConstraints() const {
    return constraints_ ? &*constraints_ : nullptr;
  }
  [[nodiscard]] int GetRuns() const { return coded_.GetRows(); }
  // The number of model columns p (qualitative terms expanded), block columns not counted.
  [[nodiscard]] int GetModelColumns() const { return model_columns_; }
  // The number of block columns: distinct blocks less one.
  [[nodiscard]] int GetBlockColumns() const { return static_cast<int>(block_numbers_.size()) - 1; }
  // The model column of the constant, or -1 when the model has none.
  [[nodiscard]] int GetConstantColumn() const;
  // One name per model column (DesignModel::GetColumnNames).
  [[nodiscard]] std::vector<std::string> GetColumnNames() const;
  // The name of a model term: the factor names joined by "*" ("Constant" for the constant,
  // "A*A" for a square).
  [[nodiscard]] std::string TermName(const DesignModel::Term& term) const;

  // The model matrix of the runs: the model columns, then the block columns.
  [[nodiscard]] Eigen::MatrixXd ModelMatrix() const;
  // The dispersion of ModelMatrix().
  [[nodiscard]] Dispersion ComputeDispersion() const;
  // The same design with every run (and its block) repeated `copies` times (at least once),
  // each copy's runs in the design's order. Throws Exception when that makes more than
  // kMaxReplicatedRuns runs.
  [[nodiscard]] EvaluatedDesign Replicated(int copies) const;

 private:
  Factors factors_;
  DesignModel model_;
  NCDataMatrix<float> coded_;
  std::vector<int> blocks_;
  std::optional<NCDOE::Constraints> constraints_;
  int model_columns_ = 0;
  std::vector<int> block_numbers_;  // the distinct blocks, ascending
};

}  // namespace zubra
