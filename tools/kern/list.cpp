// kern list: list-stream text files from the command line.
//
//   kern list check FILE
//       exit status 0 when FILE holds exactly one well-formed list (blanks around it allowed), printing
//       nothing; otherwise exit status 1 and one line on standard output:
//           FILE:LINE:COLUMN: error: line LINE, column COLUMN: expected WHAT
//       (LINE and COLUMN from 1, COLUMN in UTF-16 code units).
//   kern list fmt FILE
//       the same tree for people to read: one item per line, two spaces of indentation per level.
//   kern list fmt --compact FILE
//       the writer's canonical layout; strings are decoded and written again by the writer (a surrogate
//       pair comes out as its two escapes), every other item as it stands.
//
// Files are UTF-8 (with or without a byte-order mark) or UTF-16LE with a byte-order mark; output is
// UTF-8. A malformed file gives the check line and exit status 1 for fmt too; a file that cannot be read
// gives "FILE: error: ..." and exit status 1.

#include <iostream>
#include <string>
#include <vector>

#include "Command.h"
#include "core/CharStream.h"
#include "core/Exception.h"
#include "core/File.h"
#include "core/ListDocument.h"
#include "core/ListStream.h"

namespace {

// The indented layout:
//   {
//     1,
//     {
//       "a"
//     },
//     {}
//   }
class IndentedWriter final : public core::ListDocumentHandler {
 public:
  explicit IndentedWriter(core::IWriter* out) : out_(out) {}

  void beginList() override {
    beforeItem();
    out_->write(u'{');
    counts_.push_back(0);
  }
  void endList() override {
    const bool empty = counts_.back() == 0;
    counts_.pop_back();
    if (!empty) {
      out_->write(u'\n');
      indent();
    }
    out_->write(u'}');
  }
  void stringItem(std::u16string_view text) override {
    beforeItem();
    core::to_stream(out_, text.data(), static_cast<std::ptrdiff_t>(text.size()));
  }
  // Base64 data spans lines: each of its lines is indented like the item.
  void rawItem(std::u16string_view text) override {
    beforeItem();
    for (bool first = true; !text.empty(); first = false) {
      std::size_t end = text.find(u'\n');
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

 private:
  void beforeItem() {
    if (counts_.empty()) return;  // the outermost list
    out_->write(counts_.back()++ == 0 ? u"\n" : u",\n", -1);
    indent();
  }
  void indent() {
    for (std::size_t i = 0; i < counts_.size(); ++i) out_->write(u"  ", 2);
  }

  core::IWriter* out_;
  std::vector<std::size_t> counts_;  // items so far in each open list
};

struct Options {
  std::string file;
  bool compact = false;
};

// Parses the file into `out` (fmt) or nowhere (check); prints the error line and returns 1 on failure.
int run(const Options& options, bool format) {
  try {
    core::InterfacePtr<core::IFileEx> file = core::open_file(options.file, core::FileMode::Read);
    core::InterfacePtr<core::BufferedReader> reader = core::create_file_reader(file.get());
    core::InterfacePtr<core::MemoryWriter> out = core::MemoryWriter::create();
    core::ListSyntaxError error;
    bool ok;
    if (format && options.compact) {
      ok = core::format_list_document_compact(reader.get(), out.get(), error);
    } else {
      IndentedWriter indented(out.get());
      struct Ignore final : core::ListDocumentHandler {
        void beginList() override {}
        void endList() override {}
        void stringItem(std::u16string_view) override {}
        void rawItem(std::u16string_view) override {}
      } ignore;
      ok = format ? core::parse_list_document(reader.get(), indented, error)
                  : core::parse_list_document(reader.get(), ignore, error);
    }
    if (!ok) {
      const core::ListPosition& at = error.position;
      std::cout << options.file << ":" << at.line << ":" << at.column << ": error: line " << at.line << ", column "
                << at.column << ": expected " << error.expected << "\n";
      return 1;
    }
    if (format) std::cout << avo::to_std_utf8(out->text()) << "\n";
    return 0;
  } catch (const core::Exception& e) {
    std::cout << options.file << ": error: " << e.what() << "\n";
    return 1;
  }
}

void setup(CLI::App& app, int& exitCode) {
  CLI::App* list = app.add_subcommand("list", "List-stream text files: check and format");
  list->require_subcommand(1);

  static Options check;
  CLI::App* checkCommand = list->add_subcommand("check", "Exit 0 when the file holds exactly one well-formed list");
  checkCommand->add_option("file", check.file, "List-stream text file (UTF-8, or UTF-16LE with BOM)")->required();
  checkCommand->callback([&exitCode] { exitCode = run(check, false); });

  static Options fmt;
  CLI::App* fmtCommand = list->add_subcommand("fmt", "Print the list indented, or in the writer's layout");
  fmtCommand->add_option("file", fmt.file, "List-stream text file (UTF-8, or UTF-16LE with BOM)")->required();
  fmtCommand->add_flag("--compact", fmt.compact, "The writer's canonical layout instead of indentation");
  fmtCommand->callback([&exitCode] { exitCode = run(fmt, true); });
}

}  // namespace

static kern::CommandRegistration registration{"list", &setup};
