// DesignStatistics: how well a design supports a model.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

class ConfigurationSection;

// Computes the statistics of a design for a model (see Results).
//
//   DesignStatistics::Results stats = DesignStatistics::Compute(design.GetCoded(), factors,
//                                                               model);
//   if (!stats.IsSingular()) efficiency = stats.GetDEfficiency();
class DesignStatistics {
 public:
  // The statistics of one design for one model, from its model matrix X (N runs x p columns,
  // see DesignModel; block effects are not part of the model):
  //   - log determinant: the natural logarithm of det(X'X);
  //   - D-efficiency: 100 det(X'X)^(1/p) / N, in percent (100 for an orthogonal two-level
  //     design whose model columns are all +-1);
  //   - G-efficiency: 100 p / (N max d), d the prediction variance x'(X'X)^-1 x at the
  //     design's runs, in percent;
  //   - condition number: the largest over the smallest singular value of X;
  //   - VIF of every model column but the constant: [(X'X)^-1]_jj times the sum of squares
  //     of the column about its mean (about 0 for a model without constant);
  //   - degrees of freedom: residual N - rank(X); pure error, the sum over groups of equal
  //     runs of their count - 1; lack of fit, the residual less the pure error.
  // A design is singular when X has rank below p (also when N < p): then the log
  // determinant, the condition number and every VIF are undefined (-99) and both
  // efficiencies are 0; no value is ever NaN. A design is saturated when it is not singular
  // and leaves no residual degree of freedom.
  class Results {
   public:
    Results() = default;

    [[nodiscard]] bool IsSingular() const { return singular_; }
    [[nodiscard]] bool IsSaturated() const { return !singular_ && residual_df_ == 0; }
    [[nodiscard]] int GetRuns() const { return runs_; }
    [[nodiscard]] int GetModelColumns() const { return columns_; }
    [[nodiscard]] double GetLogDet() const { return log_det_; }
    [[nodiscard]] double GetDEfficiency() const { return d_efficiency_; }
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
    // with "Name" and "VIF"; earlier "Term" children are removed first.
    void Save(ConfigurationSection& section) const;
    // Reads what Save wrote; absent keys leave their fields unchanged, "Term" children when
    // present replace the VIF list. Throws Exception (object unchanged) for a malformed value
    // or degrees of freedom that do not fit the runs.
    void Load(const ConfigurationSection& section);

    [[nodiscard]] bool operator==(const Results& other) const = default;

   private:
    friend class DesignStatistics;

    bool singular_ = true;
    int runs_ = 0;
    int columns_ = 0;
    double log_det_ = -99.0;
    double d_efficiency_ = 0.0;
    double g_efficiency_ = 0.0;
    double condition_ = -99.0;
    std::vector<std::string> names_;
    std::vector<double> vif_;
    int residual_df_ = 0;
    int pure_error_df_ = 0;
  };

  // The statistics of the design `coded` (coded as NCDesign, one column per factor of
  // `factors`) for `model`, which must be valid for the factors.
  static Results Compute(const NCDataMatrix<float>& coded, const Factors& factors,
                         const DesignModel& model);
};

}  // namespace zubra
