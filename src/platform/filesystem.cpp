// File-system operations over std::filesystem, and the installation root.
#include "platform/filesystem.hpp"

#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/path.hpp"

namespace install::cpputil::platform {
namespace {

struct InstallPathOverride {
  std::mutex mutex;
  std::optional<ustring> root;
};

InstallPathOverride& install_path_override() {
  static InstallPathOverride instance;
  return instance;
}

}  // namespace

bool exists(Path const& path) {
  if (path.empty() || !is_nameable(path.text())) {
    return false;
  }
  std::error_code error;
  return std::filesystem::exists(native_path(path.text()), error);
}

bool create_directories(Path const& path) {
  std::error_code error;
  if (path.empty() || !is_nameable(path.text())) {
    error = std::make_error_code(std::errc::invalid_argument);
  } else if (bool const created =
                 std::filesystem::create_directories(native_path(path.text()), error);
             !error) {
    return created;
  }
  throw std::system_error(error, "cannot create directory \"" + path.string() + "\"");
}

ustring get_install_path() {
  auto& override_root = install_path_override();
  {
    std::lock_guard<std::mutex> const lock(override_root.mutex);
    if (override_root.root) {
      return *override_root.root;
    }
  }
  ustring const& file = loaded_library_file();
  if (file.empty()) {
    throw std::runtime_error("cannot locate the library file to find the installation root");
  }
  ustring root = extract_parent_path(extract_parent_path(make_native_form(file, true)));
  if (root.empty()) {
    throw std::runtime_error("no installation root above the library file \"" +
                             ustring_to_utf8(file) + "\"");
  }
  return root;
}

void override_install_path(std::optional<ustring> root) {
  auto& override_root = install_path_override();
  std::lock_guard<std::mutex> const lock(override_root.mutex);
  override_root.root = std::move(root);
}

}  // namespace install::cpputil::platform
