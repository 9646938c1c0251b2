#include "zubra/variables/variables.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

using Strings = std::vector<std::string>;

std::unique_ptr<FactorClass> Range(const std::string& name, const std::string& abbr,
                                   CEType::EType type, double low, double high,
                                   bool controlled = true) {
  auto factor = std::make_unique<FactorClass>();
  factor->SetName(name);
  factor->SetAbbr(abbr);
  factor->SetValue(low, high, type, controlled);
  return factor;
}

std::unique_ptr<FactorClass> Quant(const std::string& name, const std::string& abbr) {
  return Range(name, abbr, CEType::kQuantitative, 0.0, 1.0);
}

std::unique_ptr<FactorClass> Formulation(const std::string& name, const std::string& abbr,
                                         double low = 0.0, double high = 1.0) {
  return Range(name, abbr, CEType::kFormulation, low, high);
}

std::unique_ptr<FactorClass> Constant(const std::string& name, const std::string& abbr,
                                      CEType::EType type, double value) {
  auto factor = std::make_unique<FactorClass>();
  factor->SetName(name);
  factor->SetAbbr(abbr);
  factor->SetValue(value, type);
  return factor;
}

std::unique_ptr<FactorClass> Listed(const std::string& name, const std::string& abbr,
                                    CEType::EType type, const Strings& settings,
                                    CEUse::EUse use = CEUse::kControlled) {
  auto factor = std::make_unique<FactorClass>();
  factor->SetName(name);
  factor->SetAbbr(abbr);
  factor->SetSettings(settings, type, use);
  return factor;
}

std::unique_ptr<FactorClass> Filler(const std::string& name, const std::string& abbr) {
  auto factor = std::make_unique<FactorClass>();
  factor->SetName(name);
  factor->SetAbbr(abbr);
  factor->SetValue(CEType::kFiller, CEUse::kControlled);
  return factor;
}

std::unique_ptr<ResponseClass> Response(const std::string& name, const std::string& abbr) {
  auto response = std::make_unique<ResponseClass>();
  response->SetName(name);
  response->SetAbbr(abbr);
  return response;
}

// "name:number" for every variable in slot order.
Strings Layout(const Variables& set) {
  Strings layout;
  for (const ResponseClass* v : set.GetAllVariables()) {
    layout.push_back(v->GetName() + ":" + std::to_string(v->GetNumber()));
  }
  return layout;
}

// A settings file in a fresh temporary folder, removed with the guard.
class TempFile {
 public:
  TempFile() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = std::filesystem::temp_directory_path() /
           (std::string("zubra_variables_") + info->name() + "_" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  ~TempFile() { std::filesystem::remove_all(dir_); }
  [[nodiscard]] std::string Path() const { return (dir_ / "investigation.ini").string(); }

 private:
  std::filesystem::path dir_;
};

TEST(Variables, ProcessFactorsAddedAfterMixtureFactorsGoBeforeThem) {
  Variables set;
  ASSERT_EQ(set.Add(Formulation("Water", "W")), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Yield", "Y")), Variables::kOk);
  ASSERT_EQ(set.Add(Formulation("Salt", "S")), Variables::kOk);
  ASSERT_EQ(set.Add(Quant("Temp", "T")), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Cost", "C")), Variables::kOk);
  ASSERT_EQ(set.Add(Listed("Catalyst", "Ca", CEType::kQualitative, {"a", "b"})), Variables::kOk);
  ASSERT_EQ(set.Add(Filler("Rest", "R")), Variables::kOk);

  EXPECT_EQ(Layout(set),
            (Strings{"Temp:1", "Catalyst:2", "Water:3", "Salt:4", "Rest:5", "Yield:1", "Cost:2"}));
  EXPECT_EQ(set.GetCount(CEVar::kProcessFactor), 2);
  EXPECT_EQ(set.GetCount(CEVar::kMixtureFactor), 3);
  EXPECT_EQ(set.GetCount(CEVar::kResponse), 2);
  EXPECT_EQ(set.GetFactorCount(), 5);
  EXPECT_EQ(set.GetFiller(), 5);
  EXPECT_EQ(set.GetMixture(), 2);
}

TEST(Variables, InsertPlacesByNumberOrSlotAndRenumbersTheBlock) {
  struct Row {
    const char* name;
    std::function<int(Variables&)> insert;
    int slot;
    Strings layout;
  };
  auto numbered = [](std::unique_ptr<ResponseClass> v, int number) {
    v->SetNumber(number);
    return v;
  };
  const std::vector<Row> rows = {
      {"process number 1 goes first",
       [&](Variables& s) { return s.Insert(numbered(Quant("X", "X"), 1), false); },
       1,
       {"X:1", "A:2", "B:3", "M:4", "Y:1"}},
      {"process number out of range goes last among process factors",
       [&](Variables& s) { return s.Insert(numbered(Quant("X", "X"), 9), false); },
       3,
       {"A:1", "B:2", "X:3", "M:4", "Y:1"}},
      {"mixture number inside the mixture block",
       [&](Variables& s) { return s.Insert(numbered(Formulation("X", "X"), 3), false); },
       3,
       {"A:1", "B:2", "X:3", "M:4", "Y:1"}},
      {"mixture number in the process range goes after the mixture factors",
       [&](Variables& s) { return s.Insert(numbered(Formulation("X", "X"), 1), false); },
       4,
       {"A:1", "B:2", "M:3", "X:4", "Y:1"}},
      {"response number 0 is appended",
       [&](Variables& s) { return s.Insert(numbered(Response("X", "X"), 0), false); },
       5,
       {"A:1", "B:2", "M:3", "Y:1", "X:2"}},
      {"response number 1 goes first among responses",
       [&](Variables& s) { return s.Insert(numbered(Response("X", "X"), 1), false); },
       4,
       {"A:1", "B:2", "M:3", "X:1", "Y:2"}},
      {"slot before the mixture block is moved into it",
       [&](Variables& s) { return s.Insert(1, Formulation("X", "X"), false); },
       3,
       {"A:1", "B:2", "X:3", "M:4", "Y:1"}},
      {"slot past the end of the process block is its end",
       [&](Variables& s) { return s.Insert(99, Quant("X", "X"), false); },
       3,
       {"A:1", "B:2", "X:3", "M:4", "Y:1"}},
      {"slot 2 for a process factor",
       [&](Variables& s) { return s.Insert(2, Quant("X", "X"), false); },
       2,
       {"A:1", "X:2", "B:3", "M:4", "Y:1"}},
      {"slot 1 for a response is the first response slot",
       [&](Variables& s) { return s.Insert(1, Response("X", "X"), false); },
       4,
       {"A:1", "B:2", "M:3", "X:1", "Y:2"}},
      {"null changes nothing",
       [&](Variables& s) { return s.Insert(nullptr, false); },
       0,
       {"A:1", "B:2", "M:3", "Y:1"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Variables set;
    ASSERT_EQ(set.Add(Quant("A", "A")), Variables::kOk);
    ASSERT_EQ(set.Add(Quant("B", "B")), Variables::kOk);
    ASSERT_EQ(set.Add(Formulation("M", "M")), Variables::kOk);
    ASSERT_EQ(set.Add(Response("Y", "Y")), Variables::kOk);
    EXPECT_EQ(row.insert(set), row.slot);
    EXPECT_EQ(Layout(set), row.layout);
  }
}

TEST(Variables, LookupsIgnoreCaseAndOneTrailingTilde) {
  Variables set;
  ASSERT_EQ(set.Add(Quant("Temp", "T")), Variables::kOk);
  ASSERT_EQ(set.Add(Formulation("Water", "W")), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Yield", "Y")), Variables::kOk);
  struct Row {
    const char* query;
    int slot;
    bool factor;
    bool response;
  };
  const std::vector<Row> rows = {
      {"Temp", 1, true, false},    {"temp~", 1, true, false},  {"TEMP", 1, true, false},
      {"Temp~~", 0, false, false}, {"Tem", 0, false, false},   {"", 0, false, false},
      {"~", 0, false, false},      {"wATER~", 2, true, false}, {"yield", 3, false, true},
      {"Yield~", 3, false, true},
  };
  for (int pass = 0; pass < 2; ++pass) {  // the second pass is answered from the cache
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.query) + (pass == 0 ? "" : " (cached)"));
      EXPECT_EQ(set.GetSlot(row.query), row.slot);
      EXPECT_EQ(set.IsFactor(row.query), row.factor);
      EXPECT_EQ(set.IsResponse(row.query), row.response);
      EXPECT_EQ(set.VariableExist(row.query), row.slot != 0);
    }
  }
  // A cached slot whose variable was renamed no longer answers for the old name.
  set.GetFactor("Temp")->SetName("Heat");
  EXPECT_EQ(set.GetSlot("Temp"), 0);
  EXPECT_EQ(set.GetSlot("heat"), 1);
  // Slots move when a variable is removed; the lookups follow.
  ASSERT_EQ(set.Delete("HEAT"), Variables::kOk);
  EXPECT_EQ(set.GetSlot("Water"), 1);
  EXPECT_EQ(set.GetSlot("Yield"), 2);
  EXPECT_EQ(set.GetNumber("yield~"), 1);
}

TEST(Variables, LookupsByAbbreviationIndexAndNumber) {
  Variables set;
  ASSERT_EQ(set.Add(Quant("Temp", "T")), Variables::kOk);
  auto ph = Quant("pH", "pH");
  ph->SetTransform(Transform(TraData::kLog, 1.0, 0.0, kUndefined));
  ASSERT_EQ(set.Add(std::move(ph)), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Yield", "Y")), Variables::kOk);

  EXPECT_EQ(set.GetNameFromAbbr("t"), "Temp");
  EXPECT_EQ(set.GetNameFromAbbr("PH~"), "pH");
  EXPECT_EQ(set.GetNameFromAbbr("Z"), "");
  EXPECT_EQ(set.GetFactorFromAbbr("y"), nullptr);
  EXPECT_NE(set.GetVariableFromAbbr("y"), nullptr);
  EXPECT_EQ(set.GetTransformedAbbr("pH"), "pH~");
  EXPECT_EQ(set.GetTransformedAbbr("T"), "T");
  EXPECT_EQ(set.GetTransformedAbbr("$B1"), "$B1");
  EXPECT_EQ(set.GetAbbr(2), "pH");
  EXPECT_EQ(set.GetAbbr("yield"), "Y");
  EXPECT_EQ(set.GetFactor(2), "pH");
  EXPECT_EQ(set.GetFactor(3), "");
  EXPECT_EQ(set.GetResponse(1), "Yield");
  EXPECT_EQ(set.GetIndexResponse(2), nullptr);
  EXPECT_EQ(set.GetFirstResponse()->GetName(), "Yield");
  EXPECT_EQ(set.Get("Yield", CEVar::kProcessFactor), nullptr);
  EXPECT_NE(set.Get("Temp", CEVar::kProcessFactor), nullptr);

  Strings walked;
  for (const FactorClass* f = set.GetFirstFactor(); f != nullptr;
       f = set.GetNextFactor(f->GetName())) {
    walked.push_back(f->GetName());
  }
  EXPECT_EQ(walked, (Strings{"Temp", "pH"}));
  Strings iterated;
  for (auto it = set.factor_begin(); it != set.factor_end(); ++it) {
    iterated.push_back((*it)->GetName());
  }
  EXPECT_EQ(iterated, walked);
}

TEST(Variables, BlockGeneratorsAndReservedNames) {
  const Strings generators = {"",       "$B1",    "$B2",       "$B3", "$B1$B2",
                              "$B1$B3", "$B2$B3", "$B1$B2$B3", ""};
  for (int i = 0; i <= 8; ++i) EXPECT_EQ(Variables::GetBlockGen(i), generators[i]) << i;

  struct Row {
    const char* name;
    bool single;
    bool any;
    int number;
  };
  const std::vector<Row> rows = {
      {"$B1", true, true, -1},    {"$B2", true, true, -2},       {"$B3", true, true, -3},
      {"$B1$B2", false, true, 0}, {"$B1$B2$B3", false, true, 0}, {"$b1", false, false, 0},
      {"$B4", false, false, 0},   {"$B1 ", false, false, 0},
  };
  Variables set;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Variables::IsBlockGen(row.name, true), row.single);
    EXPECT_EQ(Variables::IsBlockGen(row.name, false), row.any);
    EXPECT_EQ(set.GetNumber(row.name), row.number);
    EXPECT_EQ(set.GetSlot(row.name), 0);
  }

  struct NameRow {
    const char* name;
    bool reserved;
    bool legal;
  };
  const std::vector<NameRow> names = {
      {"Status", true, true},         {"model settings", true, true}, {"CONTOUR", true, true},
      {"Combination ID", true, true}, {"Models", false, true},        {"Axis3D", false, true},
      {"$BlockV", false, true},       {"$Layer", false, true},        {"$Plate", false, true},
      {"$Block", false, false},       {"a=b", false, false},          {"Temp~", false, false},
  };
  for (const NameRow& row : names) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Variables::IsReservedName(row.name), row.reserved);
    EXPECT_EQ(Variables::LegalName(row.name), row.legal);
  }
}

TEST(Variables, AdmissionCodesComeInOrderAndChangeNothing) {
  struct Row {
    const char* name;
    std::function<std::unique_ptr<ResponseClass>()> make;
    Variables::Error code;
  };
  const std::vector<Row> rows = {
      {"null", [] { return nullptr; }, Variables::kNoVariable},
      {"factor without a value (and a bad name)",
       [] {
         auto f = std::make_unique<FactorClass>();
         f->SetName("a=b");
         f->SetAbbr("Z");
         return f;
       },
       Variables::kNotDefined},
      {"response without abbreviation", [] { return Response("New", ""); }, Variables::kNotDefined},
      {"forbidden character (and a taken name)", [] { return Quant("Te=mp", "T"); },
       Variables::kIllegalName},
      {"empty name of a defined factor", [] { return Quant("", "Z"); }, Variables::kIllegalName},
      {"name taken in another case (and a taken abbreviation)", [] { return Quant("TEMP~", "T"); },
       Variables::kNameExists},
      {"response name taken by a factor", [] { return Response("temp", "Z"); },
       Variables::kNameExists},
      {"response with a factor's abbreviation in another case",
       [] { return Response("Cost", "t"); }, Variables::kAbbrNotUnique},
      {"duplicate settings",
       [] {
         return Listed("Cat", "C", CEType::kQualitative, {"a", "a"});
       },
       Variables::kInvalidSettings},
      {"multilevel setting that is not a number",
       [] {
         return Listed("Speed", "Sp", CEType::kMultilevel, {"1", "fast"});
       },
       Variables::kInvalidSettings},
      {"second filler", [] { return Filler("Rest", "R"); }, Variables::kSecondFiller},
      {"internal name", [] { return Quant("$Layer", "L"); }, Variables::kOk},
      {"new response", [] { return Response("Cost", "Co"); }, Variables::kOk},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Variables set;
    ASSERT_EQ(set.Add(Quant("Temp", "T")), Variables::kOk);
    ASSERT_EQ(set.Add(Filler("Water", "W")), Variables::kOk);
    ASSERT_EQ(set.Add(Response("Yield", "Y")), Variables::kOk);
    const Strings before = Layout(set);

    const std::unique_ptr<ResponseClass> candidate = row.make();
    EXPECT_EQ(set.IsLegal(candidate.get()), row.code);
    std::unique_ptr<ResponseClass> refused;
    EXPECT_EQ(set.Add(row.make(), false, &refused), row.code);
    if (row.code == Variables::kOk) {
      EXPECT_EQ(set.GetVariableCount(), 4);
      EXPECT_EQ(refused, nullptr);
    } else {
      EXPECT_EQ(Layout(set), before);
      EXPECT_EQ(refused == nullptr, row.code == Variables::kNoVariable);
    }
  }
}

TEST(Variables, CandidateSetSizeAndMemory) {
  struct Row {
    const char* name;
    std::function<void(Variables&)> fill;
    std::int64_t runs;
    std::int64_t bytes;
  };
  auto quants = [](Variables& s, int n) {
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(s.Add(Quant("Q" + std::to_string(i), "Q" + std::to_string(i))), Variables::kOk);
    }
  };
  const std::vector<Row> rows = {
      {"no factors", [](Variables&) {}, 1, 0},
      {"two quantitative and a three-level qualitative",
       [&](Variables& s) {
         quants(s, 2);
         ASSERT_EQ(s.Add(Listed("C", "C", CEType::kQualitative, {"a", "b", "c"})), Variables::kOk);
       },
       12, 12 * 4 * 4},
      {"formulation count times two per quantitative",
       [&](Variables& s) {
         quants(s, 1);
         for (const char* n : {"A", "B", "D"}) ASSERT_EQ(s.Add(Formulation(n, n)), Variables::kOk);
       },
       6, 6 * 4 * 4},
      {"uncontrolled multilevel counts, constant qualitative and uncontrolled quantitative do not",
       [&](Variables& s) {
         ASSERT_EQ(s.Add(Listed("M", "M", CEType::kMultilevel, {"1", "2", "3", "4"},
                                CEUse::kUncontrolled)),
                   Variables::kOk);
         ASSERT_EQ(s.Add(Listed("K", "K", CEType::kQualitative, {"a", "b"}, CEUse::kConstant)),
                   Variables::kOk);
         ASSERT_EQ(s.Add(Range("U", "U", CEType::kQuantitative, 0, 1, false)), Variables::kOk);
       },
       4, 4 * 1 * 4},
      {"31 quantitative factors wrap to the 32-bit minimum", [&](Variables& s) { quants(s, 31); },
       INT32_MIN, std::int64_t{INT32_MIN} * 31 * 4},
      {"32 quantitative factors wrap to 0", [&](Variables& s) { quants(s, 32); }, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Variables set;
    row.fill(set);
    EXPECT_EQ(set.CandidateSetRuns(), row.runs);
    EXPECT_EQ(set.CandidateSetMemoryCheck(), row.bytes);
  }
}

TEST(Variables, DesignNumbersAndExpandedColumns) {
  Variables set;
  ASSERT_EQ(set.Add(Quant("A", "A")), Variables::kOk);
  ASSERT_EQ(set.Add(Range("U", "U", CEType::kQuantitative, 0, 1, false)), Variables::kOk);
  ASSERT_EQ(set.Add(Listed("C", "C", CEType::kQualitative, {"a", "b", "c", "d"})), Variables::kOk);
  ASSERT_EQ(set.Add(Listed("M", "M", CEType::kMultilevel, {"1", "2", "3"})), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Y", "Y")), Variables::kOk);
  struct Row {
    int slot;
    int design_number;
    int expanded;
    int expanded_design;
  };
  const std::vector<Row> rows = {{0, 0, 0, 0}, {1, 1, 1, 1}, {2, 0, 2, 0},
                                 {3, 2, 3, 2}, {4, 3, 6, 5}, {5, 0, 0, 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.slot);
    EXPECT_EQ(set.GetDesignNumber(row.slot), row.design_number);
    EXPECT_EQ(set.GetExpandedFactorIndex(row.slot), row.expanded);
    EXPECT_EQ(set.GetExpandedDesignFactorIndex(row.slot), row.expanded_design);
  }
  EXPECT_EQ(set.GetDesignFactorCount(), 3);
  EXPECT_EQ(set.GetDesignFactorNumber(2), 3);
  EXPECT_EQ(set.GetDesignFactorNumber(4), 0);
  EXPECT_EQ(set.GetExpandedFactorCount(), 6);
  EXPECT_EQ(set.GetExpandedDesignFactorCount(), 5);
  EXPECT_EQ(set.GetQualitativeCount(), 1);
  EXPECT_EQ(set.GetQuantitative(), 2);
  EXPECT_EQ(set.GetUncontrolledQuantitative(), 1);
  EXPECT_EQ(set.GetMultilevel(3), 1);
  EXPECT_EQ(set.GetMultilevel(2), 0);
  EXPECT_TRUE(set.UnControlledExist());
  EXPECT_TRUE(set.IsAnyQualitative());
  EXPECT_FALSE(set.IsAnyMixture());
  EXPECT_FALSE(set.IsConstraintFactor(set.GetFactor("U")));
  EXPECT_TRUE(set.IsConstraintFactor(set.GetFactor("C")));
}

TEST(Variables, DeleteAndDetachCloseTheNumberGap) {
  struct Row {
    const char* name;
    std::function<std::string(Variables&)> act;  // returns what was removed, "" for nothing
    Strings layout;
  };
  auto detached = [](std::unique_ptr<ResponseClass> v) {
    return v != nullptr ? v->GetName() : std::string();
  };
  const std::vector<Row> rows = {
      {"delete a process factor",
       [](Variables& s) { return s.Delete("a") == Variables::kOk ? "A" : ""; },
       {"B:1", "M:2", "Y:1", "Z:2"}},
      {"delete an unknown name",
       [](Variables& s) { return std::to_string(s.Delete("Q")); },
       {"A:1", "B:2", "M:3", "Y:1", "Z:2"}},
      {"detach a response by name",
       [&](Variables& s) { return detached(s.Detach("y~")); },
       {"A:1", "B:2", "M:3", "Z:1"}},
      {"detach the mixture factor by slot",
       [&](Variables& s) { return detached(s.Detach(3)); },
       {"A:1", "B:2", "Y:1", "Z:2"}},
      {"detach slot 0",
       [&](Variables& s) { return detached(s.Detach(0)); },
       {"A:1", "B:2", "M:3", "Y:1", "Z:2"}},
      {"detach past the end",
       [&](Variables& s) { return detached(s.Detach(6)); },
       {"A:1", "B:2", "M:3", "Y:1", "Z:2"}},
  };
  const Strings removed = {"A", "1", "Y", "M", "", ""};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].name);
    Variables set;
    ASSERT_EQ(set.Add(Quant("A", "A")), Variables::kOk);
    ASSERT_EQ(set.Add(Quant("B", "B")), Variables::kOk);
    ASSERT_EQ(set.Add(Formulation("M", "M")), Variables::kOk);
    ASSERT_EQ(set.Add(Response("Y", "Y")), Variables::kOk);
    ASSERT_EQ(set.Add(Response("Z", "Z")), Variables::kOk);
    EXPECT_EQ(rows[i].act(set), removed[i]);
    EXPECT_EQ(Layout(set), rows[i].layout);
  }
}

TEST(Variables, SortRestoresBlockOrderAfterAKindChange) {
  Variables set;
  ASSERT_EQ(set.Add(Quant("A", "A")), Variables::kOk);
  ASSERT_EQ(set.Add(Quant("B", "B")), Variables::kOk);
  ASSERT_EQ(set.Add(Formulation("M", "M")), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Y", "Y")), Variables::kOk);
  set.GetFactor("A")->SetValue(0.0, 0.5, CEType::kFormulation, true);
  set.Sort();
  EXPECT_EQ(Layout(set), (Strings{"B:1", "A:2", "M:3", "Y:1"}));
  EXPECT_EQ(set.GetCount(CEVar::kProcessFactor), 1);
  EXPECT_EQ(set.GetCount(CEVar::kMixtureFactor), 2);
  EXPECT_EQ(set.Add(Quant("C", "C")), Variables::kOk);
  EXPECT_EQ(Layout(set), (Strings{"B:1", "C:2", "A:3", "M:4", "Y:1"}));
}

TEST(Variables, CopiesAreDeepAndIndependent) {
  Variables set;
  ASSERT_EQ(set.Add(Quant("Temp", "T")), Variables::kOk);
  ASSERT_EQ(set.Add(Formulation("Water", "W", 0.2, 0.8)), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Yield", "Y")), Variables::kOk);
  const FMatrix constraints{{1.0F, 2.0F}};
  set.SetConstraints(&constraints);
  set.SetUsePseudoComponents(true);

  Variables copy(set);
  Variables assigned;
  assigned = set;
  for (Variables* other : {&copy, &assigned}) {
    EXPECT_EQ(Layout(*other), Layout(set));
    ASSERT_NE(other->GetFactor("Water"), nullptr);
    EXPECT_NE(other->GetFactor("Water"), set.GetFactor("Water"));
    EXPECT_EQ(other->GetFactor("Water")->GetHigh(true), 0.8);
    EXPECT_TRUE(other->GetUsePseudoComponents());
    ASSERT_NE(other->GetConstraints(), nullptr);
    EXPECT_NE(other->GetConstraints(), set.GetConstraints());
    EXPECT_EQ(*other->GetConstraints(), constraints);
  }
  copy.GetFactor("Water")->SetValue(0.0, 0.5, CEType::kFormulation, true);
  ASSERT_EQ(copy.Delete("Temp"), Variables::kOk);
  EXPECT_EQ(set.GetFactor("Water")->GetHigh(true), 0.8);
  EXPECT_EQ(Layout(set), (Strings{"Temp:1", "Water:2", "Yield:1"}));
}

TEST(Variables, MirrorsAdditionsAndRemovalsIntoTheSettingsFile) {
  TempFile file;
  Variables set;
  set.SetIniFile(file.Path());
  ASSERT_EQ(set.Add(Formulation("Water", "W", 0.1, 0.9)), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Yield", "Y")), Variables::kOk);
  ASSERT_EQ(set.Add(Quant("Temp", "T")), Variables::kOk);  // moves Water to number 2
  ASSERT_EQ(set.Add(Listed("Cat", "C", CEType::kQualitative, {"x", "y, z"})), Variables::kOk);

  using Entries = std::vector<Variables::Entry>;
  EXPECT_EQ(set.GetAllResponseEntries(), (Entries{{"Yield", 1}}));
  Entries factors = set.GetAllFactorEntries();
  std::sort(factors.begin(), factors.end(),
            [](const auto& a, const auto& b) { return a.number < b.number; });
  EXPECT_EQ(factors, (Entries{{"Temp", 1}, {"Cat", 2}, {"Water", 3}}));
  EXPECT_TRUE(set.FactorCheckDataFile());
  EXPECT_TRUE(set.ResponseCheckDataFile());

  Variables reread;
  reread.LoadIniFile(file.Path());
  EXPECT_EQ(Layout(reread), Layout(set));
  EXPECT_EQ(reread.GetFactor("Cat")->GetSettings(), (Strings{"x", "y, z"}));
  EXPECT_EQ(reread.GetFactor("Water")->GetLow(true), 0.1);
  EXPECT_EQ(reread.GetType("water"), CEType::kFormulation);

  ASSERT_EQ(set.Delete("temp"), Variables::kOk);
  factors = set.GetAllFactorEntries();
  std::sort(factors.begin(), factors.end(),
            [](const auto& a, const auto& b) { return a.number < b.number; });
  EXPECT_EQ(factors, (Entries{{"Cat", 1}, {"Water", 2}}));
  EXPECT_FALSE(IniFileFactory::Open(file.Path())->HasChild("Temp"));
  ASSERT_TRUE(reread.ReloadVariables());
  EXPECT_EQ(Layout(reread), (Strings{"Cat:1", "Water:2", "Yield:1"}));

  // A change kept out of the file shows up in the check.
  set.Insert(Response("Cost", "Co"), false);
  std::vector<std::string> differences;
  EXPECT_FALSE(set.ResponseCheckDataFile(&differences));
  EXPECT_EQ(differences, (Strings{"Cost"}));
  EXPECT_TRUE(set.FactorCheckDataFile(&differences));
}

TEST(Variables, FailedMirrorLeavesTheSetAsItWas) {
  TempFile file;
  Variables set;
  ASSERT_EQ(set.Add(Quant("A", "A")), Variables::kOk);
  ASSERT_EQ(set.Add(Formulation("M", "M")), Variables::kOk);
  // A file in a folder that does not exist cannot be saved.
  set.SetIniFile(file.Path() + "/missing/investigation.ini");
  const Strings before = Layout(set);
  EXPECT_THROW(set.Add(Quant("B", "B")), Exception);
  EXPECT_EQ(Layout(set), before);
  EXPECT_EQ(set.GetCount(CEVar::kProcessFactor), 1);
  EXPECT_THROW(set.Delete("A"), Exception);
  EXPECT_EQ(Layout(set), before);
  EXPECT_EQ(set.GetSlot("M"), 2);
}

TEST(Variables, WholeFileRoundTripKeepsOtherSectionsAndDropsStaleOnes) {
  auto file =
      IniFileSection::LoadString("[Model]\nTerms=3\n[Factors]\nOld=1\n[Old]\nType=Quantitative\n");
  Variables set;
  ASSERT_EQ(set.Add(Listed("Speed", "Sp", CEType::kMultilevel, {"1", "2.5", "4"})), Variables::kOk);
  ASSERT_EQ(set.Add(Constant("Salt", "S", CEType::kFormulation, 0.2)), Variables::kOk);
  ASSERT_EQ(set.Add(Formulation("Water", "W", 0.1, 0.9)), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Yield", "Y")), Variables::kOk);
  set.SetUsePseudoComponents(true);
  set.WriteReferenceMixture({{"Salt", 0.2}, {"Water", 0.8}});
  set.WriteIniFile(*file);

  EXPECT_EQ(file->OpenChild("Model")->GetString("Terms"), "3");
  EXPECT_FALSE(file->HasChild("Old"));
  const Variables reread(*file, nullptr);
  EXPECT_EQ(Layout(reread), (Strings{"Speed:1", "Salt:2", "Water:3", "Yield:1"}));
  EXPECT_EQ(reread.GetFactor("Speed")->GetSettings(), (Strings{"1", "2.5", "4"}));
  EXPECT_EQ(reread.GetFactor("Salt")->GetConst(true), 0.2);
  EXPECT_TRUE(reread.GetUsePseudoComponents());
  EXPECT_EQ(reread.GetReferenceMixture(),
            (std::vector<Variables::MixtureAmount>{{"Salt", 0.2}, {"Water", 0.8}}));
}

TEST(Variables, ReadingOrdersByStoredNumberAndToleratesBadEntries) {
  auto file = IniFileSection::LoadString(
      "[Factors]\nB=2\nM=1\nA=1\na=4\nNoNumber=x\n[Responses]\nY=7\n"
      "[B]\nType=Quantitative\nUse=Controlled\nSettings=0,1\nAbbreviation=B\n"
      "[A]\nType=Quantitative\nUse=Controlled\nSettings=0,1\nAbbreviation=A\n"
      "[M]\nType=Formulation\nUse=Controlled\nSettings=0,1\nAbbreviation=M\n"
      "[NoNumber]\nType=Quantitative\nUse=Controlled\nSettings=0,1\nAbbreviation=N\n"
      "[Y]\nAbbreviation=Y\n"
      "[$VariableSet]\nMixtureTotal=abc\nUsePseudoComponents=maybe\n");
  Variables set;
  set.ReadIniFile(*file);
  EXPECT_EQ(Layout(set), (Strings{"A:1", "B:2", "NoNumber:3", "M:4", "Y:1"}));
  EXPECT_EQ(set.GetMixtureTotal(), 1.0);
  EXPECT_FALSE(set.GetUsePseudoComponents());
}

TEST(Variables, AdjustMixtureRangesChecksSumsAndCutsRanges) {
  using Maker = std::function<std::unique_ptr<FactorClass>()>;
  struct Row {
    const char* name;
    std::vector<Maker> factors;
    bool ok;
    bool changed;
    std::string message;
    Strings ranges;  // "name:low-high" of every mixture factor afterwards
  };
  auto form = [](const char* n, double lo, double hi) -> Maker {
    return [=] { return Formulation(n, n, lo, hi); };
  };
  const Maker filler = [] { return Filler("F", "F"); };
  const Maker salt = [] { return Constant("S", "S", CEType::kFormulation, 0.5); };
  const std::vector<Row> rows = {
      {"no controlled formulation factor",
       {salt, filler},
       true,
       false,
       "",
       {"S:-99--99", "F:-99--99"}},
      {"highs reach exactly 1",
       {form("A", 0, 0.5), form("B", 0, 0.5)},
       false,
       false,
       "The sum of the high settings of the formulation factors is too small (1). The sum must "
       "be higher than 1. Change the settings or add a filler factor.",
       {"A:0-0.5", "B:0-0.5"}},
      {"lows above 1",
       {form("A", 0.6, 0.9), form("B", 0.5, 0.8)},
       false,
       false,
       "The sum of the low settings of the formulation factors is too large (1.1). The sum must "
       "not be higher than 1.",
       {"A:0.6-0.9", "B:0.5-0.8"}},
      {"implied bounds cut a wide range",
       {form("A", 0, 1), form("B", 0.2, 0.5)},
       true,
       true,
       "",
       {"A:0.5-0.8", "B:0.2-0.5"}},
      {"a constant takes its share",
       {salt, form("B", 0, 0.8), form("C", 0.1, 0.8)},
       true,
       true,
       "",
       {"S:-99--99", "B:0-0.4", "C:0.1-0.5"}},
      {"a filler with room stays a filler",
       {form("A", 0.1, 0.3), form("B", 0.1, 0.3), filler},
       true,
       false,
       "",
       {"A:0.1-0.3", "B:0.1-0.3", "F:-99--99"}},
      {"a filler without room is converted",
       {form("A", 0.1, 0.6), form("B", 0.1, 0.6), filler},
       true,
       true,
       "The factor 'F' has been converted to a formulation factor. A design can include a "
       "filler only if the other formulation factors do not add up to 1.",
       {"A:0.1-0.6", "B:0.1-0.6", "F:0-0.8"}},
      {"a converted filler that leaves lows above 1 changes nothing",
       {form("A", 0.6, 0.9), form("B", 0.5, 0.9), filler},
       false,
       false,
       "The sum of the low settings of the formulation factors is too large (1.1). The sum must "
       "not be higher than 1.",
       {"A:0.6-0.9", "B:0.5-0.9", "F:-99--99"}},
  };
  auto ranges = [](const Variables& s) {
    Strings out;
    for (const FactorClass* f : s.GetAllFactors()) {
      out.push_back(f->GetName() + ":" + KtString::FormatG(f->GetLow(true)) + "-" +
                    KtString::FormatG(f->GetHigh(true)));
    }
    return out;
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Variables set;
    for (const Maker& make : row.factors) ASSERT_EQ(set.Add(make()), Variables::kOk);
    bool changed = !row.changed;
    std::string message = "stale";
    EXPECT_EQ(set.AdjustMixtureRanges(&changed, &message), row.ok);
    EXPECT_EQ(changed, row.changed);
    EXPECT_EQ(message, row.message);
    EXPECT_EQ(ranges(set), row.ranges);
    // A second run finds nothing more to do and keeps the result.
    EXPECT_EQ(set.AdjustMixtureRanges(&changed, nullptr), row.ok);
    EXPECT_FALSE(changed);
    EXPECT_EQ(ranges(set), row.ranges);
  }
}

TEST(Variables, AdjustmentsStartFromTheRangesTheUserGave) {
  Variables set;
  ASSERT_EQ(set.Add(Formulation("A", "A", 0.0, 1.0)), Variables::kOk);
  ASSERT_EQ(set.Add(Formulation("B", "B", 0.2, 0.5)), Variables::kOk);
  ASSERT_TRUE(set.AdjustMixtureRanges(nullptr, nullptr));
  EXPECT_TRUE(set.IsAdjusted());
  EXPECT_EQ(set.GetFactor("A")->GetLow(true), 0.5);
  // B widens: A's cut is recomputed from its own range [0, 1], not from [0.5, 0.8].
  set.GetFactor("B")->SetValue(0.2, 0.9, CEType::kFormulation, true);
  bool changed = false;
  ASSERT_TRUE(set.AdjustMixtureRanges(&changed, nullptr));
  EXPECT_TRUE(changed);
  EXPECT_NEAR(set.GetFactor("A")->GetLow(true), 0.1, 1e-12);
  EXPECT_NEAR(set.GetFactor("A")->GetHigh(true), 0.8, 1e-12);
  EXPECT_EQ(set.GetFactor("A")->GetAdjustFromLow(), 0.0);
  EXPECT_EQ(set.GetFactor("A")->GetAdjustFromHigh(), 1.0);
}

TEST(Variables, PseudoComponentsAndReferenceMixture) {
  struct Row {
    const char* name;
    std::function<void(Variables&)> extra;
    const char* factor;
    double value;
    double pseudo;
    std::vector<double> reference;  // per mixture factor in slot order
  };
  const std::vector<Row> rows = {
      {"plain simplex: room 0.6", [](Variables&) {}, "A", 0.4, 0.5, {0.3, 0.4, 0.3}},
      {"a constant shrinks the room to 0.5",
       [](Variables& s) {
         ASSERT_EQ(s.Add(Constant("K", "K", CEType::kFormulation, 0.1)), Variables::kOk);
       },
       "B",
       0.45,
       0.5,
       {0.1 + 0.5 / 3, 0.2 + 0.5 / 3, 0.1 + 0.5 / 3, 0.1}},
      {"a filler leaves values as they are",
       [](Variables& s) { ASSERT_EQ(s.Add(Filler("F", "F")), Variables::kOk); },
       "A",
       0.4,
       0.4,
       {0.35, 0.45, 0.3, 1.0 - 1.1}},
      {"a process factor is not transformed",
       [](Variables& s) { ASSERT_EQ(s.Add(Quant("T", "T")), Variables::kOk); },
       "T",
       0.4,
       0.4,
       {0.3, 0.4, 0.3}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Variables set;
    ASSERT_EQ(set.Add(Formulation("A", "A", 0.1, 0.6)), Variables::kOk);
    ASSERT_EQ(set.Add(Formulation("B", "B", 0.2, 0.7)), Variables::kOk);
    ASSERT_EQ(set.Add(Formulation("C", "C", 0.1, 0.5)), Variables::kOk);
    row.extra(set);
    const FactorClass* factor = set.GetFactor(row.factor);
    EXPECT_NEAR(set.GetPseudoComponent(factor, row.value), row.pseudo, 1e-12);
    EXPECT_NEAR(set.GetValueFromPseudoComponent(factor, set.GetPseudoComponent(factor, row.value)),
                row.value, 1e-12);
    EXPECT_EQ(set.GetPseudoComponent(factor, kUndefined), kUndefined);
    const std::vector<Variables::MixtureAmount> reference = set.GetSimplexReferenceMixture();
    ASSERT_EQ(reference.size(), row.reference.size());
    for (std::size_t i = 0; i < reference.size(); ++i) {
      EXPECT_NEAR(reference[i].value, row.reference[i], 1e-12) << reference[i].name;
    }
  }
  Variables crowded;
  ASSERT_EQ(crowded.Add(Formulation("A", "A", 0.6, 0.9)), Variables::kOk);
  ASSERT_EQ(crowded.Add(Formulation("B", "B", 0.5, 0.9)), Variables::kOk);
  EXPECT_EQ(crowded.GetPseudoComponent(crowded.GetFactor("A"), 0.7), kUndefined);
}

TEST(Variables, PrecisionStrings) {
  Variables set;
  auto temp = Quant("Temp", "T");
  temp->SetPrecision(CEPrec::kDecimals2);
  ASSERT_EQ(set.Add(std::move(temp)), Variables::kOk);
  ASSERT_EQ(set.Add(Response("Yield", "Y")), Variables::kOk);
  struct Row {
    const char* name;
    const char* variable;
    const char* text;
    std::string shown;
  };
  const std::vector<Row> rows = {
      {"two decimals", "temp", "3.14159", "3.14"},
      {"no precision set", "Yield", "2.50", "2.5"},
      {"unknown variable", "Nope", "1234567", "1.23457e+06"},
      {"undefined value", "Temp", "-99", ""},
      {"not a number", "Temp", "high", "high"},
      {"decimal comma is not read", "Temp", "1,5", "1,5"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(set.FloatStringToPrecisionString(row.variable, row.text), row.shown);
  }
  EXPECT_EQ(set.ToPrecisionString("Temp", 2.0), "2.00");
}

}  // namespace
}  // namespace zubra
