// The worksheet as a spreadsheet workbook (.xlsx) for the laboratory.
#pragma once

#include <string>
#include <vector>

#include "apps/cli/design_summary.h"
#include "zubra/investigation/lab_table.h"

namespace zubra::cli {

// The bytes of an .xlsx workbook with two sheets: "Worksheet", the lab table (a bold, frozen
// header row, then one row per experiment: numbers as numbers, texts as strings, missing
// values as empty cells, so the response cells are there to fill in), and "Design summary",
// one row per summary item (label, value; numbers as numbers). The workbook is assembled in a
// private temporary file, which is removed before returning; nothing else is written.
// Throws Exception with the writer's reason when the workbook cannot be made (a text longer
// than a cell holds, no room for the temporary file).
std::string MakeWorkbook(const LabTable& table, const std::vector<SummaryItem>& summary);

}  // namespace zubra::cli
