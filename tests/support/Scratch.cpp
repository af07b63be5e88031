#include "support/Scratch.hpp"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace install::cpputil::testing {

ScopedEnv::ScopedEnv(std::string name, std::optional<std::string> const& value)
    : name_(std::move(name)) {
  if (char const* old = std::getenv(name_.c_str())) {  // NOLINT(concurrency-mt-unsafe)
    saved_ = old;
  }
  if (value) {
    ::setenv(name_.c_str(), value->c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  } else {
    ::unsetenv(name_.c_str());  // NOLINT(concurrency-mt-unsafe)
  }
}

ScopedEnv::~ScopedEnv() {
  if (saved_) {
    ::setenv(name_.c_str(), saved_->c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  } else {
    ::unsetenv(name_.c_str());  // NOLINT(concurrency-mt-unsafe)
  }
}

ScratchDir::ScratchDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "cpputil-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("mkdtemp failed for " + pattern);
  }
  path_ = pattern;
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;
  // Tests may leave read-only folders behind; make them writable so they can go.
  for (auto it = std::filesystem::recursive_directory_iterator(path_, ignored);
       it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
    std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ignored);
  }
  std::filesystem::remove_all(path_, ignored);
}

std::string read_file(std::filesystem::path const& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(std::filesystem::path const& path, std::string const& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace install::cpputil::testing
