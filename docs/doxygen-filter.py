#!/usr/bin/env python3
"""Presents a public header's plain comments to doxygen as documentation (doxygen's INPUT_FILTER).

The headers are the manual and keep the house style: plain `//` comments, no doxygen markup. This filter
rewrites a header on its way into doxygen, and only its comments:

  - the comment block at the top (after `#pragma once`) documents the file;
  - a `//` block directly above a declaration (no blank line between) documents it; when further
    declarations of the same scope follow without a blank line or a comment, the block documents each of
    them (they become one doxygen member group, whose first member's text DISTRIBUTE_GROUP_DOC hands on;
    a destructor or a deleted copy ends such a run);
  - a trailing `// text` after a declaration or an enumerator documents it (`///< text`); a NOLINT marker
    is left out of the text, and a comment that is only a marker stays a plain comment;
  - a trailing `// text` after a macro invocation that makes a class documents that class;
  - a `/* text */` inside a macro definition documents the member it stands before or after;
  - an interface's `IID` and a class's `CLSID` without a comment of their own refer to IUnknown::IID and
    Exception::CLSID, where the convention is described once;
  - specialisations of std templates (std::hash) are left out of the manual;
  - every other comment (inside function bodies, section rulers, notes followed by a blank line) stays a
    plain comment.

Prose is escaped so that doxygen takes it literally (backslashes, `@`, `<`, `>`, `&`, `#`), except inside
`code spans` and indented example blocks. Lines are never removed, and added only after the last one,
so the line numbers in doxygen's warnings are the header's own.

The rule for runs can attach a comment to a neighbour it was not written for; `--groups` lists every
run that shares a comment, for review:

Usage: doxygen-filter.py HEADER            (writes the filtered header to standard output)
       doxygen-filter.py --groups HEADER...  (lists the runs that share a comment)
"""

import re
import sys

# ---------------------------------------------------------------------------------------------------
# Lexing: each line split into code (literals blanked, comments removed) and its trailing // comment.


class Line:
    def __init__(self, text):
        self.text = text  # without the line break
        self.code = ""  # code with string and character literals blanked, comments removed
        self.comment = None  # text after "//", or None
        self.comment_col = -1  # column of the "//"
        self.directive = False  # a preprocessor line (or a continuation of one)
        self.depth = 0  # scope depth at the start of the line
        self.decl_scope = True  # whether the line starts in a namespace, class or enum scope
        self.enum_scope = False  # whether that scope is an enumeration
        self.starts_statement = False  # whether a new declaration begins on this line
        self.ends_at = set()  # the scope depths at which a declaration ends on this line
        self.opens_scope = False  # whether the line opens a namespace, class or enum scope
        self.prefix = ""  # put before the line on output

    @property
    def blank(self):
        return not self.text.strip()

    @property
    def comment_only(self):
        return self.comment is not None and not self.code.strip() and not self.directive


def lex(lines):
    in_block = False
    continued = False
    for line in lines:
        text = line.text
        line.directive = continued or text.lstrip().startswith("#")
        continued = line.directive and text.endswith("\\")
        code = []
        i = 0
        while i < len(text):
            c = text[i]
            if in_block:
                end = text.find("*/", i)
                if end < 0:
                    i = len(text)
                else:
                    in_block = False
                    i = end + 2
                continue
            if text.startswith("//", i):
                line.comment = text[i + 2:]
                line.comment_col = i
                break
            if text.startswith("/*", i):
                in_block = True
                i += 2
                continue
            if c in "\"'":
                j = i + 1
                while j < len(text) and text[j] != c:
                    j += 2 if text[j] == "\\" else 1
                code.append(c + c)
                i = j + 1
                continue
            code.append(c)
            i += 1
        line.code = "".join(code)


# ---------------------------------------------------------------------------------------------------
# Scopes and statements.

ACCESS = re.compile(r"^\s*(public|protected|private)\s*:(?!:)")
MACRO_CALL = re.compile(r"^\s*[A-Z][A-Z0-9_]*\(.*\)\s*$")
DELETED_COPY = re.compile(r"\(const \w+&\)\s*=\s*delete")
MACRO_START = re.compile(r"^\s*[A-Z][A-Z0-9_]*\(")
SCOPE_KEYWORD = re.compile(r"^(?:friend\s+)?(class|struct|union|enum|namespace|extern\s*\"\")\b")


def strip_template_head(text):
    """The declaration without a leading `template <...>` parameter list."""
    text = text.strip()
    while text.startswith("template"):
        start = text.find("<")
        if start < 0:
            return text
        depth = 0
        for i in range(start, len(text)):
            if text[i] == "<":
                depth += 1
            elif text[i] == ">":
                depth -= 1
                if depth == 0:
                    text = text[i + 1:].strip()
                    break
        else:
            return text
    return text


def analyse(lines):
    stack = []  # per open brace: "decl", "enum" or "body"
    pending = ""  # code of the statement in progress at the current level
    for line in lines:
        line.depth = len(stack)
        line.decl_scope = not stack or stack[-1] != "body"
        line.enum_scope = bool(stack) and stack[-1] == "enum"
        if line.directive:
            pending = ""
            continue
        code = line.code
        if ACCESS.match(code):
            pending = ""
            continue
        line.starts_statement = (line.decl_scope and not pending.strip() and bool(code.strip())
                                 and not code.lstrip().startswith("}"))
        for c in code:
            if c == "{":
                head = strip_template_head(pending)
                match = SCOPE_KEYWORD.match(head)
                if stack and stack[-1] == "body":
                    kind = "body"
                elif match and "=" not in head:
                    kind = "enum" if match.group(1) == "enum" else "decl"
                else:
                    kind = "body"
                if kind != "body" and len(stack) == line.depth:
                    line.opens_scope = True
                stack.append(kind)
                pending = ""
            elif c == "}":
                if stack:
                    stack.pop()
                line.ends_at.add(len(stack))
                pending = ""
            elif c == ";":
                line.ends_at.add(len(stack))
                pending = ""
            else:
                pending += c
        if line.enum_scope and line.code.rstrip().endswith(","):
            line.ends_at.add(line.depth)
            pending = ""
        # A macro invocation (a class-making macro, which has no ";") ends where its parentheses close.
        if line.decl_scope and len(stack) == line.depth and MACRO_START.match(pending) \
                and pending.count("(") == pending.count(")") and pending.rstrip().endswith(")"):
            line.ends_at.add(line.depth)
            pending = ""


# ---------------------------------------------------------------------------------------------------
# Escaping prose for doxygen.

SPECIAL = re.compile(r"[\\@<>&#]")


def escape(text):
    """`text` with doxygen's special characters escaped outside `code spans`."""
    parts = text.split("`")
    if len(parts) % 2 == 0:  # an unpaired backtick: no code spans on this line
        parts = [text]
    for i in range(0, len(parts), 2):
        parts[i] = SPECIAL.sub(lambda m: "\\" + m.group(0), parts[i])
    return "`".join(parts)


def doc_lines(comments):
    """Comment texts (after "//") as documentation texts: prose escaped, example blocks kept."""
    out = []
    in_code = False
    previous_blank = True
    for text in comments:
        body = text[1:] if text.startswith(" ") else text
        indented = body.startswith("    ")
        in_code = indented and (in_code or previous_blank) and bool(body.strip())
        out.append(text if in_code else escape(text))
        previous_blank = not body.strip()
    return out


NOLINT = re.compile(r"^\s*NOLINT(\([^)]*\))?\s*[:;]?\s*")


def trailing_doc(comment):
    """The documentation text of a trailing comment, or None when it is only a NOLINT marker."""
    text = NOLINT.sub("", comment).strip()
    return escape(text) if text else None


# ---------------------------------------------------------------------------------------------------
# Rewriting.


def comment_block_end(lines, start):
    end = start
    while end < len(lines) and lines[end].comment_only:
        end += 1
    return end


def run_of_statements(lines, first):
    """The statements that `lines[first]` begins and that follow it at its level without a break: a list
    of (first line, last line)."""
    statements = []
    i = first
    while i < len(lines):
        line = lines[i]
        if line.blank or line.comment_only or line.directive or not line.starts_statement:
            break
        if line.depth != lines[first].depth or (statements and MACRO_START.match(line.code)):
            break
        end = i
        while end < len(lines) and line.depth not in lines[end].ends_at:
            end += 1
        if end == len(lines):
            break
        # A destructor or a deleted copy ends a run: the comment above is about what precedes it.
        if statements and (re.match(r"^\s*(virtual\s+)?~", line.code) or DELETED_COPY.search(line.code)):
            break
        # A class documents itself alone (a member group holds members, not classes).
        if line.opens_scope:
            if not statements:
                statements.append((i, end))
            break
        statements.append((i, end))
        if MACRO_START.match(line.code):
            break
        i = end + 1
    return statements


def run_of_defines(lines, first):
    """One-line #defines following each other from `lines[first]`, as (line, line) pairs."""
    run = []
    i = first
    while i < len(lines) and lines[i].text.lstrip().startswith("#define") and not lines[i].text.endswith("\\"):
        run.append((i, i))
        i += 1
    return run


def set_comment(line, marker, text):
    line.text = line.text[: line.comment_col] + marker + (" " + text if text else "")


def hide_std_specialisations(lines):
    """`template <> struct std::...` blocks between \\cond and \\endcond: not part of the interface's
    manual, and doxygen cannot place a specialisation written outside its namespace."""
    for i, line in enumerate(lines):
        if i > 0 and re.match(r"^\s*struct std::", line.code) and lines[i - 1].code.strip() == "template <>":
            end = i
            while end < len(lines) and lines[i - 1].depth not in lines[end].ends_at:
                end += 1
            if end < len(lines):
                lines[i - 1].text = "/** \\cond */ " + lines[i - 1].text
                lines[end].text += " /** \\endcond */"


def rewrite(lines):
    hide_std_specialisations(lines)
    # The file's own comment: the first comment block, when only `#pragma once` and blanks precede it.
    i = 0
    while i < len(lines) and (lines[i].blank or lines[i].text.strip() == "#pragma once"):
        i += 1
    if i < len(lines) and lines[i].comment_only:
        end = comment_block_end(lines, i)
        docs = doc_lines([lines[k].comment for k in range(i, end)])
        for k in range(i, end):
            set_comment(lines[k], "///", docs[k - i][1:] if docs[k - i].startswith(" ") else docs[k - i])
        lines[i].text += " \\file"
        i = end

    while i < len(lines):
        line = lines[i]
        if line.comment_only and line.decl_scope:
            end = comment_block_end(lines, i)
            following = lines[end] if end < len(lines) else None
            documents = following is not None and not following.blank and (
                (following.directive and following.text.lstrip().startswith("#define"))
                or (not following.directive and following.starts_statement)
            )
            if documents:
                docs = doc_lines([lines[k].comment for k in range(i, end)])
                for k in range(i, end):
                    set_comment(lines[k], "///", docs[k - i][1:] if docs[k - i].startswith(" ") else docs[k - i])
                if not following.directive:
                    group(lines, run_of_statements(lines, end))
                else:
                    group(lines, run_of_defines(lines, end))
            i = end
            continue
        if line.directive:
            document_macro_comments(line)
        elif line.comment is not None and line.code.strip() and line.decl_scope:
            trailing(line)
        elif line.decl_scope and (i == 0 or not lines[i - 1].comment_only):
            identifier(line)
        i += 1


def group(lines, statements):
    """Makes a run of several member declarations one doxygen member group."""
    if len(statements) < 2 or any(MACRO_START.match(lines[s].code) for s, _ in statements):
        return
    first = lines[statements[0][0]]
    indent = len(first.text) - len(first.text.lstrip())
    first.text = first.text[:indent] + "/**@{*/ " + first.text[indent:]
    if first.comment_col >= 0:
        first.comment_col += len("/**@{*/ ")
    last = lines[statements[-1][1]]
    if last.directive:
        # The end mark after a #define would be part of the macro: it goes before the next line instead.
        after = statements[-1][1] + 1
        if after < len(lines):
            lines[after].prefix = "/**@}*/ "
        else:
            lines.append(Line("/**@}*/"))
        return
    if last.comment is not None:
        code = last.text[: last.comment_col].rstrip()
        last.text = code + " /**@}*/  " + last.text[last.comment_col:]
        last.comment_col = len(code) + len(" /**@}*/  ")
    else:
        last.text = last.text.rstrip() + " /**@}*/"


IDENTIFIER = re.compile(r"^\s*static constexpr GUID (IID|CLSID) = ")


def identifier(line):
    """An undocumented IID or CLSID member: a reference to the one place that describes them."""
    match = IDENTIFIER.match(line.code)
    if match and line.comment is None:
        target = "core::IUnknown::IID" if match.group(1) == "IID" else "core::Exception::CLSID"
        line.text += f"  ///< The identifier of this {'interface' if match.group(1) == 'IID' else 'class'} (see {target})."


def trailing(line):
    """A trailing comment after a declaration, an enumerator or a class-making macro invocation."""
    if line.depth not in line.ends_at:
        return
    text = trailing_doc(line.comment)
    if text is None:
        return
    if MACRO_CALL.match(line.code):
        code = line.text[: line.comment_col].rstrip()
        indent = len(code) - len(code.lstrip())
        line.text = code[:indent] + "/** " + text + " */ " + code[indent:]
        return
    set_comment(line, "///<", text)


def document_macro_comments(line):
    """`/* text */` in a macro definition: before a member documents it, after a member too."""
    def replace(match):
        before = line.text[: match.start()]
        marker = "/**<" if before.strip() and not before.rstrip().endswith("\\") else "/**"
        return marker + " " + escape(match.group(1).strip()) + " */"

    line.text = re.sub(r"/\*(?![*!])\s*(.*?)\s*\*/", replace, line.text)


def filtered(path):
    with open(path, encoding="utf-8") as f:
        lines = [Line(text) for text in f.read().split("\n")]
    lex(lines)
    analyse(lines)
    rewrite(lines)
    return [line.prefix + line.text for line in lines]


def list_groups(path):
    lines = filtered(path)
    for i, text in enumerate(lines):
        if "/**@{*/" not in text:
            continue
        doc = []
        k = i - 1
        while k >= 0 and lines[k].replace("/**@}*/", "").lstrip().startswith("///"):
            doc.insert(0, lines[k].replace("/**@}*/", "").strip()[3:].strip())
            k -= 1
        print(f"{path}:{i + 1}: {' '.join(doc)}")
        k = i
        while True:
            print("    " + lines[k].replace("/**@{*/", "").replace("/**@}*/", "").strip())
            if "/**@}*/" in lines[k] or k + 1 == len(lines) or "/**@}*/" in lines[k + 1][:8]:
                break
            k += 1


def main():
    if sys.argv[1] == "--groups":
        for path in sys.argv[2:]:
            list_groups(path)
        return
    sys.stdout.write("\n".join(filtered(sys.argv[1])))


if __name__ == "__main__":
    main()
