#include "install/cpputil/logger.hpp"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "compiler.hpp"
#include "platform/PlatformUtility.hpp"
#include "platform/file.hpp"
#include "platform/filesystem.hpp"
#include "platform/path.hpp"
#include "trace/trace.hpp"
#include "utf.hpp"

namespace install::cpputil::logger {
namespace {

trace::DiagnosticLogger channel("install::cpputil::logger");

Path destination_file;
Path last_destination_file;  // unguarded: Loggers are made and ended by one thread at a time
std::mutex destination_mutex;
std::unique_ptr<platform::PlatformUtility> const platform_utility =
    std::make_unique<platform::PlatformUtility>();

// Made once: a record costs no allocation for it.
std::string const kTimeStampPattern = "%b %d, %Y %H:%M:%S";
constexpr char const* kLostRecord = "failed to open destination_file for u8msg ";
constexpr char const* kUnlocked = "log file lock not had, written without it: ";

// Another user who may read the log may also hold its lock as long as they like: past this
// wait, a record is written without the lock rather than stop the installer.
constexpr auto kLockWait = std::chrono::seconds(3);
constexpr auto kLongestLockPause = std::chrono::milliseconds(10);

// The pieces in which append_file copies a file, so that its memory stays bounded.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

// UTF-16 pieces reach the record stream, which converts them under its own locale. An unpaired
// surrogate becomes U+FFFD first: Boost 1.74's conversion throws on a lone low surrogate and
// never returns on a trailing high one.
ustring traced(ustring const& text) { return utf::well_formed_utf16(text); }

Path current_destination() {
  std::lock_guard<std::mutex> const lock(destination_mutex);
  return destination_file;
}

bool has_destination() { return !current_destination().empty(); }

// "(" + time stamp + ") ", in UTF-8: the prefix of every record.
std::string time_stamp_prefix() {
  std::string stamp = platform::PlatformUtility().getPlatformCurrentTime(kTimeStampPattern);
  utf::make_well_formed_utf8(stamp);
  stamp.insert(stamp.begin(), '(');
  stamp += ") ";
  return stamp;
}

// The user's name is made one file name, so that the log lies in the temporary folder itself
// whatever USER holds.
Path default_log_file() {
  ustring text = platform::temp_directory_name();
  text += u"/zembrak_";
  text += platform::single_file_name(utf8_to_ustring(platform_utility->getPlatformUserName()));
  text += u".log";
  return Path(text);
}

// "(Nov 25, 2026 06:40:46) " and the line feed, with room to spare.
constexpr std::size_t kStampRoom = 32;

// Turns the UTF-8 message into its record in place, so that a large one is not copied. The
// prefix converts apart to the same bytes as with the message: it ends in a blank, which no
// surrogate pairs with.
void stamp_record(std::string& u8message) {
  u8message.insert(0, time_stamp_prefix());
  u8message.push_back('\n');
}

CPPUTIL_ATTRIBUTE_COLD void trace_lost(std::string_view record) {
  CPPUTIL_TRACE(channel, trace::detail) << kLostRecord << record;
}

// The log whose lock was not had in time for the last record: while its holder keeps it, the
// next records do not wait again, or each of them would stall the installer as long. Guarded
// by destination_mutex.
ustring unlocked_log;

// Busy only when the lock still is after `wait`.
platform::File::Lock lock_in_time(platform::File& file, std::chrono::steady_clock::duration wait) {
  platform::File::Lock lock = file.try_lock();
  if (lock != platform::File::Lock::busy) {
    return lock;
  }
  auto const deadline = std::chrono::steady_clock::now() + wait;
  std::chrono::microseconds pause(50);
  while ((lock = file.try_lock()) == platform::File::Lock::busy) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return lock;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min<std::chrono::microseconds>(pause * 2, kLongestLockPause);
  }
  return lock;
}

// The destination, or the default log while none is set, which `fallback` then holds. Call it
// under destination_mutex. A reference, not a copy, on the hot path.
Path const& log_in_force(Path& fallback) {
  if (destination_file.empty()) {
    fallback = default_log_file();
    return fallback;
  }
  return destination_file;
}

struct OpenLog {
  platform::File file;
  bool locked = false;  // false too where the file system has no locks: writers may race
};

// Opens and locks the log in force for one record. Call it under destination_mutex: with the
// file's lock, it orders the records of every thread and process. A file system without locks
// still gets the record, ordered within the process.
OpenLog open_log(Path const& log) {
  // Refuse whatever another user may have planted in the shared temporary folder.
  auto const accept = destination_file.empty() ? platform::File::Accept::own_regular_file
                                               : platform::File::Accept::any;
  OpenLog open{platform::File::open_append(log.text(), accept)};
  if (open.file.is_open()) {
    platform::File::Lock const lock = lock_in_time(
        open.file, log.text() == unlocked_log ? std::chrono::steady_clock::duration() : kLockWait);
    open.locked = lock == platform::File::Lock::taken;
    bool const had = lock != platform::File::Lock::busy;
    unlocked_log = had ? ustring() : log.text();
    if (!had) {
      CPPUTIL_TRACE(channel, trace::event) << kUnlocked << traced(log.text());
    }
  }
  return open;
}

// Where this process's last record left a log: while the log is still that long, it ends in
// that record's line feed, which saves the next record a read on the hot path. Guarded by
// destination_mutex.
struct LogEnd {
  ustring path;
  std::int64_t size = -1;
} last_end;

// One record appended to an open log in one piece or several. It starts on a line of its own,
// as a writer killed in the middle of a record may have left a fragment; and a piece that fails,
// or an exception before its end, takes the record back, so that the record is in the file whole
// or not at all.
class Record {
 public:
  Record(OpenLog& log, ustring const& path)
      : file_(log.file), locked_(log.locked), path_(path), start_(file_.append_end()) {
    if (start_ > 0 && (start_ != last_end.size || path != last_end.path)) {
      int const last = platform::File::open_read(path).byte_at(start_ - 1);
      if (last >= 0 && last != '\n') {
        add("\n");
      }
    }
  }

  bool ok() const noexcept { return ok_; }

  void add(std::string_view piece) {
    if (!ok_ || piece.empty()) {
      return;
    }
    std::size_t const sent = file_.append(piece);
    written_ += static_cast<std::int64_t>(sent);
    if (sent != piece.size()) {
      ok_ = false;
      take_back();
    }
  }

  /// Notes where the whole record left the log.
  void end() {
    ended_ = true;
    last_end.size = ok_ && start_ >= 0 ? start_ + written_ : -1;
    last_end.path = path_;
  }

  ~Record() {
    if (!ended_) {
      take_back();
    }
  }

  Record(Record const&) = delete;
  Record& operator=(Record const&) = delete;
  Record(Record&&) = delete;
  Record& operator=(Record&&) = delete;

 private:
  // Only under the lock: without it, what follows our part may be another writer's whole record.
  void take_back() noexcept {
    if (locked_ && written_ > 0 && file_.append_end() == start_ + written_) {
      file_.truncate(start_);
    }
  }

  platform::File& file_;
  bool const locked_;
  ustring const& path_;
  std::int64_t const start_;  // where a regular file ended; -1 for a pipe or device
  std::int64_t written_ = 0;
  bool ok_ = file_.is_open();
  bool ended_ = false;
};

// Writes one well-formed UTF-8 message as a record, stamped under the locks, so that records
// never interleave and stamps never decrease along the file.
void write_record(std::string u8message) {
  std::lock_guard<std::mutex> const lock(destination_mutex);
  Path fallback;
  Path const& log = log_in_force(fallback);
  OpenLog open = open_log(log);
  stamp_record(u8message);
  Record record(open, log.text());
  record.add(u8message);
  record.end();
  if (!record.ok()) {
    u8message.pop_back();
    trace_lost(u8message);
  }
}

// Copies the bytes of `input` into `record` piece by piece, made well-formed UTF-8 as the whole
// would be: a sequence cut by a piece's end waits for the next piece. A last line without a
// line feed gets one. `left` is the size of a regular file before the record began (-1 for a
// pipe): the log itself grows while it is copied into itself.
void copy_pieces(platform::File& input, std::int64_t left, Record& record) {
  std::string piece;
  std::string fixed;
  char last = '\n';
  for (bool more = true; more && record.ok();) {
    std::size_t const held = piece.size();
    std::size_t const want =
        left < 0 ? kPiece : static_cast<std::size_t>(std::min<std::int64_t>(kPiece, left));
    piece.resize(held + want);
    std::int64_t const got = want == 0 ? 0 : input.read(piece.data() + held, want);
    more = got > 0;  // a read error ends the copy as the end of the file does
    piece.resize(held + static_cast<std::size_t>(more ? got : 0));
    if (more) {
      left -= left < 0 ? 0 : got;
      last = piece.back();
    }
    std::size_t const keep = more ? utf::unfinished_utf8_tail(piece) : 0;
    fixed.assign(piece, 0, piece.size() - keep);
    utf::make_well_formed_utf8(fixed);
    if (!more && last != '\n') {
      fixed += '\n';
    }
    record.add(fixed);
    piece.erase(0, piece.size() - keep);
  }
}

[[noreturn]] void fail_to_set(std::string const& message) {
  CPPUTIL_TRACE(channel, trace::detail) << "set destination:" << message;
  throw std::runtime_error(message);
}

void unset_destination() {
  Path const current = current_destination();
  if (current.empty()) {
    CPPUTIL_TRACE(channel, trace::detail)
        << "no destination, keep last \"" << traced(last_destination_file.text()) << '"';
    return;
  }
  // Records are closed as they are written; the flush is a trace only.
  CPPUTIL_TRACE(channel, trace::event) << "flush destination";
  last_destination_file = current;
  CPPUTIL_TRACE(channel, trace::detail)
      << " last_destination_file.string()=" << traced(last_destination_file.text());
  CPPUTIL_TRACE(channel, trace::event) << "unset destination";
  std::lock_guard<std::mutex> const lock(destination_mutex);
  destination_file = Path();
}

void set_destination(Path const& new_destination) {
  CPPUTIL_TRACE(channel, trace::detail) << "set destination" << traced(new_destination.text());
  ustring const parent = platform::extract_parent_path(new_destination.text());
  if (!parent.empty()) {
    try {
      Path const folder(parent);
      if (!platform::exists(folder)) {
        platform::create_directories(folder);
      }
    } catch (...) {
      if (has_destination()) {
        append_message(unable_to_create_folder_message + parent);
      }
      fail_to_set("Install Logger: Cannot create directory \"" + ustring_to_utf8(parent) + "\"");
    }
  }

  // Opened only to prove that the file can be made; records are written by append_message.
  platform::File const ofile = platform::File::open_append(new_destination.text());
  if (!ofile.is_open()) {
    if (has_destination()) {
      append_message(unable_to_create_file_message + new_destination.text());
    }
    fail_to_set("Install Logger: Cannot open file \"" + ustring_to_utf8(new_destination.text()) +
                "\"");
  }

  Path const old_destination = current_destination();
  if (!old_destination.empty()) {
    CPPUTIL_TRACE(channel, trace::detail)
        << " destination_file.string()=" << traced(old_destination.text())
        << " ofile.string()=" << traced(new_destination.text());
    append_message(reset_destination_message + old_destination.text() + u" to " +
                   new_destination.text());
    unset_destination();
  }

  std::lock_guard<std::mutex> const lock(destination_mutex);
  destination_file = new_destination;
  CPPUTIL_TRACE(channel, trace::detail)
      << " destination_file.string()=" << traced(destination_file.text());
}

}  // namespace

// A copy: the argument may be get_destination() or get_last_destination() itself, which
// retiring the old destination would change under our feet.
Logger::Logger(Path const& destination) { set_destination(Path(destination)); }

Logger::Logger(ustring const& destination) : Logger(Path(destination)) {}

Logger::Logger(std::string const& destination) : Logger(utf8_to_ustring(destination)) {}

Logger::~Logger() {
  try {
    unset_destination();
  } catch (...) {
    // No memory for the traces or the copy: the scope still ends, and the process goes on.
    std::lock_guard<std::mutex> const lock(destination_mutex);
    destination_file = Path();
  }
}

Path const& get_destination() {
  // Empty on purpose: taking the lock waits for a Logger of another thread that is assigning
  // the destination, and makes its assignment visible here. The caller then reads the
  // reference without the lock, which holds while no Logger is made or ended meanwhile.
  { std::lock_guard<std::mutex> const lock(destination_mutex); }
  return destination_file;
}

void append_message(ustring const& message) {
  CPPUTIL_TRACE(channel, trace::detail) << " msg=" << traced(message);
  if (!message.empty()) {
    write_record(ustring_to_utf8(message));
  }
}

// The bytes that a round trip through UTF-16 would give, without the round trip: the log's hot
// path. Only the trace needs the UTF-16 text.
void append_message(std::string const& message) {
  CPPUTIL_TRACE(channel, trace::detail) << " msg=" << utf8_to_ustring(message);
  if (!message.empty()) {
    std::string record;
    record.reserve(kStampRoom + message.size());  // the stamp then goes in without a move
    record = message;
    utf::make_well_formed_utf8(record);
    write_record(std::move(record));
  }
}

void append_file(ustring const& file) {
  if (!has_destination()) {
    CPPUTIL_TRACE(channel, trace::event) << "append_file: The output file destination is not set.";
    throw std::runtime_error("Logger destination was not initialized.");
  }
  if (!platform::exists(Path(file))) {
    CPPUTIL_TRACE(channel, trace::event) << "append_file: The file does not exist.";
    throw std::runtime_error("The file does not exist.");
  }
  std::string const name = ustring_to_utf8(file);
  platform::File input = platform::File::open_read(file);
  if (!input.is_open()) {
    throw std::runtime_error("append_file: Cannot open file.");
  }
  std::string const head = "Content of the file " + name + "\n";
  std::string const tail = "End of the file " + name;
  if (channel.enabled(trace::detail)) {
    // The traces show the file whole, and come before its record: it is read whole first.
    std::string text = head;
    platform::LineReader reader(input);
    std::string_view line;
    while (reader.next(line)) {
      text.append(line).push_back('\n');
      CPPUTIL_TRACE(channel, trace::detail) << " line=" << line;
    }
    text += tail;
    utf::make_well_formed_utf8(text);
    CPPUTIL_TRACE(channel, trace::detail) << " msg=" << utf8_to_ustring(text);
    write_record(std::move(text));
    return;
  }
  std::lock_guard<std::mutex> const lock(destination_mutex);
  Path fallback;
  Path const& log = log_in_force(fallback);
  OpenLog open = open_log(log);
  std::int64_t const size = input.size();
  Record record(open, log.text());
  record.add(time_stamp_prefix() + head);
  copy_pieces(input, size, record);
  record.add(tail + "\n");
  record.end();  // a drop is traced at detail severity only, which takes the other path
}

void append_file(std::string const& file) { append_file(utf8_to_ustring(file)); }

void append_file(Path const& file) { append_file(ustring(file.text())); }

namespace detail {

Path const& get_last_destination() { return last_destination_file; }

void forget_last_destination() { last_destination_file = Path(); }

}  // namespace detail

}  // namespace install::cpputil::logger
