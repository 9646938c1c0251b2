// Investigation::AugmentDesign: the grown design, the worksheet's old and new experiments, and
// the refusals that leave the investigation as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/evaluation/augmentation.h"
#include "zubra/investigation/investigation.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"

namespace zubra {
namespace {

// A resolution III screening fraction of five factors (8 runs) with two centre points.
constexpr const char* kScreening = R"({
  "format": "zubra-investigation", "version": 1, "name": "Screening",
  "factors": [
    {"name": "A1", "abbreviation": "A1", "type": "quantitative", "settings": [0, 10]},
    {"name": "B1", "abbreviation": "B1", "type": "quantitative", "settings": [0, 10]},
    {"name": "C1", "abbreviation": "C1", "type": "quantitative", "settings": [0, 10]},
    {"name": "D1", "abbreviation": "D1", "type": "quantitative", "settings": [0, 10]},
    {"name": "E1", "abbreviation": "E1", "type": "quantitative", "settings": [0, 10]}
  ],
  "responses": [{"name": "Yield", "abbreviation": "Y"}],
  "design": {"objective": "Screening", "type": "FracFactResIII", "centerPoints": 2, "seed": 3}
})";

std::unique_ptr<Investigation> Designed() {
  std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(kScreening));
  study->GenerateDesign(nullptr, nullptr);
  study->MakeWorksheet(std::nullopt);
  return study;
}

std::shared_ptr<NCDesign> Folded(const Investigation& study) {
  return FoldOver(*study.GetModelSpec().GetDesign(),
                  study.GetModelSpec().GetFactors().GetFactors());
}

TEST(InvestigationAugmentDesign, OldExperimentsStayAsTheyAreAndNewOnesFollowInRunOrder) {
  std::unique_ptr<Investigation> study = Designed();
  WorksheetInfo& before = study->GetWorksheet();
  const int runs = before.GetExperimentCount();
  ASSERT_EQ(runs, 10);
  ASSERT_TRUE(before.SetValue(before.GetPosition(4), "Yield", 71.5));
  before.GetExperimentByNumber(2)->SetExcluded(Experiment::kOut);
  const json_value old_rows = before.ToJson()["rows"];

  study->AugmentDesign(Folded(*study), nullptr, 77);

  const WorksheetInfo& after = study->GetWorksheet();
  ASSERT_EQ(after.GetExperimentCount(), 2 * runs);
  const json_value rows = after.ToJson()["rows"];
  std::set<json_value> kept(old_rows.begin(), old_rows.end());
  std::vector<int> new_orders;
  for (int position = 1; position <= after.GetExperimentCount(); ++position) {
    const Experiment& experiment = *after.GetExperiment(position);
    EXPECT_EQ(experiment.ExpNo(), position);
    if (position <= runs) {
      EXPECT_EQ(kept.count(rows[static_cast<std::size_t>(position - 1)]), 1U) << position;
    } else {
      new_orders.push_back(experiment.RunOrder());
      EXPECT_EQ(experiment.ExpName(), "N" + std::to_string(position));
    }
  }
  std::vector<int> sorted = new_orders;
  std::sort(sorted.begin(), sorted.end());
  for (int i = 0; i < runs; ++i) EXPECT_EQ(sorted[static_cast<std::size_t>(i)], runs + 1 + i);
  EXPECT_NE(new_orders, sorted) << "the new runs are shuffled";
  EXPECT_EQ(after.GetLastSeed(), 77U);

  // The fold-over is selected, the old design stays in the list, the model is unchanged.
  const ModelSpec& spec = study->GetModelSpec();
  EXPECT_EQ(spec.GetDesign()->GetRuns(), 2 * runs);
  EXPECT_EQ(spec.GetDesignCount(), 2);
  EXPECT_FALSE(spec.IsTermListEdited());
  ASSERT_NE(spec.GetDesignStatistics(), nullptr);

  // The same seed gives the same new run orders.
  std::unique_ptr<Investigation> again = Designed();
  again->AugmentDesign(Folded(*again), nullptr, 77);
  for (int position = runs + 1; position <= 2 * runs; ++position) {
    EXPECT_EQ(again->GetWorksheet().GetExperiment(position)->RunOrder(),
              after.GetExperiment(position)->RunOrder());
  }
}

TEST(InvestigationAugmentDesign, AModelOfOtherTermsBecomesTheTermListAndSurvivesTheXmlForm) {
  std::unique_ptr<Investigation> study = Designed();
  const Factors& factors = study->GetModelSpec().GetFactors().GetFactors();
  std::shared_ptr<NCDesign> composite =
      CompleteComposite(*FoldOver(*study->GetModelSpec().GetDesign(), factors), factors);
  // First the fold-over, then the axial block for the quadratic model.
  study->AugmentDesign(Folded(*study), nullptr, 1);
  const DesignModel quadratic = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
  study->AugmentDesign(composite, &quadratic, 2);

  const ModelSpec& spec = study->GetModelSpec();
  EXPECT_TRUE(spec.IsTermListEdited());
  EXPECT_EQ(spec.GetTermInfo().GetNItm(), 21);  // 1 + 5 + 5 + 10
  EXPECT_EQ(spec.GetDesignCount(), 1);
  EXPECT_EQ(study->GetWorksheet().GetExperimentCount(), composite->GetRuns());
  EXPECT_EQ(study->GetBlock(composite->GetRuns()), 3);

  test_support::ScratchFolder folder;
  const std::string path = folder.File("grown.xml");
  study->Save(path);
  const std::unique_ptr<Investigation> read = Investigation::Open(path);
  ASSERT_NE(read->GetModelSpec().GetDesign(), nullptr);
  EXPECT_EQ(*read->GetModelSpec().GetDesign(), *composite);
  EXPECT_EQ(read->GetWorksheet().ToJson(), study->GetWorksheet().ToJson());
  EXPECT_EQ(read->GetModelSpec().GetTermInfo().GetNItm(), 21);
}

TEST(InvestigationAugmentDesign, RefusalsNameTheProblemAndChangeNothing) {
  struct Row {
    const char* name;
    std::function<void(Investigation&)> prepare;
    std::function<std::shared_ptr<NCDesign>(const Investigation&)> grown;
    bool bad_model;
    const char* message;
  };
  const auto shifted = [](const Investigation& study) {
    std::shared_ptr<NCDesign> grown = Folded(study);
    auto uncoded = grown->GetUncoded();
    uncoded(0, 0) += 1.0F;
    return std::make_shared<NCDesign>(grown->GetType(), grown->GetName(), grown->GetFactorNames(),
                                      grown->GetCoded(), uncoded, grown->GetBlocks(),
                                      grown->GetRunKinds(), grown->GetGenerators());
  };
  const Row rows[] = {
      {"worksheet of fewer experiments",
       [](Investigation& s) { s.GetWorksheet().RemoveExperiment(1); }, Folded, false,
       "The worksheet is not the one made from the design: make it from the design first."},
      {"no grown design", nullptr, [](const Investigation&) { return nullptr; }, false,
       "The grown design does not begin with the runs of the design."},
      {"a changed old run", nullptr, shifted, false,
       "The grown design does not begin with the runs of the design."},
      {"a model of a sixth factor", nullptr, Folded, true,
       "The model names a factor the design does not have."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::unique_ptr<Investigation> study = Designed();
    if (row.prepare) row.prepare(*study);
    const json_value before = study->ToJson();
    const std::shared_ptr<const NCDesign> design = study->GetModelSpec().GetDesign();
    const DesignModel sixth({{0}, {5}});
    try {
      study->AugmentDesign(row.grown(*study), row.bad_model ? &sixth : nullptr, 1);
      ADD_FAILURE() << "no exception";
    } catch (const Exception& error) {
      EXPECT_STREQ(error.what(), row.message);
    }
    EXPECT_EQ(study->ToJson(), before);
    EXPECT_EQ(study->GetModelSpec().GetDesign(), design);
    EXPECT_EQ(study->GetModelSpec().GetDesignCount(), 1);
  }
}

}  // namespace
}  // namespace zubra
