#include <gtest/gtest.h>
#include <stdlib.h>  // setenv, unsetenv

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "zubra/platform/base/general_settings.h"
#include "zubra/platform/base/global_options.h"
#include "zubra/platform/base/investigation_access.h"
#include "zubra/platform/base/list_options.h"
#include "zubra/platform/base/undefined.h"

namespace zubra {
namespace {

TEST(GeneralSettings, ReplicateToleranceAcceptsOnlyZeroToPointTwo) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<std::pair<double, bool>> rows = {
      {0.0, true},     {0.2, true},  {0.1, true},  {0.2000001, false},
      {-1e-12, false}, {nan, false}, {inf, false},
  };
  GeneralSettings& settings = GeneralSettings::Instance();
  for (const auto& [tolerance, accepted] : rows) {
    SCOPED_TRACE(tolerance);
    settings.Reset();
    EXPECT_EQ(settings.GetReplicateTolerance(), GeneralSettings::kDefaultReplicateTolerance);
    ASSERT_TRUE(settings.SetReplicateTolerance(0.15));
    EXPECT_EQ(settings.SetReplicateTolerance(tolerance), accepted);
    EXPECT_EQ(settings.GetReplicateTolerance(), accepted ? tolerance : 0.15);
  }
  settings.Reset();
}

// Sets ZUBRA_FIXED_SEED to `value`, or removes it for nullptr.
void SetSeedVariable(const char* value) {
  const char* name = GlobalOptions::kFixedSeedVariable;
  value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}

TEST(GlobalOptions, FixedSeedFollowsSetterAndEnvironmentOnRefreshAndReset) {
  struct Row {
    const char* variable;                     // nullptr: not set
    bool before, after_refresh, after_reset;  // the switch set before, then as read
  };
  const std::vector<Row> rows = {
      {"1", false, true, true},   {"On", false, true, true},    {"0", true, false, false},
      {"No", true, false, false}, {"maybe", true, true, false}, {"2", false, false, false},
      {"", true, true, false},    {nullptr, true, true, false},
  };
  const char* old = std::getenv(GlobalOptions::kFixedSeedVariable);
  const std::optional<std::string> saved = old ? std::optional<std::string>(old) : std::nullopt;
  GlobalOptions& options = GlobalOptions::Instance();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.variable ? row.variable : "(absent)");
    SetSeedVariable(row.variable);
    options.SetFixedSeedForValidation(row.before);
    // Without refresh the environment is not consulted.
    EXPECT_EQ(options.FixedSeedForValidation(false), row.before);
    EXPECT_EQ(options.FixedSeedForValidation(true), row.after_refresh);
    EXPECT_EQ(options.FixedSeedForValidation(false), row.after_refresh);
    options.SetFixedSeedForValidation(true);
    options.Reset();
    EXPECT_EQ(options.FixedSeedForValidation(false), row.after_reset);
  }
  SetSeedVariable(saved ? saved->c_str() : nullptr);
  options.Reset();
}

TEST(ListOptions, SetColorChangesOnlyItsEntryAndRefusesNonRgbColoursAndUnknownEntries) {
  using Entry = ListOptions::Entry;
  // Every entry turned black, then colours and entries that are refused.
  std::vector<std::tuple<Entry, std::uint32_t, bool>> rows;
  for (Entry entry : ListOptions::kAllEntries) rows.emplace_back(entry, 0x000000, true);
  const Entry filler = Entry::kFillerValue;
  rows.insert(rows.end(), {{filler, 0xFFFFFF, true},
                           {filler, 0x01000000, false},
                           {filler, 0xFFFFFFFF, false},
                           {static_cast<Entry>(ListOptions::kEntryCount), 0x123456, false},
                           {static_cast<Entry>(-1), 0x123456, false}});
  ListOptions& options = ListOptions::Instance();
  for (const auto& [target, color, accepted] : rows) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(target) << " " << color);
    options.Reset();
    EXPECT_EQ(options.SetColor(target, color), accepted);
    for (Entry entry : ListOptions::kAllEntries) {
      const bool changed = accepted && entry == target;
      EXPECT_EQ(options.GetColor(entry), changed ? color : ListOptions::GetDefaultColor(entry));
    }
  }
  options.Reset();
}

// Answers `minimum` for every factor, so that a test can tell installed services apart.
class FakeAccess : public InvestigationAccess {
 public:
  explicit FakeAccess(double minimum) : minimum_(minimum) {}
  double GetMin(std::string_view) const override { return minimum_; }
  double GetCenter(std::string_view) const override { return kUndefined; }
  double GetMax(std::string_view) const override { return kUndefined; }
  std::vector<std::string> GetIncludedSettings(std::string_view) const override { return {}; }

 private:
  double minimum_;
};

TEST(InvestigationAccess, InstallSharesOwnershipAndScopedGuardsRestoreTheOuterService) {
  InvestigationAccess::Reset();
  EXPECT_EQ(InvestigationAccess::Instance(), nullptr);
  auto fake = std::make_shared<FakeAccess>(10.0);
  const std::weak_ptr<FakeAccess> watch = fake;
  InvestigationAccess::Install(std::move(fake));
  // The installation alone keeps the service alive, until replaced or reset.
  ASSERT_NE(InvestigationAccess::Instance(), nullptr);
  EXPECT_EQ(InvestigationAccess::Instance()->GetMin("Temp"), 10.0);
  {
    ScopedInvestigationAccess outer(std::make_shared<FakeAccess>(110.0));
    EXPECT_FALSE(watch.expired());  // the guard holds the service it replaced
    {
      ScopedInvestigationAccess none(nullptr);
      EXPECT_EQ(InvestigationAccess::Instance(), nullptr);
    }
    EXPECT_EQ(InvestigationAccess::Instance()->GetMin("Temp"), 110.0);
  }
  EXPECT_EQ(InvestigationAccess::Instance()->GetMin("Temp"), 10.0);
  InvestigationAccess::Install(std::make_shared<FakeAccess>(20.0));
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(InvestigationAccess::Instance()->GetMin("Temp"), 20.0);
  InvestigationAccess::Reset();
  EXPECT_EQ(InvestigationAccess::Instance(), nullptr);
}

}  // namespace
}  // namespace zubra
