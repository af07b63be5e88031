#include "support/Scratch.hpp"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace install::cpputil::testing {

namespace fs = std::filesystem;

void set_env(std::string const& name, std::optional<std::string> const& value) {
#if defined(_WIN32)
  ::_putenv_s(name.c_str(), value ? value->c_str() : "");  // also the process's own block
#else
  if (value) {
    ::setenv(name.c_str(), value->c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  } else {
    ::unsetenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
  }
#endif
}

ScopedEnv::ScopedEnv(std::string name, std::optional<std::string> const& value)
    : name_(std::move(name)) {
  if (char const* old = std::getenv(name_.c_str())) {  // NOLINT(concurrency-mt-unsafe)
    saved_ = old;
  }
  set_env(name_, value);
}

ScratchDir::ScratchDir() {
  std::random_device seed;
  do {
    path_ = fs::temp_directory_path() / ("cpputil-test-" + std::to_string(seed()));
  } while (!fs::create_directory(path_));
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

namespace {

std::string caught(std::function<std::string()> const& body) {
  try {
    return body();
  } catch (std::exception const& error) {
    return std::string("threw: ") + error.what();
  }
}

}  // namespace

#if defined(_WIN32)
std::string in_child(std::function<std::string()> const& body, int /*uid*/) { return caught(body); }
#else
std::string in_child(std::function<std::string()> const& body, int uid) {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
  pid_t const pid = ::fork();
  if (pid == 0) {
    ::close(ends[0]);
    ::alarm(20);
    auto const id = static_cast<uid_t>(uid);
    if (uid != -1 && ::geteuid() == 0 &&
        (::setgroups(0, nullptr) != 0 || ::setgid(id) != 0 || ::setuid(id) != 0)) {
      ::_exit(3);
    }
    std::string const result = caught(body);
    auto const size = static_cast<ssize_t>(result.size());
    ::_exit(::write(ends[1], result.data(), result.size()) == size ? 0 : 4);
  }
  ::close(ends[1]);
  std::string result;
  char buffer[4096];
  for (ssize_t got = 0; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
    result.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(ends[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
  return result;
}
#endif

std::string read_file(std::string const& path) {
  std::ifstream in(fs::u8path(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(std::string const& path, std::string const& content) {
  std::ofstream(fs::u8path(path), std::ios::binary) << content;
}

}  // namespace install::cpputil::testing
