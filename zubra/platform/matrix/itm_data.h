// ItmData: one item of a named item list (ItmInfo): an item number and a name.
#pragma once

#include <memory>
#include <string>
#include <utility>

namespace zubra {

// The base class of the items an ItmInfo owns. It carries an int item number (a column
// number, an order, whatever the list uses it for) and a name.
//
// Derived items (model terms, for one) add their own data and override the comparisons and
// Clone. The comparisons take the base type so that a list can sort and search items
// without knowing their kind; an override may assume `other` is of its own kind when the
// list holds one kind only. Copying goes through Clone, which every derived class that adds
// data must override, so that a copied list keeps the kind of each item.
class ItmData {
 public:
  ItmData() = default;
  ItmData(int num, std::string name) : num_(num), name_(std::move(name)) {}
  virtual ~ItmData() = default;

  // Ordering: by item number, ascending.
  virtual bool operator<(const ItmData& other) const;
  // Equality: same item number and same name.
  virtual bool operator==(const ItmData& other) const;
  // Inequality: the negation of operator== unless a derived class defines otherwise.
  virtual bool operator!=(const ItmData& other) const;
  // A new item of the same dynamic kind holding the same data.
  [[nodiscard]] virtual std::unique_ptr<ItmData> Clone() const;

  [[nodiscard]] int GetNum() const { return num_; }
  void SetNum(int num) { num_ = num; }
  [[nodiscard]] const std::string& GetName() const { return name_; }
  void SetName(std::string name) { name_ = std::move(name); }

 protected:
  // Copying is for Clone only: a copy through the base would drop a derived item's data.
  ItmData(const ItmData&) = default;
  ItmData& operator=(const ItmData&) = default;
  ItmData(ItmData&&) = default;
  ItmData& operator=(ItmData&&) = default;

 private:
  int num_ = 0;
  std::string name_;
};

}  // namespace zubra
