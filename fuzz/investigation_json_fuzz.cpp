// Fuzz target for the investigation's JSON reader (and through it the JSON readers of every
// part): a document either becomes an investigation or is refused with zubra::Exception; an
// investigation that reads writes out in every form and reads back equal.
#include <cstddef>
#include <cstdint>

#include "fuzz/investigation_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  const std::optional<json_value> json = fuzz::ParseDocument(fuzz::AsText(data, size));
  if (!json) return 0;
  const std::unique_ptr<Investigation> study =
      fuzz::ReadOrNothing([&] { return Investigation::FromJson(*json); });
  if (study != nullptr) fuzz::CheckReadInvestigation(*study);
  return 0;
}
