// The character rules for the names of factors and responses.
#pragma once

#include <string>
#include <string_view>

namespace zubra {

// Decides whether a variable name is made only of characters that survive every form in which
// names are stored and referred to. It checks characters only: length, reserved names,
// uniqueness and a leading '#' are the callers' checks, and the callers trim the name first.
//
// Allowed: letters and digits of any script, spaces, and every other printable character not
// listed below, for example _ - + * / ( ) . , # % & ' < > : ! ? @ | \ and accented or
// non-Latin letters, so "pH-value" and "Temperature (C)" are good names. Formulas of derived
// responses refer to variables by number, never by name, so arithmetic characters in names are
// harmless; free text is HTML-escaped in configuration files and encoded where an INI key or
// section name needs it. The empty text holds no forbidden character and is therefore valid.
//
// Forbidden, with the reason for each:
//   [ ]              enclose section names in INI files, where the older form names a child
//                    section by the variable's name; kept out so such files stay readable by
//                    other tools.
//   = ;              separate key and value, and start a comment, in INI files.
//   "                quotes fields in delimited text files.
//   $                reserved for the names the system creates itself ("$BlockV", "$Layer",
//                    "$Plate", the block generators "$B1" ... "$B1$B2$B3"), so that a user
//                    name can never clash with one. The variable set accepts those internal
//                    names without asking this validator.
//   ~                marks a transformed variable ("Temp~"); name lookups drop one trailing
//                    '~', so a name containing it could be confused with another.
//   TAB, CR, LF and every other control character (U+0000-U+001F, U+007F-U+009F), and the
//                    Unicode line and paragraph separators U+2028 and U+2029: they break
//                    tab-separated and line-oriented files, and XML cannot hold most of them.
//   Invalid UTF-8 is rejected as well.
//
//   ZubraVariableNameValidator validator;
//   if (!validator.IsValid(name)) {
//     message = "A factor name may not contain the following characters:\n\n" +
//               validator.GetForbiddenCharacters() + ".";
//   }
class ZubraVariableNameValidator {
 public:
  ZubraVariableNameValidator() = default;

  // True when `text` is valid UTF-8 and holds none of the forbidden characters.
  [[nodiscard]] bool IsValid(std::string_view text) const;

  // Returns the forbidden characters for display, separated by spaces, with words for the
  // invisible ones: "[ ] = ; \" $ ~ TAB and other control characters".
  [[nodiscard]] std::string GetForbiddenCharacters() const;
};

}  // namespace zubra
