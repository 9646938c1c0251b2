// Linear constraints on the experimental region, in the form the design engine tests runs
// against.
#pragma once

#include <span>
#include <utility>
#include <vector>

namespace zubra::NCDOE {

// One linear constraint: the sum of coefficient x value over its (design index, coefficient)
// pairs is compared with a limit, and the runs on one side of it are excluded.
//
// With the less-than flag a run is excluded when the sum is below the limit; without it when
// the sum is above the limit. Both comparisons are strict: a run exactly on the limit stays.
// Design indexes are 0-based positions in the engine's Factors; values are uncoded.
class Constraint {
 public:
  Constraint(bool less_than, double limit) : less_than_(less_than), limit_(limit) {}

  // Appends one term. A negative design index is ignored (the factor takes no part in the
  // design), so the caller can pass what its own lookup gives.
  void AddPair(int design_index, double coefficient);

  [[nodiscard]] bool IsLessThan() const { return less_than_; }
  [[nodiscard]] double GetLimit() const { return limit_; }
  [[nodiscard]] const std::vector<std::pair<int, double>>& GetPairs() const { return pairs_; }
  [[nodiscard]] bool IsEmpty() const { return pairs_.empty(); }

  // The sum of coefficient x run[design index]; a pair whose index lies outside `run` counts
  // as 0.
  [[nodiscard]] double Evaluate(std::span<const float> run) const;
  // True when `run` (uncoded values in design order) lies in the excluded region.
  [[nodiscard]] bool Excludes(std::span<const float> run) const;

  [[nodiscard]] bool operator==(const Constraint& other) const = default;

 private:
  bool less_than_;
  double limit_;
  std::vector<std::pair<int, double>> pairs_;
};

// The constraints of one design problem, in order.
class Constraints {
 public:
  void Add(Constraint constraint) { constraints_.push_back(std::move(constraint)); }
  [[nodiscard]] int GetCount() const { return static_cast<int>(constraints_.size()); }
  [[nodiscard]] const std::vector<Constraint>& GetAll() const { return constraints_; }

  // True when any constraint excludes `run` (uncoded values in design order).
  [[nodiscard]] bool Excludes(std::span<const float> run) const;
  // The 0-based rows of a row-major matrix of `cols` columns that some constraint excludes,
  // ascending.
  [[nodiscard]] std::vector<int> ExcludedRows(std::span<const float> rows, int cols) const;

  [[nodiscard]] bool operator==(const Constraints& other) const = default;

 private:
  std::vector<Constraint> constraints_;
};

}  // namespace zubra::NCDOE
