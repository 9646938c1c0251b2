// Small helpers over variables: the trimming that every name check applies.
#pragma once

#include <string>
#include <string_view>

namespace zubra::VariableUtilities {

// Turns every tab and line feed into a space, then removes leading and trailing white space,
// in place.
void Trim(std::string& text);
// Trim on a copy.
[[nodiscard]] std::string TrimCopy(std::string_view text);

}  // namespace zubra::VariableUtilities
