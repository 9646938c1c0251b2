#include "zubra/platform/design/onion_options.h"

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {

bool OnionOptions::SetNLayers(int n) {
  if (n < 1 || n > kMaxLayers) return false;
  layers_ = n;
  return true;
}

bool OnionOptions::SetTotalLayerRuns(int n) {
  if (n < 0) return false;
  total_layer_runs_ = n;
  return true;
}

std::unique_ptr<DesignSpecificOptions> OnionOptions::Clone() const {
  return std::make_unique<OnionOptions>(*this);
}

void OnionOptions::Save(ConfigurationSection& section) const {
  section.WriteInt("Layers", layers_);
  section.WriteBool("Layer", layer_setting_);
  section.WriteInt("TotLayerRuns", total_layer_runs_);
}

void OnionOptions::Load(const ConfigurationSection& section) {
  OnionOptions read = *this;
  int value = 0;
  if (section.ReadInt("Layers", value) && !read.SetNLayers(value)) {
    throw Exception(ExceptionMessage::translate("The number of layers {} is not valid.") % value);
  }
  section.ReadBool("Layer", read.layer_setting_);
  if (section.ReadInt("TotLayerRuns", value) && !read.SetTotalLayerRuns(value)) {
    throw Exception(ExceptionMessage::translate("The number of layer runs {} is not valid.") %
                    value);
  }
  *this = read;
}

bool OnionOptions::Equals(const DesignSpecificOptions& other) const {
  const auto* same = dynamic_cast<const OnionOptions*>(&other);
  return same != nullptr && same->layers_ == layers_ && same->layer_setting_ == layer_setting_ &&
         same->total_layer_runs_ == total_layer_runs_;
}

}  // namespace zubra
