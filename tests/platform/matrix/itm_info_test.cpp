#include "zubra/platform/matrix/itm_info.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/matrix/itm_data.h"
#include "zubra/platform/matrix/stream_window.h"

namespace zubra {
namespace {

using Names = std::vector<std::string>;

// An item that counts the live instances sharing its counter, and that orders and compares by
// name alone, so a test can tell its comparisons from the base class's.
class CountedItem : public ItmData {
 public:
  CountedItem(int num, std::string name, int* live) : ItmData(num, std::move(name)), live_(live) {
    ++*live_;
  }
  CountedItem(const CountedItem& other) : ItmData(other), live_(other.live_) { ++*live_; }
  ~CountedItem() override { --*live_; }
  bool operator<(const ItmData& other) const override { return GetName() < other.GetName(); }
  bool operator==(const ItmData& other) const override { return GetName() == other.GetName(); }
  [[nodiscard]] std::unique_ptr<ItmData> Clone() const override {
    return std::make_unique<CountedItem>(*this);
  }

 private:
  int* live_;
};

// "number:name" of every item in list order.
Names Items(const ItmInfo& list) {
  Names items;
  for (int i = 1; i <= list.GetNItm(); ++i) {
    items.push_back(std::to_string(list.GetItm(i)->GetNum()) + ":" + list.GetNam(i));
  }
  return items;
}

TEST(ItmInfo, DelItmAndGetNamActOnOnePositionOrRefuse) {
  const Names kLetters = {"A", "B", "C"};
  const std::vector<std::pair<int, Names>> rows = {
      {1, {"2:B", "3:C"}},        {2, {"1:A", "3:C"}},        {3, {"1:A", "2:B"}},
      {0, {"1:A", "2:B", "3:C"}}, {4, {"1:A", "2:B", "3:C"}}, {-1, {"1:A", "2:B", "3:C"}}};
  for (const auto& [index, after_delete] : rows) {
    SCOPED_TRACE(index);
    ItmInfo list("Terms");
    for (int i = 1; i <= 3; ++i) list.AddItm(i, kLetters[i - 1]);
    const bool present = index >= 1 && index <= 3;
    EXPECT_EQ(list.GetNam(index), present ? kLetters[index - 1] : "");
    EXPECT_EQ(list.DelItm(index), present ? 0 : 1);
    EXPECT_EQ(Items(list), after_delete);
  }
}

TEST(ItmInfo, OwnsDeepCopiesOfItsItemsThatKeepTheirKind) {
  int live = 0;
  {
    ItmInfo list("Owned");
    list.AddItm(1, "plain");
    list.AddItm(std::make_unique<CountedItem>(2, "gone", &live));
    list.AddItm(std::make_unique<CountedItem>(3, "kept", &live));
    EXPECT_EQ(list.AddItm(nullptr), 1);
    list.DelItm(2);
    EXPECT_EQ(live, 1);
    ItmInfo target("Target");
    target.AddItm(std::make_unique<CountedItem>(9, "old", &live));
    target = list;
    EXPECT_EQ(live, 2);  // the old item of target is gone, a copy came in
    EXPECT_EQ(target.GetINam(), "Owned");
    target.GetItm(1)->SetName("renamed");
    target.GetItm(2)->SetNum(7);
    EXPECT_EQ(Items(list), (Names{"1:plain", "3:kept"}));
    EXPECT_EQ(dynamic_cast<const CountedItem*>(target.GetItm(1)), nullptr);
    EXPECT_NE(dynamic_cast<const CountedItem*>(target.GetItm(2)), nullptr);
    const ItmInfo copy(target);
    const ItmInfo& same = target;
    target = same;
    EXPECT_EQ(Items(target), (Names{"1:renamed", "7:kept"}));
    EXPECT_EQ(live, 3);
    target.DelAll();
    EXPECT_EQ(live, 2);
  }
  EXPECT_EQ(live, 0);
}

TEST(ItmInfo, SortFindAndSetOrderUseTheItemsOwnComparisonsAndListOrder) {
  int live = 0;
  ItmInfo by_name("ByName");
  for (const auto& [num, name] :
       std::vector<std::pair<int, std::string>>{{1, "c"}, {2, "a"}, {3, "b"}, {4, "a"}}) {
    by_name.AddItm(std::make_unique<CountedItem>(num, name, &live));
  }
  by_name.SortItm();  // equal names keep their order
  EXPECT_EQ(Items(by_name), (Names{"2:a", "4:a", "3:b", "1:c"}));
  EXPECT_EQ(by_name.FindItm(ItmData(99, "b")), 3);  // the name alone decides
  EXPECT_EQ(by_name.FindItm(ItmData(3, "d")), 0);
  EXPECT_EQ(by_name.SetOrder(5), 0);
  StreamWindow out;
  by_name.ShowAll(out);
  EXPECT_EQ(out.str(), "ByName\n5\ta\n6\ta\n7\tb\n8\tc\n");
  ItmInfo by_number("ByNumber");
  by_number.AddItm(3, "C");
  by_number.AddItm(1, "A");
  EXPECT_EQ(by_number.FindItm(ItmData(1, "A")), 2);
  EXPECT_EQ(by_number.FindItm(ItmData(3, "A")), 0);
  by_number.SortItm();
  EXPECT_EQ(Items(by_number), (Names{"1:A", "3:C"}));
}

}  // namespace
}  // namespace zubra
