// DesignOptions: the settings a design is generated with.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "zubra/platform/base/enum_table.h"
#include "zubra/platform/design/design_specific_options.h"
#include "zubra/platform/design/e_model.h"
#include "zubra/platform/design/e_objective.h"
#include "zubra/platform/design/generators.h"

namespace zubra {

class ConfigurationSection;
class DesignBuilder;
class Factors;

// The settings of one design: its size, centre points, blocks, replication, star distance,
// the limit on runs, the objective and models it must serve, the generators of a fractional
// factorial, and the settings only some families have (design-specific options, owned).
//
// Units and defaults:
//   - runs (0): the runs of the design itself, without centre points and replicates; 0 lets
//     the builder take its default;
//   - centre points (3): the total over all blocks;
//   - blocks (1);
//   - replicates (0): further complete copies of the design, centre points excluded;
//   - replicated runs (0): the first runs of the design repeated once more, so that runs
//     without centre points give pure error too;
//   - star distance (-99, undefined) and its choice (kDefault): the axial distance of composite
//     designs in coded units. The choice says how the distance is found (see
//     StarDistanceChoice); the distance itself is defined only for a given distance (kGiven);
//   - maximum runs (kDefaultMaxRuns): no design of more runs in all is valid;
//   - objective (screening), process model and mixture model (linear);
//   - generators (empty): the builder's table generators are used;
//   - threads (0): the threads a design's search may use, 0 for one per hardware thread;
//     designs that search (optimal, layered, plate) honour it, and a search gives the same
//     design on any number of threads;
//   - search seed (0): the seed of a design's random search, 0 for the builder's own fixed
//     seed; the same set-up and seed always give the same design;
//   - design-specific options (none).
// Setters refuse values outside their range by returning false and changing nothing. Copies
// are deep.
class DesignOptions {
 public:
  static constexpr int kDefaultMaxRuns = 10000;
  static constexpr int kDefaultCenterPoints = 3;
  static constexpr int kMaxThreads = 1024;

  // How the axial distance alpha of a composite design is found. The codes are stored by
  // their texts ("Default", "Rotatable", "OrthogonalBlocking", "FaceCentred", "Given").
  //   - kDefault: rotatable for a design in one block, orthogonal blocking in more blocks;
  //   - kRotatable: the prediction variance depends only on the distance from the centre,
  //     alpha = F^(1/4) for F factorial runs (see RotatableStarDistance);
  //   - kOrthogonalBlocking: the block effects are orthogonal to the second-order model (see
  //     OrthogonalBlockingStarDistance); in one block, where there are no block effects, the
  //     rotatable distance;
  //   - kFaceCentred: alpha = 1, the axial runs on the faces of the cube;
  //   - kGiven: the distance set with SetStarDistance.
  enum class StarDistanceChoice { kDefault, kRotatable, kOrthogonalBlocking, kFaceCentred, kGiven };
  static constexpr auto kStarDistanceChoiceTexts = MakeEnumTable<StarDistanceChoice>({
      {StarDistanceChoice::kDefault, "Default"},
      {StarDistanceChoice::kRotatable, "Rotatable"},
      {StarDistanceChoice::kOrthogonalBlocking, "OrthogonalBlocking"},
      {StarDistanceChoice::kFaceCentred, "FaceCentred"},
      {StarDistanceChoice::kGiven, "Given"},
  });
  // The text of `choice`; "" for a value without a row.
  static std::string GetStarDistanceChoiceText(StarDistanceChoice choice) {
    return std::string(kStarDistanceChoiceTexts.ValueOf(choice, ""));
  }

  // The runs of a composite design as they fall into its blocks, for the axial distance of
  // orthogonal blocking: the factorial runs (replicates included) with the centre points that
  // share their blocks, and the axial block (the axial runs, 2 per factor and copy, spread
  // evenly over the factors) with its centre points.
  struct CompositeLayout {
    int factors = 0;
    int factorial_runs = 0;
    int factorial_center_points = 0;
    int axial_runs = 0;
    int axial_center_points = 0;
  };
  // The rotatable axial distance F^(1/4) of a composite design of F factorial runs (replicated
  // with the axial runs alike); -99 for F < 1.
  static double RotatableStarDistance(int factorial_runs);
  // The axial distance that makes the blocks of a composite design orthogonal to its
  // second-order model: each block's mean of every squared column equals the overall mean,
  // so that alpha^2 (A / k) / (A + c_a) = F / (F + c_f) for k factors, F factorial runs with
  // c_f centre points and A axial runs with c_a centre points. The first-order and
  // cross-product columns sum to zero within each block by construction. Factorial blocks
  // with unequal centre points cannot all be orthogonal; the totals are used then. Returns
  // -99 for a layout without factors, factorial or axial runs, or with negative counts.
  static double OrthogonalBlockingStarDistance(const CompositeLayout& layout);

  DesignOptions() = default;
  DesignOptions(const DesignOptions& other);
  DesignOptions& operator=(const DesignOptions& other);
  DesignOptions(DesignOptions&&) noexcept = default;
  DesignOptions& operator=(DesignOptions&&) noexcept = default;
  ~DesignOptions() = default;

  [[nodiscard]] int GetRuns() const { return runs_; }
  bool SetRuns(int runs);  // runs >= 0
  [[nodiscard]] int GetCenterPoints() const { return center_points_; }
  bool SetCenterPoints(int total);  // total >= 0
  [[nodiscard]] unsigned GetBlocks() const { return blocks_; }
  bool SetBlocks(unsigned blocks);  // blocks >= 1
  [[nodiscard]] int GetReplicates() const { return replicates_; }
  bool SetReplicates(int replicates);  // replicates >= 0
  [[nodiscard]] int GetReplicatedRuns() const { return replicated_runs_; }
  bool SetReplicatedRuns(int runs);  // runs >= 0
  // The given star distance; -99 unless the choice is kGiven.
  [[nodiscard]] float GetStarDistance() const { return star_distance_; }
  // Accepts the undefined value (-99), which sets the choice to kDefault, or
  // 0 < distance <= 5, which sets the choice to kGiven.
  bool SetStarDistance(float distance);
  // True when a distance is given (the choice is kGiven).
  [[nodiscard]] bool HasStarDistance() const;
  [[nodiscard]] StarDistanceChoice GetStarDistanceChoice() const { return star_choice_; }
  // Sets a choice other than kGiven and makes the star distance undefined. Refuses kGiven (a
  // distance is given with SetStarDistance) and values without a row.
  bool SetStarDistanceChoice(StarDistanceChoice choice);
  [[nodiscard]] int GetMaxRuns() const { return max_runs_; }
  bool SetMaxRuns(int runs);  // runs >= 1
  [[nodiscard]] EObjective::Type GetObjective() const { return objective_; }
  bool SetObjective(EObjective::Type objective);  // a listed code
  [[nodiscard]] EModel::Type GetProcessModel() const { return process_model_; }
  bool SetProcessModel(EModel::Type model);  // a listed code
  [[nodiscard]] EModel::Type GetMixtureModel() const { return mixture_model_; }
  bool SetMixtureModel(EModel::Type model);  // a listed code
  [[nodiscard]] const Generators& GetGenerators() const { return generators_; }
  void SetGenerators(Generators generators) { generators_ = std::move(generators); }
  [[nodiscard]] int GetThreads() const { return threads_; }
  bool SetThreads(int threads);  // 0 (one per hardware thread) .. kMaxThreads
  [[nodiscard]] std::uint32_t GetSearchSeed() const { return search_seed_; }
  void SetSearchSeed(std::uint32_t seed) { search_seed_ = seed; }

  // The design-specific options, or nullptr when there are none.
  [[nodiscard]] DesignSpecificOptions* GetDesignSpecificOptions() { return specific_.get(); }
  [[nodiscard]] const DesignSpecificOptions* GetDesignSpecificOptions() const {
    return specific_.get();
  }
  void SetDesignSpecificOptions(std::unique_ptr<DesignSpecificOptions> options) {
    specific_ = std::move(options);
  }

  // The runs in all of a design of `design_runs` runs with these options: the design, each
  // replicate, the replicated runs and the centre points.
  [[nodiscard]] int GetTotalRuns(int design_runs) const;

  // Lowers the runs to the largest run count the builder offers for `factors` when they are
  // above it; runs of 0 (the default) stay.
  void AssureMaxRuns(const DesignBuilder& builder, const Factors& factors);

  // Writes the keys "Objective", "Runs", "Centerpoints", "Blocks", "Replicates",
  // "ReplicatedRuns", "StarDistance", "MaxLegalRuns", "ProcessModel", "MixtureModel"
  // (objective and models as their texts), the child "Generators" (cleared and rewritten,
  // with no words when there are none) and the child "DesignSpecificOptions" with its "Kind"
  // ("" when there are none). "StarDistanceChoice" is written for the choices that
  // "StarDistance" cannot tell (rotatable, orthogonal blocking, face-centred) and removed
  // otherwise, so that readers of the plain key see -99, the default. "Threads" and
  // "SearchSeed" are written only when they are not the default (0) and removed otherwise.
  void Save(ConfigurationSection& section) const;
  // Reads what Save wrote; an absent key or child leaves its field unchanged. A stored
  // "StarDistance" without "StarDistanceChoice" sets the choice it implies (given, or the
  // default for -99). Throws Exception for a value that is malformed or out of range, or a
  // choice that contradicts the stored distance, leaving the object unchanged.
  void Load(const ConfigurationSection& section);

  [[nodiscard]] bool operator==(const DesignOptions& other) const;

 private:
  int runs_ = 0;
  int center_points_ = kDefaultCenterPoints;
  unsigned blocks_ = 1;
  int replicates_ = 0;
  int replicated_runs_ = 0;
  float star_distance_ = -99.0F;
  StarDistanceChoice star_choice_ = StarDistanceChoice::kDefault;
  int max_runs_ = kDefaultMaxRuns;
  EObjective::Type objective_ = EObjective::kScreening;
  EModel::Type process_model_ = EModel::kLinear;
  EModel::Type mixture_model_ = EModel::kLinear;
  Generators generators_;
  int threads_ = 0;
  std::uint32_t search_seed_ = 0;
  std::unique_ptr<DesignSpecificOptions> specific_;
};
static_assert(DesignOptions::kStarDistanceChoiceTexts.IsOneToOne());

}  // namespace zubra
