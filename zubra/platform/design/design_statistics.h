// DesignStatistics: how well a design supports a model.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/base/enum_table.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

class ConfigurationSection;
namespace NCDOE {
class Constraints;
}  // namespace NCDOE

// Computes the statistics of a design for a model (see Results).
//
//   DesignStatistics::Results stats = DesignStatistics::Compute(design.GetCoded(), factors,
//                                                               model, constraints);
//   if (!stats.IsSingular()) efficiency = stats.GetDEfficiency();
class DesignStatistics {
 public:
  // What the D-efficiency is measured against (see Results). Stored by its text
  // ("CodedScale", "CandidateOptimum").
  enum class Reference { kCodedScale, kCandidateOptimum };
  static constexpr auto kReferenceTexts = MakeEnumTable<Reference>({
      {Reference::kCodedScale, "CodedScale"},
      {Reference::kCandidateOptimum, "CandidateOptimum"},
  });
  // The levels per continuous process factor of the candidate runs of kCandidateOptimum.
  static constexpr int kReferenceLevels = 3;
  // The largest candidate model matrix (rows x columns) kCandidateOptimum is computed for;
  // beyond it the coded scale is the reference.
  static constexpr double kMaxReferenceEntries = 4e6;
  // The largest uncertainty of the reference, in (1/p) log det M*, that is reported: the
  // D-efficiency then reads at most 1 % low (never high).
  static constexpr double kMaxReferenceGap = 0.01;

  // The statistics of one design for one model, from its model matrix X (N runs x p columns,
  // see DesignModel; block effects are not part of the model), on the coded scale (process
  // factors -1..+1, mixture factors as pseudo-components 0..1):
  //   - log determinant: the natural logarithm of det(X'X);
  //   - D-efficiency, in percent, against one of two references (GetDEfficiencyReference):
  //       * kCodedScale, for designs over process factors without constraints:
  //         100 det(X'X)^(1/p) / N, the determinant per run against that of an orthogonal
  //         design whose model columns are all +-1: 100 for an orthogonal two-level design,
  //         less for models with squares, whose columns cannot all be +-1;
  //       * kCandidateOptimum, for designs that vary mixture factors or have constraints
  //         (passed to Compute): 100 (det(X'X / N) / det M*)^(1/p), M* the information per
  //         run of the D-optimal weighting of the candidate runs (CandidateSet with
  //         kReferenceLevels levels and the constraints, and the design's own runs; see
  //         internal::ApproximateDOptimum). 100 means that no design on these points carries
  //         more information per run; the D-optimal design of N runs scores about 90 to 100
  //         (least when saturated), exactly 100 when N allows the optimal weights (the
  //         simplex lattice for the quadratic mixture model). On the coded scale a good mixture
  //         design would score about 1 %, pseudo-components and their products being small numbers,
  //         and a design of a cut region would be held to a cube it cannot fill. The optimal
  //         weighting rather than the D-optimal design of N runs is the yardstick because it
  //         is found exactly, deterministically and within a bounded effort (a concave
  //         problem, milliseconds on mixture regions), where a search among N-run designs
  //         might itself miss the optimum and would cost as much as generating the design.
  //         M* is overestimated rather than under, so the figure never reads high: within
  //         0.1 % as a rule, up to 1 % (kMaxReferenceGap) where the bounded search stops
  //         early on large process grids. The coded scale is the reference when the
  //         candidates cannot be built, hold more than kMaxReferenceEntries model-matrix
  //         entries, or leave M* less certain than that;
  //   - G-efficiency: 100 p / (N max d), d the prediction variance x'(X'X)^-1 x at the
  //     design's runs, in percent: the largest d against its mean p / N over the runs (the
  //     leverages sum to p), so 100 when every run has the same leverage. It looks at the
  //     runs only, not at the whole region;
  //   - condition number: the largest over the smallest singular value of X, columns neither
  //     centred nor scaled;
  //   - VIF of every model column but the constant: [(X'X)^-1]_jj times the sum of squares
  //     of the column about its mean (about 0 for a model without constant); 1 for a column
  //     orthogonal to the others;
  //   - degrees of freedom: residual N - rank(X); pure error, the sum over groups of equal
  //     runs of their count - 1; lack of fit, the residual less the pure error.
  // A design is singular when X has rank below p (also when N < p): then the log
  // determinant, the condition number and every VIF are undefined (-99), both efficiencies
  // are 0 and the reference is the coded scale; no value is ever NaN. A design is saturated
  // when it is not singular and leaves no residual degree of freedom.
  class Results {
   public:
    Results() = default;

    [[nodiscard]] bool IsSingular() const { return singular_; }
    [[nodiscard]] bool IsSaturated() const { return !singular_ && residual_df_ == 0; }
    [[nodiscard]] int GetRuns() const { return runs_; }
    [[nodiscard]] int GetModelColumns() const { return columns_; }
    [[nodiscard]] double GetLogDet() const { return log_det_; }
    [[nodiscard]] double GetDEfficiency() const { return d_efficiency_; }
    [[nodiscard]] Reference GetDEfficiencyReference() const { return reference_; }
    [[nodiscard]] double GetGEfficiency() const { return g_efficiency_; }
    [[nodiscard]] double GetConditionNumber() const { return condition_; }
    // One name and one VIF per model column but the constant.
    [[nodiscard]] const std::vector<std::string>& GetTermNames() const { return names_; }
    [[nodiscard]] const std::vector<double>& GetVIF() const { return vif_; }
    [[nodiscard]] int GetResidualDF() const { return residual_df_; }
    [[nodiscard]] int GetPureErrorDF() const { return pure_error_df_; }
    [[nodiscard]] int GetLackOfFitDF() const { return residual_df_ - pure_error_df_; }

    // Writes "Runs", "ModelColumns", "Singular", "LogDet", "DEfficiency", "GEfficiency",
    // "ConditionNumber", "ResidualDF", "PureErrorDF" and one indexed child "Term" per VIF
    // with "Name" and "VIF"; earlier "Term" children are removed first. "DEfficiencyReference"
    // is written when the reference is not the coded scale, and removed otherwise.
    void Save(ConfigurationSection& section) const;
    // Reads what Save wrote; absent keys leave their fields unchanged, except that without
    // "DEfficiencyReference" a stored "DEfficiency" is on the coded scale (as in files written
    // before the reference was stored). "Term" children when present replace the VIF list.
    // Throws Exception (object unchanged) for a malformed value, an unknown reference or
    // degrees of freedom that do not fit the runs.
    void Load(const ConfigurationSection& section);

    [[nodiscard]] bool operator==(const Results& other) const = default;

   private:
    friend class DesignStatistics;

    bool singular_ = true;
    int runs_ = 0;
    int columns_ = 0;
    double log_det_ = -99.0;
    double d_efficiency_ = 0.0;
    Reference reference_ = Reference::kCodedScale;
    double g_efficiency_ = 0.0;
    double condition_ = -99.0;
    std::vector<std::string> names_;
    std::vector<double> vif_;
    int residual_df_ = 0;
    int pure_error_df_ = 0;
  };

  // The statistics of the design `coded` (coded as NCDesign, one column per factor of
  // `factors`) for `model`, which must be valid for the factors. `constraints` (design
  // indexes of `factors`, may be null) are those the design was made under; they choose the
  // D-efficiency's reference and cut its candidate runs.
  static Results Compute(const NCDataMatrix<float>& coded, const Factors& factors,
                         const DesignModel& model, const NCDOE::Constraints* constraints = nullptr);
};
static_assert(DesignStatistics::kReferenceTexts.IsOneToOne());

}  // namespace zubra
