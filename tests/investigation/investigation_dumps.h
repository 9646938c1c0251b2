// The text dumps of a whole investigation, which round trips through the stored forms must
// leave unchanged (used by the round-trip tests and the investigation fuzz targets).
#pragma once

#include <sstream>
#include <string>

#include "zubra/investigation/investigation.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/responses/response_ex.h"
#include "zubra/variables/factor_class.h"

namespace zubra::test_support {

// Every factor's and response's dump, then the model extract. The JSON form holds the scaling
// of each variable but not its PLS scaling: `for_json` leaves the "PLS Scaling" lines out, for
// comparisons through that form.
inline std::string Dumps(const Investigation& study, bool for_json = false) {
  StreamWindow out;
  for (const FactorClass* factor : study.GetVariables().GetAllFactors()) factor->Show(out);
  for (const ResponseEx* response : study.GetResponses().GetResponses()) response->Show(out);
  study.GetModelSpec().Show(out);
  if (!for_json) return out.str();
  std::istringstream lines(out.str());
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("PLS Scaling")) kept += line + '\n';
  }
  return kept;
}

}  // namespace zubra::test_support
