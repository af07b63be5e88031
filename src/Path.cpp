#include "install/cpputil/Path.hpp"

#include "platform/path.hpp"

namespace install::cpputil {

Path::Path(ustring const& text)
    : text_(text.empty() ? ustring() : platform::make_native_form(text, true)) {}

std::string Path::string() const { return ustring_to_utf8(text_); }

}  // namespace install::cpputil
