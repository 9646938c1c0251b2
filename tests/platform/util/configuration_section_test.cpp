// The contract shared by both section backends, run once with XML and once with INI.
#include "zubra/platform/util/configuration_section.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cstdint>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

struct Backend {
  const char* name;
  std::unique_ptr<ConfigurationSection> (*make)();
  std::string (*to_string)(const ConfigurationSection&);
  std::unique_ptr<ConfigurationSection> (*from_string)(const std::string&);
  void (*save)(const ConfigurationSection&, const std::string&);
  std::unique_ptr<ConfigurationSection> (*load)(const std::string&);
};

template <typename Section>
Backend MakeBackend(const char* name) {
  return {name,
          []() -> std::unique_ptr<ConfigurationSection> { return std::make_unique<Section>(); },
          [](const ConfigurationSection& s) { return static_cast<const Section&>(s).ToString(); },
          [](const std::string& text) -> std::unique_ptr<ConfigurationSection> {
            return Section::LoadString(text);
          },
          [](const ConfigurationSection& s, const std::string& path) {
            static_cast<const Section&>(s).SaveFile(path);
          },
          [](const std::string& path) -> std::unique_ptr<ConfigurationSection> {
            return Section::LoadFile(path);
          }};
}

void PrintTo(const Backend& backend, std::ostream* out) { *out << backend.name; }

class SectionContract : public ::testing::TestWithParam<Backend> {
 protected:
  [[nodiscard]] std::unique_ptr<ConfigurationSection> Reload(
      const ConfigurationSection& section) const {
    return GetParam().from_string(GetParam().to_string(section));
  }
};

TEST_P(SectionContract, TextRoundTripsAsValueKeyAndSectionName) {
  std::string controls;
  for (char c = 1; c < 0x20; ++c) controls += c;
  const std::vector<std::pair<const char*, std::string>> rows = {
      {"empty", ""},
      {"ordinary", "Temperature"},
      {"leading and trailing spaces", "  both  "},
      {"spaces only", "   "},
      {"tab only", "\t"},
      {"carriage return", "\r"},
      {"crlf", "a\r\nb"},
      {"blank lines", " \n \n"},
      {"every control character", controls},
      {"equals", "=a=b"},
      {"semicolon comment", ";not a comment"},
      {"hash comment", "#not a comment"},
      {"section brackets", "[Section]"},
      {"closing bracket", "a]b"},
      {"double quote", "\""},
      {"quoted", "\"quoted\""},
      {"quoted with bad escape", "\"a\\qb\""},
      {"windows path", "C:\\new\\table.dat"},
      {"hex escape lookalike", "\\x41"},
      {"markup", "<a href=\"x\">&amp;</a>]]>"},
      {"percent", "50% of %1% and %%"},
      {"multi-line tag", "<<<END"},
      {"combining mark", "e\xCC\x81"},
      {"emoji", "\xF0\x9F\x98\x80 ok"},
      {"cjk", "\xE6\xB8\xA9\xE5\xBA\xA6"},
      {"byte order mark", "\xEF\xBB\xBFx"},
      {"invalid utf-8", "\xFF\xFE\xC3("},
  };
  for (const auto& [name, text] : rows) {
    SCOPED_TRACE(name);
    auto root = GetParam().make();
    root->SetValue("value", text);
    root->SetValue(text, "as key");
    root->CreateChild(text).SetValue("inside", text);

    const auto loaded = Reload(*root);
    EXPECT_EQ(loaded->GetValue("value"), text);
    EXPECT_EQ(loaded->GetValue(text), "as key");
    const ConfigurationSection* child = loaded->OpenChild(text);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(child->GetName(), text);
    EXPECT_EQ(child->GetValue("inside"), text);
  }
}

TEST_P(SectionContract, TypedValuesRoundTripExactly) {
  const std::vector<std::pair<const char*, double>> doubles = {
      {"undefined marker", -99.0},
      {"one tenth", 0.1},
      {"one third", 1.0 / 3.0},
      {"17 significant digits", 0.30000000000000004},
      {"negative zero", -0.0},
      {"smallest denormal", std::numeric_limits<double>::denorm_min()},
      {"smallest normal", std::numeric_limits<double>::min()},
      {"1e308", 1e308},
      {"lowest double", std::numeric_limits<double>::lowest()},
      {"large odd integer", 9007199254740991.0},
      {"infinity", std::numeric_limits<double>::infinity()},
  };
  auto root = GetParam().make();
  ConfigurationSection& typed = root->CreateChild("Typed");
  for (const auto& [name, value] : doubles) typed.WriteDouble(name, value);
  typed.WriteInt("IntMin", INT_MIN);
  typed.WriteInt("IntMax", INT_MAX);
  typed.WriteUnsigned("UnsignedMax", UINT_MAX);
  typed.WriteBool("True", true);
  typed.WriteBool("False", false);

  const auto loaded = Reload(*root);
  const ConfigurationSection* section = loaded->OpenChild("Typed");
  ASSERT_NE(section, nullptr);
  for (const auto& [name, expected] : doubles) {
    SCOPED_TRACE(name);
    double actual = 7.0;
    EXPECT_TRUE(section->ReadDouble(name, actual));
    // Bit for bit, so that -0.0 and the last digit count.
    EXPECT_EQ(std::bit_cast<std::uint64_t>(actual), std::bit_cast<std::uint64_t>(expected));
  }
  EXPECT_EQ(section->GetInt("IntMin", 0), INT_MIN);
  EXPECT_EQ(section->GetInt("IntMax", 0), INT_MAX);
  unsigned big = 0;
  EXPECT_TRUE(section->ReadUnsigned("UnsignedMax", big));
  EXPECT_EQ(big, UINT_MAX);
  EXPECT_TRUE(section->GetBool("True", false));
  EXPECT_FALSE(section->GetBool("False", true));
  EXPECT_EQ(section->GetInt("Absent", -5), -5);
  EXPECT_EQ(section->GetString("Absent", "fallback"), "fallback");
}

TEST_P(SectionContract, ReadsAcceptOnlyWholeValues) {
  enum Type { kInt, kUnsigned, kDouble, kBool };
  struct Row {
    const char* name;
    std::string text;
    Type type;
    const char* error;  // nullptr when the text is accepted
  };
  const std::vector<Row> rows = {
      {"trailing letter", "12x", kInt, "whole number"},
      {"empty", "", kInt, "whole number"},
      {"fraction as int", "1.5", kInt, "whole number"},
      {"int overflow", "99999999999", kInt, "whole number"},
      {"plus sign", "+1", kInt, "whole number"},
      {"int min", "-2147483648", kInt, nullptr},
      {"negative unsigned", "-1", kUnsigned, "whole number"},
      {"unsigned overflow", "4294967296", kUnsigned, "whole number"},
      {"double overflow", "1e999", kDouble, "number"},
      {"integer as double", "5", kDouble, nullptr},
      {"maybe", "maybe", kBool, "boolean"},
      {"two", "2", kBool, "boolean"},
      {"upper case true", "TRUE", kBool, nullptr},
  };
  auto root = GetParam().make();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    root->SetValue("Key", row.text);
    int int_value = 7;
    unsigned unsigned_value = 7;
    double double_value = 7.0;
    bool bool_value = true;
    try {
      bool found = false;
      if (row.type == kInt) found = root->ReadInt("Key", int_value);
      if (row.type == kUnsigned) found = root->ReadUnsigned("Key", unsigned_value);
      if (row.type == kDouble) found = root->ReadDouble("Key", double_value);
      if (row.type == kBool) found = root->ReadBool("Key", bool_value);
      EXPECT_TRUE(found);
      EXPECT_EQ(row.error, nullptr) << "no exception";
    } catch (const Exception& error) {
      ASSERT_NE(row.error, nullptr) << error.Message();
      EXPECT_EQ(error.Message(),
                "The value '" + row.text + "' of the key 'Key' is not a valid " + row.error + ".");
      // The target keeps its value when the text is refused.
      EXPECT_TRUE(int_value == 7 && unsigned_value == 7 && double_value == 7.0 && bool_value);
    }
  }
}

TEST_P(SectionContract, KeysKeepTheirOrderWhenReplacedAndRemoved) {
  auto root = GetParam().make();
  ConfigurationSection& child = root->CreateChild("Order");
  for (const char* key : {"c", "a", "b", "d"}) child.SetValue(key, key);
  child.SetValue("a", "replaced");
  EXPECT_TRUE(child.RemoveKey("b"));
  EXPECT_FALSE(child.RemoveKey("b"));
  child.SetValue("b", "again");
  EXPECT_EQ(&root->CreateChild("Order"), &child);  // creating again opens the same child

  const auto loaded = Reload(*root);
  const ConfigurationSection* section = loaded->OpenChild("Order");
  ASSERT_NE(section, nullptr);
  EXPECT_EQ(section->GetKeys(), (std::vector<std::string>{"c", "a", "d", "b"}));
  EXPECT_EQ(section->GetValue("a"), "replaced");
  EXPECT_FALSE(section->HasKey("A"));  // keys are compared exactly
}

TEST_P(SectionContract, IndexedChildrenCountToTheLargestIndex) {
  auto root = GetParam().make();
  ConfigurationSection& list = root->CreateChild("TermInfo");
  for (int index : {1, 3, 10}) list.CreateChild("Term", index).WriteInt("Num", index);
  EXPECT_EQ(list.CountChildren("Ter"), 0);

  const auto loaded = Reload(*root);
  const ConfigurationSection* terms = loaded->OpenChild("TermInfo");
  ASSERT_NE(terms, nullptr);
  ASSERT_EQ(terms->CountChildren("Term"), 10);
  std::vector<int> present;
  for (int index = 1; index <= 10; ++index) {
    const ConfigurationSection* term = terms->OpenChild("Term", index);
    EXPECT_EQ(term != nullptr, terms->HasChild("Term", index));
    if (term == nullptr) continue;
    present.push_back(index);
    EXPECT_EQ(term->GetInt("Num", 0), index);
  }
  EXPECT_EQ(present, (std::vector<int>{1, 3, 10}));

  EXPECT_TRUE(list.RemoveChild("Term", 10));
  EXPECT_FALSE(list.RemoveChild("Term", 10));
  EXPECT_EQ(list.CountChildren("Term"), 3);
  EXPECT_EQ(list.OpenChild("Term", 0), nullptr);
  EXPECT_EQ(test_support::ErrorOf([&] { list.CreateChild("Term", 0); }),
            "The index 0 of the section 'Term' is not a positive number.");
}

TEST_P(SectionContract, RemoveChildDropsTheChildAndItsKeys) {
  auto root = GetParam().make();
  root->CreateChild("Keep").WriteInt("A", 1);
  root->CreateChild("Drop").WriteInt("B", 2);
  EXPECT_TRUE(root->RemoveChild("Drop"));
  EXPECT_FALSE(root->RemoveChild("Drop"));
  EXPECT_EQ(Reload(*root)->GetChildNames(), (std::vector<std::string>{"Keep"}));
  EXPECT_TRUE(root->CreateChild("Drop").GetKeys().empty());  // a new child starts empty
}

TEST_P(SectionContract, NulCharacterIsRefusedAndNothingChanges) {
  auto root = GetParam().make();
  root->SetValue("Key", "old");
  const std::string with_nul("a\0b", 3);
  EXPECT_THROW(root->SetValue("Key", with_nul), Exception);
  EXPECT_THROW(root->SetValue(with_nul, "v"), Exception);
  EXPECT_THROW(root->CreateChild(with_nul), Exception);
  EXPECT_EQ(root->GetValue("Key"), "old");
  EXPECT_EQ(root->GetKeys(), (std::vector<std::string>{"Key"}));
  EXPECT_TRUE(root->GetChildNames().empty());
}

// Fills a tree shaped like an investigation: factors, a term list with a gap.
void FillInvestigation(ConfigurationSection& root) {
  root.SetValue("Title", "Catalyst screening, 2nd run");
  for (const char* name : {"Temp", "pH value", "Katalysator \xC3\xBC"}) {
    ConfigurationSection& factor = root.CreateChild(name);
    factor.SetValue("Settings", "a,b,c");
    factor.WriteDouble("Low", -99.0);
    factor.WriteBool("DesignSetFactor", true);
  }
  ConfigurationSection& terms = root.CreateChild("TermInfo");
  for (int index : {1, 3, 4}) terms.CreateChild("Term", index).WriteInt("V1", index);
}

TEST_P(SectionContract, SaveThenLoadGivesAnEqualTree) {
  test_support::ScratchFolder folder;
  ASSERT_TRUE(folder.Ok());
  auto root = GetParam().make();
  FillInvestigation(*root);
  const std::string path = folder.File("investigation");
  GetParam().save(*root, path);
  const auto loaded = GetParam().load(path);
  // Printing is deterministic, so equal prints mean equal trees; a few spot checks make sure
  // the print is not missing what both trees lack.
  EXPECT_EQ(GetParam().to_string(*loaded), GetParam().to_string(*root));
  ASSERT_NE(loaded->OpenChild("pH value"), nullptr);
  EXPECT_EQ(loaded->OpenChild("pH value")->GetValue("Settings"), "a,b,c");
  ASSERT_NE(loaded->OpenChild("TermInfo"), nullptr);
  EXPECT_EQ(loaded->OpenChild("TermInfo")->OpenChild("Term", 3)->GetInt("V1", 0), 3);
  EXPECT_EQ(folder.CountEntries(), 1);
}

TEST_P(SectionContract, FailedSaveKeepsTheOldFile) {
  test_support::ScratchFolder folder;
  ASSERT_TRUE(folder.Ok());
  const std::string path = folder.File("investigation");
  auto old_tree = GetParam().make();
  old_tree->SetValue("Version", "old");
  GetParam().save(*old_tree, path);
  const std::string old_bytes = test_support::ReadBytes(path);

  auto big_tree = GetParam().make();
  FillInvestigation(*big_tree);
  big_tree->SetValue("Padding", std::string(4096, 'x'));
  {
    test_support::FileSizeLimit limit(1024);  // the write fails part-way, as on a full disk
    EXPECT_EQ(test_support::ErrorOf([&] { GetParam().save(*big_tree, path); }),
              "Cannot save the file '" + path + "': File too large.");
  }
  EXPECT_EQ(test_support::ReadBytes(path), old_bytes);
  EXPECT_EQ(folder.CountEntries(), 1);  // no temporary file left behind
  EXPECT_EQ(GetParam().load(path)->GetValue("Version"), "old");
}

INSTANTIATE_TEST_SUITE_P(Backends, SectionContract,
                         ::testing::Values(MakeBackend<TinyXML2Section>("Xml"),
                                           MakeBackend<IniFileSection>("Ini")),
                         [](const ::testing::TestParamInfo<Backend>& backend) {
                           return std::string(backend.param.name);
                         });

}  // namespace
}  // namespace zubra
