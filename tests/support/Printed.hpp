// Values as one line of text for the message of a failed check: units outside printable ASCII
// escaped, lists in brackets, maps as key=value items.
#pragma once

#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace install::cpputil::testing {

inline std::string printed(bool value) { return value ? "true" : "false"; }

template <typename Char>
std::string printed(std::basic_string<Char> const& text) {
  std::string line;
  for (Char const unit : text) {
    unsigned const code = static_cast<unsigned>(unit) & (sizeof(Char) == 1 ? 0xFFU : 0xFFFFU);
    char escape[8];
    std::snprintf(escape, sizeof escape, sizeof(Char) == 1 ? "\\x%02X" : "\\u%04X", code);
    line += code >= 0x20 && code < 0x7F ? std::string(1, static_cast<char>(code)) : escape;
  }
  return line;
}

template <typename T>
std::string printed(std::vector<T> const& items) {
  std::string line;
  for (T const& item : items) {
    line += (line.empty() ? "[" : "|") + printed(item);
  }
  return line.empty() ? "[]" : line + "]";
}

template <typename Key, typename... Alternatives>
std::string printed(std::map<Key, std::variant<Alternatives...>> const& map) {
  std::string line;
  for (auto const& [key, value] : map) {
    line += (line.empty() ? "" : "; ") + printed(key) + "=" +
            std::visit([](auto const& held) { return printed(held); }, value);
  }
  return line;
}

/// Throws, naming the check and showing both values, when the library and an oracle disagree.
template <typename T>
void check_same(char const* what, T const& library, T const& oracle) {
  if (!(library == oracle)) {
    throw std::logic_error(std::string(what) + " differs\n  library: " + printed(library) +
                           "\n  oracle:  " + printed(oracle));
  }
}

}  // namespace install::cpputil::testing
