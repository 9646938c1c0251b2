// The D-optimal design: runs chosen from a candidate set to maximise det(X'X) of a model.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"

namespace zubra::internal {

// Point-exchange search for the runs of a D-optimal design.
//
// Given the model rows of the candidates (one row f(x) per candidate point) and of the
// forced runs, it chooses `free_runs` candidate rows (a candidate may be chosen more than
// once) so that det(M) is as large as it can find, with M = X'X over the forced and the
// chosen rows. Each start takes a random set of candidates, completes it with the
// candidates of largest prediction variance, and then exchanges design points for
// candidates one design position at a time (the modified Fedorov exchange): for position i
// every candidate j is scored by the determinant ratio (1 - d_i)(1 + d_j) + d_ij^2, and the
// best improving swap is made by two rank-one updates of M's inverse and of the candidate
// variances. The inverse is computed afresh once per pass only, to keep rounding in check.
// While the design is singular a tiny ridge keeps M invertible; it is dropped as soon as M
// is well conditioned, and designs are compared by their exact log det(M).
//
// The starts are seeded from the seed and their number, so a seed always gives the same
// design; the best start is kept (the earliest among equals).
class PointExchange {
 public:
  struct Options {
    int starts = 8;          // random starts
    std::uint64_t seed = 1;  // the same seed gives the same design
    int max_passes = 100;    // exchange passes per start at most
  };
  struct Result {
    std::vector<int> rows;  // the chosen candidate rows, ascending (forced runs not included)
    double log_det = 0.0;   // natural log of det(X'X) over forced and chosen rows
  };

  // Runs the search. `candidates` and `forced` have the same number of columns (the model
  // columns); `forced` may have no rows. Throws Exception when there are no candidates,
  // when `free_runs` is negative, or when no design of the search has a nonsingular X'X
  // (the candidates and forced runs cannot support the model); throws CancelException when
  // `*cancel` becomes true.
  static Result Search(const Eigen::MatrixXd& candidates, const Eigen::MatrixXd& forced,
                       int free_runs, const Options& options, const bool* cancel = nullptr);
};

// The D-optimal design (type 26) over process factors: continuous, multilevel and
// qualitative ones.
//
// The model is the D-optimal options' model when it has terms (design indexes of the
// varied factors), otherwise the standard model of the options' process model (linear,
// interaction or quadratic). The candidates are the grid of CandidateSet with the options'
// candidate levels (3 by default) and the options' constraints applied. Run counts offered:
// from the number of model columns p to 2p + 10. One block. Serves every objective except
// the process-mixture one; mixture factors are refused.
class DOptimalBuilder final : public DesignBuilder {
 public:
  // Random starts and seed of every generation.
  static constexpr int kStarts = 8;
  static constexpr std::uint64_t kSeed = 20'260'101;

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kDOptimal; }
  [[nodiscard]] std::string GetName() const override { return "D-Optimal"; }
  // After every classical design, the general full factorial included: the best-design
  // choice takes it when no classical design fits.
  [[nodiscard]] std::int8_t GetRank() const override { return 85; }
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;

 protected:
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;
  bool CheckSpecific(const Factors& factors, const DesignOptions& options, int runs,
                     std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

 private:
  // The model the design is built for (see the class comment).
  static DesignModel Model(const Factors& factors, const DesignOptions& options);
  // The candidate levels of continuous factors set in the options, or the default.
  static int CandidateLevels(const DesignOptions& options);
};

}  // namespace zubra::internal
