// Loading a worksheet from its text and JSON forms: 1 000 to 100 000 experiments of six factors
// (one qualitative) and three responses, every cell filled.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>

#include "zubra/platform/util/json.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"
#include "zubra/worksheet/worksheet_info.h"

namespace zubra {
namespace {

// Five quantitative factors X1..X5, the qualitative Catalyst and the responses Y1..Y3.
Variables MakeVariables() {
  Variables set;
  for (int i = 1; i <= 5; ++i) {
    auto factor = std::make_unique<FactorClass>();
    factor->SetName("X" + std::to_string(i));
    factor->SetAbbr("X" + std::to_string(i));
    factor->SetValue(0.0, 100.0, CEType::kQuantitative, true);
    set.Add(std::move(factor));
  }
  auto catalyst = std::make_unique<FactorClass>();
  catalyst->SetName("Catalyst");
  catalyst->SetAbbr("Cat");
  catalyst->SetSettings({"Pd", "Pt", "Ni"}, CEType::kQualitative, CEUse::kControlled);
  set.Add(std::move(catalyst));
  for (int i = 1; i <= 3; ++i) {
    auto response = std::make_unique<ResponseClass>();
    response->SetName("Y" + std::to_string(i));
    response->SetAbbr("Y" + std::to_string(i));
    set.Add(std::move(response));
  }
  return set;
}

const Variables& TheVariables() {
  static const Variables kSet = MakeVariables();
  return kSet;
}

// A worksheet of `rows` experiments with run orders and every cell set.
WorksheetInfo Sheet(int rows) {
  WorksheetInfo sheet(&TheVariables());
  const char* const settings[] = {"Pd", "Pt", "Ni"};
  for (int p = 1; p <= rows; ++p) {
    Experiment* experiment = sheet.AddExperiment();
    experiment->SetRunOrder(p);
    for (int cell = 1; cell <= 5; ++cell)
      experiment->SetValue(cell, (p * 7 + cell * 13) % 100 + 0.25);
    experiment->SetValue(6, settings[p % 3]);
    for (int cell = 7; cell <= 9; ++cell) experiment->SetValue(cell, p / 3.0 + cell);
  }
  return sheet;
}

void FromText(benchmark::State& state) {
  const auto rows = static_cast<int>(state.range(0));
  const std::string text = Sheet(rows).ToText();
  for (auto _ : state) {
    WorksheetInfo sheet(&TheVariables());
    const bool read = sheet.FromText(text);
    benchmark::DoNotOptimize(read);
    if (!read || sheet.GetExperimentCount() != rows) state.SkipWithError("not read");
  }
  state.SetItemsProcessed(state.iterations() * rows);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

// The document is parsed once; only WorksheetInfo::FromJson is measured.
void FromJson(benchmark::State& state) {
  const auto rows = static_cast<int>(state.range(0));
  const json_value json = Sheet(rows).ToJson();
  for (auto _ : state) {
    WorksheetInfo sheet(&TheVariables());
    sheet.FromJson(json);
    if (sheet.GetExperimentCount() != rows) state.SkipWithError("not read");
  }
  state.SetItemsProcessed(state.iterations() * rows);
}

BENCHMARK(FromText)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(FromJson)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zubra
