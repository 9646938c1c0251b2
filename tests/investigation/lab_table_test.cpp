#include "zubra/investigation/lab_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "zubra/investigation/investigation.h"
#include "zubra/platform/util/json.h"

namespace zubra {
namespace {

// Two process factors with units, a qualitative factor whose settings need quoting in CSV and
// a tab that TSV cannot hold, a response with a unit and one without; two blocks.
constexpr const char* kBlocked = R"({
  "format": "zubra-investigation", "version": 1, "name": "Lab",
  "factors": [
    {"name": "Temperature", "abbreviation": "T", "unit": "C", "type": "quantitative",
     "settings": [20, 80]},
    {"name": "Speed", "abbreviation": "S", "type": "quantitative", "settings": [0.5, 1.5]},
    {"name": "Mode", "abbreviation": "M", "type": "qualitative",
     "settings": ["x \"q\", y", "z\tw"]}
  ],
  "responses": [{"name": "Yield", "abbreviation": "Y", "unit": "%"},
                {"name": "Gloss", "abbreviation": "G"}],
  "design": {"objective": "Screening", "type": "FullFactorial", "blocks": 2, "centerPoints": 0}
})";

std::unique_ptr<Investigation> MadeStudy(const char* json, std::uint32_t seed) {
  std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(json));
  study->GenerateDesign(nullptr, nullptr);
  study->MakeWorksheet(seed);
  return study;
}

std::vector<std::string> Lines(const std::string& text, const std::string& end) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  for (std::size_t at = text.find(end); at != std::string::npos; at = text.find(end, begin)) {
    lines.push_back(text.substr(begin, at - begin));
    begin = at + end.size();
  }
  EXPECT_EQ(begin, text.size()) << "text after the last line end";
  return lines;
}

TEST(LabTable, CsvFieldsAreQuotedExactlyWhenTheyHoldASeparatorAQuoteOrALineBreak) {
  struct Row {
    const char* field;
    const char* csv;
  };
  const Row rows[] = {
      {"", ""},
      {"plain text", "plain text"},
      {"a,b", R"("a,b")"},
      {R"(say "hi")", R"("say ""hi""")"},
      {R"(")", R"("""")"},
      {"two\nlines", "\"two\nlines\""},
      {"cr\r", "\"cr\r\""},
      {"semi;colon\ttab", "semi;colon\ttab"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.field);
    EXPECT_EQ(LabTable::QuoteCsv(row.field), row.csv);
  }
}

TEST(LabTable, NumbersAreWrittenInTheShortestFormThatReadsBackExactly) {
  struct Row {
    double value;
    const char* text;
  };
  const Row rows[] = {
      {20.0, "20"},
      {-2.5, "-2.5"},
      {static_cast<double>(1.0F / 3.0F), "0.33333334"},  // a design value: a float
      {1.0 / 3.0, "0.3333333333333333"},                 // not a float: all its digits
      {0.1, "0.1"},
      {static_cast<double>(0.1F), "0.1"},
      {1e-5, "1e-05"},
      {1e20, "1e+20"},
      {1e300, "1e+300"},  // beyond a float
      {0.0, "0"},
      {std::numeric_limits<double>::infinity(), "inf"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(LabTable::FormatNumber(row.value), row.text);
  }
}

TEST(LabTable, RowsFollowTheRunOrderAndCarryTheBlocksUnitsAndEmptyResponseCells) {
  const std::unique_ptr<Investigation> study = MadeStudy(kBlocked, 11U);
  const WorksheetInfo& sheet = study->GetWorksheet();
  const LabTable table = LabTable::FromInvestigation(*study);

  const std::vector<std::string> header = {"RunOrder", "ExpNo",           "ExpName",
                                           "Block",    "Temperature (C)", "Speed",
                                           "Mode",     "Yield (%)",       "Gloss"};
  EXPECT_EQ(table.GetHeader(), header);
  EXPECT_EQ(table.GetFirstResponseColumn(), 7U);
  ASSERT_EQ(table.GetRows().size(), 8U);
  const NCDesign& design = *study->GetModelSpec().GetDesign();
  for (std::size_t i = 0; i < table.GetRows().size(); ++i) {
    SCOPED_TRACE(i);
    const std::vector<LabTable::Cell>& row = table.GetRows()[i];
    ASSERT_EQ(row.size(), header.size());
    EXPECT_EQ(std::get<double>(row[0]), static_cast<double>(i + 1));  // run order 1..8
    const int position = sheet.GetPosition(static_cast<int>(std::get<double>(row[1])));
    ASSERT_GT(position, 0);
    EXPECT_EQ(sheet.GetExperiment(position)->RunOrder(), static_cast<int>(i + 1));
    EXPECT_EQ(std::get<std::string>(row[2]), sheet.GetExperiment(position)->ExpName());
    EXPECT_EQ(std::get<double>(row[3]), design.GetBlocks()[position - 1]);
    EXPECT_EQ(std::get<double>(row[4]), sheet.GetFloatValue(position, "Temperature"));
    EXPECT_EQ(std::get<double>(row[5]), sheet.GetFloatValue(position, "Speed"));
    EXPECT_EQ(std::get<std::string>(row[6]), sheet.GetStringValue(position, "Mode"));
    EXPECT_TRUE(std::holds_alternative<std::monostate>(row[7]));
    EXPECT_TRUE(std::holds_alternative<std::monostate>(row[8]));
  }
}

TEST(LabTable, ASplitPlotStudyShowsEachRunsWholePlotAndKeepsThePlotsTogether) {
  constexpr const char* kPlots = R"({
    "format": "zubra-investigation", "version": 1, "name": "Oven",
    "factors": [
      {"name": "Oven", "abbreviation": "O", "type": "quantitative", "settings": [100, 200],
       "isHardToChange": true},
      {"name": "Time", "abbreviation": "T", "type": "quantitative", "settings": [1, 5]},
      {"name": "Load", "abbreviation": "L", "type": "quantitative", "settings": [0, 1]}
    ],
    "responses": [],
    "design": {"objective": "Screening", "type": "DOptimal", "model": "Interaction",
               "runs": 16, "centerPoints": 0, "wholePlots": 4}
  })";
  const std::unique_ptr<Investigation> study = MadeStudy(kPlots, 5U);
  const WorksheetInfo& sheet = study->GetWorksheet();
  const LabTable table = LabTable::FromInvestigation(*study);
  const std::vector<std::string> header = {"RunOrder", "ExpNo", "ExpName", "WholePlot",
                                           "Oven",     "Time",  "Load"};
  EXPECT_EQ(table.GetHeader(), header);
  ASSERT_EQ(table.GetRows().size(), 16U);
  // In run order, a whole plot's runs come one after another at one oven setting.
  std::vector<double> seen;
  for (const std::vector<LabTable::Cell>& row : table.GetRows()) {
    const double plot = std::get<double>(row[3]);
    const int position = sheet.GetPosition(static_cast<int>(std::get<double>(row[1])));
    EXPECT_EQ(plot, sheet.GetWholePlot(position));
    if (seen.empty() || seen.back() != plot) {
      EXPECT_EQ(std::count(seen.begin(), seen.end(), plot), 0) << "plot " << plot << " split";
      seen.push_back(plot);
    }
  }
  EXPECT_EQ(seen.size(), 4U);
  // Without hard-to-change factors there is no such column.
  const std::vector<std::string> plain =
      LabTable::FromInvestigation(*MadeStudy(kBlocked, 11U)).GetHeader();
  EXPECT_EQ(std::count(plain.begin(), plain.end(), "WholePlot"), 0);
}

TEST(LabTable, TsvAndCsvHoldOneLinePerRunWithTheirOwnLineEndsAndEscapes) {
  const std::unique_ptr<Investigation> study = MadeStudy(kBlocked, 11U);
  const LabTable table = LabTable::FromInvestigation(*study);

  const std::vector<std::string> tsv =
      Lines(table.ToDelimited(LabTable::Delimiter::kTab), std::string("\n"));
  ASSERT_EQ(tsv.size(), 9U);
  EXPECT_EQ(tsv[0],
            "RunOrder\tExpNo\tExpName\tBlock\tTemperature (C)\tSpeed\tMode\tYield (%)\tGloss");
  const std::vector<std::string> csv =
      Lines(table.ToDelimited(LabTable::Delimiter::kComma), std::string("\r\n"));
  ASSERT_EQ(csv.size(), 9U);
  EXPECT_EQ(csv[0], "RunOrder,ExpNo,ExpName,Block,Temperature (C),Speed,Mode,Yield (%),Gloss");
  for (std::size_t i = 1; i < tsv.size(); ++i) {
    SCOPED_TRACE(tsv[i]);
    EXPECT_EQ(tsv[i].find('\r'), std::string::npos);
    // Nine fields: the tab inside "z\tw" became a space.
    EXPECT_EQ(std::count(tsv[i].begin(), tsv[i].end(), '\t'), 8);
    const bool first_setting = tsv[i].find("x \"q\", y") != std::string::npos;
    EXPECT_NE(first_setting, tsv[i].find("z w") != std::string::npos);
    EXPECT_NE(csv[i].find(first_setting ? "\"x \"\"q\"\", y\"" : ",z\tw,"), std::string::npos);
    // The response fields are empty: each line ends with two empty fields.
    EXPECT_EQ(tsv[i].substr(tsv[i].size() - 2), "\t\t");
    EXPECT_EQ(csv[i].substr(csv[i].size() - 2), ",,");
  }
}

}  // namespace
}  // namespace zubra
