#include "zubra/platform/design/internal/stability_builders.h"

#include <cstddef>
#include <optional>
#include <utility>

#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

// The position of the time factor in `factors`, or -1 when there is none.
int TimeIndex(const Factors& factors) {
  for (int f = 0; f < factors.GetCount(); ++f) {
    if (factors.GetFactor(f).type == CEType::kTime) return f;
  }
  return -1;
}

// The coded values a crossed factor takes: the settings of a qualitative factor, the levels
// of a multilevel or time factor mapped onto -1..+1, the limits of a continuous factor.
std::vector<float> CrossedLevels(const Factors::Factor& factor) {
  std::vector<float> coded = DesignBuilder::DiscreteCodedLevels(factor);
  if (coded.empty()) coded = {-1.0F, 1.0F};
  return coded;
}

}  // namespace

// The layout of one stability design over the varied factors.
struct StabilityBuilderBase::Plan {
  int time = -1;
  std::vector<float> times;  // coded time points
  std::vector<int> conditions;
  std::vector<std::vector<float>> condition_levels;
  long long condition_count = 1;
  std::vector<int> materials;
  NCDataMatrix<float> factorial = NCDataMatrix<float>(1, 0);  // +-1, one row per material
  bool shared_start = false;
  long long runs = 0;
};

bool StabilityBuilderBase::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kScreening || objective == EObjective::kRSM ||
         objective == EObjective::kRobustness || objective == EObjective::kOptimization;
}

bool StabilityBuilderBase::IsAdmissible(const Factors& factors, const DesignOptions& options,
                                        bool /*score_imported*/, bool /*redmup*/) const {
  return IsValid(factors, options);
}

DesignModel StabilityBuilderBase::Model(const Factors& factors, EModel::Type model) {
  int time = -1;
  std::vector<int> others;
  for (int f : factors.GetVaried()) {
    if (time < 0 && factors.GetFactor(f).type == CEType::kTime) {
      time = f;
    } else {
      others.push_back(f);
    }
  }
  std::vector<DesignModel::Term> terms{{}};
  for (int f : factors.GetVaried()) terms.push_back({f});
  if (time < 0) return DesignModel(std::move(terms));
  for (int f : others) terms.push_back({f, time});
  if (model == EModel::kInteraction || model == EModel::kQuadratic) {
    for (std::size_t i = 0; i < others.size(); ++i) {
      for (std::size_t j = i + 1; j < others.size(); ++j) terms.push_back({others[i], others[j]});
    }
  }
  if (model == EModel::kQuadratic) terms.push_back({time, time});
  return DesignModel(std::move(terms));
}

bool StabilityBuilderBase::IsMaterialFactor(const Factors::Factor& factor) const {
  return factorial_ && factor.type != CEType::kTime && IsTwoLevelFactor(factor);
}

bool StabilityBuilderBase::CheckFactors(const Factors& factors, std::string* message) const {
  if (!RefuseMixture(factors, message)) return false;
  const int time = TimeIndex(factors);
  if (time < 0) {
    return Refuse(message,
                  ExceptionMessage::translate("The design '{}' needs a time factor.") % GetName());
  }
  for (int f = time + 1; f < factors.GetCount(); ++f) {
    if (factors.GetFactor(f).type == CEType::kTime) {
      return Refuse(message, ExceptionMessage::translate("The design '{}' takes one time factor, "
                                                         "but '{}' and '{}' are both time "
                                                         "factors.") %
                                 GetName() % factors.GetFactor(time).name %
                                 factors.GetFactor(f).name);
    }
  }
  if (factors.GetFactor(time).levels.empty()) {
    return Refuse(message, ExceptionMessage::translate("The time factor '{}' needs its time "
                                                       "points as levels.") %
                               factors.GetFactor(time).name);
  }
  if (factorial_) {
    int materials = 0;
    for (const Factors::Factor& factor : factors.GetAll()) {
      if (IsMaterialFactor(factor)) ++materials;
    }
    if (materials == 0) {
      return Refuse(message, ExceptionMessage::translate("The design '{}' needs at least one "
                                                         "process factor with two levels.") %
                                 GetName());
    }
    if (materials > StabilityFactorialBuilder::kMaxMaterialFactors) {
      return Refuse(message, ExceptionMessage::translate("The design '{}' takes at most {} "
                                                         "process factors with two levels.") %
                                 GetName() % StabilityFactorialBuilder::kMaxMaterialFactors);
    }
  }
  return true;
}

bool StabilityBuilderBase::CheckModel(const Factors& factors, const DesignOptions& options,
                                      std::string* message) const {
  const EModel::Type model = options.GetProcessModel();
  if (model < EModel::kLinear || model > EModel::kQuadratic) {
    return RefuseModel(model, message);
  }
  const Factors::Factor& time = factors.GetFactor(TimeIndex(factors));
  if (model == EModel::kQuadratic && time.levels.size() < 3) {
    return Refuse(message, ExceptionMessage::translate("The quadratic model needs at least three "
                                                       "time points of the factor '{}'.") %
                               time.name);
  }
  Plan plan;
  return MakePlan(factors, model, &plan, message);
}

bool StabilityBuilderBase::MakePlan(const Factors& factors, EModel::Type model, Plan* plan,
                                    std::string* message) const {
  plan->time = TimeIndex(factors);
  plan->times = CrossedLevels(factors.GetFactor(plan->time));
  for (int f = 0; f < factors.GetCount(); ++f) {
    const Factors::Factor& factor = factors.GetFactor(f);
    if (f == plan->time) continue;
    if (IsMaterialFactor(factor)) {
      plan->materials.push_back(f);
    } else {
      plan->conditions.push_back(f);
      plan->condition_levels.push_back(CrossedLevels(factor));
      plan->condition_count *= static_cast<long long>(plan->condition_levels.back().size());
      if (plan->condition_count > kMaxCrossing) {
        return Refuse(message, ExceptionMessage::translate("The design '{}' has too many "
                                                           "storage conditions.") %
                                   GetName());
      }
    }
  }
  const int k = static_cast<int>(plan->materials.size());
  if (k == 1) {
    plan->factorial = Generators(1, {}, {}).MakeDesign();
  } else if (k > 1) {
    // Main effects clear of two-factor interactions; with interactions in the model, those
    // clear of each other as well.
    const int level = model == EModel::kLinear ? 4 : 5;
    const std::vector<int> sizes = Generators::GetTableRuns(level, k);
    std::optional<Generators> table =
        sizes.empty() ? std::nullopt : Generators::FromTable(level, k, sizes.front(), 0);
    if (!table) {
      return Refuse(message, ExceptionMessage::translate("The design '{}' has no two-level "
                                                         "fraction of resolution {} for {} "
                                                         "process factors.") %
                                 GetName() % (level == 4 ? "IV" : "V") % k);
    }
    plan->factorial = table->MakeDesign();
  }
  const auto times = static_cast<long long>(plan->times.size());
  const auto materials = static_cast<long long>(plan->factorial.GetRows());
  plan->shared_start = factors.GetFactor(plan->time).levels.front() == 0.0 && times >= 3 &&
                       plan->condition_count > 1;
  const long long per_time = plan->condition_count * materials;
  plan->runs = plan->shared_start ? per_time * (times - 1) + materials : per_time * times;
  if (plan->runs > kMaxCrossing) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' has too many runs for "
                                                       "these factors.") %
                               GetName());
  }
  return true;
}

std::vector<int> StabilityBuilderBase::CandidateRuns(const Factors& factors,
                                                     const DesignOptions& options) const {
  // CheckModel succeeds only when the plan can be made.
  if (!CheckModel(factors, options, nullptr)) return {};
  Plan plan;
  MakePlan(factors, options.GetProcessModel(), &plan, nullptr);
  return {static_cast<int>(plan.runs)};
}

DesignBuilder::Core StabilityBuilderBase::BuildCore(const Factors& factors,
                                                    const DesignOptions& options, int runs,
                                                    unsigned /*blocks*/, const bool* cancel) const {
  Plan plan;
  // The options were checked, so the plan exists and has `runs` runs.
  MakePlan(factors, options.GetProcessModel(), &plan, nullptr);
  Core core;
  core.coded = NCDataMatrix<float>(runs, factors.GetCount());
  int row = 0;
  for (std::size_t t = 0; t < plan.times.size(); ++t) {
    ThrowIfCancelled(cancel);
    const long long conditions = t == 0 && plan.shared_start ? 1 : plan.condition_count;
    for (long long c = 0; c < conditions; ++c) {
      for (int m = 0; m < plan.factorial.GetRows(); ++m, ++row) {
        core.coded(row, plan.time) = plan.times[t];
        long long rest = c;
        for (std::size_t j = 0; j < plan.conditions.size(); ++j) {
          const std::vector<float>& levels = plan.condition_levels[j];
          const auto count = static_cast<long long>(levels.size());
          core.coded(row, plan.conditions[j]) = levels[static_cast<std::size_t>(rest % count)];
          rest /= count;
        }
        for (std::size_t j = 0; j < plan.materials.size(); ++j) {
          const int f = plan.materials[j];
          float value = plan.factorial(m, static_cast<int>(j));
          // A qualitative factor of two settings takes its first setting for -1.
          if (factors.GetFactor(f).IsQualitative()) value = value < 0.0F ? 1.0F : 2.0F;
          core.coded(row, f) = value;
        }
      }
    }
  }
  return core;
}

}  // namespace zubra::internal
