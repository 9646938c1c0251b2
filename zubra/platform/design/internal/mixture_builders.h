// The classical mixture designs: simplex lattice, simplex centroid and axial designs.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/design/design_builder.h"

namespace zubra::internal {

// Designs over q >= 2 mixture factors only, all varied formulation factors (no filler) whose
// region is a simplex: with lower bounds L_i summing below the total T, every upper bound is
// at least L_i + (T - sum L). The design is built in pseudo-components z (z_i >= 0, sum 1),
// and a run's amounts are L_i + (T - sum L) z_i. Kinds:
//   - kLattice: the {q, m} simplex lattice, every z with coordinates in 0, 1/m, ..., 1;
//     m = 1 for the linear, 2 for the quadratic, 3 for the special cubic and cubic models;
//   - kCentroid: the 2^q - 1 centroids of the non-empty subsets of components; linear,
//     quadratic and special cubic models;
//   - kAxial: the q vertices, the q axial points halfway between the centroid and each
//     vertex, and the overall centroid; linear model.
// The centre point of these designs is the overall centroid.
class MixtureBuilder final : public DesignBuilder {
 public:
  enum class Kind { kLattice, kCentroid, kAxial };
  static constexpr int kMaxComponents = 20;

  explicit MixtureBuilder(Kind kind) : kind_(kind) {}

  [[nodiscard]] EDesign::Type GetType() const override;
  [[nodiscard]] std::string GetName() const override;
  [[nodiscard]] std::int8_t GetRank() const override;
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;

 protected:
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

 private:
  // The lattice degree of a mixture model.
  static int Degree(EModel::Type model);
  // The points of the design in pseudo-components.
  [[nodiscard]] std::vector<std::vector<float>> Points(int q, EModel::Type model) const;

  Kind kind_;
};

}  // namespace zubra::internal
