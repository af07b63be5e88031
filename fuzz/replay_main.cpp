// Runs a fuzz target over a folder of inputs, for builds without libFuzzer. Each input is named
// before it runs, so that a crash names it too; a difference that the target reports (as an
// exception) is shown with its input, and the replay goes on.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

int main(int argc, char** argv) {
  int count = 0;
  int failed = 0;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(argc > 1 ? argv[1] : "")) {
    std::string const name = entry.path().u8string();
    std::printf("%s\n", name.c_str());
    std::fflush(stdout);
    std::ifstream in(entry.path(), std::ios::binary);
    std::string const bytes((std::istreambuf_iterator<char>(in)), {});
    try {
      LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
    } catch (std::exception const& error) {
      std::fprintf(stderr, "FAILED %s: %s\n", name.c_str(), error.what());
      ++failed;
    }
    ++count;
  }
  std::printf("replayed %d inputs, %d failed\n", count, failed);
  return count > 0 && failed == 0 ? 0 : 1;
}
