#include "zubra/model/read_inclusions.h"

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The whole file as bytes, or nullopt when it can't be opened or read.
std::optional<std::string> ReadWholeFile(const char* path) {
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Closer> file(std::fopen(path, "rb"));
  if (!file) return std::nullopt;
  std::string content;
  char buffer[1 << 14];
  std::size_t count = 0;
  while ((count = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) {
    content.append(buffer, count);
  }
  if (std::ferror(file.get()) != 0) return std::nullopt;
  return content;
}

// Splits the text into lines at LF, dropping one CR before each LF and the empty piece after
// a final line end.
std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return lines;
}

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t") == std::string_view::npos;
}

// A column of the file that is read: the factor in it and its 0-based field index.
struct ReadColumn {
  const FactorClass* factor;
  std::size_t field;
};

const char* const kNotConsistent =
    "The file '%1%' is not consistent with the current defined factors and responses. The first "
    "row in the file should be a row heading containing the factor and response names in the "
    "same order as in the worksheet.";
const char* const kNotConsistentDetail =
    "The file '%1%' is not consistent with the current defined factors and responses. The first "
    "row in the file should be a row heading containing the factor and response names in the "
    "same order as in the worksheet. Expected '%2%' but found '%3%' in column %4%.";

// The reading itself; returns the matrix or fills `error`.
std::unique_ptr<XFMatrix> Read(const std::string& path, const Variables* variables,
                               std::string& error) {
  std::error_code code;
  if (!std::filesystem::exists(path, code)) {
    error = (ExceptionMessage::translate("The file '%1%' does not exist.") % path).str();
    return nullptr;
  }
  std::optional<std::string> content = ReadWholeFile(path.c_str());
  if (!content) {
    error = (ExceptionMessage::translate("The file '%1%' could not be opened.") % path).str();
    return nullptr;
  }
  std::string_view text = *content;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  const std::vector<std::string_view> lines = SplitLines(text);

  const std::vector<const ResponseClass*> all =
      variables != nullptr ? variables->GetAllVariables() : std::vector<const ResponseClass*>{};
  const std::vector<std::string> heading =
      KtStdString::Split(lines.empty() ? std::string_view() : lines.front(), '\t');
  if (heading.size() != all.size()) {
    error = (ExceptionMessage::translate(kNotConsistent) % path).str();
    return nullptr;
  }

  std::vector<ReadColumn> read_columns;
  int width = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (heading[i] != all[i]->GetName()) {
      error = (ExceptionMessage::translate(kNotConsistentDetail) % path % all[i]->GetName() %
               heading[i] % (i + 1))
                  .str();
      return nullptr;
    }
    const auto* factor = dynamic_cast<const FactorClass*>(all[i]);
    if (factor == nullptr || !factor->IsDesignFactor()) continue;
    read_columns.push_back({factor, i});
    width += factor->IsQualitative() ? factor->GetCodingMatrix()->GetCols() : 1;
  }

  int runs = 0;
  for (std::size_t l = 1; l < lines.size(); ++l) {
    if (!IsBlank(lines[l])) ++runs;
  }
  auto matrix = std::make_unique<XFMatrix>("Inclusions", runs, width);
  int col = 1;
  for (const ReadColumn& column : read_columns) {
    const XFMatrix& coding = *column.factor->GetCodingMatrix();
    const int count = column.factor->IsQualitative() ? coding.GetCols() : 1;
    for (int c = 1; c <= count; ++c, ++col) {
      const std::string& coding_name = column.factor->IsQualitative() ? coding.GetColName(c) : "";
      matrix->SetColName(col, coding_name.empty() ? column.factor->GetName() : coding_name);
    }
  }

  int row = 0;
  for (std::size_t l = 1; l < lines.size(); ++l) {
    if (IsBlank(lines[l])) continue;
    ++row;
    const int file_row = static_cast<int>(l);
    const std::vector<std::string> fields = KtStdString::Split(lines[l], '\t');
    col = 1;
    for (const ReadColumn& column : read_columns) {
      const FactorClass& factor = *column.factor;
      if (column.field >= fields.size()) {
        error = (ExceptionMessage::translate(
                     "Row %1% in the file '%2%' has no value for the factor '%3%' in column %4%.") %
                 file_row % path % factor.GetName() % (column.field + 1))
                    .str();
        return nullptr;
      }
      const std::string& field = fields[column.field];
      if (factor.IsQualitative()) {
        int setting = 0;
        for (int s = 1; s <= factor.GetSettingCount(); ++s) {
          if (factor.GetSetting(s) == field) {
            setting = s;
            break;
          }
        }
        const XFMatrix& coding = *factor.GetCodingMatrix();
        if (setting == 0 || setting > coding.GetRows()) {
          error = (ExceptionMessage::translate(
                       "There were problems reading the qualitative factor '%1%' in the file "
                       "'%2%'. The factor setting '%3%' in row %4% in the file didn't match a "
                       "valid factor setting as defined for the factor.") %
                   factor.GetName() % path % field % file_row)
                      .str();
          return nullptr;
        }
        for (int c = 1; c <= coding.GetCols(); ++c) (*matrix)(row, col++) = coding(setting, c);
      } else {
        const std::optional<float> value = KtString::ToFloat(field);
        if (!value) {
          error = (ExceptionMessage::translate(
                       "A value other than a number was found in row %1% for the factor '%2%' in "
                       "the file '%3%'.") %
                   file_row % factor.GetName() % path)
                      .str();
          return nullptr;
        }
        (*matrix)(row, col++) = *value;
      }
    }
  }
  return matrix;
}

}  // namespace

std::unique_ptr<XFMatrix> ReadInclusions(const char* path, Variables* variables,
                                         std::string* message) {
  std::string error;
  std::unique_ptr<XFMatrix> matrix = Read(path != nullptr ? path : "", variables, error);
  if (message != nullptr) *message = matrix ? std::string() : std::move(error);
  return matrix;
}

}  // namespace zubra
