#include "zubra/platform/design/factors.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <set>
#include <utility>

#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// The mixture totals of two factors agree when they differ by rounding only.
bool SameTotal(double a, double b) {
  return std::fabs(a - b) <= 1e-9 * std::max(1.0, std::fabs(a));
}

// Returns the message that refuses `factor`, or "" when it is acceptable on its own.
std::string CheckFactor(const Factors::Factor& factor) {
  if (factor.name.empty()) return ExceptionMessage::translate("A design factor needs a name.");
  const std::string& name = factor.name;
  if (!std::isfinite(factor.low) || !std::isfinite(factor.high)) {
    return ExceptionMessage::translate("The range of the factor '{}' is not a number.") % name;
  }
  const bool fixed = !factor.IsVaried();
  switch (factor.type) {
    case CEType::kQuantitative:
    case CEType::kTime:
      if (factor.type == CEType::kTime && !factor.levels.empty()) break;
      if (factor.low > factor.high || (factor.low == factor.high && !fixed)) {
        return ExceptionMessage::translate(
                   "The low limit of the factor '{}' must be below its "
                   "high limit.") %
               name;
      }
      if (factor.num_levels < 0 || factor.num_levels == 1) {
        return ExceptionMessage::translate("The factor '{}' needs at least two levels.") % name;
      }
      return {};
    case CEType::kMultilevel:
      break;
    case CEType::kQualitative: {
      const std::set<std::string> distinct(factor.settings.begin(), factor.settings.end());
      if (distinct.size() < 2 || distinct.size() != factor.settings.size()) {
        return ExceptionMessage::translate(
                   "The qualitative factor '{}' needs at least two "
                   "distinct settings.") %
               name;
      }
      return {};
    }
    case CEType::kFormulation:
    case CEType::kFiller:
      if (!(factor.mixture_total > 0.0) || !std::isfinite(factor.mixture_total)) {
        return ExceptionMessage::translate(
                   "The mixture total of the factor '{}' must be "
                   "positive.") %
               name;
      }
      if (factor.low < 0.0 || factor.low >= factor.high || factor.low >= factor.mixture_total) {
        return ExceptionMessage::translate(
                   "The range of the mixture factor '{}' must satisfy "
                   "0 <= low < high.") %
               name;
      }
      return {};
    default:
      return ExceptionMessage::translate("The factor '{}' has no kind.") % name;
  }
  // Multilevel factors, and time factors given by their time points.
  std::vector<double> levels = factor.levels;
  std::sort(levels.begin(), levels.end());
  const bool finite =
      std::all_of(levels.begin(), levels.end(), [](double v) { return std::isfinite(v); });
  if (levels.size() < 2 || !finite ||
      std::adjacent_find(levels.begin(), levels.end()) != levels.end()) {
    return ExceptionMessage::translate("The factor '{}' needs at least two distinct levels.") %
           name;
  }
  return {};
}

}  // namespace

Factors::Factor Factors::Factor::Quantitative(std::string name, double low, double high) {
  Factor factor;
  factor.name = std::move(name);
  factor.low = low;
  factor.high = high;
  return factor;
}

Factors::Factor Factors::Factor::Multilevel(std::string name, std::vector<double> levels) {
  Factor factor;
  factor.name = std::move(name);
  factor.type = CEType::kMultilevel;
  factor.levels = std::move(levels);
  return factor;
}

Factors::Factor Factors::Factor::Qualitative(std::string name, std::vector<std::string> settings) {
  Factor factor;
  factor.name = std::move(name);
  factor.type = CEType::kQualitative;
  factor.settings = std::move(settings);
  return factor;
}

Factors::Factor Factors::Factor::Formulation(std::string name, double low, double high,
                                             double total) {
  Factor factor = Quantitative(std::move(name), low, high);
  factor.type = CEType::kFormulation;
  factor.mixture_total = total;
  return factor;
}

Factors::Factor Factors::Factor::Filler(std::string name, double low, double high, double total) {
  Factor factor = Formulation(std::move(name), low, high, total);
  factor.type = CEType::kFiller;
  return factor;
}

int Factors::Factor::GetDiscreteLevels() const {
  if (type == CEType::kQualitative) return static_cast<int>(settings.size());
  if (type == CEType::kMultilevel || (type == CEType::kTime && !levels.empty())) {
    return static_cast<int>(levels.size());
  }
  return 0;
}

bool Factors::Add(Factor factor, std::string* message) {
  std::string refusal = CheckFactor(factor);
  if (refusal.empty() && GetIndex(factor.name) >= 0) {
    refusal =
        ExceptionMessage::translate("There is already a design factor called '{}'.") % factor.name;
  }
  if (refusal.empty() && factor.IsMixture() && IsMixture() &&
      !SameTotal(factor.mixture_total, GetMixtureTotal())) {
    refusal = ExceptionMessage::translate(
                  "The mixture factor '{}' has another mixture total "
                  "than the mixture factors before it.") %
              factor.name;
  }
  if (!refusal.empty()) {
    if (message != nullptr) *message = std::move(refusal);
    return false;
  }
  if (!factor.levels.empty()) {
    std::sort(factor.levels.begin(), factor.levels.end());
    factor.low = factor.levels.front();
    factor.high = factor.levels.back();
  }
  factors_.push_back(std::move(factor));
  return true;
}

const Factors::Factor& Factors::GetFactor(int index) const {
  assert(index >= 0 && index < GetCount());
  return factors_[static_cast<std::size_t>(index)];
}

int Factors::GetIndex(const std::string& name) const {
  for (int i = 0; i < GetCount(); ++i) {
    if (factors_[static_cast<std::size_t>(i)].name == name) return i;
  }
  return -1;
}

int Factors::GetProcessCount() const {
  return static_cast<int>(std::count_if(factors_.begin(), factors_.end(),
                                        [](const Factor& f) { return !f.IsMixture(); }));
}

int Factors::GetMixtureCount() const { return GetCount() - GetProcessCount(); }

int Factors::GetQualitativeCount() const {
  return static_cast<int>(std::count_if(factors_.begin(), factors_.end(),
                                        [](const Factor& f) { return f.IsQualitative(); }));
}

bool Factors::HasFiller() const {
  return std::any_of(factors_.begin(), factors_.end(),
                     [](const Factor& f) { return f.type == CEType::kFiller; });
}

int Factors::GetExpandedCount() const {
  int count = 0;
  for (const Factor& factor : factors_) {
    count += factor.IsQualitative() ? static_cast<int>(factor.settings.size()) - 1 : 1;
  }
  return count;
}

double Factors::GetMixtureTotal() const {
  for (const Factor& factor : factors_) {
    if (factor.IsMixture()) return factor.mixture_total;
  }
  return 0.0;
}

std::vector<int> Factors::GetVaried() const {
  std::vector<int> varied;
  for (int i = 0; i < GetCount(); ++i) {
    if (factors_[static_cast<std::size_t>(i)].IsVaried()) varied.push_back(i);
  }
  return varied;
}

bool Factors::HasHardToChange() const {
  return std::any_of(factors_.begin(), factors_.end(),
                     [](const Factor& f) { return f.IsVaried() && f.hard_to_change; });
}

}  // namespace zubra
