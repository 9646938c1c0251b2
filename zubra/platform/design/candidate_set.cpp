#include "zubra/platform/design/candidate_set.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// One value a factor takes in the grid, coded and uncoded.
struct Level {
  float coded;
  float uncoded;
};

// The grid values of every factor. Throws for mixture factors and too few levels.
std::vector<std::vector<Level>> FactorLevels(const Factors& factors, int continuous_levels) {
  if (continuous_levels < 2) {
    throw Exception(ExceptionMessage::translate("A candidate set needs at least 2 levels per "
                                                "factor, not {}.") %
                    continuous_levels);
  }
  if (factors.GetCount() == 0) {
    throw Exception(ExceptionMessage::translate("A candidate set needs at least one factor."));
  }
  const int odd = CandidateSet::OddLevels(continuous_levels);
  std::vector<std::vector<Level>> all;
  for (const Factors::Factor& factor : factors.GetAll()) {
    if (factor.IsMixture()) {
      throw Exception(ExceptionMessage::translate("The factor '{}' is a mixture factor; the "
                                                  "candidate grid is for process factors.") %
                      factor.name);
    }
    std::vector<Level> levels;
    const double mid = (factor.low + factor.high) / 2.0;
    const double half = (factor.high - factor.low) / 2.0;
    if (!factor.IsVaried()) {
      auto value = static_cast<float>(kUndefined);
      if (factor.use == CEUse::kConstant)
        value = factor.IsQualitative() ? 1.0F : static_cast<float>(mid);
      levels.push_back({factor.IsQualitative() ? 1.0F : 0.0F, value});
    } else if (factor.IsQualitative()) {
      for (std::size_t s = 1; s <= factor.settings.size(); ++s) {
        levels.push_back({static_cast<float>(s), static_cast<float>(s)});
      }
    } else if (!factor.levels.empty()) {
      for (double level : factor.levels) {
        levels.push_back({static_cast<float>((level - mid) / half), static_cast<float>(level)});
      }
    } else {
      for (int i = 0; i < odd; ++i) {
        // Levels symmetric about the centre, the middle one exactly 0.
        const double coded = static_cast<double>(2 * i - (odd - 1)) / static_cast<double>(odd - 1);
        levels.push_back({static_cast<float>(coded), static_cast<float>(mid + coded * half)});
      }
    }
    all.push_back(std::move(levels));
  }
  return all;
}

std::size_t CountPoints(const std::vector<std::vector<Level>>& levels) {
  std::size_t count = 1;
  for (const std::vector<Level>& factor : levels) {
    if (count > SIZE_MAX / factor.size()) return SIZE_MAX;
    count *= factor.size();
  }
  return count;
}

}  // namespace

int CandidateSet::OddLevels(int continuous_levels) {
  return continuous_levels % 2 == 0 ? continuous_levels + 1 : continuous_levels;
}

std::size_t CandidateSet::GridSize(const Factors& factors, int continuous_levels) {
  return CountPoints(FactorLevels(factors, continuous_levels));
}

CandidateSet CandidateSet::Make(const Factors& factors, int continuous_levels,
                                const NCDOE::Constraints* constraints, std::size_t max_points) {
  const std::vector<std::vector<Level>> levels = FactorLevels(factors, continuous_levels);
  const std::size_t total = CountPoints(levels);
  if (total > max_points) {
    throw Exception(ExceptionMessage::translate("The candidate set would hold more than {} "
                                                "points.") %
                    max_points);
  }
  const int cols = factors.GetCount();
  const auto width = static_cast<std::size_t>(cols);
  std::vector<float> coded;
  std::vector<float> uncoded;
  std::vector<float> point_coded(width);
  std::vector<float> point_uncoded(width);
  std::vector<std::size_t> digit(width, 0);
  CandidateSet set;
  for (std::size_t n = 0; n < total; ++n) {
    for (std::size_t f = 0; f < width; ++f) {
      point_coded[f] = levels[f][digit[f]].coded;
      point_uncoded[f] = levels[f][digit[f]].uncoded;
    }
    if (constraints != nullptr && constraints->Excludes(std::span<const float>(point_uncoded))) {
      ++set.excluded_;
    } else {
      coded.insert(coded.end(), point_coded.begin(), point_coded.end());
      uncoded.insert(uncoded.end(), point_uncoded.begin(), point_uncoded.end());
    }
    // Next point: the first factor changes fastest.
    for (std::size_t f = 0; f < width; ++f) {
      if (++digit[f] < levels[f].size()) break;
      digit[f] = 0;
    }
  }
  if (coded.empty()) {
    throw Exception(ExceptionMessage::translate("The constraints exclude every candidate run."));
  }
  const int rows = static_cast<int>(coded.size() / (width == 0 ? 1 : width));
  set.coded_ = NCDataMatrix<float>(rows, cols);
  set.uncoded_ = NCDataMatrix<float>(rows, cols);
  std::copy(coded.begin(), coded.end(), set.coded_.GetData());
  std::copy(uncoded.begin(), uncoded.end(), set.uncoded_.GetData());
  return set;
}

}  // namespace zubra
