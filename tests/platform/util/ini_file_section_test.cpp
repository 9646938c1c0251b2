#include "zubra/platform/util/ini_file_section.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using test_support::ErrorOf;
using Strings = std::vector<std::string>;

TEST(IniFileSection, ReadsAnOlderInvestigationFileAndWritesItBackAlike) {
  const auto root = IniFileSection::LoadFile(std::string(ZUBRA_TEST_DATA_DIR) +
                                             "/sections/older_investigation.ini");
  EXPECT_EQ(root->GetKeys(), (Strings{"Title", "Path", "Units", "Author"}));
  EXPECT_EQ(root->GetValue("Author"), "Jos\xE9");  // not UTF-8: kept byte for byte
  EXPECT_EQ(root->GetChildNames(), (Strings{"Variables", "Temp", "Catalyst", "Responses", "Yield",
                                            "TermInfo", "Term1", "Term3"}));
  const ConfigurationSection* temp = root->OpenChild("Temp");
  ASSERT_NE(temp, nullptr);
  EXPECT_EQ(temp->OpenChild("Temp"), temp);  // values and transform share the one section
  const ConfigurationSection* terms = root->OpenChild("TermInfo");
  ASSERT_NE(terms, nullptr);
  EXPECT_EQ(terms->CountChildren("Term"), 3);
  EXPECT_FALSE(terms->HasChild("Term", 2));
  EXPECT_EQ(terms->OpenChild("Term", 3)->GetValue("Name"), "Tem*Cat");

  const std::string text = root->ToString();
  for (const char* line :
       {"\nUnits=\u00B0C\n", "\nPath=C:\\data\\new\\table.dat\n", "\n[Term3]\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line;
  }
  EXPECT_EQ(text.find('"'), std::string::npos) << text;  // nothing needed quoting
}

TEST(IniFileSection, WritesTheDocumentedForm) {
  IniFileSection root;
  root.SetValue("Title", "Screening");
  root.SetValue("", "empty key");
  ConfigurationSection& temp = root.CreateChild("Temp");
  temp.SetValue("Name", "Temperature");
  temp.SetValue("Empty", "");
  temp.SetValue("Lead", " x");
  temp.SetValue("Lines", "a\r\nb\t\"c\"\\");
  temp.SetValue("a=b", "v");
  temp.SetValue(";k", "v");
  temp.SetValue("Quoted", "\"q\"");
  temp.SetValue("Bell", "\x07");
  root.CreateChild("a]b").CreateChild("Term", 3).SetValue("V1", "1");
  EXPECT_EQ(root.ToString(),
            "Title=Screening\n\"\"=empty key\n\n\n"
            "[Temp]\nName=Temperature\nEmpty=\nLead=\" x\"\n"
            "Lines=\"a\\r\\nb\\t\\\"c\\\"\\\\\"\n\"a\\x3Db\"=v\n\";k\"=v\n"
            "Quoted=\"\\\"q\\\"\"\nBell=\"\\x07\"\n\n\n"
            "[\"a\\x5Db\"]\n\n\n"
            "[Term3]\nV1=1\n");
}

TEST(IniFileSection, ChildrenOfAnySectionAreTopLevelSections) {
  IniFileSection root;
  root.CreateChild("Other").SetValue("K", "v");
  ConfigurationSection& factor = root.CreateChild("Temp");
  ConfigurationSection& nested = factor.CreateChild("Tran");
  ConfigurationSection& term = nested.CreateChild("Term", 2);
  EXPECT_EQ(root.OpenChild("Tran"), &nested);
  EXPECT_EQ(factor.OpenChild("Temp"), &factor);
  EXPECT_EQ(root.OpenChild("Term2"), &term);
  EXPECT_EQ(term.GetName(), "Term2");
  EXPECT_EQ(root.GetChildNames(), (Strings{"Other", "Temp", "Tran", "Term2"}));
  EXPECT_TRUE(factor.GetChildNames().empty());

  EXPECT_TRUE(nested.RemoveChild("Term", 2));
  EXPECT_TRUE(nested.RemoveChild("Tran"));  // a section may remove itself; `nested` is gone
  EXPECT_TRUE(factor.RemoveChild("Temp"));  // and so is `factor`
  EXPECT_EQ(root.ToString(), "[Other]\nK=v\n");
}

TEST(IniFileSection, SectionsNumberedAboveTheLargestIndexAreOnlyNamed) {
  const auto root = IniFileSection::LoadString(
      "[Term1000000]\n[Term1000001]\n[Term2147483647]\n[Term2147483648]\n[Term07]\n");
  EXPECT_EQ(root->GetChildIndexes("Term"), (std::vector<int>{1000000}));
  EXPECT_EQ(root->CountChildren("Term"), 1000000);
  for (const char* name : {"Term1000001", "Term2147483647", "Term2147483648", "Term07"}) {
    EXPECT_NE(root->OpenChild(name), nullptr) << name;
  }
}

TEST(IniFileSection, RejectsMalformedText) {
  // A line without '=', an unterminated section, an empty key, text after a section.
  const std::vector<std::pair<std::string, int>> rows = {
      {"A=1\ngarbage\n", 2}, {"[Temp\nA=1\n", 1}, {"A=1\r\n\r\n=2\r\n", 3}, {"[Temp] junk\n", 1}};
  for (const auto& [text, line] : rows) {
    EXPECT_EQ(ErrorOf([&text = text] { IniFileSection::LoadString(text); }),
              "The INI text is malformed: line " + std::to_string(line) +
                  " is neither a section, a key=value entry nor a comment.")
        << text;
  }
  EXPECT_EQ(ErrorOf([] { IniFileSection::LoadString(std::string("A=1\nB=\0\n", 8)); }),
            "The INI text holds a NUL byte at offset 6.");
}

TEST(IniFileSection, ReadsWhatOlderFilesHold) {
  struct Row {
    const char* name;
    std::string text;
    std::string section;  // empty for the global part
    Strings keys;
    std::string value_of_a;
  };
  const std::vector<Row> rows = {
      {"spaces around equals", "  A  =  1 2  \n", "", {"A"}, "1 2"},
      {"comment after a section", "[S] ; note\nA=1\n", "S", {"A"}, "1"},
      {"cr line ends", "[S]\rB=2\rA=1\r", "S", {"B", "A"}, "1"},
      {"repeated key keeps the first place", "A=1\nB=2\nA=3\n", "", {"A", "B"}, "3"},
      {"repeated section merges", "[S]\nA=1\n[T]\n[S]\nB=2\n", "S", {"A", "B"}, "1"},
      {"plain and quoted spellings merge", "A=1\n\"A\"=2\n", "", {"A"}, "2"},
      {"quotes with an unknown escape", "A=\"C:\\q\"\n", "", {"A"}, "\"C:\\q\""},
      {"quote inside quotes", "A=\"a\"b\"\n", "", {"A"}, "\"a\"b\""},
      {"escaped nul", "A=\"\\x00\"\n", "", {"A"}, "\"\\x00\""},
      {"valid escapes", "A=\"\\x41\\t\\\\\"\n", "", {"A"}, "A\t\\"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto root = IniFileSection::LoadString(row.text);
    const ConfigurationSection* section =
        row.section.empty() ? root.get() : root->OpenChild(row.section);
    ASSERT_NE(section, nullptr);
    EXPECT_EQ(section->GetKeys(), row.keys);
    EXPECT_EQ(section->GetValue("A"), row.value_of_a);
  }
}

TEST(IniFileFactory, OpensAMissingFileAsEmptyAndThrowsForUnusableOnes) {
  test_support::ScratchFolder folder;
  const std::string path = folder.File("settings.ini");
  auto section = IniFileFactory::Open(path);
  EXPECT_TRUE(section->GetKeys().empty() && section->GetChildNames().empty());
  section->CreateChild("Responses").WriteInt("Yield", 1);
  IniFileFactory::Save(*section, path);
  EXPECT_EQ(test_support::ReadBytes(path), "[Responses]\nYield=1\n");
  EXPECT_EQ(IniFileFactory::Open(path)->OpenChild("Responses")->GetInt("Yield", 0), 1);

  WriteFileAtomically(path, "[Temp]\nno equals sign\n");
  EXPECT_EQ(ErrorOf([&] { IniFileFactory::Open(path); }),
            "Cannot load the file '" + path +
                "'. The INI text is malformed: line 2 is neither a section, a key=value entry "
                "nor a comment.");
  EXPECT_EQ(ErrorOf([&] { IniFileFactory::Open(folder.File("")); }),
            "Cannot read the file '" + folder.File("") + "': Is a directory.");
}

}  // namespace
}  // namespace zubra
