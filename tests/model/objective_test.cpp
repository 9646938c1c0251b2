#include "zubra/model/objective.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/model/model_test_support.h"
#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/design/onion_options.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/configuration_section.h"

namespace zubra {
namespace {

using test_support::MakeSet;
using test_support::NewSection;

// Records the calls of the notification hook, and sets the process model as the model
// specification would.
class RecordingObjective : public Objective {
 public:
  using Objective::Objective;
  void ObjectiveHasChanged(EObjective::Type type, bool notify) override {
    calls.emplace_back(type, notify);
  }
  void SetProcessModel(EModel::Type model) { MutableDesignOptions().SetProcessModel(model); }
  std::vector<std::pair<EObjective::Type, bool>> calls;
};

TEST(Objective, AvailableObjectivesFollowTheKindsOfFactors) {
  struct Row {
    const char* name;
    Variables set;
    bool screening, rsm, process_mixture;
  };
  Row rows[] = {
      {"process only", test_support::ProcessSet(3), true, true, false},
      {"mixture only", test_support::MixtureSet(), true, true, false},
      {"process and mixture", test_support::MixedSet(), true, true, true},
      // A constant factor is not varied by any design.
      {"a constant factor only",
       MakeSet({{"Speed", "S", CEType::kQuantitative, 5, 5, {}, CEUse::kConstant}}), false, false,
       false},
      {"no factors", Variables(), false, false, false},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Objective objective(&row.set, NewSection());
    EXPECT_FALSE(objective.IsObjectiveAvailable(EObjective::kNone));
    EXPECT_EQ(objective.IsObjectiveAvailable(EObjective::kScreening), row.screening);
    EXPECT_EQ(objective.IsObjectiveAvailable(EObjective::kRSM), row.rsm);
    EXPECT_EQ(objective.IsObjectiveAvailable(EObjective::kProcessMixture), row.process_mixture);
    EXPECT_EQ(objective.IsObjectiveAvailable(EObjective::kRobustness), row.screening);
    EXPECT_EQ(objective.IsObjectiveAvailable(EObjective::kOptimization), row.screening);
  }
}

TEST(Objective, MaximumRunsOnlyGoDownAndLimitTheObjectives) {
  Variables set = test_support::ProcessSet(3);
  Objective objective(&set, NewSection());
  const int most = objective.GetMaxLegalRuns();
  EXPECT_FALSE(objective.SetMaxRuns(most + 1));
  EXPECT_EQ(objective.GetMaxLegalRuns(), most);
  EXPECT_TRUE(objective.SetMaxRuns(most));
  EXPECT_FALSE(objective.SetMaxRuns(0));
  // Twelve runs in all hold no quadratic design of three factors with its centre points.
  EXPECT_TRUE(objective.SetMaxRuns(12));
  EXPECT_FALSE(objective.IsObjectiveAvailable(EObjective::kRSM));
  EXPECT_TRUE(objective.IsObjectiveAvailable(EObjective::kScreening));
}

TEST(Objective, SetObjectiveCallsTheHookOnlyForAChangeWithNotify) {
  Variables set = test_support::ProcessSet(2);
  RecordingObjective objective(&set, NewSection());
  objective.SetObjective(EObjective::kScreening, true);  // the current one
  objective.SetObjective(EObjective::kRSM, false);
  objective.SetObjective(EObjective::kOptimization, true);
  ASSERT_EQ(objective.calls.size(), 1U);
  EXPECT_EQ(objective.calls[0], std::make_pair(EObjective::kOptimization, true));
  EXPECT_EQ(objective.GetObjective(), EObjective::kOptimization);
}

TEST(Objective, InitReadsEachLayoutAndStrictRefusesAnEmptySection) {
  struct Row {
    const char* name;
    std::function<void(ConfigurationSection&)> write;
    bool strict_result;
    EObjective::Type objective;
    bool score_imported;
    int max_runs;
  };
  const Row rows[] = {
      {"nothing stored", [](ConfigurationSection&) {}, false, EObjective::kScreening, false,
       DesignOptions::kDefaultMaxRuns},
      {"current layout",
       [](ConfigurationSection& root) {
         ConfigurationSection& spec = root.CreateChild("DesignSpec");
         spec.WriteString("Objective", "RSM");
         spec.WriteInt("MaxLegalRuns", 60);
         spec.WriteBool("IsScoreImported", true);
       },
       true, EObjective::kRSM, true, 60},
      {"older layout",
       [](ConfigurationSection& root) {
         ConfigurationSection& old = root.CreateChild("Objective");
         old.WriteString("Objective", "Optimization");
         old.WriteInt("MaxLegalRuns", 40);
       },
       true, EObjective::kOptimization, false, 40},
      {"oldest layout",
       [](ConfigurationSection& root) {
         ConfigurationSection& status = root.CreateChild("Status");
         status.WriteString("Objective", "Robustness");
         status.WriteBool("IsScoreImported", true);
         status.WriteBool("Worksheet", true);
       },
       true, EObjective::kRobustness, true, DesignOptions::kDefaultMaxRuns},
      {"oldest layout naming no objective",
       [](ConfigurationSection& root) { root.CreateChild("Status").WriteBool("Worksheet", true); },
       false, EObjective::kScreening, false, DesignOptions::kDefaultMaxRuns},
      {"garbled current layout keeps what reads",
       [](ConfigurationSection& root) {
         ConfigurationSection& spec = root.CreateChild("DesignSpec");
         spec.WriteString("Objective", "RSM");
         spec.WriteString("Runs", "many");
         spec.WriteString("MaxLegalRuns", "30");
       },
       true, EObjective::kRSM, false, 30},
  };
  Variables set = test_support::ProcessSet(3);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto section = NewSection();
    row.write(*section);
    Objective strict(&set, section);
    EXPECT_EQ(strict.Init(true), row.strict_result);
    EXPECT_EQ(strict.IsInitiated(), row.strict_result);
    Objective lenient(&set, section);
    EXPECT_TRUE(lenient.Init(false));
    EXPECT_TRUE(lenient.IsInitiated());
    EXPECT_EQ(lenient.GetObjective(), row.objective);
    EXPECT_EQ(lenient.IsScoreImported(), row.score_imported);
    EXPECT_EQ(lenient.GetMaxLegalRuns(), row.max_runs);
  }
}

TEST(Objective, SaveThenInitRestoresTheOptionsAndFlags) {
  Variables set = test_support::ProcessSet(3);
  auto section = NewSection();
  Objective saved(&set, section);
  saved.SetObjective(EObjective::kRSM, false);
  saved.SetMaxRuns(50);
  saved.SetImportedFromJson(true);
  saved.SetScoreImported(true, true);  // written at once
  EXPECT_TRUE(section->OpenChild("DesignSpec")->GetBool("IsScoreImported", false));
  saved.Save(section.get());

  Objective loaded(&set, test_support::Reloaded(*section));
  ASSERT_TRUE(loaded.Init(true));
  EXPECT_EQ(loaded.GetDesignOptions(), saved.GetDesignOptions());
  EXPECT_TRUE(loaded.IsScoreImported());
  EXPECT_TRUE(loaded.IsImportedFromJson());
  EXPECT_FALSE(loaded.IsREDMUPSubModel());

  saved.Remove(section.get());
  EXPECT_FALSE(section->HasChild("DesignSpec"));
  // A copy of an objective that was never read works its flags out anew.
  Objective fresh(&set, section);
  fresh.SetMaxRuns(12);
  const Objective copy(&fresh);
  EXPECT_EQ(copy.GetMaxLegalRuns(), 12);
  EXPECT_FALSE(copy.IsObjectiveAvailable(EObjective::kRSM));
  EXPECT_FALSE(copy.IsInitiated());
  const Objective initiated_copy(&loaded);
  EXPECT_EQ(initiated_copy.GetMaxLegalRuns(), 50);
  EXPECT_TRUE(initiated_copy.IsInitiated());
}

TEST(Objective, TheUserDesignIsTheBestRankedDesignThatAcceptsTheFactors) {
  struct Row {
    const char* name;
    Variables set;
    EObjective::Type objective;
    EModel::Type process_model;
    EDesign::Type expected;
  };
  Row rows[] = {
      {"three factors screening", test_support::ProcessSet(3), EObjective::kScreening,
       EModel::kLinear, EDesign::kFullFactorial},
      {"seven factors screening", test_support::ProcessSet(7), EObjective::kScreening,
       EModel::kLinear, EDesign::kFracFactResIV},
      {"three factors RSM", test_support::ProcessSet(3), EObjective::kRSM, EModel::kQuadratic,
       EDesign::kCentralComposite},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    RecordingObjective objective(&row.set, NewSection());
    objective.SetObjective(row.objective, false);
    objective.SetProcessModel(row.process_model);
    const DesignBuilder* best = objective.GetUserDesign();
    ASSERT_NE(best, nullptr);
    EXPECT_EQ(best->GetType(), row.expected);
  }
  Variables none;
  EXPECT_EQ(Objective(&none, NewSection()).GetUserDesign(), nullptr);
}

TEST(Objective, ShowListsTheFactorsThenTheObjective) {
  Variables set = test_support::ProcessSet(1);
  Objective objective(&set, NewSection());
  StreamWindow out;
  objective.Show(out);
  EXPECT_EQ(out.str(), "X1 : Quantitative, Controlled [0, 10]\n\nCurrent Objective : Screening\n");
  EXPECT_EQ(objective.GetLayers(), 1);
}

}  // namespace
}  // namespace zubra
