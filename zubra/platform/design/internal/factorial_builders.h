// The two-level factorial families: full factorial, fractional factorials of resolution III,
// IV and V, and the saturated two-level design for the interaction model.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"

namespace zubra::internal {

// Common rules of the two-level screening families: process factors only, each with two
// levels (continuous, or two levels or settings); objectives screening, robustness and
// optimization.
class TwoLevelBuilder : public DesignBuilder {
 public:
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;

 protected:
  TwoLevelBuilder(int min_factors, int max_factors, EModel::Type max_model)
      : min_factors_(min_factors), max_factors_(max_factors), max_model_(max_model) {}
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;

 private:
  int min_factors_;
  int max_factors_;
  EModel::Type max_model_;
};

// The two-level full factorial 2^k (k = 1..15) in standard order, blocked into 2, 4 or 8
// blocks by the table generators of GetGenFullFactorial (up to 7 factors). Serves the linear
// and interaction models.
class FullFactorialBuilder final : public TwoLevelBuilder {
 public:
  static constexpr int kMaxFactors = 15;
  FullFactorialBuilder() : TwoLevelBuilder(1, kMaxFactors, EModel::kInteraction) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kFullFactorial; }
  [[nodiscard]] std::string GetName() const override { return "Full Factorial"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 10; }

 protected:
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;
};

// The minimum-aberration fractional factorial of at least resolution `level` (3, 4 or 5) for
// 3..15 factors in up to 128 runs, from the table of Generators (GetGen3/4/5). Generators
// set in the options for the same number of factors are used instead when the design has
// their run count (they add that count to the candidates); they must reach the resolution.
// Blocks: 2^i blocks (i <= min(3, log2(runs / 4))) by the table's block generators, or the
// block words of the options' generators. Resolution III and IV serve the linear model,
// resolution V also the interaction model.
class FractionalFactorialBuilder final : public TwoLevelBuilder {
 public:
  explicit FractionalFactorialBuilder(int level);

  [[nodiscard]] EDesign::Type GetType() const override;
  [[nodiscard]] std::string GetName() const override { return "FractionalFactorial"; }
  [[nodiscard]] std::int8_t GetRank() const override;

 protected:
  bool CheckSpecific(const Factors& factors, const DesignOptions& options, int runs,
                     std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

 private:
  // True when the options carry generators for `factors` factors in `runs` runs.
  [[nodiscard]] static bool HasOwnGenerators(const Factors& factors, const DesignOptions& options,
                                             int runs);
  int level_;
};

// The saturated two-level design of 1 + k + k(k-1)/2 runs for the interaction model in
// k = 4..32 factors: all factors low; each factor low with the others high; each pair high
// with the others low.
class RechtschaffnerResVBuilder final : public TwoLevelBuilder {
 public:
  static constexpr int kMaxFactors = 32;
  RechtschaffnerResVBuilder() : TwoLevelBuilder(4, kMaxFactors, EModel::kInteraction) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kRechtschaffnerResV; }
  [[nodiscard]] std::string GetName() const override { return "Rechtschaffner Res V"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 35; }

  // Writes the 1 + k + k(k-1)/2 rows of the design in k factors into the first rows of
  // `coded` (at least that many rows, k columns) and returns the number of rows written.
  static int FillRows(NCDataMatrix<float>& coded, int k);

 protected:
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;
};

// The block counts 2^i, i = 1..min(3, log2(runs / 4)), whose `i` block generators `lookup`
// (a table function taking index and block count) provides; always begins with 1.
template <typename Lookup>
std::vector<unsigned> TableBlockCounts(int runs, Lookup lookup) {
  std::vector<unsigned> counts{1};
  int most = 0;
  while (most < 3 && (4 << (most + 1)) <= runs) ++most;
  for (int i = 1; i <= most; ++i) {
    bool all = true;
    for (int j = 1; j <= i; ++j) all = all && lookup(-j, i) != 0;
    if (all) counts.push_back(1U << i);
  }
  return counts;
}

}  // namespace zubra::internal
