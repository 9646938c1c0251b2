#include "zubra/worksheet/worksheet_info.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zubra/platform/base/global_options.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"
#include "zubra/responses/response_manager.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

// The first outputs of MT19937 seeded with 1974.
constexpr std::uint32_t kFirstOutputs1974[] = {3474973915U, 1980174680U, 1552589721U, 3286636090U,
                                               3198818936U};

TEST(MersenneTwister, GivesTheStandardSequence) {
  WorksheetInfo::MersenneTwister standard(5489);
  EXPECT_EQ(standard(), 3499211612U);
  for (int i = 2; i < 10000; ++i) standard();
  EXPECT_EQ(standard(), 4123659995U);  // the 10000th output
  WorksheetInfo::MersenneTwister seeded(WorksheetInfo::kSeedForValidation);
  for (const std::uint32_t expected : kFirstOutputs1974) EXPECT_EQ(seeded(), expected);
  // A uniform draw below k is the output modulo k; k = 1 draws nothing.
  WorksheetInfo::MersenneTwister generator(WorksheetInfo::kSeedForValidation);
  EXPECT_EQ(generator.Uniform(1), 0U);
  EXPECT_EQ(generator.Uniform(3), kFirstOutputs1974[0] % 3);
  EXPECT_EQ(generator.Uniform(1000), kFirstOutputs1974[1] % 1000);
}

TEST(WorksheetInfo, ShuffleOfTheSeed1974IsTheHandComputedPermutation) {
  // By hand from kFirstOutputs1974: i=1 draws 3474973915 % 2 = 1 (stay); i=2 draws
  // 1980174680 % 3 = 2 (stay); i=3 draws 1552589721 % 4 = 1 (swap 3 and 1); i=4 draws
  // 3286636090 % 5 = 0 (swap 4 and 0); i=5 draws 3198818936 % 6 = 2 (swap 5 and 2).
  struct Row {
    const char* name;
    std::vector<int> values, expected;
    std::uint32_t next_output;  // what the generator gives after the shuffle
  };
  const Row rows[] = {
      {"six", {1, 2, 3, 4, 5, 6}, {5, 4, 6, 2, 1, 3}, 983084558U},
      {"four with gaps", {2, 9, 4, 30}, {2, 30, 4, 9}, kFirstOutputs1974[3]},
      {"single draws nothing", {7}, {7}, kFirstOutputs1974[0]},
      {"empty draws nothing", {}, {}, kFirstOutputs1974[0]},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    WorksheetInfo::MersenneTwister generator(WorksheetInfo::kSeedForValidation);
    std::vector<int> values = row.values;
    WorksheetInfo::Shuffle(values, generator);
    EXPECT_EQ(values, row.expected);
    EXPECT_EQ(generator(), row.next_output);
  }
}

std::unique_ptr<FactorClass> Factor(const std::string& name) {
  auto factor = std::make_unique<FactorClass>();
  factor->SetName(name);
  factor->SetAbbr(name.substr(0, 5));
  return factor;
}

// Temp (quantitative 10..30), Cat (qualitative A, B, C), optionally a qualitative block
// factor, and the response Yield.
class WorksheetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GlobalOptions::Instance().SetFixedSeedForValidation(true);
    auto temp = Factor("Temp");
    temp->SetValue(10.0, 30.0, CEType::kQuantitative, true);
    ASSERT_EQ(variables_.Add(std::move(temp)), Variables::kOk);
    auto cat = Factor("Cat");
    cat->SetSettings({"A", "B", "C"}, CEType::kQualitative, CEUse::kControlled);
    ASSERT_EQ(variables_.Add(std::move(cat)), Variables::kOk);
    auto yield = std::make_unique<ResponseClass>();
    yield->SetName("Yield");
    yield->SetAbbr("Y");
    ASSERT_EQ(variables_.Add(std::move(yield)), Variables::kOk);
  }
  void TearDown() override { GlobalOptions::Instance().Reset(); }

  void AddBlockFactor(const std::string& name) {
    auto block = Factor(name);
    block->SetAbbr("Blk" + std::to_string(variables_.GetFactorCount()));
    block->SetSettings({"B1", "B2"}, CEType::kQualitative, CEUse::kControlled);
    ASSERT_EQ(variables_.Add(std::move(block)), Variables::kOk);
  }

  // `count` experiments with run orders 1..count.
  WorksheetInfo Sheet(int count) {
    WorksheetInfo sheet(&variables_);
    for (int i = 0; i < count; ++i) sheet.AddExperiment()->SetRunOrder(i + 1);
    return sheet;
  }

  static std::vector<int> RunOrders(const WorksheetInfo& sheet) {
    std::vector<int> orders;
    for (int p = 1; p <= sheet.GetExperimentCount(); ++p) {
      orders.push_back(sheet.GetExperiment(p)->RunOrder());
    }
    return orders;
  }

  Variables variables_;
};

TEST_F(WorksheetTest, SetRunOrderFillsOnlyTheMissingOnes) {
  struct Row {
    const char* name;
    std::vector<int> before;
    int first, last, start;
    bool randomize;
    std::vector<int> after;
  };
  const Row rows[] = {
      {"whole sheet", {0, 7, 0, 0}, 1, -1, -1, false, {1, 7, 2, 3}},
      {"from a start value", {0, 7, 0, 0}, 1, -1, 20, false, {20, 7, 21, 22}},
      {"start defaults to first", {0, 0, 0, 0}, 2, 3, -1, false, {0, 2, 3, 0}},
      {"first below 1 does nothing", {0, 0, 0, 0}, 0, -1, -1, false, {0, 0, 0, 0}},
      {"first after last does nothing", {0, 0, 0, 0}, 3, 2, -1, false, {0, 0, 0, 0}},
      {"randomized", {0, 0, 0, 0, 0, 0}, 1, -1, -1, true, {5, 4, 6, 2, 1, 3}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const int count = static_cast<int>(row.before.size());
    WorksheetInfo sheet = Sheet(count);
    for (int p = 1; p <= count; ++p) sheet.GetExperiment(p)->SetRunOrder(row.before[p - 1]);
    sheet.SetRunOrder(row.first, row.last, row.start, row.randomize, false);
    EXPECT_EQ(RunOrders(sheet), row.after);
  }
}

TEST_F(WorksheetTest, RandomizeMovesOnlyEligibleRunOrders) {
  struct Row {
    const char* name;
    int count, first, last;
    int out_position;       // 0: none
    int response_position;  // 0: none
    int floor;
    std::vector<int> after;
  };
  const Row rows[] = {
      // Eligible: positions 3, 5, 6, 7 with [3, 5, 6, 7] -> [3, 7, 6, 5].
      {"out, measured and at the floor stay", 7, 1, -1, 2, 4, 1, {1, 2, 3, 4, 7, 6, 5}},
      // Eligible: positions 2..5 with [2, 3, 4, 5] -> [2, 5, 4, 3].
      {"only the given positions", 6, 2, 5, 0, 0, 0, {1, 2, 5, 4, 3, 6}},
      {"single eligible left alone", 3, 1, -1, 0, 0, 2, {1, 2, 3}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    WorksheetInfo sheet = Sheet(row.count);
    if (row.out_position != 0) {
      sheet.GetExperiment(row.out_position)->SetExcluded(Experiment::kOut);
    }
    if (row.response_position != 0) {
      ASSERT_TRUE(sheet.SetValue(row.response_position, "yield", 3.5));
      EXPECT_TRUE(sheet.RunHasResponseValue(row.response_position));
    }
    sheet.SetRunOrderFloor(row.floor);
    sheet.RandomizeRunOrder(row.first, row.last, false);
    EXPECT_EQ(RunOrders(sheet), row.after);
  }
}

TEST_F(WorksheetTest, BlockRandomizationStaysWithinGroups) {
  AddBlockFactor("$BlockV");
  WorksheetInfo sheet = Sheet(6);
  for (int p = 1; p <= 6; ++p) ASSERT_TRUE(sheet.SetValue(p, "$BlockV", p % 2 == 1 ? "B1" : "B2"));
  EXPECT_FALSE(sheet.RandomizeBlockedRunorder("Design set", false));
  // Group B1 = positions 1, 3, 5 with [1, 3, 5]: draws 1 (stay) and 2 (stay). Group B2 =
  // positions 2, 4, 6 with [2, 4, 6] continues the generator: 1552589721 % 2 = 1 (stay),
  // 3286636090 % 3 = 1 (swap 2 and 1) -> [2, 6, 4].
  ASSERT_TRUE(sheet.RandomizeBlockedRunorder("$BlockV", false));
  EXPECT_EQ(RunOrders(sheet), (std::vector<int>{1, 2, 3, 6, 5, 4}));
}

TEST_F(WorksheetTest, RandomizeRunOrderCascadesIntoTheFirstBlockKindPresent) {
  struct Row {
    const char* name;
    std::vector<const char*> block_factors;
    std::vector<int> after;
  };
  const Row rows[] = {
      // No block factor: the plain shuffle.
      {"none", {}, {5, 4, 6, 2, 1, 3}},
      // After [5, 4, 6, 2, 1, 3], group B1 (positions 1, 3, 5: [5, 6, 1]) stays, group B2
      // (positions 2, 4, 6: [4, 2, 3]) swaps its last two -> [4, 3, 2].
      {"$BlockV", {"$BlockV"}, {5, 4, 6, 3, 1, 2}},
      // "Design set" wins; its groups (all one setting) get the plain shuffle of all six run
      // orders again; the $BlockV grouping is not applied.
      {"Design set before $BlockV", {"$BlockV", "Design set"}, {1, 2, 3, 4, 5, 6}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    variables_ = Variables();
    SetUp();
    for (const char* name : row.block_factors) AddBlockFactor(name);
    WorksheetInfo sheet = Sheet(6);
    for (int p = 1; p <= 6; ++p) sheet.SetValue(p, "$BlockV", p % 2 == 1 ? "B1" : "B2");
    for (int p = 1; p <= 6; ++p) sheet.SetValue(p, "Design set", "B1");
    sheet.RandomizeRunOrder(1, -1, false);
    EXPECT_EQ(RunOrders(sheet), row.after);
  }
}

TEST_F(WorksheetTest, RandomSeedStillPermutes) {
  GlobalOptions::Instance().SetFixedSeedForValidation(false);
  WorksheetInfo random = Sheet(8);
  random.RandomizeRunOrder(1, -1, false);
  std::vector<int> orders = RunOrders(random);
  std::sort(orders.begin(), orders.end());
  EXPECT_EQ(orders, (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(WorksheetTest, ACallerSeedGivesItsPinnedPermutationOnEveryCall) {
  // Worked out once with an independent MT19937 and the forward shuffle, and checked by hand
  // to hold each of 1..10 once.
  struct Row {
    const char* name;
    std::uint32_t seed;
    std::vector<int> after;
  };
  const Row rows[] = {
      {"424242", 424242U, {10, 2, 5, 3, 8, 6, 7, 9, 1, 4}},
      {"above 2^31", 4000000000U, {6, 1, 8, 5, 7, 10, 4, 9, 3, 2}},
      {"the validation seed", WorksheetInfo::kSeedForValidation, {5, 7, 6, 8, 1, 3, 4, 2, 9, 10}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    // A chosen seed wins over both the random source and the fixed-seed switch.
    for (const bool fixed : {false, true}) {
      GlobalOptions::Instance().SetFixedSeedForValidation(fixed);
      WorksheetInfo sheet = Sheet(10);
      EXPECT_EQ(sheet.GetLastSeed(), std::nullopt);
      sheet.RandomizeRunOrder(1, -1, false, row.seed);
      EXPECT_EQ(RunOrders(sheet), row.after);
      EXPECT_EQ(sheet.GetLastSeed(), row.seed);
      WorksheetInfo fresh = Sheet(10);
      for (int p = 1; p <= 10; ++p) fresh.GetExperiment(p)->SetRunOrder(0);
      fresh.SetRunOrder(1, -1, -1, true, false, row.seed);
      EXPECT_EQ(RunOrders(fresh), row.after);
    }
  }
  // Without a seed, the switch gives the validation seed's order.
  GlobalOptions::Instance().SetFixedSeedForValidation(true);
  WorksheetInfo sheet = Sheet(10);
  sheet.RandomizeRunOrder(1, -1, false);
  EXPECT_EQ(RunOrders(sheet), rows[2].after);
  EXPECT_EQ(sheet.GetLastSeed(), WorksheetInfo::kSeedForValidation);
}

TEST_F(WorksheetTest, ARandomRunOrderIsMadeAgainFromItsRecordedSeed) {
  GlobalOptions::Instance().SetFixedSeedForValidation(false);
  AddBlockFactor("$BlockV");
  // Two blocks of six: the block shuffle must follow the recorded seed too.
  auto blocked_sheet = [this] {
    WorksheetInfo sheet = Sheet(12);
    for (int p = 1; p <= 12; ++p) sheet.SetValue(p, "$BlockV", p <= 6 ? "B1" : "B2");
    return sheet;
  };
  WorksheetInfo random = blocked_sheet();
  random.RandomizeRunOrder(1, -1, false);
  ASSERT_TRUE(random.GetLastSeed().has_value());
  const std::uint32_t seed = *random.GetLastSeed();
  EXPECT_FALSE(random.RandomizeBlockedRunorder("No such factor", false, seed + 1));
  EXPECT_EQ(random.GetLastSeed(), seed);  // nothing randomized, nothing recorded

  WorksheetInfo again = blocked_sheet();
  again.RandomizeRunOrder(1, -1, false, seed);
  EXPECT_EQ(RunOrders(again), RunOrders(random));
}

TEST_F(WorksheetTest, AddRemoveRenumberKeepTheNumberIndex) {
  WorksheetInfo sheet = Sheet(3);
  ASSERT_EQ(sheet.GetExperiment(1)->GetNumValues(), 3);
  EXPECT_EQ(sheet.GetExperiment(2)->GetValueType(2), zubra::Run::kText);  // qualitative: empty text
  EXPECT_EQ(sheet.GetExperiment(2)->GetFloatValue(1), kUndefined);
  EXPECT_TRUE(sheet.RemoveExperiment(1));
  EXPECT_FALSE(sheet.RemoveExperiment(3));
  EXPECT_EQ(sheet.GetPosition(1), 0);
  EXPECT_EQ(sheet.GetPosition(3), 2);
  Experiment* added = sheet.AddExperiment();
  EXPECT_EQ(added->ExpNo(), 4);
  EXPECT_EQ(added->ExpName(), "N4");
  EXPECT_FALSE(sheet.InsertExperiment(std::make_unique<Experiment>(3, 3, false)));
  auto named = std::make_unique<Experiment>(9, 3, false);
  named->SetExpName("Special");
  EXPECT_TRUE(sheet.InsertExperiment(std::move(named), 1));
  sheet.RenumberExperiments();
  std::string numbered;
  for (int p = 1; p <= 4; ++p) {
    const Experiment& e = *sheet.GetExperiment(p);
    numbered +=
        std::to_string(e.ExpNo()) + e.ExpName() + std::to_string(sheet.GetPosition(p)) + " ";
  }
  EXPECT_EQ(numbered, "1Special1 2N22 3N33 4N44 ");
}

TEST_F(WorksheetTest, CellsByPositionAndByName) {
  WorksheetInfo sheet = Sheet(2);
  struct Row {
    const char* name;
    int position;
    const char* variable;
    const char* text;
    bool ok;
    std::string shown;
  };
  const Row rows[] = {
      {"number by name", 1, "temp", "12.5", true, "12.5"},
      {"transformed name", 2, "Temp~", "20", true, "20"},
      {"setting text", 1, "Cat", "B", true, "B"},
      {"response", 2, "Yield", "81", true, "81"},
      {"unknown variable", 1, "Pressure", "3", false, ""},
      {"no such experiment", 3, "Temp", "3", false, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(sheet.SetValue(row.position, row.variable, row.text), row.ok);
    EXPECT_EQ(sheet.GetStringValue(row.position, row.variable), row.shown);
  }
  EXPECT_EQ(sheet.GetFloatValue(1, "Temp"), 12.5);
  EXPECT_EQ(sheet.GetExperiment(1)->GetStringValue(2), "B");
  EXPECT_FALSE(sheet.SetValue(1, 4, "1"));
}

TEST_F(WorksheetTest, CentrePointsAreSpreadOverTheRunOrder) {
  const std::vector<double> temps = {10, 20, 30, 20, 10, 30, 20};
  WorksheetInfo sheet = Sheet(static_cast<int>(temps.size()));
  EXPECT_FALSE(sheet.HasCenterPoint());
  for (int p = 1; p <= sheet.GetExperimentCount(); ++p) {
    sheet.SetValue(p, "Temp", temps[static_cast<std::size_t>(p - 1)]);
  }
  EXPECT_TRUE(sheet.HasCenterPoint());
  ASSERT_TRUE(sheet.SetRunOrderToDetectCurvature());
  // Centre points (positions 2, 4, 7) take ranks 0, 3, 6 of run orders 1..7; the others
  // (positions 1, 3, 5, 6) take 2, 3, 5, 6 in their order.
  EXPECT_EQ(RunOrders(sheet), (std::vector<int>{2, 1, 3, 4, 5, 6, 7}));
  WorksheetInfo no_centre = Sheet(2);
  no_centre.SetValue(1, "Temp", 10.0);
  no_centre.SetValue(2, "Temp", 30.0);
  EXPECT_FALSE(no_centre.SetRunOrderToDetectCurvature());
}

TEST_F(WorksheetTest, CreatesOneExperimentPerDesignRun) {
  NCDataMatrix<float> coded(3, 2);
  NCDataMatrix<float> uncoded(3, 2);
  const float temps[] = {10.0F, 30.0F, 20.0F};
  const float cats[] = {1.0F, 3.0F, 2.0F};
  for (int r = 0; r < 3; ++r) {
    uncoded(r, 0) = temps[r];
    uncoded(r, 1) = cats[r];
  }
  NCDesign design(
      EDesign::kFullFactorial, "test", {"Temp", "Cat"}, coded, uncoded, {1, 1, 1},
      {NCDesign::RunKind::kDesign, NCDesign::RunKind::kReplicate, NCDesign::RunKind::kCenter},
      Generators());
  WorksheetInfo sheet(&variables_);
  sheet.CreateFromDesign(design);
  ASSERT_EQ(sheet.GetExperimentCount(), 3);
  EXPECT_EQ(sheet.ToText(),
            "ExpNo\tExpName\tRunOrder\tInOut\tTemp\tCat\tYield\n1\tN1\t0\tIn\t10\tA\t\n"
            "2\tN2\t0\tIn\t30\tC\t\n3\tN3\t0\tIn\t20\tB\t\n");
  EXPECT_EQ(sheet.GetRunKind(1) + sheet.GetRunKind(2) + sheet.GetRunKind(3),
            "designreplicatecenter");
  EXPECT_TRUE(sheet.IsCenterPoint(3));
  NCDesign unknown(EDesign::kFullFactorial, "bad", {"Pressure"}, NCDataMatrix<float>(1, 1),
                   NCDataMatrix<float>(1, 1), {1}, {NCDesign::RunKind::kDesign}, Generators());
  EXPECT_THROW(sheet.CreateFromDesign(unknown), Exception);
  EXPECT_EQ(sheet.GetExperimentCount(), 3);
}

// Fails unless reading `json` throws the message of bad whole plots.
void ExpectBadWholePlots(WorksheetInfo& sheet, const char* json) {
  try {
    sheet.FromJson(ParseJson(json));
    ADD_FAILURE() << "no exception";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(),
                 "Parse error: 'wholePlots' must hold one whole number of 0 or more per row.");
  }
}

// A design of 9 runs in whole plots 1, 1, 2, 2, 2, 3, 3, 3, 3 (Temp hard to change).
NCDesign SplitPlotDesign() {
  NCDataMatrix<float> coded(9, 2);
  NCDataMatrix<float> uncoded(9, 2);
  const std::vector<int> plots = {1, 1, 2, 2, 2, 3, 3, 3, 3};
  for (int r = 0; r < 9; ++r) {
    uncoded(r, 0) = 10.0F * static_cast<float>(plots[static_cast<std::size_t>(r)]);
    uncoded(r, 1) = static_cast<float>(r % 3 + 1);
  }
  return {EDesign::kDOptimal,
          "D-Optimal",
          {"Temp", "Cat"},
          coded,
          uncoded,
          std::vector<int>(9, 1),
          std::vector<NCDesign::RunKind>(9, NCDesign::RunKind::kDesign),
          Generators(),
          plots};
}

TEST_F(WorksheetTest, WholePlotsStayTogetherWhenTheRunOrderIsRandomized) {
  WorksheetInfo sheet(&variables_);
  sheet.CreateFromDesign(SplitPlotDesign());
  ASSERT_TRUE(sheet.HasWholePlots());
  EXPECT_EQ(sheet.GetWholePlot(3), 2);
  EXPECT_EQ(sheet.GetWholePlot(10), 0);
  for (const std::uint32_t seed : {1U, 2U, 3U, 1974U}) {
    SCOPED_TRACE(seed);
    sheet.SetRunOrder(1, -1, -1, false, false);
    sheet.RandomizeRunOrder(1, -1, false, seed);
    // Sorted by run order, the plots come one after the other, each once.
    std::vector<std::pair<int, int>> by_order;  // run order, plot
    for (int p = 1; p <= 9; ++p) {
      by_order.emplace_back(sheet.GetExperiment(p)->RunOrder(), sheet.GetWholePlot(p));
    }
    std::sort(by_order.begin(), by_order.end());
    std::vector<int> plot_sequence;
    for (std::size_t k = 0; k < by_order.size(); ++k) {
      EXPECT_EQ(by_order[k].first, static_cast<int>(k) + 1);
      if (plot_sequence.empty() || plot_sequence.back() != by_order[k].second) {
        plot_sequence.push_back(by_order[k].second);
      }
    }
    EXPECT_EQ(plot_sequence.size(), 3U);
    std::vector<int> again = RunOrders(sheet);
    sheet.RandomizeRunOrder(1, -1, false, seed);
    sheet.RandomizeRunOrder(1, -1, false, seed);
    EXPECT_EQ(RunOrders(sheet), again) << "the same seed gives the same order";
  }
  // An experiment that has a response value keeps its run order; the others still keep
  // their plots together.
  sheet.SetValue(1, "Yield", 5.0);
  const int kept = sheet.GetExperiment(1)->RunOrder();
  sheet.RandomizeRunOrder(1, -1, false, 99U);
  EXPECT_EQ(sheet.GetExperiment(1)->RunOrder(), kept);
}

TEST_F(WorksheetTest, WholePlotsAreStoredOnlyWhenThereAreAny) {
  WorksheetInfo sheet(&variables_);
  sheet.CreateFromDesign(SplitPlotDesign());
  sheet.SetRunOrder(1, -1, -1, false, false);
  const std::string text = sheet.ToText();
  EXPECT_EQ(text.substr(0, text.find("\n4\t")),
            "ExpNo\tExpName\tWholePlot\tRunOrder\tInOut\tTemp\tCat\tYield\n"
            "1\tN1\t1\t1\tIn\t10\tA\t\n2\tN2\t1\t2\tIn\t10\tB\t\n3\tN3\t2\t3\tIn\t20\tC\t");
  WorksheetInfo from_text(&variables_);
  std::string message;
  ASSERT_TRUE(from_text.FromText(text, &message)) << message;
  EXPECT_EQ(from_text.ToText(), text);
  WorksheetInfo from_json(&variables_);
  from_json.FromJson(ParseJson(DumpJson(sheet.ToJson())));
  EXPECT_EQ(from_json.ToText(), text);
  EXPECT_EQ(sheet.ToJson()["wholePlots"], ParseJson("[1,1,2,2,2,3,3,3,3]"));
  // Without whole plots neither form mentions them.
  for (int p = 1; p <= 9; ++p) ASSERT_TRUE(sheet.SetWholePlot(p, 0));
  EXPECT_FALSE(sheet.SetWholePlot(1, -1));
  EXPECT_EQ(sheet.ToText().find("WholePlot"), std::string::npos);
  EXPECT_FALSE(sheet.ToJson().contains("wholePlots"));
  // Bad whole plots are refused and change nothing.
  WorksheetInfo kept = Sheet(2);
  EXPECT_FALSE(kept.FromText("ExpNo\tWholePlot\tRunOrder\tInOut\n1\t-2\t1\tIn\n", &message));
  EXPECT_EQ(message, "Line 2 of the worksheet file cannot be read.");
  for (const char* json : {R"({"columns": ["ExpNo"], "rows": [[1]], "wholePlots": [1, 2]})",
                           R"({"columns": ["ExpNo"], "rows": [[1]], "wholePlots": [-1]})",
                           R"({"columns": ["ExpNo"], "rows": [[1]], "wholePlots": 1})"}) {
    SCOPED_TRACE(json);
    ExpectBadWholePlots(kept, json);
  }
  EXPECT_EQ(kept.GetExperimentCount(), 2);
}

TEST_F(WorksheetTest, FactorMatrixCodedAndUncoded) {
  WorksheetInfo sheet = Sheet(2);
  sheet.SetValue(1, "Temp", 15.0);
  sheet.SetValue(1, "Cat", "C");
  sheet.SetValue(2, "Cat", "unknown setting");
  const FMatrix uncoded = sheet.GetFactorMatrix(false);
  const FMatrix coded = sheet.GetFactorMatrix(true);
  ASSERT_EQ(uncoded.GetRows(), 2);
  ASSERT_EQ(uncoded.GetCols(), 3);  // Temp, Cat expanded into two columns
  EXPECT_FLOAT_EQ(uncoded(1, 1), 15.0F);
  EXPECT_FLOAT_EQ(coded(1, 1), -0.5F);
  EXPECT_EQ(coded(2, 1), static_cast<float>(kUndefined));
  const XFMatrix& coding = *variables_.GetFactor("Cat")->GetCodingMatrix();
  for (int c = 1; c <= 2; ++c) {
    EXPECT_EQ(uncoded(1, 1 + c), coding(3, c));
    EXPECT_EQ(coded(1, 1 + c), coding(3, c));
    EXPECT_EQ(coded(2, 1 + c), static_cast<float>(kUndefined));
  }
}

TEST_F(WorksheetTest, TextAndJsonFormsRoundTrip) {
  WorksheetInfo sheet = Sheet(3);
  sheet.SetValue(1, "Temp", 0.1);
  sheet.SetValue(1, "Cat", "A");
  sheet.SetValue(2, "Yield", 1234567.25);
  sheet.SetValue(3, "Temp", 1.0 / 3.0);  // needs 16 digits to read back exactly
  sheet.GetExperiment(2)->SetExcluded(Experiment::kOut);
  sheet.GetExperiment(3)->SetCombinationID("K7");
  sheet.GetExperiment(3)->SetExpName("Third");
  sheet.SetRunOrderFloor(1);

  const std::string text = sheet.ToText();
  EXPECT_EQ(text,
            "ExpNo\tCombination ID\tExpName\tRunOrder\tInOut\tTemp\tCat\tYield\n"
            "1\t\tN1\t1\tIn\t0.1\tA\t\n2\t\tN2\t2\tOut\t\t\t1234567.25\n"
            "3\tK7\tThird\t3\tIn\t0.3333333333333333\t\t\n");
  // Numbers are written in the shortest form that reads back exactly; each read form gives
  // back the same sheet, down to how a missing qualitative cell is held (the JSON form tells
  // an empty text from a missing number).
  auto check = [&](const WorksheetInfo& read) {
    EXPECT_EQ(read.ToText(), text);
    EXPECT_EQ(read.ToJson()["rows"], sheet.ToJson()["rows"]);
    EXPECT_EQ(read.GetFloatValue(3, "Temp"), 1.0 / 3.0);
  };
  WorksheetInfo from_text(&variables_);
  std::string message;
  ASSERT_TRUE(from_text.FromText(text, &message)) << message;
  check(from_text);

  WorksheetInfo from_json(&variables_);
  from_json.FromJson(ParseJson(DumpJson(sheet.ToJson())));
  check(from_json);
  EXPECT_EQ(from_json.GetRunOrderFloor(), 1);

  const std::string path =
      (std::filesystem::temp_directory_path() / "zubra_worksheet_test.txt").string();
  sheet.WriteFile(path);
  WorksheetInfo from_file(&variables_);
  ASSERT_TRUE(from_file.ReadFile(path, &message)) << message;
  check(from_file);
  std::filesystem::remove(path);
}

TEST_F(WorksheetTest, FieldsAreReadUpToANulByteAndWithoutTheReturnsThatEndThem) {
  using namespace std::string_literals;
  WorksheetInfo sheet(&variables_);
  std::string message;
  ASSERT_TRUE(sheet.FromText("ExpNo\tTemp\tCat\tYield\n1\t\0\t\0B\t2\0.5\n"s, &message)) << message;
  // Starting with NUL is empty: missing, as a new experiment has it (the empty text for Cat).
  EXPECT_EQ(sheet.ToJson()["rows"][0], ParseJson(R"([1, "", "", 0, "In", null, "", 2.0])"));

  // A text cell ending in CR before more fields would be written last on its line, where
  // the CR reads as part of a CR LF line end.
  ASSERT_TRUE(sheet.FromText("ExpNo\tTemp\tCat\n1\t\r\0\tB\r\r\t\r\n2\t3\r\tx\r\0y\r\n"s, &message))
      << message;
  EXPECT_EQ(sheet.ToJson()["rows"][0], ParseJson(R"([1, "", "", 0, "In", null, "B", null])"));
  EXPECT_EQ(sheet.ToJson()["rows"][1], ParseJson(R"([2, "", "", 0, "In", 3.0, "x", null])"));
  WorksheetInfo again(&variables_);
  ASSERT_TRUE(again.FromText(sheet.ToText(), &message)) << message;
  EXPECT_EQ(again.ToText(), sheet.ToText());
}

TEST_F(WorksheetTest, AQualitativeCellHoldsTextInEveryForm) {
  // Settings are names: "01" and "0." are not numbers there, and a number given for such a
  // cell is kept as its text. The other cells still read number-like text as numbers.
  struct Row {
    const char* name;
    void (*set)(WorksheetInfo&);
    const char* json;  // the JSON form's row
  };
  const Row rows[] = {
      {"number-like texts", [](WorksheetInfo& s) { s.SetValue(1, "Cat", "01"); },
       R"([1, "", "N1", 1, "In", null, "01", null])"},
      {"a text ending in a point", [](WorksheetInfo& s) { s.SetValue(1, "Cat", "0."); },
       R"([1, "", "N1", 1, "In", null, "0.", null])"},
      {"a number: its shortest text", [](WorksheetInfo& s) { s.SetValue(1, "Cat", 2.5); },
       R"([1, "", "N1", 1, "In", null, "2.5", null])"},
      {"a missing number: the empty text", [](WorksheetInfo& s) { s.SetValue(1, "Cat", kUndefined); },
       R"([1, "", "N1", 1, "In", null, "", null])"},
      {"a quantitative cell still reads numbers",
       [](WorksheetInfo& s) {
         s.SetValue(1, "Temp", "01");
         s.SetValue(1, "Yield", "0.");
       },
       R"([1, "", "N1", 1, "In", 1.0, "", 0.0])"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    WorksheetInfo sheet = Sheet(1);
    row.set(sheet);
    ASSERT_EQ(sheet.ToJson()["rows"][0], ParseJson(row.json));
    WorksheetInfo from_text(&variables_);
    std::string message;
    ASSERT_TRUE(from_text.FromText(sheet.ToText(), &message)) << message;
    EXPECT_EQ(from_text.ToJson(), sheet.ToJson());
    WorksheetInfo from_json(&variables_);
    from_json.FromJson(sheet.ToJson());
    EXPECT_EQ(from_json.ToText(), sheet.ToText());
  }
  // A JSON number in a qualitative cell is read as its text, a JSON string elsewhere as user
  // text: a number when it reads as one, missing when empty.
  WorksheetInfo sheet(&variables_);
  sheet.FromJson(ParseJson(
      R"({"columns": ["ExpNo", "Cat", "Temp", "Yield"], "rows": [[1, 3, "0.", ""], [2, "", "x", 4]]})"));
  EXPECT_EQ(sheet.ToJson()["rows"][0], ParseJson(R"([1, "", "", 0, "In", 0.0, "3", null])"));
  EXPECT_EQ(sheet.ToJson()["rows"][1], ParseJson(R"([2, "", "", 0, "In", "x", "", 4.0])"));
}

TEST_F(WorksheetTest, ReadingKeepsTheNumberIndexForRowsInAnyOrder) {
  const std::string file =
      "ExpNo\tExpName\tRunOrder\tInOut\tYield\tTemp\n"
      "5\tFive\t3\tIn\t\t12\n9\tNine\t1\tOut\t2.5\t\n2\t\t2\tIn\t1e3\t15\n";
  struct Row {
    const char* name;
    void (*read)(WorksheetInfo& sheet, const std::string& text);
  };
  const Row rows[] = {
      {"text",
       [](WorksheetInfo& sheet, const std::string& text) { ASSERT_TRUE(sheet.FromText(text)); }},
      {"json",
       [](WorksheetInfo& sheet, const std::string& text) {
         WorksheetInfo source(sheet);
         ASSERT_TRUE(source.FromText(text));
         sheet.FromJson(ParseJson(DumpJson(source.ToJson())));
       }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    WorksheetInfo sheet = Sheet(4);
    sheet.RandomizeRunOrder(1, -1, false);
    row.read(sheet, file);
    EXPECT_EQ(sheet.GetLastSeed(), std::nullopt);
    ASSERT_EQ(sheet.GetExperimentCount(), 3);
    EXPECT_EQ(sheet.ToText(),
              "ExpNo\tExpName\tRunOrder\tInOut\tTemp\tCat\tYield\n"
              "5\tFive\t3\tIn\t12\t\t\n9\tNine\t1\tOut\t\t\t2.5\n2\t\t2\tIn\t15\t\t1000\n");
    EXPECT_EQ(sheet.GetPosition(5) * 100 + sheet.GetPosition(9) * 10 + sheet.GetPosition(2), 123);
    EXPECT_EQ(sheet.GetRunKind(3), "");
    EXPECT_EQ(sheet.AddExperiment()->ExpNo(), 10);
    ASSERT_TRUE(sheet.InsertExperiment(std::make_unique<Experiment>(7, 3, false), 2));
    EXPECT_FALSE(sheet.InsertExperiment(std::make_unique<Experiment>(2, 3, false), 1));
    std::string positions;
    for (const int number : {5, 7, 9, 2, 10})
      positions += std::to_string(sheet.GetPosition(number));
    EXPECT_EQ(positions, "12345");
  }
}

TEST_F(WorksheetTest, BadStoredFormsChangeNothing) {
  struct Row {
    const char* name;
    std::string text;
    const char* message;
  };
  const std::string head = "ExpNo\tExpName\tRunOrder\tInOut\n";
  const Row rows[] = {
      {"empty file", "", "The worksheet file is empty."},
      {"no ExpNo column", "ExpName\tRunOrder\tInOut\tTemp\nN1\t1\tIn\t3\n",
       "The worksheet file has no ExpNo column."},
      {"bad run order", "ExpNo\tExpName\tRunOrder\tInOut\tTemp\n1\tN1\tx\tIn\t3\n",
       "Line 2 of the worksheet file cannot be read."},
      {"repeated number", head + "1\tN1\t1\tIn\n\n2\tN2\t1\tIn\n1\tN1\t2\tIn\n",
       "Experiment number 1 is repeated or invalid."},
      {"number 0", head + "3\tN3\t1\tIn\n0\tN0\t1\tIn\n",
       "Experiment number 0 is repeated or invalid."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    WorksheetInfo sheet = Sheet(2);
    std::string message;
    EXPECT_FALSE(sheet.FromText(row.text, &message));
    EXPECT_EQ(message, row.message);
    EXPECT_EQ(sheet.GetExperimentCount(), 2);
  }
  WorksheetInfo sheet = Sheet(2);
  EXPECT_FALSE(sheet.ReadFile("/nonexistent/zubra/worksheet.txt"));
  const char* bad_json[] = {
      R"({"rows": []})",
      R"({"columns": ["ExpNo"], "rows": [[1.5]]})",
      R"({"columns": ["ExpNo"], "rows": [[1], [1]]})",
      R"({"columns": ["ExpNo"], "rows": [[3], [0]]})",
      R"({"columns": ["ExpName"], "rows": []})",
  };
  for (const char* text : bad_json) {
    SCOPED_TRACE(text);
    EXPECT_THROW(sheet.FromJson(ParseJson(text)), Exception);
    EXPECT_EQ(sheet.GetExperimentCount(), 2);
  }
}

}  // namespace
}  // namespace zubra
