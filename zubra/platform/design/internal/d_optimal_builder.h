// The optimal designs: runs chosen from a candidate set to maximise det(X'X) of a model
// (D-optimal), or to minimise the average prediction variance over the region (I-optimal) or
// the average variance of the model's estimates (A-optimal); and the split-plot D-optimal
// designs of hard-to-change factors.
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
// Criteria: D maximises det(X'X); I minimises trace((X'X)^-1 W) with W the moments of the
// model columns over the region (exact for a box region, DesignModel::Moments; with mixture
// factors or constraints the mean over the candidates, or over a sample of admitted grid
// points where the candidates are too many to hold); A minimises trace((X'X)^-1) over the
// model's parameters (block effects left out).
//
// Run counts offered: from the number of model columns p (at least the inclusions plus one)
// to 2p + 10. Blocks: up to 8, when every block keeps at least two runs and the design still
// has p + blocks - 1 runs; the blocks enter the model as fixed effects, the runs are split as
// evenly as they go (the first blocks take one more), and the inclusions fill the first
// blocks. The search is the point exchange with iterated local search on the options'
// threads, its effort set by the size of the problem (see PointExchange::Effort), with the
// options' search seed or kSeed, so a set-up always gives the same design. When the process
// grid is too large to hold (see kMaxCandidateEntries), the design is found by coordinate
// exchange over the grid values instead, in one block, and so are the designs of one block
// over large unconstrained grids (kCoordinateGrid).
//
// Split-plot designs: when a varied factor is hard to change, the D-optimal design keeps the
// hard-to-change factors constant within whole plots of runs and varies the others from run
// to run. The runs are split into the optimal options' whole plots (0: the default, a quarter
// of the runs, at least one more than the model columns of the hard-to-change factors alone)
// as evenly as they go, the first plots taking one more; the design maximises the
// determinant of the split-plot information matrix X'V^-1 X for the options' variance ratio
// (WholePlotExchange), and its runs come plot after plot, each with its whole-plot number.
// Refused there: mixture factors, inclusions, blocks, centre points (none are offered),
// replicates and replicated runs, and whole plots fewer than those columns or more than the
// runs. The I- and A-optimal designs ignore the flag.
class OptimalBuilder : public DesignBuilder {
 public:
  enum class Criterion { kD, kI, kA };

  static constexpr std::uint64_t kSeed = 20'260'101;
  static constexpr unsigned kMaxBlocks = 8;
  // The largest candidate model matrix (rows x columns) the point exchange works on; beyond
  // it the design is found by coordinate exchange.
  static constexpr std::size_t kMaxCandidateEntries = 16'000'000;
  // The largest model (in model columns) an optimal design is searched for: beyond it a
  // search would take hours.
  static constexpr int kMaxColumns = 300;
  // The unconstrained process grids from this many points up are searched by coordinate
  // exchange when the design has one block.
  static constexpr std::size_t kCoordinateGrid = 20'000;
  // The grid points drawn for the region's moments when they cannot all be held.
  static constexpr int kMomentSample = 20'000;

  explicit OptimalBuilder(Criterion criterion) : criterion_(criterion) {}

  [[nodiscard]] EDesign::Type GetType() const override;
  [[nodiscard]] std::string GetName() const override;
  // After every classical design, the general full factorial and the mixture designs
  // included: the best-design choice takes the D-optimal design when no classical design
  // fits, the I- and A-optimal ones only when chosen.
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
  // None for a split-plot design; otherwise as for every design.
  [[nodiscard]] bool CenterPointsAllowed(const Factors& factors) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

  // The model the design is built for (see the class comment).
  [[nodiscard]] virtual DesignModel Model(const Factors& factors,
                                          const DesignOptions& options) const;

 private:
  // Refuses models of more than kMaxColumns columns.
  bool CheckModelSize(const Factors& factors, const DesignOptions& options,
                      std::string* message) const;
  // True when the design keeps hard-to-change factors in whole plots (see the class comment).
  [[nodiscard]] bool IsSplitPlot(const Factors& factors) const;
  // The split-plot rules of the class comment.
  bool CheckSplitPlot(const Factors& factors, const DesignOptions& options, int runs,
                      std::string* message) const;
  // The whole plots of a split-plot design of `runs` runs: the options' count, or the default.
  [[nodiscard]] int WholePlots(const Factors& factors, const DesignOptions& options,
                               int runs) const;
  // The model columns that involve hard-to-change factors only (the constant included).
  [[nodiscard]] int WholePlotColumns(const Factors& factors, const DesignOptions& options) const;
  // True when the candidate set would be too large to hold (more than kMaxCandidateEntries
  // model-matrix entries) and coordinate exchange takes over; never for mixture factors,
  // whose candidates are few.
  [[nodiscard]] bool UsesCoordinateExchange(const Factors& factors,
                                            const DesignOptions& options) const;
  // True when the design of one block over an unconstrained process grid of at least
  // kCoordinateGrid points is better found by coordinate exchange: on such grids it reaches
  // better designs in less time than the point exchange (on the 3^10 grid for the quadratic
  // model, 80 runs: D 0.5217 in 0.5 s against 0.519 in 4 s on one core). With constraints the
  // point exchange keeps the cut corners the grid lacks.
  [[nodiscard]] bool PrefersCoordinateExchange(const Factors& factors,
                                               const DesignOptions& options) const;
  // The design by coordinate exchange over the grid values (one block).
  Core BuildByCoordinates(const Factors& factors, const DesignOptions& options, int runs,
                          const bool* cancel) const;
  // The split-plot design (one block).
  Core BuildSplitPlot(const Factors& factors, const DesignOptions& options, int runs,
                      const bool* cancel) const;
  // The candidate levels of continuous factors set in the options, or the default.
  static int CandidateLevels(const DesignOptions& options);

  Criterion criterion_;
};

// The D-optimal design (type 26, "D-Optimal").
class DOptimalBuilder final : public OptimalBuilder {
 public:
  DOptimalBuilder() : OptimalBuilder(Criterion::kD) {}
};

// The I-optimal design (type 37, "I-Optimal"): the region's moments are exact for a box
// region (DesignModel::Moments); with mixture factors or constraints, the mean over the
// candidates (or over a sample of the admitted grid points) stands for them.
class IOptimalBuilder final : public OptimalBuilder {
 public:
  IOptimalBuilder() : OptimalBuilder(Criterion::kI) {}
};

// The A-optimal design (type 38, "A-Optimal"): the smallest average variance of the model's
// estimates, trace((X'X)^-1) over the model columns.
class AOptimalBuilder final : public OptimalBuilder {
 public:
  AOptimalBuilder() : OptimalBuilder(Criterion::kA) {}
};

// The split-objective design (type 33, "Process Mixture"): process and mixture factors
// designed together by the D-optimal search over the cross product of the process grid and
// the mixture candidates. Its model is the process model beside the mixture model or, when
// the process-mixture options ask for the interaction, the crossed model
// (DesignModel::MakeCrossed); an optimal options' term list is not read. Needs both kinds of
// factors; serves every objective. Chosen before the D-optimal design.
class ProcessMixtureBuilder final : public OptimalBuilder {
 public:
  ProcessMixtureBuilder() : OptimalBuilder(Criterion::kD) {}

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
