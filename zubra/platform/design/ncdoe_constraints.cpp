#include "zubra/platform/design/ncdoe_constraints.h"

#include <algorithm>
#include <cstddef>

namespace zubra::NCDOE {

void Constraint::AddPair(int design_index, double coefficient) {
  if (design_index < 0) return;
  pairs_.emplace_back(design_index, coefficient);
}

double Constraint::Evaluate(std::span<const float> run) const {
  double sum = 0.0;
  for (const auto& [index, coefficient] : pairs_) {
    if (static_cast<std::size_t>(index) < run.size()) {
      sum += coefficient * static_cast<double>(run[static_cast<std::size_t>(index)]);
    }
  }
  return sum;
}

bool Constraint::Excludes(std::span<const float> run) const {
  const double sum = Evaluate(run);
  return less_than_ ? sum < limit_ : sum > limit_;
}

bool Constraints::Excludes(std::span<const float> run) const {
  return std::any_of(constraints_.begin(), constraints_.end(),
                     [run](const Constraint& c) { return c.Excludes(run); });
}

std::vector<int> Constraints::ExcludedRows(std::span<const float> rows, int cols) const {
  std::vector<int> excluded;
  if (cols <= 0) return excluded;
  const auto width = static_cast<std::size_t>(cols);
  const std::size_t count = rows.size() / width;
  for (std::size_t r = 0; r < count; ++r) {
    if (Excludes(rows.subspan(r * width, width))) excluded.push_back(static_cast<int>(r));
  }
  return excluded;
}

}  // namespace zubra::NCDOE
