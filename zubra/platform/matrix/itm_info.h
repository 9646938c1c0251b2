// ItmInfo: a named, ordered list of owned items (ItmData), numbered from 1.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/matrix/itm_data.h"
#include "zubra/platform/matrix/stream_window.h"

namespace zubra {

// A list with a name of its own that owns its items and keeps them in the order they were
// added. Positions are 1-based: item 1 is the first, GetNItm() the last. Removing an item
// moves the later ones up by one position; it does not touch anyone's item number (the
// number stored in the item, see SetOrder).
//
// Ownership: the list owns every item and destroys it on DelItm, DelAll or its own
// destruction. GetItm returns a non-owning pointer that stays valid until that item is
// removed. Copies are deep and keep each item's dynamic kind (through ItmData::Clone).
//
// Derived lists (the model's term list) add their own operations; ShowAll and DelAll are
// virtual so that they can extend them.
class ItmInfo {
 public:
  explicit ItmInfo(std::string name = {}) : name_(std::move(name)) {}
  ItmInfo(const ItmInfo& other);
  // Replaces the name and the items with deep copies of `other`'s; on an allocation failure
  // the list is left as it was.
  ItmInfo& operator=(const ItmInfo& other);
  ItmInfo(ItmInfo&& other) noexcept = default;
  ItmInfo& operator=(ItmInfo&& other) noexcept = default;

  // Writes the list's name on a line, then one line per item: its number, a tab, its name.
  virtual void ShowAll(StreamWindow& out) const;
  virtual ~ItmInfo() = default;
  // Removes and destroys every item; the name stays.
  virtual void DelAll();

  [[nodiscard]] int GetNItm() const { return static_cast<int>(items_.size()); }

  // Item i (1-based), or nullptr when there is no item i.
  [[nodiscard]] ItmData* GetItm(int i);
  [[nodiscard]] const ItmData* GetItm(int i) const;

  // Appends `item` and takes ownership. Returns 0, or 1 (adding nothing) for a null item.
  int AddItm(std::unique_ptr<ItmData> item);
  // Appends a plain item with this number and name. Returns 0.
  int AddItm(int num, const std::string& name);

  // Removes and destroys item i (1-based). Returns 0, or 1 (changing nothing) when there
  // is no item i.
  int DelItm(int i);

  // The list's own ("info") name.
  [[nodiscard]] const std::string& GetINam() const { return name_; }
  void SetINam(std::string name) { name_ = std::move(name); }

  // The name of item i (1-based); empty when there is no item i. Items are renamed through
  // GetItm(i)->SetName.
  [[nodiscard]] std::string GetNam(int i) const;

  // The position (1-based) of the first item equal to `probe` by the items' operator==;
  // 0 when there is none.
  [[nodiscard]] int FindItm(const ItmData& probe) const;

  // Gives the items the numbers first, first + 1, ... in list order. Returns 0.
  int SetOrder(int first);

  // Reorders the items ascending by their operator<; items that compare equal keep their
  // relative order.
  void SortItm();

 private:
  std::string name_;
  std::vector<std::unique_ptr<ItmData>> items_;
};

}  // namespace zubra
