// Factor sets and section helpers shared by the model tests.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/util/tinyxml2_section.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra::test_support {

// One factor to add: a name, an abbreviation, and what it is.
struct FactorSpec {
  std::string name;
  std::string abbreviation;
  CEType::EType type = CEType::kQuantitative;
  double low = -1.0;
  double high = 1.0;
  std::vector<std::string> settings = {};  // qualitative, multilevel and time factors
  CEUse::EUse use = CEUse::kControlled;
};

inline Variables MakeSet(const std::vector<FactorSpec>& specs) {
  Variables set;
  for (const FactorSpec& spec : specs) {
    auto factor = std::make_unique<FactorClass>();
    factor->SetName(spec.name);
    factor->SetAbbr(spec.abbreviation);
    if (!spec.settings.empty()) {
      factor->SetSettings(spec.settings, spec.type, spec.use);
    } else if (spec.use == CEUse::kConstant) {
      factor->SetValue(spec.low, spec.type);
    } else {
      factor->SetValue(spec.low, spec.high, spec.type, true);
    }
    EXPECT_EQ(set.Add(std::move(factor)), Variables::kOk) << spec.name;
  }
  return set;
}

// `count` quantitative factors X1, X2, ... abbreviated A, B, ... (then A1, B1, ...).
inline Variables ProcessSet(int count) {
  std::vector<FactorSpec> specs;
  for (int i = 0; i < count; ++i) {
    std::string abbreviation(1, static_cast<char>('A' + i % 26));
    if (i >= 26) abbreviation += std::to_string(i / 26);
    specs.push_back({"X" + std::to_string(i + 1), abbreviation, CEType::kQuantitative, 0.0, 10.0});
  }
  return MakeSet(specs);
}

// Three formulation factors over 0..1 (a full simplex).
inline Variables MixtureSet() {
  return MakeSet({{"Water", "W", CEType::kFormulation, 0.0, 1.0},
                  {"Oil", "O", CEType::kFormulation, 0.0, 1.0},
                  {"Soap", "S", CEType::kFormulation, 0.0, 1.0}});
}

// Two process factors and three formulation factors.
inline Variables MixedSet() {
  return MakeSet({{"Temp", "T", CEType::kQuantitative, 20.0, 80.0},
                  {"Time", "Ti", CEType::kQuantitative, 1.0, 5.0},
                  {"Water", "W", CEType::kFormulation, 0.0, 1.0},
                  {"Oil", "O", CEType::kFormulation, 0.0, 1.0},
                  {"Soap", "S", CEType::kFormulation, 0.0, 1.0}});
}

inline std::shared_ptr<ConfigurationSection> NewSection() {
  return std::make_shared<TinyXML2Section>();
}

// The section printed as XML and parsed again, as a file would give it back.
inline std::shared_ptr<ConfigurationSection> Reloaded(const ConfigurationSection& section) {
  return TinyXML2Section::LoadString(static_cast<const TinyXML2Section&>(section).ToString());
}

}  // namespace zubra::test_support
