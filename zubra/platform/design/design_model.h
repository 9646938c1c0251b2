// DesignModel: the list of model terms a design is built for and judged by.
#pragma once

#include <Eigen/Core>
#include <string>
#include <vector>

#include "zubra/platform/design/e_model.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// A model as a list of terms; each term is the list of the 0-based design indexes of the
// factors it multiplies, kept ascending. The empty term is the constant, {2, 2} is the square
// of factor 2, {0, 0, 1} the cubic term x0*x0*x1.
//
// A term on a qualitative factor of L settings takes L - 1 model columns (effect coding:
// setting j < L gives +1 in column j, setting L gives -1 in every column); any other factor
// takes one column per term. The model matrix is built from a coded design matrix (see
// NCDesign): process factors in coded units, qualitative factors as setting numbers,
// mixture factors as pseudo-components.
//
//   DesignModel model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
//   Eigen::MatrixXd x = model.Expand(factors, design.GetCoded());
class DesignModel {
 public:
  using Term = std::vector<int>;

  DesignModel() = default;
  // Takes the terms as given, sorting the indexes within each term.
  explicit DesignModel(std::vector<Term> terms);

  // The standard model of the given order over the varied factors: for process factors a
  // constant, the main effects, with kInteraction every two-factor interaction, with
  // kQuadratic also every square of a factor that is not qualitative; for mixture factors the
  // canonical mixture model without a constant (see EModel). With both kinds the mixture
  // terms come first, then the process terms without the constant. A kind whose model is
  // kNone (or a cubic model for process factors) adds no terms of its own.
  static DesignModel Make(const Factors& factors, EModel::Type process_model,
                          EModel::Type mixture_model);

  // The process-mixture model with crossed terms: the mixture model's terms, then every term
  // of the process model (constant left out) multiplied by each mixture component in turn,
  // so that every process effect may differ between blends. The process effects themselves
  // are not separate terms: the components sum to the total, so each process term is the sum
  // of its crossings. Without process or without mixture factors it is Make.
  static DesignModel MakeCrossed(const Factors& factors, EModel::Type process_model,
                                 EModel::Type mixture_model);

  [[nodiscard]] const std::vector<Term>& GetTerms() const { return terms_; }
  [[nodiscard]] bool HasConstant() const;
  // True when every index names a factor of `factors` and no term repeats a qualitative
  // factor.
  [[nodiscard]] bool IsValidFor(const Factors& factors) const;
  // The number of model-matrix columns for `factors` (qualitative terms expanded).
  [[nodiscard]] int GetColumnCount(const Factors& factors) const;
  // One name per model-matrix column: "Constant", factor names joined by "*", a qualitative
  // factor's column as "Name(setting)".
  [[nodiscard]] std::vector<std::string> GetColumnNames(const Factors& factors) const;
  // The model matrix of `coded` (one row per run, one column per factor of `factors`).
  // Requires IsValidFor(factors).
  [[nodiscard]] Eigen::MatrixXd Expand(const Factors& factors,
                                       const NCDataMatrix<float>& coded) const;

  // The moments E[f(x) f(x)'] of the model columns over the box region of `factors`, the
  // factors independent and each uniform in coded units: a continuous factor over -1..+1, a
  // factor with levels or settings over them, each with equal weight. This is the W of the
  // average prediction variance trace((X'X)^-1 W). Returns an empty matrix when a factor is a
  // mixture factor (its region is not a box). Requires IsValidFor(factors).
  [[nodiscard]] Eigen::MatrixXd Moments(const Factors& factors) const;

  [[nodiscard]] bool operator==(const DesignModel& other) const = default;

 private:
  std::vector<Term> terms_;
};

}  // namespace zubra
