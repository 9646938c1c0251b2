// Reading the runs that a generated design must include from a tab-separated text file.
#pragma once

#include <memory>
#include <string>

#include "zubra/platform/matrix/xf_matrix.h"

namespace zubra {

class Variables;

// Reads the inclusion runs in the file at `path` and returns them as the matrix "Inclusions",
// one row a run, ready for the design generator; returns an empty pointer when the file
// can't be used, with the reason in `*message` (when given). On success `*message` is cleared.
// Nothing is thrown for bad input and the variable set is not changed.
//
// The file. Fields are separated by one tab. The first line is the heading: the names of all
// variables of `variables` (factors, then responses, in worksheet order), compared exactly.
// Every later line is one run. Only the fields of design factors are read: a qualitative
// design factor's field must be one of its settings, written exactly; any other design
// factor's field must be a number with a decimal point. Response and non-design columns are
// skipped whatever they hold.
//
// The matrix. Its columns follow the design factors in variable order: one for a numeric
// factor, holding the value as read, and as many as the coding matrix has columns for a
// qualitative one, holding the coding row of the setting. Columns carry the factor's name
// (for a qualitative factor, the coding column's name when it has one). Row names are empty.
//
// What is tolerated. A UTF-8 byte-order mark before the heading and CR LF line ends are
// accepted. Lines that are empty or hold only spaces and tabs are skipped, so a file with
// trailing empty lines or a blank line between runs reads as a user expects; a file holding
// only the heading gives a matrix with no rows. A run may stop early when the fields left out
// belong to columns that are not read (trailing responses, say), and fields beyond the heading
// are ignored; a run that ends before a design factor's field fails with the message
// "Row %1% in the file '%2%' has no value for the factor '%3%' in column %4%.".
//
// Positions in messages. Rows count the lines after the heading from 1, blank lines included,
// so row n is line n + 1 of the file; columns count from 1.
//
// Failures. The file is checked first: it does not exist; it cannot be opened or read; the
// heading's field count differs from the number of variables; a heading name differs (the
// first difference is reported with the expected name, the field found and its column). Then
// the runs are read line by line, each field in column order, and the first bad field ends the
// reading: a qualitative field that is not a setting, a numeric field that is not a number, or
// a missing field as described above.
// A null `variables` counts as a set without variables, which no file matches.
[[nodiscard]] std::unique_ptr<XFMatrix> ReadInclusions(const char* path, Variables* variables,
                                                       std::string* message);

}  // namespace zubra
