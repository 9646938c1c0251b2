#include "zubra/variables/variables.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/platform/util/variable_name_validator.h"

namespace zubra {
namespace {

// The names the system keeps for its own sections and tables.
constexpr std::array<std::string_view, 20> kReservedNames = {"Status",
                                                             "Model",
                                                             "Model Settings",
                                                             "Worksheet",
                                                             "DOptimal",
                                                             "Options",
                                                             "Responses",
                                                             "Constants",
                                                             "ContourPlotWizard",
                                                             "PredictionPlotWizard",
                                                             "ProbabilityContour",
                                                             "RunOrder",
                                                             "ExpNo",
                                                             "InOut",
                                                             "Combination ID",
                                                             "ExpName",
                                                             "Molecule Names",
                                                             "Axis2D",
                                                             "Axis4D",
                                                             "Contour"};

constexpr std::array<std::string_view, 7> kBlockGenerators = {
    "$B1", "$B2", "$B3", "$B1$B2", "$B1$B3", "$B2$B3", "$B1$B2$B3"};

// Internal variables created by the system itself; always legal names.
constexpr std::array<std::string_view, 3> kInternalNames = {"$BlockV", "$Layer", "$Plate"};

// The list sections of the settings file and the set's own sections. The "$" keeps the own
// sections apart from any variable's section, since user names cannot hold it.
constexpr const char* kFactorList = "Factors";
constexpr const char* kResponseList = "Responses";
constexpr const char* kSetSection = "$VariableSet";
constexpr const char* kReferenceMixtureSection = "$ReferenceMixture";

// Sums of mixture ranges are compared with the total with this tolerance, so that typed
// decimals such as 0.3 + 0.7 count as 1.
constexpr double kMixtureTolerance = 1e-9;

constexpr const char* kFillerConvertedMessage =
    "The factor '%1%' has been converted to a formulation factor. A design can include a "
    "filler only if the other formulation factors do not add up to 1.";
constexpr const char* kLowSumMessage =
    "The sum of the low settings of the formulation factors is too large (%1%). The sum must "
    "not be higher than %2%.";
constexpr const char* kHighSumMessage =
    "The sum of the high settings of the formulation factors is too small (%1%). The sum must "
    "be higher than %2%. Change the settings or add a filler factor.";

bool IsSet(double value) { return !IsUndefined(value); }

const FactorClass* AsFactor(const ResponseClass* variable) {
  return dynamic_cast<const FactorClass*>(variable);
}

bool IsControlledFormulation(const FactorClass& factor) {
  return factor.GetType() == CEType::kFormulation && factor.GetUse() == CEUse::kControlled;
}

bool IsConstantFormulation(const FactorClass& factor) {
  return factor.GetType() == CEType::kFormulation && factor.GetUse() == CEUse::kConstant;
}

// Ranks the classes in slot order: process factors, mixture factors, responses.
int ClassRank(const ResponseClass& variable) {
  switch (variable.IsA()) {
    case CEVar::kProcessFactor:
      return 0;
    case CEVar::kMixtureFactor:
      return 1;
    default:
      return 2;
  }
}

// A variable whose class the set can hold: a response, or a FactorClass answering 2 or 3.
bool IsStorableClass(const ResponseClass& variable) {
  const CEVar kind = variable.IsA();
  if (kind == CEVar::kResponse) return true;
  if (kind != CEVar::kProcessFactor && kind != CEVar::kMixtureFactor) return false;
  return AsFactor(&variable) != nullptr;
}

std::unique_ptr<ResponseClass> Clone(const ResponseClass& variable) {
  if (const FactorClass* factor = AsFactor(&variable)) {
    return std::make_unique<FactorClass>(*factor);
  }
  return std::make_unique<ResponseClass>(variable);
}

// A variable's own section may be removed before it is rewritten, unless its name is one of
// the list sections (the older form shares the name space of sections).
bool OwnSectionRemovable(std::string_view name) {
  return !name.empty() && name != kFactorList && name != kResponseList;
}

std::vector<Variables::Entry> ReadEntries(const ConfigurationSection& root, const char* list) {
  std::vector<Variables::Entry> entries;
  const ConfigurationSection* section = root.OpenChild(list);
  if (section == nullptr) return entries;
  for (const std::string& key : section->GetKeys()) {
    const std::optional<std::string> text = section->GetValue(key);
    const std::optional<int> number = text ? KtString::ToInt(*text) : std::nullopt;
    entries.push_back({key, number.value_or(0)});
  }
  return entries;
}

void RemoveListed(IniFileSection& root, const char* list) {
  const ConfigurationSection* section = root.OpenChild(list);
  if (section == nullptr) return;
  const std::vector<std::string> names = section->GetKeys();
  for (const std::string& name : names) {
    if (OwnSectionRemovable(name)) root.RemoveChild(name);
  }
  root.RemoveChild(list);
}

void WriteReferenceMixtureSection(ConfigurationSection& root,
                                  const std::vector<Variables::MixtureAmount>& mixture) {
  root.RemoveChild(kReferenceMixtureSection);
  if (mixture.empty()) return;
  ConfigurationSection& section = root.CreateChild(kReferenceMixtureSection);
  for (const Variables::MixtureAmount& amount : mixture) {
    if (!amount.name.empty()) section.WriteDouble(amount.name, amount.value);
  }
}

// The sums that the pseudo-component transform and the reference mixture work with.
struct MixtureFrame {
  double free_total = 0.0;  // the mixture total less the constant formulation factors
  double sum_low = 0.0;     // over the controlled formulation factors with a defined low
  int components = 0;       // those factors
  bool filler = false;
};

}  // namespace

// ------------------------------------------------------------------ construction

Variables::Variables() = default;

Variables::Variables(const IniFileSection& section, const FMatrix* constraints,
                     std::string ini_path)
    : ini_path_(std::move(ini_path)) {
  SetConstraints(constraints);
  ReadIniFile(section);
}

Variables::Variables(const Variables& other) { CopyFrom(other); }

Variables& Variables::operator=(const Variables& other) {
  if (this != &other) {
    Variables copy(other);
    *this = std::move(copy);
  }
  return *this;
}

Variables::Variables(Variables&& other) noexcept = default;
Variables& Variables::operator=(Variables&& other) noexcept = default;
Variables::~Variables() = default;

void Variables::CopyFrom(const Variables& other) {
  variables_.reserve(other.variables_.size());
  for (const auto& variable : other.variables_) variables_.push_back(Clone(*variable));
  total_count_ = other.total_count_;
  factor_count_ = other.factor_count_;
  response_count_ = other.response_count_;
  process_count_ = other.process_count_;
  mixture_count_ = other.mixture_count_;
  ini_path_ = other.ini_path_;
  if (other.constraints_) constraints_ = std::make_unique<FMatrix>(*other.constraints_);
  use_pseudo_components_ = other.use_pseudo_components_;
  mixture_total_ = other.mixture_total_;
  reference_mixture_ = other.reference_mixture_;
}

// ------------------------------------------------------------------ name rules

bool Variables::LegalName(std::string_view name) {
  for (std::string_view internal : kInternalNames) {
    if (name == internal) return true;
  }
  return ZubraVariableNameValidator().IsValid(name);
}

bool Variables::IsReservedName(std::string_view name) {
  return std::any_of(kReservedNames.begin(), kReservedNames.end(),
                     [name](std::string_view r) { return KtStdString::EqualsNoCase(name, r); });
}

bool Variables::IsBlockGen(std::string_view name, bool single) {
  const std::size_t count = single ? 3 : kBlockGenerators.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (name == kBlockGenerators[i]) return true;
  }
  return false;
}

std::string Variables::GetBlockGen(int i) {
  if (i < 1 || i > static_cast<int>(kBlockGenerators.size())) return {};
  return std::string(kBlockGenerators[static_cast<std::size_t>(i - 1)]);
}

bool Variables::IsAbbrUnique(std::string_view abbreviation, std::string_view except_name) const {
  for (const auto& variable : variables_) {
    if (KtStdString::EqualsNoCase(variable->GetName(), except_name)) continue;
    if (KtStdString::EqualsNoCase(variable->GetAbbr(0), abbreviation)) return false;
  }
  return true;
}

// ------------------------------------------------------------------ admission and changes

Variables::Error Variables::IsLegal(const ResponseClass* variable) const {
  if (variable == nullptr) return kNoVariable;
  if (!variable->IsDefined()) return kNotDefined;
  const std::string& name = variable->GetName();
  if (name.empty() || !LegalName(name)) return kIllegalName;
  if (GetSlot(name) != 0) return kNameExists;
  if (!IsAbbrUnique(variable->GetAbbr(0), "")) return kAbbrNotUnique;
  const FactorClass* factor = AsFactor(variable);
  if (factor != nullptr && !factor->ValidSettings()) return kInvalidSettings;
  if (factor != nullptr && factor->IsFiller() && GetFiller() != 0) return kSecondFiller;
  return kOk;
}

Variables::Error Variables::Add(std::unique_ptr<ResponseClass> variable, bool skip_check,
                                std::unique_ptr<ResponseClass>* refused) {
  Error code = kOk;
  if (!skip_check) code = IsLegal(variable.get());
  if (code == kOk && variable == nullptr) code = kNoVariable;
  if (code == kOk && !IsStorableClass(*variable)) code = kIllegalClass;
  if (code != kOk) {
    if (refused != nullptr) *refused = std::move(variable);
    return code;
  }
  switch (variable->IsA()) {
    case CEVar::kProcessFactor:
      variable->SetNumber(process_count_ + 1);
      break;
    case CEVar::kMixtureFactor:
      variable->SetNumber(factor_count_ + 1);
      break;
    default:
      variable->SetNumber(response_count_ + 1);
      break;
  }
  Insert(std::move(variable), true);
  return kOk;
}

int Variables::Insert(std::unique_ptr<ResponseClass> variable, bool write_to_file) {
  if (variable == nullptr || !IsStorableClass(*variable)) return 0;
  int number = variable->GetNumber();
  int slot = 1;
  switch (variable->IsA()) {
    case CEVar::kProcessFactor:
      if (number < 1 || number > process_count_) number = process_count_ + 1;
      while (slot <= total_count_ && At(slot)->IsA() == CEVar::kProcessFactor &&
             At(slot)->GetNumber() < number) {
        ++slot;
      }
      break;
    case CEVar::kMixtureFactor:
      if (number < process_count_ + 1 || number > factor_count_) number = factor_count_ + 1;
      slot = process_count_ + 1;
      while (slot <= total_count_ && At(slot)->IsA() != CEVar::kResponse &&
             At(slot)->GetNumber() < number) {
        ++slot;
      }
      break;
    default:
      if (number < 1) number = response_count_ + 1;
      slot = factor_count_ + 1;
      while (slot <= total_count_ && At(slot)->GetNumber() < number) ++slot;
      break;
  }
  variable->SetNumber(number);
  return Place(slot, std::move(variable), write_to_file);
}

int Variables::Insert(int slot, std::unique_ptr<ResponseClass> variable, bool write_to_file) {
  if (variable == nullptr || !IsStorableClass(*variable)) return 0;
  const CEVar kind = variable->IsA();
  const int first = BlockBegin(kind);
  slot = std::clamp(slot, first, first + GetCount(kind));
  const int numbering_begin = kind == CEVar::kResponse ? factor_count_ + 1 : 1;
  variable->SetNumber(slot > numbering_begin ? At(slot - 1)->GetNumber() + 1 : 1);
  return Place(slot, std::move(variable), write_to_file);
}

int Variables::Place(int slot, std::unique_ptr<ResponseClass> variable, bool write_to_file) {
  ResponseClass& placed = *variable;
  variables_.insert(variables_.begin() + (slot - 1), std::move(variable));
  CountIn(placed, +1);
  const std::vector<NumberChange> changes = RenumberFrom(slot);
  if (!write_to_file || ini_path_.empty()) return slot;
  try {
    std::unique_ptr<IniFileSection> file = IniFileFactory::Open(ini_path_);
    if (OwnSectionRemovable(placed.GetName())) file->RemoveChild(placed.GetName());
    placed.WriteToFile(*file);
    for (const NumberChange& change : changes) {
      ConfigurationSection* list = file->OpenChild(change.variable->NameOf());
      if (list != nullptr && list->HasKey(change.variable->GetName())) {
        list->WriteInt(change.variable->GetName(), change.variable->GetNumber());
      }
    }
    IniFileFactory::Save(*file, ini_path_);
  } catch (...) {
    for (const NumberChange& change : changes) change.variable->SetNumber(change.old_number);
    std::unique_ptr<ResponseClass> removed = std::move(variables_[slot - 1]);
    variables_.erase(variables_.begin() + (slot - 1));
    CountIn(*removed, -1);
    name_cache_.clear();
    throw;
  }
  return slot;
}

std::vector<Variables::NumberChange> Variables::RenumberFrom(int slot) {
  std::vector<NumberChange> changes;
  const int end = NumberingBlockEnd(slot);
  for (int s = slot + 1; s <= end; ++s) {
    ResponseClass& current = *variables_[s - 1];
    const int previous = At(s - 1)->GetNumber();
    if (current.GetNumber() > previous) break;
    changes.push_back({&current, current.GetNumber()});
    current.SetNumber(previous + 1);
  }
  return changes;
}

std::unique_ptr<ResponseClass> Variables::Remove(int slot, std::vector<NumberChange>* changes) {
  std::unique_ptr<ResponseClass> removed = std::move(variables_[slot - 1]);
  variables_.erase(variables_.begin() + (slot - 1));
  CountIn(*removed, -1);
  name_cache_.clear();
  // The later variables of the same numbering block close the gap.
  const int end = removed->IsA() == CEVar::kResponse ? total_count_ : factor_count_;
  for (int s = slot; s <= end; ++s) {
    ResponseClass& later = *variables_[s - 1];
    if (changes != nullptr) changes->push_back({&later, later.GetNumber()});
    later.SetNumber(later.GetNumber() - 1);
  }
  return removed;
}

void Variables::Restore(int slot, std::unique_ptr<ResponseClass> variable,
                        const std::vector<NumberChange>& changes) {
  for (const NumberChange& change : changes) change.variable->SetNumber(change.old_number);
  CountIn(*variable, +1);
  variables_.insert(variables_.begin() + (slot - 1), std::move(variable));
  name_cache_.clear();
}

int Variables::Delete(std::string_view name) {
  const int slot = GetSlot(name);
  if (slot == 0) return kNotFound;
  std::vector<NumberChange> changes;
  std::unique_ptr<ResponseClass> removed = Remove(slot, &changes);
  if (!ini_path_.empty()) {
    try {
      std::unique_ptr<IniFileSection> file = IniFileFactory::Open(ini_path_);
      const std::string& removed_name = removed->GetName();
      if (ConfigurationSection* list = file->OpenChild(removed->NameOf())) {
        list->RemoveKey(removed_name);
      }
      if (OwnSectionRemovable(removed_name)) file->RemoveChild(removed_name);
      for (const NumberChange& change : changes) {
        ConfigurationSection* list = file->OpenChild(change.variable->NameOf());
        if (list != nullptr && list->HasKey(change.variable->GetName())) {
          list->WriteInt(change.variable->GetName(), change.variable->GetNumber());
        }
      }
      IniFileFactory::Save(*file, ini_path_);
    } catch (...) {
      Restore(slot, std::move(removed), changes);
      throw;
    }
  }
  return kOk;
}

std::unique_ptr<ResponseClass> Variables::Detach(std::string_view name) {
  return Detach(GetSlot(name));
}

std::unique_ptr<ResponseClass> Variables::Detach(int slot) {
  if (slot < 1 || slot > total_count_) return nullptr;
  return Remove(slot, nullptr);
}

void Variables::Sort() {
  std::stable_sort(
      variables_.begin(), variables_.end(),
      [](const std::unique_ptr<ResponseClass>& a, const std::unique_ptr<ResponseClass>& b) {
        const int rank_a = ClassRank(*a);
        const int rank_b = ClassRank(*b);
        if (rank_a != rank_b) return rank_a < rank_b;
        return a->GetNumber() < b->GetNumber();
      });
  RecountBlocks();
  int factor_number = 0;
  int response_number = 0;
  for (const auto& variable : variables_) {
    variable->SetNumber(variable->IsA() == CEVar::kResponse ? ++response_number : ++factor_number);
  }
  name_cache_.clear();
}

void Variables::CountIn(const ResponseClass& variable, int delta) {
  total_count_ += delta;
  switch (variable.IsA()) {
    case CEVar::kProcessFactor:
      factor_count_ += delta;
      process_count_ += delta;
      break;
    case CEVar::kMixtureFactor:
      factor_count_ += delta;
      mixture_count_ += delta;
      break;
    default:
      response_count_ += delta;
      break;
  }
}

void Variables::RecountBlocks() {
  total_count_ = factor_count_ = response_count_ = process_count_ = mixture_count_ = 0;
  for (const auto& variable : variables_) CountIn(*variable, +1);
}

int Variables::BlockBegin(CEVar kind) const {
  switch (kind) {
    case CEVar::kProcessFactor:
      return 1;
    case CEVar::kMixtureFactor:
      return process_count_ + 1;
    default:
      return factor_count_ + 1;
  }
}

int Variables::NumberingBlockEnd(int slot) const {
  return slot <= factor_count_ ? factor_count_ : total_count_;
}

// ------------------------------------------------------------------ lookups

int Variables::GetSlot(std::string_view name) const {
  if (name.empty()) return 0;
  if (const auto cached = name_cache_.find(name); cached != name_cache_.end()) {
    const int slot = cached->second;
    if (slot >= 1 && slot <= total_count_ && At(slot)->GetName() == name) return slot;
  }
  std::string_view bare = name;
  if (bare.back() == '~') bare.remove_suffix(1);
  if (bare.empty()) return 0;
  for (int slot = 1; slot <= total_count_; ++slot) {
    if (KtStdString::EqualsNoCase(At(slot)->GetName(), bare)) {
      name_cache_.insert_or_assign(std::string(name), slot);
      return slot;
    }
  }
  return 0;
}

int Variables::GetNumber(std::string_view name) const {
  if (IsBlockGen(name, true)) return -(static_cast<int>(name[2] - '0'));
  const int slot = GetSlot(name);
  return slot == 0 ? 0 : At(slot)->GetNumber();
}

const ResponseClass* Variables::Get(std::string_view name, CEVar kind) const {
  const ResponseClass* variable = GetVariable(name);
  return variable != nullptr && variable->IsA() == kind ? variable : nullptr;
}
ResponseClass* Variables::Get(std::string_view name, CEVar kind) {
  return const_cast<ResponseClass*>(std::as_const(*this).Get(name, kind));
}

const ResponseClass* Variables::GetVariable(std::string_view name) const {
  return GetVariable(GetSlot(name));
}
ResponseClass* Variables::GetVariable(std::string_view name) {
  return const_cast<ResponseClass*>(std::as_const(*this).GetVariable(name));
}

const ResponseClass* Variables::GetVariable(int slot) const {
  return slot >= 1 && slot <= total_count_ ? At(slot) : nullptr;
}
ResponseClass* Variables::GetVariable(int slot) {
  return const_cast<ResponseClass*>(std::as_const(*this).GetVariable(slot));
}

const FactorClass* Variables::FactorAt(int slot) const {
  return slot >= 1 && slot <= factor_count_ ? static_cast<const FactorClass*>(At(slot)) : nullptr;
}

const FactorClass* Variables::FindFactor(std::string_view name) const {
  return FactorAt(GetSlot(name));
}

const FactorClass* Variables::GetFactor(std::string_view name) const { return FindFactor(name); }
FactorClass* Variables::GetFactor(std::string_view name) {
  return const_cast<FactorClass*>(FindFactor(name));
}

const ResponseClass* Variables::GetResponse(std::string_view name) const {
  return Get(name, CEVar::kResponse);
}
ResponseClass* Variables::GetResponse(std::string_view name) { return Get(name, CEVar::kResponse); }

const ResponseClass* Variables::GetVariableFromAbbr(std::string_view abbreviation) const {
  if (abbreviation.empty()) return nullptr;
  for (const auto& variable : variables_) {
    if (KtStdString::EqualsNoCase(variable->GetAbbr(0), abbreviation)) return variable.get();
  }
  if (abbreviation.back() == '~') {
    abbreviation.remove_suffix(1);
    return GetVariableFromAbbr(abbreviation);
  }
  return nullptr;
}
ResponseClass* Variables::GetVariableFromAbbr(std::string_view abbreviation) {
  return const_cast<ResponseClass*>(std::as_const(*this).GetVariableFromAbbr(abbreviation));
}

const FactorClass* Variables::GetFactorFromAbbr(std::string_view abbreviation) const {
  const ResponseClass* variable = GetVariableFromAbbr(abbreviation);
  return variable != nullptr && variable->IsA() != CEVar::kResponse
             ? static_cast<const FactorClass*>(variable)
             : nullptr;
}
FactorClass* Variables::GetFactorFromAbbr(std::string_view abbreviation) {
  return const_cast<FactorClass*>(std::as_const(*this).GetFactorFromAbbr(abbreviation));
}

std::string Variables::GetNameFromAbbr(std::string_view abbreviation) const {
  const ResponseClass* variable = GetVariableFromAbbr(abbreviation);
  return variable != nullptr ? variable->GetName() : std::string();
}

const FactorClass* Variables::GetIndexFactor(int i) const { return FactorAt(i); }
FactorClass* Variables::GetIndexFactor(int i) { return const_cast<FactorClass*>(FactorAt(i)); }

const ResponseClass* Variables::GetIndexResponse(int i) const {
  return i >= 1 && i <= response_count_ ? At(factor_count_ + i) : nullptr;
}
ResponseClass* Variables::GetIndexResponse(int i) {
  return const_cast<ResponseClass*>(std::as_const(*this).GetIndexResponse(i));
}

std::string Variables::GetFactor(int i) const {
  const FactorClass* factor = FactorAt(i);
  return factor != nullptr ? factor->GetName() : std::string();
}

std::string Variables::GetResponse(int i) const {
  const ResponseClass* response = GetIndexResponse(i);
  return response != nullptr ? response->GetName() : std::string();
}

const FactorClass* Variables::GetFirstFactor() const { return FactorAt(1); }
FactorClass* Variables::GetFirstFactor() { return const_cast<FactorClass*>(FactorAt(1)); }

const FactorClass* Variables::GetNextFactor(std::string_view name) const {
  const int slot = GetSlot(name);
  return slot >= 1 && slot < factor_count_ ? FactorAt(slot + 1) : nullptr;
}
FactorClass* Variables::GetNextFactor(std::string_view name) {
  return const_cast<FactorClass*>(std::as_const(*this).GetNextFactor(name));
}

const ResponseClass* Variables::GetFirstResponse() const { return GetIndexResponse(1); }
ResponseClass* Variables::GetFirstResponse() {
  return const_cast<ResponseClass*>(std::as_const(*this).GetIndexResponse(1));
}

std::vector<const FactorClass*> Variables::GetAllFactors() const {
  std::vector<const FactorClass*> factors;
  factors.reserve(static_cast<std::size_t>(factor_count_));
  for (int slot = 1; slot <= factor_count_; ++slot) factors.push_back(FactorAt(slot));
  return factors;
}
std::vector<FactorClass*> Variables::GetAllFactors() {
  std::vector<FactorClass*> factors;
  factors.reserve(static_cast<std::size_t>(factor_count_));
  for (int slot = 1; slot <= factor_count_; ++slot) {
    factors.push_back(const_cast<FactorClass*>(FactorAt(slot)));
  }
  return factors;
}

std::vector<const ResponseClass*> Variables::GetAllResponses() const {
  std::vector<const ResponseClass*> responses;
  for (int slot = factor_count_ + 1; slot <= total_count_; ++slot) responses.push_back(At(slot));
  return responses;
}
std::vector<ResponseClass*> Variables::GetAllResponses() {
  std::vector<ResponseClass*> responses;
  for (int slot = factor_count_ + 1; slot <= total_count_; ++slot) {
    responses.push_back(variables_[slot - 1].get());
  }
  return responses;
}

std::vector<const ResponseClass*> Variables::GetAllVariables() const {
  std::vector<const ResponseClass*> all;
  all.reserve(variables_.size());
  for (const auto& variable : variables_) all.push_back(variable.get());
  return all;
}
std::vector<ResponseClass*> Variables::GetAllVariables() {
  std::vector<ResponseClass*> all;
  all.reserve(variables_.size());
  for (const auto& variable : variables_) all.push_back(variable.get());
  return all;
}

Variables::FactorIterator<const FactorClass*> Variables::factor_begin() const {
  return FactorIterator<const FactorClass*>(variables_.data());
}
Variables::FactorIterator<const FactorClass*> Variables::factor_end() const {
  return FactorIterator<const FactorClass*>(variables_.data() + factor_count_);
}
Variables::FactorIterator<FactorClass*> Variables::factor_begin() {
  return FactorIterator<FactorClass*>(variables_.data());
}
Variables::FactorIterator<FactorClass*> Variables::factor_end() {
  return FactorIterator<FactorClass*>(variables_.data() + factor_count_);
}

// ------------------------------------------------------------------ per-name queries

std::string Variables::GetAbbr(std::string_view name) const {
  const ResponseClass* variable = GetVariable(name);
  return variable != nullptr ? variable->GetAbbr(0) : std::string();
}

std::string Variables::GetAbbr(int number) const {
  for (int slot = 1; slot <= factor_count_; ++slot) {
    if (At(slot)->GetNumber() == number) return At(slot)->GetAbbr(0);
  }
  return {};
}

std::string Variables::GetTransformedAbbr(std::string_view text) const {
  const ResponseClass* variable = GetVariableFromAbbr(text);
  if (variable == nullptr) variable = GetVariable(text);
  return variable != nullptr ? variable->GetTransformedAbbr(0) : std::string(text);
}

std::string Variables::GetUnits(std::string_view name) const {
  const ResponseClass* variable = GetVariable(name);
  return variable != nullptr ? variable->GetUnits() : std::string();
}

CEType::EType Variables::GetType(std::string_view name) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr ? factor->GetType() : CEType::kNone;
}

CEUse::EUse Variables::GetUse(std::string_view name) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr ? factor->GetUse() : CEUse::kNotSet;
}

ScaTypes::EScaType Variables::GetScaling(std::string_view name) const {
  const ResponseClass* variable = GetVariable(name);
  return variable != nullptr ? variable->GetScaling() : ScaTypes::kNone;
}

Transform Variables::GetTransform(std::string_view name) const {
  const ResponseClass* variable = GetVariable(name);
  return variable != nullptr ? variable->GetTransform() : Transform();
}

std::string Variables::GetSetting(std::string_view name, int i) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr ? factor->GetSetting(i) : std::string();
}

int Variables::GetSettingCount(std::string_view name) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr ? factor->GetSettingCount() : 0;
}

int Variables::GetSettingIndex(std::string_view name, std::string_view setting) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr ? factor->GetSettingIndex(setting) : 0;
}

bool Variables::LegalSetting(std::string_view name, std::string_view setting) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr && factor->LegalSetting(setting);
}

bool Variables::IsFactor(std::string_view name) const { return FindFactor(name) != nullptr; }

bool Variables::IsResponse(std::string_view name) const {
  return Get(name, CEVar::kResponse) != nullptr;
}

bool Variables::VariableExist(std::string_view name) const { return GetSlot(name) != 0; }

bool Variables::IsFactorQualitative(std::string_view name) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr && factor->IsQualitative();
}

bool Variables::IsMixture(std::string_view name) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr && factor->IsMixture();
}

bool Variables::IsDesignFactor(std::string_view name) const {
  const FactorClass* factor = FindFactor(name);
  return factor != nullptr && factor->IsDesignFactor();
}

// ------------------------------------------------------------------ counts and predicates

int Variables::GetCount(CEVar kind) const {
  switch (kind) {
    case CEVar::kProcessFactor:
      return process_count_;
    case CEVar::kMixtureFactor:
      return mixture_count_;
    case CEVar::kResponse:
      return response_count_;
  }
  return 0;
}

int Variables::GetQuantitative(CEUse::EUse use) const {
  return static_cast<int>(std::count_if(factor_begin(), factor_end(), [use](const FactorClass* f) {
    return f->GetType() == CEType::kQuantitative && (use == CEUse::kNotSet || f->GetUse() == use);
  }));
}

int Variables::GetUncontrolledQuantitative() const { return GetQuantitative(CEUse::kUncontrolled); }

int Variables::GetMultilevel() const {
  return static_cast<int>(std::count_if(factor_begin(), factor_end(), [](const FactorClass* f) {
    return f->GetType() == CEType::kMultilevel;
  }));
}

int Variables::GetMultilevel(int settings) const {
  return static_cast<int>(
      std::count_if(factor_begin(), factor_end(), [settings](const FactorClass* f) {
        return f->GetType() == CEType::kMultilevel && f->GetSettingCount() == settings;
      }));
}

int Variables::GetQualitative(CEUse::EUse use) const {
  return static_cast<int>(std::count_if(factor_begin(), factor_end(), [use](const FactorClass* f) {
    return f->IsQualitative() && (use == CEUse::kNotSet || f->GetUse() == use);
  }));
}

int Variables::GetQualitativeCount() const {
  return static_cast<int>(std::count_if(factor_begin(), factor_end(), [](const FactorClass* f) {
    return f->IsQualitative() && f->IsDesignFactor();
  }));
}

int Variables::GetMixture() const {
  return static_cast<int>(std::count_if(factor_begin(), factor_end(), [](const FactorClass* f) {
    return f->GetType() == CEType::kFormulation;
  }));
}

int Variables::GetFiller() const {
  for (int slot = process_count_ + 1; slot <= factor_count_; ++slot) {
    if (FactorIn(slot).IsFiller()) return slot;
  }
  return 0;
}

bool Variables::IsAnyQualitative() const {
  return std::any_of(factor_begin(), factor_end(),
                     [](const FactorClass* f) { return f->IsQualitative(); });
}

bool Variables::IsAnyMixture() const {
  return std::any_of(factor_begin(), factor_end(),
                     [](const FactorClass* f) { return f->IsMixture(); });
}

bool Variables::IsAnyFiller() const {
  return std::any_of(factor_begin(), factor_end(),
                     [](const FactorClass* f) { return f->IsFiller(); });
}

bool Variables::IsAnyTime() const {
  return std::any_of(factor_begin(), factor_end(),
                     [](const FactorClass* f) { return f->GetType() == CEType::kTime; });
}

bool Variables::IsAdjusted() const {
  return std::any_of(factor_begin(), factor_end(),
                     [](const FactorClass* f) { return f->IsAdjusted(); });
}

bool Variables::UnControlledExist() const {
  return std::any_of(factor_begin(), factor_end(),
                     [](const FactorClass* f) { return f->GetUse() == CEUse::kUncontrolled; });
}

bool Variables::IsConstraintFactor(const FactorClass* factor) const {
  return factor != nullptr && factor->GetUse() == CEUse::kControlled;
}

// ------------------------------------------------------------------ design factors

int Variables::GetDesignFactorCount() const {
  return static_cast<int>(std::count_if(factor_begin(), factor_end(),
                                        [](const FactorClass* f) { return f->IsDesignFactor(); }));
}

int Variables::GetDesignNumber(int slot) const {
  const FactorClass* factor = FactorAt(slot);
  if (factor == nullptr || !factor->IsDesignFactor()) return 0;
  int rank = 0;
  for (int s = 1; s <= slot; ++s) {
    if (FactorIn(s).IsDesignFactor()) ++rank;
  }
  return rank;
}

int Variables::GetDesignFactorNumber(int k) const {
  int rank = 0;
  for (const FactorClass* factor : GetAllFactors()) {
    if (factor->IsDesignFactor() && ++rank == k) return factor->GetNumber();
  }
  return 0;
}

int Variables::GetExpandedFactorCount() const {
  int count = 0;
  for (const FactorClass* factor : GetAllFactors()) count += factor->GetExpandedCount();
  return count;
}

int Variables::GetExpandedDesignFactorCount() const {
  int count = 0;
  for (const FactorClass* factor : GetAllFactors()) {
    if (factor->IsDesignFactor()) count += factor->GetExpandedCount();
  }
  return count;
}

int Variables::GetExpandedFactorIndex(int slot) const {
  if (FactorAt(slot) == nullptr) return 0;
  int index = 1;
  for (int s = 1; s < slot; ++s) index += FactorIn(s).GetExpandedCount();
  return index;
}

int Variables::GetExpandedDesignFactorIndex(int slot) const {
  const FactorClass* factor = FactorAt(slot);
  if (factor == nullptr || !factor->IsDesignFactor()) return 0;
  int index = 1;
  for (int s = 1; s < slot; ++s) {
    if (FactorIn(s).IsDesignFactor()) index += FactorIn(s).GetExpandedCount();
  }
  return index;
}

int Variables::GetRunsFromQualitativeAndMultilevel() const {
  // Unsigned arithmetic wraps like the two's-complement 32-bit product it stands for,
  // without the undefined behaviour of signed overflow.
  std::uint32_t product = 1;
  for (int slot = 1; slot <= process_count_; ++slot) {
    const FactorClass& factor = FactorIn(slot);
    const CEType::EType type = factor.GetType();
    const CEUse::EUse use = factor.GetUse();
    const bool listed =
        type == CEType::kMultilevel || type == CEType::kQualitative || type == CEType::kTime;
    if (listed && (use == CEUse::kControlled || use == CEUse::kUncontrolled)) {
      product *= static_cast<std::uint32_t>(factor.GetSettingCount());
    }
  }
  return static_cast<std::int32_t>(product);
}

std::int64_t Variables::CandidateSetRuns() const {
  const std::int32_t product = GetRunsFromQualitativeAndMultilevel();
  if (factor_count_ == 0) return product;
  int controlled_quantitative = 0;
  int controlled_formulation = 0;
  for (const FactorClass* factor : GetAllFactors()) {
    if (factor->GetUse() != CEUse::kControlled) continue;
    if (factor->GetType() == CEType::kQuantitative) ++controlled_quantitative;
    if (factor->GetType() == CEType::kFormulation) ++controlled_formulation;
  }
  std::uint32_t runs = static_cast<std::uint32_t>(std::max(controlled_formulation, 1));
  for (int i = 0; i < controlled_quantitative; ++i) runs *= 2U;
  runs *= static_cast<std::uint32_t>(product);
  return static_cast<std::int32_t>(runs);
}

std::int64_t Variables::CandidateSetMemoryCheck() const {
  return CandidateSetRuns() * static_cast<std::int64_t>(GetExpandedDesignFactorCount()) * 4;
}

// ------------------------------------------------------------------ mixtures

bool Variables::SetMixtureTotal(double total) {
  if (!std::isfinite(total) || total <= 0.0) return false;
  mixture_total_ = total;
  return true;
}

bool Variables::AdjustMixtureRanges(bool* changed, std::string* message) {
  if (changed != nullptr) *changed = false;
  if (message != nullptr) message->clear();

  // Work on copies so that a failure leaves every factor as it was.
  struct Work {
    FactorClass* original;
    FactorClass copy;
  };
  std::vector<Work> work;
  for (int slot = process_count_ + 1; slot <= factor_count_; ++slot) {
    auto& factor = const_cast<FactorClass&>(FactorIn(slot));
    work.push_back({&factor, factor});
  }
  const bool any_controlled = std::any_of(
      work.begin(), work.end(), [](const Work& w) { return IsControlledFormulation(w.copy); });
  if (!any_controlled) return true;

  constexpr double kTotal = 1.0;
  double lows = 0.0;
  double highs = 0.0;
  FactorClass* filler = nullptr;
  for (Work& w : work) {
    if (IsControlledFormulation(w.copy)) {
      w.copy.SetOldRanges();
      const double low = w.copy.GetLow(true);
      const double high = w.copy.GetHigh(true);
      if (IsSet(low) && IsSet(high)) {
        lows += low;
        highs += high;
      }
    } else if (IsConstantFormulation(w.copy) && IsSet(w.copy.GetConst(true))) {
      lows += w.copy.GetConst(true);
      highs += w.copy.GetConst(true);
    } else if (w.copy.IsFiller() && filler == nullptr) {
      filler = &w.copy;
    }
  }

  std::string conversion;
  if (filler != nullptr && highs >= kTotal - kMixtureTolerance) {
    // The others can fill the whole mixture: the filler cannot make up the rest and becomes
    // an ordinary component with the room the others leave it.
    const double low = std::max(0.0, kTotal - highs);
    const double high = kTotal - lows;
    filler->SetValue(low, high, CEType::kFormulation, true);
    lows += low;
    highs += high;
    conversion = ExceptionMessage::translate(kFillerConvertedMessage) % filler->GetName();
    filler = nullptr;
  }

  if (filler == nullptr) {
    std::string failure;
    if (lows > kTotal + kMixtureTolerance) {
      failure = ExceptionMessage::translate(kLowSumMessage) % lows % kTotal;
    } else if (highs <= kTotal + kMixtureTolerance) {
      failure = ExceptionMessage::translate(kHighSumMessage) % highs % kTotal;
    }
    if (!failure.empty()) {
      if (message != nullptr) *message = failure;
      return false;
    }
    for (Work& w : work) {
      if (!IsControlledFormulation(w.copy)) continue;
      const double low = w.copy.GetLow(true);
      const double high = w.copy.GetHigh(true);
      if (!IsSet(low) || !IsSet(high)) continue;
      const double reachable_low = kTotal - (highs - high);
      const double reachable_high = kTotal - (lows - low);
      const bool raise = reachable_low > low + kMixtureTolerance;
      const bool lower = reachable_high < high - kMixtureTolerance;
      if (raise || lower) {
        w.copy.AdjustRange(raise ? reachable_low : low, lower ? reachable_high : high);
      }
    }
  }

  bool any_change = false;
  for (Work& w : work) {
    const FactorValue& before = w.original->GetValue();
    const FactorValue& after = w.copy.GetValue();
    any_change = any_change || before.GetType() != after.GetType() ||
                 before.GetLow() != after.GetLow() || before.GetHigh() != after.GetHigh() ||
                 before.GetAdjustFromLow() != after.GetAdjustFromLow() ||
                 before.GetAdjustFromHigh() != after.GetAdjustFromHigh();
    *w.original = w.copy;
  }
  mixture_total_ = kTotal;
  if (changed != nullptr) *changed = any_change;
  if (message != nullptr) *message = conversion;
  return true;
}

namespace {

MixtureFrame FrameOf(const std::vector<const FactorClass*>& factors, double total) {
  MixtureFrame frame;
  frame.free_total = total;
  for (const FactorClass* factor : factors) {
    if (factor->IsFiller()) {
      frame.filler = true;
    } else if (IsControlledFormulation(*factor) && IsSet(factor->GetLow(true))) {
      frame.sum_low += factor->GetLow(true);
      ++frame.components;
    } else if (IsConstantFormulation(*factor) && IsSet(factor->GetConst(true))) {
      frame.free_total -= factor->GetConst(true);
    }
  }
  return frame;
}

}  // namespace

double Variables::GetPseudoComponent(const FactorClass* factor, double value) const {
  if (factor == nullptr || !IsSet(value) || !IsControlledFormulation(*factor)) return value;
  const MixtureFrame frame = FrameOf(GetAllFactors(), mixture_total_);
  const double low = factor->GetLow(true);
  if (frame.filler || !IsSet(low)) return value;
  const double room = frame.free_total - frame.sum_low;
  if (room <= 0.0) return kUndefined;
  return (value - low) / room;
}

double Variables::GetValueFromPseudoComponent(const FactorClass* factor, double pseudo) const {
  if (factor == nullptr || !IsSet(pseudo) || !IsControlledFormulation(*factor)) return pseudo;
  const MixtureFrame frame = FrameOf(GetAllFactors(), mixture_total_);
  const double low = factor->GetLow(true);
  if (frame.filler || !IsSet(low)) return pseudo;
  const double room = frame.free_total - frame.sum_low;
  if (room <= 0.0) return kUndefined;
  return low + pseudo * room;
}

std::vector<Variables::MixtureAmount> Variables::GetSimplexReferenceMixture() const {
  std::vector<MixtureAmount> mixture;
  const std::vector<const FactorClass*> factors = GetAllFactors();
  const MixtureFrame frame = FrameOf(factors, mixture_total_);
  const double share =
      frame.components > 0 ? (frame.free_total - frame.sum_low) / frame.components : 0.0;
  double others = 0.0;
  int filler_index = -1;
  for (const FactorClass* factor : factors) {
    if (!factor->IsMixture()) continue;
    MixtureAmount amount{factor->GetName(), kUndefined};
    const double low = factor->GetLow(true);
    const double high = factor->GetHigh(true);
    if (factor->IsFiller()) {
      filler_index = static_cast<int>(mixture.size());
    } else if (IsControlledFormulation(*factor) && IsSet(low)) {
      if (!frame.filler) {
        amount.value = low + share;
      } else if (IsSet(high)) {
        amount.value = (low + high) / 2.0;
      }
    } else if (IsConstantFormulation(*factor)) {
      amount.value = factor->GetConst(true);
    }
    if (IsSet(amount.value)) others += amount.value;
    mixture.push_back(std::move(amount));
  }
  if (filler_index >= 0) {
    mixture[static_cast<std::size_t>(filler_index)].value = mixture_total_ - others;
  }
  return mixture;
}

void Variables::WriteReferenceMixture(const std::vector<MixtureAmount>& mixture) {
  if (!ini_path_.empty()) {
    std::unique_ptr<IniFileSection> file = IniFileFactory::Open(ini_path_);
    WriteReferenceMixtureSection(*file, mixture);
    IniFileFactory::Save(*file, ini_path_);
  }
  reference_mixture_ = mixture;
}

void Variables::SetConstraints(const FMatrix* constraints) {
  constraints_ = constraints != nullptr ? std::make_unique<FMatrix>(*constraints) : nullptr;
}

// ------------------------------------------------------------------ precision strings

std::string Variables::ToPrecisionString(std::string_view name, double value) const {
  if (IsUndefined(value)) return {};
  const ResponseClass* variable = GetVariable(name);
  if (variable == nullptr) return KtString::FormatG(value);
  return std::string(variable->ToPrecisionString(value));
}

std::string Variables::FloatStringToPrecisionString(std::string_view name,
                                                    std::string_view text) const {
  const std::optional<double> value = KtString::ToDouble(text);
  if (!value) return std::string(text);
  return ToPrecisionString(name, *value);
}

// ------------------------------------------------------------------ settings file

void Variables::ReadIniFile(const IniFileSection& section) {
  struct Loaded {
    std::unique_ptr<ResponseClass> variable;
    int stored_number;
    std::size_t file_order;
  };
  std::vector<Loaded> loaded;
  // The names read so far in lower case, as names are compared ignoring ASCII case.
  std::unordered_set<std::string> known;
  const auto keep = [&loaded, &known](std::unique_ptr<ResponseClass> variable) {
    known.insert(KtStdString::ToLower(variable->GetName()));
    const int number = variable->GetNumber();
    loaded.push_back({std::move(variable), number, loaded.size()});
  };
  for (const Entry& entry : ReadEntries(section, kFactorList)) {
    if (entry.name.empty() || known.contains(KtStdString::ToLower(entry.name))) continue;
    keep(std::make_unique<FactorClass>(entry.name, section));
  }
  for (const Entry& entry : ReadEntries(section, kResponseList)) {
    if (entry.name.empty() || known.contains(KtStdString::ToLower(entry.name))) continue;
    keep(std::make_unique<ResponseClass>(entry.name, section));
  }
  // Block order, then stored number (entries without a usable number last), then file order.
  std::sort(loaded.begin(), loaded.end(), [](const Loaded& a, const Loaded& b) {
    const int rank_a = ClassRank(*a.variable);
    const int rank_b = ClassRank(*b.variable);
    if (rank_a != rank_b) return rank_a < rank_b;
    const bool numbered_a = a.stored_number >= 1;
    const bool numbered_b = b.stored_number >= 1;
    if (numbered_a != numbered_b) return numbered_a;
    if (a.stored_number != b.stored_number) return a.stored_number < b.stored_number;
    return a.file_order < b.file_order;
  });

  // Appended in that order; Sort keeps it (the numbers are equal) and numbers the factors
  // and the responses 1, 2, ...
  Variables fresh;
  fresh.variables_.reserve(loaded.size());
  for (Loaded& l : loaded) {
    l.variable->SetNumber(0);
    fresh.variables_.push_back(std::move(l.variable));
  }
  fresh.Sort();

  double total = mixture_total_;
  bool use_pseudo = use_pseudo_components_;
  if (const ConfigurationSection* own = section.OpenChild(kSetSection)) {
    if (const auto text = own->GetValue("MixtureTotal")) {
      const std::optional<double> value = KtString::ToDouble(*text);
      if (value && std::isfinite(*value) && *value > 0.0) total = *value;
    }
    try {
      own->ReadBool("UsePseudoComponents", use_pseudo);
    } catch (const Exception&) {
      // A garbled switch keeps the current setting.
    }
  }
  std::vector<MixtureAmount> reference;
  if (const ConfigurationSection* mix = section.OpenChild(kReferenceMixtureSection)) {
    for (const std::string& key : mix->GetKeys()) {
      const std::optional<std::string> text = mix->GetValue(key);
      const std::optional<double> value = text ? KtString::ToDouble(*text) : std::nullopt;
      if (value) reference.push_back({key, *value});
    }
  }

  variables_ = std::move(fresh.variables_);
  total_count_ = fresh.total_count_;
  factor_count_ = fresh.factor_count_;
  response_count_ = fresh.response_count_;
  process_count_ = fresh.process_count_;
  mixture_count_ = fresh.mixture_count_;
  name_cache_.clear();
  mixture_total_ = total;
  use_pseudo_components_ = use_pseudo;
  reference_mixture_ = std::move(reference);
}

void Variables::LoadIniFile(const std::string& path) {
  std::unique_ptr<IniFileSection> file = IniFileFactory::Open(path);
  ReadIniFile(*file);
  ini_path_ = path;
}

bool Variables::ReloadVariables() {
  if (ini_path_.empty()) return false;
  const std::string path = ini_path_;
  LoadIniFile(path);
  return true;
}

void Variables::WriteOwnSettings(ConfigurationSection& root) const {
  ConfigurationSection& own = root.CreateChild(kSetSection);
  own.WriteDouble("MixtureTotal", mixture_total_);
  own.WriteBool("UsePseudoComponents", use_pseudo_components_);
  WriteReferenceMixtureSection(root, reference_mixture_);
}

void Variables::WriteIniFile(IniFileSection& section) const {
  RemoveListed(section, kFactorList);
  RemoveListed(section, kResponseList);
  for (const auto& variable : variables_) {
    if (OwnSectionRemovable(variable->GetName())) section.RemoveChild(variable->GetName());
    variable->WriteToFile(section);
  }
  WriteOwnSettings(section);
}

bool Variables::WriteIniFile() const {
  if (ini_path_.empty()) return false;
  std::unique_ptr<IniFileSection> file = IniFileFactory::Open(ini_path_);
  WriteIniFile(*file);
  IniFileFactory::Save(*file, ini_path_);
  return true;
}

std::vector<Variables::Entry> Variables::ReadEntriesFromFile(const char* list) const {
  if (ini_path_.empty()) return {};
  const std::unique_ptr<IniFileSection> file = IniFileFactory::Open(ini_path_);
  return ReadEntries(*file, list);
}

std::vector<Variables::Entry> Variables::GetAllFactorEntries() const {
  return ReadEntriesFromFile(kFactorList);
}

std::vector<Variables::Entry> Variables::GetAllResponseEntries() const {
  return ReadEntriesFromFile(kResponseList);
}

bool Variables::CheckDataFile(bool factors, std::vector<std::string>* differences) const {
  if (differences != nullptr) differences->clear();
  if (ini_path_.empty()) return true;
  const std::vector<Entry> entries = ReadEntriesFromFile(factors ? kFactorList : kResponseList);
  std::vector<Entry> held;
  for (const auto& variable : variables_) {
    if ((variable->IsA() != CEVar::kResponse) == factors) {
      held.push_back({variable->GetName(), variable->GetNumber()});
    }
  }
  std::vector<std::string> found;
  for (const Entry& entry : held) {
    if (std::find(entries.begin(), entries.end(), entry) == entries.end()) {
      found.push_back(entry.name);
    }
  }
  for (const Entry& entry : entries) {
    const bool in_set = std::any_of(held.begin(), held.end(),
                                    [&entry](const Entry& h) { return h.name == entry.name; });
    if (!in_set) found.push_back(entry.name);
  }
  const bool same = found.empty();
  if (differences != nullptr) *differences = std::move(found);
  return same;
}

bool Variables::FactorCheckDataFile(std::vector<std::string>* differences) const {
  return CheckDataFile(true, differences);
}

bool Variables::ResponseCheckDataFile(std::vector<std::string>* differences) const {
  return CheckDataFile(false, differences);
}

}  // namespace zubra
