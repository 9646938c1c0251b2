#include "zubra/responses/response_manager.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

using Type = ResponseEx::EResponseType;

std::unique_ptr<ResponseEx> Make(const char* name, Type type = ResponseEx::kRegular,
                                 const char* formula = "") {
  auto r = std::make_unique<ResponseEx>();
  r->GetResponseClass()->SetName(name);
  r->GetResponseClass()->SetAbbr(name);
  r->SetType(type);
  r->SetFormula(formula);
  return r;
}

// Yield (regular), Ratio (derived from factors 1 and 3), Score (linked), Sum (derived, 2).
ResponseManager FourResponses() {
  ResponseManager m;
  m.Add(Make("Yield"));
  m.Add(Make("Ratio", ResponseEx::kDerived, "v(1)/v(3)"));
  m.Add(Make("Score", ResponseEx::kLinked));
  m.Add(Make("Sum", ResponseEx::kDerived, "v(2)+1"));
  return m;
}

std::vector<int> Numbers(const ResponseManager& m) {
  std::vector<int> numbers;
  for (const ResponseEx* r : m.GetResponses())
    numbers.push_back(r->GetResponseClass()->GetNumber());
  return numbers;
}

TEST(ResponseManager, AddRefusesWhatCannotBeHeldAndHandsItBack) {
  // Null, no name, the same name in another case, the same name with a tilde ("Yield~").
  for (const char* name : {static_cast<const char*>(nullptr), "", "YIELD", "Yield~~"}) {
    SCOPED_TRACE(name == nullptr ? "null" : name);
    ResponseManager m = FourResponses();
    std::unique_ptr<ResponseEx> response = name == nullptr ? nullptr : Make(name);
    ResponseEx* given = response.get();
    std::unique_ptr<ResponseEx> refused;
    EXPECT_FALSE(m.Add(std::move(response), &refused));
    EXPECT_EQ(refused.get(), given);
    EXPECT_EQ(m.GetCount(), 4);
  }
}

TEST(ResponseManager, LookupsByNameAndNumber) {
  const ResponseManager m = FourResponses();
  EXPECT_EQ(Numbers(m), (std::vector<int>{1, 2, 3, 4}));
  const std::vector<std::pair<const char*, int>> rows = {
      {"ratio", 2}, {"SCORE~", 3}, {"Sum", 4}, {"Su", 0}, {"", 0}, {"Yield~~", 0}};
  for (const auto& [name, number] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(m.GetNumber(name), number);
    EXPECT_EQ(m.GetResponse(name), m.GetResponseByNumber(number));
  }
  EXPECT_TRUE(m.GetResponseByNumber(0) == nullptr && m.GetResponseByNumber(5) == nullptr);
}

TEST(ResponseManager, DeleteRenumbersTheLaterResponses) {
  ResponseManager m = FourResponses();
  EXPECT_TRUE(m.Delete("RATIO"));
  EXPECT_EQ(m.GetNames(), (std::vector<std::string>{"Yield", "Score", "Sum"}));
  EXPECT_EQ(Numbers(m), (std::vector<int>{1, 2, 3}));
  EXPECT_FALSE(m.Delete("Ratio") || m.Delete(0) || m.Delete(4));
  EXPECT_TRUE(m.Delete(1));
  EXPECT_EQ(m.GetNames(), (std::vector<std::string>{"Score", "Sum"}));
  EXPECT_EQ(Numbers(m), (std::vector<int>{1, 2}));
}

TEST(ResponseManager, CountsAndListsByType) {
  const ResponseManager m = FourResponses();
  // clang-format off
  const std::vector<std::pair<Type, std::vector<std::string>>> rows = {
      {ResponseEx::kAll, {"Yield", "Ratio", "Score", "Sum"}}, {ResponseEx::kRegular, {"Yield"}},
      {ResponseEx::kDerived, {"Ratio", "Sum"}}, {ResponseEx::kLinked, {"Score"}},
      {ResponseEx::kNotDefined, {}}};
  // clang-format on
  for (const auto& [type, names] : rows) {
    SCOPED_TRACE(ResponseEx::GetStringFromType(type));
    EXPECT_EQ(m.GetCount(type), static_cast<int>(names.size()));
    EXPECT_EQ(m.GetNames(type), names);
    EXPECT_EQ(m.GetResponses(type).size(), names.size());
  }
}

TEST(ResponseManager, FactorChangesRenumberEveryFormula) {
  ResponseManager m = FourResponses();
  EXPECT_EQ(m.GetDerivedUsing(3), std::vector<std::string>{"Ratio"});
  const auto formulas = [&m] {
    return m.GetResponse("Ratio")->GetFormula() + " " + m.GetResponse("Sum")->GetFormula();
  };
  m.UpdateDerivedAfterNewOrDelFactor(2, true);
  EXPECT_EQ(formulas(), "v(1)/v(4) v(3)+1");
  EXPECT_EQ(m.GetDerivedUsing(3), std::vector<std::string>{"Sum"});
  m.UpdateDerivedAfterNewOrDelFactor(1, false);
  EXPECT_EQ(formulas(), "v(0)/v(3) v(2)+1");
}

std::string Dump(const ResponseManager& m) {
  TinyXML2Section section;
  m.Save(section);
  return section.ToString();
}

TEST(ResponseManager, SaveThenLoadInBothSectionKinds) {
  for (const bool ini : {false, true}) {
    SCOPED_TRACE(ini ? "ini" : "xml");
    ResponseManager original = FourResponses();
    original.GetResponse("Ratio")->SetQualitativeSettingValues(1, {0.5F, 2.0F});
    original.GetResponse("Yield")->SetMinLimit(2.5);
    std::unique_ptr<ConfigurationSection> section = std::make_unique<TinyXML2Section>();
    if (ini) section = std::make_unique<IniFileSection>();
    section->WriteString("Title", "kept");
    original.Save(*section);
    original.Delete("Score");
    original.Save(*section);  // a second save leaves nothing of the first behind
    ResponseManager read;
    read.Add(Make("Stale"));
    read.Load(*section);
    EXPECT_EQ(Dump(read), Dump(original));
    EXPECT_EQ(Numbers(read), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(read.GetCount(ResponseEx::kDerived), 2);
    EXPECT_EQ(section->GetString("Title"), "kept");
    EXPECT_FALSE(ini ? section->HasChild("Score")
                     : section->OpenChild("Responses")->HasChild("Response", 4));
  }
}

TEST(ResponseManager, LoadOrdersByStoredNumberAndSkipsWhatCannotBeHeld) {
  const auto file = IniFileSection::LoadString(
      "[Responses]\nSum=2\nOdd=x\nYield=1\nyield=3\n\"\"=4\nLate=\n"
      "[Sum]\nName=Sum\nType=Derived\nFormula=v(1)+v(2)\n"
      "[Yield]\nName=Yield\nMinLimit=1.5\n");
  ResponseManager m;
  m.Load(*file);
  EXPECT_EQ(m.GetNames(), (std::vector<std::string>{"Yield", "Sum", "Odd", "Late"}));
  EXPECT_EQ(Numbers(m), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(m.GetResponse("Sum")->GetFormula(), "v(1)+v(2)");
  EXPECT_EQ(m.GetResponse("Yield")->GetType(), ResponseEx::kRegular);
  EXPECT_EQ(m.GetResponse("Yield")->GetMinLimit(), 1.5);
  ResponseManager empty = FourResponses();
  empty.Load(TinyXML2Section());
  EXPECT_EQ(empty.GetCount(), 0);
}

// Without stored numbers the responses are read in the order of their indexes, the largest
// index included (the XML reader refuses a document with a larger one, see TinyXML2Section).
TEST(ResponseManager, LoadWithoutStoredNumbersFollowsTheIndexes) {
  TinyXML2Section section;
  ConfigurationSection& list = section.CreateChild("Responses");
  list.CreateChild("Response", ConfigurationSection::kMaxChildIndex).SetValue("Name", "Last");
  list.CreateChild("Response", 7).SetValue("Name", "First");
  ResponseManager m;
  m.Load(*TinyXML2Section::LoadString(section.ToString()));
  EXPECT_EQ(m.GetNames(), (std::vector<std::string>{"First", "Last"}));
  EXPECT_EQ(Numbers(m), (std::vector<int>{1, 2}));
}

TEST(ResponseManager, LoadThatThrowsKeepsTheHeldResponses) {
  TinyXML2Section section;
  ConfigurationSection& list = section.CreateChild("Responses");
  list.WriteInt("Bad", 1);
  ConfigurationSection& own = list.CreateChild("Response", 1);
  own.WriteString("Name", "Bad");
  own.WriteString("DesirabilityHighExponent", "zero");
  ResponseManager m = FourResponses();
  const std::string before = Dump(m);
  EXPECT_THROW(m.Load(section), Exception);
  EXPECT_EQ(Dump(m), before);
}

TEST(ResponseManager, ReadsTheResponsesTheVariableSetWrites) {
  Variables set;
  auto definition = std::make_unique<ResponseClass>();
  definition->SetName("Yield");
  definition->SetAbbr("Y");
  definition->SetMaxLimit(9.0);
  ASSERT_EQ(set.Add(std::move(definition)), Variables::kOk);
  IniFileSection file;
  set.WriteIniFile(file);
  ResponseManager m;
  m.Load(file);
  ASSERT_EQ(m.GetCount(), 1);
  EXPECT_EQ(m.GetResponse("Yield")->GetType(), ResponseEx::kRegular);
  EXPECT_EQ(m.GetResponse("Yield")->GetMaxLimit(), 9.0);
}

TEST(ResponseManager, MovingADefinitionLeavesTheWorkingFormPointingAtIt) {
  Variables set;
  auto clash = std::make_unique<ResponseClass>();
  clash->SetName("Score");
  clash->SetAbbr("Sc");
  ASSERT_EQ(set.Add(std::move(clash)), Variables::kOk);
  ResponseManager m = FourResponses();
  const ResponseClass* score = m.GetResponse("Score")->GetResponseClass();
  // clang-format off
  const std::vector<std::pair<const char*, Variables::Error>> rows = {
      {"Yield", Variables::kOk}, {"Yield", Variables::kNoVariable},
      {"Missing", Variables::kNotFound}, {"Score", Variables::kNameExists}};
  // clang-format on
  for (const auto& [name, code] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(m.MoveDefinitionTo(set, name), code);
  }
  // Refused: the same definition is owned here again (freed once, with the working form).
  EXPECT_TRUE(m.GetResponse("Score")->OwnsResponseClass());
  EXPECT_EQ(m.GetResponse("Score")->GetResponseClass(), score);
  ResponseEx* yield = m.GetResponse("Yield");
  EXPECT_FALSE(yield->OwnsResponseClass());
  EXPECT_EQ(set.GetResponse("Yield"), yield->GetResponseClass());
  yield->SetMinLimit(4.0);
  EXPECT_EQ(set.GetResponse("Yield")->GetLimits().GetMinLimit(), 4.0);
  // The working form goes first; the set still owns the definition afterwards.
  EXPECT_TRUE(m.Delete("Yield"));
  EXPECT_EQ(set.GetResponse("Yield")->GetLimits().GetMinLimit(), 4.0);
}

TEST(ResponseManager, FailedFileMirrorGivesTheDefinitionBack) {
  const std::filesystem::path missing =
      std::filesystem::temp_directory_path() / "zubra-h10-no-such-dir" / "deeper" / "inv.ini";
  Variables set;
  set.SetIniFile(missing.string());
  ResponseManager m = FourResponses();
  const std::uint32_t id = m.GetResponse("Yield")->GetResponseClass()->GetUniqueID();
  EXPECT_THROW(m.MoveDefinitionTo(set, "Yield"), Exception);
  const ResponseEx* yield = m.GetResponse("Yield");
  ASSERT_NE(yield, nullptr);
  EXPECT_TRUE(yield->OwnsResponseClass());
  EXPECT_EQ(yield->GetResponseClass()->GetUniqueID(), id);
  EXPECT_EQ(set.GetCount(CEVar::kResponse), 0);
}

}  // namespace
}  // namespace zubra
