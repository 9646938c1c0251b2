// FMatrix: a single-precision matrix with 1-based element access, backed by Eigen.
#pragma once

#include <Eigen/Core>
#include <initializer_list>
#include <utility>

#include "zubra/platform/matrix/f_vector.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// A dense matrix of floats whose rows and columns are numbered from 1.
//
// Design matrices (one row an observation, one column a factor or model term), constraint
// matrices and factor codings travel in this type. The values live in a row-major Eigen
// matrix that AsEigen() exposes by reference for algebra, so the cells of one row are
// contiguous (GetRowData). Indices are checked by assert in debug builds only. Copies are
// deep.
//
//   FMatrix design(runs, factors);
//   design(1, 1) = -1.0F;                          // first run, first factor
//   const int first_term = design.AppendColumns(2, static_cast<float>(kUndefined));
//   FMatrix::Storage xtx = design.AsEigen().transpose() * design.AsEigen();
class FMatrix {
 public:
  using Storage = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

  FMatrix() = default;
  // A rows x cols matrix (negative counts count as 0) with every cell equal to `fill`.
  FMatrix(int rows, int cols, float fill = 0.0F);
  // A matrix given row by row; rows shorter than the longest are padded with 0.
  FMatrix(std::initializer_list<std::initializer_list<float>> rows);
  // Takes over an Eigen matrix, typically the result of an algebraic expression.
  explicit FMatrix(Storage values) : values_(std::move(values)) {}
  // Copies a 0-based data matrix: its cell (r, c) becomes cell (r + 1, c + 1).
  explicit FMatrix(const NCDataMatrix<float>& data);

  [[nodiscard]] int GetRows() const { return static_cast<int>(values_.rows()); }
  [[nodiscard]] int GetCols() const { return static_cast<int>(values_.cols()); }

  // Cell (row, col), 1 <= row <= GetRows(), 1 <= col <= GetCols().
  float& operator()(int row, int col);
  [[nodiscard]] float operator()(int row, int col) const;

  // The cells of `row` (1-based) as a plain array: element 0 is column 1, and the row's
  // GetCols() cells are contiguous. Valid until the matrix is resized.
  float* GetRowData(int row);
  [[nodiscard]] const float* GetRowData(int row) const;

  // Copies of one row or column (1-based).
  [[nodiscard]] FVector GetRow(int row) const;
  [[nodiscard]] FVector GetColumn(int col) const;
  // Overwrites one row or column (1-based) with `values`, whose size must be GetCols() or
  // GetRows() respectively.
  void SetRow(int row, const FVector& values);
  void SetColumn(int col, const FVector& values);

  // Changes the shape (negative counts count as 0), keeping every cell that lies in both the
  // old and the new shape at its (row, col); new cells are set to `fill`.
  void Resize(int rows, int cols, float fill = 0.0F);
  // Widens the matrix by `count` columns on the right, filled with `fill`, and returns the
  // 1-based number of the first new column (GetCols() + 1 before the call).
  int AppendColumns(int count, float fill = 0.0F);
  // Sets every cell to `value`.
  void Fill(float value) { values_.setConstant(value); }

  Storage& AsEigen() { return values_; }
  [[nodiscard]] const Storage& AsEigen() const { return values_; }

  // A 0-based copy for the design engine: cell (r, c) holds cell (r + 1, c + 1).
  [[nodiscard]] NCDataMatrix<float> ToNCDataMatrix() const;

  // Same shape and exactly equal cells (a NaN equals nothing).
  [[nodiscard]] bool operator==(const FMatrix& other) const;

 private:
  Storage values_;
};

}  // namespace zubra
