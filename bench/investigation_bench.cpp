// Investigations: the main job on each bundled example (open, generate the design, make the
// worksheet, save), and opening and saving a large investigation in JSON and XML against a
// plain parse and print of the same JSON document.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "zubra/investigation/investigation.h"
#include "zubra/platform/util/json.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

constexpr int kLargeFactors = 30;
constexpr int kLargeResponses = 3;
constexpr int kLargeRows = 10000;

// A folder of its own under the system's temporary folder, removed at exit.
class ScratchFolder {
 public:
  ScratchFolder() : path_(std::filesystem::temp_directory_path() / "zubra_bench_XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no scratch folder");
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  [[nodiscard]] std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

const ScratchFolder& Scratch() {
  static const ScratchFolder folder;
  return folder;
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteAll(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// --- The bundled examples. --------------------------------------------------------------------

void BM_OpenDesignSave(benchmark::State& state, const std::string& path) {
  const std::string out = Scratch().File("example.xml");
  for (auto _ : state) {
    std::unique_ptr<Investigation> study = Investigation::Open(path);
    study->GenerateDesign(nullptr, nullptr);
    study->MakeWorksheet(std::nullopt);
    study->Save(out);
  }
}

// --- A large investigation. -------------------------------------------------------------------

// The JSON text of an investigation of 30 quantitative factors and 3 responses whose worksheet
// holds 10 000 experiments, every cell filled with a value of the precision a lab records.
std::string LargeDocument() {
  json_value document = json_value::object();
  document["format"] = "zubra-investigation";
  document["version"] = 1;
  document["name"] = "Large worksheet";
  json_value factors = json_value::array();
  json_value columns = json_value::array({"ExpNo", "ExpName", "RunOrder", "InOut"});
  for (int f = 1; f <= kLargeFactors; ++f) {
    const std::string name = "Factor " + std::to_string(f);
    factors.push_back({{"name", name},
                       {"abbreviation", "F" + std::to_string(f)},
                       {"unit", "mg/L"},
                       {"type", "quantitative"},
                       {"settings", {10.0, 10.0 + 5.0 * f}}});
    columns.push_back(name);
  }
  json_value responses = json_value::array();
  for (int r = 1; r <= kLargeResponses; ++r) {
    const std::string name = "Response " + std::to_string(r);
    responses.push_back({{"name", name}, {"abbreviation", "R" + std::to_string(r)}});
    columns.push_back(name);
  }
  std::mt19937 generator(12345U);
  std::uniform_int_distribution<int> thousandths(0, 100000);
  json_value rows = json_value::array();
  for (int e = 1; e <= kLargeRows; ++e) {
    json_value row = json_value::array({e, "N" + std::to_string(e), e, "In"});
    for (int c = 0; c < kLargeFactors + kLargeResponses; ++c) {
      row.push_back(thousandths(generator) / 1000.0);
    }
    rows.push_back(std::move(row));
  }
  document["factors"] = std::move(factors);
  document["responses"] = std::move(responses);
  document["design"] = {{"objective", "Screening"}, {"type", "PlackettBurman"}};
  document["worksheet"] = {{"columns", std::move(columns)}, {"rows", std::move(rows)}};
  // The text as the library writes it, so that every benchmark below handles the same bytes.
  return DumpJson(Investigation::FromJson(document)->ToJson(), 2) + "\n";
}

// The large investigation saved once as JSON and as XML; returns the JSON file.
const std::string& LargeFiles() {
  static const std::string json_path = [] {
    const std::string path = Scratch().File("large.json");
    WriteAll(path, LargeDocument());
    Investigation::Open(path)->Save(Scratch().File("large.xml"));
    return path;
  }();
  return json_path;
}

void SetBytes(benchmark::State& state, const std::string& path) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

// The yardstick: read the JSON file and parse it into a JSON value.
void BM_LargeJsonParse(benchmark::State& state) {
  const std::string& path = LargeFiles();
  for (auto _ : state) benchmark::DoNotOptimize(ParseJson(ReadAll(path)));
  SetBytes(state, path);
}
BENCHMARK(BM_LargeJsonParse)->Unit(benchmark::kMillisecond);

// The yardstick of saving: print the parsed document and write the file.
void BM_LargeJsonPrint(benchmark::State& state) {
  const json_value document = ParseJson(ReadAll(LargeFiles()));
  const std::string out = Scratch().File("printed.json");
  for (auto _ : state) WriteAll(out, DumpJson(document, 2) + "\n");
  SetBytes(state, out);
}
BENCHMARK(BM_LargeJsonPrint)->Unit(benchmark::kMillisecond);

void BM_LargeJsonOpen(benchmark::State& state) {
  const std::string& path = LargeFiles();
  for (auto _ : state) benchmark::DoNotOptimize(Investigation::Open(path));
  SetBytes(state, path);
}
BENCHMARK(BM_LargeJsonOpen)->Unit(benchmark::kMillisecond);

void BM_LargeJsonSave(benchmark::State& state) {
  const std::unique_ptr<Investigation> study = Investigation::Open(LargeFiles());
  const std::string out = Scratch().File("saved.json");
  for (auto _ : state) study->Save(out);
  SetBytes(state, out);
}
BENCHMARK(BM_LargeJsonSave)->Unit(benchmark::kMillisecond);

void BM_LargeXmlOpen(benchmark::State& state) {
  LargeFiles();
  const std::string path = Scratch().File("large.xml");
  for (auto _ : state) benchmark::DoNotOptimize(Investigation::Open(path));
  SetBytes(state, path);
}
BENCHMARK(BM_LargeXmlOpen)->Unit(benchmark::kMillisecond);

void BM_LargeXmlSave(benchmark::State& state) {
  const std::unique_ptr<Investigation> study = Investigation::Open(LargeFiles());
  const std::string out = Scratch().File("saved.xml");
  for (auto _ : state) study->Save(out);
  SetBytes(state, out);
}
BENCHMARK(BM_LargeXmlSave)->Unit(benchmark::kMillisecond);

// One benchmark of the main job per example, named by its file.
const bool kExamplesRegistered = [] {
  for (const std::string& file : KtStdString::Split(ZUBRA_EXAMPLE_FILES, ',')) {
    benchmark::RegisterBenchmark(("BM_OpenDesignSave/" + file).c_str(), BM_OpenDesignSave,
                                 std::string(ZUBRA_EXAMPLES_DIR) + "/" + file)
        ->Unit(benchmark::kMillisecond);
  }
  return true;
}();

}  // namespace
}  // namespace zubra
