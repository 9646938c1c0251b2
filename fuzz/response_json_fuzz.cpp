// Fuzz target for the response's JSON reader: a document either reads or is refused (false)
// with the response left as it was; a response that reads writes itself out, and that form
// reads back to the same response.
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_support.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/responses/response_ex.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  const std::optional<json_value> json = fuzz::ParseDocument(fuzz::AsText(data, size));
  if (!json) return 0;
  // A defined response to start from, so that a refusal has something to leave alone.
  ResponseEx response(*fuzz::Fixture().GetResponses().GetResponse("Twice"));
  const json_value before = response.ToJson();
  if (!response.Load(*json)) {
    fuzz::Require(response.ToJson() == before, "a refused response was changed");
    return 0;
  }
  StreamWindow dump;
  response.Show(dump);
  const json_value written = response.ToJson();
  ResponseEx again;
  fuzz::Require(again.Load(written), "a written response does not read");
  fuzz::Require(again.ToJson() == written, "a written response reads back different");
  return 0;
}
