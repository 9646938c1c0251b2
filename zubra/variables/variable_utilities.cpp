#include "zubra/variables/variable_utilities.h"

#include <algorithm>

#include "zubra/platform/util/kt_string.h"

namespace zubra::VariableUtilities {

void Trim(std::string& text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\t' || c == '\n'; }, ' ');
  text = KtStdString::Trim(text);
}

std::string TrimCopy(std::string_view text) {
  std::string copy(text);
  Trim(copy);
  return copy;
}

}  // namespace zubra::VariableUtilities
