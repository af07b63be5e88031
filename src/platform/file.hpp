// Files opened by a UTF-16 path: a move-only native handle, and a line reader over it.
#ifndef INSTALL_CPPUTIL_SRC_PLATFORM_FILE_HPP
#define INSTALL_CPPUTIL_SRC_PLATFORM_FILE_HPP

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

#if defined(_WIN32)
using NativeHandle = void*;                  // a HANDLE
inline constexpr void* kNoHandle = nullptr;  // INVALID_HANDLE_VALUE is never kept
#else
using NativeHandle = int;  // a descriptor; 0 is a file like any other
inline constexpr NativeHandle kNoHandle = -1;
#endif

/// Each system implements this class (src/platform/<system>/file.cpp). No handle is inherited
/// by child processes, and no open blocks (a FIFO without a peer fails or reads as empty).
/// A path text holding a NUL opens nothing. Failures are values: the caller decides what a
/// failed open or write means.
class File {
 public:
  /// What an append open accepts at the path.
  enum class Accept {
    any,               // whatever opens for writing, through links
    own_regular_file,  // a regular file of the effective user, or a new one; never a link
  };

  File() = default;
  ~File() { close(); }
  File(File&& other) noexcept : handle_(other.handle_) { other.handle_ = kNoHandle; }
  File& operator=(File&&) = delete;
  File(File const&) = delete;
  File& operator=(File const&) = delete;

  /// For reading. Folders do not open: they hold no bytes to read.
  static File open_read(ustring const& path);
  /// For appending, created when missing, never truncated.
  static File open_append(ustring const& path, Accept accept = Accept::any);

  bool is_open() const noexcept { return handle_ != kNoHandle; }
  /// Whether the file is a regular one, not a FIFO, device or folder.
  bool is_regular() const noexcept;
  /// The size of a regular file; -1 for anything else, or when it cannot be told.
  std::int64_t size() const noexcept;
  /// Where the next append lands in a file opened for appending: its end, or -1 for a pipe or
  /// when it cannot be told. Cheaper than size() on the log's hot path.
  std::int64_t append_end() noexcept;
  /// Up to `size` bytes; 0 at the end of the file, -1 on a read error.
  std::int64_t read(char* buffer, std::size_t size) noexcept;
  /// The byte at `offset` of a file opened for reading, or -1 when it cannot be read.
  int byte_at(std::int64_t offset) noexcept;

  enum class Lock { taken, busy, unsupported };
  /// Takes the exclusive advisory lock that every appender of the library takes, across
  /// processes, without waiting for it. Closing the file releases it.
  Lock try_lock() noexcept;
  /// Appends `bytes`; how many went out, fewer when the system took only part of them (a full
  /// disk, a file-size limit). A write past the file-size limit never raises SIGXFSZ on the
  /// caller: the signal is held back for the write and dropped.
  std::size_t append(std::string_view bytes) noexcept;
  /// Sets the end of a regular file back to `size`.
  void truncate(std::int64_t size) noexcept;
  void close() noexcept;

 private:
  explicit File(NativeHandle handle) noexcept : handle_(handle) {}
  NativeHandle handle_ = kNoHandle;
};

/// Splits a file into lines at line feeds, as std::getline does: the line feed is not part of
/// the line, a last line without one is still a line, and a read error ends the file.
/// Reads into a buffer of its own, so that only a line longer than the buffer allocates: a
/// heap kept busy by the caller is left alone.
class LineReader {
 public:
  explicit LineReader(File& file) : file_(file) {}
  /// The next line, as a view that holds until the next call; false when nothing is left.
  bool next(std::string_view& line);

 private:
  bool fill();

  File& file_;
  // On the heap, as stdio's buffer is: glibc first merges the small blocks that earlier maps
  // freed before it serves a request this large, so a map built next is laid out in order
  // rather than over the scattered holes. As a member array, parsing a key-heavy file again and
  // again takes a third longer and misses the parser's budget against inih.
  std::vector<char> chunk_ = std::vector<char>(std::size_t{16} * 1024);
  std::size_t begin_ = 0;  // the unread bytes are chunk_[begin_, end_)
  std::size_t end_ = 0;
  std::string long_line_;  // the pieces of a line that outgrows chunk_
  bool done_ = false;
};

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_SRC_PLATFORM_FILE_HPP
