// SplitPlotOptions: the settings of split-plot (plate) designs.
#pragma once

#include <memory>
#include <vector>

#include "zubra/platform/design/design_specific_options.h"
#include "zubra/platform/design/e_model.h"

namespace zubra {

// A split-plot design crosses a design in the horizontal factors with one in the vertical
// factors (rows and columns of a plate). Each side has its factors (0-based design indexes),
// its model and its runs; the plates have a count and a size; three switches choose whether
// plate factors are used, a block factor is added and plate interactions are modelled. Keys:
// "HorizontalFactors", "VerticalFactors", "HorizontalModel", "VerticalModel",
// "HorizontalRuns", "VerticalRuns", "Num.Plates", "PlateSize", "UsePlateFactors",
// "AddBlockFactor", "AddPlateInteractions".
class SplitPlotOptions final : public DesignSpecificOptions {
 public:
  // The settings of one side of the plate.
  struct Side {
    std::vector<int> factors;
    EModel::Type model = EModel::kLinear;
    int runs = 0;
    bool operator==(const Side& other) const = default;
  };

  SplitPlotOptions() = default;

  Side& Horizontal() { return horizontal_; }
  [[nodiscard]] const Side& Horizontal() const { return horizontal_; }
  Side& Vertical() { return vertical_; }
  [[nodiscard]] const Side& Vertical() const { return vertical_; }
  [[nodiscard]] int GetPlates() const { return plates_; }
  void SetPlates(int plates) { plates_ = plates; }
  [[nodiscard]] int GetPlateSize() const { return plate_size_; }
  void SetPlateSize(int size) { plate_size_ = size; }
  [[nodiscard]] bool UsesPlateFactors() const { return use_plate_factors_; }
  void SetUsePlateFactors(bool value) { use_plate_factors_ = value; }
  [[nodiscard]] bool AddsBlockFactor() const { return add_block_factor_; }
  void SetAddBlockFactor(bool value) { add_block_factor_ = value; }
  [[nodiscard]] bool AddsPlateInteractions() const { return add_plate_interactions_; }
  void SetAddPlateInteractions(bool value) { add_plate_interactions_ = value; }

  [[nodiscard]] Kind GetKind() const override { return Kind::kSplitPlot; }
  [[nodiscard]] std::unique_ptr<DesignSpecificOptions> Clone() const override;
  void Save(ConfigurationSection& section) const override;
  void Load(const ConfigurationSection& section) override;
  [[nodiscard]] bool Equals(const DesignSpecificOptions& other) const override;

 private:
  Side horizontal_;
  Side vertical_;
  int plates_ = 1;
  int plate_size_ = 96;
  bool use_plate_factors_ = false;
  bool add_block_factor_ = false;
  bool add_plate_interactions_ = false;
};

}  // namespace zubra
