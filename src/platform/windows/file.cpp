#include "platform/file.hpp"

#include <algorithm>

#include <windows.h>

#include "platform/path.hpp"
#include "platform/windows/wide.hpp"

namespace install::cpputil::platform {
namespace {

// Shared for reading, writing and deleting: a log viewer or another appender is never locked out.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The byte that appenders lock: far past any data, because Windows locks bar other handles
// from reading and writing the bytes they cover.
constexpr DWORD kLockOffsetLow = 0xFFFFFFFEU;
constexpr DWORD kLockOffsetHigh = 0x7FFFFFFFU;

// No security attributes: the handle is not inherited by child processes.
HANDLE open_native(ustring const& path, DWORD access, DWORD disposition, DWORD flags) {
  if (!is_nameable(path)) {
    return INVALID_HANDLE_VALUE;
  }
  return ::CreateFileW(wide(path).c_str(), access, kShareAll, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL | flags, nullptr);
}

NativeHandle held(HANDLE handle) noexcept {
  return handle == INVALID_HANDLE_VALUE ? kNoHandle : handle;
}

bool information_of(NativeHandle handle, BY_HANDLE_FILE_INFORMATION& info) noexcept {
  return handle != kNoHandle && ::GetFileInformationByHandle(handle, &info) != 0;
}

bool is_disk_file(NativeHandle handle) noexcept {
  BY_HANDLE_FILE_INFORMATION info{};
  return ::GetFileType(handle) == FILE_TYPE_DISK && information_of(handle, info) &&
         (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace

File File::open_read(ustring const& path) {
  // Folders do not open without FILE_FLAG_BACKUP_SEMANTICS. A console would block the reader.
  File file(held(open_native(path, GENERIC_READ, OPEN_EXISTING, 0)));
  if (file.is_open() && ::GetFileType(file.handle_) == FILE_TYPE_CHAR) {
    return {};
  }
  return file;
}

// FILE_READ_DATA alongside FILE_APPEND_DATA, because LockFileEx wants read or write access;
// without FILE_WRITE_DATA every write still lands at the end of the file.
File File::open_append(ustring const& path, Accept accept) {
  DWORD const access = FILE_APPEND_DATA | FILE_READ_DATA;
  if (accept == Accept::any) {
    return File(held(open_native(path, access, OPEN_ALWAYS, 0)));
  }
  // The link or junction itself opens, never its target, and is then refused with anything else
  // that is not a plain file of one name.
  File file(held(open_native(path, access, OPEN_ALWAYS, FILE_FLAG_OPEN_REPARSE_POINT)));
  BY_HANDLE_FILE_INFORMATION info{};
  if (::GetFileType(file.handle_) != FILE_TYPE_DISK || !information_of(file.handle_, info) ||
      (info.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) != 0 ||
      info.nNumberOfLinks != 1) {
    return {};
  }
  return file;
}

bool File::is_regular() const noexcept { return handle_ != kNoHandle && is_disk_file(handle_); }

std::int64_t File::size() const noexcept {
  LARGE_INTEGER size{};
  return is_regular() && ::GetFileSizeEx(handle_, &size) != 0 ? size.QuadPart : -1;
}

// A folder does not open for appending, so the handle's type tells a regular file here: one
// call fewer on every record than size().
// NOLINTNEXTLINE(readability-make-member-function-const): one interface with POSIX's
std::int64_t File::append_end() noexcept {
  LARGE_INTEGER size{};
  return ::GetFileType(handle_) == FILE_TYPE_DISK && ::GetFileSizeEx(handle_, &size) != 0
             ? size.QuadPart
             : -1;
}

// NOLINTNEXTLINE(readability-make-member-function-const): moves the file offset
std::int64_t File::read(char* buffer, std::size_t size) noexcept {
  DWORD got = 0;
  DWORD const want = static_cast<DWORD>(std::min<std::size_t>(size, MAXDWORD));
  if (::ReadFile(handle_, buffer, want, &got, nullptr) == 0) {
    // A pipe whose writer has gone has ended, as a FIFO does.
    return ::GetLastError() == ERROR_BROKEN_PIPE ? 0 : -1;
  }
  return static_cast<std::int64_t>(got);
}

// NOLINTNEXTLINE(readability-make-member-function-const): reads the file
int File::byte_at(std::int64_t offset) noexcept {
  OVERLAPPED where{};
  // Both sit in a union of OVERLAPPED's own.
  where.Offset = static_cast<DWORD>(offset);             // NOLINT(*-pro-type-union-access)
  where.OffsetHigh = static_cast<DWORD>(offset >> 32U);  // NOLINT(*-pro-type-union-access)
  unsigned char byte = 0;
  DWORD got = 0;
  return ::ReadFile(handle_, &byte, 1, &got, &where) != 0 && got == 1 ? byte : -1;
}

// NOLINTNEXTLINE(readability-make-member-function-const): takes a lock on the file
File::Lock File::try_lock() noexcept {
  OVERLAPPED where{};
  where.Offset = kLockOffsetLow;       // NOLINT(cppcoreguidelines-pro-type-union-access)
  where.OffsetHigh = kLockOffsetHigh;  // NOLINT(cppcoreguidelines-pro-type-union-access)
  if (::LockFileEx(handle_, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &where) !=
      0) {
    return Lock::taken;
  }
  return ::GetLastError() == ERROR_LOCK_VIOLATION ? Lock::busy : Lock::unsupported;
}

// NOLINTNEXTLINE(readability-make-member-function-const): writes to the file
std::size_t File::append(std::string_view bytes) noexcept {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    DWORD const chunk = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - sent, 1U << 30U));
    DWORD written = 0;
    bool const ok = ::WriteFile(handle_, bytes.data() + sent, chunk, &written, nullptr) != 0;
    sent += written;
    if (!ok || written == 0) {
      break;
    }
  }
  return sent;
}

// Through a second handle: this one may only append.
// NOLINTNEXTLINE(readability-make-member-function-const): shortens the file
void File::truncate(std::int64_t size) noexcept {
  auto* const writer = ::ReOpenFile(handle_, FILE_WRITE_DATA, kShareAll, 0);
  if (writer == INVALID_HANDLE_VALUE) {
    return;
  }
  FILE_END_OF_FILE_INFO end{};
  end.EndOfFile.QuadPart = size;
  ::SetFileInformationByHandle(writer, FileEndOfFileInfo, &end, sizeof end);
  ::CloseHandle(writer);
}

void File::close() noexcept {
  if (handle_ != kNoHandle) {
    ::CloseHandle(handle_);
    handle_ = kNoHandle;
  }
}

}  // namespace install::cpputil::platform
