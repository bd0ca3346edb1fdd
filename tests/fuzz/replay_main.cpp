// Runs a fuzz harness over saved inputs without libFuzzer, so that every compiler can replay
// the corpus as an ordinary test: each file named on the command line, and every regular file
// below each directory named (in sorted order), is read and passed to LLVMFuzzerTestOneInput
// once. The file name is printed and flushed before the input runs, so a hang or a crash shows
// which input it was.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool run_file(const fs::path& path) {
  std::printf("%s\n", path.string().c_str());
  std::fflush(stdout);
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", path.string().c_str());
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  // A copy of exactly the file's size, so that a harness reading past the end is caught by
  // the address sanitizer rather than landing in the vector's spare capacity.
  std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
  data.shrink_to_fit();
  LLVMFuzzerTestOneInput(data.empty() ? nullptr : data.data(), data.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE_OR_DIRECTORY...\n", argv[0]);
    return 2;
  }
  int files = 0;
  bool ok = true;
  for (int a = 1; a < argc; ++a) {
    const fs::path root(argv[a]);
    std::error_code error;
    if (fs::is_directory(root, error)) {
      std::vector<fs::path> paths;
      for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root, error)) {
        if (entry.is_regular_file()) paths.push_back(entry.path());
      }
      std::sort(paths.begin(), paths.end());
      for (const fs::path& path : paths) {
        ok = run_file(path) && ok;
        ++files;
      }
    } else if (fs::is_regular_file(root, error)) {
      ok = run_file(root) && ok;
      ++files;
    } else {
      std::fprintf(stderr, "no such file or directory: %s\n", argv[a]);
      ok = false;
    }
  }
  std::printf("%d inputs replayed\n", files);
  // An empty corpus is a mistake in the test set-up, not a pass.
  return ok && files > 0 ? 0 : 1;
}
