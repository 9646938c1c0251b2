// Fuzz target for the JSON table of the linear constraints: a table either reads or is refused
// with zubra::Exception (a table without its operator and limit columns leaves the
// constraints as they were); what reads writes out and reads back equal in both forms.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fuzz/constraints_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  const std::optional<json_value> json = fuzz::ParseDocument(fuzz::AsText(data, size));
  if (!json) return 0;
  ConstraintsInfo info = fuzz::StartingConstraints();
  const json_value before = info.ToJson();
  try {
    info.FromJson(*json);
  } catch (const Exception& error) {
    // A bad limit keeps the rows before it (documented); a table without the two columns is
    // refused as a whole.
    if (std::strstr(error.what(), "columns missing") != nullptr) {
      fuzz::Require(info.ToJson() == before, "a refused table changed the constraints");
    }
  }
  fuzz::CheckReadConstraints(info);
  return 0;
}
