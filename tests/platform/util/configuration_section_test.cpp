// The contract shared by both section backends, run once with XML and once with INI.
#include "zubra/platform/util/configuration_section.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

using test_support::ErrorOf;
using Strings = std::vector<std::string>;

template <typename Section>
class SectionContract : public ::testing::Test {};
using Backends = ::testing::Types<TinyXML2Section, IniFileSection>;
TYPED_TEST_SUITE(SectionContract, Backends);

template <typename Section>
std::unique_ptr<Section> Reload(const Section& section) {
  return Section::LoadString(section.ToString());
}

TYPED_TEST(SectionContract, TextRoundTripsAsValueKeyAndSectionName) {
  std::string controls;
  for (char c = 1; c < 0x20; ++c) controls += c;
  // Blanks, INI and XML syntax, escape lookalikes, then a combining mark, an emoji, CJK, a byte
  // order mark and bytes that are not UTF-8.
  // clang-format off
  const Strings texts = {"", "Temperature", "  both  ", "   ", "\t", "\r", "a\r\nb", " \n \n",
      controls, "=a=b", ";not a comment", "#not a comment", "[Section]", "a]b", "\"", "\"quoted\"",
      "\"a\\qb\"", "C:\\new\\table.dat", "\\x41", "<a href=\"x\">&amp;</a>]]>", "50% of %1% and %%",
      "<<<END", "e\xCC\x81 \xF0\x9F\x98\x80 \xE6\xB8\xA9", "\xEF\xBB\xBFx", "\xFF\xFE\xC3("};
  // clang-format on
  for (const std::string& text : texts) {
    SCOPED_TRACE(::testing::PrintToString(text));
    TypeParam root;
    root.SetValue("value", text);
    root.SetValue(text, "as key");
    root.CreateChild(text).SetValue("inside", text);
    const auto loaded = Reload(root);
    EXPECT_EQ(loaded->GetValue("value"), text);
    EXPECT_EQ(loaded->GetValue(text), "as key");
    const ConfigurationSection* child = loaded->OpenChild(text);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(child->GetName(), text);
    EXPECT_EQ(child->GetValue("inside"), text);
  }
}

TYPED_TEST(SectionContract, TypedValuesRoundTripExactly) {
  using L = std::numeric_limits<double>;
  const std::vector<double> doubles = {
      -99.0,           0.1,   1.0 / 3,     0.30000000000000004, -0.0,         L::min(),
      L::denorm_min(), 1e308, L::lowest(), 9007199254740991.0,  L::infinity()};
  TypeParam root;
  for (std::size_t i = 0; i < doubles.size(); ++i) root.WriteDouble(std::to_string(i), doubles[i]);
  root.WriteInt("IntMin", INT_MIN);
  root.WriteInt("IntMax", INT_MAX);
  root.WriteUnsigned("UnsignedMax", UINT_MAX);
  root.WriteBool("True", true);
  root.WriteBool("False", false);

  const auto loaded = Reload(root);
  for (std::size_t i = 0; i < doubles.size(); ++i) {
    // Bit for bit, so that -0.0 and the last digit count.
    EXPECT_EQ(std::bit_cast<std::uint64_t>(loaded->GetDouble(std::to_string(i), 7.0)),
              std::bit_cast<std::uint64_t>(doubles[i]))
        << doubles[i];
  }
  unsigned big = 0;
  EXPECT_TRUE(loaded->ReadUnsigned("UnsignedMax", big) && big == UINT_MAX);
  EXPECT_EQ(loaded->GetInt("IntMin", 0), INT_MIN);
  EXPECT_EQ(loaded->GetInt("IntMax", 0), INT_MAX);
  EXPECT_TRUE(loaded->GetBool("True", false) && !loaded->GetBool("False", true));
  EXPECT_EQ(loaded->GetInt("Absent", -5), -5);
}

TYPED_TEST(SectionContract, ReadsAcceptOnlyWholeValues) {
  enum Type { kInt, kUnsigned, kDouble, kBool };
  const char* const kWhole = "whole number";
  // The text, the reader, and what the message calls the value wanted (nullptr: accepted).
  const std::vector<std::tuple<std::string, Type, const char*>> rows = {
      {"12x", kInt, kWhole},        {"", kInt, kWhole},
      {"1.5", kInt, kWhole},        {"99999999999", kInt, kWhole},
      {"+1", kInt, kWhole},         {"-2147483648", kInt, nullptr},
      {"-1", kUnsigned, kWhole},    {"4294967296", kUnsigned, kWhole},
      {"1e999", kDouble, "number"}, {"5", kDouble, nullptr},
      {"maybe", kBool, "boolean"},  {"2", kBool, "boolean"},
      {"TRUE", kBool, nullptr}};
  TypeParam root;
  for (const auto& [text, type, wanted] : rows) {
    SCOPED_TRACE(text);
    root.SetValue("Key", text);
    int int_value = 7;
    unsigned unsigned_value = 7;
    double double_value = 7.0;
    bool bool_value = true;
    const std::string error = ErrorOf([&, type = type] {
      EXPECT_TRUE(type == kInt        ? root.ReadInt("Key", int_value)
                  : type == kUnsigned ? root.ReadUnsigned("Key", unsigned_value)
                  : type == kDouble   ? root.ReadDouble("Key", double_value)
                                      : root.ReadBool("Key", bool_value));
    });
    if (wanted == nullptr) {
      EXPECT_EQ(error, "(no exception)");
      continue;
    }
    EXPECT_EQ(error, "The value '" + text + "' of the key 'Key' is not a valid " + wanted + ".");
    // The target keeps its value when the text is refused.
    EXPECT_TRUE(int_value == 7 && unsigned_value == 7 && double_value == 7.0 && bool_value);
  }
}

TYPED_TEST(SectionContract, EditsKeepTheOrderOfKeysAndChildrenAndRefuseNulCharacters) {
  TypeParam root;
  ConfigurationSection& child = root.CreateChild("Order");
  for (const char* key : {"c", "a", "b", "d"}) child.SetValue(key, key);
  child.SetValue("a", "replaced");
  EXPECT_TRUE(child.RemoveKey("b"));
  EXPECT_FALSE(child.RemoveKey("b"));
  child.SetValue("b", "again");
  EXPECT_EQ(&root.CreateChild("Order"), &child);  // creating again opens the same child
  root.CreateChild("Drop").WriteInt("B", 2);
  root.CreateChild("Keep");
  EXPECT_TRUE(root.RemoveChild("Drop"));
  EXPECT_FALSE(root.RemoveChild("Drop"));
  const std::string with_nul("a\0b", 3);
  EXPECT_THROW(child.SetValue("a", with_nul), Exception);
  EXPECT_THROW(child.SetValue(with_nul, "v"), Exception);
  EXPECT_THROW(root.CreateChild(with_nul), Exception);

  const auto loaded = Reload(root);
  EXPECT_EQ(loaded->GetChildNames(), (Strings{"Order", "Keep"}));
  const ConfigurationSection* section = loaded->OpenChild("Order");
  ASSERT_NE(section, nullptr);
  EXPECT_EQ(section->GetKeys(), (Strings{"c", "a", "d", "b"}));
  EXPECT_EQ(section->GetValue("a"), "replaced");
  EXPECT_FALSE(section->HasKey("A"));                       // keys are compared exactly
  EXPECT_TRUE(root.CreateChild("Drop").GetKeys().empty());  // a new child starts empty
}

TYPED_TEST(SectionContract, IndexedChildrenListTheIndexesInUseAndCountToTheLargest) {
  TypeParam root;
  ConfigurationSection& list = root.CreateChild("TermInfo");
  for (int index : {10, 1, 3}) list.CreateChild("Term", index).WriteInt("Num", index);
  list.CreateChild("Terms", 2);
  EXPECT_EQ(list.CountChildren("Ter"), 0);
  EXPECT_TRUE(list.GetChildIndexes("Ter").empty());

  const auto loaded = Reload(root);
  const ConfigurationSection* terms = loaded->OpenChild("TermInfo");
  ASSERT_NE(terms, nullptr);
  EXPECT_EQ(terms->GetChildIndexes("Term"), (std::vector<int>{1, 3, 10}));
  ASSERT_EQ(terms->CountChildren("Term"), 10);
  for (int index = 1; index <= 10; ++index) {
    const ConfigurationSection* term = terms->OpenChild("Term", index);
    EXPECT_EQ(term != nullptr, index == 1 || index == 3 || index == 10) << index;
    EXPECT_EQ(terms->HasChild("Term", index), term != nullptr);
    EXPECT_EQ(term == nullptr ? index : term->GetInt("Num", 0), index);
  }

  EXPECT_TRUE(list.RemoveChild("Term", 10));
  EXPECT_FALSE(list.RemoveChild("Term", 10));
  EXPECT_EQ(list.CountChildren("Term"), 3);
  EXPECT_EQ(list.OpenChild("Term", 0), nullptr);
  EXPECT_EQ(ErrorOf([&] { list.CreateChild("Term", 0); }),
            "The index 0 of the section 'Term' is not a positive number.");
}

TYPED_TEST(SectionContract, IndexesAboveTheLargestAreRefusedOnCreateAndNeverFound) {
  constexpr int kLargest = ConfigurationSection::kMaxChildIndex;
  TypeParam root;
  ConfigurationSection& list = root.CreateChild("TermInfo");
  list.CreateChild("Term", kLargest).WriteInt("Num", kLargest);
  list.CreateChild("Term", 2).WriteInt("Num", 2);
  for (const int index : {kLargest + 1, INT_MAX}) {
    SCOPED_TRACE(index);
    EXPECT_EQ(ErrorOf([&] { list.CreateChild("Term", index); }),
              "The index " + std::to_string(index) +
                  " of the section 'Term' is above the largest index 1000000.");
  }
  for (const int index : {kLargest + 1, INT_MAX, INT_MIN, -1}) {
    SCOPED_TRACE(index);
    EXPECT_FALSE(list.HasChild("Term", index));
    EXPECT_EQ(list.OpenChild("Term", index), nullptr);
    EXPECT_FALSE(list.RemoveChild("Term", index));
  }
  const auto loaded = Reload(root);
  const ConfigurationSection* terms = loaded->OpenChild("TermInfo");
  ASSERT_NE(terms, nullptr);
  EXPECT_EQ(terms->GetChildIndexes("Term"), (std::vector<int>{2, kLargest}));
  EXPECT_EQ(terms->CountChildren("Term"), kLargest);
  ASSERT_NE(terms->OpenChild("Term", kLargest), nullptr);
  EXPECT_EQ(terms->OpenChild("Term", kLargest)->GetInt("Num", 0), kLargest);
}

// Random creations and removals of named and indexed children, checked against plain lists
// and again after a reload: finding a child by name must agree with the children in order.
TYPED_TEST(SectionContract, ManyChildrenAreFoundAfterEveryCreationAndRemoval) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> pick(1, 200);
  TypeParam root;
  ConfigurationSection& parent = root.CreateChild("Parent");
  Strings named;  // in order of creation
  std::set<int> indexes;
  const auto child_name = [](int n) {
    return "Factor " + std::string(1, char('A' + n % 26)) + std::string(1, char('a' + n / 26));
  };
  for (int step = 0; step < 3000; ++step) {
    const int n = pick(random);
    const bool indexed = n % 2 == 0;
    const bool remove = pick(random) < 80;
    const std::string name = child_name(n);
    if (indexed && remove) {
      ASSERT_EQ(parent.RemoveChild("Term", n), indexes.erase(n) == 1) << step;
    } else if (indexed) {
      parent.CreateChild("Term", n).WriteInt("Num", n);
      indexes.insert(n);
    } else if (remove) {
      const auto it = std::find(named.begin(), named.end(), name);
      ASSERT_EQ(parent.RemoveChild(name), it != named.end()) << step;
      if (it != named.end()) named.erase(it);
    } else {
      parent.CreateChild(name).SetValue("Name", name);
      if (std::find(named.begin(), named.end(), name) == named.end()) named.push_back(name);
    }
    const int probe = pick(random);
    const ConfigurationSection* by_index = parent.OpenChild("Term", probe);
    ASSERT_EQ(by_index != nullptr, indexes.contains(probe)) << step;
    if (by_index != nullptr) {
      ASSERT_EQ(by_index->GetInt("Num", 0), probe) << step;
    }
    const ConfigurationSection* by_name = parent.OpenChild(child_name(probe));
    ASSERT_EQ(by_name != nullptr,
              std::find(named.begin(), named.end(), child_name(probe)) != named.end())
        << step;
    if (by_name != nullptr) {
      ASSERT_EQ(by_name->GetValue("Name"), child_name(probe)) << step;
    }
  }
  const auto loaded = Reload(root);
  const ConfigurationSection* parent_loaded = loaded->OpenChild("Parent");
  ASSERT_NE(parent_loaded, nullptr);
  EXPECT_EQ(parent_loaded->GetChildIndexes("Term"),
            std::vector<int>(indexes.begin(), indexes.end()));
  // An INI file lists every section from the root, indexed ones and the parent included.
  Strings names = (root.IsIni() ? *loaded : *parent_loaded).GetChildNames();
  std::erase_if(names, [](const std::string& name) { return !name.starts_with("Factor "); });
  EXPECT_EQ(names, named);
  for (const std::string& name : named) {
    const ConfigurationSection* child = parent_loaded->OpenChild(name);
    ASSERT_NE(child, nullptr) << name;
    EXPECT_EQ(child->GetValue("Name"), name);
  }
}

TYPED_TEST(SectionContract, SaveThenLoadGivesAnEqualTreeAndAFailedSaveKeepsTheOldFile) {
  test_support::ScratchFolder folder;
  const std::string path = folder.File("investigation");
  TypeParam root;
  root.SetValue("Title", "Catalyst screening, 2nd run");
  for (const char* name : {"Temp", "pH value", "Katalysator \xC3\xBC"}) {
    root.CreateChild(name).SetValue("Settings", "a,b,c");
    root.CreateChild(name).WriteDouble("Low", -99.0);
  }
  for (int index : {1, 3, 4}) root.CreateChild("TermInfo").CreateChild("Term", index);
  root.SaveFile(path);
  const std::string saved = test_support::ReadBytes(path);
  // Printing is deterministic, so equal prints mean equal trees; the spot check makes sure the
  // print is not missing what both trees lack.
  const auto loaded = TypeParam::LoadFile(path);
  EXPECT_EQ(loaded->ToString(), root.ToString());
  EXPECT_EQ(loaded->GetValue("Title"), "Catalyst screening, 2nd run");
  ASSERT_TRUE(loaded->HasChild("TermInfo"));
  EXPECT_TRUE(loaded->OpenChild("TermInfo")->HasChild("Term", 3));

  root.SetValue("Padding", std::string(4096, 'x'));
  {
    test_support::FileSizeLimit limit(2048);  // the write fails part-way, as on a full disk
    EXPECT_EQ(ErrorOf([&] { root.SaveFile(path); }),
              "Cannot save the file '" + path + "': File too large.");
  }
  EXPECT_EQ(test_support::ReadBytes(path), saved);
  EXPECT_EQ(folder.CountEntries(), 1);  // no temporary file left behind
}

}  // namespace
}  // namespace zubra
