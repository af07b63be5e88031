// Version comparison on arbitrary text ("<first>\n<second>", UTF-8) against a literal reading
// through std::istringstream and std::stoi: same results, same exceptions with the same texts.
// Nothing but std::invalid_argument and std::out_of_range may escape.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "install/cpputil/VersionComparator.hpp"

#include "tests/support/LiteralVersion.hpp"

namespace cpputil = install::cpputil;

namespace {

void check(bool ok) {
  if (!ok) {
    std::abort();
  }
}

// The result, or the exception's kind and text.
template <typename Compare>
std::string outcome(Compare const& compare) {
  try {
    return std::to_string(compare());
  } catch (std::out_of_range const& error) {
    return std::string("out_of_range:") + error.what();
  } catch (std::invalid_argument const& error) {
    return std::string("invalid_argument:") + error.what();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const input(reinterpret_cast<char const*>(data), size);
  std::size_t const newline = input.find('\n');
  cpputil::ustring const first = cpputil::utf8_to_ustring(input.substr(0, newline));
  cpputil::ustring const second = cpputil::utf8_to_ustring(
      newline == std::string::npos ? std::string() : input.substr(newline + 1));

  cpputil::VersionComparator const comparator;
  std::string const ours = outcome([&] { return comparator.compareVersionNumbers(first, second); });
  check(ours == outcome([&] { return cpputil::test::literal_compare(first, second); }));
  std::string const reversed =
      outcome([&] { return comparator.compareVersionNumbers(second, first); });
  check(reversed == outcome([&] { return cpputil::test::literal_compare(second, first); }));
  for (auto const* version : {&first, &second}) {
    std::string const text = cpputil::to_string(*version);
    check(comparator.tokenizeString(text) == cpputil::test::literal_tokenize(text));
  }
  return 0;
}
