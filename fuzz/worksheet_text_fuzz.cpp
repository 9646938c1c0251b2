// Fuzz target for the worksheet's tab-separated text rows: a text either reads or is refused
// (false, with a message) and the worksheet left as it was; what reads writes out and reads
// back equal in both forms.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/worksheet_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  WorksheetInfo sheet = fuzz::StartingWorksheet();
  const std::string before = fuzz::Forms(sheet);
  std::string message;
  if (!sheet.FromText(fuzz::AsText(data, size), &message)) {
    fuzz::Require(!message.empty(), "a refused text gives no reason");
    fuzz::Require(fuzz::Forms(sheet) == before, "a refused text changed the worksheet");
    return 0;
  }
  fuzz::CheckReadWorksheet(sheet);
  return 0;
}
