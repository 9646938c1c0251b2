#include "apps/cli/generation_monitor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>

#include "zubra/investigation/investigation.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"

namespace zubra::cli {
namespace {

using std::chrono::milliseconds;

// A D-optimal response-surface design in 18 factors: its search runs for many seconds, so
// that only a cancellation ends it soon.
std::unique_ptr<Investigation> LongSearch() {
  json_value study = ParseJson(R"({"format": "zubra-investigation", "version": 1,
    "factors": [], "responses": [],
    "design": {"objective": "RSM", "type": "DOptimal"}})");
  for (int i = 1; i <= 18; ++i) {
    const std::string name = "F" + std::to_string(i);
    study["factors"].push_back(
        {{"name", name}, {"abbreviation", name}, {"type", "quantitative"}, {"settings", {0, 1}}});
  }
  return Investigation::FromJson(study);
}

TEST(GenerationMonitor, AnInterruptCancelsALongOptimalSearchAndLeavesNoDesign) {
  const std::unique_ptr<Investigation> study = LongSearch();
  ASSERT_TRUE(study->Check().empty());
  std::atomic<int> looks{0};
  GenerationMonitor::Options options;
  options.tick = milliseconds(5);
  options.interrupted = [&looks] { return ++looks > 3; };  // Ctrl-C after a few ticks
  GenerationMonitor monitor(std::move(options));
  EXPECT_THROW(study->GenerateDesign(monitor.CancelFlag(), monitor.ProgressCallback()),
               CancelException);
  EXPECT_TRUE(*monitor.CancelFlag());
  EXPECT_FALSE(study->GetModelSpec().IsDesignGenerated());
  EXPECT_EQ(study->GetModelSpec().GetDesign(), nullptr);
}

TEST(GenerationMonitor, WithoutAnInterruptTheFlagStaysDownAndTheDesignIsMade) {
  const std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(R"({
    "factors": [{"name": "A", "abbreviation": "A", "type": "quantitative", "settings": [0, 1]},
                {"name": "B", "abbreviation": "B", "type": "quantitative", "settings": [0, 1]}],
    "design": {"objective": "RSM", "type": "DOptimal"}})"));
  GenerationMonitor::Options options;
  options.tick = milliseconds(1);
  options.interrupted = [] { return false; };
  GenerationMonitor monitor(std::move(options));
  study->GenerateDesign(monitor.CancelFlag(), monitor.ProgressCallback());
  monitor.Stop();
  EXPECT_FALSE(*monitor.CancelFlag());
  EXPECT_TRUE(study->GetModelSpec().IsDesignGenerated());
}

TEST(GenerationMonitor, TheBarShowsTheFinishedStartsOrAWheelWhileTheirNumberIsUnknown) {
  struct Row {
    int done;
    int total;
    int elapsed_ms;
    const char* bar;
  };
  const Row rows[] = {
      {0, 4, 0, "Generating the design [........................] 0/4 starts, 0 s"},
      {1, 4, 1999, "Generating the design [######..................] 1/4 starts, 1 s"},
      {4, 4, 61000, "Generating the design [########################] 4/4 starts, 61 s"},
      {9, 4, 0, "Generating the design [########################] 4/4 starts, 0 s"},
      {-1, 3, 0, "Generating the design [........................] 0/3 starts, 0 s"},
      {0, 0, 0, "Generating the design | 0 s"},
      {0, 0, 1250, "Generating the design / 1 s"},
      {2, 0, 3800, "Generating the design \\ 3 s"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.bar);
    EXPECT_EQ(GenerationMonitor::RenderBar(row.done, row.total, milliseconds(row.elapsed_ms)),
              row.bar);
  }
}

volatile std::sig_atomic_t g_outer_calls = 0;
extern "C" void CountOuter(int /*signal*/) { g_outer_calls = g_outer_calls + 1; }

TEST(InterruptScope, SigintSetsTheFlagInsteadOfEndingTheProcessAndTheOldHandlerComesBack) {
  auto* const before = std::signal(SIGINT, CountOuter);
  InterruptScope::Reset();
  {
    const InterruptScope scope;
    EXPECT_FALSE(InterruptScope::Requested());
    std::raise(SIGINT);
    EXPECT_TRUE(InterruptScope::Requested());
    EXPECT_EQ(g_outer_calls, 0);
  }
  InterruptScope::Reset();
  std::raise(SIGINT);
  EXPECT_EQ(g_outer_calls, 1);
  EXPECT_FALSE(InterruptScope::Requested());
  std::signal(SIGINT, before);
}

}  // namespace
}  // namespace zubra::cli
