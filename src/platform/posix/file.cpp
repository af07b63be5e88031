#include "platform/file.hpp"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <pthread.h>
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

sigset_t size_signal() noexcept {
  sigset_t signal;
  sigemptyset(&signal);
  sigaddset(&signal, SIGXFSZ);
  return signal;
}

bool size_signal_pending() noexcept {
  sigset_t pending;
  return ::sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 1;
}

// Blocks SIGXFSZ in this thread; the mask it had.
sigset_t block_size_signal() noexcept {
  sigset_t const signal = size_signal();
  sigset_t saved;
  pthread_sigmask(SIG_BLOCK, &signal, &saved);
  return saved;
}

// A write past the file-size limit raises SIGXFSZ on the writing thread, which by default ends
// the process: the library's own write must never stop its caller that way. The signal is
// blocked for the write, and one that the write raised is taken off before the caller's mask
// comes back; one that the caller already held back pending stays theirs.
class SizeSignalHeld {
 public:
  SizeSignalHeld() noexcept
      : saved_(block_size_signal()),
        callers_(sigismember(&saved_, SIGXFSZ) == 1 && size_signal_pending()) {}
  ~SizeSignalHeld() {
    if (raised_ && !callers_ && size_signal_pending()) {
      sigset_t const signal = size_signal();
      int taken = 0;
      sigwait(&signal, &taken);
    }
    pthread_sigmask(SIG_SETMASK, &saved_, nullptr);
  }
  SizeSignalHeld(SizeSignalHeld const&) = delete;
  SizeSignalHeld& operator=(SizeSignalHeld const&) = delete;
  SizeSignalHeld(SizeSignalHeld&&) = delete;
  SizeSignalHeld& operator=(SizeSignalHeld&&) = delete;

  /// Only a write that failed with EFBIG raises the signal.
  void failed(int error) noexcept { raised_ = raised_ || error == EFBIG; }

 private:
  sigset_t const saved_;
  bool const callers_;
  bool raised_ = false;
};

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
  return stat_of(handle_, info) && S_ISREG(info.st_mode) ? static_cast<std::int64_t>(info.st_size)
                                                         : -1;
}

// lseek rather than fstat, which glibc makes a path lookup (fstatat with an empty path) that
// costs more than the rest of a record's system calls. O_APPEND writes ignore the offset.
// NOLINTNEXTLINE(readability-make-member-function-const): moves the file offset
std::int64_t File::append_end() noexcept {
  return static_cast<std::int64_t>(::lseek(handle_, 0, SEEK_END));
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

// NOLINTNEXTLINE(readability-make-member-function-const): reads the file
int File::byte_at(std::int64_t offset) noexcept {
  unsigned char byte = 0;
  for (;;) {
    ssize_t const got = ::pread(handle_, &byte, 1, static_cast<off_t>(offset));
    if (got == 1) {
      return byte;
    }
    if (got == 0 || errno != EINTR) {
      return -1;
    }
  }
}

// NOLINTNEXTLINE(readability-make-member-function-const): takes a lock on the file
File::Lock File::try_lock() noexcept {
  for (;;) {
    if (::flock(handle_, LOCK_EX | LOCK_NB) == 0) {
      return Lock::taken;
    }
    if (errno == EWOULDBLOCK) {
      return Lock::busy;
    }
    if (errno != EINTR) {
      return Lock::unsupported;
    }
  }
}

// NOLINTNEXTLINE(readability-make-member-function-const): writes to the file
std::size_t File::append(std::string_view bytes) noexcept {
  SizeSignalHeld held;
  bool checked = false;  // whether a non-blocking pipe or device was made blocking
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    ssize_t const written = ::write(handle_, bytes.data() + sent, bytes.size() - sent);
    if (written > 0) {
      sent += static_cast<std::size_t>(written);
      continue;
    }
    int const error = errno;
    held.failed(error);
    if (written < 0 && error == EAGAIN && !checked && !is_regular()) {
      make_blocking(handle_);
      checked = true;
    } else if (written == 0 || error != EINTR) {
      break;
    }
  }
  return sent;
}

// NOLINTNEXTLINE(readability-make-member-function-const): shortens the file
void File::truncate(std::int64_t size) noexcept {
  while (::ftruncate(handle_, static_cast<off_t>(size)) != 0 && errno == EINTR) {
  }
}

void File::close() noexcept {
  if (handle_ != kNoHandle) {
    ::close(handle_);  // never retried: on Linux the descriptor is gone even after EINTR
    handle_ = kNoHandle;
  }
}

}  // namespace install::cpputil::platform
