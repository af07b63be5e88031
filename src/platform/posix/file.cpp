#include "platform/file.hpp"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace install::cpputil::platform {
namespace {

constexpr std::size_t kReadChunk = std::size_t{64} * 1024;

int open_retrying(std::string const& path, int flags, mode_t mode = 0) {
  int fd = -1;
  do {
    fd =
        ::open(path.c_str(), flags | O_CLOEXEC, mode);  // NOLINT(cppcoreguidelines-pro-type-vararg)
  } while (fd < 0 && errno == EINTR);
  return fd;
}

}  // namespace

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    close();
    fd_ = other.fd_;
    other.fd_ = -1;
  }
  return *this;
}

File File::open_read(ustring const& path) {
  int const fd = open_retrying(ustring_to_utf8(path), O_RDONLY);
  if (fd < 0) {
    return {};
  }
  File file(fd);
  struct stat info {};
  if (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
    return {};
  }
  return file;
}

File File::open_append(ustring const& path, Links links) {
  int flags = O_WRONLY | O_APPEND | O_CREAT;
  if (links == Links::refuse) {
    flags |= O_NOFOLLOW;
  }
  return File(open_retrying(ustring_to_utf8(path), flags, 0666));
}

// NOLINTNEXTLINE(readability-make-member-function-const): writes to the file
bool File::write_all(std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    ssize_t const written = ::write(fd_, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// NOLINTNEXTLINE(readability-make-member-function-const): moves the file offset
long File::read(char* buffer, std::size_t size) noexcept {
  for (;;) {
    ssize_t const got = ::read(fd_, buffer, size);
    if (got >= 0 || errno != EINTR) {
      return static_cast<long>(got);
    }
  }
}

long long File::size() const noexcept {
  struct stat info {};
  if (fd_ < 0 || ::fstat(fd_, &info) != 0) {
    return -1;
  }
  return static_cast<long long>(info.st_size);
}

// NOLINTNEXTLINE(readability-make-member-function-const): moves the read position
long long File::seek_end() noexcept {
  return fd_ < 0 ? -1 : static_cast<long long>(::lseek(fd_, 0, SEEK_END));
}

void File::close() noexcept {
  if (fd_ >= 0) {
    ::close(fd_);  // never retried: on Linux the descriptor is gone even after EINTR
    fd_ = -1;
  }
}

bool LineReader::fill() {
  if (done_) {
    return false;
  }
  buffer_.erase(0, begin_);
  begin_ = 0;
  std::size_t const old_size = buffer_.size();
  buffer_.resize(old_size + kReadChunk);
  long const got = file_.read(buffer_.data() + old_size, kReadChunk);
  buffer_.resize(old_size + static_cast<std::size_t>(got > 0 ? got : 0));
  if (got <= 0) {
    done_ = true;
    return false;
  }
  return true;
}

bool LineReader::next(std::string& line) {
  std::size_t scanned = begin_;
  for (;;) {
    auto const* const start = buffer_.data() + scanned;
    auto const length = buffer_.size() - scanned;
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): bytes, not a C string
    auto const* const feed = static_cast<char const*>(std::memchr(start, '\n', length));
    if (feed != nullptr) {
      auto const end = static_cast<std::size_t>(feed - buffer_.data());
      line.assign(buffer_, begin_, end - begin_);
      begin_ = end + 1;
      return true;
    }
    scanned = buffer_.size() - begin_;  // offsets shift by begin_ when fill() compacts
    if (!fill()) {
      if (begin_ == buffer_.size()) {
        return false;
      }
      line.assign(buffer_, begin_, std::string::npos);
      begin_ = buffer_.size();
      return true;
    }
  }
}

}  // namespace install::cpputil::platform
