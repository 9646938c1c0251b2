// The optimal designs: runs chosen from a candidate set to maximise det(X'X) of a model
// (D-optimal) or to minimise its average prediction variance (I-optimal).
#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/design/internal/point_exchange.h"

namespace zubra::internal {

// The optimal designs over process factors (continuous, multilevel and qualitative), mixture
// factors, or both.
//
// The model is the optimal options' model when it has terms (design indexes of the varied
// factors), otherwise the standard model of the options' process and mixture models. The
// candidates are those of CandidateSet with the options' candidate levels (3 by default) and
// constraints applied. The options' inclusions are runs of the design: they are kept as they
// are, count among its runs, and the search chooses the other runs around them.
//
// Run counts offered: from the number of model columns p (at least the inclusions plus one)
// to 2p + 10. Blocks: up to 8, when every block keeps at least two runs and the design still
// has p + blocks - 1 runs; the blocks enter the model as fixed effects, the runs are split as
// evenly as they go (the first blocks take one more), and the inclusions fill the first
// blocks. The search is the point exchange with iterated local search on all cores, its
// effort set by the size of the problem (see PointExchange::Effort), always with the same
// seed, so a set-up always gives the same design. When the process grid is too large to hold
// (see kMaxCandidateEntries), the D-optimal design is found by coordinate exchange over the
// grid values instead, in one block, and so are the designs of one block over large
// unconstrained grids (kCoordinateGrid); the I-optimal design refuses grids too large to hold.
class OptimalBuilder : public DesignBuilder {
 public:
  static constexpr std::uint64_t kSeed = 20'260'101;
  static constexpr unsigned kMaxBlocks = 8;
  // The largest candidate model matrix (rows x columns) the point exchange works on; beyond
  // it the D-optimal design is found by coordinate exchange.
  static constexpr std::size_t kMaxCandidateEntries = 16'000'000;
  // The largest model (in model columns) an optimal design is searched for: beyond it a
  // search would take hours.
  static constexpr int kMaxColumns = 300;
  // The unconstrained process grids from this many points up are searched by coordinate
  // exchange when the design has one block.
  static constexpr std::size_t kCoordinateGrid = 20'000;

  explicit OptimalBuilder(PointExchange::Criterion criterion) : criterion_(criterion) {}

  [[nodiscard]] EDesign::Type GetType() const override;
  [[nodiscard]] std::string GetName() const override;
  // After every classical design, the general full factorial and the mixture designs
  // included: the best-design choice takes the D-optimal design when no classical design
  // fits, the I-optimal one only when chosen.
  [[nodiscard]] std::int8_t GetRank() const override;
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;

 protected:
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;
  bool CheckSpecific(const Factors& factors, const DesignOptions& options, int runs,
                     std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

  // The model the design is built for (see the class comment).
  [[nodiscard]] virtual DesignModel Model(const Factors& factors,
                                          const DesignOptions& options) const;

 private:
  // Refuses models of more than kMaxColumns columns.
  bool CheckModelSize(const Factors& factors, const DesignOptions& options,
                      std::string* message) const;
  // True when the candidate set would be too large to hold (more than kMaxCandidateEntries
  // model-matrix entries) and the D criterion lets coordinate exchange take over; never for
  // mixture factors, whose candidates are few.
  [[nodiscard]] bool UsesCoordinateExchange(const Factors& factors,
                                            const DesignOptions& options) const;
  // True when the D-optimal design of one block over an unconstrained process grid of at
  // least kCoordinateGrid points is better found by coordinate exchange: on such grids it
  // reaches higher determinants in less time than the point exchange (on the 3^10 grid for the
  // quadratic model, 80 runs: D 0.5186 in 1.5 s against 0.5171 in 6 s on one core). With
  // constraints the point exchange keeps the cut corners the grid lacks.
  [[nodiscard]] bool PrefersCoordinateExchange(const Factors& factors,
                                               const DesignOptions& options) const;
  // The design by coordinate exchange over the grid values (one block).
  Core BuildByCoordinates(const Factors& factors, const DesignOptions& options, int runs,
                          const bool* cancel) const;
  // The candidate levels of continuous factors set in the options, or the default.
  static int CandidateLevels(const DesignOptions& options);

  PointExchange::Criterion criterion_;
};

// The D-optimal design (type 26, "D-Optimal").
class DOptimalBuilder final : public OptimalBuilder {
 public:
  DOptimalBuilder() : OptimalBuilder(PointExchange::Criterion::kD) {}
};

// The I-optimal design (type 37, "I-Optimal"): the region's moments are exact for a box
// region (DesignModel::Moments); with mixture factors or constraints, the mean over the
// candidates stands for them.
class IOptimalBuilder final : public OptimalBuilder {
 public:
  IOptimalBuilder() : OptimalBuilder(PointExchange::Criterion::kI) {}
};

// The split-objective design (type 33, "Process Mixture"): process and mixture factors
// designed together by the D-optimal search over the cross product of the process grid and
// the mixture candidates. Its model is the process model beside the mixture model or, when
// the process-mixture options ask for the interaction, the crossed model
// (DesignModel::MakeCrossed); an optimal options' term list is not read. Needs both kinds of
// factors; serves every objective. Chosen before the D-optimal design.
class ProcessMixtureBuilder final : public OptimalBuilder {
 public:
  ProcessMixtureBuilder() : OptimalBuilder(PointExchange::Criterion::kD) {}

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kProcessMixture; }
  [[nodiscard]] std::string GetName() const override { return "Process Mixture"; }
  [[nodiscard]] std::int8_t GetRank() const override { return 95; }
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override {
    return objective != EObjective::kNone;
  }
  [[nodiscard]] bool IsPMInteraction(const Factors& factors,
                                     const DesignOptions& options) const override;

 protected:
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  [[nodiscard]] DesignModel Model(const Factors& factors,
                                  const DesignOptions& options) const override;
};

}  // namespace zubra::internal
