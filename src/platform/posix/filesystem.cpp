#include "platform/filesystem.hpp"

#include <cstdlib>
#include <filesystem>

#include <dlfcn.h>

#include "utf.hpp"

namespace install::cpputil::platform {

std::filesystem::path native_path(ustring const& text) { return ustring_to_utf8(text); }

ustring temp_directory_name() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): getenv is the accepted way to read TMPDIR.
  char const* tmpdir = std::getenv("TMPDIR");
  if (tmpdir == nullptr || *tmpdir == '\0') {
    return u"/tmp";
  }
  // A name that is not UTF-8 would come back with U+FFFD in place of its bytes: another folder.
  std::string well_formed = tmpdir;
  utf::make_well_formed_utf8(well_formed);
  return well_formed == tmpdir ? utf8_to_ustring(well_formed) : u"/tmp";
}

// The loader resolves a relative library name against the working folder of the load, so that
// is the folder to resolve it against: taken while loading, before the process can move.
ustring const& loaded_library_file() {
  static ustring const file = []() -> ustring {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void const*>(&loaded_library_file), &info) == 0 ||
        info.dli_fname == nullptr || *info.dli_fname == '\0') {
      return {};
    }
    std::filesystem::path name = info.dli_fname;
    if (name.is_relative()) {
      std::error_code error;
      name = std::filesystem::current_path(error) / name;
      if (error) {
        return {};
      }
    }
    return utf8_to_ustring(name.lexically_normal().string());
  }();
  return file;
}

namespace {
[[maybe_unused]] ustring const& library_file_at_load = loaded_library_file();
}

}  // namespace install::cpputil::platform
