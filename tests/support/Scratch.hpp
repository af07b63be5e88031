// Process-state helpers for tests: environment variables restored on exit, scratch folders
// removed on exit, small file utilities.
#ifndef INSTALL_CPPUTIL_TESTS_SUPPORT_SCRATCH_HPP
#define INSTALL_CPPUTIL_TESTS_SUPPORT_SCRATCH_HPP

#include <filesystem>
#include <optional>
#include <string>

namespace install::cpputil::testing {

/// Sets (or, with nullopt, unsets) a variable and restores the previous state on destruction.
class ScopedEnv {
 public:
  ScopedEnv(std::string name, std::optional<std::string> const& value);
  ~ScopedEnv();
  ScopedEnv(ScopedEnv const&) = delete;
  ScopedEnv& operator=(ScopedEnv const&) = delete;

 private:
  std::string name_;
  std::optional<std::string> saved_;
};

/// A fresh folder, removed with everything in it on destruction.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(ScratchDir const&) = delete;
  ScratchDir& operator=(ScratchDir const&) = delete;

  std::filesystem::path const& path() const { return path_; }
  /// path() / name, as a string.
  std::string operator/(std::string const& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

std::string read_file(std::filesystem::path const& path);
void write_file(std::filesystem::path const& path, std::string const& content);

}  // namespace install::cpputil::testing

#endif  // INSTALL_CPPUTIL_TESTS_SUPPORT_SCRATCH_HPP
