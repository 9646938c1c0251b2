// The evaluation of an investigation's design that `zubra evaluate` reports: power, aliasing,
// prediction variance and the precision of the coefficients, as text or as one JSON document.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/cli/design_summary.h"
#include "zubra/evaluation/alias_matrix.h"
#include "zubra/evaluation/alias_structure.h"
#include "zubra/evaluation/power_analysis.h"
#include "zubra/evaluation/prediction_variance.h"
#include "zubra/platform/util/json.h"

namespace zubra {

class Investigation;

namespace cli {

// The power of the design's terms for one response.
struct ResponsePower {
  std::string response;
  PowerSettings settings;
  // Why there is no power analysis (the response's settings are refused); empty otherwise,
  // and then the fields below hold it.
  std::string problem;
  PowerAnalysis::Results results;
  // The fewest copies of the whole design that reach the target.
  PowerAnalysis::RunsToTarget by_replicating;
  // The smallest D-optimal design that reaches it; absent, with the reason in
  // `optimal_problem`, when the D-optimal builder refuses the factors or model.
  std::optional<PowerAnalysis::RunsToTarget> by_optimal_design;
  std::string optimal_problem;
};

// Everything `zubra evaluate` says about one design.
struct DesignEvaluation {
  // The design's summary (SummarizeDesign, without a seed).
  std::vector<SummaryItem> summary;
  // One per response, in the investigation's order.
  std::vector<ResponsePower> power;
  // The alias structure of a regular two-level fraction (a design with generators).
  std::optional<AliasStructure> aliases;
  // The names of the generators' factors (the design's varied factors in order), for the
  // alias structure's texts.
  std::vector<std::string> alias_names;
  // Against the two-factor interactions the model does not hold.
  AliasMatrix::Results alias_matrix;
  AliasMatrix::Correlations correlations;
  PredictionVariance::Results variance;
};

// The points of the fraction-of-design-space curve in the report.
constexpr int kFdsReportPoints = 11;
// The points of the curve in the JSON document and the plot.
constexpr int kFdsCurvePoints = 101;

// Evaluates the selected design of `study` for its term list over its region: the power of
// every term for every response (PowerSettings::FromResponse) with the runs that reach the
// target, the alias structure (when the design has generators), the alias matrix and
// correlation map, and the prediction variance over the region. Throws Exception when there
// is no design or it cannot be evaluated, and CancelException when `*cancel` becomes true
// while D-optimal designs are searched for the runs that reach the target power.
DesignEvaluation EvaluateDesign(const Investigation& study, const bool* cancel);

// The readable report: the summary, then one section for each question ("== Power ==",
// "== Aliasing ==", "== Prediction variance ==", "== Coefficients ==").
std::string FormatEvaluation(const DesignEvaluation& evaluation);

// The JSON document (its members are described in docs/cli.md); undefined values are null.
json_value EvaluationToJson(const DesignEvaluation& evaluation);

}  // namespace cli
}  // namespace zubra
