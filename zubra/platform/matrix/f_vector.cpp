#include "zubra/platform/matrix/f_vector.h"

#include <algorithm>
#include <cassert>

namespace zubra {

FVector::FVector(int size, float fill) : values_(std::max(size, 0)) {
  assert(size >= 0);
  values_.setConstant(fill);
}

FVector::FVector(std::initializer_list<float> values)
    : values_(static_cast<Eigen::Index>(values.size())) {
  std::copy(values.begin(), values.end(), values_.data());
}

float& FVector::operator()(int i) {
  assert(i >= 1 && i <= GetSize());
  return values_(i - 1);
}

float FVector::operator()(int i) const {
  assert(i >= 1 && i <= GetSize());
  return values_(i - 1);
}

void FVector::Resize(int size, float fill) {
  assert(size >= 0);
  size = std::max(size, 0);
  const int old_size = GetSize();
  values_.conservativeResize(size);
  if (size > old_size) values_.tail(size - old_size).setConstant(fill);
}

void FVector::Append(float value) {
  Resize(GetSize() + 1);
  values_(GetSize() - 1) = value;
}

bool FVector::operator==(const FVector& other) const {
  return values_.size() == other.values_.size() && values_ == other.values_;
}

}  // namespace zubra
