#include "zubra/platform/design/design_options.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/platform/util/test_data_support.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/onion_options.h"
#include "zubra/platform/design/process_mixture_options.h"
#include "zubra/platform/design/split_plot_options.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

// Options with every field away from its default.
DesignOptions Changed() {
  DesignOptions options;
  options.SetRuns(26);
  options.SetCenterPoints(6);
  options.SetBlocks(3);
  options.SetReplicates(2);
  options.SetReplicatedRuns(4);
  options.SetStarDistance(1.68179F);
  options.SetMaxRuns(200);
  options.SetObjective(EObjective::kRSM);
  options.SetProcessModel(EModel::kQuadratic);
  options.SetMixtureModel(EModel::kSpecialCubic);
  options.SetGenerators(Generators(4, {0b1111}, {0b0111}));
  options.SetThreads(3);
  options.SetSearchSeed(4000000000U);
  return options;
}

TEST(DesignOptions, SaveThenLoadRestoresEveryFieldInBothSectionKinds) {
  std::vector<std::function<std::unique_ptr<DesignSpecificOptions>()>> kinds = {
      [] { return nullptr; },
      [] {
        auto pm = std::make_unique<ProcessMixtureOptions>();
        pm->SetPMInteraction(true);
        return pm;
      },
      [] {
        auto onion = std::make_unique<OnionOptions>();
        onion->SetNLayers(5);
        onion->SetLayerSetting(false);
        onion->SetTotalLayerRuns(40);
        return onion;
      },
      [] {
        auto optimal = std::make_unique<DOptimalOptions>();
        optimal->SetCandidateLevels(5);
        optimal->SetModel(DesignModel({{}, {0}, {1}, {0, 1}, {1, 1}}));
        optimal->SetWholePlots(6);
        optimal->SetVarianceRatio(0.1);
        return optimal;
      },
      [] {
        auto plate = std::make_unique<SplitPlotOptions>();
        plate->Horizontal() = {{0, 2}, EModel::kInteraction, 8};
        plate->Vertical() = {{1}, EModel::kQuadratic, 12};
        plate->SetPlates(4);
        plate->SetPlateSize(384);
        plate->SetUsePlateFactors(true);
        plate->SetAddBlockFactor(true);
        plate->SetAddPlateInteractions(true);
        return plate;
      },
  };
  for (bool ini : {false, true}) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      SCOPED_TRACE(std::string(ini ? "ini " : "xml ") + std::to_string(i));
      DesignOptions saved = Changed();
      saved.SetDesignSpecificOptions(kinds[i]());
      const std::unique_ptr<ConfigurationSection> root =
          ini ? std::unique_ptr<ConfigurationSection>(std::make_unique<IniFileSection>())
              : std::make_unique<TinyXML2Section>();
      ConfigurationSection& section = root->CreateChild("DesignSpec");
      saved.Save(section);
      DesignOptions loaded;
      loaded.Load(section);
      EXPECT_TRUE(loaded == saved);
      EXPECT_FALSE(loaded == DesignOptions());
    }
  }
}

TEST(DesignOptions, SavingPlainOptionsRemovesStoredOnesAndAbsentKeysChangeNothing) {
  TinyXML2Section section;
  Changed().Save(section);
  DesignOptions().Save(section);
  DesignOptions loaded = Changed();
  loaded.Load(section);
  EXPECT_TRUE(loaded.GetGenerators().IsEmpty());
  EXPECT_EQ(loaded.GetDesignSpecificOptions(), nullptr);
  EXPECT_EQ(loaded.GetRuns(), 0);
  loaded = Changed();
  loaded.Load(TinyXML2Section());
  EXPECT_TRUE(loaded == Changed());
}

TEST(DesignOptions, LoadRefusesBadValuesAndKeepsTheObject) {
  struct Row {
    std::string name, key, value, message;
  };
  const std::vector<Row> rows = {
      {"negative runs", "Runs", "-4", "The value '-4' of the key 'Runs' is not a valid count."},
      {"zero blocks", "Blocks", "0", "The value '0' of the key 'Blocks' is not a valid count."},
      {"star distance above 5", "StarDistance", "5.5",
       "The value '5.5' of the key 'StarDistance' is not a valid star distance."},
      {"star distance text", "StarDistance", "wide",
       "The value 'wide' of the key 'StarDistance' is not a valid star distance."},
      {"unknown star distance choice", "StarDistanceChoice", "Sideways",
       "The value 'Sideways' of the key 'StarDistanceChoice' is not a valid star distance "
       "choice."},
      {"choice against a given distance", "StarDistanceChoice", "Rotatable",
       "The value 'Rotatable' of the key 'StarDistanceChoice' is not a valid star distance "
       "choice."},
      {"unknown objective", "Objective", "Dream",
       "The value 'Dream' of the key 'Objective' is not a valid name."},
      {"unknown model", "ProcessModel", "Quartic",
       "The value 'Quartic' of the key 'ProcessModel' is not a valid name."},
      {"runs not a number", "Runs", "many",
       "The value 'many' of the key 'Runs' is not a valid whole number."},
      {"negative threads", "Threads", "-1",
       "The value '-1' of the key 'Threads' is not a valid count."},
      {"too many threads", "Threads", "1025",
       "The value '1025' of the key 'Threads' is not a valid count."},
      {"seed not a number", "SearchSeed", "-3",
       "The value '-3' of the key 'SearchSeed' is not a valid whole number."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TinyXML2Section section;
    Changed().Save(section);
    section.SetValue(row.key, row.value);
    DesignOptions loaded = Changed();
    loaded.SetRuns(8);
    try {
      loaded.Load(section);
      ADD_FAILURE() << "accepted";
    } catch (const Exception& e) {
      EXPECT_EQ(e.Message(), row.message);
    }
    EXPECT_EQ(loaded.GetRuns(), 8) << "the object changed";
  }
  TinyXML2Section section;
  section.CreateChild("DesignSpecificOptions").SetValue("Kind", "Pizza");
  DesignOptions loaded;
  EXPECT_THROW(loaded.Load(section), Exception);
  section.OpenChild("DesignSpecificOptions")->SetValue("Kind", "onion");
  section.OpenChild("DesignSpecificOptions")->SetValue("Layers", "11");
  try {
    loaded.Load(section);
    ADD_FAILURE() << "accepted";
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message(), "The number of layers 11 is not valid.");
  }
  EXPECT_EQ(loaded.GetDesignSpecificOptions(), nullptr);
}

TEST(DesignOptions, ThreadsSeedAndWholePlotSettingsAreStoredOnlyAwayFromTheirDefaults) {
  for (bool ini : {false, true}) {
    SCOPED_TRACE(ini ? "ini" : "xml");
    const std::unique_ptr<ConfigurationSection> root =
        ini ? std::unique_ptr<ConfigurationSection>(std::make_unique<IniFileSection>())
            : std::make_unique<TinyXML2Section>();
    ConfigurationSection& section = root->CreateChild("DesignSpec");
    DesignOptions options = Changed();
    options.SetDesignSpecificOptions(std::make_unique<DOptimalOptions>());
    auto& optimal = dynamic_cast<DOptimalOptions&>(*options.GetDesignSpecificOptions());
    ASSERT_TRUE(optimal.SetWholePlots(5));
    ASSERT_TRUE(optimal.SetVarianceRatio(2.0));
    options.Save(section);
    const ConfigurationSection& child = *section.OpenChild("DesignSpecificOptions");
    EXPECT_EQ(section.GetString("Threads"), "3");
    EXPECT_EQ(section.GetString("SearchSeed"), "4000000000");
    EXPECT_EQ(child.GetString("WholePlots"), "5");
    EXPECT_EQ(child.GetString("VarianceRatio"), "2");
    // Back to the defaults: the keys go, so a set-up that never used them is stored as before.
    ASSERT_TRUE(options.SetThreads(0));
    options.SetSearchSeed(0);
    ASSERT_TRUE(optimal.SetWholePlots(0));
    ASSERT_TRUE(optimal.SetVarianceRatio(1.0));
    options.Save(section);
    const ConfigurationSection& again = *section.OpenChild("DesignSpecificOptions");
    for (const char* key : {"Threads", "SearchSeed"}) {
      EXPECT_FALSE(section.GetValue(key).has_value()) << key;
    }
    for (const char* key : {"WholePlots", "VarianceRatio"}) {
      EXPECT_FALSE(again.GetValue(key).has_value()) << key;
    }
  }
  // Out of range.
  DesignOptions options;
  EXPECT_FALSE(options.SetThreads(-1));
  EXPECT_FALSE(options.SetThreads(DesignOptions::kMaxThreads + 1));
  EXPECT_EQ(options.GetThreads(), 0);
  DOptimalOptions optimal;
  EXPECT_FALSE(optimal.SetWholePlots(-1));
  EXPECT_FALSE(optimal.SetVarianceRatio(-0.5));
  EXPECT_FALSE(optimal.SetVarianceRatio(std::nan("")));
  EXPECT_EQ(optimal.GetWholePlots(), 0);
  EXPECT_EQ(optimal.GetVarianceRatio(), 1.0);
  for (const auto& [key, value, message] :
       std::vector<std::tuple<std::string, std::string, std::string>>{
           {"WholePlots", "-2", "The number of whole plots -2 is not valid."},
           {"VarianceRatio", "1e9", "The variance ratio 1e+09 is not valid."}}) {
    SCOPED_TRACE(key);
    TinyXML2Section stored;
    stored.SetValue(key, value);
    try {
      optimal.Load(stored);
      ADD_FAILURE() << "accepted";
    } catch (const Exception& e) {
      EXPECT_EQ(e.Message(), message);
    }
  }
}

TEST(DesignOptions, StarDistanceChoiceSurvivesSavingAndOlderFilesKeepTheirMeaning) {
  using Choice = DesignOptions::StarDistanceChoice;
  struct Row {
    std::string name;
    Choice choice;
    float distance;      // given with SetStarDistance when the choice is kGiven
    std::string stored;  // "StarDistanceChoice" as written, "" when absent
  };
  const std::vector<Row> rows = {
      {"default", Choice::kDefault, -99.0F, ""},
      {"rotatable", Choice::kRotatable, -99.0F, "Rotatable"},
      {"orthogonal blocking", Choice::kOrthogonalBlocking, -99.0F, "OrthogonalBlocking"},
      {"face-centred", Choice::kFaceCentred, -99.0F, "FaceCentred"},
      {"given", Choice::kGiven, 1.5F, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    DesignOptions saved;
    if (row.choice == Choice::kGiven) {
      ASSERT_TRUE(saved.SetStarDistance(row.distance));
    } else {
      ASSERT_TRUE(saved.SetStarDistanceChoice(row.choice));
    }
    // Saved over options of another explicit choice, whose key must not linger.
    TinyXML2Section section;
    DesignOptions other;
    other.SetStarDistanceChoice(row.choice == Choice::kRotatable ? Choice::kFaceCentred
                                                                 : Choice::kRotatable);
    other.Save(section);
    saved.Save(section);
    EXPECT_EQ(section.GetString("StarDistanceChoice"), row.stored);
    EXPECT_EQ(section.GetString("StarDistance"), row.choice == Choice::kGiven ? "1.5" : "-99");
    DesignOptions loaded;
    loaded.SetStarDistance(2.5F);
    loaded.Load(section);
    EXPECT_EQ(loaded.GetStarDistanceChoice(), row.choice);
    EXPECT_EQ(loaded.GetStarDistance(), row.distance);
  }
  // Files written before the choice was stored hold the distance alone.
  for (const auto& [text, choice] : std::vector<std::pair<std::string, Choice>>{
           {"-99", Choice::kDefault}, {"1.68179", Choice::kGiven}}) {
    SCOPED_TRACE(text);
    TinyXML2Section old;
    old.SetValue("StarDistance", text);
    DesignOptions loaded;
    loaded.SetStarDistanceChoice(Choice::kFaceCentred);
    loaded.Load(old);
    EXPECT_EQ(loaded.GetStarDistanceChoice(), choice);
  }
}

// The stored terms are read in the order of their indexes, gaps and the largest index
// included. An INI section numbered far above the largest index is no term, and is answered
// at once (the XML reader refuses such a document, see TinyXML2Section).
TEST(DOptimalOptions, LoadReadsTheStoredTermsInIndexOrderAndIgnoresAbsurdIniIndexes) {
  const auto answer = [](const ConfigurationSection& section) {
    DOptimalOptions options;
    options.SetModel(DesignModel({{0}, {1}}));
    options.Load(section);
    std::string terms;
    for (const DesignModel::Term& term : options.GetModel().GetTerms()) {
      terms += '(';
      for (const int factor : term) terms += std::to_string(factor);
      terms += ')';
    }
    return terms;
  };
  for (const char* file : {"model_term_2000000000.ini", "model_term_2147483647.ini"}) {
    SCOPED_TRACE(file);
    EXPECT_EQ(answer(*test_support::LoadTestSection(std::string("indexes/") + file)), "");
  }
  for (const bool ini : {false, true}) {
    SCOPED_TRACE(ini ? "ini" : "xml");
    const std::unique_ptr<ConfigurationSection> root =
        ini ? std::unique_ptr<ConfigurationSection>(std::make_unique<IniFileSection>())
            : std::make_unique<TinyXML2Section>();
    ConfigurationSection& model = root->CreateChild("Model");
    model.CreateChild("Term", ConfigurationSection::kMaxChildIndex).SetValue("Factors", "2");
    model.CreateChild("Term", 3).SetValue("Factors", "1,0");
    model.CreateChild("Term", 1).SetValue("Factors", "");
    EXPECT_EQ(answer(*root), "()(01)(2)");
  }
}

TEST(DesignOptions, SettersRefuseValuesOutOfRange) {
  DesignOptions options;
  EXPECT_FALSE(options.SetRuns(-1));
  EXPECT_FALSE(options.SetCenterPoints(-1));
  EXPECT_FALSE(options.SetBlocks(0));
  EXPECT_FALSE(options.SetReplicates(-1));
  EXPECT_FALSE(options.SetMaxRuns(0));
  EXPECT_FALSE(options.SetStarDistance(0.0F));
  EXPECT_TRUE(options.SetStarDistance(5.0F));
  EXPECT_FALSE(options.SetStarDistance(5.01F));
  EXPECT_TRUE(options.SetStarDistance(-99.0F));
  EXPECT_FALSE(options.HasStarDistance());
  using Choice = DesignOptions::StarDistanceChoice;
  EXPECT_FALSE(options.SetStarDistanceChoice(Choice::kGiven));
  EXPECT_FALSE(options.SetStarDistanceChoice(static_cast<Choice>(7)));
  ASSERT_TRUE(options.SetStarDistance(1.5F));
  EXPECT_EQ(options.GetStarDistanceChoice(), Choice::kGiven);
  ASSERT_TRUE(options.SetStarDistanceChoice(Choice::kRotatable));
  EXPECT_FALSE(options.HasStarDistance());
  ASSERT_TRUE(options.SetStarDistance(-99.0F));
  EXPECT_EQ(options.GetStarDistanceChoice(), Choice::kDefault);
  EXPECT_FALSE(options.SetObjective(static_cast<EObjective::Type>(6)));
  EXPECT_TRUE(options == DesignOptions());
}

TEST(DesignOptions, CopiesOwnTheirDesignSpecificOptions) {
  DesignOptions original;
  auto onion = std::make_unique<OnionOptions>();
  onion->SetNLayers(4);
  original.SetDesignSpecificOptions(std::move(onion));
  DesignOptions copy(original);
  auto* copied = dynamic_cast<OnionOptions*>(copy.GetDesignSpecificOptions());
  ASSERT_NE(copied, nullptr);
  ASSERT_NE(copied, original.GetDesignSpecificOptions());
  copied->SetNLayers(7);
  EXPECT_EQ(dynamic_cast<const OnionOptions*>(original.GetDesignSpecificOptions())->GetNLayers(),
            4);
  copy = original;
  EXPECT_TRUE(copy == original);
}

TEST(DesignOptions, AssureMaxRunsClampsToTheLargestOfferedSize) {
  Factors factors;
  for (const char* name : {"A", "B", "C", "D", "E"}) {
    ASSERT_TRUE(factors.Add(Factors::Factor::Quantitative(name, 0, 1), nullptr));
  }
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(EDesign::kFracFactResIII, "");
  ASSERT_NE(builder, nullptr);
  DesignOptions options;
  options.SetRuns(1000);
  options.AssureMaxRuns(*builder, factors);
  EXPECT_EQ(options.GetRuns(), 32);  // the full factorial of 5 factors
  options.SetRuns(16);
  options.AssureMaxRuns(*builder, factors);
  EXPECT_EQ(options.GetRuns(), 16);
}

}  // namespace
}  // namespace zubra
