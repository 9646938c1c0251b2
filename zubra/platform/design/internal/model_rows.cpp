#include "zubra/platform/design/internal/model_rows.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>

namespace zubra::internal {

ModelRows::ModelRows(const DesignModel& model, const Factors& factors) {
  assert(model.IsValidFor(factors));
  const auto count = static_cast<std::size_t>(factors.GetCount());
  qualitative_.resize(count, 0);
  for (std::size_t k = 0; k < count; ++k) {
    const Factors::Factor& factor = factors.GetFactor(static_cast<int>(k));
    if (factor.IsQualitative()) qualitative_[k] = static_cast<int>(factor.settings.size());
  }
  touching_.resize(count);
  // The columns of a term in Expand's order: the first factor's effect columns change
  // slowest.
  for (const DesignModel::Term& term : model.GetTerms()) {
    std::vector<std::vector<Part>> partial{{}};
    for (std::size_t s = 0; s < term.size(); ++s) {
      const int k = term[s];
      const int settings = qualitative_[static_cast<std::size_t>(k)];
      if (s > 0 && term[s - 1] == k) {
        // A repeated factor raises the power of its part (qualitative factors never repeat).
        for (std::vector<Part>& parts : partial) ++parts.back().code;
        continue;
      }
      std::vector<std::vector<Part>> next;
      const int width = settings > 0 ? settings - 1 : 1;
      for (const std::vector<Part>& head : partial) {
        for (int j = 1; j <= width; ++j) {
          next.push_back(head);
          next.back().push_back({k, j});
        }
      }
      partial = std::move(next);
    }
    for (std::vector<Part>& parts : partial) {
      const auto column = static_cast<int>(columns_.size());
      for (const Part& part : parts) {
        max_code_ = std::max(max_code_, part.code);
        touching_[static_cast<std::size_t>(part.factor)].push_back(column);
      }
      columns_.push_back(std::move(parts));
    }
  }
}

double ModelRows::PartValue(int k, int code, float x) const {
  if (code == 0) return 1.0;
  const int settings = qualitative_[static_cast<std::size_t>(k)];
  if (settings == 0) return std::pow(static_cast<double>(x), code);
  const auto setting = static_cast<int>(std::lround(x));
  if (setting == settings) return -1.0;
  return setting == code ? 1.0 : 0.0;
}

void ModelRows::Expand(std::span<const float> point, double* row) const {
  for (std::size_t c = 0; c < columns_.size(); ++c) {
    double value = 1.0;
    for (const Part& part : columns_[c]) {
      value *= PartValue(part.factor, part.code, point[static_cast<std::size_t>(part.factor)]);
    }
    row[c] = value;
  }
}

LevelRows::LevelRows(const ModelRows& rows, const std::vector<std::vector<float>>& levels)
    : rows_(rows), codes_(rows.MaxCode() + 1) {
  assert(static_cast<int>(levels.size()) == rows.FactorCount());
  int total = 0;
  for (const auto& values : levels) {
    first_level_.push_back(total);
    total += static_cast<int>(values.size());
  }
  parts_.resize(static_cast<std::size_t>(total) * static_cast<std::size_t>(codes_));
  for (std::size_t k = 0; k < levels.size(); ++k) {
    for (std::size_t v = 0; v < levels[k].size(); ++v) {
      for (int code = 0; code < codes_; ++code) {
        parts_[(static_cast<std::size_t>(first_level_[k]) + v) * static_cast<std::size_t>(codes_) +
               static_cast<std::size_t>(code)] =
            rows.PartValue(static_cast<int>(k), code, levels[k][v]);
      }
    }
  }
}

void LevelRows::Row(const int* point, double* row) const {
  for (int c = 0; c < rows_.Columns(); ++c) row[c] = Column(c, point);
}

}  // namespace zubra::internal
