// Fuzz target for the inclusion reader: a file either gives a matrix of runs (and no message)
// or no matrix and a message saying why; nothing is thrown and the variable set is left as
// it was.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz/fuzz_support.h"
#include "zubra/model/read_inclusions.h"

namespace zubra {
namespace {

// Everything the variable set holds, for comparisons.
json_value VariablesForm(const Variables& variables) {
  json_value form = json_value::array();
  for (const FactorClass* factor : variables.GetAllFactors()) form.push_back(factor->ToJson());
  for (const ResponseClass* response : variables.GetAllResponses()) {
    form.push_back(response->GetName());
  }
  return form;
}

}  // namespace
}  // namespace zubra

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zubra;
  static const fuzz::ScratchFile input(".inclusions.txt");
  input.Write(fuzz::AsText(data, size));
  Variables& variables = fuzz::Fixture().GetVariables();
  const json_value before = VariablesForm(variables);
  std::string message = "not cleared";
  const std::unique_ptr<XFMatrix> runs = ReadInclusions(input.Path().c_str(), &variables, &message);
  fuzz::Require(VariablesForm(variables) == before, "reading inclusions changed the variables");
  if (runs == nullptr) {
    fuzz::Require(!message.empty() && message != "not cleared", "a refused file gives no reason");
  } else {
    fuzz::Require(message.empty(), "a file that reads leaves a message");
  }
  return 0;
}
