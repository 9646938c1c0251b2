#include "zubra/model/term_info.h"

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/key_value_list.h"

namespace zubra {
namespace {

constexpr const char* kSectionName = "TermInfo";
constexpr const char* kTermName = "Term";
constexpr const char* kNameKey = "Name";
constexpr const char* kNumKey = "Num";
constexpr std::array<const char*, 3> kFactorKeys = {"V1", "V2", "V3"};

const TermData* AsTerm(const ItmData* item) { return dynamic_cast<const TermData*>(item); }

// Reads one factor number of a stored term: 0 when the key is absent; false when its text is
// not a whole number or the number is negative, which no factor numbering produces.
bool ReadFactorNumber(const ConfigurationSection& term, const char* key, int& number) {
  number = 0;
  if (!term.HasKey(key)) return true;
  return term.TryReadInt(key, number) && number >= 0;
}

// True when `test(v1, v2, v3)` holds for some term of `list`.
template <typename Test>
bool AnyTerm(const TermInfo& list, Test test) {
  for (int i = 1; i <= list.GetNItm(); ++i) {
    const TermData* term = list.GetTerm(i);
    if (term != nullptr && test(term->GetV1(), term->GetV2(), term->GetV3())) return true;
  }
  return false;
}

// Replaces every factor number of every term by `renumber(number)`; true when one changed.
template <typename Renumber>
bool RenumberTerms(ItmInfo& list, Renumber renumber) {
  bool changed = false;
  for (int i = 1; i <= list.GetNItm(); ++i) {
    auto* term = dynamic_cast<TermData*>(list.GetItm(i));
    if (term == nullptr) continue;
    const std::array<int, 3> old = term->GetFactors();
    term->SetFactors(renumber(old[0]), renumber(old[1]), renumber(old[2]));
    changed = changed || term->GetFactors() != old;
  }
  return changed;
}

}  // namespace

// --- TermData

bool TermData::operator<(const ItmData& other) const {
  const TermData* term = AsTerm(&other);
  if (term == nullptr) return ItmData::operator<(other);
  const auto key = [](const TermData& t) {
    return std::array<int, 4>{static_cast<int>(t.GetKind()), t.v1_, t.v2_, t.v3_};
  };
  return key(*this) < key(*term);
}

bool TermData::operator==(const ItmData& other) const {
  const TermData* term = AsTerm(&other);
  return term != nullptr && v1_ == term->v1_ && v2_ == term->v2_ && v3_ == term->v3_;
}

bool TermData::operator!=(const ItmData& other) const {
  const TermData* term = AsTerm(&other);
  return term == nullptr || (v1_ != term->v1_ && v2_ != term->v2_ && v3_ != term->v3_);
}

std::unique_ptr<ItmData> TermData::Clone() const { return std::make_unique<TermData>(*this); }

void TermData::SetFactors(int f1, int f2, int f3) {
  v1_ = f1;
  v2_ = f2;
  v3_ = f3;
}

TermData::Kind TermData::GetKind() const {
  if (v1_ == 0) return Kind::kConstant;
  if (v2_ == 0) return Kind::kLinear;
  if (v3_ == 0) return v1_ == v2_ ? Kind::kSquare : Kind::kInteraction;
  return v1_ == v2_ && v2_ == v3_ ? Kind::kCube : Kind::kThirdOrder;
}

void TermData::Normalize(int& f1, int& f2, int& f3) {
  if (f1 > f2 && f2 != 0) std::swap(f1, f2);
  if (f2 > f3 && f3 != 0) {
    std::swap(f2, f3);
    if (f1 > f2) std::swap(f1, f2);
  }
}

// --- TermInfo: construction and copying

TermInfo::TermInfo(const char* name) : ItmInfo(name == nullptr ? std::string() : name) {}

TermInfo::TermInfo(const TermInfo& other) : ItmInfo(other) {}

TermInfo::TermInfo(const TermInfo* other)
    : ItmInfo(other == nullptr ? ItmInfo() : static_cast<const ItmInfo&>(*other)) {}

// The source's base part is swapped for an empty list, so it is left empty, not unspecified.
TermInfo::TermInfo(TermInfo&& other) noexcept
    : ItmInfo(std::exchange(static_cast<ItmInfo&>(other), ItmInfo())) {
  other.status_ = 0;
  other.modified_ = false;
}

TermInfo& TermInfo::operator=(const TermInfo& other) {
  ItmInfo::operator=(other);
  status_ = 0;
  modified_ = false;
  return *this;
}

TermInfo& TermInfo::operator=(TermInfo&& other) noexcept {
  if (this != &other) {
    ItmInfo::operator=(std::exchange(static_cast<ItmInfo&>(other), ItmInfo()));
    other.status_ = 0;
    other.modified_ = false;
  }
  status_ = 0;
  modified_ = false;
  return *this;
}

bool TermInfo::operator==(const TermInfo& other) const {
  if (GetNItm() != other.GetNItm()) return false;
  for (int i = 1; i <= GetNItm(); ++i) {
    if (!(*GetItm(i) == *other.GetItm(i))) return false;
  }
  return true;
}

// --- Editing

int TermInfo::AddItm(int num, const std::string& name, int f1, int f2, int f3) {
  TermData::Normalize(f1, f2, f3);
  for (int i = 1; i <= GetNItm(); ++i) {
    const TermData* term = GetTerm(i);
    if (term != nullptr && term->GetV1() == f1 && term->GetV2() == f2 && term->GetV3() == f3) {
      return kDuplicateTerm;
    }
  }
  try {
    if (ItmInfo::AddItm(std::make_unique<TermData>(num, name, f1, f2, f3)) != 0) return 1;
  } catch (const std::bad_alloc&) {
    return 1;
  }
  modified_ = true;
  return 0;
}

int TermInfo::DelItm(int i) {
  status_ = ItmInfo::DelItm(i);
  modified_ = true;
  return status_;
}

int TermInfo::GetItm(int i, int& num, std::string& name, int& f1, int& f2, int& f3) const {
  const TermData* term = GetTerm(i);
  if (term == nullptr) return 1;
  num = term->GetNum();
  name = term->GetName();
  f1 = term->GetV1();
  f2 = term->GetV2();
  f3 = term->GetV3();
  return 0;
}

const TermData* TermInfo::GetTerm(int i) const { return AsTerm(GetItm(i)); }

std::string TermInfo::GetTermNam(int i) const {
  const TermData* term = GetTerm(i);
  return term == nullptr ? std::string() : term->GetName();
}

void TermInfo::SetTermName(int i, const char* name) {
  auto* term = dynamic_cast<TermData*>(GetItm(i));
  if (term == nullptr) return;
  std::string new_name = name == nullptr ? std::string() : std::string(name);
  if (new_name == term->GetName()) return;
  term->SetName(std::move(new_name));
  modified_ = true;
}

int TermInfo::GetVNum(int f1, int f2, int f3, bool any_order) const {
  std::array<int, 3> wanted = {f1, f2, f3};
  if (any_order) std::sort(wanted.begin(), wanted.end());
  for (int i = 1; i <= GetNItm(); ++i) {
    const TermData* term = GetTerm(i);
    if (term == nullptr) continue;
    std::array<int, 3> numbers = term->GetFactors();
    if (any_order) std::sort(numbers.begin(), numbers.end());
    if (numbers == wanted) return term->GetNum();
  }
  return 0;
}

int TermInfo::SetOrder(int first) {
  ItmInfo::SetOrder(first);
  modified_ = true;
  return 0;
}

void TermInfo::UpdateFactorAdded(int k) {
  const bool changed = RenumberTerms(*this, [k](int number) {
    return number != 0 && number >= k && number != INT_MAX ? number + 1 : number;
  });
  modified_ = modified_ || changed;
}

void TermInfo::UpdateFactorRemoved(int k) {
  // number > k >= INT_MIN, so number - 1 cannot overflow.
  const bool changed = RenumberTerms(
      *this, [k](int number) { return number != 0 && number > k ? number - 1 : number; });
  modified_ = modified_ || changed;
}

// --- Model shape

bool TermInfo::IsCubic(bool strict) const {
  return AnyTerm(*this, [strict](int v1, int v2, int v3) {
    return strict ? v1 != 0 && v1 == v2 && v2 == v3 : v3 != 0;
  });
}

bool TermInfo::IsQuadratic(bool strict) const {
  return IsCubic(strict) || AnyTerm(*this, [strict](int v1, int v2, int v3) {
           return strict ? (v1 != 0 && v1 == v2) || (v2 != 0 && v2 == v3) : v2 != 0;
         });
}

bool TermInfo::HasInteraction() const {
  return AnyTerm(*this,
                 [](int v1, int v2, int v3) { return v1 != 0 && v2 != 0 && v1 != v2 && v3 == 0; });
}

// --- Expansion

int TermInfo::ExpM(FMatrix*& m) const {
  if (m == nullptr) return 1;
  constexpr auto kMissing = static_cast<float>(kUndefined);
  const int rows = m->GetRows();
  const int cols = m->GetCols();
  const int terms = GetNItm();
  // Built aside and moved in at the end, so a failed allocation leaves `m` as it was.
  FMatrix wide(rows, cols + terms, kMissing);
  if (cols > 0) wide.AsEigen().leftCols(cols) = m->AsEigen();
  for (int i = 1; i <= terms; ++i) {
    const TermData* term = GetTerm(i);
    if (term == nullptr) continue;
    const std::array<int, 3> factors = term->GetFactors();
    for (int row = 1; row <= rows; ++row) {
      float product = 1.0F;
      for (const int factor : factors) {
        if (factor == 0) continue;
        const float value = factor >= 1 && factor <= cols ? (*m)(row, factor) : kMissing;
        if (value == kMissing) {
          product = kMissing;
          break;
        }
        product *= value;
      }
      wide(row, cols + i) = product;
    }
  }
  *m = std::move(wide);
  return 0;
}

// --- Persistence

void TermInfo::Save(ConfigurationSection* parent) const {
  if (parent == nullptr) return;
  KeyValueList::CheckNoNul(GetINam());
  for (int i = 1; i <= GetNItm(); ++i) KeyValueList::CheckNoNul(GetNam(i));

  Remove(parent);
  ConfigurationSection& list = parent->CreateChild(kSectionName);
  list.WriteString(kNameKey, GetINam());
  for (int i = 1; i <= GetNItm(); ++i) {
    const TermData* term = GetTerm(i);
    if (term == nullptr) continue;
    ConfigurationSection& child = list.CreateChild(kTermName, i);
    child.WriteString(kNameKey, term->GetName());
    child.WriteInt(kNumKey, term->GetNum());
    const std::array<int, 3> factors = term->GetFactors();
    for (std::size_t slot = 0; slot < factors.size(); ++slot) {
      if (factors[slot] != 0) child.WriteInt(kFactorKeys[slot], factors[slot]);
    }
  }
}

bool TermInfo::Load(const ConfigurationSection* parent) {
  if (parent == nullptr) return false;
  const ConfigurationSection* list = parent->OpenChild(kSectionName);
  if (list == nullptr) return false;

  DelAll();
  std::string name;
  if (list->ReadString(kNameKey, name)) SetINam(name);
  for (const int index : list->GetChildIndexes(kTermName)) {
    const ConfigurationSection* child = list->OpenChild(kTermName, index);
    if (child == nullptr) continue;
    std::string term_name;
    child->ReadString(kNameKey, term_name);
    int num = 0;
    child->TryReadInt(kNumKey, num);
    std::array<int, 3> factors{};
    bool readable = true;
    for (std::size_t slot = 0; slot < factors.size(); ++slot) {
      readable = readable && ReadFactorNumber(*child, kFactorKeys[slot], factors[slot]);
    }
    if (!readable) continue;
    AddItm(num, term_name, factors[0], factors[1], factors[2]);
  }
  return true;
}

void TermInfo::Remove(ConfigurationSection* parent) {
  if (parent == nullptr) return;
  ConfigurationSection* list = parent->OpenChild(kSectionName);
  if (list == nullptr) return;
  // In a flat INI file the "Term" sections are not nested under [TermInfo]; removing them one
  // by one clears them in both backends.
  for (const int index : list->GetChildIndexes(kTermName)) list->RemoveChild(kTermName, index);
  parent->RemoveChild(kSectionName);
}

}  // namespace zubra
