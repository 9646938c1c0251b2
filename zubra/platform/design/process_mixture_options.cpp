#include "zubra/platform/design/process_mixture_options.h"

#include "zubra/platform/util/configuration_section.h"

namespace zubra {

std::unique_ptr<DesignSpecificOptions> ProcessMixtureOptions::Clone() const {
  return std::make_unique<ProcessMixtureOptions>(*this);
}

void ProcessMixtureOptions::Save(ConfigurationSection& section) const {
  section.WriteBool("isPMInteraction", pm_interaction_);
}

void ProcessMixtureOptions::Load(const ConfigurationSection& section) {
  section.ReadBool("isPMInteraction", pm_interaction_);
}

bool ProcessMixtureOptions::Equals(const DesignSpecificOptions& other) const {
  const auto* same = dynamic_cast<const ProcessMixtureOptions*>(&other);
  return same != nullptr && same->pm_interaction_ == pm_interaction_;
}

}  // namespace zubra
