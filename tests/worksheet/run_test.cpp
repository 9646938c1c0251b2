#include "zubra/worksheet/run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"
#include "zubra/responses/response_model.h"
#include "zubra/variables/variables.h"
#include "zubra/worksheet/experiment.h"

namespace zubra {
namespace {

using Columns = std::vector<Experiment::WorksheetColumns>;

// The row as the text writer lays it out, ';' between cells.
std::string Written(const zubra::Run& run) {
  std::ostringstream out;
  run.Write(out, ';');
  return out.str();
}

TEST(Run, UnformattedTextTypesTheCell) {
  struct Row {
    const char* name;
    const char* text;
    zubra::Run::ValueType type;
    double value;
    std::string shown;
    bool has_value;
  };
  const Row rows[] = {
      {"null", nullptr, zubra::Run::kNumber, kUndefined, "", false},
      {"empty", "", zubra::Run::kNumber, kUndefined, "", false},
      {"decimal", "1.5", zubra::Run::kNumber, 1.5, "1.5", true},
      {"blanks around a number", " -2e3 ", zubra::Run::kNumber, -2000.0, "-2000", true},
      {"many digits shown by %g", "1234567", zubra::Run::kNumber, 1234567.0, "1.23457e+06", true},
      {"text", "abc", zubra::Run::kText, kUndefined, "abc", true},
      {"decimal comma is text", "1,5", zubra::Run::kText, kUndefined, "1,5", true},
      {"number with trailing text", "12a", zubra::Run::kText, kUndefined, "12a", true},
      {"-99 typed is missing", "-99", zubra::Run::kNumber, kUndefined, "", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    zubra::Run run(2);
    run.SetValue(1, "previous");
    run.SetUnformattedValue(1, row.text);
    EXPECT_EQ(run.GetValueType(1), row.type);
    EXPECT_EQ(run.GetFloatValue(1), row.value);
    EXPECT_EQ(run.GetStringValue(1), row.shown);
    EXPECT_EQ(run.HasValue(1), row.has_value);
    EXPECT_EQ(run.GetNumNonMissingValues(), row.has_value ? 1 : 0);
  }
}

TEST(Run, HasValueIsFalseOutsideTheRowAndForEmptyCells) {
  zubra::Run run(3);
  run.SetValue(1, 4.0);
  run.SetValue(2, "x");
  for (const int i : {0, 3, 4}) EXPECT_FALSE(run.HasValue(i)) << i;  // 3: type 0
  EXPECT_TRUE(run.HasValue(1) && run.HasValue(2));
  EXPECT_EQ(run.GetValueType(4), zubra::Run::kEmpty);
  EXPECT_EQ(run.GetFloatValue(-1), kUndefined);
  run.SetValue(2, "");
  EXPECT_FALSE(run.HasValue(2));
}

TEST(Run, InsertRemoveAndCopyKeepCellsApart) {
  zubra::Run run;
  run.AddValue(1.0);
  run.AddValue("b");
  run.InsertValue(1, "a");  // before the first
  run.InsertValue(4, 9.0);  // appends
  run.InsertValue(6, 5.0);  // out of range: ignored
  EXPECT_EQ(Written(run), "a;1;b;9");
  zubra::Run copy = run;
  copy.SetValue(1, "changed");
  copy.RemoveValue(2);
  EXPECT_EQ(Written(run), "a;1;b;9");
  EXPECT_EQ(Written(copy), "changed;b;9");
}

TEST(Experiment, WritesTheTextRowLayout) {
  struct Row {
    const char* name;
    const char* combination;
    bool use_mol_name, out;
    std::string expected;
  };
  const Row rows[] = {
      {"plain", "", false, false, "7;N7;3;In;1.5;;abc;"},
      {"combination id", "C1", false, false, "7;C1;N7;3;In;1.5;;abc;"},
      {"molecule name and out", "", true, true, "7;Mol;3;Out;1.5;;abc;"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Experiment experiment(7, 4, row.use_mol_name);
    experiment.SetExpName("N7");
    experiment.SetMolName("Mol");
    experiment.SetCombinationID(row.combination);
    experiment.SetRunOrder(3);
    if (row.out) experiment.SetExcluded(Experiment::kOut);
    experiment.SetValue(1, 1.5);
    experiment.SetValue(2, kUndefined);
    experiment.SetValue(3, "abc");
    EXPECT_EQ(Written(experiment), row.expected);
  }
}

TEST(Experiment, ReadsTheTextRow) {
  const Columns standard = {Experiment::kExpNo, Experiment::kExpName, Experiment::kRunOrder,
                            Experiment::kInOut};
  struct Row {
    const char* name;
    std::string line;
    bool ok;
    const char* after;  // the row written back
  };
  const char* kUnchanged = "1;N1;0;Out;;";  // nothing half-read
  // clang-format off
  const Row rows[] = {
      {"in", "4\tN4\t2\tIn\t1.5\tx", true, "4;N4;2;In;1.5;x"},
      {"lower-case in is in", "4\tN4\t2\tin\t1.5\tx", true, "4;N4;2;In;1.5;x"},
      {"OUT in capitals", "4\tN4\t2\tOUT\t1.5\tx", true, "4;N4;2;Out;1.5;x"},
      {"unknown token keeps the state", "4\tN4\t2\tInclude\t1.5\tx", true, "4;N4;2;Out;1.5;x"},
      {"floating ExpNo refused", "4.0\tN4\t2\tIn\t1\tx", false, kUnchanged},
      {"floating RunOrder refused", "4\tN4\t2.5\tIn\t1\tx", false, kUnchanged},
      {"empty RunOrder refused", "4\tN4\t\tIn\t1\tx", false, kUnchanged}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Experiment experiment(1, 2, false);
    experiment.SetExpName("N1");
    experiment.SetExcluded(Experiment::kOut);
    std::istringstream in(row.line + "\r\n");
    EXPECT_EQ(experiment.Read(in, '\t', standard), row.ok);
    EXPECT_EQ(Written(experiment), row.after);
    EXPECT_EQ(experiment.GetFloatValue(1), row.ok ? 1.5 : kUndefined);  // a number, not text
  }
}

TEST(Experiment, TextReadStopsFixedFieldsAtInOutAndRoundTrips) {
  Experiment written(12, 3, true);
  written.SetMolName("Benzene");
  written.SetCombinationID("K9");
  written.SetRunOrder(5);
  written.SetValue(1, 0.25);
  written.SetValue(2, "Low");
  // "ExpName" after "InOut" is not a fixed field: its token is the first cell.
  const Columns columns = {Experiment::kExpNo,         Experiment::kCombinationID,
                           Experiment::kMoleculeNames, Experiment::kRunOrder,
                           Experiment::kInOut,         Experiment::kExpName};
  Experiment read(0, 0, false);
  std::string text = Written(written);
  std::replace(text.begin(), text.end(), ';', '\t');
  std::istringstream in(text);
  ASSERT_TRUE(read.Read(in, '\t', columns));
  EXPECT_TRUE(read.UseMolName());
  EXPECT_EQ(Written(read), "12;K9;Benzene;5;In;0.25;Low;");  // three cells, the last empty
  EXPECT_FALSE(read.HasValue(3));
}

TEST(Experiment, ReadsTheJsonRow) {
  const Columns columns = {Experiment::kExpNo, Experiment::kExpName, Experiment::kRunOrder,
                           Experiment::kInOut};
  struct Row {
    const char *name, *row;
    const char* error;  // null when the row is accepted
    const char* after;  // the row written back
  };
  const char* kNo = "Parse error: experiment number must be an int.";
  const char* kOrder = "Parse error: Run order must be an int.";
  const char* kUnchanged = "1;N1;0;In;;;7";
  // clang-format off
  const Row rows[] = {
      {"In", R"([3, "N3", 2, "In", 1.5, "x", 9])", nullptr, "3;N3;2;In;x;1.5;7"},
      {"Include starts with In", R"([3, "N3", 2, "Include", 1.5, "x", 9])", nullptr, "3;N3;2;In;x;1.5;7"},
      {"lower-case in is out", R"([3, "N3", 2, "in", 1.5, "x", 9])", nullptr, "3;N3;2;Out;x;1.5;7"},
      {"floating run order is taken", R"([3, "N3", 3.0, "In", 1.5, "x", 9])", nullptr, "3;N3;3;In;x;1.5;7"},
      {"floating ExpNo refused", R"([3.0, "N3", 2, "In"])", kNo, kUnchanged},
      {"ExpNo beyond int refused", R"([4294967297, "N3", 2, "In"])", kNo, kUnchanged},
      {"run order beyond int refused", R"([3, "N3", 1e12, "In"])", kOrder, kUnchanged},
      {"text ExpNo refused", R"(["3", "N3", 2, "In"])", kNo, kUnchanged},
      {"text run order refused", R"([3, "N3", "2", "In"])", kOrder, kUnchanged}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Experiment experiment(1, 3, false);
    experiment.SetExpName("N1");
    experiment.SetValue(3, 7.0);
    try {
      // The third cell element goes nowhere (-1); the second lands in cell 1, the first in 2.
      experiment.FromJson(ParseJson(row.row), columns, {1, 0, -1});
      EXPECT_EQ(row.error, nullptr);
    } catch (const Exception& error) {
      EXPECT_EQ(std::string(error.what()), row.error ? row.error : "");
    }
    EXPECT_EQ(Written(experiment), row.after);
    EXPECT_EQ(experiment.GetFloatValue(2), row.error ? kUndefined : 1.5);
  }
}

TEST(Experiment, JsonRowRoundTripsAndNullKeepsTheCell) {
  Experiment written(8, 3, false);
  written.SetExpName("Eight");
  written.SetCombinationID("C");
  written.SetRunOrder(4);
  written.SetExcluded(Experiment::kOut);
  written.SetValue(1, 0.1);
  written.SetValue(2, "High");
  const json_value row = written.ToJson();
  Experiment read(0, 3, false);
  read.SetValue(3, 5.0);  // the missing cell is written as null and leaves this as it is
  read.FromJson(ParseJson(DumpJson(row)), Experiment::GetJsonColumns(false), {0, 1, 2});
  EXPECT_EQ(read.GetFloatValue(1), 0.1);  // exactly
  written.SetValue(3, 5.0);
  EXPECT_EQ(read.ToJson(), written.ToJson());
}

// Two factors A, B and responses Y1, Y2: cells A, B, Y1, Y2.
class ExclusionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"A", "B"}) {
      auto factor = std::make_unique<FactorClass>();
      factor->SetName(name);
      factor->SetAbbr(name);
      factor->SetValue(0.0, 1.0, CEType::kQuantitative, true);
      ASSERT_EQ(variables_.Add(std::move(factor)), Variables::kOk);
    }
    for (const char* name : {"Y1", "Y2"}) {
      auto response = std::make_unique<ResponseClass>();
      response->SetName(name);
      response->SetAbbr(name);
      ASSERT_EQ(variables_.Add(std::move(response)), Variables::kOk);
    }
    model_.SetVariables(&variables_);
    model_.AddTerm({1, 0, 0});  // only A is in the model
  }

  Variables variables_;
  ResponseModel model_{"Y1"};
};

TEST_F(ExclusionTest, DecidesWhetherARunTakesPartInTheFit) {
  struct Row {
    const char* name;
    std::vector<double> cells;  // A, B, Y1, Y2
    bool out, model_excludes;
    std::set<std::string> responses;
    CFitMethod::FitMethod method;
    bool excluded;
  };
  const double m = kUndefined;
  const auto kM = CFitMethod::kMLR;
  const auto kP = CFitMethod::kPLS;
  const Row rows[] = {
      {"complete", {1, 1, 5, 6}, false, false, {"Y1"}, kM, false},
      {"out", {1, 1, 5, 6}, true, false, {"Y1"}, kM, true},
      {"left out by the model", {1, 1, 5, 6}, false, true, {"Y1"}, kM, true},
      {"model factor missing", {m, 1, 5, 6}, false, false, {"Y1"}, kM, true},
      {"factor outside the model missing", {1, m, 5, 6}, false, false, {"Y1"}, kM, false},
      {"checked response missing", {1, 1, m, 6}, false, false, {"y1"}, kM, true},
      {"unchecked response missing", {1, 1, 5, m}, false, false, {"Y1"}, kM, false},
      {"PLS: the only response missing", {1, 1, m, 6}, false, false, {"Y1"}, kP, true},
      {"two responses: one present", {1, 1, m, 6}, false, false, {"Y1", "Y2"}, kM, false},
      {"two responses: none present", {1, 1, m, m}, false, false, {"Y1", "Y2"}, kM, true},
      {"PLS: model factor missing", {m, 1, 5, 6}, false, false, {"Y1"}, kP, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Experiment experiment(3, 4, false);
    for (int i = 0; i < 4; ++i) experiment.SetValue(i + 1, row.cells[static_cast<size_t>(i)]);
    if (row.out) experiment.SetExcluded(Experiment::kOut);
    model_.SetExcluded(3, row.model_excludes);
    EXPECT_EQ(experiment.IsExcludedFromModel(&model_, row.responses, row.method), row.excluded);
  }
}

TEST_F(ExclusionTest, ToleratedFactorClassNeverMakesARunIncomplete) {
  Experiment experiment(1, 4, false);
  experiment.SetValue(1, kUndefined);
  experiment.SetValue(3, 2.0);
  EXPECT_TRUE(experiment.HasAnyMissing(&model_, {"Y1"}));
  model_.SetExcludedFactorClass(CEVar::kProcessFactor);
  EXPECT_FALSE(experiment.HasAnyMissing(&model_, {"Y1"}));
}

TEST(ResponseModel, TermsAreNormalizedAndSearchedByFactorNumber) {
  ResponseModel model("Y");
  EXPECT_TRUE(model.AddTerm({2, 1, 0}));
  EXPECT_FALSE(model.AddTerm({0, 1, 2}));  // the same interaction
  EXPECT_FALSE(model.AddTerm({0, 0, 0}) || model.AddTerm({-1, 0, 0}));
  EXPECT_EQ(model.GetTerms().front(), (ResponseModel::Term{1, 2, 0}));
  EXPECT_TRUE(model.IsInModel(2) && !model.IsInModel(3) && !model.IsInModel(0));
  EXPECT_TRUE(model.RemoveTerm({0, 2, 1}));
  EXPECT_FALSE(model.IsInModel(1));
}

}  // namespace
}  // namespace zubra
