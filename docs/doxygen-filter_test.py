#!/usr/bin/env python3
"""Tests of docs/doxygen-filter.py: one header snippet per case and the lines doxygen must receive."""

import pathlib
import sys
import tempfile
import types
import unittest

sys.dont_write_bytecode = True  # nothing written into the source tree

# The filter's file name has a hyphen, so it is loaded by hand rather than imported.
FILTER_PATH = pathlib.Path(__file__).with_name("doxygen-filter.py")
doxygen_filter = types.ModuleType("doxygen_filter")
doxygen_filter.__file__ = str(FILTER_PATH)
exec(compile(FILTER_PATH.read_text(encoding="utf-8"), str(FILTER_PATH), "exec"), doxygen_filter.__dict__)


def run(source):
    with tempfile.NamedTemporaryFile("w", suffix=".h", delete=False, encoding="utf-8") as f:
        f.write(source)
    try:
        return "\n".join(doxygen_filter.filtered(f.name))
    finally:
        pathlib.Path(f.name).unlink()


CASES = [
    ("the top comment documents the file",
     "#pragma once\n// Dates.\n//\n// More.\n\nint x;\n",
     "#pragma once\n/// Dates. \\file\n///\n/// More.\n\nint x;\n"),
    ("a comment directly above documents; one followed by a blank line stays",
     "int x;\n// Ruler.\n\n// Sum.\nint add(int a);\n",
     "int x;\n// Ruler.\n\n/// Sum.\nint add(int a);\n"),
    ("a run of declarations shares the comment as a member group",
     "struct A {\n  // Sum and difference.\n  int add(int a);\n  int sub(int a);\n\n  int get();\n};\n",
     "struct A {\n  /// Sum and difference.\n  /**@{*/ int add(int a);\n  int sub(int a); /**@}*/\n\n  int get();\n};\n"),
    ("a destructor and a deleted copy end a run",
     "struct A {\n  // Makes one.\n  A();\n  ~A();\n  A(const A&) = delete;\n};\n",
     "struct A {\n  /// Makes one.\n  A();\n  ~A();\n  A(const A&) = delete;\n};\n"),
    ("trailing comments document their member; a bare NOLINT stays a comment",
     "struct A {\n  int a;  // the first\n  A(int);  // NOLINT(google-explicit-constructor)\n  A(long);  // NOLINT: from long\n};\n",
     "struct A {\n  int a;  ///< the first\n  A(int);  // NOLINT(google-explicit-constructor)\n  A(long);  ///< from long\n};\n"),
    ("comments inside function bodies and initialisers stay",
     "inline int f() {\n  // why\n  return 1;  // one\n}\n",
     "inline int f() {\n  // why\n  return 1;  // one\n}\n"),
    ("prose is escaped, code spans and example blocks are not",
     "int x;\n// Reads `a<b>` as <GUID> \\x.\n//\n//     f(a<b>);  // @ok\nint f();\n",
     "int x;\n/// Reads `a<b>` as \\<GUID\\> \\\\x.\n///\n///     f(a<b>);  // @ok\nint f();\n"),
    ("an undocumented IID refers to IUnknown's",
     "struct I {\n  static constexpr GUID IID = guid(\"x\");\n};\n",
     "struct I {\n  static constexpr GUID IID = guid(\"x\");  ///< The identifier of this interface (see "
     "core::IUnknown::IID).\n};\n"),
    ("comments in a macro body and after a class-making invocation document the class",
     "#define MAKE(N) \\\n  class N {       \\\n    /* Makes. */  \\\n    N();          \\\n  };\nMAKE(B)  // a b\n",
     "#define MAKE(N) \\\n  class N {       \\\n    /** Makes. */  \\\n    N();          \\\n  };\n/** a b */ MAKE(B)\n"),
    ("a std specialisation is left out",
     "template <>\nstruct std::hash<A> {\n  int f() const;\n};\n",
     "/** \\cond */ template <>\nstruct std::hash<A> {\n  int f() const;\n}; /** \\endcond */\n"),
]


class DoxygenFilterTest(unittest.TestCase):
    def test_cases(self):
        for name, source, expected in CASES:
            with self.subTest(name):
                self.assertEqual(run(source), expected)

    def test_lines_keep_their_numbers(self):
        root = pathlib.Path(__file__).resolve().parent.parent
        for header in sorted((root / "core" / "include" / "core").glob("*.h")):
            with self.subTest(header.name):
                self.assertEqual(len(doxygen_filter.filtered(header)), len(header.read_text().split("\n")))


if __name__ == "__main__":
    unittest.main()
