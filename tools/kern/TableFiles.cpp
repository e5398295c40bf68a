#include "TableFiles.h"

#include <cerrno>
#include <cstring>

#include "Csv.h"
#include "Descriptors.h"
#include "core/CharStream.h"
#include "core/Exception.h"
#include "core/File.h"
#include "core/ListStream.h"
#include "core/Persistence.h"

namespace kern::table {

namespace {

constexpr unsigned kSavedVersion = 1;

[[noreturn]] void system_failure(const std::string& label, int error) {
  throw Failure{1, label + ": " + std::strerror(error)};
}

// Writes every byte, through interruptions and short writes; a failure names `label`.
void write_all(int fd, const void* data, std::size_t size, const std::string& label) {
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const long n = fd::write(fd, bytes, size);
    if (n < 0) system_failure(label, errno);
    bytes += n;
    size -= static_cast<std::size_t>(n);
  }
}

// A file descriptor as the library's byte file. Errors throw Failure naming the file.
class FdFile final : public core::RefCountedUnknown<1, core::Answers<core::IFile>, core::IFile> {
 public:
  FdFile(int fd, std::string label, bool owned) : fd_(fd), label_(std::move(label)), owned_(owned) {}

  std::size_t read(void* buffer, std::size_t size) override {
    const long n = fd::read(fd_, buffer, size);
    if (n < 0) system_failure(label_, errno);
    return static_cast<std::size_t>(n);
  }
  void write(const void* data, std::size_t size) override { write_all(fd_, data, size, label_); }
  void flush() override {}
  void close() override {
    if (!owned_) return;
    owned_ = false;
    if (fd::close(fd_) != 0) system_failure(label_, errno);
  }

 private:
  ~FdFile() override {
    if (owned_) fd::close(fd_);
  }

  int fd_;
  std::string label_;
  bool owned_;
};

void write_saved(const core::ValueTableBase& table, int fd, const std::string& label, bool owned) {
  core::InterfacePtr<core::IFile> file(new FdFile(fd, label, owned), core::adopt_ref);
  core::InterfacePtr<core::BufferedWriter> writer =
      core::create_file_writer(file.get(), core::TextEncoding::Utf8, false);
  {
    core::ListOutStream out(writer.get());
    core::InterfacePtr<core::IOutPersistenceStorage> storage = core::create_out_persistence_storage(out);
    out.putBeginOfList();
    out.put(kSavedVersion);
    out.putBeginOfList();
    for (const std::string& name : column_names(table)) out.put(avo::from_utf8(name));
    out.putEndOfList();
    table.core().serialize(storage.get());
    out.putEndOfList();
  }
  writer->write(u'\n');
  writer->close();
}

}  // namespace

std::string file_label(const std::string& path, bool output) {
  if (path != "-") return path;
  return output ? "standard output" : "standard input";
}

void Output::flush() {
  write_all(fd_, buffer_.data(), buffer_.size(), label_);
  buffer_.clear();
}

void save_table(const core::ValueTableBase& table, const std::string& path) {
  if (path == "-") return write_saved(table, 1, file_label(path, true), false);
  // A device or a pipe (/dev/null, /dev/stdout) is written in place: renaming over it would replace it.
  if (fd::is_special(path)) {
    const int fd = fd::open_write(path, false);
    if (fd < 0) system_failure(path, errno);
    return write_saved(table, fd, path, true);
  }
  const std::string temporary = fd::temporary_name(path);
  const int fd = fd::open_write(temporary, true);
  if (fd < 0) system_failure(path, errno);
  try {
    write_saved(table, fd, path, true);
    if (fd::replace(temporary, path) != 0) system_failure(path, errno);
  } catch (...) {
    fd::remove(temporary);
    throw;
  }
}

TablePtr load_table(const std::string& path) {
  const std::string label = file_label(path, false);
  const bool owned = path != "-";
  const int fd = owned ? fd::open_read(path) : 0;
  if (fd < 0) system_failure(label, errno);
  core::InterfacePtr<core::IFile> file(new FdFile(fd, label, owned), core::adopt_ref);
  const std::string malformed = label + ": not a table saved by kern table";
  try {
    core::InterfacePtr<core::BufferedReader> reader = core::create_file_reader(file.get());
    core::ListInStream in(reader.get());
    core::InterfacePtr<core::IInPersistenceStorage> storage = core::create_in_persistence_storage(in);
    in.getBeginOfList();
    unsigned version = 0;
    in.get(version);
    if (version != kSavedVersion) throw Failure{1, malformed + " (version " + std::to_string(version) + ")"};
    std::vector<avo::WString> names;
    in.getBeginOfList();
    while (!in.isEndOfList()) in.get(names.emplace_back());
    in.getEndOfList();

    TablePtr table = core::create_value_table();
    core::ValueTableBase& base = *table->table();
    base.core().deserialize(storage.get());
    if (base.columnCount() != names.size()) throw Failure{1, malformed + " (the names do not match the columns)"};
    // Codes as make_table gives them: in order, each name that is an identifier no earlier column has.
    for (std::uint32_t position = 0; position < names.size(); ++position) {
      const std::int32_t id = base.columnID(position);
      core::VTColumnInfo info;
      info.title = names[position];
      if (base.checkNewCode(id, info.title)) info.code = info.title;
      base.setColumnInfo(id, info);
    }
    in.skipListContent();
    in.getEndOfList();
    return table;
  } catch (const core::ListStreamException& e) {
    throw Failure{1, malformed + ": " + avo::to_std_utf8(e.auxText2())};
  }
}

}  // namespace kern::table
