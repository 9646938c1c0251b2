// The text dumps of a whole investigation, which round trips through the stored forms must
// leave unchanged (used by the round-trip tests and the investigation fuzz targets).
#pragma once

#include <algorithm>
#include <initializer_list>
#include <sstream>
#include <string>
#include <string_view>

#include "zubra/investigation/investigation.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/responses/response_ex.h"
#include "zubra/variables/factor_class.h"

namespace zubra::test_support {

// `text` without the lines that begin with one of `prefixes`.
inline std::string WithoutLines(const std::string& text,
                                std::initializer_list<std::string_view> prefixes) {
  std::istringstream lines(text);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    const auto starts = [&line](std::string_view prefix) { return line.starts_with(prefix); };
    if (std::none_of(prefixes.begin(), prefixes.end(), starts)) kept += line + '\n';
  }
  return kept;
}

// Every factor's and response's dump, then the model extract. The JSON form holds the scaling
// of each variable but not its PLS scaling, nor a factor's PLS scale modifier (a response's is
// its "autoScaleModifier"), nor the optimization and power settings of a derived response (its
// form is its formula): `for_json` leaves those lines out, for comparisons through that form.
inline std::string Dumps(const Investigation& study, bool for_json = false) {
  StreamWindow factors;
  for (const FactorClass* factor : study.GetVariables().GetAllFactors()) factor->Show(factors);
  std::string responses;
  for (const ResponseEx* response : study.GetResponses().GetResponses()) {
    StreamWindow out;
    response->Show(out);
    std::string text = out.str();
    const std::size_t settings = text.find("\nCondition ");
    if (for_json && response->GetType() == ResponseEx::kDerived && settings != std::string::npos) {
      text.erase(settings + 1);
    }
    responses += text;
  }
  StreamWindow spec;
  study.GetModelSpec().Show(spec);
  if (!for_json) return factors.str() + responses + spec.str();
  return WithoutLines(factors.str(), {"PLS Scaling", "PLS Modifier"}) +
         WithoutLines(responses + spec.str(), {"PLS Scaling"});
}

}  // namespace zubra::test_support
