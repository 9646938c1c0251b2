// Round trips of many random investigations through every stored form. Each investigation is
// built through the public API from a seed (so it is valid by construction and a failure can
// be made again from its seed): factors of every kind and use, transforms, responses of every
// type, constraints, an objective with a design and its settings, edited model terms,
// options, and a worksheet, from a generated design when the design is quick to make.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/investigation/investigation_dumps.h"
#include "zubra/investigation/investigation.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/json.h"
#include "zubra/platform/util/tinyxml2_section.h"
#include "zubra/responses/response_ex.h"
#include "zubra/variables/factor_class.h"

namespace zubra {
namespace {

// Fewer under the sanitizers, which make every round trip several times slower.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kInvestigations = 60;
#else
constexpr int kInvestigations = 300;
#endif

class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}

  std::unique_ptr<Investigation> Make() {
    auto study = std::make_unique<Investigation>();
    study->SetName(Pick<std::string>({"", "Coating", "Säure & <Base>", "x;y=z \"q\""}));
    study->SetDescription(Pick<std::string>({"", "Second run, 20 °C", "a\tb"}));
    const int factors = Between(1, 5);
    for (int i = 0; i < factors; ++i) AddFactor(*study, i);
    const int responses = Between(0, 3);
    for (int i = 0; i < responses; ++i) AddResponse(*study, i);
    for (int i = Between(0, 2); i > 0; --i) AddConstraint(*study);
    ChooseDesign(*study);
    SetOptions(study->GetOptions());
    FillWorksheet(*study);
    if (Chance(4)) study->SetSeed(static_cast<std::uint32_t>(random_()));
    return study;
  }

 private:
  int Between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  bool Chance(int one_in) { return Between(1, one_in) == 1; }
  double Number(double low, double high) {
    // Round numbers and numbers that need all 17 digits.
    const double x = std::uniform_real_distribution<double>(low, high)(random_);
    return Chance(2) ? static_cast<double>(static_cast<int>(x)) : x;
  }
  template <typename T>
  T Pick(std::initializer_list<T> values) {
    return *(values.begin() + Between(0, static_cast<int>(values.size()) - 1));
  }

  void AddFactor(Investigation& study, int i) {
    auto factor = std::make_unique<FactorClass>();
    const std::string name =
        Pick<std::string>({"Temp", "Druck", "pH-Wert", "Time", "Catalyst"}) + std::to_string(i);
    factor->SetName(name);
    factor->SetAbbr(name.substr(0, 2) + std::to_string(i));
    factor->SetUnits(Pick<std::string>({"", "°C", "mg/l", "%"}));
    switch (Between(0, 7)) {
      case 0: {  // qualitative, controlled or uncontrolled
        std::vector<std::string> settings;
        for (int s = Between(2, 4); s > 0; --s) settings.push_back("L" + std::to_string(s));
        factor->SetSettings(settings, CEType::kQualitative,
                            Chance(4) ? CEUse::kUncontrolled : CEUse::kControlled);
        break;
      }
      case 1:  // multilevel
        factor->SetSettings({"1", "2.5", "4"}, CEType::kMultilevel, CEUse::kControlled);
        break;
      case 2:  // constant
        factor->SetValue(Number(-5, 5), CEType::kQuantitative);
        break;
      case 3:  // uncontrolled
        factor->SetValue(CEType::kQuantitative, CEUse::kUncontrolled);
        break;
      case 4:  // a mixture component
        factor->SetValue(Number(0, 0.2), Number(0.5, 1), CEType::kFormulation, true);
        break;
      case 5:  // the filler (the set refuses a second one)
        factor->SetValue(CEType::kFiller, CEUse::kControlled);
        break;
      default: {  // quantitative, sometimes transformed
        const double low = Number(1, 50);
        factor->SetValue(low, low + Number(1, 100), CEType::kQuantitative, true);
        if (Chance(3)) factor->SetTransform(Transform(TraData::kLog, 1.0, 0.0, kUndefined));
        break;
      }
    }
    // Refusals (a second filler, say) leave the investigation as it was.
    study.AddFactor(std::move(factor));
  }

  void AddResponse(Investigation& study, int i) {
    auto response = std::make_unique<ResponseEx>();
    response->GetResponseClass()->SetName("Response " + std::to_string(i));
    response->GetResponseClass()->SetAbbr("R" + std::to_string(i));
    if (i > 0 && Chance(3)) {
      response->SetType(ResponseEx::kDerived);
      const int variable = study.GetVariables().GetVariableCount();
      response->SetFormula("v(" + std::to_string(variable) + ")*2");
    } else if (Chance(2)) {
      response->SetMinLimit(Number(0, 10));
      response->SetMaxLimit(Number(20, 30));
      response->SetTargetLimit(15);
      response->SetWeight(Number(0.1, 1));
    }
    study.AddResponse(std::move(response));
  }

  void AddConstraint(Investigation& study) {
    ConstraintsInfo& constraints = study.GetConstraints();
    if (constraints.NumValues() == 0) return;
    ConstraintsInfo::Constraint* constraint = constraints.AddConstraint(
        Pick({ConstraintsInfo::kLess, ConstraintsInfo::kGreater, ConstraintsInfo::kNoOperator}));
    for (int v = 1; v <= constraints.NumValues(); ++v) {
      if (Chance(2)) constraint->SetValue(v, Number(-3, 3));
    }
    if (!Chance(4)) constraint->SetLimit(Number(-100, 100));  // else no limit yet
  }

  void ChooseDesign(Investigation& study) {
    ModelSpec& spec = study.GetModelSpec();
    spec.SetObjective(Pick({EObjective::kScreening, EObjective::kRSM, EObjective::kRobustness,
                            EObjective::kOptimization}),
                      true);
    if (Chance(2)) {
      spec.ChangeCurrentDesign(
          Pick({EDesign::kFullFactorial, EDesign::kFracFactResIII, EDesign::kPlackettBurman,
                EDesign::kCentralComposite, EDesign::kBoxBehnken, EDesign::kDOptimal,
                EDesign::kSimplexLattice, EDesign::kGeneralFullFactorial}),
          "", spec.GetObjective(),
          Pick({EModel::kLinear, EModel::kInteraction, EModel::kQuadratic}), true);
    }
    if (Chance(2)) spec.SetCenterPoints(Between(0, 4));
    if (Chance(3)) spec.SetReplicates(Between(0, 2));
    const std::vector<std::size_t> blocks = spec.GetAvalibleBlocks();
    if (Chance(3) && !blocks.empty()) {
      spec.SetBlocks(blocks[static_cast<std::size_t>(Between(0, int(blocks.size()) - 1))]);
    }
    const int factors = study.GetVariables().GetFactorCount();
    if (Chance(3) && factors >= 2) {  // an edited model
      const int term[4] = {0, 1, Between(1, factors), 0};
      spec.AddTerm(term);
      if (Chance(2)) {
        const int drop[4] = {0, Between(1, factors), 0, 0};
        spec.DeleteTerm(drop);
      }
    }
    if (Chance(5)) spec.SetMaxRuns(Between(1, 200));
  }

  void SetOptions(ZubraOptions& options) {
    options.SetPower(Number(0, 1));
    options.SetReplicateTolerance(Number(0, 0.2));
    options.SetAlphaLev(Pick({CAlphaLev::kAlpha10, CAlphaLev::kAlpha05, CAlphaLev::kAlpha01}));
    options.SetConfLev(Pick({CConfLev::kLevel90, CConfLev::kLevel95, CConfLev::kLevel99}));
    options.SetResid(Pick({CResid::kRaw, CResid::kStandardized, CResid::kDeletedStudentized}));
    options.SetR2Opt(Pick({CR2Opt::kR2, CR2Opt::kR2Adjusted}));
    options.SetCoeff(Pick({CCoeff::kScaledAndCentered, CCoeff::kUnscaled, CCoeff::kNormalized}));
  }

  // The worksheet of a generated design when the design is quick to make, else a few
  // experiments typed in.
  void FillWorksheet(Investigation& study) {
    const EDesign::Type type = study.GetModelSpec().GetDesignType();
    const bool quick =
        type != EDesign::kDOptimal && type != EDesign::kIOptimal && type != EDesign::kOnion;
    if (quick && !Chance(4)) {
      try {
        study.GenerateDesign(nullptr, nullptr);
        study.MakeWorksheet(static_cast<std::uint32_t>(random_()));
      } catch (const Exception&) {
        // A design the engine refuses: the investigation keeps no design.
      }
    }
    WorksheetInfo& sheet = study.GetWorksheet();
    if (sheet.GetExperimentCount() == 0) {
      for (int i = Between(0, 4); i > 0; --i) sheet.AddExperiment();
    }
    const Variables& variables = study.GetVariables();
    for (int p = 1; p <= sheet.GetExperimentCount(); ++p) {
      for (int cell = 1; cell <= variables.GetVariableCount(); ++cell) {
        if (Chance(3)) sheet.SetValue(p, variables.GetVariable(cell)->GetName(), Number(-9, 9));
      }
      if (Chance(5)) sheet.GetExperiment(p)->SetExcluded(Experiment::kOut);
      if (Chance(5)) sheet.GetExperiment(p)->SetExpName("Run \"" + std::to_string(p) + "\"");
    }
    if (Chance(4)) sheet.SetRunOrderFloor(Between(0, 3));
  }

  std::mt19937 random_;
};

// The first line where two texts differ, with the line before it, for a short failure report.
std::string FirstDifference(const std::string& read, const std::string& written) {
  std::istringstream a(read);
  std::istringstream b(written);
  std::string before;
  std::string line_a;
  std::string line_b;
  for (int n = 1;; ++n) {
    const bool more_a = static_cast<bool>(std::getline(a, line_a));
    const bool more_b = static_cast<bool>(std::getline(b, line_b));
    if (!more_a && !more_b) return "no difference";
    if (!more_a || !more_b || line_a != line_b) {
      return "line " + std::to_string(n) + " after \"" + before +
             "\":\n  read:    " + (more_a ? line_a : "(end)") +
             "\n  written: " + (more_b ? line_b : "(end)");
    }
    before = line_a;
  }
}

// Expects `read` to equal `written`, reporting where they part.
void ExpectSame(const std::string& read, const std::string& written, const char* what) {
  EXPECT_TRUE(read == written) << what << ", " << FirstDifference(read, written);
}
void ExpectSame(const json_value& read, const json_value& written, const char* what) {
  ExpectSame(DumpJson(read, 1), DumpJson(written, 1), what);
}

template <typename Section>
std::unique_ptr<Investigation> ThroughSection(const Investigation& study) {
  Section root;
  study.ToSection(root);
  return Investigation::FromSection(*Section::LoadString(root.ToString()));
}

void ExpectSameDesign(const Investigation& read, const Investigation& study) {
  const std::shared_ptr<const NCDesign> design = study.GetModelSpec().GetDesign();
  const std::shared_ptr<const NCDesign> back = read.GetModelSpec().GetDesign();
  ASSERT_EQ(back == nullptr, design == nullptr);
  if (design != nullptr) {
    EXPECT_TRUE(*back == *design);
  }
}

TEST(InvestigationRoundTrip, EveryFormGivesBackWhatItHolds) {
  int with_design = 0;
  for (int seed = 1; seed <= kInvestigations; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::unique_ptr<Investigation> study = Generator(seed).Make();
    const json_value json = study->ToJson();
    const std::string dumps = test_support::Dumps(*study);
    const std::string sheet = study->GetWorksheet().ToText();
    with_design += study->GetModelSpec().GetDesign() != nullptr ? 1 : 0;
    try {
      // JSON: the exchange form, without the generated design and the PLS scalings.
      const std::unique_ptr<Investigation> from_json = Investigation::FromJson(json);
      ExpectSame(from_json->ToJson(), json, "JSON form through JSON");
      ExpectSame(test_support::Dumps(*from_json, true), test_support::Dumps(*study, true),
                 "dumps through JSON");
      ExpectSame(from_json->GetWorksheet().ToText(), sheet, "worksheet through JSON");
      // XML: everything, the generated design included.
      const std::unique_ptr<Investigation> from_xml = ThroughSection<TinyXML2Section>(*study);
      ExpectSame(from_xml->ToJson(), json, "JSON form through XML");
      ExpectSame(test_support::Dumps(*from_xml), dumps, "dumps through XML");
      ExpectSame(from_xml->GetWorksheet().ToText(), sheet, "worksheet through XML");
      ExpectSameDesign(*from_xml, *study);
      // The older INI form: everything but the generated design.
      const std::unique_ptr<Investigation> from_ini = ThroughSection<IniFileSection>(*study);
      ExpectSame(from_ini->ToJson(), json, "JSON form through INI");
      ExpectSame(test_support::Dumps(*from_ini), dumps, "dumps through INI");
      ExpectSame(from_ini->GetWorksheet().ToText(), sheet, "worksheet through INI");
    } catch (const Exception& error) {
      ADD_FAILURE() << error.what() << "\n" << DumpJson(json, 1);
    }
    if (HasFailure()) break;  // the first seed that fails is the one to look at
  }
  // The generator reaches generated designs, not only set-ups.
  EXPECT_GT(with_design, kInvestigations / 10);
}

}  // namespace
}  // namespace zubra
