// How long each reader takes to answer the hostile inputs of the regression test (megabyte
// lines, deep nesting, huge numbers, a factor with 10 000 settings, a worksheet of 100 000
// rows, ...): each must be answered within a second.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "tests/investigation/hostile_inputs.h"

int main(int argc, char** argv) {
  static const std::vector<zubra::test_support::HostileInput> inputs =
      zubra::test_support::HostileInputs();
  for (const zubra::test_support::HostileInput& input : inputs) {
    benchmark::RegisterBenchmark(input.name.c_str(), [&input](benchmark::State& state) {
      for (auto _ : state) benchmark::DoNotOptimize(zubra::test_support::Answer(input));
    })->Unit(benchmark::kMillisecond);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
