#include "zubra/platform/design/nc_design.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

constexpr std::string_view kKindLetters = "DACR";

char KindLetter(NCDesign::RunKind kind) { return kKindLetters[static_cast<std::size_t>(kind)]; }

std::optional<NCDesign::RunKind> KindFromText(std::string_view text) {
  const std::size_t at = text.size() == 1 ? kKindLetters.find(text[0]) : std::string_view::npos;
  if (at == std::string_view::npos) return std::nullopt;
  return static_cast<NCDesign::RunKind>(at);
}

[[noreturn]] void ThrowBadDesign(std::string_view key) {
  throw Exception(ExceptionMessage::translate("The stored design is damaged at the key '{}'.") %
                  key);
}

void AppendRow(std::string& text, const NCDataMatrix<float>& matrix, int row) {
  for (int c = 0; c < matrix.GetCols(); ++c) {
    if (c > 0) text += ',';
    text += KtString::FormatShortest(matrix(row, c));
  }
}

// Appends the numbers of `text` (separated by commas) to `values`; false when there are not
// exactly `count` of them or one is not a number.
bool ReadRow(std::string_view text, int count, std::vector<float>& values) {
  int read = 0;
  while (read < count) {
    const std::size_t comma = text.find(',');
    const std::optional<float> value = KtString::ToFloat(text.substr(0, comma));
    if (!value) return false;
    values.push_back(*value);
    ++read;
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
  return read == count && (count > 0 || text.empty());
}

NCDataMatrix<float> ToMatrix(const std::vector<float>& values, int rows, int cols) {
  NCDataMatrix<float> matrix(rows, cols);
  std::copy(values.begin(), values.end(), matrix.GetData());
  return matrix;
}

}  // namespace

NCDesign::NCDesign(EDesign::Type type, std::string name, std::vector<std::string> factor_names,
                   NCDataMatrix<float> coded, NCDataMatrix<float> uncoded, std::vector<int> blocks,
                   std::vector<RunKind> kinds, Generators generators, std::vector<int> whole_plots)
    : type_(type),
      name_(std::move(name)),
      factor_names_(std::move(factor_names)),
      coded_(std::move(coded)),
      uncoded_(std::move(uncoded)),
      blocks_(std::move(blocks)),
      kinds_(std::move(kinds)),
      generators_(std::move(generators)),
      whole_plots_(std::move(whole_plots)) {
  assert(whole_plots_.empty() || static_cast<int>(whole_plots_.size()) == coded_.GetRows());
  assert(uncoded_.GetRows() == coded_.GetRows() && uncoded_.GetCols() == coded_.GetCols());
  assert(static_cast<int>(blocks_.size()) == coded_.GetRows());
  assert(static_cast<int>(kinds_.size()) == coded_.GetRows());
  assert(static_cast<int>(factor_names_.size()) == coded_.GetCols());
}

int NCDesign::GetBlockCount() const {
  return blocks_.empty() ? 0 : *std::max_element(blocks_.begin(), blocks_.end());
}

const char* NCDesign::GetRunKindText(RunKind kind) {
  switch (kind) {
    case RunKind::kDesign:
      return "design";
    case RunKind::kAxial:
      return "axial";
    case RunKind::kCenter:
      return "center";
    case RunKind::kReplicate:
      return "replicate";
  }
  return "design";
}

int NCDesign::CountRuns(RunKind kind) const {
  return static_cast<int>(std::count(kinds_.begin(), kinds_.end(), kind));
}

void NCDesign::Save(ConfigurationSection& section) const {
  section.WriteString("Type", EDesign::GetString(type_));
  section.WriteString("Name", name_);
  section.WriteInt("Factors", GetFactorCount());
  section.WriteInt("Runs", GetRuns());
  for (int f = 0; f < GetFactorCount(); ++f) {
    section.WriteString("Factor" + std::to_string(f + 1),
                        factor_names_[static_cast<std::size_t>(f)]);
  }
  std::string text;
  for (int r = 0; r < GetRuns(); ++r) {
    text = std::to_string(blocks_[static_cast<std::size_t>(r)]);
    text += ';';
    text += KindLetter(kinds_[static_cast<std::size_t>(r)]);
    text += ';';
    AppendRow(text, coded_, r);
    text += ';';
    AppendRow(text, uncoded_, r);
    section.WriteString("Run" + std::to_string(r + 1), text);
  }
  if (whole_plots_.empty()) {
    section.RemoveKey("WholePlots");
  } else {
    std::string plots;
    for (std::size_t r = 0; r < whole_plots_.size(); ++r) {
      if (r > 0) plots += ',';
      plots += std::to_string(whole_plots_[r]);
    }
    section.WriteString("WholePlots", plots);
  }
  section.RemoveChild("Generators");
  if (!generators_.IsEmpty()) generators_.Save(section.CreateChild("Generators"));
}

std::unique_ptr<NCDesign> NCDesign::Load(const ConfigurationSection& section) {
  const auto count = [&](const char* key) {
    int value = -1;
    if (!section.TryReadInt(key, value) || value < 0) ThrowBadDesign(key);
    return value;
  };
  const EDesign::Type type = EDesign::GetType(section.GetString("Type"));
  const std::string name = section.GetString("Name");
  const int factors = count("Factors");
  const int runs = count("Runs");
  // Every factor and run has a key of its own, so the counts cannot exceed the keys present;
  // this bounds the work a damaged count can cause.
  const auto keys = static_cast<long long>(section.GetKeys().size());
  if (static_cast<long long>(factors) + runs > keys) ThrowBadDesign("Runs");
  std::vector<std::string> names;
  for (int f = 1; f <= factors; ++f) {
    const std::string key = "Factor" + std::to_string(f);
    std::optional<std::string> value = section.GetValue(key);
    if (!value) ThrowBadDesign(key);
    names.push_back(std::move(*value));
  }
  // The values are gathered as they are read, so memory grows with what the section holds.
  std::vector<float> coded;
  std::vector<float> uncoded;
  std::vector<int> blocks;
  std::vector<RunKind> kinds;
  for (int r = 0; r < runs; ++r) {
    const std::string key = "Run" + std::to_string(r + 1);
    const std::optional<std::string> value = section.GetValue(key);
    if (!value) ThrowBadDesign(key);
    const std::vector<std::string> parts = KtStdString::Split(*value, ';');
    if (parts.size() != 4) ThrowBadDesign(key);
    const std::optional<int> block = KtString::ToInt(parts[0]);
    const std::optional<RunKind> kind = KindFromText(parts[1]);
    if (!block || *block < 1 || !kind || !ReadRow(parts[2], factors, coded) ||
        !ReadRow(parts[3], factors, uncoded)) {
      ThrowBadDesign(key);
    }
    blocks.push_back(*block);
    kinds.push_back(*kind);
  }
  std::vector<int> whole_plots;
  if (const std::optional<std::string> text = section.GetValue("WholePlots")) {
    for (const std::string& part : KtStdString::Split(*text, ',')) {
      const std::optional<int> plot = KtString::ToInt(part);
      if (!plot || *plot < 1) ThrowBadDesign("WholePlots");
      whole_plots.push_back(*plot);
    }
    if (static_cast<int>(whole_plots.size()) != runs) ThrowBadDesign("WholePlots");
  }
  Generators generators;
  if (const ConfigurationSection* child = section.OpenChild("Generators")) generators.Load(*child);
  return std::make_unique<NCDesign>(type, name, std::move(names), ToMatrix(coded, runs, factors),
                                    ToMatrix(uncoded, runs, factors), std::move(blocks),
                                    std::move(kinds), std::move(generators),
                                    std::move(whole_plots));
}

bool NCDesign::operator==(const NCDesign& other) const {
  return type_ == other.type_ && name_ == other.name_ && factor_names_ == other.factor_names_ &&
         coded_ == other.coded_ && uncoded_ == other.uncoded_ && blocks_ == other.blocks_ &&
         kinds_ == other.kinds_ && generators_ == other.generators_ &&
         whole_plots_ == other.whole_plots_;
}

}  // namespace zubra
