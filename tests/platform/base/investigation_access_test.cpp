#include "zubra/platform/base/investigation_access.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/base/undefined.h"

namespace zubra {
namespace {

// Answers for one factor, "Temp", and kUndefined for every other name.
class FakeAccess : public InvestigationAccess {
 public:
  explicit FakeAccess(double offset) : offset_(offset) {}
  double GetMin(std::string_view name) const override { return Known(name, 10.0); }
  double GetCenter(std::string_view name) const override { return Known(name, 15.0); }
  double GetMax(std::string_view name) const override { return Known(name, 20.0); }
  std::vector<std::string> GetIncludedSettings(std::string_view name) const override {
    if (name != "Catalyst") return {};
    return {"A", "C"};
  }

 private:
  double Known(std::string_view name, double value) const {
    return name == "Temp" ? value + offset_ : kUndefined;
  }
  double offset_;
};

TEST(InvestigationAccess, InstallAndResetControlWhatInstanceAnswers) {
  InvestigationAccess::Reset();
  EXPECT_EQ(InvestigationAccess::Instance(), nullptr);

  auto fake = std::make_shared<FakeAccess>(0.0);
  std::weak_ptr<FakeAccess> watch = fake;
  InvestigationAccess::Install(std::move(fake));
  // The installed service is kept alive by the installation alone.
  ASSERT_FALSE(watch.expired());
  InvestigationAccess* access = InvestigationAccess::Instance();
  ASSERT_NE(access, nullptr);
  EXPECT_EQ(access->GetMin("Temp"), 10.0);
  EXPECT_EQ(access->GetMax("Temp"), 20.0);
  EXPECT_TRUE(IsUndefined(access->GetCenter("Pressure")));
  EXPECT_EQ(access->GetIncludedSettings("Catalyst"), (std::vector<std::string>{"A", "C"}));

  InvestigationAccess::Reset();
  EXPECT_EQ(InvestigationAccess::Instance(), nullptr);
  EXPECT_TRUE(watch.expired());

  InvestigationAccess::Install(std::make_shared<FakeAccess>(0.0));
  InvestigationAccess::Install(nullptr);
  EXPECT_EQ(InvestigationAccess::Instance(), nullptr);
}

TEST(ScopedInvestigationAccess, NestedGuardsRestoreTheOuterServiceInOrder) {
  InvestigationAccess::Reset();
  {
    ScopedInvestigationAccess outer(std::make_shared<FakeAccess>(0.0));
    EXPECT_EQ(InvestigationAccess::Instance()->GetMin("Temp"), 10.0);
    {
      ScopedInvestigationAccess inner(std::make_shared<FakeAccess>(100.0));
      EXPECT_EQ(InvestigationAccess::Instance()->GetMin("Temp"), 110.0);
      {
        ScopedInvestigationAccess none(nullptr);
        EXPECT_EQ(InvestigationAccess::Instance(), nullptr);
      }
      EXPECT_EQ(InvestigationAccess::Instance()->GetMin("Temp"), 110.0);
    }
    ASSERT_NE(InvestigationAccess::Instance(), nullptr);
    EXPECT_EQ(InvestigationAccess::Instance()->GetMin("Temp"), 10.0);
  }
  EXPECT_EQ(InvestigationAccess::Instance(), nullptr);
}

}  // namespace
}  // namespace zubra
