// Fuzz target for the tab-separated constraint file: a file either reads or is refused
// (false) with the constraints left as they were; what reads writes out and reads back equal
// in both forms.
#include <cstddef>
#include <cstdint>

#include "fuzz/constraints_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  static const fuzz::ScratchFile input(".input.txt");
  input.Write(fuzz::AsText(data, size));
  ConstraintsInfo info = fuzz::StartingConstraints();
  const json_value before = info.ToJson();
  if (!info.Read(input.Path().c_str())) {
    fuzz::Require(info.ToJson() == before, "a refused file changed the constraints");
    return 0;
  }
  fuzz::CheckReadConstraints(info);
  return 0;
}
