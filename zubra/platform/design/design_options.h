// DesignOptions: the settings a design is generated with.
#pragma once

#include <memory>

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
//   - star distance (-99, undefined): the axial distance of composite designs in coded units;
//     undefined gives the rotatable distance;
//   - maximum runs (kDefaultMaxRuns): no design of more runs in all is valid;
//   - objective (screening), process model and mixture model (linear);
//   - generators (empty): the builder's table generators are used;
//   - design-specific options (none).
// Setters refuse values outside their range by returning false and changing nothing. Copies
// are deep.
class DesignOptions {
 public:
  static constexpr int kDefaultMaxRuns = 10000;
  static constexpr int kDefaultCenterPoints = 3;

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
  [[nodiscard]] float GetStarDistance() const { return star_distance_; }
  // Accepts the undefined value (-99) or 0 < distance <= 5.
  bool SetStarDistance(float distance);
  [[nodiscard]] bool HasStarDistance() const;
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
  // ("" when there are none).
  void Save(ConfigurationSection& section) const;
  // Reads what Save wrote; an absent key or child leaves its field unchanged. Throws
  // Exception for a value that is malformed or out of range, leaving the object unchanged.
  void Load(const ConfigurationSection& section);

  [[nodiscard]] bool operator==(const DesignOptions& other) const;

 private:
  int runs_ = 0;
  int center_points_ = kDefaultCenterPoints;
  unsigned blocks_ = 1;
  int replicates_ = 0;
  int replicated_runs_ = 0;
  float star_distance_ = -99.0F;
  int max_runs_ = kDefaultMaxRuns;
  EObjective::Type objective_ = EObjective::kScreening;
  EModel::Type process_model_ = EModel::kLinear;
  EModel::Type mixture_model_ = EModel::kLinear;
  Generators generators_;
  std::unique_ptr<DesignSpecificOptions> specific_;
};

}  // namespace zubra
