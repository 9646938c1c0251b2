#include "zubra/platform/matrix/itm_info.h"

#include <algorithm>
#include <cassert>
#include <typeinfo>

namespace zubra {
namespace {

bool InRange(int i, std::size_t size) { return i >= 1 && static_cast<std::size_t>(i) <= size; }

}  // namespace

ItmInfo::ItmInfo(const ItmInfo& other) : name_(other.name_) {
  items_.reserve(other.items_.size());
  for (const auto& item : other.items_) {
    items_.push_back(item->Clone());
    // A derived item that adds data but forgets to override Clone would be sliced here.
    assert(typeid(*items_.back()) == typeid(*item));
  }
}

ItmInfo& ItmInfo::operator=(const ItmInfo& other) {
  if (this != &other) {
    ItmInfo copy(other);
    name_ = std::move(copy.name_);
    items_ = std::move(copy.items_);
  }
  return *this;
}

void ItmInfo::ShowAll(StreamWindow& out) const {
  out << name_ << '\n';
  for (const auto& item : items_) out << item->GetNum() << '\t' << item->GetName() << '\n';
}

void ItmInfo::DelAll() { items_.clear(); }

ItmData* ItmInfo::GetItm(int i) {
  return InRange(i, items_.size()) ? items_[static_cast<std::size_t>(i - 1)].get() : nullptr;
}

const ItmData* ItmInfo::GetItm(int i) const {
  return InRange(i, items_.size()) ? items_[static_cast<std::size_t>(i - 1)].get() : nullptr;
}

int ItmInfo::AddItm(std::unique_ptr<ItmData> item) {
  if (item == nullptr) return 1;
  items_.push_back(std::move(item));
  return 0;
}

int ItmInfo::AddItm(int num, const std::string& name) {
  return AddItm(std::make_unique<ItmData>(num, name));
}

int ItmInfo::DelItm(int i) {
  if (!InRange(i, items_.size())) return 1;
  items_.erase(items_.begin() + (i - 1));
  return 0;
}

std::string ItmInfo::GetNam(int i) const {
  const ItmData* item = GetItm(i);
  return item == nullptr ? std::string() : item->GetName();
}

int ItmInfo::FindItm(const ItmData& probe) const {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (*items_[i] == probe) return static_cast<int>(i) + 1;
  }
  return 0;
}

int ItmInfo::SetOrder(int first) {
  int num = first;
  for (const auto& item : items_) item->SetNum(num++);
  return 0;
}

void ItmInfo::SortItm() {
  std::stable_sort(
      items_.begin(), items_.end(),
      [](const std::unique_ptr<ItmData>& a, const std::unique_ptr<ItmData>& b) { return *a < *b; });
}

}  // namespace zubra
