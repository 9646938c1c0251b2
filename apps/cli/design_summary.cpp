#include "apps/cli/design_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include "zubra/investigation/investigation.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/design_statistics.h"
#include "zubra/platform/design/e_design.h"
#include "zubra/platform/design/e_objective.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra::cli {
namespace {

constexpr const char* kNoValue = "--";

SummaryItem Count(std::string label, int value) {
  return {std::move(label), std::to_string(value), static_cast<double>(value), {}};
}

// A statistic with four significant digits, or "--" when it is undefined.
SummaryItem Statistic(std::string label, double value, bool defined) {
  if (!defined || IsUndefined(value)) return {std::move(label), kNoValue, std::nullopt, {}};
  return {std::move(label), fmt::format("{:.4g}", value), value, {}};
}

// True when `a` and `b` differ only in ASCII case, blanks and hyphens ("D-Optimal" and
// "DOptimal").
bool SameName(std::string_view a, std::string_view b) {
  const auto letters = [](std::string_view text) {
    std::string kept;
    for (const char c : text) {
      if (c != ' ' && c != '-') kept += c;
    }
    return kept;
  };
  return KtStdString::EqualsNoCase(letters(a), letters(b));
}

}  // namespace

std::vector<SummaryItem> SummarizeDesign(const Investigation& study,
                                         std::optional<std::uint32_t> seed) {
  const ModelSpec& spec = study.GetModelSpec();
  const std::shared_ptr<const NCDesign> design = spec.GetDesign();
  if (design == nullptr) return {};

  std::vector<SummaryItem> items;
  const std::string family = EDesign::GetString(design->GetType());
  const std::string& member = design->GetName();
  items.push_back(
      {"Design", family, std::nullopt, SameName(member, family) ? std::string() : member});
  items.push_back({"Objective", EObjective::GetString(spec.GetObjective()), std::nullopt, {}});
  items.push_back(Count("Runs", design->GetRuns()));
  items.push_back(Count("Centre points", design->CountRuns(NCDesign::RunKind::kCenter)));
  items.push_back(Count("Blocks", design->GetBlockCount()));
  if (const std::vector<int>& plots = design->GetWholePlots(); !plots.empty()) {
    // Split-plot designs: the batches in which the hard-to-change factors stay as they are.
    items.push_back(
        Count("Whole plots", static_cast<int>(std::set<int>(plots.begin(), plots.end()).size())));
  }

  const TermInfo& terms = spec.GetTermInfo();
  std::string names;
  for (int i = 1; i <= terms.GetNItm(); ++i) {
    names += (i > 1 ? ", " : "") + terms.GetTermNam(i);
  }
  items.push_back(Count("Model terms", terms.GetNItm()));
  items.push_back({"Terms", names.empty() ? std::string(kNoValue) : names, std::nullopt, {}});

  const DesignStatistics::Results* statistics = spec.GetDesignStatistics();
  const bool known = statistics != nullptr;
  const bool regular = known && !statistics->IsSingular();
  items.push_back(
      Statistic("D-efficiency (%)", known ? statistics->GetDEfficiency() : kUndefined, known));
  items.push_back(
      Statistic("G-efficiency (%)", known ? statistics->GetGEfficiency() : kUndefined, known));
  items.push_back(Statistic("Condition number",
                            regular ? statistics->GetConditionNumber() : kUndefined, regular));
  SummaryItem vif{"Largest VIF", kNoValue, std::nullopt, {}};
  if (regular && !statistics->GetVIF().empty()) {
    const std::vector<double>& values = statistics->GetVIF();
    const auto largest = std::max_element(values.begin(), values.end());
    vif = Statistic("Largest VIF", *largest, true);
    const auto index = static_cast<std::size_t>(largest - values.begin());
    if (vif.number && index < statistics->GetTermNames().size()) {
      vif.note = statistics->GetTermNames()[index];
    }
  }
  items.push_back(std::move(vif));
  if (seed) items.push_back({"Seed", std::to_string(*seed), static_cast<double>(*seed), {}});
  return items;
}

std::string FormatSummary(const std::vector<SummaryItem>& items) {
  std::size_t width = 0;
  for (const SummaryItem& item : items) width = std::max(width, item.label.size());
  std::string text;
  for (const SummaryItem& item : items) {
    text += fmt::format("{:<{}} : {}", item.label, width, item.text);
    if (!item.note.empty()) text += " (" + item.note + ")";
    text += '\n';
  }
  return text;
}

}  // namespace zubra::cli
