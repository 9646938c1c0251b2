#include "zubra/investigation/lab_table.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>

#include "zubra/investigation/investigation.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/variables/factor_class.h"
#include "zubra/worksheet/experiment.h"

namespace zubra {
namespace {

// The header text of a variable: its name, and its unit in parentheses when it has one.
std::string ColumnTitle(const ResponseClass& variable) {
  return variable.GetUnits().empty() ? variable.GetName()
                                     : variable.GetName() + " (" + variable.GetUnits() + ")";
}

LabTable::Cell CellOf(const Experiment& experiment, int index) {
  switch (experiment.GetValueType(index)) {
    case Run::kNumber: {
      const double value = experiment.GetFloatValue(index);
      if (IsUndefined(value)) return std::monostate{};
      return value;
    }
    case Run::kText: {
      std::string text = experiment.GetStringValue(index);
      if (text.empty()) return std::monostate{};
      return text;
    }
    case Run::kEmpty:
      break;
  }
  return std::monostate{};
}

std::string FieldText(const LabTable::Cell& cell) {
  if (const auto* number = std::get_if<double>(&cell)) return LabTable::FormatNumber(*number);
  if (const auto* text = std::get_if<std::string>(&cell)) return *text;
  return {};
}

}  // namespace

LabTable LabTable::FromInvestigation(const Investigation& study) {
  LabTable table;
  const WorksheetInfo& sheet = study.GetWorksheet();
  const std::shared_ptr<const NCDesign> design = study.GetModelSpec().GetDesign();
  // The block of each run is known while the worksheet is the one made from the design.
  const bool blocked = design != nullptr && design->GetBlockCount() > 1 && study.GetBlock(1) > 0;

  table.header_ = {"RunOrder", "ExpNo", "ExpName"};
  if (blocked) table.header_.emplace_back("Block");
  const bool plotted = sheet.HasWholePlots();
  if (plotted) table.header_.emplace_back("WholePlot");
  std::vector<int> cells;
  for (const FactorClass* factor : study.GetVariables().GetAllFactors()) {
    table.header_.push_back(ColumnTitle(*factor));
    cells.push_back(sheet.GetCellIndex(factor->GetName()));
  }
  table.first_response_ = table.header_.size();
  for (const ResponseClass* response : study.GetVariables().GetAllResponses()) {
    table.header_.push_back(ColumnTitle(*response));
    cells.push_back(sheet.GetCellIndex(response->GetName()));
  }

  std::vector<int> positions(static_cast<std::size_t>(sheet.GetExperimentCount()));
  std::iota(positions.begin(), positions.end(), 1);
  const auto run_order = [&sheet](int position) {
    const int order = sheet.GetExperiment(position)->RunOrder();
    return order > 0 ? order : std::numeric_limits<int>::max();
  };
  std::stable_sort(positions.begin(), positions.end(),
                   [&](int a, int b) { return run_order(a) < run_order(b); });

  for (const int position : positions) {
    const Experiment& experiment = *sheet.GetExperiment(position);
    std::vector<Cell> row;
    row.reserve(table.header_.size());
    if (experiment.RunOrder() > 0) {
      row.emplace_back(static_cast<double>(experiment.RunOrder()));
    } else {
      row.emplace_back(std::monostate{});
    }
    row.emplace_back(static_cast<double>(experiment.ExpNo()));
    row.emplace_back(experiment.DisplayName());
    if (blocked) {
      row.emplace_back(static_cast<double>(study.GetBlock(position)));
    }
    if (plotted) row.emplace_back(static_cast<double>(sheet.GetWholePlot(position)));
    for (const int cell : cells) {
      row.push_back(cell > 0 ? CellOf(experiment, cell) : Cell{});
    }
    table.rows_.push_back(std::move(row));
  }
  return table;
}

std::string LabTable::ToDelimited(Delimiter delimiter) const {
  const bool csv = delimiter == Delimiter::kComma;
  const char* line_end = csv ? "\r\n" : "\n";
  std::string text;
  const auto add_line = [&](const std::vector<std::string>& fields) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (i > 0) text += csv ? ',' : '\t';
      if (csv) {
        text += QuoteCsv(fields[i]);
      } else {
        std::string field = fields[i];
        std::replace_if(
            field.begin(), field.end(), [](char c) { return c == '\t' || c == '\r' || c == '\n'; },
            ' ');
        text += field;
      }
    }
    text += line_end;
  };
  add_line(header_);
  for (const std::vector<Cell>& row : rows_) {
    std::vector<std::string> fields;
    fields.reserve(row.size());
    for (const Cell& cell : row) fields.push_back(FieldText(cell));
    add_line(fields);
  }
  return text;
}

std::string LabTable::FormatNumber(double value) {
  char buffer[64];
  const auto as_float = static_cast<float>(value);
  const bool exact_float = std::abs(value) <= std::numeric_limits<float>::max() &&
                           static_cast<double>(as_float) == value;
  const std::to_chars_result result = exact_float
                                          ? std::to_chars(buffer, buffer + sizeof buffer, as_float)
                                          : std::to_chars(buffer, buffer + sizeof buffer, value);
  return {buffer, result.ptr};
}

std::string LabTable::QuoteCsv(std::string_view field) {
  if (field.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(field);
  std::string quoted = "\"";
  for (const char c : field) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  quoted += '"';
  return quoted;
}

}  // namespace zubra
