// The onion (layered) design: the region cut into nested layers around its centre, with a
// D-optimal choice of runs in every layer.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <string>
#include <vector>

#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/design_builder.h"

namespace zubra::internal {

// The onion design (type 27) over process factors: continuous, multilevel and qualitative
// ones; mixture factors are refused.
//
// Region and layers. The candidates are the grid of CandidateSet with 2L + 1 levels per
// continuous factor for L layers (coded steps of 1/L), without constraints. A candidate's
// distance from the centre is the largest |coded value| over its factors that are not
// qualitative (qualitative factors take every setting in every layer). The distance range
// 0..1 is cut into L layers of equal width, layer l holding the distances in
// ((l - 1)/L, l/L]: layer 1 is the innermost and also holds the centre, layer L the
// outermost and holds the corners. Every layer must hold a candidate.
//
// Model: the term list of D-optimal options when the options carry one, otherwise the
// standard model of the options' process model (linear, interaction or quadratic).
//
// Runs: the onion options' total layer runs when set (the only count offered then, at least
// L x p for a model of p columns), otherwise L x p by default and up to L x (2p + 10). The
// runs are split evenly over the layers; the runs an uneven split leaves over go to the
// outermost layers, one each. So every layer holds at least p runs.
//
// Search: the layers are designed one after the other, each by a point exchange among its
// own candidates with the runs of the layers already designed as forced runs, so that a
// layer fills what the layers before it leave weak. Both orders, innermost first and
// outermost first, are searched and the whole design with the larger det(X'X) is kept (the
// innermost-first one among equals); an order is skipped when its first layer cannot
// support the model alone. Complementing layers give a better whole design than layers
// designed each on its own, and neither order wins for every model: innermost first is
// better for quadratic models, outermost first for interaction models.
//
// Blocks: with the layer setting on (the default), the block counts offered are 1 and L,
// and a design of L blocks puts each layer in its own block, block number = layer number
// (innermost first). SetLayers keeps the block count equal to the layers. With the setting
// off only one block is offered. The core's runs come layer by layer, innermost first.
//
// Serves every objective except the process-mixture one. Generation is deterministic.
class OnionBuilder final : public DesignBuilder {
 public:
  // Random starts and seed of every layer's search.
  static constexpr int kStarts = 8;
  static constexpr std::uint64_t kSeed = 20'260'127;
  // The largest extra runs per layer offered above the model's columns, as in 2p + 10.
  static constexpr int kExtraRunsPerLayer = 10;

  [[nodiscard]] EDesign::Type GetType() const override { return EDesign::kOnion; }
  [[nodiscard]] std::string GetName() const override { return "Onion"; }
  // After the D-optimal design, which accepts the same factors with fewer runs: the
  // best-design choice never prefers a layered design.
  [[nodiscard]] std::int8_t GetRank() const override { return 110; }
  [[nodiscard]] bool SupportsObjective(EObjective::Type objective) const override;

  // Stores `layers` (1..OnionOptions::kMaxLayers) in the onion options of `options`, which
  // are created with their defaults when the options have no design-specific options. The
  // block count follows: `layers` with the layer setting on, 1 with it off. Runs that were
  // the default for `factors` become the new default (it grows with the layers), runs the new
  // layers no longer offer are reset to it, other runs stay; the replicated runs are kept
  // within the runs. Returns false and changes nothing when `layers` is out of range or the
  // options hold design-specific options of another kind.
  bool SetLayers(DesignOptions& options, int layers, const Factors& factors) const override;

 protected:
  bool CheckFactors(const Factors& factors, std::string* message) const override;
  bool CheckModel(const Factors& factors, const DesignOptions& options,
                  std::string* message) const override;
  bool CheckSpecific(const Factors& factors, const DesignOptions& options, int runs,
                     std::string* message) const override;
  [[nodiscard]] std::vector<int> CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const override;
  [[nodiscard]] std::vector<unsigned> BlockCounts(const Factors& factors,
                                                  const DesignOptions& options,
                                                  int runs) const override;
  Core BuildCore(const Factors& factors, const DesignOptions& options, int runs, unsigned blocks,
                 const bool* cancel) const override;

 private:
  // The onion settings of the options (defaults when they carry none).
  struct Settings {
    int layers = 3;
    bool layer_blocks = true;
    int total_runs = 0;  // 0: the builder's default
  };
  // The candidates split into layers.
  struct Region {
    CandidateSet candidates;
    Eigen::MatrixXd model_rows;             // the model's row of every candidate
    std::vector<std::vector<int>> members;  // candidate rows of each layer, innermost first
  };

  static Settings ReadSettings(const DesignOptions& options);
  // The model the design is built for (see the class comment).
  static DesignModel Model(const Factors& factors, const DesignOptions& options);
  // The fewest runs over all layers: one model's worth per layer.
  static int MinRuns(const Factors& factors, const DesignOptions& options);
  // The candidate grid of `factors` for `layers` layers, split and expanded for `model`.
  static Region MakeRegion(const Factors& factors, int layers, const DesignModel& model);
  // The 1-based layer (innermost 1) of each row of `coded`.
  static std::vector<int> LayerOf(const Factors& factors, const NCDataMatrix<float>& coded,
                                  int layers);
  // The runs of each layer, innermost first, for `runs` runs over `layers` layers.
  static std::vector<int> SplitRuns(int runs, int layers);
  // True when the candidate rows `rows` of `model_rows` can estimate every model column.
  static bool Supports(const Eigen::MatrixXd& model_rows, const std::vector<int>& rows);
};

}  // namespace zubra::internal
