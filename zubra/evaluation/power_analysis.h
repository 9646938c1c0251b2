// PowerAnalysis: the power of a design to detect an effect of a given size in each model term,
// and the runs it takes to reach a target power.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zubra/evaluation/evaluated_design.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/design_options.h"
#include "zubra/responses/response_class.h"

namespace zubra {

class NCDesign;
class ZubraOptions;

// What a power analysis looks for: an effect of size `signal` against run-to-run noise of
// standard deviation `noise` (both in the response's units; only their ratio matters), tested
// at level `alpha`, and the power a design should reach (`target`, a fraction).
struct PowerSettings {
  double noise = kUndefined;
  double signal = kUndefined;
  double alpha = 0.05;
  double target = 0.8;

  // The settings of a response: its estimated noise level and signal to detect as stored,
  // alpha = 1 - its significance test level (0.95, so alpha 0.05, when not set), and as the
  // target its desired power (in percent) when set, otherwise the investigation options'
  // power. Nothing is checked here; Validate does.
  static PowerSettings FromResponse(const ResponseClass::Power& power, const ZubraOptions& options);

  // True when noise and signal are positive finite numbers and alpha and the target lie
  // strictly between 0 and 1; otherwise false with the first problem in `message` (when
  // given): "The estimated noise level must be a positive number.", "The signal to detect
  // must be a positive number.", "The significance test level must lie strictly between 0
  // and 1." or "The desired power must lie strictly between 0 and 100 %.".
  [[nodiscard]] bool Validate(std::string* message) const;
};

// The power of the tests of the model terms of a design.
//
// Convention. The model is fitted in coded units (see EvaluatedDesign), with the design's
// block effects, by least squares; each term is tested on its own (partial test, the other
// terms and the blocks in the model) against the residual of that fit. The effect to detect is
// a term whose own contribution to the response varies by `signal` over the coded region:
//   - a term of one column gets the coefficient signal / span, span the range of its column
//     over the region: 2 for a main effect or interaction of process factors (-1..+1), so
//     the coefficient is signal / 2 and the response changes by the signal from the low to
//     the high level; 1 for a square (0..1); for mixture factors the range over the simplex
//     of pseudo-components (1 for a linear blending term, 1/4 for x1*x2, 1/27 for x1*x2*x3);
//   - a term on a qualitative factor moves two of its settings apart by the signal
//     (+signal/2 and -signal/2) and leaves the others at the mean, in the least favourable
//     pair of settings (the one with the lowest power); a product term with qualitative
//     factors does so for the rest of the term (an interaction Q*X: the effect of X differs
//     by the signal between two settings of Q).
// One column: two-sided t test, noncentrality delta = b / (noise sqrt(c)), c the term's
// diagonal element of (X'X)^-1, power P(|T| > t(1 - alpha/2, df)) with T noncentral t.
// Several columns: F test, noncentrality lambda = b' C^-1 b / noise^2 over the term's block C
// of (X'X)^-1, power P(F > F(1 - alpha, columns, df)) with F noncentral F. In both df is the
// residual degrees of freedom, runs less the rank of X. The constant is not tested.
//
//   const PowerSettings settings = PowerSettings::FromResponse(response.GetPower(), options);
//   PowerAnalysis::Results power = PowerAnalysis::Compute(design, settings);
//   if (!power.ReachesTarget(settings.target))
//     runs = PowerAnalysis::RunsByReplicating(design, settings).runs;
class PowerAnalysis {
 public:
  // The most pair choices searched for the least favourable alternative of a term on
  // qualitative factors; beyond it the first this many (in the settings' order) are searched.
  static constexpr int kMaxPairChoices = 4096;

  struct TermPower {
    DesignModel::Term term;
    std::string name;  // EvaluatedDesign::TermName
    int columns = 1;   // model columns of the term: the test's numerator degrees of freedom
    // The size of the term's coefficients under the alternative, in response units:
    // signal / span (see the class comment).
    double coefficient = kUndefined;
    // delta of the t test (one column) or lambda of the F test (several columns).
    double noncentrality = kUndefined;
    // 0..1, or undefined when the design cannot test the term.
    double power = kUndefined;
  };

  struct Results {
    // False when the model matrix is singular or leaves no residual degree of freedom: then
    // every power (and noncentrality) is undefined.
    bool testable = false;
    int runs = 0;
    int residual_df = 0;
    // Every term of the model but the constant, in model order.
    std::vector<TermPower> terms;

    // The lowest power of the terms; undefined when not testable or without terms.
    [[nodiscard]] double LowestPower() const;
    // True when testable and every term's power is at least `target`.
    [[nodiscard]] bool ReachesTarget(double target) const;
  };

  // The power of every term of `design`. Throws Exception with the message of
  // PowerSettings::Validate when the settings are refused.
  static Results Compute(const EvaluatedDesign& design, const PowerSettings& settings);

  // The answer to "how many runs reach the target power".
  struct RunsToTarget {
    // True when a design of at most the allowed runs reaches the target in every term.
    bool reached = false;
    // The runs of the smallest design found that reaches the target; when none does, those
    // of the largest design tried (0 when none could be tried).
    int runs = 0;
    // Replication only: the copies of the design (1 is the design as it is).
    int copies = 0;
    // The lowest term power of that design.
    double lowest_power = kUndefined;
    // Optimal designs only: that design (one block, no centre points).
    std::shared_ptr<NCDesign> design;
  };

  // The fewest copies of the whole design (runs, centre points and blocks alike) whose
  // lowest term power reaches the target, within `max_runs` runs in all. The design as it is
  // counts as one copy. Not reached when the design is singular (copies do not help) or when
  // max_runs does not allow enough copies. Throws like Compute.
  static RunsToTarget RunsByReplicating(const EvaluatedDesign& design,
                                        const PowerSettings& settings,
                                        int max_runs = DesignOptions::kDefaultMaxRuns);

  // The smallest D-optimal design for the same factors, model and constraints (one block, no
  // centre points) whose lowest term power reaches the target. The run counts searched are
  // those the D-optimal builder offers (model columns + 1 up to twice the columns + 10) within
  // `max_runs`; they are bisected on the assumption that power grows with the runs, so about
  // log2 of their number designs are generated (each deterministic). Not reached when even
  // the largest offered design misses the target: replicate then. Throws like Compute,
  // Exception with the builder's message when it refuses the factors or model, and
  // CancelException when `*cancel` becomes true.
  static RunsToTarget RunsByOptimalDesign(const EvaluatedDesign& design,
                                          const PowerSettings& settings,
                                          int max_runs = DesignOptions::kDefaultMaxRuns,
                                          const bool* cancel = nullptr);
};

}  // namespace zubra
