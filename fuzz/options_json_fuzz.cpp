// Fuzz target for the options' JSON reader: a document either reads or is refused with
// zubra::Exception and the options left as they were; options that read write themselves out,
// and that form reads back to the same options.
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_support.h"
#include "zubra/model/zubra_options.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  const std::optional<json_value> json = fuzz::ParseDocument(fuzz::AsText(data, size));
  if (!json) return 0;
  ZubraOptions options;
  options.SetPower(0.95);
  const ZubraOptions before = options;
  try {
    options.FromJson(*json);
  } catch (const Exception&) {
    fuzz::Require(options == before, "refused options were changed");
    return 0;
  }
  const json_value written = options.ToJson();
  ZubraOptions again;
  try {
    again.FromJson(written);
  } catch (const Exception&) {
    fuzz::Require(false, "written options do not read");
  }
  fuzz::Require(again.ToJson() == written, "written options read back different");
  return 0;
}
