// Files opened by a UTF-16 path: a move-only descriptor and a line reader over it.
#ifndef INSTALL_CPPUTIL_SRC_PLATFORM_FILE_HPP
#define INSTALL_CPPUTIL_SRC_PLATFORM_FILE_HPP

#include <cstddef>
#include <string>
#include <string_view>

#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

/// Every file is opened close-on-exec. Failures are values: the caller decides what a
/// failed open or write means.
class File {
 public:
  enum class Links { follow, refuse };

  File() = default;
  ~File() { close(); }
  File(File&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  File& operator=(File&& other) noexcept;
  File(File const&) = delete;
  File& operator=(File const&) = delete;

  /// For reading. Folders do not open: they hold no bytes to read.
  static File open_read(ustring const& path);
  /// For appending, created when missing (mode 0666 less the umask), never truncated. With
  /// Links::refuse a symbolic link in the last component makes the open fail.
  static File open_append(ustring const& path, Links links = Links::follow);

  bool is_open() const noexcept { return fd_ >= 0; }
  /// Writes all of `bytes`; false when the system refused part of them.
  bool write_all(std::string_view bytes) noexcept;
  /// Up to `size` bytes; 0 at the end of the file, -1 on a read error.
  long read(char* buffer, std::size_t size) noexcept;
  /// The size of the file, or -1 when it cannot be told.
  long long size() const noexcept;
  /// Where a seek to the end lands (a device's capacity, unlike size()), or -1 when the file
  /// cannot seek. Moves the read position to the end.
  long long seek_end() noexcept;
  void close() noexcept;

 private:
  explicit File(int fd) noexcept : fd_(fd) {}
  int fd_ = -1;
};

/// Splits a file into lines at line feeds, as std::getline does: the line feed is not part of
/// the line, a last line without one is still a line, and a read error ends the file.
class LineReader {
 public:
  explicit LineReader(File& file) : file_(file) {}
  /// The next line into `line`; false when nothing is left.
  bool next(std::string& line);

 private:
  bool fill();

  File& file_;
  std::string buffer_;
  std::size_t begin_ = 0;
  bool done_ = false;
};

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_SRC_PLATFORM_FILE_HPP
