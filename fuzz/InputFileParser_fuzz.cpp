// The parser on arbitrary bytes, as settings text and as a file read and parsed, against the
// plain reading of the format in the test tree.
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
  std::string const text(reinterpret_cast<char const*>(data), size);
  install::cpputil::InputFileParser parser;
  check(parser.convertInputsToPropertyMap(text) == reference::convert(text));
  check(parser.ltrim(text) == reference::ltrim(text) &&
        parser.rtrim(text) == reference::rtrim(text));
  check(parser.trim(text) == reference::trim(text));
  check(parser.stringToLowerCase(text) == reference::lower(text));
  check(shouldAppend(text) == reference::should_append(text));

  static ScratchFile const file;
  std::FILE* out = std::fopen(file.path.c_str(), "wb");
  check(out != nullptr && std::fwrite(data, 1, size, out) == size);
  check(std::fclose(out) == 0);
  std::string const settings = reference::settings_text(text);
  auto const path = install::cpputil::utf8_to_ustring(file.path);
  check(parser.getUserInputsFromFile(path) == settings);
  check(parser.parse(path) == reference::convert(settings));
  return 0;
}
