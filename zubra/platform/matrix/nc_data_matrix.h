// NCDataMatrix: the plain row-major data matrix exchanged with the design engine.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <utility>
#include <vector>

namespace zubra {

// A dense matrix of T stored row after row in one contiguous block.
//
// Unlike FMatrix, this matrix is indexed from 0: element (0, 0) is the first cell, and rows
// and columns run to GetRows() - 1 and GetCols() - 1. It carries design matrices to and
// from the design engine, which works with 0-based rows. Indices are checked by assert in
// debug builds only. Copies are deep.
template <typename T>
class NCDataMatrix {
 public:
  NCDataMatrix() = default;
  // A rows x cols matrix (negative counts count as 0) with every cell equal to `fill`.
  NCDataMatrix(int rows, int cols, const T& fill = T{})
      : rows_(std::max(rows, 0)),
        cols_(std::max(cols, 0)),
        values_(static_cast<std::size_t>(rows_) * static_cast<std::size_t>(cols_), fill) {
    assert(rows >= 0 && cols >= 0);
  }

  [[nodiscard]] int GetRows() const { return rows_; }
  [[nodiscard]] int GetCols() const { return cols_; }

  // Cell (row, col), 0 <= row < GetRows(), 0 <= col < GetCols().
  T& operator()(int row, int col) { return values_[Offset(row, col)]; }
  [[nodiscard]] const T& operator()(int row, int col) const { return values_[Offset(row, col)]; }

  // The first cell of `row` (0-based); the row's GetCols() cells follow contiguously.
  T* GetRowData(int row) { return values_.data() + Offset(row, 0); }
  [[nodiscard]] const T* GetRowData(int row) const { return values_.data() + Offset(row, 0); }
  // All cells, row after row.
  T* GetData() { return values_.data(); }
  [[nodiscard]] const T* GetData() const { return values_.data(); }

  // Changes the shape (negative counts count as 0), keeping the cells that lie in both the
  // old and the new shape at their (row, col); new cells are set to `fill`.
  void Resize(int rows, int cols, const T& fill = T{}) {
    assert(rows >= 0 && cols >= 0);
    NCDataMatrix resized(rows, cols, fill);
    const int keep_rows = std::min(rows_, resized.rows_);
    const int keep_cols = std::min(cols_, resized.cols_);
    for (int r = 0; r < keep_rows; ++r) {
      std::copy_n(GetRowData(r), keep_cols, resized.GetRowData(r));
    }
    *this = std::move(resized);
  }

  [[nodiscard]] bool operator==(const NCDataMatrix& other) const = default;

 private:
  [[nodiscard]] std::size_t Offset(int row, int col) const {
    assert(row >= 0 && row < rows_ && col >= 0 && (col < cols_ || (col == 0 && cols_ == 0)));
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(cols_) +
           static_cast<std::size_t>(col);
  }

  int rows_ = 0;
  int cols_ = 0;
  std::vector<T> values_;
};

extern template class NCDataMatrix<float>;

}  // namespace zubra
