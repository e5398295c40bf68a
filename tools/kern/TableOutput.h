#pragma once
// The printed forms of a `kern table` result, from the table's columns in visible order.
//
//   csv   RFC 4180: a header row of the column names, then one record per row, each ended by CRLF. A
//         field holding "," '"' CR or LF is quoted with '"' doubled; a row of one empty field is written
//         as "" so that it is not read back as an empty line. Numbers are in their canonical text
//         (-0.50 prints -0.5, no exponent, no grouping).
//   text  an aligned table: the names, a rule of dashes, the rows; columns two spaces apart and as wide
//         as their widest cell in code points. Numbers are right-aligned, everything else left-aligned;
//         a name is right-aligned over a column of numbers only. CR, LF and tab inside a cell show as
//         spaces, so every row is one line. Lines carry no trailing blanks.
//
// Values that are neither numbers nor strings (only saved tables hold them) print as the library
// presents them (getString); an empty slot prints as an empty field. Write errors throw Failure.

#include "TableFiles.h"

namespace kern::table {

void write_csv(const core::ValueTableBase& table, Output& out);
void write_text(const core::ValueTableBase& table, Output& out);

}  // namespace kern::table
