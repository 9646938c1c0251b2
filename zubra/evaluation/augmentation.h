// Growing a design with further runs: the fold-over, the axial runs that complete a
// composite design, and the D-optimal augmentation of runs already made.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/design_options.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

class ModelSpec;

// Each operation takes a design (or the runs of a worksheet) over the engine's Factors, one
// column per factor in design order, and returns a new design whose first runs are the old
// ones, unchanged (from a design: coded and uncoded values, blocks and kinds; from a
// worksheet: uncoded values and blocks), followed by the new runs. The factors that are not
// varied keep their column: in the new runs they hold what the first old run holds (the
// D-optimal augmentation gives them the engine's values). Bad input throws Exception with
// the reason and leaves nothing changed.
//
// A study that starts with a screening fraction grows like this:
//   auto folded = FoldOver(*screening, factors);                 // resolution III -> IV
//   auto composite = CompleteComposite(*folded, factors);        // + axial block
//   AugmentOptions more;                                         // or, from any worksheet:
//   auto optimal = AugmentDOptimal(worksheet_runs, factors, more);  // quadratic model

// The fold-over: the design followed by its mirror image.
struct FoldOverOptions {
  // The design index of the one factor whose signs change; -1 (the default) changes every
  // varied factor.
  int factor = -1;
  // True (the default): the mirrored runs form blocks of their own after the design's, block
  // b becoming b + (the design's block count); false: they keep their run's block.
  bool new_block = true;
};

// Returns the design followed by the mirror image of every run (centre points and replicates
// included), the mirrored factors changing sign: a coded value c becomes -c (a qualitative
// factor's two settings swap). A factor can be mirrored when it is continuous, qualitative
// with two settings, or has levels placed symmetrically about the middle of its range; the
// others, and mixture factors, are refused. The type, name and run kinds are the design's.
//
// Generators: the combined runs of a regular fraction 2^(k-p) with generators are a regular
// fraction 2^(k-p+1) in the base factors and the half (+1 for the old runs, -1 for the
// mirrored ones). The design gets its generators when its first k-p+1 varied factors are
// independent in it (so that they can be the base factors): the generators are then
// rewritten over them, with the half as the last block word when `new_block` is set.
// Otherwise (a full factorial, a fold that leaves those factors dependent, more than three
// block words) the generators are empty and the alias structure follows from the matrix.
// A full fold-over of a resolution III fraction has resolution IV; folding one factor frees
// its main effect and its two-factor interactions.
//
// Throws Exception when the design's factors are not `factors` (count), the factor index is
// not a varied factor, or a mirrored factor cannot be mirrored.
std::unique_ptr<NCDesign> FoldOver(const NCDesign& design, const Factors& factors,
                                   const FoldOverOptions& options = {});

// The axial runs that turn a two-level factorial into a central composite design.
struct CompositeOptions {
  // How the axial distance alpha is found: kOrthogonalBlocking (the default; kDefault means
  // the same here, as the design is in more than one block), kRotatable (F^(1/4) for F
  // factorial runs), kFaceCentred (1) or kGiven (`star_distance`).
  DesignOptions::StarDistanceChoice star_choice =
      DesignOptions::StarDistanceChoice::kOrthogonalBlocking;
  // The axial distance in coded units for kGiven: 0 < distance <= 5.
  float star_distance = static_cast<float>(kUndefined);
  // The centre points in the axial block (>= 0).
  int center_points = 2;
};

// Returns the design followed, in a block of its own (its block count + 1), by 2k axial runs
// (each varied factor at -alpha and then +alpha, the others at 0, kind kAxial) and the
// options' centre points (kind kCenter). The design must be a two-level factorial with
// centre points in its varied factors: each run has every varied factor at -1 or +1 (a
// factorial run) or every one at 0 (a centre point), and every varied factor must be
// continuous. The axial distance of orthogonal blocking makes the block effect orthogonal to
// the second-order model (DesignOptions::OrthogonalBlockingStarDistance with the design's
// factorial runs and centre points and the axial block's). The result is a composite design
// (type kCentralComposite, "CCF" for alpha = 1, else "CCC") keeping the design's generators,
// which describe its factorial part.
//
// Throws Exception when the design's factors are not `factors`, a varied factor is not
// continuous, a run is neither a factorial run nor a centre point, there is no factorial
// run, the given distance is outside 0 < distance <= 5, or the centre points are negative.
std::unique_ptr<NCDesign> CompleteComposite(const NCDesign& design, const Factors& factors,
                                            const CompositeOptions& options = {});

// The D-optimal augmentation of runs already made.
struct AugmentOptions {
  // The model the design must support, as design indexes of `factors`. No terms (the
  // default): the quadratic model of the process factors and the quadratic mixture model of
  // the mixture factors. Terms on factors that are not varied are dropped.
  DesignModel model{};
  // The runs to add; 0 (the default): the fewest that make the model estimable (the model's
  // columns, block effects included, less the rank the existing runs give them).
  int added_runs = 0;
  // The 1-based block of each existing run; empty (the default): all in block 1.
  std::vector<int> blocks{};
  // True (the default): the added runs form a block of their own, after the existing
  // blocks, and the block effects are part of the model the runs are chosen for (the runs are
  // made later, under other conditions). False: no block effects; the existing runs must then
  // be in one block, and all runs are in block 1.
  bool new_block = true;
  // The levels of each continuous factor in the candidate set (2..9).
  int candidate_levels = 3;
  // Linear constraints on the region for the added runs; not owned, may be null.
  const NCDOE::Constraints* constraints = nullptr;
  // Called as the search progresses (see DOptimalOptions::SetProgress); may be empty.
  std::function<void(int, int)> progress{};
};

// Returns the existing `runs` (uncoded, one column per factor, a qualitative factor as its
// setting number, mixture factors as amounts: as a worksheet holds them) followed by the
// added runs, chosen by the D-optimal design engine with the existing runs as forced runs
// from the candidate set of the factors. The existing runs keep their uncoded values exactly
// and their blocks; all runs are of kind kDesign; the type is kDOptimal ("D-Optimal").
//
// Throws Exception when `runs` is empty or its columns are not the factors, a block is below
// 1 or the blocks do not match the runs, the runs are in several blocks without
// `new_block`, the model names a factor that is not there, the added runs are negative,
// fewer than the model needs or more than the engine offers for the model (twice its
// columns plus ten runs in all), and with the engine's message when it refuses (a run with no
// valid value, no candidates left by the constraints, too large a problem); CancelException
// when `*cancel` becomes true.
std::unique_ptr<NCDesign> AugmentDOptimal(const NCDataMatrix<float>& runs, const Factors& factors,
                                          const AugmentOptions& options,
                                          const bool* cancel = nullptr);

// Appends the fold-over (FoldOver with `options`) of `spec`'s selected design to its designs
// and selects it, keeping the old design in the list. Returns false, with the reason in
// `message` (when given) and `spec` unchanged, when there is no selected design or FoldOver
// refuses it.
bool FoldOverSelectedDesign(ModelSpec& spec, const FoldOverOptions& options,
                            std::string* message = nullptr);

}  // namespace zubra
