#include "text.hpp"

namespace install::cpputil::text {

std::string_view trim_left(std::string_view text) noexcept {
  std::size_t first = 0;
  while (first < text.size() && is_c_space(text[first])) {
    ++first;
  }
  return text.substr(first);
}

std::string_view trim_right(std::string_view text) noexcept {
  std::size_t end = text.size();
  while (end > 0 && is_c_space(text[end - 1])) {
    --end;
  }
  return text.substr(0, end);
}

bool keeps_line(std::string_view line) noexcept {
  // The first '#' stands at 0 exactly when the line begins with one.
  return (line.empty() || line.front() != '#') && !trim_left(line).empty();
}

}  // namespace install::cpputil::text
