// Reading the variables of an older settings file with many factors: the work should grow in
// proportion to the number of factors.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "zubra/platform/util/ini_file_section.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

// A settings file with `factors` quantitative process factors and three responses.
std::string SettingsText(int factors) {
  Variables set;
  for (int i = 1; i <= factors; ++i) {
    auto factor = std::make_unique<FactorClass>();
    factor->SetName("Factor " + std::to_string(i));
    // Unique abbreviations of at most five characters: "F" and the number in base 36.
    std::string abbreviation;
    for (int n = i; n > 0; n /= 36) {
      abbreviation.insert(0, 1, "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[n % 36]);
    }
    factor->SetAbbr("F" + abbreviation);
    factor->SetValue(0.0, 100.0 + i, CEType::kQuantitative, true);
    set.Add(std::move(factor), /*skip_check=*/true);
  }
  for (int i = 1; i <= 3; ++i) {
    auto response = std::make_unique<ResponseClass>();
    response->SetName("Response " + std::to_string(i));
    response->SetAbbr("R" + std::to_string(i));
    set.Add(std::move(response), /*skip_check=*/true);
  }
  IniFileSection file;
  set.WriteIniFile(file);
  return file.ToString();
}

// Variables::ReadIniFile on a file already parsed.
void BM_VariablesReadIniFile(benchmark::State& state) {
  const auto file = IniFileSection::LoadString(SettingsText(static_cast<int>(state.range(0))));
  for (auto _ : state) {
    Variables set;
    set.ReadIniFile(*file);
    benchmark::DoNotOptimize(set);
  }
  state.SetComplexityN(state.range(0));
}

// Parsing the text and reading the variables, as opening the file does.
void BM_VariablesParseAndReadIniFile(benchmark::State& state) {
  const std::string text = SettingsText(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const auto file = IniFileSection::LoadString(text);
    Variables set;
    set.ReadIniFile(*file);
    benchmark::DoNotOptimize(set);
  }
  state.SetComplexityN(state.range(0));
}

BENCHMARK(BM_VariablesReadIniFile)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Arg(16000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();
BENCHMARK(BM_VariablesParseAndReadIniFile)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Arg(16000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

}  // namespace
}  // namespace zubra
