// The definitive screening designs: three-level screening designs built from conference
// matrices.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"

namespace zubra::internal {

// Three-level screening designs for 4..30 factors and the linear model, in 2n + 1 runs from a
// conference matrix C of order n: the rows of C, the rows of -C, and one centre run. A
// conference matrix is an n x n matrix with 0 on the diagonal, +-1 elsewhere and
// C'C = (n - 1) I; the factors take its first columns, so n is the smallest order at least
// the number of factors (an odd count leaves a column unused).
//
// What the construction gives, for continuous factors:
//   - every factor takes the levels -1, 0, +1, and each column has exactly two zeros (one
//     run of C and its mirror image), so the quadratic effect of every factor is estimable;
//   - the main effects are orthogonal to one another (X'X = 2 (n - 1) I);
//   - every run of C comes with its mirror image -C, so every main effect is orthogonal to
//     every two-factor interaction and every square (their products with a main effect are
//     odd functions, which cancel over each mirror pair and vanish at the centre run).
//
// Two-level factors (a qualitative factor with two settings, a multilevel or time factor with
// two levels) take a column of C too, with its zero replaced: +1 in the run of C and -1 in
// its mirror run, so that the mirror pairs stay intact. The single centre run becomes two
// runs with the continuous factors at 0 and the two-level factors all at +1 in one and all
// at -1 in the other (2n + 2 runs). Main effects stay orthogonal to the two-factor
// interactions and squares. A two-level factor's main effect is no longer exactly orthogonal
// to the others: its correlation with a continuous factor is +-1/sqrt(n^2 - 1), and with
// another two-level factor 1/(n + 1) when C is antisymmetric (n a multiple of 4) but up to
// 3/(n + 1) when C is symmetric; so with two or more two-level factors only the orders
// that are multiples of 4 are offered. Designs need at least one factor with three levels.
//
// A factor counts as continuous when it is quantitative, or a multilevel or time factor
// with three equally spaced levels (its middle level is the coded 0).
//
// Conference matrices: the Paley construction over the field of q elements gives order q + 1
// (symmetric for q = 1 mod 4, antisymmetric for q = 3 mod 4): orders 4, 6, 8, 10, 12, 14,
// 18, 20, 24, 26, 28, 30 and 32 (q = 3, 5, 7, 9, 11, 13, 17, 19, 23, 25, 27, 29, 31, with the
// fields of 9, 25 and 27 elements built as polynomials over the prime field). Order 16
// doubles the antisymmetric matrix S of order 8: [[S, S + I], [S - I, -S]]. No conference
// matrix of order 22 exists (21 is not a sum of two squares), so 21 and 22 factors take order
// 24.
//
// Run counts offered: 2n + 1 (2n + 2 with two-level factors) for every available order n from
// the smallest up to 32; the larger ones leave more columns unused ("fake factors"), which
// makes the squares better estimable. Blocks: b = 2..8 blocks when b divides n and each
// block holds at least two mirror pairs; block k holds the k-th run of pairs, and the centre
// run (or runs) goes into the last block, so the blocks are orthogonal to the main effects.
// Extra centre points (the options' centre points) are allowed when every factor takes the
// value 0.
//
// Rank 38: after the full factorial (10), the fractional factorials of resolution V (20) and
// IV (30) and the saturated design for the interaction model (35); before Plackett-Burman
// (40) and resolution III (50). The catalogue keeps main effects clear of two-factor
// interactions when that is affordable (it prefers resolution IV to Plackett-Burman, at
// twice the runs for up to 15 factors), and this design keeps that property beyond the 15
// factors of the fractional factorial tables, at 2n + 1 runs where a resolution IV
// fraction needs at least 2k, and also screens for curvature. Up to 15 factors the
// fractional factorial of resolution IV stays the choice whenever it is admissible; this
// design is chosen there only when it is not (a run limit between the two, say).
class DefinitiveScreeningBuilder final : public DesignBuilder {
 public:
  static constexpr int kMinFactors = 4;
  static constexpr int kMaxFactors = 30;
  static constexpr int kMaxOrder = 32;

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kDefinitiveScreening; }
  [[nodiscard]] std::string GetName() const override { return "Definitive Screening"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 38; }
  // Screening only.
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;

  // The conference matrices built in (see the class comment): the orders, ascending.
  static std::vector<int> GetOrders();
  // The conference matrix of order `order` (0 on the diagonal, +-1 elsewhere,
  // C'C = (order - 1) I); an empty matrix for an order not in GetOrders().
  static NCDataMatrix<float> MakeConferenceMatrix(int order);

 protected:
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  [[nodiscard]] bool CenterPointsAllowed(const Factors& factors) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

 private:
  // True for a factor the design gives three levels (see the class comment).
  static bool IsThreeLevel(const Factors::Factor& factor);
  // The number of two-level factors among `factors`.
  static int CountTwoLevel(const Factors& factors);
};

}  // namespace zubra::internal
