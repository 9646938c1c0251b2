#include "apps/cli/xlsx_workbook.h"

#include <unistd.h>
#include <xlsxwriter.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>

#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"

namespace zubra::cli {
namespace {

constexpr const char* kTableSheet = "Worksheet";
constexpr const char* kSummarySheet = "Design summary";

// A private temporary file, removed when the object goes.
class TemporaryFile {
 public:
  TemporaryFile() {
    std::error_code error;
    std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    if (error) folder = "/tmp";
    std::string name = (folder / "zubra-workbook-XXXXXX").string();
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) {
      throw Exception(ExceptionMessage::translate("Cannot create a temporary file in '{}'.") %
                      folder.string());
    }
    close(descriptor);
    path_ = std::move(name);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

// Throws the writer's reason for `error`, unless there is none.
void Check(lxw_error error) {
  if (error != LXW_NO_ERROR) {
    throw Exception(ExceptionMessage::translate("Cannot write the workbook: {}") %
                    lxw_strerror(error));
  }
}

// Writes one cell: a number as a number (a value a sheet cannot hold, such as infinity, as
// its text), a text as a string, nothing for a missing value.
void WriteCell(lxw_worksheet* sheet, lxw_row_t row, lxw_col_t column, const LabTable::Cell& cell) {
  if (const auto* number = std::get_if<double>(&cell)) {
    if (std::isfinite(*number)) {
      Check(worksheet_write_number(sheet, row, column, *number, nullptr));
    } else {
      Check(worksheet_write_string(sheet, row, column, LabTable::FormatNumber(*number).c_str(),
                                   nullptr));
    }
  } else if (const auto* text = std::get_if<std::string>(&cell)) {
    Check(worksheet_write_string(sheet, row, column, text->c_str(), nullptr));
  }
}

// Fills the workbook; the caller closes it.
void Fill(lxw_workbook* book, const LabTable& table, const std::vector<SummaryItem>& summary) {
  lxw_format* bold = workbook_add_format(book);
  format_set_bold(bold);

  lxw_worksheet* sheet = workbook_add_worksheet(book, kTableSheet);
  const std::vector<std::string>& header = table.GetHeader();
  if (header.size() > LXW_COL_MAX || table.GetRows().size() + 1 > LXW_ROW_MAX) {
    throw Exception(ExceptionMessage::translate("The worksheet is too large for a workbook."));
  }
  for (std::size_t c = 0; c < header.size(); ++c) {
    const auto column = static_cast<lxw_col_t>(c);
    Check(worksheet_write_string(sheet, 0, column, header[c].c_str(), bold));
    const double width = static_cast<double>(std::clamp<std::size_t>(header[c].size(), 8, 40)) + 2;
    Check(worksheet_set_column(sheet, column, column, width, nullptr));
  }
  worksheet_freeze_panes(sheet, 1, 0);
  lxw_row_t row = 1;
  for (const std::vector<LabTable::Cell>& cells : table.GetRows()) {
    for (std::size_t c = 0; c < cells.size(); ++c) {
      WriteCell(sheet, row, static_cast<lxw_col_t>(c), cells[c]);
    }
    ++row;
  }

  lxw_worksheet* account = workbook_add_worksheet(book, kSummarySheet);
  Check(worksheet_set_column(account, 0, 0, 20, nullptr));
  Check(worksheet_set_column(account, 1, 2, 24, nullptr));
  row = 0;
  for (const SummaryItem& item : summary) {
    Check(worksheet_write_string(account, row, 0, item.label.c_str(), bold));
    if (item.number && std::isfinite(*item.number)) {
      Check(worksheet_write_number(account, row, 1, *item.number, nullptr));
    } else {
      Check(worksheet_write_string(account, row, 1, item.text.c_str(), nullptr));
    }
    if (!item.note.empty()) {
      Check(worksheet_write_string(account, row, 2, item.note.c_str(), nullptr));
    }
    ++row;
  }
}

}  // namespace

std::string MakeWorkbook(const LabTable& table, const std::vector<SummaryItem>& summary) {
  const TemporaryFile file;
  lxw_workbook* book = workbook_new(file.Path().c_str());
  if (book == nullptr) {
    throw Exception(ExceptionMessage::translate("Cannot write the workbook: {}") % "out of memory");
  }
  try {
    Fill(book, table, summary);
  } catch (...) {
    workbook_close(book);  // frees the workbook; the file goes with `file`
    throw;
  }
  Check(workbook_close(book));
  return ReadWholeFile(file.Path());
}

}  // namespace zubra::cli
