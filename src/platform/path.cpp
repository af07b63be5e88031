// Path text rules of both styles; pure functions, free of system calls.
#include "platform/path.hpp"

#include <algorithm>
#include <string_view>

namespace install::cpputil::platform {
namespace {

bool is_separator(char16_t c, PathStyle style) noexcept {
  return c == u'/' || (style == PathStyle::windows && c == u'\\');
}

char16_t separator_of(PathStyle style) noexcept {
  return style == PathStyle::windows ? u'\\' : u'/';
}

bool is_drive_letter(char16_t c) noexcept {
  return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
}

// How many leading units form the root: "/" or "\"; "C:" or "C:\"; "\\server\share\".
std::size_t root_length(ustring const& text, PathStyle style) noexcept {
  auto const separator_at = [&](std::size_t i) {
    return i < text.size() && is_separator(text[i], style);
  };
  if (style == PathStyle::posix || text.empty()) {
    return separator_at(0) ? 1 : 0;
  }
  if (text.size() >= 2 && is_drive_letter(text[0]) && text[1] == u':') {
    return separator_at(2) ? 3 : 2;
  }
  if (separator_at(0) && separator_at(1)) {
    // Server and share, each up to its separator; the share's separator belongs to the root.
    std::size_t end = 2;
    for (int component = 0; component < 2 && end < text.size(); ++component) {
      while (end < text.size() && !separator_at(end)) {
        ++end;
      }
      if (component == 0 && end < text.size()) {
        ++end;
      }
    }
    return separator_at(end) ? end + 1 : end;
  }
  return separator_at(0) ? 1 : 0;
}

}  // namespace

ustring make_native_form(ustring const& text, bool strip_trailing, PathStyle style) {
  char16_t const separator = separator_of(style);
  ustring native;
  native.reserve(text.size());
  std::size_t from = 0;
  if (style == PathStyle::windows && text.size() >= 2 && is_separator(text[0], style) &&
      is_separator(text[1], style)) {
    native.append(2, separator);  // the UNC prefix keeps both of its separators
    from = 2;
  }
  for (std::size_t i = from; i < text.size(); ++i) {
    if (!is_separator(text[i], style)) {
      native.push_back(text[i]);
    } else if (native.size() == from ? from == 0 : native.back() != separator) {
      native.push_back(separator);
    }
  }
  if (strip_trailing && !native.empty() && native.back() == separator &&
      native.size() > root_length(native, style)) {
    native.pop_back();
  }
  return native;
}

ustring extract_parent_path(ustring const& text, PathStyle style) {
  std::size_t const root = root_length(text, style);
  auto const separator = [style](char16_t c) { return is_separator(c, style); };
  // The last component's end, then its start; neither may reach into the root.
  auto const rbegin = text.rbegin();
  auto const rroot = text.rend() - static_cast<std::ptrdiff_t>(root);
  auto const last_kept = std::find_if_not(rbegin, rroot, separator);
  if (last_kept == rroot) {
    return {};  // empty, or a root alone
  }
  auto const before_last = std::find_if(last_kept, rroot, separator);
  if (before_last == rroot) {
    return text.substr(0, root);  // a bare name, or a name directly under the root
  }
  auto const parent_end = std::find_if_not(before_last, rroot, separator);
  if (parent_end == rroot) {
    return text.substr(0, root);
  }
  return text.substr(0, static_cast<std::size_t>(text.rend() - parent_end));
}

void concatenate_pathname(ustring& path, ustring const& name, PathStyle style) {
  if (!path.empty()) {
    path.push_back(separator_of(style));
  }
  path += name;
}

ustring single_file_name(ustring text, PathStyle style) {
  // What a Windows file name cannot hold: the reserved characters and the controls.
  constexpr std::u16string_view kReserved = u"<>:\"|?*";
  for (char16_t& c : text) {
    if (is_separator(c, style) || (style == PathStyle::windows &&
                                   (c < 0x20 || kReserved.find(c) != std::u16string_view::npos))) {
      c = u'_';
    }
  }
  return text;
}

bool is_nameable(ustring const& text) noexcept { return text.find(u'\0') == ustring::npos; }

}  // namespace install::cpputil::platform
