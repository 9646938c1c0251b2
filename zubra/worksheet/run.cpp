// One row of the worksheet: cells, their text form and their typing from user text.
#include "zubra/worksheet/run.h"

#include <string_view>

#include "zubra/platform/util/kt_string.h"

namespace zubra {

void Run::VariableValue::SetValue(double value) {
  type_ = kNumber;
  value_ = value;
  text_.clear();
}

void Run::VariableValue::SetValue(const char* text) {
  type_ = kText;
  value_ = kUndefined;
  text_ = text == nullptr ? "" : text;
}

std::string Run::VariableValue::GetStringValue() const {
  switch (type_) {
    case kNumber:
      return value_ == kUndefined ? std::string() : KtString::FormatG(value_);
    case kText:
      return text_;
    case kEmpty:
      break;
  }
  return {};
}

bool Run::VariableValue::HasValue() const {
  switch (type_) {
    case kNumber:
      return value_ != kUndefined;
    case kText:
      return !text_.empty();
    case kEmpty:
      break;
  }
  return false;
}

Run::Run(int n) { Resize(n); }

Run::Run(const Run& other) {
  values_.reserve(other.values_.size());
  for (const auto& cell : other.values_) values_.push_back(std::make_unique<VariableValue>(*cell));
}

Run& Run::operator=(const Run& other) {
  if (this != &other) {
    Run copy(other);
    values_ = std::move(copy.values_);
  }
  return *this;
}

Run::VariableValue* Run::Cell(int i) {
  if (i < 1 || i > GetNumValues()) return nullptr;
  return values_[static_cast<std::size_t>(i - 1)].get();
}

const Run::VariableValue* Run::GetCell(int i) const {
  if (i < 1 || i > GetNumValues()) return nullptr;
  return values_[static_cast<std::size_t>(i - 1)].get();
}

void Run::SetValue(int i, double value) {
  if (VariableValue* cell = Cell(i)) cell->SetValue(value);
}

void Run::SetValue(int i, const char* text) {
  if (VariableValue* cell = Cell(i)) cell->SetValue(text);
}

void Run::SetUnformattedValue(int i, const char* text) {
  VariableValue* cell = Cell(i);
  if (cell == nullptr) return;
  if (text == nullptr || *text == '\0') {
    cell->SetValue(kUndefined);
    return;
  }
  if (std::optional<double> number = KtString::ToDouble(text)) {
    cell->SetValue(*number);
  } else {
    cell->SetValue(text);
  }
}

void Run::AddValue(double value) { values_.push_back(std::make_unique<VariableValue>(value)); }

void Run::AddValue(const char* text) { values_.push_back(std::make_unique<VariableValue>(text)); }

void Run::InsertValue(int i, double value) {
  if (i < 1 || i > GetNumValues() + 1) return;
  values_.insert(values_.begin() + (i - 1), std::make_unique<VariableValue>(value));
}

void Run::InsertValue(int i, const char* text) {
  if (i < 1 || i > GetNumValues() + 1) return;
  values_.insert(values_.begin() + (i - 1), std::make_unique<VariableValue>(text));
}

void Run::RemoveValue(int i) {
  if (i < 1 || i > GetNumValues()) return;
  values_.erase(values_.begin() + (i - 1));
}

void Run::Resize(int n) {
  const std::size_t size = n > 0 ? static_cast<std::size_t>(n) : 0;
  if (size < values_.size()) values_.resize(size);
  while (values_.size() < size) values_.push_back(std::make_unique<VariableValue>());
}

Run::ValueType Run::GetValueType(int i) const {
  const VariableValue* cell = GetCell(i);
  return cell == nullptr ? kEmpty : cell->GetValueType();
}

double Run::GetFloatValue(int i) const {
  const VariableValue* cell = GetCell(i);
  return cell == nullptr ? kUndefined : cell->GetFloatValue();
}

std::string Run::GetStringValue(int i) const {
  const VariableValue* cell = GetCell(i);
  return cell == nullptr ? std::string() : cell->GetStringValue();
}

bool Run::HasValue(int i) const {
  const VariableValue* cell = GetCell(i);
  return cell != nullptr && cell->HasValue();
}

int Run::GetNumNonMissingValues() const {
  int count = 0;
  for (const auto& cell : values_) count += cell->HasValue() ? 1 : 0;
  return count;
}

void Run::ReadTokens(const std::vector<std::string>& tokens, std::size_t first) {
  for (std::size_t k = first; k < tokens.size(); ++k) {
    const int position = static_cast<int>(k - first) + 1;
    if (position > GetNumValues()) values_.push_back(std::make_unique<VariableValue>());
    SetUnformattedValue(position, tokens[k].c_str());
  }
}

bool Run::Read(std::istream& in, char separator) {
  std::string line;
  if (!std::getline(in, line)) return false;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  ReadTokens(KtStdString::Split(line, separator), 0);
  return true;
}

void Run::WriteCells(std::ostream& out, char separator) const {
  bool first = true;
  for (const auto& cell : values_) {
    if (!first) out << separator;
    first = false;
    if (cell->GetValueType() == kText) {
      out << cell->GetStringValue();
    } else if (cell->GetValueType() == kNumber && cell->GetFloatValue() != kUndefined) {
      out << cell->GetFloatValue();
    }
  }
}

void Run::Write(std::ostream& out, char separator) const { WriteCells(out, separator); }

}  // namespace zubra
