#include <gtest/gtest.h>
#include <stdlib.h>  // setenv, unsetenv

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "zubra/platform/base/general_settings.h"
#include "zubra/platform/base/global_options.h"
#include "zubra/platform/base/list_options.h"

namespace zubra {
namespace {

TEST(GeneralSettings, ReplicateToleranceAcceptsOnlyZeroToPointTwo) {
  struct Row {
    const char* name;
    double tolerance;
    bool accepted;
  };
  const std::vector<Row> rows = {
      {"zero", 0.0, true},
      {"upper end", 0.2, true},
      {"inside", 0.1, true},
      {"just above", 0.2000001, false},
      {"negative", -1e-12, false},
      {"NaN", std::numeric_limits<double>::quiet_NaN(), false},
      {"infinity", std::numeric_limits<double>::infinity(), false},
  };
  GeneralSettings& settings = GeneralSettings::Instance();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    settings.Reset();
    ASSERT_TRUE(settings.SetReplicateTolerance(0.15));
    EXPECT_EQ(settings.SetReplicateTolerance(row.tolerance), row.accepted);
    EXPECT_EQ(settings.GetReplicateTolerance(), row.accepted ? row.tolerance : 0.15);
  }
  settings.Reset();
  EXPECT_EQ(settings.GetReplicateTolerance(), GeneralSettings::kDefaultReplicateTolerance);
}

// Sets or clears ZUBRA_FIXED_SEED for one scope and restores the earlier value after it.
class ScopedSeedVariable {
 public:
  explicit ScopedSeedVariable(const char* value) {
    if (const char* old = std::getenv(GlobalOptions::kFixedSeedVariable)) old_ = old;
    Apply(value);
  }
  ~ScopedSeedVariable() { Apply(old_ ? old_->c_str() : nullptr); }
  ScopedSeedVariable(const ScopedSeedVariable&) = delete;
  ScopedSeedVariable& operator=(const ScopedSeedVariable&) = delete;

 private:
  static void Apply(const char* value) {
    if (value == nullptr) {
      unsetenv(GlobalOptions::kFixedSeedVariable);
    } else {
      setenv(GlobalOptions::kFixedSeedVariable, value, 1);
    }
  }
  std::optional<std::string> old_;
};

TEST(GlobalOptions, FixedSeedFollowsSetterAndEnvironmentOnRefreshOnly) {
  struct Row {
    const char* name;
    const char* variable;  // nullptr: not set
    bool before;           // switch set before the refresh
    bool after_refresh;
  };
  const std::vector<Row> rows = {
      {"1 turns on", "1", false, true},
      {"On in mixed case turns on", "On", false, true},
      {"0 turns off", "0", true, false},
      {"No turns off", "No", true, false},
      {"unrecognised keeps on", "maybe", true, true},
      {"unrecognised keeps off", "2", false, false},
      {"empty keeps on", "", true, true},
      {"absent keeps on", nullptr, true, true},
  };
  GlobalOptions& options = GlobalOptions::Instance();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScopedSeedVariable variable(row.variable);
    options.SetFixedSeedForValidation(row.before);
    // Without refresh the environment is not consulted.
    EXPECT_EQ(options.FixedSeedForValidation(false), row.before);
    EXPECT_EQ(options.FixedSeedForValidation(true), row.after_refresh);
    EXPECT_EQ(options.FixedSeedForValidation(false), row.after_refresh);
  }
  {
    ScopedSeedVariable variable(nullptr);
    options.SetFixedSeedForValidation(true);
    options.Reset();
    EXPECT_FALSE(options.FixedSeedForValidation(false));
  }
  {
    ScopedSeedVariable variable("yes");
    options.Reset();
    EXPECT_TRUE(options.FixedSeedForValidation(false));
  }
  ScopedSeedVariable variable(nullptr);
  options.Reset();
}

TEST(ListOptions, EachEntryKeepsItsOwnColourUntilReset) {
  ListOptions& options = ListOptions::Instance();
  options.Reset();
  // Give every entry a distinct colour, then check that no entry shares storage with another.
  for (std::size_t i = 0; i < ListOptions::kEntryCount; ++i) {
    EXPECT_LE(ListOptions::GetDefaultColor(ListOptions::kAllEntries[i]), ListOptions::kMaxColor);
    EXPECT_TRUE(options.SetColor(ListOptions::kAllEntries[i], 0x010203 * (i + 1)));
  }
  for (std::size_t i = 0; i < ListOptions::kEntryCount; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(options.GetColor(ListOptions::kAllEntries[i]), 0x010203 * (i + 1));
  }
  options.Reset();
  for (ListOptions::Entry entry : ListOptions::kAllEntries) {
    EXPECT_EQ(options.GetColor(entry), ListOptions::GetDefaultColor(entry));
  }
  // Factor kinds must be told apart in a list.
  EXPECT_NE(ListOptions::GetDefaultColor(ListOptions::Entry::kProcessFactor),
            ListOptions::GetDefaultColor(ListOptions::Entry::kFormulationFactor));
  EXPECT_NE(ListOptions::GetDefaultColor(ListOptions::Entry::kFormulationFactor),
            ListOptions::GetDefaultColor(ListOptions::Entry::kFillerFactor));
}

TEST(ListOptions, RefusesColoursAboveRgbAndUnknownEntries) {
  struct Row {
    const char* name;
    ListOptions::Entry entry;
    std::uint32_t color;
    bool accepted;
  };
  const auto kUnknown = static_cast<ListOptions::Entry>(ListOptions::kEntryCount);
  const std::vector<Row> rows = {
      {"white", ListOptions::Entry::kFillerValue, 0xFFFFFF, true},
      {"black", ListOptions::Entry::kFillerValue, 0x000000, true},
      {"alpha byte set", ListOptions::Entry::kFillerValue, 0x01000000, false},
      {"all bits", ListOptions::Entry::kFillerValue, 0xFFFFFFFF, false},
      {"entry past the end", kUnknown, 0x123456, false},
      {"negative entry", static_cast<ListOptions::Entry>(-1), 0x123456, false},
  };
  ListOptions& options = ListOptions::Instance();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    options.Reset();
    EXPECT_EQ(options.SetColor(row.entry, row.color), row.accepted);
    for (ListOptions::Entry entry : ListOptions::kAllEntries) {
      const bool changed = row.accepted && entry == row.entry;
      EXPECT_EQ(options.GetColor(entry), changed ? row.color : ListOptions::GetDefaultColor(entry));
    }
  }
  options.Reset();
}

}  // namespace
}  // namespace zubra
