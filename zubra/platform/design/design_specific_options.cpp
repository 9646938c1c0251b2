#include "zubra/platform/design/design_specific_options.h"

#include <charconv>
#include <system_error>

#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/onion_options.h"
#include "zubra/platform/design/process_mixture_options.h"
#include "zubra/platform/design/split_plot_options.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {

std::string DesignSpecificOptions::GetKindText(Kind kind) {
  return std::string(kKindTexts.ValueOf(kind, ""));
}

std::optional<DesignSpecificOptions::Kind> DesignSpecificOptions::GetKindFromText(
    std::string_view text) {
  // A text without a row gives back whichever fallback is passed.
  const Kind first = kKindTexts.CodeOf(text, Kind::kProcessMixture);
  if (first != kKindTexts.CodeOf(text, Kind::kOnion)) return std::nullopt;
  return first;
}

std::unique_ptr<DesignSpecificOptions> DesignSpecificOptions::Create(Kind kind) {
  switch (kind) {
    case Kind::kProcessMixture:
      return std::make_unique<ProcessMixtureOptions>();
    case Kind::kOnion:
      return std::make_unique<OnionOptions>();
    case Kind::kDOptimal:
      return std::make_unique<DOptimalOptions>();
    case Kind::kSplitPlot:
      return std::make_unique<SplitPlotOptions>();
  }
  return nullptr;
}

std::string DesignSpecificOptions::JoinInts(const std::vector<int>& values) {
  std::string text;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) text += ',';
    text += std::to_string(values[i]);
  }
  return text;
}

std::vector<int> DesignSpecificOptions::ParseInts(const std::string& text, std::string_view key) {
  std::vector<int> values;
  if (text.empty()) return values;
  const char* begin = text.data();
  const char* const end = text.data() + text.size();
  while (true) {
    int value = 0;
    const auto [next, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || next == begin || (next != end && *next != ',')) {
      throw Exception(ExceptionMessage::translate("The value '%1%' of the key '%2%' is not a "
                                                  "valid %3%.") %
                      text % key % "list of whole numbers");
    }
    values.push_back(value);
    if (next == end) break;
    begin = next + 1;
  }
  return values;
}

bool DesignSpecificOptions::ReadModel(const ConfigurationSection& section, std::string_view key,
                                      EModel::Type& model) {
  std::string text;
  if (!section.ReadString(key, text)) return false;
  const EModel::Type read = EModel::kTexts.CodeOf(text, EModel::kNone);
  if (read != EModel::kTexts.CodeOf(text, EModel::kLinear)) {
    throw Exception(ExceptionMessage::translate("The value '%1%' of the key '%2%' is not a "
                                                "valid %3%.") %
                    text % key % "model");
  }
  model = read;
  return true;
}

}  // namespace zubra
