// DOptimalOptions: the settings of the optimal (D- and I-optimal) designs.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/design_specific_options.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

// The model the optimal design is built for (default: none, the builder takes the standard
// model of the options), the linear constraints of the region (default none; set for each
// generation and never stored) and the candidate settings: the number of equally spaced
// levels per continuous factor in the candidate set (2..kMaxCandidateLevels, default 3, key
// "CandidateLevels"), and the inclusions: runs the design must contain whatever else it
// chooses (default none; set for each generation and never stored), one row per run and one
// column per factor of the Factors the design is built for, in the factors' own (uncoded)
// units, a qualitative factor as its 1-based setting number, mixture factors as amounts.
// The model is stored as a child "Model" with indexed children "Term"
// holding "Factors" (0-based design indexes, "0,0" for a square; "" for the constant).
//
// The settings of split-plot designs, used when a varied factor is hard to change: the
// number of whole plots (0, the default: the builder chooses; key "WholePlots") and the ratio
// of the whole-plot variance to the run variance the design is optimised for (0..kMaxRatio,
// default 1, key "VarianceRatio"). Both keys are written only when they are not the default,
// so that the stored form of other set-ups stays as it was.
class DOptimalOptions final : public DesignSpecificOptions {
 public:
  static constexpr int kMaxCandidateLevels = 9;
  static constexpr int kMaxWholePlots = 10000;
  static constexpr double kMaxRatio = 1000.0;

  DOptimalOptions() = default;
  DOptimalOptions(const DOptimalOptions& other);
  DOptimalOptions& operator=(const DOptimalOptions& other);

  [[nodiscard]] const DesignModel& GetModel() const { return model_; }
  void SetModel(DesignModel model) { model_ = std::move(model); }
  // The constraints, or nullptr when there are none.
  [[nodiscard]] const NCDOE::Constraints* GetConstraints() const { return constraints_.get(); }
  void SetConstraints(std::unique_ptr<NCDOE::Constraints> constraints) {
    constraints_ = std::move(constraints);
  }
  [[nodiscard]] const NCDataMatrix<float>& GetInclusions() const { return inclusions_; }
  void SetInclusions(NCDataMatrix<float> inclusions) { inclusions_ = std::move(inclusions); }
  // Called while an optimal design is searched, after each finished random start, with
  // (finished starts, starts); possibly from a worker thread, never two calls at once. Set for
  // a generation, never stored nor compared. May be empty.
  [[nodiscard]] const std::function<void(int, int)>& GetProgress() const { return progress_; }
  void SetProgress(std::function<void(int, int)> progress) { progress_ = std::move(progress); }
  [[nodiscard]] int GetCandidateLevels() const { return candidate_levels_; }
  // Stores n when 2 <= n <= kMaxCandidateLevels and returns true; otherwise false.
  bool SetCandidateLevels(int n);
  [[nodiscard]] int GetWholePlots() const { return whole_plots_; }
  // Stores n when 0 <= n <= kMaxWholePlots and returns true; otherwise false.
  bool SetWholePlots(int n);
  [[nodiscard]] double GetVarianceRatio() const { return variance_ratio_; }
  // Stores `ratio` when 0 <= ratio <= kMaxRatio and returns true; otherwise false.
  bool SetVarianceRatio(double ratio);

  [[nodiscard]] Kind GetKind() const override { return Kind::kDOptimal; }
  [[nodiscard]] std::unique_ptr<DesignSpecificOptions> Clone() const override;
  void Save(ConfigurationSection& section) const override;
  void Load(const ConfigurationSection& section) override;
  [[nodiscard]] bool Equals(const DesignSpecificOptions& other) const override;

 private:
  DesignModel model_;
  std::unique_ptr<NCDOE::Constraints> constraints_;
  NCDataMatrix<float> inclusions_;
  std::function<void(int, int)> progress_;
  int candidate_levels_ = 3;
  int whole_plots_ = 0;
  double variance_ratio_ = 1.0;
};

}  // namespace zubra
