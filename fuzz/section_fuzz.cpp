// Fuzz target for the XML and INI section readers: any input must either load or be refused
// with zubra::Exception, and what loads must print a text that loads again to the same print.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace {

template <typename Section>
void CheckStable(std::string_view text) {
  std::string first;
  try {
    first = Section::LoadString(text)->ToString();
  } catch (const zubra::Exception&) {
    return;
  }
  try {
    if (Section::LoadString(first)->ToString() != first) std::abort();
  } catch (const zubra::Exception&) {
    std::abort();  // a printed section must always load again
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckStable<zubra::TinyXML2Section>(text);
  CheckStable<zubra::IniFileSection>(text);
  return 0;
}
