// A main for the fuzz targets without libFuzzer: runs LLVMFuzzerTestOneInput once on each input and
// prints how many ran. An argument that is a directory gives every regular file in it (not its
// subdirectories), in name order so that runs repeat; any other argument is one input file. Exits with 1
// when an argument cannot be read; a failed check in the target aborts, as it does under libFuzzer.
//
//     build/release/fuzz/NumericText_replay fuzz/corpus/NumericText crash-1234
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool add_inputs(const fs::path& arg, std::vector<fs::path>& inputs) {
  std::error_code error;
  if (!fs::is_directory(arg, error)) {
    inputs.push_back(arg);
    return true;
  }
  std::vector<fs::path> files;
  for (fs::directory_iterator it(arg, error), end; !error && it != end; it.increment(error)) {
    if (it->is_regular_file(error)) files.push_back(it->path());
  }
  std::sort(files.begin(), files.end());
  inputs.insert(inputs.end(), files.begin(), files.end());
  return !error;
}

// The input in a buffer of exactly its size, so that AddressSanitizer sees a read past its end.
bool run_one(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (!in.is_open() || in.bad()) return false;
  const std::unique_ptr<std::uint8_t[]> data(new std::uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), data.get());
  LLVMFuzzerTestOneInput(data.get(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE_OR_DIRECTORY...\n", argv[0]);
    return 2;
  }
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    if (!add_inputs(argv[i], inputs)) {
      std::fprintf(stderr, "%s: cannot read the directory\n", argv[i]);
      return 1;
    }
  }
  for (const fs::path& path : inputs) {
    std::fprintf(stderr, "Running: %s\n", path.string().c_str());  // unbuffered: still shown when the target aborts
    if (!run_one(path)) {
      std::fprintf(stderr, "%s: cannot read the file\n", path.string().c_str());
      return 1;
    }
  }
  std::printf("%zu inputs ran\n", inputs.size());
  return 0;
}
