// Runs a fuzz target over files and folders of inputs, for builds without libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

void run(std::filesystem::path const& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<char> const bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path const path(argv[i]);
    if (std::filesystem::is_directory(path)) {
      for (auto const& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
          run(entry.path());
          ++count;
        }
      }
    } else {
      run(path);
      ++count;
    }
  }
  std::printf("replayed %zu inputs\n", count);
  return count > 0 ? 0 : 1;
}
