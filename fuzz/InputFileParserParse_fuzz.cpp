// The whole path from file to map: the bytes become a file, which is read and parsed and
// compared with the plain reading of the format in the test tree.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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
class ScratchFile {
 public:
  ScratchFile() {
    char const* dir = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe): one thread
    std::string pattern =
        std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/cpputil-parse-fuzz-XXXXXX";
    int const fd = ::mkstemp(pattern.data());
    check(fd >= 0);
    ::close(fd);
    path_ = pattern;
  }
  ~ScratchFile() { static_cast<void>(std::remove(path_.c_str())); }
  ScratchFile(ScratchFile const&) = delete;
  ScratchFile& operator=(ScratchFile const&) = delete;
  ScratchFile(ScratchFile&&) = delete;
  ScratchFile& operator=(ScratchFile&&) = delete;

  std::string const& path() const { return path_; }

  void write(std::uint8_t const* data, std::size_t size) const {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    check(file != nullptr);
    check(std::fwrite(data, 1, size, file) == size);
    check(std::fclose(file) == 0);
  }

 private:
  std::string path_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  namespace reference = install::cpputil::reference;
  static ScratchFile const file;
  file.write(data, size);
  std::string const settings =
      reference::settings_text(std::string(reinterpret_cast<char const*>(data), size));
  install::cpputil::InputFileParser parser;
  auto const path = install::cpputil::utf8_to_ustring(file.path());
  check(parser.getUserInputsFromFile(path) == settings);
  check(parser.parse(path) == reference::convert(settings));
  return 0;
}
