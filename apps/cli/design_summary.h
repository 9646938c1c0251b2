// The short account of a generated design that the tool prints and puts into the workbook.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zubra {

class Investigation;

namespace cli {

// One line of the summary: a label, its value as text, the value as a number when it is one
// (a spreadsheet stores it as a number), and a note that qualifies it (shown in parentheses).
struct SummaryItem {
  std::string label;
  std::string text;
  std::optional<double> number;
  std::string note;
};

// The summary of `study`'s generated design, in this order: "Design" (the family, with the
// member as its note when it differs: "CentralComposite (CCF)"), "Objective", "Runs" (all runs),
// "Centre points", "Blocks", "Model terms" (their count), "Terms" (their names), "D-efficiency
// (%)", "G-efficiency (%)", "Condition number", "Largest VIF" (the term it belongs to as its note),
// and "Seed" when `seed` is given. A value the statistics cannot give (no statistics for the model,
// a singular design) reads "--" and has no number. Empty when there is no design.
std::vector<SummaryItem> SummarizeDesign(const Investigation& study,
                                         std::optional<std::uint32_t> seed);

// The items as lines with their labels aligned ("Runs        : 11\n"), notes in parentheses.
std::string FormatSummary(const std::vector<SummaryItem>& items);

}  // namespace cli
}  // namespace zubra
