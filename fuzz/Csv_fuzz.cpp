// The CSV reader of `kern table` on arbitrary bytes: it either reads records or fails with a line number,
// and the result does not depend on how the input arrives. Records read are well-formed UTF-8 and start
// on increasing lines; written back with the CSV writer's quoting, they read back as the same records.
//
// The first byte picks how the rest is handed over: the size of each read (1 to 16 bytes) and the
// reader's starting buffer (4 to 67 bytes), so that records meet the end of a read and the buffer grows
// everywhere. The result is compared with one read of everything into a large buffer.
//
//     build/fuzz/fuzz/Csv_fuzz -max_total_time=60 corpus-dir fuzz/corpus/Csv
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Csv.h"

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

struct Result {
  std::vector<std::vector<std::string>> records;
  std::vector<std::uint64_t> lines;
  std::uint64_t errorLine = 0;
  std::string error;
};

Result read_all(std::string_view bytes, std::size_t step, std::size_t buffer) {
  kern::csv::MemorySource source(bytes, step);
  kern::csv::Reader reader(source, buffer);
  Result result;
  try {
    while (reader.next()) {
      std::vector<std::string>& record = result.records.emplace_back();
      for (std::size_t i = 0; i < reader.size(); ++i) record.emplace_back(reader.field(i));
      result.lines.push_back(reader.line());
    }
  } catch (const kern::csv::Error& e) {
    check(e.line() > 0);  // a memory source never fails to read
    result.errorLine = e.line();
    result.error = e.what();
  }
  return result;
}

std::string write_all(const std::vector<std::vector<std::string>>& records) {
  std::string text;
  for (const std::vector<std::string>& record : records) {
    for (std::size_t i = 0; i < record.size(); ++i) {
      if (i > 0) text += ',';
      kern::csv::append_field(record[i], text);
    }
    if (record.size() == 1 && record[0].empty()) text += "\"\"";
    text += "\r\n";
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t step = 1 + (data[0] & 15);
  const std::size_t buffer = 4 + (data[0] >> 2);

  const Result whole = read_all(bytes, bytes.size() + 1, 1 << 16);
  const Result pieces = read_all(bytes, step, buffer);
  check(pieces.records == whole.records && pieces.lines == whole.lines);
  check(pieces.errorLine == whole.errorLine && pieces.error == whole.error);

  for (std::size_t i = 0; i < whole.records.size(); ++i) {
    check(i == 0 || whole.lines[i] > whole.lines[i - 1]);
    for (const std::string& field : whole.records[i]) check(kern::csv::utf8_error(field) == field.size());
  }
  const std::string written = write_all(whole.records);
  const Result again = read_all(written, step, buffer);
  check(again.error.empty() && again.records == whole.records);
  return 0;
}
