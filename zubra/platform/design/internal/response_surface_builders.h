// The response-surface families: central composite designs, Box-Behnken designs and the
// saturated three-level design for the quadratic model.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"

namespace zubra::internal {

// Common rules: continuous process factors only; objectives RSM and optimization; models up
// to quadratic.
class ResponseSurfaceBuilder : public DesignBuilder {
 public:
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;

 protected:
  ResponseSurfaceBuilder(int min_factors, int max_factors)
      : min_factors_(min_factors), max_factors_(max_factors) {}
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;

 private:
  int min_factors_;
  int max_factors_;
};

// Central composite designs for 2..11 factors: a two-level factorial part (the full
// factorial or a resolution V fraction of GetGen5, of F runs), 2k axial runs at distance
// alpha on each axis, and centre points. Forms:
//   - kCircumscribed ("CCC"): factorial at +-1, axial at +-alpha;
//   - kFaceCentred ("CCF"): alpha = 1;
//   - kInscribed ("CCI"): axial at +-1, factorial at +-1/alpha.
// alpha follows the options' star distance choice (DesignOptions::StarDistanceChoice): by
// default the rotatable F^(1/4) in one block and the distance of orthogonal blocking in more,
// computed from the runs as they fall into the blocks (replicates and replicated runs
// included, the centre points shared out as Generate does); the inscribed form needs
// alpha >= 1. Runs: F + 2k for each factorial part the table offers. Blocks: 2 (factorial
// and axial runs apart) and 2^i + 1 (the factorial part in 2^i blocks by the block generators
// of GetGen5, the axial runs in the last block); blocked designs need a centre point per
// block.
class CentralCompositeBuilder final : public ResponseSurfaceBuilder {
 public:
  enum class Form { kCircumscribed, kFaceCentred, kInscribed };
  static constexpr int kMaxFactors = 11;

  explicit CentralCompositeBuilder(Form form)
      : ResponseSurfaceBuilder(2, kMaxFactors), form_(form) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kCentralComposite; }
  [[nodiscard]] std::string GetName() const override;
  [[nodiscard]] std::int8_t GetRank() const override;

  // The axial distance used for `factors` factors, a factorial part of `factorial_runs`
  // runs and the options (star distance choice, blocks, centre points, replication).
  [[nodiscard]] float StarDistance(int factors, int factorial_runs,
                                   const DesignOptions& options) const;

 protected:
  bool CheckSpecific(const Factors& factors, const DesignOptions& options, int runs,
                     std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  [[nodiscard]] int MinCenterPoints(const Factors& factors,
                                    const DesignOptions& options) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

 private:
  Form form_;
};

// Box-Behnken designs for 3..12 factors: each set of a balanced (or partially balanced)
// arrangement of factor groups runs a two-level factorial on its factors (a half fraction
// of resolution V for the 5-factor groups of 11 factors) with the other factors at 0.
// Runs without centre points: 12, 24, 40, 48, 56, 128, 120, 160, 176, 192 for k = 3..12.
// Orthogonal blocks: 4 factors 3; 5, 6, 7, 10 and 12 factors 2; 9 factors 5 or 10. Every
// design needs a centre point per block (at least one).
class BoxBehnkenBuilder final : public ResponseSurfaceBuilder {
 public:
  static constexpr int kMaxFactors = 12;
  BoxBehnkenBuilder() : ResponseSurfaceBuilder(3, kMaxFactors) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kBoxBehnken; }
  [[nodiscard]] std::string GetName() const override { return "Box-Behnken"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 65; }

  // The factor groups for k factors (0-based factor indexes); empty outside 3..12.
  static std::vector<std::vector<int>> Groups(int k);

 protected:
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  [[nodiscard]] int MinCenterPoints(const Factors& factors,
                                    const DesignOptions& options) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;
};

// The saturated three-level design of (k + 1)(k + 2) / 2 runs for the quadratic model in
// k = 4..32 factors: all factors low; each factor low with the others high; each pair high
// with the others low; each factor high with the others at the centre.
class RechtschaffnerBuilder final : public ResponseSurfaceBuilder {
 public:
  static constexpr int kMaxFactors = 32;
  RechtschaffnerBuilder() : ResponseSurfaceBuilder(4, kMaxFactors) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kRechtschaffner; }
  [[nodiscard]] std::string GetName() const override { return "Rechtschaffner"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 70; }

 protected:
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;
};

}  // namespace zubra::internal
