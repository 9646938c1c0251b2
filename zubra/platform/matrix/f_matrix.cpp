#include "zubra/platform/matrix/f_matrix.h"

#include <algorithm>
#include <cassert>

namespace zubra {

FMatrix::FMatrix(int rows, int cols, float fill) : values_(std::max(rows, 0), std::max(cols, 0)) {
  assert(rows >= 0 && cols >= 0);
  values_.setConstant(fill);
}

FMatrix::FMatrix(std::initializer_list<std::initializer_list<float>> rows) {
  std::size_t cols = 0;
  for (const auto& row : rows) cols = std::max(cols, row.size());
  values_.setZero(static_cast<Eigen::Index>(rows.size()), static_cast<Eigen::Index>(cols));
  Eigen::Index r = 0;
  for (const auto& row : rows) {
    std::copy(row.begin(), row.end(), values_.row(r).data());
    ++r;
  }
}

FMatrix::FMatrix(const NCDataMatrix<float>& data)
    : values_(Eigen::Map<const Storage>(data.GetData(), data.GetRows(), data.GetCols())) {}

float& FMatrix::operator()(int row, int col) {
  assert(row >= 1 && row <= GetRows() && col >= 1 && col <= GetCols());
  return values_(row - 1, col - 1);
}

float FMatrix::operator()(int row, int col) const {
  assert(row >= 1 && row <= GetRows() && col >= 1 && col <= GetCols());
  return values_(row - 1, col - 1);
}

float* FMatrix::GetRowData(int row) {
  assert(row >= 1 && row <= GetRows());
  return values_.data() + static_cast<Eigen::Index>(row - 1) * values_.cols();
}

const float* FMatrix::GetRowData(int row) const {
  assert(row >= 1 && row <= GetRows());
  return values_.data() + static_cast<Eigen::Index>(row - 1) * values_.cols();
}

FVector FMatrix::GetRow(int row) const {
  assert(row >= 1 && row <= GetRows());
  return FVector(FVector::Storage(values_.row(row - 1).transpose()));
}

FVector FMatrix::GetColumn(int col) const {
  assert(col >= 1 && col <= GetCols());
  return FVector(FVector::Storage(values_.col(col - 1)));
}

void FMatrix::SetRow(int row, const FVector& values) {
  assert(row >= 1 && row <= GetRows() && values.GetSize() == GetCols());
  values_.row(row - 1) = values.AsEigen().transpose();
}

void FMatrix::SetColumn(int col, const FVector& values) {
  assert(col >= 1 && col <= GetCols() && values.GetSize() == GetRows());
  values_.col(col - 1) = values.AsEigen();
}

void FMatrix::Resize(int rows, int cols, float fill) {
  assert(rows >= 0 && cols >= 0);
  rows = std::max(rows, 0);
  cols = std::max(cols, 0);
  const int old_rows = GetRows();
  const int old_cols = GetCols();
  // conservativeResize keeps the overlapping block and leaves the new cells unset.
  values_.conservativeResize(rows, cols);
  if (cols > old_cols) values_.rightCols(cols - old_cols).setConstant(fill);
  if (rows > old_rows) values_.bottomRows(rows - old_rows).setConstant(fill);
}

int FMatrix::AppendColumns(int count, float fill) {
  assert(count >= 0);
  const int first = GetCols() + 1;
  Resize(GetRows(), GetCols() + std::max(count, 0), fill);
  return first;
}

NCDataMatrix<float> FMatrix::ToNCDataMatrix() const {
  NCDataMatrix<float> data(GetRows(), GetCols());
  Eigen::Map<Storage>(data.GetData(), values_.rows(), values_.cols()) = values_;
  return data;
}

bool FMatrix::operator==(const FMatrix& other) const {
  return values_.rows() == other.values_.rows() && values_.cols() == other.values_.cols() &&
         values_ == other.values_;
}

}  // namespace zubra
