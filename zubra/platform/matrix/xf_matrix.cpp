#include "zubra/platform/matrix/xf_matrix.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace zubra {
namespace {

// 1-based number of the first entry equal to `name`, 0 when none is.
int FindName(const std::vector<std::string>& names, std::string_view name) {
  const auto it = std::find(names.begin(), names.end(), name);
  return it == names.end() ? 0 : static_cast<int>(it - names.begin()) + 1;
}

}  // namespace

XFMatrix::XFMatrix(std::string name, int rows, int cols, float fill)
    : XFMatrix(std::move(name), FMatrix(rows, cols, fill)) {}

XFMatrix::XFMatrix(std::string name, FMatrix values)
    : name_(std::move(name)),
      values_(std::move(values)),
      row_names_(static_cast<std::size_t>(values_.GetRows())),
      col_names_(static_cast<std::size_t>(values_.GetCols())) {}

const std::string& XFMatrix::GetRowName(int row) const {
  assert(row >= 1 && row <= GetRows());
  return row_names_[static_cast<std::size_t>(row - 1)];
}

const std::string& XFMatrix::GetColName(int col) const {
  assert(col >= 1 && col <= GetCols());
  return col_names_[static_cast<std::size_t>(col - 1)];
}

void XFMatrix::SetRowName(int row, std::string name) {
  assert(row >= 1 && row <= GetRows());
  row_names_[static_cast<std::size_t>(row - 1)] = std::move(name);
}

void XFMatrix::SetColName(int col, std::string name) {
  assert(col >= 1 && col <= GetCols());
  col_names_[static_cast<std::size_t>(col - 1)] = std::move(name);
}

int XFMatrix::FindRow(std::string_view name) const { return FindName(row_names_, name); }

int XFMatrix::FindCol(std::string_view name) const { return FindName(col_names_, name); }

void XFMatrix::Resize(int rows, int cols, float fill) {
  values_.Resize(rows, cols, fill);
  row_names_.resize(static_cast<std::size_t>(values_.GetRows()));
  col_names_.resize(static_cast<std::size_t>(values_.GetCols()));
}

int XFMatrix::AppendColumns(int count, float fill) {
  const int first = values_.AppendColumns(count, fill);
  col_names_.resize(static_cast<std::size_t>(values_.GetCols()));
  return first;
}

bool XFMatrix::operator==(const XFMatrix& other) const {
  return name_ == other.name_ && row_names_ == other.row_names_ && col_names_ == other.col_names_ &&
         values_ == other.values_;
}

}  // namespace zubra
