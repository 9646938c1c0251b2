// AllDesigns: the catalogue of design builders.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/design/e_design.h"
#include "zubra/platform/design/e_model.h"
#include "zubra/platform/design/e_objective.h"
#include "zubra/platform/design/factors.h"

namespace zubra {

// The process-wide catalogue of design families. It owns one builder per family member and
// hands out non-owning const pointers that stay valid for the life of the process.
//
// Two catalogues are offered: the classic designs and, for investigations with the plate
// (REDMUP) sub-model, the classic designs followed by the plate designs. The built-in
// classic catalogue, in order:
//   - two-level designs: full factorial; fractional factorials of resolution V, IV, III;
//     Plackett-Burman; the saturated two-level design (Rechtschaffner Res V);
//   - the three-level definitive screening designs from conference matrices;
//   - response-surface designs: central composite designs CCF, CCC, CCI; Box-Behnken; the
//     saturated three-level design (Rechtschaffner); general full factorial;
//   - mixture designs: axial, simplex centroid and simplex lattice;
//   - optimal designs chosen from a candidate set: D-optimal, I-optimal and A-optimal;
//   - the layered design (Onion) and the split-objective design (Process Mixture), which
//     designs process and mixture factors together;
//   - the stability designs for shelf-life studies: storage conditions crossed with time
//     points (Stability), and a two-level factorial in the material factors crossed with them
//     (StabilityFactorial).
// The plate catalogue adds the plate (strip-plot) design (REDMUP). The order is not the
// preference: the best-design choice takes the builder of smallest DesignBuilder::GetRank.
// More families join with Register (do it before the catalogue is used by several parts of
// a program: the library is used from one thread at a time).
class AllDesigns {
 public:
  using Catalogue = std::vector<const DesignBuilder*>;
  enum class Group { kClassic, kREDMUP };

  // The builder of `type` whose name equals `name` in any ASCII case; when no builder of
  // the type has that name, the first builder of the type; nullptr when the type has none.
  static const DesignBuilder* GetDesignBuilder(EDesign::Type type, std::string_view name);

  // The classic designs, in catalogue order.
  static const Catalogue& ClassicDesigns();
  // The classic designs, then the plate designs.
  static const Catalogue& ClassicAndREDMUPDesigns();

  // True when some design of the catalogue chosen by `redmup` is valid for `factors` with
  // the options every builder makes for itself (DesignBuilder::MakeOptions) from defaults
  // holding `objective`, `model` (as the process model when there are process factors, as
  // the mixture model when there are mixture factors) and at most `max_runs` runs in all.
  static bool IsAnyDesignValid(EObjective::Type objective, EModel::Type model, int max_runs,
                               const Factors& factors, bool redmup);

  // Adds `builder` to the group's catalogue (plate designs go to the second catalogue
  // only). Returns false, and drops the builder, when a builder of the same type and name is
  // already registered or `builder` is null.
  static bool Register(std::unique_ptr<DesignBuilder> builder, Group group);
};

}  // namespace zubra
