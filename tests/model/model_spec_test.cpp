#include "zubra/model/model_spec.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/model/model_test_support.h"
#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/design/split_plot_options.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/message_sink.h"
#include "zubra/region/constraints_info.h"

namespace zubra {
namespace {

using test_support::MakeSet;
using test_support::NewSection;
using Blocks = std::vector<std::size_t>;

// The term names of a list, joined by spaces.
std::string Names(const TermInfo& terms) {
  std::string names;
  for (int i = 1; i <= terms.GetNItm(); ++i) names += (i > 1 ? " " : "") + terms.GetTermNam(i);
  return names;
}

std::string NameOf(const ModelSpec& spec) {
  const DesignBuilder* builder = spec.GetDesignBuilder();
  return builder != nullptr ? builder->GetName() : "none";
}

TEST(ModelSpec, StaticRulesFollowTheirTables) {
  const std::tuple<EModel::Type, int, int> terms[] = {
      {EModel::kLinear, 4, 5}, {EModel::kInteraction, 4, 11}, {EModel::kQuadratic, 4, 15},
      {EModel::kCubic, 4, -1}, {EModel::kLinear, 0, 1},       {EModel::kQuadratic, 1, 3}};
  for (const auto& [model, k, count] : terms) {
    EXPECT_EQ(ModelSpec::GetDefaultNoModelTerms(model, k), count) << model << " " << k;
  }
  for (const auto& [distance, accepted] :
       {std::pair{0.0F, false}, {5.0F, true}, {5.01F, false}, {-1.0F, false}, {1.682F, true}}) {
    std::string message = "unchanged";
    EXPECT_EQ(ModelSpec::ValidateStarDistance(distance, &message), accepted) << distance;
    EXPECT_EQ(message,
              accepted ? "unchanged" : "The star distance must be a number between 0 and 5.");
  }
  const std::tuple<int, EDesign::Type, int, bool> interactions[] = {
      {5, EDesign::kBoxBehnken, 3, false}, {4, EDesign::kBoxBehnken, 3, true},
      {5, EDesign::kBoxBehnken, 2, true},  {4, EDesign::kCentralComposite, 2, false},
      {20, EDesign::kBoxBehnken, 2, true}, {21, EDesign::kBoxBehnken, 2, false},
      {1, EDesign::kBoxBehnken, 2, false}, {4, EDesign::kBoxBehnken, 1, false}};
  for (const auto& [blocks, design, model, possible] : interactions) {
    EXPECT_EQ(ModelSpec::IsBlockInteractonPossible(blocks, design, model), possible)
        << blocks << " " << design << " " << model;
  }
  const std::pair<std::array<int, 4>, std::array<int, 4>> sorts[] = {{{0, 3, 0, 1}, {0, 1, 3, 0}},
                                                                     {{0, 0, 2, 2}, {0, 2, 2, 0}},
                                                                     {{0, 0, 0, 0}, {0, 0, 0, 0}},
                                                                     {{0, 3, 2, 1}, {0, 1, 2, 3}}};
  for (auto [term, sorted] : sorts) {
    ModelSpec::SortTerm(term.data());
    EXPECT_EQ(term, sorted);
  }
}

TEST(ModelSpec, TermTextsAndKindsComeFromTheFactors) {
  Variables set = MakeSet({{"Temperature", "T", CEType::kQuantitative, 20, 80},
                           {"Pressure", "P", CEType::kQuantitative, 1, 5},
                           {"Water", "W", CEType::kFormulation, 0, 1},
                           {"Oil", "O", CEType::kFormulation, 0, 1},
                           {"Rest", "R", CEType::kFiller, 0, 1}});
  set.GetFactor("Pressure")->SetTransform(Transform(TraData::kLog, 0, 0, 0));
  const ModelSpec spec(&set, NewSection());
  const std::pair<std::array<int, 4>, const char*> texts[] = {{{0, 0, 0, 0}, "Constant"},
                                                              {{0, 1, 1, 0}, "T*T"},
                                                              {{0, 1, 2, 0}, "T*P~"},
                                                              {{0, 2, 3, 4}, "P~*W*O"},
                                                              {{0, 9, 0, 0}, "?"}};
  for (const auto& [term, text] : texts) {
    EXPECT_EQ(ModelSpec::MakeTermString(&set, term.data()), text);
  }
  EXPECT_EQ(spec.AbbrevToFullName("T*P~*Q"), "Temperature*Pressure~*Q");

  struct Kind {
    std::array<int, 4> term;
    bool mixture_process;
    int process, mixture;
    bool pure_mixture;
  };
  const Kind kinds[] = {{{0, 1, 5, 0}, true, 1, 1, false},   // process x filler
                        {{0, 3, 4, 0}, false, 0, 2, true},   // two formulation factors
                        {{0, 3, 5, 0}, false, 0, 2, false},  // formulation x filler
                        {{0, 1, 2, 0}, false, 2, 0, false},
                        {{0, 0, 0, 0}, false, 0, 0, false}};
  for (const Kind& kind : kinds) {
    int process = -1;
    int mixture = -1;
    EXPECT_EQ(spec.IsMixtureProcessTerm(kind.term.data(), &process, &mixture),
              kind.mixture_process);
    EXPECT_EQ(process, kind.process);
    EXPECT_EQ(mixture, kind.mixture);
    EXPECT_EQ(spec.IsPureMixtureTerm(kind.term.data()), kind.pure_mixture);
  }
}

TEST(ModelSpec, ChoosingAModelTypeRebuildsTheDefaultTerms) {
  Variables process = MakeSet({{"A", "A", CEType::kQuantitative, 0, 1},
                               {"B", "B", CEType::kQuantitative, 0, 1},
                               {"Cat", "C", CEType::kQualitative, 0, 0, {"x", "y", "z"}}});
  ModelSpec spec(&process, NewSection());
  ASSERT_TRUE(
      spec.ChangeCurrentDesign(EDesign::kDOptimal, "", EObjective::kRSM, EModel::kQuadratic, true));
  // No square of the qualitative factor; the qualitative factor takes two model columns.
  EXPECT_EQ(Names(spec.GetTermInfo()), "Constant A B C A*A B*B A*B A*C B*C");
  EXPECT_EQ(spec.GetTermInfo().GetItm(5)->GetNum(), 6);
  EXPECT_TRUE(spec.SetProcessModel(EModel::kLinear));
  EXPECT_EQ(Names(spec.GetTermInfo()), "Constant A B C");
  const TermInfo power = spec.GetPowerTerms();
  EXPECT_EQ(Names(power), "A B C");

  Variables mixture = test_support::MixtureSet();
  ModelSpec mix(&mixture, NewSection());
  const std::pair<EModel::Type, const char*> models[] = {
      {EModel::kLinear, "W O S"},
      {EModel::kQuadratic, "W O S W*O W*S O*S"},
      {EModel::kSpecialCubic, "W O S W*O W*S O*S W*O*S"},
  };
  for (const auto& [model, names] : models) {
    ASSERT_TRUE(mix.ChangeCurrentDesign(EDesign::kDOptimal, "", EObjective::kRSM, model, true));
    EXPECT_EQ(Names(mix.GetTermInfo()), names);
    EXPECT_EQ(mix.GetProcessModel(), EModel::kNone);
  }

  Variables mixed = test_support::MixedSet();
  ModelSpec both(&mixed, NewSection());
  ASSERT_TRUE(both.ChangeCurrentDesign(EDesign::kDOptimal, "", EObjective::kScreening,
                                       EModel::kLinear, true));
  EXPECT_EQ(Names(both.GetTermInfo()), "T Ti W O S");
  ASSERT_TRUE(both.SetPMInteraction(true));
  EXPECT_EQ(Names(both.GetTermInfo()), "W O S T*W T*O T*S Ti*W Ti*O Ti*S");
}

TEST(ModelSpec, SettersRefuseWhatTheDesignCannotTake) {
  Variables set = test_support::ProcessSet(3);
  ModelSpec spec(&set, NewSection());
  ASSERT_TRUE(spec.ChangeCurrentDesign(EDesign::kCentralComposite, "CCC", EObjective::kRSM,
                                       EModel::kQuadratic, true));
  spec.GenerateDesign(nullptr, nullptr);
  ASSERT_TRUE(spec.IsDesignGenerated());

  EXPECT_FALSE(spec.SetReplicates(-1));
  EXPECT_TRUE(spec.IsDesignGenerated());  // a refusal changes nothing
  EXPECT_FALSE(spec.SetRuns(13, true));
  EXPECT_EQ(spec.GetRuns(), 14);
  std::string message;
  EXPECT_FALSE(spec.SetStarDistance(0.0F, &message));
  EXPECT_FALSE(spec.SetBlocks(4));  // 2^3 + axial runs block in 2 or 3 only
  EXPECT_FALSE(spec.SetLayers(2));  // not a layered design
  EXPECT_FALSE(spec.SetProcessModel(EModel::kCubic));
  EXPECT_TRUE(spec.IsDesignGenerated());

  // Blocks keep the centre points per block: 3 in one block were 3 per block.
  EXPECT_TRUE(spec.SetBlocks(3));
  EXPECT_EQ(spec.GetCenterPoints(), 9);
  EXPECT_FALSE(spec.IsDesignGenerated());
  EXPECT_FALSE(spec.SetCenterPoints(0));  // blocked composite designs need one per block
  EXPECT_TRUE(spec.SetCenterPoints(1));
  EXPECT_EQ(spec.GetCenterPoints(), 3);
  EXPECT_TRUE(spec.SetReplicates(0));
  EXPECT_TRUE(spec.SetStarDistance(1.5F, nullptr));
  EXPECT_EQ(spec.GetStarDistance(), 1.5F);
  EXPECT_TRUE(spec.SetRuns(13, false));  // stored unchecked

  Variables empty;
  ModelSpec nothing(&empty, NewSection());
  EXPECT_EQ(nothing.GetDesignBuilder(), nullptr);
  EXPECT_FALSE(nothing.SetRuns(8, false));
  EXPECT_FALSE(nothing.SetCenterPoints(1));
  EXPECT_EQ(nothing.GetAvalibleBlocks(), Blocks{1});
  EXPECT_THROW(nothing.GenerateDesign(nullptr, nullptr), Exception);
}

TEST(ModelSpec, RestoringSettingsWithoutADesignTakesThemAsTheyAre) {
  Variables set = test_support::ProcessSet(3);
  ModelSpec spec(&set, NewSection());
  ASSERT_TRUE(spec.ChangeCurrentDesign(EDesign::kCentralComposite, "CCF", EObjective::kRSM,
                                       EModel::kQuadratic, true));
  spec.GenerateDesign(nullptr, nullptr);
  ASSERT_TRUE(spec.IsDesignGenerated());

  // Settings no builder would be asked about: 5 centre points over 2 blocks, an interaction
  // model, runs no design of these factors has.
  DesignOptions settings = spec.GetDesignOptions();
  settings.SetRuns(7);
  settings.SetBlocks(2);
  settings.SetCenterPoints(5);
  settings.SetProcessModel(EModel::kInteraction);
  settings.SetMaxRuns(50);  // not a design setting: stays
  spec.RestoreWithoutDesign(settings);
  EXPECT_EQ(spec.GetDesignType(), EDesign::kNone);
  EXPECT_EQ(spec.GetDesignBuilder(), nullptr);
  EXPECT_FALSE(spec.IsDesignGenerated());
  EXPECT_EQ(spec.GetRuns(), 7);
  EXPECT_EQ(spec.GetBlocks(), 2U);
  EXPECT_EQ(spec.GetCenterPoints(), 5);
  EXPECT_EQ(spec.GetProcessModel(), EModel::kInteraction);
  EXPECT_EQ(spec.GetMaxLegalRuns(), DesignOptions::kDefaultMaxRuns);
  EXPECT_EQ(Names(spec.GetTermInfo()), "Constant A B C A*B A*C B*C");
  EXPECT_FALSE(spec.IsTermListEdited());
  // The setters still ask a builder, and there is none.
  EXPECT_FALSE(spec.SetCenterPoints(1));
  EXPECT_FALSE(spec.SetRuns(8, false));
  EXPECT_EQ(spec.GetCenterPoints(), 5);
}

TEST(ModelSpec, BlockCountsFollowTheTableForEachDesign) {
  struct Row {
    const char* name;
    int factors;
    EDesign::Type type;
    const char* design_name;
    EObjective::Type objective;
    EModel::Type model;
    int runs;  // 0: the design's default
    Blocks expected;
  };
  const Row rows[] = {
      {"full factorial 2^3",
       3,
       EDesign::kFullFactorial,
       "",
       EObjective::kScreening,
       EModel::kLinear,
       0,
       {1, 2}},
      {"full factorial 2^5",
       5,
       EDesign::kFullFactorial,
       "",
       EObjective::kScreening,
       EModel::kLinear,
       0,
       {1, 2, 4, 8}},
      {"resolution IV, 7 factors in 16 runs",
       7,
       EDesign::kFracFactResIV,
       "",
       EObjective::kScreening,
       EModel::kLinear,
       16,
       {1, 2, 4}},
      {"Plackett-Burman, 5 factors in 8 runs",
       5,
       EDesign::kPlackettBurman,
       "",
       EObjective::kScreening,
       EModel::kLinear,
       8,
       {1, 2}},
      {"Plackett-Burman, 7 factors in 8 runs (saturated)",
       7,
       EDesign::kPlackettBurman,
       "",
       EObjective::kScreening,
       EModel::kLinear,
       8,
       {1}},
      {"definitive screening, 8 factors in 17 runs",
       8,
       EDesign::kDefinitiveScreening,
       "",
       EObjective::kScreening,
       EModel::kLinear,
       0,
       {1, 2, 4}},
      {"composite, 3 factors",
       3,
       EDesign::kCentralComposite,
       "CCF",
       EObjective::kRSM,
       EModel::kQuadratic,
       0,
       {1, 2, 3}},
      {"Box-Behnken, 3 factors",
       3,
       EDesign::kBoxBehnken,
       "",
       EObjective::kRSM,
       EModel::kQuadratic,
       0,
       {1}},
      {"Box-Behnken, 4 factors",
       4,
       EDesign::kBoxBehnken,
       "",
       EObjective::kRSM,
       EModel::kQuadratic,
       0,
       {1, 3}},
      {"Box-Behnken, 5 factors",
       5,
       EDesign::kBoxBehnken,
       "",
       EObjective::kRSM,
       EModel::kQuadratic,
       0,
       {1, 2}},
      // 15 model columns: 20 runs leave room for 6 blocks at most.
      {"D-optimal, 4 factors quadratic in 20 runs",
       4,
       EDesign::kDOptimal,
       "",
       EObjective::kRSM,
       EModel::kQuadratic,
       20,
       {1, 2, 3, 4, 5, 6}},
      {"D-optimal at its smallest size",
       4,
       EDesign::kDOptimal,
       "",
       EObjective::kRSM,
       EModel::kQuadratic,
       15,
       {1}},
      {"layered design with layers as blocks",
       3,
       EDesign::kOnion,
       "",
       EObjective::kRSM,
       EModel::kQuadratic,
       0,
       {1}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Variables set = test_support::ProcessSet(row.factors);
    ModelSpec spec(&set, NewSection());
    ASSERT_TRUE(
        spec.ChangeCurrentDesign(row.type, row.design_name, row.objective, row.model, false));
    if (row.runs > 0) {
      ASSERT_TRUE(spec.SetRuns(row.runs, true));
    }
    EXPECT_EQ(spec.GetAvalibleBlocks(), row.expected);
    // Every count offered can be generated.
    for (std::size_t blocks : row.expected) {
      ModelSpec blocked(&spec);
      ASSERT_TRUE(blocked.SetBlocks(blocks)) << blocks;
      std::string why;
      EXPECT_TRUE(blocked.IsDesignValid(&why)) << blocks << ": " << why;
    }
  }
}

TEST(ModelSpec, ModelAvailabilityFollowsTheObjectiveTables) {
  Variables process = test_support::ProcessSet(3);
  const ModelSpec spec(&process, NewSection());
  EXPECT_FALSE(spec.IsProcessModelAvailable(EObjective::kRSM, EModel::kLinear));
  EXPECT_FALSE(spec.IsProcessModelAvailable(EObjective::kRSM, EModel::kInteraction));
  EXPECT_TRUE(spec.IsProcessModelAvailable(EObjective::kRSM, EModel::kQuadratic));
  EXPECT_TRUE(spec.IsProcessModelAvailable(EObjective::kScreening, EModel::kLinear));
  EXPECT_TRUE(spec.IsProcessModelAvailable(EObjective::kRobustness, EModel::kInteraction));
  EXPECT_FALSE(spec.IsProcessModelAvailable(EObjective::kScreening, EModel::kSpecialCubic));
  EXPECT_FALSE(spec.IsProcessModelAvailable(EObjective::kNone, EModel::kLinear));

  Variables mixture = test_support::MixtureSet();
  const ModelSpec mix(&mixture, NewSection());
  EXPECT_TRUE(mix.IsMixtureModelAvailable(EObjective::kScreening, EModel::kLinear));
  EXPECT_FALSE(mix.IsMixtureModelAvailable(EObjective::kScreening, EModel::kQuadratic));
  EXPECT_FALSE(mix.IsMixtureModelAvailable(EObjective::kRSM, EModel::kLinear));
  EXPECT_TRUE(mix.IsMixtureModelAvailable(EObjective::kRSM, EModel::kQuadratic));
  EXPECT_TRUE(mix.IsMixtureModelAvailable(EObjective::kOptimization, EModel::kCubic));
  EXPECT_FALSE(mix.IsMixtureModelAvailable(EObjective::kRSM, EModel::kInteraction));

  // Twelve runs in all hold no quadratic design of three factors with its centre points: the
  // table's "valid" cells follow.
  ModelSpec small(&process, NewSection());
  ASSERT_TRUE(small.SetMaxRuns(12));
  EXPECT_TRUE(small.IsProcessModelAvailable(EObjective::kScreening, EModel::kLinear));
  EXPECT_FALSE(small.IsProcessModelAvailable(EObjective::kScreening, EModel::kQuadratic));
}

TEST(ModelSpec, IsLegalGivesTheSystemsMessages) {
  Variables many = test_support::ProcessSet(33);
  Variables process = test_support::ProcessSet(3);
  Variables mixture = test_support::MixtureSet();
  auto split_section = NewSection();
  ConfigurationSection& stored = split_section->CreateChild("NewModelSpec");
  stored.WriteString("Design", "ProcessMixture");
  struct Row {
    const char* name;
    Variables* set;
    std::shared_ptr<ConfigurationSection> section;
    EObjective::Type objective;
    const char* message;  // empty: legal
  };
  const Row rows[] = {
      {"RSM with 33 factors", &many, NewSection(), EObjective::kRSM,
       "Only 32 factors are allowed for RSM designs"},
      {"objective outside 1..3", &process, NewSection(), EObjective::kRobustness,
       "Unknown objective"},
      {"process-mixture objective without both kinds", &mixture, NewSection(),
       EObjective::kProcessMixture, "There is no design available."},
      {"split design, process factors only", &process, split_section, EObjective::kProcessMixture,
       "Split objective is only available when there are both process and formulation factors"},
      {"split design under another objective", &process, split_section, EObjective::kScreening, ""},
      {"screening with process factors", &process, NewSection(), EObjective::kScreening, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ModelSpec spec(row.set, row.section);
    spec.Init(false);
    std::string message;
    EXPECT_EQ(spec.IsLegal(row.objective, message), std::string(row.message).empty());
    EXPECT_EQ(message, row.message);
  }
}

TEST(ModelSpec, ChangingTheObjectiveOrTheDesignKeepsWhatStaysLegal) {
  Variables set = test_support::ProcessSet(4);
  ModelSpec spec(&set, NewSection());
  EXPECT_EQ(spec.GetDesignType(), EDesign::kFullFactorial);
  spec.SetObjective(EObjective::kRSM, true);
  EXPECT_EQ(NameOf(spec), "CCF");
  EXPECT_EQ(spec.GetProcessModel(), EModel::kQuadratic);
  EXPECT_EQ(spec.GetTermInfo().GetNItm(), 15);

  ASSERT_TRUE(spec.SetCenterPoints(5));
  ASSERT_TRUE(spec.SetReplicates(1));
  ASSERT_TRUE(spec.ChangeCurrentDesign(EDesign::kBoxBehnken, "", EObjective::kRSM,
                                       EModel::kQuadratic, true));
  EXPECT_EQ(spec.GetCenterPoints(), 5);
  EXPECT_EQ(spec.GetReplicates(), 1);
  EXPECT_EQ(spec.GetRuns(), 24);  // the Box-Behnken design of four factors
  ASSERT_TRUE(spec.ChangeCurrentDesign(EDesign::kCentralComposite, "CCC", EObjective::kRSM,
                                       EModel::kQuadratic, false));
  EXPECT_EQ(spec.GetCenterPoints(), DesignOptions::kDefaultCenterPoints);
  EXPECT_EQ(spec.GetReplicates(), 0);
  // A design the factors do not suit changes nothing.
  EXPECT_FALSE(spec.ChangeCurrentDesign(EDesign::kSimplexLattice, "", EObjective::kRSM,
                                        EModel::kQuadratic, true));
  EXPECT_FALSE(
      spec.ChangeCurrentDesign(EDesign::Type(99), "", EObjective::kRSM, EModel::kQuadratic, true));
  EXPECT_EQ(NameOf(spec), "CCC");

  // A model the design cannot carry moves to the best design that can.
  spec.SetObjective(EObjective::kScreening, true);
  EXPECT_EQ(spec.GetDesignType(), EDesign::kFullFactorial);
  EXPECT_FALSE(spec.SetProcessModel(EModel::kQuadratic));
  EXPECT_TRUE(spec.ChangeProcessModel(EModel::kQuadratic));
  EXPECT_EQ(spec.GetProcessModel(), EModel::kQuadratic);
  std::string why;
  EXPECT_TRUE(spec.IsDesignValid(&why)) << why;
  EXPECT_EQ(spec.GetTermInfo().GetNItm(), 15);
}

TEST(ModelSpec, GeneratesAConstrainedDesignAndRestoresItFromTheFile) {
  Variables set = MakeSet({{"Temperature", "T", CEType::kQuantitative, 20, 80},
                           {"Time", "Ti", CEType::kQuantitative, 10, 60},
                           {"Catalyst", "C", CEType::kQuantitative, 1, 5}});
  ConstraintsInfo constraints(&set);
  ConstraintsInfo::Constraint* hot_and_long = constraints.AddConstraint(ConstraintsInfo::kGreater);
  hot_and_long->SetValue(constraints.GetIndex("Temperature"), 1.0);
  hot_and_long->SetValue(constraints.GetIndex("Time"), 1.0);
  hot_and_long->SetLimit(120.0);  // excludes Temperature + Time > 120

  auto section = NewSection();
  ModelSpec spec(&set, section);
  spec.SetObjective(EObjective::kRSM, true);
  EXPECT_THROW(spec.GenerateDesign(&constraints, nullptr), Exception);  // a composite design
  EXPECT_FALSE(spec.IsDesignGenerated());
  ASSERT_TRUE(
      spec.ChangeCurrentDesign(EDesign::kDOptimal, "", EObjective::kRSM, EModel::kQuadratic, true));
  const bool cancel = true;
  EXPECT_THROW(spec.GenerateDesign(&constraints, &cancel), CancelException);
  EXPECT_FALSE(spec.IsDesignGenerated());

  spec.GenerateDesign(&constraints, nullptr);
  ASSERT_TRUE(spec.IsDesignGenerated());
  ASSERT_NE(spec.GetDesignStatistics(), nullptr);
  EXPECT_FALSE(spec.GetDesignStatistics()->IsSingular());
  std::vector<std::string> names;
  const NCDataMatrix<float> runs = spec.GetDesignMatrix(0, &names);
  EXPECT_EQ(names, (std::vector<std::string>{"Temperature", "Time", "Catalyst"}));
  bool reaches_the_edge = false;
  for (int r = 0; r < runs.GetRows(); ++r) {
    EXPECT_LE(runs(r, 0) + runs(r, 1), 120.0F + 1e-3F) << "run " << r;
    reaches_the_edge |= std::fabs(runs(r, 0) + runs(r, 1) - 120.0F) < 1e-2F;
  }
  EXPECT_TRUE(reaches_the_edge);  // the corner the constraint cuts is replaced on its edge
  EXPECT_TRUE(spec.IsDesignMatrixCoded());

  spec.Save(section.get());
  ModelSpec loaded(&set, test_support::Reloaded(*section));
  ASSERT_TRUE(loaded.Init(true));
  EXPECT_EQ(loaded.GetDesignType(), EDesign::kDOptimal);
  EXPECT_EQ(loaded.GetDesignOptions(), spec.GetDesignOptions());
  EXPECT_EQ(loaded.GetTermInfo(), spec.GetTermInfo());
  ASSERT_NE(loaded.GetDesign(), nullptr);
  EXPECT_EQ(*loaded.GetDesign(), *spec.GetDesign());
  ASSERT_NE(loaded.GetDesignStatistics(), nullptr);
  EXPECT_EQ(*loaded.GetDesignStatistics(), *spec.GetDesignStatistics());
  StreamWindow before;
  StreamWindow after;
  spec.Show(before);
  loaded.Show(after);
  EXPECT_EQ(after.str(), before.str());

  loaded.RemoveGeneratedDesigns(*section);
  EXPECT_FALSE(loaded.IsDesignGenerated());
  EXPECT_FALSE(section->OpenChild("NewModelSpec")->HasChild("Designs"));
  spec.Remove(section.get());
  EXPECT_TRUE(section->GetChildNames().empty());
}

TEST(ModelSpec, AnExplicitTermListShapesTheOptimalDesign) {
  Variables set = test_support::ProcessSet(3);
  ModelSpec spec(&set, NewSection());
  ASSERT_TRUE(
      spec.ChangeCurrentDesign(EDesign::kDOptimal, "", EObjective::kRSM, EModel::kQuadratic, true));
  ASSERT_TRUE(spec.SetRuns(12, true));
  TermInfo terms("Mine");
  terms.AddItm(0, "", 0, 0, 0);
  terms.AddItm(0, "", 1, 0, 0);
  terms.AddItm(0, "", 2, 0, 0);
  terms.AddItm(0, "", 3, 0, 0);
  terms.AddItm(0, "", 2, 1, 0);
  ASSERT_TRUE(spec.SetTermInfo(terms));
  EXPECT_EQ(Names(spec.GetTermInfo()), "Constant A B C A*B");
  const int unknown_factor[] = {0, 4, 0, 0};
  EXPECT_FALSE(spec.SetTermInfo([&] {
    TermInfo bad(terms);
    bad.AddItm(0, "", 4, 0, 0);
    return bad;
  }()));
  EXPECT_EQ(spec.AddTerm(unknown_factor), 1);
  const int present[] = {0, 2, 1, 0};
  EXPECT_EQ(spec.AddTerm(present), 6009);

  spec.GenerateDesign(nullptr, nullptr);
  const NCDataMatrix<float> coded = spec.GetDesignMatrix(1, nullptr);
  // Without squares in the model the optimal runs sit on the corners of the cube; the centre
  // points are the only runs at 0.
  int centre_cells = 0;
  for (int r = 0; r < coded.GetRows(); ++r) {
    for (int c = 0; c < coded.GetCols(); ++c) {
      EXPECT_EQ(std::fabs(coded(r, c)) == 1.0F || coded(r, c) == 0.0F, true);
      centre_cells += coded(r, c) == 0.0F ? 1 : 0;
    }
  }
  EXPECT_EQ(centre_cells, 3 * spec.GetCenterPoints());
  ASSERT_NE(spec.GetDesignStatistics(), nullptr);
  EXPECT_EQ(spec.GetDesignStatistics()->GetModelColumns(), 5);

  // Removing a term renumbers the model; adding one discards the design.
  const int interaction[] = {0, 1, 2, 0};
  EXPECT_EQ(spec.DeleteTerm(interaction), 0);
  EXPECT_EQ(spec.DeleteTerm(interaction), 1);
  EXPECT_FALSE(spec.IsDesignGenerated());
  const int square[] = {0, 3, 3, 0};
  EXPECT_EQ(spec.AddTerm(square), 0);
  EXPECT_EQ(Names(spec.GetTermInfo()), "Constant A B C C*C");
}

TEST(ModelSpec, FractionalDesignsKeepTheirGeneratorsAndMixturesTheirReferenceMixture) {
  Variables set = test_support::ProcessSet(7);
  ModelSpec spec(&set, NewSection());
  ASSERT_EQ(spec.GetDesignType(), EDesign::kFracFactResIV);
  spec.GenerateDesign(nullptr, nullptr);
  const Generators generators = spec.GetDesignOptions().GetGenerators();
  EXPECT_EQ(generators.GetFactorCount(), 7);
  EXPECT_EQ(generators.GetResolution(), 4);

  struct Sink : MessageSink {
    void Show(Severity /*severity*/, std::string_view text) override { shown.emplace_back(text); }
    std::vector<std::string> shown;
  };
  auto sink = std::make_shared<Sink>();
  const ScopedMessageSink guard(sink);
  spec.SetGenerators(generators);
  EXPECT_EQ(sink->shown, std::vector<std::string>{"Generators modified."});
  EXPECT_FALSE(spec.IsDesignGenerated());

  Variables mixture = MakeSet({{"Water", "W", CEType::kFormulation, 0.2, 0.8},
                               {"Oil", "O", CEType::kFormulation, 0.1, 0.7},
                               {"Soap", "S", CEType::kFormulation, 0.0, 0.5}});
  ModelSpec mix(&mixture, NewSection());
  EXPECT_TRUE(mixture.GetReferenceMixture().empty());
  mix.GenerateDesign(nullptr, nullptr);
  ASSERT_TRUE(mix.IsDesignGenerated());
  EXPECT_EQ(mixture.GetReferenceMixture(), mixture.GetSimplexReferenceMixture());
}

TEST(ModelSpec, ACustomDesignMatrixIsCodedAndJudgedLikeAGeneratedOne) {
  Variables set = MakeSet({{"Temperature", "T", CEType::kQuantitative, 20, 80},
                           {"Catalyst", "C", CEType::kQualitative, 0, 0, {"A", "B"}}});
  ModelSpec spec(&set, NewSection());
  NCDataMatrix<float> runs(4, 2);
  const float values[4][2] = {{20, 1}, {80, 1}, {20, 2}, {80, 2}};
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 2; ++c) runs(r, c) = values[r][c];
  }
  EXPECT_FALSE(spec.SetCustomDesignMatrix(NCDataMatrix<float>(4, 3), "wrong columns"));
  ASSERT_TRUE(spec.SetCustomDesignMatrix(runs, "made in the lab"));
  EXPECT_TRUE(spec.IsDesignGenerated());
  EXPECT_FALSE(spec.IsDesignMatrixCoded());
  EXPECT_EQ(spec.GetDesignData(), "made in the lab");
  const NCDataMatrix<float> coded = spec.GetDesignMatrix(1, nullptr);
  EXPECT_EQ(coded(0, 0), -1.0F);
  EXPECT_EQ(coded(1, 0), 1.0F);
  EXPECT_EQ(coded(3, 1), 2.0F);  // the qualitative factor keeps its setting number
  EXPECT_EQ(spec.GetDesignMatrix(0, nullptr), runs);
  ASSERT_NE(spec.GetDesignStatistics(), nullptr);
  EXPECT_NEAR(spec.GetDesignStatistics()->GetDEfficiency(), 100.0, 1e-9);  // a 2^2 design
  // The wizard's objective keeps the design type but takes the new objective's models.
  spec.SetObjectiveForDesignWizard(EObjective::kRSM);
  EXPECT_EQ(spec.GetObjective(), EObjective::kRSM);
  EXPECT_EQ(spec.GetProcessModel(), EModel::kQuadratic);
  EXPECT_FALSE(spec.IsDesignGenerated());
}

TEST(ModelSpec, PlateAndStabilityDesignsBringTheirOwnRules) {
  Variables set = test_support::ProcessSet(4);
  ModelSpec spec(&set, NewSection());
  auto plate = std::make_unique<SplitPlotOptions>();
  plate->Horizontal() = {{0, 1}, EModel::kInteraction, 4};
  plate->Vertical() = {{2, 3}, EModel::kLinear, 4};
  DesignOptions options;
  options.SetDesignSpecificOptions(std::move(plate));
  spec.SetREDMUPDesign(options);
  EXPECT_EQ(spec.GetDesignType(), EDesign::kREDMUP);
  std::string message;
  EXPECT_TRUE(spec.IsLegal(EObjective::kScreening, message)) << message;
  // The sides take their models from the plate options, and give them back.
  const auto ids = [&](const char* first, const char* second) {
    return std::vector<unsigned long long>{set.GetFactor(first)->GetUniqueID(),
                                           set.GetFactor(second)->GetUniqueID()};
  };
  const std::vector<unsigned long long> horizontal_ids = ids("X1", "X2");
  const std::vector<unsigned long long> vertical_ids = ids("X3", "X4");
  ModelSpec horizontal(&set, NewSection(), &horizontal_ids);
  ModelSpec vertical(&set, NewSection(), &vertical_ids);
  spec.UpdateREDMUPModel(horizontal, vertical, true);
  EXPECT_EQ(horizontal.GetProcessModel(), EModel::kInteraction);
  EXPECT_EQ(vertical.GetRuns(), 4);
  ASSERT_TRUE(vertical.SetProcessModel(EModel::kInteraction));
  spec.UpdateREDMUPModel(horizontal, vertical, false);
  const auto* stored =
      dynamic_cast<const SplitPlotOptions*>(spec.GetDesignOptions().GetDesignSpecificOptions());
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(stored->Vertical().model, EModel::kInteraction);
  // A side without factors has no design.
  auto empty_side = std::make_unique<SplitPlotOptions>();
  empty_side->Horizontal() = {{0, 1, 2, 3}, EModel::kLinear, 0};
  options.SetDesignSpecificOptions(std::move(empty_side));
  spec.SetREDMUPDesign(options);
  EXPECT_FALSE(spec.IsLegal(EObjective::kScreening, message));
  EXPECT_EQ(message, "There is no design available.");

  // A stability study judges the design by its own model: every factor crossed with time.
  Variables study = MakeSet({{"Time", "Ti", CEType::kTime, 0, 0, {"0", "3", "6"}},
                             {"Temp", "T", CEType::kQuantitative, 25, 40}});
  ModelSpec stability(&study, NewSection());
  ASSERT_TRUE(stability.ChangeCurrentDesign(EDesign::kStability, "", EObjective::kScreening,
                                            EModel::kLinear, false));
  EXPECT_EQ(Names(stability.GetTermInfo()), "Constant Ti T Ti*T");
  stability.GenerateDesign(nullptr, nullptr);
  ASSERT_NE(stability.GetDesignStatistics(), nullptr);
  EXPECT_EQ(stability.GetDesignStatistics()->GetModelColumns(), 4);
}

TEST(ModelSpec, CentrePointsOfABoundedMixtureLieInsideTheRegion) {
  // The simplex's centroid puts the last component at 0.247, far above its bound of 0.08.
  Variables set = MakeSet({{"Filler", "F", CEType::kFormulation, 0.2, 0.7},
                           {"Binder", "B", CEType::kFormulation, 0.1, 0.6},
                           {"Lubricant", "L", CEType::kFormulation, 0.02, 0.08}});
  ModelSpec spec(&set, NewSection());
  ASSERT_TRUE(
      spec.ChangeCurrentDesign(EDesign::kDOptimal, "", EObjective::kRSM, EModel::kQuadratic, true));
  ASSERT_TRUE(spec.SetCenterPoints(2));
  spec.GenerateDesign(nullptr, nullptr);
  const NCDataMatrix<float> runs = spec.GetDesignMatrix(0, nullptr);
  const std::pair<float, float> bounds[] = {{0.2F, 0.7F}, {0.1F, 0.6F}, {0.02F, 0.08F}};
  const auto kinds = spec.GetDesign()->GetRunKinds();
  EXPECT_EQ(std::count(kinds.begin(), kinds.end(), NCDesign::RunKind::kCenter), 2);
  for (int r = 0; r < runs.GetRows(); ++r) {
    float sum = 0.0F;
    for (int c = 0; c < 3; ++c) {
      EXPECT_GE(runs(r, c), bounds[c].first - 1e-5F) << r;
      EXPECT_LE(runs(r, c), bounds[c].second + 1e-5F) << r;
      sum += runs(r, c);
    }
    EXPECT_NEAR(sum, 1.0F, 1e-5F);
  }
}

TEST(ModelSpec, EditedTermsFollowTheFactorsAndDefaultTermsAreRebuilt) {
  Variables set = test_support::ProcessSet(3);
  ModelSpec spec(&set, NewSection());
  EXPECT_EQ(Names(spec.GetTermInfo()), "Constant A B C");
  // A default model is rebuilt for the new factors.
  auto factor = std::make_unique<FactorClass>();
  factor->SetName("X4");
  factor->SetAbbr("D");
  factor->SetValue(0, 1, CEType::kQuantitative, true);
  ASSERT_EQ(set.Add(std::move(factor)), Variables::kOk);
  spec.FactorInserted(4);
  EXPECT_EQ(Names(spec.GetTermInfo()), "Constant A B C D");

  // Edited terms keep their factors through a removal.
  const int ad[] = {0, 1, 4, 0};
  ASSERT_EQ(spec.AddTerm(ad), 0);
  const int ab[] = {0, 1, 2, 0};
  ASSERT_EQ(spec.AddTerm(ab), 0);
  ASSERT_EQ(set.Delete("X2"), Variables::kOk);
  spec.FactorRemoved(2);
  EXPECT_EQ(Names(spec.GetTermInfo()), "Constant A C D A*D");
  EXPECT_EQ(spec.GetTermInfo().GetTerm(5)->GetFactors(), (std::array<int, 3>{1, 3, 0}));
}

TEST(ModelSpec, GarbledAndOlderStoredFormsLoadAsFarAsTheyAreSound) {
  Variables set = test_support::ProcessSet(3);
  struct Row {
    const char* name;
    std::function<void(ConfigurationSection&)> write;
    const char* design;
    EModel::Type model;
    const char* terms;
  };
  const Row rows[] = {
      {"unknown design, garbled numbers, a term naming a missing factor",
       [](ConfigurationSection& root) {
         ConfigurationSection& spec = root.CreateChild("NewModelSpec");
         spec.WriteString("Design", "Hexagonal");
         spec.WriteString("Runs", "-5");
         spec.WriteString("ProcessModel", "Hexic");
         ConfigurationSection& terms = spec.CreateChild("TermInfo");
         terms.CreateChild("Term", 1);                    // the constant
         terms.CreateChild("Term", 2).WriteInt("V1", 9);  // no factor 9
         terms.CreateChild("Term", ConfigurationSection::kMaxChildIndex).WriteInt("V1", 2);
         spec.CreateChild("Designs").CreateChild("Design", 1).WriteString("Runs", "x");
       },
       "Full Factorial", EModel::kLinear, "Constant B"},
      {"stored term names that are not their terms' names",
       [](ConfigurationSection& root) {
         ConfigurationSection& terms = root.CreateChild("NewModelSpec").CreateChild("TermInfo");
         terms.CreateChild("Term", 1).WriteString("Name", "A");  // the constant
         ConfigurationSection& second = terms.CreateChild("Term", 2);
         second.WriteString("Name", "A*C");
         second.WriteInt("V1", 2);
       },
       "Full Factorial", EModel::kLinear, "Constant B"},
      {"a number stored behind a zero: its term, once",
       [](ConfigurationSection& root) {
         ConfigurationSection& terms = root.CreateChild("NewModelSpec").CreateChild("TermInfo");
         terms.CreateChild("Term", 1).WriteInt("V1", 3);
         terms.CreateChild("Term", 2).WriteInt("V2", 3);  // C again
         ConfigurationSection& third = terms.CreateChild("Term", 3);
         third.WriteInt("V2", 1);
         third.WriteInt("V3", 2);  // A*B
       },
       "Full Factorial", EModel::kLinear, "C A*B"},
      {"no design chosen: the models stay, no design stands in",
       [](ConfigurationSection& root) {
         ConfigurationSection& spec = root.CreateChild("NewModelSpec");
         spec.WriteString("Design", "None");
         spec.WriteString("ProcessModel", "Interaction");
       },
       "none", EModel::kInteraction, "Constant A B C A*B A*C B*C"},
      {"older layout",
       [](ConfigurationSection& root) {
         ConfigurationSection& spec = root.CreateChild("ModelSpec");
         spec.WriteString("Design", "Rechtschaffner Res V");
         spec.WriteString("Model", "Interaction");
         spec.WriteString("Centerpoints", "2");
       },
       "Rechtschaffner Res V", EModel::kInteraction, "Constant A B C A*B A*C B*C"},
      {"oldest layout",
       [](ConfigurationSection& root) {
         ConfigurationSection& model = root.CreateChild("Model Settings");
         model.WriteString("Current Model", "Interaction");
         model.WriteString("Model", "A, C, A*C, Q*A");
         model.WriteBool("Constant", false);
         model.WriteString("FitMethod", "MLR");
       },
       "Full Factorial", EModel::kInteraction, "A C A*C"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto section = NewSection();
    row.write(*section);
    ModelSpec spec(&set, section);
    EXPECT_TRUE(spec.Init(false));
    EXPECT_EQ(NameOf(spec), row.design);
    EXPECT_EQ(spec.GetProcessModel(), row.model);
    EXPECT_EQ(Names(spec.GetTermInfo()), row.terms);
    EXPECT_FALSE(spec.IsDesignGenerated());
  }
  // The older INI form: the same keys in flat sections.
  auto ini = IniFileSection::LoadString(
      "[ModelSpec]\nDesign=Box-Behnken\nModel=Quadratic\nCenterpoints=4\n");
  ModelSpec spec(&set, std::shared_ptr<ConfigurationSection>(std::move(ini)));
  EXPECT_TRUE(spec.Init(false));
  EXPECT_EQ(spec.GetDesignType(), EDesign::kBoxBehnken);
  EXPECT_EQ(spec.GetCenterPoints(), 4);
}

}  // namespace
}  // namespace zubra
