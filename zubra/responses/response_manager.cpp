#include "zubra/responses/response_manager.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

constexpr const char* kListSection = "Responses";
constexpr const char* kResponseSection = "Response";

// In the INI form a response's own section is named by its name; these names are the lists
// of the variable set and never a response's own section.
bool OwnSectionRemovable(std::string_view name) {
  return !name.empty() && name != "Responses" && name != "Factors";
}

const std::string& NameOf(const ResponseEx& response) {
  return response.GetResponseClass()->GetName();
}

bool OfType(const ResponseEx& response, ResponseEx::EResponseType type) {
  return type == ResponseEx::kAll || response.GetType() == type;
}

}  // namespace

// ---------------------------------------------------------------- changes

bool ResponseManager::Add(std::unique_ptr<ResponseEx> response,
                          std::unique_ptr<ResponseEx>* refused) {
  if (response == nullptr || NameOf(*response).empty() || IndexOf(NameOf(*response)) >= 0) {
    if (refused != nullptr) *refused = std::move(response);
    return false;
  }
  response->GetResponseClass()->SetNumber(static_cast<int>(responses_.size()) + 1);
  responses_.push_back(std::move(response));
  return true;
}

bool ResponseManager::Delete(std::string_view name) {
  const int index = IndexOf(name);
  return index >= 0 && Delete(index + 1);
}

bool ResponseManager::Delete(int number) {
  if (number < 1 || number > static_cast<int>(responses_.size())) return false;
  responses_.erase(responses_.begin() + (number - 1));
  // Only the later ones change number.
  for (auto i = static_cast<std::size_t>(number - 1); i < responses_.size(); ++i) {
    responses_[i]->GetResponseClass()->SetNumber(static_cast<int>(i) + 1);
  }
  return true;
}

Variables::Error ResponseManager::MoveDefinitionTo(Variables& set, std::string_view name) {
  const int index = IndexOf(name);
  if (index < 0) return Variables::kNotFound;
  ResponseEx& response = *responses_[static_cast<std::size_t>(index)];
  if (!response.OwnsResponseClass()) return Variables::kNoVariable;

  // The set destroys a variable whose file mirror fails; keep an equal one to give back.
  const ResponseClass backup(*response.GetResponseClass());
  // The released definition is owned by this unique_ptr from the first moment, and then by
  // the set, or by `refused`, or destroyed by the set: never by two, never by none.
  std::unique_ptr<ResponseClass> definition(response.GetAndReleaseResponseClass());
  std::unique_ptr<ResponseClass> refused;
  Variables::Error code = Variables::kOk;
  try {
    code = set.Add(std::move(definition), false, &refused);
  } catch (...) {
    response.SetResponseClass(std::make_unique<ResponseClass>(backup));
    throw;
  }
  if (refused != nullptr) {
    // The very object the working form points at comes back: it owns it again.
    response.SetResponseClass(std::move(refused));
  } else if (code != Variables::kOk) {
    // Refused without being handed back, so destroyed: never leave the pointer dangling.
    response.SetResponseClass(std::make_unique<ResponseClass>(backup));
  }
  return code;
}

void ResponseManager::UpdateDerivedAfterNewOrDelFactor(int index, bool added) {
  for (const auto& response : responses_) response->UpdateDerivedAfterNewOrDelFactor(index, added);
}

void ResponseManager::Renumber() {
  for (std::size_t i = 0; i < responses_.size(); ++i) {
    responses_[i]->GetResponseClass()->SetNumber(static_cast<int>(i) + 1);
  }
}

// ---------------------------------------------------------------- lookups

int ResponseManager::IndexOf(std::string_view name) const {
  const auto find = [this](std::string_view wanted) {
    for (std::size_t i = 0; i < responses_.size(); ++i) {
      if (KtStdString::EqualsNoCase(NameOf(*responses_[i]), wanted)) return static_cast<int>(i);
    }
    return -1;
  };
  const int index = find(name);
  if (index >= 0 || name.empty() || name.back() != '~') return index;
  name.remove_suffix(1);
  return find(name);
}

ResponseEx* ResponseManager::GetResponse(std::string_view name) {
  const int index = IndexOf(name);
  return index < 0 ? nullptr : responses_[static_cast<std::size_t>(index)].get();
}

const ResponseEx* ResponseManager::GetResponse(std::string_view name) const {
  const int index = IndexOf(name);
  return index < 0 ? nullptr : responses_[static_cast<std::size_t>(index)].get();
}

ResponseEx* ResponseManager::GetResponseByNumber(int number) {
  if (number < 1 || number > static_cast<int>(responses_.size())) return nullptr;
  return responses_[static_cast<std::size_t>(number - 1)].get();
}

const ResponseEx* ResponseManager::GetResponseByNumber(int number) const {
  if (number < 1 || number > static_cast<int>(responses_.size())) return nullptr;
  return responses_[static_cast<std::size_t>(number - 1)].get();
}

int ResponseManager::GetNumber(std::string_view name) const { return IndexOf(name) + 1; }

std::vector<ResponseEx*> ResponseManager::GetResponses(ResponseEx::EResponseType type) {
  std::vector<ResponseEx*> found;
  for (const auto& response : responses_) {
    if (OfType(*response, type)) found.push_back(response.get());
  }
  return found;
}

std::vector<const ResponseEx*> ResponseManager::GetResponses(ResponseEx::EResponseType type) const {
  std::vector<const ResponseEx*> found;
  for (const auto& response : responses_) {
    if (OfType(*response, type)) found.push_back(response.get());
  }
  return found;
}

std::vector<std::string> ResponseManager::GetNames(ResponseEx::EResponseType type) const {
  std::vector<std::string> names;
  for (const auto& response : responses_) {
    if (OfType(*response, type)) names.push_back(NameOf(*response));
  }
  return names;
}

int ResponseManager::GetCount(ResponseEx::EResponseType type) const {
  return static_cast<int>(std::count_if(
      responses_.begin(), responses_.end(),
      [type](const std::unique_ptr<ResponseEx>& response) { return OfType(*response, type); }));
}

std::vector<std::string> ResponseManager::GetDerivedUsing(int index) const {
  std::vector<std::string> names;
  for (const auto& response : responses_) {
    if (response->IsItIncludedInFormula(index)) names.push_back(NameOf(*response));
  }
  return names;
}

// ---------------------------------------------------------------- stored form

void ResponseManager::Save(ConfigurationSection& section) const {
  if (section.IsIni()) {
    if (const ConfigurationSection* list = section.OpenChild(kListSection)) {
      for (const std::string& name : list->GetKeys()) {
        if (OwnSectionRemovable(name)) section.RemoveChild(name);
      }
    }
  }
  section.RemoveChild(kListSection);
  ConfigurationSection& list = section.CreateChild(kListSection);
  for (std::size_t i = 0; i < responses_.size(); ++i) {
    const ResponseEx& response = *responses_[i];
    const int number = static_cast<int>(i) + 1;
    list.WriteInt(NameOf(response), number);
    // In an INI file every child is a section of the file: [name] beside [Responses].
    ConfigurationSection& own = section.IsIni() ? list.CreateChild(NameOf(response))
                                                : list.CreateChild(kResponseSection, number);
    response.Save(own);
  }
}

void ResponseManager::Load(const ConfigurationSection& section) {
  struct Loaded {
    std::unique_ptr<ResponseEx> response;
    int stored_number;  // 0 when the list gives no usable number
    std::size_t order;
  };
  std::vector<Loaded> loaded;
  const auto keep = [&loaded](std::unique_ptr<ResponseEx> response, int number) {
    const std::string& name = NameOf(*response);
    if (name.empty()) return;
    for (const Loaded& l : loaded) {
      if (KtStdString::EqualsNoCase(NameOf(*l.response), name)) return;
    }
    loaded.push_back({std::move(response), number >= 1 ? number : 0, loaded.size()});
  };

  const ConfigurationSection* list = section.OpenChild(kListSection);
  if (list != nullptr && section.IsIni()) {
    for (const std::string& name : list->GetKeys()) {
      auto response = std::make_unique<ResponseEx>();
      response->GetResponseClass()->SetName(name);
      if (const ConfigurationSection* own = list->OpenChild(name)) response->Load(*own);
      int number = 0;
      list->TryReadInt(name, number);
      keep(std::move(response), number);
    }
  } else if (list != nullptr) {
    for (const int k : list->GetChildIndexes(kResponseSection)) {
      const ConfigurationSection* own = list->OpenChild(kResponseSection, k);
      if (own == nullptr) continue;
      auto response = std::make_unique<ResponseEx>();
      response->Load(*own);
      int number = 0;
      list->TryReadInt(NameOf(*response), number);
      keep(std::move(response), number);
    }
  }

  std::stable_sort(loaded.begin(), loaded.end(), [](const Loaded& a, const Loaded& b) {
    if ((a.stored_number == 0) != (b.stored_number == 0)) return a.stored_number != 0;
    if (a.stored_number != b.stored_number) return a.stored_number < b.stored_number;
    return a.order < b.order;
  });
  std::vector<std::unique_ptr<ResponseEx>> fresh;
  fresh.reserve(loaded.size());
  for (Loaded& l : loaded) fresh.push_back(std::move(l.response));
  responses_ = std::move(fresh);
  Renumber();
}

}  // namespace zubra
