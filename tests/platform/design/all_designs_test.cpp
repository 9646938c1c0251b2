#include "zubra/platform/design/all_designs.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using test_support::Make;
using test_support::Mixture;
using test_support::Quantitative;
using F = Factors::Factor;

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
    std::string design_name, found;  // found: "" for none
  };
  const std::vector<Row> rows = {
      {"exact", EDesign::kCentralComposite, "CCC", "CCC"},
      {"any case", EDesign::kCentralComposite, "cci", "CCI"},
      {"unknown name gives the first", EDesign::kCentralComposite, "Cube", "CCF"},
      {"old design name", EDesign::kFracFactResIV, "FractionalFactorial", "FractionalFactorial"},
      {"type without builder", EDesign::kNone, "", ""},
      {"plate design", EDesign::kREDMUP, "", "REDMUP"},
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
  // Both catalogues hold each design once, the classic designs first.
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
  const Factors both =
      Make({F::Quantitative("A", 0, 1), F::Formulation("M1", 0, 1), F::Formulation("M2", 0, 1)});
  const Factors qualitative =
      Make({F::Quantitative("A", 0, 1), F::Qualitative("Q", {"a", "b", "c"})});
  const int any = 10000;
  const std::vector<Row> rows = {
      {"screening linear", EObjective::kScreening, EModel::kLinear, any, Quantitative(3), true},
      {"screening quadratic", EObjective::kScreening, EModel::kQuadratic, any, Quantitative(3),
       true},
      {"screening cubic", EObjective::kScreening, EModel::kCubic, any, Quantitative(3), false},
      {"RSM within 15 runs", EObjective::kRSM, EModel::kQuadratic, 15, Quantitative(3), true},
      // Below the classical designs' 15 runs only a D-optimal design fits.
      {"RSM within 14 runs", EObjective::kRSM, EModel::kQuadratic, 14, Quantitative(3), true},
      {"RSM within 9 runs", EObjective::kRSM, EModel::kQuadratic, 9, Quantitative(3), false},
      {"RSM 40 factors", EObjective::kRSM, EModel::kQuadratic, any, Quantitative(40), false},
      {"RSM qualitative", EObjective::kRSM, EModel::kQuadratic, any, qualitative, true},
      {"robustness", EObjective::kRobustness, EModel::kLinear, any, Quantitative(20), true},
      {"optimization", EObjective::kOptimization, EModel::kInteraction, any, Quantitative(4), true},
      {"mixture linear", EObjective::kScreening, EModel::kLinear, any, Mixture(3), true},
      {"mixture cubic", EObjective::kRSM, EModel::kCubic, any, Mixture(3), true},
      {"mixture interaction", EObjective::kRSM, EModel::kInteraction, any, Mixture(3), false},
      // Only the optimal designs serve both kinds together.
      {"process and mixture", EObjective::kProcessMixture, EModel::kLinear, any, both, true},
      {"no objective", EObjective::kNone, EModel::kLinear, any, Quantitative(3), false},
      {"no factors", EObjective::kScreening, EModel::kLinear, any, Factors(), false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    for (bool flag : {false, true}) {
      EXPECT_EQ(
          AllDesigns::IsAnyDesignValid(row.objective, row.model, row.max_runs, row.factors, flag),
          row.valid);
    }
  }
}

TEST(AllDesigns, BestDesignSuitsTheObjectiveAndTheFactors) {
  struct Row {
    Factors factors;
    EObjective::Type objective;
    EModel::Type model;
    EDesign::Type type;
    std::string design_name;
    int runs;
  };
  const Factors qualitative = Make({F::Quantitative("A", 0, 1), F::Quantitative("B", 0, 1),
                                    F::Qualitative("Q", {"a", "b", "c"})});
  const auto screening = EObjective::kScreening;
  const auto rsm = EObjective::kRSM;
  const auto linear = EModel::kLinear;
  const auto interaction = EModel::kInteraction;
  const auto quadratic = EModel::kQuadratic;
  const std::string ff = "FractionalFactorial";
  const std::vector<Row> rows = {
      {Quantitative(3), screening, linear, EDesign::kFullFactorial, "Full Factorial", 8},
      {Quantitative(5), screening, linear, EDesign::kFracFactResV, ff, 16},
      {Quantitative(7), screening, linear, EDesign::kFracFactResIV, ff, 16},
      {Quantitative(15), screening, linear, EDesign::kFracFactResIV, ff, 32},
      // Beyond the fraction tables' 15 factors, main effects stay clear of two-factor
      // interactions in the three-level design.
      {Quantitative(20), screening, linear, EDesign::kDefinitiveScreening, "Definitive Screening",
       41},
      {Quantitative(31), screening, linear, EDesign::kPlackettBurman, "Plackett-Burman", 32},
      {Quantitative(6), screening, interaction, EDesign::kFullFactorial, "Full Factorial", 64},
      {Quantitative(8), screening, interaction, EDesign::kFracFactResV, ff, 64},
      {Quantitative(13), screening, interaction, EDesign::kRechtschaffnerResV,
       "Rechtschaffner Res V", 92},
      {Quantitative(3), rsm, quadratic, EDesign::kCentralComposite, "CCF", 14},
      {Quantitative(12), rsm, quadratic, EDesign::kBoxBehnken, "Box-Behnken", 192},
      {Quantitative(14), rsm, quadratic, EDesign::kRechtschaffner, "Rechtschaffner", 120},
      {qualitative, screening, linear, EDesign::kGeneralFullFactorial, "General Full Factorial",
       12},
      {Mixture(4), screening, linear, EDesign::kAxial, "Axial", 9},
      {Mixture(3), rsm, quadratic, EDesign::kSimplexCentroid, "Simplex Centroid", 7},
      {Mixture(3), rsm, EModel::kCubic, EDesign::kSimplexLattice, "Simplex Lattice", 10},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.design_name + " for " + std::to_string(row.factors.GetCount()) +
                 " factors, model " + EModel::GetString(row.model));
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
  // The new classic design comes before the plate designs in the second catalogue, the new
  // plate design after the one already there.
  const std::size_t plates = all - classic;
  EXPECT_EQ(AllDesigns::ClassicAndREDMUPDesigns()[classic]->GetName(), "Vertices");
  EXPECT_EQ(AllDesigns::ClassicAndREDMUPDesigns()[all + 1]->GetName(), "Plate");
  EXPECT_EQ(AllDesigns::ClassicAndREDMUPDesigns()[classic + plates]->GetType(), EDesign::kREDMUP);
  EXPECT_EQ(AllDesigns::GetDesignBuilder(EDesign::kREDMUP, "Plate")->GetName(), "Plate");
}

TEST(AllDesigns, GenerationPlacesReplicatesAndCentresInBlocksAndStopsWhenCancelled) {
  const Factors factors = Quantitative(3);
  const DesignBuilder& builder = test_support::Builder(EDesign::kFullFactorial);
  const bool cancel = true;
  const bool go_on = false;
  EXPECT_THROW((void)builder.Generate(factors, DesignOptions(), &cancel), CancelException);
  EXPECT_EQ(builder.Generate(factors, DesignOptions(), &go_on)->GetRuns(), 11);
  DesignOptions options;
  options.SetBlocks(2);
  options.SetCenterPoints(3);
  options.SetReplicates(1);
  options.SetReplicatedRuns(2);
  const auto design = builder.Generate(factors, options);
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
  EXPECT_FALSE(builder.IsValid(factors, options, &why));
  EXPECT_EQ(why, "The design 'Full Factorial' has only 8 runs to replicate.");
}

}  // namespace
}  // namespace zubra
