#include "TableOutput.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "Csv.h"
#include "core/Numeric.h"
#include "core/Type.h"
#include "core/Value.h"
#include "core/ValueTableBase.h"

namespace kern::table {

namespace {

// The value slot of each column, in visible order.
std::vector<std::uint32_t> column_slots(const core::ValueTableBase& table) {
  std::vector<std::uint32_t> slots;
  for (std::uint32_t position = 0; position < table.columnCount(); ++position) {
    slots.push_back(table.core().columnAt(position).slot());
  }
  return slots;
}

// Asks for the memory a value's text is made from: the value, and a string's characters, which live apart.
void prefetch_payload(const core::IValue* value) {
  const void* payload = value->getDataPtr();
  if (value->type()->getTypeCode() == core::Type::String) {
    payload = static_cast<const avo::WString*>(payload)->data();
  }
  __builtin_prefetch(payload);
  __builtin_prefetch(static_cast<const char*>(payload) + 32);
}

// Calls fn(line) for every row in order. A sorted table's rows lie anywhere in memory, so they are visited
// a batch at a time: the batch's lines are collected, then their values and the values' texts are asked
// for together, so that the cache misses of many rows overlap instead of following one another (each
// step of the line iterator is a locked instruction, which waits for the misses before it).
template <class Fn>
void for_each_row(const core::ValueTableBase& table, const std::vector<std::uint32_t>& slots, Fn&& fn) {
  constexpr std::size_t kBatch = 64;
  std::vector<const core::ValueTableLine*> batch;
  batch.reserve(kBatch);
  auto visit = [&] {
    for (const core::ValueTableLine* line : batch) {
      for (std::uint32_t slot : slots) __builtin_prefetch(line->peekAtPos(slot));
    }
    for (const core::ValueTableLine* line : batch) {
      for (std::uint32_t slot : slots) {
        if (const core::IValue* value = line->peekAtPos(slot)) prefetch_payload(value);
      }
    }
    for (const core::ValueTableLine* line : batch) fn(*line);
    batch.clear();
  };
  // The lines stay alive while the table holds them, and nothing changes the table meanwhile.
  for (core::LineIterator row = table.core().lineAt(0); row.valid(); ++row) {
    batch.push_back(&*row);
    if (batch.size() == kBatch) visit();
  }
  visit();
}

void append_number(const core::Numeric& number, std::string& out) {
  char digits[64];
  const unsigned length = number.digits(digits, sizeof digits);
  if (length + 1 < sizeof digits) {
    out.append(digits, length);
    return;
  }
  avo::String text;  // a number too long for the buffer
  number.toString(text);
  out.append(text.data(), text.size());
}

// Appends the text of a value the line holds (null: none, the column's empty default); true for a
// number. Numbers and strings are read in place through their payload.
bool append_value(const core::IValue* value, std::string& out) {
  if (value == nullptr) return false;
  switch (value->type()->getTypeCode()) {
    case core::Type::Number:
      append_number(*static_cast<const core::Numeric*>(value->getDataPtr()), out);
      return true;
    case core::Type::String:
      csv::append_utf8(*static_cast<const avo::WString*>(value->getDataPtr()), out);
      return false;
    case core::Type::Undefined:
      return false;
    default: {
      avo::WString text;
      value->getString(text);
      csv::append_utf8(text, out);
      return false;
    }
  }
}

// Line breaks and tabs as spaces, so that a cell stays on its line.
void one_line(std::string& text) {
  for (char& c : text) {
    if (c == '\r' || c == '\n' || c == '\t') c = ' ';
  }
}

// A cell of the text form: its text on one line and whether it is a number.
bool text_cell(const core::IValue* value, std::string& cell) {
  cell.clear();
  const bool number = append_value(value, cell);
  one_line(cell);
  return number;
}

struct TextColumn {
  std::size_t width = 0;
  bool numbers = false;  // some cell is a number
  bool others = false;   // some cell is neither a number nor empty
};

// Appends `cell` padded to `width`; `end` is moved to the end of the cell's text, so that padding after
// the last text of a line can be cut off.
void append_padded(const std::string& cell, std::size_t width, bool right, std::string& line, std::size_t& end) {
  const std::size_t padding = width - std::min(width, csv::code_points(cell));
  if (right) line.append(padding, ' ');
  line += cell;
  if (!cell.empty()) end = line.size();
  if (!right) line.append(padding, ' ');
}

}  // namespace

void write_csv(const core::ValueTableBase& table, Output& out) {
  const std::vector<std::string> names = column_names(table);
  const std::vector<std::uint32_t> slots = column_slots(table);
  std::string& text = out.text();
  std::string cell;
  auto endRecord = [&](bool single, bool empty) {
    if (single && empty) text += "\"\"";
    text += "\r\n";
    out.ready();
  };
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += ',';
    csv::append_field(names[i], text);
  }
  endRecord(names.size() == 1, names.size() == 1 && names[0].empty());
  for_each_row(table, slots, [&](const core::ValueTableLine& line) {
    for (std::size_t i = 0; i < slots.size(); ++i) {
      if (i > 0) text += ',';
      cell.clear();
      if (append_value(line.peekAtPos(slots[i]), cell)) {
        text += cell;
      } else {
        csv::append_field(cell, text);
      }
    }
    endRecord(slots.size() == 1, cell.empty());
  });
  out.flush();
}

void write_text(const core::ValueTableBase& table, Output& out) {
  const std::vector<std::string> names = column_names(table);
  const std::vector<std::uint32_t> slots = column_slots(table);
  std::vector<TextColumn> columns(names.size());
  std::string cell;
  for (std::size_t i = 0; i < names.size(); ++i) columns[i].width = csv::code_points(names[i]);
  for_each_row(table, slots, [&](const core::ValueTableLine& line) {
    for (std::size_t i = 0; i < slots.size(); ++i) {
      TextColumn& column = columns[i];
      const bool number = text_cell(line.peekAtPos(slots[i]), cell);
      column.width = std::max(column.width, csv::code_points(cell));
      if (number) {
        column.numbers = true;
      } else if (!cell.empty()) {
        column.others = true;
      }
    }
  });

  std::string& text = out.text();
  std::string line;
  auto emit = [&](std::size_t end) {
    text.append(line, 0, end);
    text += '\n';
    out.ready();
  };
  std::size_t end = 0;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) line += "  ";
    std::string name = names[i];
    one_line(name);
    append_padded(name, columns[i].width, columns[i].numbers && !columns[i].others, line, end);
  }
  emit(end);
  line.clear();
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) line += "  ";
    line.append(columns[i].width, '-');
  }
  emit(line.find_last_not_of(' ') + 1);  // npos + 1: nothing but blanks
  for_each_row(table, slots, [&](const core::ValueTableLine& row) {
    line.clear();
    end = 0;
    for (std::size_t i = 0; i < slots.size(); ++i) {
      if (i > 0) line += "  ";
      const bool number = text_cell(row.peekAtPos(slots[i]), cell);
      append_padded(cell, columns[i].width, number, line, end);
    }
    emit(end);
  });
  out.flush();
}

}  // namespace kern::table
