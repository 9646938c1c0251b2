#include "zubra/platform/matrix/itm_data.h"

namespace zubra {

bool ItmData::operator<(const ItmData& other) const { return num_ < other.num_; }

bool ItmData::operator==(const ItmData& other) const {
  return num_ == other.num_ && name_ == other.name_;
}

bool ItmData::operator!=(const ItmData& other) const { return !(*this == other); }

std::unique_ptr<ItmData> ItmData::Clone() const {
  return std::unique_ptr<ItmData>(new ItmData(*this));
}

}  // namespace zubra
