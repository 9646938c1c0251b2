#include "zubra/variables/variable_utilities.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "zubra/platform/base/investigation_access.h"
#include "zubra/platform/base/list_options.h"
#include "zubra/platform/matrix/f_vector.h"
#include "zubra/platform/matrix/xf_matrix.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra::VariableUtilities {

void Trim(std::string& text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\t' || c == '\n'; }, ' ');
  text = KtStdString::Trim(text);
}

std::string TrimCopy(std::string_view text) {
  std::string copy(text);
  Trim(copy);
  return copy;
}

namespace {

// One step of the distance accumulation; kept in single precision throughout.
float Accumulate(float distance, float squared) { return distance + std::sqrt(distance + squared); }

}  // namespace

int GetClosestQualSetting(const FactorClass* factor, FVector* point, int& closeness) {
  closeness = 0;
  if (factor == nullptr || point == nullptr) return 0;
  const XFMatrix* coding = factor->GetCodingMatrix();
  if (coding == nullptr || coding->GetRows() == 0) return 0;

  std::vector<std::string> included;
  if (const InvestigationAccess* access = InvestigationAccess::Instance(); access != nullptr) {
    included = access->GetIncludedSettings(factor->GetName());
  }
  const bool restricted = included.size() > 1;

  std::vector<int> columns = factor->GetIncludedModelCodings();
  if (columns.empty()) {
    for (int c = 1; c <= coding->GetCols(); ++c) columns.push_back(c);
  }
  for (const int column : columns) {
    if (column < 1 || column > coding->GetCols() || column > point->GetSize()) return 0;
  }

  int best = 0;
  float best_distance = std::numeric_limits<float>::max();
  for (int row = 1; row <= coding->GetRows(); ++row) {
    if (restricted &&
        std::find(included.begin(), included.end(), factor->GetSetting(row)) == included.end()) {
      continue;
    }
    float distance = 0.0F;
    for (const int column : columns) {
      const float d = (*coding)(row, column) - (*point)(column);
      distance = Accumulate(distance, d * d);
    }
    if (distance < best_distance) {
      best_distance = distance;
      best = row;
    }
  }
  if (best == 0) return 0;

  float normaliser = 0.0F;
  for (int c = 1; c <= coding->GetCols(); ++c) normaliser = Accumulate(normaliser, 4.0F);

  closeness = 100;
  if (best_distance >= 0.01F && normaliser > 0.0F) {
    closeness = static_cast<int>((1.0F - best_distance / normaliser) * 100.0F);
  }
  return best;
}

std::uint32_t GetFactorBackgroundColor(CEType::EType type) {
  ListOptions::Entry entry = ListOptions::Entry::kDefaultFactor;
  switch (type) {
    case CEType::kMultilevel:
    case CEType::kQualitative:
    case CEType::kTime:
      entry = ListOptions::Entry::kProcessFactor;
      break;
    case CEType::kFormulation:
      entry = ListOptions::Entry::kFormulationFactor;
      break;
    case CEType::kFiller:
      entry = ListOptions::Entry::kFillerFactor;
      break;
    default:
      break;
  }
  return ListOptions::Instance().GetColor(entry);
}

std::uint32_t GetFactorValueBackgroundColor(const FactorClass* factor) {
  ListOptions::Entry entry = ListOptions::Entry::kDefaultValue;
  if (factor != nullptr) {
    if (factor->IsFiller()) {
      entry = ListOptions::Entry::kFillerValue;
    } else if (factor->GetUse() == CEUse::kUncontrolled) {
      entry = ListOptions::Entry::kUncontrolledValue;
    } else if (factor->GetUse() == CEUse::kConstant) {
      entry = ListOptions::Entry::kConstantValue;
    }
  }
  return ListOptions::Instance().GetColor(entry);
}

std::uint32_t GetResponseBackgroundColor(ResponseEx::EResponseType type) {
  return ListOptions::Instance().GetColor(type == ResponseEx::kDerived
                                              ? ListOptions::Entry::kDerivedResponse
                                              : ListOptions::Entry::kDefaultResponse);
}

std::uint32_t GetResponseValueBackgroundColor(ResponseEx::EResponseType type) {
  return ListOptions::Instance().GetColor(type == ResponseEx::kDerived
                                              ? ListOptions::Entry::kDerivedResponseValue
                                              : ListOptions::Entry::kDefaultResponseValue);
}

bool NonDesignSetFactors::operator()(const FactorClass* factor) const {
  return factor != nullptr && !factor->IsDesignSetFactor();
}

bool NonDesignSetFactors::operator()(const ResponseClass* variable) const {
  return (*this)(dynamic_cast<const FactorClass*>(variable));
}

// ---------------------------------------------------------------- display names

namespace {

// One variable reference of a display text: the variable and, for a qualitative factor, the
// 1-based setting named in parentheses (0 when none).
struct Reference {
  const ResponseClass* variable = nullptr;
  int setting = 0;
};

const ResponseClass* FindVariable(const Variables& variables, std::string_view text) {
  if (text.empty()) return nullptr;
  if (const ResponseClass* found = variables.GetVariable(text); found != nullptr) return found;
  return variables.GetVariableFromAbbr(text);
}

// Resolves "name", "abbr", "name(setting)" or "abbr(setting)".
std::optional<Reference> ResolveOne(const Variables& variables, std::string_view text) {
  if (const ResponseClass* found = FindVariable(variables, text); found != nullptr) {
    return Reference{found, 0};
  }
  if (text.empty() || text.back() != ')') return std::nullopt;
  // A setting may itself hold parentheses: try every opening one from the left.
  for (std::size_t open = text.find('('); open != std::string_view::npos;
       open = text.find('(', open + 1)) {
    const auto* factor =
        dynamic_cast<const FactorClass*>(FindVariable(variables, text.substr(0, open)));
    if (factor == nullptr || !factor->IsQualitative()) continue;
    const std::string_view setting = text.substr(open + 1, text.size() - open - 2);
    if (const int index = factor->GetSettingIndex(setting); index > 0) {
      return Reference{factor, index};
    }
  }
  return std::nullopt;
}

// Resolves a whole display text into its references: one, or the factors of a product.
std::vector<Reference> Resolve(const Variables* variables, std::string_view text) {
  if (variables == nullptr) return {};
  if (std::optional<Reference> single = ResolveOne(*variables, text)) return {*single};
  std::vector<Reference> parts;
  for (const std::string& part : KtStdString::Split(text, '*')) {
    std::optional<Reference> reference = ResolveOne(*variables, part);
    if (!reference || reference->variable->IsA() == CEVar::kResponse) return {};
    parts.push_back(*reference);
  }
  return parts.size() > 1 ? parts : std::vector<Reference>{};
}

std::string SettingSuffix(const Reference& reference) {
  if (reference.setting == 0) return {};
  const auto* factor = static_cast<const FactorClass*>(reference.variable);
  return "(" + factor->GetSetting(reference.setting) + ")";
}

std::string Join(const std::vector<Reference>& parts, bool use_names, bool transformed) {
  std::string out;
  for (const Reference& part : parts) {
    if (!out.empty()) out += '*';
    out += use_names ? part.variable->GetName() : part.variable->ResponseClass::GetAbbr();
    if (transformed && part.variable->IsTransformed()) out += '~';
    out += SettingSuffix(part);
  }
  return out;
}

}  // namespace

bool IsFirstUsedTerm(const Variables* variables, std::string_view term) {
  if (variables == nullptr) return false;
  const std::optional<Reference> reference = ResolveOne(*variables, term);
  if (!reference || reference->setting == 0) return false;
  const auto* factor = static_cast<const FactorClass*>(reference->variable);
  const std::vector<std::string> included = factor->GetIncludedSettings();
  return !included.empty() && included.front() == factor->GetSetting(reference->setting);
}

std::string GetVariableNameToDisplay(const Variables* variables,
                                     CModelList::FactorPresentation factors,
                                     CModelList::ResponsePresentation responses,
                                     std::string_view text, bool transformed) {
  const std::vector<Reference> parts = Resolve(variables, text);
  if (parts.empty()) return std::string(text);
  bool names = false;
  bool both = false;
  if (parts.front().variable->IsA() == CEVar::kResponse) {
    names = responses == CModelList::kResponseName;
    both = responses == CModelList::kResponseNameAndAbbreviation;
  } else {
    names = factors == CModelList::kFactorName;
    both = factors == CModelList::kFactorNameAndAbbreviation;
  }
  if (both) {
    return Join(parts, true, transformed) + " (" + Join(parts, false, transformed) + ")";
  }
  return Join(parts, names, transformed);
}

std::string GetVariableNameToDisplay(const Variables* variables, const ZubraOptions* /*options*/,
                                     std::string_view text, bool transformed) {
  return GetVariableNameToDisplay(variables, CModelList::kFactorAbbreviation,
                                  CModelList::kResponseAbbreviation, text, transformed);
}

std::string GetVariableFullName(const Variables* variables, std::string_view text) {
  const std::vector<Reference> parts = Resolve(variables, text);
  if (parts.empty()) return std::string(text);
  std::string out = Join(parts, true, true);
  if (parts.size() == 1 && !parts.front().variable->GetUnits().empty()) {
    out += " (" + parts.front().variable->GetUnits() + ")";
  }
  return out;
}

}  // namespace zubra::VariableUtilities
