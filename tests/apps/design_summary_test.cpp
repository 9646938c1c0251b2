#include "apps/cli/design_summary.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "zubra/investigation/investigation.h"
#include "zubra/platform/util/json.h"

namespace zubra::cli {
namespace {

// A 2^3 full factorial with three centre points for the linear model, or the 2^2 factorial
// without centre points for a model with a square, which it cannot estimate.
std::unique_ptr<Investigation> Generated(const char* json) {
  std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(json));
  study->GenerateDesign(nullptr, nullptr);
  return study;
}

constexpr const char* kFactorial = R"({
  "factors": [{"name": "A", "abbreviation": "A", "type": "quantitative", "settings": [0, 1]},
              {"name": "B", "abbreviation": "B", "type": "quantitative", "settings": [0, 1]},
              {"name": "C", "abbreviation": "C", "type": "quantitative", "settings": [0, 1]}],
  "design": {"objective": "Screening", "type": "FullFactorial", "centerPoints": 3}})";

constexpr const char* kSingular = R"({
  "factors": [{"name": "A", "abbreviation": "A", "type": "quantitative", "settings": [0, 1]},
              {"name": "B", "abbreviation": "B", "type": "quantitative", "settings": [0, 1]}],
  "design": {"objective": "Screening", "type": "FullFactorial", "centerPoints": 0,
             "terms": ["Constant", "A", "B", "A*A"]}})";

struct Expected {
  const char* label;
  const char* text;
  bool numeric;
  const char* note;
};

void ExpectItems(const std::vector<SummaryItem>& items, const std::vector<Expected>& expected) {
  ASSERT_EQ(items.size(), expected.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    SCOPED_TRACE(expected[i].label);
    EXPECT_EQ(items[i].label, expected[i].label);
    EXPECT_EQ(items[i].text, expected[i].text);
    EXPECT_EQ(items[i].number.has_value(), expected[i].numeric);
    EXPECT_EQ(items[i].note, expected[i].note);
  }
}

TEST(SummarizeDesign, AFactorialWithCentrePointsGivesItsCountsAndStatistics) {
  const std::unique_ptr<Investigation> study = Generated(kFactorial);
  // X'X = diag(11, 8, 8, 8): D = 100 (11 * 8^3)^(1/4) / 11; the corners have the largest
  // leverage 1/11 + 3/8, so G = 100 (4/11) / (1/11 + 3/8); the condition number is
  // sqrt(11/8); every VIF is 1 (the first term holds the largest).
  ExpectItems(SummarizeDesign(*study, 77U), {{"Design", "FullFactorial", false, ""},
                                             {"Objective", "Screening", false, ""},
                                             {"Runs", "11", true, ""},
                                             {"Centre points", "3", true, ""},
                                             {"Blocks", "1", true, ""},
                                             {"Model terms", "4", true, ""},
                                             {"Terms", "Constant, A, B, C", false, ""},
                                             {"D-efficiency (%)", "78.75", true, ""},
                                             {"G-efficiency (%)", "78.05", true, ""},
                                             {"Condition number", "1.173", true, ""},
                                             {"Largest VIF", "1", true, "A"},
                                             {"Seed", "77", true, ""}});
}

TEST(SummarizeDesign, ASingularDesignHasNoConditionNumberOrVif) {
  const std::unique_ptr<Investigation> study = Generated(kSingular);
  const std::vector<SummaryItem> items = SummarizeDesign(*study, std::nullopt);
  ASSERT_EQ(items.size(), 11U);  // no seed
  ExpectItems({items.begin() + 7, items.end()}, {{"D-efficiency (%)", "0", true, ""},
                                                 {"G-efficiency (%)", "0", true, ""},
                                                 {"Condition number", "--", false, ""},
                                                 {"Largest VIF", "--", false, ""}});
}

TEST(SummarizeDesign, NothingIsSaidBeforeADesignIsGenerated) {
  const std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(kFactorial));
  EXPECT_TRUE(SummarizeDesign(*study, 1U).empty());
}

TEST(FormatSummary, LabelsAreAlignedAndNotesFollowInParentheses) {
  const std::vector<SummaryItem> items = {{"Design", "CentralComposite", std::nullopt, "CCF"},
                                          {"Runs", "11", 11.0, ""},
                                          {"Largest VIF", "1.5", 1.5, "T*T"}};
  EXPECT_EQ(FormatSummary(items),
            "Design      : CentralComposite (CCF)\n"
            "Runs        : 11\n"
            "Largest VIF : 1.5 (T*T)\n");
}

}  // namespace
}  // namespace zubra::cli
