#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include "install/cpputil/platform.hpp"

#include "platform/path.hpp"

namespace install::cpputil::platform {
namespace {

bool is_directory(std::string const& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

struct InstallPathOverride {
  std::mutex mutex;
  std::optional<ustring> root;
};

InstallPathOverride& install_path_override() {
  static InstallPathOverride instance;
  return instance;
}

// The library file as an absolute path, empty when it cannot be told. The loader resolves a
// relative library name against the working folder of the load, so that is the folder to
// resolve it against: taken while loading, before the process can move elsewhere.
std::string const& library_file() {
  static std::string const file = []() -> std::string {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void const*>(&get_install_path), &info) == 0 ||
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
    return name.lexically_normal().string();
  }();
  return file;
}

// NOLINTNEXTLINE(cert-err58-cpp): resolved at load, as above.
[[maybe_unused]] std::string const& library_file_at_load = library_file();

}  // namespace

bool exists(Path const& path) {
  if (path.empty()) {
    return false;
  }
  struct stat info {};
  return ::stat(path.string().c_str(), &info) == 0;
}

bool create_directories(Path const& path) {
  std::string const target = path.string();
  if (target.empty()) {
    throw std::system_error(std::make_error_code(std::errc::invalid_argument),
                            "cannot create directory \"\"");
  }
  bool created = false;
  // Every prefix that ends before a separator, then the whole path.
  for (std::size_t end = target.find('/', 1);; end = target.find('/', end + 1)) {
    std::string const prefix = target.substr(0, end);
    if (::mkdir(prefix.c_str(), 0777) == 0) {
      created = true;
    } else if (errno != EEXIST || !is_directory(prefix)) {
      int const error = errno == EEXIST ? ENOTDIR : errno;
      throw std::system_error(error, std::generic_category(),
                              "cannot create directory \"" + prefix + "\"");
    } else {
      created = false;
    }
    if (end == std::string::npos) {
      break;
    }
  }
  return created;
}

ustring temp_directory_name() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): getenv is the accepted way to read TMPDIR.
  char const* tmpdir = std::getenv("TMPDIR");
  if (tmpdir == nullptr || *tmpdir == '\0') {
    return u"/tmp";
  }
  return utf8_to_ustring(tmpdir);
}

ustring get_install_path() {
  auto& override_root = install_path_override();
  {
    std::lock_guard<std::mutex> lock(override_root.mutex);
    if (override_root.root) {
      return *override_root.root;
    }
  }
  std::string const& file = library_file();
  if (file.empty()) {
    throw std::runtime_error("cannot locate the library file to find the installation root");
  }
  ustring const library_folder = extract_parent_path(make_native_form(utf8_to_ustring(file), true));
  ustring root = extract_parent_path(library_folder);
  if (root.empty()) {
    throw std::runtime_error("no installation root above the library file \"" + file + "\"");
  }
  return root;
}

void set_install_path(ustring const& root) {
  auto& override_root = install_path_override();
  std::lock_guard<std::mutex> lock(override_root.mutex);
  override_root.root = root;
}

void reset_install_path() {
  auto& override_root = install_path_override();
  std::lock_guard<std::mutex> lock(override_root.mutex);
  override_root.root.reset();
}

}  // namespace install::cpputil::platform
