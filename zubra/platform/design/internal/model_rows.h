// ModelRows: a model compiled for the searches that change runs one coordinate at a time.
#pragma once

#include <span>
#include <vector>

#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/factors.h"

namespace zubra::internal {

// The model rows f(x) of coded runs x, column for column as DesignModel::Expand gives them,
// with what a coordinate search needs to know: which columns a factor enters (changing one
// coordinate of a run changes those columns only) and the value of a column as a product of
// parts, one per factor it involves.
//
// A part is a power of a factor's coded value for a factor that is not qualitative, and one
// of the L - 1 effect-coded columns of a qualitative factor's setting (+1 for setting j in
// column j, -1 in every column for the last setting, 0 otherwise). Mixture factors are taken
// as process factors (their coded values multiply); the searches that use this class do not
// design them.
//
//   const ModelRows rows(model, factors);
//   std::vector<double> f(rows.Columns());
//   rows.Expand(point, f.data());
class ModelRows {
 public:
  // What one column takes of one factor: its power, or its effect column (1..L-1).
  struct Part {
    int factor;
    int code;
  };

  // Compiles `model` for `factors`; requires model.IsValidFor(factors).
  ModelRows(const DesignModel& model, const Factors& factors);

  [[nodiscard]] int Columns() const { return static_cast<int>(columns_.size()); }
  [[nodiscard]] int FactorCount() const { return static_cast<int>(qualitative_.size()); }
  // The parts of column c (none for the constant).
  [[nodiscard]] const std::vector<Part>& GetParts(int c) const {
    return columns_[static_cast<std::size_t>(c)];
  }
  // The columns factor k enters, ascending.
  [[nodiscard]] const std::vector<int>& Touching(int k) const {
    return touching_[static_cast<std::size_t>(k)];
  }
  // The largest code of any part (at least 1).
  [[nodiscard]] int MaxCode() const { return max_code_; }

  // The value of the part `code` of factor k at coded value x (1 for code 0).
  [[nodiscard]] double PartValue(int k, int code, float x) const;
  // f(x) of the coded run `point` (one value per factor) into `row` (Columns() values).
  void Expand(std::span<const float> point, double* row) const;

 private:
  std::vector<std::vector<Part>> columns_;
  std::vector<std::vector<int>> touching_;
  std::vector<int> qualitative_;  // per factor: its settings L, or 0 when not qualitative
  int max_code_ = 1;
};

// The model rows of runs given as level numbers (level v of factor k being levels[k][v]):
// the value of every part at every level is computed once, so that a column costs one
// multiplication per factor it involves. Keeps references to `rows`, which must outlive it.
class LevelRows {
 public:
  LevelRows(const ModelRows& rows, const std::vector<std::vector<float>>& levels);

  [[nodiscard]] const ModelRows& GetRows() const { return rows_; }
  // Column c of the model row of the run whose factors stand at the level numbers `point`.
  [[nodiscard]] double Column(int c, const int* point) const {
    double value = 1.0;
    for (const ModelRows::Part& part : rows_.GetParts(c)) {
      value *= parts_[static_cast<std::size_t>(
          (first_level_[static_cast<std::size_t>(part.factor)] + point[part.factor]) * codes_ +
          part.code)];
    }
    return value;
  }
  // The whole model row of `point` into `row` (GetRows().Columns() values).
  void Row(const int* point, double* row) const;

 private:
  const ModelRows& rows_;
  int codes_ = 0;                 // part codes 0..codes_-1
  std::vector<int> first_level_;  // per factor: the index of its first level in parts_
  std::vector<double> parts_;     // parts_[(first_level_[k] + level) * codes_ + code]
};

}  // namespace zubra::internal
