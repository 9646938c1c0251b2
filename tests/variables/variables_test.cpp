#include "zubra/variables/variables.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

using Strings = std::vector<std::string>;
using VarPtr = std::unique_ptr<ResponseClass>;

// A variable named `name` with the abbreviation `abbr` (the name itself when null).
template <typename T = FactorClass>
std::unique_ptr<T> Named(const std::string& name, const char* abbr = nullptr) {
  auto variable = std::make_unique<T>();
  variable->SetName(name);
  variable->SetAbbr(abbr != nullptr ? std::string(abbr) : name);
  return variable;
}

std::unique_ptr<FactorClass> Quant(const std::string& name, const char* abbr = nullptr,
                                   bool controlled = true) {
  auto factor = Named(name, abbr);
  factor->SetValue(0.0, 1.0, CEType::kQuantitative, controlled);
  return factor;
}

std::unique_ptr<FactorClass> Listed(const std::string& name, CEType::EType type,
                                    const Strings& settings, CEUse::EUse use = CEUse::kControlled) {
  auto factor = Named(name);
  factor->SetSettings(settings, type, use);
  return factor;
}

std::unique_ptr<ResponseClass> Response(const std::string& name, const char* abbr = nullptr) {
  return Named<ResponseClass>(name, abbr);
}

// A mixture factor written as "A:0.1-0.6" (controlled formulation range), "S=0.2" (constant
// formulation factor) or "F" (filler). Mixture() prints factors the same way.
std::unique_ptr<FactorClass> Mix(const std::string& token) {
  const std::size_t mark = token.find_first_of(":=");
  auto factor = Named(token.substr(0, mark));
  if (mark == std::string::npos) {
    factor->SetValue(CEType::kFiller, CEUse::kControlled);
    return factor;
  }
  const char* end = token.data() + token.size();
  double low = 0.0;
  double high = 0.0;
  const char* dash = std::from_chars(token.data() + mark + 1, end, low).ptr;
  if (token[mark] == '=') {
    factor->SetValue(low, CEType::kFormulation);
  } else {
    std::from_chars(dash + 1, end, high);
    factor->SetValue(low, high, CEType::kFormulation, true);
  }
  return factor;
}

std::string Mixture(const Variables& set) {
  std::string out;
  for (const FactorClass* f : set.GetAllFactors()) {
    out += (out.empty() ? "" : " ") + f->GetName();
    if (f->IsFiller()) continue;
    out += f->IsConstant() ? "=" + KtString::FormatG(f->GetConst(true))
                           : ":" + KtString::FormatG(f->GetLow(true)) + "-" +
                                 KtString::FormatG(f->GetHigh(true));
  }
  return out;
}

// A response-class variable that claims to be a process factor: no set may hold it.
struct Stranger : ResponseClass {
  [[nodiscard]] CEVar::EVar IsA() const override { return CEVar::kProcessFactor; }
};

template <typename... V>
bool AddAll(Variables& set, V&&... variables) {
  return ((set.Add(std::forward<V>(variables)) == Variables::kOk) && ...);
}

// Adds the mixture factors of a space-separated list of Mix() tokens.
bool AddMixture(Variables& set, const std::string& tokens) {
  std::istringstream in(tokens);
  for (std::string token; in >> token;) {
    if (set.Add(Mix(token)) != Variables::kOk) return false;
  }
  return true;
}

// "name:number" of every variable in slot order.
std::string Layout(const Variables& set) {
  std::string layout;
  for (const ResponseClass* v : set.GetAllVariables()) {
    layout += (layout.empty() ? "" : " ") + v->GetName() + ":" + std::to_string(v->GetNumber());
  }
  return layout;
}

// A fresh folder for one test's settings file, removed afterwards.
struct TempDir {
  std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("zubra_variables_" + std::to_string(::getpid()));
  TempDir() { std::filesystem::create_directories(dir); }
  ~TempDir() { std::filesystem::remove_all(dir); }
  [[nodiscard]] std::string Path() const { return (dir / "investigation.ini").string(); }
};

TEST(Variables, ProcessFactorsAddedAfterMixtureFactorsGoBeforeThem) {
  Variables set;
  ASSERT_TRUE(AddAll(set, Mix("Water:0-1"), Response("Yield"), Mix("Salt:0-1"), Quant("Temp"),
                     Response("Cost"), Listed("Catalyst", CEType::kQualitative, {"a", "b"}),
                     Mix("Rest")));
  EXPECT_EQ(Layout(set), "Temp:1 Catalyst:2 Water:3 Salt:4 Rest:5 Yield:1 Cost:2");
  EXPECT_EQ(set.GetCount(CEVar::kProcessFactor), 2);
  EXPECT_EQ(set.GetCount(CEVar::kMixtureFactor), 3);
  EXPECT_EQ(set.GetFactorCount(), 5);
  EXPECT_EQ(set.GetFiller(), 5);
  EXPECT_EQ(set.GetMixture(), 2);
  // Sort restores the block order after a factor changed its kind through its pointer.
  set.GetFactor("Temp")->SetValue(0.0, 0.5, CEType::kFormulation, true);
  set.Sort();
  EXPECT_EQ(Layout(set), "Catalyst:1 Temp:2 Water:3 Salt:4 Rest:5 Yield:1 Cost:2");
  ASSERT_TRUE(AddAll(set, Quant("Speed")));
  EXPECT_EQ(Layout(set), "Catalyst:1 Speed:2 Temp:3 Water:4 Salt:5 Rest:6 Yield:1 Cost:2");
}

TEST(Variables, InsertPlacesByNumberOrSlotAndRenumbersTheBlock) {
  // kind: q process, m mixture, r response, x a class no set holds, - null;
  // at: the number given to the variable, or the slot asked for.
  const std::vector<std::tuple<const char*, char, bool, int, int, const char*>> rows = {
      {"process number 1 goes first", 'q', false, 1, 1, "X:1 A:2 B:3 M:4 Y:1"},
      {"process number out of range goes last", 'q', false, 9, 3, "A:1 B:2 X:3 M:4 Y:1"},
      {"mixture number inside the mixture block", 'm', false, 3, 3, "A:1 B:2 X:3 M:4 Y:1"},
      {"mixture number in the process range goes last", 'm', false, 1, 4, "A:1 B:2 M:3 X:4 Y:1"},
      {"response number 0 is appended", 'r', false, 0, 5, "A:1 B:2 M:3 Y:1 X:2"},
      {"response number 1 goes first", 'r', false, 1, 4, "A:1 B:2 M:3 X:1 Y:2"},
      {"slot before the mixture block is moved in", 'm', true, 1, 3, "A:1 B:2 X:3 M:4 Y:1"},
      {"slot past the process block is its end", 'q', true, 99, 3, "A:1 B:2 X:3 M:4 Y:1"},
      {"slot 2 for a process factor", 'q', true, 2, 2, "A:1 X:2 B:3 M:4 Y:1"},
      {"slot 1 for a response is the first response", 'r', true, 1, 4, "A:1 B:2 M:3 X:1 Y:2"},
      {"null changes nothing", '-', false, 0, 0, "A:1 B:2 M:3 Y:1"},
      {"a class the set cannot hold is dropped", 'x', true, 1, 0, "A:1 B:2 M:3 Y:1"},
  };
  for (const auto& [name, kind, by_slot, at, slot, layout] : rows) {
    SCOPED_TRACE(name);
    Variables set;
    ASSERT_TRUE(AddAll(set, Quant("A"), Quant("B"), Mix("M:0-1"), Response("Y")));
    VarPtr variable;
    if (kind == 'q') variable = Quant("X");
    if (kind == 'm') variable = Mix("X:0-1");
    if (kind == 'r') variable = Response("X");
    if (kind == 'x') variable = Named<Stranger>("X");
    if (variable != nullptr && !by_slot) variable->SetNumber(at);
    EXPECT_EQ(by_slot ? set.Insert(at, std::move(variable), false)
                      : set.Insert(std::move(variable), false),
              slot);
    EXPECT_EQ(Layout(set), layout);
  }
}

TEST(Variables, LookupsIgnoreCaseAndOneTrailingTilde) {
  Variables set;
  auto ph = Quant("pH");
  ph->SetTransform(Transform(TraData::kLog, 1.0, 0.0, kUndefined));
  ASSERT_TRUE(
      AddAll(set, Quant("Temp", "T"), std::move(ph), Mix("Water:0-1"), Response("Yield", "Y")));
  // query, slot, is a factor, is a response
  const std::vector<std::tuple<const char*, int, bool, bool>> rows = {
      {"Temp", 1, true, false},    {"temp~", 1, true, false},  {"TEMP", 1, true, false},
      {"Temp~~", 0, false, false}, {"Tem", 0, false, false},   {"", 0, false, false},
      {"~", 0, false, false},      {"wATER~", 3, true, false}, {"yield", 4, false, true},
      {"Yield~", 4, false, true},
  };
  for (int pass = 0; pass < 2; ++pass) {  // the second pass is answered from the cache
    for (const auto& [query, slot, factor, response] : rows) {
      SCOPED_TRACE(std::string(query) + (pass == 0 ? "" : " (cached)"));
      EXPECT_EQ(set.GetSlot(query), slot);
      EXPECT_EQ(set.IsFactor(query), factor);
      EXPECT_EQ(set.IsResponse(query), response);
      EXPECT_EQ(set.VariableExist(query), slot != 0);
    }
  }
  EXPECT_EQ(set.GetNameFromAbbr("t"), "Temp");
  EXPECT_EQ(set.GetNameFromAbbr("PH~"), "pH");
  EXPECT_EQ(set.GetFactorFromAbbr("y"), nullptr);
  EXPECT_NE(set.GetVariableFromAbbr("y"), nullptr);
  EXPECT_EQ(set.GetTransformedAbbr("pH"), "pH~");
  EXPECT_EQ(set.GetTransformedAbbr("T"), "T");
  EXPECT_EQ(set.GetTransformedAbbr("$B1"), "$B1");
  EXPECT_EQ(set.GetAbbr(2), "pH");
  EXPECT_EQ(set.Get("Water", CEVar::kProcessFactor), nullptr);
  EXPECT_EQ(set.GetNextFactor("temp~"), set.GetFactor("pH"));
  EXPECT_EQ(set.GetNextFactor("Water"), nullptr);
  EXPECT_EQ(*set.factor_begin(), set.GetFactor("Temp"));
  EXPECT_EQ(std::distance(set.factor_begin(), set.factor_end()), 3);

  // A cached slot whose variable was renamed no longer answers for the old name.
  set.GetFactor("Temp")->SetName("Heat");
  EXPECT_EQ(set.GetSlot("Temp"), 0);
  EXPECT_EQ(set.GetSlot("heat"), 1);
  // Slots move when a variable is removed; the lookups follow.
  ASSERT_EQ(set.Delete("HEAT"), Variables::kOk);
  EXPECT_EQ(set.GetSlot("Water"), 2);
  EXPECT_EQ(set.GetSlot("Yield"), 3);
  EXPECT_EQ(set.GetNumber("yield~"), 1);
}

TEST(Variables, BlockGeneratorsAndReservedNames) {
  const Strings generators = {"",       "$B1",    "$B2",       "$B3", "$B1$B2",
                              "$B1$B3", "$B2$B3", "$B1$B2$B3", ""};
  for (int i = 0; i <= 8; ++i) EXPECT_EQ(Variables::GetBlockGen(i), generators[i]) << i;
  // name, a single generator, any generator, its number, reserved, legal
  const std::vector<std::tuple<const char*, bool, bool, int, bool, bool>> rows = {
      {"$B1", true, true, -1, false, false},           {"$B3", true, true, -3, false, false},
      {"$B1$B2", false, true, 0, false, false},        {"$B1$B2$B3", false, true, 0, false, false},
      {"$b1", false, false, 0, false, false},          {"$B4", false, false, 0, false, false},
      {"$B1 ", false, false, 0, false, false},         {"Status", false, false, 0, true, true},
      {"model settings", false, false, 0, true, true}, {"CONTOUR", false, false, 0, true, true},
      {"Combination ID", false, false, 0, true, true}, {"Models", false, false, 0, false, true},
      {"Axis3D", false, false, 0, false, true},        {"$BlockV", false, false, 0, false, true},
      {"$Layer", false, false, 0, false, true},        {"$Plate", false, false, 0, false, true},
      {"$Block", false, false, 0, false, false},       {"a=b", false, false, 0, false, false},
      {"Temp~", false, false, 0, false, false},        {"$B2", true, true, -2, false, false},
  };
  const Variables set;
  for (const auto& [name, single, any, number, reserved, legal] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(Variables::IsBlockGen(name, true), single);
    EXPECT_EQ(Variables::IsBlockGen(name, false), any);
    EXPECT_EQ(set.GetNumber(name), number);
    EXPECT_EQ(Variables::IsReservedName(name), reserved);
    EXPECT_EQ(Variables::LegalName(name), legal);
  }
}

TEST(Variables, AdmissionCodesComeInOrderAndChangeNothing) {
  using enum Variables::Error;
  using enum CEType::EType;
  const Strings twice = {"a", "a"};
  const Strings text = {"1", "x"};
  // Each candidate also breaks a rule checked after its own, so the order shows.
  const std::vector<std::tuple<const char*, std::function<VarPtr()>, Variables::Error>> rows = {
      {"null", [] { return nullptr; }, kNoVariable},
      {"no value (and a bad name)", [] { return Named("a=b", "Z"); }, kNotDefined},
      {"response without abbreviation", [] { return Response("New", ""); }, kNotDefined},
      {"bad character (and taken abbreviation)", [] { return Quant("T=", "T"); }, kIllegalName},
      {"empty name", [] { return Quant("", "Z"); }, kIllegalName},
      {"name in another case (and taken abbreviation)", [] { return Quant("TEMP~", "T"); },
       kNameExists},
      {"response name taken by a factor", [] { return Response("temp", "Z"); }, kNameExists},
      {"abbreviation taken in another case", [] { return Response("Cost", "t"); }, kAbbrNotUnique},
      {"same settings twice", [&] { return Listed("C", kQualitative, twice); }, kInvalidSettings},
      {"text multilevel setting", [&] { return Listed("S", kMultilevel, text); }, kInvalidSettings},
      {"second filler", [] { return Mix("Rest"); }, kSecondFiller},
      {"class no set holds", [] { return Named<Stranger>("Odd"); }, kIllegalClass},
      {"internal name", [] { return Quant("$Layer", "L"); }, kOk},
      {"new response", [] { return Response("Cost", "Co"); }, kOk},
  };
  for (const auto& [name, make, code] : rows) {
    SCOPED_TRACE(name);
    Variables set;
    ASSERT_TRUE(AddAll(set, Quant("Temp", "T"), Mix("Water"), Response("Yield", "Y")));
    const VarPtr candidate = make();
    // Only Add looks at the class.
    EXPECT_EQ(set.IsLegal(candidate.get()), code == kIllegalClass ? kOk : code);
    VarPtr refused;
    EXPECT_EQ(set.Add(make(), false, &refused), code);
    EXPECT_EQ(set.GetVariableCount(), code == kOk ? 4 : 3);
    EXPECT_EQ(refused == nullptr, code == kOk || code == kNoVariable);
    if (code == kOk) continue;
    EXPECT_EQ(Layout(set), "Temp:1 Water:2 Yield:1");
  }
}

TEST(Variables, CandidateSetSizeAndMemory) {
  auto expect = [](const Variables& set, std::int64_t runs, std::int64_t columns) {
    EXPECT_EQ(set.CandidateSetRuns(), runs);
    EXPECT_EQ(set.CandidateSetMemoryCheck(), runs * columns * 4);
  };
  Variables set;
  expect(set, 1, 0);
  // 2 x 2 x 3; the qualitative factor takes 2 columns.
  ASSERT_TRUE(
      AddAll(set, Quant("A"), Quant("B"), Listed("C", CEType::kQualitative, {"a", "b", "c"})));
  expect(set, 12, 4);
  // An uncontrolled multilevel factor counts; a constant qualitative and an uncontrolled
  // quantitative factor do not.
  ASSERT_TRUE(AddAll(
      set, Listed("M", CEType::kMultilevel, {"1", "2", "3", "4"}, CEUse::kUncontrolled),
      Listed("K", CEType::kQualitative, {"a", "b"}, CEUse::kConstant), Quant("U", nullptr, false)));
  expect(set, 48, 5);
  // Times the number of controlled formulation factors (a constant one is not counted).
  ASSERT_TRUE(AddMixture(set, "D:0-1 E:0-1 G:0-1 S=0.1"));
  expect(set, 3 * 48, 8);
  // 2^31 wraps to the 32-bit minimum, 2^32 to 0.
  Variables wide;
  for (int i = 0; i < 32; ++i) {
    if (i == 31) expect(wide, INT32_MIN, 31);
    ASSERT_TRUE(AddAll(wide, Quant("Q" + std::to_string(i))));
  }
  expect(wide, 0, 32);
}

TEST(Variables, DesignNumbersAndExpandedColumns) {
  Variables set;
  ASSERT_TRUE(AddAll(set, Quant("A"), Quant("U", nullptr, false),
                     Listed("C", CEType::kQualitative, {"a", "b", "c", "d"}),
                     Listed("M", CEType::kMultilevel, {"1", "2", "3"}), Response("Y")));
  // slot, design number, first expanded column among all factors and among design factors
  const std::vector<std::array<int, 4>> rows = {{0, 0, 0, 0}, {1, 1, 1, 1}, {2, 0, 2, 0},
                                                {3, 2, 3, 2}, {4, 3, 6, 5}, {5, 0, 0, 0}};
  for (const auto& [slot, design, expanded, expanded_design] : rows) {
    SCOPED_TRACE(slot);
    EXPECT_EQ(set.GetDesignNumber(slot), design);
    EXPECT_EQ(set.GetExpandedFactorIndex(slot), expanded);
    EXPECT_EQ(set.GetExpandedDesignFactorIndex(slot), expanded_design);
  }
  EXPECT_EQ(set.GetDesignFactorCount(), 3);
  EXPECT_EQ(set.GetDesignFactorNumber(2), 3);
  EXPECT_EQ(set.GetExpandedFactorCount(), 6);
  EXPECT_EQ(set.GetExpandedDesignFactorCount(), 5);
  EXPECT_FALSE(set.IsConstraintFactor(set.GetFactor("U")));
  EXPECT_TRUE(set.IsConstraintFactor(set.GetFactor("C")));
}

TEST(Variables, DeleteAndDetachCloseTheNumberGap) {
  // op: d Delete(target), n Detach(target), s Detach(slot);
  // result: Delete's code, or the name of the detached variable.
  const std::vector<std::tuple<const char*, char, const char*, int, const char*, const char*>>
      rows = {
          {"delete a process factor", 'd', "a", 0, "0", "B:1 M:2 Y:1 Z:2"},
          {"delete an unknown name", 'd', "Q", 0, "1", "A:1 B:2 M:3 Y:1 Z:2"},
          {"detach a response by name", 'n', "y~", 0, "Y", "A:1 B:2 M:3 Z:1"},
          {"detach the mixture factor by slot", 's', "", 3, "M", "A:1 B:2 Y:1 Z:2"},
          {"detach slot 0", 's', "", 0, "", "A:1 B:2 M:3 Y:1 Z:2"},
          {"detach past the end", 's', "", 6, "", "A:1 B:2 M:3 Y:1 Z:2"},
      };
  for (const auto& [name, op, target, slot, result, layout] : rows) {
    SCOPED_TRACE(name);
    Variables set;
    ASSERT_TRUE(AddAll(set, Quant("A"), Quant("B"), Mix("M:0-1"), Response("Y"), Response("Z")));
    std::string removed;
    if (op == 'd') {
      removed = std::to_string(set.Delete(target));
    } else if (const VarPtr v = op == 'n' ? set.Detach(target) : set.Detach(slot); v != nullptr) {
      removed = v->GetName();
    }
    EXPECT_EQ(removed, result);
    EXPECT_EQ(Layout(set), layout);
  }
}

TEST(Variables, CopiesAreDeepAndIndependent) {
  Variables set;
  ASSERT_TRUE(AddAll(set, Quant("Temp"), Mix("Water:0.2-0.8"), Response("Yield")));
  const FMatrix constraints{{1.0F, 2.0F}};
  set.SetConstraints(&constraints);
  set.SetUsePseudoComponents(true);
  Variables copy(set);
  Variables assigned;
  assigned = set;
  for (Variables* other : {&copy, &assigned}) {
    EXPECT_EQ(Layout(*other), Layout(set));
    EXPECT_EQ(Mixture(*other), "Temp:0-1 Water:0.2-0.8");
    EXPECT_NE(other->GetFactor("Water"), set.GetFactor("Water"));
    EXPECT_TRUE(other->GetUsePseudoComponents());
    ASSERT_NE(other->GetConstraints(), nullptr);
    EXPECT_NE(other->GetConstraints(), set.GetConstraints());
    EXPECT_EQ(*other->GetConstraints(), constraints);
  }
  copy.GetFactor("Water")->SetValue(0.0, 0.5, CEType::kFormulation, true);
  ASSERT_EQ(copy.Delete("Temp"), Variables::kOk);
  EXPECT_EQ(Mixture(set), "Temp:0-1 Water:0.2-0.8");
  EXPECT_EQ(Layout(set), "Temp:1 Water:2 Yield:1");
}

TEST(Variables, MirrorsAdditionsAndRemovalsIntoTheSettingsFile) {
  using Entries = std::vector<Variables::Entry>;
  auto sorted = [](Entries entries) {
    std::ranges::sort(entries, {}, &Variables::Entry::number);
    return entries;
  };
  TempDir dir;
  Variables set;
  set.SetIniFile(dir.Path());
  // Temp and Cat, added later, push Water from number 1 to 3.
  ASSERT_TRUE(AddAll(set, Mix("Water:0.1-0.9"), Response("Yield"), Quant("Temp"),
                     Listed("Cat", CEType::kQualitative, {"x", "y, z"})));
  EXPECT_EQ(set.GetAllResponseEntries(), (Entries{{"Yield", 1}}));
  EXPECT_EQ(sorted(set.GetAllFactorEntries()), (Entries{{"Temp", 1}, {"Cat", 2}, {"Water", 3}}));
  EXPECT_TRUE(set.FactorCheckDataFile());
  EXPECT_TRUE(set.ResponseCheckDataFile());

  Variables reread;
  reread.LoadIniFile(dir.Path());
  EXPECT_EQ(Layout(reread), Layout(set));
  EXPECT_EQ(reread.GetFactor("Cat")->GetSettings(), (Strings{"x", "y, z"}));
  EXPECT_EQ(Mixture(reread), Mixture(set));
  EXPECT_EQ(reread.GetType("water"), CEType::kFormulation);

  ASSERT_EQ(set.Delete("temp"), Variables::kOk);
  EXPECT_EQ(sorted(set.GetAllFactorEntries()), (Entries{{"Cat", 1}, {"Water", 2}}));
  EXPECT_FALSE(IniFileFactory::Open(dir.Path())->HasChild("Temp"));
  ASSERT_TRUE(reread.ReloadVariables());
  EXPECT_EQ(Layout(reread), "Cat:1 Water:2 Yield:1");

  // Changes kept out of the file show up in the checks.
  set.Insert(Response("Cost", "Co"), false);
  ASSERT_NE(set.Detach("Cat"), nullptr);
  Strings differences;
  EXPECT_FALSE(set.ResponseCheckDataFile(&differences));
  EXPECT_EQ(differences, (Strings{"Cost"}));
  EXPECT_FALSE(set.FactorCheckDataFile(&differences));
  EXPECT_EQ(differences, (Strings{"Water", "Cat"}));
}

TEST(Variables, FailuresLeaveTheSetAsItWas) {
  TempDir dir;
  Variables set;
  ASSERT_TRUE(AddAll(set, Quant("A"), Mix("M:0-1")));
  const std::string before = Layout(set);
  // A file in a folder that does not exist cannot be saved.
  set.SetIniFile(dir.Path() + "/missing/investigation.ini");
  EXPECT_THROW(set.Add(Quant("B")), Exception);
  EXPECT_EQ(Layout(set), before);
  EXPECT_EQ(set.GetCount(CEVar::kProcessFactor), 1);
  EXPECT_THROW(set.Delete("A"), Exception);
  EXPECT_EQ(Layout(set), before);
  EXPECT_EQ(set.GetSlot("M"), 2);
  // A malformed file is not read at all.
  std::ofstream(dir.Path()) << "[Factors]\nB=1\nno equals sign\n[B]\nType=Quantitative\n";
  EXPECT_THROW(set.LoadIniFile(dir.Path()), Exception);
  EXPECT_EQ(Layout(set), before);
}

TEST(Variables, WholeFileRoundTripKeepsOtherSectionsAndDropsStaleOnes) {
  auto file =
      IniFileSection::LoadString("[Model]\nTerms=3\n[Factors]\nOld=1\n[Old]\nType=Quantitative\n");
  Variables set;
  ASSERT_TRUE(AddAll(set, Listed("Speed", CEType::kMultilevel, {"1", "2.5", "4"}), Mix("Salt=0.2"),
                     Mix("Water:0.1-0.9"), Response("Yield")));
  set.SetUsePseudoComponents(true);
  set.WriteReferenceMixture({{"Salt", 0.2}, {"Water", 0.8}});
  set.WriteIniFile(*file);

  EXPECT_EQ(file->OpenChild("Model")->GetString("Terms"), "3");
  EXPECT_FALSE(file->HasChild("Old"));
  const Variables reread(*file, nullptr);
  EXPECT_EQ(Layout(reread), "Speed:1 Salt:2 Water:3 Yield:1");
  EXPECT_EQ(Mixture(reread), Mixture(set));
  EXPECT_EQ(reread.GetFactor("Speed")->GetSettings(), (Strings{"1", "2.5", "4"}));
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
  EXPECT_EQ(Layout(set), "A:1 B:2 NoNumber:3 M:4 Y:1");
  EXPECT_EQ(set.GetMixtureTotal(), 1.0);
  EXPECT_FALSE(set.GetUsePseudoComponents());
}

TEST(Variables, ReadingSkipsAnEntryNamingAVariableAlreadyReadUnderItsOwnName) {
  // [T] names its factor Temperature (whose settings are then in [Temperature]), so the later
  // entry TEMPERATURE names it again.
  auto file = IniFileSection::LoadString(
      "[Factors]\nT=1\nTEMPERATURE=2\nP=x\n"
      "[T]\nName=Temperature\nAbbreviation=T\n[Temperature]\nType=Quantitative\nSettings=0,1\n"
      "[TEMPERATURE]\nType=Quantitative\nSettings=0,1\nAbbreviation=X\n"
      "[P]\nType=Quantitative\nSettings=0,1\nAbbreviation=P\n");
  Variables set;
  set.ReadIniFile(*file);
  EXPECT_EQ(Layout(set), "Temperature:1 P:2");
}

TEST(Variables, AdjustMixtureRangesChecksSumsAndCutsRanges) {
  const std::string too_small =
      "The sum of the high settings of the formulation factors is too small (1). The sum must "
      "be higher than 1. Change the settings or add a filler factor.";
  const std::string too_large =
      "The sum of the low settings of the formulation factors is too large (1.1). The sum must "
      "not be higher than 1.";
  const std::string converted =
      "The factor 'F' has been converted to a formulation factor. A design can include a "
      "filler only if the other formulation factors do not add up to 1.";
  // factors, success, changed, message, factors afterwards
  const std::vector<std::tuple<const char*, bool, bool, std::string, const char*>> rows = {
      {"S=0.5 F", true, false, "", "S=0.5 F"},  // no controlled formulation factor
      {"A:0-0.5 B:0-0.5", false, false, too_small, "A:0-0.5 B:0-0.5"},
      {"A:0.6-0.9 B:0.5-0.8", false, false, too_large, "A:0.6-0.9 B:0.5-0.8"},
      {"A:0-1 B:0.2-0.5", true, true, "", "A:0.5-0.8 B:0.2-0.5"},
      {"S=0.5 B:0-0.8 C:0.1-0.8", true, true, "", "S=0.5 B:0-0.4 C:0.1-0.5"},
      {"A:0.1-0.3 B:0.1-0.3 F", true, false, "", "A:0.1-0.3 B:0.1-0.3 F"},
      {"A:0.1-0.6 B:0.1-0.6 F", true, true, converted, "A:0.1-0.6 B:0.1-0.6 F:0-0.8"},
      // The converted filler would leave the lows above 1.
      {"A:0.6-0.9 B:0.5-0.9 F", false, false, too_large, "A:0.6-0.9 B:0.5-0.9 F"},
  };
  for (const auto& [factors, ok, changed, message, after] : rows) {
    SCOPED_TRACE(factors);
    Variables set;
    ASSERT_TRUE(AddMixture(set, factors));
    bool changed_now = !changed;
    std::string message_now = "stale";
    EXPECT_EQ(set.AdjustMixtureRanges(&changed_now, &message_now), ok);
    EXPECT_EQ(changed_now, changed);
    EXPECT_EQ(message_now, message);
    EXPECT_EQ(Mixture(set), after);
    // A second run finds nothing more to do and keeps the result.
    EXPECT_EQ(set.AdjustMixtureRanges(&changed_now, nullptr), ok);
    EXPECT_FALSE(changed_now);
    EXPECT_EQ(Mixture(set), after);
  }
  // Adjustments start from the ranges the user gave: when B widens, A's cut is recomputed
  // from its own range [0, 1], not from [0.5, 0.8].
  Variables set;
  ASSERT_TRUE(AddMixture(set, "A:0-1 B:0.2-0.5"));
  ASSERT_TRUE(set.AdjustMixtureRanges(nullptr, nullptr));
  EXPECT_TRUE(set.IsAdjusted());
  set.GetFactor("B")->SetValue(0.2, 0.9, CEType::kFormulation, true);
  bool changed = false;
  ASSERT_TRUE(set.AdjustMixtureRanges(&changed, nullptr));
  EXPECT_TRUE(changed);
  EXPECT_EQ(Mixture(set), "A:0.1-0.8 B:0.2-0.9");
  EXPECT_EQ(set.GetFactor("A")->GetAdjustFromLow(), 0.0);
  EXPECT_EQ(set.GetFactor("A")->GetAdjustFromHigh(), 1.0);
}

TEST(Variables, PseudoComponentsAndReferenceMixture) {
  // extra factors, factor, value, its pseudo-component, reference amounts in slot order
  const std::vector<std::tuple<const char*, const char*, double, double, std::vector<double>>>
      rows = {
          {"", "A", 0.4, 0.5, {0.3, 0.4, 0.3}},  // room 0.6
          {"K=0.1", "B", 0.45, 0.5, {0.1 + 0.5 / 3, 0.2 + 0.5 / 3, 0.1 + 0.5 / 3, 0.1}},
          {"F", "A", 0.4, 0.4, {0.35, 0.45, 0.3, 1.0 - 1.1}},  // a filler: values as they are
      };
  for (const auto& [extra, name, value, pseudo, reference] : rows) {
    SCOPED_TRACE(extra);
    Variables set;
    ASSERT_TRUE(AddMixture(set, std::string("A:0.1-0.6 B:0.2-0.7 C:0.1-0.5 ") + extra));
    const FactorClass* factor = set.GetFactor(name);
    EXPECT_NEAR(set.GetPseudoComponent(factor, value), pseudo, 1e-12);
    EXPECT_NEAR(set.GetValueFromPseudoComponent(factor, pseudo), value, 1e-12);
    EXPECT_EQ(set.GetPseudoComponent(factor, kUndefined), kUndefined);
    const std::vector<Variables::MixtureAmount> amounts = set.GetSimplexReferenceMixture();
    ASSERT_EQ(amounts.size(), reference.size());
    for (std::size_t i = 0; i < amounts.size(); ++i) {
      EXPECT_NEAR(amounts[i].value, reference[i], 1e-12) << amounts[i].name;
    }
  }
  Variables set;
  ASSERT_TRUE(AddAll(set, Quant("T")));
  ASSERT_TRUE(AddMixture(set, "A:0.6-0.9 B:0.5-0.9"));
  EXPECT_EQ(set.GetPseudoComponent(set.GetFactor("T"), 0.4), 0.4);         // not a mixture factor
  EXPECT_EQ(set.GetPseudoComponent(set.GetFactor("A"), 0.7), kUndefined);  // no room left
  EXPECT_EQ(set.GetSimplexReferenceMixture().size(), 2U);
}

TEST(Variables, PrecisionStrings) {
  Variables set;
  auto temp = Quant("Temp");
  temp->SetPrecision(CEPrec::kDecimals2);
  ASSERT_TRUE(AddAll(set, std::move(temp), Response("Yield")));
  // variable, stored text, shown text: two decimals, none set, an unknown variable, the
  // undefined value, a text that is not a number, a decimal comma (not read)
  const std::vector<std::tuple<const char*, const char*, const char*>> rows = {
      {"temp", "3.14159", "3.14"}, {"Yield", "2.50", "2.5"}, {"Nope", "1234567", "1.23457e+06"},
      {"Temp", "-99", ""},         {"Temp", "high", "high"}, {"Temp", "1,5", "1,5"},
  };
  for (const auto& [name, text, shown] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(set.FloatStringToPrecisionString(name, text), shown);
  }
  EXPECT_EQ(set.ToPrecisionString("Temp", 2.0), "2.00");
}

}  // namespace
}  // namespace zubra
