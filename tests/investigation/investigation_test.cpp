#include "zubra/investigation/investigation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/model/term_info.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/json.h"
#include "zubra/variables/factor_class.h"

namespace zubra {
namespace {

using test_support::ScratchFolder;

// A small response-surface study: two process factors, a qualitative one, a response, a
// derived response, one constraint.
constexpr const char* kStudy = R"({
  "format": "zubra-investigation",
  "version": 1,
  "name": "Coating",
  "factors": [
    {"name": "Temperature", "abbreviation": "T", "unit": "C", "type": "quantitative",
     "settings": [20, 80]},
    {"name": "Time", "abbreviation": "Ti", "unit": "min", "type": "quantitative",
     "settings": [10, 60]},
    {"name": "Catalyst", "abbreviation": "C", "type": "qualitative", "settings": ["A", "B"]}
  ],
  "responses": [
    {"name": "Yield", "abbreviation": "Y", "unit": "%"},
    {"name": "Twice", "abbreviation": "Tw", "type": "derived", "formula": "v(4)*2"}
  ],
  "constraints": {"columns": ["Temperature", "Time", "Catalyst", "Operator", "Limit"],
                  "data": [[1, 1, "", ">", 120]]},
  "design": {"objective": "RSM", "type": "DOptimal", "runs": 16, "seed": 7}
})";

std::unique_ptr<Investigation> Study() { return Investigation::FromJson(ParseJson(kStudy)); }

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteAll(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::vector<std::string> ProblemsOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const InvestigationError& error) {
    return error.GetProblems();
  }
  return {"no error"};
}

TEST(Investigation, JsonAndXmlFormsRoundTripWithTheGeneratedDesign) {
  std::unique_ptr<Investigation> study = Study();
  ASSERT_TRUE(study->Check().empty()) << study->Check().front();
  study->GenerateDesign(nullptr, nullptr);
  study->MakeWorksheet(std::nullopt);  // the seed of the document
  EXPECT_EQ(study->GetWorksheet().GetLastSeed(), 7U);
  ASSERT_EQ(study->GetWorksheet().GetExperimentCount(),
            study->GetModelSpec().GetDesign()->GetRuns());

  const json_value json = study->ToJson();
  const std::unique_ptr<Investigation> from_json = Investigation::FromJson(json);
  EXPECT_EQ(from_json->ToJson(), json);

  ScratchFolder folder;
  const std::string xml = folder.File("coating.xml");
  study->Save(xml);
  const std::unique_ptr<Investigation> from_xml = Investigation::Open(xml);
  EXPECT_EQ(from_xml->ToJson(), json);
  ASSERT_NE(from_xml->GetModelSpec().GetDesign(), nullptr);
  EXPECT_EQ(*from_xml->GetModelSpec().GetDesign(), *study->GetModelSpec().GetDesign());
  const std::string json_path = folder.File("coating.json");
  from_xml->Save(json_path);
  EXPECT_EQ(Investigation::Open(json_path)->ToJson(), json);
  // The older INI form keeps everything but the generated design itself.
  const std::string ini = folder.File("coating.ini");
  study->Save(ini);
  const std::unique_ptr<Investigation> from_ini = Investigation::Open(ini);
  EXPECT_EQ(from_ini->ToJson(), json);
  EXPECT_FALSE(from_ini->GetModelSpec().IsDesignGenerated());
}

TEST(Investigation, AnInvestigationWithoutADesignReadsBackFromEveryForm) {
  // The set-up holds centre points even before a design is chosen; reading them back must not
  // ask a design that is not there.
  const Investigation empty;
  const json_value json = empty.ToJson();
  ASSERT_TRUE(json["design"].contains("centerPoints"));
  EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
  ScratchFolder folder;
  for (const char* name : {"empty.json", "empty.xml", "empty.ini"}) {
    SCOPED_TRACE(name);
    const std::string path = folder.File(name);
    empty.Save(path);
    EXPECT_EQ(Investigation::Open(path)->ToJson(), json);
  }
}

TEST(Investigation, AConstraintWithoutALimitSurvivesEditsAndTheJsonForm) {
  std::unique_ptr<Investigation> study = Study();
  ConstraintsInfo& constraints = study->GetConstraints();
  ConstraintsInfo::Constraint* unfinished = constraints.AddConstraint(ConstraintsInfo::kLess);
  unfinished->SetValue(constraints.GetIndex("Time"), 2.0);

  auto pressure = std::make_unique<FactorClass>();
  pressure->SetName("Pressure");
  pressure->SetAbbr("P");
  pressure->SetValue(1, 5, CEType::kQuantitative, true);
  ASSERT_EQ(study->AddFactor(std::move(pressure)), Variables::kOk);
  ASSERT_TRUE(study->RenameFactor("Time", "Duration"));
  const ConstraintsInfo& after = study->GetConstraints();
  ASSERT_EQ(after.NumConstraints(), 2);
  EXPECT_EQ(after.GetConstraint(2)->GetValue(after.GetIndex("Duration")), 2.0);
  EXPECT_FALSE(after.GetConstraint(2)->HasValue(after.GetIndex("Pressure")));
  EXPECT_EQ(after.GetConstraint(2)->GetLimit(), kUndefined);

  const json_value json = study->ToJson();
  EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
}

TEST(Investigation, AnEditedTermListKeepsItsOrderInEveryForm) {
  struct Row {
    const char* name;
    std::vector<std::array<int, 3>> terms;
    const char* written;
  };
  const Row rows[] = {
      {"the constant among the terms",
       {{1, 2, 0}, {2, 0, 0}, {0, 0, 0}, {1, 0, 0}},
       R"(["T*Ti", "Ti", "Constant", "T"])"},
      // Fewer terms than the optimal options' own model, which the flat INI form must not mix
      // in with the term list.
      {"no constant, few terms", {{1, 2, 0}, {2, 0, 0}}, R"(["T*Ti", "Ti"])"},
  };
  ScratchFolder folder;
  Study()->Save(folder.File("first.ini"));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    // Read from the INI form, whose optimal options hold a model of their own.
    std::unique_ptr<Investigation> study = Investigation::Open(folder.File("first.ini"));
    TermInfo terms("Model");
    for (const auto& [f1, f2, f3] : row.terms) terms.AddItm(0, "", f1, f2, f3);
    ASSERT_TRUE(study->GetModelSpec().SetTermInfo(terms));
    const json_value json = study->ToJson();
    EXPECT_EQ(json["design"]["terms"], ParseJson(row.written));
    EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
    for (const char* name : {"terms.xml", "terms.ini"}) {
      SCOPED_TRACE(name);
      study->Save(folder.File(name));
      EXPECT_EQ(Investigation::Open(folder.File(name))->ToJson(), json);
    }
  }
}

TEST(Investigation, AMaximumOfRunsBelowTheChosenDesignReadsBackAndIsReported) {
  std::unique_ptr<Investigation> study = Study();
  ASSERT_TRUE(study->GetModelSpec().SetMaxRuns(3));
  const json_value json = study->ToJson();
  EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
  EXPECT_EQ(Investigation::FromJson(json)->Check(), study->Check());
  EXPECT_FALSE(study->Check().empty());
}

TEST(Investigation, ASetUpThatNoDesignCanCarryReadsBackItsModels) {
  // Only an uncontrolled factor: no design at all, the objective's default model all the same.
  const std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(R"({
      "factors": [{"name": "Room", "abbreviation": "R", "type": "quantitative"}]})"));
  ASSERT_EQ(study->GetModelSpec().GetDesignType(), EDesign::kNone);
  const json_value json = study->ToJson();
  ASSERT_EQ(json["design"]["model"], "Linear");
  EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
}

TEST(Investigation, ASetUpWithoutADesignKeepsItsSettingsInEveryForm) {
  // A set-up that no design serves (here: none fits in 5 runs) keeps the settings of the
  // design it had, and the linear model it fell back to; a stored set-up may hold no design
  // where its objective would choose one. Neither gains a design or loses a setting by being
  // read back.
  constexpr const char* kFactors = R"("factors": [
      {"name": "A", "abbreviation": "A", "type": "quantitative", "settings": [0, 1]},
      {"name": "B", "abbreviation": "B", "type": "quantitative", "settings": [0, 1]}])";
  std::unique_ptr<Investigation> small = Investigation::FromJson(ParseJson(
      std::string("{") + kFactors +
      R"(, "design": {"objective": "Screening", "type": "FullFactorial", "centerPoints": 4}})"));
  ASSERT_TRUE(small->GetModelSpec().SetMaxRuns(5));
  small->GetModelSpec().SetObjective(EObjective::kRSM, true);
  ASSERT_EQ(small->GetModelSpec().GetDesignType(), EDesign::kNone);
  ASSERT_EQ(small->GetModelSpec().GetCenterPoints(), 4);
  ASSERT_EQ(small->GetModelSpec().GetProcessModel(), EModel::kLinear);
  const std::unique_ptr<Investigation> stored = Investigation::FromJson(
      ParseJson(std::string("{") + kFactors +
                R"(, "design": {"objective": "Screening", "type": "None", "model": "Interaction",
                      "runs": 8, "blocks": 2, "centerPoints": 3}})"));
  const ModelSpec& spec = stored->GetModelSpec();
  EXPECT_EQ(spec.GetDesignType(), EDesign::kNone);
  EXPECT_EQ(spec.GetRuns(), 8);
  EXPECT_EQ(spec.GetCenterPoints(), 6);
  EXPECT_EQ(spec.GetProcessModel(), EModel::kInteraction);
  EXPECT_EQ(spec.GetTermInfo().GetNItm(), 4);  // Constant A B A*B

  ScratchFolder folder;
  for (const Investigation* study : {small.get(), stored.get()}) {
    const json_value json = study->ToJson();
    SCOPED_TRACE(DumpJson(json["design"]));
    EXPECT_EQ(json["design"]["type"], "None");
    EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
    for (const char* name : {"none.xml", "none.ini"}) {
      SCOPED_TRACE(name);
      study->Save(folder.File(name));
      EXPECT_EQ(Investigation::Open(folder.File(name))->ToJson(), json);
    }
  }
}

TEST(Investigation, HandEditedStoredSetUpsReadBackFromEveryForm) {
  // Stored set-ups that no setter makes but an edited or damaged file holds: each opens, and
  // its JSON, XML and INI forms read back as the same investigation.
  struct Row {
    const char* name;
    std::vector<std::pair<std::string, std::string>> edits;  // INI text replaced
    void (*expect)(const Investigation&);
  };
  const std::vector<Row> rows = {
      {"most runs above the usual 10000",
       {{"MaxLegalRuns=10000", "MaxLegalRuns=20000"}},
       [](const Investigation& study) {
         EXPECT_EQ(study.GetModelSpec().GetMaxLegalRuns(), 20000);
         EXPECT_EQ(study.ToJson()["design"]["maxRuns"], 20000);
       }},
      {"centre points the blocks do not divide: rounded up per block",
       {{"Centerpoints=0", "Centerpoints=3"}, {"Blocks=1", "Blocks=2"}},
       [](const Investigation& study) {
         EXPECT_EQ(study.GetModelSpec().GetBlocks(), 2U);
         EXPECT_EQ(study.GetModelSpec().GetCenterPoints(), 4);
         EXPECT_EQ(study.ToJson()["design"]["centerPoints"], 2);
       }},
      {"an objective that names none: the usual one",
       {{"Objective=RSM", "Objective=None"}},
       [](const Investigation& study) {
         EXPECT_EQ(study.GetModelSpec().GetObjective(), EObjective::kScreening);
       }},
      {"a design the factors cannot carry: kept, and reported",
       {{"Design=DOptimal", "Design=SimplexLattice"}},
       [](const Investigation& study) {
         EXPECT_EQ(study.GetModelSpec().GetDesignType(), EDesign::kSimplexLattice);
         EXPECT_EQ(study.ToJson()["design"]["unusable"], true);
         EXPECT_FALSE(study.Check().empty());
       }},
  };
  ScratchFolder folder;
  Study()->Save(folder.File("study.ini"));
  const std::string original = ReadAll(folder.File("study.ini"));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string text = original;
    for (const auto& [from, to] : row.edits) {
      ASSERT_NE(text.find(from), std::string::npos) << from;
      for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
        text.replace(at, from.size(), to);
        at += to.size();
      }
    }
    WriteAll(folder.File("edited.ini"), text);
    const std::unique_ptr<Investigation> study = Investigation::Open(folder.File("edited.ini"));
    row.expect(*study);
    const json_value json = study->ToJson();
    EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
    for (const char* name : {"again.json", "again.xml", "again.ini"}) {
      SCOPED_TRACE(name);
      study->Save(folder.File(name));
      EXPECT_EQ(Investigation::Open(folder.File(name))->ToJson(), json);
    }
  }
}

TEST(Investigation, AMixtureModelWithoutMixtureFactorsIsLeftOut) {
  // As choosing a design leaves it out: the JSON form then reads back as it was written.
  const std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(R"({
      "factors": [{"name": "Speed", "abbreviation": "S", "type": "multilevel",
                   "settings": [1, 2, 3]}],
      "design": {"objective": "Screening", "model": "Linear", "mixtureModel": "Linear"}})"));
  EXPECT_EQ(study->GetModelSpec().GetMixtureModel(), EModel::kNone);
  const json_value json = study->ToJson();
  EXPECT_FALSE(json["design"].contains("mixtureModel"));
  EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
}

TEST(Investigation, TheJsonFormKeepsTheUseOfAFactorGivenBySettings) {
  // The factor form gives a factor with settings the use its settings imply (two or more:
  // controlled); the investigation writes any other use beside it.
  std::unique_ptr<Investigation> study = Study();
  FactorClass* catalyst = study->GetVariables().GetFactor("Catalyst");
  catalyst->SetSettings({"A", "B", "C"}, CEType::kQualitative, CEUse::kUncontrolled);
  study->FactorChanged("Catalyst");
  const json_value json = study->ToJson();
  EXPECT_EQ(json["factors"][2]["use"], "uncontrolled");
  EXPECT_FALSE(json["factors"][0].contains("use"));
  const std::unique_ptr<Investigation> back = Investigation::FromJson(json);
  EXPECT_EQ(back->GetVariables().GetFactor("Catalyst")->GetUse(), CEUse::kUncontrolled);
  EXPECT_EQ(back->ToJson(), json);

  const char* kFactor = R"({"factors": [{"name": "T", "abbreviation": "T", "type": "quantitative",
                             "settings": [0, 1], "use": "uncontrolled"},
                            {"name": "C", "abbreviation": "C", "type": "qualitative",
                             "settings": ["a", "b"], "use": "sideways"}]})";
  EXPECT_EQ(ProblemsOf([&] { Investigation::FromJson(ParseJson(kFactor)); }),
            (std::vector<std::string>{"factor 1: the use \"uncontrolled\" does not apply.",
                                      "factor 2: the use \"sideways\" does not apply."}));
}

TEST(Investigation, TheSameSeedGivesTheSameWorksheet) {
  std::vector<std::string> texts;
  for (int i = 0; i < 2; ++i) {
    std::unique_ptr<Investigation> study = Study();
    study->GenerateDesign(nullptr, nullptr);
    study->MakeWorksheet(4242U);
    texts.push_back(study->GetWorksheet().ToText());
  }
  EXPECT_EQ(texts[0], texts[1]);
}

TEST(Investigation, EditsKeepTermsFormulasConstraintsAndColumnsTogether) {
  std::unique_ptr<Investigation> study = Study();
  study->GenerateDesign(nullptr, nullptr);
  study->MakeWorksheet(1U);
  const int runs = study->GetWorksheet().GetExperimentCount();
  study->GetWorksheet().SetValue(1, "Yield", 55.5);

  auto pressure = std::make_unique<FactorClass>();
  pressure->SetName("Pressure");
  pressure->SetAbbr("P");
  pressure->SetValue(1, 5, CEType::kQuantitative, true);
  std::string message;
  ASSERT_EQ(study->AddFactor(std::move(pressure), 2, &message), Variables::kOk) << message;
  Investigation& s = *study;
  EXPECT_EQ(s.GetVariables().GetFactor("Pressure")->GetNumber(), 2);
  EXPECT_FALSE(s.GetModelSpec().IsDesignGenerated());
  // The formula follows the response it named (Yield moved from 4 to 5).
  EXPECT_EQ(s.GetResponses().GetResponse("Twice")->GetFormula(), "v(5)*2");
  // Worksheet cells follow their variables; the new factor's cells are missing.
  EXPECT_EQ(s.GetWorksheet().GetExperimentCount(), runs);
  EXPECT_EQ(s.GetWorksheet().GetFloatValue(1, "Yield"), 55.5);
  EXPECT_EQ(s.GetWorksheet().GetFloatValue(1, "Pressure"), kUndefined);
  // The constraint keeps its coefficients by factor name.
  const ConstraintsInfo& constraints = s.GetConstraints();
  EXPECT_EQ(constraints.GetConstraint(1)->GetValue(constraints.GetIndex("Time")), 1.0);
  EXPECT_FALSE(constraints.GetConstraint(1)->HasValue(constraints.GetIndex("Pressure")));
  // The default quadratic model takes in the new factor.
  EXPECT_EQ(s.GetModelSpec().GetTermInfo().GetTermNam(3), "P");

  ASSERT_TRUE(s.DeleteFactor("Time"));
  EXPECT_EQ(s.GetResponses().GetResponse("Twice")->GetFormula(), "v(4)*2");
  EXPECT_EQ(s.GetConstraints().NumValues(), 3);
  for (int i = 1; i <= s.GetModelSpec().GetTermInfo().GetNItm(); ++i) {
    EXPECT_EQ(s.GetModelSpec().GetTermInfo().GetTermNam(i).find("Ti"), std::string::npos);
  }
  EXPECT_EQ(s.GetWorksheet().GetCellIndex("Time"), 0);
  EXPECT_EQ(s.GetWorksheet().GetFloatValue(1, "Yield"), 55.5);
  EXPECT_FALSE(s.DeleteFactor("Time"));

  // A rename carries the factor's coefficients and cells along.
  const double first_temperature = s.GetWorksheet().GetFloatValue(1, "Temperature");
  EXPECT_FALSE(s.RenameFactor("Temperature", "Pressure", &message));
  ASSERT_TRUE(s.RenameFactor("Temperature", "Temp", &message)) << message;
  EXPECT_EQ(s.GetWorksheet().GetFloatValue(1, "Temp"), first_temperature);
  EXPECT_EQ(s.GetConstraints().GetConstraint(1)->GetValue(s.GetConstraints().GetIndex("Temp")),
            1.0);

  // Refusals change nothing.
  auto twin = std::make_unique<FactorClass>();
  twin->SetName("Pressure");
  twin->SetAbbr("P2");
  twin->SetValue(0, 1, CEType::kQuantitative, true);
  EXPECT_NE(s.AddFactor(std::move(twin), 0, &message), Variables::kOk);
  EXPECT_EQ(message, "The factor name already exists. Please change to a unique name.");
  auto same_abbreviation = std::make_unique<ResponseEx>();
  same_abbreviation->GetResponseClass()->SetName("Purity");
  same_abbreviation->GetResponseClass()->SetAbbr("Y");
  EXPECT_EQ(s.AddResponse(std::move(same_abbreviation), &message), Variables::kAbbrNotUnique);
  EXPECT_EQ(message, "The abbreviation of 'Purity' is already used by another variable.");
  EXPECT_EQ(s.GetResponses().GetCount(), 2);
  EXPECT_TRUE(s.DeleteResponse("Yield"));
  EXPECT_EQ(s.GetWorksheet().GetCellIndex("Yield"), 0);
  EXPECT_EQ(s.GetVariables().GetResponse("Yield"), nullptr);
}

TEST(Investigation, DocumentsThatLeaveTheDesignToZubraRoundTrip) {
  // Two factors and nothing but the objective: the best design for it; a process-mixture design
  // with a quadratic mixture model; a D-optimal design in two blocks.
  const char* const documents[] = {
      R"({"factors": [
            {"name": "A", "abbreviation": "A", "type": "quantitative", "settings": [0, 1]},
            {"name": "B", "abbreviation": "B", "type": "quantitative", "settings": [0, 1]}],
          "design": {"objective": "Screening"}})",
      R"({"factors": [
            {"name": "Temp", "abbreviation": "T", "type": "quantitative", "settings": [20, 80]},
            {"name": "Time", "abbreviation": "Ti", "type": "quantitative", "settings": [1, 5]},
            {"name": "Water", "abbreviation": "W", "type": "formulation", "settings": [0, 1]},
            {"name": "Oil", "abbreviation": "O", "type": "formulation", "settings": [0, 1]},
            {"name": "Soap", "abbreviation": "S", "type": "formulation", "settings": [0, 1]}],
          "design": {"objective": "ProcessMixture", "type": "ProcessMixture",
                     "model": "Interaction", "mixtureModel": "Quadratic"}})",
      R"({"factors": [
            {"name": "A", "abbreviation": "A", "type": "quantitative", "settings": [0, 1]},
            {"name": "B", "abbreviation": "B", "type": "quantitative", "settings": [0, 1]}],
          "design": {"objective": "Screening", "type": "DOptimal", "runs": 8, "blocks": 2,
                     "centerPoints": 0, "seed": 5}})",
  };
  for (const char* document : documents) {
    SCOPED_TRACE(document);
    std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(document));
    ASSERT_TRUE(study->Check().empty()) << study->Check().front();
    EXPECT_EQ(Investigation::FromJson(study->ToJson())->ToJson(), study->ToJson());
    study->GenerateDesign(nullptr, nullptr);
    study->MakeWorksheet(std::nullopt);
    // Blocks are run one after the other.
    const WorksheetInfo& sheet = study->GetWorksheet();
    for (int p = 1; p <= sheet.GetExperimentCount(); ++p) {
      for (int q = 1; q <= sheet.GetExperimentCount(); ++q) {
        if (study->GetBlock(p) < study->GetBlock(q)) {
          EXPECT_LT(sheet.GetExperiment(p)->RunOrder(), sheet.GetExperiment(q)->RunOrder());
        }
      }
    }
  }
}

TEST(Investigation, UnsoundDocumentsListEveryProblem) {
  struct Row {
    const char* name;
    const char* json;
    std::vector<std::string> problems;
  };
  const Row rows[] = {
      {"not an object", "[1, 2]", {"The document is not a JSON object."}},
      {"a misspelt member and a wrong type",
       R"({"factors": {}, "desing": {}})",
       {"investigation: unknown member 'desing'.",
        "investigation: the member 'factors' has the wrong type."}},
      {"factors the validators refuse",
       R"({"factors": [
            {"name": "A", "abbreviation": "A", "type": "quantitative", "settings": [0, 1]},
            {"name": "a", "abbreviation": "B", "type": "quantitative", "settings": [0, 1]},
            {"name": "C", "abbreviation": "a b", "type": "quantitative", "settings": [0, 1]},
            {"name": "D", "abbreviation": "D", "type": "sideways", "settings": [0, 1]},
            {"abbreviation": "E"}]})",
       {"factor 2 ('a'): The factor name already exists. Please change to a unique name.",
        "factor 3 ('C'): Abbreviations may not contain the following characters:\n\n[ ] ( ) and "
        "SPACE.",
        "factor 4: Parse error: illegal factor type.", "factor 5: it needs a \"name\"."}},
      {"design settings the design refuses",
       R"({"factors": [
            {"name": "A", "abbreviation": "A", "type": "quantitative", "settings": [0, 1]},
            {"name": "B", "abbreviation": "B", "type": "quantitative", "settings": [0, 1]}],
          "design": {"objective": "Sideways", "type": "FullFactorial", "blocks": 3,
                     "terms": ["A*Q"], "seed": -1, "wholePlots": 4}})",
       {"design: 'Sideways' is not an objective.",
        "design: whole plots (0 to 10000) and a variance ratio (0 to 1000) belong to optimal "
        "designs.",
        "design: the design cannot be divided into 3 blocks; it offers 1.",
        "design: the term \"A*Q\" names no factor of the investigation.",
        "design: the seed must be a whole number from 0 to 4294967295."}},
      {"options and constraints",
       R"({"options": {"power": 2}, "constraints": {"columns": ["Limit"], "data": []}})",
       {"constraints: Parse error. Constraint operator and/or limits columns missing.",
        "options: Illegal power value."}},
      {"more settings than a factor holds",
       R"({"factors": [{"name": "Q", "abbreviation": "Q", "type": "qualitative",
            "settings": ["1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13",
                         "14", "15", "16", "17", "18", "19", "20", "21", "22", "23", "24", "",
                         "25"]},
           {"name": "M", "abbreviation": "M", "type": "multilevel",
            "settings": [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20,
                         21, 22, 23, 24, "25"]}]})",
       {"factor 1 ('Q'): it lists 25 settings; a factor holds at most 24."}},
      {"settings of a set-up without a design",
       R"({"design": {"type": "None", "name": "CCF", "runs": -1, "blocks": 0,
                      "centerPoints": -2}})",
       {"design: the design 'CCF' has no type.", "design: the runs may not be negative.",
        "design: there must be at least one block.",
        "design: the design cannot have -2 centre points in each block."}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(ProblemsOf([&] { Investigation::FromJson(ParseJson(row.json)); }), row.problems);
  }
}

TEST(Investigation, HardToChangeFactorsGiveASplitPlotWorksheetFromTheDocument) {
  // Two hard-to-change oven settings and four easy ones, 6 whole plots of 32 runs (the
  // design would choose 8).
  std::string factors;
  for (const char* name : {"Oven", "Humidity", "Resin", "Filler", "Speed", "Pressure"}) {
    const bool hard = std::string(name) == "Oven" || std::string(name) == "Humidity";
    factors += std::string(factors.empty() ? "" : ",") + R"({"name": ")" + name +
               R"(", "abbreviation": ")" + std::string(name).substr(0, 3) +
               R"(", "type": "quantitative", "settings": [0, 10])" +
               (hard ? R"(, "isHardToChange": true})" : "}");
  }
  const std::string document = R"({"format": "zubra-investigation", "version": 1,
      "name": "Panels", "factors": [)" +
                               factors + R"(], "responses": [],
      "design": {"objective": "Screening", "type": "DOptimal", "model": "Interaction",
                 "runs": 32, "centerPoints": 0, "wholePlots": 6, "varianceRatio": 2.5,
                 "seed": 3}})";
  std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(document));
  study->GenerateDesign(nullptr, nullptr);
  study->MakeWorksheet(std::nullopt);
  const json_value json = study->ToJson();
  EXPECT_EQ(json["design"]["wholePlots"], 6);
  EXPECT_EQ(json["design"]["varianceRatio"], 2.5);

  // Every whole plot holds the hard-to-change settings constant and its runs in a row.
  const json_value& sheet = json["worksheet"];
  ASSERT_TRUE(sheet.contains("wholePlots"));
  const auto column = [&](const std::string& name) {
    const auto& columns = sheet["columns"];
    return static_cast<std::size_t>(std::find(columns.begin(), columns.end(), name) -
                                    columns.begin());
  };
  std::map<int, std::vector<const json_value*>> plots;
  for (std::size_t r = 0; r < sheet["rows"].size(); ++r) {
    plots[sheet["wholePlots"][r].get<int>()].push_back(&sheet["rows"][r]);
  }
  ASSERT_EQ(plots.size(), 6U);
  for (const auto& [plot, rows] : plots) {
    SCOPED_TRACE(plot);
    std::vector<double> orders;
    for (const json_value* row : rows) {
      for (const char* hard : {"Oven", "Humidity"}) {
        EXPECT_EQ((*row)[column(hard)], (*rows.front())[column(hard)]);
      }
      orders.push_back((*row)[column("RunOrder")].get<double>());
    }
    std::sort(orders.begin(), orders.end());
    EXPECT_EQ(orders.back() - orders.front(), static_cast<double>(orders.size() - 1));
  }

  // The settings and the structure come back from the JSON and XML forms.
  EXPECT_EQ(Investigation::FromJson(json)->ToJson(), json);
  ScratchFolder folder;
  study->Save(folder.File("panels.xml"));
  EXPECT_EQ(Investigation::Open(folder.File("panels.xml"))->ToJson(), json);
}

TEST(Investigation, FilesThatAreNotInvestigationsAreRefusedWithTheirName) {
  ScratchFolder folder;
  struct Row {
    const char* file;
    const char* content;  // null: no file
    const char* problem;
  };
  const std::string missing = folder.File("missing.json");
  const Row rows[] = {
      {"missing.json", nullptr, "does not exist"},
      {"empty.xml", "  \n", "is empty"},
      {"truncated.xml", "<?xml version=\"1.0\"?><zubra version=\"1\"><section name=\"Factors\">",
       "line"},
      {"truncated.json", R"({"factors": [)", "JSON"},
      {"garbled.xml", "<zubra version=\"1\"><value>no key</value></zubra>", "key"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.file);
    const std::string path = folder.File(row.file);
    if (row.content != nullptr) WriteAll(path, row.content);
    try {
      Investigation::Open(path);
      ADD_FAILURE() << "opened";
    } catch (const InvestigationError& error) {
      EXPECT_NE(error.Message().find(path), std::string::npos) << error.Message();
      ASSERT_FALSE(error.GetProblems().empty());
      EXPECT_NE(error.GetProblems().front().find(row.problem), std::string::npos)
          << error.GetProblems().front();
    }
  }
}

TEST(Investigation, AFailedSaveLeavesTheOldFileAsItWas) {
  ScratchFolder folder;
  const std::string path = folder.File("study.xml");
  std::unique_ptr<Investigation> study = Study();
  study->Save(path);
  const std::string before = ReadAll(path);
  study->GenerateDesign(nullptr, nullptr);
  study->MakeWorksheet(3U);
  {
    // Room for half of the new file only.
    const test_support::FileSizeLimit limit(before.size() / 2);
    EXPECT_THROW(study->Save(path), Exception);
  }
  EXPECT_EQ(ReadAll(path), before);
  EXPECT_EQ(folder.CountEntries(), 1);  // no temporary file left
  EXPECT_NO_THROW(Investigation::Open(path));
}

TEST(Investigation, TheIniFormRefusesNamesItCannotHoldApart) {
  // Its sections share one name space: a factor named like a term's or the options' section
  // would merge with it. Saving says so and keeps the file there; the other forms hold it.
  for (const char* name : {"Term2", "termInfo", "Constraints", "Design12"}) {
    SCOPED_TRACE(name);
    std::unique_ptr<Investigation> study = Study();
    std::string message;
    ASSERT_TRUE(study->RenameFactor("Time", name, &message)) << message;
    ScratchFolder folder;
    WriteAll(folder.File("study.ini"), "older");
    try {
      study->Save(folder.File("study.ini"));
      ADD_FAILURE() << "saved";
    } catch (const Exception& error) {
      EXPECT_NE(std::string(error.what()).find("The INI form cannot hold the variable '"),
                std::string::npos)
          << error.what();
    }
    EXPECT_EQ(ReadAll(folder.File("study.ini")), "older");
    EXPECT_EQ(folder.CountEntries(), 1);
    for (const char* form : {"study.xml", "study.json"}) {
      study->Save(folder.File(form));
      EXPECT_EQ(Investigation::Open(folder.File(form))->ToJson(), study->ToJson()) << form;
    }
  }
}

TEST(Investigation, TextThatIsNotUtf8ReadsAsReplacementCharactersInEveryForm) {
  // The JSON form holds UTF-8 only, so a stored file's bytes that are not UTF-8 are read as
  // U+FFFD wherever they are, and the file's JSON form reads back the same investigation.
  struct Row {
    const char* name;
    const char* from;
    const char* to;
  };
  const Row rows[] = {
      {"the investigation's name", "Name=Coating", "Name=Co\xff" "ating"},
      {"a unit", "Units=C\n", "Units=\xb0" "C\n"},
      {"a qualitative setting", "Settings=A,B", "Settings=A\xe2\x82,B"},
      {"an experiment's name", "Line2=\"1\\t", "Line2=\"1\\t\xc0"},
  };
  ScratchFolder folder;
  std::unique_ptr<Investigation> source = Study();
  source->GenerateDesign(nullptr, nullptr);
  source->MakeWorksheet(3U);
  source->Save(folder.File("study.ini"));
  const std::string original = ReadAll(folder.File("study.ini"));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string text = original;
    const std::size_t at = text.find(row.from);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, std::string(row.from).size(), row.to);
    WriteAll(folder.File("edited.ini"), text);
    const std::unique_ptr<Investigation> study = Investigation::Open(folder.File("edited.ini"));
    const std::string json = DumpJson(study->ToJson());
    EXPECT_NE(json.find("\xef\xbf\xbd"), std::string::npos);  // U+FFFD
    EXPECT_EQ(Investigation::FromJson(ParseJson(json))->ToJson(), study->ToJson());
  }
}

TEST(Investigation, TheOlderIniFormIsRead) {
  ScratchFolder folder;
  const std::string path = folder.File("older.ini");
  WriteAll(path,
           "[Factors]\nTemp=1\nSpeed=2\n"
           "[Temp]\nName=Temp\nAbbreviation=T\nType=Quantitative\nUse=Controlled\n"
           "Settings=20,80\n"
           "[Speed]\nName=Speed\nAbbreviation=S\nType=Quantitative\nUse=Controlled\n"
           "Settings=1,3\n"
           "[Responses]\nYield=1\n[Yield]\nName=Yield\nAbbreviation=Y\n"
           "[Objective]\nObjective=RSM\n"
           "[Options]\nPower=0.9\n");
  const std::unique_ptr<Investigation> study = Investigation::Open(path);
  EXPECT_EQ(study->GetVariables().GetFactorCount(), 2);
  EXPECT_EQ(study->GetResponses().GetCount(), 1);
  EXPECT_EQ(study->GetModelSpec().GetObjective(), EObjective::kRSM);
  EXPECT_EQ(study->GetModelSpec().GetProcessModel(), EModel::kQuadratic);
  EXPECT_EQ(study->GetOptions().GetPower(), 0.9);
  EXPECT_TRUE(study->Check().empty());
}

TEST(Investigation, OlderIniFactorsAreAdmittedAsInTheOtherForms) {
  // Every investigation that opens must save and open again, so a factor that the XML and
  // JSON forms would refuse is refused in an older file too, with the reason.
  const std::string head =
      "[Factors]\nTemp=1\nOdd=2\n"
      "[Temp]\nName=Temp\nAbbreviation=T\nType=Quantitative\nUse=Controlled\n"
      "Settings=20,80\n[Odd]\nName=Odd\n";
  struct Row {
    const char* name;
    const char* odd_factor;
    const char* problem;
  };
  const Row rows[] = {
      {"no type", "Abbreviation=O\nSettings=1,2\n",
       "Factors, factor 2 ('Odd'): The variable 'Odd' is not completely defined."},
      {"an abbreviation the validator refuses",
       "Abbreviation=O k\nType=Quantitative\nUse=Controlled\nSettings=1,2\n",
       "Factors, factor 2 ('Odd'): Abbreviations may not contain the following characters:\n\n"
       "[ ] ( ) and SPACE."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(ProblemsOf([&] {
                Investigation::FromSection(*IniFileSection::LoadString(head + row.odd_factor));
              }),
              std::vector<std::string>{row.problem});
  }
}

}  // namespace
}  // namespace zubra
