// LabTable: the worksheet as the laboratory works through it, and its TSV and CSV texts (the
// tool's worksheet files and the Python module's worksheet are made from it).
#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zubra {

class Investigation;

// The experiments of an investigation's worksheet, one row per experiment in run order
// (experiments without a run order last, in worksheet order), with the columns "RunOrder",
// "ExpNo", "ExpName", "Block" (only when the design has more than one block), "WholePlot"
// (only when the worksheet has whole plots: a split-plot design, whose hard-to-change factors
// stay as they are within each whole plot), then every factor and every response in the variable
// set's order. A variable's column is headed by its name, followed by its unit in parentheses when
// it has one ("Temperature (C)"). Cells hold a number, a text (a qualitative factor's setting) or
// nothing (a missing value: the response cells of a new worksheet).
//
//   LabTable table = LabTable::FromInvestigation(study);
//   std::string csv = table.ToDelimited(LabTable::Delimiter::kComma);
class LabTable {
 public:
  using Cell = std::variant<std::monostate, double, std::string>;
  enum class Delimiter { kTab, kComma };

  // The table of `study`'s worksheet (empty rows when it has no experiments).
  static LabTable FromInvestigation(const Investigation& study);

  [[nodiscard]] const std::vector<std::string>& GetHeader() const { return header_; }
  [[nodiscard]] const std::vector<std::vector<Cell>>& GetRows() const { return rows_; }
  // The index of the first response column (the header's size when there are no responses).
  [[nodiscard]] std::size_t GetFirstResponseColumn() const { return first_response_; }

  // The table as text, header first, one line per row:
  //   - kTab: fields separated by TAB, lines ending in LF; a TAB, CR or LF inside a text is
  //     written as a space, since the form has no way to quote it;
  //   - kComma: RFC 4180 CSV: fields separated by commas, lines ending in CRLF, a field that
  //     holds a comma, a double quote, CR or LF enclosed in double quotes with its quotes
  //     doubled.
  // Numbers are written by FormatNumber, missing cells as empty fields.
  [[nodiscard]] std::string ToDelimited(Delimiter delimiter) const;

  // The shortest text that reads back as `value`: as a float when the value is exactly a
  // float (the design engine's values are), else as a double; locale-independent, '.' as
  // the decimal point ("20", "0.33333334", "1e-05").
  static std::string FormatNumber(double value);
  // `field` as one RFC 4180 field (see ToDelimited).
  static std::string QuoteCsv(std::string_view field);

 private:
  std::vector<std::string> header_;
  std::vector<std::vector<Cell>> rows_;
  std::size_t first_response_ = 0;
};

}  // namespace zubra
