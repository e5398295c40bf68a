// The man page is the help texts themselves, set as preformatted roff, so that the two never disagree.
#include "Manual.h"

#include <sstream>

#include "core/Version.h"

namespace kern {

const char* const kToolManual = R"(Each command has its own manual: kern COMMAND --help.

Exit status: 0 success; 1 bad data, or input or output that failed (a file that cannot be read, a
full disk); 2 misuse of the command line (an unknown command or option, a missing or malformed
argument). Messages go to standard error, one line each, starting with "kern: ". A file argument
"-" reads standard input.

Environment: LC_ALL, LC_MESSAGES, LANG (the first one set) choose the language of the library's
messages: a value starting with "ru" gives Russian, anything else English. TZ sets the time zone
of kern cron.

The binary is build/release/tools/kern/kern after scripts/examples; `cmake --install` puts it in
bin/ and this manual in share/man/man1/kern.1.)";

namespace {

// Text as roff shows it verbatim: backslashes doubled, and a line starting with a dot or quote guarded.
std::string roff_verbatim(const std::string& text) {
  std::ostringstream out;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && (line[0] == '.' || line[0] == '\'')) out << "\\&";
    for (char c : line) {
      if (c == '\\') {
        out << "\\e";
      } else {
        out << c;
      }
    }
    out << '\n';
  }
  return out.str();
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// A section per subcommand, each followed by those of its own subcommands ("KERN LIST TO-JSON").
void add_sections(std::ostringstream& out, const CLI::App& parent, const std::string& title) {
  for (const CLI::App* command : parent.get_subcommands([](const CLI::App*) { return true; })) {
    const std::string name = title + " " + upper(command->get_name());
    out << ".SH \"" << name << "\"\n.nf\n" << roff_verbatim(command->help()) << ".fi\n";
    add_sections(out, *command, name);
  }
}

}  // namespace

std::string man_page(const CLI::App& app) {
  std::ostringstream out;
  out << ".TH KERN 1 \"\" \"kern " << KERN83_VERSION << "\" \"User Commands\"\n";
  out << ".SH NAME\nkern \\- " << roff_verbatim(app.get_description().substr(6));
  out << ".SH SYNOPSIS\n.B kern\n.I COMMAND\n[\\fIOPTIONS\\fR] [\\fIARGUMENTS\\fR]\n";
  out << ".SH DESCRIPTION\n.nf\n" << roff_verbatim(app.help()) << ".fi\n";
  add_sections(out, app, "KERN");
  return out.str();
}

}  // namespace kern
