// Path text rules; the same on every POSIX system and free of OS calls.
#include "platform/path.hpp"

namespace install::cpputil::platform {
namespace {
constexpr char16_t kSeparator = u'/';
}

ustring make_native_form(ustring const& text, bool strip_trailing) {
  ustring native;
  native.reserve(text.size());
  for (char16_t const c : text) {
    if (c != kSeparator || native.empty() || native.back() != kSeparator) {
      native.push_back(c);
    }
  }
  if (strip_trailing && native.size() > 1 && native.back() == kSeparator) {
    native.pop_back();
  }
  return native;
}

ustring extract_parent_path(ustring const& text) {
  auto const last_kept = text.find_last_not_of(kSeparator);
  if (last_kept == ustring::npos) {
    return {};  // empty, or the root alone
  }
  auto const separator = text.rfind(kSeparator, last_kept);
  if (separator == ustring::npos) {
    return {};  // a bare name
  }
  auto const parent_end = text.find_last_not_of(kSeparator, separator);
  if (parent_end == ustring::npos) {
    return {kSeparator};
  }
  return text.substr(0, parent_end + 1);
}

void concatenate_pathname(ustring& path, ustring const& name) {
  if (!path.empty()) {
    path.push_back(kSeparator);
  }
  path += name;
}

}  // namespace install::cpputil::platform

namespace install::cpputil {

Path::Path(ustring const& text)
    : text_(text.empty() ? ustring() : platform::make_native_form(text, true)) {}

std::string Path::string() const { return ustring_to_utf8(text_); }

}  // namespace install::cpputil
