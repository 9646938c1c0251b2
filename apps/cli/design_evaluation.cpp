#include "apps/cli/design_evaluation.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <memory>

#include "zubra/evaluation/evaluated_design.h"
#include "zubra/investigation/investigation.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/exception.h"

namespace zubra::cli {
namespace {

constexpr const char* kNoValue = "--";
// Alias-matrix entries smaller than this are taken as 0 (rounding of exact zeros).
constexpr double kNegligible = 1e-9;

bool Defined(double value) { return !IsUndefined(value) && std::isfinite(value); }

// `value` with `digits` significant digits, or "--".
std::string Number(double value, int digits = 4) {
  if (!Defined(value)) return kNoValue;
  return fmt::format("{:.{}g}", value, digits);
}

// A fraction 0..1 in percent with one decimal, or "--".
std::string Percent(double fraction) {
  if (!Defined(fraction)) return kNoValue;
  return fmt::format("{:.1f}", 100.0 * fraction);
}

json_value JsonNumber(double value) {
  return Defined(value) ? json_value(value) : json_value(nullptr);
}

// The rows as lines of columns separated by two blanks, each column as wide as its widest
// cell, every line indented by `indent`, trailing blanks dropped.
std::string Table(const std::vector<std::vector<std::string>>& rows, const std::string& indent) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    if (widths.size() < row.size()) widths.resize(row.size(), 0);
    for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line = indent;
    for (std::size_t c = 0; c < row.size(); ++c) {
      line += row[c];
      if (c + 1 < row.size()) line += std::string(widths[c] - row[c].size() + 2, ' ');
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    text += line + '\n';
  }
  return text;
}

// The term with the lowest power, or null.
const PowerAnalysis::TermPower* Weakest(const PowerAnalysis::Results& results) {
  const PowerAnalysis::TermPower* weakest = nullptr;
  for (const PowerAnalysis::TermPower& term : results.terms) {
    if (Defined(term.power) && (weakest == nullptr || term.power < weakest->power)) {
      weakest = &term;
    }
  }
  return weakest;
}

std::string FormatPower(const ResponsePower& power) {
  std::string text = power.response + ": ";
  const PowerSettings& s = power.settings;
  if (!power.problem.empty()) {
    text += "no power analysis: " + power.problem + '\n';
    if (!Defined(s.noise) || !Defined(s.signal)) {
      text +=
          "  Give the response an estimated noise level and a signal to detect to see the power "
          "of its terms.\n";
    }
    return text;
  }
  const PowerAnalysis::Results& results = power.results;
  text += fmt::format(
      "signal {} against noise {} (standard deviation), alpha {}, target power {} %, {} "
      "residual degrees of freedom\n",
      Number(s.signal), Number(s.noise), Number(s.alpha), Percent(s.target), results.residual_df);
  if (!results.testable) {
    return text +
           "  The design cannot test its terms: the model matrix is singular or leaves no "
           "residual degree of freedom.\n";
  }
  std::vector<std::vector<std::string>> rows{{"Term", "Power (%)"}};
  for (const PowerAnalysis::TermPower& term : results.terms) {
    rows.push_back({term.name, Percent(term.power)});
  }
  text += Table(rows, "  ");
  if (const PowerAnalysis::TermPower* weakest = Weakest(results)) {
    text += fmt::format("  Lowest power: {} % ({}); the target is {}.\n", Percent(weakest->power),
                        weakest->name, results.ReachesTarget(s.target) ? "reached" : "not reached");
  }
  const PowerAnalysis::RunsToTarget& copies = power.by_replicating;
  if (copies.reached) {
    text += fmt::format(
        "  Runs that reach the target by replicating the design: {} ({} {}, lowest power {} "
        "%)\n",
        copies.runs, copies.copies, copies.copies == 1 ? "copy" : "copies",
        Percent(copies.lowest_power));
  } else {
    text += "  Replicating the design does not reach the target within the most runs allowed.\n";
  }
  if (power.by_optimal_design) {
    const PowerAnalysis::RunsToTarget& optimal = *power.by_optimal_design;
    if (optimal.reached) {
      text += fmt::format(
          "  Runs that reach the target with a D-optimal design: {} (lowest power {} %)\n",
          optimal.runs, Percent(optimal.lowest_power));
    } else {
      text += fmt::format(
          "  No D-optimal design of up to {} runs reaches the target (lowest power {} %).\n",
          optimal.runs, Percent(optimal.lowest_power));
    }
  } else {
    text += "  No D-optimal design could be made for the runs: " + power.optimal_problem + '\n';
  }
  return text;
}

std::string FormatAliasing(const DesignEvaluation& evaluation) {
  std::string text;
  if (evaluation.aliases) {
    const AliasStructure& aliases = *evaluation.aliases;
    std::string pattern;
    const std::vector<int>& counts = aliases.GetWordLengthPattern();
    for (std::size_t j = 3; j < counts.size(); ++j) {
      pattern += (pattern.empty() ? "" : ", ") + fmt::format("A{} = {}", j, counts[j]);
    }
    text += fmt::format("Regular two-level fraction of resolution {}{}\n", aliases.GetResolution(),
                        pattern.empty() ? "" : " (words: " + pattern + ")");
    if (evaluation.alias_names.size() == static_cast<std::size_t>(aliases.GetFactorCount())) {
      std::string letters;
      for (int i = 0; i < aliases.GetFactorCount(); ++i) {
        letters += fmt::format("{}{} = {}", i == 0 ? "" : ", ", Generators::GetLetter(i),
                               evaluation.alias_names[static_cast<std::size_t>(i)]);
      }
      text += "Letters: " + letters + '\n';
    }
    text += fmt::format("Aliases of up to {} letters:\n", aliases.GetMaxLength());
    for (const std::string& line : aliases.GetTexts(nullptr)) text += "  " + line + '\n';
  } else {
    text += "The design has no generators: its aliasing is read from the alias matrix.\n";
  }

  const AliasMatrix::Results& matrix = evaluation.alias_matrix;
  if (matrix.singular) {
    text += "The model matrix is singular: the model's terms cannot all be estimated.\n";
  } else if (matrix.potential_names.empty()) {
    text += "Every two-factor interaction is in the model: nothing is left out to alias.\n";
  } else {
    std::string listing;
    for (int i = 0; i < matrix.matrix.rows(); ++i) {
      std::string line;
      for (int j = 0; j < matrix.matrix.cols(); ++j) {
        const double share = matrix.matrix(i, j);
        if (std::abs(share) < kNegligible) continue;
        line += fmt::format(" {} {} {}", share < 0 ? "-" : "+", Number(std::abs(share), 3),
                            matrix.potential_names[static_cast<std::size_t>(j)]);
      }
      if (!line.empty()) {
        const std::string& name = matrix.model_names[static_cast<std::size_t>(i)];
        listing += fmt::format("  {0} = {0}{1}\n", name, line);
      }
    }
    text +=
        "Alias matrix: what each two-factor interaction left out of the model adds to the "
        "fitted terms (1 full aliasing, 0 none):\n";
    text += listing.empty() ? "  No fitted term is biased by them.\n" : listing;
  }

  // The strongest correlation between two model columns.
  const AliasMatrix::Correlations& map = evaluation.correlations;
  const auto model_columns =
      static_cast<Eigen::Index>(map.names.size() - evaluation.alias_matrix.potential_names.size());
  double strongest = -1;
  std::string pair;
  for (Eigen::Index i = 0; i < model_columns && i < map.matrix.rows(); ++i) {
    for (Eigen::Index j = i + 1; j < model_columns; ++j) {
      const double r = map.matrix(i, j);
      if (Defined(r) && std::abs(r) > strongest) {
        strongest = std::abs(r);
        pair =
            map.names[static_cast<std::size_t>(i)] + ", " + map.names[static_cast<std::size_t>(j)];
      }
    }
  }
  if (strongest >= kNegligible) {
    text += fmt::format("Largest correlation between two model terms: {} ({})\n",
                        Number(strongest, 3), pair);
  } else if (strongest >= 0) {
    text += "The model terms are uncorrelated (orthogonal columns).\n";
  }
  return text;
}

std::string FormatVariance(const PredictionVariance::Results& variance) {
  if (variance.singular) {
    return "The model matrix is singular: no prediction has a finite variance.\n";
  }
  std::string text = fmt::format(
      "In units of the run-to-run variance, over {} points spread uniformly over the region.\n",
      variance.sorted.size());
  std::vector<SummaryItem> items{
      {"Mean (I)", Number(variance.mean), std::nullopt,
       Defined(variance.exact_mean) ? "exact " + Number(variance.exact_mean) : std::string()},
      {"Minimum", Number(variance.minimum), std::nullopt, {}},
      {"Maximum (G)", Number(variance.maximum), std::nullopt, {}},
      {"G-efficiency (%)", Number(variance.g_efficiency), std::nullopt, {}},
  };
  text += FormatSummary(items);
  text +=
      "Fraction of design space (the variance that this share of the region does not "
      "exceed):\n";
  std::vector<std::vector<std::string>> rows{{"Fraction", "Variance"}};
  for (const auto& [fraction, value] : variance.FdsCurve(kFdsReportPoints)) {
    rows.push_back({fmt::format("{:.1f}", fraction), Number(value)});
  }
  return text + Table(rows, "  ");
}

std::string FormatCoefficients(const PredictionVariance::Results& variance) {
  if (variance.singular) return "The model matrix is singular: no coefficient is estimable.\n";
  std::string text =
      "Against an orthogonal design of the same runs (every model column +-1), in units of the "
      "run-to-run standard deviation.\n";
  text += FormatSummary({{"A-efficiency (%)", Number(variance.a_efficiency), std::nullopt, {}}});
  std::vector<std::vector<std::string>> rows{{"Term", "Standard error", "Relative"}};
  for (std::size_t j = 0; j < variance.column_names.size(); ++j) {
    rows.push_back({variance.column_names[j], Number(variance.standard_errors[j]),
                    Number(variance.relative_standard_errors[j])});
  }
  return text + Table(rows, "  ");
}

json_value RunsToJson(const PowerAnalysis::RunsToTarget& runs, bool with_copies) {
  json_value json = {{"reached", runs.reached}, {"runs", runs.runs}};
  if (with_copies) json["copies"] = runs.copies;
  json["lowestPower"] = JsonNumber(runs.lowest_power);
  return json;
}

json_value MatrixToJson(const Eigen::MatrixXd& matrix) {
  json_value rows = json_value::array();
  for (Eigen::Index i = 0; i < matrix.rows(); ++i) {
    json_value row = json_value::array();
    for (Eigen::Index j = 0; j < matrix.cols(); ++j) row.push_back(JsonNumber(matrix(i, j)));
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace

DesignEvaluation EvaluateDesign(const Investigation& study, const bool* cancel) {
  const ModelSpec& spec = study.GetModelSpec();
  const EvaluatedDesign design = EvaluatedDesign::FromModelSpec(spec, &study.GetConstraints());
  DesignEvaluation evaluation;
  evaluation.summary = SummarizeDesign(study, std::nullopt);

  for (const ResponseEx* response : study.GetResponses().GetResponses()) {
    ResponsePower power;
    power.response = response->GetResponseClass()->GetName();
    power.settings =
        PowerSettings::FromResponse(response->GetResponseClass()->GetPower(), study.GetOptions());
    if (power.settings.Validate(&power.problem)) {
      power.results = PowerAnalysis::Compute(design, power.settings);
      power.by_replicating =
          PowerAnalysis::RunsByReplicating(design, power.settings, spec.GetMaxLegalRuns());
      try {
        power.by_optimal_design = PowerAnalysis::RunsByOptimalDesign(
            design, power.settings, spec.GetMaxLegalRuns(), cancel);
      } catch (const CancelException&) {
        throw;
      } catch (const Exception& refusal) {
        power.optimal_problem = refusal.what();
      }
    }
    evaluation.power.push_back(std::move(power));
  }

  const Generators& generators = spec.GetDesign()->GetGenerators();
  if (!generators.IsEmpty()) {
    evaluation.aliases.emplace(generators);
    for (int i = 0; i < design.GetFactors().GetCount(); ++i) {
      const Factors::Factor& factor = design.GetFactors().GetFactor(i);
      if (factor.IsVaried()) evaluation.alias_names.push_back(factor.name);
    }
  }
  evaluation.alias_matrix = AliasMatrix::Compute(design, nullptr);
  evaluation.correlations = AliasMatrix::CorrelationMap(design, nullptr);
  evaluation.variance = PredictionVariance::Compute(design, {});
  return evaluation;
}

std::string FormatEvaluation(const DesignEvaluation& evaluation) {
  std::string text = FormatSummary(evaluation.summary);
  text += "\n== Power ==\n";
  if (evaluation.power.empty()) text += "The investigation has no responses.\n";
  for (const ResponsePower& power : evaluation.power) text += FormatPower(power);
  text += "\n== Aliasing ==\n" + FormatAliasing(evaluation);
  text += "\n== Prediction variance ==\n" + FormatVariance(evaluation.variance);
  text += "\n== Coefficients ==\n" + FormatCoefficients(evaluation.variance);
  return text;
}

json_value EvaluationToJson(const DesignEvaluation& evaluation) {
  json_value json = json_value::object();
  // The summary's items under camel-case keys; a note becomes a key of its own.
  struct Key {
    const char* label;
    const char* key;
    const char* note_key;
    bool count;  // a whole number
  };
  constexpr Key kKeys[] = {{"Design", "type", "name", false},
                           {"Objective", "objective", nullptr, false},
                           {"Runs", "runs", nullptr, true},
                           {"Centre points", "centerPoints", nullptr, true},
                           {"Blocks", "blocks", nullptr, true},
                           {"Model terms", "modelTerms", nullptr, true},
                           {"D-efficiency (%)", "dEfficiency", nullptr, false},
                           {"G-efficiency (%)", "gEfficiency", nullptr, false},
                           {"Condition number", "conditionNumber", nullptr, false},
                           {"Largest VIF", "largestVif", "largestVifTerm", false}};
  json_value design = json_value::object();
  for (const SummaryItem& item : evaluation.summary) {
    const auto* key = std::find_if(std::begin(kKeys), std::end(kKeys),
                                   [&item](const Key& k) { return item.label == k.label; });
    if (key == std::end(kKeys)) continue;  // the terms are listed with the coefficients
    design[key->key] = item.number && key->count ? json_value(std::llround(*item.number))
                       : item.number             ? json_value(*item.number)
                       : item.text == kNoValue   ? json_value(nullptr)
                                                 : json_value(item.text);
    if (key->note_key != nullptr) {
      design[key->note_key] = item.note.empty() ? json_value(nullptr) : json_value(item.note);
    }
  }
  json["design"] = std::move(design);

  json_value power = json_value::array();
  for (const ResponsePower& response : evaluation.power) {
    json_value entry = {{"response", response.response}};
    const PowerSettings& s = response.settings;
    entry["settings"] = {{"noise", JsonNumber(s.noise)},
                         {"signal", JsonNumber(s.signal)},
                         {"alpha", JsonNumber(s.alpha)},
                         {"target", JsonNumber(s.target)}};
    if (!response.problem.empty()) {
      entry["problem"] = response.problem;
      power.push_back(std::move(entry));
      continue;
    }
    const PowerAnalysis::Results& results = response.results;
    entry["testable"] = results.testable;
    entry["residualDf"] = results.residual_df;
    json_value terms = json_value::array();
    for (const PowerAnalysis::TermPower& term : results.terms) {
      terms.push_back({{"term", term.name},
                       {"columns", term.columns},
                       {"coefficient", JsonNumber(term.coefficient)},
                       {"noncentrality", JsonNumber(term.noncentrality)},
                       {"power", JsonNumber(term.power)}});
    }
    entry["terms"] = std::move(terms);
    entry["lowestPower"] = JsonNumber(results.LowestPower());
    entry["reachesTarget"] = results.ReachesTarget(s.target);
    entry["byReplicating"] = RunsToJson(response.by_replicating, true);
    if (response.by_optimal_design) {
      entry["byOptimalDesign"] = RunsToJson(*response.by_optimal_design, false);
    } else {
      entry["byOptimalDesign"] = nullptr;
      entry["optimalProblem"] = response.optimal_problem;
    }
    power.push_back(std::move(entry));
  }
  json["power"] = std::move(power);

  json_value aliasing = json_value::object();
  if (evaluation.aliases) {
    const AliasStructure& aliases = *evaluation.aliases;
    const std::vector<std::string>* names =
        evaluation.alias_names.size() == static_cast<std::size_t>(aliases.GetFactorCount())
            ? &evaluation.alias_names
            : nullptr;
    json_value structure = {{"resolution", aliases.GetResolution()},
                            {"wordLengthPattern", aliases.GetWordLengthPattern()}};
    json_value letters = json_value::object();
    for (int i = 0; names != nullptr && i < aliases.GetFactorCount(); ++i) {
      letters[Generators::GetLetter(i)] = (*names)[static_cast<std::size_t>(i)];
    }
    structure["letters"] = std::move(letters);
    json_value defining = json_value::array();
    for (const AliasStructure::Word word : aliases.GetDefiningRelation()) {
      defining.push_back(aliases.WordText(word, nullptr));
    }
    structure["definingRelation"] = std::move(defining);
    structure["definingRelationComplete"] = aliases.IsDefiningRelationComplete();
    json_value chains = json_value::array();
    for (const auto* list : {&aliases.GetMainEffects(), &aliases.GetTwoFactorInteractions()}) {
      for (const AliasStructure::Effect& effect : *list) {
        json_value with = json_value::array();
        for (const AliasStructure::Word word : effect.aliases) {
          with.push_back(aliases.WordText(word, nullptr));
        }
        chains.push_back({{"effect", aliases.WordText(effect.word, nullptr)},
                          {"aliases", std::move(with)},
                          {"confoundedWithBlocks", effect.confounded_with_blocks}});
      }
    }
    structure["effects"] = std::move(chains);
    aliasing["structure"] = std::move(structure);
  } else {
    aliasing["structure"] = nullptr;
  }
  const AliasMatrix::Results& matrix = evaluation.alias_matrix;
  aliasing["aliasMatrix"] = {{"singular", matrix.singular},
                             {"modelTerms", matrix.model_names},
                             {"potentialTerms", matrix.potential_names},
                             {"matrix", MatrixToJson(matrix.matrix)}};
  aliasing["correlations"] = {{"names", evaluation.correlations.names},
                              {"matrix", MatrixToJson(evaluation.correlations.matrix)}};
  json["aliasing"] = std::move(aliasing);

  const PredictionVariance::Results& variance = evaluation.variance;
  json_value curve = json_value::array();
  for (const auto& [fraction, value] : variance.FdsCurve(kFdsCurvePoints)) {
    curve.push_back({JsonNumber(fraction), JsonNumber(value)});
  }
  json["predictionVariance"] = {{"singular", variance.singular},
                                {"points", variance.sorted.size()},
                                {"mean", JsonNumber(variance.mean)},
                                {"exactMean", JsonNumber(variance.exact_mean)},
                                {"minimum", JsonNumber(variance.minimum)},
                                {"maximum", JsonNumber(variance.maximum)},
                                {"gEfficiency", JsonNumber(variance.g_efficiency)},
                                {"fds", std::move(curve)}};
  json_value coefficients = json_value::array();
  for (std::size_t j = 0; j < variance.column_names.size(); ++j) {
    coefficients.push_back(
        {{"term", variance.column_names[j]},
         {"standardError", JsonNumber(variance.standard_errors[j])},
         {"relativeStandardError", JsonNumber(variance.relative_standard_errors[j])}});
  }
  json["coefficients"] = {{"aEfficiency", JsonNumber(variance.a_efficiency)},
                          {"terms", std::move(coefficients)}};
  return json;
}

}  // namespace zubra::cli
