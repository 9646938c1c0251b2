// One experiment of the worksheet: identity, text and JSON row forms, exclusion from a model.
#include "zubra/worksheet/experiment.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/responses/response_manager.h"
#include "zubra/responses/response_model.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

bool IsNamed(const std::set<std::string>& names, std::string_view name) {
  return std::any_of(names.begin(), names.end(),
                     [name](const std::string& n) { return KtStdString::EqualsNoCase(n, name); });
}

}  // namespace

Experiment::Experiment(int exp_no, int num_values, bool use_mol_name)
    : Run(num_values), exp_no_(exp_no), use_mol_name_(use_mol_name) {}

void Experiment::InitEmptyExperiment(const Variables* variables, const ResponseManager* responses) {
  if (variables == nullptr) return;
  const int factors = variables->GetFactorCount();
  const int total =
      responses != nullptr ? factors + responses->GetCount() : std::max(factors, GetNumValues());
  Resize(total);
  for (int i = 1; i <= factors; ++i) {
    const FactorClass* factor = variables->GetIndexFactor(i);
    if (factor != nullptr && factor->IsQualitative()) {
      SetValue(i, "");
    } else {
      SetValue(i, kUndefined);
    }
  }
  if (responses != nullptr) {
    for (int i = factors + 1; i <= total; ++i) SetValue(i, kUndefined);
  }
}

bool Experiment::Read(std::istream& in, char separator) {
  static const std::vector<WorksheetColumns> kDefault = {kExpNo, kExpName, kRunOrder, kInOut};
  return Read(in, separator, kDefault);
}

bool Experiment::Read(std::istream& in, char separator,
                      const std::vector<WorksheetColumns>& columns) {
  std::string line;
  if (!std::getline(in, line)) return false;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  const std::vector<std::string> tokens = KtStdString::Split(line, separator);
  const std::optional<std::size_t> first_cell = ReadFixedFields(tokens, columns);
  if (!first_cell) return false;
  ReadTokens(tokens, *first_cell);
  return true;
}

std::optional<std::size_t> Experiment::ReadFixedFields(
    const std::vector<std::string>& tokens, const std::vector<WorksheetColumns>& columns) {
  // Everything is judged before anything is stored; the texts are copied only then.
  int exp_no = exp_no_;
  int run_order = run_order_;
  InOutType in_out = in_out_;
  bool use_mol_name = use_mol_name_;
  const std::string* combination_id = nullptr;
  const std::string* exp_name = nullptr;
  const std::string* mol_name = nullptr;
  static const std::string kNoToken;
  std::size_t next = 0;
  for (const WorksheetColumns column : columns) {
    const std::string& token = next < tokens.size() ? tokens[next] : kNoToken;
    ++next;
    switch (column) {
      case kExpNo: {
        const std::optional<int> number = KtString::ToInt(token);
        if (!number) return std::nullopt;
        exp_no = *number;
        break;
      }
      case kCombinationID:
        combination_id = &token;
        break;
      case kExpName:
        exp_name = &token;
        break;
      case kMoleculeNames:
        mol_name = &token;
        use_mol_name = true;
        break;
      case kRunOrder: {
        const std::optional<int> number = KtString::ToInt(token);
        if (!number) return std::nullopt;
        run_order = *number;
        break;
      }
      case kInOut:
        if (KtStdString::EqualsNoCase(token, "In")) {
          in_out = kIn;
        } else if (KtStdString::EqualsNoCase(token, "Out")) {
          in_out = kOut;
        }
        break;
    }
    if (column == kInOut) break;
  }
  exp_no_ = exp_no;
  run_order_ = run_order;
  in_out_ = in_out;
  use_mol_name_ = use_mol_name;
  if (combination_id != nullptr) combination_id_ = *combination_id;
  if (exp_name != nullptr) exp_name_ = *exp_name;
  if (mol_name != nullptr) mol_name_ = *mol_name;
  return std::min(next, tokens.size());
}

void Experiment::Write(std::ostream& out, char separator) const {
  out << exp_no_ << separator;
  if (!combination_id_.empty()) out << combination_id_ << separator;
  out << (use_mol_name_ ? mol_name_ : exp_name_) << separator;
  out << run_order_ << separator;
  out << (in_out_ != kOut ? "In" : "Out") << separator;
  WriteCells(out, separator);
}

void Experiment::FromJson(const json_value& row, const std::vector<WorksheetColumns>& columns,
                          const std::vector<int>& value_index) {
  if (!row.is_array()) {
    throw Exception(ExceptionMessage::translate("Parse error: a worksheet row must be an array."));
  }
  if (row.size() < columns.size()) {
    throw Exception(
        ExceptionMessage::translate("Parse error: a worksheet row has {} elements, {} expected.") %
        row.size() % columns.size());
  }
  // Every fixed column is judged before anything is stored, so that a refused row leaves the
  // experiment as it was without copying it first.
  int exp_no = exp_no_;
  int run_order = run_order_;
  InOutType in_out = in_out_;
  bool use_mol_name = use_mol_name_;
  const std::string* combination_id = nullptr;
  const std::string* exp_name = nullptr;
  const std::string* mol_name = nullptr;
  for (std::size_t k = 0; k < columns.size(); ++k) {
    const json_value& element = row[k];
    const WorksheetColumns column = columns[k];
    if (column == kExpNo) {
      // An integer beyond the int range is no experiment number either.
      if (!IsInteger(element) ||
          (element.is_number_unsigned() && element.get<std::uint64_t>() > 2147483647U) ||
          (element.is_number_integer() && !element.is_number_unsigned() &&
           (element.get<std::int64_t>() < -2147483648LL ||
            element.get<std::int64_t>() > 2147483647LL))) {
        throw Exception(
            ExceptionMessage::translate("Parse error: experiment number must be an int."));
      }
      exp_no = static_cast<int>(element.get<std::int64_t>());
    } else if (column == kRunOrder) {
      if (!IsNumber(element)) {
        throw Exception(ExceptionMessage::translate("Parse error: Run order must be an int."));
      }
      const double value = element.get<double>();
      if (!(value > -2147483648.0 && value < 2147483648.0)) {
        throw Exception(ExceptionMessage::translate("Parse error: Run order must be an int."));
      }
      run_order = static_cast<int>(value);
    } else {
      if (!element.is_string()) {
        throw Exception(ExceptionMessage::translate("Parse error: column {} must be a string.") %
                        static_cast<int>(k + 1));
      }
      const auto& text = element.get_ref<const std::string&>();
      switch (column) {
        case kCombinationID:
          combination_id = &text;
          break;
        case kExpName:
          exp_name = &text;
          break;
        case kMoleculeNames:
          mol_name = &text;
          use_mol_name = true;
          break;
        case kInOut:
          in_out = text.starts_with("In") ? kIn : kOut;
          break;
        default:
          break;
      }
    }
  }
  exp_no_ = exp_no;
  run_order_ = run_order;
  in_out_ = in_out;
  use_mol_name_ = use_mol_name;
  if (combination_id != nullptr) combination_id_ = *combination_id;
  if (exp_name != nullptr) exp_name_ = *exp_name;
  if (mol_name != nullptr) mol_name_ = *mol_name;
  for (std::size_t j = 0; columns.size() + j < row.size() && j < value_index.size(); ++j) {
    const int index = value_index[j];
    if (index < 0 || index >= GetNumValues()) continue;
    const json_value& element = row[columns.size() + j];
    if (element.is_string()) {
      SetValue(index + 1, element.get_ref<const std::string&>().c_str());
    } else if (element.is_number()) {
      SetValue(index + 1, element.get<double>());
    }
  }
}

std::vector<Experiment::WorksheetColumns> Experiment::GetJsonColumns(bool use_mol_name) {
  return {kExpNo, kCombinationID, use_mol_name ? kMoleculeNames : kExpName, kRunOrder, kInOut};
}

json_value Experiment::ToJson() const {
  json_value row = json_value::array();
  row.push_back(exp_no_);
  row.push_back(combination_id_);
  row.push_back(use_mol_name_ ? mol_name_ : exp_name_);
  row.push_back(run_order_);
  row.push_back(in_out_ != kOut ? "In" : "Out");
  for (int i = 1; i <= GetNumValues(); ++i) {
    switch (GetValueType(i)) {
      case kNumber:
        if (HasValue(i)) {
          row.push_back(GetFloatValue(i));
        } else {
          row.push_back(nullptr);
        }
        break;
      case kText:
        row.push_back(GetStringValue(i));
        break;
      case kEmpty:
        row.push_back(nullptr);
        break;
    }
  }
  return row;
}

bool Experiment::IsExcludedFromModel(const ResponseModel* model,
                                     const std::set<std::string>& responses,
                                     CFitMethod::FitMethod fit_method) const {
  if (IsExcluded()) return true;
  if (model == nullptr) return false;
  if (model->IsExcluded(exp_no_)) return true;
  if (fit_method == CFitMethod::kPLS || responses.size() > 1) {
    return HasAllMissingInBlock(model, responses);
  }
  return HasAnyMissing(model, responses);
}

bool Experiment::HasMissingModelFactor(const ResponseModel& model,
                                       const Variables& variables) const {
  const int factors = variables.GetFactorCount();
  for (int i = 1; i <= factors; ++i) {
    if (HasValue(i)) continue;
    const FactorClass* factor = variables.GetIndexFactor(i);
    if (factor == nullptr || factor->IsA() == model.GetExcludedFactorClass()) continue;
    if (model.IsInModel(i)) return true;
  }
  return false;
}

bool Experiment::HasAnyMissing(const ResponseModel* model,
                               const std::set<std::string>& responses) const {
  if (model == nullptr || model->GetVariables() == nullptr) return false;
  const Variables& variables = *model->GetVariables();
  if (HasMissingModelFactor(*model, variables)) return true;
  const int factors = variables.GetFactorCount();
  for (int i = factors + 1; i <= GetNumValues(); ++i) {
    if (HasValue(i)) continue;
    const std::string name = variables.GetResponse(i - factors);
    if (!name.empty() && IsNamed(responses, name)) return true;
  }
  return false;
}

bool Experiment::HasAllMissingInBlock(const ResponseModel* model,
                                      const std::set<std::string>& responses) const {
  if (model == nullptr || model->GetVariables() == nullptr) return false;
  const Variables& variables = *model->GetVariables();
  if (HasMissingModelFactor(*model, variables)) return true;
  const int factors = variables.GetFactorCount();
  bool any_named = false;
  for (int i = factors + 1; i <= GetNumValues(); ++i) {
    const std::string name = variables.GetResponse(i - factors);
    if (name.empty() || !IsNamed(responses, name)) continue;
    any_named = true;
    if (HasValue(i)) return false;
  }
  return any_named;
}

}  // namespace zubra
