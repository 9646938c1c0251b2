#include "zubra/platform/base/general_settings.h"

namespace zubra {

GeneralSettings& GeneralSettings::Instance() {
  static GeneralSettings settings;
  return settings;
}

bool GeneralSettings::SetReplicateTolerance(double tolerance) {
  // Written so that NaN fails both comparisons and is refused.
  if (!(tolerance >= 0.0 && tolerance <= kMaxReplicateTolerance)) return false;
  replicate_tolerance_ = tolerance;
  return true;
}

void GeneralSettings::Reset() { replicate_tolerance_ = kDefaultReplicateTolerance; }

}  // namespace zubra
