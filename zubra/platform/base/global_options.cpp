#include "zubra/platform/base/global_options.h"

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

// Returns the switch value that `text` spells, or nothing for an unrecognised text.
std::optional<bool> ParseSwitch(std::string_view text) {
  static constexpr std::array<std::string_view, 4> kOn = {"1", "true", "yes", "on"};
  static constexpr std::array<std::string_view, 4> kOff = {"0", "false", "no", "off"};
  for (std::string_view word : kOn) {
    if (KtStdString::EqualsNoCase(text, word)) return true;
  }
  for (std::string_view word : kOff) {
    if (KtStdString::EqualsNoCase(text, word)) return false;
  }
  return std::nullopt;
}

}  // namespace

GlobalOptions::GlobalOptions() { ReadEnvironment(); }

GlobalOptions& GlobalOptions::Instance() {
  static GlobalOptions options;
  return options;
}

bool GlobalOptions::FixedSeedForValidation(bool refresh) const {
  if (refresh) ReadEnvironment();
  return fixed_seed_;
}

void GlobalOptions::Reset() {
  fixed_seed_ = false;
  ReadEnvironment();
}

void GlobalOptions::ReadEnvironment() const {
  const char* value = std::getenv(kFixedSeedVariable);  // NOLINT(concurrency-mt-unsafe)
  if (value == nullptr) return;
  if (std::optional<bool> fixed = ParseSwitch(value)) fixed_seed_ = *fixed;
}

}  // namespace zubra
