// ProcessMixtureOptions: the settings of designs over process and mixture factors together.
#pragma once

#include <memory>

#include "zubra/platform/design/design_specific_options.h"

namespace zubra {

// Whether the model of a process-mixture design crosses the process terms with the mixture
// terms (default false). Stored as "isPMInteraction".
class ProcessMixtureOptions final : public DesignSpecificOptions {
 public:
  ProcessMixtureOptions() = default;

  [[nodiscard]] bool IsPMInteraction() const { return pm_interaction_; }
  void SetPMInteraction(bool value) { pm_interaction_ = value; }

  [[nodiscard]] Kind GetKind() const override { return Kind::kProcessMixture; }
  [[nodiscard]] std::unique_ptr<DesignSpecificOptions> Clone() const override;
  void Save(ConfigurationSection& section) const override;
  void Load(const ConfigurationSection& section) override;
  [[nodiscard]] bool Equals(const DesignSpecificOptions& other) const override;

 private:
  bool pm_interaction_ = false;
};

}  // namespace zubra
