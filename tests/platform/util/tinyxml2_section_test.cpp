#include "zubra/platform/util/tinyxml2_section.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "tests/platform/util/test_data_support.h"
#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using test_support::ErrorOf;

std::string Nested(int levels) {
  std::string xml = R"(<zubra version="1">)";
  for (int i = 0; i < levels; ++i) xml += R"(<section name="s">)";
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
  terms.CreateChild("Term", 2).SetValue("Kind", "indexed");
  terms.CreateChild("Term2");
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
            "        <section name=\"Term\" index=\"2\">\n"
            "            <value key=\"Kind\">indexed</value>\n"
            "        </section>\n"
            "        <section name=\"Term2\"/>\n"
            "    </section>\n"
            "</zubra>\n");
  // Named and indexed children are told apart after reading back.
  const auto reloaded = TinyXML2Section::LoadString(root.ToString());
  const ConfigurationSection* loaded = reloaded->OpenChild("Term\"Info");
  ASSERT_NE(loaded, nullptr);
  ASSERT_EQ(loaded->GetChildNames(), std::vector<std::string>{"Term2"});
  EXPECT_TRUE(loaded->OpenChild("Term2")->GetKeys().empty());
  ASSERT_EQ(loaded->CountChildren("Term"), 2);
  EXPECT_EQ(loaded->OpenChild("Term", 2)->GetValue("Kind"), "indexed");
}

TEST(TinyXML2Section, ReadsAHandWrittenFile) {
  const auto root =
      TinyXML2Section::LoadFile(std::string(ZUBRA_TEST_DATA_DIR) + "/sections/investigation.xml");
  EXPECT_EQ(root->GetKeys(), (std::vector<std::string>{"Title", "Note"}));
  EXPECT_EQ(root->GetValue("Note"), "a < b & two\nlines");
  const ConfigurationSection* factor = root->OpenChild("Factor");
  ASSERT_NE(factor, nullptr);
  ASSERT_NE(factor->OpenChild("Tran"), nullptr);
  EXPECT_EQ(factor->OpenChild("Tran")->GetValue("TransConst"), "1,0,1");
  const ConfigurationSection* terms = root->OpenChild("TermInfo");
  ASSERT_NE(terms, nullptr);
  EXPECT_EQ(terms->CountChildren("Term"), 4);
  ASSERT_NE(terms->OpenChild("Term", 4), nullptr);
  EXPECT_EQ(terms->OpenChild("Term", 4)->GetInt("V1", 0), 2);
}

TEST(TinyXML2Section, RejectsDocumentsThatAreNotOurs) {
  const std::string z = "<zubra version=\"1\">";
  const std::string kTooDeep = "nests sections deeper than 96 levels at line 1.";
  const std::string kBadIndex = "', which is not a positive whole number, at line 1.";
  const std::string kAboveLimit = "', above the largest index 1000000, at line 1.";
  // Each document with its message, less the leading "The XML document ".
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", "is not well formed: XML_ERROR_EMPTY_DOCUMENT at line 0."},
      {z + "\n<section name=\"a\">\n</zubra>",
       "is not well formed: XML_ERROR_MISMATCHED_ELEMENT at line 2."},
      {"x</F>", "has text outside a value at line 1."},
      {z + '\0' + "</zubra>", "holds a NUL byte at offset 19."},
      {"<config/>", "is not a configuration: its root element is <config>, not <zubra>."},
      {"<zubra/>", "lacks the attribute 'version' on <zubra> at line 1."},
      {"<zubra version=\"2\"/>", "has the format version '2'; this program reads version 1."},
      {z + "\n<item/></zubra>", "has an unexpected element <item> at line 2."},
      {z + "<section name=\"a\" kind=\"x\"/></zubra>",
       "has an unexpected attribute 'kind' on <section> at line 1."},
      {z + "<section name=\"a\"> x </section></zubra>", "has text outside a value at line 1."},
      {z + "<section/></zubra>", "lacks the attribute 'name' on <section> at line 1."},
      {z + "<value key=\"k\">a<b/></value></zubra>",
       "has unexpected content inside the value 'k' at line 1."},
      {z + "<section name=\"T\" index=\"0\"/></zubra>", "has the index '0" + kBadIndex},
      {z + "<section name=\"T\" index=\"01\"/></zubra>", "has the index '01" + kBadIndex},
      {z + "<section name=\"T\" index=\"1e3\"/></zubra>", "has the index '1e3" + kBadIndex},
      {z + "<section name=\"T\" index=\"1000001\"/></zubra>",
       "has the index '1000001" + kAboveLimit},
      {z + "<section name=\"T\" index=\"2147483647\"/></zubra>",
       "has the index '2147483647" + kAboveLimit},
      {z + "<section name=\"T\" index=\"99999999999999999999\"/></zubra>",
       "has the index '99999999999999999999" + kAboveLimit},
      {z + "<value key=\"k\">1</value>\n<value key=\"k\">2</value></zubra>",
       "gives the key 'k' twice in one section at line 2."},
      {z + "<section name=\"a\"/>\n<section name=\"a\"/></zubra>",
       "gives the section 'a' twice in one section at line 2."},
      {z + "<section name=\"T\" index=\"3\"/><section name=\"T\" index=\"3\"/></zubra>",
       "gives the section 'T' with index 3 twice in one section at line 1."},
      {Nested(TinyXML2Section::kMaxDepth + 1), kTooDeep},  // beyond our limit
      {Nested(200), kTooDeep},                             // beyond the parser's own limit
  };
  for (const auto& [xml, message] : rows) {
    EXPECT_EQ(ErrorOf([&xml = xml] { TinyXML2Section::LoadString(xml); }),
              "The XML document " + message)
        << xml.substr(0, 80);
  }
  test_support::ScratchFolder folder;
  const std::string path = folder.File("broken.xml");
  EXPECT_EQ(ErrorOf([&] { TinyXML2Section::LoadFile(path); }),
            "Cannot read the file '" + path + "': No such file or directory.");
  WriteFileAtomically(path, "<zubra version=\"1\"><value key=\"k\">");
  EXPECT_EQ(ErrorOf([&] { TinyXML2Section::LoadFile(path); }),
            "Cannot load the file '" + path +
                "'. The XML document is not well formed: XML_ERROR_MISMATCHED_ELEMENT at line 1.");
}

// Small files whose one indexed child is numbered far above the largest index: refused at
// once with the place of the index, so no reader ever walks up to it.
TEST(TinyXML2Section, RefusesStoredFilesWithAnIndexAboveTheLargest) {
  for (const std::string shape : {"model_term_", "vif_term_", "response_"}) {
    for (const std::string index : {"2000000000", "2147483647"}) {
      const std::string file = "indexes/" + shape + index + ".xml";
      EXPECT_EQ(ErrorOf([&] { test_support::LoadTestSection(file); }),
                "Cannot load the file '" + test_support::TestDataPath(file) +
                    "'. The XML document has the index '" + index +
                    "', above the largest index 1000000, at line 3.");
    }
  }
}

TEST(TinyXML2Section, DeepestAllowedTreeRoundTripsAndDeeperIsRefused) {
  TinyXML2Section root;
  ConfigurationSection* section = &root;
  for (int level = 1; level <= TinyXML2Section::kMaxDepth; ++level) {
    section = &section->CreateChild("s");
  }
  section->SetValue("Deepest", "yes");
  EXPECT_EQ(ErrorOf([&] { section->CreateChild("one too many"); }),
            "The section 'one too many' cannot be created: sections nest at most 96 levels "
            "deep.");
  EXPECT_FALSE(section->HasChild("one too many"));
  const std::string text = root.ToString();
  EXPECT_NE(text.find("<value key=\"Deepest\">yes</value>"), std::string::npos);
  EXPECT_EQ(TinyXML2Section::LoadString(text)->ToString(), text);
}

}  // namespace
}  // namespace zubra
