// OnionOptions: the settings of layered (onion) designs.
#pragma once

#include <memory>

#include "zubra/platform/design/design_specific_options.h"

namespace zubra {

// A layered design splits the region into nested layers around its centre and designs each
// layer. Settings: the number of layers (1..kMaxLayers, default 3, key "Layers"), whether the
// layer setting is on, so that the layers act as the design's blocks (default true, key
// "Layer"), and the total runs over all layers (0 = the builder decides, key "TotLayerRuns").
class OnionOptions final : public DesignSpecificOptions {
 public:
  static constexpr int kMaxLayers = 10;

  OnionOptions() = default;

  [[nodiscard]] int GetNLayers() const { return layers_; }
  // Stores n when 1 <= n <= kMaxLayers and returns true; otherwise false, unchanged.
  bool SetNLayers(int n);
  [[nodiscard]] bool IsLayerSettingOn() const { return layer_setting_; }
  void SetLayerSetting(bool on) { layer_setting_ = on; }
  [[nodiscard]] int GetTotalLayerRuns() const { return total_layer_runs_; }
  // Stores n when n >= 0 and returns true; otherwise false, unchanged.
  bool SetTotalLayerRuns(int n);

  [[nodiscard]] Kind GetKind() const override { return Kind::kOnion; }
  [[nodiscard]] std::unique_ptr<DesignSpecificOptions> Clone() const override;
  void Save(ConfigurationSection& section) const override;
  void Load(const ConfigurationSection& section) override;
  [[nodiscard]] bool Equals(const DesignSpecificOptions& other) const override;

 private:
  int layers_ = 3;
  bool layer_setting_ = true;
  int total_layer_runs_ = 0;
};

}  // namespace zubra
