/// @file
/// The installation log: a text file chosen at run time, into which time-stamped messages and
/// whole files are appended. While no destination is set, messages go to the per-user default
/// file "zembrak_<user>.log" in the temporary folder.
///
/// Threads: any thread may append. One mutex guards the destination, and an advisory lock on the
/// log file orders the records of other processes too: each is taken from composing a record to
/// closing the file, so records never interleave and their time stamps never decrease along the
/// file (only a clock set back can make them). The file's lock is waited for 3 seconds at most:
/// a lock held longer (another user who may read the log can hold it) is passed by, and the
/// record written without it and traced; while it stays held, the next records do not wait. Logger
/// construction and destruction, and the detail functions, are made by one thread at a time. Traces
/// go to the channel "install::cpputil::logger".
///
/// Processes: after fork, a child may only exec. A child that logs while a thread of its parent
/// was inside append_message or append_file can wait forever for the mutex that thread held.
#ifndef INSTALL_CPPUTIL_LOGGER_HPP
#define INSTALL_CPPUTIL_LOGGER_HPP

#include <string>

#include "install/cpputil/Path.hpp"
#include "install/cpputil/export.hpp"
#include "install/cpputil/ustring.hpp"

namespace install::cpputil::logger {

///@{
/// Each ends in a blank that separates it from the path that follows it in a log line.
/// Internal linkage on purpose: every source file that includes this header has its own copy.
static ustring const unable_to_create_folder_message =
    u"Unable to create specified folder for installation log ";
static ustring const unable_to_create_file_message =
    u"Unable to create specified file for installation log ";
static ustring const reset_destination_message = u"Reset destination file log ";
///@}

/// Sets the log destination for its lifetime: creates the file's folder, proves the file can be
/// opened for appending, and retires the destination in force (with a notice in its log).
/// Loggers do not stack: when one ends, no destination is set until another Logger is made.
/// Throws std::runtime_error when the folder or the file cannot be made; the destination in
/// force then stays, and receives a notice of the failure. The records and how they are
/// written: @ref installation-log "The installation log".
class INSTALL_CPPUTIL_EXPORT Logger {
 public:
  ///@{
  /// Makes `destination` the log.
  explicit Logger(Path const& destination);
  explicit Logger(ustring const& destination);
  /// `destination` is UTF-8.
  explicit Logger(std::string const& destination);
  ///@}
  /// Retires the destination; it becomes detail::get_last_destination().
  ~Logger();

  Logger(Logger const&) = delete;
  Logger& operator=(Logger const&) = delete;
  Logger(Logger&&) = delete;
  Logger& operator=(Logger&&) = delete;
};

/// The destination in force; empty when none is set. The reference is to the library's own
/// state: read it (or copy it) only while no Logger is being made or ended on another thread,
/// since replacing the destination changes the object under the reference.
INSTALL_CPPUTIL_EXPORT Path const& get_destination();

/// Appends "(<time stamp>) <message>\n" in UTF-8 to the destination, or to the default file
/// while none is set. An empty message writes nothing. A record is in the file whole or not at
/// all: one that cannot be written (no file, a full disk, a size limit) is lost and only traced;
/// the caller never gets a write error, nor SIGXFSZ. A record starts on a line of its own, also
/// after the fragment of a writer killed in the middle of its record. The default file is
/// written only when it is a regular file of the effective user (or new); anything else planted
/// at its name is refused.
INSTALL_CPPUTIL_EXPORT void append_message(ustring const& message);
/// `message` is UTF-8.
INSTALL_CPPUTIL_EXPORT void append_message(std::string const& message);

/// Appends the whole file as one record, framed by "Content of the file <path>" and
/// "End of the file <path>". Throws std::runtime_error when no destination is set, when the
/// file does not exist or cannot be opened; nothing is written then. The file is copied in
/// pieces under the locks, in bounded memory whatever its size, unless the channel's detail
/// traces (severity 4) are on: they show the file whole.
INSTALL_CPPUTIL_EXPORT void append_file(ustring const& file);
/// `file` is UTF-8.
INSTALL_CPPUTIL_EXPORT void append_file(std::string const& file);
/// `file` as a Path.
INSTALL_CPPUTIL_EXPORT void append_file(Path const& file);

namespace detail {
/// The destination most recently retired; empty at start and after forget_last_destination.
/// Unguarded: read it only while no Logger is being made or ended on another thread.
INSTALL_CPPUTIL_EXPORT Path const& get_last_destination();
/// Empties get_last_destination().
INSTALL_CPPUTIL_EXPORT void forget_last_destination();
}  // namespace detail

}  // namespace install::cpputil::logger

#endif  // INSTALL_CPPUTIL_LOGGER_HPP
