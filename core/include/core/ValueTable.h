#pragma once
// Value tables: the platform's table of values in memory, with typed columns and lines (rows) kept in a
// tree of pages, so that inserting, erasing and finding a line by number stay cheap in tables of
// hundreds of thousands of lines. This header brings in the whole family; each layer has its own header
// and manual, and code that needs one layer includes only that one:
//
//   core/ValueTableStorage.h   ValueTableCore: columns by identifier, position and slot, the page tree of
//                              lines, hierarchical lines, find, totals, grouping, sorting, list-stream
//                              blocks. For C++ code that keeps a table for itself.
//   core/ValueTableBase.h      ValueTableBase: column codes, titles and widths over a ValueTableCore, and
//                              the table interfaces (IValueTableBaseRO, IValueTableBase,
//                              IValueTableColumns) for code that fills, sorts or copies any table.
//   core/ValueTableScript.h    ValueTable and ValueTableRow: the table and its rows as script values and
//                              contexts ("ValueTable" / "ТаблицаЗначений"), with the script methods in
//                              English and Russian.
//   core/ValueTableDS.h        ValueTableDS: a ValueTableBase as the data source of a list control, with
//                              bookmarks that follow their lines, editing, scrolling, change
//                              notifications, and the row operations at every level of the tree.
//
//     core::InterfacePtr<core::ValueTable> table = core::create_value_table();
//     core::ValueTableBase& base = *table->table();
//     std::int32_t price = base.addColumn({u"Price", u"Unit price", numberPattern, 10}, -1);
//     base.setValue(base.addRow()->index(), price, core::Value(12));
//     table->findMethod(u"Итог");                        // script code totals the column by name
//
// Failures and thread safety are stated per layer; in short, misuse raises IllegalArgumentException
// leaving the table as it was, malformed list streams raise ListStreamException, and a table is used by
// one thread at a time.

#include "core/ValueTableBase.h"     // IWYU pragma: export
#include "core/ValueTableDS.h"       // IWYU pragma: export
#include "core/ValueTableScript.h"   // IWYU pragma: export
#include "core/ValueTableStorage.h"  // IWYU pragma: export
