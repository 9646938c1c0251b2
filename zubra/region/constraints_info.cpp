#include "zubra/region/constraints_info.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>

#include "zubra/platform/base/ce_type.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/tra_data.h"
#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/region/design_factors.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

constexpr std::string_view kOperatorColumn = "Operator";
constexpr std::string_view kLimitColumn = "Limit";
constexpr std::string_view kLimitsColumn = "Limits";
constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";

const std::string& EmptyText() {
  static const std::string kEmpty;
  return kEmpty;
}

std::string_view OperatorText(ConstraintsInfo::ExcludeType type) {
  return ConstraintsInfo::kOperatorTexts.ValueOf(type, ">");
}

ConstraintsInfo::ExcludeType OperatorFromText(std::string_view text) {
  return ConstraintsInfo::kOperatorTexts.CodeOf(text, ConstraintsInfo::kNoOperator);
}

// The JSON cell of a coefficient or limit: the number, or "" when it is not given.
json_value NumberCell(double value) {
  return IsUndefined(value) ? json_value("") : json_value(value);
}

// The text cell of a coefficient or limit: the shortest exact text, or nothing.
std::string TextCell(double value) {
  return IsUndefined(value) ? std::string() : KtString::FormatShortest(value);
}

// Splits `text` into lines at LF, CRLF and CR.
std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\n' && text[i] != '\r') continue;
    lines.push_back(text.substr(start, i - start));
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    start = i + 1;
  }
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

bool IsBlank(std::string_view line) { return KtStdString::Trim(line).empty(); }

// Reads a number cell of the text file: nullopt for text that is not a number, -99 for an
// empty cell.
std::optional<double> NumberFromCell(std::string_view cell) {
  const std::string trimmed = KtStdString::Trim(cell);
  if (trimmed.empty()) return kUndefined;
  return KtString::ToDouble(trimmed, KtString::DecimalMark::kPointOrComma);
}

// The column layout of a JSON table or a text file: which column holds the operator, which
// the limit, and which value index each other column sets (0 for none).
struct Columns {
  int operator_column = -1;
  int limit_column = -1;
  std::vector<int> value_index;
};

// Maps the header `names` (null entries are not names) onto columns. `is_operator` and
// `is_limit` decide the two fixed columns; the last column so named counts, and every other
// named column is looked up among the value names.
template <typename IsOperator, typename IsLimit>
Columns MapColumns(const std::vector<const std::string*>& names, const ConstraintsInfo& info,
                   IsOperator is_operator, IsLimit is_limit) {
  Columns columns;
  const int count = static_cast<int>(names.size());
  for (int j = 0; j < count; ++j) {
    if (names[j] == nullptr) continue;
    if (is_operator(*names[j])) columns.operator_column = j;
    if (is_limit(*names[j])) columns.limit_column = j;
  }
  columns.value_index.assign(names.size(), 0);
  for (int j = 0; j < count; ++j) {
    if (names[j] == nullptr || j == columns.operator_column || j == columns.limit_column) {
      continue;
    }
    columns.value_index[j] = std::max(0, info.GetIndex(*names[j]));
  }
  return columns;
}

}  // namespace

// ------------------------------------------------------------------ Constraint

ConstraintsInfo::Constraint::Constraint(int value_count)
    : values_(static_cast<std::size_t>(std::max(0, value_count)), kUndefined) {}

bool ConstraintsInfo::Constraint::SetExcludeType(ExcludeType type) {
  if (type != kNoOperator && type != kLess && type != kGreater) return false;
  exclude_type_ = type;
  return true;
}

bool ConstraintsInfo::Constraint::SetLimit(double limit) {
  if (!std::isfinite(limit)) return false;
  limit_ = limit;
  return true;
}

double ConstraintsInfo::Constraint::GetValue(int i) const {
  if (i < 1 || i > GetNumberOfValues()) return kUndefined;
  return values_[static_cast<std::size_t>(i - 1)];
}

bool ConstraintsInfo::Constraint::SetValue(int i, double value) {
  if (i < 1 || i > GetNumberOfValues() || !std::isfinite(value)) return false;
  values_[static_cast<std::size_t>(i - 1)] = value;
  return true;
}

// ------------------------------------------------------------------ container

ConstraintsInfo::ConstraintsInfo(const Variables* variables) : variables_(variables) {
  UpdateFactorNames();
}

ConstraintsInfo::ConstraintsInfo(const ConstraintsInfo& other)
    : variables_(other.variables_), value_names_(other.value_names_) {
  constraints_.reserve(other.constraints_.size());
  for (const auto& constraint : other.constraints_) {
    constraints_.push_back(std::make_unique<Constraint>(*constraint));
  }
}

ConstraintsInfo& ConstraintsInfo::operator=(const ConstraintsInfo& other) {
  if (this != &other) {
    ConstraintsInfo copy(other);
    *this = std::move(copy);
  }
  return *this;
}

ConstraintsInfo::~ConstraintsInfo() = default;

void ConstraintsInfo::UpdateFactorNames() {
  std::vector<std::string> names;
  if (variables_ != nullptr) {
    for (const FactorClass* factor : variables_->GetAllFactors()) {
      if (variables_->IsConstraintFactor(factor)) names.push_back(factor->GetName());
    }
  }
  value_names_ = std::move(names);
}

const std::string& ConstraintsInfo::ValueName(int i) const {
  if (i < 1 || i > NumValues()) return EmptyText();
  return value_names_[static_cast<std::size_t>(i - 1)];
}

int ConstraintsInfo::GetIndex(std::string_view name) const {
  if (name.empty()) return -1;
  for (int pass = 0; pass < 2; ++pass) {
    for (int i = 1; i <= NumValues(); ++i) {
      if (KtStdString::EqualsNoCase(ValueName(i), name)) return i;
    }
    // A transformed name carries one trailing "~"; try once more without it.
    if (name.size() < 2 || name.back() != '~') break;
    name.remove_suffix(1);
  }
  return -1;
}

ConstraintsInfo::Constraint* ConstraintsInfo::GetConstraint(int i) {
  if (i < 1 || i > NumConstraints()) return nullptr;
  return constraints_[static_cast<std::size_t>(i - 1)].get();
}

const ConstraintsInfo::Constraint* ConstraintsInfo::GetConstraint(int i) const {
  if (i < 1 || i > NumConstraints()) return nullptr;
  return constraints_[static_cast<std::size_t>(i - 1)].get();
}

ConstraintsInfo::Constraint* ConstraintsInfo::AddConstraint(ExcludeType type) {
  auto constraint = std::make_unique<Constraint>(NumValues());
  constraint->SetExcludeType(type);
  constraints_.push_back(std::move(constraint));
  return constraints_.back().get();
}

bool ConstraintsInfo::RemoveConstraint(int index) {
  if (index < 1 || index > NumConstraints()) return false;
  constraints_.erase(constraints_.begin() + (index - 1));
  return true;
}

bool ConstraintsInfo::RemoveConstraint(const Constraint* constraint) {
  if (constraint == nullptr) return false;
  const auto found =
      std::find_if(constraints_.begin(), constraints_.end(),
                   [constraint](const auto& held) { return held.get() == constraint; });
  if (found == constraints_.end()) return false;
  constraints_.erase(found);
  return true;
}

void ConstraintsInfo::RemoveAllConstraints() { constraints_.clear(); }

bool ConstraintsInfo::HasConstraints(std::string_view factor_name) const {
  const int index = GetIndex(factor_name);
  if (index < 1) return false;
  return std::any_of(constraints_.begin(), constraints_.end(),
                     [index](const auto& constraint) { return constraint->HasValue(index); });
}

bool ConstraintsInfo::HasAnyConstrains() const {
  for (const auto& constraint : constraints_) {
    for (int i = 1; i <= NumValues(); ++i) {
      if (constraint->HasValue(i)) return true;
    }
  }
  return false;
}

// ------------------------------------------------------------------ validity

bool ConstraintsInfo::IsValid() const {
  return std::all_of(constraints_.begin(), constraints_.end(),
                     [this](const auto& constraint) { return IsValid(constraint.get()); });
}

bool ConstraintsInfo::IsValid(const Constraint* constraint) const {
  if (constraint == nullptr || IsUndefined(constraint->GetLimit()) || NumValues() == 0) {
    return false;
  }
  int coefficients = 0;
  int mixture = 0;
  int process = 0;
  for (int i = 1; i <= NumValues(); ++i) {
    if (!constraint->HasValue(i)) continue;
    ++coefficients;
    const FactorClass* factor = variables_->GetFactor(ValueName(i));
    if (factor == nullptr || factor->IsQualitative()) continue;
    if (factor->IsMixture()) {
      ++mixture;
    } else {
      ++process;
    }
  }
  return coefficients > 0 && (mixture == 0 || process == 0);
}

// ------------------------------------------------------------------ design engine form

std::unique_ptr<NCDOE::Constraints> ConstraintsInfo::ToNCConstraint(
    const DesignFactors& factors) const {
  if (NumConstraints() == 0) return nullptr;
  const std::vector<ArithmeticFactor> terms = ArithmeticFactors();
  auto result = std::make_unique<NCDOE::Constraints>();
  for (const auto& constraint : constraints_) {
    NCDOE::Constraint converted(constraint->GetExcludeType() == kLess, constraint->GetLimit());
    for (const ArithmeticFactor& term : terms) {
      if (!constraint->HasValue(term.value_index)) continue;
      const int design_index = factors.GetDesignIndex(term.factor);
      if (design_index < 0) continue;
      converted.AddPair(design_index, constraint->GetValue(term.value_index));
    }
    if (!converted.IsEmpty()) result->Add(std::move(converted));
  }
  if (result->GetCount() == 0) return nullptr;
  return result;
}

// ------------------------------------------------------------------ excluded points

std::vector<ConstraintsInfo::ArithmeticFactor> ConstraintsInfo::ArithmeticFactors() const {
  std::vector<ArithmeticFactor> terms;
  if (variables_ == nullptr) return terms;
  for (int i = 1; i <= NumValues(); ++i) {
    const FactorClass* factor = variables_->GetFactor(ValueName(i));
    if (factor != nullptr && !factor->IsQualitative()) terms.push_back({i, factor});
  }
  return terms;
}

bool ConstraintsInfo::Excludes(const float* x, int size,
                               const std::vector<ArithmeticFactor>& terms) const {
  for (const auto& constraint : constraints_) {
    const double limit = constraint->GetLimit();
    if (IsUndefined(limit)) continue;
    double sum = 0.0;
    for (const ArithmeticFactor& term : terms) {
      if (!constraint->HasValue(term.value_index) || term.value_index > size) continue;
      sum += constraint->GetValue(term.value_index) * static_cast<double>(x[term.value_index - 1]);
    }
    if (constraint->GetExcludeType() == kLess && limit > sum) return true;
    if (constraint->GetExcludeType() == kGreater && sum > limit) return true;
  }
  return false;
}

bool ConstraintsInfo::IsConstrained(const FVector& x) const {
  return Excludes(x.AsEigen().data(), x.GetSize(), ArithmeticFactors());
}

bool ConstraintsInfo::IsConstrained(const float* row, const Variables& variables, bool transformed,
                                    bool expanded) const {
  if (constraints_.empty() || row == nullptr) return false;
  FVector x(NumValues());
  int slot = 0;
  int column = 0;
  for (const FactorClass* factor : variables.GetAllFactors()) {
    const int width = expanded ? std::max(0, factor->GetExpandedCount()) : 1;
    if (variables.IsConstraintFactor(factor) && slot < NumValues()) {
      ++slot;
      // A factor without columns (a qualitative one with a single setting) has no value.
      if (width > 0) {
        double value = row[column];
        const Transform& transform = factor->GetTransform();
        if (transformed && transform.IsTransformed()) {
          value = TraData::BackTra(value, transform.GetTransform(), transform.GetC1(),
                                   transform.GetC2(), transform.GetC3());
        }
        x(slot) = static_cast<float>(value);
      }
    }
    column += width;
  }
  return IsConstrained(x);
}

// ------------------------------------------------------------------ matrices

std::unique_ptr<FMatrix> ConstraintsInfo::CreateConstraintMatrix() const {
  const std::vector<ArithmeticFactor> terms = ArithmeticFactors();
  std::vector<const Constraint*> taking_part;
  for (const auto& constraint : constraints_) {
    if (std::any_of(terms.begin(), terms.end(), [&constraint](const ArithmeticFactor& term) {
          return constraint->HasValue(term.value_index);
        })) {
      taking_part.push_back(constraint.get());
    }
  }
  if (taking_part.empty()) return nullptr;

  const int k = static_cast<int>(terms.size());
  auto matrix = std::make_unique<FMatrix>(static_cast<int>(taking_part.size()), k + 1);
  int row = 0;
  for (const Constraint* constraint : taking_part) {
    ++row;
    const double sign = constraint->GetExcludeType() == kLess ? 1.0 : -1.0;
    for (int j = 1; j <= k; ++j) {
      const int index = terms[static_cast<std::size_t>(j - 1)].value_index;
      if (constraint->HasValue(index)) {
        (*matrix)(row, j) = static_cast<float>(sign * constraint->GetValue(index));
      }
    }
    (*matrix)(row, k + 1) = static_cast<float>(-sign * constraint->GetLimit());
  }
  return matrix;
}

std::unique_ptr<std::vector<int>> ConstraintsInfo::GetConstraintRows(const FMatrix* m) const {
  if (m == nullptr) return nullptr;
  auto rows = std::make_unique<std::vector<int>>();
  const std::vector<ArithmeticFactor> terms = ArithmeticFactors();
  for (int i = 1; i <= m->GetRows(); ++i) {
    if (Excludes(m->GetRowData(i), m->GetCols(), terms)) rows->push_back(i);
  }
  return rows;
}

// ------------------------------------------------------------------ JSON

json_value ConstraintsInfo::ToJson() const {
  json_value columns = json_value::array();
  for (const std::string& name : value_names_) columns.push_back(name);
  columns.push_back(kOperatorColumn);
  columns.push_back(kLimitColumn);

  json_value data = json_value::array();
  for (const auto& constraint : constraints_) {
    json_value row = json_value::array();
    for (int i = 1; i <= NumValues(); ++i) row.push_back(NumberCell(constraint->GetValue(i)));
    row.push_back(OperatorText(constraint->GetExcludeType()));
    row.push_back(NumberCell(constraint->GetLimit()));
    data.push_back(std::move(row));
  }

  json_value json = json_value::object();
  json["columns"] = std::move(columns);
  json["data"] = std::move(data);
  return json;
}

void ConstraintsInfo::FromJson(const json_value& json) {
  std::vector<const std::string*> names;
  if (const json_value* columns = FindMember(json, "columns");
      columns != nullptr && columns->is_array()) {
    for (const json_value& column : *columns) {
      names.push_back(column.is_string() ? &column.get_ref<const std::string&>() : nullptr);
    }
  }
  const Columns layout = MapColumns(
      names, *this, [](const std::string& name) { return name == kOperatorColumn; },
      [](const std::string& name) { return name == kLimitColumn; });
  if (layout.operator_column < 0 || layout.limit_column < 0) {
    throw Exception(ExceptionMessage::translate(
        "Parse error. Constraint operator and/or limits columns missing."));
  }

  RemoveAllConstraints();
  const json_value* data = FindMember(json, "data");
  if (data == nullptr || !data->is_array()) return;
  const json_value no_cells = json_value::array();
  for (const json_value& row : *data) {
    const json_value& cells = row.is_array() ? row : no_cells;
    const auto cell_count = static_cast<int>(cells.size());
    auto constraint = std::make_unique<Constraint>(NumValues());
    if (layout.operator_column < cell_count) {
      const json_value& cell = cells[static_cast<std::size_t>(layout.operator_column)];
      if (cell.is_string()) {
        constraint->SetExcludeType(OperatorFromText(cell.get_ref<const std::string&>()));
      }
    }
    const int columns = std::min(cell_count, static_cast<int>(layout.value_index.size()));
    for (int j = 0; j < columns; ++j) {
      const json_value& cell = cells[static_cast<std::size_t>(j)];
      const int index = layout.value_index[static_cast<std::size_t>(j)];
      if (index > 0 && IsNumber(cell)) constraint->SetValue(index, cell.get<double>());
    }
    if (layout.limit_column >= cell_count ||
        !IsNumber(cells[static_cast<std::size_t>(layout.limit_column)])) {
      throw Exception(
          ExceptionMessage::translate("Parse error. Constraint limit value should be a number."));
    }
    constraint->SetLimit(cells[static_cast<std::size_t>(layout.limit_column)].get<double>());
    constraints_.push_back(std::move(constraint));
  }
}

// ------------------------------------------------------------------ text file

bool ConstraintsInfo::Write(const char* path) const {
  if (path == nullptr) return false;
  std::string text = "Inc/Excl\t";
  for (const std::string& name : value_names_) {
    if (name.find_first_of("\t\r\n") != std::string::npos) return false;
    text += name;
    text += '\t';
  }
  text += '\t';
  text += kLimitsColumn;
  text += '\n';
  for (const auto& constraint : constraints_) {
    text += "Excl\t";
    for (int i = 1; i <= NumValues(); ++i) {
      text += TextCell(constraint->GetValue(i));
      text += '\t';
    }
    text += constraint->GetExcludeType() == kLess ? "<\t" : ">\t";
    text += TextCell(constraint->GetLimit());
    text += '\n';
  }
  try {
    WriteFileAtomically(path, text);
  } catch (const Exception&) {
    return false;
  }
  return true;
}

bool ConstraintsInfo::Read(const char* path) {
  if (path == nullptr) return false;
  std::string content;
  try {
    content = ReadWholeFile(path);
  } catch (const Exception&) {
    return false;
  }
  std::string_view text = content;
  if (text.starts_with(kUtf8ByteOrderMark)) text.remove_prefix(kUtf8ByteOrderMark.size());

  // The header is the first line, even when it is blank (a blank header names no operator
  // or limit column, so the file is refused); blank lines after it are skipped.
  std::vector<std::string_view> lines = SplitLines(text);
  if (lines.empty()) return false;
  lines.erase(std::remove_if(lines.begin() + 1, lines.end(), IsBlank), lines.end());

  std::vector<std::string> header;
  for (const std::string& cell : KtStdString::Split(lines.front(), '\t')) {
    header.push_back(KtStdString::Trim(cell));
  }
  std::vector<const std::string*> names;
  names.reserve(header.size());
  for (const std::string& cell : header) names.push_back(&cell);
  const Columns layout = MapColumns(
      names, *this,
      [](const std::string& name) { return KtStdString::EqualsNoCase(name, kOperatorColumn); },
      [](const std::string& name) {
        return KtStdString::EqualsNoCase(name, kLimitColumn) ||
               KtStdString::EqualsNoCase(name, kLimitsColumn);
      });
  if (layout.operator_column < 0 || layout.limit_column < 0) return false;

  std::vector<std::unique_ptr<Constraint>> constraints;
  for (std::size_t l = 1; l < lines.size(); ++l) {
    const std::vector<std::string> cells = KtStdString::Split(lines[l], '\t');
    const auto cell_count = static_cast<int>(cells.size());
    auto constraint = std::make_unique<Constraint>(NumValues());
    if (layout.operator_column < cell_count) {
      constraint->SetExcludeType(OperatorFromText(
          KtStdString::Trim(cells[static_cast<std::size_t>(layout.operator_column)])));
    }
    const int columns = std::min(cell_count, static_cast<int>(layout.value_index.size()));
    for (int j = 0; j < columns; ++j) {
      const int index = layout.value_index[static_cast<std::size_t>(j)];
      if (index == 0) continue;
      const std::optional<double> value = NumberFromCell(cells[static_cast<std::size_t>(j)]);
      if (!value) return false;
      constraint->SetValue(index, *value);
    }
    if (layout.limit_column < cell_count) {
      const std::optional<double> limit =
          NumberFromCell(cells[static_cast<std::size_t>(layout.limit_column)]);
      if (!limit) return false;
      constraint->SetLimit(*limit);
    }
    constraints.push_back(std::move(constraint));
  }
  constraints_ = std::move(constraints);
  return true;
}

}  // namespace zubra
