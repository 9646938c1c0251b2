// Fuzz target for the worksheet's JSON form and the experiment rows in it: a document (an
// object for a worksheet, an array for one row) either reads or is refused with
// zubra::Exception and the worksheet or experiment left as it was; what reads writes out and
// reads back equal.
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

#include "fuzz/worksheet_fuzz.h"

namespace zubra {
namespace {

// One row in the column layout the worksheet writes, every cell in order.
void CheckRow(const json_value& row) {
  WorksheetInfo sheet = fuzz::StartingWorksheet();
  Experiment experiment(*sheet.GetExperiment(1));
  const std::vector<Experiment::WorksheetColumns> columns = Experiment::GetJsonColumns(false);
  std::vector<int> value_index(static_cast<std::size_t>(experiment.GetNumValues()));
  std::iota(value_index.begin(), value_index.end(), 0);
  const json_value before = experiment.ToJson();
  try {
    experiment.FromJson(row, columns, value_index);
  } catch (const Exception&) {
    fuzz::Require(experiment.ToJson() == before, "a refused row changed the experiment");
    return;
  }
  const json_value written = experiment.ToJson();
  Experiment again(*sheet.GetExperiment(2));
  try {
    again.FromJson(written, Experiment::GetJsonColumns(experiment.UseMolName()), value_index);
  } catch (const Exception&) {
    fuzz::Require(false, "a written row does not read");
  }
  fuzz::Require(again.ToJson() == written, "a written row reads back different");
}

}  // namespace
}  // namespace zubra

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  const std::optional<json_value> json = fuzz::ParseDocument(fuzz::AsText(data, size));
  if (!json) return 0;
  if (json->is_array()) {
    CheckRow(*json);
    return 0;
  }
  WorksheetInfo sheet = fuzz::StartingWorksheet();
  const std::string before = fuzz::Forms(sheet);
  try {
    sheet.FromJson(*json);
  } catch (const Exception&) {
    fuzz::Require(fuzz::Forms(sheet) == before, "a refused document changed the worksheet");
    return 0;
  }
  fuzz::CheckReadWorksheet(sheet);
  return 0;
}
