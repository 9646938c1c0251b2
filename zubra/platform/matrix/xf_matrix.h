// XFMatrix: a float matrix with a name of its own and a name for every row and column.
#pragma once

#include <Eigen/Core>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zubra/platform/matrix/f_matrix.h"
#include "zubra/platform/matrix/f_vector.h"

namespace zubra {

// A 1-based FMatrix that carries a name ("Coding", "Inclusions") and one name per row and per
// column. Names start empty and may repeat.
//
// Invariant: there are exactly GetRows() row names and GetCols() column names. The shape
// therefore changes only through Resize and AppendColumns, which keep names and cells
// together; AsEigen() gives algebraic access to the cells without the power to resize.
//
//   XFMatrix coding("Coding", 3, 2);
//   coding.SetRowName(1, "low");
//   coding(1, 1) = -1.0F;
class XFMatrix {
 public:
  XFMatrix() = default;
  // A rows x cols matrix (negative counts count as 0) filled with `fill`, all names empty.
  XFMatrix(std::string name, int rows, int cols, float fill = 0.0F);
  // Takes over the values of an FMatrix, all row and column names empty.
  XFMatrix(std::string name, FMatrix values);

  [[nodiscard]] const std::string& GetName() const { return name_; }
  void SetName(std::string name) { name_ = std::move(name); }

  [[nodiscard]] int GetRows() const { return values_.GetRows(); }
  [[nodiscard]] int GetCols() const { return values_.GetCols(); }

  // Cell (row, col), 1 <= row <= GetRows(), 1 <= col <= GetCols().
  float& operator()(int row, int col) { return values_(row, col); }
  [[nodiscard]] float operator()(int row, int col) const { return values_(row, col); }

  // Name of row `row` / column `col` (1-based, asserted in range).
  [[nodiscard]] const std::string& GetRowName(int row) const;
  [[nodiscard]] const std::string& GetColName(int col) const;
  void SetRowName(int row, std::string name);
  void SetColName(int col, std::string name);

  // The 1-based number of the first row / column named exactly `name`; 0 when none is.
  [[nodiscard]] int FindRow(std::string_view name) const;
  [[nodiscard]] int FindCol(std::string_view name) const;

  // Changes the shape as FMatrix::Resize does; the names of kept rows and columns stay,
  // the new ones are empty.
  void Resize(int rows, int cols, float fill = 0.0F);
  // Adds `count` columns on the right, filled with `fill` and with empty names; returns the
  // 1-based number of the first new column.
  int AppendColumns(int count, float fill = 0.0F);

  // Copy of one row or column (1-based).
  [[nodiscard]] FVector GetRow(int row) const { return values_.GetRow(row); }
  [[nodiscard]] FVector GetColumn(int col) const { return values_.GetColumn(col); }

  // The values without the names.
  [[nodiscard]] const FMatrix& GetMatrix() const { return values_; }
  // The cells for algebra and block copies; the shape can't be changed through it.
  Eigen::Ref<FMatrix::Storage> AsEigen() { return values_.AsEigen(); }
  [[nodiscard]] const FMatrix::Storage& AsEigen() const { return values_.AsEigen(); }

  // Same name, same row and column names, same shape and exactly equal cells.
  [[nodiscard]] bool operator==(const XFMatrix& other) const;

 private:
  std::string name_;
  FMatrix values_;
  std::vector<std::string> row_names_;
  std::vector<std::string> col_names_;
};

}  // namespace zubra
