// The bundled example investigations: each is sound, survives every file form unchanged,
// gives the same design and worksheet from its seed, and its runs lie in the region it
// describes. The README's and the format page's JSON are checked too.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/investigation/investigation.h"
#include "zubra/platform/matrix/desirability.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/variables/factor_class.h"

namespace zubra {
namespace {

using test_support::ScratchFolder;

std::vector<std::string> ExampleFiles() { return KtStdString::Split(ZUBRA_EXAMPLE_FILES, ','); }

std::string ExamplePath(const std::string& file) {
  return std::string(ZUBRA_EXAMPLES_DIR) + "/" + file;
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// The first fenced ```json block after `heading` in the Markdown file `path`; empty when there
// is none.
std::string JsonBlockAfter(const std::string& path, const std::string& heading) {
  const std::string text = ReadAll(path);
  const std::size_t at = text.find(heading);
  if (at == std::string::npos) return {};
  const std::size_t open = text.find("```json\n", at);
  if (open == std::string::npos) return {};
  const std::size_t begin = open + 8;
  const std::size_t close = text.find("\n```", begin);
  return close == std::string::npos ? std::string() : text.substr(begin, close - begin);
}

// Generates the design and the worksheet with the example's own seed.
std::unique_ptr<Investigation> Generated(const std::string& file) {
  std::unique_ptr<Investigation> study = Investigation::Open(ExamplePath(file));
  study->GenerateDesign(nullptr, nullptr);
  study->MakeWorksheet(std::nullopt);
  return study;
}

TEST(Examples, TheListNamesEveryJsonFileOfTheFolder) {
  std::set<std::string> on_disk;
  for (const auto& entry : std::filesystem::directory_iterator(ZUBRA_EXAMPLES_DIR)) {
    if (entry.path().extension() == ".json") on_disk.insert(entry.path().filename().string());
  }
  const std::vector<std::string> listed = ExampleFiles();
  EXPECT_EQ(on_disk, std::set<std::string>(listed.begin(), listed.end()));
  EXPECT_GE(listed.size(), 6U);
}

TEST(Examples, EachIsSoundNamesItsSeedAndHasUsableResponseLimits) {
  for (const std::string& file : ExampleFiles()) {
    SCOPED_TRACE(file);
    std::unique_ptr<Investigation> study;
    ASSERT_NO_THROW(study = Investigation::Open(ExamplePath(file)));
    const std::vector<std::string> problems = study->Check();
    EXPECT_TRUE(problems.empty()) << problems.front();
    EXPECT_TRUE(study->GetSeed().has_value());
    EXPECT_FALSE(study->GetName().empty());
    for (const ResponseEx* response : study->GetResponses().GetResponses()) {
      SCOPED_TRACE(response->GetResponseClass()->GetName());
      if (response->GetCriterion() == Desirability::kNone) continue;
      EXPECT_TRUE(response->CheckLimits());
      EXPECT_TRUE(response->HasValidSettingsForDesirability());
    }
  }
}

TEST(Examples, EachSurvivesJsonAndXmlFilesUnchangedBeforeAndAfterItsDesign) {
  ScratchFolder folder;
  for (const std::string& file : ExampleFiles()) {
    SCOPED_TRACE(file);
    std::unique_ptr<Investigation> study = Investigation::Open(ExamplePath(file));
    for (const bool generated : {false, true}) {
      SCOPED_TRACE(generated ? "with its design and worksheet" : "as written");
      if (generated) {
        study->GenerateDesign(nullptr, nullptr);
        study->MakeWorksheet(std::nullopt);
      }
      const json_value expected = study->ToJson();
      EXPECT_EQ(Investigation::FromJson(expected)->ToJson(), expected);
      // JSON -> XML -> JSON, each step through a file.
      study->Save(folder.File("study.xml"));
      const std::unique_ptr<Investigation> from_xml = Investigation::Open(folder.File("study.xml"));
      EXPECT_EQ(from_xml->ToJson(), expected);
      from_xml->Save(folder.File("study.json"));
      EXPECT_EQ(Investigation::Open(folder.File("study.json"))->ToJson(), expected);
      if (generated) {
        ASSERT_NE(from_xml->GetModelSpec().GetDesign(), nullptr);
        EXPECT_EQ(*from_xml->GetModelSpec().GetDesign(), *study->GetModelSpec().GetDesign());
      }
    }
  }
}

TEST(Examples, EachSurvivesTheOlderIniFormUnchanged) {
  ScratchFolder folder;
  for (const std::string& file : ExampleFiles()) {
    SCOPED_TRACE(file);
    const std::unique_ptr<Investigation> study = Investigation::Open(ExamplePath(file));
    const std::string ini = folder.File("study.ini");
    study->Save(ini);
    const std::unique_ptr<Investigation> from_ini = Investigation::Open(ini);
    EXPECT_EQ(from_ini->ToJson(), study->ToJson());
    from_ini->Save(folder.File("study.json"));
    EXPECT_EQ(Investigation::Open(folder.File("study.json"))->ToJson(), study->ToJson());
  }
}

TEST(Examples, TheSeedOfEachGivesTheSameDesignAndWorksheetAgain) {
  for (const std::string& file : ExampleFiles()) {
    SCOPED_TRACE(file);
    const std::unique_ptr<Investigation> first = Generated(file);
    const std::unique_ptr<Investigation> second = Generated(file);
    EXPECT_EQ(first->GetWorksheet().GetLastSeed(), first->GetSeed());
    EXPECT_EQ(*first->GetModelSpec().GetDesign(), *second->GetModelSpec().GetDesign());
    EXPECT_EQ(first->GetWorksheet().ToText(), second->GetWorksheet().ToText());
  }
}

// Whether the worksheet cell of `factor` in row `position` lies in the factor's range or
// among its settings, allowing for the single precision of the design engine.
bool InRange(const WorksheetInfo& sheet, int position, const FactorClass& factor) {
  const std::string& name = factor.GetName();
  const std::vector<std::string> settings = factor.GetSettings();
  if (factor.IsQualitative()) {
    return std::find(settings.begin(), settings.end(), sheet.GetStringValue(position, name)) !=
           settings.end();
  }
  const double value = sheet.GetFloatValue(position, name);
  const double low = factor.GetLow(true);
  const double high = factor.GetHigh(true);
  const double slack = 1e-5 * std::max(1.0, high - low);
  if (factor.GetType() == CEType::kMultilevel || factor.GetType() == CEType::kTime) {
    return std::any_of(settings.begin(), settings.end(), [&](const std::string& setting) {
      return std::fabs(KtString::ToDouble(setting).value_or(kUndefined) - value) <= slack;
    });
  }
  return value >= low - slack && value <= high + slack;
}

TEST(Examples, EveryRunLiesInTheRegionItsExampleDescribes) {
  for (const std::string& file : ExampleFiles()) {
    SCOPED_TRACE(file);
    const std::unique_ptr<Investigation> study = Generated(file);
    const Variables& variables = study->GetVariables();
    const WorksheetInfo& sheet = study->GetWorksheet();
    const ConstraintsInfo& constraints = study->GetConstraints();
    const NCDesign& design = *study->GetModelSpec().GetDesign();
    ASSERT_EQ(sheet.GetExperimentCount(), design.GetRuns());
    EXPECT_EQ(static_cast<std::size_t>(design.GetBlockCount()), study->GetModelSpec().GetBlocks());
    for (int p = 1; p <= sheet.GetExperimentCount(); ++p) {
      SCOPED_TRACE("run " + std::to_string(p));
      double mixture = 0.0;
      for (const FactorClass* factor : variables.GetAllFactors()) {
        EXPECT_TRUE(InRange(sheet, p, *factor)) << factor->GetName();
        if (factor->IsMixture()) mixture += sheet.GetFloatValue(p, factor->GetName());
      }
      if (variables.IsAnyMixture()) {
        EXPECT_NEAR(mixture, variables.GetMixtureTotal(), 1e-5);
      }
      for (int c = 1; c <= constraints.NumConstraints(); ++c) {
        const ConstraintsInfo::Constraint* constraint = constraints.GetConstraint(c);
        double sum = 0.0;
        for (int v = 1; v <= constraints.NumValues(); ++v) {
          if (constraint->HasValue(v)) {
            sum += constraint->GetValue(v) * sheet.GetFloatValue(p, constraints.ValueName(v));
          }
        }
        const double slack = 1e-5 * std::max(1.0, std::fabs(constraint->GetLimit()));
        if (constraint->GetExcludeType() == ConstraintsInfo::kLess) {
          EXPECT_GE(sum, constraint->GetLimit() - slack) << "constraint " << c;
        } else {
          EXPECT_LE(sum, constraint->GetLimit() + slack) << "constraint " << c;
        }
      }
    }
    // Every forced run is one of the worksheet's rows.
    const NCDataMatrix<float>& forced = study->GetModelSpec().GetInclusions();
    const Factors& factors = study->GetModelSpec().GetFactors().GetFactors();
    for (int r = 0; r < forced.GetRows(); ++r) {
      bool found = false;
      for (int p = 1; p <= sheet.GetExperimentCount() && !found; ++p) {
        found = true;
        for (int c = 0; c < factors.GetCount(); ++c) {
          const double value = sheet.GetFloatValue(p, factors.GetFactor(c).name);
          found = found && std::fabs(value - forced(r, c)) <= 1e-4 * std::max(1.0, value);
        }
      }
      EXPECT_TRUE(found) << "forced run " << r + 1;
    }
  }
}

TEST(Examples, TheJsonOfTheReadmeAndOfTheFormatPageIsSound) {
  const std::string readme =
      JsonBlockAfter(std::string(ZUBRA_SOURCE_DIR) + "/README.md", "First design in five minutes");
  ASSERT_FALSE(readme.empty());
  EXPECT_EQ(ParseJson(readme), ParseJson(ReadAll(ExamplePath("first-design.json"))));

  const std::string page = JsonBlockAfter(
      std::string(ZUBRA_SOURCE_DIR) + "/docs/investigation-format.md", "## A complete example");
  ASSERT_FALSE(page.empty());
  std::unique_ptr<Investigation> study;
  ASSERT_NO_THROW(study = Investigation::FromJson(ParseJson(page)));
  EXPECT_TRUE(study->Check().empty());
  // The example is written as the library writes it, so that it shows every default.
  const json_value complete = ParseJson(page);
  EXPECT_EQ(study->ToJson(), complete);

  // The short form of the same study reads into it, but for the worksheet.
  const std::string short_form = JsonBlockAfter(
      std::string(ZUBRA_SOURCE_DIR) + "/docs/investigation-format.md", "A document you write");
  ASSERT_FALSE(short_form.empty());
  json_value expected = complete;
  expected.erase("worksheet");
  EXPECT_EQ(Investigation::FromJson(ParseJson(short_form))->ToJson(), expected);
}

}  // namespace
}  // namespace zubra
