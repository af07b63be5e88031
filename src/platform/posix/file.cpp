#include "platform/file.hpp"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/path.hpp"

namespace install::cpputil::platform {
namespace {

// Non-blocking, so that a FIFO planted where a file is expected cannot hold the caller.
int open_native(ustring const& path, int flags, mode_t mode = 0) {
  if (!is_nameable(path)) {
    return -1;
  }
  std::string const name = ustring_to_utf8(path);
  int fd = -1;
  do {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): open(2) is variadic by definition.
    fd = ::open(name.c_str(), flags | O_CLOEXEC | O_NONBLOCK, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// Once open, a pipe or device reads and writes as usual; for a regular file the flag means
// nothing, which spares the system calls on the log's hot path.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): fcntl(2) is variadic by definition.
void make_blocking(int fd) { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK); }

bool stat_of(int fd, struct stat& info) noexcept { return fd >= 0 && ::fstat(fd, &info) == 0; }

}  // namespace

File File::open_read(ustring const& path) {
  File file(open_native(path, O_RDONLY));
  struct stat info {};
  if (!stat_of(file.handle_, info) || S_ISDIR(info.st_mode)) {
    return {};
  }
  if (!S_ISREG(info.st_mode)) {
    make_blocking(file.handle_);
  }
  return file;
}

File File::open_append(ustring const& path, Accept accept) {
  if (accept == Accept::any) {
    return File(open_native(path, O_WRONLY | O_APPEND | O_CREAT, 0666));
  }
  // Private when new. Anything planted here by someone else, a link (also a hard one) included,
  // is refused.
  File file(open_native(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW, 0600));
  struct stat info {};
  if (!stat_of(file.handle_, info) || !S_ISREG(info.st_mode) || info.st_uid != ::geteuid() ||
      info.st_nlink != 1) {
    return {};
  }
  return file;
}

bool File::is_regular() const noexcept {
  struct stat info {};
  return stat_of(handle_, info) && S_ISREG(info.st_mode);
}

std::int64_t File::size() const noexcept {
  struct stat info {};
  return stat_of(handle_, info) ? static_cast<std::int64_t>(info.st_size) : -1;
}

// NOLINTNEXTLINE(readability-make-member-function-const): moves the file offset
std::int64_t File::read(char* buffer, std::size_t size) noexcept {
  for (;;) {
    ssize_t const got = ::read(handle_, buffer, size);
    if (got >= 0 || errno != EINTR) {
      return static_cast<std::int64_t>(got);
    }
  }
}

// NOLINTNEXTLINE(readability-make-member-function-const): takes a lock on the file
bool File::lock() noexcept {
  int result = 0;
  do {
    result = ::flock(handle_, LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// NOLINTNEXTLINE(readability-make-member-function-const): writes to the file
bool File::append_whole(std::string_view bytes) noexcept {
  bool checked = false;  // whether a non-blocking pipe or device was made blocking
  std::string_view rest = bytes;
  while (!rest.empty()) {
    ssize_t const written = ::write(handle_, rest.data(), rest.size());
    if (written > 0) {
      rest.remove_prefix(static_cast<std::size_t>(written));
      continue;
    }
    int const error = errno;
    struct stat info {};
    bool const regular = stat_of(handle_, info) && S_ISREG(info.st_mode);
    if (written < 0 && error == EAGAIN && !regular && !checked) {
      make_blocking(handle_);
      checked = true;
    } else if (written == 0 || error != EINTR) {
      if (regular && rest.size() != bytes.size()) {
        // Under the lock nothing else was appended: the end, less what went out, is where the
        // record began.
        auto const begin = info.st_size - static_cast<off_t>(bytes.size() - rest.size());
        while (::ftruncate(handle_, begin) != 0 && errno == EINTR) {
        }
      }
      return false;
    }
  }
  return true;
}

void File::close() noexcept {
  if (handle_ != kNoHandle) {
    ::close(handle_);  // never retried: on Linux the descriptor is gone even after EINTR
    handle_ = kNoHandle;
  }
}

}  // namespace install::cpputil::platform
