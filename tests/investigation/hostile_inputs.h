// Hostile inputs for every reader, made on the spot (the large ones would bloat the
// repository): megabyte lines, deep nesting, NUL bytes, invalid UTF-8, extreme numbers,
// far child indexes, repeated keys, CRLF and byte-order marks, mixed separators, decimal
// commas, a factor with 10 000 settings and a worksheet of 100 000 rows. The regression test
// checks each answer; the benchmark times it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "zubra/model/read_inclusions.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"
#include "zubra/region/constraints_info.h"
#include "zubra/region/transform.h"
#include "zubra/worksheet/worksheet_info.h"

namespace zubra::test_support {

enum class Reader {
  kInvestigationJson,
  kInvestigationXml,
  kInvestigationIni,
  kWorksheetText,
  kConstraintsFile,
  kInclusionsFile,
  kTransformText,
};

struct HostileInput {
  std::string name;
  Reader reader;
  std::string text;
  // The answer wanted: true when the reader accepts the input, false when it refuses it.
  bool accepted;
  // A part of the refusal's message, when one is pinned.
  std::string fragment = {};
};

// Reads `input` with its reader (the part readers against fuzz::Fixture()'s variables) and
// returns the refusal's message, or "" when the input was accepted. Anything but the
// documented answers (zubra::Exception, or false with a message) escapes.
inline std::string Answer(const HostileInput& input) {
  static const fuzz::ScratchFile file(".hostile.txt");
  Investigation& fixture = fuzz::Fixture();
  try {
    switch (input.reader) {
      case Reader::kInvestigationJson:
        Investigation::FromJson(ParseJson(input.text));
        return "";
      case Reader::kInvestigationXml:
        Investigation::FromSection(*TinyXML2Section::LoadString(input.text));
        return "";
      case Reader::kInvestigationIni:
        Investigation::FromSection(*IniFileSection::LoadString(input.text));
        return "";
      case Reader::kWorksheetText: {
        WorksheetInfo sheet(&fixture.GetVariables(), &fixture.GetResponses());
        std::string message;
        return sheet.FromText(input.text, &message) ? "" : message;
      }
      case Reader::kConstraintsFile: {
        file.Write(input.text);
        ConstraintsInfo constraints(&fixture.GetVariables());
        return constraints.Read(file.Path().c_str()) ? "" : "refused";
      }
      case Reader::kInclusionsFile: {
        file.Write(input.text);
        std::string message;
        return ReadInclusions(file.Path().c_str(), &fixture.GetVariables(), &message) != nullptr
                   ? ""
                   : message;
      }
      case Reader::kTransformText:
        Transform::GetTransform(input.text);
        return "";
    }
  } catch (const Exception& error) {
    return error.Message().empty() ? "(an empty message)" : error.Message();
  }
  return "(no reader)";
}

// `count` copies of `text`.
inline std::string Repeat(const std::string& text, std::size_t count) {
  std::string out;
  out.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) out += text;
  return out;
}

inline std::vector<HostileInput> HostileInputs() {
  using R = Reader;
  using namespace std::string_literals;
  const std::string megabyte(1 << 20, 'x');
  const std::string factor =
      R"({"name": "T", "abbreviation": "T", "type": "quantitative", "settings": [0, 1]})";
  const std::string xml_head = "<?xml version=\"1.0\"?>\n<zubra version=\"1\">\n";
  const std::string sheet_head =
      "ExpNo\tExpName\tRunOrder\tInOut\tTemperature\tTime\tCatalyst\tSpeed\tBatch\tYield\n";
  const std::string inclusion_head =
      "Temperature\tTime\tCatalyst\tSpeed\tBatch\tYield\tPurity\tTwice\n";
  const std::string constraint_head = "Inc/Excl\tTemperature\tTime\tOperator\tLimits\n";

  std::string settings;
  for (int i = 0; i < 10000; ++i) settings += (i > 0 ? ", \"S" : "\"S") + std::to_string(i) + '"';
  std::string rows;
  for (int i = 1; i <= 100000; ++i) {
    rows += std::to_string(i) + "\tN" + std::to_string(i) + '\t' + std::to_string(i) + "\tIn\t" +
            std::to_string(20 + i % 60) + "\t" + std::to_string(10 + i % 50) + ".5\t" +
            (i % 2 == 0 ? "A" : "B") + "\t2\t3\t" + std::to_string(i % 97) + ".25\n";
  }

  return {
      // A megabyte on one line.
      {"1 MB name in JSON", R::kInvestigationJson, R"({"name": ")" + megabyte + R"("})", true},
      {"1 MB value in XML", R::kInvestigationXml,
       xml_head + "<value key=\"Name\">" + megabyte + "</value>\n</zubra>\n", true},
      {"1 MB value in INI", R::kInvestigationIni, "Name=" + megabyte + "\n", true},
      {"1 MB worksheet cell", R::kWorksheetText, sheet_head + "1\tN1\t1\tIn\t" + megabyte + "\n",
       true},
      {"1 MB constraint header", R::kConstraintsFile, megabyte + "\n", false},
      {"1 MB inclusion line", R::kInclusionsFile, inclusion_head + megabyte + "\n", false},
      {"1 MB transform", R::kTransformText, megabyte, false},
      // Nesting 100 000 deep.
      {"100000 nested JSON arrays", R::kInvestigationJson,
       Repeat("[", 100000) + Repeat("]", 100000), false},
      {"100000 nested JSON objects", R::kInvestigationJson,
       Repeat(R"({"a":)", 100000) + "1" + Repeat("}", 100000), false},
      {"100000 nested XML sections", R::kInvestigationXml,
       xml_head + Repeat("<section name=\"a\">", 100000) + Repeat("</section>", 100000) +
           "</zubra>",
       false},
      // NUL bytes.
      {"NUL in a JSON name", R::kInvestigationJson, "{\"name\": \"a\0b\"}"s, false},
      {"NUL in XML", R::kInvestigationXml, xml_head + "<value key=\"Name\">a\0b</value></zubra>"s,
       false},
      {"NUL in INI", R::kInvestigationIni, "Name=a\0b\n"s, false},
      {"NUL in worksheet cells", R::kWorksheetText, sheet_head + "1\tN\0x\t1\tIn\t\0\t2\0\n"s,
       true},
      {"NUL in a constraint", R::kConstraintsFile, constraint_head + "Excl\t1\0\t2\t<\t3\n"s,
       false},
      {"NUL in an inclusion", R::kInclusionsFile, inclusion_head + "20.0\t1\0.0\tA\t1.0\t3.0\n"s,
       false},
      // The transform reader finds its pattern and leaves what surrounds it.
      {"NUL in a transform", R::kTransformText, "log10(x)\0"s, true},
      // Invalid UTF-8.
      {"invalid UTF-8 in JSON", R::kInvestigationJson, "{\"name\": \"\xff\xfe\"}", false},
      {"invalid UTF-8 in XML", R::kInvestigationXml,
       xml_head + "<value key=\"Name\">\xc3\x28</value></zubra>", true},
      {"invalid UTF-8 in INI", R::kInvestigationIni, "Name=\xe2\x82\n", true},
      {"invalid UTF-8 in a worksheet", R::kWorksheetText, sheet_head + "1\t\xff\t1\tIn\t\xc0\n",
       true},
      {"invalid UTF-8 factor name", R::kInvestigationJson,
       R"({"factors": [{"name": "\udc00", "type": "quantitative", "settings": [0, 1]}]})", false},
      // Numbers.
      {"1e999 in JSON", R::kInvestigationJson, R"({"design": {"runs": 1e999}})", false},
      {"-0 in JSON", R::kInvestigationJson,
       R"({"factors": [)" + factor + R"(], "design": {"runs": -0, "replicates": -0}})", true},
      {"NaN in JSON", R::kInvestigationJson, R"({"options": {"power": NaN}})", false},
      {"a huge integer in JSON", R::kInvestigationJson,
       R"({"design": {"runs": 123456789012345678901234567890}})", false},
      {"a huge integer seed in JSON", R::kInvestigationJson,
       R"({"design": {"seed": 18446744073709551616}})", false},
      {"1e999 and NaN in XML", R::kInvestigationXml,
       xml_head + "<section name=\"Options\"><value key=\"Power\">NaN</value>"
                  "<value key=\"ReplicateTolerance\">1e999</value></section>"
                  "<section name=\"Worksheet\"><value key=\"RunOrderFloor\">99999999999999999999"
                  "</value></section></zubra>",
       true},
      {"a huge seed in INI", R::kInvestigationIni, "Seed=99999999999999999999\n", false},
      {"numbers in a constraint", R::kConstraintsFile,
       constraint_head + "Excl\t1e999\t-0\t<\tNaN\n", false},
      {"numbers in a worksheet", R::kWorksheetText,
       sheet_head + "1\tN1\t1\tIn\t1e999\t-0\tNaN\t1e-999\t-1e308\n", true},
      {"a huge experiment number", R::kWorksheetText,
       sheet_head + "99999999999999999999\tN1\t1\tIn\n", false},
      // Indexed children numbered 2 147 483 647.
      {"a factor numbered 2147483647 in XML", R::kInvestigationXml,
       xml_head + "<section name=\"Factors\"><section name=\"Factor\" index=\"2147483647\">"
                  "<value key=\"Name\">T</value></section></section></zubra>",
       false},
      {"a constraint numbered 2147483647 in INI", R::kInvestigationIni,
       "[Constraints]\nCount=2147483647\nConstraint2147483647=<;1\n", false},
      {"a worksheet line numbered 2147483647 in INI", R::kInvestigationIni,
       "[Worksheet]\nLines=2147483647\nLine2147483647=ExpNo\n", false},
      // Repeated keys.
      {"a repeated JSON key", R::kInvestigationJson, R"({"name": "a", "name": "b"})", true},
      {"a repeated XML key", R::kInvestigationXml,
       xml_head + "<value key=\"Name\">a</value><value key=\"Name\">b</value></zubra>", false,
       "gives the key 'Name' twice"},
      {"a repeated INI key", R::kInvestigationIni, "Name=a\nName=b\n", true},
      {"a repeated worksheet column", R::kWorksheetText,
       "ExpNo\tTemperature\tTemperature\n1\t20\t30\n", true},
      {"a repeated constraint column", R::kConstraintsFile,
       "Inc/Excl\tTime\tTime\tOperator\tLimits\tLimits\nExcl\t1\t2\t<\t3\t4\n", true},
      // CRLF and byte-order marks.
      {"BOM and CRLF in JSON", R::kInvestigationJson, "\xef\xbb\xbf{\r\n\"name\": \"a\"\r\n}\r\n",
       true},
      {"BOM and CRLF in XML", R::kInvestigationXml,
       "\xef\xbb\xbf<?xml version=\"1.0\"?>\r\n<zubra version=\"1\">\r\n"
       "<value key=\"Name\">a</value>\r\n</zubra>\r\n",
       true},
      {"BOM and CRLF in INI", R::kInvestigationIni, "\xef\xbb\xbfName=a\r\n[Options]\r\n", true},
      {"CRLF in a worksheet", R::kWorksheetText, "ExpNo\tYield\r\n1\t2.5\r\n", true},
      {"BOM and CR in a constraint file", R::kConstraintsFile,
       "\xef\xbb\xbfInc/Excl\tTime\tOperator\tLimits\rExcl\t1\t<\t2\r", true},
      {"BOM and CRLF in an inclusion file", R::kInclusionsFile,
       "\xef\xbb\xbf" + inclusion_head.substr(0, inclusion_head.size() - 1) +
           "\r\n20.0\t10.0\tA\t1.0\t3.0\r\n",
       true},
      // Mixed separators.
      {"commas and semicolons for tabs in a worksheet", R::kWorksheetText,
       "ExpNo;ExpName,RunOrder\tInOut\n1;N1,1\tIn\n", false},
      {"spaces for tabs in a constraint file", R::kConstraintsFile,
       "Inc/Excl Time Operator Limits\nExcl 1 < 2\n", false},
      {"semicolons for tabs in an inclusion file", R::kInclusionsFile,
       "Temperature;Time;Catalyst;Speed;Batch;Yield;Purity;Twice\n20.0;10.0;A;1.0;3.0\n", false},
      // Decimal commas.
      {"decimal commas in a constraint file", R::kConstraintsFile,
       constraint_head + "Excl\t1,5\t-2,25\t<\t3,0\n", true},
      {"decimal commas in an inclusion file", R::kInclusionsFile,
       inclusion_head + "20,5\t10.0\tA\t1.0\t3.0\n", false},
      {"decimal commas in a worksheet", R::kWorksheetText, sheet_head + "1\tN1\t1\tIn\t20,5\n",
       true},
      // Size.
      {"a factor with 10 000 settings", R::kInvestigationJson,
       R"({"factors": [{"name": "Q", "abbreviation": "Q", "type": "qualitative", "settings": [)" +
           settings + "]}]}",
       false, "it lists 10000 settings; a factor holds at most 24."},
      {"a worksheet of 100 000 rows", R::kWorksheetText, sheet_head + rows, true},
  };
}

}  // namespace zubra::test_support
