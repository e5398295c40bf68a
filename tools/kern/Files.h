#pragma once
// The standard streams as library files, for subcommands that read and write through core::IFile: a
// file argument "-" is standard input, and results go to standard output through the same stdio
// streams main checks at the end (so nothing written here escapes that check).
//
//     core::InterfacePtr<core::IFile> in = kern::open_input(path);   // "-": standard input
//     auto text = core::create_file_reader(in.get());
//     core::InterfacePtr<core::IFile> out = kern::standard_output();
//
// A write to standard output that fails throws OutputError at once, so that a command stops instead of
// working through the rest of its input. The stream keeps its error flag, so main's final check reports
// the failure (one message, exit status 1): a command that catches OutputError just returns.

#include <string>

#include "core/File.h"

namespace kern {

struct OutputError {};

// The file at `path` opened for reading, or standard input for "-". Throws FileException (core) when
// the file cannot be opened.
core::InterfacePtr<core::IFile> open_input(const std::string& path);

// Standard output: writes go to stdout unbuffered by the object (stdio buffers them); flush() flushes
// stdout. Failures throw OutputError.
core::InterfacePtr<core::IFile> standard_output();

}  // namespace kern
