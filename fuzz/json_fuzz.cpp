// Fuzz target for the JSON reader and writer: any input must either parse or be refused with
// zubra::Exception, and whatever parses must be written and read back to the same value.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  zubra::json_value value;
  try {
    value = zubra::ParseJson(text);
  } catch (const zubra::Exception&) {
    return 0;
  }
  try {
    const std::string compact = zubra::DumpJson(value);
    const std::string pretty = zubra::DumpJson(value, 2);
    // A parsed value holds only valid UTF-8 and nests within the limit, so it must survive a
    // round trip in both forms.
    if (zubra::ParseJson(compact) != value || zubra::ParseJson(pretty) != value) std::abort();
  } catch (const zubra::Exception&) {
    std::abort();
  }
  return 0;
}
