// Version comparison on arbitrary text ("<first>\n<second>", UTF-8) against a literal reading
// through std::istringstream and std::stoi: same results, same exceptions with the same texts.
// Nothing but std::invalid_argument and std::out_of_range may escape.
#include <cstdint>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "install/cpputil/VersionComparator.hpp"

#include "tests/support/LiteralVersion.hpp"
#include "tests/support/Printed.hpp"

namespace cpputil = install::cpputil;

namespace {

// The result, or the exception's kind and text.
template <typename Compare>
std::string outcome(Compare const& compare) {
  try {
    return std::to_string(compare());
  } catch (std::logic_error const& error) {  // std::stoi's out_of_range or invalid_argument
    return typeid(error).name() + std::string(":") + error.what();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const input(reinterpret_cast<char const*>(data), size);
  std::size_t const newline = input.find('\n');
  cpputil::ustring const versions[] = {
      cpputil::utf8_to_ustring(input.substr(0, newline)),
      cpputil::utf8_to_ustring(newline == std::string::npos ? "" : input.substr(newline + 1))};
  cpputil::VersionComparator const comparator;
  for (int first = 0; first < 2; ++first) {
    cpputil::ustring const &a = versions[first], &b = versions[1 - first];
    cpputil::testing::check_same("compareVersionNumbers",
                                 outcome([&] { return comparator.compareVersionNumbers(a, b); }),
                                 outcome([&] { return cpputil::test::literal_compare(a, b); }));
    cpputil::testing::check_same("tokenizeString", comparator.tokenizeString(cpputil::to_string(a)),
                                 cpputil::test::literal_tokenize(cpputil::to_string(a)));
  }
  return 0;
}
