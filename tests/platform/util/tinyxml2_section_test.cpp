#include "zubra/platform/util/tinyxml2_section.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

std::string Nested(int levels, const std::string& innermost) {
  std::string xml = R"(<zubra version="1">)";
  for (int i = 0; i < levels; ++i) xml += R"(<section name="s">)";
  xml += innermost;
  for (int i = 0; i < levels; ++i) xml += "</section>";
  return xml + "</zubra>";
}

TEST(TinyXML2Section, PrintsTheDocumentedLayoutWithEscapes) {
  TinyXML2Section root;
  root.SetValue("Name", "Temperature");
  root.SetValue("a\tb\nc", "x<y & \"z\" > w");
  root.SetValue("Blank", "  ");
  root.SetValue("Empty", "");
  root.SetValue("Controls", "a\r\x01z");
  ConfigurationSection& terms = root.CreateChild("Term\"Info");
  terms.SetValue("Lines", " one\ntwo ");
  terms.CreateChild("Term", 2);
  EXPECT_EQ(root.ToString(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<zubra version=\"1\">\n"
            "    <value key=\"Name\">Temperature</value>\n"
            "    <value key=\"a&#9;b&#10;c\">x&lt;y &amp; \"z\" &gt; w</value>\n"
            "    <value key=\"Blank\">&#32; </value>\n"
            "    <value key=\"Empty\"/>\n"
            "    <value key=\"Controls\">a&#13;&#1;z</value>\n"
            "    <section name=\"Term&quot;Info\">\n"
            "        <value key=\"Lines\"> one\ntwo </value>\n"
            "        <section name=\"Term\" index=\"2\"/>\n"
            "    </section>\n"
            "</zubra>\n");
}

TEST(TinyXML2Section, ReadsAHandWrittenFile) {
  const auto root =
      TinyXML2Section::LoadFile(std::string(ZUBRA_TEST_DATA_DIR) + "/sections/investigation.xml");
  EXPECT_EQ(root->GetKeys(), (std::vector<std::string>{"Title", "Note"}));
  EXPECT_EQ(root->GetValue("Title"), "Catalyst screening");
  EXPECT_EQ(root->GetValue("Note"), "a < b & two\nlines");
  const ConfigurationSection* factor = root->OpenChild("Factor");
  ASSERT_NE(factor, nullptr);
  EXPECT_EQ(factor->GetValue("Units"), "\u00B0C");
  const ConfigurationSection* transform = factor->OpenChild("Tran");
  ASSERT_NE(transform, nullptr);
  EXPECT_EQ(transform->GetValue("TransConst"), "1,0,1");
  const ConfigurationSection* terms = root->OpenChild("TermInfo");
  ASSERT_NE(terms, nullptr);
  EXPECT_EQ(terms->CountChildren("Term"), 4);
  EXPECT_EQ(terms->GetChildNames(), std::vector<std::string>{});  // indexed ones are not named
  ASSERT_NE(terms->OpenChild("Term", 4), nullptr);
  EXPECT_EQ(terms->OpenChild("Term", 4)->GetInt("V1", 0), 2);
}

TEST(TinyXML2Section, NamedAndIndexedChildrenAreDistinct) {
  TinyXML2Section root;
  root.CreateChild("Term1").SetValue("Kind", "named");
  root.CreateChild("Term", 1).SetValue("Kind", "indexed");
  const auto loaded = TinyXML2Section::LoadString(root.ToString());
  EXPECT_EQ(loaded->OpenChild("Term1")->GetValue("Kind"), "named");
  EXPECT_EQ(loaded->OpenChild("Term", 1)->GetValue("Kind"), "indexed");
  EXPECT_EQ(loaded->GetChildNames(), std::vector<std::string>{"Term1"});
  EXPECT_EQ(loaded->CountChildren("Term"), 1);
}

TEST(TinyXML2Section, RejectsDocumentsThatAreNotOurs) {
  struct Row {
    const char* name;
    std::string xml;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"empty", "", "The XML document is not well formed: XML_ERROR_EMPTY_DOCUMENT at line 0."},
      {"unclosed", "<zubra version=\"1\">\n<section name=\"a\">\n</zubra>",
       "The XML document is not well formed: XML_ERROR_MISMATCHED_ELEMENT at line 2."},
      {"text then closing tag", "x</F>", "The XML document has text outside a value at line 1."},
      {"nul byte", std::string("<zubra version=\"1\">") + '\0' + "</zubra>",
       "The XML document holds a NUL byte at offset 19."},
      {"other root", "<config/>",
       "The XML document is not a configuration: its root element is <config>, not <zubra>."},
      {"no version", "<zubra/>",
       "The XML document lacks the attribute 'version' on <zubra> at line 1."},
      {"newer version", "<zubra version=\"2\"/>",
       "The XML document has the format version '2'; this program reads version 1."},
      {"unknown element", "<zubra version=\"1\">\n<item/></zubra>",
       "The XML document has an unexpected element <item> at line 2."},
      {"unknown attribute", "<zubra version=\"1\"><section name=\"a\" kind=\"x\"/></zubra>",
       "The XML document has an unexpected attribute 'kind' on <section> at line 1."},
      {"text in a section", "<zubra version=\"1\"><section name=\"a\"> x </section></zubra>",
       "The XML document has text outside a value at line 1."},
      {"section without name", "<zubra version=\"1\"><section/></zubra>",
       "The XML document lacks the attribute 'name' on <section> at line 1."},
      {"element in a value", "<zubra version=\"1\"><value key=\"k\">a<b/></value></zubra>",
       "The XML document has unexpected content inside the value 'k' at line 1."},
      {"index zero", "<zubra version=\"1\"><section name=\"T\" index=\"0\"/></zubra>",
       "The XML document has the index '0', which is not a positive whole number, at line 1."},
      {"index with leading zero", "<zubra version=\"1\"><section name=\"T\" index=\"01\"/></zubra>",
       "The XML document has the index '01', which is not a positive whole number, at line 1."},
      {"repeated key",
       "<zubra version=\"1\"><value key=\"k\">1</value>\n<value key=\"k\">2</value></zubra>",
       "The XML document gives the key 'k' twice in one section at line 2."},
      {"repeated section",
       "<zubra version=\"1\"><section name=\"a\"/>\n<section name=\"a\"/></zubra>",
       "The XML document gives the section 'a' twice in one section at line 2."},
      {"repeated indexed section",
       "<zubra version=\"1\"><section name=\"T\" index=\"3\"/><section name=\"T\" "
       "index=\"3\"/></zubra>",
       "The XML document gives the section 'T' with index 3 twice in one section at line 1."},
      {"nesting beyond our limit", Nested(TinyXML2Section::kMaxDepth + 1, ""),
       "The XML document nests sections deeper than 96 levels at line 1."},
      {"nesting beyond the reader's limit", Nested(200, ""),
       "The XML document nests sections deeper than 96 levels at line 1."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(test_support::ErrorOf([&] { TinyXML2Section::LoadString(row.xml); }), row.message);
  }
}

TEST(TinyXML2Section, DeepestAllowedTreeRoundTripsAndDeeperIsRefused) {
  TinyXML2Section root;
  ConfigurationSection* section = &root;
  for (int level = 1; level <= TinyXML2Section::kMaxDepth; ++level) {
    section = &section->CreateChild("s");
  }
  section->SetValue("Deepest", "yes");
  EXPECT_EQ(test_support::ErrorOf([&] { section->CreateChild("one too many"); }),
            "The section 'one too many' cannot be created: sections nest at most 96 levels "
            "deep.");
  EXPECT_FALSE(section->HasChild("one too many"));

  const auto loaded = TinyXML2Section::LoadString(root.ToString());
  const ConfigurationSection* walk = loaded.get();
  for (int level = 1; level <= TinyXML2Section::kMaxDepth && walk != nullptr; ++level) {
    walk = walk->OpenChild("s");
  }
  ASSERT_NE(walk, nullptr);
  EXPECT_EQ(walk->GetValue("Deepest"), "yes");
}

TEST(TinyXML2Section, LoadFileNamesThePathInItsErrors) {
  test_support::ScratchFolder folder;
  ASSERT_TRUE(folder.Ok());
  const std::string missing = folder.File("missing.xml");
  EXPECT_EQ(test_support::ErrorOf([&] { TinyXML2Section::LoadFile(missing); }),
            "Cannot read the file '" + missing + "': No such file or directory.");
  const std::string broken = folder.File("broken.xml");
  WriteFileAtomically(broken, "<zubra version=\"1\"><value key=\"k\">");
  EXPECT_EQ(test_support::ErrorOf([&] { TinyXML2Section::LoadFile(broken); }),
            "Cannot load the file '" + broken +
                "'. The XML document is not well formed: "
                "XML_ERROR_MISMATCHED_ELEMENT at line 1.");
}

}  // namespace
}  // namespace zubra
