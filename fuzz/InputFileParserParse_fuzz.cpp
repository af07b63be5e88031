// The whole path from file to map: the bytes become a file, which is read and parsed and
// compared with the plain reading of the format in the test tree.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "install/cpputil/InputFileParser.hpp"

#include "tests/support/ReferenceGrammar.hpp"

namespace {

void check(bool ok) {
  if (!ok) {
    std::abort();
  }
}

// One file for the whole run, removed at exit.
struct ScratchFile {
  ScratchFile() : path((std::filesystem::temp_directory_path() / "cpputil-parse-XXXXXX").string()) {
    int const fd = ::mkstemp(path.data());
    check(fd >= 0 && ::close(fd) == 0);
  }
  ~ScratchFile() { static_cast<void>(std::remove(path.c_str())); }
  std::string path;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  namespace reference = install::cpputil::reference;
  static ScratchFile const file;
  std::FILE* out = std::fopen(file.path.c_str(), "wb");
  check(out != nullptr && std::fwrite(data, 1, size, out) == size);
  check(std::fclose(out) == 0);
  std::string const settings =
      reference::settings_text(std::string(reinterpret_cast<char const*>(data), size));
  install::cpputil::InputFileParser parser;
  auto const path = install::cpputil::utf8_to_ustring(file.path);
  check(parser.getUserInputsFromFile(path) == settings);
  check(parser.parse(path) == reference::convert(settings));
  return 0;
}
