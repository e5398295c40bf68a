// List streams against the JSON peers on one table-shaped data set (200,000 rows by default), all in
// one run, as time per data set:
//  - reading: ListInStream over the UTF-16 text, every item read with its type (strings decoded, numbers
//    as Numeric); RapidJSON DOM and SAX (empty handler) and simdjson DOM on the JSON form of the same
//    content; a plain scan counting the delimiters of the UTF-16 text as the floor;
//  - writing: ListOutStream into a MemoryWriter against RapidJSON's Writer into a StringBuffer, each
//    from the same rows held in memory;
//  - the packed encoding of the same content, read and written.
//
// Data: python3 bench/liststream_data.py --rows 200000 --out build/bench-data
// (the directory can be changed with the environment variable KERN83_BENCH_DATA).

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/CharStream.h"
#include "core/File.h"
#include "core/ListStream.h"
#include "core/Numeric.h"

namespace {

std::string read_file(const std::string& name) {
  const char* dir = std::getenv("KERN83_BENCH_DATA");
  const std::string path = std::string(dir != nullptr ? dir : "build/bench-data") + "/" + name;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("missing " + path + ": run liststream_data.py first");
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The table in memory, as the application holds it.
struct Row {
  core::Numeric id;
  core::Numeric amount;
  avo::WString note;
  bool flag = false;
  core::Numeric date;
};

struct Table {
  avo::WString name;
  int version = 0;
  core::GUID id{};
  std::vector<std::pair<avo::WString, avo::WString>> columns;
  avo::String blob;
  core::Numeric rowCount;
  std::vector<Row> rows;
};

struct Data {
  std::u16string text;  // list-stream text, UTF-16
  std::string json;
  std::vector<std::uint8_t> packed;
  Table table;
  // The same rows in the JSON writer's terms.
  struct JsonRow {
    std::int64_t id;
    double amount;
    std::string note;
    bool flag;
    std::int64_t date;
  };
  std::vector<JsonRow> jsonRows;
  std::string jsonName, jsonGuid, jsonBlob;
  std::vector<std::pair<std::string, std::string>> jsonColumns;
};

// Reads one {tag, value} cell, choosing the value's type by its tag as an application would.
void read_cell(core::ListInStream& in, avo::WString& tag, Row& row) {
  in.getBeginOfList();
  in.get(tag);
  switch (tag.empty() ? u'?' : tag[0]) {
    case u'N':
      in.get(row.amount);
      break;
    case u'S':
      in.get(row.note);
      break;
    case u'B':
      in.get(row.flag);
      break;
    case u'D':
      in.get(row.date);
      break;
    default:
      throw std::runtime_error("unknown cell tag");
  }
  in.getEndOfList();
}

// Reads the whole table; `keep` stores the rows (otherwise one row object is reused).
void read_table(core::ListInStream& in, Table& table, bool keep) {
  in.getBeginOfList();
  in.getBeginOfList();
  in.get(table.name);
  in.get(table.version);
  in.get(table.id);
  in.getBeginOfList();
  table.columns.clear();
  while (!in.isEndOfList()) {
    auto& column = table.columns.emplace_back();
    in.getBeginOfList(), in.get(column.first), in.get(column.second), in.getEndOfList();
  }
  in.getEndOfList();
  in.get(table.blob);
  in.get(table.rowCount);
  in.getEndOfList();
  avo::WString tag;
  Row row;
  table.rows.clear();
  while (!in.isEndOfList()) {
    in.getBeginOfList();
    in.get(row.id);
    for (int k = 0; k < 4; ++k) read_cell(in, tag, row);
    in.getEndOfList();
    if (keep) table.rows.push_back(row);
  }
  in.getEndOfList();
}

void write_table(core::ListOutStream& out, const Table& table) {
  out.putBeginOfList();
  out.putBeginOfList();
  out.put(table.name);
  out.put(table.version);
  out.put(table.id);
  out.putBeginOfList();
  for (const auto& column : table.columns) {
    out.putBeginOfList(), out.put(column.first), out.put(column.second), out.putEndOfList();
  }
  out.putEndOfList();
  out.put(table.blob);
  out.put(table.rowCount);
  out.putEndOfList();
  for (const Row& row : table.rows) {
    out.putBeginOfList();
    out.put(row.id);
    out.putBeginOfList(), out.put(u"N"), out.put(row.amount), out.putEndOfList();
    out.putBeginOfList(), out.put(u"S"), out.put(row.note), out.putEndOfList();
    out.putBeginOfList(), out.put(u"B"), out.put(row.flag), out.putEndOfList();
    out.putBeginOfList(), out.put(u"D"), out.put(row.date), out.putEndOfList();
    out.putEndOfList();
  }
  out.putEndOfList();
}

const Data& data() {
  static const Data* loaded = [] {
    auto* d = new Data;
    const std::string utf16 = read_file("table.ls.utf16le");
    d->text.assign(reinterpret_cast<const char16_t*>(utf16.data()), utf16.size() / 2);
    d->json = read_file("table.json");
    auto reader = core::create_memory_view_reader(d->text);
    core::ListInStream in(reader.get());
    read_table(in, d->table, true);
    auto file = core::create_memory_file();
    {
      core::ListOutStream out(file.get());
      write_table(out, d->table);
      out.flush();
    }
    d->packed.assign(file->getData(), file->getData() + file->getSize());
    rapidjson::Document document;
    document.Parse(d->json.data(), d->json.size());
    const auto& header = document[0];
    d->jsonName = header[0].GetString();
    d->jsonGuid = header[2].GetString();
    for (const auto& column : header[3].GetArray())
      d->jsonColumns.emplace_back(column[0].GetString(), column[1].GetString());
    d->jsonBlob = header[4].GetString();
    for (const Row& row : d->table.rows) {
      d->jsonRows.push_back({static_cast<long long>(row.id), static_cast<double>(row.amount),
                             avo::to_std_utf8(row.note), row.flag, static_cast<long long>(row.date)});
    }
    return d;
  }();
  return *loaded;
}

void set_counters(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  state.counters["MB"] = static_cast<double>(bytes) / 1e6;  // the size of the form read or written
}

// ----- reading

void BM_Floor_ScanUtf16(benchmark::State& state) {
  const std::u16string& text = data().text;
  for (auto _ : state) {
    std::size_t count = 0;
    for (const char16_t c : text) count += (c == u'{') + (c == u'}') + (c == u',') + (c == u'"');
    benchmark::DoNotOptimize(count);
  }
  set_counters(state, text.size() * 2);
}
BENCHMARK(BM_Floor_ScanUtf16)->Unit(benchmark::kMillisecond);

void BM_ListText_ReadEveryItem(benchmark::State& state) {
  const std::u16string& text = data().text;
  Table table;
  for (auto _ : state) {
    auto reader = core::create_memory_view_reader(text);
    core::ListInStream in(reader.get());
    read_table(in, table, false);
    benchmark::DoNotOptimize(table.rowCount);
  }
  set_counters(state, text.size() * 2);
}
BENCHMARK(BM_ListText_ReadEveryItem)->Unit(benchmark::kMillisecond);

void BM_ListText_SkipContent(benchmark::State& state) {
  const std::u16string& text = data().text;
  for (auto _ : state) {
    auto reader = core::create_memory_view_reader(text);
    core::ListInStream in(reader.get());
    in.getBeginOfList();
    in.skipListContent();
    in.getEndOfList();
  }
  set_counters(state, text.size() * 2);
}
BENCHMARK(BM_ListText_SkipContent)->Unit(benchmark::kMillisecond);

void BM_RapidJson_Dom(benchmark::State& state) {
  const std::string& json = data().json;
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse(json.data(), json.size());
    if (document.HasParseError()) state.SkipWithError("JSON parse error");
    benchmark::DoNotOptimize(document.Size());
  }
  set_counters(state, json.size());
}
BENCHMARK(BM_RapidJson_Dom)->Unit(benchmark::kMillisecond);

void BM_RapidJson_Sax(benchmark::State& state) {
  const std::string& json = data().json;
  for (auto _ : state) {
    rapidjson::Reader reader;
    rapidjson::BaseReaderHandler<> handler;
    rapidjson::MemoryStream stream(json.data(), json.size());
    if (!reader.Parse(stream, handler)) state.SkipWithError("JSON parse error");
  }
  set_counters(state, json.size());
}
BENCHMARK(BM_RapidJson_Sax)->Unit(benchmark::kMillisecond);

void BM_Simdjson_Dom(benchmark::State& state) {
  const simdjson::padded_string json(data().json);
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(json).get(root) != simdjson::SUCCESS) state.SkipWithError("JSON parse error");
    benchmark::DoNotOptimize(root);
  }
  set_counters(state, json.size());
}
BENCHMARK(BM_Simdjson_Dom)->Unit(benchmark::kMillisecond);

void BM_ListPacked_ReadEveryItem(benchmark::State& state) {
  const std::vector<std::uint8_t>& packed = data().packed;
  auto file = core::create_memory_file(packed.data(), packed.size());
  Table table;
  for (auto _ : state) {
    file->setPosition(0);
    core::ListInStream in(static_cast<core::IFile*>(file.get()));
    read_table(in, table, false);
    benchmark::DoNotOptimize(table.rowCount);
  }
  set_counters(state, packed.size());
}
BENCHMARK(BM_ListPacked_ReadEveryItem)->Unit(benchmark::kMillisecond);

// ----- writing

void BM_ListText_Write(benchmark::State& state) {
  const Table& table = data().table;
  auto writer = core::MemoryWriter::create();
  for (auto _ : state) {
    writer->clear();
    core::ListOutStream out(writer.get());
    write_table(out, table);
    benchmark::DoNotOptimize(writer->text().size());
  }
  set_counters(state, writer->text().size() * 2);
}
BENCHMARK(BM_ListText_Write)->Unit(benchmark::kMillisecond);

void BM_RapidJson_Writer(benchmark::State& state) {
  const Data& d = data();
  rapidjson::StringBuffer buffer;
  for (auto _ : state) {
    buffer.Clear();
    rapidjson::Writer<rapidjson::StringBuffer> w(buffer);
    w.StartArray();
    w.StartArray();
    w.String(d.jsonName.c_str());
    w.Int(d.table.version);
    w.String(d.jsonGuid.c_str());
    w.StartArray();
    for (const auto& [name, kind] : d.jsonColumns)
      w.StartArray(), w.String(name.c_str()), w.String(kind.c_str()), w.EndArray();
    w.EndArray();
    w.String(d.jsonBlob.c_str());
    w.Int64(static_cast<long long>(d.table.rowCount));
    w.EndArray();
    for (const Data::JsonRow& row : d.jsonRows) {
      w.StartArray();
      w.Int64(row.id);
      w.StartArray(), w.String("N"), w.Double(row.amount), w.EndArray();
      w.StartArray(), w.String("S"), w.String(row.note.data(), static_cast<rapidjson::SizeType>(row.note.size())),
          w.EndArray();
      w.StartArray(), w.String("B"), w.Bool(row.flag), w.EndArray();
      w.StartArray(), w.String("D"), w.Int64(row.date), w.EndArray();
      w.EndArray();
    }
    w.EndArray();
    benchmark::DoNotOptimize(buffer.GetSize());
  }
  set_counters(state, buffer.GetSize());
}
BENCHMARK(BM_RapidJson_Writer)->Unit(benchmark::kMillisecond);

void BM_ListPacked_Write(benchmark::State& state) {
  const Table& table = data().table;
  auto file = core::create_memory_file();
  for (auto _ : state) {
    file->setSize(0);
    file->setPosition(0);
    core::ListOutStream out(static_cast<core::IFile*>(file.get()));
    write_table(out, table);
    out.flush();
  }
  set_counters(state, file->getSize());
}
BENCHMARK(BM_ListPacked_Write)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
