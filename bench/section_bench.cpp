// Save and load of an investigation-sized section tree (100 sections, 2000 keys) through
// both backends, in memory and through a file.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>

#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

constexpr int kChildren = 100;
constexpr int kKeysPerChild = 20;

// Fills `root` with kChildren sections of kKeysPerChild keys: numbers, words, lists.
void Fill(ConfigurationSection& root) {
  for (int c = 0; c < kChildren; ++c) {
    ConfigurationSection& child =
        c % 2 == 0 ? root.CreateChild("Factor " + std::to_string(c)) : root.CreateChild("Term", c);
    for (int k = 0; k < kKeysPerChild; ++k) {
      const std::string key = "Key" + std::to_string(k);
      switch (k % 4) {
        case 0:
          child.WriteDouble(key, 1.0 / (c + k + 3));
          break;
        case 1:
          child.WriteInt(key, c * 1000 + k);
          break;
        case 2:
          child.SetValue(key, "Temperature of the reactor");
          break;
        default:
          child.SetValue(key, "a,b,c <d> & \"e\"");
      }
    }
  }
}

std::string ScratchFile(const char* name) {
  std::string folder = (std::filesystem::temp_directory_path() / "zubra_bench_XXXXXX");
  if (::mkdtemp(folder.data()) == nullptr) return {};
  return folder + "/" + name;
}

template <typename Section>
void PrintAndParse(benchmark::State& state) {
  Section root;
  Fill(root);
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::string text = root.ToString();
    auto loaded = Section::LoadString(text);
    benchmark::DoNotOptimize(loaded);
    bytes += text.size();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

template <typename Section>
void SaveAndLoadFile(benchmark::State& state) {
  Section root;
  Fill(root);
  const std::string path = ScratchFile("bench.section");
  if (path.empty()) {
    state.SkipWithError("no scratch folder");
    return;
  }
  for (auto _ : state) {
    root.SaveFile(path);
    auto loaded = Section::LoadFile(path);
    benchmark::DoNotOptimize(loaded);
  }
  std::error_code ignored;
  std::filesystem::remove_all(std::filesystem::path(path).parent_path(), ignored);
}

void BM_XmlPrintAndParse(benchmark::State& state) { PrintAndParse<TinyXML2Section>(state); }
void BM_IniPrintAndParse(benchmark::State& state) { PrintAndParse<IniFileSection>(state); }
void BM_XmlSaveAndLoadFile(benchmark::State& state) { SaveAndLoadFile<TinyXML2Section>(state); }
void BM_IniSaveAndLoadFile(benchmark::State& state) { SaveAndLoadFile<IniFileSection>(state); }

BENCHMARK(BM_XmlPrintAndParse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IniPrintAndParse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_XmlSaveAndLoadFile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IniSaveAndLoadFile)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zubra
