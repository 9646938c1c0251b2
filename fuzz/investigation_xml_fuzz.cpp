// Fuzz target for the investigation's XML reader (and through it the section loaders of every
// part): a file either becomes an investigation or is refused with zubra::Exception; an
// investigation that reads writes out in every form and reads back equal.
#include <cstddef>
#include <cstdint>

#include "fuzz/investigation_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  const std::unique_ptr<Investigation> study = fuzz::ReadOrNothing([&] {
    return Investigation::FromSection(*TinyXML2Section::LoadString(fuzz::AsText(data, size)));
  });
  if (study != nullptr) fuzz::CheckReadInvestigation(*study);
  return 0;
}
