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

// An item that counts the live instances sharing its counter, and that orders and compares by
// name alone, so a test can tell its comparisons from the base class's.
class CountedItem : public ItmData {
 public:
  CountedItem(int num, std::string name, int* live) : ItmData(num, std::move(name)), live_(live) {
    ++*live_;
  }
  CountedItem(const CountedItem& other) : ItmData(other), live_(other.live_) { ++*live_; }
  CountedItem& operator=(const CountedItem&) = delete;
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
std::vector<std::string> Items(const ItmInfo& list) {
  std::vector<std::string> items;
  for (int i = 1; i <= list.GetNItm(); ++i) {
    items.push_back(std::to_string(list.GetItm(i)->GetNum()) + ":" + list.GetNam(i));
  }
  return items;
}

ItmInfo ThreeItems() {
  ItmInfo list("Terms");
  list.AddItm(1, "A");
  list.AddItm(2, "B");
  list.AddItm(3, "C");
  return list;
}

TEST(ItmInfo, DelItmAndGetNamActOnOnePositionOrRefuse) {
  struct Row {
    int index;
    int deleted;
    bool present;
    std::vector<std::string> after_delete;
  };
  const std::vector<Row> rows = {
      {1, 0, true, {"2:B", "3:C"}},         {2, 0, true, {"1:A", "3:C"}},
      {3, 0, true, {"1:A", "2:B"}},         {0, 1, false, {"1:A", "2:B", "3:C"}},
      {4, 1, false, {"1:A", "2:B", "3:C"}}, {-1, 1, false, {"1:A", "2:B", "3:C"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.index);
    ItmInfo list = ThreeItems();
    EXPECT_EQ(list.GetNam(row.index).empty(), !row.present);
    list = ThreeItems();
    EXPECT_EQ(list.DelItm(row.index), row.deleted);
    EXPECT_EQ(Items(list), row.after_delete);
  }
}

TEST(ItmInfo, OwnsItsItemsThroughDeleteClearCopyAndDestruction) {
  int live = 0;
  {
    ItmInfo list("Owned");
    for (int i = 1; i <= 4; ++i) list.AddItm(std::make_unique<CountedItem>(i, "n", &live));
    EXPECT_EQ(list.AddItm(nullptr), 1);
    EXPECT_EQ(list.GetNItm(), 4);
    list.DelItm(2);
    EXPECT_EQ(live, 3);
    {
      const ItmInfo copy(list);
      EXPECT_EQ(live, 6);
    }
    ItmInfo target("Target");
    target.AddItm(std::make_unique<CountedItem>(9, "old", &live));
    target = list;
    EXPECT_EQ(live, 6);  // the old item of target is gone, three copies came in
    EXPECT_EQ(target.GetINam(), "Owned");
    target.DelAll();
    EXPECT_EQ(live, 3);
  }
  EXPECT_EQ(live, 0);
}

TEST(ItmInfo, CopyIsDeepAndKeepsEachItemsKind) {
  int live = 0;
  ItmInfo list("Mixed");
  list.AddItm(1, "plain");
  list.AddItm(std::make_unique<CountedItem>(2, "counted", &live));
  ItmInfo copy(list);
  copy.GetItm(1)->SetName("renamed");
  copy.GetItm(2)->SetNum(7);
  EXPECT_EQ(Items(list), (std::vector<std::string>{"1:plain", "2:counted"}));
  EXPECT_NE(dynamic_cast<const CountedItem*>(copy.GetItm(2)), nullptr);
  EXPECT_EQ(dynamic_cast<const CountedItem*>(copy.GetItm(1)), nullptr);
  const ItmInfo& same = copy;
  copy = same;
  EXPECT_EQ(Items(copy), (std::vector<std::string>{"1:renamed", "7:counted"}));
}

TEST(ItmInfo, SortAndFindUseTheListItemsOwnComparisons) {
  int live = 0;
  ItmInfo by_name("ByName");
  for (const auto& [num, name] :
       std::vector<std::pair<int, std::string>>{{1, "c"}, {2, "a"}, {3, "b"}, {4, "a"}}) {
    by_name.AddItm(std::make_unique<CountedItem>(num, name, &live));
  }
  by_name.SortItm();  // equal names keep their order
  EXPECT_EQ(Items(by_name), (std::vector<std::string>{"2:a", "4:a", "3:b", "1:c"}));
  EXPECT_EQ(by_name.FindItm(ItmData(99, "b")), 3);  // the name alone decides
  EXPECT_EQ(by_name.FindItm(ItmData(3, "d")), 0);

  ItmInfo by_number("ByNumber");
  by_number.AddItm(3, "C");
  by_number.AddItm(1, "A");
  EXPECT_EQ(by_number.FindItm(ItmData(1, "A")), 2);
  EXPECT_EQ(by_number.FindItm(ItmData(3, "A")), 0);
  by_number.SortItm();
  EXPECT_EQ(Items(by_number), (std::vector<std::string>{"1:A", "3:C"}));
}

TEST(ItmInfo, SetOrderRenumbersInListOrderAndShowAllListsThem) {
  ItmInfo list = ThreeItems();
  list.DelItm(1);
  list.AddItm(10, "D");
  EXPECT_EQ(list.SetOrder(5), 0);
  StreamWindow out;
  list.ShowAll(out);
  EXPECT_EQ(out.str(), "Terms\n5\tB\n6\tC\n7\tD\n");
}

}  // namespace
}  // namespace zubra
