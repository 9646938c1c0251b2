#include "zubra/platform/design/internal/factorial_builders.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <utility>

#include "zubra/platform/util/exception.h"

namespace zubra::internal {

bool TwoLevelBuilder::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kScreening || objective == EObjective::kRobustness ||
         objective == EObjective::kOptimization;
}

bool TwoLevelBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  if (!RefuseMixture(factors, message)) return false;
  for (const Factors::Factor& factor : factors.GetAll()) {
    if (!IsTwoLevelFactor(factor)) {
      return Refuse(message, ExceptionMessage::translate("The factor '{}' does not have two "
                                                         "levels, which the design '{}' needs.") %
                                 factor.name % GetName());
    }
  }
  if (factors.GetCount() < min_factors_ || factors.GetCount() > max_factors_) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' is for {} to {} "
                                                       "factors.") %
                               GetName() % min_factors_ % max_factors_);
  }
  return true;
}

bool TwoLevelBuilder::CheckModel(const Factors& /*factors*/, const DesignOptions& options,
                                 std::string* message) const {
  const EModel::Type model = options.GetProcessModel();
  if (model < EModel::kLinear || model > max_model_) {
    return RefuseModel(model, message);
  }
  return true;
}

std::vector<int> FullFactorialBuilder::CandidateRuns(const Factors& factors,
                                                     const DesignOptions& /*options*/) const {
  return {1 << factors.GetCount()};
}

std::vector<unsigned> FullFactorialBuilder::BlockCounts(const Factors& /*factors*/,
                                                        const DesignOptions& /*options*/,
                                                        int runs) const {
  return TableBlockCounts(runs, [runs](int index, int blocks) {
    return Generators::GetGenFullFactorial(index, runs, blocks);
  });
}

DesignBuilder::Core FullFactorialBuilder::BuildCore(const Factors& factors,
                                                    const DesignOptions& /*options*/, int runs,
                                                    unsigned blocks, const bool* /*cancel*/) const {
  const int block_generators = std::countr_zero(blocks);
  std::vector<int> block_words;
  for (int j = 1; j <= block_generators; ++j) {
    block_words.push_back(Generators::GetGenFullFactorial(-j, runs, block_generators));
  }
  Core core;
  core.generators = Generators(factors.GetCount(), {}, std::move(block_words));
  core.coded = core.generators.MakeDesign();
  core.blocks = core.generators.MakeBlocks();
  if (block_generators == 0) core.generators = Generators();
  core.two_level = true;
  return core;
}

FractionalFactorialBuilder::FractionalFactorialBuilder(int level)
    : TwoLevelBuilder(3, 15, level == 5 ? EModel::kInteraction : EModel::kLinear), level_(level) {}

EDesign::Type FractionalFactorialBuilder::GetType() const {
  if (level_ == 3) return EDesign::kFracFactResIII;
  return level_ == 4 ? EDesign::kFracFactResIV : EDesign::kFracFactResV;
}

std::int8_t FractionalFactorialBuilder::GetRank() const {
  if (level_ == 3) return 50;
  return level_ == 4 ? 30 : 20;
}

bool FractionalFactorialBuilder::HasOwnGenerators(const Factors& factors,
                                                  const DesignOptions& options, int runs) {
  const Generators& own = options.GetGenerators();
  return !own.IsEmpty() && own.GetFactorCount() == factors.GetCount() && own.GetRuns() == runs;
}

bool FractionalFactorialBuilder::CheckSpecific(const Factors& factors, const DesignOptions& options,
                                               int runs, std::string* message) const {
  if (!HasOwnGenerators(factors, options, runs)) return true;
  const int resolution = options.GetGenerators().GetResolution();
  if (resolution < level_) {
    return Refuse(message, ExceptionMessage::translate("The generators give a design of "
                                                       "resolution {}, below the {} the design "
                                                       "'{}' needs.") %
                               resolution % level_ % GetName());
  }
  return true;
}

std::vector<int> FractionalFactorialBuilder::CandidateRuns(const Factors& factors,
                                                           const DesignOptions& options) const {
  std::vector<int> runs = Generators::GetTableRuns(level_, factors.GetCount());
  const Generators& own = options.GetGenerators();
  if (!own.IsEmpty() && own.GetFactorCount() == factors.GetCount() &&
      std::find(runs.begin(), runs.end(), own.GetRuns()) == runs.end()) {
    runs.insert(std::upper_bound(runs.begin(), runs.end(), own.GetRuns()), own.GetRuns());
  }
  return runs;
}

std::vector<unsigned> FractionalFactorialBuilder::BlockCounts(const Factors& factors,
                                                              const DesignOptions& options,
                                                              int runs) const {
  if (HasOwnGenerators(factors, options, runs)) {
    const auto own = static_cast<unsigned>(options.GetGenerators().GetBlockCount());
    return own == 1 ? std::vector<unsigned>{1} : std::vector<unsigned>{1, own};
  }
  const int k = factors.GetCount();
  const int level = level_;
  return TableBlockCounts(runs, [k, runs, level](int index, int blocks) {
    if (level == 3) return Generators::GetGen3(index, k, runs, blocks);
    return level == 4 ? Generators::GetGen4(index, k, runs, blocks)
                      : Generators::GetGen5(index, k, runs, blocks);
  });
}

DesignBuilder::Core FractionalFactorialBuilder::BuildCore(const Factors& factors,
                                                          const DesignOptions& options, int runs,
                                                          unsigned blocks,
                                                          const bool* /*cancel*/) const {
  Core core;
  if (HasOwnGenerators(factors, options, runs)) {
    core.generators = options.GetGenerators();
    if (blocks == 1) core.generators = core.generators.WithoutBlocks();
  } else {
    std::optional<Generators> table =
        Generators::FromTable(level_, factors.GetCount(), runs, std::countr_zero(blocks));
    // The run count and blocks were checked against the same table.
    core.generators = std::move(table).value();
  }
  core.coded = core.generators.MakeDesign();
  core.blocks = core.generators.MakeBlocks();
  core.two_level = true;
  return core;
}

int RechtschaffnerResVBuilder::FillRows(NCDataMatrix<float>& coded, int k) {
  for (int j = 0; j < k; ++j) coded(0, j) = -1.0F;  // all factors low
  int row = 1;
  for (int i = 0; i < k; ++i, ++row) {
    for (int j = 0; j < k; ++j) coded(row, j) = j == i ? -1.0F : 1.0F;
  }
  for (int i = 0; i < k; ++i) {
    for (int j = i + 1; j < k; ++j, ++row) {
      for (int c = 0; c < k; ++c) coded(row, c) = c == i || c == j ? 1.0F : -1.0F;
    }
  }
  return row;
}

std::vector<int> RechtschaffnerResVBuilder::CandidateRuns(const Factors& factors,
                                                          const DesignOptions& /*options*/) const {
  const int k = factors.GetCount();
  return {1 + k + k * (k - 1) / 2};
}

DesignBuilder::Core RechtschaffnerResVBuilder::BuildCore(const Factors& factors,
                                                         const DesignOptions& /*options*/, int runs,
                                                         unsigned /*blocks*/,
                                                         const bool* /*cancel*/) const {
  Core core;
  core.coded = NCDataMatrix<float>(runs, factors.GetCount());
  FillRows(core.coded, factors.GetCount());
  core.two_level = true;
  return core;
}

}  // namespace zubra::internal
