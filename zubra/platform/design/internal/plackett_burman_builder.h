// The Plackett-Burman screening designs.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/design/internal/factorial_builders.h"

namespace zubra::internal {

// Two-level orthogonal designs of N = 8, 12, ..., 48 runs (multiples of 4) for up to N - 1
// factors and the linear model. Each design is an N x (N - 1) matrix of +-1 whose columns
// are balanced and mutually orthogonal; the factors take the first columns. Blocking into 2
// blocks uses the next free column, so it needs k < N - 1.
//
// Construction: for 12, 20, 24, 44 and 48 runs the cyclic shifts of the generating row
// (the quadratic-residue rows for the primes 11, 19, 23, 43, 47) and a row of minus signs;
// 36 runs likewise from its published generating row; 28 runs from the quadratic residues
// of the field of 27 elements; 8, 16 and 32 runs from the Sylvester construction; 40 runs by
// doubling the 20-run design.
class PlackettBurmanBuilder final : public TwoLevelBuilder {
 public:
  static constexpr int kMaxRuns = 48;
  PlackettBurmanBuilder() : TwoLevelBuilder(2, kMaxRuns - 1, EModel::kLinear) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kPlackettBurman; }
  [[nodiscard]] std::string GetName() const override { return "Plackett-Burman"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 40; }

  // The full N x (N - 1) matrix of +-1 for N in 8, 12, ..., 48; empty for another N.
  static NCDataMatrix<float> MakeMatrix(int runs);

 protected:
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;
};

}  // namespace zubra::internal
