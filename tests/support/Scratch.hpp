// Process-state helpers for tests. Path texts are UTF-8 on every system.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace install::cpputil::testing {

#if defined(_WIN32)
inline constexpr char const* kTempVariable = "TMP";
#else
inline constexpr char const* kTempVariable = "TMPDIR";
#endif

/// nullopt unsets. Windows holds no empty value: "" unsets there too.
void set_env(std::string const& name, std::optional<std::string> const& value);

class ScopedEnv {
 public:
  ScopedEnv(std::string name, std::optional<std::string> const& value);
  ~ScopedEnv() { set_env(name_, saved_); }
  ScopedEnv(ScopedEnv const&) = delete;
  ScopedEnv& operator=(ScopedEnv const&) = delete;

 private:
  std::string name_;
  std::optional<std::string> saved_;
};

/// A fresh folder, removed with everything in it.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(ScratchDir const&) = delete;
  ScratchDir& operator=(ScratchDir const&) = delete;
  std::filesystem::path const& path() const { return path_; }
  std::string operator/(std::string const& name) const {
    return (path_ / std::filesystem::u8path(name)).u8string();
  }

 private:
  std::filesystem::path path_;
};

/// What `body` returns, run in a child process (as user `uid` when that is not -1 and we are
/// root) under a watchdog; a child that fails fails the test. Windows has no fork: runs here.
std::string in_child(std::function<std::string()> const& body, int uid = -1);

std::string read_file(std::string const& path);
void write_file(std::string const& path, std::string const& content);

}  // namespace install::cpputil::testing
