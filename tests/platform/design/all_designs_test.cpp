#include "zubra/platform/design/all_designs.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using test_support::Mixture;
using test_support::Quantitative;

// The best-design choice as the design objective makes it: every design of the catalogue
// gets options made for it from the objective, models and run limit, and the admissible
// design of smallest rank wins (the earlier on equal rank). Gives the design and its runs.
std::pair<const DesignBuilder*, int> Best(const Factors& factors, EObjective::Type objective,
                                          EModel::Type model) {
  DesignOptions base;
  base.SetObjective(objective);
  base.SetProcessModel(model);
  base.SetMixtureModel(model);
  std::pair<const DesignBuilder*, int> best{nullptr, 0};
  for (const DesignBuilder* builder : AllDesigns::ClassicDesigns()) {
    const DesignOptions options = builder->MakeOptions(factors, base);
    if (!builder->IsAdmissible(factors, options, false, false)) continue;
    if (best.first == nullptr || builder->GetRank() < best.first->GetRank()) {
      best = {builder, options.GetRuns()};
    }
  }
  return best;
}

TEST(AllDesigns, BuildersAreFoundByTypeAndName) {
  struct Row {
    std::string name;
    EDesign::Type type;
    std::string design_name;
    std::string found;  // "" for none
  };
  const std::vector<Row> rows = {
      {"exact", EDesign::kCentralComposite, "CCC", "CCC"},
      {"any case", EDesign::kCentralComposite, "cci", "CCI"},
      {"unknown name gives the first", EDesign::kCentralComposite, "Cube", "CCF"},
      {"old design name", EDesign::kFracFactResIV, "FractionalFactorial", "FractionalFactorial"},
      {"saturated quadratic", EDesign::kRechtschaffner, "Rechtschaffner", "Rechtschaffner"},
      {"type without builder", EDesign::kOnion, "", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const DesignBuilder* builder = AllDesigns::GetDesignBuilder(row.type, row.design_name);
    if (row.found.empty()) {
      EXPECT_EQ(builder, nullptr);
      continue;
    }
    ASSERT_NE(builder, nullptr);
    EXPECT_EQ(builder->GetType(), row.type);
    EXPECT_EQ(builder->GetName(), row.found);
  }
}

TEST(AllDesigns, CataloguesHoldEachDesignOnceClassicFirst) {
  const AllDesigns::Catalogue& classic = AllDesigns::ClassicDesigns();
  const AllDesigns::Catalogue& all = AllDesigns::ClassicAndREDMUPDesigns();
  ASSERT_GE(classic.size(), 15U);
  ASSERT_GE(all.size(), classic.size());
  std::set<std::pair<int, std::string>> seen;
  for (std::size_t i = 0; i < classic.size(); ++i) {
    EXPECT_EQ(all[i], classic[i]);
    EXPECT_TRUE(seen.emplace(classic[i]->GetType(), classic[i]->GetName()).second);
  }
}

TEST(AllDesigns, IsAnyDesignValidAnswersForObjectiveModelAndRunLimit) {
  struct Row {
    std::string name;
    EObjective::Type objective;
    EModel::Type model;
    int max_runs;
    Factors factors;
    bool valid;
  };
  Factors both = Quantitative(2);
  ASSERT_TRUE(both.Add(Factors::Factor::Formulation("M1", 0, 1), nullptr));
  ASSERT_TRUE(both.Add(Factors::Factor::Formulation("M2", 0, 1), nullptr));
  Factors qualitative = Quantitative(1);
  ASSERT_TRUE(qualitative.Add(Factors::Factor::Qualitative("Q", {"a", "b", "c"}), nullptr));
  const std::vector<Row> rows = {
      {"screening linear", EObjective::kScreening, EModel::kLinear, 10000, Quantitative(3), true},
      {"screening quadratic (general factorial)", EObjective::kScreening, EModel::kQuadratic, 10000,
       Quantitative(3), true},
      {"screening cubic", EObjective::kScreening, EModel::kCubic, 10000, Quantitative(3), false},
      {"RSM quadratic", EObjective::kRSM, EModel::kQuadratic, 10000, Quantitative(3), true},
      {"RSM within 15 runs", EObjective::kRSM, EModel::kQuadratic, 15, Quantitative(3), true},
      {"RSM within 14 runs", EObjective::kRSM, EModel::kQuadratic, 14, Quantitative(3), false},
      {"RSM 40 factors", EObjective::kRSM, EModel::kQuadratic, 10000, Quantitative(40), false},
      {"RSM qualitative", EObjective::kRSM, EModel::kQuadratic, 10000, qualitative, true},
      {"robustness", EObjective::kRobustness, EModel::kLinear, 10000, Quantitative(20), true},
      {"optimization interaction", EObjective::kOptimization, EModel::kInteraction, 10000,
       Quantitative(4), true},
      {"mixture linear", EObjective::kScreening, EModel::kLinear, 10000, Mixture(3), true},
      {"mixture cubic", EObjective::kRSM, EModel::kCubic, 10000, Mixture(3), true},
      {"mixture interaction", EObjective::kRSM, EModel::kInteraction, 10000, Mixture(3), false},
      {"process and mixture", EObjective::kProcessMixture, EModel::kLinear, 10000, both, false},
      {"no objective", EObjective::kNone, EModel::kLinear, 10000, Quantitative(3), false},
      {"no factors", EObjective::kScreening, EModel::kLinear, 10000, Factors(), false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(
        AllDesigns::IsAnyDesignValid(row.objective, row.model, row.max_runs, row.factors, false),
        row.valid);
    EXPECT_EQ(
        AllDesigns::IsAnyDesignValid(row.objective, row.model, row.max_runs, row.factors, true),
        row.valid);
  }
}

TEST(AllDesigns, BestDesignSuitsTheObjectiveAndTheFactors) {
  struct Row {
    std::string name;
    Factors factors;
    EObjective::Type objective;
    EModel::Type model;
    EDesign::Type type;
    std::string design_name;
    int runs;
  };
  Factors qualitative = Quantitative(2);
  ASSERT_TRUE(qualitative.Add(Factors::Factor::Qualitative("Q", {"a", "b", "c"}), nullptr));
  const std::vector<Row> rows = {
      {"3 factors screening", Quantitative(3), EObjective::kScreening, EModel::kLinear,
       EDesign::kFullFactorial, "Full Factorial", 8},
      {"5 factors screening", Quantitative(5), EObjective::kScreening, EModel::kLinear,
       EDesign::kFracFactResV, "FractionalFactorial", 16},
      {"7 factors screening", Quantitative(7), EObjective::kScreening, EModel::kLinear,
       EDesign::kFracFactResIV, "FractionalFactorial", 16},
      {"15 factors screening", Quantitative(15), EObjective::kScreening, EModel::kLinear,
       EDesign::kFracFactResIV, "FractionalFactorial", 32},
      {"20 factors screening", Quantitative(20), EObjective::kScreening, EModel::kLinear,
       EDesign::kPlackettBurman, "Plackett-Burman", 24},
      {"6 factors interactions", Quantitative(6), EObjective::kScreening, EModel::kInteraction,
       EDesign::kFullFactorial, "Full Factorial", 64},
      {"8 factors interactions", Quantitative(8), EObjective::kScreening, EModel::kInteraction,
       EDesign::kFracFactResV, "FractionalFactorial", 64},
      {"13 factors interactions", Quantitative(13), EObjective::kScreening, EModel::kInteraction,
       EDesign::kRechtschaffnerResV, "Rechtschaffner Res V", 92},
      {"3 factors RSM", Quantitative(3), EObjective::kRSM, EModel::kQuadratic,
       EDesign::kCentralComposite, "CCF", 14},
      {"12 factors RSM", Quantitative(12), EObjective::kRSM, EModel::kQuadratic,
       EDesign::kBoxBehnken, "Box-Behnken", 192},
      {"14 factors RSM", Quantitative(14), EObjective::kRSM, EModel::kQuadratic,
       EDesign::kRechtschaffner, "Rechtschaffner", 120},
      {"qualitative screening", qualitative, EObjective::kScreening, EModel::kLinear,
       EDesign::kGeneralFullFactorial, "General Full Factorial", 12},
      {"mixture screening", Mixture(4), EObjective::kScreening, EModel::kLinear, EDesign::kAxial,
       "Axial", 9},
      {"mixture RSM", Mixture(3), EObjective::kRSM, EModel::kQuadratic, EDesign::kSimplexCentroid,
       "Simplex Centroid", 7},
      {"mixture cubic", Mixture(3), EObjective::kRSM, EModel::kCubic, EDesign::kSimplexLattice,
       "Simplex Lattice", 10},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto [best, runs] = Best(row.factors, row.objective, row.model);
    ASSERT_NE(best, nullptr);
    EXPECT_EQ(best->GetType(), row.type);
    EXPECT_EQ(best->GetName(), row.design_name);
    EXPECT_EQ(runs, row.runs);
  }
}

// A family that accepts nothing, to exercise registration.
class NothingBuilder final : public DesignBuilder {
 public:
  NothingBuilder(EDesign::Type type, std::string name) : type_(type), name_(std::move(name)) {}
  [[nodiscard]] EDesign::Type GetType() const override { return type_; }
  [[nodiscard]] std::string GetName() const override { return name_; }
  [[nodiscard]] std::int8_t GetRank() const override { return -1; }
  [[nodiscard]] bool SupportsObjective(EObjective::Type) const override { return false; }

 protected:
  bool CheckFactors(const Factors&, std::string*) const override { return true; }
  bool CheckModel(const Factors&, const DesignOptions&, std::string*) const override {
    return true;
  }
  std::vector<int> CandidateRuns(const Factors&, const DesignOptions&) const override {
    return {1};
  }
  Core BuildCore(const Factors&, const DesignOptions&, int, unsigned, const bool*) const override {
    return {};
  }

 private:
  EDesign::Type type_;
  std::string name_;
};

TEST(AllDesigns, RegisterAddsNewFamiliesAndRefusesDuplicates) {
  const std::size_t classic = AllDesigns::ClassicDesigns().size();
  const std::size_t all = AllDesigns::ClassicAndREDMUPDesigns().size();
  EXPECT_FALSE(AllDesigns::Register(
      std::make_unique<NothingBuilder>(EDesign::kFullFactorial, "full factorial"),
      AllDesigns::Group::kClassic));
  EXPECT_FALSE(AllDesigns::Register(nullptr, AllDesigns::Group::kClassic));
  ASSERT_TRUE(AllDesigns::Register(std::make_unique<NothingBuilder>(EDesign::kREDMUP, "Plate"),
                                   AllDesigns::Group::kREDMUP));
  ASSERT_TRUE(
      AllDesigns::Register(std::make_unique<NothingBuilder>(EDesign::kExtremeVertices, "Vertices"),
                           AllDesigns::Group::kClassic));
  EXPECT_EQ(AllDesigns::ClassicDesigns().size(), classic + 1);
  ASSERT_EQ(AllDesigns::ClassicAndREDMUPDesigns().size(), all + 2);
  // The new classic design comes before the plate design in the second catalogue.
  EXPECT_EQ(AllDesigns::ClassicAndREDMUPDesigns()[all]->GetName(), "Vertices");
  EXPECT_EQ(AllDesigns::ClassicAndREDMUPDesigns()[all + 1]->GetName(), "Plate");
  EXPECT_EQ(AllDesigns::GetDesignBuilder(EDesign::kREDMUP, "")->GetName(), "Plate");
}

TEST(AllDesigns, GenerationStopsWhenCancelled) {
  const Factors factors = Quantitative(3);
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(EDesign::kFullFactorial, "");
  ASSERT_NE(builder, nullptr);
  const bool cancel = true;
  EXPECT_THROW((void)builder->Generate(factors, DesignOptions(), &cancel), CancelException);
  const bool go_on = false;
  EXPECT_EQ(builder->Generate(factors, DesignOptions(), &go_on)->GetRuns(), 11);
}

TEST(AllDesigns, ReplicatesAndCentrePointsArePlacedWithinTheirBlocks) {
  const Factors factors = Quantitative(3);
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(EDesign::kFullFactorial, "");
  DesignOptions options;
  options.SetBlocks(2);
  options.SetCenterPoints(3);
  options.SetReplicates(1);
  options.SetReplicatedRuns(2);
  const auto design = builder->Generate(factors, options);
  // 8 runs twice, 2 replicated runs, 3 centre points (2 in the first block, 1 in the second).
  ASSERT_EQ(design->GetRuns(), 8 * 2 + 2 + 3);
  EXPECT_EQ(design->CountRuns(NCDesign::RunKind::kReplicate), 10);
  EXPECT_EQ(design->CountRuns(NCDesign::RunKind::kCenter), 3);
  const std::vector<int>& blocks = design->GetBlocks();
  EXPECT_TRUE(std::is_sorted(blocks.begin(), blocks.end()));
  int centres_in_first = 0;
  for (int r = 0; r < design->GetRuns(); ++r) {
    if (design->GetRunKinds()[static_cast<std::size_t>(r)] == NCDesign::RunKind::kCenter &&
        blocks[static_cast<std::size_t>(r)] == 1) {
      ++centres_in_first;
      EXPECT_EQ(design->GetUncoded()(r, 0), 5.0F);
    }
  }
  EXPECT_EQ(centres_in_first, 2);
  options.SetReplicatedRuns(9);
  std::string why;
  EXPECT_FALSE(builder->IsValid(factors, options, &why));
  EXPECT_EQ(why, "The design 'Full Factorial' has only 8 runs to replicate.");
}

}  // namespace
}  // namespace zubra
