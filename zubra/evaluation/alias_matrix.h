// AliasMatrix: how terms left out of a model bias the coefficients a design estimates, and
// the correlations between the columns of the model.
#pragma once

#include <Eigen/Core>
#include <string>
#include <vector>

#include "zubra/evaluation/evaluated_design.h"
#include "zubra/platform/design/design_model.h"

namespace zubra {

// For any design (not only regular fractions): with X1 the model matrix of the design (model
// columns, then block columns) and X2 the columns of potential terms left out of the model,
// the alias matrix A = (X1'X1)^-1 X1'X2 says how each left-out term would bias the fitted
// coefficients if it were active: E[b1] = beta1 + A beta2. Entry (i, j) is the share of
// potential column j that lands on model column i: 1 for full aliasing, 0 when the columns
// are orthogonal, +-1/3 for the partial aliasing of a 12-run Plackett-Burman design. Rows are
// the model columns (block columns are fitted but not listed), columns the potential ones.
//
// The potential terms default to the two-factor interactions of the varied factors that the
// model does not hold (for mixture factors these are the quadratic blending terms).
//
// The correlation map is the matrix of Pearson correlations across the runs between the
// model columns other than the constant, followed by the potential columns: 0 for orthogonal
// columns of a design with a constant, +-1 for columns that cannot be told apart.
//
//   AliasMatrix::Results aliases = AliasMatrix::Compute(design, nullptr);
//   double bias = aliases.matrix(row_of_A, column_of_BC);
class AliasMatrix {
 public:
  struct Results {
    // True when X1 is singular: the matrix is then empty.
    bool singular = true;
    std::vector<std::string> model_names;      // one per row
    std::vector<std::string> potential_names;  // one per column
    Eigen::MatrixXd matrix;
  };

  struct Correlations {
    std::vector<std::string> names;  // one per row and column
    // Symmetric, 1 on the diagonal; a column that does not vary over the runs has undefined
    // (-99) correlations, its diagonal included.
    Eigen::MatrixXd matrix;
  };

  // The two-factor interactions {i, j}, i < j, of the varied factors of `design` that its
  // model does not hold, in factor order.
  static DesignModel TwoFactorInteractionsNotIn(const EvaluatedDesign& design);

  // The alias matrix of `design` against `potential` (null: TwoFactorInteractionsNotIn).
  // Throws Exception when `potential` names a factor the design does not have.
  static Results Compute(const EvaluatedDesign& design, const DesignModel* potential);

  // The correlation map of the model columns and `potential` (null: as for Compute; pass an
  // empty model for the model columns alone). Throws like Compute.
  static Correlations CorrelationMap(const EvaluatedDesign& design, const DesignModel* potential);
};

}  // namespace zubra
