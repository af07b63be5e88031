// Runs a fuzz target over a folder of inputs, for builds without libFuzzer. Each input is named
// on standard error before it runs, so that the message of a failure (a target reports a
// difference as an exception, which ends the program) follows the name of its input.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

int main(int argc, char** argv) {
  int count = 0;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(argc > 1 ? argv[1] : "")) {
    std::fprintf(stderr, "%s\n", entry.path().u8string().c_str());
    std::ifstream in(entry.path(), std::ios::binary);
    std::string const bytes((std::istreambuf_iterator<char>(in)), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
    ++count;
  }
  std::printf("replayed %d inputs\n", count);
  return count > 0 ? 0 : 1;
}
