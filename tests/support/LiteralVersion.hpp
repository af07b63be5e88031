// Version comparison read literally: std::istringstream pieces and std::stoi on each. The fuzz
// target checks the library against it; the benchmark sets it beside the library.
#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "install/cpputil/ustring.hpp"

namespace install::cpputil::test {

inline std::vector<std::string> literal_tokenize(std::string const& version) {
  std::vector<std::string> pieces;
  std::istringstream in(version);
  for (std::string piece; std::getline(in, piece, '.');) {
    pieces.push_back(piece);
  }
  return pieces;
}

inline int literal_compare(ustring const& first, ustring const& second) {
  auto const a = literal_tokenize(to_string(first));
  auto const b = literal_tokenize(to_string(second));
  for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    int const x = i < a.size() ? std::stoi(a[i]) : 0;
    int const y = i < b.size() ? std::stoi(b[i]) : 0;
    if (x != y) {
      return x < y ? -1 : 1;
    }
  }
  return 0;
}

}  // namespace install::cpputil::test
