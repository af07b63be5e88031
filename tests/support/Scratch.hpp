// Process-state helpers for tests: environment variables restored on exit, scratch folders
// removed on exit, small file utilities. Path texts are UTF-8 on every system.
#ifndef INSTALL_CPPUTIL_TESTS_SUPPORT_SCRATCH_HPP
#define INSTALL_CPPUTIL_TESTS_SUPPORT_SCRATCH_HPP

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace install::cpputil::testing {

/// The variable that names the temporary folder: TMP on Windows, TMPDIR elsewhere.
#if defined(_WIN32)
inline constexpr char const* kTempVariable = "TMP";
#else
inline constexpr char const* kTempVariable = "TMPDIR";
#endif

/// Sets (or, with nullopt, unsets) an environment variable.
void set_env(std::string const& name, std::optional<std::string> const& value);

/// Sets (or, with nullopt, unsets) a variable and restores the previous state on destruction.
/// Windows cannot hold an empty value: setting "" unsets the variable there.
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
  /// path() / name, as UTF-8 text.
  std::string operator/(std::string const& name) const;

 private:
  std::filesystem::path path_;
};

/// The file-system path of a UTF-8 path text.
std::filesystem::path fs_path(std::string const& utf8);
/// The text with each '/' made the system's separator, as the library writes paths.
std::string native_separators(std::string text);
/// The user's name as the system tells it, which the default log's name holds.
std::string user_name();
/// Whether permission bits can keep this process from a file: not for root, and not on Windows,
/// where the read-only attribute is all there is.
bool permissions_bind();
/// A program started with its arguments (the first names the program).
class Process {
 public:
#if defined(_WIN32)
  /// Where it runs, and the files that take its standard output and error (both or neither);
  /// empty: as this process's. (POSIX tests fork when they need more than a plain start.)
  struct Place {
    std::string folder;
    std::string out;
    std::string err;
  };
  explicit Process(std::vector<std::string> const& command, Place const& place = {});
#else
  explicit Process(std::vector<std::string> const& command);
#endif
  Process(Process&& other) noexcept;
  Process& operator=(Process&&) = delete;
  Process(Process const&) = delete;
  Process& operator=(Process const&) = delete;
  ~Process();
  /// Waits for the end; its exit status, or -1 when it did not start or ended by a signal.
  /// Windows: a program still running after a minute is ended, with -1.
  int wait();

 private:
#if defined(_WIN32)
  void* handle_ = nullptr;
#else
  int pid_ = -1;
#endif
};

/// This program's own file.
std::filesystem::path self_path();
/// The files this process holds open in `folder`, each as whether a child process would
/// inherit it.
std::vector<bool> open_files_in(std::filesystem::path const& folder);
/// A symbolic link at `link` to `target`; false when the system does not let us make one.
bool make_symlink(std::string const& target, std::string const& link);

#if defined(_WIN32)
/// The root of a drive letter that names no drive, such as "Q:\\"; empty when all are taken.
std::string missing_drive();
#endif

std::string read_file(std::string const& path);
void write_file(std::string const& path, std::string const& content);

}  // namespace install::cpputil::testing

#endif  // INSTALL_CPPUTIL_TESTS_SUPPORT_SCRATCH_HPP
