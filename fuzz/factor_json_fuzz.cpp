// Fuzz target for the factor's JSON reader: a document either reads or is refused (false, or
// zubra::Exception) with the factor left as it was; a factor that reads writes itself out, and
// that form reads back to the same factor.
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_support.h"
#include "zubra/platform/matrix/stream_window.h"

namespace zubra {
namespace {

json_value Read(FactorClass& factor, const json_value& json) {
  const json_value before = factor.ToJson();
  bool read = false;
  try {
    read = factor.Load(json);
  } catch (const Exception&) {
  }
  if (!read) fuzz::Require(factor.ToJson() == before, "a refused factor was changed");
  return read ? factor.ToJson() : json_value();
}

}  // namespace
}  // namespace zubra

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  const std::optional<json_value> json = fuzz::ParseDocument(fuzz::AsText(data, size));
  if (!json) return 0;
  // A defined factor to start from, so that a refusal has something to leave alone.
  FactorClass factor(*fuzz::Fixture().GetVariables().GetFactor("Time"));
  const json_value written = Read(factor, *json);
  if (written.is_null()) return 0;
  StreamWindow dump;
  factor.Show(dump);
  FactorClass again;
  fuzz::Require(Read(again, written) == written, "a written factor does not read back the same");
  return 0;
}
