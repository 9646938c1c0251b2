#include "zubra/platform/design/internal/general_factorial_builder.h"

#include <climits>
#include <cstddef>

#include "zubra/platform/util/exception.h"

namespace zubra::internal {

bool GeneralFactorialBuilder::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kScreening || objective == EObjective::kRSM ||
         objective == EObjective::kRobustness || objective == EObjective::kOptimization;
}

bool GeneralFactorialBuilder::IsAdmissible(const Factors& factors, const DesignOptions& options,
                                           bool /*score_imported*/, bool /*redmup*/) const {
  return IsValid(factors, options);
}

bool GeneralFactorialBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  if (!RefuseMixture(factors, message)) return false;
  return true;
}

bool GeneralFactorialBuilder::CheckModel(const Factors& factors, const DesignOptions& options,
                                         std::string* message) const {
  const EModel::Type model = options.GetProcessModel();
  if (model < EModel::kLinear || model > EModel::kQuadratic) {
    return RefuseModel(model, message);
  }
  if (model == EModel::kQuadratic) {
    const std::vector<std::vector<float>> levels = Levels(factors, options);
    for (int f = 0; f < factors.GetCount(); ++f) {
      const Factors::Factor& factor = factors.GetFactor(f);
      if (!factor.IsQualitative() && levels[static_cast<std::size_t>(f)].size() < 3) {
        return Refuse(message, ExceptionMessage::translate("The factor '{}' needs at least three "
                                                           "levels for the quadratic model.") %
                                   factor.name);
      }
    }
  }
  return true;
}

std::vector<std::vector<float>> GeneralFactorialBuilder::Levels(const Factors& factors,
                                                                const DesignOptions& options) {
  std::vector<std::vector<float>> levels;
  for (const Factors::Factor& factor : factors.GetAll()) {
    std::vector<float> coded = DiscreteCodedLevels(factor);
    if (coded.empty()) {
      int count = factor.num_levels;
      if (count == 0) count = options.GetProcessModel() == EModel::kQuadratic ? 3 : 2;
      for (int i = 0; i < count; ++i) {
        coded.push_back(-1.0F + 2.0F * static_cast<float>(i) / static_cast<float>(count - 1));
      }
    }
    levels.push_back(std::move(coded));
  }
  return levels;
}

std::vector<int> GeneralFactorialBuilder::CandidateRuns(const Factors& factors,
                                                        const DesignOptions& options) const {
  long long runs = 1;
  for (const std::vector<float>& levels : Levels(factors, options)) {
    runs *= static_cast<long long>(levels.size());
    if (runs > INT_MAX) return {};
  }
  return {static_cast<int>(runs)};
}

DesignBuilder::Core GeneralFactorialBuilder::BuildCore(const Factors& factors,
                                                       const DesignOptions& options, int runs,
                                                       unsigned /*blocks*/,
                                                       const bool* cancel) const {
  const std::vector<std::vector<float>> levels = Levels(factors, options);
  Core core;
  core.coded = NCDataMatrix<float>(runs, factors.GetCount());
  for (int r = 0; r < runs; ++r) {
    if (r % 4096 == 0) ThrowIfCancelled(cancel);
    int rest = r;
    for (int f = 0; f < factors.GetCount(); ++f) {
      const std::vector<float>& values = levels[static_cast<std::size_t>(f)];
      const int count = static_cast<int>(values.size());
      core.coded(r, f) = values[static_cast<std::size_t>(rest % count)];
      rest /= count;
    }
  }
  return core;
}

}  // namespace zubra::internal
