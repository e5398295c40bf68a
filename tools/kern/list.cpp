// kern list: list-stream text files from the command line: check, lay out again, and a bridge to JSON.
// The manual of each subcommand is its --help footer below.
//
// Every subcommand reads through the library's document reader (core/ListDocument.h), which holds one
// item at a time and keeps no stack per level, and writes as it reads; the nesting limit bounds the
// only thing that grows with the input besides one item: the indentation of fmt.

#include <cstdint>
#include <string>
#include <vector>

#include "Command.h"
#include "Files.h"
#include "ListJson.h"
#include "core/CharStream.h"
#include "core/Exception.h"
#include "core/File.h"
#include "core/ListDocument.h"
#include "core/ListStream.h"
#include "core/Resources.h"

namespace {

// Deliberately the same for every subcommand, so that what check accepts the others accept too.
constexpr std::uint64_t kMaxDepth = 10000;

const char* const kListManual = R"(A list-stream text holds one list:

    list = "{" [ item *( "," item ) ] "}"
    item = list / string / number / GUID / Base64 data

  string  "text"; a quotation mark inside is doubled (""""); "\ and four hexadecimal digits is one
          UTF-16 unit, so U+1F600 is ""\d83d"\de00"
  number  optional sign, digits, optional point and digits, optional exponent: 12, -0.5, 1.5e2;
          inf, -inf, nan. Booleans are 0 and 1, dates in value lists 20240229093000
  GUID    36 characters: 8-4-4-4-12 hexadecimal digits
  Base64  A-Z a-z 0-9 + /, "=" padding, line breaks anywhere between the characters
Blanks may stand around every token. Files are UTF-8 (with or without a byte-order mark) or UTF-16LE
with a byte-order mark; output is UTF-8. The whole grammar: docs/list-stream.md.

A malformed file gives one line on standard error and exit status 1:
    kern: FILE:LINE:COL: Invalid data format in list stream: expected WHAT
LINE and COL count from 1, COL in UTF-16 units; FILE is "-" for standard input. The words before
"expected" follow the message language (LANG). A file that cannot be read: kern: FILE: REASON.

Limits: lists nest at most 10000 deep (a deeper "{" is an error: expected at most 10000 nested
lists). Memory holds one item at a time, whatever the size of the file; the output is written as
the input is read, so a fault stops it where it is found.

Exit status: 0 success; 1 a malformed or unreadable file, or output that cannot be written; 2 misuse
of the command line.

Examples:
    kern list check a.ls b.ls
    kern list fmt data.ls | less
    kern list to-json data.ls | jq '.[0][1]'
)";

const char* const kCheckManual =
    R"(Prints nothing for a well-formed FILE: exactly one list, blanks around it allowed, lists nested at
most 10000 deep. For a malformed one, one line on standard error:
    kern: FILE:LINE:COL: Invalid data format in list stream: expected WHAT
(LINE, COL from 1, COL in UTF-16 units), and the next files are still checked. FILE "-" is standard
input.

Exit status: 0 when every file is well-formed; 1 when one is not or cannot be read; 2 misuse.

Examples:
    kern list check data.ls backup.ls
    printf '{1 2}' | kern list check -
        kern: -:1:4: Invalid data format in list stream: expected "," or "}"
)";

const char* const kFmtManual = R"(Writes the list in FILE ("-": standard input) to standard output, UTF-8.

Indented (the default): one item per line, two spaces per level, "{}" for an empty list, strings
quoted as the writer quotes them, Base64 data one line per input line:
    {
      1,
      {
        "a""b"
      },
      {}
    }
--compact: the writer's own layout, the text a program writing the same items produces: no
blanks, a line feed before every nested "{" and before the "}" of a list that held a list;
strings decoded and written again, every other item as it stands:
    {1,
    {"a""b"},
    {}
    }

The output is written as the input is read, in memory for one item; lists nest at most 10000 deep.
A malformed file ends the output at the fault, with the error on standard error (see kern list
--help) and exit status 1. Exit status: 0 success; 1 bad or unreadable input, failed write; 2 misuse.

Examples:
    kern list fmt data.ls
    kern list fmt --compact - < edited.ls > data.ls
)";

const char* const kToJsonManual =
    R"(Writes the list in FILE ("-": standard input) as JSON on standard output, one value per item:

    list                      [ ... ]            a line feed before every nested "[" and before the
                                                 "]" of an array that held an array
    string                    "text"             UTF-8; an unpaired surrogate unit as \udxxx
    number JSON can write     12.50, -1.5e2      every digit of the item, as it stands
    other number              {"number":"inf"}   inf, nan, a "+" sign, leading zeros, "1.", ".5",
                                                 digits other than ASCII
    GUID                      {"guid":"0123abcd-0000-4000-8000-00000000ffff"}
    Base64 data               {"base64":"YWJj"}  without the writer's line breaks (CR LF after each
                                                 64 characters, and after the last when they fill
                                                 the line)
    other bare item           {"raw":"YWJj\nZGVm"}   Base64 data broken into lines otherwise, as it
                                                 stands

The text carries no types: booleans are the numbers 0 and 1, a date in a value list is a number,
Base64 data made of digits only is a number. Each item is classified by its text, in the order
above, and the mapping is lossless: kern list from-json gives back the text of kern list fmt
--compact, byte for byte.

Memory holds one item; lists nest at most 10000 deep. A malformed file ends the output at the fault,
with the error on standard error (see kern list --help). Exit status: 0 success; 1 bad or unreadable
input, failed write; 2 misuse.

jq 1.6 reads numbers as doubles: through it, numbers of more than 17 significant digits lose
digits (1.5e2 comes out as 150).

Examples:
    kern list to-json data.ls > data.json
    kern list to-json data.ls | jq -c '.[1:][] | select(.[1][1] > 100)'
)";

const char* const kFromJsonManual =
    R"(Reads JSON from FILE ("-": standard input) and writes list-stream text in the writer's layout (as
kern list fmt --compact) on standard output: the reverse of kern list to-json (see its --help).

Accepted: an array at the top; inside, arrays (lists), strings, numbers (written with their JSON
text), true and false (1 and 0), and the tagged objects {"number": TEXT}, {"guid": TEXT},
{"base64": TEXT} and {"raw": TEXT}, each with that one member and TEXT an item of the list-stream
grammar of that kind ({"base64"} without line breaks: they are put back as the writer puts them).
A string ends at a \u0000, as the list writer ends it. Arrays nest at most 10000 deep. Memory
holds one item.

Malformed JSON, ill-formed UTF-8, null, other objects: one line on standard error and exit status 1,
    kern: FILE:LINE:COL: MESSAGE
(LINE and COL from 1, COL in characters); the output ends where the fault was found. Exit status:
0 success; 1 bad or unreadable input, failed write; 2 misuse.

Examples:
    kern list to-json data.ls | jq '.[1][0] = "renamed"' | kern list from-json - > data2.ls
    echo '[1, "a", {"guid": "0123abcd-0000-4000-8000-00000000ffff"}]' | kern list from-json -
)";

// The indented layout: every item on a line of its own, two spaces per open list.
class IndentedWriter final : public core::ListDocumentHandler {
 public:
  explicit IndentedWriter(core::IWriter* out) : out_(out) {}

  void beginList() override {
    beforeItem();
    out_->write(u'{');
    ++depth_;
    empty_ = true;
  }
  void endList() override {
    --depth_;
    if (!empty_) {
      out_->write(u'\n');
      indent();
    }
    out_->write(u'}');
    empty_ = false;  // the enclosing list holds this one
  }
  void stringItem(std::u16string_view text) override {
    beforeItem();
    core::to_stream(out_, text.data(), static_cast<std::ptrdiff_t>(text.size()));
  }
  // Base64 data spans lines: each of its lines is indented like the item.
  void rawItem(std::u16string_view text) override {
    beforeItem();
    for (bool first = true; !text.empty(); first = false) {
      const std::size_t end = text.find(u'\n');
      std::u16string_view line = text.substr(0, end);
      text.remove_prefix(end == std::u16string_view::npos ? text.size() : end + 1);
      while (!line.empty() && (line.back() == u'\r' || line.back() == u' ')) line.remove_suffix(1);
      while (!line.empty() && line.front() == u' ') line.remove_prefix(1);
      if (line.empty()) continue;
      if (!first) {
        out_->write(u'\n');
        indent();
      }
      out_->write(line.data(), static_cast<std::ptrdiff_t>(line.size()));
    }
  }
  void finish() { out_->write(u'\n'); }

 private:
  void beforeItem() {
    if (depth_ == 0) return;  // the outermost list
    out_->write(empty_ ? u"\n" : u",\n", -1);
    empty_ = false;
    indent();
  }
  void indent() {
    static constexpr char16_t kSpaces[] = u"                                                                ";
    constexpr std::uint64_t kRun = sizeof kSpaces / sizeof kSpaces[0] - 1;
    for (std::uint64_t left = 2 * depth_; left > 0;) {
      const std::uint64_t run = left < kRun ? left : kRun;
      out_->write(kSpaces, static_cast<std::ptrdiff_t>(run));
      left -= run;
    }
  }

  core::IWriter* out_;
  std::uint64_t depth_ = 0;
  bool empty_ = true;  // no item yet in the innermost open list
};

// Reads nothing into anything: check.
struct Ignore final : core::ListDocumentHandler {
  void beginList() override {}
  void endList() override {}
  void stringItem(std::u16string_view) override {}
  void rawItem(std::u16string_view) override {}
};

enum class Action { kCheck, kIndent, kCompact, kToJson, kFromJson };

int syntax_error(const std::string& file, const core::ListSyntaxError& error) {
  return kern::fail(file + ":" + std::to_string(error.position.line) + ":" + std::to_string(error.position.column) +
                    ": " + avo::to_std_utf8(core::resource_string(error.key)) + ": expected " + error.expected);
}

int json_error(const std::string& file, const kern::list_json::JsonError& error) {
  return kern::fail(file + ":" + std::to_string(error.line) + ":" + std::to_string(error.column) + ": " +
                    error.message);
}

// Reads `file`, writes what `action` makes of it on standard output; returns the exit status.
int run_on(const std::string& file, Action action) {
  try {
    core::InterfacePtr<core::IFile> input = kern::open_input(file);
    if (action == Action::kCheck) {
      auto reader = core::create_file_reader(input.get());
      Ignore ignore;
      core::ListSyntaxError error;
      return core::parse_list_document(reader.get(), ignore, error, kMaxDepth) ? kern::kSuccess
                                                                               : syntax_error(file, error);
    }
    core::InterfacePtr<core::IFile> output = kern::standard_output();
    core::InterfacePtr<core::BufferedWriter> out =
        core::create_file_writer(output.get(), core::TextEncoding::Utf8, false);
    if (action == Action::kFromJson) {
      kern::list_json::JsonError error;
      const bool ok = kern::list_json::json_to_list(input.get(), out.get(), error, kMaxDepth);
      if (ok) out->write(u'\n');
      out->close();
      return ok ? kern::kSuccess : json_error(file, error);
    }
    auto reader = core::create_file_reader(input.get());
    core::ListSyntaxError error;
    bool ok = false;
    if (action == Action::kCompact) {
      ok = core::format_list_document_compact(reader.get(), out.get(), error, kMaxDepth);
      if (ok) out->write(u'\n');
    } else if (action == Action::kIndent) {
      IndentedWriter indented(out.get());
      ok = core::parse_list_document(reader.get(), indented, error, kMaxDepth);
      if (ok) indented.finish();
    } else {
      ok = kern::list_json::list_to_json(reader.get(), *out, error, kMaxDepth);
    }
    out->close();
    return ok ? kern::kSuccess : syntax_error(file, error);
  } catch (const kern::OutputError&) {
    return kern::kDataError;  // main reports the failed standard output
  } catch (const core::Exception& e) {
    return kern::fail(file + ": " + e.what());
  }
}

CLI::App* add_command(CLI::App* list, const char* name, const char* description, const char* manual) {
  CLI::App* command = list->add_subcommand(name, description);
  command->footer(manual);
  return command;
}

void setup(CLI::App& app, int& exitCode) {
  CLI::App* list = app.add_subcommand("list", "List-stream text: check, lay out, convert to and from JSON");
  list->require_subcommand(1);
  list->footer(kListManual);
  const char* const fileHelp = "List-stream text file: UTF-8, or UTF-16LE with a byte-order mark; - for standard input";

  static std::vector<std::string> checkFiles;
  CLI::App* check = add_command(list, "check", "Exit 0 when every file holds one well-formed list", kCheckManual);
  check->add_option("files", checkFiles, fileHelp)->required();
  check->callback([&exitCode] {
    for (const std::string& file : checkFiles) {
      if (run_on(file, Action::kCheck) != kern::kSuccess) exitCode = kern::kDataError;
    }
  });

  static std::string fmtFile;
  static bool compact = false;
  CLI::App* fmt = add_command(list, "fmt", "Print the list indented, or in the writer's layout", kFmtManual);
  fmt->add_option("file", fmtFile, fileHelp)->required();
  fmt->add_flag("--compact", compact, "The writer's layout instead of indentation");
  fmt->callback([&exitCode] { exitCode = run_on(fmtFile, compact ? Action::kCompact : Action::kIndent); });

  static std::string toJsonFile;
  CLI::App* toJson = add_command(list, "to-json", "Print the list as JSON, losslessly", kToJsonManual);
  toJson->add_option("file", toJsonFile, fileHelp)->required();
  toJson->callback([&exitCode] { exitCode = run_on(toJsonFile, Action::kToJson); });

  static std::string fromJsonFile;
  CLI::App* fromJson =
      add_command(list, "from-json", "Print the list-stream text of JSON written by to-json", kFromJsonManual);
  fromJson->add_option("file", fromJsonFile, "JSON file, UTF-8; - for standard input")->required();
  fromJson->callback([&exitCode] { exitCode = run_on(fromJsonFile, Action::kFromJson); });
}

}  // namespace

static kern::CommandRegistration registration{"list", &setup};
