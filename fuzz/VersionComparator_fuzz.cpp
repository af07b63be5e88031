// Version comparison on arbitrary text ("<first>\n<second>", UTF-8) against a literal reading
// through std::istringstream and std::stoi: same results, same exceptions with the same texts.
// Nothing but std::invalid_argument and std::out_of_range may escape.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "install/cpputil/VersionComparator.hpp"

namespace cpputil = install::cpputil;

namespace {

void check(bool ok) {
  if (!ok) {
    std::abort();
  }
}

std::vector<std::string> literal_tokenize(std::string const& version) {
  std::vector<std::string> pieces;
  std::istringstream in(version);
  for (std::string piece; std::getline(in, piece, '.');) {
    pieces.push_back(piece);
  }
  return pieces;
}

int literal_compare(cpputil::ustring const& first, cpputil::ustring const& second) {
  auto const a = literal_tokenize(cpputil::to_string(first));
  auto const b = literal_tokenize(cpputil::to_string(second));
  for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    int const x = i < a.size() ? std::stoi(a[i]) : 0;
    int const y = i < b.size() ? std::stoi(b[i]) : 0;
    if (x != y) {
      return x < y ? -1 : 1;
    }
  }
  return 0;
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
  check(ours == outcome([&] { return literal_compare(first, second); }));
  std::string const reversed =
      outcome([&] { return comparator.compareVersionNumbers(second, first); });
  check(reversed == outcome([&] { return literal_compare(second, first); }));
  for (auto const* version : {&first, &second}) {
    std::string const text = cpputil::to_string(*version);
    check(comparator.tokenizeString(text) == literal_tokenize(text));
  }
  return 0;
}
