#include "zubra/model/term_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

// Terms written as digit triples: "100 120" is A and A*B.
TermInfo MakeList(const std::string& terms) {
  TermInfo list("Model");
  std::istringstream in(terms);
  for (std::string t; in >> t;) EXPECT_EQ(list.AddItm(0, t, t[0] - '0', t[1] - '0', t[2] - '0'), 0);
  return list;
}

std::string Digits(const TermInfo& list) {
  std::string out;
  for (int i = 1; i <= list.GetNItm(); ++i) {
    for (const int f : list.GetTerm(i)->GetFactors()) out += std::to_string(f);
    out += i < list.GetNItm() ? " " : "";
  }
  return out;
}

TEST(TermInfo, AddingNormalisesTheNumbersAndRefusesADuplicateWith6009) {
  const std::pair<const char*, const char*> rows[] = {
      {"210", "120"}, {"312", "123"}, {"221", "122"}, {"321", "123"}, {"211", "112"},
      {"132", "123"}, {"021", "012"}, {"102", "102"}, {"400", "400"}};
  for (const auto& [given, stored] : rows) EXPECT_EQ(Digits(MakeList(given)), stored) << given;
  TermInfo list = MakeList("210 312");
  list.ClearIsModified();
  EXPECT_EQ(list.AddItm(5, "A*B", 1, 2, 0), 6009);
  EXPECT_EQ(list.AddItm(5, "A*B*C", 2, 3, 1), 6009);
  EXPECT_EQ(list.GetTermNam(1), "210");
  EXPECT_EQ(list.GetNItm(), 2);
  EXPECT_FALSE(list.IsModified());
}

TEST(TermData, SortingPutsTermsInKindThenNumberOrder) {
  TermInfo list = MakeList("123 222 130 220 110 120 300 111 000 112 100");
  list.SortItm();
  EXPECT_EQ(Digits(list), "000 100 300 110 220 120 130 111 222 112 123");
}

TEST(TermData, InequalityHoldsOnlyWhenEverySlotDiffers) {
  struct Row {
    TermData a, b;
    bool equal, unequal;
  };
  const Row rows[] = {{{1, "x", 1, 2, 0}, {2, "y", 1, 2, 0}, true, false},
                      {{1, "", 1, 2, 0}, {1, "", 1, 3, 0}, false, false},  // share V1
                      {{1, "", 1, 2, 0}, {1, "", 3, 2, 1}, false, false},  // share V2
                      {{1, "", 1, 0, 0}, {1, "", 2, 0, 0}, false, false},  // share empty slots
                      {{1, "", 1, 2, 0}, {1, "", 2, 3, 1}, false, true}};
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.a.GetFactors()) + " vs " +
                 ::testing::PrintToString(row.b.GetFactors()));
    EXPECT_EQ(row.a == row.b, row.equal);
    EXPECT_EQ(row.a != row.b, row.unequal);
  }
  EXPECT_EQ(MakeList("100 210"), MakeList("100 120"));  // names and numbers are not compared
  EXPECT_NE(MakeList("100 120"), MakeList("120 100"));
  EXPECT_NE(MakeList("100 120"), MakeList("100"));
}

TEST(TermInfo, ModelShapePredicates) {
  struct Row {
    const char* terms;
    bool quadratic, quadratic_strict, cubic, cubic_strict, interaction;
  };
  const Row rows[] = {
      {"", false, false, false, false, false},      {"100 200", false, false, false, false, false},
      {"100 120", true, false, false, false, true}, {"110", true, true, false, false, false},
      {"123", true, false, true, false, false},     {"122", true, true, true, false, false},
      {"112", true, true, true, false, false},      {"111", true, true, true, true, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.terms);
    const TermInfo list = MakeList(row.terms);
    EXPECT_EQ(list.IsQuadratic(false), row.quadratic);
    EXPECT_EQ(list.IsQuadratic(true), row.quadratic_strict);
    EXPECT_EQ(list.IsCubic(false), row.cubic);
    EXPECT_EQ(list.IsCubic(true), row.cubic_strict);
    EXPECT_EQ(list.HasInteraction(), row.interaction);
  }
}

TEST(TermInfo, GetVNumFindsTheNumberGivenBySetOrder) {
  TermInfo list = MakeList("100 120 112");
  EXPECT_EQ(list.SetOrder(5), 0);
  EXPECT_EQ(list.GetVNum(1, 2, 0, false), 6);
  EXPECT_EQ(list.GetVNum(2, 1, 0, false), 0);
  EXPECT_EQ(list.GetVNum(2, 1, 0, true), 6);
  EXPECT_EQ(list.GetVNum(0, 1, 0, true), 5);
  EXPECT_EQ(list.GetVNum(2, 1, 1, true), 7);
  EXPECT_EQ(list.GetVNum(2, 2, 1, true), 0);  // a permutation keeps the multiplicities
}

TEST(TermInfo, EditsChangeTheTermsAndFlagsAsExpected) {
  struct Row {
    const char* name;
    std::function<void(TermInfo&)> edit;
    const char* terms;
    bool modified;
    int status;
  };
  using L = TermInfo&;
  // clang-format off
  const Row rows[] = {
      {"add", [](L l) { l.AddItm(0, "", 2, 0, 0); }, "100 130 220 200", true, 0},
      {"add a duplicate", [](L l) { l.AddItm(0, "", 3, 1, 0); }, "100 130 220", false, 0},
      {"delete", [](L l) { l.DelItm(2); }, "100 220", true, 0},
      {"delete a missing item", [](L l) { l.DelItm(4); }, "100 130 220", true, 1},
      {"set order", [](L l) { l.SetOrder(1); }, "100 130 220", true, 0},
      {"set order of an empty list", [](L l) { l = TermInfo("E"); l.SetOrder(1); }, "", true, 0},
      {"rename", [](L l) { l.SetTermName(1, "A"); }, "100 130 220", true, 0},
      {"rename to the same name", [](L l) { l.SetTermName(1, "100"); }, "100 130 220", false, 0},
      // Factor 2 is removed: a term naming it stays, higher numbers move down.
      {"remove a factor", [](L l) { l.UpdateFactorRemoved(2); }, "100 120 220", true, 0},
      {"insert a factor", [](L l) { l.UpdateFactorAdded(2); }, "100 140 330", true, 0},
      {"insert a last factor", [](L l) { l.UpdateFactorAdded(4); }, "100 130 220", false, 0},
      {"copy", [](L l) { l.DelItm(4); l = TermInfo(&l); }, "100 130 220", false, 0},
      {"move", [](L l) { l.DelItm(4); l = TermInfo(std::move(l)); }, "100 130 220", false, 0}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TermInfo list = MakeList("100 130 220");
    list.ClearIsModified();
    row.edit(list);
    EXPECT_EQ(Digits(list), row.terms);
    EXPECT_EQ(list.IsModified(), row.modified);
    EXPECT_EQ(list.GetStatus(), row.status);
  }
  constexpr int kMax = std::numeric_limits<int>::max();
  TermInfo edge("E");
  edge.AddItm(0, "", 1, kMax, 0);
  edge.UpdateFactorAdded(1);  // must not overflow
  EXPECT_EQ(edge.GetTerm(1)->GetFactors(), (std::array<int, 3>{2, kMax, 0}));
}

TEST(TermInfo, ExpMAppendsOneProductColumnPerTermAndPropagatesMissingValues) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  auto owned = std::make_unique<FMatrix>(FMatrix{{2, 3, 5}, {-99, 4, 0.5F}, {3, -99, nan}});
  FMatrix* m = owned.get();
  // The last term names factor 4, which has no column.
  ASSERT_EQ(MakeList("100 110 120 230 123 333 000 140").ExpM(m), 0);
  EXPECT_EQ(m, owned.get());
  const FMatrix expected{{2, 3, 5, 2, 4, 6, 15, 30, 125, 1, -99},
                         {-99, 4, 0.5F, -99, -99, -99, 2, -99, 0.125F, 1, -99},
                         {3, -99, nan, 3, 9, -99, -99, -99, nan, 1, -99}};
  ASSERT_EQ(m->GetCols(), expected.GetCols());
  for (int r = 1; r <= 3; ++r) {
    for (int c = 1; c <= 11; ++c) {
      SCOPED_TRACE("row " + std::to_string(r) + " column " + std::to_string(c));
      EXPECT_THAT((*m)(r, c), ::testing::NanSensitiveFloatEq(expected(r, c)));
    }
  }
  FMatrix* none = nullptr;
  EXPECT_EQ(MakeList("100").ExpM(none), 1);
}

// Runs the stored-form tests against both section backends, through their text form.
class TermInfoStored : public ::testing::TestWithParam<bool> {
 protected:
  [[nodiscard]] std::unique_ptr<ConfigurationSection> NewRoot() const {
    if (GetParam()) return std::make_unique<IniFileSection>();
    return std::make_unique<TinyXML2Section>();
  }
  [[nodiscard]] std::unique_ptr<ConfigurationSection> Reread(
      const ConfigurationSection& root) const {
    if (GetParam()) {
      return IniFileSection::LoadString(dynamic_cast<const IniFileSection&>(root).ToString());
    }
    return TinyXML2Section::LoadString(dynamic_cast<const TinyXML2Section&>(root).ToString());
  }
};

TEST_P(TermInfoStored, SaveThenLoadRestoresEveryTermAndWritesOnlyNonZeroNumbers) {
  TermInfo list = MakeList("000 100 120 123 330");
  list.SetINam("Process");
  list.SetTermName(4, "a < b & \"c\"");
  list.SetOrder(3);
  auto root = NewRoot();
  ConfigurationSection& owner = root->CreateChild("NewModelSpec");
  MakeList("100 200 300 400 500 600").Save(&owner);
  list.Save(&owner);  // replaces the longer list, leaving no stale "Term" sections
  const ConfigurationSection* terms = owner.OpenChild("TermInfo");
  EXPECT_EQ(terms->OpenChild("Term", 1)->GetKeys(), (std::vector<std::string>{"Name", "Num"}));
  EXPECT_EQ(terms->OpenChild("Term", 2)->GetKeys(),
            (std::vector<std::string>{"Name", "Num", "V1"}));

  TermInfo loaded = MakeList("500");
  loaded.ClearIsModified();
  ASSERT_TRUE(loaded.Load(Reread(*root)->OpenChild("NewModelSpec")));
  EXPECT_EQ(loaded.GetINam(), "Process");
  EXPECT_TRUE(loaded.IsModified());
  ASSERT_EQ(Digits(loaded), "000 100 120 123 330");
  for (int i = 1; i <= list.GetNItm(); ++i) {
    EXPECT_EQ(loaded.GetTermNam(i), list.GetTermNam(i));
    EXPECT_EQ(loaded.GetTerm(i)->GetNum(), i + 2);
  }

  TermInfo::Remove(&owner);
  EXPECT_FALSE(owner.HasChild("TermInfo"));
  EXPECT_FALSE(Reread(*root)->HasChild("Term", 1));
  EXPECT_FALSE(loaded.Load(&owner));
  EXPECT_EQ(Digits(loaded), "000 100 120 123 330");  // unchanged when nothing is there
}

TEST_P(TermInfoStored, LoadSkipsGarbledNegativeAndDuplicateTermsWithoutThrowing) {
  auto root = NewRoot();
  ConfigurationSection& terms = root->CreateChild("TermInfo");
  const auto add = [&terms](int index, const char* name, const char* num, const char* v1,
                            const char* v2) {
    ConfigurationSection& term = terms.CreateChild("Term", index);
    term.SetValue("Name", name);
    if (*num != '\0') term.SetValue("Num", num);
    term.SetValue("V1", v1);
    if (*v2 != '\0') term.SetValue("V2", v2);
  };
  add(1, "B*A", "x", "2", "1");
  add(2, "garbled", "", "one", "");
  add(3, "negative", "", "1", "-2");
  add(4, "duplicate", "", "1", "2");
  add(ConfigurationSection::kMaxChildIndex, "far", "8", "3", "");
  TermInfo loaded("Kept");
  EXPECT_NO_THROW(EXPECT_TRUE(loaded.Load(root.get())));
  EXPECT_EQ(loaded.GetINam(), "Kept");  // no "Name" key
  EXPECT_EQ(Digits(loaded), "120 300");
  EXPECT_EQ(loaded.GetTermNam(2), "far");
  EXPECT_EQ(loaded.GetTerm(1)->GetNum(), 0);
  EXPECT_EQ(loaded.GetTerm(2)->GetNum(), 8);
}

TEST_P(TermInfoStored, SaveRefusesANulInANameBeforeChangingTheSection) {
  auto root = NewRoot();
  MakeList("100").Save(root.get());
  TermInfo list("L");
  list.AddItm(1, std::string("A\0B", 3), 2, 0, 0);
  EXPECT_THROW(list.Save(root.get()), Exception);
  TermInfo loaded;
  ASSERT_TRUE(loaded.Load(root.get()));
  EXPECT_EQ(Digits(loaded), "100");
}

INSTANTIATE_TEST_SUITE_P(Backends, TermInfoStored, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& param_info) {
                           return param_info.param ? "Ini" : "Xml";
                         });

TEST(TermInfo, LoadReadsTheTermsOfAnOlderInvestigationFile) {
  const auto root = IniFileSection::LoadFile(std::string(ZUBRA_TEST_DATA_DIR) +
                                             "/sections/older_investigation.ini");
  TermInfo loaded;
  ASSERT_TRUE(loaded.Load(root.get()));
  EXPECT_EQ(loaded.GetINam(), "Process");
  EXPECT_EQ(Digits(loaded), "100 120");
  EXPECT_EQ(loaded.GetTermNam(2), "Tem*Cat");
}

}  // namespace
}  // namespace zubra
