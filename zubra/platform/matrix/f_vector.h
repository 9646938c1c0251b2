// FVector: a single-precision column vector with 1-based element access, backed by Eigen.
#pragma once

#include <Eigen/Core>
#include <initializer_list>
#include <utility>

namespace zubra {

// A column of floats indexed from 1 to GetSize().
//
// The values live in an Eigen vector that AsEigen() exposes by reference for algebra; the
// 1-based operator() is the interface the rest of the library uses. Indices are checked by
// assert in debug builds only. Copies are deep.
//
// As with std::vector, braces pick the list of values: FVector{3} holds the single value 3,
// while FVector(3) holds three zeros.
class FVector {
 public:
  using Storage = Eigen::VectorXf;

  FVector() = default;
  // A vector of `size` elements (a negative size counts as 0), all equal to `fill`.
  explicit FVector(int size, float fill = 0.0F);
  FVector(std::initializer_list<float> values);
  // Takes over an Eigen vector, typically the result of an algebraic expression.
  explicit FVector(Storage values) : values_(std::move(values)) {}

  [[nodiscard]] int GetSize() const { return static_cast<int>(values_.size()); }

  // Element i, 1 <= i <= GetSize().
  float& operator()(int i);
  [[nodiscard]] float operator()(int i) const;

  // Changes the size to `size` (a negative size counts as 0), keeping the first
  // min(old, new) elements; elements added at the end are set to `fill`.
  void Resize(int size, float fill = 0.0F);
  // Appends one element at the end.
  void Append(float value);
  // Sets every element to `value`.
  void Fill(float value) { values_.setConstant(value); }

  Storage& AsEigen() { return values_; }
  [[nodiscard]] const Storage& AsEigen() const { return values_; }

  // Same size and exactly equal elements (a NaN equals nothing).
  [[nodiscard]] bool operator==(const FVector& other) const;

 private:
  Storage values_;
};

}  // namespace zubra
