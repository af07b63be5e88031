// The settings-text converter and the text functions on arbitrary bytes, compared with the
// plain reading of the format in the test tree.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "install/cpputil/InputFileParser.hpp"

#include "tests/support/ReferenceGrammar.hpp"

namespace {

void check(bool ok) {
  if (!ok) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  namespace reference = install::cpputil::reference;
  std::string const text(reinterpret_cast<char const*>(data), size);
  install::cpputil::InputFileParser parser;
  check(parser.convertInputsToPropertyMap(text) == reference::convert(text));
  check(parser.ltrim(text) == reference::ltrim(text));
  check(parser.rtrim(text) == reference::rtrim(text));
  check(parser.trim(text) == reference::trim(text));
  check(parser.stringToLowerCase(text) == reference::lower(text));
  check(shouldAppend(text) == reference::should_append(text));
  return 0;
}
